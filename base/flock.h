// A recursive lock with a name, for data that more than one thread touches outside the audio
// path. Owned by the object whose data it guards.
#pragma once

#include "qel3/funknown.h"

#include <mutex>

namespace Quillmark
{

class ILock
{
public:
    virtual void lock() = 0;
    virtual void unlock() = 0;
    virtual bool trylock() = 0;

protected:
    ~ILock() = default;
};

class FLock : public ILock
{
public:
    explicit FLock(const char8* name = "FLock") : lockName(name) {}
    virtual ~FLock() = default;

    void lock() override { mutex.lock(); }
    void unlock() override { mutex.unlock(); }
    bool trylock() override { return mutex.try_lock(); }
    const char8* name() const { return lockName; }

private:
    std::recursive_mutex mutex;
    const char8* lockName;
};

/** Holds a lock for the life of a scope. */
class FGuard
{
public:
    explicit FGuard(ILock& lock) : guarded(lock) { guarded.lock(); }
    ~FGuard() { guarded.unlock(); }
    FGuard(const FGuard&) = delete;
    FGuard& operator=(const FGuard&) = delete;

private:
    ILock& guarded;
};

} // namespace Quillmark
