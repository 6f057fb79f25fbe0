#include "base/updatehandler.h"

#include "base/singleton.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>

namespace Quillmark
{

using Update::UDeferedChange;
using Update::UDependency;
using Update::UUpdateData;

namespace
{

/** The pointer that names an object whichever interface it was handed in by. The reference
    of the query is given back at once: the tables must never keep an object alive. */
FUnknown* identityOf(FUnknown* object)
{
    if (!object)
        return nullptr;
    void* result = nullptr;
    if (object->queryInterface(FUnknown::iid.bytes, &result) != kResultOk || !result)
        return nullptr;
    auto* identity = static_cast<FUnknown*>(result);
    identity->release();
    return identity;
}

std::uintptr_t keyOf(const FUnknown* identity)
{
    return reinterpret_cast<std::uintptr_t>(identity);
}

/** Index of the object's first pair, or -1. Short arrays are scanned; longer ones searched,
    then walked back so that the object's dependents come out in the order they were added. */
int32 findFirst(const std::vector<UDependency>& bucket, FUnknown* identity)
{
    const int32 count = int32(bucket.size());
    if (count <= 3)
    {
        for (int32 i = 0; i < count; ++i)
            if (bucket[size_t(i)].object == identity)
                return i;
        return -1;
    }
    const std::uintptr_t key = keyOf(identity);
    int32 low = 0;
    int32 high = count - 1;
    int32 found = -1;
    while (low <= high)
    {
        int32 middle = low + (high - low) / 2;
        std::uintptr_t here = keyOf(bucket[size_t(middle)].object);
        if (here == key)
        {
            found = middle;
            break;
        }
        if (here < key)
            low = middle + 1;
        else
            high = middle - 1;
    }
    while (found > 0 && bucket[size_t(found - 1)].object == identity)
        --found;
    return found;
}

/** Snapshot slots are read by the updating thread while another thread may clear them. */
IDependent* loadSlot(IDependent*& slot)
{
    return std::atomic_ref<IDependent*>(slot).load(std::memory_order_acquire);
}

void clearSlot(IDependent*& slot)
{
    std::atomic_ref<IDependent*>(slot).store(nullptr, std::memory_order_release);
}

void callUpdateDone(FUnknown* object, int32 message)
{
    // An object announcing its end may be half destroyed; it is not called back.
    if (message == IDependent::kDestroyed)
        return;
    if (FObject* host = FObject::unknownToObject(object))
        host->updateDone(message);
}

} // namespace

UpdateHandler* UpdateHandler::instance()
{
    return singletonInstance<UpdateHandler>();
}

UpdateHandler::UpdateHandler()
{
    FObject::setUpdateHandler(this);
}

UpdateHandler::~UpdateHandler()
{
    if (FObject::getUpdateHandler() == static_cast<IUpdateHandler*>(this))
        FObject::setUpdateHandler(nullptr);
    while (deferredHead)
    {
        UDeferedChange* next = deferredHead->next;
        delete deferredHead;
        deferredHead = next;
    }
}

tresult UpdateHandler::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IUpdateHandler)
    QEL_QUERY_INTERFACE(iid, obj, IUpdateManager)
    return FObject::queryInterface(iid, obj);
}

UpdateHandler::Bucket& UpdateHandler::bucketOf(FUnknown* identity)
{
    return buckets[(keyOf(identity) >> 12) & 255];
}

tresult UpdateHandler::addDependent(FUnknown* object, IDependent* dependent)
{
    FUnknown* identity = identityOf(object);
    if (!identity || !dependent)
        return kResultFalse;
    FGuard guard(lock);
    Bucket& bucket = bucketOf(identity);
    if (bucket.size() == bucket.capacity())
        bucket.reserve(bucket.capacity() == 0 ? size_t(kInitialBucketCapacity)
                                              : bucket.capacity() * 2);
    // After the object's last pair, so its dependents keep the order they were added in.
    auto at = std::upper_bound(bucket.begin(), bucket.end(), keyOf(identity),
                               [](std::uintptr_t key, const UDependency& entry)
                               { return key < keyOf(entry.object); });
    bucket.insert(at, UDependency{identity, dependent});
    return kResultOk;
}

tresult UpdateHandler::removeDependent(FUnknown* object, IDependent* dependent)
{
    if (!object && !dependent)
        return kResultFalse;
    FUnknown* identity = nullptr;
    if (object)
    {
        identity = identityOf(object);
        if (!identity)
            return kResultFalse;
    }
    FGuard guard(lock);

    // Updates in progress must not call a dependent that is gone.
    for (UUpdateData* running = runningHead; running; running = running->next)
    {
        if (identity && running->object != identity)
            continue;
        for (int32 i = 0; i < running->count; ++i)
            if (!dependent || running->dependents[i] == dependent)
                clearSlot(running->dependents[i]);
    }

    if (!identity)
    {
        for (Bucket& bucket : buckets)
            std::erase_if(bucket,
                          [&](const UDependency& entry) { return entry.dependent == dependent; });
        return kResultOk;
    }

    Bucket& bucket = bucketOf(identity);
    bool othersStay = false;
    int32 first = findFirst(bucket, identity);
    if (first >= 0)
    {
        auto begin = bucket.begin() + first;
        auto end = std::find_if(begin, bucket.end(),
                                [&](const UDependency& entry) { return entry.object != identity; });
        if (dependent)
        {
            auto kept = std::remove_if(
                begin, end, [&](const UDependency& entry) { return entry.dependent == dependent; });
            othersStay = kept != begin;
            bucket.erase(kept, end);
        }
        else
            bucket.erase(begin, end);
    }
    // An object without dependents has nobody to tell its deferred changes to.
    if (!othersStay)
        cancelLocked(identity);
    return kResultOk;
}

tresult UpdateHandler::triggerUpdates(FUnknown* object, int32 message)
{
    FUnknown* identity = identityOf(object);
    if (!identity)
        return kResultFalse;

    IDependent* local[kLocalSnapshotSize];
    std::unique_ptr<IDependent*[]> heap;
    UUpdateData running{identity, local, 0, nullptr};
    {
        FGuard guard(lock);
        const Bucket& bucket = bucketOf(identity);
        int32 first = findFirst(bucket, identity);
        if (first >= 0)
        {
            IDependent** slots = local;
            int32 count = 0;
            for (size_t i = size_t(first); i < bucket.size() && bucket[i].object == identity; ++i)
            {
                if (count == kMaxSnapshotSize)
                    break; // deliberate ceiling: the rest of the dependents are not called
                if (count == kLocalSnapshotSize && !heap)
                {
                    heap.reset(new IDependent*[kMaxSnapshotSize]);
                    std::copy(local, local + count, heap.get());
                    slots = heap.get();
                }
                slots[count++] = bucket[i].dependent;
            }
            running.dependents = slots;
            running.count = count;
            appendRunning(&running);
        }
    }

    // Called without the lock, so a dependent may add and remove dependents freely.
    for (int32 i = 0; i < running.count; ++i)
        if (IDependent* dependent = loadSlot(running.dependents[i]))
            dependent->update(object, message);

    if (running.count > 0)
    {
        FGuard guard(lock);
        removeRunning(&running);
    }
    callUpdateDone(object, message);
    return kResultOk;
}

tresult UpdateHandler::deferUpdates(FUnknown* object, int32 message)
{
    FUnknown* identity = identityOf(object);
    if (!identity)
        return kResultFalse;
    FGuard guard(lock);
    if (findFirst(bucketOf(identity), identity) < 0)
    {
        callUpdateDone(object, message);
        return kResultOk;
    }
    if (!isDeferred(identity, message))
        appendDeferred(new UDeferedChange{identity, message, nullptr});
    return kResultOk;
}

tresult UpdateHandler::cancelUpdates(FUnknown* object)
{
    FUnknown* identity = identityOf(object);
    if (!identity)
        return kResultFalse;
    FGuard guard(lock);
    cancelLocked(identity);
    return kResultOk;
}

tresult UpdateHandler::triggerDeferedUpdates(FUnknown* object)
{
    FUnknown* identity = nullptr;
    if (object)
    {
        identity = identityOf(object);
        if (!identity)
            return kResultFalse;
    }

    // Changes of objects that are being updated further up the stack wait for the next call,
    // so an object is never re-entered by its own deferred change.
    UDeferedChange* waitingHead = nullptr;
    UDeferedChange* waitingTail = nullptr;
    for (;;)
    {
        UDeferedChange* change = nullptr;
        bool busy = false;
        {
            FGuard guard(lock);
            change = takeDeferred(identity);
            if (!change)
                break;
            busy = isRunning(change->object);
        }
        if (busy)
        {
            change->next = nullptr;
            if (waitingTail)
                waitingTail->next = change;
            else
                waitingHead = change;
            waitingTail = change;
            continue;
        }
        triggerUpdates(change->object, change->message);
        delete change;
    }

    FGuard guard(lock);
    while (waitingHead)
    {
        UDeferedChange* change = waitingHead;
        waitingHead = change->next;
        change->next = nullptr;
        // The same change may have been deferred again while this one waited.
        if (isDeferred(change->object, change->message))
            delete change;
        else
            appendDeferred(change);
    }
    return kResultOk;
}

void UpdateHandler::appendRunning(UUpdateData* data)
{
    data->next = nullptr;
    if (runningTail)
        runningTail->next = data;
    else
        runningHead = data;
    runningTail = data;
}

void UpdateHandler::removeRunning(UUpdateData* data)
{
    // Updates on one thread nest, but several threads interleave theirs, so the entry is found
    // by identity rather than taken from the end.
    UUpdateData* previous = nullptr;
    for (UUpdateData* running = runningHead; running; previous = running, running = running->next)
    {
        if (running != data)
            continue;
        if (previous)
            previous->next = running->next;
        else
            runningHead = running->next;
        if (runningTail == running)
            runningTail = previous;
        return;
    }
}

bool UpdateHandler::isRunning(FUnknown* identity) const
{
    for (const UUpdateData* running = runningHead; running; running = running->next)
        if (running->object == identity)
            return true;
    return false;
}

void UpdateHandler::appendDeferred(UDeferedChange* change)
{
    change->next = nullptr;
    if (deferredTail)
        deferredTail->next = change;
    else
        deferredHead = change;
    deferredTail = change;
}

UDeferedChange* UpdateHandler::takeDeferred(FUnknown* identity)
{
    UDeferedChange* previous = nullptr;
    for (UDeferedChange* change = deferredHead; change; previous = change, change = change->next)
    {
        if (identity && change->object != identity)
            continue;
        if (previous)
            previous->next = change->next;
        else
            deferredHead = change->next;
        if (deferredTail == change)
            deferredTail = previous;
        change->next = nullptr;
        return change;
    }
    return nullptr;
}

bool UpdateHandler::isDeferred(FUnknown* identity, int32 message) const
{
    for (const UDeferedChange* change = deferredHead; change; change = change->next)
        if (change->object == identity && change->message == message)
            return true;
    return false;
}

void UpdateHandler::cancelLocked(FUnknown* identity)
{
    UDeferedChange* previous = nullptr;
    UDeferedChange* change = deferredHead;
    while (change)
    {
        UDeferedChange* next = change->next;
        if (change->object == identity)
        {
            if (previous)
                previous->next = next;
            else
                deferredHead = next;
            if (deferredTail == change)
                deferredTail = previous;
            delete change;
        }
        else
            previous = change;
        change = next;
    }
}

} // namespace Quillmark
