#include "conformity/state/qelrepeatidenticalstatetransitiontest.h"

#include "conformity/state/statesteps.h"

namespace Quillmark
{
namespace Qel
{

namespace
{

// A repeated initialize or activation must answer exactly kResultFalse; a repeated
// deactivation or terminate may answer any refusal.
constexpr StateStep kSteps[] = {
    {StateCall::kInitialize, kResultFalse, true}, {StateCall::kActivate, kResultOk, true},
    {StateCall::kActivate, kResultFalse, true},   {StateCall::kDeactivate, kResultOk, true},
    {StateCall::kDeactivate, kResultOk, false},   {StateCall::kTerminate, kResultOk, true},
    {StateCall::kTerminate, kResultOk, false},    {StateCall::kInitialize, kResultOk, true},
};

} // namespace

QelRepeatIdenticalStateTransitionTest::QelRepeatIdenticalStateTransitionTest(
    IPlugProvider* provider)
    : QelTestBase(provider)
{
}

bool QelRepeatIdenticalStateTransitionTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);
    return runStateSteps(*plug, kSteps);
}

} // namespace Qel
} // namespace Quillmark
