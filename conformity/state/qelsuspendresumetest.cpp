#include "conformity/state/qelsuspendresumetest.h"

namespace Quillmark
{
namespace Qel
{

namespace
{
constexpr int kPasses = 3;
}

QelSuspendResumeTest::QelSuspendResumeTest(IPlugProvider* provider, int32 symbolicSampleSize)
    : QelTestEnh(provider, symbolicSampleSize)
{
}

bool QelSuspendResumeTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);
    for (int pass = 0; pass < kPasses; ++pass)
    {
        if (audioEffect && !setupProcessing(*result))
            return false;
        // A refused switch is a failure of its own; the plug-in has nothing more to tell.
        if (plug->setActive(true) != kResultOk)
            return false;
        if (plug->setActive(false) != kResultOk)
            return false;
    }
    return true;
}

bool QelSuspendResumeTest::setupProcessing(ITestResult& result)
{
    if (audioEffect->canProcessSampleSize(kSample32) == kResultOk)
        processSetup.symbolicSampleSize = kSample32;
    else if (audioEffect->canProcessSampleSize(kSample64) == kResultOk)
        processSetup.symbolicSampleSize = kSample64;
    else
    {
        result.addErrorMessage("No appropriate symbolic sample size supported!");
        return false;
    }
    if (audioEffect->setupProcessing(processSetup) != kResultOk)
    {
        result.addErrorMessage("Process setup failed!");
        return false;
    }
    return true;
}

} // namespace Qel
} // namespace Quillmark
