#include "engine/parameterchanges.h"

#include <algorithm>

namespace Quillmark
{
namespace MiniEngine
{

tresult SingleParameterQueue::getPoint(int32 index, int32& sampleOffset, Qel::ParamValue& result)
{
    if (index != 0 || !isUsed())
        return kResultFalse;
    sampleOffset = 0;
    result = getValue();
    return kResultOk;
}

tresult SingleParameterQueue::addPoint(int32, Qel::ParamValue newValue, int32& index)
{
    value.store(newValue, std::memory_order_relaxed);
    index = 0;
    return kResultOk;
}

tresult SingleParameterQueue::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, Qel::IParamValueQueue)
    return FObject::queryInterface(iid, obj);
}

void MultiParameterChange::setMaxParameters(int32 n)
{
    queues.reset();
    capacity = std::clamp(n, 0, kMaxQueues);
    if (capacity > 0)
        queues = std::make_unique<SingleParameterQueue[]>(size_t(capacity));
}

void MultiParameterChange::clear()
{
    for (int32 i = 0; i < capacity; ++i)
        queues[size_t(i)].free();
}

bool MultiParameterChange::hasChanges() const
{
    for (int32 i = 0; i < capacity; ++i)
        if (queues[size_t(i)].isUsed())
            return true;
    return false;
}

SingleParameterQueue* MultiParameterChange::queueAt(int32 index) const
{
    return index >= 0 && index < capacity ? &queues[size_t(index)] : nullptr;
}

bool MultiParameterChange::addAll(const MultiParameterChange& source)
{
    bool complete = true;
    for (int32 i = 0; i < source.capacity; ++i)
    {
        const SingleParameterQueue& queue = source.queues[size_t(i)];
        const int32 id = queue.getId();
        if (id != SingleParameterQueue::kFree && !add(id, queue.getValue()))
            complete = false;
    }
    return complete;
}

bool MultiParameterChange::add(int32 id, double value)
{
    int32 index = -1;
    const Qel::ParamID paramId = Qel::ParamID(id);
    Qel::IParamValueQueue* queue = addParameterData(paramId, index);
    if (!queue)
        return false;
    queue->addPoint(0, value, index);
    return true;
}

int32 MultiParameterChange::getParameterCount()
{
    int32 used = 0;
    for (int32 i = 0; i < capacity; ++i)
        if (queues[size_t(i)].isUsed())
            ++used;
    return used;
}

Qel::IParamValueQueue* MultiParameterChange::getParameterData(int32 index)
{
    return queueAt(index);
}

Qel::IParamValueQueue* MultiParameterChange::addParameterData(const Qel::ParamID& id, int32& index)
{
    const int32 wanted = int32(id);
    int32 firstFree = -1;
    for (int32 i = 0; i < capacity; ++i)
    {
        const int32 current = queues[size_t(i)].getId();
        if (current == wanted && wanted != SingleParameterQueue::kFree)
        {
            index = i;
            return &queues[size_t(i)];
        }
        if (current == SingleParameterQueue::kFree && firstFree < 0)
            firstFree = i;
    }
    if (firstFree < 0 || wanted == SingleParameterQueue::kFree)
    {
        index = -1;
        return nullptr;
    }
    queues[size_t(firstFree)].use(wanted);
    index = firstFree;
    return &queues[size_t(firstFree)];
}

tresult MultiParameterChange::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, Qel::IParameterChanges)
    return FObject::queryInterface(iid, obj);
}

} // namespace MiniEngine
} // namespace Quillmark
