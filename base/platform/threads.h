// Scheduling of the host's threads: nice values, processor affinity, and the real-time class
// that audio and MIDI threads ask for. Every such call into the system goes through here;
// nothing is owned, the functions act on the threads they are given.
#pragma once

#include <cstdint>
#include <pthread.h>

namespace Quillmark::platform
{

/** The kernel's identifier of the calling thread. */
int32_t currentThreadId();

/** The nice value of one thread (the process id names the main thread). */
int32_t threadNice(int32_t threadId);
/** Sets the nice value of one thread; false when the system refuses. */
bool setThreadNice(int32_t threadId, int32_t nice);
/** Moves the main thread to `nice` and every other thread of the process by the same amount,
    so that they keep their distance to it. False when the system refuses any of them. */
bool setProcessNice(int32_t nice);
/** A process-wide priority boost does not exist on this system: always false. */
bool setProcessPriorityBoost(bool enable);

/** True when the process may run on `processor`. */
bool isProcessorAvailable(int32_t processor);
/** Binds a thread to one processor, or with -1 to every processor of the process. False for a
    processor the process may not use, or when the system refuses. */
bool setThreadAffinity(pthread_t thread, int32_t processor);
/** The processor a thread is bound to alone, -1 when it may run on several. */
int32_t threadProcessor(pthread_t thread);

/** The real-time class of audio and MIDI threads: first-in-first-out scheduling. The first
    refusal by the system is remembered, and every later request then does nothing. */
class RealtimeThreadClass
{
public:
    static constexpr int kHighPriority = 70;
    static constexpr int kNormalPriority = 60;

    /** Moves the calling thread into the class; false when refused now or before. */
    static bool enter(bool high);
    /** Moves the calling thread back to normal time sharing. */
    static void leave();
    /** True once the system has refused the class. */
    static bool isRefused();

private:
    static bool& refused();
};

} // namespace Quillmark::platform
