#include "conformity/qelprocesstest.h"

namespace Quillmark
{
namespace Qel
{

QelProcessTest::QelProcessTest(IPlugProvider* provider, int32 symbolicSampleSize)
    : QelTestEnh(provider, symbolicSampleSize), buffers(symbolicSampleSize)
{
}

bool QelProcessTest::setup()
{
    if (!QelTestEnh::setup() || !plug || !audioEffect)
        return false;
    if (data().symbolicSampleSize != processSetup.symbolicSampleSize)
        return false;
    if (audioEffect->canProcessSampleSize(processSetup.symbolicSampleSize) != kResultOk)
        return true;
    // A refused preparation (an arrangement, a setup) shows in run, not here.
    prepareProcessing();
    return plug->setActive(true) == kResultOk;
}

bool QelProcessTest::teardown()
{
    unprepareProcessing();
    if (plug && plug->setActive(false) != kResultOk)
        return false;
    return QelTestEnh::teardown();
}

bool QelProcessTest::prepareProcessing()
{
    if (!plug || !audioEffect)
        return false;
    if (audioEffect->setupProcessing(processSetup) != kResultOk)
        return false;
    buffers.prepare(*plug, processSetup.symbolicSampleSize, processSetup.maxSamplesPerBlock);
    return true;
}

bool QelProcessTest::unprepareProcessing()
{
    buffers.release();
    return true;
}

bool QelProcessTest::isReady(ITestResult* result) const
{
    return result && audioEffect &&
           buffers.data().symbolicSampleSize == processSetup.symbolicSampleSize;
}

bool QelProcessTest::canProcess(ITestResult* result)
{
    if (!isReady(result))
        return false;
    if (audioEffect->canProcessSampleSize(processSetup.symbolicSampleSize) == kResultOk)
        return true;
    result->addMessage(processSetup.symbolicSampleSize == kSample64
                           ? "64bit Audio Processing not supported."
                           : "32bit Audio Processing not supported.");
    return false;
}

bool QelProcessTest::stopProcessing(ITestResult* result, const char8* error)
{
    audioEffect->setProcessing(false);
    if (error)
        result->addErrorMessage(error);
    return false;
}

bool QelProcessTest::run(ITestResult* result)
{
    if (!isReady(result))
        return false;
    if (!canProcess(result))
        return true;
    audioEffect->setProcessing(true);
    for (int pass = 0; pass < 3; ++pass)
    {
        if (!preProcess(result))
            return false;
        if (audioEffect->process(data()) != kResultOk)
            return stopProcessing(result, "IAudioProcessor::process (..) failed.");
        if (!postProcess(result))
            return stopProcessing(result);
    }
    audioEffect->setProcessing(false);
    return true;
}

} // namespace Qel
} // namespace Quillmark
