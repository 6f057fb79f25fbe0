#include "base/fmainloop.h"

#include "base/fmessage.h"
#include "base/updatehandler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

using namespace Quillmark;
using namespace std::chrono_literals;

namespace
{

using Log = std::vector<std::string>;

class IdleTarget : public CmObject
{
public:
    IdleTarget(Log* log, std::string name) : log(log), name(std::move(name)) {}
    void notify(FMessage* message) override
    {
        if (message->is("Idle"))
        {
            ++idles;
            if (log)
                log->push_back(name);
        }
        if (action)
            action();
    }
    Log* log;
    std::string name;
    std::atomic<int> idles{0};
    std::function<void()> action;
};

class CommandRecorder : public ICommandHandler
{
public:
    explicit CommandRecorder(Log* log) : log(log) {}
    bool interpretCommand(const char8* request, const char8* category, const char8* name) override
    {
        log->push_back(std::string(request) + " " + category + "/" + name);
        return true;
    }
    Log* log;
};

class Watcher : public FObject
{
public:
    explicit Watcher(Log* log) : log(log) {}
    void update(FUnknown*, int32 message) override
    {
        log->push_back("update " + std::to_string(message));
    }
    Log* log;
};

double threadCpuMilliseconds()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1000.0 + double(now.tv_nsec) / 1e6;
}

} // namespace

TEST(FMainLoopIdle, APassRunsIdleTargetsProceduresCommandsThenDeferredUpdates)
{
    FMainLoop loop;
    Log log;
    auto* target = new IdleTarget(&log, "idle");
    CommandRecorder commands(&log);
    FObject subject;
    Watcher watcher(&log);
    UpdateHandler::instance()->addDependent(&subject, &watcher);

    // Queued in the opposite order of the pass.
    subject.deferChanged(7);
    loop.queueCommand("File", "Close");
    loop.setCommandHandler(&commands);
    loop.deferProcedure([&] { log.push_back("procedure"); });
    loop.addIdleTarget(target);
    EXPECT_EQ(target->getRefCount(), 2);

    EXPECT_TRUE(loop.runIdlePass());
    EXPECT_EQ(log, (Log{"idle", "procedure", "Interpret File/Close", "update 7"}));

    log.clear();
    EXPECT_TRUE(loop.runIdlePass());
    EXPECT_EQ(log, (Log{"idle"})); // procedures, commands and changes ran once

    EXPECT_TRUE(loop.removeIdleTarget(target));
    EXPECT_FALSE(loop.removeIdleTarget(target));
    EXPECT_EQ(target->getRefCount(), 1);
    UpdateHandler::instance()->removeDependent(&subject, &watcher);
    loop.setCommandHandler(nullptr);
    target->release();
}

TEST(FMainLoopIdle, WorkQueuedDuringAPassWaitsForTheNext)
{
    FMainLoop loop;
    Log log;
    CommandRecorder commands(&log);
    auto* target = new IdleTarget(&log, "idle");
    auto* late = new IdleTarget(&log, "late");
    bool nestedPassRan = true;
    target->action = [&]
    {
        nestedPassRan = loop.runIdlePass(); // re-entry does nothing
        loop.addIdleTarget(late);
        target->action = nullptr;
    };
    loop.addIdleTarget(target);
    loop.deferProcedure(
        [&]
        {
            log.push_back("first");
            loop.deferProcedure([&] { log.push_back("second"); });
        });

    loop.queueCommand("Edit", "Undo"); // no handler yet: it stays queued
    loop.runIdlePass();
    EXPECT_FALSE(nestedPassRan);
    EXPECT_EQ(log, (Log{"idle", "first"}));
    EXPECT_EQ(loop.countQueuedCommands(), 1);

    log.clear();
    loop.setCommandHandler(&commands);
    loop.runIdlePass();
    EXPECT_EQ(log, (Log{"idle", "late", "second", "Interpret Edit/Undo"}));
    EXPECT_EQ(loop.countQueuedCommands(), 0);

    loop.setCommandHandler(nullptr);
    loop.removeIdleTarget(target);
    loop.removeIdleTarget(late);
    target->release();
    late->release();
}

TEST(FMainLoopIdle, ATargetRemovedDuringThePassIsNotCalled)
{
    FMainLoop loop;
    Log log;
    auto* first = new IdleTarget(&log, "first");
    auto* second = new IdleTarget(&log, "second");
    auto* third = new IdleTarget(&log, "third");
    first->action = [&]
    {
        loop.removeIdleTarget(first); // itself, while being called
        loop.removeIdleTarget(second);
    };
    loop.addIdleTarget(first);
    loop.addIdleTarget(second);
    loop.addIdleTarget(third);
    first->release(); // the loop's reference is the last one now
    second->release();

    loop.runIdlePass();
    EXPECT_EQ(log, (Log{"first", "third"}));
    log.clear();
    loop.runIdlePass();
    EXPECT_EQ(log, (Log{"third"}));
    loop.removeIdleTarget(third);
    EXPECT_EQ(third->getRefCount(), 1);
    third->release();
}

TEST(FMainLoopIdle, ProceduresAndCommandsFromOtherThreadsRunOnTheMainThread)
{
    constexpr int kThreads = 4;
    constexpr int kEach = 50;
    FMainLoop loop;
    Log commandLog;
    CommandRecorder commands(&commandLog);
    loop.setCommandHandler(&commands);
    std::atomic<int> ran{0};
    std::atomic<int> offMain{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&]
            {
                for (int i = 0; i < kEach; ++i)
                {
                    loop.deferProcedure(
                        [&]
                        {
                            if (!FMainLoop::isMainThread())
                                ++offMain;
                            ++ran;
                        });
                    loop.queueCommand("Transport", "Play");
                }
            });
    auto end = std::chrono::steady_clock::now() + 5s;
    loop.run(
        [&]
        {
            return (ran.load() == kThreads * kEach &&
                    commandLog.size() == size_t(kThreads * kEach)) ||
                   std::chrono::steady_clock::now() > end;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(ran.load(), kThreads * kEach);
    EXPECT_EQ(offMain.load(), 0);
    EXPECT_EQ(commandLog.size(), size_t(kThreads * kEach));
    loop.setCommandHandler(nullptr);
}

TEST(FMainLoopIdle, RunSleepsBetweenIdlePassesAndDeliversMessagesOnTime)
{
    FMainLoop loop;
    auto* target = new IdleTarget(nullptr, "idle");
    loop.addIdleTarget(target);
    auto* listener = new IdleTarget(nullptr, "listener");
    std::atomic<bool> heard{false};
    std::chrono::steady_clock::time_point heardAt;
    listener->action = [&]
    {
        heard = true;
        heardAt = std::chrono::steady_clock::now();
    };

    auto start = std::chrono::steady_clock::now();
    loop.post(listener, "Later", 60);
    const double cpuBefore = threadCpuMilliseconds();
    loop.run([&] { return std::chrono::steady_clock::now() - start >= 300ms; });
    const double cpuUsed = threadCpuMilliseconds() - cpuBefore;

    // About one pass per interval: 30 in 300 ms. A busy machine may give fewer, never more;
    // and a loop that waits uses little processor time whatever the load.
    EXPECT_GE(target->idles.load(), 1);
    EXPECT_LE(target->idles.load(), 35);
    EXPECT_LT(cpuUsed, 100.0) << "the loop spins";
    EXPECT_TRUE(heard.load());
    EXPECT_GE(heardAt - start, 60ms);

    loop.removeIdleTarget(target);
    target->release();
    listener->release();
}
