// The life-cycle calls that the state transition tests make, as data: each step is one call and
// the answer it must (or must not) give. Shared by the transition tests of this folder.
#pragma once

#include "qel3/icomponent.h"

#include <span>

namespace Quillmark
{
namespace Qel
{

enum class StateCall
{
    kInitialize, // with the host context that the tree builder stored
    kTerminate,
    kActivate,
    kDeactivate,
};

/** One call and the verdict on its answer: with `mustEqual` the answer has to be `code`,
    without it the answer may be anything but `code`. */
struct StateStep
{
    StateCall call;
    tresult code;
    bool mustEqual;
};

/** Makes the call on `plug` and answers its result. */
tresult makeStateCall(IComponent& plug, StateCall call);

/** Makes the steps in order and stops at the first whose answer is not as told; true when all
    were. */
bool runStateSteps(IComponent& plug, std::span<const StateStep> steps);

} // namespace Qel
} // namespace Quillmark
