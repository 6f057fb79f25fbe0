// The calls that single state and bus tests make into a fixture class, read from the fixture's
// call log: what the logs of a run cannot show, such as where a failing test stopped, which
// sample size was set up, or the state each bus was left in.
#include "conformity/state/statetestsupport.h"

using namespace Quillmark;
using namespace Quillmark::testing;

namespace
{

using Calls = std::vector<std::string>;

template <class Test> void fillOne(FTestNode& group, Qel::PlugProvider& provider)
{
    addStateTest<Test>(group, provider);
}

void fillSuspendResume(FTestNode& group, Qel::PlugProvider& provider)
{
    addStateTest<Qel::QelSuspendResumeTest>(group, provider, int32(Qel::kSample32));
}

// What a local provider and the base class do around every test: create and initialize, switch
// the first audio busses on, and at the end off again, then terminate.
const Calls kBefore = {"initialize", "activateBus 0 0 0 1", "activateBus 0 1 0 1"};
const Calls kAfter = {"activateBus 0 0 0 0", "activateBus 0 1 0 0", "terminate"};

Calls framed(const Calls& calls)
{
    Calls result = kBefore;
    result.insert(result.end(), calls.begin(), calls.end());
    result.insert(result.end(), kAfter.begin(), kAfter.end());
    return result;
}

class StateCallsTest : public ConformityRun
{
protected:
    /** Runs the one test that `fill` makes over a fresh instance of the fixture class tagged
        `tag` in the call log; answers the calls it received, without the tag. */
    Calls callsOf(const std::string& className, const std::string& tag,
                  FTreeBuilder::GroupFiller fill, bool* passed = nullptr)
    {
        EXPECT_TRUE(loadModule(fixture("fx_state_faults.so")));
        buildTree({{"QEL3 Conformity/Under Test", fill}}, className);
        FixtureCallLog log(temp.file("calls.txt"));
        const std::string group =
            "Local Instances/" + className + "/Local Instances/QEL3 Conformity/Under Test";
        const std::string text = runTree({group});
        if (passed)
            *passed = text.rfind("Test: Passed: ", 0) == 0;
        Calls calls;
        for (const std::string& line : log.linesStartingWith(tag + " "))
            calls.push_back(line.substr(tag.size() + 1));
        return calls;
    }
};

TEST_F(StateCallsTest, SuspendResumeSetsUpTheOnlySampleSizeOfferedInEachOfThreePasses)
{
    const Calls pass = {"canProcessSampleSize 0", "canProcessSampleSize 1", "setupProcessing 1",
                        "setActive 1", "setActive 0"};
    Calls expected;
    for (int round = 0; round < 3; ++round)
        expected.insert(expected.end(), pass.begin(), pass.end());
    bool passed = false;
    EXPECT_EQ(callsOf("State Only 64", "only-64", fillSuspendResume, &passed), framed(expected));
    EXPECT_TRUE(passed);
}

TEST_F(StateCallsTest, SuspendResumeStopsAtTheFirstRefusedActivation)
{
    bool passed = true;
    EXPECT_EQ(callsOf("State Single Activation", "single-activation", fillSuspendResume, &passed),
              framed({"canProcessSampleSize 0", "setupProcessing 0", "setActive 1", "setActive 0",
                      "canProcessSampleSize 0", "setupProcessing 0", "setActive 1"}));
    EXPECT_FALSE(passed);
}

TEST_F(StateCallsTest, TerminateInitializeInitializesAgainAfterAFailedTerminate)
{
    bool passed = true;
    EXPECT_EQ(callsOf("State Terminate Fails", "terminate-fails",
                      fillOne<Qel::QelTerminateInitializeTest>, &passed),
              framed({"terminate", "initialize"}));
    EXPECT_FALSE(passed);
}

TEST_F(StateCallsTest, ValidTransitionsMakeThreeRoundsOfTheLifeCycle)
{
    const Calls round = {"setActive 1", "setActive 0", "terminate", "initialize"};
    Calls expected;
    for (int pass = 0; pass < 3; ++pass)
        expected.insert(expected.end(), round.begin(), round.end());
    bool passed = false;
    EXPECT_EQ(callsOf("State Strict", "strict", fillOne<Qel::QelValidStateTransitionTest>, &passed),
              framed(expected));
    EXPECT_TRUE(passed);
}

TEST_F(StateCallsTest, ValidTransitionsStopAtTheFirstRefusedCall)
{
    EXPECT_EQ(
        callsOf("State Single Life", "single-life", fillOne<Qel::QelValidStateTransitionTest>),
        framed({"setActive 1", "setActive 0", "terminate", "initialize"}));
}

TEST_F(StateCallsTest, InvalidTransitionsMakeAllNineCallsWhenEachIsRefusedAsExpected)
{
    bool passed = false;
    EXPECT_EQ(
        callsOf("State Strict", "strict", fillOne<Qel::QelInvalidStateTransitionTest>, &passed),
        framed({"initialize", "setActive 0", "setActive 1", "initialize", "setActive 0",
                "initialize", "terminate", "setActive 0", "terminate"}));
    EXPECT_TRUE(passed);
}

TEST_F(StateCallsTest, InvalidTransitionsStopAtTheFirstAcceptedInvalidCall)
{
    // A second initialize answering kResultOk is no failure; a deactivation while inactive is.
    EXPECT_EQ(callsOf("State Lenient", "lenient", fillOne<Qel::QelInvalidStateTransitionTest>),
              framed({"initialize", "setActive 0"}));
}

TEST_F(StateCallsTest, RepeatedTransitionsMakeAllEightCallsWhenEachAnswersAsRequired)
{
    bool passed = false;
    EXPECT_EQ(callsOf("State Repeat Codes", "repeat-codes",
                      fillOne<Qel::QelRepeatIdenticalStateTransitionTest>, &passed),
              framed({"initialize", "setActive 1", "setActive 1", "setActive 0", "setActive 0",
                      "terminate", "terminate", "initialize"}));
    EXPECT_TRUE(passed);
}

TEST_F(StateCallsTest, RepeatedTransitionsStopAtAnActivationThatAnswersAnotherError)
{
    EXPECT_EQ(callsOf("State Activate Again Error", "activate-again-error",
                      fillOne<Qel::QelRepeatIdenticalStateTransitionTest>),
              framed({"initialize", "setActive 1", "setActive 1"}));
}

TEST_F(StateCallsTest, BusActivationLeavesEveryBusInItsDefaultStateEvenWhenRefused)
{
    // The aux busses are off by default: on, then off. The others off, then on.
    EXPECT_EQ(callsOf("State Bus Switch Refused", "bus-switch-refused",
                      fillOne<Qel::QelBusActivationTest>),
              framed({"getBusInfo 0 0 0", "activateBus 0 0 0 0", "activateBus 0 0 0 1",
                      "getBusInfo 0 0 1", "activateBus 0 0 1 1", "activateBus 0 0 1 0",
                      "getBusInfo 0 1 0", "activateBus 0 1 0 0", "activateBus 0 1 0 1",
                      "getBusInfo 1 0 0", "activateBus 1 0 0 0", "activateBus 1 0 0 1",
                      "getBusInfo 1 1 0", "activateBus 1 1 0 1", "activateBus 1 1 0 0"}));
}

TEST_F(StateCallsTest, BusConsistencyQueriesEachKindOfBusCountTimesTwentyPlusOneTimes)
{
    const Calls calls = callsOf("State Bus Switch Refused", "bus-switch-refused",
                                fillOne<Qel::QelBusConsistencyTest>);
    // Per media type and direction: each bus once to keep, then count x 20 + 1 random ones.
    const std::pair<std::string, int> kinds[] = {{"getBusInfo 0 0 ", 2},
                                                 {"getBusInfo 0 1 ", 1},
                                                 {"getBusInfo 1 0 ", 1},
                                                 {"getBusInfo 1 1 ", 1}};
    for (const auto& [prefix, count] : kinds)
    {
        int queries = 0;
        for (const std::string& call : calls)
            if (call.rfind(prefix, 0) == 0)
            {
                ++queries;
                EXPECT_LT(std::stoi(call.substr(prefix.size())), count) << call;
            }
        EXPECT_EQ(queries, count + count * 20 + 1) << prefix;
    }
}

TEST_F(StateCallsTest, BusInvalidIndexNeverAsksForAnIndexWithinTheBusCountOfTheMediaType)
{
    // One audio input and two audio outputs (one of them without a record): the bound is three
    // for both directions, so a query of index 1 to 3 would be one too many.
    const Calls calls = callsOf("State Missing Bus Record", "missing-bus-record",
                                fillOne<Qel::QelBusInvalidIndexTest>);
    int audio = 0;
    for (const std::string& call : calls)
    {
        int type = -1;
        int direction = -1;
        int index = -1;
        if (std::sscanf(call.c_str(), "getBusInfo %d %d %d", &type, &direction, &index) != 3)
            continue;
        EXPECT_GT(index, type == Qel::kAudio ? 3 : 0) << call;
        if (type == Qel::kAudio)
            ++audio;
    }
    // 61 draws per direction; the rare draw at or below the bound makes no query.
    EXPECT_GT(audio, 100);
    EXPECT_LE(audio, 122);
}

} // namespace
