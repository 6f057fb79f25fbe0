#include "conformity/process/qelprocessformattest.h"

namespace Quillmark
{
namespace Qel
{

bool QelProcessFormatTest::processAt(ITestResult* result, SampleRate rate)
{
    processSetup.sampleRate = rate;
    if (audioEffect->setupProcessing(processSetup) != kResultOk)
    {
        if (rate > 0.0)
            result->addErrorMessage(
                String::format("IAudioProcessor::setupProcessing (..) failed for samplerate "
                               "%.3f Hz! ",
                               rate)
                    .toUtf8()
                    .c_str());
        return true;
    }
    if (plug->setActive(true) != kResultOk)
    {
        result->addErrorMessage("IComponent::setActive (true) failed.");
        return false;
    }
    audioEffect->setProcessing(true);
    const bool processed = audioEffect->process(data()) == kResultOk;
    audioEffect->setProcessing(false);
    if (processed)
        result->addMessage(
            String::format(" %10.10G Hz - processed successfully!", rate).toUtf8().c_str());
    else
        result->addErrorMessage(
            String::format(" %10.10G Hz - failed to process!", rate).toUtf8().c_str());
    if (plug->setActive(false) != kResultOk)
    {
        result->addErrorMessage("IComponent::setActive (false) failed.");
        return false;
    }
    return true;
}

bool QelProcessFormatTest::run(ITestResult* result)
{
    if (!isReady(result) || !plug)
        return false;
    if (!canProcess(result))
        return true;
    addBanner(result);

    if (plug->setActive(false) != kResultOk)
    {
        result->addErrorMessage("IComponent::setActive (false) failed.");
        return false;
    }
    result->addMessage("***Tested Sample Rates***");
    for (SampleRate rate : kSampleRates)
        if (!processAt(result, rate))
            return false;
    // Teardown expects the plug-in active, as setup left it. A refused rate is listed above
    // but does not fail the test.
    return plug->setActive(true) == kResultOk;
}

} // namespace Qel
} // namespace Quillmark
