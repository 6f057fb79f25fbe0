#include "qelmetronome.h"

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

constexpr const char16* kOffOn[] = {u"Off", u"On"};
constexpr const char16* kPlayModes[] = {u"Always", u"Count In"};

constexpr ParameterSpec kParameters[] = {
    {.id = Metronome::kEnableId,
     .title = u"Enable",
     .shortTitle = u"On",
     .maxPlain = 1.0,
     .defaultPlain = 1.0,
     .stepCount = 1,
     .entries = kOffOn},
    {.id = Metronome::kBypassId,
     .title = u"Bypass",
     .shortTitle = u"Byp",
     .maxPlain = 1.0,
     .stepCount = 1,
     .flags = ParameterInfo::kCanAutomate | ParameterInfo::kIsBypass,
     .entries = kOffOn},
    {.id = Metronome::kAccentId,
     .title = u"Accent",
     .shortTitle = u"Acc",
     .maxPlain = 1.0,
     .defaultPlain = 1.0,
     .stepCount = 1,
     .entries = kOffOn},
    {.id = Metronome::kPlayModeId,
     .title = u"Play Mode",
     .shortTitle = u"Mode",
     .maxPlain = 1.0,
     .stepCount = 1,
     .flags = ParameterInfo::kCanAutomate | ParameterInfo::kIsList,
     .entries = kPlayModes},
    {.id = Metronome::kVolumeId,
     .title = u"Volume",
     .shortTitle = u"Vol",
     .units = u"%",
     .maxPlain = 100.0,
     .defaultPlain = 70.0,
     .precision = 0},
};

constexpr UnitSpec kUnits[] = {
    {.id = kRootUnitId, .parentId = kNoParentUnitId, .name = u"Root"},
};

} // namespace

QelMetronome::QelMetronome() : UnitedValuesBase(stateTag("QMet"), kParameters)
{
    busses.addAudio(kOutput, u"Click", SpeakerArr::kStereo);
    units = UnitTable(kUnits, {});
}

tresult QelMetronome::activeChanged(bool)
{
    clickLeft = 0;
    return kResultOk;
}

bool QelMetronome::sounds(const ProcessContext* context) const
{
    if (!context || !(context->state & ProcessContext::kPlaying) || context->sampleRate <= 0.0 ||
        context->tempo <= 0.0)
        return false;
    if (value(Metronome::kEnableId) < 0.5 || value(Metronome::kBypassId) >= 0.5)
        return false;
    // "Count In" clicks only before the song's start.
    const bool onlyCountIn = value(Metronome::kPlayModeId) >= 0.5;
    return !onlyCountIn || context->projectTimeMusic < 0.0;
}

int32 QelMetronome::findBeats(const ProcessContext& context, int32 numSamples, int32* offsets,
                              bool* accents, int32 capacity) const
{
    const int32 denominator = context.timeSigDenominator > 0 ? context.timeSigDenominator : 4;
    const int32 numerator = context.timeSigNumerator > 0 ? context.timeSigNumerator : 4;
    const double beat = 4.0 / denominator;
    const double samplesPerQuarter = 60.0 / context.tempo * context.sampleRate;
    const double start = context.projectTimeMusic;
    // The first beat at or after the block's start; a hair of tolerance keeps a beat that
    // rounding put just before the start.
    auto index = static_cast<int64>(std::ceil(start / beat - 1e-9));
    int32 count = 0;
    while (count < capacity)
    {
        const double offset = (index * beat - start) * samplesPerQuarter;
        if (offset >= numSamples)
            break;
        offsets[count] = offset < 0.0 ? 0 : static_cast<int32>(offset);
        accents[count] = ((index % numerator) + numerator) % numerator == 0;
        ++count;
        ++index;
    }
    return count;
}

tresult QelMetronome::process(ProcessData& data)
{
    automation.begin(data.inputParameterChanges);
    automation.takeUpTo(decltype(automation)::kEndOfBlock,
                        [this](ParamID id, ParamValue v) {
                            values[id].store(ParameterSpec::clamp01(v), std::memory_order_relaxed);
                        });
    if (data.numSamples <= 0 || data.numOutputs <= 0 || !data.outputs ||
        !data.outputs[0].channelBuffers32)
        return kResultOk;
    AudioBusBuffers& out = data.outputs[0];
    constexpr int32 kMaxBeats = 64;
    int32 offsets[kMaxBeats];
    bool accents[kMaxBeats];
    int32 beats = 0;
    if (sounds(data.processContext))
        beats = findBeats(*data.processContext, data.numSamples, offsets, accents, kMaxBeats);
    const double rate = data.processContext && data.processContext->sampleRate > 0
                            ? data.processContext->sampleRate
                            : setup.sampleRate;
    const double volume =
        kParameters[Metronome::kVolumeId].toPlain(value(Metronome::kVolumeId)) / 100.0;
    const bool accentOn = value(Metronome::kAccentId) >= 0.5;
    int32 nextBeat = 0;
    bool anySound = false;
    for (int32 sample = 0; sample < data.numSamples; ++sample)
    {
        if (nextBeat < beats && offsets[nextBeat] == sample)
        {
            const bool accent = accentOn && accents[nextBeat];
            clickLength = static_cast<int32>(kClickSeconds * rate);
            clickLeft = clickLength;
            clickPhase = 0.0;
            clickStep = (accent ? kAccentHz : kClickHz) / rate;
            clickLevel = volume * (accent ? 1.0 : 0.6);
            while (nextBeat < beats && offsets[nextBeat] == sample)
                ++nextBeat;
        }
        double v = 0.0;
        if (clickLeft > 0)
        {
            const double envelope = static_cast<double>(clickLeft) / clickLength;
            v = std::sin(2.0 * std::numbers::pi * clickPhase) * clickLevel * envelope;
            clickPhase += clickStep;
            clickPhase -= std::floor(clickPhase);
            --clickLeft;
            anySound = true;
        }
        for (int32 channel = 0; channel < out.numChannels; ++channel)
        {
            if (data.symbolicSampleSize == kSample64)
            {
                if (Sample64* buffer = out.channelBuffers64[channel])
                    buffer[sample] = v;
            }
            else if (Sample32* buffer = out.channelBuffers32[channel])
                buffer[sample] = static_cast<Sample32>(v);
        }
    }
    const int32 channels = out.numChannels;
    out.silenceFlags = anySound ? 0 : channels >= 64 ? ~uint64(0) : (uint64(1) << channels) - 1;
    return kResultOk;
}

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
