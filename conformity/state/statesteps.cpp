#include "conformity/state/statesteps.h"

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

tresult makeStateCall(IComponent& plug, StateCall call)
{
    switch (call)
    {
    case StateCall::kInitialize:
        return plug.initialize(QelTestBase::getHostContext());
    case StateCall::kTerminate:
        return plug.terminate();
    case StateCall::kActivate:
        return plug.setActive(true);
    case StateCall::kDeactivate:
        return plug.setActive(false);
    }
    return kInvalidArgument;
}

bool runStateSteps(IComponent& plug, std::span<const StateStep> steps)
{
    for (const StateStep& step : steps)
        if ((makeStateCall(plug, step.call) == step.code) != step.mustEqual)
            return false;
    return true;
}

} // namespace Qel
} // namespace Quillmark
