#include "engine/audiooperator.h"

namespace Quillmark
{
namespace MiniEngine
{

namespace
{

QelBusPin* pinAt(const std::vector<QelBus*>& busses, int32 index)
{
    if (index < 0)
        return nullptr;
    for (const QelBus* bus : busses)
    {
        if (index < bus->countPins())
            return bus->getPin(index);
        index -= bus->countPins();
    }
    return nullptr;
}

} // namespace

QelBusPin* QelBus::getPin(int32 index) const
{
    return index >= 0 && index < int32(pins.size()) ? pins[size_t(index)] : nullptr;
}

void QelBus::removeAllPins()
{
    for (QelBusPin* pin : pins)
    {
        pin->disconnectAll();
        pin->release();
    }
    pins.clear();
}

AudioOperator::~AudioOperator()
{
    for (QelBus* bus : inputBusses)
        bus->release();
    for (QelBus* bus : outputBusses)
        bus->release();
}

tresult AudioOperator::queryInterface(const TUID iid, void** obj)
{
    if (!obj)
        return kInvalidArgument;
    if (iidEqual(iid, IAudioOperator::iid.bytes) || iidEqual(iid, FUnknown::iid.bytes))
    {
        addRef();
        *obj = static_cast<IAudioOperator*>(this);
        return kResultOk;
    }
    *obj = nullptr;
    return kNoInterface;
}

uint32 AudioOperator::addRef()
{
    return uint32(refCount.fetch_add(1, std::memory_order_relaxed) + 1);
}

uint32 AudioOperator::release()
{
    const int32 count = refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (count == 0)
        delete this;
    return uint32(count);
}

FLock* AudioOperator::getProcessLock()
{
    return parent ? parent->getProcessLock() : nullptr;
}

void AudioOperator::prepareBuffers(int32 numSamples)
{
    for (QelBus* bus : outputBusses)
        for (int32 i = 0; i < bus->countPins(); ++i)
            bus->getPin(i)->prepare(numSamples);
    for (QelBus* bus : inputBusses)
        for (int32 i = 0; i < bus->countPins(); ++i)
            bus->getPin(i)->prepare(numSamples);
}

void AudioOperator::clearBuffers(int32 numSamples)
{
    for (QelBus* bus : inputBusses)
        for (int32 i = 0; i < bus->countPins(); ++i)
            bus->getPin(i)->clear(numSamples);
}

QelBusPin* AudioOperator::getInputPin(int32 index) const
{
    return pinAt(inputBusses, index);
}

QelBusPin* AudioOperator::getOutputPin(int32 index) const
{
    return pinAt(outputBusses, index);
}

} // namespace MiniEngine
} // namespace Quillmark
