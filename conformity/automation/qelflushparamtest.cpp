#include "conformity/automation/qelflushparamtest.h"

namespace Quillmark
{
namespace Qel
{

QelFlushParamTest::QelFlushParamTest(IPlugProvider* provider, int32 symbolicSampleSize)
    : QelAutomationTest(provider, symbolicSampleSize, 100, 1, false)
{
}

bool QelFlushParamTest::run(ITestResult* result)
{
    if (!result || !plug || !audioEffect)
        return false;
    if (!canProcess(result))
        return true;
    addBanner(result);

    unprepareProcessing();
    ProcessData& block = data();
    block.numSamples = 0;
    block.numInputs = 0;
    block.numOutputs = 0;
    block.inputs = nullptr;
    block.outputs = nullptr;

    audioEffect->setProcessing(true);
    // With no samples no point is placed: the plug-in sees its queue empty.
    preProcess(result);
    if (audioEffect->process(block) != kResultOk)
        return stopProcessing(result, "The component failed to process without audio buffers!");
    postProcess(result);
    audioEffect->setProcessing(false);
    return true;
}

} // namespace Qel
} // namespace Quillmark
