// One speaker of a channel layout: its speaker number, with the comparison rules that every
// search in a layout uses, and its stored forms. Owned by the ASpeakerArrangement that lists it.
#pragma once

#include "audiofile/speakertable.h"
#include "base/fobject.h"

namespace Quillmark
{

class FAttributes;
class FStreamer;

class ASpeakerProperty : public FObject
{
    QEL_DECLARE_CLASS(ASpeakerProperty, FObject)
public:
    /** The attribute that a port stores its speaker's role word under. */
    static constexpr const char8* kRoleAttribute = "Role";

    explicit ASpeakerProperty(int32 id = kSpeakerMono) : id(id) {}

    int32 getId() const { return id; }
    void setId(int32 value) { id = value; }

    /** The form every comparison uses: the absolute value, with 0 taken as 1, so Mono and
        Left count as one speaker and the n-th unassigned channel counts as speaker n. */
    static int64 normalize(int32 id);

    /** False for null and for other classes; otherwise the normalised numbers are equal. */
    bool isEqual(const FObject* other) const;
    /** 0 for null and for other classes. Otherwise by normalised number, except that the
        undefined speaker sorts before all others. */
    int32 compare(const FObject* other) const;

    /** One signed 32-bit number; true when the stream took or gave all of it. */
    bool write(FStreamer& streamer) const;
    bool read(FStreamer& streamer);

    /** Stores the role word under "Role". The undefined speaker writes nothing; a number
        without a row writes the attribute empty. */
    void writeRole(FAttributes& attributes) const;
    /** Takes the speaker of the stored role word; an unknown or missing word keeps the
        number as it was. Answers whether the number was set. */
    bool readRole(const FAttributes& attributes);

private:
    int32 id;
};

} // namespace Quillmark
