#include "base/fmainloop.h"

#include "base/fmessage.h"

#include "base/platform/clock.h"
#include "base/singleton.h"

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

} // namespace Quillmark
