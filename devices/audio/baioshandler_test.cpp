#include "devices/audio/baioshandler.h"

#include "base/optimaudio/audiokernels.h"
#include "devices/audio/audiodevicestestsupport.h"
#include "engine/testoperators.h"
#include "engine/testsupport/allocationcounter.h"

#include <cstring>
#include <thread>

namespace Quillmark
{
namespace
{

using MiniEngine::testing::LoggingOperator;
using MiniEngine::testing::SourceOperator;

/** The engine's root with an output gain, as the player's volume gives it. */
class GainRoot : public MiniEngine::AudioOperatorRoot
{
public:
    bool getOutputGain(float& result) override
    {
        result = gain;
        return hasGain;
    }
    float gain = 1.0f;
    bool hasGain = false;
};

/** Counts the allocations of the thread that renders, from its second block on. */
class AllocationProbe : public MiniEngine::AudioOperator
{
public:
    void process(MiniEngine::OperatorBuffers&) override
    {
        if (!counting)
        {
            testing::AllocationCounter::start();
            counting = true;
            return;
        }
        allocations.store(testing::AllocationCounter::allocations());
        blocks.fetch_add(1);
    }
    bool counting = false;
    std::atomic<int64_t> allocations{-1};
    std::atomic<int32> blocks{0};
};

class Handler : public testing::AudioSystemTest
{
protected:
    void SetUp() override
    {
        installAudioKernels();
        AudioSystemTest::SetUp();
    }
    void TearDown() override
    {
        BaiosHandler::destroy(preferences);
        graph->release();
        AudioSystemTest::TearDown();
    }

    /** A stereo source at `value` wired to the device's two playback channels. */
    SourceOperator* wireSource(float value)
    {
        auto* source = new SourceOperator(2, value);
        graph->addOperator(source);
        PBaiosDevice* device = manager->getDevice(0);
        for (int32 i = 0; i < 2; ++i)
            EXPECT_TRUE(source->getOutputPin(i)->connect(device->getPlaybackPort(i)));
        return source;
    }

    void startGraph()
    {
        graph->prepareBuffers(BaiosHandler::instance()->getBlockSize());
        graph->resume();
        graph->setProcessing(true);
    }

    /** Runs blocks offline and keeps what the device played. */
    void run(Baios::NullAudioDevice* device, int32 blocks)
    {
        left.clear();
        right.clear();
        device->setBlockObserver(
            [this](const float* const* channels, int32, int32 samples)
            {
                left.insert(left.end(), channels[0], channels[0] + samples);
                right.insert(right.end(), channels[1], channels[1] + samples);
            });
        ASSERT_EQ(device->runBlocks(blocks), blocks);
    }

    static bool all(const std::vector<float>& samples, float value)
    {
        for (float sample : samples)
            if (sample != value)
                return false;
        return !samples.empty();
    }

    GainRoot* graph = new GainRoot;
    std::vector<float> left;
    std::vector<float> right;
};

TEST_F(Handler, RendersTheGraphIntoTheDeviceOnceProcessing)
{
    Baios::NullAudioDevice* device = selectOffline();
    ASSERT_NE(device, nullptr);
    BaiosHandler* handler = BaiosHandler::create(graph, manager, preferences);
    ASSERT_NE(handler, nullptr);
    EXPECT_EQ(BaiosHandler::instance(), handler);
    EXPECT_EQ(handler->getBlockSize(), Baios::NullAudioDevice::kDefaultBlockSize);
    EXPECT_EQ(handler->getSampleRate(), Baios::NullAudioDevice::kDefaultSampleRate);
    EXPECT_EQ(graph->getSetup().blockSize, Baios::NullAudioDevice::kDefaultBlockSize);
    wireSource(0.25f);

    // The device was not started, so the graph does not process yet: silence.
    run(device, 2);
    EXPECT_TRUE(all(left, 0.0f));
    startGraph();
    run(device, 3);
    EXPECT_EQ(left.size(), 3u * Baios::NullAudioDevice::kDefaultBlockSize);
    EXPECT_TRUE(all(left, 0.25f));
    EXPECT_TRUE(all(right, 1.25f));
    EXPECT_EQ(handler->getBlocksRendered(), 5);
    EXPECT_EQ(handler->getBlocksSkipped(), 0);
}

TEST_F(Handler, UnusedPlaybackChannelIsLeftAlone)
{
    Baios::NullAudioDevice* device = selectOffline();
    ASSERT_NE(device, nullptr);
    ASSERT_NE(BaiosHandler::create(graph, manager, preferences), nullptr);
    auto* source = new SourceOperator(1, 0.5f);
    graph->addOperator(source);
    PBaiosDevice* pDevice = manager->getDevice(0);
    ASSERT_TRUE(source->getOutputPin(0)->connect(pDevice->getPlaybackPort(0)));
    EXPECT_TRUE(pDevice->getPlaybackPort(0)->isUsed());
    EXPECT_FALSE(pDevice->getPlaybackPort(1)->isUsed());
    startGraph();
    run(device, 2);
    EXPECT_TRUE(all(left, 0.5f));
    EXPECT_TRUE(all(right, 0.0f)) << "the driver clears what nobody writes";
}

TEST_F(Handler, VolumeOnlyEverReduces)
{
    Baios::NullAudioDevice* device = selectOffline();
    ASSERT_NE(device, nullptr);
    ASSERT_NE(BaiosHandler::create(graph, manager, preferences), nullptr);
    const float value = 0.1f + 0.2f; // not a round number: any arithmetic on it shows
    wireSource(value);
    startGraph();

    graph->hasGain = true;
    graph->gain = 0.5f;
    run(device, 1);
    EXPECT_TRUE(all(left, value * 0.5f));
    EXPECT_TRUE(all(right, (value + 1.0f) * 0.5f));

    graph->gain = 1.0f;
    run(device, 1);
    const float expected = value;
    for (float sample : left)
        ASSERT_EQ(std::memcmp(&sample, &expected, sizeof(float)), 0) << "bit for bit";

    graph->gain = 2.0f;
    run(device, 1);
    EXPECT_TRUE(all(left, value)) << "a gain above 1.0 is not applied";

    graph->hasGain = false;
    graph->gain = 0.0f;
    run(device, 1);
    EXPECT_TRUE(all(left, value)) << "a graph without a gain plays as it is";
}

TEST_F(Handler, BlockOfAnotherSizePlaysSilenceUntilTheGraphIsSetUpAgain)
{
    Baios::NullAudioDevice* device = selectOffline();
    ASSERT_NE(device, nullptr);
    BaiosHandler* handler = BaiosHandler::create(graph, manager, preferences);
    ASSERT_NE(handler, nullptr);
    wireSource(0.75f);
    startGraph();
    ASSERT_TRUE(device->setBlockSize(512));
    run(device, 2);
    EXPECT_EQ(left.size(), 1024u);
    EXPECT_TRUE(all(left, 0.0f));
    EXPECT_EQ(handler->getBlocksSkipped(), 2);
    EXPECT_EQ(handler->getBlockSize(), 256) << "nothing changes off the main thread";

    pump(); // "blockSizeChanged" reaches the handler through the manager
    EXPECT_EQ(handler->getBlockSize(), 512);
    EXPECT_EQ(graph->getSetup().blockSize, 512);
    EXPECT_TRUE(graph->isProcessing());
    run(device, 2);
    EXPECT_TRUE(all(left, 0.75f));
    EXPECT_TRUE(all(right, 1.75f));
}

TEST_F(Handler, BusyGraphSkipsTheBlockAndTheDevicePlaysSilence)
{
    Baios::NullAudioDevice* device = selectOffline();
    ASSERT_NE(device, nullptr);
    BaiosHandler* handler = BaiosHandler::create(graph, manager, preferences);
    ASSERT_NE(handler, nullptr);
    wireSource(0.5f);
    startGraph();
    // The main thread holds the lock while it changes the graph; the lock counts recursively on
    // one thread, so another thread stands in for the main thread here.
    std::atomic<int> stage{0};
    std::thread changer(
        [&]
        {
            graph->getProcessLock()->lock();
            stage = 1;
            while (stage.load() != 2)
                std::this_thread::yield();
            graph->getProcessLock()->unlock();
        });
    ASSERT_TRUE(testing::eventually([&] { return stage.load() == 1; }));
    run(device, 1);
    stage = 2;
    changer.join();
    EXPECT_TRUE(all(left, 0.0f));
    EXPECT_EQ(handler->getBlocksSkipped(), 1);
    run(device, 1);
    EXPECT_TRUE(all(left, 0.5f));
}

TEST_F(Handler, RateChangeStopsSetsUpAndRestartsTheGraphAndTellsTheListeners)
{
    Baios::NullAudioDevice* device = selectOffline();
    ASSERT_NE(device, nullptr);
    auto* listener = new testing::HeardMessages;
    manager->addListener(listener);
    BaiosHandler* handler = BaiosHandler::create(graph, manager, preferences);
    ASSERT_NE(handler, nullptr);
    std::vector<std::string> log;
    auto* logging = new LoggingOperator(log, "op");
    graph->addOperator(logging);
    startGraph();
    log.clear();

    ASSERT_TRUE(manager->setSampleRate(44100.0));
    EXPECT_TRUE(log.empty()) << "nothing happens on the thread that reported the change";
    EXPECT_TRUE(listener->heard.empty());
    pump();
    EXPECT_EQ(handler->getSampleRate(), 44100.0);
    EXPECT_EQ(graph->getSetup().sampleRate, 44100.0);
    std::erase_if(log,
                  [](const std::string& entry) { return entry.find("setParent") != entry.npos; });
    const std::vector<std::string> expected{
        "op setProcessing(false)", "op setActive(false)", "op setupProcessing 256",
        "op prepareBuffers",       "op setActive",        "op setProcessing with lock"};
    EXPECT_EQ(log, expected);
    pump();
    EXPECT_EQ(listener->heard, (std::vector<std::string>{"NewDevice", "UnLockProcess"}));

    log.clear();
    auto* overload = new FMessage("overloadDetected");
    handler->notify(overload);
    overload->release();
    EXPECT_TRUE(log.empty()) << "an overload changes nothing";
    graph->setProcessing(false);
    graph->removeOperator(logging); // the log goes before the graph does
    logging->release();
    manager->removeListener(listener);
    listener->release();
}

TEST_F(Handler, StartedDeviceStartsTheGraphAndTheDriverThreadNeverAllocates)
{
    String error;
    ASSERT_NE(manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error), nullptr);
    auto* probe = new AllocationProbe;
    graph->addOperator(probe);
    wireSource(0.5f);
    ASSERT_TRUE(manager->start());
    BaiosHandler* handler = BaiosHandler::create(graph, manager, preferences);
    ASSERT_NE(handler, nullptr);
    EXPECT_TRUE(graph->isProcessing());
    ASSERT_TRUE(testing::eventually([&] { return probe->blocks.load() >= 40; }));
    manager->stop();
    EXPECT_EQ(probe->allocations.load(), 0);
    if (!testing::AllocationCounter::countsMalloc())
        GTEST_LOG_(INFO) << "only new and delete were counted in this build";
    EXPECT_GE(handler->getBlocksRendered(), 40);
}

TEST_F(Handler, TeardownStopsTheGraphClosesTheDeviceAndSavesTheChoice)
{
    ASSERT_NE(selectOffline(), nullptr);
    ASSERT_NE(BaiosHandler::create(graph, manager, preferences), nullptr);
    startGraph();
    EXPECT_EQ(BaiosHandler::create(graph, manager, preferences), nullptr) << "only one";
    BaiosHandler::destroy(preferences);
    EXPECT_EQ(BaiosHandler::instance(), nullptr);
    EXPECT_FALSE(graph->isProcessing());
    EXPECT_FALSE(graph->isActive());
    EXPECT_EQ(manager->countDevices(), 0);
    EXPECT_EQ(manager->getDeviceManager()->getOpenDeviceCount(), 0);
    String stored;
    ASSERT_TRUE(preferences->lookup("BAIOS")->getString("DeviceName", stored));
    EXPECT_EQ(stored.toUtf8(), Baios::NullAudioDevice::kOfflineIdentifier);
}

TEST(HandlerWithoutLibrary, IsRefusedAndLeavesNothingBehind)
{
    PPortRegistry* ports = new PPortRegistry;
    auto* manager = new PBaiosManager(ports, nullptr);
    EXPECT_FALSE(manager->initialize(static_cast<FComponentRegistry*>(nullptr)));
    EXPECT_TRUE(manager->isFailed());
    EXPECT_EQ(manager->getSampleRate(), 44100.0);
    EXPECT_EQ(manager->getBlockSize(), 0);
    EXPECT_EQ(manager->getRateFactor(), 1.0);
    auto* graph = new MiniEngine::AudioOperatorRoot;
    EXPECT_EQ(BaiosHandler::create(graph, manager, nullptr), nullptr);
    EXPECT_EQ(BaiosHandler::instance(), nullptr);
    graph->addRef();
    EXPECT_EQ(graph->release(), 1u) << "the refused handler let go of the graph";
    graph->release();
    manager->release();
    ports->release();
}

} // namespace
} // namespace Quillmark
