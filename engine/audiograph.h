// The one root of the engine: the operator list that renders a block, and the transport that
// runs through it. Each block it advances the musical position held by the MiniTempoTrack, hands
// the song's events to the plug-ins, runs count-in and recording, and stops or loops at the end
// of the song. Created once at start-up; owns its operators (recorder, input signal, slots) by
// the list's references. Configuration calls come from the user interface thread; `process`
// runs on the driver's thread and only tries the process lock.
#pragma once

#include "engine/audiooperatorlist.h"
#include "engine/eventlist.h"
#include "engine/recordedeventring.h"
#include "qelhost/iport.h"

#include <atomic>
#include <string>

namespace Quillmark
{
class MiniTempoTrack;
class MidiTrackData;
class PPortRegistry;

namespace MiniEngine
{
class InputOperator;
class MidiRecorderOperator;

class AudioGraph : public AudioOperatorRoot, public IPortRegistryNotification
{
public:
    enum RecordMode : int32
    {
        kRecordDirect = 0,   // "Direct"
        kRecordMidi = 1,     // "MIDI": waits for the first note
        kRecordCountIn1 = 2, // "Count In 1": one bar
        kRecordCountIn2 = 3, // "Count In 2": two bars
    };
    /** Seconds of song the transport runs before a loop without a MIDI song starts over. */
    static constexpr double kDefaultSongSeconds = 240.0;
    /** Entries of the hand-over from the audio thread to the recorded track. */
    static constexpr int32 kRecordRingCapacity = 8192;
    /** Scales a 7-bit MIDI value to 0..1, and a 14-bit bend. */
    static constexpr double kMidiValueScale = 0.007874016;
    static constexpr double kPitchBendScale = 6.103888e-05;

    /** Listens to the port registry (`registry`, or the process-wide one) from here until
        its destruction. `tempoTrack` null means the process-wide one. */
    explicit AudioGraph(MiniTempoTrack* tempoTrack = nullptr, PPortRegistry* registry = nullptr);

    /** Makes the recorder and adds it to the list; nothing the second time. */
    void createRecorder();
    /** Makes the input operator and adds it, and rewinds, if there is none yet. */
    InputOperator* createInputOperator();
    InputOperator* getInputOperator() const { return inputOperator; }
    MidiRecorderOperator* getRecorder() const { return recorder; }
    MiniTempoTrack& getTempoTrack() const { return *tempoTrack; }

    // IAudioOperator
    void setupProcessing(const OperatorSetup& setup) override;
    /** One block on the audio thread; see the steps in the source. */
    void process(OperatorBuffers& buffers) override;
    bool getOutputGain(float& gain) override;

    // The transport, from the user interface; a change takes effect at the next block.
    bool isPlaying() const;
    void setPlaying(bool state);
    bool isRecording() const;
    void setRecording(bool state);
    bool isLooping() const;
    void setLooping(bool state);
    /** To the song's start, with the controller state of the event sources at 0 chased. */
    void rewind();
    /** Moves the transport; all sounding notes are released at the next block. */
    void setPosition(double quarterNotes);
    void setTempo(double bpm);
    void setTimeSignature(int32 numerator, int32 denominator);
    int32 getRecordMode() const { return recordMode; }
    void setRecordMode(int32 mode) { recordMode = mode; }
    double getCountInBeats() const { return countInBeats; }
    void setOutputGain(float gain) { outputGain = gain; }
    void setDisabled(bool state) { disabled.store(state); }
    bool isDisabled() const { return disabled.load(); }
    void setDeliverEvents(bool state) { deliverEvents = state; }
    int32 getSongLengthSamples() const { return songLengthSamples; }
    int32 getBlockSize() const { return blockSize; }
    bool isNoteHeld(int32 channel, int32 pitch) const;

    /** Loads `path` into the main signal (target 0), whose length becomes the song's, or the
        aux signal (target 1). Holds the process lock throughout, then rewinds. */
    bool loadAudioFile(const std::string& path, int32 target, std::string* problem = nullptr);

    /** A note-off for every held note to the first operator that takes events, and "all sound
        off" and "reset all controllers" to every operator that takes controllers. */
    void flushAllNotes();

    /** On the user interface thread: moves what the audio thread recorded onto the recorded
        track of the MIDI player. Answers how many events were placed. */
    int32 collectRecording();

    // IPortRegistryNotification: a changed audio connection re-prepares the buffers.
    void portNotification(IPort* port, int32 code) override;

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return AudioOperatorList::addRef(); }
    uint32 release() override { return AudioOperatorList::release(); }

protected:
    ~AudioGraph() override;

private:
    /** The part of a block under the process lock; answers the block's span. */
    double renderLocked(OperatorBuffers& buffers);
    /** Moves the position on by one block; rewinds at the song's end when looping. */
    void advanceTransport(int32 numSamples, double span);
    void collectEvents(double start, double end);
    void countIn(double span);
    void startFromCountIn();
    void recordBlock(const OperatorBuffers& buffers, double span);
    void deliverChaseEvents(IAudioOperator* child);
    void resetPosition();
    MidiTrackData* recordingTrack() const;
    bool hasRecordingTrack() const;

    MiniTempoTrack* tempoTrack;
    PPortRegistry* registry;
    InputOperator* inputOperator = nullptr; // owned by the list
    EventList playEvents;
    EventList recordEvents;
    EventList recordControllerEvents;
    EventList chaseEvents;
    MidiRecorderOperator* recorder = nullptr; // owned by the list
    RecordedEventRing recordRing{kRecordRingCapacity};
    int32 songLengthSamples = int32(44100.0 * kDefaultSongSeconds);
    int32 blockSize = 1024;
    float outputGain = 1.0f;
    double countInBeats = 0.0;
    double lastBlockEnd = 0.0;
    int32 recordMode = kRecordDirect;
    uint8 heldNotes[16][128] = {};
    std::atomic<bool> stopRequested{false};
    std::atomic<bool> startRequested{false};
    std::atomic<bool> positionChanged{false};
    std::atomic<bool> recordActive{false};
    std::atomic<bool> channelChanged{false};
    bool deliverEvents = true;
    std::atomic<bool> disabled{false};
};

} // namespace MiniEngine
} // namespace Quillmark
