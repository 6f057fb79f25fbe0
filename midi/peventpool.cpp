#include "midi/peventpool.h"
#include "midi/pevent.h"

#include <atomic>
#include <bit>
#include <cstdint>
#include <mutex>
#include <new>

namespace Quillmark
{

namespace
{

constexpr uint64_t kIndexMask = 0xFFFFFFFFu;

/** Blocks are numbered across chunks: chunk k holds kFirstChunkBlocks << k blocks and starts
    where the chunks before it end. In the stack a block is its number + 1, so 0 is "none". */
constexpr uint32_t chunkBlocks(int chunk)
{
    return uint32_t(MidiEventPool::kFirstChunkBlocks) << chunk;
}

constexpr uint32_t chunkFirst(int chunk)
{
    return uint32_t(MidiEventPool::kFirstChunkBlocks) * ((1u << chunk) - 1);
}

int chunkOf(uint32_t block)
{
    return int(std::bit_width((block / uint32_t(MidiEventPool::kFirstChunkBlocks)) + 1)) - 1;
}

struct PoolState
{
    const size_t requestSize; // the size asked for by the class that uses the pool
    const size_t stride;      // the same, rounded up so every block is aligned for any type

    // The stack of free blocks: the low half is the top block + 1, the high half counts the
    // operations, so a swap succeeds only if nothing happened since the top was read.
    std::atomic<uint64_t> top{0};
    // Per chunk, its memory and the link from each free block to the one below it. The links
    // live beside the blocks, not in them, so a thread that reads a link of a block that another
    // thread has just taken never reads memory that the new owner is writing.
    std::atomic<uint8_t*> memory[MidiEventPool::kMaxChunks] = {};
    std::atomic<std::atomic<uint32_t>*> links[MidiEventPool::kMaxChunks] = {};
    std::atomic<int> chunks{0};
    std::atomic<size_t> inUse{0};
    std::mutex growing; // taken only to add a chunk

    explicit PoolState(size_t size)
        : requestSize(size),
          stride((size + alignof(std::max_align_t) - 1) & ~(alignof(std::max_align_t) - 1))
    {
    }

    std::atomic<uint32_t>& linkOf(uint32_t block)
    {
        const int chunk = chunkOf(block);
        return links[chunk].load(std::memory_order_acquire)[block - chunkFirst(chunk)];
    }

    void* addressOf(uint32_t block)
    {
        const int chunk = chunkOf(block);
        return memory[chunk].load(std::memory_order_acquire) +
               size_t(block - chunkFirst(chunk)) * stride;
    }

    void* pop()
    {
        uint64_t head = top.load(std::memory_order_acquire);
        for (;;)
        {
            const uint32_t entry = uint32_t(head & kIndexMask);
            if (entry == 0)
                return nullptr;
            const uint32_t below = linkOf(entry - 1).load(std::memory_order_relaxed);
            const uint64_t next = ((head >> 32) + 1) << 32 | below;
            if (top.compare_exchange_weak(head, next, std::memory_order_acq_rel,
                                          std::memory_order_acquire))
                return addressOf(entry - 1);
        }
    }

    /** Puts the chain from block `first` to block `last` (linked already) on the stack. */
    void pushChain(uint32_t first, uint32_t last)
    {
        std::atomic<uint32_t>& lastLink = linkOf(last);
        uint64_t head = top.load(std::memory_order_relaxed);
        for (;;)
        {
            lastLink.store(uint32_t(head & kIndexMask), std::memory_order_relaxed);
            const uint64_t next = ((head >> 32) + 1) << 32 | (first + 1);
            if (top.compare_exchange_weak(head, next, std::memory_order_release,
                                          std::memory_order_relaxed))
                return;
        }
    }

    /** The number of the block at `p`, or false when it is not a block of this pool. */
    bool blockAt(const void* p, uint32_t& block)
    {
        const auto* address = static_cast<const uint8_t*>(p);
        const int count = chunks.load(std::memory_order_acquire);
        for (int chunk = 0; chunk < count; ++chunk)
        {
            const uint8_t* start = memory[chunk].load(std::memory_order_acquire);
            const size_t bytes = size_t(chunkBlocks(chunk)) * stride;
            // Compared as integers: the pointer may belong to another allocation altogether.
            const auto offset = uintptr_t(address) - uintptr_t(start);
            if (uintptr_t(address) >= uintptr_t(start) && offset < bytes)
            {
                if (offset % stride != 0)
                    return false;
                block = chunkFirst(chunk) + uint32_t(offset / stride);
                return true;
            }
        }
        return false;
    }

    /** Adds the next chunk; call with `growing` held. */
    bool addChunk()
    {
        const int chunk = chunks.load(std::memory_order_relaxed);
        if (chunk >= MidiEventPool::kMaxChunks)
            return false;
        const uint32_t count = chunkBlocks(chunk);
        auto* blocks = static_cast<uint8_t*>(::operator new(
            size_t(count) * stride, std::align_val_t(alignof(std::max_align_t)), std::nothrow));
        auto* chunkLinks = new (std::nothrow) std::atomic<uint32_t>[count];
        if (!blocks || !chunkLinks)
        {
            ::operator delete(blocks, std::align_val_t(alignof(std::max_align_t)), std::nothrow);
            delete[] chunkLinks;
            return false;
        }
        const uint32_t first = chunkFirst(chunk);
        for (uint32_t i = 0; i + 1 < count; ++i)
            chunkLinks[i].store(first + i + 2, std::memory_order_relaxed);
        memory[chunk].store(blocks, std::memory_order_release);
        links[chunk].store(chunkLinks, std::memory_order_release);
        chunks.store(chunk + 1, std::memory_order_release);
        pushChain(first, first + count - 1);
        return true;
    }

    size_t capacity() const { return size_t(chunkFirst(chunks.load(std::memory_order_acquire))); }
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
    if (s->requestSize != blockSize)
        return nullptr;
    for (;;)
    {
        if (void* block = s->pop())
        {
            s->inUse.fetch_add(1, std::memory_order_relaxed);
            return block;
        }
        std::lock_guard<std::mutex> guard(s->growing);
        // Another thread may have grown the pool, or blocks came back, while this one waited.
        if ((s->top.load(std::memory_order_acquire) & kIndexMask) == 0 && !s->addChunk())
            return nullptr;
    }
}

bool MidiEventPool::free(void* block)
{
    PoolState* s = state();
    uint32_t number = 0;
    if (!block || !s->blockAt(block, number))
        return false;
    s->inUse.fetch_sub(1, std::memory_order_relaxed);
    s->pushChain(number, number);
    return true;
}

bool MidiEventPool::reserve(size_t blocks)
{
    PoolState* s = state();
    std::lock_guard<std::mutex> guard(s->growing);
    while (s->capacity() - s->inUse.load(std::memory_order_relaxed) < blocks)
        if (!s->addChunk())
            return false;
    return true;
}

size_t MidiEventPool::blocksInUse()
{
    return state()->inUse.load(std::memory_order_relaxed);
}

size_t MidiEventPool::capacity()
{
    return state()->capacity();
}

int MidiEventPool::growCount()
{
    return state()->chunks.load(std::memory_order_acquire);
}

} // namespace Quillmark
