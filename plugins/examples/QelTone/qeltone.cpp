#include "qeltone.h"

#include <cmath>
#include <numbers>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

namespace
{

constexpr ParameterSpec kParameters[] = {
    {.id = Tone::kFrequencyId,
     .title = u"Frequency",
     .shortTitle = u"Freq",
     .units = u"Hz",
     .minPlain = 20.0,
     .maxPlain = 2000.0,
     .defaultPlain = 440.0,
     .precision = 1},
    {.id = Tone::kLevelId,
     .title = u"Level",
     .shortTitle = u"Lvl",
     .units = u"%",
     .minPlain = 0.0,
     .maxPlain = 100.0,
     .defaultPlain = 25.0,
     .precision = 0},
};

constexpr UnitSpec kUnits[] = {
    {.id = kRootUnitId, .parentId = kNoParentUnitId, .name = u"Root"},
};

} // namespace

QelTone::QelTone() : UnitedValuesBase(stateTag("QTon"), kParameters)
{
    busses.addAudio(kOutput, u"Tone Out", SpeakerArr::kStereo);
    units = UnitTable(kUnits, {});
}

tresult QelTone::activeChanged(bool)
{
    phase = 0.0;
    return kResultOk;
}

template <class Sample> void QelTone::render(ProcessData& data, int32 start, int32 end)
{
    AudioBusBuffers& out = data.outputs[0];
    Sample** channels = channelBuffers<Sample>(out);
    const double step =
        kParameters[Tone::kFrequencyId].toPlain(value(Tone::kFrequencyId)) / setup.sampleRate;
    const double level = kParameters[Tone::kLevelId].toPlain(value(Tone::kLevelId)) / 100.0;
    for (int32 sample = start; sample < end; ++sample)
    {
        const auto v = static_cast<Sample>(std::sin(2.0 * std::numbers::pi * phase) * level);
        for (int32 channel = 0; channel < out.numChannels; ++channel)
            if (channels[channel])
                channels[channel][sample] = v;
        phase += step;
        phase -= std::floor(phase);
    }
}

tresult QelTone::process(ProcessData& data)
{
    automation.begin(data.inputParameterChanges);
    auto apply = [this](ParamID id, ParamValue normalized)
    { values[id].store(ParameterSpec::clamp01(normalized), std::memory_order_relaxed); };
    const bool hasAudio = data.numSamples > 0 && data.numOutputs > 0 && data.outputs &&
                          data.outputs[0].channelBuffers32;
    if (!hasAudio)
    {
        automation.takeUpTo(decltype(automation)::kEndOfBlock, apply);
        return kResultOk;
    }
    // Each stretch between two parameter points is rendered with the values in force.
    int32 position = 0;
    while (position < data.numSamples)
    {
        automation.takeUpTo(position, apply);
        int32 next = automation.nextOffset();
        const int32 end = next < data.numSamples ? next : data.numSamples;
        if (data.symbolicSampleSize == kSample64)
            render<Sample64>(data, position, end);
        else
            render<Sample32>(data, position, end);
        position = end > position ? end : position + 1;
    }
    automation.takeUpTo(decltype(automation)::kEndOfBlock, apply);
    const bool silent = value(Tone::kLevelId) <= 0.0;
    const int32 channels = data.outputs[0].numChannels;
    data.outputs[0].silenceFlags = !silent          ? 0
                                   : channels >= 64 ? ~uint64(0)
                                                    : (uint64(1) << channels) - 1;
    return kResultOk;
}

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
