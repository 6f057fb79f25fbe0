#include "audiofile/audiobuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace Quillmark
{

AudioBuffer::AudioBuffer(int64 bytes)
{
    if (bytes <= 0)
        return;
    const size_t rounded = (size_t(bytes) + 15) & ~size_t(15);
    memory = static_cast<uint8*>(std::aligned_alloc(16, rounded));
    if (!memory)
        return;
    std::memset(memory, 0, rounded);
    capacity = bytes;
}

AudioBuffer::~AudioBuffer()
{
    std::free(memory);
}

AudioBufferPool& AudioBufferPool::instance()
{
    // Buffers are plain memory; the pool may outlive every file, so it is never torn down
    // before the process ends.
    static AudioBufferPool* pool = new AudioBufferPool;
    return *pool;
}

AudioBuffer* AudioBufferPool::take(int64 bytes)
{
    {
        std::lock_guard<std::mutex> guard(mutex);
        for (size_t i = free.size(); i-- > 0;)
        {
            if (free[i]->getCapacity() >= bytes)
            {
                AudioBuffer* buffer = free[i];
                free.erase(free.begin() + std::ptrdiff_t(i));
                buffer->setUsed(0);
                return buffer;
            }
        }
    }
    auto* buffer = new (std::nothrow) AudioBuffer(bytes);
    if (buffer && buffer->getCapacity() < bytes)
    {
        buffer->release();
        return nullptr;
    }
    return buffer;
}

void AudioBufferPool::giveBack(AudioBuffer* buffer)
{
    if (!buffer)
        return;
    if (buffer->getCapacity() > kMaxPooledBytes)
    {
        buffer->release();
        return;
    }
    AudioBuffer* dropped = nullptr;
    {
        std::lock_guard<std::mutex> guard(mutex);
        free.push_back(buffer);
        if (free.size() > kLimit)
        {
            auto smallest = std::min_element(free.begin(), free.end(),
                                             [](auto* a, auto* b)
                                             { return a->getCapacity() < b->getCapacity(); });
            dropped = *smallest;
            free.erase(smallest);
        }
    }
    if (dropped)
        dropped->release();
}

size_t AudioBufferPool::freeCount()
{
    std::lock_guard<std::mutex> guard(mutex);
    return free.size();
}

void AudioBufferPool::releaseAll()
{
    std::vector<AudioBuffer*> old;
    {
        std::lock_guard<std::mutex> guard(mutex);
        old.swap(free);
    }
    for (auto* buffer : old)
        buffer->release();
}

} // namespace Quillmark
