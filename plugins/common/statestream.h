// Reads and writes the state a plug-in saves, over the host's IBStream: little-endian numbers
// whatever the machine, so a preset saved on one computer loads on any other. Both are small
// stack objects used for the length of one getState or setState call.
#pragma once

#include "qel3/ibstream.h"

#include <cstring>
#include <type_traits>

namespace Quillmark
{
namespace Qel
{

/** Writes numbers in little-endian order. Once a write comes up short every later one is
    skipped, so a caller may write everything and ask `ok` once at the end. */
class StateWriter
{
public:
    explicit StateWriter(IBStream* stream) : stream(stream), good(stream != nullptr) {}

    void writeInt32(int32 value) { writeBits(static_cast<uint32>(value)); }
    void writeUInt32(uint32 value) { writeBits(value); }
    void writeDouble(double value)
    {
        uint64 bits;
        std::memcpy(&bits, &value, sizeof bits);
        writeBits(bits);
    }

    bool ok() const { return good; }

private:
    template <class Bits> void writeBits(Bits bits)
    {
        static_assert(std::is_unsigned_v<Bits>);
        uint8 bytes[sizeof(Bits)];
        for (std::size_t i = 0; i < sizeof(Bits); ++i)
            bytes[i] = static_cast<uint8>(bits >> (8 * i));
        if (!good)
            return;
        int32 written = 0;
        good = stream->write(bytes, sizeof(Bits), &written) == kResultOk &&
               written == static_cast<int32>(sizeof(Bits));
    }

    IBStream* stream;
    bool good;
};

/** Reads numbers in little-endian order. A short read (the stream ended, or failed) makes the
    reader fail for good: the caller reads everything into locals, then checks `ok` and the
    values before it changes anything, so a damaged stream leaves the plug-in as it was. */
class StateReader
{
public:
    explicit StateReader(IBStream* stream) : stream(stream), good(stream != nullptr) {}

    int32 readInt32() { return static_cast<int32>(readBits<uint32>()); }
    uint32 readUInt32() { return readBits<uint32>(); }
    double readDouble()
    {
        const uint64 bits = readBits<uint64>();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    bool ok() const { return good; }

private:
    template <class Bits> Bits readBits()
    {
        uint8 bytes[sizeof(Bits)] = {};
        int32 read = 0;
        if (good)
            good = stream->read(bytes, sizeof(Bits), &read) == kResultOk &&
                   read == static_cast<int32>(sizeof(Bits));
        if (!good)
            return 0;
        Bits bits = 0;
        for (std::size_t i = 0; i < sizeof(Bits); ++i)
            bits |= static_cast<Bits>(bytes[i]) << (8 * i);
        return bits;
    }

    IBStream* stream;
    bool good;
};

/** A four-character tag as the number a state begins with, so a reader can tell its own data
    from anything else at the first four bytes. */
constexpr uint32 stateTag(const char (&tag)[5])
{
    return static_cast<uint32>(static_cast<uint8>(tag[0])) |
           static_cast<uint32>(static_cast<uint8>(tag[1])) << 8 |
           static_cast<uint32>(static_cast<uint8>(tag[2])) << 16 |
           static_cast<uint32>(static_cast<uint8>(tag[3])) << 24;
}

} // namespace Qel
} // namespace Quillmark
