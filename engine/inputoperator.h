// The source of the engine's test signals, the child that follows the recorder: two stereo
// signals ("Input" and "AuxIn"), each a choice of sine, noise, silence, live driver input or an
// audio file, and the two event sources, the step pattern and the MIDI file. Owned by the graph's
// list alone; its output pins are ports of the registry that slots connect to.
#pragma once

#include "engine/audiooperator.h"
#include "engine/signalgenerator.h"
#include "midi/eventpattern.h"
#include "midi/miditrackplayer.h"

namespace Quillmark
{
class PPortRegistry;

namespace MiniEngine
{

class InputOperator : public AudioOperator
{
public:
    static constexpr int32 kEventSourceCount = 2;

    /** Builds the busses; the output pins are registered in `registry` (the process-wide one
        when null), and the input pins are connected to the first two capture channels of an
        audio device, if there is one. */
    explicit InputOperator(PPortRegistry* registry = nullptr);

    SignalGenerator& getSignal() { return *signal; }
    SignalGenerator& getAuxSignal() { return *auxSignal; }
    int32 getInputSignal() const { return inputSignal; }
    void setInputSignal(int32 kind) { inputSignal = kind; }
    int32 getAuxInputSignal() const { return auxInputSignal; }
    void setAuxInputSignal(int32 kind) { auxInputSignal = kind; }

    PatternPlayer& getPatternPlayer() { return *patternPlayer; }
    MiditrackPlayer& getMidiPlayer() { return *midiPlayer; }
    /** The pattern first, then the MIDI file. */
    EventPlayer* getEventSource(int32 index) const;
    /** Both sources start over at the song's start. */
    void resetEventSources();

    /** Connects input pins 0 and 2 to the first capture channel of an audio device, 1 and 3
        to the second; without a second channel, 1 and 3 are disconnected. */
    void connectDeviceInputs();

    // IAudioOperator
    void setupProcessing(const OperatorSetup& setup) override;
    /** The base preparation, then the pin buffers are cached for the block. */
    void prepareBuffers(int32 numSamples) override;
    void process(OperatorBuffers& buffers) override;

protected:
    ~InputOperator() override;

private:
    PPortRegistry* registry;
    int32 inputSignal = SignalGenerator::kAudioFile;
    int32 auxInputSignal = SignalGenerator::kAudioFile;
    SignalGenerator* signal;
    SignalGenerator* auxSignal;
    PatternPlayer* patternPlayer;
    MiditrackPlayer* midiPlayer;
    // For each signal: two input and two output channels.
    float* signalInputs[2] = {};
    float* signalOutputs[2] = {};
    float* auxInputs[2] = {};
    float* auxOutputs[2] = {};
    // The four output pins, in the order of getOutputPin; the busses never change.
    QelBusPin* outputPins[4] = {};
};

} // namespace MiniEngine
} // namespace Quillmark
