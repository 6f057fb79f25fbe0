#include "engine/audiooperatorlist.h"
#include "engine/testoperators.h"

#include "base/optimaudio/audiokernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace Quillmark::MiniEngine
{
namespace
{

using testing::LoggingOperator;
using testing::SinkOperator;
using testing::SourceOperator;

constexpr int32 kBlock = 64;

/** A device channel with memory of its own, as a driver port offers it. */
class DevicePort : public PPort, public IAudioBufferPort
{
public:
    explicit DevicePort(bool input)
        : PPort(nullptr, "Out 1", "audio", "system", input ? uint32(kInputPin) : 0u)
    {
    }
    float* getAudioBuffer() override { return memory; }
    tresult queryInterface(const TUID iid, void** obj) override
    {
        QEL_QUERY_INTERFACE(iid, obj, IAudioBufferPort)
        return PPort::queryInterface(iid, obj);
    }
    uint32 addRef() override { return PPort::addRef(); }
    uint32 release() override { return PPort::release(); }

    float memory[kBlock] = {};
};

class Graph : public ::testing::Test
{
protected:
    void SetUp() override { installAudioKernels(); }
    void TearDown() override { root->release(); }

    /** Adds `op` (the root takes the reference) and returns it for the test to use. */
    template <class Op> Op* add(Op* op)
    {
        root->addOperator(op);
        return op;
    }

    void start()
    {
        OperatorSetup setup;
        setup.blockSize = kBlock;
        setup.sampleRate = 48000.0;
        root->setupProcessing(setup);
        // As the graph does after every change of format: sinks first.
        root->prepareBuffers(kBlock);
        root->resume();
        root->setProcessing(true);
    }

    bool render(int32 samples = kBlock)
    {
        OperatorBuffers buffers;
        buffers.numSamples = samples;
        return root->renderBlock(buffers);
    }

    AudioOperatorRoot* root = new AudioOperatorRoot;
};

TEST_F(Graph, TwoSourcesSumIntoOneInputBlockAfterBlock)
{
    auto* a = add(new SourceOperator(1, 0.25f, "A"));
    auto* b = add(new SourceOperator(1, 0.5f, "B"));
    auto* sink = add(new SinkOperator(1));
    a->getOutputPin(0)->connect(sink->getInputPin(0));
    b->getOutputPin(0)->connect(sink->getInputPin(0));
    start();
    for (int block = 0; block < 3; ++block) // cleared before each block, never accumulating
    {
        ASSERT_TRUE(render());
        for (int32 s = 0; s < kBlock; ++s)
            ASSERT_FLOAT_EQ(sink->received[0][size_t(s)], 0.75f) << "block " << block;
    }
    EXPECT_TRUE(a->getOutputPin(0)->hasOwnBuffer()) << "its sink has two sources";
}

TEST_F(Graph, OneToOneConnectionWritesStraightIntoTheSink)
{
    auto* source = add(new SourceOperator(1, 0.5f));
    auto* sink = add(new SinkOperator(1));
    source->getOutputPin(0)->connect(sink->getInputPin(0));
    start();
    EXPECT_EQ(source->getOutputPin(0)->getBuffer(), sink->getInputPin(0)->getBuffer());
    EXPECT_FALSE(source->getOutputPin(0)->hasOwnBuffer());
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(sink->getInputPin(0)->getBuffer()) % 16, 0u);
    ASSERT_TRUE(render());
    EXPECT_FLOAT_EQ(sink->received[0][0], 0.5f);
}

TEST_F(Graph, OutputFeedsThirtyTwoConnectionsAndNoMore)
{
    auto* source = add(new SourceOperator(1, 1.0f));
    auto* sink = add(new SinkOperator(33));
    for (int32 i = 0; i < 33; ++i)
        ASSERT_TRUE(source->getOutputPin(0)->connect(sink->getInputPin(i)));
    start();
    ASSERT_TRUE(render());
    for (int32 i = 0; i < 32; ++i)
        EXPECT_FLOAT_EQ(sink->received[size_t(i)][5], 1.0f) << "connection " << i;
    EXPECT_FLOAT_EQ(sink->received[32][5], 0.0f) << "the 33rd connection gets no audio";
}

TEST_F(Graph, UnconnectedInputReadsTheSharedSilence)
{
    auto* sink = add(new SinkOperator(2));
    auto* source = add(new SourceOperator(1, 0.5f));
    start();
    EXPECT_EQ(sink->getInputPin(0)->getBuffer(), nullptr);
    EXPECT_EQ(sink->silent, root->getSilentInput());
    ASSERT_TRUE(render());
    for (float sample : sink->received[0])
        ASSERT_EQ(sample, 0.0f);
    // The source's unconnected output wrote into the shared scratch buffer instead.
    EXPECT_EQ(source->scratch, root->getScratchOutput());
    EXPECT_FLOAT_EQ(root->getScratchOutput()[0], 0.5f);
}

TEST_F(Graph, InputOnDeviceMemoryIsNeitherCopiedNorCleared)
{
    DevicePort device(false);
    device.memory[3] = 0.125f;
    auto* sink = add(new SinkOperator(1));
    device.connect(sink->getInputPin(0));
    start();
    EXPECT_EQ(sink->getInputPin(0)->getBuffer(), device.memory);
    ASSERT_TRUE(render());
    EXPECT_FLOAT_EQ(sink->received[0][3], 0.125f);
    EXPECT_FLOAT_EQ(device.memory[3], 0.125f) << "device memory is the driver's to clear";
    sink->getInputPin(0)->disconnectAll();
    root->prepareBuffers(kBlock);
}

TEST_F(Graph, OutputsWriteIntoDeviceMemoryThatTheDriverClears)
{
    DevicePort playback(true);
    auto* a = add(new SourceOperator(1, 0.25f, "A"));
    a->getOutputPin(0)->connect(&playback);
    start();
    EXPECT_EQ(a->getOutputPin(0)->getBuffer(), playback.memory) << "one to one: no copy";
    ASSERT_TRUE(render());
    EXPECT_FLOAT_EQ(playback.memory[0], 0.25f);

    // A second source: both mix into the device's memory, which only the driver clears.
    auto* b = add(new SourceOperator(1, 0.5f, "B"));
    b->getOutputPin(0)->connect(&playback);
    root->prepareBuffers(kBlock);
    EXPECT_NE(a->getOutputPin(0)->getBuffer(), playback.memory);
    std::fill(std::begin(playback.memory), std::end(playback.memory), 0.0f);
    ASSERT_TRUE(render());
    EXPECT_FLOAT_EQ(playback.memory[kBlock - 1], 0.75f);
    ASSERT_TRUE(render());
    EXPECT_FLOAT_EQ(playback.memory[kBlock - 1], 1.5f) << "not cleared by the graph";
    playback.disconnectAll();
    root->prepareBuffers(kBlock);
}

TEST_F(Graph, ReconnectionTakesEffectAfterPreparation)
{
    auto* a = add(new SourceOperator(1, 0.25f, "A"));
    auto* b = add(new SourceOperator(1, 0.5f, "B"));
    auto* sink = add(new SinkOperator(1));
    a->getOutputPin(0)->connect(sink->getInputPin(0));
    start();
    render();
    EXPECT_FLOAT_EQ(sink->received[0][0], 0.25f);
    a->getOutputPin(0)->disconnectAll();
    b->getOutputPin(0)->connect(sink->getInputPin(0));
    root->prepareBuffers(kBlock);
    render();
    EXPECT_FLOAT_EQ(sink->received[0][0], 0.5f);
}

TEST_F(Graph, InactiveOrStoppedListTouchesNothing)
{
    auto* source = add(new SourceOperator(1, 0.5f));
    auto* sink = add(new SinkOperator(1));
    source->getOutputPin(0)->connect(sink->getInputPin(0));
    OperatorSetup setup;
    setup.blockSize = kBlock;
    root->setupProcessing(setup);
    root->resume(); // active, not processing
    render();
    EXPECT_EQ(source->blocks, 0);
    root->setProcessing(true);
    root->suspend(); // processing, not active
    render();
    EXPECT_EQ(source->blocks, 0);
    EXPECT_FLOAT_EQ(sink->received[0][0], -1.0f);
}

TEST(OperatorList, AddBeforeSetupGetsNoSetupUntilTheForward)
{
    std::vector<std::string> log;
    auto* root = new AudioOperatorRoot;
    root->addOperator(new LoggingOperator(log, "a"));
    EXPECT_EQ(log, (std::vector<std::string>{"a setParent"}));
    log.clear();
    OperatorSetup setup;
    setup.blockSize = 32;
    root->setupProcessing(setup);
    EXPECT_EQ(log, (std::vector<std::string>{"a setupProcessing 32"}));
    log.clear();
    root->resume();
    root->setProcessing(true);
    root->addOperator(new LoggingOperator(log, "b"));
    EXPECT_EQ(log,
              (std::vector<std::string>{"a setActive", "a setProcessing with lock",
                                        "b setupProcessing 32", "b setActive", "b setParent"}));
    root->release();
}

TEST(OperatorList, RemoveStopsUnderTheLockThenDetachesThenDeactivates)
{
    std::vector<std::string> log;
    auto* root = new AudioOperatorRoot;
    auto* op = new LoggingOperator(log, "a");
    root->addOperator(op);
    OperatorSetup setup;
    setup.blockSize = 32;
    root->setupProcessing(setup);
    root->resume();
    root->setProcessing(true);
    log.clear();
    ASSERT_TRUE(root->removeOperator(op));
    EXPECT_EQ(log, (std::vector<std::string>{"a setProcessing(false) with lock",
                                             "a setParent(null)", "a setActive(false)"}));
    EXPECT_EQ(root->countOperators(), 0);
    EXPECT_FALSE(root->removeOperator(op));
    op->release(); // the reference came back to us
    root->release();
}

TEST(OperatorList, SwitchingOffTellsChildrenDetached)
{
    std::vector<std::string> log;
    auto* root = new AudioOperatorRoot;
    root->addOperator(new LoggingOperator(log, "a"));
    root->resume();
    root->setProcessing(true);
    log.clear();
    root->setProcessing(false);
    root->setActive(false);
    EXPECT_EQ(
        log, (std::vector<std::string>{"a setParent(null)", "a setProcessing(false)", "a setParent",
                                       "a setParent(null)", "a setActive(false)", "a setParent"}));
    root->release();
}

TEST(OperatorList, ResumeReactivatesExactlyThoseThatWereActive)
{
    std::vector<std::string> log;
    auto* root = new AudioOperatorRoot;
    auto* a = new LoggingOperator(log, "a");
    auto* b = new LoggingOperator(log, "b");
    root->addOperator(a);
    root->addOperator(b);
    root->resume();
    b->setActive(false); // switched off on its own
    root->suspend();
    EXPECT_FALSE(a->active);
    a->setActive(true); // would be remembered wrongly by a second suspend
    root->suspend();    // finds the list inactive: keeps the first record
    a->setActive(false);
    log.clear();
    root->resume();
    EXPECT_EQ(log, (std::vector<std::string>{"a setActive"}));
    EXPECT_TRUE(root->isActive());
    root->release();
}

TEST(OperatorList, ProcessClearsAllInputsBeforeTheFirstOperatorRuns)
{
    std::vector<std::string> log;
    auto* root = new AudioOperatorRoot;
    root->addOperator(new LoggingOperator(log, "a"));
    root->addOperator(new LoggingOperator(log, "b"));
    OperatorSetup setup;
    setup.blockSize = 16;
    root->setupProcessing(setup);
    root->resume();
    root->setProcessing(true);
    log.clear();
    root->prepareBuffers(16);
    OperatorBuffers buffers;
    buffers.numSamples = 16;
    root->renderBlock(buffers);
    EXPECT_EQ(log,
              (std::vector<std::string>{"b prepareBuffers", "a prepareBuffers", "a clearBuffers",
                                        "b clearBuffers", "a process", "b process"}));
    root->release();
}

TEST_F(Graph, LostTryLockSkipsExactlyOneBlock)
{
    auto* source = add(new SourceOperator(1, 0.5f));
    start();
    ASSERT_TRUE(render());
    std::atomic<bool> held{false}, done{false};
    std::thread configuration(
        [&]
        {
            root->getProcessLock()->lock();
            held = true;
            while (!done)
                std::this_thread::yield();
            root->getProcessLock()->unlock();
        });
    while (!held)
        std::this_thread::yield();
    EXPECT_FALSE(render());
    done = true;
    configuration.join();
    EXPECT_TRUE(render());
    EXPECT_EQ(source->blocks, 2);
}

TEST_F(Graph, OperatorsComeAndGoWhileAnotherThreadRenders)
{
    auto* sink = add(new SinkOperator(1));
    start();
    std::atomic<bool> stop{false};
    std::atomic<int64_t> rendered{0}, skipped{0};
    std::thread audio(
        [&]
        {
            while (!stop)
                (render() ? rendered : skipped)++;
        });
    // Rounds go on until the audio thread has rendered between them for a while.
    for (int round = 0; round < 200 || rendered < 1000; ++round)
    {
        auto* source = new SourceOperator(1, float(round));
        root->addOperator(source);
        source->getOutputPin(0)->connect(sink->getInputPin(0));
        root->prepareBuffers(kBlock);
        root->removeOperator(source);
        source->getOutputPin(0)->disconnectAll();
        root->prepareBuffers(kBlock);
        source->release();
    }
    stop = true;
    audio.join();
    EXPECT_GT(rendered.load(), 0);
    EXPECT_EQ(root->countOperators(), 1);
    render();
    for (float sample : sink->received[0])
        ASSERT_EQ(sample, 0.0f) << "no source is left";
}

/** Spends a while in each block, and notes whether it was stopped in the middle of one. */
class SlowOperator : public AudioOperator
{
public:
    void process(OperatorBuffers&) override
    {
        inProcess = true;
        const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(2);
        while (std::chrono::steady_clock::now() < until)
            ;
        ++blocks;
        inProcess = false;
    }
    void setProcessing(bool state) override
    {
        if (!state && inProcess)
            stoppedInsideABlock = true;
    }
    std::atomic<bool> inProcess{false};
    std::atomic<bool> stoppedInsideABlock{false};
    std::atomic<int32> blocks{0};
};

TEST_F(Graph, StoppingWaitsForTheBlockInFlight)
{
    for (int round = 0; round < 5; ++round)
    {
        auto* slow = add(new SlowOperator);
        start();
        std::atomic<bool> stop{false};
        std::thread audio(
            [&]
            {
                while (!stop)
                    render();
            });
        while (slow->blocks < 2)
            std::this_thread::yield();
        root->setProcessing(false);
        stop = true;
        audio.join();
        EXPECT_FALSE(slow->stoppedInsideABlock) << "round " << round;
        root->suspend();
        root->removeOperator(slow);
        slow->release();
    }
}

TEST(AlignedBufferPool, BuffersAreAlignedZeroedAndReused)
{
    std::vector<AlignedBuffer*> earlier; // left free by other tests
    while (AlignedBuffer::countFree() > 0)
        earlier.push_back(AlignedBuffer::acquire());
    AlignedBuffer* buffer = AlignedBuffer::acquire();
    buffer->resize(100);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer->getData()) % 16, 0u);
    for (int32 i = 0; i < 25; ++i)
        ASSERT_EQ(buffer->getData()[i], 0.0f);
    buffer->getData()[0] = 1.0f;
    float* data = buffer->getData();
    buffer->resize(100); // unchanged size: the same memory
    EXPECT_EQ(buffer->getData(), data);
    const int32 inUse = AlignedBuffer::countInUse();
    AlignedBuffer::release(buffer);
    EXPECT_EQ(AlignedBuffer::countInUse(), inUse - 1);
    AlignedBuffer* again = AlignedBuffer::acquire();
    EXPECT_EQ(again, buffer) << "the free list comes first";
    EXPECT_EQ(again->getSize(), 100) << "a returned buffer keeps its memory";
    again->resize(0);
    EXPECT_EQ(again->getData(), nullptr);
    AlignedBuffer::release(again);
    for (AlignedBuffer* other : earlier)
        AlignedBuffer::release(other);
}

} // namespace
} // namespace Quillmark::MiniEngine
