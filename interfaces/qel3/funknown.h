// The root of every Qel 3 interface: basic types, result codes, 16-byte identifiers and
// FUnknown. A module compiles against this header alone; it depends on nothing of the host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Quillmark
{

using int8 = std::int8_t;
using uint8 = std::uint8_t;
using int16 = std::int16_t;
using uint16 = std::uint16_t;
using int32 = std::int32_t;
using uint32 = std::uint32_t;
using int64 = std::int64_t;
using uint64 = std::uint64_t;
using char8 = char;
using char16 = char16_t;
using tresult = int32;
using FIDString = const char8*;
using TBool = uint8;

/** Sixteen bytes that name an interface or a class. */
using TUID = char8[16];

enum : int32
{
    kResultOk = 0,
    kResultTrue = kResultOk,
    kResultFalse = 1,
    kNotImplemented = static_cast<int32>(0x80004001u),
    kNoInterface = static_cast<int32>(0x80004002u),
    kInvalidArgument = static_cast<int32>(0x80070057u),
};

/** Fills 16 identifier bytes from the four 32-bit words of the source form: word 1 is the
    32-bit number, word 2 the two 16-bit numbers, words 3 and 4 the last eight bytes in order. */
struct QelUid
{
    char8 bytes[16];

    constexpr QelUid(uint32 l1, uint32 l2, uint32 l3, uint32 l4)
        : bytes{static_cast<char8>(l1 & 0xFF),         static_cast<char8>((l1 >> 8) & 0xFF),
                static_cast<char8>((l1 >> 16) & 0xFF), static_cast<char8>((l1 >> 24) & 0xFF),
                static_cast<char8>((l2 >> 16) & 0xFF), static_cast<char8>((l2 >> 24) & 0xFF),
                static_cast<char8>(l2 & 0xFF),         static_cast<char8>((l2 >> 8) & 0xFF),
                static_cast<char8>((l3 >> 24) & 0xFF), static_cast<char8>((l3 >> 16) & 0xFF),
                static_cast<char8>((l3 >> 8) & 0xFF),  static_cast<char8>(l3 & 0xFF),
                static_cast<char8>((l4 >> 24) & 0xFF), static_cast<char8>((l4 >> 16) & 0xFF),
                static_cast<char8>((l4 >> 8) & 0xFF),  static_cast<char8>(l4 & 0xFF)}
    {
    }
};

/** Two identifiers are equal when their 16 bytes are: two 64-bit comparisons. */
inline bool iidEqual(const void* a, const void* b)
{
    uint64 a0, a1, b0, b1;
    std::memcpy(&a0, a, 8);
    std::memcpy(&a1, static_cast<const char*>(a) + 8, 8);
    std::memcpy(&b0, b, 8);
    std::memcpy(&b1, static_cast<const char*>(b) + 8, 8);
    return a0 == b0 && a1 == b1;
}

/** The root interface. Every interface lays out these three operations first, in this order. */
class FUnknown
{
public:
    virtual tresult queryInterface(const TUID iid, void** obj) = 0;
    virtual uint32 addRef() = 0;
    virtual uint32 release() = 0;

    static constexpr QelUid iid{0x00000000, 0x00000000, 0xC0000000, 0x00000046};

protected:
    ~FUnknown() = default;
};

/** Declares the identifier of an interface inside its class, from the four words of the
    source form. */
#define QEL_INTERFACE_IID(l1, l2, l3, l4)                                                          \
    static constexpr ::Quillmark::QelUid iid                                                       \
    {                                                                                              \
        l1, l2, l3, l4                                                                             \
    }

/** The identifier of an interface type, as the argument of queryInterface. */
template <class I> inline const char8* iidOf()
{
    return I::iid.bytes;
}

} // namespace Quillmark
