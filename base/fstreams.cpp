#include "base/fstreams.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace Quillmark
{

// --- FStreamBase --------------------------------------------------------------------------

tresult FStreamBase::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IBStream)
    return FObject::queryInterface(iid, obj);
}

bool FStreamBase::isTypeOf(FClassID className, bool recursive) const
{
    if (classIDsEqual(className, "FStreamBase"))
        return true;
    return recursive && FObject::isTypeOf(className, true);
}

int64 FStreamBase::seekTarget(int64 pos, int32 mode, int64 current, int64 end)
{
    int64 base = 0;
    switch (mode)
    {
    case kIBSeekSet:
        base = 0;
        break;
    case kIBSeekCur:
        base = current;
        break;
    case kIBSeekEnd:
        base = end;
        break;
    default:
        return -1;
    }
    if ((pos > 0 && base > std::numeric_limits<int64>::max() - pos))
        return std::numeric_limits<int64>::max();
    int64 target = base + pos;
    return target < 0 ? -1 : target;
}

namespace
{

/** The common checks of read and write: a negative count or a missing buffer is refused. */
bool validTransfer(const void* buffer, int32 numBytes)
{
    return numBytes >= 0 && (buffer || numBytes == 0);
}

void setCount(int32* out, int32 value)
{
    if (out)
        *out = value;
}

tresult transferResult(int32 requested, int32 moved)
{
    return requested > 0 && moved == 0 ? kResultFalse : kResultOk;
}

} // namespace

// --- FMemoryStream ------------------------------------------------------------------------

FMemoryStream::FMemoryStream(const void* data, int64 size)
{
    if (data && size > 0)
        bytes.assign(static_cast<const char8*>(data), static_cast<const char8*>(data) + size);
}

FMemoryStream::FMemoryStream(void* data, int64 size, Mode mode)
{
    if (mode == Mode::kWrap)
    {
        // Wrapping no memory leaves an empty stream of its own.
        wrapped = static_cast<char8*>(data);
        wrappedSize = data ? std::max<int64>(size, 0) : 0;
    }
    else if (data && size > 0)
    {
        bytes.assign(static_cast<const char8*>(data), static_cast<const char8*>(data) + size);
    }
}

const char8* FMemoryStream::data() const
{
    return wrapped ? wrapped : bytes.data();
}

tresult FMemoryStream::read(void* buffer, int32 numBytes, int32* numBytesRead)
{
    setCount(numBytesRead, 0);
    if (!validTransfer(buffer, numBytes))
        return kInvalidArgument;
    int64 available = std::max<int64>(size() - position, 0);
    int32 n = int32(std::min<int64>(numBytes, available));
    if (n > 0)
        std::memcpy(buffer, data() + position, size_t(n));
    position += n;
    setCount(numBytesRead, n);
    return transferResult(numBytes, n);
}

tresult FMemoryStream::write(void* buffer, int32 numBytes, int32* numBytesWritten)
{
    setCount(numBytesWritten, 0);
    if (!validTransfer(buffer, numBytes))
        return kInvalidArgument;
    int32 n = numBytes;
    if (wrapped)
    {
        n = int32(std::min<int64>(n, std::max<int64>(wrappedSize - position, 0)));
        if (n > 0)
            std::memcpy(wrapped + position, buffer, size_t(n));
    }
    else if (n > 0)
    {
        if (position + n > int64(bytes.size()))
        {
            try
            {
                bytes.resize(size_t(position + n));
            }
            catch (const std::bad_alloc&)
            {
                return kResultFalse;
            }
        }
        std::memcpy(bytes.data() + position, buffer, size_t(n));
    }
    position += n;
    setCount(numBytesWritten, n);
    return transferResult(numBytes, n);
}

tresult FMemoryStream::seek(int64 pos, int32 mode, int64* result)
{
    int64 target = seekTarget(pos, mode, position, size());
    if (target < 0)
    {
        if (result)
            *result = position;
        return kInvalidArgument;
    }
    position = std::min(target, size());
    if (result)
        *result = position;
    return kResultOk;
}

tresult FMemoryStream::tell(int64* pos)
{
    if (!pos)
        return kInvalidArgument;
    *pos = position;
    return kResultOk;
}

bool FMemoryStream::setSize(int64 newSize)
{
    if (wrapped || newSize < 0)
        return false;
    try
    {
        bytes.resize(size_t(newSize));
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
    position = std::min(position, newSize);
    return true;
}

void FMemoryStream::reset()
{
    bytes.clear();
    position = 0;
}

// --- FBufferStream ------------------------------------------------------------------------

FBufferStream::FBufferStream(const void* buffer, int64 size)
    : memory(static_cast<char8*>(const_cast<void*>(buffer))),
      capacity(buffer ? std::max<int64>(size, 0) : 0), writable(false), highWater(capacity)
{
}

FBufferStream::FBufferStream(void* buffer, int64 size, bool writable)
    : memory(static_cast<char8*>(buffer)), capacity(buffer ? std::max<int64>(size, 0) : 0),
      writable(writable), highWater(writable ? 0 : capacity)
{
}

tresult FBufferStream::read(void* buffer, int32 numBytes, int32* numBytesRead)
{
    setCount(numBytesRead, 0);
    if (!validTransfer(buffer, numBytes))
        return kInvalidArgument;
    int32 n = int32(std::min<int64>(numBytes, capacity - position));
    if (n > 0)
        std::memcpy(buffer, memory + position, size_t(n));
    position += n;
    setCount(numBytesRead, n);
    return transferResult(numBytes, n);
}

tresult FBufferStream::write(void* buffer, int32 numBytes, int32* numBytesWritten)
{
    setCount(numBytesWritten, 0);
    if (!validTransfer(buffer, numBytes))
        return kInvalidArgument;
    if (!writable)
        return numBytes > 0 ? kResultFalse : kResultOk;
    int32 n = int32(std::min<int64>(numBytes, capacity - position));
    if (n > 0)
        std::memcpy(memory + position, buffer, size_t(n));
    position += n;
    highWater = std::max(highWater, position);
    setCount(numBytesWritten, n);
    return transferResult(numBytes, n);
}

tresult FBufferStream::seek(int64 pos, int32 mode, int64* result)
{
    int64 target = seekTarget(pos, mode, position, capacity);
    if (target < 0)
    {
        if (result)
            *result = position;
        return kInvalidArgument;
    }
    position = std::min(target, capacity);
    if (result)
        *result = position;
    return kResultOk;
}

tresult FBufferStream::tell(int64* pos)
{
    if (!pos)
        return kInvalidArgument;
    *pos = position;
    return kResultOk;
}

// --- FFileStream --------------------------------------------------------------------------

FFileStream* FFileStream::open(const char8* path, const char8* mode)
{
    if (!path || !mode)
        return nullptr;
    std::FILE* file = std::fopen(path, mode);
    return file ? new FFileStream(file) : nullptr;
}

FFileStream::~FFileStream()
{
    close();
}

tresult FFileStream::read(void* buffer, int32 numBytes, int32* numBytesRead)
{
    setCount(numBytesRead, 0);
    if (!validTransfer(buffer, numBytes))
        return kInvalidArgument;
    if (!file)
        return kResultFalse;
    switchDirection(kReading);
    int32 n = int32(std::fread(buffer, 1, size_t(numBytes), file));
    setCount(numBytesRead, n);
    return transferResult(numBytes, n);
}

tresult FFileStream::write(void* buffer, int32 numBytes, int32* numBytesWritten)
{
    setCount(numBytesWritten, 0);
    if (!validTransfer(buffer, numBytes))
        return kInvalidArgument;
    if (!file)
        return kResultFalse;
    switchDirection(kWriting);
    int32 n = int32(std::fwrite(buffer, 1, size_t(numBytes), file));
    setCount(numBytesWritten, n);
    return transferResult(numBytes, n);
}

tresult FFileStream::seek(int64 pos, int32 mode, int64* result)
{
    if (!file)
        return kResultFalse;
    int64 current = std::ftell(file);
    int64 target = -1;
    if (mode == kIBSeekEnd)
    {
        int64 end = size();
        target = end < 0 ? -1 : seekTarget(pos, mode, current, end);
    }
    else
    {
        target = seekTarget(pos, mode, current, 0);
    }
    // A file may be sought past its end; a later write fills the gap with zeros.
    direction = kNone;
    if (target < 0 || std::fseek(file, long(target), SEEK_SET) != 0)
    {
        if (result)
            *result = current;
        return kInvalidArgument;
    }
    if (result)
        *result = target;
    return kResultOk;
}

tresult FFileStream::tell(int64* pos)
{
    if (!pos)
        return kInvalidArgument;
    if (!file)
        return kResultFalse;
    *pos = std::ftell(file);
    return *pos < 0 ? kResultFalse : kResultOk;
}

void FFileStream::switchDirection(Direction next)
{
    // C streams need a positioning call between reading and writing in either order.
    if (direction != kNone && direction != next)
        std::fseek(file, 0, SEEK_CUR);
    direction = next;
}

bool FFileStream::flush()
{
    return file && std::fflush(file) == 0;
}

int64 FFileStream::size()
{
    if (!file)
        return -1;
    long current = std::ftell(file);
    if (current < 0 || std::fseek(file, 0, SEEK_END) != 0)
        return -1;
    long end = std::ftell(file);
    std::fseek(file, current, SEEK_SET);
    return end;
}

bool FFileStream::close()
{
    if (!file)
        return false;
    bool ok = std::fclose(file) == 0;
    file = nullptr;
    return ok;
}

} // namespace Quillmark
