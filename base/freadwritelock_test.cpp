#include "base/freadwritelock.h"
#include "base/testsupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace Quillmark;
using namespace std::chrono_literals;

namespace
{

using Quillmark::testing::eventually;

} // namespace

TEST(FReadWriteLock, ReadersAreInsideTogether)
{
    constexpr int kReaders = 4;
    FReadWriteLock lock;
    std::atomic<int> inside{0};
    std::atomic<bool> allWereInside{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < kReaders; ++i)
        readers.emplace_back(
            [&]
            {
                FReadGuard guard(lock);
                ++inside;
                // Each stays until all are in: with an exclusive lock this would never happen.
                if (eventually([&] { return inside.load() == kReaders; }))
                    allWereInside = true;
            });
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_TRUE(allWereInside.load());
    EXPECT_EQ(lock.readerCount(), 0);
}

TEST(FReadWriteLock, AWriterWaitsForReadersAndKeepsEveryoneOut)
{
    FReadWriteLock lock;
    std::atomic<bool> writerIn{false};
    std::atomic<bool> letWriterGo{false};
    std::atomic<bool> lateReaderIn{false};

    lock.enterRead();
    std::thread writer(
        [&]
        {
            lock.enterWrite();
            writerIn = true;
            eventually([&] { return letWriterGo.load(); });
            writerIn = false;
            lock.leaveWrite();
        });
    std::this_thread::sleep_for(30ms);
    EXPECT_FALSE(writerIn.load()); // a reader is inside
    lock.leaveRead();
    ASSERT_TRUE(eventually([&] { return writerIn.load(); }));

    std::thread lateReader(
        [&]
        {
            FReadGuard guard(lock);
            EXPECT_FALSE(writerIn.load());
            lateReaderIn = true;
        });
    std::this_thread::sleep_for(30ms);
    EXPECT_FALSE(lateReaderIn.load()); // the writer is inside
    letWriterGo = true;
    writer.join();
    lateReader.join();
    EXPECT_TRUE(lateReaderIn.load());
}

TEST(FReadWriteLock, TheWriterMayReadAndWriteAgain)
{
    FReadWriteLock lock;
    lock.enterWrite();
    lock.enterRead();
    EXPECT_EQ(lock.readerCount(), 1);
    lock.leaveRead();
    lock.enterWrite();
    lock.leaveWrite();

    std::atomic<bool> otherIn{false};
    std::thread other(
        [&]
        {
            FWriteGuard guard(lock);
            otherIn = true;
        });
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(otherIn.load()); // the outer write still holds
    lock.leaveWrite();
    other.join();
    EXPECT_TRUE(otherIn.load());
}

TEST(FReadWriteLock, MixedLoadNeverLetsAWriterMeetAnyone)
{
    FReadWriteLock lock;
    std::atomic<int> readers{0};
    std::atomic<int> writers{0};
    std::atomic<int> violations{0};
    long protectedValue = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t)
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; i < 2000; ++i)
                {
                    if ((i + t) % 4 == 0)
                    {
                        FWriteGuard guard(lock);
                        if (++writers != 1 || readers.load() != 0)
                            ++violations;
                        ++protectedValue;
                        --writers;
                    }
                    else
                    {
                        FReadGuard guard(lock);
                        ++readers;
                        if (writers.load() != 0)
                            ++violations;
                        volatile long seen = protectedValue;
                        (void)seen;
                        --readers;
                    }
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(violations.load(), 0);
    EXPECT_EQ(protectedValue, 6 * 500);
    EXPECT_EQ(lock.readerCount(), 0);
}
