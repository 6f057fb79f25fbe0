#include "audiofile/bytestreamio.h"

#include <algorithm>
#include <cstring>
#include <vector>

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

bool fillAt(IBStream* stream, int64 position, int64 size, uint8 value, int64 limit)
{
    size = std::min(size, limit - position);
    std::vector<uint8> piece(size_t(std::min<int64>(std::max<int64>(size, 0), 65536)), value);
    for (int64 done = 0; done < size; done += int64(piece.size()))
    {
        const int32 count = int32(std::min<int64>(int64(piece.size()), size - done));
        if (!writeAt(stream, position + done, piece.data(), count))
            return false;
    }
    return true;
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
