#include "conformity/state/qelvalidstatetransitiontest.h"

#include "conformity/state/statesteps.h"

namespace Quillmark
{
namespace Qel
{

namespace
{

constexpr StateStep kRound[] = {
    {StateCall::kActivate, kResultOk, true},
    {StateCall::kDeactivate, kResultOk, true},
    {StateCall::kTerminate, kResultOk, true},
    {StateCall::kInitialize, kResultOk, true},
};
constexpr int kRounds = 3;

} // namespace

QelValidStateTransitionTest::QelValidStateTransitionTest(IPlugProvider* provider)
    : QelTestBase(provider)
{
}

bool QelValidStateTransitionTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);
    for (int round = 0; round < kRounds; ++round)
        if (!runStateSteps(*plug, kRound))
            return false;
    return true;
}

} // namespace Qel
} // namespace Quillmark
