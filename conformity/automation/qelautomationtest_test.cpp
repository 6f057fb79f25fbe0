// The automation group over the fixtures of fx_automation_faults.so and over the examples: each
// run's whole log against the texts the tests must write, and what the plug-ins were given
// against the rules by which the test places its points.
#include "conformity/automation/automationobservations.h"
#include "conformity/automation/automationtests.h"
#include "conformity/automation/qelautomationtest.h"
#include "conformity/automation/qelflushparamtest.h"
#include "conformity/conformitytestsupport.h"
#include "hosting/plugprovider.h"
#include "plugins/common/exampleids.h"

#include <bit>
#include <cmath>
#include <cstdlib>

using namespace Quillmark;
using namespace Quillmark::Qel;
using Quillmark::testing::ObservedBlock;
using Quillmark::testing::ObservedQueue;
using Quillmark::testing::ObservedTest;

namespace
{

template <int32 size, bool sampleAccuracy> void fillAutomation(FTestNode& group, PlugProvider& p)
{
    addAutomationTests(group, &p, size, sampleAccuracy);
}

template <int32 size> void fillFlush(FTestNode& group, PlugProvider& provider)
{
    auto* test = new QelFlushParamTest(&provider, size);
    group.addLeaf(test->getName(), test);
    test->release();
}

// The groups as they stand in the finished tree: the flush test leads its processing group,
// and the 64-bit group holds a second "Automation", which the tree names "Automation 2".
const std::vector<FTreeBuilder::TestGroup> kGroups = {
    {"QEL3 Conformity/Audio Processing 32bit", fillFlush<kSample32>},
    {"QEL3 Conformity/Audio Processing 32bit/Automation", fillAutomation<kSample32, false>},
    {"Special Features/Audio Processing 32bit/Automation", fillAutomation<kSample32, true>},
    {"Special Features/Audio Processing 64bit", fillFlush<kSample64>},
    {"Special Features/Audio Processing 64bit/Automation", fillAutomation<kSample64, false>},
    {"Special Features/Audio Processing 64bit/Automation", fillAutomation<kSample64, true>},
};

const char* const kBlockNames[12] = {
    "Accuracy: Block, 1 Parameters, Change every 100 Samples",
    "Accuracy: Block, 1 Parameters, Change every 50 Samples",
    "Accuracy: Block, 1 Parameters, Change every 1 Samples",
    "Accuracy: Block, 2 Parameters, Change every 100 Samples",
    "Accuracy: Block, 2 Parameters, Change every 50 Samples",
    "Accuracy: Block, 2 Parameters, Change every 1 Samples",
    "Accuracy: Block, 10 Parameters, Change every 100 Samples",
    "Accuracy: Block, 10 Parameters, Change every 50 Samples",
    "Accuracy: Block, 10 Parameters, Change every 1 Samples",
    "Accuracy: Block, All Parameters, Change every 100 Samples",
    "Accuracy: Block, All Parameters, Change every 50 Samples",
    "Accuracy: Block, All Parameters, Change every 1 Samples",
};

const char* const kSampleNames[12] = {
    "Accuracy: Sample, 1 Parameters, Change every 100 Samples",
    "Accuracy: Sample, 1 Parameters, Change every 50 Samples",
    "Accuracy: Sample, 1 Parameters, Change every 1 Samples",
    "Accuracy: Sample, 2 Parameters, Change every 100 Samples",
    "Accuracy: Sample, 2 Parameters, Change every 50 Samples",
    "Accuracy: Sample, 2 Parameters, Change every 1 Samples",
    "Accuracy: Sample, 10 Parameters, Change every 100 Samples",
    "Accuracy: Sample, 10 Parameters, Change every 50 Samples",
    "Accuracy: Sample, 10 Parameters, Change every 1 Samples",
    "Accuracy: Sample, All Parameters, Change every 100 Samples",
    "Accuracy: Sample, All Parameters, Change every 50 Samples",
    "Accuracy: Sample, All Parameters, Change every 1 Samples",
};

// The parameter counts of the node names, outer loop by outer loop.
const char* const kRequestedWords[4] = {"1 Parameters", "2 Parameters", "10 Parameters",
                                        "All Parameters"};
constexpr int32 kEvery[3] = {100, 50, 1};

const std::string kFlushName = "Parameters Flush (no Buffer)";
const std::string kBannerTail = " ====================================";
const std::string kNoPointRead = "   No point at all has been read via IParameterChanges";
const std::string kNotAllRead = "   Not all points have been read via IParameterChanges";

/** How a fixture reads the points it is given. */
enum class Reading
{
    kNothing,
    kLastPoint,
    kAll,
    kOutOfRange,
    kUnknown, // the examples: nothing is observed
};

/** What a class is, as its module declares it. */
struct ClassSpec
{
    std::string name;
    std::vector<ParamID> queueIds; // per parameter index; kNoParamId: cannot be automated
    // The parameter count that setup settles on, for the outer loop's 1, 2, 10 and all, and
    // the words of it in the banner.
    int32 queues[4];
    const char* bannerWords[4];
    Reading reading;
};

const ClassSpec kIgnorer{"Automation Ignorer",
                         {100, 101},
                         {1, 2, 2, 2},
                         {"1 Parameters", "2 Parameters", "2 Parameters", "2 Parameters"},
                         Reading::kNothing};
const ClassSpec kLastPoint{"Automation Last Point",
                           {100, 101},
                           {1, 2, 2, 2},
                           {"1 Parameters", "2 Parameters", "2 Parameters", "2 Parameters"},
                           Reading::kLastPoint};
const ClassSpec kOutOfRange{"Automation Out Of Range",
                            {100, 101},
                            {1, 2, 2, 2},
                            {"1 Parameters", "2 Parameters", "2 Parameters", "2 Parameters"},
                            Reading::kOutOfRange};
const ClassSpec kNoParameters{
    "Automation No Parameters",
    {},
    {0, 0, 0, 0},
    {"All Parameters", "All Parameters", "All Parameters", "All Parameters"},
    Reading::kAll};
const ClassSpec kThree{"Automation Three Parameters",
                       {7, 3, 11},
                       {1, 2, 3, 3},
                       {"1 Parameters", "2 Parameters", "3 Parameters", "3 Parameters"},
                       Reading::kAll};
const ClassSpec kNotAutomatable{"Automation Not Automatable",
                                {kNoParamId, 21, kNoParamId},
                                {1, 2, 3, 3},
                                {"1 Parameters", "2 Parameters", "3 Parameters", "3 Parameters"},
                                Reading::kAll};
const ClassSpec kNoEmptyBlocks{"Automation No Empty Blocks",
                               {100, 101},
                               {1, 2, 2, 2},
                               {"1 Parameters", "2 Parameters", "2 Parameters", "2 Parameters"},
                               Reading::kAll};
const ClassSpec kGain{"Qel Gain",
                      {},
                      {1, 2, 2, 2},
                      {"1 Parameters", "2 Parameters", "2 Parameters", "2 Parameters"},
                      Reading::kUnknown};
const ClassSpec kSynth{"Qel Synth",
                       {},
                       {1, 2, 7, 7},
                       {"1 Parameters", "2 Parameters", "7 Parameters", "7 Parameters"},
                       Reading::kUnknown};

/** One test of the tree, in run order. */
struct TestCase
{
    std::string path; // below "Root/"
    std::string banner;
    bool flush = false;
    bool sampleAccuracy = false;
    int32 outer = 0; // index into the parameter counts
    int32 every = 100;
};

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

std::vector<TestCase> treeOrder(const ClassSpec& subject)
{
    std::vector<TestCase> cases;
    for (const std::string kind : {"Global Instance", "Local Instances"})
    {
        const std::string base = kind + "/" + subject.name + "/" + kind + "/";
        auto addFlush = [&](const std::string& group) {
            cases.push_back({base + group + "/" + kFlushName, kFlushName, true});
        };
        auto addGroup = [&](const std::string& group, bool sampleAccuracy)
        {
            const char* const* names = sampleAccuracy ? kSampleNames : kBlockNames;
            for (int32 i = 0; i < 12; ++i)
                cases.push_back(
                    {base + group + "/" + names[i],
                     replaced(names[i], kRequestedWords[i / 3], subject.bannerWords[i / 3]), false,
                     sampleAccuracy, i / 3, kEvery[i % 3]});
        };
        addFlush("QEL3 Conformity/Audio Processing 32bit");
        addGroup("QEL3 Conformity/Audio Processing 32bit/Automation", false);
        addGroup("Special Features/Audio Processing 32bit/Automation", true);
        addFlush("Special Features/Audio Processing 64bit");
        addGroup("Special Features/Audio Processing 64bit/Automation", false);
        addGroup("Special Features/Audio Processing 64bit/Automation 2", true);
    }
    return cases;
}

/** For each block, whether the test must report unread points, by the reading of the class and
    by the point counts the plug-in was given. Read marks are never cleared within a test, so a
    slot read in any earlier block counts as read. */
std::vector<bool> unreadBlocks(const ClassSpec& subject, const TestCase& test,
                               const ObservedTest& observed)
{
    std::vector<bool> told;
    std::vector<std::vector<bool>> readSlots;
    for (const ObservedBlock& block : observed.blocks)
    {
        bool tell = false;
        readSlots.resize(block.queues.size());
        for (size_t q = 0; q < block.queues.size(); ++q)
        {
            const int32 count = block.queues[q].count;
            if (count <= 0)
                continue;
            std::vector<bool>& slots = readSlots[q];
            if (slots.size() < size_t(count))
                slots.resize(size_t(count), false);
            if (subject.reading == Reading::kNothing)
                tell = true;
            if (subject.reading == Reading::kLastPoint)
            {
                slots[size_t(count - 1)] = true;
                for (int32 slot = 0; slot < count; ++slot)
                    tell = tell || (test.sampleAccuracy && !slots[size_t(slot)]);
            }
        }
        told.push_back(tell);
    }
    return told;
}

std::string message(const std::string& text)
{
    return "  ->Message: " + text + "\r\n";
}

/** The log of the whole run, from the texts of the tests. */
std::string expectedLog(const ClassSpec& subject, const std::vector<TestCase>& cases,
                        const std::vector<ObservedTest>& observed)
{
    std::string log;
    for (size_t i = 0; i < cases.size(); ++i)
    {
        const TestCase& test = cases[i];
        const bool refusedFlush = test.flush && subject.name == kNoEmptyBlocks.name;
        log += (refusedFlush ? "Test: ************ FAILED: Root/" : "Test: Passed: Root/") +
               test.path + "\r\n";
        log += message("===" + test.banner + kBannerTail);
        if (!test.flush && subject.queues[test.outer] == 0)
            log += message("No Parameters present.");
        if (i < observed.size())
            for (bool tell : unreadBlocks(subject, test, observed[i]))
                if (tell)
                    log += message(test.sampleAccuracy ? kNotAllRead : kNoPointRead);
        if (refusedFlush)
            log += "  ->ERROR: The component failed to process without audio buffers!\r\n";
    }
    return log;
}

/** Whether `value` is what a point can hold: a draw of 0 to 32767 times 1e-09, both in single
    precision (1e-09 has the bits 3089705F there), widened. */
bool isPointValue(double value)
{
    const float scale = std::bit_cast<float>(0x3089705Fu);
    const double draw = std::round(value / double(scale));
    for (double k = draw - 1; k <= draw + 1; ++k)
        if (k >= 0 && k <= 32767 && double(float(k) * scale) == value)
            return true;
    return false;
}

/** Totals over a run, to see that the interval steers how often points come. */
struct PointTotals
{
    int64 points[3] = {};
    int64 samples[3] = {};
    std::vector<double> values;
};

/** What the plug-in was given in one test, against the rules of placing points. */
void checkAgainstRules(const ClassSpec& subject, const TestCase& test, const ObservedTest& observed,
                       PointTotals& totals)
{
    SCOPED_TRACE(test.path);
    ASSERT_EQ(observed.blocks.size(), test.flush ? 1u : 3u);
    const int32 queues = test.flush ? subject.queues[0] : subject.queues[test.outer];
    for (size_t b = 0; b < observed.blocks.size(); ++b)
    {
        SCOPED_TRACE("block " + std::to_string(b));
        const ObservedBlock& block = observed.blocks[b];
        EXPECT_EQ(block.numSamples, test.flush ? 0 : 64);
        // Without parameters there are no changes to give; otherwise one queue per parameter.
        EXPECT_EQ(block.parameterCount, queues == 0 ? -1 : queues);
        ASSERT_EQ(block.queues.size(), size_t(std::max(queues, 0)));
        for (int32 q = 0; q < queues; ++q)
        {
            SCOPED_TRACE("queue " + std::to_string(q));
            const ObservedQueue& queue = block.queues[size_t(q)];
            ASSERT_TRUE(queue.present);
            EXPECT_EQ(queue.id, subject.queueIds[size_t(q)]);
            EXPECT_TRUE(queue.refused.empty());
            if (subject.queueIds[size_t(q)] == kNoParamId)
            {
                EXPECT_EQ(queue.count, 0);
                continue;
            }
            EXPECT_GE(queue.count, 0);
            EXPECT_LE(queue.count, block.numSamples);
            if (!test.flush)
            {
                const int32 e = test.every == 100 ? 0 : test.every == 50 ? 1 : 2;
                totals.points[e] += queue.count;
                totals.samples[e] += block.numSamples;
            }
            if (!test.flush && test.every == 1)
            {
                EXPECT_EQ(queue.count, 64) << "every sample gets a point";
            }
            // The first parameter changes at once in the first block, and with sample accuracy
            // at the next sample too.
            if (b == 0 && q == 0 && !test.flush)
            {
                EXPECT_GE(queue.count, test.sampleAccuracy ? 2 : 1);
            }

            if (subject.reading == Reading::kAll || subject.reading == Reading::kOutOfRange)
            {
                ASSERT_EQ(queue.points.size(), size_t(queue.count));
                for (size_t p = 0; p < queue.points.size(); ++p)
                {
                    EXPECT_EQ(queue.points[p].index, int32(p));
                    if (p > 0)
                    {
                        EXPECT_LT(queue.points[p - 1].offset, queue.points[p].offset);
                    }
                }
                if (b == 0 && q == 0 && !test.flush)
                {
                    ASSERT_GE(queue.points.size(), test.sampleAccuracy ? 2u : 1u);
                    EXPECT_EQ(queue.points[0].offset, 0);
                    if (test.sampleAccuracy)
                    {
                        EXPECT_EQ(queue.points[1].offset, 1);
                    }
                }
            }
            if (subject.reading == Reading::kLastPoint)
            {
                ASSERT_EQ(queue.points.size(), queue.count > 0 ? 1u : 0u);
                if (queue.count > 0)
                {
                    EXPECT_EQ(queue.points[0].index, queue.count - 1);
                }
            }
            for (const auto& point : queue.points)
            {
                EXPECT_GE(point.offset, 0);
                EXPECT_LT(point.offset, block.numSamples);
                EXPECT_TRUE(isPointValue(point.value)) << std::hexfloat << point.value;
                totals.values.push_back(point.value);
            }
        }
        if (subject.reading == Reading::kOutOfRange && queues > 0)
        {
            // Reads before and past the points and additions are refused and change nothing;
            // the changes answer no queue outside their range and take no new parameter.
            std::vector<std::string> wanted;
            for (int32 q = 0; q < queues; ++q)
            {
                const std::string count = std::to_string(block.queues[size_t(q)].count);
                const std::string index = std::to_string(q);
                wanted.push_back(index + " getPoint -1 1");
                wanted.push_back(index + " getPoint " + count + " 1");
                wanted.push_back(index + " addPoint 1 " + count);
            }
            wanted.push_back("changes getParameterData -1 null");
            wanted.push_back("changes getParameterData " + std::to_string(queues) + " null");
            wanted.push_back("changes addParameterData null " + std::to_string(queues));
            EXPECT_EQ(block.probes, wanted);
        }
    }
}

class AutomationRun : public Quillmark::testing::ConformityRun
{
protected:
    /** Runs the automation groups and both flush tests over one class and checks the log. */
    void runClass(const std::string& module, const ClassSpec& subject)
    {
        ASSERT_TRUE(loadModule(module));
        buildTree(kGroups, subject.name);
        const std::vector<TestCase> cases = treeOrder(subject);
        ASSERT_EQ(cases.size(), 100u);

        const std::string observations = temp.file("observations.txt");
        setenv(Examples::kFixtureLogVariable, observations.c_str(), 1);
        const std::string log = runTree();
        unsetenv(Examples::kFixtureLogVariable);

        std::vector<ObservedTest> observed;
        if (subject.reading != Reading::kUnknown)
        {
            observed =
                Quillmark::testing::parseObservations(Quillmark::testing::readFile(observations));
            ASSERT_EQ(observed.size(), cases.size()) << "one activation per test";
            PointTotals totals;
            for (size_t i = 0; i < cases.size(); ++i)
                checkAgainstRules(subject, cases[i], observed[i], totals);
            if (!subject.queueIds.empty())
            {
                // Rarer intervals give fewer points; at interval 1 every sample has one.
                EXPECT_LT(totals.points[0] * totals.samples[1],
                          totals.points[1] * totals.samples[0]);
                EXPECT_LT(totals.points[1], totals.points[2]);
                EXPECT_EQ(totals.points[2], totals.samples[2]);
            }
            if (!subject.queueIds.empty() && subject.reading != Reading::kNothing)
            {
                // The values read are not all the same.
                ASSERT_FALSE(totals.values.empty());
                EXPECT_NE(*std::min_element(totals.values.begin(), totals.values.end()),
                          *std::max_element(totals.values.begin(), totals.values.end()));
            }
        }
        EXPECT_EQ(log, expectedLog(subject, cases, observed));
    }

    const std::string faults = Quillmark::testing::fixture("fx_automation_faults.so");
};

TEST_F(AutomationRun, APlugInThatIgnoresChangesIsToldInEveryBlockWithPointsAndPasses)
{
    runClass(faults, kIgnorer);
}

TEST_F(AutomationRun, ReadingOnlyTheLastPointSatisfiesBlockButNotSampleAccuracy)
{
    runClass(faults, kLastPoint);
}

TEST_F(AutomationRun, ReadsOutOfRangeAndAddedPointsAreRefusedAndLeaveTheQueuesIntact)
{
    runClass(faults, kOutOfRange);
}

TEST_F(AutomationRun, APlugInWithoutParametersGetsNoChangesAndPasses)
{
    runClass(faults, kNoParameters);
}

TEST_F(AutomationRun, TenParametersAreLoweredToTheThreeThereAreWhileNodesKeepTheirNames)
{
    runClass(faults, kThree);
}

TEST_F(AutomationRun, ParametersThatCannotBeAutomatedGetEmptyQueuesWithoutId)
{
    runClass(faults, kNotAutomatable);
}

TEST_F(AutomationRun, RefusingABlockWithoutBuffersFailsOnlyTheFlushTests)
{
    runClass(faults, kNoEmptyBlocks);
}

TEST_F(AutomationRun, QelGainPassesEveryVariant)
{
    runClass(Quillmark::testing::exampleModule("QelGain.qel3"), kGain);
}

TEST_F(AutomationRun, QelSynthPassesEveryVariant)
{
    runClass(Quillmark::testing::exampleModule("QelSynth.qel3"), kSynth);
}

TEST(QelAutomationTest, PointValuesAreSinglePrecisionDrawsTimesOneBillionth)
{
    const float scale = std::bit_cast<float>(0x3089705Fu);
    EXPECT_EQ(QelAutomationTest::pointValue(0), 0.0);
    EXPECT_EQ(QelAutomationTest::pointValue(1), double(scale));
    EXPECT_EQ(QelAutomationTest::pointValue(32767), double(32767.0f * scale));
    EXPECT_NE(QelAutomationTest::pointValue(32767), 32767 * 1e-09) << "not in double precision";
}

TEST(QelAutomationTest, IsItsOwnParameterChangesWithCountsPassedOnToTheTest)
{
    auto* test = new QelAutomationTest(nullptr, kSample32, 100, 2, false);
    EXPECT_STREQ(test->getName(), "Accuracy: Block, 2 Parameters, Change every 100 Samples");

    void* answer = nullptr;
    ASSERT_EQ(static_cast<ITest*>(test)->queryInterface(IParameterChanges::iid.bytes, &answer),
              kResultOk);
    auto* changes = static_cast<IParameterChanges*>(answer);
    EXPECT_EQ(changes, static_cast<IParameterChanges*>(test));
    EXPECT_EQ(test->getRefCount(), 2);

    // Counting through the changes keeps the test alive, and is seen on both counts.
    changes->addRef();
    EXPECT_EQ(test->getRefCount(), 3);
    EXPECT_EQ(test->getInterfaceRefCount(), 2);
    changes->release();
    changes->release();
    EXPECT_EQ(test->getRefCount(), 1);
    EXPECT_EQ(test->getInterfaceRefCount(), 0);

    // Before setup there are no queues to give, and a plug-in can never add one.
    EXPECT_EQ(changes->getParameterCount(), 0);
    EXPECT_EQ(changes->getParameterData(0), nullptr);
    int32 index = 5;
    EXPECT_EQ(changes->addParameterData(100, index), nullptr);

    void* self = nullptr;
    ASSERT_EQ(changes->queryInterface(ITest::iid.bytes, &self), kResultOk);
    EXPECT_EQ(self, static_cast<ITest*>(test));
    static_cast<ITest*>(self)->release();
    test->release();
}

TEST(QelAutomationTest, AllParametersNameTheRequestAndFlushHasItsFixedName)
{
    FTestNode group("Automation");
    addAutomationTests(group, nullptr, kSample64, true);
    ASSERT_EQ(group.countLeaves(), 12);
    auto* flush = new QelFlushParamTest(nullptr, kSample64);
    EXPECT_STREQ(flush->getName(), "Parameters Flush (no Buffer)");
    flush->release();
    group.dropTests();
}

} // namespace
