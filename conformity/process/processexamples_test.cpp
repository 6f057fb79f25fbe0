// The example plug-ins pass every processing test in both sample sizes, with a shared instance
// and with one instance per test, and take or decline speaker arrangements as they should.
#include "conformity/process/processtestsupport.h"

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::testing;

namespace
{

const std::string kLocal = "Local Instances";
const std::string kGlobal = "Global Instance";

class ProcessExamples : public ConformityRun
{
protected:
    /** Both processing groups over `className`, run whole: global sections, then local. */
    std::string runBothSizes(const std::string& className)
    {
        buildTree({{kGroup32, fillProcessing<kSample32>}, {kGroup64, fillProcessing<kSample64>}},
                  className);
        return runTree();
    }
};

TEST_F(ProcessExamples, QelGainPassesEveryProcessingTest)
{
    ASSERT_TRUE(loadModule(exampleModule("QelGain.qel3")));
    const std::string name = "Qel Gain";
    std::string expected;
    for (const std::string& kind : {kGlobal, kLocal})
        for (const std::string& group : {kGroup32, kGroup64})
            expected += groupPassed(logPrefix(kind, name, group), "0");
    EXPECT_EQ(runBothSizes(name), expected);
}

/** An instrument without audio input: nothing to flag, and its tail is not checked. */
std::string synthSection(const std::string& p)
{
    return passed(p + "Process Test") + passed(p + "Silence Flags") + banner("Silence Flags") +
           passed(p + "Silence Processing") + banner("Silence Processing") +
           passed(p + "Check Tail processing") + passed(p + "Variable Block Size") +
           banner("Variable Block Size") + formatPassed(p) +
           passed(p + "Process function running in another thread");
}

TEST_F(ProcessExamples, QelSynthPassesEveryProcessingTest)
{
    ASSERT_TRUE(loadModule(exampleModule("QelSynth.qel3")));
    const std::string name = "Qel Synth";
    std::string expected;
    for (const std::string& kind : {kGlobal, kLocal})
        for (const std::string& group : {kGroup32, kGroup64})
            expected += synthSection(logPrefix(kind, name, group));
    EXPECT_EQ(runBothSizes(name), expected);
}

constexpr SpeakerArrangement kMono = 0x80000;
constexpr SpeakerArrangement kStereo = 0x3;

template <int32 Size> void fillPairs(FTestNode& group, PlugProvider& provider)
{
    const std::pair<SpeakerArrangement, SpeakerArrangement> pairs[] = {
        {kMono, kMono}, {kStereo, kStereo}, {kMono, kStereo}, {0x7, 0x7}};
    for (auto [in, out] : pairs)
        addTest<QelSpeakerArrangementTest>(group, provider, Size, in, out);
}

const std::string kArrangements32 = kGroup32 + "/Speaker Arrangements";
const std::string kArrangements64 = kGroup64 + "/Speaker Arrangements";
const std::string kMonoMono = "In: Mono: 1 Channels, Out: Mono: 1 Channels";
const std::string kStereoStereo = "In: Stereo: 2 Channels, Out: Stereo: 2 Channels";
const std::string kMonoStereo = "In: Mono: 1 Channels, Out: Stereo: 2 Channels";
const std::string kCine = "In: 30Cine: 3 Channels, Out: 30Cine: 3 Channels";

std::string notSupported(const std::string& wanted, const std::string& direction)
{
    return message("    " + wanted + " " + direction +
                   "-SpeakerArrangement is not supported. Plug-in suggests: Stereo.");
}

TEST_F(ProcessExamples, QelGainTakesMonoAndStereoOnBothSidesAlike)
{
    ASSERT_TRUE(loadModule(exampleModule("QelGain.qel3")));
    const std::string name = "Qel Gain";
    buildTree({{kArrangements32, fillPairs<kSample32>}, {kArrangements64, fillPairs<kSample64>}},
              name);
    std::string expected;
    for (const std::string& group : {kArrangements32, kArrangements64})
    {
        const std::string p = logPrefix(kLocal, name, group);
        expected += passed(p + kMonoMono) + banner(kMonoMono) + passed(p + kStereoStereo) +
                    banner(kStereoStereo) + passed(p + kMonoStereo) + banner(kMonoStereo) +
                    notSupported("Mono", "Input") + passed(p + kCine) + banner(kCine) +
                    notSupported("30Cine", "Input") + notSupported("30Cine", "Output");
    }
    EXPECT_EQ(runTree({groupPath(kLocal, name, kArrangements32),
                       groupPath(kLocal, name, kArrangements64)}),
              expected);
}

TEST_F(ProcessExamples, QelSynthKeepsItsStereoOutput)
{
    ASSERT_TRUE(loadModule(exampleModule("QelSynth.qel3")));
    const std::string name = "Qel Synth";
    buildTree({{kArrangements32, fillPairs<kSample32>}}, name);
    const std::string p = logPrefix(kLocal, name, kArrangements32);
    EXPECT_EQ(runTree({groupPath(kLocal, name, kArrangements32)}),
              passed(p + kMonoMono) + banner(kMonoMono) + notSupported("Mono", "Output") +
                  passed(p + kStereoStereo) + banner(kStereoStereo) + passed(p + kMonoStereo) +
                  banner(kMonoStereo) + passed(p + kCine) + banner(kCine) +
                  notSupported("30Cine", "Output"));
}

} // namespace
