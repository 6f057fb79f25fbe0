// The nine state and bus tests over each class of the fixture module fx_state_faults.so, each
// class wrong in one way (or answering refused calls in one way): the whole log of a run over the
// class's fresh instances, as each test is meant to report it.
#include "conformity/state/statetestsupport.h"

#include <cstdio>

using namespace Quillmark;
using namespace Quillmark::testing;

namespace
{

const std::vector<std::string> kStereoActivation = {
    "   Bus Activation: Input Audio Bus (0) (kMain)",
    "   Bus Activation: Output Audio Bus (0) (kMain)",
};
const std::vector<std::string> kStereoArrangement = {
    "   Check Input Audio Bus Arrangement (0)",
    "   Check Output Audio Bus Arrangement (0)",
};

/** A class with one stereo input and output whose refused calls answer kResultFalse: it passes
    everything but the invalid transitions, whose first step (a second initialize) must not
    answer kResultFalse. */
StateReport stereoReport()
{
    StateReport report;
    report.busActivation.messages = kStereoActivation;
    report.checkArrangement.messages = kStereoArrangement;
    report.invalidTransition.passed = false;
    return report;
}

class StateFaultsTest : public ConformityRun
{
protected:
    /** Runs the nine tests over fresh instances of the class; answers the log. */
    std::string runClass(const std::string& name)
    {
        EXPECT_TRUE(loadModule(fixture("fx_state_faults.so")));
        buildTree(allGroups(), name);
        const std::string provider = "Local Instances/" + name + "/Local Instances/";
        return runTree({provider + "QEL3 Conformity", provider + "Robustness"});
    }

    static std::string provider(const std::string& name)
    {
        return "Root/Local Instances/" + name + "/Local Instances/";
    }
};

TEST_F(StateFaultsTest, NameTailThatChangesBetweenCallsMakesEveryQueryInconsistent)
{
    // One audio input, one audio output and one event input: 21 queries each, all differing
    // behind the terminator of the name.
    StateReport report = stereoReport();
    report.busConsistency = {false,
                             {},
                             {"The component returned 63 inconsistent busses! (getBusInfo () "
                              "returns sometime different info for the same bus!"}};
    report.busActivation.messages.push_back("   Bus Activation: Input Event Bus (0) (kMain)");
    EXPECT_EQ(runClass("State Tail Noise"), expectedLog(provider("State Tail Noise"), report));
}

TEST_F(StateFaultsTest, ClassWithoutBussesPassesEveryBusTestWithTheBannerOnly)
{
    StateReport report;
    report.invalidTransition.passed = false;
    EXPECT_EQ(runClass("State No Busses"), expectedLog(provider("State No Busses"), report));
}

TEST_F(StateFaultsTest, EveryAudioBusWithAWrongChannelCountIsReported)
{
    StateReport report = stereoReport();
    report.busActivation.messages.push_back("   Bus Activation: Output Audio Bus (1) (kAux)");
    report.checkArrangement = {false,
                               {"   Check Input Audio Bus Arrangement (0)",
                                "   Check Output Audio Bus Arrangement (0)",
                                "   Check Output Audio Bus Arrangement (1)"},
                               {"channelCount is inconsistent!", "channelCount is inconsistent!"}};
    EXPECT_EQ(runClass("State Channel Mismatch"),
              expectedLog(provider("State Channel Mismatch"), report));
}

TEST_F(StateFaultsTest, FailingTerminateGivesOneErrorWhenInitializeSucceeds)
{
    StateReport report = stereoReport();
    report.terminateInitialize = {false, {}, {"IPluginBase::terminate () failed."}};
    report.validTransition.passed = false;
    report.repeatTransition.passed = false;
    EXPECT_EQ(runClass("State Terminate Fails"),
              expectedLog(provider("State Terminate Fails"), report));
}

TEST_F(StateFaultsTest, RefusedBusSwitchesAreReportedOnceAfterEveryBus)
{
    StateReport report = stereoReport();
    report.busActivation = {false,
                            {"   Bus Activation: Input Audio Bus (0) (kMain)",
                             "   Bus Activation: Input Audio Bus (1) (kAux)",
                             "   Bus Activation: Output Audio Bus (0) (kMain)",
                             "   Bus Activation: Input Event Bus (0) (kMain)",
                             "   Bus Activation: Output Event Bus (0) (kAux)"},
                            {"Bus activation failed."}};
    report.checkArrangement.messages = {"   Check Input Audio Bus Arrangement (0)",
                                        "   Check Input Audio Bus Arrangement (1)",
                                        "   Check Output Audio Bus Arrangement (0)"};
    EXPECT_EQ(runClass("State Bus Switch Refused"),
              expectedLog(provider("State Bus Switch Refused"), report));
}

TEST_F(StateFaultsTest, ClassThatRefusesBothSampleSizesFailsSuspendResume)
{
    StateReport report = stereoReport();
    report.suspendResume = {false, {}, {"No appropriate symbolic sample size supported!"}};
    EXPECT_EQ(runClass("State No Sample Size"),
              expectedLog(provider("State No Sample Size"), report));
}

TEST_F(StateFaultsTest, ClassWithOnly64BitProcessingPassesSuspendResume)
{
    EXPECT_EQ(runClass("State Only 64"), expectedLog(provider("State Only 64"), stereoReport()));
}

TEST_F(StateFaultsTest, RefusedProcessSetupFailsSuspendResume)
{
    StateReport report = stereoReport();
    report.suspendResume = {false, {}, {"Process setup failed!"}};
    EXPECT_EQ(runClass("State Setup Refused"),
              expectedLog(provider("State Setup Refused"), report));
}

TEST_F(StateFaultsTest, SecondActivationRefusedFailsSuspendResumeWithoutText)
{
    StateReport report = stereoReport();
    report.suspendResume.passed = false;
    report.validTransition.passed = false;
    EXPECT_EQ(runClass("State Single Activation"),
              expectedLog(provider("State Single Activation"), report));
}

TEST_F(StateFaultsTest, SecondInitializeRefusedFailsTerminateInitialize)
{
    StateReport report = stereoReport();
    report.terminateInitialize = {false, {}, {"IPluginBase::initialize (..) failed."}};
    report.validTransition.passed = false;
    report.repeatTransition.passed = false;
    EXPECT_EQ(runClass("State Single Life"), expectedLog(provider("State Single Life"), report));
}

TEST_F(StateFaultsTest, StrictClassPassesInvalidTransitionsButNotTheRepeatTest)
{
    // A second initialize answers kNotImplemented: anything but kResultFalse is right for the
    // invalid transitions, while the repeat test wants exactly kResultFalse.
    StateReport report = stereoReport();
    report.invalidTransition.passed = true;
    report.repeatTransition.passed = false;
    EXPECT_EQ(runClass("State Strict"), expectedLog(provider("State Strict"), report));
}

TEST_F(StateFaultsTest, ClassThatAcceptsEveryCallFailsBothRefusalTests)
{
    StateReport report = stereoReport();
    report.repeatTransition.passed = false;
    EXPECT_EQ(runClass("State Lenient"), expectedLog(provider("State Lenient"), report));
}

TEST_F(StateFaultsTest, RepeatedDeactivateAndTerminateMayAnswerAnyRefusal)
{
    EXPECT_EQ(runClass("State Repeat Codes"),
              expectedLog(provider("State Repeat Codes"), stereoReport()));
}

TEST_F(StateFaultsTest, RepeatedActivationMustAnswerExactlyResultFalse)
{
    StateReport report = stereoReport();
    report.repeatTransition.passed = false;
    EXPECT_EQ(runClass("State Activate Again Error"),
              expectedLog(provider("State Activate Again Error"), report));
}

TEST_F(StateFaultsTest, CountedBusWithoutRecordStopsTheTestsThatDescribeEachBus)
{
    // Two audio outputs counted, one described. The consistency test ignores the failing call
    // (both records stay zero); the other two stop there with their own texts.
    StateReport report = stereoReport();
    report.busActivation.passed = false;
    report.busActivation.errors = {"IComponent::getBusInfo (..) failed."};
    report.checkArrangement = {false,
                               {"   Check Input Audio Bus Arrangement (0)",
                                "   Check Output Audio Bus Arrangement (0)",
                                "   Check Output Audio Bus Arrangement (1)"},
                               {"IComponent::getBusInfo (..) failed!"}};
    EXPECT_EQ(runClass("State Missing Bus Record"),
              expectedLog(provider("State Missing Bus Record"), report));
}

TEST_F(StateFaultsTest, MissingArrangementStopsAtTheFirstBus)
{
    StateReport report = stereoReport();
    report.checkArrangement = {false,
                               {"   Check Input Audio Bus Arrangement (0)"},
                               {"IAudioProcessor::getBusArrangement (..) failed!"}};
    EXPECT_EQ(runClass("State No Arrangement"),
              expectedLog(provider("State No Arrangement"), report));
}

TEST_F(StateFaultsTest, ClassWithoutAudioProcessorCannotRunSuspendResumeAndSkipsArrangements)
{
    StateReport report = stereoReport();
    report.suspendResume = {false, {}, {}, false};
    report.checkArrangement.messages.clear();
    EXPECT_EQ(runClass("State No Processor"), expectedLog(provider("State No Processor"), report));
}

TEST_F(StateFaultsTest, RecordWrittenForAnIndexBeyondTheLastBusCountsInEveryLaterQuery)
{
    FixtureCallLog calls(temp.file("calls.txt"));
    const std::string log = runClass("State Clamped Index");

    // Only the invalid index test asks for an index above the two audio busses. The class
    // answers the first such query of each direction with its last bus and leaves the record
    // alone afterwards; since the test never clears the record, each of its audio queries
    // counts from the first on. The event busses have nothing to answer with.
    int audioQueries = 0;
    int eventQueries = 0;
    for (const std::string& line : calls.linesStartingWith("clamped-index getBusInfo "))
    {
        int type = -1;
        int direction = -1;
        int index = -1;
        ASSERT_EQ(std::sscanf(line.c_str(), "clamped-index getBusInfo %d %d %d", &type, &direction,
                              &index),
                  3)
            << line;
        if (type == 0 && index > 2)
            ++audioQueries;
        if (type == 1)
        {
            EXPECT_GT(index, 0) << line;
            ++eventQueries;
        }
    }
    // 41 draws per direction for the audio busses, one per direction for the event busses;
    // draws at or below the bound make no query.
    EXPECT_GT(audioQueries, 70);
    EXPECT_LE(audioQueries, 82);
    EXPECT_LE(eventQueries, 2);

    StateReport report = stereoReport();
    report.busInvalidIndex = {false,
                              {},
                              {"The component returned " + std::to_string(audioQueries) +
                               " busses queried with an invalid index!"}};
    EXPECT_EQ(log, expectedLog(provider("State Clamped Index"), report));
}

} // namespace
