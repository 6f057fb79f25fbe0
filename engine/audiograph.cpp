#include "engine/audiograph.h"

#include "base/flock.h"
#include "devices/ports/pportregistry.h"
#include "engine/inputoperator.h"
#include "engine/midirecorderoperator.h"
#include "midi/miditrackdata.h"
#include "midi/minitempotrack.h"
#include "qelhost/ieventreceiver.h"

#include <cmath>
#include <cstring>

namespace Quillmark
{
namespace MiniEngine
{

using Qel::ProcessContext;

namespace
{

/** A child's interface of type I, with a reference, or null. */
template <class I> I* query(IAudioOperator* child)
{
    I* result = nullptr;
    if (child->queryInterface(I::iid.bytes, reinterpret_cast<void**>(&result)) != kResultOk)
        return nullptr;
    return result;
}

/** One try of a lock, released at the end of the scope when it was taken. */
class TryLock
{
public:
    explicit TryLock(FLock& lock) : lock(lock), held(lock.trylock()) {}
    ~TryLock()
    {
        if (held)
            lock.unlock();
    }
    TryLock(const TryLock&) = delete;
    TryLock& operator=(const TryLock&) = delete;
    bool isHeld() const { return held; }

private:
    FLock& lock;
    bool held;
};

} // namespace

AudioGraph::AudioGraph(MiniTempoTrack* tempoTrack, PPortRegistry* registry)
    : tempoTrack(tempoTrack ? tempoTrack : MiniTempoTrack::instance()),
      registry(registry ? registry : PPortRegistry::instance())
{
    songLengthSamples = int32(this->tempoTrack->getSampleRate() * kDefaultSongSeconds);
    this->registry->addListener(this);
}

AudioGraph::~AudioGraph()
{
    registry->removeListener(this);
}

tresult AudioGraph::queryInterface(const TUID iid, void** obj)
{
    if (!obj)
        return kInvalidArgument;
    if (iidEqual(iid, IPortRegistryNotification::iid.bytes))
    {
        addRef();
        *obj = static_cast<IPortRegistryNotification*>(this);
        return kResultOk;
    }
    return AudioOperatorList::queryInterface(iid, obj);
}

void AudioGraph::createRecorder()
{
    if (recorder)
        return;
    recorder = new MidiRecorderOperator(1, registry);
    addOperator(recorder);
}

InputOperator* AudioGraph::createInputOperator()
{
    if (inputOperator)
        return inputOperator;
    inputOperator = new InputOperator(registry);
    addOperator(inputOperator);
    rewind();
    return inputOperator;
}

void AudioGraph::setupProcessing(const OperatorSetup& setup)
{
    AudioOperatorRoot::setupProcessing(setup);
    blockSize = setup.blockSize;
    tempoTrack->setSampleRate(setup.sampleRate);
}

bool AudioGraph::getOutputGain(float& gain)
{
    gain = outputGain;
    return true;
}

bool AudioGraph::isPlaying() const
{
    return (tempoTrack->getContext().state & ProcessContext::kPlaying) != 0;
}

bool AudioGraph::isRecording() const
{
    return (tempoTrack->getContext().state & ProcessContext::kRecording) != 0;
}

bool AudioGraph::isLooping() const
{
    return (tempoTrack->getContext().state & ProcessContext::kCycleActive) != 0;
}

void AudioGraph::setLooping(bool state)
{
    uint32& bits = tempoTrack->getContext().state;
    bits = state ? (bits | ProcessContext::kCycleActive) : (bits & ~ProcessContext::kCycleActive);
}

bool AudioGraph::isNoteHeld(int32 channel, int32 pitch) const
{
    return channel >= 0 && channel < 16 && pitch >= 0 && pitch < 128 && heldNotes[channel][pitch];
}

MidiTrackData* AudioGraph::recordingTrack() const
{
    return inputOperator ? &inputOperator->getMidiPlayer().getRecordedTrack() : nullptr;
}

bool AudioGraph::hasRecordingTrack() const
{
    return inputOperator != nullptr;
}

void AudioGraph::resetPosition()
{
    ProcessContext& context = tempoTrack->getContext();
    context.projectTimeSamples = 0;
    tempoTrack->setPosition(0.0);
    tempoTrack->setSongPositionRatio(0.0);
}

void AudioGraph::setPlaying(bool state)
{
    uint32& bits = tempoTrack->getContext().state;
    if (state)
    {
        if (bits & ProcessContext::kPlaying)
            return;
        positionChanged = false;
        if (isRecording())
            resetPosition();
        startRequested = true;
        stopRequested = false;
        bits |= ProcessContext::kPlaying;
        return;
    }
    stopRequested = true;
    startRequested = false;
    bits &= ~ProcessContext::kPlaying;
}

void AudioGraph::startFromCountIn()
{
    // The track was emptied when recording was switched on; the audio thread frees nothing.
    if (isPlaying())
        return;
    positionChanged = false;
    resetPosition();
    startRequested = true;
    stopRequested = false;
    tempoTrack->getContext().state |= ProcessContext::kPlaying;
}

void AudioGraph::setRecording(bool state)
{
    uint32& bits = tempoTrack->getContext().state;
    if (!state)
    {
        bits &= ~ProcessContext::kRecording;
        recordActive = false;
        return;
    }
    if (!inputOperator)
        return;
    FGuard guard(*getProcessLock());
    lastBlockEnd = 0.0;
    tempoTrack->setPosition(0.0);
    tempoTrack->setSongPositionRatio(0.0);
    const ProcessContext& context = tempoTrack->getContext();
    const double bar = double(context.timeSigNumerator) / double(context.timeSigDenominator) * 4.0;
    switch (recordMode)
    {
    case kRecordMidi:
        countInBeats = bar * 100.0;
        break;
    case kRecordCountIn1:
        countInBeats = bar;
        break;
    case kRecordCountIn2:
        countInBeats = bar * 2.0;
        break;
    default:
        countInBeats = 0.0;
        break;
    }
    if (recordMode != kRecordDirect && blockSize > 0)
    {
        // Whole blocks, and one more, so the first recorded block starts on the beat.
        const double blockBeats = context.tempo / 60.0 * blockSize / context.sampleRate;
        countInBeats = blockBeats * (std::ceil(countInBeats / blockBeats) + 1.0);
    }
    // A new take starts on an empty track: cleared here, never by the audio thread.
    recordingTrack()->clear();
    RecordedEvent stale;
    while (recordRing.get(stale))
    {
    }
    if (isPlaying())
    {
        tempoTrack->clearMaps();
        channelChanged = true;
    }
    tempoTrack->setPosition(tempoTrack->getPosition() - countInBeats);
    recordActive = true;
    bits |= ProcessContext::kRecording;
}

void AudioGraph::rewind()
{
    ProcessContext& context = tempoTrack->getContext();
    context.projectTimeSamples = 0;
    tempoTrack->setPosition(0.0);
    tempoTrack->setSongPositionRatio(0.0);
    lastBlockEnd = 0.0;
    tempoTrack->applyFirstEvents();
    if (inputOperator)
        for (int32 i = 0; EventPlayer* source = inputOperator->getEventSource(i); ++i)
            source->getControllers(0.0, 0.0, &chaseEvents);
    for (IAudioOperator* child : children)
        if (auto* receiver = query<IControllerReceiver>(child))
        {
            for (int32 i = 0; i < chaseEvents.getEventCount(); ++i)
            {
                const Qel::Event& e = chaseEvents.at(i);
                if (e.type == Qel::Event::kLegacyMIDICCOutEvent &&
                    e.midiCCOut.controlNumber == MidiTrackData::kProgramChange)
                    receiver->programChange(0, e.midiCCOut.channel,
                                            e.midiCCOut.value * kMidiValueScale);
            }
            receiver->release();
        }
    chaseEvents.clear();
}

void AudioGraph::setPosition(double quarterNotes)
{
    tempoTrack->setPosition(quarterNotes);
    tempoTrack->getContext().projectTimeSamples =
        Qel::TSamples(tempoTrack->getSeconds(quarterNotes) * tempoTrack->getSampleRate() + 0.5);
    positionChanged = true;
}

void AudioGraph::setTempo(double bpm)
{
    tempoTrack->setFixedTempo(bpm);
}

void AudioGraph::setTimeSignature(int32 numerator, int32 denominator)
{
    tempoTrack->setSignature(numerator, denominator);
}

bool AudioGraph::loadAudioFile(const std::string& path, int32 target, std::string* problem)
{
    if (!inputOperator)
        createInputOperator();
    bool loaded = false;
    {
        FGuard guard(*getProcessLock());
        if (target == 0)
        {
            loaded = inputOperator->getSignal().load(path, problem);
            songLengthSamples = inputOperator->getSignal().getLength();
        }
        else
        {
            loaded = inputOperator->getAuxSignal().load(path, problem);
            // The aux file never sets the song's length, whatever its own.
            songLengthSamples = int32(tempoTrack->getSampleRate() * kDefaultSongSeconds);
        }
    }
    rewind();
    return loaded;
}

void AudioGraph::flushAllNotes()
{
    for (int32 channel = 0; channel < 16; ++channel)
        for (int32 pitch = 0; pitch < 128; ++pitch)
        {
            if (!heldNotes[channel][pitch])
                continue;
            heldNotes[channel][pitch] = 0;
            Qel::Event off{};
            off.type = Qel::Event::kNoteOffEvent;
            off.noteOff.channel = int16(channel);
            off.noteOff.pitch = int16(pitch);
            off.noteOff.velocity = 0.0f;
            off.noteOff.noteId = -1;
            playEvents.addEvent(off);
        }
    // Only the first operator that takes the events gets them.
    for (IAudioOperator* child : children)
        if (auto* receiver = query<IEventReceiver>(child))
        {
            const bool taken = receiver->receiveEvents(playEvents);
            receiver->release();
            if (taken)
                break;
        }
    for (IAudioOperator* child : children)
        if (auto* receiver = query<IControllerReceiver>(child))
        {
            receiver->midiController(0, 120, 0, 1.0); // all sound off
            receiver->midiController(0, 121, 0, 1.0); // reset all controllers
            receiver->release();
        }
    playEvents.clear();
}

void AudioGraph::deliverChaseEvents(IAudioOperator* child)
{
    auto* receiver = query<IControllerReceiver>(child);
    if (!receiver)
        return;
    for (int32 i = 0; i < chaseEvents.getEventCount(); ++i)
    {
        const Qel::Event& e = chaseEvents.at(i);
        if (e.type != Qel::Event::kLegacyMIDICCOutEvent)
            continue;
        const int32 channel = e.midiCCOut.channel;
        const int32 number = e.midiCCOut.controlNumber;
        const int32 data1 = e.midiCCOut.value & 0x7f;
        const int32 data2 = e.midiCCOut.value2 & 0x7f;
        if (number == MidiTrackData::kProgramChange)
            receiver->programChange(0, channel, data1 * kMidiValueScale);
        else if (number == MidiTrackData::kChannelPressure)
            receiver->midiController(0, 0x80, channel, data1 * kMidiValueScale);
        else if (number == MidiTrackData::kPitchBend)
            receiver->midiController(0, 0x81, channel, (data2 << 7 | data1) * kPitchBendScale);
        else
            receiver->midiController(0, number, channel, data1 * kMidiValueScale);
    }
    receiver->release();
}

void AudioGraph::collectEvents(double start, double end)
{
    if (startRequested.exchange(false))
        for (IAudioOperator* child : children)
            if (auto* receiver = query<IEventReceiver>(child))
            {
                receiver->flush();
                receiver->release();
            }
    if (inputOperator)
    {
        if (start == 0.0)
            inputOperator->resetEventSources();
        for (int32 i = 0; EventPlayer* source = inputOperator->getEventSource(i); ++i)
        {
            source->getEvents(start, end, &playEvents);
            source->getControllers(start, end, &chaseEvents);
        }
    }
    if (playEvents.isEmpty() && chaseEvents.isEmpty())
        return;
    for (int32 i = 0; i < playEvents.getEventCount(); ++i)
    {
        const Qel::Event& e = playEvents.at(i);
        if (e.type == Qel::Event::kNoteOnEvent && e.noteOn.channel >= 0 && e.noteOn.channel < 16 &&
            e.noteOn.pitch >= 0 && e.noteOn.pitch < 128)
            heldNotes[e.noteOn.channel][e.noteOn.pitch] = 1;
        else if (e.type == Qel::Event::kNoteOffEvent && e.noteOff.channel >= 0 &&
                 e.noteOff.channel < 16 && e.noteOff.pitch >= 0 && e.noteOff.pitch < 128)
            heldNotes[e.noteOff.channel][e.noteOff.pitch] = 0;
    }
    if (deliverEvents)
        for (IAudioOperator* child : children)
        {
            if (auto* receiver = query<IEventReceiver>(child))
            {
                receiver->receiveEvents(playEvents);
                receiver->release();
            }
            deliverChaseEvents(child);
        }
    playEvents.clear();
    chaseEvents.clear();
}

void AudioGraph::countIn(double span)
{
    if (recorder)
        recorder->fetch(OperatorBuffers{});
    switch (recordMode)
    {
    case kRecordDirect:
        startFromCountIn();
        break;
    case kRecordMidi:
        if (recorder && !recorder->getNotes().isEmpty())
        {
            startFromCountIn();
            countInBeats = 0.0;
            break;
        }
        countInBeats -= span;
        if (countInBeats <= 0.0)
        {
            // No note within a hundred bars: the wait starts over.
            const ProcessContext& context = tempoTrack->getContext();
            countInBeats +=
                double(context.timeSigNumerator) / context.timeSigDenominator * 4.0 * 100.0;
            tempoTrack->setPosition(tempoTrack->getPosition() - countInBeats);
        }
        break;
    default:
        countInBeats -= span;
        if (countInBeats <= 0.0)
        {
            startFromCountIn();
            countInBeats = 0.0;
        }
        break;
    }
    recordActive = true;
}

void AudioGraph::recordBlock(const OperatorBuffers& buffers, double span)
{
    if (!recorder)
        return;
    // Each event lands at the block's start: the offset is divided by the block length in
    // whole numbers first, a deliberate coarseness.
    auto place = [&](EventList& source, EventList& copy, int32 kind)
    {
        for (int32 i = 0; i < source.getEventCount(); ++i)
        {
            Qel::Event e = source.at(i);
            copy.addEvent(e);
            RecordedEvent entry;
            entry.event = e;
            entry.kind = kind;
            const int32 n = buffers.numSamples > 0 ? buffers.numSamples : 1;
            entry.position = buffers.blockStartMusic + double(e.sampleOffset / n) * span;
            recordRing.put(entry);
        }
    };
    place(recorder->getNotes(), recordEvents, RecordedEvent::kNote);
    place(recorder->getControllers(), recordControllerEvents, RecordedEvent::kController);
}

void AudioGraph::process(OperatorBuffers& buffers)
{
    if (buffers.numChannels < 2 || disabled.load(std::memory_order_relaxed))
        return;
    TryLock lock(*getProcessLock());
    if (!lock.isHeld())
        return; // the device's cleared buffers play silence
    const double span = renderLocked(buffers);
    // The transport moves on still under the lock: a rewind at the song's end talks to the
    // operators of the list, which configuration may only change while it holds the lock.
    advanceTransport(buffers.numSamples, span);
}

void AudioGraph::advanceTransport(int32 numSamples, double span)
{
    ProcessContext& context = tempoTrack->getContext();
    const bool playing = isPlaying();
    if (!playing)
    {
        if (isRecording())
            tempoTrack->advance(span); // counting in
        return;
    }
    const double start = lastBlockEnd - span;
    tempoTrack->applyRange(start, lastBlockEnd);
    context.projectTimeSamples += numSamples;
    tempoTrack->advance(span);
    const double length = tempoTrack->getSongLength();
    tempoTrack->setSongPositionRatio(length != 0.0 ? tempoTrack->getPosition() / length : 0.0);
    if (context.state & ProcessContext::kCycleActive)
    {
        if (length == 0.0 && context.projectTimeSamples >= songLengthSamples)
            rewind();
        else if (length > 0.0 && tempoTrack->getPosition() > length && !isRecording())
            rewind();
    }
}

double AudioGraph::renderLocked(OperatorBuffers& buffers)
{
    ProcessContext& context = tempoTrack->getContext();
    if (const ProcessContext* given = buffers.context)
    {
        context.sampleRate = given->sampleRate;
        if (given->state & ProcessContext::kContTimeValid)
        {
            context.continousTimeSamples = given->continousTimeSamples;
            context.state |= ProcessContext::kContTimeValid;
        }
        else
        {
            context.continousTimeSamples = 0;
            context.state &= ~ProcessContext::kContTimeValid;
        }
        if (given->state & ProcessContext::kSystemTimeValid)
        {
            context.systemTime = given->systemTime;
            context.state |= ProcessContext::kSystemTimeValid;
        }
        else
        {
            context.systemTime = 0;
            context.state &= ~ProcessContext::kSystemTimeValid;
        }
        if (given->state & ProcessContext::kProjectTimeMusicValid)
            context.projectTimeMusic = given->projectTimeMusic;
    }
    const double rate = context.sampleRate > 0.0 ? context.sampleRate : 44100.0;
    double start = context.projectTimeMusic < 0.0 ? 0.0 : context.projectTimeMusic;
    if (std::fabs(start - lastBlockEnd) < 1e-8)
        start = lastBlockEnd; // rounding must not open a gap between blocks
    const double end = start + buffers.numSamples / rate * context.tempo / 60.0;
    lastBlockEnd = end;
    const double span = end - start;

    OperatorBuffers block;
    block.numSamples = buffers.numSamples;
    block.numChannels = 2;
    block.context = &context;
    block.blockStartMusic = start;
    block.blockEndMusic = end;

    if (stopRequested.load())
    {
        flushAllNotes();
        channelChanged = false;
        stopRequested = false;
        positionChanged = false;
    }
    if (channelChanged.exchange(false))
        flushAllNotes();
    if (positionChanged.exchange(false))
        flushAllNotes();

    const bool recording = isRecording() && hasRecordingTrack();
    if (isPlaying())
        collectEvents(start, end);
    else if (recording)
        countIn(span);

    recordEvents.clear();
    recordControllerEvents.clear();

    AudioOperatorList::process(block);
    buffers.silenceFlags = block.silenceFlags;

    if ((isPlaying() || recordActive.load()) && recording)
        recordBlock(block, span);
    if (recorder)
        recorder->clearEvents();
    recordEvents.clear();
    recordControllerEvents.clear();
    return span;
}

int32 AudioGraph::collectRecording()
{
    MidiTrackData* track = recordingTrack();
    if (!track)
        return 0;
    int32 placed = 0;
    RecordedEvent entry;
    while (recordRing.get(entry))
    {
        if (entry.kind == RecordedEvent::kNote)
            track->addMidiEvent(entry.event, entry.position);
        else
        {
            const Qel::LegacyMIDICCOutEvent& cc = entry.event.midiCCOut;
            double value = (cc.value & 0x7f) * kMidiValueScale;
            if (cc.controlNumber == MidiTrackData::kPitchBend)
                value = ((cc.value2 & 0x7f) << 7 | (cc.value & 0x7f)) / 16383.0;
            track->addParameter(cc.channel, cc.controlNumber, value, entry.position);
        }
        ++placed;
    }
    return placed;
}

void AudioGraph::portNotification(IPort* port, int32 code)
{
    if (code != kPortConnectionsChanged || !port || !port->isType("audio"))
        return;
    if (getSetup().blockSize > 0)
        prepareBuffers(blockSize);
}

} // namespace MiniEngine
} // namespace Quillmark
