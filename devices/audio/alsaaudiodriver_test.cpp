#include "devices/audio/alsaaudiodriver.h"

#include "base/fobject.h"
#include "base/testsupport.h"

#include <gtest/gtest.h>

#include <mutex>

namespace Quillmark::Baios
{
namespace
{

/** Writes the block's position into the first playback channel and counts the blocks. */
class CountingProcessor : public IProcessor, public IMessageHandler
{
public:
    explicit CountingProcessor(IDevice* device) : device(device) {}
    tresult queryInterface(const TUID, void** obj) override
    {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }
    void process(const ProcessRecord& record) override
    {
        float* out = device->getPort(kOutput, 0)->getBuffer();
        for (int32 s = 0; s < record.numSamples; ++s)
            out[s] = 0.5f;
        if (record.samplePosition != expectedPosition)
            gaps.fetch_add(1);
        expectedPosition = record.samplePosition + record.numSamples;
        lastRate.store(record.sampleRate);
        blocks.fetch_add(1);
    }
    void baiosMessage(const char8* message, IDevice*, int32) override
    {
        std::lock_guard<std::mutex> guard(mutex);
        messages.push_back(message);
    }

    IDevice* device;
    int64 expectedPosition = 0;
    std::atomic<int32> blocks{0};
    std::atomic<int32> gaps{0};
    std::atomic<double> lastRate{0.0};
    std::mutex mutex;
    std::vector<std::string> messages;
};

TEST(AlsaPcm, PlaysThroughTheNullPcmWithoutHardware)
{
    AlsaAudioDriver driver("Null PCM", "null");
    EXPECT_EQ(driver.getIdentifier(), "ALSA: Null PCM");
    std::string error;
    DriverDevice* device = driver.open(error);
    if (!device)
        GTEST_SKIP() << "alsa-lib has no \"null\" PCM here: " << error;
    EXPECT_STREQ(device->getIdentifier(), "ALSA: Null PCM");
    EXPECT_EQ(device->getPortCount(kOutput), 2);
    EXPECT_EQ(device->getSampleRate(), 48000.0);
    EXPECT_GT(device->getBlockSize(), 0);
    CountingProcessor processor(device);
    device->setProcessor(&processor);
    device->setMessageHandler(&processor);
    ASSERT_TRUE(device->start(error)) << error;
    ASSERT_TRUE(testing::eventually([&] { return processor.blocks.load() > 50; }));
    device->stop();
    EXPECT_FALSE(device->isRunning());
    EXPECT_EQ(processor.gaps.load(), 0) << "positions follow each other without a gap";

    ASSERT_TRUE(device->canSampleRate(44100.0));
    ASSERT_TRUE(device->setSampleRate(44100.0));
    EXPECT_EQ(device->getSampleRate(), 44100.0);
    ASSERT_TRUE(device->start(error)) << error;
    ASSERT_TRUE(testing::eventually([&] { return processor.lastRate.load() == 44100.0; }));
    device->close();
    EXPECT_FALSE(device->isRunning());
    std::lock_guard<std::mutex> guard(processor.mutex);
    EXPECT_EQ(processor.messages, (std::vector<std::string>{"deviceWasReset"}));
    device->release();
}

TEST(AlsaPcm, MissingCardFailsWithItsName)
{
    AlsaAudioDriver driver("Gone", "plughw:CARD=QelNoSuchCard,DEV=0");
    std::string error;
    EXPECT_EQ(driver.open(error), nullptr);
    EXPECT_NE(error.find("QelNoSuchCard"), std::string::npos) << error;
}

TEST(AlsaPcm, EveryListedCardOpensAndPlays)
{
    auto cards = AlsaAudioDriver::listCards();
    if (cards.empty())
        GTEST_SKIP() << "this machine has no sound card";
    for (auto& card : cards)
    {
        std::string error;
        DriverDevice* device = card->open(error);
        if (!device)
        {
            // A card that another program holds exclusively is busy, not broken.
            EXPECT_NE(error.find("busy"), std::string::npos) << card->getIdentifier() << error;
            continue;
        }
        CountingProcessor processor(device);
        device->setProcessor(&processor);
        ASSERT_TRUE(device->start(error)) << error;
        EXPECT_TRUE(testing::eventually([&] { return processor.blocks.load() > 10; }))
            << card->getIdentifier();
        device->stop();
        device->release();
    }
}

} // namespace
} // namespace Quillmark::Baios
