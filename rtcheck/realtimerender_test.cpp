// Real plug-ins rendered through the engine with the watch on: each fixture fails exactly its
// own check with evidence that points at the fault, the examples pass, the watch ends where the
// plug-in's process call ends, and watching never changes what a plug-in renders.
#include "rtcheck/offlinerender.h"
#include "rtcheck/realtimechecks.h"

#include "base/fmainloop.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/plugprovider.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace Quillmark
{
namespace
{

using namespace Qel::Examples;
using testing::copyInto;
using testing::exampleModule;
using testing::fixture;
using testing::TempFolder;

// Short renders keep the tests quick; the seed is fixed, so every fault is met the same way.
constexpr double kSeconds = 1.0;
constexpr uint64_t kSeed = 1;

std::string all(const CheckResult& result)
{
    std::string text = result.name + ": " + result.summary;
    for (const std::string& line : result.evidence)
        text += "\n" + line;
    return text;
}

/** Copies every block's output samples, so that two renders can be compared bit for bit;
    allocates right after the plug-in's call, on the rendering thread. */
class OutputCopy : public RenderObserver
{
public:
    void blockRendered(const RenderedBlock& block) override
    {
        watchingAfterCall = watchingAfterCall || CallWatch::watching();
        auto scratch = std::make_unique<int>(1); // an allocation after every call
        blocksSeen += *scratch;
        const Qel::AudioBusBuffers& out = block.data->outputs[0];
        for (int32 c = 0; c < out.numChannels; ++c)
            samples.insert(samples.end(), out.channelBuffers32[c],
                           out.channelBuffers32[c] + block.data->numSamples);
    }
    std::vector<float> samples;
    bool watchingAfterCall = false;
    int blocksSeen = 0;
};

/** Every parameter point the plug-in was handed, with the size of the block it came in. */
class ChangePoints : public RenderObserver
{
public:
    struct Point
    {
        int32 blockSize, offset;
        Qel::ParamID id;
        double value;
        bool operator==(const Point&) const = default;
    };
    void blockRendered(const RenderedBlock& block) override
    {
        Qel::IParameterChanges* changes = block.data->inputParameterChanges;
        for (int32 i = 0, n = changes ? changes->getParameterCount() : 0; i < n; ++i)
        {
            Qel::IParamValueQueue* queue = changes->getParameterData(i);
            for (int32 p = 0; queue && p < queue->getPointCount(); ++p)
            {
                Point point{block.data->numSamples, -1, queue->getParameterId(), 0.0};
                if (queue->getPoint(p, point.offset, point.value) == kResultOk)
                    points.push_back(point);
            }
        }
    }
    std::vector<Point> points;
};

/** Tells two observers of one render. */
class BothObservers : public RenderObserver
{
public:
    BothObservers(RenderObserver& first, RenderObserver& second) : first(first), second(second) {}
    void formatStarted(int format, const RenderFormat& renderFormat, int64 blocks) override
    {
        first.formatStarted(format, renderFormat, blocks);
        second.formatStarted(format, renderFormat, blocks);
    }
    void blockRendered(const RenderedBlock& block) override
    {
        first.blockRendered(block);
        second.blockRendered(block);
    }

private:
    RenderObserver& first;
    RenderObserver& second;
};

class RealtimeRender : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const std::string modules = temp.folder("modules");
        copyInto(fixture(kRealtimeFaultsModule), modules);
        copyInto(exampleModule(kQelGainModule), modules);
        copyInto(exampleModule(kQelSynthModule), modules);
        copyInto(exampleModule(kQelToneModule), modules);
        copyInto(exampleModule(kMetronomeModule), modules);
        registry = new FComponentRegistry;
        ASSERT_GT(registry->scanFolder(modules), 0);
    }

    void TearDown() override
    {
        FMainLoop::instance()->dispatchDue();
        registry->release();
    }

    /** Renders one class and gives the verdicts by check name. */
    std::map<std::string, CheckResult> check(const QelUid& cid, double seconds = kSeconds,
                                             RenderObserver* also = nullptr)
    {
        std::map<std::string, CheckResult> verdicts;
        render(cid, seconds, kSeed, true,
               [&](OfflineRender& render, const RenderPlan& plan)
               {
                   RealtimeChecks checks(plan.formats);
                   std::string problem;
                   bool ran = false;
                   if (also)
                   {
                       BothObservers both(checks, *also);
                       ran = render.run(plan, both, problem);
                   }
                   else
                       ran = render.run(plan, checks, problem);
                   EXPECT_TRUE(ran) << problem;
                   for (CheckResult& result : checks.results(render))
                       verdicts[result.name] = result;
               });
        return verdicts;
    }

    /** The output samples of one render. */
    std::vector<float> output(const QelUid& cid, uint64_t seed, bool watch)
    {
        OutputCopy copy;
        render(cid, 0.5, seed, watch,
               [&](OfflineRender& render, const RenderPlan& plan)
               {
                   std::string problem;
                   EXPECT_TRUE(render.run(plan, copy, problem)) << problem;
               });
        return copy.samples;
    }

    template <class Use>
    void render(const QelUid& cid, double seconds, uint64_t seed, bool watch, Use use)
    {
        auto* provider = new Qel::PlugProvider(registry, FUID(cid.bytes), true);
        ASSERT_TRUE(provider->createPlugIn());
        Qel::IComponent* component = provider->getComponent();
        Qel::IEditController* controller = provider->getController();
        ASSERT_NE(component, nullptr);
        {
            OfflineRender render(component, controller, "Checked");
            RenderPlan plan;
            plan.formats = RenderPlan::standardFormats();
            plan.seconds = seconds;
            plan.seed = seed;
            plan.watch = watch;
            use(render, plan);
        }
        provider->releasePlugIn(component, controller);
        provider->destroyPlugIn();
        provider->release();
    }

    /** Only the check `failing` fails; every other passes. */
    static void expectOnlyFailure(const std::map<std::string, CheckResult>& verdicts,
                                  const std::string& failing)
    {
        ASSERT_EQ(verdicts.size(), 7u);
        for (const auto& [name, result] : verdicts)
            EXPECT_EQ(result.passed, name != failing) << all(result);
    }

    TempFolder temp;
    FComponentRegistry* registry = nullptr;
};

TEST_F(RealtimeRender, AnAllocationInProcessFailsWithAStackThatNamesTheFunction)
{
    const auto verdicts = check(kRealtimeAllocatingCid);
    expectOnlyFailure(verdicts, RealtimeChecks::kAllocation);
    const std::string text = all(verdicts.at(RealtimeChecks::kAllocation));
    EXPECT_NE(text.find(kRealtimeAllocatingFunction), std::string::npos) << text;
    EXPECT_NE(text.find("(fx_realtime_faults.so)"), std::string::npos) << text;
    // One allocation and one free a block.
    EXPECT_NE(text.find("frees in"), std::string::npos) << text;
}

TEST_F(RealtimeRender, ALockHeldByTheControllerFailsTheBlockingCheck)
{
    const auto verdicts = check(kRealtimeLockingCid);
    expectOnlyFailure(verdicts, RealtimeChecks::kBlocking);
    const std::string text = all(verdicts.at(RealtimeChecks::kBlocking));
    EXPECT_NE(text.find("waits for a lock held elsewhere"), std::string::npos) << text;
    EXPECT_NE(text.find("first: pthread_mutex_lock"), std::string::npos) << text;
    EXPECT_NE(text.find("LockingEffect::process"), std::string::npos) << text;
}

TEST_F(RealtimeRender, NaNFailsAndNamesTheParameterValueThatMadeIt)
{
    const auto verdicts = check(kRealtimeNotFiniteCid);
    expectOnlyFailure(verdicts, RealtimeChecks::kNotFinite);
    const std::string text = all(verdicts.at(RealtimeChecks::kNotFinite));
    EXPECT_NE(text.find("first: nan at "), std::string::npos) << text;
    EXPECT_NE(text.find("parameters: Mode=0.6"), std::string::npos) << text;
    EXPECT_NE(text.find(std::string("(") + kRealtimeFaultEntry + ")"), std::string::npos) << text;
}

TEST_F(RealtimeRender, DenormalOutputFailsItsCheck)
{
    const auto verdicts = check(kRealtimeDenormalCid);
    expectOnlyFailure(verdicts, RealtimeChecks::kDenormals);
    EXPECT_NE(verdicts.at(RealtimeChecks::kDenormals).summary.find("output samples are denormal"),
              std::string::npos);
}

TEST_F(RealtimeRender, ACostSpikeFailsAndNamesTheParameterValuesOfTheWorstBlock)
{
    const auto verdicts = check(kRealtimeSpikeCid);
    expectOnlyFailure(verdicts, RealtimeChecks::kCost);
    const std::string text = all(verdicts.at(RealtimeChecks::kCost));
    EXPECT_NE(text.find("parameters at the worst block: Mode=0.6"), std::string::npos) << text;
    EXPECT_NE(text.find(std::string("(") + kRealtimeFaultEntry + ")"), std::string::npos) << text;
    // Figures for every format.
    for (const char* format : {"44100 Hz, 512 samples: median", "48000 Hz, 64 samples: median",
                               "96000 Hz, 128 samples: median", "48000 Hz, 1024 samples: median"})
        EXPECT_NE(text.find(format), std::string::npos) << text;
}

TEST_F(RealtimeRender, SilenceFlagsOverSoundFailTheirCheck)
{
    const auto verdicts = check(kRealtimeSilenceCid);
    expectOnlyFailure(verdicts, RealtimeChecks::kSilenceFlags);
}

TEST_F(RealtimeRender, TheExamplesPassEveryCheck)
{
    // Qel Gain also sends its meter to the controller from process, in a message made ahead.
    for (const QelUid& cid : {kQelGainCid, kQelSynthCid, kQelToneCid, kMetronomeCid})
    {
        const auto verdicts = check(cid);
        ASSERT_EQ(verdicts.size(), 7u);
        for (const auto& [name, result] : verdicts)
            EXPECT_TRUE(result.passed) << all(result);
    }
}

TEST_F(RealtimeRender, TheWatchEndsWithTheCallIntoThePlugIn)
{
    // The observer allocates on the rendering thread right after each call; none of that is
    // counted, and the watch is off when it runs.
    OutputCopy copy;
    const auto verdicts = check(kQelToneCid, 0.5, &copy);
    EXPECT_GT(copy.blocksSeen, 100);
    EXPECT_FALSE(copy.watchingAfterCall);
    EXPECT_TRUE(verdicts.at(RealtimeChecks::kAllocation).passed)
        << all(verdicts.at(RealtimeChecks::kAllocation));
}

TEST_F(RealtimeRender, ParameterMovesReachThePlugInInsideTheirBlocksAndRepeatWithTheSeed)
{
    auto pointsOf = [&](uint64_t seed)
    {
        ChangePoints seen;
        render(kQelSynthCid, 1.0, seed, true,
               [&](OfflineRender& render, const RenderPlan& plan)
               {
                   std::string problem;
                   EXPECT_TRUE(render.run(plan, seen, problem)) << problem;
               });
        return seen.points;
    };
    const std::vector<ChangePoints::Point> points = pointsOf(kSeed);
    ASSERT_GT(points.size(), 20u);
    size_t inside = 0;
    for (const ChangePoints::Point& point : points)
    {
        EXPECT_GE(point.offset, 0);
        EXPECT_LT(point.offset, point.blockSize);
        EXPECT_GE(point.value, 0.0);
        EXPECT_LE(point.value, 1.0);
        inside += point.offset > 0 ? 1 : 0;
    }
    // Offsets are drawn over the block: nearly all of them lie past its first sample.
    EXPECT_GT(inside, points.size() / 2);
    EXPECT_EQ(pointsOf(kSeed), points);
    EXPECT_NE(pointsOf(kSeed + 1), points);
}

TEST_F(RealtimeRender, WatchingNeverChangesWhatAPlugInRenders)
{
    // The synth gets notes and parameter moves, the fixture noise, silence and its mode.
    for (const QelUid& cid : {kQelSynthCid, kRealtimeLockingCid})
    {
        const std::vector<float> watched = output(cid, kSeed, true);
        const std::vector<float> plain = output(cid, kSeed, false);
        ASSERT_FALSE(watched.empty());
        ASSERT_EQ(watched.size(), plain.size());
        EXPECT_EQ(std::memcmp(watched.data(), plain.data(), watched.size() * sizeof(float)), 0);
        // Another seed renders something else, so the comparison can tell.
        const std::vector<float> other = output(cid, kSeed + 1, false);
        ASSERT_EQ(other.size(), plain.size());
        EXPECT_NE(std::memcmp(other.data(), plain.data(), other.size() * sizeof(float)), 0);
    }
}

} // namespace
} // namespace Quillmark
