#include "base/fthread.h"

#include "base/platform/threads.h"

#include <algorithm>
#include <chrono>
#include <unistd.h>

namespace Quillmark
{

namespace
{

constexpr int32 kPriorityCount = 6;
// System priority by index: first for a process in the normal class, then for any other.
constexpr int32 kNormalClassTable[kPriorityCount] = {-15, -1, 0, 1, 2, 15};
constexpr int32 kOtherClassTable[kPriorityCount] = {-15, -2, -1, 0, 1, 15};
constexpr int32 kIdleSystemPriority = -15;
constexpr int32 kTimeCriticalSystemPriority = 15;
constexpr int32 kNicePerSystemStep = 5;

int32 processNice()
{
    return platform::threadNice(int32(getpid()));
}

} // namespace

FThread::FThread(const char8* threadName, std::function<void(FThread&)> threadBody)
    : name(threadName ? threadName : "FThread"), body(std::move(threadBody))
{
}

FThread::~FThread()
{
    stopRequested.store(true);
    join(-1);
}

void FThread::run()
{
    if (body)
        body(*this);
}

int32 FThread::systemPriorityOf(int32 index, bool normalProcessClass)
{
    if (index < 0 || index >= kPriorityCount)
        return 0;
    return normalProcessClass ? kNormalClassTable[index] : kOtherClassTable[index];
}

int32 FThread::niceOf(int32 systemPriority, int32 processNiceValue)
{
    // Idle and time critical are absolute, as they are for the system the table comes from;
    // the steps between are relative to the process's own value.
    if (systemPriority <= kIdleSystemPriority)
        return 19;
    if (systemPriority >= kTimeCriticalSystemPriority)
        return -20;
    return std::clamp(processNiceValue - systemPriority * kNicePerSystemStep, -20, 19);
}

bool FThread::start()
{
    std::unique_lock<std::mutex> guard(mutex);
    if (running)
        return false;
    if (handle.joinable())
        handle.join(); // an earlier run that nobody joined has ended already
    stopRequested.store(false);
    running = true;
    started = false;
    handle = std::thread(&FThread::entry, this);
    stateChanged.wait(guard, [this] { return started; });
    return true;
}

void FThread::entry()
{
    pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
    {
        std::lock_guard<std::mutex> guard(mutex);
        threadId.store(platform::currentThreadId());
        nativeThread = pthread_self();
        int32 index = priority.load();
        if (index >= 0 && index < kPriorityCount)
            applyPriority(index);
        applyProcessor(processor.load());
        started = true;
    }
    stateChanged.notify_all();

    run();

    {
        std::lock_guard<std::mutex> guard(mutex);
        running = false;
        threadId.store(0);
    }
    stateChanged.notify_all();
}

void FThread::applyPriority(int32 index)
{
    int32 base = processNice();
    int32 systemPriority = systemPriorityOf(index, base == 0);
    // Raising a thread above its process needs privileges; without them it keeps its value.
    platform::setThreadNice(threadId.load(), niceOf(systemPriority, base));
}

void FThread::applyProcessor(int32 number)
{
    if (number >= -1)
        platform::setThreadAffinity(nativeThread, number);
}

bool FThread::setPriority(int32 index)
{
    priority.store(index);
    std::lock_guard<std::mutex> guard(mutex);
    if (!running)
        return true;
    if (index < 0 || index >= kPriorityCount)
        return false;
    applyPriority(index);
    return true;
}

bool FThread::setProcessor(int32 number)
{
    processor.store(number);
    if (number < -1)
        return false;
    std::lock_guard<std::mutex> guard(mutex);
    if (!running)
        return true;
    return platform::setThreadAffinity(nativeThread, number);
}

bool FThread::join(int32 milliseconds)
{
    std::unique_lock<std::mutex> guard(mutex);
    if (std::this_thread::get_id() == handle.get_id())
        return !running; // a thread cannot wait for its own end
    if (milliseconds < 0)
        stateChanged.wait(guard, [this] { return !running; });
    else if (!stateChanged.wait_for(guard, std::chrono::milliseconds(milliseconds),
                                    [this] { return !running; }))
        return false;
    // The body has returned; what is left of the thread ends without this lock.
    if (handle.joinable())
        handle.join();
    return true;
}

bool FThread::terminate()
{
    stopRequested.store(true);
    return join(kTerminateWaitMs);
}

bool FThread::isRunning() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return running;
}

bool FThread::setProcessHighPriority(bool high)
{
    return platform::setProcessNice(high ? kHighClassNice : 0);
}

bool FThread::setProcessAboveNormal(bool above)
{
    return platform::setProcessNice(above ? kAboveNormalClassNice : kBelowNormalClassNice);
}

bool FThread::setProcessPriorityBoost(bool enable)
{
    return platform::setProcessPriorityBoost(enable);
}

} // namespace Quillmark
