// The channel layout of an audio file, port or plug-in bus: an ordered list of speakers whose
// order is the channel order. Owns its ASpeakerProperty objects; converts to and from Wave
// channel masks and plug-in speaker masks, names itself, and keeps itself in files.
#pragma once

#include "audiofile/speakerproperty.h"
#include "qel3/qeltypes.h"

#include <vector>

namespace Quillmark
{

class FAttributes;
class FStreamer;

class ASpeakerArrangement : public FObject
{
    QEL_DECLARE_CLASS(ASpeakerArrangement, FObject)
public:
    /** The attribute that the tree form repeats once per speaker. */
    static constexpr const char8* kTypeAttribute = "Type";
    /** The list grows by this many places at a time. */
    static constexpr int32 kGrowthStep = 10;

    ASpeakerArrangement() = default;
    /** A list of exactly the source's length with the same numbers. */
    ASpeakerArrangement(const ASpeakerArrangement& other);
    ASpeakerArrangement& operator=(const ASpeakerArrangement& other);
    ~ASpeakerArrangement() override;

    // The list itself. None of these sends a change.
    int32 count() const { return int32(speakers.size()); }
    /** The speaker at `index` (borrowed), or null. */
    ASpeakerProperty* at(int32 index) const;
    /** The number of the speaker at `index`, or the undefined speaker. */
    int32 idAt(int32 index) const;
    /** Appends without looking for duplicates; false when no memory was left. */
    bool append(int32 id);
    /** Takes over the creator's reference of `speaker`; false for null or without memory, and
        then the speaker is released. */
    bool append(ASpeakerProperty* speaker);
    void removeAll();

    /** Appends the speakers of the named arrangement of `setCode` (its type plus one) through
        addSpeaker, after what the list holds. Codes 0 and 38 add nothing. */
    void setArrangement(int32 setCode);
    /** Appends `id` unless findSpeaker knows it already; sends a change either way. */
    void addSpeaker(int32 id);
    /** Index of the first speaker that compares equal to `id` in normalised form, or -1. */
    int32 findSpeaker(int32 id) const;

    /** Replaces the list by the speakers of a Wave channel mask, in speaker table order.
        Masks 1 and 2 give one Mono speaker; bits without a speaker are dropped. */
    void setFromWaveMask(uint32 mask);
    /** The Wave channel mask. A lone Mono gives 1; the n-th unassigned channel gives bit n + 1;
        0x1F and 0x2F come out as 0x10F. */
    uint32 getWaveMask() const;

    /** Replaces the list by the speakers of a plug-in speaker mask, in bit order from the lowest
        bit, which is the plug-in's channel order. Bits without a speaker are dropped. */
    void setFromSpeakerMask(Qel::SpeakerArrangement mask);
    /** The plug-in speaker mask: the OR of the speaker bits; unassigned channels add none. */
    Qel::SpeakerArrangement getSpeakerMask() const;

    /** Replaces the list by `count` unassigned channels -1, -2, ...; a list of five skips -4
        so that its fourth channel is not read as Lfe. */
    void setUnassignedChannels(int32 count);

    /** The arrangement type that the speakers make, or kNoArrangementType. */
    int32 classifyArrangement() const;

    /** Binary form: a signed 32-bit count, then each speaker's number. */
    bool write(FStreamer& streamer) const;
    /** Takes the stored list as it stands, then reduces it to what this program offers,
        judged by the stored count. False when the stream failed. */
    bool read(FStreamer& streamer);

    /** Tree form: "Type" once per speaker, in list order. */
    void storeAttributes(FAttributes& attributes) const;
    /** Takes the stored speakers and reduces them to what this program offers. */
    void restoreAttributes(const FAttributes& attributes);

    /** Feature keys that limit what a read arrangement may hold; off when absent or zero. */
    static constexpr const char8* kSurroundCapability = "SURROUND";
    static constexpr const char8* kSixChannelsMaxCapability = "SURROUND_6CH_MAX";
    /** Shown once when a surround arrangement is read without surround support. */
    static constexpr const char8* kSurroundWarning =
        "This project file contains surround channels which are not supported by this program "
        "version. All surround channels are switched to 'stereo'.";

private:
    /** Fits a read list into the program's features, judged by `storedCount` speakers. */
    void reduceToCapabilities(int32 storedCount);
    /** Makes room for one more place in steps of kGrowthStep; false without memory. */
    bool reserveOneMore();

    std::vector<ASpeakerProperty*> speakers;
};

/** Replaces the list by the usual layout of `channelCount` channels: Mono, Stereo, Quadro,
    5.0, 5.1 and 7.1 Cine for 1, 2, 4, 5, 6 and 8; unassigned channels for any other count. */
void defaultArrangementForChannels(int32 channelCount, ASpeakerArrangement& arrangement);

} // namespace Quillmark
