// Sample memory for the file layer: AudioBuffer is one 16-byte aligned block; AudioBufferPool
// keeps given-back blocks for reuse so that a steady stream of reads allocates nothing.
#pragma once

#include "base/fobject.h"

#include <mutex>
#include <vector>

namespace Quillmark
{

class AudioBuffer : public CmObject
{
public:
    /** `capacity` zero-filled bytes, 16-byte aligned; capacity 0 when memory ran out. */
    explicit AudioBuffer(int64 capacity);
    ~AudioBuffer() override;

    uint8* data() const { return memory; }
    int64 getCapacity() const { return capacity; }
    int64 getUsed() const { return used; }
    void setUsed(int64 bytes) { used = bytes; }

    QEL_DECLARE_CLASS(AudioBuffer, CmObject)

private:
    uint8* memory = nullptr;
    int64 capacity = 0;
    int64 used = 0;
};

/** The process-wide pool of free buffers. */
class AudioBufferPool
{
public:
    static constexpr size_t kLimit = 15;
    /** Larger buffers go back to the system: a steady stream never needs them, and keeping
        fifteen of them would hold on to memory for nothing. */
    static constexpr int64 kMaxPooledBytes = 16 << 20;

    static AudioBufferPool& instance();

    /** A buffer of at least `bytes` (with one reference for the caller): the last free one
        that is large enough, or a new one. Null when memory ran out. */
    AudioBuffer* take(int64 bytes);
    /** Takes over the caller's reference. Beyond the limit the smallest buffer is freed. */
    void giveBack(AudioBuffer* buffer);
    size_t freeCount();
    void releaseAll();

private:
    std::mutex mutex;
    std::vector<AudioBuffer*> free;
};

} // namespace Quillmark
