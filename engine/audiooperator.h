// The base of every concrete operator, and the bus that groups its pins. An operator owns its
// busses and a bus owns its pins; the list the operator sits in holds the operator's reference.
#pragma once

#include "engine/qelbuspin.h"
#include "qelhost/iaudiooperator.h"

#include <atomic>
#include <vector>

namespace Quillmark
{
namespace MiniEngine
{

/** A named group of pins, one per channel of one bus. */
class QelBus : public CmObject
{
    QEL_DECLARE_CLASS(QelBus, CmObject)
public:
    explicit QelBus(const ConstString& name = ConstString()) : name(name) {}
    ~QelBus() override { removeAllPins(); }

    const String& getName() const { return name; }
    void setName(const ConstString& newName) { name = newName; }
    int32 countPins() const { return int32(pins.size()); }
    QelBusPin* getPin(int32 index) const;
    /** Takes over the caller's reference. */
    void addPin(QelBusPin* pin) { pins.push_back(pin); }
    /** Disconnects and drops every pin. */
    void removeAllPins();

private:
    String name;
    std::vector<QelBusPin*> pins;
};

class AudioOperator : public IAudioOperator
{
public:
    AudioOperator() = default;
    AudioOperator(const AudioOperator&) = delete;
    AudioOperator& operator=(const AudioOperator&) = delete;

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override;
    uint32 release() override;

    // IAudioOperator
    void setParent(IAudioOperatorList* newParent) override { parent = newParent; }
    FLock* getProcessLock() override;
    bool updatePins() override { return false; }
    void setupProcessing(const OperatorSetup& setup) override {}
    void setActive(bool state) override {}
    bool isActive() override { return true; }
    void setProcessing(bool state) override {}
    void process(OperatorBuffers& buffers) override {}
    /** Output pins first, then input pins. */
    void prepareBuffers(int32 numSamples) override;
    bool getOutputGain(float& gain) override { return false; }
    /** Clears every input pin. */
    void clearBuffers(int32 numSamples) override;

    /** Counted across all busses of the direction in order; null past the end. */
    QelBusPin* getInputPin(int32 index) const;
    QelBusPin* getOutputPin(int32 index) const;
    IAudioOperatorList* getParent() const { return parent; }

protected:
    virtual ~AudioOperator();

    IAudioOperatorList* parent = nullptr; // not owned
    std::vector<QelBus*> inputBusses;     // owned
    std::vector<QelBus*> outputBusses;    // owned

private:
    std::atomic<int32> refCount{1};
};

} // namespace MiniEngine
} // namespace Quillmark
