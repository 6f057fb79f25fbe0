// The host's 16-byte identifier with its text forms, parsing and ordering. Values are held by
// their owners; the bytes are those that travel between host and module.
#pragma once

#include "qel3/funknown.h"

#include <string>

namespace Quillmark
{

class FUID
{
public:
    enum PrintKind
    {
        kInlineUID = 0,
        kDeclareUID = 1,
        kFUID = 2,
        kClassIID = 3,
    };

    FUID();
    FUID(uint32 l1, uint32 l2, uint32 l3, uint32 l4);
    explicit FUID(const TUID bytes);
    FUID(const QelUid& uid); // NOLINT: constants convert where an FUID is asked for
    FUID(const FUID& other);
    FUID& operator=(const FUID& other);
    virtual ~FUID() = default;

    /** Not all zero. */
    bool isValid() const;
    /** A fresh random identifier. */
    bool generate();

    const char8* bytes() const { return data; }
    void toTUID(TUID out) const;
    void fromTUID(const TUID in);

    uint32 getLong1() const;
    uint32 getLong2() const;
    uint32 getLong3() const;
    uint32 getLong4() const;

    /** The 32-character plain form; `out` holds at least 33 characters. */
    void toString(char8* out) const;
    std::string toString() const;
    /** Reads the 32-character plain form; any other length leaves the value unchanged. */
    bool fromString(const char8* text);
    /** "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}"; `out` holds at least 39 characters. */
    void toRegistryString(char8* out) const;
    std::string toRegistryString() const;
    /** One of the source forms; with no buffer the text goes to the debug output. */
    void print(char8* out, int32 kind) const;

    /** Negative, 0 or positive by the two 64-bit words, first word first. */
    int32 compare(const FUID& other) const;
    bool operator==(const FUID& other) const { return iidEqual(data, other.data); }
    bool operator!=(const FUID& other) const { return !(*this == other); }
    bool operator<(const FUID& other) const { return compare(other) < 0; }

private:
    alignas(8) TUID data;
};

} // namespace Quillmark
