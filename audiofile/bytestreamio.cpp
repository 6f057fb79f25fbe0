#include "audiofile/bytestreamio.h"

#include <cstring>

namespace Quillmark::ByteIO
{

bool readAt(IBStream* stream, int64 position, void* buffer, int32 size)
{
    int64 at = -1;
    if (position < 0 || stream->seek(position, IBStream::kIBSeekSet, &at) != kResultOk ||
        at != position)
        return false;
    int32 got = 0;
    return stream->read(buffer, size, &got) == kResultOk && got == size;
}

bool writeAt(IBStream* stream, int64 position, const void* buffer, int32 size)
{
    int64 at = -1;
    if (position < 0 || stream->seek(position, IBStream::kIBSeekSet, &at) != kResultOk ||
        at != position)
        return false;
    int32 put = 0;
    return stream->write(const_cast<void*>(buffer), size, &put) == kResultOk && put == size;
}

int64 streamSize(IBStream* stream)
{
    int64 end = -1;
    if (stream->seek(0, IBStream::kIBSeekEnd, &end) != kResultOk)
        return -1;
    return end;
}

std::string fieldText(const uint8* p, int32 size)
{
    int32 length = 0;
    while (length < size && p[length])
        ++length;
    return std::string(reinterpret_cast<const char*>(p), size_t(length));
}

} // namespace Quillmark::ByteIO
