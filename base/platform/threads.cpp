#include "base/platform/threads.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Quillmark::platform
{

namespace
{

constexpr int32_t kNiceMin = -20;
constexpr int32_t kNiceMax = 19;

bool processMask(cpu_set_t& mask)
{
    CPU_ZERO(&mask);
    return sched_getaffinity(getpid(), sizeof(mask), &mask) == 0;
}

} // namespace

int32_t currentThreadId()
{
    return int32_t(syscall(SYS_gettid));
}

int32_t threadNice(int32_t threadId)
{
    errno = 0;
    int value = getpriority(PRIO_PROCESS, id_t(threadId));
    return errno == 0 ? int32_t(value) : 0;
}

bool setThreadNice(int32_t threadId, int32_t nice)
{
    nice = std::clamp(nice, kNiceMin, kNiceMax);
    return setpriority(PRIO_PROCESS, id_t(threadId), nice) == 0;
}

bool setProcessNice(int32_t nice)
{
    const int32_t mainThread = int32_t(getpid());
    const int32_t shift = std::clamp(nice, kNiceMin, kNiceMax) - threadNice(mainThread);
    DIR* tasks = opendir("/proc/self/task");
    if (!tasks)
        return setThreadNice(mainThread, nice);
    bool allDone = true;
    while (dirent* entry = readdir(tasks))
    {
        if (entry->d_name[0] < '0' || entry->d_name[0] > '9')
            continue;
        int32_t threadId = int32_t(std::strtol(entry->d_name, nullptr, 10));
        if (!setThreadNice(threadId, threadNice(threadId) + shift))
            allDone = false;
    }
    closedir(tasks);
    return allDone;
}

bool setProcessPriorityBoost(bool)
{
    return false;
}

bool isProcessorAvailable(int32_t processor)
{
    cpu_set_t mask;
    if (processor < 0 || processor >= CPU_SETSIZE || !processMask(mask))
        return false;
    return CPU_ISSET(processor, &mask);
}

bool setThreadAffinity(pthread_t thread, int32_t processor)
{
    cpu_set_t mask;
    if (processor == -1)
    {
        if (!processMask(mask))
            return false;
    }
    else
    {
        if (!isProcessorAvailable(processor))
            return false;
        CPU_ZERO(&mask);
        CPU_SET(processor, &mask);
    }
    return pthread_setaffinity_np(thread, sizeof(mask), &mask) == 0;
}

int32_t threadProcessor(pthread_t thread)
{
    cpu_set_t mask;
    CPU_ZERO(&mask);
    if (pthread_getaffinity_np(thread, sizeof(mask), &mask) != 0 || CPU_COUNT(&mask) != 1)
        return -1;
    for (int32_t processor = 0; processor < CPU_SETSIZE; ++processor)
        if (CPU_ISSET(processor, &mask))
            return processor;
    return -1;
}

bool& RealtimeThreadClass::refused()
{
    static bool wasRefused = false;
    return wasRefused;
}

bool RealtimeThreadClass::enter(bool high)
{
    std::atomic_ref<bool> wasRefused(refused());
    if (wasRefused.load())
        return false;
    sched_param parameter{};
    parameter.sched_priority = high ? kHighPriority : kNormalPriority;
    if (pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameter) != 0)
    {
        wasRefused.store(true);
        return false;
    }
    return true;
}

void RealtimeThreadClass::leave()
{
    sched_param parameter{};
    pthread_setschedparam(pthread_self(), SCHED_OTHER, &parameter);
}

bool RealtimeThreadClass::isRefused()
{
    return std::atomic_ref<bool>(refused()).load();
}

} // namespace Quillmark::platform
