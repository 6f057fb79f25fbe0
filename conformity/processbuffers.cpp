#include "conformity/processbuffers.h"

#include <cstring>

namespace Quillmark
{
namespace Qel
{

namespace
{

BusInfo readBus(IComponent& component, BusDirection direction, int32 index)
{
    BusInfo info;
    std::memset(&info, 0, sizeof(info));
    component.getBusInfo(kAudio, direction, index, info);
    return info;
}

uint64 allChannels(int32 count)
{
    uint64 flags = 0;
    for (int32 channel = 0; channel < count && channel < 64; ++channel)
        flags |= uint64(1) << channel;
    return flags;
}

} // namespace

ProcessBuffers::ProcessBuffers(int32 symbolicSampleSize)
{
    processData.processMode = kRealtime;
    processData.symbolicSampleSize = symbolicSampleSize;
    processData.numSamples = 64;
}

bool ProcessBuffers::layoutMatches(IComponent& component, int32 symbolicSampleSize) const
{
    if (externallyOwned || symbolicSampleSize != processData.symbolicSampleSize)
        return false;
    const std::pair<BusDirection, const Direction*> directions[] = {{kInput, &inputs},
                                                                    {kOutput, &outputs}};
    for (auto [direction, held] : directions)
    {
        int32 count = component.getBusCount(kAudio, direction);
        if (count < 0 || size_t(count) != held->busses.size())
            return false;
        for (int32 index = 0; index < count; ++index)
            if (readBus(component, direction, index).channelCount !=
                held->busses[size_t(index)].numChannels)
                return false;
    }
    return true;
}

void ProcessBuffers::prepare(IComponent& component, int32 symbolicSampleSize, int32 samples)
{
    if (samples != maxSamples || !layoutMatches(component, symbolicSampleSize))
    {
        release();
        processData.symbolicSampleSize = symbolicSampleSize;
        maxSamples = samples;
        allocate(component, kInput, inputs);
        allocate(component, kOutput, outputs);
    }
    else
    {
        for (Direction* held : {&inputs, &outputs})
            for (AudioBusBuffers& bus : held->busses)
                bus.silenceFlags = 0;
    }
    fill(component, kInput, inputs);
    fill(component, kOutput, outputs);
    publish();
}

void ProcessBuffers::allocate(IComponent& component, BusDirection direction, Direction& target)
{
    int32 count = component.getBusCount(kAudio, direction);
    for (int32 index = 0; index < count; ++index)
    {
        int32 channels = readBus(component, direction, index).channelCount;
        if (channels < 0)
            channels = 0;
        target.channelPointers.emplace_back(size_t(channels), nullptr);
        AudioBusBuffers bus{};
        bus.numChannels = channels;
        bus.channelBuffers32 = reinterpret_cast<Sample32**>(target.channelPointers.back().data());
        target.busses.push_back(bus);
    }
}

void ProcessBuffers::fill(IComponent& component, BusDirection direction, Direction& target)
{
    for (size_t index = 0; index < target.busses.size(); ++index)
    {
        BusInfo info = readBus(component, direction, int32(index));
        std::vector<void*>& pointers = target.channelPointers[index];
        for (void*& pointer : pointers)
        {
            if (pointer)
                continue;
            // 8 bytes a sample serve either size; value-initialised, so every channel starts
            // silent.
            target.memory.push_back(std::make_unique<double[]>(size_t(maxSamples)));
            pointer = target.memory.back().get();
        }
        AudioBusBuffers& bus = target.busses[index];
        bus.silenceFlags =
            (info.flags & BusInfo::kDefaultActive) ? allChannels(bus.numChannels) : 0;
    }
}

void ProcessBuffers::publish()
{
    processData.numInputs = int32(inputs.busses.size());
    processData.numOutputs = int32(outputs.busses.size());
    processData.inputs = inputs.busses.empty() ? nullptr : inputs.busses.data();
    processData.outputs = outputs.busses.empty() ? nullptr : outputs.busses.data();
}

void ProcessBuffers::release()
{
    inputs = Direction();
    outputs = Direction();
    maxSamples = 0;
    publish();
}

void* ProcessBuffers::channel(const AudioBusBuffers& bus, int32 index)
{
    if (index < 0 || index >= bus.numChannels || !bus.channelBuffers32)
        return nullptr;
    return bus.channelBuffers32[index];
}

} // namespace Qel
} // namespace Quillmark
