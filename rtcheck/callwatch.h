// Watches what a plug-in does on the rendering thread while it is inside its process call: heap
// traffic and calls that may block (locks, waits, sleeps, files, sockets). The program defines
// the C library's functions itself; the dynamic linker binds every module to those definitions,
// since the executable comes first in the global scope. Each one forwards at once unless the
// calling thread is inside a WatchedSection, so the watch costs a thread-local read when it is
// off and never changes what a call does. The record lives with the caller of the section.
#pragma once

#include <cstdint>

namespace Quillmark
{

enum class WatchedCall : int
{
    kAllocation,      // malloc, calloc, realloc, aligned allocation, operator new
    kFree,            // free, operator delete, realloc to nothing
    kBlockingLock,    // a mutex, read-write lock or semaphore that was taken by someone else
    kUncontendedLock, // a lock that was free: no wait this time, but it could have been one
    kWait,            // condition variables, joins: a wait whatever the state
    kSleep,           // nanosleep, clock_nanosleep, usleep, sleep
    kFile,            // open, read, write, close, the stdio file calls, fsync
    kSocket,          // socket, connect, accept, send, recv, poll, select, epoll_wait
    kCount,
};

/** What one thread did inside its sections: counts per kind, and for the heap and for the
    blocking calls the first call with its return addresses. Filled without allocating. */
struct CallRecord
{
    static constexpr int kMaxFrames = 48;

    struct FirstCall
    {
        const char* function = nullptr; // the intercepted function, a constant text
        void* frames[kMaxFrames] = {};
        int depth = 0;
        bool seen() const { return function != nullptr; }
    };

    int64_t counts[int(WatchedCall::kCount)] = {};
    FirstCall firstHeapCall;
    FirstCall firstBlockingCall;

    int64_t count(WatchedCall kind) const { return counts[int(kind)]; }
    int64_t heapCalls() const
    {
        return count(WatchedCall::kAllocation) + count(WatchedCall::kFree);
    }
    int64_t blockingCalls() const
    {
        return count(WatchedCall::kBlockingLock) + count(WatchedCall::kWait) +
               count(WatchedCall::kSleep) + count(WatchedCall::kFile) + count(WatchedCall::kSocket);
    }
    void reset() { *this = CallRecord(); }
};

/** Marks the calling thread as watched for the life of the object; sections do not nest. */
class WatchedSection
{
public:
    explicit WatchedSection(CallRecord& record);
    ~WatchedSection();
    WatchedSection(const WatchedSection&) = delete;
    WatchedSection& operator=(const WatchedSection&) = delete;
};

class CallWatch
{
public:
    /** Looks up the functions the definitions forward to and makes the stack walker load what
        it needs, so that the first watched call costs no lookup that allocates. Call it before
        the first section, outside any section; calling it again does nothing. */
    static void prepare();
    /** How the heap is watched in this build: "interposed allocation functions", or "sanitizer
        allocation hooks" where the sanitizer runtime owns malloc. */
    static const char* heapMethod();
    /** True when the calling thread is inside a section. */
    static bool watching();
};

} // namespace Quillmark
