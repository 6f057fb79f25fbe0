// For tests that drive the whole graph: an audio device of the test's own whose channels are
// real ports of a port registry and bring their own sample memory, a driver step that does for
// one block what the device layer does (clear the outputs, hand the graph the block record), and
// a fixture with a started engine and probe slots in a rack.
#pragma once

#include "devices/ports/pdevice.h"
#include "devices/ports/pportregistry.h"
#include "engine/audiograph.h"
#include "engine/inputoperator.h"
#include "engine/probetestsupport.h"
#include "engine/qelrack.h"
#include "engine/qelslot.h"
#include "engine/qelslotoperator.h"
#include "midi/miditrackdata.h"
#include "midi/minitempotrack.h"
#include "midi/pevent.h"
#include "qelhost/iport.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
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

using namespace Qel::Probe;

inline constexpr int32 kBlock = 1024;
inline constexpr double kRate = 48000.0;

/** A started-up engine: graph with recorder and input signal, a rack, a test device, and
    the settings store, all of the test's own. */
class GraphFixture : public Quillmark::testing::ProbeTest
{
protected:
    void SetUp() override
    {
        ProbeTest::SetUp();
        ports = new PPortRegistry;
        tempo = new MiniTempoTrack;
        device = std::make_unique<TestDevice>(*ports, 8192);
        settings = new FDefaultPool(temp.file("Defaults"));
        graph = new AudioGraph(tempo, ports);
        graph->createRecorder();
        graph->createInputOperator();
        rack = new QelRack(graph, registry, settings, ports);
    }

    void TearDown() override
    {
        graph->setProcessing(false);
        graph->suspend();
        if (rack)
            rack->release();
        graph->release();
        settings->release();
        device.reset();
        tempo->release();
        ports->release();
        ProbeTest::TearDown();
    }

    void start(int32 blockSize = kBlock, double rate = kRate)
    {
        OperatorSetup setup;
        setup.blockSize = blockSize;
        setup.sampleRate = rate;
        graph->setupProcessing(setup);
        graph->resume();
        graph->setProcessing(true);
        graph->prepareBuffers(blockSize);
    }

    void run(int32 blocks, int32 blockSize = kBlock, double rate = kRate)
    {
        for (int32 i = 0; i < blocks; ++i)
            device->runBlock(*graph, blockSize, rate);
    }

    /** A slot of a probe class, with its input on the input signal and its output on the
        device's playback channels. */
    QelSlot* addProbe(const QelUid& cid)
    {
        QelSlot* slot = rack->addSlot(FUID(cid.bytes));
        if (!slot)
            return nullptr;
        QelSlotOperator* op = slot->getOperator();
        InputOperator* input = graph->getInputOperator();
        for (int32 c = 0; c < 2; ++c)
        {
            if (QelBusPin* in = op->getInputPin(c))
                input->getOutputPin(c)->connect(in);
            if (QelBusPin* out = op->getOutputPin(c))
                out->connect(device->playbacks[size_t(c)]);
        }
        return slot;
    }

    /** A note of pitch 60 on channel 0 from the song's start to quarter note 8, played by
        the MIDI player; the pattern is switched off. */
    void playOneLongNote()
    {
        InputOperator* input = graph->getInputOperator();
        input->getPatternPlayer().setActive(false);
        MidiTrackData& track = input->getMidiPlayer().getRecordedTrack();
        auto* on = new PMidiEvent(0x90, 60, 100);
        on->setTime(0.0);
        track.append(on);
        auto* off = new PMidiEvent(0x80, 60, 0);
        off->setTime(8.0);
        track.append(off);
    }

    static IProbe* probeOf(QelSlot* slot)
    {
        IProbe* result = nullptr;
        slot->getOperator()->getComponent()->queryInterface(IProbe::iid.bytes, (void**)&result);
        if (result)
            result->release(); // the slot keeps the plug-in alive
        return result;
    }

    static std::vector<ReceivedEvent> eventsOf(IProbe& probe)
    {
        std::vector<ReceivedEvent> result;
        ReceivedEvent e{};
        for (int32 i = 0; probe.getEvent(i, e); ++i)
            result.push_back(e);
        return result;
    }

    static std::vector<ReceivedPoint> pointsOf(IProbe& probe)
    {
        std::vector<ReceivedPoint> result;
        ReceivedPoint p{};
        for (int32 i = 0; probe.getPoint(i, p); ++i)
            result.push_back(p);
        return result;
    }

    std::string makeWave(const std::string& name, const std::string& synth, int32 channels = 2)
    {
        const std::string path = temp.file(name);
        const std::string command = std::string(SOX_PROGRAM) + " -q -n -r 48000 -c " +
                                    std::to_string(channels) + " -b 32 -e float " + path +
                                    " synth " + synth;
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return path;
    }

    PPortRegistry* ports = nullptr;
    MiniTempoTrack* tempo = nullptr;
    std::unique_ptr<TestDevice> device;
    FDefaultPool* settings = nullptr;
    AudioGraph* graph = nullptr;
    QelRack* rack = nullptr;
};

} // namespace Quillmark::MiniEngine::testing
