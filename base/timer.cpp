#include "base/timer.h"

#include "base/platform/clock.h"
#include "base/singleton.h"

#include <algorithm>
#include <climits>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace Quillmark
{

namespace
{

// The live timers. Ticks look a timer up by identifier each time, so a timer that is gone is
// simply not found.
class TimerList : public FObject
{
public:
    struct Entry
    {
        uint32 id;
        Timer* timer;
        int64 due;
    };
    struct Ticking
    {
        uint32 id;
        std::thread::id thread;
    };

    static TimerList* instance() { return singletonInstance<TimerList>(); }

    std::mutex mutex;
    std::condition_variable tickEnded;
    std::vector<Entry> entries;
    std::vector<Ticking> ticking;
    uint32 nextId = 1;
    bool enabled = true;
};

constexpr int64 kNanosecondsPerMs = 1000000;

} // namespace

Timer::Timer(ITimerTarget* timerTarget, uint32 intervalMs)
    : target(timerTarget), interval(std::max<uint32>(intervalMs, 1))
{
    TimerList* list = TimerList::instance();
    if (!list)
        return;
    std::lock_guard<std::mutex> guard(list->mutex);
    id = list->nextId++;
    if (list->nextId == 0)
        list->nextId = 1;
    list->entries.push_back(
        {id, this, platform::nanoseconds() + int64(interval) * kNanosecondsPerMs});
}

Timer::~Timer()
{
    TimerList* list = TimerList::instance();
    if (!list || id == 0)
        return;
    std::unique_lock<std::mutex> guard(list->mutex);
    std::erase_if(list->entries, [this](const TimerList::Entry& entry) { return entry.id == id; });
    if (list->entries.empty())
        std::vector<TimerList::Entry>().swap(list->entries);
    // A tick of this timer on this thread is further up the stack and must not be waited for.
    const auto self = std::this_thread::get_id();
    list->tickEnded.wait(guard,
                         [&]
                         {
                             return std::none_of(list->ticking.begin(), list->ticking.end(),
                                                 [&](const TimerList::Ticking& tick)
                                                 { return tick.id == id && tick.thread != self; });
                         });
}

void Timer::enableTicks(bool state)
{
    if (TimerList* list = TimerList::instance())
    {
        std::lock_guard<std::mutex> guard(list->mutex);
        list->enabled = state;
    }
}

bool Timer::ticksEnabled()
{
    TimerList* list = TimerList::instance();
    if (!list)
        return false;
    std::lock_guard<std::mutex> guard(list->mutex);
    return list->enabled;
}

bool Timer::tick(uint32 timerId)
{
    TimerList* list = TimerList::instance();
    if (!list)
        return false;
    Timer* timer = nullptr;
    ITimerTarget* timerTarget = nullptr;
    const auto self = std::this_thread::get_id();
    {
        std::lock_guard<std::mutex> guard(list->mutex);
        if (!list->enabled)
            return false;
        auto found =
            std::find_if(list->entries.begin(), list->entries.end(),
                         [&](const TimerList::Entry& entry) { return entry.id == timerId; });
        if (found == list->entries.end() || !found->timer->target)
            return false;
        timer = found->timer;
        timerTarget = timer->target;
        list->ticking.push_back({timerId, self});
    }
    // Called without the lock: the target may create and destroy timers, this one included.
    // A destructor on another thread waits until the call has returned.
    timerTarget->onTimer(timer);
    {
        std::lock_guard<std::mutex> guard(list->mutex);
        auto mine = std::find_if(list->ticking.begin(), list->ticking.end(),
                                 [&](const TimerList::Ticking& tick)
                                 { return tick.id == timerId && tick.thread == self; });
        if (mine != list->ticking.end())
            list->ticking.erase(mine);
    }
    list->tickEnded.notify_all();
    return true;
}

int32 Timer::tickDue()
{
    TimerList* list = TimerList::instance();
    if (!list)
        return 0;
    std::vector<uint32> due;
    {
        std::lock_guard<std::mutex> guard(list->mutex);
        const int64 now = platform::nanoseconds();
        for (TimerList::Entry& entry : list->entries)
        {
            if (entry.due > now)
                continue;
            // A late tick is not made up for: the next one comes a full interval later.
            const int64 step = int64(entry.timer->interval) * kNanosecondsPerMs;
            entry.due = entry.due + step > now ? entry.due + step : now + step;
            due.push_back(entry.id);
        }
    }
    int32 ticked = 0;
    for (uint32 timerId : due)
        if (tick(timerId))
            ++ticked;
    return ticked;
}

int64 Timer::nextDue()
{
    TimerList* list = TimerList::instance();
    if (!list)
        return INT64_MAX;
    std::lock_guard<std::mutex> guard(list->mutex);
    int64 earliest = INT64_MAX;
    for (const TimerList::Entry& entry : list->entries)
        earliest = std::min(earliest, entry.due);
    return earliest;
}

int32 Timer::countLive()
{
    TimerList* list = TimerList::instance();
    if (!list)
        return 0;
    std::lock_guard<std::mutex> guard(list->mutex);
    return int32(list->entries.size());
}

} // namespace Quillmark
