// Copies texts into the fixed-size text fields of the factory and interface records. The field
// size comes from the array type or is given, every copy is cut to fit and is always terminated,
// so no record a module hands out can run past its field.
#pragma once

#include "qel3/funknown.h"

#include <cstddef>

namespace Quillmark
{
namespace Qel
{

inline bool isHighSurrogate(char16 unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

inline bool isLowSurrogate(char16 unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/** 8-bit into 8-bit: at most N-1 bytes. A null source gives an empty text. */
template <std::size_t N> void copyText(char8 (&dest)[N], const char8* source)
{
    std::size_t length = 0;
    if (source)
        for (; length < N - 1 && source[length]; ++length)
            dest[length] = source[length];
    dest[length] = 0;
}

/** 16-bit into a field of `capacity` units (at least 1): at most capacity-1 units, and never
    half of a surrogate pair at the end. For the String128 arguments of interface calls, which
    arrive as plain pointers. */
inline void copyText(char16* dest, std::size_t capacity, const char16* source)
{
    std::size_t length = 0;
    if (source)
        for (; length < capacity - 1 && source[length]; ++length)
            dest[length] = source[length];
    // A high surrogate in the last place has lost its low half to the cut: drop it too.
    if (length == capacity - 1 && length > 0 && isHighSurrogate(dest[length - 1]))
        --length;
    dest[length] = 0;
}

/** 16-bit into 16-bit: at most N-1 units, and never half of a surrogate pair at the end. */
template <std::size_t N> void copyText(char16 (&dest)[N], const char16* source)
{
    copyText(dest, N, source);
}

/** ASCII into a 16-bit field of `capacity` units (at least 1), one unit per byte; for numbers a
    module formats with snprintf. */
inline void widenText(char16* dest, std::size_t capacity, const char8* source)
{
    std::size_t length = 0;
    if (source)
        for (; length < capacity - 1 && source[length]; ++length)
            dest[length] = static_cast<unsigned char>(source[length]);
    dest[length] = 0;
}

/** A 16-bit text as ASCII into `dest` of `capacity` bytes (at least 1), for parsing numbers
    with strtod. Anything beyond ASCII becomes '?', which no number contains. */
inline void asciiText(char8* dest, std::size_t capacity, const char16* source)
{
    std::size_t length = 0;
    if (source)
        for (; length < capacity - 1 && source[length]; ++length)
            dest[length] = source[length] < 0x80 ? static_cast<char8>(source[length]) : '?';
    dest[length] = 0;
}

/** Whether two 16-bit texts are equal; null counts as empty. */
inline bool sameText(const char16* a, const char16* b)
{
    static constexpr char16 empty[1] = {0};
    a = a ? a : empty;
    b = b ? b : empty;
    for (; *a && *a == *b; ++a, ++b)
    {
    }
    return *a == *b;
}

/** 16-bit into an 8-bit field, one byte per character: the exact inverse of a host widening
    one byte into one unit, so the 8-bit records of a module say the same as its 16-bit ones
    for every Latin-1 text. A character beyond that (a surrogate pair counts as one) becomes '?'.
    At most N-1 bytes. */
template <std::size_t N> void narrowText(char8 (&dest)[N], const char16* source)
{
    std::size_t length = 0;
    if (source)
    {
        for (const char16* unit = source; length < N - 1 && *unit; ++unit)
        {
            if (isHighSurrogate(unit[0]) && isLowSurrogate(unit[1]))
                ++unit;
            dest[length++] = *unit <= 0xFF ? static_cast<char8>(*unit) : '?';
        }
    }
    dest[length] = 0;
}

} // namespace Qel
} // namespace Quillmark
