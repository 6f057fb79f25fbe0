#include "base/freadwritelock.h"

namespace Quillmark
{

bool FReadWriteLock::gateFree() const
{
    return gateDepth == 0 || gateOwner == std::this_thread::get_id();
}

void FReadWriteLock::takeGate()
{
    gateOwner = std::this_thread::get_id();
    ++gateDepth;
}

void FReadWriteLock::giveGate()
{
    if (gateDepth == 0 || gateOwner != std::this_thread::get_id())
        return; // only the owner can give the gate back
    if (--gateDepth == 0)
        gateOwner = std::thread::id();
}

void FReadWriteLock::enterRead()
{
    std::unique_lock<std::mutex> guard(state);
    changed.wait(guard, [this] { return gateFree(); });
    takeGate();
    int64 former = readers;
    if (readers < kMaxReaders)
        ++readers;
    if (former == 0)
        noReaders = false;
    giveGate();
}

void FReadWriteLock::leaveRead()
{
    std::unique_lock<std::mutex> guard(state);
    // The gate and one count of the semaphore, both at once.
    changed.wait(guard, [this] { return gateFree() && readers > 0; });
    takeGate();
    --readers;
    if (readers == 0)
        noReaders = true;
    giveGate();
    guard.unlock();
    changed.notify_all();
}

void FReadWriteLock::enterWrite()
{
    std::unique_lock<std::mutex> guard(state);
    changed.wait(guard, [this] { return gateFree() && noReaders; });
    takeGate();
}

void FReadWriteLock::leaveWrite()
{
    {
        std::lock_guard<std::mutex> guard(state);
        giveGate();
    }
    changed.notify_all();
}

int64 FReadWriteLock::readerCount() const
{
    std::lock_guard<std::mutex> guard(state);
    return readers;
}

} // namespace Quillmark
