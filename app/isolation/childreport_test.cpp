// The records between a test process and its parent, and what the parent makes of a process
// that dies: which test takes the blame, with which reason, and which tests did not run.
#include "app/isolation/childreport.h"
#include "hosting/ftestnode.h"

#include <gtest/gtest.h>

#include <csignal>

using namespace Quillmark;

TEST(ReportRecord, EveryTextSurvivesTheLineAndBrokenLinesAreRefused)
{
    const std::string awkward = "tab\there, line\nbreak, CR\r, back\\slash\\n, trailing\\";
    ReportRecord record{ReportRecord::kResult,
                        {"Root/a/b", awkward, "1", "1", "1", "12", "1", "4294967295"}};
    std::string line = record.encode();
    ASSERT_EQ(line.back(), '\n');
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    auto decoded = ReportRecord::decode(line.substr(0, line.size() - 1));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->kind, ReportRecord::kResult);
    EXPECT_EQ(decoded->fields, record.fields);

    auto done = ReportRecord::decode("D\t7");
    ASSERT_TRUE(done);
    EXPECT_EQ(done->fields, std::vector<std::string>{"7"});
    auto empty = ReportRecord::decode("B\t");
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->fields, std::vector<std::string>{""});

    EXPECT_FALSE(ReportRecord::decode(""));
    EXPECT_FALSE(ReportRecord::decode("X\tpath"));           // no such kind
    EXPECT_FALSE(ReportRecord::decode("Bpath"));             // no tab after the kind
    EXPECT_FALSE(ReportRecord::decode("P\tonly the path"));  // a field missing
    EXPECT_FALSE(ReportRecord::decode("D\t1\tsurplus"));     // a field too many
    EXPECT_FALSE(ReportRecord::decode("AddressSanitizer:")); // output that is no record
}

namespace
{

const std::string kProvider = "Root/Global Instance/Fx/Global Instance";
const std::string kFirst = kProvider + "/QEL3 Conformity/General/Scan Parameters";
const std::string kSecond = kProvider + "/QEL3 Conformity/General/MIDI Mapping";
const std::string kThird = kProvider + "/Special Features/Process Test";

/** A report over a plan of three tests below one provider, and what its listener heard. */
class Blame : public ::testing::Test
{
protected:
    Blame()
        : report("Root/Global Instance/Fx",
                 {[this](const std::string& path, const std::string&) { planned.push_back(path); },
                  [this](const std::string& path, const std::string&) { started.push_back(path); },
                  [this](const TestOutcome& outcome) { finished.push_back(outcome); }})
    {
    }

    void send(ReportRecord::Kind kind, std::vector<std::string> fields = {}, double now = 0.0)
    {
        // As the pipe hands lines over: without their newline.
        std::string line = ReportRecord{kind, std::move(fields)}.encode();
        line.pop_back();
        report.receiveLine(line, now);
    }
    void plan()
    {
        for (const std::string& path : {kFirst, kSecond, kThird})
            send(ReportRecord::kPlan, {path, kProvider});
    }
    void pass(const std::string& path)
    {
        send(ReportRecord::kBegin, {path});
        send(ReportRecord::kMessage, {"fine"});
        send(ReportRecord::kResult, {path, kProvider, "1", "1", "1", "250", "9", "9"});
    }
    static std::vector<std::string> paths(const std::vector<TestOutcome>& outcomes)
    {
        std::vector<std::string> result;
        for (const TestOutcome& outcome : outcomes)
            result.push_back(outcome.path);
        return result;
    }

    ChildReport report;
    std::vector<std::string> planned, started;
    std::vector<TestOutcome> finished;
};

ProcessEnd signalled(int signal)
{
    ProcessEnd end;
    end.kind = ProcessEnd::kSignalled;
    end.signal = signal;
    return end;
}

} // namespace

TEST_F(Blame, AFinishedRunBlamesNothing)
{
    plan();
    send(ReportRecord::kBegin, {"Root/Global Instance/Fx"});
    send(ReportRecord::kBegin, {kProvider});
    pass(kFirst);
    pass(kSecond);
    send(ReportRecord::kBegin, {kThird});
    send(ReportRecord::kError, {"wrong"});
    send(ReportRecord::kResult, {kThird, kProvider, "2", "2", "1", "5", "9", "12"});
    send(ReportRecord::kGroupEnd, {kProvider});
    EXPECT_EQ(report.getRandomState(), 12u);
    send(ReportRecord::kDone, {"12"});
    EXPECT_TRUE(report.isDone());
    EXPECT_EQ(planned, (std::vector<std::string>{kFirst, kSecond, kThird}));
    EXPECT_EQ(started, planned);
    ASSERT_EQ(finished.size(), 3u);
    EXPECT_TRUE(finished[0].passed());
    EXPECT_EQ(finished[0].messages, std::vector<std::string>{"fine"});
    EXPECT_DOUBLE_EQ(finished[0].seconds, 0.25);
    EXPECT_FALSE(finished[0].randomState) << "a test that drew nothing has no random state";
    EXPECT_FALSE(finished[2].passed());
    EXPECT_EQ(finished[2].randomState, 9u) << "where the sequence stood as the test began";
    EXPECT_EQ(finished[2].errors, std::vector<std::string>{"wrong"});
    EXPECT_TRUE(finished[2].messages.empty()) << "messages belong to the test they came with";

    ProcessEnd exited;
    exited.kind = ProcessEnd::kExited;
    ChildReport::Ending ending = report.end(exited, 1.0);
    EXPECT_FALSE(ending.blamed);
    EXPECT_TRUE(ending.notRun.empty());
}

TEST_F(Blame, TheRunningTestTakesTheSignalAndTheRestDidNotRun)
{
    plan();
    send(ReportRecord::kBegin, {kProvider}, 1.0);
    pass(kFirst);
    send(ReportRecord::kBegin, {kSecond}, 2.0);
    send(ReportRecord::kFatal, {"signal 11"});
    ChildReport::Ending ending = report.end(signalled(SIGSEGV), 5.0);
    ASSERT_TRUE(ending.blamed);
    const TestOutcome& blamed = *ending.blamed;
    EXPECT_EQ(blamed.path, kSecond);
    EXPECT_EQ(blamed.suite, kProvider);
    EXPECT_TRUE(blamed.leaf);
    EXPECT_FALSE(blamed.passed());
    EXPECT_EQ(blamed.summary, FTestNode::kFailed);
    ASSERT_EQ(blamed.errors.size(), 1u);
    EXPECT_NE(blamed.errors[0].find("SIGSEGV"), std::string::npos) << blamed.errors[0];
    EXPECT_EQ(blamed.errors[0].find(kProvider), std::string::npos) << "the test itself crashed";
    EXPECT_EQ(blamed.note, "SIGSEGV");
    EXPECT_DOUBLE_EQ(blamed.seconds, 3.0);
    EXPECT_EQ(paths(ending.notRun), std::vector<std::string>{kThird});
    EXPECT_FALSE(ending.notRun[0].ran);
}

TEST_F(Blame, ACrashWhileTheProviderPreparesFailsItsFirstTest)
{
    plan();
    send(ReportRecord::kBegin, {"Root/Global Instance/Fx"});
    send(ReportRecord::kBegin, {kProvider});
    ChildReport::Ending ending = report.end(signalled(SIGABRT), 1.0);
    ASSERT_TRUE(ending.blamed);
    EXPECT_EQ(ending.blamed->path, kFirst);
    EXPECT_NE(ending.blamed->errors.back().find("SIGABRT"), std::string::npos);
    EXPECT_NE(ending.blamed->errors.back().find(kProvider), std::string::npos)
        << "the error tells where the process died";
    EXPECT_EQ(paths(ending.notRun), (std::vector<std::string>{kSecond, kThird}));
}

TEST_F(Blame, ACrashBetweenTestsFailsTheNextOneOfTheGroup)
{
    plan();
    send(ReportRecord::kBegin, {kProvider});
    pass(kFirst);
    pass(kSecond);
    ChildReport::Ending ending = report.end(signalled(SIGBUS), 1.0);
    ASSERT_TRUE(ending.blamed);
    EXPECT_EQ(ending.blamed->path, kThird);
    EXPECT_TRUE(ending.notRun.empty());
}

TEST_F(Blame, ACrashInTheTeardownOfAGroupFailsTheGroup)
{
    plan();
    send(ReportRecord::kBegin, {kProvider});
    pass(kFirst);
    pass(kSecond);
    pass(kThird);
    ChildReport::Ending ending = report.end(signalled(SIGSEGV), 1.0);
    ASSERT_TRUE(ending.blamed);
    EXPECT_EQ(ending.blamed->path, kProvider);
    EXPECT_FALSE(ending.blamed->leaf);
    EXPECT_TRUE(ending.notRun.empty());
}

TEST_F(Blame, ADeathBeforeAnyPlanFailsTheUnit)
{
    ProcessEnd exited;
    exited.kind = ProcessEnd::kExited;
    exited.code = 3;
    ChildReport::Ending ending = report.end(exited, 1.0);
    ASSERT_TRUE(ending.blamed);
    EXPECT_EQ(ending.blamed->path, "Root/Global Instance/Fx");
    EXPECT_FALSE(ending.blamed->leaf);
    EXPECT_NE(ending.blamed->errors.back().find("status 3"), std::string::npos);
}

TEST_F(Blame, ATimeLimitAndAnUncaughtExceptionAreNamed)
{
    plan();
    send(ReportRecord::kBegin, {kFirst});
    ProcessEnd timedOut;
    timedOut.kind = ProcessEnd::kTimedOut;
    timedOut.timeLimit = 2.5;
    ChildReport::Ending ending = report.end(timedOut, 1.0);
    ASSERT_TRUE(ending.blamed);
    EXPECT_NE(ending.blamed->errors.back().find("2.5 s"), std::string::npos)
        << ending.blamed->errors.back();
    EXPECT_EQ(ending.blamed->note, "no progress for 2.5 s");

    ChildReport other("Root/Global Instance/Fx", {});
    auto sendOther = [&](ReportRecord::Kind kind, std::vector<std::string> fields) {
        other.receive({kind, std::move(fields)}, 0.0);
    };
    sendOther(ReportRecord::kPlan, {kFirst, kProvider});
    sendOther(ReportRecord::kBegin, {kFirst});
    // The handler of the abort that follows reports the signal too; the first note stands.
    sendOther(ReportRecord::kFatal, {"exception std::runtime_error: refuses"});
    sendOther(ReportRecord::kFatal, {"signal 6"});
    ChildReport::Ending thrown = other.end(signalled(SIGABRT), 1.0);
    ASSERT_TRUE(thrown.blamed);
    EXPECT_NE(thrown.blamed->errors.back().find("uncaught C++ exception: std::runtime_error: "
                                                "refuses"),
              std::string::npos)
        << thrown.blamed->errors.back();
}

TEST_F(Blame, AStoppedRunBlamesNobody)
{
    plan();
    send(ReportRecord::kBegin, {kFirst});
    ChildReport::Ending ending = report.end(signalled(SIGINT), 1.0, false);
    EXPECT_FALSE(ending.blamed);
    EXPECT_EQ(paths(ending.notRun), (std::vector<std::string>{kFirst, kSecond, kThird}));
}

TEST_F(Blame, TheEndTellsWhereANewProcessGoesOn)
{
    // Blamed in its test: the next process starts after that test.
    plan();
    send(ReportRecord::kBegin, {kProvider});
    EXPECT_FALSE(report.hasStartedTest()) << "a group is no test";
    pass(kFirst);
    EXPECT_TRUE(report.hasStartedTest());
    send(ReportRecord::kBegin, {kSecond});
    ChildReport::Ending ending = report.end(signalled(SIGSEGV), 1.0);
    EXPECT_EQ(ending.lastSettled, kSecond);
    EXPECT_EQ(paths(ending.notRun), std::vector<std::string>{kThird});

    // Dead while preparing: the first test took the blame, so the next one goes on after it.
    ChildReport preparing("Root/Global Instance/Fx", {});
    preparing.receive({ReportRecord::kPlan, {kFirst, kProvider}}, 0.0);
    preparing.receive({ReportRecord::kPlan, {kSecond, kProvider}}, 0.0);
    preparing.receive({ReportRecord::kBegin, {kProvider}}, 0.0);
    EXPECT_FALSE(preparing.hasStartedTest());
    ChildReport::Ending early = preparing.end(signalled(SIGABRT), 1.0);
    EXPECT_EQ(early.lastSettled, kFirst);
    EXPECT_NE(preparing.reasonOfEnd(signalled(SIGABRT)).find("SIGABRT"), std::string::npos);

    // Unblamed (stopped) with nothing run: nowhere to go on from.
    ChildReport stopped("Root/Global Instance/Fx", {});
    stopped.receive({ReportRecord::kPlan, {kFirst, kProvider}}, 0.0);
    ChildReport::Ending none = stopped.end(signalled(SIGINT), 1.0, false);
    EXPECT_TRUE(none.lastSettled.empty());
    EXPECT_EQ(none.notRun.size(), 1u);
}
