#include "engine/qelaudiooperator.h"

#include "base/flock.h"
#include "devices/ports/pportregistry.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <string>
#include <thread>

namespace Quillmark
{
namespace MiniEngine
{

using namespace Qel;

namespace
{

constexpr SpeakerArrangement kStereo = 0x3;

/** Calls into the plug-in; a C++ exception stops at the module border as a failure. */
template <class Call> tresult guarded(Call call)
{
    try
    {
        return call();
    }
    catch (...)
    {
        return kResultFalse;
    }
}

constexpr const char8* kSpeakerNames[] = {
    "L",   "R",   "C",   "LFE", "Ls",   "Rs", "Lc", "Rc", "S", "Sl", "Sr",  "Tm",  "Tfl", "Tfc",
    "Tfr", "Trl", "Trc", "Trr", "LFE2", "M",  "W",  "X",  "Y", "Z",  "Tsl", "Tsr", "Lcs", "Rcs"};

String busName(IComponent* component, BusDirection direction, int32 index)
{
    BusInfo info{};
    if (guarded([&] { return component->getBusInfo(kAudio, direction, index, info); }) != kResultOk)
        return String();
    info.name[127] = 0;
    return String(info.name);
}

} // namespace

QelAudioOperator::QelAudioOperator() : portRegistry(PPortRegistry::instance()) {}

QelAudioOperator::~QelAudioOperator()
{
    // An operator can go with its list while still switched on; the plug-in is stopped and
    // deactivated first, in its order, before its busses are switched off.
    setProcessing(false);
    setActive(false);
    name.clear();
    terminate();
    if (processor)
        processor->release();
    if (component)
        component->release();
    processor = nullptr;
    component = nullptr;
    freeProcessData();
}

const char8* QelAudioOperator::speakerShortName(SpeakerArrangement arrangement, int32 n)
{
    for (int32 bit = 0; bit < 64; ++bit)
        if ((arrangement >> bit) & 1)
            if (n-- == 0)
                return bit < int32(std::size(kSpeakerNames)) ? kSpeakerNames[bit] : "";
    return "";
}

bool QelAudioOperator::attach(FUnknown* plugin, const String& newName)
{
    auto detach = [&]
    {
        name.clear();
        terminate();
        if (processor)
            processor->release();
        if (component)
            component->release();
        processor = nullptr;
        component = nullptr;
    };
    detach();
    problem.clear();
    if (!plugin)
        return true;
    IComponent* newComponent = nullptr;
    IAudioProcessor* newProcessor = nullptr;
    guarded([&] { return plugin->queryInterface(IComponent::iid.bytes, (void**)&newComponent); });
    guarded([&]
            { return plugin->queryInterface(IAudioProcessor::iid.bytes, (void**)&newProcessor); });
    component = newComponent;
    processor = newProcessor;
    problem.clear();
    if (!component || !processor)
        problem = !component ? "is no component" : "has no audio processor";
    if (!component || !processor || !initialize())
    {
        const std::string reason = problem;
        detach();
        problem = reason;
        return false;
    }
    name = newName;
    return true;
}

void QelAudioOperator::freeProcessData()
{
    inputs = {};
    outputs = {};
    processData.numInputs = 0;
    processData.numOutputs = 0;
    processData.inputs = nullptr;
    processData.outputs = nullptr;
    inputBusActive.reset();
    outputBusActive.reset();
    channelBufferOwner = false;
}

bool QelAudioOperator::buildProcessData()
{
    if (!component)
        return false;
    const int32 numIns = guarded([&] { return component->getBusCount(kAudio, kInput); });
    const int32 numOuts = guarded([&] { return component->getBusCount(kAudio, kOutput); });
    if (numIns < 0 || numOuts < 0 || numIns > kMaxBusses || numOuts > kMaxBusses)
    {
        problem = "reports " + std::to_string(numIns) + " audio input and " +
                  std::to_string(numOuts) + " audio output busses";
        return false;
    }
    auto sameLayout = [&](BusDirection direction, int32 count, const Direction& stored)
    {
        if (count != int32(stored.busses.size()))
            return false;
        for (int32 i = 0; i < count; ++i)
        {
            BusInfo info{};
            const tresult result =
                guarded([&] { return component->getBusInfo(kAudio, direction, i, info); });
            const int32 channels =
                result == kResultOk ? std::clamp(info.channelCount, 0, kMaxChannels) : 0;
            if (channels != stored.busses[size_t(i)].numChannels)
                return false;
        }
        return true;
    };
    if (!channelBufferOwner && outputBusActive && processData.symbolicSampleSize == kSample32 &&
        sameLayout(kInput, numIns, inputs) && sameLayout(kOutput, numOuts, outputs))
    {
        for (AudioBusBuffers& bus : inputs.busses)
            bus.silenceFlags = 0;
        for (AudioBusBuffers& bus : outputs.busses)
            bus.silenceFlags = 0;
        return true;
    }
    // The plug-in keeps the bus states it was given; so does the record.
    std::vector<bool> oldIn, oldOut;
    for (int32 i = 0; i < processData.numInputs; ++i)
        oldIn.push_back(inputBusActive[size_t(i)]);
    for (int32 i = 0; i < processData.numOutputs; ++i)
        oldOut.push_back(outputBusActive[size_t(i)]);
    freeProcessData();
    processData.processMode = kRealtime;
    processData.symbolicSampleSize = kSample32;
    auto build = [&](BusDirection direction, int32 count, Direction& target)
    {
        target.busses.assign(size_t(count), AudioBusBuffers{});
        target.channels.assign(size_t(count), {});
        for (int32 i = 0; i < count; ++i)
        {
            BusInfo info{};
            AudioBusBuffers& bus = target.busses[size_t(i)];
            bus.numChannels = 0;
            bus.silenceFlags = 0;
            bus.channelBuffers32 = nullptr;
            if (guarded([&] { return component->getBusInfo(kAudio, direction, i, info); }) !=
                    kResultOk ||
                info.channelCount <= 0)
                continue;
            // One channel per speaker bit: more than 64 is a plug-in that lies.
            info.channelCount = std::min(info.channelCount, kMaxChannels);
            bus.numChannels = info.channelCount;
            target.channels[size_t(i)].assign(size_t(info.channelCount), nullptr);
            bus.channelBuffers32 = target.channels[size_t(i)].data();
        }
    };
    build(kInput, numIns, inputs);
    build(kOutput, numOuts, outputs);
    processData.numInputs = numIns;
    processData.numOutputs = numOuts;
    processData.inputs = numIns > 0 ? inputs.busses.data() : nullptr;
    processData.outputs = numOuts > 0 ? outputs.busses.data() : nullptr;
    inputBusActive = std::make_unique<std::atomic<bool>[]>(size_t(numIns) + 1);
    outputBusActive = std::make_unique<std::atomic<bool>[]>(size_t(numOuts) + 1);
    for (size_t i = 0; i < oldIn.size() && i < size_t(numIns); ++i)
        inputBusActive[i] = bool(oldIn[i]);
    for (size_t i = 0; i < oldOut.size() && i < size_t(numOuts); ++i)
        outputBusActive[i] = bool(oldOut[i]);
    return true;
}

tresult QelAudioOperator::activateBus(BusDirection direction, int32 index, bool state)
{
    return activateBusOf(kAudio, direction, index, state);
}

tresult QelAudioOperator::activateEventBus(BusDirection direction, int32 index, bool state)
{
    return activateBusOf(kEvent, direction, index, state);
}

tresult QelAudioOperator::activateBusOf(MediaType type, BusDirection direction, int32 index,
                                        bool state)
{
    if (!component)
        return kResultFalse;
    // Busses may not change on an active component.
    const bool wasActive = isActive();
    if (wasActive)
        setActive(false);
    const tresult result =
        guarded([&] { return component->activateBus(type, direction, index, state); });
    if (wasActive)
        setActive(true);
    return result;
}

bool QelAudioOperator::initialize()
{
    problem.clear();
    if (!buildProcessData())
        return false;
    const int32 numIns = guarded([&] { return component->getBusCount(kAudio, kInput); });
    hasAudioInputs = numIns > 0;
    if (processData.numOutputs == 0)
    {
        problem = "has no audio output";
        return false; // nothing to hear
    }
    if (processData.numInputs > 0)
    {
        if (activateBus(kInput, 0, true) != kResultOk)
        {
            problem = "refuses to activate its first audio input";
            return false;
        }
        inputBusActive[0] = true;
        for (int32 i = 1; i < processData.numInputs; ++i)
        {
            activateBus(kInput, i, false);
            inputBusActive[size_t(i)] = false;
        }
    }
    if (activateBus(kOutput, 0, true) != kResultOk)
    {
        problem = "refuses to activate its first audio output";
        return false;
    }
    outputBusActive[0] = true;
    for (int32 i = 1; i < processData.numOutputs; ++i)
    {
        activateBus(kOutput, i, false);
        outputBusActive[size_t(i)] = false;
    }
    return true;
}

void QelAudioOperator::terminate()
{
    if (component)
    {
        for (int32 i = 0; i < processData.numInputs; ++i)
        {
            activateBus(kInput, i, false);
            inputBusActive[size_t(i)] = false;
        }
        for (int32 i = 0; i < processData.numOutputs; ++i)
        {
            activateBus(kOutput, i, false);
            outputBusActive[size_t(i)] = false;
        }
    }
    freeProcessData();
}

tresult QelAudioOperator::setOutputBusActive(int32 index, bool state)
{
    const tresult result = activateBus(kOutput, index, state);
    if (index >= 0 && index < processData.numOutputs)
        outputBusActive[size_t(index)] = state;
    return result;
}

tresult QelAudioOperator::setInputBusActive(int32 index, bool state)
{
    const tresult result = activateBus(kInput, index, state);
    if (index >= 0 && index < processData.numInputs)
        inputBusActive[size_t(index)] = state;
    return result;
}

bool QelAudioOperator::isOutputBusActive(int32 index) const
{
    return index >= 0 && index < processData.numOutputs && outputBusActive[size_t(index)];
}

bool QelAudioOperator::isInputBusActive(int32 index) const
{
    return index >= 0 && index < processData.numInputs && inputBusActive[size_t(index)];
}

void QelAudioOperator::updateBusses(BusDirection direction)
{
    std::vector<QelBus*>& busses = direction == kInput ? inputBusses : outputBusses;
    int32& pinCount = direction == kInput ? inputPinCount : outputPinCount;
    pinCount = 0;
    const int32 count = guarded([&] { return component->getBusCount(kAudio, direction); });
    for (int32 index = 0; index < count; ++index)
    {
        SpeakerArrangement arrangement = 0;
        if (guarded([&] { return processor->getBusArrangement(direction, index, arrangement); }) !=
            kResultOk)
            arrangement = 0;
        const int32 channels = std::popcount(arrangement);
        if (index >= int32(busses.size()))
            busses.push_back(new QelBus);
        QelBus* bus = busses[size_t(index)];
        const String info = busName(component, direction, index);
        bus->setName(info);
        if (channels != bus->countPins())
        {
            bus->removeAllPins();
            for (int32 channel = 0; channel < channels; ++channel)
            {
                String pinName(name);
                pinName.append("-");
                pinName.append(info);
                // A one-channel output needs no speaker; an input always names its speaker.
                if (direction == kInput || channels != 1)
                {
                    pinName.append("-");
                    pinName.append(speakerShortName(arrangement, channel));
                }
                auto* pin =
                    new QelBusPin(static_cast<IAudioOperator*>(this), pinName, direction == kInput);
                bus->addPin(pin);
                // Routing finds a pin by its unique name, as it finds a device's channel.
                if (portRegistry)
                    portRegistry->addPort(pin);
            }
        }
        pinCount += channels;
    }
}

bool QelAudioOperator::updatePins()
{
    if (!processor)
        return false;
    const int32 numIns = guarded([&] { return component->getBusCount(kAudio, kInput); });
    const int32 numOuts = guarded([&] { return component->getBusCount(kAudio, kOutput); });
    if (numIns == 1 && numOuts == 1)
    {
        SpeakerArrangement in = kStereo, out = kStereo;
        guarded([&] { return processor->setBusArrangements(&in, 1, &out, 1); });
        // The answer does not matter, but the channel counts may have changed.
        buildProcessData();
    }
    updateBusses(kInput);
    updateBusses(kOutput);
    return true;
}

void QelAudioOperator::setupProcessing(const OperatorSetup& setup)
{
    const bool wasProcessing = isProcessing();
    const bool wasActive = isActive();
    if (wasProcessing)
        setProcessing(false);
    if (wasActive)
        setActive(false);
    updatePins();
    silentInput = setup.silentInput;
    scratchOutput = setup.scratchOutput;
    if (!channelBufferOwner)
    {
        if (hasAudioInputs)
            for (auto& channels : inputs.channels)
                for (Sample32*& channel : channels)
                    channel = silentInput;
        for (auto& channels : outputs.channels)
            for (Sample32*& channel : channels)
                channel = scratchOutput;
    }
    if (processor)
    {
        ProcessSetup processSetup{kRealtime, kSample32, setup.blockSize, setup.sampleRate};
        guarded([&] { return processor->setupProcessing(processSetup); });
    }
    prepareBuffers(setup.blockSize);
    if (wasActive)
        setActive(true);
    if (wasProcessing)
        setProcessing(true);
}

void QelAudioOperator::prepareBuffers(int32 numSamples)
{
    AudioOperator::prepareBuffers(numSamples);
    auto assign = [](std::vector<QelBus*>& busses, Direction& target, float* standIn)
    {
        for (size_t b = 0; b < busses.size() && b < target.busses.size(); ++b)
        {
            QelBus* bus = busses[b];
            auto& channels = target.channels[b];
            for (int32 p = 0; p < bus->countPins() && p < int32(channels.size()); ++p)
            {
                float* buffer = bus->getPin(p)->getBuffer();
                channels[size_t(p)] = buffer ? buffer : standIn;
            }
        }
    };
    if (hasAudioInputs)
        assign(inputBusses, inputs, silentInput);
    assign(outputBusses, outputs, scratchOutput);
}

void QelAudioOperator::process(OperatorBuffers& buffers)
{
    if (!processor)
        return;
    processData.numSamples = buffers.numSamples;
    processData.processContext = buffers.context;
    guarded([&] { return processor->process(processData); });
    if (processData.numOutputs > 0)
        buffers.silenceFlags = outputs.busses[0].silenceFlags;
    for (size_t b = 0; b < outputBusses.size(); ++b)
    {
        QelBus* bus = outputBusses[b];
        const bool busActive = int32(b) < processData.numOutputs && outputBusActive[b];
        for (int32 p = 0; p < bus->countPins(); ++p)
        {
            QelBusPin* pin = bus->getPin(p);
            // A switched-off bus that writes through an alias leaves silence, not old samples.
            if (!pin->mixToConnections(buffers.numSamples) && !busActive)
                pin->clear(buffers.numSamples);
        }
    }
}

void QelAudioOperator::setActive(bool state)
{
    if (state == isActive())
        return;
    if (state)
    {
        if (component)
            guarded([&] { return component->setActive(true); });
        active.store(true, std::memory_order_release);
        return;
    }
    if (FLock* lock = getProcessLock())
    {
        FGuard guard(*lock);
        active.store(false, std::memory_order_release);
    }
    else
        active.store(false, std::memory_order_release);
    // Give the audio thread the chance to stop processing on its side; a dead audio thread
    // costs two seconds, never a hang.
    for (int32 poll = 0; poll < kDeactivatePolls && isProcessing(); ++poll)
        std::this_thread::sleep_for(std::chrono::milliseconds(kDeactivatePollMs));
    if (component)
        guarded([&] { return component->setActive(false); });
}

void QelAudioOperator::setProcessing(bool state)
{
    if (state == isProcessing())
        return;
    if (state)
    {
        if (processor)
            guarded([&] { return processor->setProcessing(true); });
        processing.store(true, std::memory_order_release);
        return;
    }
    processing.store(false, std::memory_order_release);
    if (processor)
        guarded([&] { return processor->setProcessing(false); });
}

} // namespace MiniEngine
} // namespace Quillmark
