#include "engine/qelplayer.h"

#include "base/fattributes.h"
#include "base/fdefaults.h"
#include "base/flock.h"
#include "base/fmainloop.h"
#include "base/fmessage.h"
#include "base/values/ufloatvalues.h"
#include "base/values/uintvalues.h"
#include "base/values/ustringlistvalue.h"
#include "base/values/ustringvalue.h"
#include "base/values/uvalueproxy.h"
#include "engine/audiograph.h"
#include "engine/gainvalue.h"
#include "engine/inputoperator.h"
#include "engine/positiontext.h"
#include "engine/qelrack.h"
#include "engine/qelslot.h"
#include "engine/qelslotcontroller.h"
#include "engine/qelslotoperator.h"
#include "engine/slotparametervalue.h"
#include "engine/tsignaturevalue.h"
#include "hosting/fcomponentdescription.h"
#include "hosting/fcomponentregistry.h"
#include "midi/eventeditor.h"
#include "midi/miditrackplayer.h"
#include "midi/minitempotrack.h"
#include "midi/pmidifiltersetup.h"
#include "midi/taptempo.h"
#include "qel3/ipluginfactory.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace Quillmark::MiniEngine
{

namespace
{
constexpr const char8* kSignalNames[] = {"Sine", "Noise", "Silence", "TARN Input", "Audio File"};
constexpr const char8* kRecordModeNames[] = {"Direct", "MIDI", "Count In 1", "Count In 2"};
constexpr const char8* kMetronomeModeNames[] = {"Off", "Count In", "On"};
// The controller that MIDI input may be kept from sending: "all notes off".
constexpr int32 kAllNotesOff = 123;

const std::vector<PlayerFileType>& midiFileTypes()
{
    static const std::vector<PlayerFileType> types{
        {"MIDI file", {"midi", "MID", "Midi"}, "audio/x-midi"}};
    return types;
}

const std::vector<PlayerFileType>& audioFileTypes()
{
    static const std::vector<PlayerFileType> types{
        {"Wave File", {"wav", "bwf", "rf64"}, "audio/wav"},
        {"AIFF File", {"aif", "aiff", "aifc"}, "audio/aiff"}};
    return types;
}

std::string fileNameOf(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

int64 steadyMicroseconds()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

UStringListValue* makeList(const char8* name, int32 tag, std::initializer_list<const char8*> texts)
{
    auto* list = new UStringListValue(name, tag);
    for (const char8* text : texts)
        list->addString(text);
    return list;
}

// The parameter titles of the metronome plug-in that the metronome values stand for, in the
// order of the tags from "metronomeEnable" on.
constexpr const char8* kMetronomeParameters[] = {"Enable", "Bypass", "Accent", "Play Mode",
                                                 "Volume"};
} // namespace

QelPlayer::QelPlayer(AudioGraph* graph, QelRack* rack, FDefaultPool* settings,
                     FComponentRegistry* registry, PlayerDialogs* dialogs)
    : UValueContainer(this), audioGraph(graph), rack(rack), settings(settings), registry(registry),
      dialogs(dialogs), tempoTrack(graph->getTempoTrack()), clock(steadyMicroseconds)
{
    audioGraph->addRef();
    rack->addRef();
    if (InputOperator* input = audioGraph->getInputOperator())
        eventEditor = new EventEditor(input->getPatternPlayer());
    // Songs loaded through the player bring their tempo map to the graph's own tempo track.
    if (MiditrackPlayer* player = midiPlayer())
        player->setTempoTrack(&tempoTrack);
    createValues();
    readSettings();
    FMainLoop::instance()->addIdleTarget(this);
    registeredForIdle = true;
}

void QelPlayer::shutdown()
{
    if (!registeredForIdle)
        return;
    registeredForIdle = false;
    storeSettings();
    FMainLoop::instance()->removeIdleTarget(this);
}

QelPlayer::~QelPlayer()
{
    if (registeredForIdle)
        storeSettings();
    for (UValueProxy* proxy : metronomeProxies)
        if (proxy)
            proxy->setTarget(nullptr);
    for (QelSlotController* controller : slotControllers)
    {
        controller->slotClosing();
        controller->release();
    }
    slotControllers.clear();
    if (tapTempo)
        tapTempo->release();
    if (eventEditor)
        eventEditor->release();
    setHandler(nullptr);
    removeAll();
    rack->release();
    audioGraph->release();
}

void QelPlayer::createValues()
{
    InputOperator* input = audioGraph->getInputOperator();
    auto* inputSignal = adopt(makeList("inputSignal", kInputSignal, {}));
    auto* auxInputSignal = adopt(makeList("auxInputSignal", kAuxInputSignal, {}));
    for (const char8* name : kSignalNames)
    {
        inputSignal->addString(name);
        auxInputSignal->addString(name);
    }
    if (input)
    {
        inputSignal->setValue(input->getInputSignal(), false);
        auxInputSignal->setValue(input->getAuxInputSignal(), false);
    }
    play = adopt(new UIntValue("play", kPlay));
    loop = adopt(new UIntValue("loop", kLoop, 0, 1, audioGraph->isLooping() ? 1 : 0));
    record = adopt(new UIntValue("record", kRecord));
    adopt(new UIntValue("", kMidiTrackActive, 0, 1, 1));
    if (input)
        adopt(new UIntValue("activatepatterns", kActivatePatterns, 0, 1,
                            input->getPatternPlayer().isActive() ? 1 : 0));
    adopt(new UIntValue("audioFile", kAudioFile));
    adopt(new UIntValue("auxAudioFile", kAuxAudioFile));
    loadMidiFileButton = adopt(new UIntValue("loadMidiFile", kLoadMidiFile));
    adopt(new UIntValue("saveMidiFile", kSaveMidiFile));
    midiFileName = adopt(new UStringValue("midiFileName", kMidiFileName));
    fileName = adopt(new UStringValue("fileName", kFileName));
    auxFileName = adopt(new UStringValue("auxFileName", kAuxFileName));
    volume = adopt(new GainValue("volume", kVolume));
    input1Gain = adopt(new GainValue("input1Gain", kInput1Gain));
    input2Gain = adopt(new GainValue("input2Gain", kInput2Gain));
    input1Gain->setGain(input ? input->getSignal().getGain() : 1.0, false);
    input2Gain->setGain(input ? input->getAuxSignal().getGain() : 1.0, false);
    fxList = adopt(makeList("fxList", kFxList, {"Audio Effects"}));
    synthList = adopt(makeList("synthList", kSynthList, {"Instruments"}));
    if (registry)
    {
        const int32 classes = registry->countInCategory(kAudioModuleClass);
        for (int32 i = 0; i < classes; ++i)
            if (FComponentDescription* d = registry->findByCategoryAndIndex(kAudioModuleClass, i))
            {
                fxList->addString(d->getName());
                synthList->addString(d->getName());
            }
    }
    adopt(new UIntValue("openTarnSettings", kOpenTarnSettings));
    dontAskForQuit = adopt(new UIntValue("dontAskForQuit", kDontAskForQuit));
    recordMode = adopt(makeList(
        "recordMode", kRecordMode,
        {kRecordModeNames[0], kRecordModeNames[1], kRecordModeNames[2], kRecordModeNames[3]}));
    songPosition =
        adopt(new UFloatValue("songPosition", kSongPosition, 0.0, kSongPositionMax, 0.0, 2, 15.0));
    // Scrubbing pauses the transport: the player hears the gesture's start and end.
    songPosition->setOwner(this);
    songPosition->setReportEdits(true);
    songPositionIndicator =
        adopt(new UIntValue("songPositionIndicator", kSongPositionIndicator, 0, 2, 0));
    midiChannel = adopt(makeList("MIDIchannel", kMidiChannel, {"All"}));
    for (int32 channel = 1; channel <= 16; ++channel)
        midiChannel->addString(String::format("%d", channel));
    recordAnimation = adopt(
        new UFloatValue("recordAnimation", kRecordAnimation, 0.0, kRecordAnimationMax, 0.0, 1));
    tempoMode = adopt(new UIntValue("tempoMode", kTempoMode, 0, 1, tempoTrack.getFollowSong()));
    tempoScale = adopt(new UFloatValue("TempoScale", kTempoScale, 0.0, 1.0, 0.5, 3));
    adopt(new UIntValue("settings", kSettings));
    adopt(new UIntValue("tapTempo", kTapTempo));
    metronomeMode =
        adopt(makeList("metronomeMode", kMetronomeMode,
                       {kMetronomeModeNames[0], kMetronomeModeNames[1], kMetronomeModeNames[2]}));
    const char8* proxyNames[] = {"metronomeEnable", "metronomeBypass", "metronomeAccent",
                                 "metronomePlayMode", "metronomeVolume"};
    for (int32 i = 0; i < 5; ++i)
        metronomeProxies[i] = adopt(new UValueProxy(proxyNames[i], kMetronomeEnable + i));
    midiFilterAllNoteOff = adopt(new UIntValue("MIDIFilterAllNoteOff", kMidiFilterAllNoteOff));
    stop = adopt(new UIntValue("stop", kStop));
    time = adopt(new UStringValue("time", kTime));
    timeFormat = adopt(new UIntValue("timeFormat", kTimeFormat, 0, 1, 1));
    tempo = adopt(new UFloatValue("tempo", kTempo, 1.0, 300.0, 120.0, 1, 1.0));
    signature = adopt(new TSignatureValue("signature", kSignature));
}

void QelPlayer::readSettings()
{
    FDefaults* section = settings ? settings->lookup(kSection, 1, false) : nullptr;
    double value = 0.0;
    // The handler does the work of each restored value, as if the user had set it; a value
    // that does not change still has to reach the engine once.
    const double bpm = section && section->getFloat("Tempo", value) ? value : 120.0;
    audioGraph->setTempo(bpm);
    tempo->setValue(bpm, false);
    int64 numerator = 0;
    int64 denominator = 0;
    if (section && section->getInt("SigNum", numerator) && section->getInt("SigDenom", denominator))
    {
        audioGraph->setTimeSignature(int32(numerator), int32(denominator));
        signature->setRational(int32(numerator), int32(denominator), false);
    }
    const double gain = section && section->getFloat("Gain", value) ? value : 1.0;
    volume->setGain(gain, false);
    audioGraph->setOutputGain(float(volume->getGain()));
    timeFormat->setValue(section ? int32(section->getInt("TimeFormat", 1)) : 1, false);
    tempoTrack.setSnapToGrid(timeFormat->getValue() == 1);
    if (section && section->getFloat("TempoScale", value))
    {
        tempoScale->setValue(value, false);
        applyTempoScale(tempoScale->getValue());
    }
    if (section)
        recordMode->setValue(int32(section->getInt("RecordMode", 0)), false);
    audioGraph->setRecordMode(recordMode->getValue());
    String text;
    if (section && section->getString("Midifile", text))
    {
        lastMidiFile = text.toUtf8();
        midiFileName->setValue(text, false);
    }
    if (section)
        metronomeMode->setValue(int32(section->getInt("MetronomeMode", 0)), false);
    if (FDefaults* metronome = settings ? settings->lookup(kMetronomeSection, 1, false) : nullptr)
        if (metronome->getFloat("Volume", value))
            storedMetronomeVolume = value;
    if (auto* filter = MidiSupport::PMidiFilterSetup::instance())
    {
        FAttributes stored;
        if (section && section->getAttributes("MIDIFilter", stored))
            filter->restore(stored);
        midiFilterAllNoteOff->setValue(filter->isControllerOn(kAllNotesOff) ? 1 : 0, false);
    }
    if (FDefaults* application =
            settings ? settings->lookup(kApplicationSection, 1, false) : nullptr)
        dontAskForQuit->setValue(application->getInt("DontAskForQuit", 0) == 1 ? 1 : 0, false);
}

void QelPlayer::storeSettings()
{
    if (!settings)
        return;
    FDefaults* section = settings->lookup(kSection);
    section->setFloat("Gain", volume->getGain());
    section->setInt("SigNum", signature->getNumerator());
    section->setInt("SigDenom", signature->getDenominator());
    section->setInt("TimeFormat", timeFormat->getValue());
    section->setFloat("Tempo", tempo->getValue());
    section->setFloat("TempoScale", tempoScale->getValue());
    section->setInt("RecordMode", recordMode->getValue());
    section->setString("Midifile", midiFileName->getValue());
    section->setInt("MetronomeMode", metronomeMode->getValue());
    if (UValueProxy* proxy = metronomeProxies[kMetronomeVolume - kMetronomeEnable];
        proxy && proxy->getTarget())
        settings->lookup(kMetronomeSection)->setFloat("Volume", proxy->getFloat());
    if (auto* filter = MidiSupport::PMidiFilterSetup::instance())
    {
        FAttributes attributes;
        filter->store(attributes);
        section->setAttributes("MIDIFilter", attributes);
    }
    settings->lookup(kApplicationSection)->setInt("DontAskForQuit", dontAskForQuit->getValue());
}

MiditrackPlayer* QelPlayer::midiPlayer() const
{
    InputOperator* input = audioGraph->getInputOperator();
    return input ? &input->getMidiPlayer() : nullptr;
}

bool QelPlayer::trackHasData() const
{
    MiditrackPlayer* player = midiPlayer();
    if (!player)
        return false;
    if (player->getRecordedTrack().getEventCount() > 0)
        return true;
    if (MidiSongData* song = player->getSong())
        for (int32 i = 0; i < song->getTrackCount(); ++i)
            if (song->getTrackAt(i)->getEventCount() > 0)
                return true;
    return false;
}

void QelPlayer::setQuietly(UValue* value, double newValue)
{
    const int32 outer = quietTag;
    quietTag = value->getTag();
    value->setFloat(newValue);
    quietTag = outer;
}

void QelPlayer::resetButton(UValue* value)
{
    setQuietly(value, 0.0);
}

void QelPlayer::applyTempoScale(double value)
{
    // 0 to 0.5 covers half speed to normal, 0.5 to 1 normal to double, without a gap.
    tempoTrack.setTempoScale(value > 0.5 ? value * 2.0 : value + 0.5);
}

void QelPlayer::applyMetronomeMode(int32 mode)
{
    UValueProxy* enable = metronomeProxies[kMetronomeEnable - kMetronomeEnable];
    UValueProxy* playMode = metronomeProxies[kMetronomePlayMode - kMetronomeEnable];
    const double onlyCountIn = mode == kMetronomeCountIn ? 1.0 : 0.0;
    const double enabled = mode == kMetronomeOff ? 0.0 : 1.0;
    playMode->setNormalized(onlyCountIn);
    enable->setNormalized(enabled);
}

void QelPlayer::endRecording()
{
    if (record->getValue() == 0)
        return;
    setQuietly(record, 0);
    recordChanged(false);
}

void QelPlayer::stopPressed()
{
    // Stop at once; the audio thread releases the notes at its next block.
    const bool wasPlaying = play->getValue() != 0;
    audioGraph->setPlaying(false);
    if (wasPlaying)
    {
        setQuietly(play, 0);
        endRecording();
        setQuietly(stop, 1);
        return;
    }
    endRecording();
    audioGraph->rewind();
    audioGraph->setPosition(0.0);
    setQuietly(songPosition, 0.0);
    setQuietly(stop, 0);
}

void QelPlayer::playChanged(bool state)
{
    if (!state)
    {
        // Only "stop" stops: a press on the lit button keeps it lit.
        setQuietly(play, 1);
        return;
    }
    if (songPosition->getValue() >= kSongPositionMax)
        songPosition->setValue(0.0);
    audioGraph->setPlaying(true);
    setQuietly(stop, 0);
}

void QelPlayer::recordChanged(bool state)
{
    if (state)
    {
        setQuietly(stop, 0);
        midiFileName->setValue(String());
        audioGraph->setRecording(true);
        setQuietly(songPositionIndicator, 2);
        setQuietly(recordAnimation, 0.0);
        return;
    }
    audioGraph->setRecording(false);
    audioGraph->setPlaying(false);
    audioGraph->collectRecording();
    setQuietly(play, 0);
    setQuietly(songPositionIndicator, 0);
    setQuietly(songPosition, kSongPositionMax);
    if (!trackHasData())
        midiFileName->setValue(String());
}

void QelPlayer::onValueChanged(UValue* value)
{
    const int32 tag = value->getTag();
    if (tag == quietTag)
        return;
    InputOperator* input = audioGraph->getInputOperator();
    switch (tag)
    {
    case kInputSignal:
        if (input)
            input->setInputSignal(value->getInt());
        break;
    case kAuxInputSignal:
        if (input)
            input->setAuxInputSignal(value->getInt());
        break;
    case kPlay:
        playChanged(value->getInt() != 0);
        break;
    case kStop:
        stopPressed();
        break;
    case kRecord:
        recordChanged(value->getInt() != 0);
        break;
    case kLoop:
        audioGraph->setLooping(value->getInt() != 0);
        break;
    case kMidiTrackActive:
        if (MiditrackPlayer* player = midiPlayer())
        {
            const bool disabled = value->getInt() == 0;
            player->getRecordedTrack().setDisabled(disabled);
            if (MidiSongData* song = player->getSong())
                for (int32 i = 0; i < song->getTrackCount(); ++i)
                    song->getTrackAt(i)->setDisabled(disabled);
        }
        break;
    case kActivatePatterns:
        if (input)
            input->getPatternPlayer().setActive(value->getInt() != 0);
        break;
    case kAudioFile:
    case kAuxAudioFile:
        if (value->getInt() == 1)
        {
            openAudioFile(tag == kAudioFile ? 0 : 1);
            resetButton(value);
        }
        break;
    case kLoadMidiFile:
        if (value->getInt() == 1)
        {
            openMidiFile();
            resetButton(value);
        }
        break;
    case kSaveMidiFile:
        if (value->getInt() == 1)
        {
            saveMidiFileAsked();
            resetButton(value);
        }
        break;
    case kVolume:
        audioGraph->setOutputGain(float(volume->getGain()));
        break;
    case kInput1Gain:
        if (input)
            input->getSignal().setGain(float(input1Gain->getGain()));
        break;
    case kInput2Gain:
        if (input)
            input->getAuxSignal().setGain(float(input2Gain->getGain()));
        break;
    case kFxList:
    case kSynthList:
        addFromList(static_cast<UStringListValue*>(value));
        break;
    case kOpenTarnSettings:
    case kSettings:
        // The windows of these pages belong to the application; the button only springs back.
        if (value->getInt() == 1)
            resetButton(value);
        break;
    case kRecordMode:
        audioGraph->setRecordMode(value->getInt());
        break;
    case kSongPosition:
    {
        const double ratio = tempoTrack.seek(songPosition->getValue() / kSongPositionMax);
        audioGraph->setPosition(tempoTrack.getPosition());
        setQuietly(songPosition, ratio * kSongPositionMax);
        break;
    }
    case kMidiChannel:
        if (MiditrackPlayer* player = midiPlayer())
            player->setChannelFilter(int16(value->getInt() - 1));
        break;
    case kTempo:
        setQuietly(tempoScale, 0.5);
        tempoTrack.setTempoScale(1.0);
        audioGraph->setTempo(tempo->getValue());
        break;
    case kTempoScale:
        applyTempoScale(tempoScale->getValue());
        break;
    case kTempoMode:
        tempoTrack.setFollowSong(value->getInt() != 0);
        break;
    case kTapTempo:
        if (value->getInt() == 1)
        {
            if (!tapTempo)
                tapTempo = new TapTempo;
            tapTempo->tap(clock() / 1000);
            tapTempo->update();
            if (tapTempo->hasChanged() && tapTempo->getTempo() > -1.0f)
                audioGraph->setTempo(tapTempo->getTempo());
            tapTempo->clearChanged();
            resetButton(value);
        }
        break;
    case kMetronomeMode:
        applyMetronomeMode(value->getInt());
        break;
    case kMidiFilterAllNoteOff:
        if (auto* filter = MidiSupport::PMidiFilterSetup::instance())
            filter->setControllerOn(kAllNotesOff, value->getInt() != 0);
        break;
    case kTimeFormat:
        tempoTrack.setSnapToGrid(value->getInt() == 1);
        break;
    case kSignature:
        audioGraph->setTimeSignature(signature->getNumerator(), signature->getDenominator());
        break;
    default:
        break;
    }
}

void QelPlayer::addFromList(UStringListValue* list)
{
    const int32 index = list->getValue();
    if (index <= 0)
        return;
    setQuietly(list, 0);
    if (!registry)
        return;
    if (FComponentDescription* d = registry->findByCategoryAndIndex(kAudioModuleClass, index - 1))
        loadPlugin(d->getCid());
}

void QelPlayer::openAudioFile(int32 target)
{
    if (!dialogs)
        return;
    const std::string path = dialogs->askOpenFile("Open Audio File", audioFileTypes());
    if (!path.empty())
        loadAudioFile(path, target);
}

bool QelPlayer::loadAudioFile(const std::string& path, int32 target, std::string* problem)
{
    const bool loaded = audioGraph->loadAudioFile(path, target, problem);
    UStringValue* name = target == 0 ? fileName : auxFileName;
    name->setValue(loaded ? String(fileNameOf(path)) : String());
    setQuietly(songPosition, 0.0);
    return loaded;
}

void QelPlayer::openMidiFile()
{
    if (play->getValue() != 0 || record->getValue() != 0)
        press(kStop);
    if (!dialogs)
        return;
    const std::string path = dialogs->askOpenFile("Open MIDI File", midiFileTypes());
    if (!path.empty())
        loadMidiFile(path);
}

void QelPlayer::saveMidiFileAsked()
{
    if (play->getValue() != 0 || record->getValue() != 0)
        press(kStop);
    if (!dialogs)
        return;
    const std::string path = dialogs->askSaveFile("Save MIDI File", midiFileTypes());
    if (!path.empty())
        saveMidiFile(path);
}

MiditrackPlayer* QelPlayer::stoppedMidiPlayer(std::string* problem)
{
    MiditrackPlayer* player = midiPlayer();
    if (!player)
    {
        if (problem)
            *problem = "the engine has no MIDI player";
        return nullptr;
    }
    if (play->getValue() != 0 || record->getValue() != 0)
        press(kStop);
    return player;
}

bool QelPlayer::loadMidiFile(const std::string& path, std::string* problem)
{
    MiditrackPlayer* player = stoppedMidiPlayer(problem);
    if (!player)
        return false;
    bool loaded = false;
    {
        // The audio thread reads the song; it skips blocks while the lock is held.
        FGuard guard(*audioGraph->getProcessLock());
        loaded = player->load(path);
    }
    audioGraph->rewind();
    if (!loaded)
    {
        if (problem)
            *problem = player->getLoadError().empty() ? "no MIDI data could be read"
                                                      : player->getLoadError();
        midiFileName->setValue(String());
        return false;
    }
    if (problem && !player->getLoadError().empty())
        *problem = player->getLoadError();
    lastMidiFile = path;
    midiFileName->setValue(String(fileNameOf(path)));
    tempo->setValue(tempoTrack.getTempo() / tempoTrack.getTempoScale(), false);
    signature->setRational(tempoTrack.getNumerator(), tempoTrack.getDenominator(), false);
    setQuietly(songPosition, 0.0);
    return true;
}

bool QelPlayer::saveMidiFile(const std::string& path, std::string* problem)
{
    MiditrackPlayer* player = stoppedMidiPlayer(problem);
    if (!player)
        return false;
    audioGraph->collectRecording();
    bool saved = false;
    {
        FGuard guard(*audioGraph->getProcessLock());
        saved = player->save(path);
    }
    if (!saved && problem)
        *problem = "the file could not be written: " + path;
    return saved;
}

void QelPlayer::idle()
{
    const bool playing = audioGraph->isPlaying();
    const bool recording = audioGraph->isRecording();
    // 1. The end of the song stops here, not on the audio thread.
    if (tempoTrack.getSongPositionRatio() >= 1.0 && playing && !recording &&
        !audioGraph->isLooping())
        press(kStop);
    audioGraph->collectRecording();
    // 2. Tempo and signature as the engine has them.
    tempo->setValue(tempoTrack.getBaseTempo(), false);
    if (signature->setRational(tempoTrack.getNumerator(), tempoTrack.getDenominator(), false))
        signature->changed();
    // 3. The song position; one step is a quarter note.
    setQuietly(songPosition, tempoTrack.getSongPositionRatio() * kSongPositionMax);
    if (tempoTrack.getSongLength() > 0.0)
        songPosition->setStep(kSongPositionMax / tempoTrack.getSongLength());
    // 4. With a MIDI track, scrubbing needs data.
    if (midiPlayer())
    {
        const bool hasData = trackHasData();
        songPosition->setEnabled(hasData);
        if (songPositionIndicator->getValue() != 2)
            setQuietly(songPositionIndicator, hasData ? 1 : 0);
    }
    // 5. to 8.
    setQuietly(play, audioGraph->isPlaying() ? 1 : 0);
    const double position = tempoTrack.getPosition();
    time->setValue(formatPosition(timeFormat->getValue(), position,
                                  tempoTrack.getSeconds(std::max(position, 0.0)),
                                  tempoTrack.getNumerator(), tempoTrack.getDenominator()));
    setQuietly(recordAnimation, std::fmod(recordAnimation->getValue() + 0.2, kRecordAnimationMax));
    loadMidiFileButton->setEnabled(!audioGraph->isPlaying() && !audioGraph->isRecording());
    // 9. The periodic work of the tempo tap.
    if (tapTempo)
        tapTempo->update();
    for (QelSlotController* controller : slotControllers)
        controller->idle();
}

QelSlot* QelPlayer::loadPlugin(const FUID& classId, int32 replaceIndex, std::string* problem)
{
    if (QelSlot* old = rack->getSlot(replaceIndex))
        removeSlot(old);
    QelSlot* slot = rack->addSlot(classId, problem);
    if (!slot)
        return nullptr;
    QelSlotController* controller = addSlotController(slot);
    if (!slot->arePortsRestored())
        controller->connectDefaultPorts();
    if (slot->getOperator()->getName() == ConstString(kMetronomeName))
        hookMetronome();
    return slot;
}

QelSlotController* QelPlayer::addSlotController(QelSlot* slot)
{
    auto* controller =
        new QelSlotController(this, slot, slot->getOperator()->getPortRegistry(), dialogs);
    slotControllers.push_back(controller);
    return controller;
}

void QelPlayer::removeSlot(QelSlot* slot)
{
    auto it = std::find_if(slotControllers.begin(), slotControllers.end(),
                           [slot](QelSlotController* c) { return c->getSlot() == slot; });
    const bool wasMetronome = it != slotControllers.end() && *it == getMetronome();
    if (wasMetronome)
        for (UValueProxy* proxy : metronomeProxies)
            proxy->setTarget(nullptr);
    QelSlotController* controller = nullptr;
    if (it != slotControllers.end())
    {
        controller = *it;
        slotControllers.erase(it);
    }
    rack->removeSlot(slot, true);
    if (controller)
        controller->release();
}

QelSlotController* QelPlayer::getSlotController(int32 index) const
{
    return index >= 0 && index < countSlotControllers() ? slotControllers[size_t(index)] : nullptr;
}

QelSlotController* QelPlayer::findSlotController(const QelSlot* slot) const
{
    for (QelSlotController* controller : slotControllers)
        if (controller->getSlot() == slot)
            return controller;
    return nullptr;
}

QelSlotController* QelPlayer::getMetronome() const
{
    for (QelSlotController* controller : slotControllers)
        if (controller->getSlot() &&
            controller->getSlot()->getOperator()->getName() == ConstString(kMetronomeName))
            return controller;
    return nullptr;
}

void QelPlayer::hookMetronome()
{
    QelSlotController* metronome = getMetronome();
    if (!metronome)
        return;
    for (int32 i = 0; i < 5; ++i)
    {
        UValue* target = metronome->findParameter(kMetronomeParameters[i]);
        if (!target && i == kMetronomeBypass - kMetronomeEnable)
            target = metronome->valueOf(QelSlotController::kBypass);
        metronomeProxies[i]->setTarget(target);
    }
    if (storedMetronomeVolume >= 0.0)
        metronomeProxies[kMetronomeVolume - kMetronomeEnable]->setFloat(storedMetronomeVolume);
    applyMetronomeMode(metronomeMode->getValue());
}

FController* QelPlayer::findController(const ConstString& name) const
{
    if (name == ConstString("eventEditor"))
        return eventEditor;
    if (name == ConstString("metronome"))
        return getMetronome();
    return UValueContainer::findController(name);
}

bool QelPlayer::canQuit(bool& changed)
{
    for (int32 i = 0; i < rack->countSlots(); ++i)
    {
        QelSlot* slot = rack->getSlot(i);
        if (!slot->isDirty())
            continue;
        const int answer = dialogs ? dialogs->ask("Do you want to save your changes?",
                                                  {"Save & Quit", "No, Quit", "Cancel"})
                                   : 1;
        if (answer == 2)
            return false;
        changed = true;
        if (answer == 1)
        {
            slot->setDirtyFlag(false);
            continue;
        }
        const std::string path = dialogs ? dialogs->askSaveFile("Save Preset", {}) : std::string();
        if (path.empty() || !slot->savePreset(path))
            return false;
        slot->setDirtyFlag(false);
    }
    return true;
}

void QelPlayer::notify(FMessage* message)
{
    if (!message)
        return;
    if (message->is("Idle"))
    {
        idle();
        return;
    }
    if (message->is("BeginEdit") || message->is("EndEdit"))
    {
        auto* value = FCast<UValue>(message->getObject("Value"));
        if (!value || value->getTag() != kSongPosition)
            return;
        if (message->is("BeginEdit"))
        {
            if (audioGraph->isPlaying())
            {
                playWasOn = true;
                press(kStop);
            }
        }
        else if (playWasOn)
        {
            playWasOn = false;
            press(kPlay);
        }
        return;
    }
    if (message->is("removeSlot"))
    {
        if (auto* controller = FCast<QelSlotController>(message->getObject("slotController")))
            if (QelSlot* slot = controller->getSlot())
                removeSlot(slot);
        return;
    }
    if (message->is("NewDevice"))
    {
        for (QelSlotController* controller : slotControllers)
            controller->refreshPorts();
        return;
    }
    if (message->is("LockProcess"))
        audioGraph->setDisabled(true);
    else if (message->is("UnLockProcess"))
        audioGraph->setDisabled(false);
}

} // namespace Quillmark::MiniEngine
