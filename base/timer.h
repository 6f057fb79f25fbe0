// A repeating tick on the main thread. The owner creates a timer with a target and an interval
// and releases it to stop it; the ticks come from the main loop, never from a thread of their
// own. A list of the live timers and a global gate for all ticks stand behind it.
#pragma once

#include "base/fobject.h"

namespace Quillmark
{

class Timer;

/** Receives the ticks of a timer. */
class ITimerTarget
{
public:
    virtual void onTimer(Timer* timer) = 0;

protected:
    ~ITimerTarget() = default;
};

class Timer : public FObject
{
    QEL_DECLARE_CLASS(Timer, FObject)
public:
    /** Ticks `target` every `intervalMs` milliseconds (at least 1) from now on. The target is
        borrowed: the owner releases the timer before the target goes. */
    Timer(ITimerTarget* target, uint32 intervalMs);
    /** Leaves the list of live timers. When the timer is ticking on another thread, waits for
        that tick to end, so no tick reaches the target afterwards. */
    ~Timer() override;

    uint32 getId() const { return id; }
    uint32 getInterval() const { return interval; }
    ITimerTarget* getTarget() const { return target; }

    /** The gate for every tick; on from the start. The application closes it while it shuts
        down, so that no target is called into half-released services. */
    static void enableTicks(bool state);
    static bool ticksEnabled();
    /** Ticks the live timer with this identifier; false when there is none or the gate is
        closed. */
    static bool tick(uint32 timerId);
    /** Ticks every timer that is due and schedules its next tick; answers how many ticked.
        Served by the main loop on the main thread. */
    static int32 tickDue();
    /** The monotonic time in nanoseconds when the next timer falls due; INT64_MAX with none. */
    static int64 nextDue();
    static int32 countLive();

private:
    ITimerTarget* target;
    uint32 interval;
    uint32 id = 0;
};

} // namespace Quillmark
