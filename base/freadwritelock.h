// A lock that lets many readers in at once and a writer alone. Built from a gate that readers
// pass and a writer holds, an event that stands while nobody reads, and a count of readers.
// Owned by the object whose data it guards; the gate is recursive for the writer's thread.
#pragma once

#include "qel3/funknown.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace Quillmark
{

class FReadWriteLock
{
public:
    static constexpr int64 kMaxReaders = 2147483647;

    FReadWriteLock() = default;
    FReadWriteLock(const FReadWriteLock&) = delete;
    FReadWriteLock& operator=(const FReadWriteLock&) = delete;

    void enterRead();
    void leaveRead();
    /** Waits until the gate is free and nobody reads, then keeps the gate until leaveWrite. A
        writer may also enter for reading; a reader that enters for writing waits forever. */
    void enterWrite();
    void leaveWrite();

    /** Readers inside now; for diagnostics only, the answer may be stale at once. */
    int64 readerCount() const;

private:
    bool gateFree() const;
    void takeGate();
    void giveGate();

    mutable std::mutex state;
    std::condition_variable changed;
    // The gate: an owned, recursive mutex.
    std::thread::id gateOwner;
    int32 gateDepth = 0;
    // The event: set while nobody reads.
    bool noReaders = true;
    // The semaphore: the number of readers.
    int64 readers = 0;
};

/** Holds a read lock for the life of a scope. */
class FReadGuard
{
public:
    explicit FReadGuard(FReadWriteLock& lock) : guarded(lock) { guarded.enterRead(); }
    ~FReadGuard() { guarded.leaveRead(); }
    FReadGuard(const FReadGuard&) = delete;
    FReadGuard& operator=(const FReadGuard&) = delete;

private:
    FReadWriteLock& guarded;
};

/** Holds a write lock for the life of a scope. */
class FWriteGuard
{
public:
    explicit FWriteGuard(FReadWriteLock& lock) : guarded(lock) { guarded.enterWrite(); }
    ~FWriteGuard() { guarded.leaveWrite(); }
    FWriteGuard(const FWriteGuard&) = delete;
    FWriteGuard& operator=(const FWriteGuard&) = delete;

private:
    FReadWriteLock& guarded;
};

} // namespace Quillmark
