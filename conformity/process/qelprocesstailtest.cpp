#include "conformity/process/qelprocesstailtest.h"

#include "conformity/testrandom.h"

#include <algorithm>
#include <cmath>

namespace Quillmark
{
namespace Qel
{

namespace
{

template <class Sample> Sample** channelsOf(const AudioBusBuffers& bus);
template <> Sample32** channelsOf<Sample32>(const AudioBusBuffers& bus)
{
    return bus.channelBuffers32;
}
template <> Sample64** channelsOf<Sample64>(const AudioBusBuffers& bus)
{
    return bus.channelBuffers64;
}

} // namespace

bool QelProcessTailTest::setup()
{
    const bool ready = QelProcessTest::setup();
    if (audioEffect)
        tailSamples = audioEffect->getTailSamples();
    String subCategories;
    if (provider && provider->getSubCategories(subCategories) == kResultOk)
    {
        const std::string text = subCategories.toUtf8();
        doNotTest = text.find("Generator") != std::string::npos ||
                    text.find("Instrument") != std::string::npos;
    }
    return ready;
}

bool QelProcessTailTest::run(ITestResult* result)
{
    if (!isReady(result))
        return false;
    if (!canProcess(result) || doNotTest)
        return true;
    result->addMessage(
        String::format("===%s == Tail=%d ======================", getName(), int32(tailSamples))
            .toUtf8()
            .c_str());
    audioEffect->setProcessing(true);
    for (int32 pass = 0; pass < kPasses; ++pass)
    {
        inputSilent = pass > kLastNoisePass;
        if (!preProcess(result))
            return stopProcessing(result);
        if (audioEffect->process(data()) != kResultOk)
            return stopProcessing(result, "IAudioProcessor::process (..) failed.");
        if (!postProcess(result))
            return stopProcessing(result);
    }
    audioEffect->setProcessing(false);
    return true;
}

template <class Sample> void QelProcessTailTest::serve(std::vector<Sample>& noise)
{
    ProcessData& processData = data();
    const int32 count = std::max(processData.numSamples, 0);
    if (!inputSilent)
    {
        if (noise.empty())
            noise.resize(size_t(count));
        for (Sample& sample : noise)
            sample = Sample(testRandom() * 2.0 * (1.0 / 32767.0) - 1.0);
    }
    // Bus 0 is served once for every bus of a direction; further busses stay as they are.
    for (int32 bus = 0; bus < processData.numOutputs; ++bus)
    {
        const AudioBusBuffers& output = processData.outputs[0];
        for (int32 channel = 0; channel < output.numChannels; ++channel)
            if (Sample* samples = channelsOf<Sample>(output)[channel])
                std::fill_n(samples, count, Sample(0));
    }
    for (int32 bus = 0; bus < processData.numInputs; ++bus)
    {
        const AudioBusBuffers& input = processData.inputs[0];
        for (int32 channel = 0; channel < input.numChannels; ++channel)
        {
            Sample* samples = channelsOf<Sample>(input)[channel];
            if (!samples)
                continue;
            if (inputSilent)
                std::fill_n(samples, count, Sample(0));
            else
                std::copy_n(noise.begin(), std::min(count, int32(noise.size())), samples);
        }
    }
}

bool QelProcessTailTest::preProcess(ITestResult* result)
{
    if (data().symbolicSampleSize == kSample64)
        serve(noise64);
    else
        serve(noise32);
    return true;
}

template <class Sample> bool QelProcessTailTest::checkTail(ITestResult* result, int32 start)
{
    ProcessData& processData = data();
    for (int32 bus = 0; bus < processData.numOutputs; ++bus)
    {
        const AudioBusBuffers& output = processData.outputs[0];
        for (int32 channel = 0; channel < output.numChannels; ++channel)
        {
            const Sample* samples = channelsOf<Sample>(output)[channel];
            if (!samples)
                continue;
            for (int32 i = start; i < processData.numSamples; ++i)
                if (std::fabs(double(samples[i])) >= kSoundThreshold)
                {
                    result->addErrorMessage(
                        String::format("IAudioProcessor::process (..) generates non silent output "
                                       "for silent input for tail above %d samples.",
                                       int32(tailSamples))
                            .toUtf8()
                            .c_str());
                    return false;
                }
        }
    }
    return true;
}

bool QelProcessTailTest::postProcess(ITestResult* result)
{
    if (!inputSilent)
        return true;
    const uint32 end = samplesSinceSilence + uint32(std::max(data().numSamples, 0));
    if (tailSamples < end)
    {
        const int32 start =
            samplesSinceSilence < tailSamples ? int32(tailSamples - samplesSinceSilence) : 0;
        const bool quiet = data().symbolicSampleSize == kSample64
                               ? checkTail<Sample64>(result, start)
                               : checkTail<Sample32>(result, start);
        if (!quiet)
            return false;
    }
    samplesSinceSilence = end;
    return true;
}

} // namespace Qel
} // namespace Quillmark
