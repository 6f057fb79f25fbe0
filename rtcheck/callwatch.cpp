// The definitions below replace the C library's for the whole process. This file includes no
// header that declares them, so that their parameter types can stay opaque and no fortified
// inline wrapper gets in the way; the names are all that the dynamic linker matches.
#include "rtcheck/callwatch.h"

#include <cstdarg>
#include <cstddef>
#include <dlfcn.h>
#include <execinfo.h>

#if defined(__SANITIZE_ADDRESS__)
#define QEL_HEAP_BY_HOOKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_HEAP_BY_HOOKS 1
#endif
#endif
#ifndef QEL_HEAP_BY_HOOKS
#define QEL_HEAP_BY_HOOKS 0
#endif

// Everything of the watch lives in a section of its own, so that a stack it records can start
// at the first frame outside it.
#define QEL_WATCH_CODE __attribute__((section("qel_watch_text")))
#define QEL_INTERPOSED extern "C" __attribute__((visibility("default"), used)) QEL_WATCH_CODE

extern "C" char __start_qel_watch_text[];
extern "C" char __stop_qel_watch_text[];

namespace
{

using Quillmark::CallRecord;
using Quillmark::WatchedCall;

// Constant-initialised and in the executable's own block, so reading them never allocates,
// not even on a thread's first call.
__attribute__((tls_model("initial-exec"))) thread_local CallRecord* watchedRecord = nullptr;
// Set while this file does its own work, so that what that work calls is not noted again.
__attribute__((tls_model("initial-exec"))) thread_local bool busy = false;

constexpr int kBusy = 16;                 // EBUSY
constexpr int kInvalid = 22;              // EINVAL
constexpr int kNoMemory = 12;             // ENOMEM
constexpr int kCreate = 0100;             // O_CREAT
constexpr int kTemporaryFile = 020200000; // O_TMPFILE

QEL_WATCH_CODE inline CallRecord* watching()
{
    CallRecord* record = watchedRecord;
    return record && !busy ? record : nullptr;
}

/** Drops the frames of the watch itself from the top of a stack, with whatever stands above
    them (a sanitizer's own stack walker). */
QEL_WATCH_CODE int withoutWatchFrames(void** frames, int depth)
{
    int skip = 0;
    for (int i = 0; i < depth; ++i)
        if (static_cast<char*>(frames[i]) >= __start_qel_watch_text &&
            static_cast<char*>(frames[i]) < __stop_qel_watch_text)
            skip = i + 1;
    for (int i = skip; i < depth; ++i)
        frames[i - skip] = frames[i];
    return depth - skip;
}

QEL_WATCH_CODE __attribute__((noinline)) void note(CallRecord& record, WatchedCall kind,
                                                   const char* function)
{
    busy = true;
    ++record.counts[int(kind)];
    CallRecord::FirstCall* first = nullptr;
    if (kind == WatchedCall::kAllocation || kind == WatchedCall::kFree)
        first = &record.firstHeapCall;
    else if (kind != WatchedCall::kUncontendedLock)
        first = &record.firstBlockingCall;
    if (first && !first->seen())
    {
        first->function = function;
        first->depth =
            withoutWatchFrames(first->frames, backtrace(first->frames, CallRecord::kMaxFrames));
    }
    busy = false;
}

QEL_WATCH_CODE inline void noteIfWatched(WatchedCall kind, const char* function)
{
    if (CallRecord* record = watching())
        note(*record, kind, function);
}

// The functions the definitions forward to, found behind the executable in the lookup order:
// the C library's, or a sanitizer's interceptor that forwards to them in turn.
enum Next : int
{
    kMutexLock,
    kMutexTrylock,
    kMutexTimedlock,
    kMutexClocklock,
    kRwlockRdlock,
    kRwlockTryrdlock,
    kRwlockWrlock,
    kRwlockTrywrlock,
    kCondWait,
    kCondTimedwait,
    kCondClockwait,
    kJoin,
    kSemWait,
    kSemTrywait,
    kSemTimedwait,
    kNanosleep,
    kClockNanosleep,
    kUsleep,
    kSleep,
    kOpen,
    kOpen64,
    kOpenat,
    kCreat,
    kClose,
    kRead,
    kWrite,
    kPread,
    kPwrite,
    kFopen,
    kFopen64,
    kFclose,
    kFread,
    kFwrite,
    kFflush,
    kFsync,
    kSocket,
    kConnect,
    kAccept,
    kAccept4,
    kSend,
    kRecv,
    kSendto,
    kRecvfrom,
    kSendmsg,
    kRecvmsg,
    kPoll,
    kSelect,
    kEpollWait,
    kNextCount,
};

constexpr const char* kNextNames[kNextCount] = {
    "pthread_mutex_lock",
    "pthread_mutex_trylock",
    "pthread_mutex_timedlock",
    "pthread_mutex_clocklock",
    "pthread_rwlock_rdlock",
    "pthread_rwlock_tryrdlock",
    "pthread_rwlock_wrlock",
    "pthread_rwlock_trywrlock",
    "pthread_cond_wait",
    "pthread_cond_timedwait",
    "pthread_cond_clockwait",
    "pthread_join",
    "sem_wait",
    "sem_trywait",
    "sem_timedwait",
    "nanosleep",
    "clock_nanosleep",
    "usleep",
    "sleep",
    "open",
    "open64",
    "openat",
    "creat",
    "close",
    "read",
    "write",
    "pread",
    "pwrite",
    "fopen",
    "fopen64",
    "fclose",
    "fread",
    "fwrite",
    "fflush",
    "fsync",
    "socket",
    "connect",
    "accept",
    "accept4",
    "send",
    "recv",
    "sendto",
    "recvfrom",
    "sendmsg",
    "recvmsg",
    "poll",
    "select",
    "epoll_wait",
};

void* nextAddress[kNextCount] = {};

QEL_WATCH_CODE void* lookUp(Next which)
{
    void* address = __atomic_load_n(&nextAddress[which], __ATOMIC_ACQUIRE);
    if (!address)
    {
        // dlsym may allocate; that is the watch's own business, never the caller's.
        const bool wasBusy = busy;
        busy = true;
        address = dlsym(RTLD_NEXT, kNextNames[which]);
        busy = wasBusy;
        __atomic_store_n(&nextAddress[which], address, __ATOMIC_RELEASE);
    }
    return address;
}

template <class Function> QEL_WATCH_CODE Function next(Next which)
{
    return reinterpret_cast<Function>(lookUp(which));
}

/** A lock call: tried first, so that a lock that someone else holds is told apart from one
    that was free. */
template <class Lock, class Try, class... Args>
QEL_WATCH_CODE int lockWith(Next lock, Next attempt, const char* function, void* object,
                            Args... args)
{
    if (CallRecord* record = watching())
    {
        if (next<Try>(attempt)(object) == 0)
        {
            note(*record, WatchedCall::kUncontendedLock, function);
            return 0;
        }
        note(*record, WatchedCall::kBlockingLock, function);
    }
    return next<Lock>(lock)(object, args...);
}

using Size = std::size_t;
using SignedSize = long;

} // namespace

// Locks and waits.

QEL_INTERPOSED int pthread_mutex_lock(void* mutex)
{
    return lockWith<int (*)(void*), int (*)(void*)>(kMutexLock, kMutexTrylock, "pthread_mutex_lock",
                                                    mutex);
}

QEL_INTERPOSED int pthread_mutex_timedlock(void* mutex, const void* time)
{
    return lockWith<int (*)(void*, const void*), int (*)(void*)>(
        kMutexTimedlock, kMutexTrylock, "pthread_mutex_timedlock", mutex, time);
}

QEL_INTERPOSED int pthread_mutex_clocklock(void* mutex, int clock, const void* time)
{
    return lockWith<int (*)(void*, int, const void*), int (*)(void*)>(
        kMutexClocklock, kMutexTrylock, "pthread_mutex_clocklock", mutex, clock, time);
}

QEL_INTERPOSED int pthread_rwlock_rdlock(void* lock)
{
    return lockWith<int (*)(void*), int (*)(void*)>(kRwlockRdlock, kRwlockTryrdlock,
                                                    "pthread_rwlock_rdlock", lock);
}

QEL_INTERPOSED int pthread_rwlock_wrlock(void* lock)
{
    return lockWith<int (*)(void*), int (*)(void*)>(kRwlockWrlock, kRwlockTrywrlock,
                                                    "pthread_rwlock_wrlock", lock);
}

QEL_INTERPOSED int sem_wait(void* semaphore)
{
    return lockWith<int (*)(void*), int (*)(void*)>(kSemWait, kSemTrywait, "sem_wait", semaphore);
}

QEL_INTERPOSED int sem_timedwait(void* semaphore, const void* time)
{
    return lockWith<int (*)(void*, const void*), int (*)(void*)>(kSemTimedwait, kSemTrywait,
                                                                 "sem_timedwait", semaphore, time);
}

QEL_INTERPOSED int pthread_cond_wait(void* condition, void* mutex)
{
    noteIfWatched(WatchedCall::kWait, "pthread_cond_wait");
    return next<int (*)(void*, void*)>(kCondWait)(condition, mutex);
}

QEL_INTERPOSED int pthread_cond_timedwait(void* condition, void* mutex, const void* time)
{
    noteIfWatched(WatchedCall::kWait, "pthread_cond_timedwait");
    return next<int (*)(void*, void*, const void*)>(kCondTimedwait)(condition, mutex, time);
}

QEL_INTERPOSED int pthread_cond_clockwait(void* condition, void* mutex, int clock, const void* time)
{
    noteIfWatched(WatchedCall::kWait, "pthread_cond_clockwait");
    return next<int (*)(void*, void*, int, const void*)>(kCondClockwait)(condition, mutex, clock,
                                                                         time);
}

QEL_INTERPOSED int pthread_join(unsigned long thread, void** result)
{
    noteIfWatched(WatchedCall::kWait, "pthread_join");
    return next<int (*)(unsigned long, void**)>(kJoin)(thread, result);
}

// Sleeps.

QEL_INTERPOSED int nanosleep(const void* duration, void* remaining)
{
    noteIfWatched(WatchedCall::kSleep, "nanosleep");
    return next<int (*)(const void*, void*)>(kNanosleep)(duration, remaining);
}

QEL_INTERPOSED int clock_nanosleep(int clock, int flags, const void* time, void* remaining)
{
    noteIfWatched(WatchedCall::kSleep, "clock_nanosleep");
    return next<int (*)(int, int, const void*, void*)>(kClockNanosleep)(clock, flags, time,
                                                                        remaining);
}

QEL_INTERPOSED int usleep(unsigned microseconds)
{
    noteIfWatched(WatchedCall::kSleep, "usleep");
    return next<int (*)(unsigned)>(kUsleep)(microseconds);
}

QEL_INTERPOSED unsigned sleep(unsigned seconds)
{
    noteIfWatched(WatchedCall::kSleep, "sleep");
    return next<unsigned (*)(unsigned)>(kSleep)(seconds);
}

// Files.

namespace
{

QEL_WATCH_CODE unsigned modeOf(int flags, va_list arguments)
{
    return (flags & kCreate) || (flags & kTemporaryFile) == kTemporaryFile
               ? va_arg(arguments, unsigned)
               : 0u;
}

} // namespace

QEL_INTERPOSED int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    noteIfWatched(WatchedCall::kFile, "open");
    return next<int (*)(const char*, int, ...)>(kOpen)(path, flags, mode);
}

QEL_INTERPOSED int open64(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    noteIfWatched(WatchedCall::kFile, "open64");
    return next<int (*)(const char*, int, ...)>(kOpen64)(path, flags, mode);
}

QEL_INTERPOSED int openat(int folder, const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    noteIfWatched(WatchedCall::kFile, "openat");
    return next<int (*)(int, const char*, int, ...)>(kOpenat)(folder, path, flags, mode);
}

QEL_INTERPOSED int creat(const char* path, unsigned mode)
{
    noteIfWatched(WatchedCall::kFile, "creat");
    return next<int (*)(const char*, unsigned)>(kCreat)(path, mode);
}

QEL_INTERPOSED int close(int descriptor)
{
    noteIfWatched(WatchedCall::kFile, "close");
    return next<int (*)(int)>(kClose)(descriptor);
}

QEL_INTERPOSED SignedSize read(int descriptor, void* data, Size size)
{
    noteIfWatched(WatchedCall::kFile, "read");
    return next<SignedSize (*)(int, void*, Size)>(kRead)(descriptor, data, size);
}

QEL_INTERPOSED SignedSize write(int descriptor, const void* data, Size size)
{
    noteIfWatched(WatchedCall::kFile, "write");
    return next<SignedSize (*)(int, const void*, Size)>(kWrite)(descriptor, data, size);
}

QEL_INTERPOSED SignedSize pread(int descriptor, void* data, Size size, long offset)
{
    noteIfWatched(WatchedCall::kFile, "pread");
    return next<SignedSize (*)(int, void*, Size, long)>(kPread)(descriptor, data, size, offset);
}

QEL_INTERPOSED SignedSize pwrite(int descriptor, const void* data, Size size, long offset)
{
    noteIfWatched(WatchedCall::kFile, "pwrite");
    return next<SignedSize (*)(int, const void*, Size, long)>(kPwrite)(descriptor, data, size,
                                                                       offset);
}

QEL_INTERPOSED void* fopen(const char* path, const char* mode)
{
    noteIfWatched(WatchedCall::kFile, "fopen");
    return next<void* (*)(const char*, const char*)>(kFopen)(path, mode);
}

QEL_INTERPOSED void* fopen64(const char* path, const char* mode)
{
    noteIfWatched(WatchedCall::kFile, "fopen64");
    return next<void* (*)(const char*, const char*)>(kFopen64)(path, mode);
}

QEL_INTERPOSED int fclose(void* file)
{
    noteIfWatched(WatchedCall::kFile, "fclose");
    return next<int (*)(void*)>(kFclose)(file);
}

QEL_INTERPOSED Size fread(void* data, Size size, Size count, void* file)
{
    noteIfWatched(WatchedCall::kFile, "fread");
    return next<Size (*)(void*, Size, Size, void*)>(kFread)(data, size, count, file);
}

QEL_INTERPOSED Size fwrite(const void* data, Size size, Size count, void* file)
{
    noteIfWatched(WatchedCall::kFile, "fwrite");
    return next<Size (*)(const void*, Size, Size, void*)>(kFwrite)(data, size, count, file);
}

QEL_INTERPOSED int fflush(void* file)
{
    noteIfWatched(WatchedCall::kFile, "fflush");
    return next<int (*)(void*)>(kFflush)(file);
}

QEL_INTERPOSED int fsync(int descriptor)
{
    noteIfWatched(WatchedCall::kFile, "fsync");
    return next<int (*)(int)>(kFsync)(descriptor);
}

// Sockets.

QEL_INTERPOSED int socket(int domain, int type, int protocol)
{
    noteIfWatched(WatchedCall::kSocket, "socket");
    return next<int (*)(int, int, int)>(kSocket)(domain, type, protocol);
}

QEL_INTERPOSED int connect(int descriptor, const void* address, unsigned length)
{
    noteIfWatched(WatchedCall::kSocket, "connect");
    return next<int (*)(int, const void*, unsigned)>(kConnect)(descriptor, address, length);
}

QEL_INTERPOSED int accept(int descriptor, void* address, void* length)
{
    noteIfWatched(WatchedCall::kSocket, "accept");
    return next<int (*)(int, void*, void*)>(kAccept)(descriptor, address, length);
}

QEL_INTERPOSED int accept4(int descriptor, void* address, void* length, int flags)
{
    noteIfWatched(WatchedCall::kSocket, "accept4");
    return next<int (*)(int, void*, void*, int)>(kAccept4)(descriptor, address, length, flags);
}

QEL_INTERPOSED SignedSize send(int descriptor, const void* data, Size size, int flags)
{
    noteIfWatched(WatchedCall::kSocket, "send");
    return next<SignedSize (*)(int, const void*, Size, int)>(kSend)(descriptor, data, size, flags);
}

QEL_INTERPOSED SignedSize recv(int descriptor, void* data, Size size, int flags)
{
    noteIfWatched(WatchedCall::kSocket, "recv");
    return next<SignedSize (*)(int, void*, Size, int)>(kRecv)(descriptor, data, size, flags);
}

QEL_INTERPOSED SignedSize sendto(int descriptor, const void* data, Size size, int flags,
                                 const void* address, unsigned length)
{
    noteIfWatched(WatchedCall::kSocket, "sendto");
    return next<SignedSize (*)(int, const void*, Size, int, const void*, unsigned)>(kSendto)(
        descriptor, data, size, flags, address, length);
}

QEL_INTERPOSED SignedSize recvfrom(int descriptor, void* data, Size size, int flags, void* address,
                                   void* length)
{
    noteIfWatched(WatchedCall::kSocket, "recvfrom");
    return next<SignedSize (*)(int, void*, Size, int, void*, void*)>(kRecvfrom)(
        descriptor, data, size, flags, address, length);
}

QEL_INTERPOSED SignedSize sendmsg(int descriptor, const void* message, int flags)
{
    noteIfWatched(WatchedCall::kSocket, "sendmsg");
    return next<SignedSize (*)(int, const void*, int)>(kSendmsg)(descriptor, message, flags);
}

QEL_INTERPOSED SignedSize recvmsg(int descriptor, void* message, int flags)
{
    noteIfWatched(WatchedCall::kSocket, "recvmsg");
    return next<SignedSize (*)(int, void*, int)>(kRecvmsg)(descriptor, message, flags);
}

QEL_INTERPOSED int poll(void* descriptors, unsigned long count, int timeout)
{
    noteIfWatched(WatchedCall::kSocket, "poll");
    return next<int (*)(void*, unsigned long, int)>(kPoll)(descriptors, count, timeout);
}

QEL_INTERPOSED int select(int count, void* reading, void* writing, void* failing, void* timeout)
{
    noteIfWatched(WatchedCall::kSocket, "select");
    return next<int (*)(int, void*, void*, void*, void*)>(kSelect)(count, reading, writing, failing,
                                                                   timeout);
}

QEL_INTERPOSED int epoll_wait(int descriptor, void* events, int count, int timeout)
{
    noteIfWatched(WatchedCall::kSocket, "epoll_wait");
    return next<int (*)(int, void*, int, int)>(kEpollWait)(descriptor, events, count, timeout);
}

// The heap.

#if QEL_HEAP_BY_HOOKS

// The sanitizer runtime owns malloc and operator new; it calls these for every allocation and
// free on the thread that makes it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onAllocation)(const volatile void*,
                                                                              std::size_t),
                                                         void (*onFree)(const volatile void*));

namespace
{

QEL_WATCH_CODE void onAllocation(const volatile void*, std::size_t)
{
    noteIfWatched(WatchedCall::kAllocation, "malloc");
}

QEL_WATCH_CODE void onFree(const volatile void* pointer)
{
    if (pointer)
        noteIfWatched(WatchedCall::kFree, "free");
}

void installHeapWatch()
{
    __sanitizer_install_malloc_and_free_hooks(onAllocation, onFree);
}

} // namespace

#else

extern "C"
{
    void* __libc_malloc(std::size_t);
    void* __libc_calloc(std::size_t, std::size_t);
    void* __libc_realloc(void*, std::size_t);
    void* __libc_memalign(std::size_t, std::size_t);
    void __libc_free(void*);
}

// operator new and delete of the C++ runtime come here through malloc and free.

QEL_INTERPOSED void* malloc(std::size_t size)
{
    noteIfWatched(WatchedCall::kAllocation, "malloc");
    return __libc_malloc(size);
}

QEL_INTERPOSED void* calloc(std::size_t count, std::size_t size)
{
    noteIfWatched(WatchedCall::kAllocation, "calloc");
    return __libc_calloc(count, size);
}

QEL_INTERPOSED void* realloc(void* pointer, std::size_t size)
{
    noteIfWatched(pointer && size == 0 ? WatchedCall::kFree : WatchedCall::kAllocation, "realloc");
    return __libc_realloc(pointer, size);
}

QEL_INTERPOSED void free(void* pointer)
{
    if (pointer)
        noteIfWatched(WatchedCall::kFree, "free");
    __libc_free(pointer);
}

QEL_INTERPOSED int posix_memalign(void** result, std::size_t alignment, std::size_t size)
{
    noteIfWatched(WatchedCall::kAllocation, "posix_memalign");
    if (alignment == 0 || alignment % sizeof(void*) != 0 || (alignment & (alignment - 1)) != 0)
        return kInvalid;
    void* memory = __libc_memalign(alignment, size);
    if (!memory)
        return kNoMemory;
    *result = memory;
    return 0;
}

QEL_INTERPOSED void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    noteIfWatched(WatchedCall::kAllocation, "aligned_alloc");
    return __libc_memalign(alignment, size);
}

QEL_INTERPOSED void* memalign(std::size_t alignment, std::size_t size)
{
    noteIfWatched(WatchedCall::kAllocation, "memalign");
    return __libc_memalign(alignment, size);
}

namespace
{

void installHeapWatch() {}

} // namespace

#endif

namespace Quillmark
{

WatchedSection::WatchedSection(CallRecord& record)
{
    watchedRecord = &record;
}

WatchedSection::~WatchedSection()
{
    watchedRecord = nullptr;
}

void CallWatch::prepare()
{
    static bool prepared = false;
    if (prepared)
        return;
    prepared = true;
    for (int which = 0; which < kNextCount; ++which)
        lookUp(Next(which));
    // The first walk loads the unwinder, which allocates.
    void* frames[4];
    backtrace(frames, 4);
    installHeapWatch();
}

const char* CallWatch::heapMethod()
{
    return QEL_HEAP_BY_HOOKS ? "sanitizer allocation hooks" : "interposed allocation functions";
}

bool CallWatch::watching()
{
    return watchedRecord != nullptr;
}

} // namespace Quillmark
