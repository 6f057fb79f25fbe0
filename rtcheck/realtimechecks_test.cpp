// The verdicts over rendered blocks, fed by hand: each check fails on its fault at the edge
// where it begins, passes just short of it, and says where.
#include "rtcheck/realtimechecks.h"

#include "rtcheck/offlinerender.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace Quillmark
{
namespace
{

using Qel::AudioBusBuffers;
using Qel::ProcessData;

constexpr int32 kBlock = 64;

/** One stereo output bus of a block, written by the test, handed to the checks. */
class BlockFeeder
{
public:
    explicit BlockFeeder(std::vector<RenderFormat> formats = {{48000.0, kBlock}})
        : formats(formats), checks(formats)
    {
        for (auto& channel : samples)
            channel.assign(kBlock, 0.1f);
        pointers[0] = samples[0].data();
        pointers[1] = samples[1].data();
        bus.numChannels = 2;
        bus.channelBuffers32 = pointers;
        data.numSamples = kBlock;
        data.numOutputs = 1;
        data.outputs = &bus;
        checks.formatStarted(0, formats[0], 1000);
    }

    void feed(int64 cpuNanoseconds = 1000, const CallRecord* calls = nullptr)
    {
        RenderedBlock block;
        block.place = {0, blocks, blocks * kBlock};
        block.format = &formats[0];
        block.data = &data;
        block.activeOutputs = &active;
        block.cpuNanoseconds = cpuNanoseconds;
        block.calls = calls;
        block.parameterValues = &values;
        checks.blockRendered(block);
        ++blocks;
    }

    CheckResult result(const std::string& name)
    {
        OfflineRender render(nullptr, nullptr, "Test");
        for (const CheckResult& result : checks.results(render))
            if (result.name == name)
                return result;
        ADD_FAILURE() << "no check " << name;
        return {};
    }

    std::vector<RenderFormat> formats;
    RealtimeChecks checks;
    std::vector<float> samples[2];
    float* pointers[2] = {};
    AudioBusBuffers bus{};
    ProcessData data{};
    std::vector<bool> active{true};
    std::vector<double> values;
    int64 blocks = 0;
};

std::string all(const CheckResult& result)
{
    std::string text = result.summary;
    for (const std::string& line : result.evidence)
        text += "\n" + line;
    return text;
}

TEST(RealtimeChecks, CleanBlocksPassEveryCheck)
{
    BlockFeeder feeder;
    CallRecord calls;
    for (int i = 0; i < 10; ++i)
        feeder.feed(1000, &calls);
    OfflineRender render(nullptr, nullptr, "Test");
    const std::vector<CheckResult> results = feeder.checks.results(render);
    ASSERT_EQ(results.size(), 7u);
    for (const CheckResult& result : results)
        EXPECT_TRUE(result.passed) << result.name << ": " << all(result);
}

TEST(RealtimeChecks, NotFiniteAndDenormalSamplesFailWithTheirPlace)
{
    BlockFeeder feeder;
    feeder.feed();
    feeder.samples[1][5] = std::numeric_limits<float>::infinity();
    feeder.samples[0][7] = 1.0e-40f;
    feeder.feed();
    const CheckResult finite = feeder.result(RealtimeChecks::kNotFinite);
    EXPECT_FALSE(finite.passed);
    EXPECT_NE(all(finite).find("block 1 (sample 64), bus 0 channel 1 sample 5"), std::string::npos)
        << all(finite);
    const CheckResult tiny = feeder.result(RealtimeChecks::kDenormals);
    EXPECT_FALSE(tiny.passed);
    EXPECT_NE(all(tiny).find("channel 0 sample 7"), std::string::npos) << all(tiny);

    // The smallest normal number is no denormal.
    BlockFeeder edge;
    edge.samples[0][3] = std::numeric_limits<float>::min();
    edge.feed();
    EXPECT_TRUE(edge.result(RealtimeChecks::kDenormals).passed);
}

TEST(RealtimeChecks, OutputAboveFullScaleFailsOnlyWhenItStaysThereForTenMilliseconds)
{
    // 480 samples at 48 kHz are 10 ms; the run crosses block borders and alternates in sign.
    auto loudFor = [](int samples)
    {
        BlockFeeder feeder;
        int left = samples;
        for (int block = 0; block < 10; ++block)
        {
            for (int s = 0; s < kBlock; ++s, --left)
                feeder.samples[0][size_t(s)] = left > 0 ? (s % 2 ? 1.5f : -1.5f) : 0.5f;
            feeder.feed();
        }
        return feeder.result(RealtimeChecks::kLoud);
    };
    EXPECT_TRUE(loudFor(479).passed);
    const CheckResult loud = loudFor(480);
    EXPECT_FALSE(loud.passed);
    EXPECT_NE(loud.summary.find("10.0 ms"), std::string::npos) << all(loud);
    EXPECT_NE(all(loud).find("from sample 0 of 48000 Hz, 64-sample blocks, block 0"),
              std::string::npos)
        << all(loud);
}

TEST(RealtimeChecks, SilenceFlagsMayNotHideSound)
{
    BlockFeeder quiet;
    quiet.bus.silenceFlags = 0x2;
    quiet.samples[1].assign(kBlock, 0.5f * RealtimeChecks::kSilenceLevel);
    quiet.feed();
    EXPECT_TRUE(quiet.result(RealtimeChecks::kSilenceFlags).passed);

    BlockFeeder lying;
    lying.bus.silenceFlags = 0x2;
    lying.samples[1].assign(kBlock, 0.0f);
    lying.samples[1][9] = 2.0f * RealtimeChecks::kSilenceLevel;
    lying.feed();
    const CheckResult flags = lying.result(RealtimeChecks::kSilenceFlags);
    EXPECT_FALSE(flags.passed);
    EXPECT_NE(all(flags).find("channel 1 sample 9"), std::string::npos) << all(flags);

    // A bus the host has switched off is not heard, so its flags do not count.
    BlockFeeder off;
    off.active = {false};
    off.bus.silenceFlags = 0x3;
    off.feed();
    EXPECT_TRUE(off.result(RealtimeChecks::kSilenceFlags).passed);
}

TEST(RealtimeChecks, TheCostOfABlockIsMeasuredAgainstItsBudget)
{
    // 64 samples at 48 kHz have 1333.3 microseconds.
    BlockFeeder within;
    for (int i = 0; i < 99; ++i)
        within.feed(10000);
    within.feed(1333000);
    const CheckResult fine = within.result(RealtimeChecks::kCost);
    EXPECT_TRUE(fine.passed) << all(fine);
    EXPECT_NE(all(fine).find("median 10.0 us (0.8%)"), std::string::npos) << all(fine);
    EXPECT_NE(all(fine).find("maximum 1333.0 us (100.0%)"), std::string::npos) << all(fine);
    EXPECT_NE(all(fine).find("worst block: 48000 Hz, 64-sample blocks, block 99"),
              std::string::npos)
        << all(fine);

    BlockFeeder over;
    over.feed(10000);
    over.feed(1400000);
    over.feed(10000);
    const CheckResult slow = over.result(RealtimeChecks::kCost);
    EXPECT_FALSE(slow.passed);
    EXPECT_NE(slow.summary.find("105.0%"), std::string::npos) << all(slow);
    EXPECT_NE(all(slow).find("block 1 (sample 64)"), std::string::npos) << all(slow);
}

TEST(RealtimeChecks, CallsFailTheirCheckAndAFreeLockIsOnlyAWarning)
{
    BlockFeeder feeder;
    CallRecord calls;
    calls.counts[int(WatchedCall::kUncontendedLock)] = 2;
    feeder.feed(1000, &calls);
    CheckResult blocking = feeder.result(RealtimeChecks::kBlocking);
    EXPECT_TRUE(blocking.passed);
    EXPECT_NE(all(blocking).find("warning: 2 locks taken while free"), std::string::npos);

    calls.reset();
    calls.counts[int(WatchedCall::kSleep)] = 1;
    calls.firstBlockingCall.function = "nanosleep";
    calls.counts[int(WatchedCall::kAllocation)] = 3;
    calls.firstHeapCall.function = "malloc";
    feeder.feed(1000, &calls);
    blocking = feeder.result(RealtimeChecks::kBlocking);
    EXPECT_FALSE(blocking.passed);
    EXPECT_NE(blocking.summary.find("1 sleeps"), std::string::npos) << all(blocking);
    EXPECT_NE(all(blocking).find("first: nanosleep in 48000 Hz, 64-sample blocks, block 1"),
              std::string::npos)
        << all(blocking);
    const CheckResult heap = feeder.result(RealtimeChecks::kAllocation);
    EXPECT_FALSE(heap.passed);
    EXPECT_NE(heap.summary.find("3 allocations and 0 frees in 2 process calls"), std::string::npos)
        << all(heap);

    // Without a watch there is nothing to judge, and the check says so.
    BlockFeeder unwatched;
    unwatched.feed();
    EXPECT_EQ(unwatched.result(RealtimeChecks::kAllocation).summary, "not watched");
}

} // namespace
} // namespace Quillmark
