// Parameter changes of one block. A SingleParameterQueue holds one value per block, the latest;
// a MultiParameterChange is a fixed set of such queues handed out by place. Both are filled and
// emptied without allocation; only setMaxParameters allocates, outside processing. The audio
// thread and the user interface meet in some of them without a lock, so every field is a
// relaxed atomic: a change takes effect at the next block, and no read is ever torn.
#pragma once

#include "base/fobject.h"
#include "qel3/iparameterchanges.h"

#include <atomic>
#include <memory>

namespace Quillmark
{
namespace MiniEngine
{

class SingleParameterQueue : public CmObject, public Qel::IParamValueQueue
{
    QEL_DECLARE_CLASS(SingleParameterQueue, CmObject)
public:
    static constexpr int32 kFree = -1;

    /** The id as a signed number: kFree for a free queue. */
    int32 getId() const { return paramId.load(std::memory_order_relaxed); }
    double getValue() const { return value.load(std::memory_order_relaxed); }
    bool isUsed() const { return getId() != kFree; }
    /** Takes the queue for `id` with the value 0. */
    void use(int32 id)
    {
        value.store(0.0, std::memory_order_relaxed);
        paramId.store(id, std::memory_order_relaxed);
    }
    void free() { paramId.store(kFree, std::memory_order_relaxed); }

    // IParamValueQueue
    Qel::ParamID getParameterId() override { return Qel::ParamID(getId()); }
    int32 getPointCount() override { return isUsed() ? 1 : 0; }
    /** Point 0 at offset 0; any other index is refused. */
    tresult getPoint(int32 index, int32& sampleOffset, Qel::ParamValue& result) override;
    /** Keeps the value, ignores the offset, and always succeeds at index 0. */
    tresult addPoint(int32 sampleOffset, Qel::ParamValue newValue, int32& index) override;

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    std::atomic<int32> paramId{kFree};
    std::atomic<double> value{0.0};
};

class MultiParameterChange : public CmObject, public Qel::IParameterChanges
{
    QEL_DECLARE_CLASS(MultiParameterChange, CmObject)
public:
    static constexpr int32 kMaxQueues = 256;

    /** Drops every queue and makes min(n, 256) free ones. Not while processing. */
    void setMaxParameters(int32 n);
    int32 getCapacity() const { return capacity; }
    /** Frees every queue. */
    void clear();
    bool hasChanges() const;
    /** The queue at place `index`, used or free; null past the capacity. */
    SingleParameterQueue* queueAt(int32 index) const;
    /** Adds the value of each used queue of `source`; false when one did not fit. */
    bool addAll(const MultiParameterChange& source);
    /** addParameterData and addPoint at offset 0 in one; false when no queue was free. */
    bool add(int32 id, double value);

    // IParameterChanges
    /** Counts the used queues; they need not be the first places. */
    int32 getParameterCount() override;
    /** By place, not by rank among the used queues: a reader skips free ones. */
    Qel::IParamValueQueue* getParameterData(int32 index) override;
    /** The queue of `id`, or the first free one taken for it, or null with index -1. */
    Qel::IParamValueQueue* addParameterData(const Qel::ParamID& id, int32& index) override;

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    std::unique_ptr<SingleParameterQueue[]> queues;
    int32 capacity = 0;
};

} // namespace MiniEngine
} // namespace Quillmark
