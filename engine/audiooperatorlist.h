// The flat, ordered list of operators that renders a block, and its root, which owns the lock
// that serialises changes of the graph against the audio thread and the two shared buffers that
// stand in for unconnected pins. A list owns one reference to each operator in it.
#pragma once

#include "base/flock.h"
#include "qelhost/iaudiooperator.h"

#include <atomic>
#include <memory>
#include <vector>

namespace Quillmark
{
namespace MiniEngine
{

class AudioOperatorList : public IAudioOperatorList
{
public:
    AudioOperatorList();
    AudioOperatorList(const AudioOperatorList&) = delete;
    AudioOperatorList& operator=(const AudioOperatorList&) = delete;

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override;
    uint32 release() override;

    // IAudioOperator
    void setParent(IAudioOperatorList* newParent) override { parent = newParent; }
    FLock* getProcessLock() override { return parent ? parent->getProcessLock() : nullptr; }
    bool updatePins() override;
    void setupProcessing(const OperatorSetup& setup) override;
    void setActive(bool state) override;
    bool isActive() override { return active.load(std::memory_order_acquire); }
    void setProcessing(bool state) override;
    /** Clears the inputs of all children first, then renders them in list order; nothing
        unless the list is both active and processing. */
    void process(OperatorBuffers& buffers) override;
    void prepareBuffers(int32 numSamples) override;
    bool getOutputGain(float& gain) override { return false; }
    void clearBuffers(int32 numSamples) override;

    // IAudioOperatorList
    void suspend() override;
    void resume() override;

    /** Takes over the caller's reference; sets the operator up first when the list has a
        format, and activates it when the list is processing. */
    void addOperator(IAudioOperator* op);
    /** Gives the reference back to the caller; releases nothing. False when not a child. */
    bool removeOperator(IAudioOperator* op);
    int32 countOperators() const { return int32(children.size()); }
    IAudioOperator* getOperator(int32 index) const;
    const OperatorSetup& getSetup() const { return setup; }
    bool isProcessing() const { return processing.load(std::memory_order_acquire); }

protected:
    virtual ~AudioOperatorList();

    IAudioOperatorList* parent = nullptr;
    std::vector<IAudioOperator*> children;
    OperatorSetup setup;
    std::unique_ptr<uint8[]> savedActive; // one byte per child while suspended, or null
    int32 savedActiveCount = 0;
    std::atomic<bool> active{false};
    std::atomic<bool> processing{false};

private:
    std::atomic<int32> refCount{1};
};

class AudioOperatorRoot : public AudioOperatorList
{
public:
    AudioOperatorRoot() = default;

    FLock* getProcessLock() override { return &processLock; }
    /** Sizes and zeroes the shared buffers, puts them into the record and forwards it. */
    void setupProcessing(const OperatorSetup& setup) override;
    /** Blocking lock; children from the last to the first, so that a one-to-one output pin
        finds the buffer of the input it feeds already in place. */
    void prepareBuffers(int32 numSamples) override;

    /** The audio thread's entry: one try of the process lock; a lost try renders nothing and
        answers false, so the driver's cleared buffers play silence. */
    bool renderBlock(OperatorBuffers& buffers);

    const float* getSilentInput() const { return silentInputBuffer.get(); }
    float* getScratchOutput() const { return scratchOutputBuffer.get(); }

protected:
    ~AudioOperatorRoot() override = default;

private:
    FLock processLock{"Process Lock"};
    std::unique_ptr<float[]> silentInputBuffer;
    std::unique_ptr<float[]> scratchOutputBuffer;
};

} // namespace MiniEngine
} // namespace Quillmark
