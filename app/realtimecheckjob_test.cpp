// The real-time check as a user runs it: verdict lines on stdout, the log, the JUnit report, the
// exit status, and the options that belong to the mode.
#include "app/commandline.h"
#include "app/junitvalidation.h"
#include "app/programtestsupport.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace Quillmark;
using namespace Quillmark::testing;
using namespace Quillmark::Qel::Examples;

namespace
{

class RealtimeCheckCommand : public ::testing::Test
{
protected:
    ProgramRun run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "--check-realtime");
        return runProgram(temp, config, arguments);
    }

    static int count(const std::string& text, const std::string& part)
    {
        int found = 0;
        for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++found;
        return found;
    }

    TempFolder temp;
    std::string config = temp.folder("config");
};

TEST_F(RealtimeCheckCommand, AFailedCheckIsReportedEverywhereAndExitsWithOne)
{
    const std::string log = temp.file("check.log");
    const std::string junit = temp.file("check.xml");
    ProgramRun result = run({"--class", kRealtimeNotFiniteName, fixture(kRealtimeFaultsModule),
                             "--seconds", "1", "--seed", "1", "--log", log, "--junit", junit});
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_NE(result.out.find("FAILED: Fixture RT NaN/NaN and Infinity ("), std::string::npos)
        << result.out;
    EXPECT_NE(result.out.find("    parameters: Mode="), std::string::npos) << result.out;
    EXPECT_EQ(count(result.out, "Passed: Fixture RT NaN/"), 6) << result.out;
    EXPECT_NE(result.out.find("6 passed, 1 failed\n"), std::string::npos) << result.out;

    const std::string logText = readFile(log);
    EXPECT_NE(logText.find("Real-time check of \"Fixture RT NaN\""), std::string::npos) << logText;
    EXPECT_NE(logText.find("seed 1"), std::string::npos) << logText;
    EXPECT_NE(logText.find("FAILED: Fixture RT NaN/NaN and Infinity"), std::string::npos);

    const std::string report = readFile(junit);
    EXPECT_EQ(count(report, "<testcase "), 7) << report;
    EXPECT_EQ(count(report, "<failure"), 1) << report;
    std::string validation;
    EXPECT_TRUE(validJUnit(junit, validation)) << validation;
}

TEST_F(RealtimeCheckCommand, ACleanPlugInExitsWithZeroAndTheSameSeedGivesTheSameVerdicts)
{
    ProgramRun first = run({"--class", kQelToneName, "--seconds", "0.5"});
    EXPECT_EQ(first.status, 0) << first.out << first.err;
    EXPECT_NE(first.out.find("7 passed, 0 failed\n"), std::string::npos) << first.out;
    // Without --log the log goes to the data folder.
    EXPECT_NE(readFile(config + "/RealtimeCheckLog.txt").find("Passed: Qel Tone/Block Cost"),
              std::string::npos);
}

TEST_F(RealtimeCheckCommand, AClassThatIsNotThereIsAUsageError)
{
    ProgramRun result = run({"--class", "No Such Plug-in", fixture(kRealtimeFaultsModule)});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("no class found named No Such Plug-in"), std::string::npos) << result.err;
}

TEST(RealtimeCheckCommandLine, OptionsBelongToTheMode)
{
    auto parse = [](std::vector<const char*> arguments)
    {
        arguments.insert(arguments.begin(), "Qel3PluginTestHost");
        return CommandLine::parse(int(arguments.size()), arguments.data());
    };
    CommandLine check = parse({"--check-realtime", "--class", "Qel Synth", "a.so", "--seconds",
                               "2.5", "--seed", "7", "--junit", "r.xml", "--log", "l.txt"});
    EXPECT_TRUE(check.error.empty()) << check.error;
    EXPECT_EQ(check.job, CommandLine::Job::kCheckRealtime);
    EXPECT_EQ(check.testClass, "Qel Synth");
    EXPECT_EQ(check.folders, std::vector<std::string>{"a.so"});
    EXPECT_DOUBLE_EQ(check.seconds, 2.5);
    EXPECT_EQ(check.seed, 7u);
    EXPECT_EQ(check.junitFile, "r.xml");
    EXPECT_EQ(check.logFile, "l.txt");
    EXPECT_DOUBLE_EQ(parse({"--check-realtime", "--class", "x"}).seconds, 20.0);

    EXPECT_EQ(parse({"--check-realtime"}).error, "--check-realtime needs --class NAME-OR-CID");
    EXPECT_EQ(parse({"--check-realtime", "--class", "x", "--seconds", "0"}).error,
              "--seconds needs a number of seconds above 0, not: 0");
    EXPECT_EQ(parse({"--check-realtime", "--class", "x", "--seconds", "ten"}).error,
              "--seconds needs a number of seconds above 0, not: ten");
    EXPECT_EQ(parse({"--test", "--seconds", "3"}).error, "--seconds belongs to --check-realtime");
    EXPECT_EQ(parse({"--check-realtime", "--class", "x", "--isolate"}).error,
              "--isolate belongs to --test");
    EXPECT_EQ(parse({"--check-realtime", "--class", "x", "--seed", "1", "--repeat", "2"}).error,
              "--check-realtime takes --seed, --log and --junit, no other option of --test");
    EXPECT_EQ(parse({"--check-realtime", "--class", "x", "--select", "y"}).error,
              "--select belongs to --test or --list-tests");
    EXPECT_EQ(parse({"--check-realtime", "--test"}).error, "only one job at a time: --test");

    std::ostringstream usage;
    printUsage(usage);
    EXPECT_NE(usage.str().find("--check-realtime --class NAME-OR-CID"), std::string::npos);
    EXPECT_NE(usage.str().find("  --seconds S"), std::string::npos);
}

} // namespace
