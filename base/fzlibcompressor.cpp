#include "base/fzlibcompressor.h"

#include <zlib.h>

#include <array>

namespace Quillmark
{

namespace
{

constexpr int32 kChunk = 16384;

bool writeAll(IBStream* target, unsigned char* bytes, int32 count)
{
    int32 written = 0;
    return count == 0 || (target->write(bytes, count, &written) == kResultOk && written == count);
}

} // namespace

FUnknown* FZlibCompressor::create(void*)
{
    return static_cast<ICompressionEngine*>(new FZlibCompressor);
}

tresult FZlibCompressor::compress(IBStream* source, IBStream* target, int32 level)
{
    if (!source || !target || level < -1 || level > 9)
        return kInvalidArgument;
    z_stream zs{};
    if (deflateInit(&zs, level) != Z_OK)
        return kResultFalse;
    std::array<unsigned char, kChunk> in{};
    std::array<unsigned char, kChunk> out{};
    tresult result = kResultOk;
    for (int flush = Z_NO_FLUSH; flush != Z_FINISH && result == kResultOk;)
    {
        int32 read = 0;
        if (source->read(in.data(), kChunk, &read) != kResultOk)
            read = 0;
        flush = read < kChunk ? Z_FINISH : Z_NO_FLUSH;
        zs.next_in = in.data();
        zs.avail_in = uInt(read);
        do
        {
            zs.next_out = out.data();
            zs.avail_out = kChunk;
            deflate(&zs, flush);
            if (!writeAll(target, out.data(), kChunk - int32(zs.avail_out)))
                result = kResultFalse;
        } while (zs.avail_out == 0 && result == kResultOk);
    }
    deflateEnd(&zs);
    return result;
}

tresult FZlibCompressor::decompress(IBStream* source, IBStream* target)
{
    if (!source || !target)
        return kInvalidArgument;
    z_stream zs{};
    if (inflateInit(&zs) != Z_OK)
        return kResultFalse;
    std::array<unsigned char, kChunk> in{};
    std::array<unsigned char, kChunk> out{};
    int status = Z_OK;
    bool failed = false;
    while (status != Z_STREAM_END && !failed)
    {
        int32 read = 0;
        if (source->read(in.data(), kChunk, &read) != kResultOk || read == 0)
            break; // the data ended before the stream did
        zs.next_in = in.data();
        zs.avail_in = uInt(read);
        do
        {
            zs.next_out = out.data();
            zs.avail_out = kChunk;
            status = inflate(&zs, Z_NO_FLUSH);
            if (status == Z_NEED_DICT || status == Z_DATA_ERROR || status == Z_MEM_ERROR)
                failed = true;
            else if (!writeAll(target, out.data(), kChunk - int32(zs.avail_out)))
                failed = true;
        } while (!failed && zs.avail_out == 0 && status != Z_STREAM_END);
    }
    if (status == Z_STREAM_END && zs.avail_in > 0)
    {
        // Leave the source right behind the compressed stream, for whatever follows it.
        source->seek(-int64(zs.avail_in), IBStream::kIBSeekCur);
    }
    inflateEnd(&zs);
    return status == Z_STREAM_END && !failed ? kResultOk : kResultFalse;
}

tresult FZlibCompressor::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, ICompressionEngine)
    return FObject::queryInterface(iid, obj);
}

} // namespace Quillmark
