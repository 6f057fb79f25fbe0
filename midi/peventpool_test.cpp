#include "midi/peventpool.h"

#include "engine/testsupport/allocationcounter.h"
#include "midi/pevent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <latch>
#include <random>
#include <set>
#include <thread>
#include <vector>

using namespace Quillmark;

namespace
{

constexpr size_t kBlock = sizeof(PMidiEvent);

/** Every free block of the pool, taken and given back; fails if one comes twice. Answers how
    many there were. */
size_t drainAndRefill()
{
    const size_t free = MidiEventPool::capacity() - MidiEventPool::blocksInUse();
    const int chunks = MidiEventPool::growCount();
    std::set<void*> seen;
    for (size_t i = 0; i < free; ++i)
    {
        void* block = MidiEventPool::allocate(kBlock);
        EXPECT_NE(block, nullptr);
        EXPECT_TRUE(seen.insert(block).second) << "block handed out twice: " << block;
    }
    // Exactly the free blocks were on the stack: taking them all did not grow the pool.
    EXPECT_EQ(chunks, MidiEventPool::growCount());
    for (void* block : seen)
        EXPECT_TRUE(MidiEventPool::free(block));
    return seen.size();
}

TEST(MidiEventPool, ThreadsTakingAndReturningBlocksAtOnceNeverShareOne)
{
    ASSERT_TRUE(MidiEventPool::reserve(4096));
    const size_t before = MidiEventPool::blocksInUse();
    constexpr int kThreads = 8;
    constexpr int kRounds = 4000;
    std::atomic<int64_t> clashes{0}, failures{0};
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&, t]
            {
                std::mt19937 random{unsigned(t)};
                std::vector<std::pair<uint8_t*, uint8_t>> held;
                start.arrive_and_wait();
                for (int round = 0; round < kRounds; ++round)
                {
                    // A burst of takes, each block filled with a mark of this thread and round,
                    // then a burst of returns after checking that no one else wrote there.
                    const int take = int(random() % 24);
                    for (int i = 0; i < take; ++i)
                    {
                        auto* block = static_cast<uint8_t*>(MidiEventPool::allocate(kBlock));
                        if (!block)
                        {
                            ++failures;
                            continue;
                        }
                        const auto mark = uint8_t(t * 31 + round + i);
                        std::memset(block, mark, kBlock);
                        held.emplace_back(block, mark);
                    }
                    std::shuffle(held.begin(), held.end(), random);
                    const size_t give = held.size() - std::min<size_t>(held.size(), random() % 8);
                    for (size_t i = 0; i < give; ++i)
                    {
                        auto [block, mark] = held.back();
                        held.pop_back();
                        for (size_t b = 0; b < kBlock; ++b)
                            if (block[b] != mark)
                            {
                                ++clashes;
                                break;
                            }
                        if (!MidiEventPool::free(block))
                            ++failures;
                    }
                }
                for (auto [block, mark] : held)
                    if (!MidiEventPool::free(block))
                        ++failures;
            });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(0, clashes.load());
    EXPECT_EQ(0, failures.load());
    EXPECT_EQ(before, MidiEventPool::blocksInUse());
    // After all that traffic the stack still holds each free block exactly once.
    EXPECT_EQ(MidiEventPool::capacity() - before, drainAndRefill());
    EXPECT_EQ(before, MidiEventPool::blocksInUse());
}

TEST(MidiEventPool, EventsMadeAndDroppedOnAThreadFromAReservedPoolNeverTouchTheHeap)
{
    constexpr int kEvents = 5000;
    ASSERT_TRUE(MidiEventPool::reserve(2 * kEvents));
    const int chunks = MidiEventPool::growCount();
    const size_t before = MidiEventPool::blocksInUse();
    int64_t allocations = -1, frees = -1;
    size_t inUseMidway = 0;
    std::thread realtime(
        [&]
        {
            std::vector<PMidiEvent*> events(kEvents);
            Quillmark::testing::CountAllocations count;
            for (int round = 0; round < 3; ++round)
            {
                for (int i = 0; i < kEvents; ++i)
                    events[size_t(i)] = new PMidiEvent(0x90, uint8(i & 0x7F), 100);
                inUseMidway = MidiEventPool::blocksInUse();
                for (PMidiEvent* event : events)
                    event->release();
            }
            allocations = count.allocations();
            frees = count.frees();
        });
    realtime.join();
    EXPECT_EQ(0, allocations);
    EXPECT_EQ(0, frees);
    EXPECT_EQ(before + kEvents, inUseMidway);
    EXPECT_EQ(before, MidiEventPool::blocksInUse());
    EXPECT_EQ(chunks, MidiEventPool::growCount());
}

TEST(MidiEventPool, AnEmptyPoolGrowsByTheNextChunkAndReserveGrowsAhead)
{
    ASSERT_TRUE(MidiEventPool::reserve(1));
    const int chunks = MidiEventPool::growCount();
    const size_t capacity = MidiEventPool::capacity();
    // Chunks double from the first one.
    EXPECT_EQ(MidiEventPool::kFirstChunkBlocks * ((size_t(1) << chunks) - 1), capacity);

    std::vector<void*> all;
    const size_t free = capacity - MidiEventPool::blocksInUse();
    for (size_t i = 0; i <= free; ++i)
        all.push_back(MidiEventPool::allocate(kBlock));
    EXPECT_EQ(chunks + 1, MidiEventPool::growCount());
    EXPECT_EQ(capacity + (MidiEventPool::kFirstChunkBlocks << chunks), MidiEventPool::capacity());
    EXPECT_EQ(all.size(), std::set<void*>(all.begin(), all.end()).size());
    for (void* block : all)
        ASSERT_TRUE(MidiEventPool::free(block));

    // Reserving what is free already adds nothing; more than that adds a chunk.
    const size_t nowFree = MidiEventPool::capacity() - MidiEventPool::blocksInUse();
    ASSERT_TRUE(MidiEventPool::reserve(nowFree));
    EXPECT_EQ(chunks + 1, MidiEventPool::growCount());
    ASSERT_TRUE(MidiEventPool::reserve(nowFree + 1));
    EXPECT_EQ(chunks + 2, MidiEventPool::growCount());
}

TEST(MidiEventPool, RefusesOtherSizesAndBlocksThatAreNotItsOwn)
{
    EXPECT_EQ(nullptr, MidiEventPool::allocate(kBlock + 1));
    const size_t before = MidiEventPool::blocksInUse();
    std::vector<uint8_t> elsewhere(kBlock);
    EXPECT_FALSE(MidiEventPool::free(elsewhere.data()));
    EXPECT_FALSE(MidiEventPool::free(nullptr));
    auto* block = static_cast<uint8_t*>(MidiEventPool::allocate(kBlock));
    ASSERT_NE(nullptr, block);
    // A pointer into the middle of a block is not a block.
    EXPECT_FALSE(MidiEventPool::free(block + 8));
    EXPECT_EQ(before + 1, MidiEventPool::blocksInUse());
    EXPECT_TRUE(MidiEventPool::free(block));
    EXPECT_EQ(before, MidiEventPool::blocksInUse());
}

} // namespace
