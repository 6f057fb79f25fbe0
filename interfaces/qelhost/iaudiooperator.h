// The audio operator: everything that takes part in rendering a block. These interfaces belong
// to the host, not to the plug-in standard; their identifiers and the order of their operations
// are this host's own and fixed here.
#pragma once

#include "qel3/iaudioprocessor.h"

namespace Quillmark
{

class FLock;

namespace MiniEngine
{

/** What every operator receives when the format changes. The caller of the root passes null
    buffers; the root puts its own shared buffers in before it forwards the record. */
struct OperatorSetup
{
    int32 blockSize = -1; // largest number of samples of one block
    double sampleRate = 44100.0;
    float* silentInput = nullptr;   // blockSize zeros, shared by all unconnected inputs
    float* scratchOutput = nullptr; // blockSize samples, shared by all unconnected outputs
};

/** What every operator receives for one block. */
struct OperatorBuffers
{
    int32 numSamples = 0;
    int32 numChannels = 2;   // channels of the device; the engine always passes 2
    uint64 silenceFlags = 0; // written back by plug-in operators: their first output bus
    uint64 reserved = 0;
    Qel::ProcessContext* context = nullptr; // transport state of this block
    double blockStartMusic = 0.0;           // quarter notes at the first sample
    double blockEndMusic = 0.0;             // quarter notes just behind the last sample
};

class IAudioOperatorList;

class IAudioOperator : public FUnknown
{
public:
    /** Stores the parent, not owned; null detaches. */
    virtual void setParent(IAudioOperatorList* parent) = 0;
    /** The lock that guards the graph, or null. */
    virtual FLock* getProcessLock() = 0;
    /** Rebuilds busses and pins from the current format. */
    virtual bool updatePins() = 0;
    virtual void setupProcessing(const OperatorSetup& setup) = 0;
    virtual void setActive(bool state) = 0;
    virtual bool isActive() = 0;
    virtual void setProcessing(bool state) = 0;
    /** Renders one block, on the audio thread. */
    virtual void process(OperatorBuffers& buffers) = 0;
    /** Gives every pin its buffer; under the process lock. */
    virtual void prepareBuffers(int32 numSamples) = 0;
    /** The gain for the device outputs; false when the operator has none. */
    virtual bool getOutputGain(float& gain) = 0;
    /** Clears the input pins before a block. */
    virtual void clearBuffers(int32 numSamples) = 0;

    QEL_INTERFACE_IID(0xA9E244BD, 0xB7504C9E, 0x843E02FA, 0x19A2A030);
};

class IAudioOperatorList : public IAudioOperator
{
public:
    /** Switches off, remembering which children were active. */
    virtual void suspend() = 0;
    /** Switches on again exactly the children that were active. */
    virtual void resume() = 0;

    QEL_INTERFACE_IID(0x15A9483D, 0xA7FB41E1, 0x9BDE24C9, 0xF7D10380);
};

} // namespace MiniEngine
} // namespace Quillmark
