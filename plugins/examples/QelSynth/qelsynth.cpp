#include "qelsynth.h"

#include "common/statestream.h"
#include "qel3/icomponenthandler.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numbers>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

namespace
{

// The state: tag "QSyn", version, the number of values, then (id, normalized value) pairs.
// Little-endian. Ids a reader does not list keep their defaults.
constexpr uint32 kStateTag = stateTag("QSyn");
constexpr int32 kStateVersion = 1;

// Sixteen voices at full level must not clip.
constexpr double kVoiceHeadroom = 0.25;
// The longest stretch rendered with one pitch, so that vibrato moves smoothly.
constexpr int32 kControlInterval = 32;
constexpr double kVibratoHz = 5.5;
constexpr double kVibratoSemitones = 0.5; // at full mod wheel

bool readState(IBStream* stream, std::array<ParamValue, Synth::kParameterCount>& result)
{
    StateReader reader(stream);
    const uint32 tag = reader.readUInt32();
    const int32 version = reader.readInt32();
    const int32 count = reader.readInt32();
    if (!reader.ok() || tag != kStateTag || version != kStateVersion || count < 0 ||
        count > Synth::kParameterCount)
        return false;
    for (const ParameterSpec& parameter : Synth::kParameters)
        result[parameter.id] = parameter.defaultNormalized();
    for (int32 i = 0; i < count; ++i)
    {
        const uint32 id = reader.readUInt32();
        const double value = reader.readDouble();
        if (!reader.ok() || id >= static_cast<uint32>(Synth::kParameterCount) ||
            !(value >= 0.0 && value <= 1.0))
            return false;
        result[id] = value;
    }
    return true;
}

} // namespace

QelSynth::QelSynth()
{
    busses.addEvent(kInput, u"Note In", Synth::kEventChannels);
    busses.addAudio(kOutput, u"Stereo Out", SpeakerArr::kStereo);
    parameters = ParameterList(Synth::kParameters);
    units = UnitTable(Synth::kUnits, Synth::kProgramLists);
    for (const ParameterSpec& parameter : Synth::kParameters)
        setValue(parameter.id, parameter.defaultNormalized());
}

// State

tresult QelSynth::setState(IBStream* state)
{
    std::array<ParamValue, Synth::kParameterCount> loaded;
    if (!readState(state, loaded))
        return kResultFalse;
    for (const ParameterSpec& parameter : Synth::kParameters)
    {
        setValue(parameter.id, loaded[parameter.id]);
        parameters.set(parameter.id, loaded[parameter.id]);
    }
    return kResultOk;
}

tresult QelSynth::getState(IBStream* state)
{
    StateWriter writer(state);
    writer.writeUInt32(kStateTag);
    writer.writeInt32(kStateVersion);
    writer.writeInt32(Synth::kParameterCount);
    for (const ParameterSpec& parameter : Synth::kParameters)
    {
        writer.writeUInt32(parameter.id);
        writer.writeDouble(value(parameter.id));
    }
    return writer.ok() ? kResultOk : kResultFalse;
}

tresult QelSynth::setComponentState(IBStream* state)
{
    std::array<ParamValue, Synth::kParameterCount> loaded;
    if (!readState(state, loaded))
        return kResultFalse;
    for (const ParameterSpec& parameter : Synth::kParameters)
        parameters.set(parameter.id, loaded[parameter.id]);
    return kResultOk;
}

tresult QelSynth::programDataSupported(ProgramListID listId)
{
    return listId == Synth::kFactoryListId ? kResultOk : kResultFalse;
}

tresult QelSynth::getProgramData(ProgramListID listId, int32 programIndex, IBStream* data)
{
    if (listId != Synth::kFactoryListId || programIndex < 0 ||
        programIndex >= static_cast<int32>(std::size(Synth::kPrograms)) || !data)
        return kResultFalse;
    const auto sound = Synth::programValues(programIndex);
    StateWriter writer(data);
    writer.writeUInt32(kStateTag);
    writer.writeInt32(kStateVersion);
    writer.writeInt32(static_cast<int32>(sound.size()));
    for (const auto& [id, normalized] : sound)
    {
        writer.writeUInt32(id);
        writer.writeDouble(normalized);
    }
    return writer.ok() ? kResultOk : kResultFalse;
}

tresult QelSynth::setProgramData(ProgramListID listId, int32 programIndex, IBStream* data)
{
    // The programs themselves are fixed; data handed in becomes the sound being played.
    if (listId != Synth::kFactoryListId || programIndex < 0 ||
        programIndex >= static_cast<int32>(std::size(Synth::kPrograms)) || !data)
        return kResultFalse;
    StateReader reader(data);
    const uint32 tag = reader.readUInt32();
    const int32 version = reader.readInt32();
    const int32 count = reader.readInt32();
    if (!reader.ok() || tag != kStateTag || version != kStateVersion || count < 0 ||
        count > Synth::kParameterCount)
        return kResultFalse;
    std::array<std::pair<ParamID, ParamValue>, Synth::kParameterCount> read{};
    for (int32 i = 0; i < count; ++i)
    {
        const uint32 id = reader.readUInt32();
        const double value = reader.readDouble();
        if (!reader.ok() || id >= static_cast<uint32>(Synth::kParameterCount) ||
            !(value >= 0.0 && value <= 1.0))
            return kResultFalse;
        read[static_cast<size_t>(i)] = {id, value};
    }
    for (int32 i = 0; i < count; ++i)
    {
        setValue(read[static_cast<size_t>(i)].first, read[static_cast<size_t>(i)].second);
        parameters.set(read[static_cast<size_t>(i)].first, read[static_cast<size_t>(i)].second);
    }
    return kResultOk;
}

tresult QelSynth::setParamNormalized(ParamID id, ParamValue normalized)
{
    if (!parameters.set(id, normalized))
        return kResultFalse;
    if (id == Synth::kProgramId)
    {
        for (const auto& [soundId, soundValue] :
             Synth::programValues(Synth::kParameters[Synth::kProgramId].stepOf(normalized)))
            parameters.set(soundId, soundValue);
        // The host shows the new values once it reads them again.
        if (componentHandler)
            componentHandler->restartComponent(kParamValuesChanged);
    }
    return kResultOk;
}

// Processing

tresult QelSynth::activeChanged(bool state)
{
    for (SynthVoice& voice : voices)
        voice.kill();
    vibratoPhase = 0.0;
    return kResultOk;
}

void QelSynth::applyPoint(ParamID id, ParamValue normalized)
{
    if (id >= static_cast<ParamID>(Synth::kParameterCount))
        return;
    setValue(id, ParameterSpec::clamp01(normalized));
    if (id == Synth::kProgramId)
        for (const auto& [soundId, soundValue] :
             Synth::programValues(Synth::kParameters[Synth::kProgramId].stepOf(normalized)))
            setValue(soundId, soundValue);
}

bool QelSynth::isEventChannel(int32 busIndex, int16 channel)
{
    return busIndex == 0 && channel >= 0 && channel < Synth::kEventChannels;
}

void QelSynth::handleEvent(const Event& event)
{
    if (event.busIndex != 0)
        return;
    switch (event.type)
    {
    case Event::kNoteOnEvent:
        // A note-on without velocity is a note-off, as in MIDI.
        if (event.noteOn.velocity > 0.0f)
            noteOn(event.noteOn);
        else
            noteOff(NoteOffEvent{event.noteOn.channel, event.noteOn.pitch, 0.0f,
                                 event.noteOn.noteId, 0.0f});
        break;
    case Event::kNoteOffEvent:
        noteOff(event.noteOff);
        break;
    case Event::kNoteExpressionValueEvent:
        for (SynthVoice& voice : voices)
            if (voice.plays(event.noteExpressionValue.noteId))
            {
                if (event.noteExpressionValue.typeId == kVolumeTypeID)
                    voice.setVolume(event.noteExpressionValue.value);
                else if (event.noteExpressionValue.typeId == kTuningTypeID)
                    voice.setTuning(event.noteExpressionValue.value);
            }
        break;
    default:
        break;
    }
}

void QelSynth::noteOn(const NoteOnEvent& note)
{
    if (!isEventChannel(0, note.channel) || note.pitch < 0 || note.pitch > 127)
        return;
    // A key switch chooses the articulation of the notes that follow and plays nothing.
    for (std::size_t i = 0; i < std::size(Synth::kKeyswitches); ++i)
        if (note.pitch == Synth::kKeyswitches[i].key)
        {
            articulation = static_cast<Synth::Articulation>(i);
            return;
        }
    const int32 stopAfter = articulation == Synth::Articulation::kStaccato
                                ? static_cast<int32>(Synth::kStaccatoSeconds * setup.sampleRate)
                                : -1;
    freeVoice().start(note, stopAfter, ++notesStarted);
}

void QelSynth::noteOff(const NoteOffEvent& note)
{
    // By note id when the host gives one that a voice plays, else by channel and key.
    bool found = false;
    for (SynthVoice& voice : voices)
        if (voice.plays(note.noteId))
        {
            voice.release();
            found = true;
        }
    if (!found)
        for (SynthVoice& voice : voices)
            if (voice.plays(note.channel, note.pitch))
                voice.release();
}

SynthVoice& QelSynth::freeVoice()
{
    // A silent voice if there is one; else the quietest releasing one; else the oldest.
    SynthVoice* best = &voices[0];
    for (SynthVoice& voice : voices)
    {
        if (!voice.isActive())
            return voice;
        if (voice.isReleasing() != best->isReleasing())
        {
            if (voice.isReleasing())
                best = &voice;
        }
        else if (voice.isReleasing() ? voice.level() < best->level()
                                     : voice.startOrder() < best->startOrder())
            best = &voice;
    }
    return *best;
}

VoiceContext QelSynth::voiceContext() const
{
    VoiceContext context;
    context.sampleRate = setup.sampleRate;
    context.waveform = static_cast<Synth::Waveform>(
        Synth::kParameters[Synth::kWaveformId].stepOf(value(Synth::kWaveformId)));
    const double attackSamples =
        Synth::kParameters[Synth::kAttackId].toPlain(value(Synth::kAttackId)) * 0.001 *
        setup.sampleRate;
    const double releaseSamples =
        Synth::kParameters[Synth::kReleaseId].toPlain(value(Synth::kReleaseId)) * 0.001 *
        setup.sampleRate;
    context.attackStep = 1.0 / std::max(1.0, attackSamples);
    context.releaseStep = 1.0 / std::max(1.0, releaseSamples);
    const double vibrato = kVibratoSemitones * value(Synth::kVibratoId) *
                           std::sin(2.0 * std::numbers::pi * vibratoPhase);
    context.pitchOffset =
        Synth::kParameters[Synth::kPitchBendId].toPlain(value(Synth::kPitchBendId)) + vibrato;
    context.gain = value(Synth::kVolumeId) * kVoiceHeadroom;
    return context;
}

tresult QelSynth::process(ProcessData& data)
{
    automation.begin(data.inputParameterChanges);
    BlockEvents events(data.inputEvents);

    const bool hasAudio = data.numSamples > 0 && data.numOutputs > 0 && data.outputs &&
                          data.outputs[0].channelBuffers32;
    if (hasAudio)
    {
        if (data.symbolicSampleSize == kSample64)
            render<Sample64>(data, events);
        else
            render<Sample32>(data, events);
    }
    // Whatever lies at or beyond the end of the block (all of it, in a block without audio)
    // still counts, so no note-off or parameter change is lost.
    automation.takeUpTo(automation.kEndOfBlock,
                        [this](ParamID id, ParamValue v) { applyPoint(id, v); });
    events.takeUpTo(events.kEndOfBlock, [this](const Event& event) { handleEvent(event); });
    return kResultOk;
}

template <class Sample> void QelSynth::render(ProcessData& data, BlockEvents& events)
{
    AudioBusBuffers& out = data.outputs[0];
    Sample** channels = channelBuffers<Sample>(out);
    const int32 numSamples = data.numSamples;
    for (int32 c = 0; c < out.numChannels; ++c)
        if (channels[c])
            std::fill(channels[c], channels[c] + numSamples, Sample(0));
    Sample* left = out.numChannels > 0 ? channels[0] : nullptr;
    Sample* right = out.numChannels > 1 ? channels[1] : nullptr;

    // Cut the block at every event and parameter point, and at least every kControlInterval
    // samples, and render each stretch with the values that hold for it.
    bool sounded = false;
    for (int32 pos = 0; pos < numSamples;)
    {
        automation.takeUpTo(pos, [this](ParamID id, ParamValue v) { applyPoint(id, v); });
        events.takeUpTo(pos, [this](const Event& event) { handleEvent(event); });
        const int32 end = std::min(
            {numSamples, pos + kControlInterval, automation.nextOffset(), events.nextOffset()});
        const VoiceContext context = voiceContext();
        for (SynthVoice& voice : voices)
            if (voice.isActive())
            {
                voice.render(left ? left + pos : nullptr, right ? right + pos : nullptr, end - pos,
                             context);
                sounded = true;
            }
        vibratoPhase += kVibratoHz * (end - pos) / setup.sampleRate;
        vibratoPhase -= std::floor(vibratoPhase);
        pos = end;
    }
    // Silent exactly when no voice played in this block: the buffers then hold zeros only.
    out.silenceFlags = sounded ? 0 : silenceMask(out.numChannels);
}

// Controller interfaces

tresult QelSynth::getMidiControllerAssignment(int32 busIndex, int16 channel,
                                              CtrlNumber midiControllerNumber, ParamID& id)
{
    if (!isEventChannel(busIndex, channel))
        return kResultFalse;
    switch (midiControllerNumber)
    {
    case 1: // mod wheel
        id = Synth::kVibratoId;
        return kResultOk;
    case 7: // channel volume
        id = Synth::kVolumeId;
        return kResultOk;
    case kPitchBend:
        id = Synth::kPitchBendId;
        return kResultOk;
    default:
        return kResultFalse;
    }
}

int32 QelSynth::getNoteExpressionCount(int32 busIndex, int16 channel)
{
    return isEventChannel(busIndex, channel)
               ? static_cast<int32>(std::size(Synth::kNoteExpressionTypes))
               : 0;
}

tresult QelSynth::getNoteExpressionInfo(int32 busIndex, int16 channel, int32 noteExpressionIndex,
                                        NoteExpressionTypeInfo& info)
{
    if (noteExpressionIndex < 0 || noteExpressionIndex >= getNoteExpressionCount(busIndex, channel))
        return kResultFalse;
    const bool volume = Synth::kNoteExpressionTypes[noteExpressionIndex] == kVolumeTypeID;
    std::memset(&info, 0, sizeof info);
    info.typeId = Synth::kNoteExpressionTypes[noteExpressionIndex];
    copyText(info.title, volume ? u"Volume" : u"Tuning");
    copyText(info.shortTitle, volume ? u"Vol" : u"Tun");
    copyText(info.units, volume ? u"dB" : u"st");
    info.unitId = kRootUnitId;
    info.defaultValue = Synth::kNeutralExpression;
    info.minimum = 0.0;
    info.maximum = 1.0;
    info.associatedParameterId = kNoParamId;
    info.flags = volume ? 0 : NoteExpressionTypeInfo::kIsBipolar;
    return kResultOk;
}

tresult QelSynth::getNoteExpressionStringByValue(int32 busIndex, int16 channel,
                                                 NoteExpressionTypeID id,
                                                 NoteExpressionValue valueNormalized,
                                                 String128 string)
{
    if (!isEventChannel(busIndex, channel) || !string)
        return kResultFalse;
    const double value = ParameterSpec::clamp01(valueNormalized);
    char8 text[64];
    if (id == kVolumeTypeID)
    {
        const double factor = 2.0 * value;
        if (factor <= 0.0)
            std::snprintf(text, sizeof text, "-inf");
        else
            std::snprintf(text, sizeof text, "%.2f", 20.0 * std::log10(factor));
    }
    else if (id == kTuningTypeID)
        std::snprintf(text, sizeof text, "%+.2f",
                      (value - Synth::kNeutralExpression) * 2.0 * Synth::kTuningRangeSemitones);
    else
        return kResultFalse;
    widenText(string, 128, text);
    return kResultOk;
}

tresult QelSynth::getNoteExpressionValueByString(int32 busIndex, int16 channel,
                                                 NoteExpressionTypeID id, const TChar* string,
                                                 NoteExpressionValue& valueNormalized)
{
    if (!isEventChannel(busIndex, channel) || !string)
        return kResultFalse;
    char8 text[128];
    asciiText(text, sizeof text, string);
    char8* end = nullptr;
    const double number = std::strtod(text, &end);
    if (end == text)
        return kResultFalse;
    if (id == kVolumeTypeID)
    {
        // "-inf" reads as minus infinity: a factor of 0.
        if (std::isnan(number) || number == HUGE_VAL)
            return kResultFalse;
        valueNormalized = ParameterSpec::clamp01(std::pow(10.0, number / 20.0) / 2.0);
        return kResultOk;
    }
    if (id == kTuningTypeID && std::isfinite(number))
    {
        valueNormalized = ParameterSpec::clamp01(number / (2.0 * Synth::kTuningRangeSemitones) +
                                                 Synth::kNeutralExpression);
        return kResultOk;
    }
    return kResultFalse;
}

int32 QelSynth::getKeyswitchCount(int32 busIndex, int16 channel)
{
    return isEventChannel(busIndex, channel) ? static_cast<int32>(std::size(Synth::kKeyswitches))
                                             : 0;
}

tresult QelSynth::getKeyswitchInfo(int32 busIndex, int16 channel, int32 keySwitchIndex,
                                   KeyswitchInfo& info)
{
    if (keySwitchIndex < 0 || keySwitchIndex >= getKeyswitchCount(busIndex, channel))
        return kResultFalse;
    const Synth::KeyswitchSpec& keyswitch = Synth::kKeyswitches[keySwitchIndex];
    std::memset(&info, 0, sizeof info);
    info.typeId = kNoteOnKeyswitchTypeID;
    copyText(info.title, keyswitch.title);
    copyText(info.shortTitle, keyswitch.shortTitle);
    info.keyswitchMin = keyswitch.key;
    info.keyswitchMax = keyswitch.key;
    info.keyRemapped = -1;
    info.unitId = kRootUnitId;
    return kResultOk;
}

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
