// For tests that drive the whole graph: an audio device of the test's own whose channels are
// real ports of a port registry and bring their own sample memory, and a driver step that does
// for one block what the device layer does (clear the outputs, hand the graph the block record).
#pragma once

#include "devices/ports/pdevice.h"
#include "devices/ports/pportregistry.h"
#include "engine/audiograph.h"
#include "qelhost/iport.h"

#include <cstring>
#include <vector>

namespace Quillmark::MiniEngine::testing
{

/** A channel of the test device: a port that offers its memory as a device's does. */
class TestDevicePort : public PPort, public IAudioBufferPort
{
public:
    TestDevicePort(FUnknown* owner, const char8* name, bool playback, int32 maxSamples)
        : PPort(owner, name, "audio", "system", (playback ? uint32(kInputPin) : 0u) | kHardware),
          memory(size_t(maxSamples), 0.0f)
    {
    }
    float* getAudioBuffer() override { return memory.data(); }
    tresult queryInterface(const TUID iid, void** obj) override
    {
        QEL_QUERY_INTERFACE(iid, obj, IAudioBufferPort)
        return PPort::queryInterface(iid, obj);
    }
    uint32 addRef() override { return PPort::addRef(); }
    uint32 release() override { return PPort::release(); }

    std::vector<float> memory;
};

/** Two capture channels ("In L", "In R") and two playback channels ("Out L", "Out R"). */
class TestDevice
{
public:
    TestDevice(PPortRegistry& registry, int32 maxSamples)
        : device(new PDevice("Test Device", true, &registry))
    {
        for (const char8* name : {"In L", "In R"})
            captures.push_back(static_cast<TestDevicePort*>(
                device->adoptPort(new TestDevicePort(device, name, false, maxSamples))));
        for (const char8* name : {"Out L", "Out R"})
            playbacks.push_back(static_cast<TestDevicePort*>(
                device->adoptPort(new TestDevicePort(device, name, true, maxSamples))));
    }
    ~TestDevice() { device->release(); }
    TestDevice(const TestDevice&) = delete;
    TestDevice& operator=(const TestDevice&) = delete;

    /** One block as the driver's handler runs it: outputs cleared, then the graph. */
    void runBlock(AudioGraph& graph, int32 numSamples, double sampleRate)
    {
        for (TestDevicePort* port : playbacks)
            std::memset(port->memory.data(), 0, sizeof(float) * size_t(numSamples));
        Qel::ProcessContext context{};
        context.sampleRate = sampleRate;
        context.state = Qel::ProcessContext::kContTimeValid | Qel::ProcessContext::kSystemTimeValid;
        OperatorBuffers buffers;
        buffers.numSamples = numSamples;
        buffers.numChannels = 2;
        buffers.context = &context;
        graph.process(buffers);
    }
    float out(int32 channel, int32 sample) const
    {
        return playbacks[size_t(channel)]->memory[size_t(sample)];
    }

    PDevice* device;
    std::vector<TestDevicePort*> captures;
    std::vector<TestDevicePort*> playbacks;
};

} // namespace Quillmark::MiniEngine::testing
