// The watch over the calls a plug-in makes: what it sees inside a section on this thread, what
// it leaves alone, and that the calls it sees still do what they did.
#include "rtcheck/callwatch.h"
#include "rtcheck/stacksymbolizer.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace Quillmark
{
namespace
{

// The stack of an allocation has to name the function that made it.
__attribute__((noinline)) void* allocateForTheWatch(std::size_t size)
{
    void* memory = std::malloc(size);
    asm volatile("" : : "r"(memory) : "memory"); // keeps the call
    return memory;
}

std::string joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

class CallWatchTest : public ::testing::Test
{
protected:
    void SetUp() override { CallWatch::prepare(); }
    CallRecord record;
};

TEST_F(CallWatchTest, SeesHeapCallsInsideASectionWithTheStackOfTheFirst)
{
    {
        WatchedSection section(record);
        EXPECT_TRUE(CallWatch::watching());
        void* memory = allocateForTheWatch(100);
        std::free(memory);
        auto object = std::make_unique<std::string>(200, 'x'); // new, and new inside string
    }
    EXPECT_FALSE(CallWatch::watching());
    EXPECT_GE(record.count(WatchedCall::kAllocation), 3);
    EXPECT_GE(record.count(WatchedCall::kFree), 3);
    EXPECT_EQ(record.blockingCalls(), 0);
    ASSERT_TRUE(record.firstHeapCall.seen());
    StackSymbolizer symbolizer;
    // The test program is the host here, so the frames of this file stay in the stack.
    const std::vector<std::string> lines =
        symbolizer.describe(record.firstHeapCall.frames, record.firstHeapCall.depth, "");
    ASSERT_FALSE(lines.empty());
    // Neither the watch's own frames nor a sanitizer's come first.
    EXPECT_NE(lines[0].find("allocateForTheWatch"), std::string::npos) << joined(lines);
}

TEST_F(CallWatchTest, LeavesOtherThreadsAndTheTimeOutsideSectionsAlone)
{
    std::atomic<int> stage{0};
    std::thread other(
        [&]
        {
            while (stage.load() != 1)
                std::this_thread::yield();
            std::free(allocateForTheWatch(64));
            std::this_thread::sleep_for(std::chrono::microseconds(10));
            stage = 2;
        });
    {
        WatchedSection section(record);
        stage = 1;
        while (stage.load() != 2)
        {
        }
    }
    other.join();
    std::free(allocateForTheWatch(64));
    EXPECT_EQ(record.heapCalls(), 0);
    EXPECT_EQ(record.blockingCalls(), 0);
    EXPECT_FALSE(record.firstHeapCall.seen());
}

TEST_F(CallWatchTest, TellsALockHeldElsewhereFromAFreeOne)
{
    std::mutex shared;
    std::atomic<int> stage{0};
    std::thread holder(
        [&]
        {
            std::lock_guard<std::mutex> hold(shared);
            stage = 1;
            // Held well past the moment the other thread is about to lock.
            while (stage.load() != 2)
                std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        });
    while (stage.load() != 1)
        std::this_thread::yield();
    {
        WatchedSection section(record);
        stage = 2;
        shared.lock(); // waits for the holder
        shared.unlock();
        shared.lock(); // free now
        shared.unlock();
    }
    holder.join();
    EXPECT_EQ(record.count(WatchedCall::kBlockingLock), 1);
    EXPECT_EQ(record.count(WatchedCall::kUncontendedLock), 1);
    ASSERT_TRUE(record.firstBlockingCall.seen());
    EXPECT_STREQ(record.firstBlockingCall.function, "pthread_mutex_lock");
}

TEST_F(CallWatchTest, SeesSleepsWaitsFilesAndSockets)
{
    std::mutex mutex;
    std::condition_variable condition;
    {
        WatchedSection section(record);
        std::this_thread::sleep_for(std::chrono::microseconds(1));
        usleep(1);
        std::unique_lock<std::mutex> lock(mutex);
        condition.wait_for(lock, std::chrono::microseconds(1));
        lock.unlock();
        if (std::FILE* file = std::fopen("/dev/null", "r"))
            std::fclose(file);
        const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
        if (descriptor >= 0)
            close(descriptor);
    }
    EXPECT_EQ(record.count(WatchedCall::kSleep), 2);
    EXPECT_EQ(record.count(WatchedCall::kWait), 1);
    EXPECT_EQ(record.count(WatchedCall::kFile), 3); // fopen, fclose, close
    EXPECT_EQ(record.count(WatchedCall::kSocket), 1);
    ASSERT_TRUE(record.firstBlockingCall.seen());
    EXPECT_TRUE(std::strcmp(record.firstBlockingCall.function, "nanosleep") == 0 ||
                std::strcmp(record.firstBlockingCall.function, "clock_nanosleep") == 0)
        << record.firstBlockingCall.function;
}

TEST_F(CallWatchTest, AWatchedCallStillDoesItsWork)
{
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    char received[6] = {};
    long written = 0, read = 0;
    void* memory = nullptr;
    {
        WatchedSection section(record);
        written = write(pipeEnds[1], "hello", 5);
        read = ::read(pipeEnds[0], received, 5);
        memory = std::calloc(4, 16);
        memory = std::realloc(memory, 128);
    }
    close(pipeEnds[0]);
    close(pipeEnds[1]);
    EXPECT_EQ(written, 5);
    EXPECT_EQ(read, 5);
    EXPECT_STREQ(received, "hello");
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(static_cast<unsigned char*>(memory)[63], 0); // calloc's zeros survived realloc
    std::free(memory);
    EXPECT_EQ(record.count(WatchedCall::kFile), 2);
    EXPECT_EQ(record.count(WatchedCall::kAllocation), 2);
}

TEST(StackSymbolizer, DemanglesCppNamesAndKeepsOthers)
{
    EXPECT_EQ(StackSymbolizer::demangle("_ZN9Quillmark10ElfSymbols4findEm"),
              "Quillmark::ElfSymbols::find(unsigned long)");
    EXPECT_EQ(StackSymbolizer::demangle("malloc"), "malloc");
}

} // namespace
} // namespace Quillmark
