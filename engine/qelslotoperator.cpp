#include "engine/qelslotoperator.h"

#include "base/flock.h"
#include "engine/midieventcollector.h"

#include <algorithm>

namespace Quillmark
{
namespace MiniEngine
{

using namespace Qel;

namespace
{

template <class Call> auto guarded(Call call, decltype(call()) failure) -> decltype(call())
{
    try
    {
        return call();
    }
    catch (...)
    {
        return failure;
    }
}

} // namespace

QelSlotOperator::QelSlotOperator()
{
    processData.inputParameterChanges = &processChanges;
    processData.outputParameterChanges = &outputChanges;
    processData.inputEvents = &inputEvents;
    processData.outputEvents = nullptr; // plug-ins send no events to the host
    setupController(nullptr);
}

QelSlotOperator::~QelSlotOperator()
{
    setParamListener(nullptr);
    if (midiCollector)
        midiCollector->release();
    for (QelEventInput* input : eventInputs)
        input->release();
}

QelEventInput* QelSlotOperator::getEventInput(int32 index) const
{
    return index >= 0 && index < int32(eventInputs.size()) ? eventInputs[size_t(index)] : nullptr;
}

tresult QelSlotOperator::queryInterface(const TUID iid, void** obj)
{
    if (!obj)
        return kInvalidArgument;
    if (iidEqual(iid, IEventReceiver::iid.bytes))
    {
        addRef();
        *obj = static_cast<IEventReceiver*>(this);
        return kResultOk;
    }
    if (iidEqual(iid, IControllerReceiver::iid.bytes))
    {
        addRef();
        *obj = static_cast<IControllerReceiver*>(this);
        return kResultOk;
    }
    return AudioOperator::queryInterface(iid, obj);
}

bool QelSlotOperator::queueParameter(int32 id, double value)
{
    return !uiChanges.add(id, value);
}

void QelSlotOperator::setupController(IEditController* controller)
{
    const int32 count =
        controller ? guarded([&] { return controller->getParameterCount(); }, 0) : 0;
    const int32 n = std::max(count, 0) + 1;
    uiChanges.setMaxParameters(n);
    processChanges.setMaxParameters(n);
    outputChanges.setMaxParameters(std::min(n, kMaxOutputChanges));

    int32 mapped = 0;
    for (auto& map : controllerMaps)
        map.reset();
    IMidiMapping* mapping = nullptr;
    if (controller)
        guarded([&]
                { return controller->queryInterface(IMidiMapping::iid.bytes, (void**)&mapping); },
                kNoInterface);
    if (mapping)
    {
        for (int32 channel = 0; channel < kChannels; ++channel)
        {
            for (int32 number = 0; number < kMapSize; ++number)
            {
                ParamID id = kNoParamId;
                // The first number without an assignment ends the channel: later numbers stay
                // unmapped even if the plug-in would answer for them.
                if (guarded(
                        [&] {
                            return mapping->getMidiControllerAssignment(0, int16(channel),
                                                                        CtrlNumber(number), id);
                        },
                        kResultFalse) != kResultOk)
                    break;
                if (!controllerMaps[channel])
                {
                    controllerMaps[channel] = std::make_unique<int32[]>(kMapSize);
                    std::fill_n(controllerMaps[channel].get(), kMapSize, -1);
                }
                controllerMaps[channel][number] = int32(id);
                ++mapped;
            }
        }
    }
    for (QelEventInput* input : eventInputs)
    {
        input->updateMidiMapping(mapping);
        input->updateProgramParams(controller);
    }
    if (mapping)
        mapping->release();
    midiChanges.setMaxParameters(mapped + 1);
}

int32 QelSlotOperator::getMappedParameter(int32 channel, int32 controller) const
{
    if (channel < 0 || channel >= kChannels || controller < 0 || controller >= kMapSize ||
        !controllerMaps[channel])
        return -1;
    return controllerMaps[channel][controller];
}

void QelSlotOperator::setParamListener(IParamListener* listener)
{
    if (listener)
        listener->addRef();
    IParamListener* old = nullptr;
    if (FLock* lock = getProcessLock())
    {
        FGuard guard(*lock);
        old = paramListener.exchange(listener);
    }
    else
        old = paramListener.exchange(listener);
    if (old)
        old->release();
}

bool QelSlotOperator::initialize()
{
    if (!QelAudioOperator::initialize())
        return false;
    if (processData.numOutputs > 0)
        outputBusActive[0] = true;
    auxBusIndex = -1;
    const int32 numIns = guarded([&] { return component->getBusCount(kAudio, kInput); }, 0);
    for (int32 i = 0; i < numIns; ++i)
    {
        BusInfo info{};
        if (guarded([&] { return component->getBusInfo(kAudio, kInput, i, info); }, kResultFalse) ==
                kResultOk &&
            info.busType == kAux)
        {
            auxBusIndex = i;
            break;
        }
    }
    auxInput = auxBusIndex > 0;
    const int32 eventBusses = guarded([&] { return component->getBusCount(kEvent, kInput); }, 0);
    if (eventInputs.empty())
    {
        // Only its presence counts: such a plug-in takes controllers as legacy events.
        FUnknown* legacy = nullptr;
        guarded(
            [&]
            { return component->queryInterface(IMidiControllerInput::iid.bytes, (void**)&legacy); },
            kNoInterface);
        for (int32 i = 0; i < eventBusses; ++i)
            eventInputs.push_back(new QelEventInput(i, legacy != nullptr));
        if (legacy)
            legacy->release();
    }
    eventInput = eventBusses > 0;
    for (int32 i = 0; i < eventBusses; ++i)
        activateEventBus(kInput, i, true);
    if (eventInput && !midiCollector && portRegistry)
        midiCollector = new MidiSupport::MidiEventCollector(name, eventInputs, portRegistry);
    return true;
}

void QelSlotOperator::terminate()
{
    if (component && eventInput)
    {
        const int32 eventInputs =
            guarded([&] { return component->getBusCount(kEvent, kInput); }, 0);
        for (int32 i = 0; i < eventInputs; ++i)
            activateEventBus(kInput, i, false);
    }
    if (component && auxBusIndex >= 0 && auxBusIndex < processData.numInputs)
    {
        activateBus(kInput, auxBusIndex, false);
        inputBusActive[size_t(auxBusIndex)] = false;
    }
    auxInputActive = false;
    QelAudioOperator::terminate();
}

void QelSlotOperator::setupProcessing(const OperatorSetup& setup)
{
    sampleRate = setup.sampleRate;
    QelAudioOperator::setupProcessing(setup);
}

bool QelSlotOperator::receiveEvents(EventList& list)
{
    if (!eventInput || !isActive())
        return false;
    for (int32 i = 0, n = list.getEventCount(); i < n; ++i)
        if (!eventRing.put(list.at(i)))
            break; // full: the rest is dropped
    return true;
}

void QelSlotOperator::flush()
{
    UEvent event{};
    while (eventRing.get(event))
        if (event.type == Event::kNoteOffEvent)
        {
            event.sampleOffset = 0;
            event.ppqPosition = 0.0;
            inputEvents.addEvent(event);
        }
}

void QelSlotOperator::takeRingEvents(const OperatorBuffers& buffers)
{
    const ProcessContext* context = buffers.context;
    const double tempo = context && context->tempo > 0.0 ? context->tempo : 120.0;
    const double rate =
        context && context->sampleRate > 0.0 ? context->sampleRate : this->sampleRate;
    const int32 last = std::max(buffers.numSamples - 1, 0);
    // The head is read before the emptiness test; the take that follows is what ends the loop.
    while (eventRing.peek().ppqPosition <= buffers.blockEndMusic)
    {
        UEvent event{};
        if (!eventRing.get(event))
            break;
        const double offset = (event.ppqPosition - buffers.blockStartMusic) * 60.0 / tempo * rate;
        event.sampleOffset = offset <= 0.0 ? 0 : offset >= double(last) ? last : int32(offset);
        inputEvents.addEvent(event);
    }
}

void QelSlotOperator::process(OperatorBuffers& buffers)
{
    if (!isActive())
    {
        if (isProcessing())
            setProcessing(false);
        return;
    }
    if (!isProcessing())
        setProcessing(true);

    processChanges.addAll(uiChanges);
    uiChanges.clear();

    if (eventInput)
    {
        for (QelEventInput* input : eventInputs)
        {
            input->fillEvents(inputEvents, buffers, sampleRate);
            input->fillParameterChanges(midiChanges);
        }
        if (midiChanges.hasChanges() || !inputEvents.isEmpty())
            eventsSeen.store(true, std::memory_order_relaxed);
        processChanges.addAll(midiChanges);
        midiChanges.clear();
        const bool playing =
            buffers.context && (buffers.context->state & ProcessContext::kPlaying) != 0;
        if (!playing)
        {
            if (!eventRing.isEmpty())
                flush();
        }
        else
            takeRingEvents(buffers);
    }

    QelAudioOperator::process(buffers);

    if (eventInput)
        inputEvents.clear();
    processChanges.clear();

    if (outputChanges.hasChanges())
    {
        if (IParamListener* listener = paramListener.load(std::memory_order_acquire))
            for (int32 i = 0; i < outputChanges.getCapacity(); ++i)
            {
                SingleParameterQueue* queue = outputChanges.queueAt(i);
                if (queue->isUsed())
                    listener->parameterChanged(queue->getId(), queue->getValue());
            }
        // Without a listener the values are dropped all the same: the plug-in finds fresh
        // queues in every block.
        outputChanges.clear();
    }
}

bool QelSlotOperator::midiController(int32 sampleOffset, int32 controller, int32 channel,
                                     double value)
{
    const int32 id = getMappedParameter(channel, controller);
    if (id < 0)
        return true;
    return !uiChanges.add(id, value);
}

bool QelSlotOperator::programChange(int32 sampleOffset, int32 channel, double value)
{
    const int32 id = eventInputs.empty() ? -1 : eventInputs.front()->getProgramParam(channel);
    if (id < 0)
        return true;
    return !uiChanges.add(id, value);
}

} // namespace MiniEngine
} // namespace Quillmark
