// A thread of the host with a priority from a small table and an optional processor binding.
// The owner creates, starts and joins it; the body is the run() override or a function given
// at construction (a subclass that overrides run joins in its own destructor). Beside it stand
// the process-wide priority calls.
#pragma once

#include "qel3/funknown.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <pthread.h>
#include <string>
#include <thread>

namespace Quillmark
{

class FThread
{
public:
    /** Priority indices, lowest to highest. */
    enum Priority : int32
    {
        kIdle = 0,
        kLowest = 1,
        kNormal = 2,
        kAboveNormal = 3,
        kHighest = 4,
        kTimeCritical = 5,
    };
    /** How long terminate waits for the body to see the request and return. */
    static constexpr int32 kTerminateWaitMs = 1000;

    explicit FThread(const char8* name = "FThread", std::function<void(FThread&)> body = {});
    /** Asks the body to stop and waits for it, with no limit. */
    virtual ~FThread();
    FThread(const FThread&) = delete;
    FThread& operator=(const FThread&) = delete;

    /** Starts the thread with the stored priority and processor; false when it runs already. */
    bool start();
    /** Stores the index. The index is checked only against a running thread: with no thread
        yet this answers true, and start applies a valid index. Failures of the system to apply
        it are ignored, since raising priority needs privileges a user may lack. */
    bool setPriority(int32 index);
    int32 getPriority() const { return priority.load(); }
    /** Stores the processor: 0 or above binds the thread to that processor alone, -1 lets it
        run on every processor of the process; other values answer false. */
    bool setProcessor(int32 processor);
    int32 getProcessor() const { return processor.load(); }
    /** True at once when no thread runs; otherwise true when the thread ended within the time
        (-1 waits with no limit). */
    bool join(int32 milliseconds = -1);
    /** A thread cannot be killed safely from outside: its locks and memory would stay taken.
        This asks the body to stop (see shouldStop) and waits up to kTerminateWaitMs for it.
        True when the thread has ended; false when it still runs, and then the destructor waits
        for it. */
    bool terminate();
    /** True while the body runs. */
    bool isRunning() const;
    /** True once terminate or the destructor has asked the body to return; bodies that loop
        check it. */
    bool shouldStop() const { return stopRequested.load(); }
    /** The kernel's identifier of the running thread, 0 when none runs. */
    int32 getThreadId() const { return threadId.load(); }

    /** The system priority of an index (-15 to 15), by the process's priority class. */
    static int32 systemPriorityOf(int32 index, bool normalProcessClass);
    /** The nice value a system priority stands for, relative to the process's own. */
    static int32 niceOf(int32 systemPriority, int32 processNice);

    /** Process-wide: true selects the high priority class, false the normal class. False when
        the system refuses. */
    static bool setProcessHighPriority(bool high);
    /** Process-wide: true selects above normal, false below normal. */
    static bool setProcessAboveNormal(bool above);
    /** Process-wide priority boost; answers false, the system has none. */
    static bool setProcessPriorityBoost(bool enable);

    static constexpr int32 kHighClassNice = -10;
    static constexpr int32 kAboveNormalClassNice = -5;
    static constexpr int32 kBelowNormalClassNice = 5;

protected:
    /** The body; by default the function given at construction. */
    virtual void run();

private:
    void entry();
    void applyPriority(int32 index);
    void applyProcessor(int32 number);

    std::string name;
    std::function<void(FThread&)> body;
    std::atomic<int32> priority{kNormal};
    std::atomic<int32> processor{-1};
    std::atomic<int32> threadId{0};
    pthread_t nativeThread{};
    std::atomic<bool> stopRequested{false};

    mutable std::mutex mutex;
    std::condition_variable stateChanged;
    bool running = false;
    bool started = false; // the new thread has applied its settings
    std::thread handle;
};

} // namespace Quillmark
