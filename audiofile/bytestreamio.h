// Positioned reads and writes of whole byte ranges and little- or big-endian numbers on an
// IBStream, for the container parsers. Every read says whether all bytes arrived.
#pragma once

#include "qel3/ibstream.h"

#include <string>

namespace Quillmark::ByteIO
{

/** Reads exactly `size` bytes at `position`. */
bool readAt(IBStream* stream, int64 position, void* buffer, int32 size);
/** Writes exactly `size` bytes at `position`. */
bool writeAt(IBStream* stream, int64 position, const void* buffer, int32 size);
/** Fills `size` bytes at `position` with `value`, in pieces, never past `limit`. */
bool fillAt(IBStream* stream, int64 position, int64 size, uint8 value, int64 limit);
/** The size of the stream, or -1; the position is left at the end. */
int64 streamSize(IBStream* stream);

inline uint16 le16(const uint8* p)
{
    return uint16(p[0] | p[1] << 8);
}
inline uint32 le32(const uint8* p)
{
    return uint32(p[0]) | uint32(p[1]) << 8 | uint32(p[2]) << 16 | uint32(p[3]) << 24;
}
inline uint16 be16(const uint8* p)
{
    return uint16(p[0] << 8 | p[1]);
}
inline uint32 be32(const uint8* p)
{
    return uint32(p[0]) << 24 | uint32(p[1]) << 16 | uint32(p[2]) << 8 | uint32(p[3]);
}
inline void putLE16(uint8* p, uint32 v)
{
    p[0] = uint8(v);
    p[1] = uint8(v >> 8);
}
inline void putLE32(uint8* p, uint32 v)
{
    for (int i = 0; i < 4; ++i)
        p[i] = uint8(v >> (8 * i));
}
inline void putBE16(uint8* p, uint32 v)
{
    p[0] = uint8(v >> 8);
    p[1] = uint8(v);
}
inline void putBE32(uint8* p, uint32 v)
{
    for (int i = 0; i < 4; ++i)
        p[i] = uint8(v >> (24 - 8 * i));
}
/** A chunk tag from its four letters, as the 32-bit number read little-endian. */
constexpr uint32 tagLE(const char (&t)[5])
{
    return uint32(uint8(t[0])) | uint32(uint8(t[1])) << 8 | uint32(uint8(t[2])) << 16 |
           uint32(uint8(t[3])) << 24;
}
/** A chunk tag as the 32-bit number read big-endian. */
constexpr uint32 tagBE(const char (&t)[5])
{
    return uint32(uint8(t[3])) | uint32(uint8(t[2])) << 8 | uint32(uint8(t[1])) << 16 |
           uint32(uint8(t[0])) << 24;
}
/** Text of a fixed field: up to its first zero byte. */
std::string fieldText(const uint8* p, int32 size);

} // namespace Quillmark::ByteIO
