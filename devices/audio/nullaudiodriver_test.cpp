#include "devices/audio/nullaudiodriver.h"

#include "base/fobject.h"
#include "base/platform/threads.h"
#include "base/testsupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <vector>

namespace Quillmark::Baios
{
namespace
{

/** Writes a ramp into every playback channel and keeps what each block's record said. */
class RampProcessor : public IProcessor
{
public:
    explicit RampProcessor(IDevice* device) : device(device) {}
    tresult queryInterface(const TUID, void** obj) override
    {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }

    void process(const ProcessRecord& record) override
    {
        for (int32 c = 0; c < device->getPortCount(kOutput); ++c)
        {
            float* out = device->getPort(kOutput, c)->getBuffer();
            for (int32 s = 0; s < record.numSamples; ++s)
                out[s] = float(record.samplePosition + s) + 0.5f * float(c);
        }
        if (blocks < int32(positions.size()))
            positions[size_t(blocks)] = record.samplePosition;
        lastRate = record.sampleRate;
        int policy = 0;
        sched_param param{};
        if (pthread_getschedparam(pthread_self(), &policy, &param) == 0)
        {
            schedulingPolicy.store(policy);
            schedulingPriority.store(param.sched_priority);
        }
        lastSize = record.numSamples;
        ++blocks;
    }

    IDevice* device;
    std::vector<int64> positions = std::vector<int64>(4096, -1);
    std::atomic<int32> blocks{0};
    double lastRate = 0.0;
    int32 lastSize = 0;
    std::atomic<int> schedulingPolicy{-1};
    std::atomic<int> schedulingPriority{-1};
};

/** Remembers the messages of the device. */
class MessageLog : public IMessageHandler
{
public:
    tresult queryInterface(const TUID, void** obj) override
    {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }
    void baiosMessage(const char8* message, IDevice* device, int32 index) override
    {
        std::lock_guard<std::mutex> guard(mutex);
        messages.push_back(message);
    }
    std::vector<std::string> taken()
    {
        std::lock_guard<std::mutex> guard(mutex);
        return messages;
    }

    std::mutex mutex;
    std::vector<std::string> messages;
};

TEST(NullAudioDevice, HasTwoSilentCapturePortsAndTwoPlaybackPortsWithStableMemory)
{
    auto* device = new NullAudioDevice(NullAudioDevice::kOffline, 44100.0, 128);
    ASSERT_EQ(device->getPortCount(kInput), 2);
    ASSERT_EQ(device->getPortCount(kOutput), 2);
    EXPECT_EQ(device->getPortCount(7), 0);
    EXPECT_EQ(device->getPort(kOutput, 2), nullptr);
    EXPECT_STREQ(device->getPort(kOutput, 1)->getName(), "Out 2");
    EXPECT_STREQ(device->getPort(kInput, 0)->getUniqueName(), "null:capture_1");
    EXPECT_EQ(device->getPort(kOutput, 1)->getRole(), 1);
    EXPECT_STREQ(device->getIdentifier(), NullAudioDevice::kOfflineIdentifier);
    float* before = device->getPort(kOutput, 0)->getBuffer();
    EXPECT_TRUE(device->setBlockSize(NullAudioDevice::kMaxBlockSize));
    EXPECT_FALSE(device->setBlockSize(NullAudioDevice::kMaxBlockSize + 1));
    EXPECT_FALSE(device->setBlockSize(0));
    EXPECT_EQ(device->getPort(kOutput, 0)->getBuffer(), before) << "the memory never moves";
    RampProcessor processor(device);
    device->setProcessor(&processor);
    EXPECT_EQ(device->runBlocks(3), 3);
    const float* capture = device->getPort(kInput, 1)->getBuffer();
    for (int32 s = 0; s < NullAudioDevice::kMaxBlockSize; ++s)
        ASSERT_EQ(capture[s], 0.0f);
    device->release();
}

TEST(NullAudioDevice, OfflineRunsExactBlocksOnTheCallersThreadAndShowsThemToTheObserver)
{
    auto* device = new NullAudioDevice(NullAudioDevice::kOffline, 48000.0, 64);
    RampProcessor processor(device);
    device->setProcessor(&processor);
    std::vector<float> left;
    std::vector<float> right;
    device->setBlockObserver(
        [&](const float* const* channels, int32 count, int32 samples)
        {
            ASSERT_EQ(count, 2);
            left.insert(left.end(), channels[0], channels[0] + samples);
            right.insert(right.end(), channels[1], channels[1] + samples);
        });
    EXPECT_EQ(device->runBlocks(10), 10);
    EXPECT_EQ(processor.blocks.load(), 10);
    EXPECT_EQ(device->getBlocksRendered(), 10);
    ASSERT_EQ(left.size(), 640u);
    for (size_t i = 0; i < left.size(); ++i)
    {
        ASSERT_EQ(left[i], float(i)) << "sample " << i;
        ASSERT_EQ(right[i], float(i) + 0.5f) << "sample " << i;
    }
    EXPECT_EQ(processor.lastRate, 48000.0);
    EXPECT_EQ(processor.lastSize, 64);
    device->release();
}

TEST(NullAudioDevice, PlaybackBuffersHoldEachBlockForACallerThatReadsThemItself)
{
    auto* device = new NullAudioDevice(NullAudioDevice::kOffline, 48000.0, 32);
    RampProcessor processor(device);
    device->setProcessor(&processor);
    const float* left = device->getPlaybackBuffer(0);
    const float* right = device->getPlaybackBuffer(1);
    ASSERT_NE(left, nullptr);
    ASSERT_NE(right, nullptr);
    EXPECT_NE(left, right);
    EXPECT_EQ(device->getPlaybackBuffer(2), nullptr);
    EXPECT_EQ(device->getPlaybackBuffer(-1), nullptr);
    for (int32 block = 0; block < 4; ++block)
    {
        ASSERT_EQ(device->runBlocks(1), 1);
        EXPECT_EQ(device->getPlaybackBuffer(0), left) << "the memory never moves";
        for (int32 s = 0; s < 32; ++s)
        {
            ASSERT_EQ(left[s], float(block * 32 + s)) << "block " << block << " sample " << s;
            ASSERT_EQ(right[s], float(block * 32 + s) + 0.5f);
        }
    }
    device->release();
}

TEST(NullAudioDevice, OfflineThreadStopsByItselfAtTheBlockLimit)
{
    auto* device = new NullAudioDevice(NullAudioDevice::kOffline, 48000.0, 256);
    RampProcessor processor(device);
    device->setProcessor(&processor);
    device->setBlockLimit(2000);
    std::string error;
    ASSERT_TRUE(device->start(error)) << error;
    // 2000 blocks are over ten seconds of sound; the offline form does not wait for the clock.
    ASSERT_TRUE(device->waitUntilFinished(60000));
    EXPECT_EQ(processor.blocks.load(), 2000);
    for (int32 i = 0; i < 2000; ++i)
        ASSERT_EQ(processor.positions[size_t(i)], int64(i) * 256);
    EXPECT_EQ(device->runBlocks(1), 0) << "the thread still counts as running until stopped";
    device->stop();
    EXPECT_EQ(device->runBlocks(1), 1);
    device->release();
}

TEST(NullAudioDevice, PlaysInRealTime)
{
    constexpr int32 kBlocks = 100;
    constexpr int32 kSize = 256;
    constexpr double kRate = 48000.0;
    auto* device = new NullAudioDevice(NullAudioDevice::kRealtime, kRate, kSize);
    RampProcessor processor(device);
    device->setProcessor(&processor);
    device->setBlockLimit(kBlocks);
    std::string error;
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(device->start(error)) << error;
    ASSERT_TRUE(device->waitUntilFinished(30000));
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    device->stop();
    const double expected = kBlocks * kSize / kRate; // 0.533 s
    EXPECT_EQ(processor.blocks.load(), kBlocks);
    EXPECT_GE(seconds, 0.8 * expected) << "the Null driver ran faster than the clock";
    EXPECT_LE(seconds, 10.0 * expected) << "the Null driver fell far behind the clock";
    device->release();
}

TEST(NullAudioDevice, DriverThreadAsksForRealTimeAndPlaysEitherWay)
{
    for (int32 level : {0, 1})
    {
        auto* device = new NullAudioDevice(NullAudioDevice::kRealtime, 48000.0, 64);
        device->setProcessLevel(level);
        RampProcessor processor(device);
        device->setProcessor(&processor);
        device->setBlockLimit(20);
        std::string error;
        ASSERT_TRUE(device->start(error));
        ASSERT_TRUE(device->waitUntilFinished(30000));
        device->stop();
        EXPECT_EQ(processor.blocks.load(), 20) << "a refusal changes nothing else";
        if (platform::RealtimeThreadClass::isRefused())
            EXPECT_EQ(processor.schedulingPolicy.load(), SCHED_OTHER);
        else
        {
            EXPECT_EQ(processor.schedulingPolicy.load(), SCHED_FIFO);
            EXPECT_EQ(processor.schedulingPriority.load(),
                      level > 0 ? platform::RealtimeThreadClass::kHighPriority
                                : platform::RealtimeThreadClass::kNormalPriority);
        }
        device->release();
    }
}

TEST(NullAudioDevice, RateAndSizeChangesRestartAndReport)
{
    auto* device = new NullAudioDevice(NullAudioDevice::kRealtime, 48000.0, 256);
    MessageLog log;
    device->setMessageHandler(&log);
    RampProcessor processor(device);
    device->setProcessor(&processor);
    EXPECT_TRUE(device->canSampleRate(44100.0));
    EXPECT_FALSE(device->canSampleRate(12345.0));
    EXPECT_FALSE(device->setSampleRate(12345.0));
    EXPECT_EQ(device->getSampleRate(), 48000.0);
    EXPECT_TRUE(device->setSampleRate(48000.0));
    EXPECT_TRUE(log.taken().empty()) << "no change, no message";

    std::string error;
    ASSERT_TRUE(device->start(error));
    ASSERT_TRUE(device->setSampleRate(96000.0));
    EXPECT_TRUE(device->isRunning()) << "a running device plays on after the change";
    ASSERT_TRUE(device->setBlockSize(128));
    EXPECT_EQ(log.taken(), (std::vector<std::string>{"deviceWasReset", "blockSizeChanged"}));
    const int32 seen = processor.blocks.load();
    ASSERT_TRUE(testing::eventually([&] { return processor.blocks.load() > seen + 2; }));
    device->stop();
    EXPECT_EQ(processor.lastRate, 96000.0);
    EXPECT_EQ(processor.lastSize, 128);
    device->release();
}

} // namespace
} // namespace Quillmark::Baios
