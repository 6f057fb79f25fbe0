#include "engine/alignedbuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <vector>

namespace Quillmark
{
namespace MiniEngine
{

/** The two lists of the pool. Buffers are only handed out while a graph prepares its pins,
    under that graph's process lock; the mutex here covers a process with several graphs, and
    is never taken on the audio thread. */
struct AlignedBufferPool
{
    std::mutex mutex;
    std::vector<AlignedBuffer*> freeList;
    std::vector<AlignedBuffer*> inUse;

    static AlignedBufferPool& get()
    {
        static AlignedBufferPool pool;
        return pool;
    }

    ~AlignedBufferPool()
    {
        for (AlignedBuffer* buffer : freeList)
            delete buffer;
        for (AlignedBuffer* buffer : inUse)
            delete buffer;
    }
};

AlignedBuffer* AlignedBuffer::acquire()
{
    AlignedBufferPool& pool = AlignedBufferPool::get();
    std::lock_guard<std::mutex> guard(pool.mutex);
    AlignedBuffer* buffer = nullptr;
    if (!pool.freeList.empty())
    {
        buffer = pool.freeList.front();
        pool.freeList.erase(pool.freeList.begin());
    }
    else
        buffer = new AlignedBuffer;
    pool.inUse.push_back(buffer);
    return buffer;
}

void AlignedBuffer::release(AlignedBuffer* buffer)
{
    if (!buffer)
        return;
    AlignedBufferPool& pool = AlignedBufferPool::get();
    std::lock_guard<std::mutex> guard(pool.mutex);
    const auto found = std::find(pool.inUse.begin(), pool.inUse.end(), buffer);
    if (found == pool.inUse.end())
        return;
    pool.inUse.erase(found);
    pool.freeList.push_back(buffer);
}

int32 AlignedBuffer::countFree()
{
    AlignedBufferPool& pool = AlignedBufferPool::get();
    std::lock_guard<std::mutex> guard(pool.mutex);
    return int32(pool.freeList.size());
}

int32 AlignedBuffer::countInUse()
{
    AlignedBufferPool& pool = AlignedBufferPool::get();
    std::lock_guard<std::mutex> guard(pool.mutex);
    return int32(pool.inUse.size());
}

void AlignedBuffer::resize(int32 newSize)
{
    if (newSize == size)
        return;
    delete[] rawStorage;
    rawStorage = nullptr;
    data = nullptr;
    size = newSize > 0 ? newSize : 0;
    if (size == 0)
        return;
    rawStorage = new unsigned char[size_t(size) + 15];
    std::memset(rawStorage, 0, size_t(size) + 15);
    const auto address = reinterpret_cast<std::uintptr_t>(rawStorage);
    data = reinterpret_cast<float*>((address + 15) & ~std::uintptr_t(15));
}

AlignedBuffer::~AlignedBuffer()
{
    delete[] rawStorage;
}

} // namespace MiniEngine
} // namespace Quillmark
