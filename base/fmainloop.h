// The main thread's queue of posted messages. Any thread may post a message to an object, at
// once or after a delay; the main thread delivers due messages through CmObject::notify.
// A singleton; a posted message holds references to its target and to the message until it is
// delivered or cancelled.
#pragma once

#include "base/fobject.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace Quillmark
{

class FMainLoop : public FObject
{
public:
    FMainLoop() = default;
    ~FMainLoop() override;

    static FMainLoop* instance();
    /** True on the thread that runs the program's main function. */
    static bool isMainThread();

    /** Queues `message` for `target`, due after `delayMs` milliseconds. */
    void post(CmObject* target, FMessage* message, uint32_t delayMs = 0);
    /** Queues a message with this name and no attributes. */
    void post(CmObject* target, const char8* name, uint32_t delayMs = 0);
    /** Drops the queued messages of `target`; with a name only those of that name. */
    int32 cancel(CmObject* target, const char8* name = nullptr);
    bool isPending(const CmObject* target, const char8* name = nullptr) const;
    int32 countPending() const;

    /** Delivers every message that is due now, in order of due time and posting. */
    int32 dispatchDue();
    /** Waits up to `timeoutMs` for a message to fall due, then delivers what is due. */
    int32 dispatchWithin(uint32_t timeoutMs);
    /** Milliseconds until the next message falls due; -1 when nothing is queued. */
    int64_t nextDueIn() const;

    FClassID isTypeName() const override { return "FMainLoop"; }

private:
    struct Posted
    {
        CmObject* target;
        FMessage* message;
        int64_t due; // nanoseconds of the monotonic clock
        uint64_t sequence;
    };

    mutable std::mutex mutex;
    std::condition_variable wakeUp;
    std::vector<Posted> queue;
    uint64_t nextSequence = 0;
};

} // namespace Quillmark
