// The host's byte streams: growable memory, a fixed external buffer, and a file. Each is a
// reference-counted FObject that answers IBStream; the creator holds the first reference.
// Reads past the end give a short count; a seek before the start is refused.
#pragma once

#include "base/fobject.h"
#include "qel3/ibstream.h"

#include <cstdio>
#include <vector>

namespace Quillmark
{

/** The FObject and IBStream plumbing shared by the stream classes. */
class FStreamBase : public FObject, public IBStream
{
public:
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

    FClassID isTypeName() const override { return "FStreamBase"; }
    bool isTypeOf(FClassID className, bool recursive = true) const override;
    static FClassID getFClassID() { return "FStreamBase"; }

protected:
    /** The target of a seek, or -1 when it lies before the start or the mode is unknown. */
    static int64 seekTarget(int64 pos, int32 mode, int64 current, int64 end);
};

/** Bytes in memory. By default it owns them and grows on write; a wrapped buffer belongs to
    the caller and keeps its size. A seek past the end stops at the end. */
class FMemoryStream : public FStreamBase
{
public:
    enum class Mode
    {
        kCopy, // copy the bytes; the stream owns and grows them
        kWrap, // use the caller's memory as it is; no growth, the caller keeps it alive
    };

    FMemoryStream() = default;
    FMemoryStream(const void* data, int64 size);
    FMemoryStream(void* data, int64 size, Mode mode);

    tresult read(void* buffer, int32 numBytes, int32* numBytesRead = nullptr) override;
    tresult write(void* buffer, int32 numBytes, int32* numBytesWritten = nullptr) override;
    tresult seek(int64 pos, int32 mode, int64* result = nullptr) override;
    tresult tell(int64* pos) override;

    const char8* data() const;
    int64 size() const { return wrapped ? wrappedSize : int64(bytes.size()); }
    /** Cuts or zero-extends the content (owned memory only); the position stays within it. */
    bool setSize(int64 newSize);
    /** Empties an owned stream and moves to the start; a wrapped one only moves to the start. */
    void reset();

    QEL_DECLARE_CLASS(FMemoryStream, FStreamBase)

private:
    std::vector<char8> bytes;
    char8* wrapped = nullptr;
    int64 wrappedSize = 0;
    int64 position = 0;
};

/** A fixed buffer that belongs to the caller, read-only or read-write. Writes stop at its end
    with a short count; a seek past the end stops at the end. */
class FBufferStream : public FStreamBase
{
public:
    /** Read-only. */
    FBufferStream(const void* buffer, int64 size);
    FBufferStream(void* buffer, int64 size, bool writable);

    tresult read(void* buffer, int32 numBytes, int32* numBytesRead = nullptr) override;
    tresult write(void* buffer, int32 numBytes, int32* numBytesWritten = nullptr) override;
    tresult seek(int64 pos, int32 mode, int64* result = nullptr) override;
    tresult tell(int64* pos) override;

    int64 size() const { return capacity; }
    bool isWritable() const { return writable; }
    /** One past the furthest byte written so far. */
    int64 bytesWritten() const { return highWater; }

    QEL_DECLARE_CLASS(FBufferStream, FStreamBase)

private:
    char8* memory;
    int64 capacity;
    bool writable;
    int64 position = 0;
    int64 highWater = 0;
};

/** A file opened with an fopen-style mode. The stream owns the file and closes it. */
class FFileStream : public FStreamBase
{
public:
    /** A new stream with one reference, or null when the file cannot be opened. */
    static FFileStream* open(const char8* path, const char8* mode);

    tresult read(void* buffer, int32 numBytes, int32* numBytesRead = nullptr) override;
    tresult write(void* buffer, int32 numBytes, int32* numBytesWritten = nullptr) override;
    tresult seek(int64 pos, int32 mode, int64* result = nullptr) override;
    tresult tell(int64* pos) override;

    /** Hands buffered bytes to the system. */
    bool flush();
    /** The size of the file, or -1. */
    int64 size();
    bool close();

    QEL_DECLARE_CLASS(FFileStream, FStreamBase)

protected:
    explicit FFileStream(std::FILE* file) : file(file) {}
    ~FFileStream() override;

private:
    enum Direction
    {
        kNone,
        kReading,
        kWriting,
    };
    void switchDirection(Direction next);

    std::FILE* file;
    Direction direction = kNone;
};

} // namespace Quillmark
