#include "devices/audio/jackaudiodriver.h"

#include "base/optimaudio/audiokernels.h"
#include "devices/audio/audiodevicestestsupport.h"
#include "devices/audio/baioshandler.h"
#include "devices/testsupport/jacktestsupport.h"
#include "engine/testoperators.h"

namespace Quillmark
{
namespace
{

using MiniEngine::testing::SourceOperator;
using testing::JackReader;
using testing::JackServer;

/** Serves the main loop and its timers until `condition` holds, for at most ten seconds. */
template <class Condition> bool serveUntil(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        FMainLoop::instance()->dispatchDue();
        FMainLoop::instance()->fireTimers();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

class Jack : public ::testing::Test
{
protected:
    void SetUp() override
    {
        installAudioKernels();
        ASSERT_TRUE(server.start()) << "jackd did not start as " << server.name();
        std::vector<std::unique_ptr<Baios::AudioDriver>> drivers;
        drivers.push_back(std::make_unique<Baios::JackAudioDriver>(server.name(), clientName));
        auto* library = new Baios::DeviceManager(std::move(drivers));
        ports = new PPortRegistry;
        manager = new PBaiosManager(ports, nullptr);
        ASSERT_TRUE(manager->initialize(library));
        library->release();
    }
    void TearDown() override
    {
        BaiosHandler::destroy(nullptr);
        if (graph)
            graph->release();
        manager->terminate();
        FMainLoop::instance()->cancel(manager);
        manager->release();
        ports->release();
        server.stop();
    }

    /** Opens "JACK", wires a stereo source to it, starts it and joins the graph. */
    void play(float value)
    {
        String error;
        device = manager->selectDevice(Baios::JackDevice::kIdentifier, error);
        ASSERT_NE(device, nullptr) << error.toUtf8();
        graph = new MiniEngine::AudioOperatorRoot;
        source = new SourceOperator(2, value);
        graph->addOperator(source);
        for (int32 i = 0; i < 2; ++i)
            ASSERT_TRUE(source->getOutputPin(i)->connect(device->getPlaybackPort(i)));
        ASSERT_TRUE(manager->start());
        handler = BaiosHandler::create(graph, manager, nullptr);
        ASSERT_NE(handler, nullptr);
        graph->prepareBuffers(handler->getBlockSize());
    }

    std::string port(int number) const { return clientName + ":out_" + std::to_string(number); }

    JackServer server{"jack"};
    std::string clientName = "QelHost";
    PPortRegistry* ports = nullptr;
    PBaiosManager* manager = nullptr;
    MiniEngine::AudioOperatorRoot* graph = nullptr;
    SourceOperator* source = nullptr;
    PBaiosDevice* device = nullptr;
    BaiosHandler* handler = nullptr;
};

TEST_F(Jack, OffersOnlyTheServersFormatAndItsPhysicalPorts)
{
    String error;
    device = manager->selectDevice(Baios::JackDevice::kIdentifier, error);
    ASSERT_NE(device, nullptr) << error.toUtf8();
    EXPECT_EQ(manager->getSampleRate(), 48000.0);
    EXPECT_EQ(manager->getBlockSize(), 256);
    ASSERT_EQ(device->countPlaybackPorts(), 2) << "the dummy backend has two playback ports";
    EXPECT_EQ(device->getPlaybackPort(0)->getDriverName(), ConstString("system:playback_1"));
    EXPECT_TRUE(manager->canSampleRate(48000.0));
    EXPECT_FALSE(manager->canSampleRate(44100.0));
    EXPECT_FALSE(manager->setSampleRate(44100.0)) << "no client can change the server's rate";
    EXPECT_EQ(manager->getSampleRate(), 48000.0);
}

TEST_F(Jack, OutputReachesAJackPort)
{
    play(0.25f);
    JackReader left(server.name(), "readerL");
    JackReader right(server.name(), "readerR");
    ASSERT_TRUE(left.isOpen() && right.isOpen());
    ASSERT_TRUE(left.connectFrom(port(1)));
    ASSERT_TRUE(right.connectFrom(port(2)));
    left.expect(0.25f);
    right.expect(1.25f);
    EXPECT_TRUE(serveUntil([&] { return left.matchingBlocks() > 10; }));
    EXPECT_TRUE(serveUntil([&] { return right.matchingBlocks() > 10; }));
    EXPECT_GT(handler->getBlocksRendered(), 10);
}

TEST_F(Jack, BlockSizeChangeWhilePlaying)
{
    play(0.5f);
    JackReader reader(server.name(), "reader");
    ASSERT_TRUE(reader.connectFrom(port(1)));
    reader.expect(0.5f);
    ASSERT_TRUE(serveUntil([&] { return reader.matchingBlocks() > 5; }));

    ASSERT_EQ(jack_set_buffer_size(reader.client, 128), 0);
    ASSERT_TRUE(serveUntil([&] { return handler->getBlockSize() == 128; }))
        << "the handler never heard of the new size";
    EXPECT_EQ(graph->getSetup().blockSize, 128);
    reader.expect(0.5f);
    EXPECT_TRUE(serveUntil([&] { return reader.matchingBlocks() > 10; }));
    EXPECT_EQ(reader.lastFrames.load(), 128u);
    EXPECT_TRUE(graph->isProcessing());
}

TEST_F(Jack, ServerKilledAndStartedAgainWhilePlaying)
{
    play(0.75f);
    {
        JackReader reader(server.name(), "reader");
        ASSERT_TRUE(reader.connectFrom(port(1)));
        reader.expect(0.75f);
        ASSERT_TRUE(serveUntil([&] { return reader.matchingBlocks() > 5; }));
    }
    server.stop(SIGKILL);
    ASSERT_TRUE(serveUntil([&] { return device->getDriver() == nullptr; }))
        << "the manager never noticed that the server went away";
    EXPECT_EQ(manager->getDevice(0), device) << "the device and its ports stay";
    EXPECT_TRUE(source->getOutputPin(0)->isConnectedTo(device->getPlaybackPort(0)));
    // The host goes on without a server: a few rounds of the return timer find nothing.
    std::this_thread::sleep_for(std::chrono::milliseconds(2 * PBaiosManager::kReturnPollMs));
    EXPECT_TRUE(serveUntil([] { return true; }));
    EXPECT_EQ(device->getDriver(), nullptr);

    ASSERT_TRUE(server.start());
    ASSERT_TRUE(serveUntil([&] { return device->getDriver() != nullptr; }))
        << "the device did not come back with the server";
    EXPECT_TRUE(manager->getDeviceManager()->isStarted());
    EXPECT_TRUE(source->getOutputPin(0)->isConnectedTo(device->getPlaybackPort(0)));
    JackReader reader(server.name(), "reader");
    ASSERT_TRUE(reader.connectFrom(port(1)));
    reader.expect(0.75f);
    EXPECT_TRUE(serveUntil([&] { return reader.matchingBlocks() > 10; })) << "it plays again";
}

TEST(JackWithoutServer, OpeningFailsWithAReason)
{
    Baios::JackAudioDriver driver("absent", "QelHost");
    std::string error;
    EXPECT_EQ(driver.open(error), nullptr);
    EXPECT_NE(error.find("No JACK server"), std::string::npos) << error;
}

} // namespace
} // namespace Quillmark
