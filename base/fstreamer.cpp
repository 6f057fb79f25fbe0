#include "base/fstreamer.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace Quillmark
{

namespace
{

void reverseBytes(uint8* bytes, int32 size)
{
    std::reverse(bytes, bytes + size);
}

} // namespace

FStreamer::FStreamer(IBStream* stream, int16 byteOrder) : stream(stream), order(byteOrder) {}

bool FStreamer::writeBytes(const void* bytes, int32 size, bool reorder)
{
    if (!stream)
        return false;
    uint8 copy[8];
    void* source = const_cast<void*>(bytes);
    if (reorder && reversed() && size > 1 && size <= 8)
    {
        std::memcpy(copy, bytes, size_t(size));
        reverseBytes(copy, size);
        source = copy;
    }
    int32 written = 0;
    stream->write(source, size, &written);
    return written == size;
}

bool FStreamer::readBytes(void* bytes, int32 size, bool reorder)
{
    if (!stream)
        return false;
    int32 got = 0;
    stream->read(bytes, size, &got);
    if (got != size)
        return false;
    if (reorder && reversed() && size > 1)
        reverseBytes(static_cast<uint8*>(bytes), size);
    return true;
}

#define QEL_STREAMER_NUMBER(Name, Type)                                                            \
    bool FStreamer::write##Name(Type value)                                                        \
    {                                                                                              \
        return writeBytes(&value, sizeof(value), true);                                            \
    }                                                                                              \
    bool FStreamer::read##Name(Type& value)                                                        \
    {                                                                                              \
        Type temp;                                                                                 \
        if (!readBytes(&temp, sizeof(temp), true))                                                 \
            return false;                                                                          \
        value = temp;                                                                              \
        return true;                                                                               \
    }

QEL_STREAMER_NUMBER(Int8, int8)
QEL_STREAMER_NUMBER(Int8u, uint8)
QEL_STREAMER_NUMBER(Int16, int16)
QEL_STREAMER_NUMBER(Int16u, uint16)
QEL_STREAMER_NUMBER(Int32, int32)
QEL_STREAMER_NUMBER(Int32u, uint32)
QEL_STREAMER_NUMBER(Int64, int64)
QEL_STREAMER_NUMBER(Int64u, uint64)
QEL_STREAMER_NUMBER(Float, float)
QEL_STREAMER_NUMBER(Double, double)

#undef QEL_STREAMER_NUMBER

int32 FStreamer::writeRaw(const void* buffer, int32 size)
{
    if (!stream || size <= 0)
        return 0;
    int32 written = 0;
    stream->write(const_cast<void*>(buffer), size, &written);
    return written;
}

int32 FStreamer::readRaw(void* buffer, int32 size)
{
    if (!stream || size <= 0)
        return 0;
    int32 got = 0;
    stream->read(buffer, size, &got);
    return got;
}

bool FStreamer::writeString8(const char8* text)
{
    return writeString8(ConstString(text));
}

bool FStreamer::writeString8(const ConstString& text)
{
    std::string utf8 = text.toUtf8();
    if (utf8.size() > ConstString::kMaxLength)
        return false;
    int32 count = int32(utf8.size());
    return writeInt32(count) && writeRaw(utf8.data(), count) == count;
}

bool FStreamer::readString8(String& text)
{
    int32 count = 0;
    if (!readInt32(count) || count < 0 || uint32(count) > ConstString::kMaxLength)
        return false;
    // Read in pieces so that a damaged count runs into the end of the stream before it can
    // claim a large block of memory.
    std::string bytes;
    char8 chunk[4096];
    while (int32(bytes.size()) < count)
    {
        int32 want = std::min<int32>(count - int32(bytes.size()), int32(sizeof(chunk)));
        if (readRaw(chunk, want) != want)
            return false;
        bytes.append(chunk, size_t(want));
    }
    text = String(bytes);
    return true;
}

bool FStreamer::writeString16(const char16* text)
{
    return writeString16(ConstString(text));
}

bool FStreamer::writeString16(const ConstString& text)
{
    std::u16string units = text.toUtf16();
    if (units.size() > ConstString::kMaxLength)
        return false;
    if (!writeInt32(int32(units.size())))
        return false;
    for (char16 unit : units)
    {
        if (!writeInt16u(uint16(unit)))
            return false;
    }
    return true;
}

bool FStreamer::readString16(String& text)
{
    int32 count = 0;
    if (!readInt32(count) || count < 0 || uint32(count) > ConstString::kMaxLength)
        return false;
    std::u16string units;
    for (int32 i = 0; i < count; ++i)
    {
        uint16 unit = 0;
        if (!readInt16u(unit))
            return false;
        units.push_back(char16(unit));
    }
    text = String(units);
    return true;
}

bool FStreamer::seek(int64 position, int32 mode)
{
    return stream && stream->seek(position, mode, nullptr) == kResultOk;
}

int64 FStreamer::tell()
{
    int64 position = -1;
    if (!stream || stream->tell(&position) != kResultOk)
        return -1;
    return position;
}

// --- FSizeField ---------------------------------------------------------------------------

bool FSizeField::begin()
{
    int64 position = streamer.tell();
    if (position < 0 || !streamer.writeInt32(0))
        return false;
    start = position;
    return true;
}

bool FSizeField::end()
{
    if (start < 0)
        return false;
    int64 fieldStart = start;
    start = -1;
    int64 now = streamer.tell();
    int64 count = now - fieldStart - 4;
    if (now < 0 || count < 0 || count > 0x7FFFFFFF)
        return false;
    if (!streamer.seek(fieldStart))
        return false;
    bool written = streamer.writeInt32(int32(count));
    return streamer.seek(now) && written;
}

} // namespace Quillmark
