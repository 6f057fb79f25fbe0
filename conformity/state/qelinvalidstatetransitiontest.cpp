#include "conformity/state/qelinvalidstatetransitiontest.h"

#include "conformity/state/statesteps.h"

namespace Quillmark
{
namespace Qel
{

namespace
{

// Each answer may be anything but the code given. The calls that are valid in their place may
// answer any error other than kResultFalse; the refused ones any code other than kResultOk.
constexpr StateStep kSteps[] = {
    {StateCall::kInitialize, kResultFalse, false}, {StateCall::kDeactivate, kResultOk, false},
    {StateCall::kActivate, kResultFalse, false},   {StateCall::kInitialize, kResultOk, false},
    {StateCall::kDeactivate, kResultFalse, false}, {StateCall::kInitialize, kResultOk, false},
    {StateCall::kTerminate, kResultFalse, false},  {StateCall::kDeactivate, kResultOk, false},
    {StateCall::kTerminate, kResultOk, false},
};

} // namespace

QelInvalidStateTransitionTest::QelInvalidStateTransitionTest(IPlugProvider* provider)
    : QelTestBase(provider)
{
}

bool QelInvalidStateTransitionTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);
    return runStateSteps(*plug, kSteps);
}

} // namespace Qel
} // namespace Quillmark
