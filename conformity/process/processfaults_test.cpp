// The processing tests over effects that each get one part of processing wrong: the whole log
// section of each, as a run writes it.
#include "conformity/process/processtestsupport.h"

#include <regex>

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::testing;

namespace
{

const std::string kLocal = "Local Instances";
const std::string kGlobal = "Global Instance";

class ProcessFaults : public ConformityRun
{
protected:
    void SetUp() override { ASSERT_TRUE(loadModule(fixture("fx_process_faults.so"))); }

    /** Builds `group` over `className` and runs it under `kind`; answers the log. */
    std::string run(const std::string& className, const std::string& group,
                    FTreeBuilder::GroupFiller fill, const std::string& kind = kLocal)
    {
        buildTree({{group, fill}}, className);
        return runTree({groupPath(kind, className, group)});
    }
};

TEST_F(ProcessFaults, RefusedBlocksFailEveryTestButProcessFormat)
{
    const std::string name = "Fixture Process Block Refusing";
    const std::string p = logPrefix(kLocal, name, kGroup32);
    std::string log = run(name, kGroup32, fillProcessing<kSample32>);

    // The random block size that failed is the one number not known beforehand: any odd size,
    // or 64. It is read from the log and checked.
    std::smatch found;
    ASSERT_TRUE(std::regex_search(log, found, std::regex("an audioblock of size ([0-9]+)\r\n")))
        << log;
    const int size = std::stoi(found[1]);
    EXPECT_TRUE(size % 2 == 1 || size == 64) << size;
    EXPECT_LT(size, 8192);

    std::string format = passed(p + "Process Format") + banner("Process Format") +
                         message("***Tested Sample Rates***");
    for (const std::string& rate : kRateTexts)
        format += error(rate + " Hz - failed to process!");

    EXPECT_EQ(
        log,
        failed(p + "Process Test") + error("IAudioProcessor::process (..) failed.") +
            failed(p + "Silence Flags") + banner("Silence Flags") +
            error("The component failed to process bus 0 with silence flag combination 0!") +
            failed(p + "Silence Processing") + banner("Silence Processing") +
            error("The component failed to process!") + failed(p + "Check Tail processing") +
            tailBanner("0") + error("IAudioProcessor::process (..) failed.") +
            failed(p + "Variable Block Size") + banner("Variable Block Size") +
            error("The component failed to process an audioblock of size " + std::to_string(size)) +
            format + failed(p + "Process function running in another thread") +
            error("Processing failed."));
}

std::string wrongSilenceSection(const std::string& p)
{
    return passed(p + "Process Test") + failed(p + "Silence Flags") + banner("Silence Flags") +
           error("The component failed to process bus 1 with silence flag combination a!") +
           passed(p + "Silence Processing") + banner("Silence Processing") +
           message("The component reported a wrong silent flag for its output buffer! : output "
                   "is silent but silenceFlags not set !") +
           message("The component reported a wrong silent flag for its output buffer! : "
                   "silenceFlags is set to silence but output is not silent") +
           failed(p + "Check Tail processing") + tailBanner("0") +
           error("IAudioProcessor::process (..) generates non silent output for silent input "
                 "for tail above 0 samples.") +
           passed(p + "Variable Block Size") + banner("Variable Block Size") + formatPassed(p) +
           passed(p + "Process function running in another thread");
}

TEST_F(ProcessFaults, WrongSilenceFlagsAreReportedAtTheThresholdOfEachSampleSize)
{
    const std::string name = "Fixture Process Wrong Silence";
    EXPECT_EQ(run(name, kGroup32, fillProcessing<kSample32>),
              wrongSilenceSection(logPrefix(kLocal, name, kGroup32)));
    EXPECT_EQ(run(name, kGroup64, fillProcessing<kSample64>),
              wrongSilenceSection(logPrefix(kLocal, name, kGroup64)));
}

TEST_F(ProcessFaults, WithoutSixtyFourBitsEveryTestPassesWithItsOneMessage)
{
    const std::string name = "Fixture Process No 64";
    const std::string p = logPrefix(kLocal, name, kGroup64);
    const std::string notSupported = message("64bit Audio Processing not supported.");
    EXPECT_EQ(run(name, kGroup64, fillProcessing<kSample64>),
              passed(p + "Process Test") + notSupported + passed(p + "Silence Flags") +
                  notSupported + passed(p + "Silence Processing") + notSupported +
                  passed(p + "Check Tail processing") + notSupported +
                  passed(p + "Variable Block Size") + notSupported + passed(p + "Process Format") +
                  notSupported + passed(p + "Process function running in another thread") +
                  notSupported);
    EXPECT_EQ(run(name, kGroup32, fillProcessing<kSample32>),
              groupPassed(logPrefix(kLocal, name, kGroup32), "0"));
}

TEST_F(ProcessFaults, SoundPastTheDeclaredTailFailsInBothSampleSizes)
{
    const std::string name = "Fixture Tail Overrun";
    for (const auto& [group, fill] :
         {std::pair{kGroup32, &fillTail<kSample32>}, std::pair{kGroup64, &fillTail<kSample64>}})
        EXPECT_EQ(run(name, group, fill),
                  failed(logPrefix(kLocal, name, group) + "Check Tail processing") +
                      tailBanner("100") +
                      error("IAudioProcessor::process (..) generates non silent output for "
                            "silent input for tail above 100 samples."));
}

TEST_F(ProcessFaults, ATailThatEndsOnItsLastDeclaredSamplePasses)
{
    const std::string name = "Fixture Tail Honest";
    EXPECT_EQ(run(name, kGroup32, fillTail<kSample32>),
              passed(logPrefix(kLocal, name, kGroup32) + "Check Tail processing") +
                  tailBanner("100"));
}

TEST_F(ProcessFaults, AnInfiniteTailIsPrintedSignedAndNeverChecked)
{
    const std::string name = "Fixture Tail Endless";
    EXPECT_EQ(run(name, kGroup32, fillTail<kSample32>),
              passed(logPrefix(kLocal, name, kGroup32) + "Check Tail processing") +
                  tailBanner("-1"));
}

TEST_F(ProcessFaults, AnInstrumentIsNotCheckedAndGetsNoBanner)
{
    const std::string name = "Fixture Tail Instrument";
    EXPECT_EQ(run(name, kGroup32, fillTail<kSample32>),
              passed(logPrefix(kLocal, name, kGroup32) + "Check Tail processing"));
}

constexpr SpeakerArrangement kMono = 0x80000;
constexpr SpeakerArrangement kStereo = 0x3;

void fillPairs(FTestNode& group, PlugProvider& provider)
{
    const std::pair<SpeakerArrangement, SpeakerArrangement> pairs[] = {
        {kMono, kMono}, {kStereo, 0x37}, {kStereo, kStereo}, {0x30, 0x600}, {kStereo, 0x3B}};
    for (auto [in, out] : pairs)
        addTest<QelSpeakerArrangementTest>(group, provider, kSample32, in, out);
}

const std::string kArrangements = "QEL3 Conformity/Audio Processing 32bit/Speaker Arrangements";
const std::string kMonoMono = "In: Mono: 1 Channels, Out: Mono: 1 Channels";
const std::string kStereo50 = "In: Stereo: 2 Channels, Out: 50: 5 Channels";
const std::string kStereoStereo = "In: Stereo: 2 Channels, Out: Stereo: 2 Channels";
const std::string kSurroundSide = "In: StereoSurround: 2 Channels, Out: StereoSide: 2 Channels";
const std::string kStereoQuadroLfe = "In: Stereo: 2 Channels, Out: 41Music: 5 Channels";

TEST_F(ProcessFaults, RefusedArrangementsAreReportedWithTheSuggestionAndPass)
{
    const std::string name = "Fixture Arrangement Refusing";
    const std::string p = logPrefix(kLocal, name, kArrangements);
    EXPECT_EQ(
        run(name, kArrangements, fillPairs),
        passed(p + kMonoMono) + banner(kMonoMono) +
            message("    Mono Input-SpeakerArrangement is not supported. Plug-in suggests: "
                    "Stereo.") +
            message("    Mono Output-SpeakerArrangement is not supported. Plug-in suggests: "
                    "Stereo.") +
            passed(p + kStereo50) + banner(kStereo50) +
            message("    50 Output-SpeakerArrangement is not supported. Plug-in suggests: "
                    "Stereo.") +
            passed(p + kStereoStereo) + banner(kStereoStereo) + passed(p + kSurroundSide) +
            banner(kSurroundSide) +
            message("    StereoSurround Input-SpeakerArrangement is not supported. Plug-in "
                    "suggests: Stereo.") +
            message("    StereoSide Output-SpeakerArrangement is not supported. Plug-in "
                    "suggests: Stereo.") +
            passed(p + kStereoQuadroLfe) + banner(kStereoQuadroLfe) +
            message("    41Music Output-SpeakerArrangement is not supported. Plug-in suggests: "
                    "Stereo."));
}

TEST_F(ProcessFaults, AChannelCountThatDisagreesWithATakenArrangementFails)
{
    const std::string name = "Fixture Arrangement Inconsistent";
    const std::string p = logPrefix(kLocal, name, kArrangements);
    const std::string mismatch =
        error("SpeakerArrangement mismatch (BusInfo::channelCount inconsistency).");
    EXPECT_EQ(run(name, kArrangements, fillPairs),
              failed(p + kMonoMono) + banner(kMonoMono) + mismatch + failed(p + kStereo50) +
                  banner(kStereo50) + mismatch + passed(p + kStereoStereo) + banner(kStereoStereo) +
                  passed(p + kSurroundSide) + banner(kSurroundSide) + failed(p + kStereoQuadroLfe) +
                  banner(kStereoQuadroLfe) + mismatch);
}

TEST_F(ProcessFaults, TheWaitOutlastsASlowWorkerAndSeesItsLastFailure)
{
    // The worker's first call sleeps and its last one fails: a verdict read before the worker
    // ends would be a pass.
    const std::string name = "Fixture Process Slow Thread";
    const std::string p = logPrefix(kLocal, name, kGroup32);
    std::string expected = groupPassed(p, "0");
    const std::string threadPassed = passed(p + "Process function running in another thread");
    ASSERT_EQ(expected.rfind(threadPassed), expected.size() - threadPassed.size());
    expected.resize(expected.size() - threadPassed.size());
    expected +=
        failed(p + "Process function running in another thread") + error("Processing failed.");
    EXPECT_EQ(run(name, kGroup32, fillProcessing<kSample32>), expected);
}

TEST_F(ProcessFaults, RefusedSampleRatesAreListedAsErrorsButTheFormatTestPasses)
{
    const std::string name = "Fixture Rate Refusing";
    const std::string p = logPrefix(kGlobal, name, kGroup32);
    const std::string format =
        passed(p + "Process Format") + banner("Process Format") +
        message("***Tested Sample Rates***") + message("      22050 Hz - processed successfully!") +
        message("      32000 Hz - processed successfully!") +
        message("      44100 Hz - processed successfully!") +
        message("      48000 Hz - processed successfully!") +
        message("      88200 Hz - processed successfully!") +
        message("     192000 Hz - processed successfully!") +
        message("  12345.678 Hz - processed successfully!") +
        message("  123456.78 Hz - processed successfully!") +
        error("      96000 Hz - failed to process!") +
        error("IAudioProcessor::setupProcessing (..) failed for samplerate 1234.568 Hz! ") +
        error("IAudioProcessor::setupProcessing (..) failed for samplerate 1234567.800 Hz! ");
    std::string expected = groupPassed(p, "0");
    const std::string formatPassedText = formatPassed(p);
    const size_t at = expected.find(formatPassedText);
    ASSERT_NE(at, std::string::npos);
    expected.replace(at, formatPassedText.size(), format);
    // One shared instance: each test sets it up and activates it anew, whatever the one before
    // left behind.
    EXPECT_EQ(run(name, kGroup32, fillProcessing<kSample32>, kGlobal), expected);
}

} // namespace
