#include "base/timer.h"

#include "base/fmainloop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace Quillmark;
using namespace std::chrono_literals;

namespace
{

class TickCounter : public ITimerTarget
{
public:
    void onTimer(Timer* timer) override
    {
        ++ticks;
        onMainThread = onMainThread && FMainLoop::isMainThread();
        lastTimer = timer;
        if (action)
            action(timer);
    }
    std::atomic<int> ticks{0};
    bool onMainThread = true;
    Timer* lastTimer = nullptr;
    std::function<void(Timer*)> action;
};

/** Serves `loop` for `duration`. */
void serveFor(FMainLoop& loop, std::chrono::milliseconds duration)
{
    auto end = std::chrono::steady_clock::now() + duration;
    loop.run([&] { return std::chrono::steady_clock::now() >= end; });
}

/** Serves `loop` until `condition` holds or five seconds have passed. */
template <class Condition> void serveUntil(FMainLoop& loop, Condition condition)
{
    auto end = std::chrono::steady_clock::now() + 5s;
    loop.run([&] { return condition() || std::chrono::steady_clock::now() >= end; });
}

} // namespace

TEST(Timer, TicksOnTheMainThreadThroughTheLoopUntilReleased)
{
    FMainLoop loop;
    TickCounter target;
    const int32 liveBefore = Timer::countLive();
    auto* timer = new Timer(&target, 5);
    EXPECT_EQ(Timer::countLive(), liveBefore + 1);
    EXPECT_EQ(timer->getInterval(), 5u);
    EXPECT_EQ(timer->getTarget(), &target);

    auto before = std::chrono::steady_clock::now();
    serveUntil(loop, [&] { return target.ticks.load() >= 3; });
    EXPECT_GE(target.ticks.load(), 3);
    EXPECT_GE(std::chrono::steady_clock::now() - before, 15ms); // three intervals at least
    EXPECT_TRUE(target.onMainThread);
    EXPECT_EQ(target.lastTimer, timer);

    timer->release();
    EXPECT_EQ(Timer::countLive(), liveBefore);
    const int ticks = target.ticks.load();
    serveFor(loop, 40ms);
    EXPECT_EQ(target.ticks.load(), ticks);
}

TEST(Timer, TheClosedGateStopsEveryTick)
{
    FMainLoop loop;
    TickCounter target;
    auto* timer = new Timer(&target, 2);
    Timer::enableTicks(false);
    EXPECT_FALSE(Timer::ticksEnabled());
    serveFor(loop, 30ms);
    EXPECT_FALSE(Timer::tick(timer->getId()));
    Timer::enableTicks(true);
    EXPECT_EQ(target.ticks.load(), 0);

    EXPECT_TRUE(Timer::tick(timer->getId()));
    EXPECT_EQ(target.ticks.load(), 1);
    const uint32 id = timer->getId();
    timer->release();
    EXPECT_FALSE(Timer::tick(id)); // a tick for a timer that is gone does nothing
    EXPECT_EQ(target.ticks.load(), 1);
}

TEST(Timer, ATargetMayReleaseItsTimerInsideTheTick)
{
    FMainLoop loop;
    TickCounter target;
    auto* timer = new Timer(&target, 2);
    auto* second = new Timer(&target, 2);
    target.action = [&](Timer*)
    {
        // The first tick of either timer releases both.
        if (timer)
        {
            timer->release();
            timer = nullptr;
        }
        if (second)
        {
            second->release();
            second = nullptr;
        }
    };
    serveUntil(loop, [&] { return target.ticks.load() >= 1; });
    serveFor(loop, 20ms);
    EXPECT_EQ(target.ticks.load(), 1);
    EXPECT_EQ(timer, nullptr);
    EXPECT_EQ(second, nullptr);
}

TEST(Timer, ReleasedOnAnotherThreadItWaitsForTheRunningTick)
{
    FMainLoop loop;
    std::atomic<bool> inTick{false};
    std::atomic<bool> tickDone{false};
    std::atomic<bool> releaseReturned{false};
    std::atomic<bool> tickWasDoneFirst{false};
    TickCounter target;
    target.action = [&](Timer*)
    {
        if (inTick.exchange(true))
            return;
        std::this_thread::sleep_for(60ms);
        tickDone = true;
    };
    auto* timer = new Timer(&target, 2);
    std::thread releaser(
        [&]
        {
            while (!inTick.load())
                std::this_thread::sleep_for(1ms);
            timer->release();
            tickWasDoneFirst = tickDone.load();
            releaseReturned = true;
        });
    serveUntil(loop, [&] { return releaseReturned.load(); });
    releaser.join();
    EXPECT_TRUE(tickWasDoneFirst.load());
    EXPECT_EQ(target.ticks.load(), 1);
}
