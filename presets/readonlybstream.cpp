#include "presets/readonlybstream.h"

#include <algorithm>

namespace Quillmark
{
namespace Qel
{

ReadOnlyBStream::ReadOnlyBStream(IBStream* source, int64 sourceOffset, int64 size)
    : source(source), sourceOffset(sourceOffset), size(std::max<int64>(size, 0))
{
    if (source)
        source->addRef();
}

ReadOnlyBStream::~ReadOnlyBStream()
{
    if (source)
        source->release();
}

tresult ReadOnlyBStream::read(void* buffer, int32 numBytes, int32* numBytesRead)
{
    if (numBytesRead)
        *numBytesRead = 0;
    if (!source)
        return kInternalError;
    int64 left = size - position;
    int32 count = int32(std::clamp<int64>(std::min<int64>(numBytes, left), 0, INT32_MAX));
    if (count == 0)
        return kResultOk;
    int64 reached = -1;
    int64 target = saturatedAdd(sourceOffset, position);
    if (target < 0 || target == INT64_MAX ||
        source->seek(target, kIBSeekSet, &reached) != kResultOk || reached != target)
        return kResultFalse;
    int32 got = 0;
    tresult result = source->read(buffer, count, &got);
    got = std::clamp(got, 0, count);
    position += got;
    if (numBytesRead)
        *numBytesRead = got;
    return result;
}

tresult ReadOnlyBStream::write(void*, int32, int32* numBytesWritten)
{
    if (numBytesWritten)
        *numBytesWritten = 0;
    return kNotImplemented;
}

tresult ReadOnlyBStream::seek(int64 pos, int32 mode, int64* result)
{
    int64 target = position;
    switch (mode)
    {
    case kIBSeekSet:
        target = pos;
        break;
    case kIBSeekCur:
        target = saturatedAdd(position, pos);
        break;
    case kIBSeekEnd:
        target = saturatedAdd(size, pos);
        break;
    default:
        break;
    }
    position = std::clamp<int64>(target, 0, size);
    if (result)
        *result = position;
    return kResultOk;
}

tresult ReadOnlyBStream::tell(int64* pos)
{
    if (pos)
        *pos = position;
    return kResultOk;
}

} // namespace Qel
} // namespace Quillmark
