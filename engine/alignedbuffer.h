// Sample memory aligned to 16 bytes, for the pins of the graph. Buffers come from and go back to
// one process-wide pool; a buffer given back keeps its memory, so preparing the graph again after
// a reconnection rarely allocates.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{
namespace MiniEngine
{

class AlignedBuffer
{
public:
    /** A buffer from the free list, or a new empty one; it goes on the in-use list. */
    static AlignedBuffer* acquire();
    /** Back to the free list, memory and all. Null is ignored. */
    static void release(AlignedBuffer* buffer);
    /** Buffers on each list; for tests and diagnostics. */
    static int32 countFree();
    static int32 countInUse();

    /** Nothing when the size is unchanged; otherwise new zeroed memory, none for 0 bytes. */
    void resize(int32 newSize);
    int32 getSize() const { return size; }
    float* getData() const { return data; }

private:
    AlignedBuffer() = default;
    ~AlignedBuffer();
    friend struct AlignedBufferPool;

    int32 size = 0;                      // bytes
    unsigned char* rawStorage = nullptr; // size + 15 bytes
    float* data = nullptr;               // rawStorage rounded up to 16 bytes
};

} // namespace MiniEngine
} // namespace Quillmark
