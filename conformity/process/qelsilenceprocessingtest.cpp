#include "conformity/process/qelsilenceprocessingtest.h"

#include <algorithm>
#include <cmath>

namespace Quillmark
{
namespace Qel
{

namespace
{

uint64 allChannels(int32 channels)
{
    uint64 flags = 0;
    for (int32 channel = 0; channel < channels && channel < 64; ++channel)
        flags |= uint64(1) << channel;
    return flags;
}

bool flagged(const AudioBusBuffers& bus, int32 channel)
{
    return channel < 64 && ((bus.silenceFlags >> channel) & 1) != 0;
}

/** Whether no sample of the block rises above the threshold, compared in the block's own
    precision. */
template <class Sample> bool isSilent(const Sample* samples, int32 count, Sample threshold)
{
    for (int32 i = 0; i < count; ++i)
        if (std::fabs(samples[i]) > threshold)
            return false;
    return true;
}

} // namespace

void QelSilenceProcessingTest::silenceInputs()
{
    ProcessData& processData = data();
    const bool wide = processData.symbolicSampleSize == kSample64;
    const int32 count = std::max(processData.numSamples, 0);
    for (int32 bus = 0; bus < processData.numInputs; ++bus)
    {
        AudioBusBuffers& input = processData.inputs[bus];
        input.silenceFlags = allChannels(input.numChannels);
        for (int32 channel = 0; channel < input.numChannels; ++channel)
        {
            if (wide && input.channelBuffers64 && input.channelBuffers64[channel])
                std::fill_n(input.channelBuffers64[channel], count, 0.0);
            else if (!wide && input.channelBuffers32 && input.channelBuffers32[channel])
                std::fill_n(input.channelBuffers32[channel], count, 0.0f);
        }
    }
}

void QelSilenceProcessingTest::flagOutputs()
{
    ProcessData& processData = data();
    for (int32 bus = 0; bus < processData.numOutputs; ++bus)
    {
        AudioBusBuffers& output = processData.outputs[bus];
        // An output without an input of the same index takes its own channel count: there is
        // no input bus to copy from.
        output.silenceFlags = bus < processData.numInputs ? processData.inputs[bus].silenceFlags
                                                          : allChannels(output.numChannels);
    }
}

void QelSilenceProcessingTest::checkOutputs(ITestResult* result)
{
    ProcessData& processData = data();
    const bool wide = processData.symbolicSampleSize == kSample64;
    const int32 count = std::max(processData.numSamples, 0);
    for (int32 bus = 0; bus < processData.numOutputs; ++bus)
    {
        const AudioBusBuffers& output = processData.outputs[bus];
        for (int32 channel = 0; channel < output.numChannels; ++channel)
        {
            bool silent = true;
            if (wide && output.channelBuffers64 && output.channelBuffers64[channel])
                silent = isSilent(output.channelBuffers64[channel], count, kThreshold64);
            else if (!wide && output.channelBuffers32 && output.channelBuffers32[channel])
                silent = isSilent(output.channelBuffers32[channel], count, kThreshold32);
            const bool flag = flagged(output, channel);
            if (silent == flag)
                continue;
            result->addMessage(
                silent ? "The component reported a wrong silent flag for its output buffer! : "
                         "output is silent but silenceFlags not set !"
                       : "The component reported a wrong silent flag for its output buffer! : "
                         "silenceFlags is set to silence but output is not silent");
            break; // one report per bus is enough
        }
    }
}

bool QelSilenceProcessingTest::run(ITestResult* result)
{
    if (!isReady(result))
        return false;
    if (!canProcess(result))
        return true;
    addBanner(result);

    ProcessData& processData = data();
    if (!processData.inputs && processData.numInputs > 0)
    {
        result->addErrorMessage(
            "ProcessData::inputs are 0 but ProcessData::numInputs are nonzero.");
        return false;
    }
    if (processData.inputs && processData.numInputs > 0)
    {
        audioEffect->setProcessing(true);
        silenceInputs();
        flagOutputs();
        if (audioEffect->process(processData) != kResultOk)
            return stopProcessing(result, "The component failed to process!");
        checkOutputs(result);
    }
    audioEffect->setProcessing(false);
    return true;
}

} // namespace Qel
} // namespace Quillmark
