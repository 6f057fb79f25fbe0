// A read-only window onto part of another stream, so a plug-in reading one chunk of a preset
// file sees only that chunk, starting at position 0. Holds a reference to the source stream;
// created by whoever hands the window to a plug-in.
#pragma once

#include "base/fstreams.h"

namespace Quillmark
{
namespace Qel
{

/** a + b, held at the limits of int64 instead of overflowing: offsets and sizes come from
    files, and a damaged one may hold any number. */
inline int64 saturatedAdd(int64 a, int64 b)
{
    int64 sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        return b > 0 ? INT64_MAX : INT64_MIN;
    return sum;
}

class ReadOnlyBStream : public FStreamBase
{
public:
    /** The window covers `size` bytes of `source` from `sourceOffset`; `source` may be null. */
    ReadOnlyBStream(IBStream* source, int64 sourceOffset, int64 size);
    ~ReadOnlyBStream() override;
    ReadOnlyBStream(const ReadOnlyBStream&) = delete;
    ReadOnlyBStream& operator=(const ReadOnlyBStream&) = delete;

    tresult read(void* buffer, int32 numBytes, int32* numBytesRead = nullptr) override;
    /** Always kNotImplemented: the window never changes its source. */
    tresult write(void* buffer, int32 numBytes, int32* numBytesWritten = nullptr) override;
    /** Lands within the window whatever is asked: the target is clamped to 0 and the size. */
    tresult seek(int64 pos, int32 mode, int64* result = nullptr) override;
    tresult tell(int64* pos) override;

    int64 getSize() const { return size; }

    /** What a read answers when there is no source to read from. */
    static constexpr tresult kInternalError = static_cast<int32>(0x80004005u);

    QEL_DECLARE_CLASS(ReadOnlyBStream, FStreamBase)

private:
    IBStream* source;
    int64 sourceOffset;
    int64 size;
    int64 position = 0;
};

} // namespace Qel
} // namespace Quillmark
