#include "midi/peventpool.h"
#include "midi/pevent.h"

#include <boost/pool/pool.hpp>

#include <mutex>

namespace Quillmark
{

namespace
{

struct PoolState
{
    std::mutex mutex;
    boost::pool<> pool;
    size_t blockSize;
    size_t inUse = 0;

    explicit PoolState(size_t size) : pool(size, MidiEventPool::kFirstChunkBlocks), blockSize(size)
    {
    }
};

// Made for the first block size asked for and alive until the process ends, because events
// held by singletons (the tempo track's lists) die during static destruction.
PoolState* state()
{
    static PoolState* instance = new PoolState(sizeof(PMidiEvent));
    return instance;
}

} // namespace

void* MidiEventPool::allocate(size_t blockSize)
{
    PoolState* s = state();
    if (s->blockSize != blockSize)
        return nullptr;
    std::lock_guard<std::mutex> guard(s->mutex);
    void* block = s->pool.malloc();
    if (block)
        ++s->inUse;
    return block;
}

bool MidiEventPool::free(void* block)
{
    PoolState* s = state();
    std::lock_guard<std::mutex> guard(s->mutex);
    if (!s->pool.is_from(block))
        return false;
    s->pool.free(block);
    --s->inUse;
    return true;
}

size_t MidiEventPool::blocksInUse()
{
    PoolState* s = state();
    std::lock_guard<std::mutex> guard(s->mutex);
    return s->inUse;
}

} // namespace Quillmark
