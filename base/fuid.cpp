#include "base/fuid.h"

#include "base/hexdigit.h"

#include <cstdio>
#include <random>

namespace Quillmark
{

namespace
{

uint32 readLE32(const char8* p)
{
    const auto* u = reinterpret_cast<const uint8*>(p);
    return uint32(u[0]) | (uint32(u[1]) << 8) | (uint32(u[2]) << 16) | (uint32(u[3]) << 24);
}

uint16 readLE16(const char8* p)
{
    const auto* u = reinterpret_cast<const uint8*>(p);
    return uint16(u[0] | (u[1] << 8));
}

uint32 readBE32(const char8* p)
{
    const auto* u = reinterpret_cast<const uint8*>(p);
    return (uint32(u[0]) << 24) | (uint32(u[1]) << 16) | (uint32(u[2]) << 8) | uint32(u[3]);
}

// Reads up to `width` leading hexadecimal digits of a field, the way a fixed-width scan field
// does: it stops at the first character that is not a digit and keeps what it read so far.
uint32 readHexField(const char8* text, int width)
{
    uint32 value = 0;
    for (int i = 0; i < width; ++i)
    {
        int d = hexDigitValue(text[i]);
        if (d < 0)
            break;
        value = (value << 4) | uint32(d);
    }
    return value;
}

// Each half of the identifier as the 64-bit number it is in memory.
uint64 word(const char8* p)
{
    uint64 value;
    std::memcpy(&value, p, 8);
    return value;
}

} // namespace

FUID::FUID() : data{} {}

FUID::FUID(uint32 l1, uint32 l2, uint32 l3, uint32 l4)
{
    QelUid uid(l1, l2, l3, l4);
    std::memcpy(data, uid.bytes, 16);
}

FUID::FUID(const TUID bytes)
{
    std::memcpy(data, bytes, 16);
}

FUID::FUID(const QelUid& uid)
{
    std::memcpy(data, uid.bytes, 16);
}

FUID::FUID(const FUID& other)
{
    std::memcpy(data, other.data, 16);
}

FUID& FUID::operator=(const FUID& other)
{
    std::memcpy(data, other.data, 16);
    return *this;
}

bool FUID::isValid() const
{
    static const char8 zero[16] = {};
    return !iidEqual(data, zero);
}

bool FUID::generate()
{
    std::random_device device;
    std::mt19937_64 engine(
        (uint64(device()) << 32) ^ device() ^
        uint64(reinterpret_cast<uintptr_t>(this))); // NOLINT: mixes in an address as salt
    uint64 a = engine();
    uint64 b = engine();
    std::memcpy(data, &a, 8);
    std::memcpy(data + 8, &b, 8);
    // Version 4 and variant bits, so a generated identifier looks like any other random one.
    data[7] = char8((uint8(data[7]) & 0x0F) | 0x40);
    data[8] = char8((uint8(data[8]) & 0x3F) | 0x80);
    return true;
}

void FUID::toTUID(TUID out) const
{
    std::memcpy(out, data, 16);
}

void FUID::fromTUID(const TUID in)
{
    std::memcpy(data, in, 16);
}

uint32 FUID::getLong1() const
{
    return readLE32(data);
}

uint32 FUID::getLong2() const
{
    return (uint32(readLE16(data + 4)) << 16) | readLE16(data + 6);
}

uint32 FUID::getLong3() const
{
    return readBE32(data + 8);
}

uint32 FUID::getLong4() const
{
    return readBE32(data + 12);
}

void FUID::toString(char8* out) const
{
    std::snprintf(out, 33, "%08X%08X%08X%08X", getLong1(), getLong2(), getLong3(), getLong4());
}

std::string FUID::toString() const
{
    char8 text[33];
    toString(text);
    return text;
}

bool FUID::fromString(const char8* text)
{
    if (!text || std::strlen(text) != 32)
        return false;
    uint32 l1 = readHexField(text, 8);
    uint32 s1 = readHexField(text + 8, 4);
    uint32 s2 = readHexField(text + 12, 4);
    char8 tail[8];
    for (int i = 0; i < 8; ++i)
        tail[i] = char8(readHexField(text + 16 + 2 * i, 2));

    data[0] = char8(l1 & 0xFF);
    data[1] = char8((l1 >> 8) & 0xFF);
    data[2] = char8((l1 >> 16) & 0xFF);
    data[3] = char8((l1 >> 24) & 0xFF);
    data[4] = char8(s1 & 0xFF);
    data[5] = char8((s1 >> 8) & 0xFF);
    data[6] = char8(s2 & 0xFF);
    data[7] = char8((s2 >> 8) & 0xFF);
    std::memcpy(data + 8, tail, 8);
    return true;
}

void FUID::toRegistryString(char8* out) const
{
    auto* u = reinterpret_cast<const uint8*>(data);
    std::snprintf(out, 39, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", readLE32(data),
                  readLE16(data + 4), readLE16(data + 6), u[8], u[9], u[10], u[11], u[12], u[13],
                  u[14], u[15]);
}

std::string FUID::toRegistryString() const
{
    char8 text[39];
    toRegistryString(text);
    return text;
}

void FUID::print(char8* out, int32 kind) const
{
    const char8* format;
    switch (kind)
    {
    case kInlineUID:
        format = "INLINE_UID (0x%08X, 0x%08X, 0x%08X, 0x%08X)";
        break;
    case kDeclareUID:
        format = "DECLARE_UID (0x%08X, 0x%08X, 0x%08X, 0x%08X)";
        break;
    case kFUID:
        format = "FUID (0x%08X, 0x%08X, 0x%08X, 0x%08X)";
        break;
    default:
        format = "DECLARE_CLASS_IID (Interface, 0x%08X, 0x%08X, 0x%08X, 0x%08X)";
        break;
    }
    char8 text[128];
    std::snprintf(text, sizeof(text), format, getLong1(), getLong2(), getLong3(), getLong4());
    if (out)
        std::strcpy(out, text);
    else
        std::fprintf(stderr, "%s\n", text);
}

int32 FUID::compare(const FUID& other) const
{
    uint64 a = word(data), b = word(other.data);
    if (a == b)
    {
        a = word(data + 8);
        b = word(other.data + 8);
    }
    if (a == b)
        return 0;
    return a < b ? -1 : 1;
}

} // namespace Quillmark
