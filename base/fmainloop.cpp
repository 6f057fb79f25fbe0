#include "base/fmainloop.h"

#include "base/fmessage.h"

#include "base/platform/clock.h"
#include "base/singleton.h"
#include "base/timer.h"
#include "base/updatehandler.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace Quillmark
{

FMainLoop::~FMainLoop()
{
    for (Posted& posted : queue)
    {
        posted.message->release();
        posted.target->release();
    }
    for (CmObject* target : idleTargets)
        if (target)
            target->release();
}

namespace
{
// Static construction runs on the thread that then runs main.
const std::thread::id gMainThread = std::this_thread::get_id();
} // namespace

bool FMainLoop::isMainThread()
{
    return std::this_thread::get_id() == gMainThread;
}

FMainLoop* FMainLoop::instance()
{
    return singletonInstance<FMainLoop>();
}

void FMainLoop::post(CmObject* target, const char8* name, uint32_t delayMs)
{
    if (!target || !name)
        return;
    auto* message = new FMessage(name);
    post(target, message, delayMs);
    message->release();
}

void FMainLoop::post(CmObject* target, FMessage* message, uint32_t delayMs)
{
    if (!target || !message)
        return;
    target->addRef();
    message->addRef();
    {
        std::lock_guard<std::mutex> guard(mutex);
        int64_t due = platform::nanoseconds() + int64_t(delayMs) * 1000000;
        queue.push_back({target, message, due, nextSequence++});
    }
    wakeUp.notify_all();
}

int32 FMainLoop::cancel(CmObject* target, const char8* name)
{
    std::vector<Posted> dropped;
    {
        std::lock_guard<std::mutex> guard(mutex);
        auto matches = [&](const Posted& posted)
        { return posted.target == target && (!name || posted.message->is(name)); };
        for (const Posted& posted : queue)
            if (matches(posted))
                dropped.push_back(posted);
        queue.erase(std::remove_if(queue.begin(), queue.end(), matches), queue.end());
    }
    // Released outside the lock: a release may destroy a target whose destructor posts.
    for (Posted& posted : dropped)
    {
        posted.message->release();
        posted.target->release();
    }
    return int32(dropped.size());
}

bool FMainLoop::isPending(const CmObject* target, const char8* name) const
{
    std::lock_guard<std::mutex> guard(mutex);
    return std::any_of(queue.begin(), queue.end(),
                       [&](const Posted& posted)
                       { return posted.target == target && (!name || posted.message->is(name)); });
}

int32 FMainLoop::countPending() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return int32(queue.size());
}

int32 FMainLoop::dispatchDue()
{
    int32 delivered = 0;
    for (;;)
    {
        Posted next;
        {
            std::lock_guard<std::mutex> guard(mutex);
            int64_t now = platform::nanoseconds();
            auto due = queue.end();
            for (auto it = queue.begin(); it != queue.end(); ++it)
            {
                if (it->due > now)
                    continue;
                if (due == queue.end() || it->due < due->due ||
                    (it->due == due->due && it->sequence < due->sequence))
                    due = it;
            }
            if (due == queue.end())
                break;
            next = std::move(*due);
            queue.erase(due);
        }
        next.target->notify(next.message);
        next.message->release();
        next.target->release();
        ++delivered;
    }
    return delivered;
}

int32 FMainLoop::dispatchWithin(uint32_t timeoutMs)
{
    {
        std::unique_lock<std::mutex> lock(mutex);
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        for (;;)
        {
            int64_t now = platform::nanoseconds();
            int64_t earliest = INT64_MAX;
            for (const Posted& posted : queue)
                earliest = std::min(earliest, posted.due);
            if (earliest <= now)
                break;
            auto wait = deadline;
            if (earliest != INT64_MAX)
                wait = std::min(wait, std::chrono::steady_clock::now() +
                                          std::chrono::nanoseconds(earliest - now));
            if (wakeUp.wait_until(lock, wait) == std::cv_status::timeout &&
                std::chrono::steady_clock::now() >= deadline)
                break;
        }
    }
    return dispatchDue();
}

int64_t FMainLoop::nextDueIn() const
{
    std::lock_guard<std::mutex> guard(mutex);
    if (queue.empty())
        return -1;
    int64_t earliest = INT64_MAX;
    for (const Posted& posted : queue)
        earliest = std::min(earliest, posted.due);
    int64_t remaining = earliest - platform::nanoseconds();
    return remaining <= 0 ? 0 : remaining / 1000000;
}

void FMainLoop::wake()
{
    {
        std::lock_guard<std::mutex> guard(mutex);
        wakeRequested = true;
    }
    wakeUp.notify_all();
}

bool FMainLoop::takeWakeRequest()
{
    std::lock_guard<std::mutex> guard(mutex);
    bool requested = wakeRequested;
    wakeRequested = false;
    return requested;
}

void FMainLoop::addIdleTarget(CmObject* target)
{
    if (!target)
        return;
    FGuard guard(idleLock);
    target->addRef();
    idleTargets.push_back(target);
}

bool FMainLoop::removeIdleTarget(CmObject* target)
{
    if (!target)
        return false;
    FGuard guard(idleLock);
    auto found = std::find(idleTargets.begin(), idleTargets.end(), target);
    if (found == idleTargets.end())
        return false;
    // During a pass the slot is only emptied: the pass is walking the list.
    if (idleTargetsBusy > 0)
        *found = nullptr;
    else
        idleTargets.erase(found);
    target->release();
    return true;
}

void FMainLoop::deferProcedure(std::function<void()> procedure)
{
    if (!procedure)
        return;
    {
        std::lock_guard<std::mutex> guard(procedureMutex);
        procedures.push_back(std::move(procedure));
    }
    wake();
}

void FMainLoop::queueCommand(const char8* category, const char8* name)
{
    if (!category || !name)
        return;
    {
        FGuard guard(commandLock);
        commands.push_back({category, name});
    }
    wake();
}

void FMainLoop::setCommandHandler(ICommandHandler* handler)
{
    FGuard guard(commandLock);
    commandHandler = handler;
}

int32 FMainLoop::countQueuedCommands() const
{
    FGuard guard(commandLock);
    return int32(commands.size());
}

bool FMainLoop::runIdlePass()
{
    // An idle target that runs a nested loop must not start a pass inside the pass.
    if (inIdlePass.exchange(true))
        return false;
    runIdleTargets();
    runProcedures();
    runCommands();
    if (UpdateHandler* handler = UpdateHandler::instance())
        handler->triggerDeferedUpdates(nullptr);
    inIdlePass.store(false);
    return true;
}

void FMainLoop::runIdleTargets()
{
    FGuard guard(idleLock);
    ++idleTargetsBusy;
    // Targets added during the pass hear "Idle" from the next one.
    const size_t count = idleTargets.size();
    for (size_t i = 0; i < count; ++i)
    {
        CmObject* target = idleTargets[i];
        if (!target)
            continue;
        // The target may remove itself and drop the list's reference while it is called.
        target->addRef();
        auto* message = new FMessage("Idle");
        target->notify(message);
        message->release();
        target->release();
    }
    if (--idleTargetsBusy == 0)
        std::erase(idleTargets, nullptr);
}

void FMainLoop::runProcedures()
{
    std::vector<std::function<void()>> due;
    {
        std::lock_guard<std::mutex> guard(procedureMutex);
        due.swap(procedures);
    }
    // What these procedures queue runs in the next pass.
    for (std::function<void()>& procedure : due)
        procedure();
}

void FMainLoop::runCommands()
{
    std::vector<QueuedCommand> due;
    ICommandHandler* handler = nullptr;
    {
        FGuard guard(commandLock);
        handler = commandHandler;
        if (!handler)
            return;
        due.swap(commands);
    }
    // Run without the lock: a command may open a dialog for a long time, and other threads
    // must still be able to queue.
    for (const QueuedCommand& command : due)
        handler->interpretCommand(ICommandHandler::kInterpret, command.category.c_str(),
                                  command.name.c_str());
}

int32 FMainLoop::fireTimers()
{
    return Timer::tickDue();
}

void FMainLoop::waitUntil(int64_t deadline)
{
    std::unique_lock<std::mutex> lock(mutex);
    for (;;)
    {
        if (wakeRequested)
            return;
        int64_t until = deadline;
        for (const Posted& posted : queue)
            until = std::min(until, posted.due);
        int64_t now = platform::nanoseconds();
        if (until <= now)
            return;
        wakeUp.wait_for(lock, std::chrono::nanoseconds(until - now));
    }
}

void FMainLoop::run(const std::function<bool()>& done)
{
    const int64_t idleInterval = int64_t(kIdleIntervalMs) * 1000000;
    int64_t nextIdle = platform::nanoseconds();
    while (!done())
    {
        dispatchDue();
        fireTimers();
        bool woken = takeWakeRequest();
        if (woken || platform::nanoseconds() >= nextIdle)
        {
            runIdlePass();
            nextIdle = platform::nanoseconds() + idleInterval;
        }
        if (done())
            break;
        waitUntil(std::min(nextIdle, Timer::nextDue()));
    }
}

} // namespace Quillmark
