#include "qelgainprocessor.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

QelGainProcessor::QelGainProcessor()
{
    busses.addAudio(kInput, u"Stereo In", SpeakerArr::kStereo);
    busses.addAudio(kOutput, u"Stereo Out", SpeakerArr::kStereo);
}

tresult QelGainProcessor::initialize(FUnknown* context)
{
    const tresult result = Base::initialize(context);
    if (result == kResultOk)
        host = hostApplicationOf(context); // for the messages it creates; may be null
    return result;
}

tresult QelGainProcessor::terminate()
{
    host.reset();
    return Base::terminate();
}

tresult QelGainProcessor::getControllerClassId(TUID classId)
{
    if (!classId)
        return kInvalidArgument;
    std::memcpy(classId, kQelGainControllerCid.bytes, sizeof(TUID));
    return kResultOk;
}

tresult QelGainProcessor::setState(IBStream* state)
{
    Gain::ProcessorState loaded;
    if (!Gain::readProcessorState(state, loaded))
        return kResultFalse;
    gain.store(loaded.gain, std::memory_order_relaxed);
    bypass.store(loaded.bypass, std::memory_order_relaxed);
    return kResultOk;
}

tresult QelGainProcessor::getState(IBStream* state)
{
    Gain::ProcessorState current;
    current.gain = gain.load(std::memory_order_relaxed);
    current.bypass = bypass.load(std::memory_order_relaxed);
    return Gain::writeProcessorState(state, current) ? kResultOk : kResultFalse;
}

tresult QelGainProcessor::setBusArrangements(SpeakerArrangement* inputs, int32 numIns,
                                             SpeakerArrangement* outputs, int32 numOuts)
{
    if (numIns != 1 || numOuts != 1 || !inputs || !outputs || inputs[0] != outputs[0] ||
        (inputs[0] != SpeakerArr::kMono && inputs[0] != SpeakerArr::kStereo) || isActive())
        return kResultFalse;
    busses.setArrangement(kInput, 0, inputs[0]);
    busses.setArrangement(kOutput, 0, outputs[0]);
    return kResultOk;
}

tresult QelGainProcessor::activeChanged(bool state)
{
    peak = 0.0f;
    blocksSinceMeter = 0;
    meterMessage = state ? createMessage(host.get(), kQelGainMeterMessage) : IPtr<IMessage>();
    if (meterMessage && meterMessage->getAttributes())
        meterMessage->getAttributes()->setFloat(kQelGainPeakAttribute, 0.0);
    return kResultOk;
}

tresult QelGainProcessor::notify(IMessage* message)
{
    if (!isMessage(message, kQelGainMeterSetupMessage))
        return kResultFalse;
    int64 enabled = 0;
    IAttributeList* attributes = message->getAttributes();
    if (!attributes || attributes->getInt(kQelGainMeterEnabledAttribute, enabled) != kResultOk)
        return kResultFalse;
    meterWanted.store(enabled != 0, std::memory_order_relaxed);
    return kResultOk;
}

void QelGainProcessor::applyPoint(ParamID id, ParamValue value)
{
    if (id == Gain::kGainId)
    {
        gain.store(value, std::memory_order_relaxed);
        factor = factorOf(value);
    }
    else if (id == Gain::kBypassId)
    {
        bypassed = value >= 0.5;
        bypass.store(bypassed, std::memory_order_relaxed);
    }
}

double QelGainProcessor::factorOf(ParamValue normalized)
{
    // The power is worth keeping: the value rarely changes from one block to the next.
    if (normalized != factorSource)
    {
        factorSource = normalized;
        factorCache = Gain::gainFactor(normalized);
    }
    return factorCache;
}

tresult QelGainProcessor::process(ProcessData& data)
{
    factor = factorOf(gain.load(std::memory_order_relaxed));
    bypassed = bypass.load(std::memory_order_relaxed);
    automation.begin(data.inputParameterChanges);

    // A block without samples or without output buffers only carries parameter changes.
    const bool hasAudio = data.numSamples > 0 && data.numOutputs > 0 && data.outputs &&
                          data.outputs[0].channelBuffers32;
    if (hasAudio)
    {
        if (data.symbolicSampleSize == kSample64)
            processAudio<Sample64>(data);
        else
            processAudio<Sample32>(data);
    }
    automation.takeUpTo(automation.kEndOfBlock,
                        [this](ParamID id, ParamValue value) { applyPoint(id, value); });

    if (hasAudio && meterWanted.load(std::memory_order_relaxed) && controller.isConnected() &&
        ++blocksSinceMeter >= kQelGainMeterPeriodBlocks)
    {
        sendMeter();
        peak = 0.0f;
        blocksSinceMeter = 0;
    }
    return kResultOk;
}

namespace
{

/** The largest magnitude among `count` samples and `start`; a NaN never wins. */
template <class Sample> float peakOf(const Sample* samples, int32 count, float start)
{
    float result = start;
    for (int32 i = 0; i < count; ++i)
        result = std::max(result, static_cast<float>(std::fabs(samples[i])));
    return result;
}

/** The same for 32-bit samples, eight at a time: the largest magnitude does not depend on the
    order in which the samples are compared, so running maxima side by side give the same value
    as one, in a fraction of the time. */
template <> float peakOf<float>(const float* samples, int32 count, float start)
{
    typedef float Lanes __attribute__((vector_size(16)));
    Lanes low = {start, start, start, start};
    Lanes high = low;
    int32 i = 0;
    for (; i + 8 <= count; i += 8)
    {
        Lanes a, b;
        std::memcpy(&a, samples + i, sizeof(a));
        std::memcpy(&b, samples + i + 4, sizeof(b));
        a = a < 0 ? -a : a;
        b = b < 0 ? -b : b;
        // Written as "keep unless smaller", so that a NaN, which compares false, is passed over.
        low = low < a ? a : low;
        high = high < b ? b : high;
    }
    float result = start;
    for (int32 l = 0; l < 4; ++l)
        result = std::max(result, std::max(low[l], high[l]));
    for (; i < count; ++i)
        result = std::max(result, static_cast<float>(std::fabs(samples[i])));
    return result;
}

} // namespace

template <class Sample> void QelGainProcessor::processAudio(ProcessData& data)
{
    AudioBusBuffers& out = data.outputs[0];
    const AudioBusBuffers* in = data.numInputs > 0 && data.inputs ? &data.inputs[0] : nullptr;
    Sample** outputs = channelBuffers<Sample>(out);
    Sample** inputs = in ? channelBuffers<Sample>(*in) : nullptr;
    const int32 numSamples = data.numSamples;
    const int32 numChannels = std::min(out.numChannels, 64);

    // A channel with no input, or whose input is flagged silent, is silent at the output
    // whatever the gain: it is cleared once and flagged, and costs nothing further.
    uint64 silent = 0;
    for (int32 c = 0; c < numChannels; ++c)
    {
        const bool hasInput = inputs && c < in->numChannels && inputs[c];
        if (outputs[c] && (!hasInput || isSilent(*in, c)))
        {
            std::fill(outputs[c], outputs[c] + numSamples, Sample(0));
            silent |= uint64{1} << c;
        }
    }

    // The block is cut where a parameter point lies, so each point applies from its sample on.
    auto apply = [this](ParamID id, ParamValue value) { applyPoint(id, value); };
    for (int32 pos = 0; pos < numSamples;)
    {
        automation.takeUpTo(pos, apply);
        const int32 end = std::min(numSamples, automation.nextOffset());
        for (int32 c = 0; c < numChannels; ++c)
        {
            Sample* output = outputs[c];
            if (!output || (silent >> c & 1))
                continue;
            const Sample* input = inputs[c];
            if (bypassed)
            {
                if (input != output)
                    std::copy(input + pos, input + end, output + pos);
            }
            else
            {
                const auto g = static_cast<Sample>(factor);
                for (int32 i = pos; i < end; ++i)
                    output[i] = input[i] * g;
            }
            peak = peakOf(output + pos, end - pos, peak);
        }
        pos = end;
    }
    out.silenceFlags = silent;
}

// Sending from process: the message is made once per meter period, after the sample loops.
// createInstance and a host's delivery of a message that leaves the audio thread both allocate
// inside the host, so a plug-in that must never allocate there sends from a timer on the main
// thread instead, or writes the value to an output parameter.
void QelGainProcessor::sendMeter()
{
    if (!meterMessage || !meterMessage->getAttributes())
        return;
    meterMessage->getAttributes()->setFloat(kQelGainPeakAttribute, peak);
    controller.notify(meterMessage.get());
}

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
