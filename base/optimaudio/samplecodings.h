// Reading and writing single stored samples of every coding, shared by the generic kernels and
// the tails of the vector ones so both round and clip by the same code.
#pragma once

#include "base/optimaudio/intfloatconverter.h"

#include <cstring>

namespace Quillmark::SampleCodings
{

inline uint32 load32(const uint8* p, bool bigEndian)
{
    return bigEndian ? (uint32(p[0]) << 24) | (uint32(p[1]) << 16) | (uint32(p[2]) << 8) | p[3]
                     : (uint32(p[3]) << 24) | (uint32(p[2]) << 16) | (uint32(p[1]) << 8) | p[0];
}

inline void store32(uint8* p, uint32 v, bool bigEndian)
{
    for (int i = 0; i < 4; ++i)
        p[bigEndian ? 3 - i : i] = uint8(v >> (8 * i));
}

/** The integer value of one stored integer sample (for floats use loadFloat). */
template <SampleCoding C> inline int32 loadInt(const uint8* p, int32 shift)
{
    if constexpr (C == SampleCoding::kInt8)
        return int8(p[0]);
    else if constexpr (C == SampleCoding::kUInt8)
        return int32(p[0]) - 128;
    else if constexpr (C == SampleCoding::kInt16LE)
        return int16(uint16(p[0] | (p[1] << 8)));
    else if constexpr (C == SampleCoding::kInt16BE)
        return int16(uint16(p[1] | (p[0] << 8)));
    else if constexpr (C == SampleCoding::kInt24LE)
        return int32(uint32(p[0] << 8 | p[1] << 16 | uint32(p[2]) << 24)) >> 8;
    else if constexpr (C == SampleCoding::kInt24BE)
        return int32(uint32(p[2] << 8 | p[1] << 16 | uint32(p[0]) << 24)) >> 8;
    else if constexpr (C == SampleCoding::kInt32LE)
        return int32(load32(p, false) << shift);
    else
        return int32(load32(p, true) << shift);
}

inline float loadFloat(const uint8* p, bool bigEndian)
{
    uint32 bits = load32(p, bigEndian);
    float value;
    std::memcpy(&value, &bits, 4);
    return value;
}

/** Half away from zero, on a value already inside the integer range. */
inline int32 roundHalfAway(float x)
{
    return x >= 0.f ? int32(x + 0.5f) : int32(x - 0.5f);
}

/** Full scale of a coding's from-float conversion. */
inline float fullScale(SampleCoding coding, int32 shift)
{
    switch (coding)
    {
    case SampleCoding::kInt8:
    case SampleCoding::kUInt8:
        return 128.f;
    case SampleCoding::kInt16LE:
    case SampleCoding::kInt16BE:
        return 32768.f;
    case SampleCoding::kInt24LE:
    case SampleCoding::kInt24BE:
        return 2147483648.f;
    case SampleCoding::kInt32LE:
    case SampleCoding::kInt32BE:
        return float(1u << (31 - shift));
    default:
        return 1.f;
    }
}

/** One scaled value x stored by the coding's clipping and rounding rule. */
template <SampleCoding C> inline void storeScaled(float x, uint8* p, int32 shift, float scale)
{
    if constexpr (C == SampleCoding::kInt8)
        p[0] = !(x < 127.f) ? 0x7F : !(x >= -128.f) ? 0x80 : uint8(int8(int32(x)));
    else if constexpr (C == SampleCoding::kUInt8)
        p[0] = !(x < 255.f) ? 0xFF : !(x >= 0.f) ? 0 : uint8(int32(x));
    else if constexpr (C == SampleCoding::kInt16LE || C == SampleCoding::kInt16BE)
    {
        int32 v = !(x < 32767.f) ? 0x7FFF : !(x >= -32768.f) ? -32768 : roundHalfAway(x);
        constexpr bool big = C == SampleCoding::kInt16BE;
        p[big ? 1 : 0] = uint8(v);
        p[big ? 0 : 1] = uint8(v >> 8);
    }
    else if constexpr (C == SampleCoding::kInt24LE || C == SampleCoding::kInt24BE)
    {
        // Rounded at 32-bit scale, then the low byte is dropped: bytes 1 to 3 are stored.
        uint32 v = !(x < 2147483392.f)     ? 0x7FFFFF00u
                   : !(x >= -2147483648.f) ? 0x80000000u
                                           : uint32(roundHalfAway(x));
        constexpr bool big = C == SampleCoding::kInt24BE;
        p[big ? 2 : 0] = uint8(v >> 8);
        p[1] = uint8(v >> 16);
        p[big ? 0 : 2] = uint8(v >> 24);
    }
    else if constexpr (C == SampleCoding::kInt32LE || C == SampleCoding::kInt32BE)
    {
        uint32 v = !(x < scale)     ? 0x7FFFFFFFu >> shift
                   : !(x >= -scale) ? uint32(int32(0x80000000u) >> shift)
                                    : uint32(roundHalfAway(x));
        store32(p, v, C == SampleCoding::kInt32BE);
    }
    else
    {
        uint32 bits;
        std::memcpy(&bits, &x, 4);
        store32(p, bits, C == SampleCoding::kFloat32BE);
    }
}

} // namespace Quillmark::SampleCodings
