// One plug-in processor as an audio operator: its audio busses become QelBus objects with a
// QelBusPin per channel, it owns the ProcessData record handed to the plug-in's process each
// block, and it keeps activation and processing in the order the plug-in standard demands.
// Created and owned by whoever plays the plug-in; it holds the plug-in's two interfaces.
#pragma once

#include "base/fstring.h"
#include "engine/audiooperator.h"
#include "qel3/iaudioprocessor.h"
#include "qel3/icomponent.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace Quillmark
{
class PPortRegistry;

namespace MiniEngine
{

class QelAudioOperator : public AudioOperator
{
public:
    /** How long setActive(false) waits for the audio thread to stop processing. */
    static constexpr int32 kDeactivatePolls = 200;
    static constexpr int32 kDeactivatePollMs = 10;
    /** Layouts beyond these are taken for a plug-in that lies about its busses. */
    static constexpr int32 kMaxBusses = 256;
    static constexpr int32 kMaxChannels = 64;

    QelAudioOperator();

    /** Takes the plug-in's IComponent and IAudioProcessor and builds the block record. A null
        `plugin` detaches and answers true; a missing interface or a failed initialize drops
        everything and answers false. */
    bool attach(FUnknown* plugin, const String& name);

    // IAudioOperator
    bool updatePins() override;
    void setupProcessing(const OperatorSetup& setup) override;
    void setActive(bool state) override;
    bool isActive() override { return active.load(std::memory_order_acquire); }
    void setProcessing(bool state) override;
    void process(OperatorBuffers& buffers) override;
    void prepareBuffers(int32 numSamples) override;

    /** Builds the record, activates the first input and output bus and switches the others
        off; false for a plug-in without audio output or one that refuses its first busses. */
    virtual bool initialize();
    /** Switches every bus off and frees the record's arrays. */
    virtual void terminate();

    /** Where new pins are registered; the process-wide registry unless set (null: nowhere). */
    void setPortRegistry(PPortRegistry* registry) { portRegistry = registry; }
    PPortRegistry* getPortRegistry() const { return portRegistry; }

    tresult setOutputBusActive(int32 index, bool state);
    tresult setInputBusActive(int32 index, bool state);
    bool isOutputBusActive(int32 index) const;
    bool isInputBusActive(int32 index) const;

    const String& getName() const { return name; }
    /** Why the last attach failed, as the end of a sentence that starts with the plug-in's
        name ("has no audio output"); empty after a success. */
    const std::string& getProblem() const { return problem; }
    int32 getInputPinCount() const { return inputPinCount; }
    int32 getOutputPinCount() const { return outputPinCount; }
    bool hasAudioInput() const { return hasAudioInputs; }
    bool isProcessing() const { return processing.load(std::memory_order_acquire); }
    Qel::IComponent* getComponent() const { return component; }
    Qel::IAudioProcessor* getProcessor() const { return processor; }
    const Qel::ProcessData& getProcessData() const { return processData; }

    /** The short name of the n-th speaker of an arrangement ("L", "R", "C", ...). */
    static const char8* speakerShortName(Qel::SpeakerArrangement arrangement, int32 n);

protected:
    ~QelAudioOperator() override;

    /** Rebuilds the bus arrays when the plug-in's layout changed; false when it cannot. */
    bool buildProcessData();
    void freeProcessData();
    /** Switches a bus on or off, with the component deactivated around it when active. */
    tresult activateBus(Qel::BusDirection direction, int32 index, bool state);
    tresult activateEventBus(Qel::BusDirection direction, int32 index, bool state);
    void updateBusses(Qel::BusDirection direction);

    Qel::IComponent* component = nullptr;
    Qel::IAudioProcessor* processor = nullptr;
    Qel::ProcessData processData{};
    bool channelBufferOwner = false;
    std::unique_ptr<std::atomic<bool>[]> inputBusActive;
    std::unique_ptr<std::atomic<bool>[]> outputBusActive;
    float* silentInput = nullptr;
    float* scratchOutput = nullptr;
    String name;
    int32 inputPinCount = 0;
    int32 outputPinCount = 0;
    bool hasAudioInputs = false;
    std::atomic<bool> active{false};
    std::atomic<bool> processing{false};
    std::string problem;
    PPortRegistry* portRegistry;

private:
    /** Switches a bus of either kind, with the plug-in inactive around the change. */
    tresult activateBusOf(Qel::MediaType type, Qel::BusDirection direction, int32 index,
                          bool state);
    struct Direction
    {
        std::vector<Qel::AudioBusBuffers> busses;
        std::vector<std::vector<Qel::Sample32*>> channels;
    };
    Direction inputs;
    Direction outputs;
};

} // namespace MiniEngine
} // namespace Quillmark
