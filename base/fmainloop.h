// The main thread's loop. Any thread may post a message to an object, at once or after a delay,
// queue a procedure or a command; the main thread delivers due messages through
// CmObject::notify, ticks the timers, and runs idle passes: "Idle" to the idle targets, the
// deferred procedures, the queued commands, the deferred updates. A singleton; a posted message
// and an idle target are held by references until they are delivered, cancelled or removed.
#pragma once

#include "base/flock.h"
#include "base/fobject.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace Quillmark
{

/** Executes commands by category and name; the application's command table implements it. */
class ICommandHandler
{
public:
    static constexpr const char8* kInterpret = "Interpret";
    static constexpr const char8* kCanInterpret = "CanInterpret";

    /** `request` is kInterpret to execute the command or kCanInterpret to only answer whether
        it exists. True means handled. */
    virtual bool interpretCommand(const char8* request, const char8* category,
                                  const char8* name) = 0;

protected:
    ~ICommandHandler() = default;
};

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

    /** Milliseconds between two idle passes while run serves the loop. */
    static constexpr uint32_t kIdleIntervalMs = 10;

    /** Adds a receiver of the message "Idle" in every idle pass; the loop holds a reference to
        it until it is removed. */
    void addIdleTarget(CmObject* target);
    /** Removes an idle target; once this returns the target is not called again. */
    bool removeIdleTarget(CmObject* target);
    /** Queues a procedure from any thread; the main thread runs it in the next idle pass. */
    void deferProcedure(std::function<void()> procedure);
    /** Queues a command from any thread for the command handler, as "Interpret". */
    void queueCommand(const char8* category, const char8* name);
    /** The receiver of queued commands, borrowed; set and cleared on the main thread. While
        there is none, commands stay queued. */
    void setCommandHandler(ICommandHandler* handler);
    int32 countQueuedCommands() const;

    /** One pass of idle handling: "Idle" to each idle target, then the deferred procedures,
        then the queued commands, then the deferred updates. False, doing nothing, when called
        from inside a pass. */
    bool runIdlePass();
    /** Ticks the timers that are due; answers how many ticked. */
    int32 fireTimers();
    /** Serves the loop on the calling thread until `done` answers true: delivers due messages,
        ticks timers, and runs an idle pass every kIdleIntervalMs and as soon as a procedure
        or a command is queued. Between those it sleeps. `done` is asked before every round. */
    void run(const std::function<bool()>& done);
    /** Makes run look at its predicate now; for a predicate that another thread changes. */
    void wake();

    FClassID isTypeName() const override { return "FMainLoop"; }

private:
    struct Posted
    {
        CmObject* target;
        FMessage* message;
        int64_t due; // nanoseconds of the monotonic clock
        uint64_t sequence;
    };

    struct QueuedCommand
    {
        std::string category;
        std::string name;
    };

    void runIdleTargets();
    void runProcedures();
    void runCommands();
    bool takeWakeRequest();
    void waitUntil(int64_t deadline);

    mutable std::mutex mutex;
    std::condition_variable wakeUp;
    std::vector<Posted> queue;
    uint64_t nextSequence = 0;
    bool wakeRequested = false;

    // Held while the targets run, so a removal from another thread waits for the pass.
    FLock idleLock{"Idle targets"};
    std::vector<CmObject*> idleTargets; // a slot removed during a pass is null until its end
    int32 idleTargetsBusy = 0;

    std::mutex procedureMutex;
    std::vector<std::function<void()>> procedures;

    mutable FLock commandLock{"Queued commands"};
    std::vector<QueuedCommand> commands;
    ICommandHandler* commandHandler = nullptr;

    std::atomic<bool> inIdlePass{false};
};

} // namespace Quillmark
