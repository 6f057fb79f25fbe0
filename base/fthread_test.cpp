#include "base/fthread.h"
#include "base/testsupport.h"

#include "base/platform/threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace Quillmark;
using namespace std::chrono_literals;

namespace
{

using Quillmark::testing::eventually;

void untilStopped(FThread& self)
{
    while (!self.shouldStop())
        std::this_thread::sleep_for(1ms);
}

} // namespace

TEST(FThread, RunsItsBodyOnItsOwnThreadAndCanRunAgain)
{
    std::atomic<int> runs{0};
    std::thread::id bodyThread;
    std::atomic<int32> idInside{0};
    FThread thread("worker",
                   [&](FThread& self)
                   {
                       bodyThread = std::this_thread::get_id();
                       idInside = self.getThreadId();
                       ++runs;
                   });
    EXPECT_TRUE(thread.join(0)); // nothing runs yet
    ASSERT_TRUE(thread.start());
    EXPECT_TRUE(thread.join(-1));
    EXPECT_EQ(runs.load(), 1);
    EXPECT_NE(bodyThread, std::this_thread::get_id());
    EXPECT_NE(idInside.load(), 0);
    EXPECT_NE(idInside.load(), platform::currentThreadId());
    EXPECT_EQ(thread.getThreadId(), 0);
    EXPECT_FALSE(thread.isRunning());

    ASSERT_TRUE(thread.start());
    EXPECT_TRUE(thread.join(-1));
    EXPECT_EQ(runs.load(), 2);
}

TEST(FThread, JoinWaitsAtMostTheGivenTimeAndTerminateAsksTheBodyToStop)
{
    FThread thread("looper", untilStopped);
    ASSERT_TRUE(thread.start());
    EXPECT_FALSE(thread.start()); // runs already
    auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(thread.join(30));
    EXPECT_GE(std::chrono::steady_clock::now() - before, 30ms);
    EXPECT_TRUE(thread.isRunning());
    EXPECT_TRUE(thread.terminate());
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.join(0));
}

TEST(FThread, TerminateGivesUpOnABodyThatDoesNotListen)
{
    std::atomic<bool> release{false};
    FThread thread("stubborn",
                   [&](FThread&)
                   {
                       while (!release.load())
                           std::this_thread::sleep_for(1ms);
                   });
    ASSERT_TRUE(thread.start());
    auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(thread.terminate());
    EXPECT_GE(std::chrono::steady_clock::now() - before,
              std::chrono::milliseconds(FThread::kTerminateWaitMs));
    EXPECT_TRUE(thread.isRunning());
    release = true;
    EXPECT_TRUE(thread.join(-1));
}

TEST(FThread, PriorityIndexBecomesTheThreadsNiceValue)
{
    if (platform::threadNice(int32_t(getpid())) != 0)
        GTEST_SKIP() << "the process does not run in the normal class";
    std::atomic<int32> niceAtStart{1000};
    FThread thread("priority",
                   [&](FThread& self)
                   {
                       niceAtStart = platform::threadNice(platform::currentThreadId());
                       untilStopped(self);
                   });
    // With no thread yet any index is only stored.
    EXPECT_TRUE(thread.setPriority(9));
    EXPECT_EQ(thread.getPriority(), 9);
    EXPECT_TRUE(thread.setPriority(FThread::kLowest));
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(eventually([&] { return niceAtStart.load() != 1000; }));
    EXPECT_EQ(niceAtStart.load(), 5);

    EXPECT_FALSE(thread.setPriority(6));
    EXPECT_FALSE(thread.setPriority(-1));
    EXPECT_TRUE(thread.setPriority(FThread::kIdle));
    EXPECT_EQ(platform::threadNice(thread.getThreadId()), 19);
    // Only this thread moved.
    EXPECT_EQ(platform::threadNice(platform::currentThreadId()), 0);
    EXPECT_TRUE(thread.terminate());
}

TEST(FThread, ProcessorBindsTheThreadToOneOrAll)
{
    if (!platform::isProcessorAvailable(0) || !platform::isProcessorAvailable(1))
        GTEST_SKIP() << "needs processors 0 and 1";
    std::atomic<bool> started{false};
    pthread_t native{};
    FThread thread("bound",
                   [&](FThread& self)
                   {
                       native = pthread_self();
                       started = true;
                       untilStopped(self);
                   });
    EXPECT_FALSE(thread.setProcessor(-2));
    EXPECT_TRUE(thread.setProcessor(1)); // stored, applied at start
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(eventually([&] { return started.load(); }));
    EXPECT_EQ(platform::threadProcessor(native), 1);

    EXPECT_TRUE(thread.setProcessor(0));
    EXPECT_EQ(platform::threadProcessor(native), 0);
    EXPECT_FALSE(thread.setProcessor(100000)); // not one of the process's
    EXPECT_EQ(platform::threadProcessor(native), 0);
    EXPECT_TRUE(thread.setProcessor(-1));
    EXPECT_EQ(platform::threadProcessor(native), -1);
    EXPECT_TRUE(thread.terminate());
}

// The process-wide calls change the whole process, so they run in a child process.
TEST(FThreadDeathTest, ProcessClassesMoveEveryThread)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto child = []
    {
        FThread helper("helper", untilStopped);
        if (!helper.start())
            std::_Exit(20);
        const int32 mainThread = int32(getpid());
        int failures = 0;
        if (FThread::setProcessPriorityBoost(true))
            failures |= 1;
        // Lowering is always allowed.
        if (!FThread::setProcessAboveNormal(false) || platform::threadNice(mainThread) != 5 ||
            platform::threadNice(helper.getThreadId()) != 5)
            failures |= 2;
        // Raising needs privileges; whatever the answer, it must match what happened.
        bool raised = FThread::setProcessHighPriority(true);
        int32 nowMain = platform::threadNice(mainThread);
        if (raised != (nowMain == FThread::kHighClassNice) ||
            platform::threadNice(helper.getThreadId()) != nowMain)
            failures |= 4;
        helper.terminate();
        std::fprintf(stderr, "failures %d\n", failures);
        std::_Exit(failures);
    };
    EXPECT_EXIT(child(), ::testing::ExitedWithCode(0), "failures 0");
}

TEST(FThreadDeathTest, RealtimeClassIsEnteredOrRefusedOnce)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto child = []
    {
        using platform::RealtimeThreadClass;
        sched_param parameter{};
        int policy = 0;
        if (RealtimeThreadClass::enter(true))
        {
            pthread_getschedparam(pthread_self(), &policy, &parameter);
            if (policy != SCHED_FIFO || parameter.sched_priority != 70)
                std::_Exit(1);
            RealtimeThreadClass::enter(false);
            pthread_getschedparam(pthread_self(), &policy, &parameter);
            if (parameter.sched_priority != 60)
                std::_Exit(2);
            RealtimeThreadClass::leave();
            pthread_getschedparam(pthread_self(), &policy, &parameter);
            if (policy != SCHED_OTHER)
                std::_Exit(3);
        }
        else if (!RealtimeThreadClass::isRefused() || RealtimeThreadClass::enter(false))
            std::_Exit(4);
        std::fprintf(stderr, "realtime ok\n");
        std::_Exit(0);
    };
    EXPECT_EXIT(child(), ::testing::ExitedWithCode(0), "realtime ok");
}

TEST(FThreadDeathTest, ARefusedRealtimeClassIsNotAskedForAgain)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs to drop and regain privileges";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto child = []
    {
        using platform::RealtimeThreadClass;
        rlimit none{0, 0};
        setrlimit(RLIMIT_RTPRIO, &none);
        if (seteuid(65534) != 0)
            std::_Exit(10);
        if (RealtimeThreadClass::enter(true) || !RealtimeThreadClass::isRefused())
            std::_Exit(1);
        if (seteuid(0) != 0)
            std::_Exit(11);
        // Privileged again, the system would now agree; the remembered refusal stands.
        sched_param parameter{};
        parameter.sched_priority = RealtimeThreadClass::kNormalPriority;
        if (pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameter) != 0)
        {
            std::fprintf(stderr, "refused ok (the system refuses the class anyway)\n");
            std::_Exit(0);
        }
        parameter.sched_priority = 0;
        pthread_setschedparam(pthread_self(), SCHED_OTHER, &parameter);
        if (RealtimeThreadClass::enter(true))
            std::_Exit(2);
        int policy = 0;
        pthread_getschedparam(pthread_self(), &policy, &parameter);
        if (policy != SCHED_OTHER)
            std::_Exit(3);
        std::fprintf(stderr, "refused ok\n");
        std::_Exit(0);
    };
    EXPECT_EXIT(child(), ::testing::ExitedWithCode(0), "refused ok");
}
