#include "hosting/qelcomponent.h"

#include "hosting/fcomponentregistry.h"
#include "qel3/iconnectionpoint.h"

namespace Quillmark
{
namespace Qel
{

std::atomic<int32> QelComponent::live{0};

QelComponent::QelComponent(FUnknown* instance, FComponentDescription* description,
                           ProblemHandler onProblem)
    : PlugInstance(instance, description, std::move(onProblem))
{
    ++live;
    component = query<IComponent>(instance);
    connectionPoint = query<IConnectionPoint>(instance);
}

QelComponent::~QelComponent()
{
    // The queried interfaces go first; the base then terminates and lets go of the object.
    releaseInterface(connectionPoint);
    releaseInterface(component);
    --live;
}

QelComponent* QelComponent::create(FComponentRegistry& registry, const FUID& cid,
                                   ProblemHandler onProblem)
{
    FComponentDescription* description = nullptr;
    FUnknown* object = createObject(registry, cid, description, onProblem);
    if (!object)
        return nullptr;
    auto* wrapper = new QelComponent(object, description, std::move(onProblem));
    const bool initialized = wrapper->initialize();
    if (!initialized)
    {
        wrapper->release();
        wrapper = nullptr;
    }
    // The creation reference: on success the wrapper now holds the only host reference.
    object->release();
    return wrapper;
}

} // namespace Qel
} // namespace Quillmark
