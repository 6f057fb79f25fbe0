#include "engine/midirecorderoperator.h"

#include "base/flock.h"
#include "engine/qeleventinput.h"

namespace Quillmark
{
namespace MiniEngine
{

MidiRecorderOperator::MidiRecorderOperator(int32 inputCount, PPortRegistry* registry)
    : registry(registry)
{
    for (int32 i = 0; i < inputCount; ++i)
        inputs.push_back(new QelEventInput(i, false));
}

MidiRecorderOperator::~MidiRecorderOperator()
{
    if (collector)
        collector->release();
    for (QelEventInput* input : inputs)
        input->release();
}

QelEventInput* MidiRecorderOperator::getInput(int32 index) const
{
    return index >= 0 && index < int32(inputs.size()) ? inputs[size_t(index)] : nullptr;
}

void MidiRecorderOperator::setActive(bool state)
{
    if (state == active)
        return;
    if (state)
    {
        if (!collector)
            collector = new MidiSupport::MidiEventCollector(kName, inputs, registry);
        active = true;
        return;
    }
    // The audio thread reads `active` only through the list, which has stopped calling us.
    MidiSupport::MidiEventCollector* old = nullptr;
    if (FLock* lock = getProcessLock())
    {
        FGuard guard(*lock);
        active = false;
        old = collector;
        collector = nullptr;
    }
    else
    {
        active = false;
        old = collector;
        collector = nullptr;
    }
    if (old)
        old->release();
}

void MidiRecorderOperator::fetch(const OperatorBuffers& buffers)
{
    for (QelEventInput* input : inputs)
    {
        input->fillEvents(notes, buffers, sampleRate);
        input->fillRecordEvents(controllers, buffers, sampleRate);
    }
}

tresult MidiRecorderOperator::queryInterface(const TUID iid, void** obj)
{
    if (!obj)
        return kInvalidArgument;
    if (iidEqual(iid, IEventReceiver::iid.bytes))
    {
        addRef();
        *obj = static_cast<IEventReceiver*>(this);
        return kResultOk;
    }
    return AudioOperator::queryInterface(iid, obj);
}

} // namespace MiniEngine
} // namespace Quillmark
