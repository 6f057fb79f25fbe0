// Numbers and texts over a borrowed IBStream in a chosen byte order, and the size field that
// back-patches the length of a section. The streamer does not own its stream; the caller keeps
// the stream alive while the streamer is in use.
#pragma once

#include "base/fstring.h"
#include "qel3/ibstream.h"

namespace Quillmark
{

class FStreamer
{
public:
    /** Bytes as they stand in memory; on this platform little-endian. */
    static constexpr int16 kLittleEndian = 0;
    /** Any other value reverses every number: big-endian. */
    static constexpr int16 kBigEndian = 1;

    explicit FStreamer(IBStream* stream, int16 byteOrder = kLittleEndian);

    /** The order may change between two writes of one stream. */
    void setByteOrder(int16 byteOrder) { order = byteOrder; }
    int16 getByteOrder() const { return order; }
    IBStream* getStream() const { return stream; }

    // Each write and read answers true only when all bytes of the value moved.
    bool writeInt8(int8 value);
    bool writeInt8u(uint8 value);
    bool writeInt16(int16 value);
    bool writeInt16u(uint16 value);
    bool writeInt32(int32 value);
    bool writeInt32u(uint32 value);
    bool writeInt64(int64 value);
    bool writeInt64u(uint64 value);
    bool writeFloat(float value);
    bool writeDouble(double value);

    bool readInt8(int8& value);
    bool readInt8u(uint8& value);
    bool readInt16(int16& value);
    bool readInt16u(uint16& value);
    bool readInt32(int32& value);
    bool readInt32u(uint32& value);
    bool readInt64(int64& value);
    bool readInt64u(uint64& value);
    bool readFloat(float& value);
    bool readDouble(double& value);

    /** Bytes as they are, never reordered; returns the count moved. */
    int32 writeRaw(const void* buffer, int32 size);
    int32 readRaw(void* buffer, int32 size);

    /** 8-bit text: a 32-bit byte count in the streamer's order, then the bytes, no terminator.
        A null text writes as empty; a 16-bit text is written as UTF-8. */
    bool writeString8(const char8* text);
    bool writeString8(const ConstString& text);
    /** Reads an 8-bit text written by writeString8; `text` becomes an 8-bit String. */
    bool readString8(String& text);
    /** 16-bit text: a 32-bit unit count, then each UTF-16 unit as a 16-bit number in the
        streamer's order, no terminator; an 8-bit text is converted from UTF-8. */
    bool writeString16(const char16* text);
    bool writeString16(const ConstString& text);
    /** Reads a 16-bit text written by writeString16; `text` becomes a 16-bit String. */
    bool readString16(String& text);

    bool seek(int64 position, int32 mode = IBStream::kIBSeekSet);
    /** The current position, or -1. */
    int64 tell();

private:
    bool writeBytes(const void* bytes, int32 size, bool reorder);
    bool readBytes(void* bytes, int32 size, bool reorder);
    bool reversed() const { return order != kLittleEndian; }

    IBStream* stream;
    int16 order;
};

/** Back-patches the byte count of a section: begin writes a 32-bit zero and remembers where;
    end writes the count of bytes after the field in the streamer's order and returns to the
    end. Holds a reference to the streamer, which must outlive it. */
class FSizeField
{
public:
    explicit FSizeField(FStreamer& streamer) : streamer(streamer) {}

    bool begin();
    /** Does nothing and answers false unless begin ran since the last end. */
    bool end();
    bool isOpen() const { return start >= 0; }

private:
    FStreamer& streamer;
    int64 start = -1;
};

} // namespace Quillmark
