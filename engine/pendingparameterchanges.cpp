#include "engine/pendingparameterchanges.h"

#include "base/fmainloop.h"
#include "base/fmessage.h"

#include <algorithm>

namespace Quillmark
{
namespace MiniEngine
{

PendingParameterChanges::PendingParameterChanges(Qel::IEditController* controller)
    : controller(controller)
{
    int32 count = 0;
    if (controller)
    {
        controller->addRef();
        try
        {
            count = controller->getParameterCount();
        }
        catch (...)
        {
            count = 0;
        }
    }
    pendingChanges.setMaxParameters(std::min(std::max(count, 0) + 1, kMaxPending));
}

PendingParameterChanges::~PendingParameterChanges()
{
    stop();
    if (controller)
        controller->release();
}

void PendingParameterChanges::start()
{
    if (started)
        return;
    if (FMainLoop* loop = FMainLoop::instance())
    {
        started = true;
        loop->addIdleTarget(this);
    }
}

void PendingParameterChanges::stop()
{
    if (!started)
        return;
    started = false;
    if (FMainLoop* loop = FMainLoop::instance())
        loop->removeIdleTarget(this);
}

void PendingParameterChanges::parameterChanged(int32 id, double value)
{
    pendingChanges.add(id, value);
    pendingFlag.store(true, std::memory_order_release);
}

void PendingParameterChanges::notify(FMessage* message)
{
    if (!message->is("Idle"))
        return CmObject::notify(message);
    if (!pendingFlag.exchange(false, std::memory_order_acq_rel))
        return;
    for (int32 i = 0; i < pendingChanges.getCapacity(); ++i)
    {
        SingleParameterQueue* queue = pendingChanges.queueAt(i);
        const int32 id = queue->getId();
        if (id == SingleParameterQueue::kFree)
            continue;
        const double value = queue->getValue();
        if (controller)
            try
            {
                controller->setParamNormalized(Qel::ParamID(id), value);
            }
            catch (...)
            {
                // A controller that throws loses this value and nothing else.
            }
        queue->free();
    }
}

tresult PendingParameterChanges::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IParamListener)
    return FObject::queryInterface(iid, obj);
}

} // namespace MiniEngine
} // namespace Quillmark
