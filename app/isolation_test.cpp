// The isolating run of the real program: broken classes fail with their reasons while the run
// goes on, a hang is killed at the time limit, the output and the log match a run in one
// process, the JUnit report validates, the exit codes, and the progress line only on a
// terminal. The broken classes are the fixtures of fixtures/broken.
#include "app/commandline.h"
#include "app/junitvalidation.h"
#include "app/programtestsupport.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Quillmark;
using namespace Quillmark::Qel::Examples;
using namespace Quillmark::testing;

namespace
{

std::string brokenFixture(const std::string& name)
{
    return fixture("broken/" + name);
}

class Isolation : public ::testing::Test
{
protected:
    ProgramRun run(const std::vector<std::string>& arguments)
    {
        return runProgram(temp, config, arguments);
    }

    /** The verdict lines of tests below `prefix`. */
    static std::vector<std::string> linesBelow(const std::string& out, const std::string& prefix)
    {
        std::vector<std::string> found;
        for (const std::string& line : splitLines(out))
            if (line.find(prefix) != std::string::npos)
                found.push_back(line);
        return found;
    }

    static bool endsWith(const std::string& text, const std::string& end)
    {
        return text.size() >= end.size() &&
               text.compare(text.size() - end.size(), end.size(), end) == 0;
    }

    /** The one failed line below `prefix` that names `reason`; fails the test when there is not
        exactly one. */
    static std::string blamedLine(const std::string& out, const std::string& prefix,
                                  const std::string& reason)
    {
        std::vector<std::string> blamed;
        for (const std::string& line : linesBelow(out, prefix))
            if (line.rfind("FAILED: ", 0) == 0 && endsWith(line, " (" + reason + ")"))
                blamed.push_back(line);
        EXPECT_EQ(blamed.size(), 1u) << prefix << " (" << reason << ") in\n" << out;
        return blamed.empty() ? std::string() : blamed.front();
    }

    TempFolder temp;
    std::string config = temp.folder("config");
    std::string modules = temp.folder("modules");
};

} // namespace

TEST_F(Isolation, AnAbortAndAHangFailTheirClassesAndTheRunGoesOn)
{
    copyInto(exampleModule(kQelGainModule), modules);
    copyInto(brokenFixture("fx_abort_initialize.so"), modules);
    copyInto(brokenFixture("fx_hang_initialize.so"), modules);
    std::string junit = temp.file("report.xml");
    ProgramRun result = run({"--test", modules, "--isolate", "--timeout", "2", "--junit", junit});
    EXPECT_EQ(result.status, 1) << result.err;

    // The global provider makes its instance before the first test: that test takes the blame.
    const std::string abortProvider =
        "Root/Global Instance/Broken Abort In Initialize/Global Instance/";
    const std::string hangProvider =
        "Root/Global Instance/Broken Hang In Initialize/Global Instance/";
    std::string aborted = blamedLine(result.out, abortProvider, "SIGABRT");
    blamedLine(result.out, hangProvider, "no progress for 2 s");
    EXPECT_EQ(linesBelow(result.out, abortProvider).size(), 1u) << "no other test ran there";
    EXPECT_EQ(linesBelow(result.out, hangProvider).size(), 1u);

    // Every other class, and the local instances of the broken ones, still ran.
    EXPECT_NE(result.out.find("Passed: Root/Qel Gain Tests/Gain Parameter Mapping\n"),
              std::string::npos);
    for (const char* prefix : {"Root/Global Instance/Qel Gain/", "Root/Local Instances/Qel Gain/",
                               "Root/Local Instances/Broken Abort In Initialize/",
                               "Root/Local Instances/Broken Hang In Initialize/"})
        EXPECT_FALSE(linesBelow(result.out, prefix).empty()) << prefix << " in\n" << result.out;
    EXPECT_TRUE(endsWith(result.out, " failed\n"));
    EXPECT_EQ(result.out.find_first_of("\r\033"), std::string::npos) << "no progress line";

    // The log has the blamed tests with their reasons, in the usual form.
    std::string log = readFile(config + "/AutotestLog.txt");
    std::string abortedPath = aborted.substr(8, aborted.rfind(" (") - 8);
    EXPECT_NE(log.find("Test: ************ FAILED: " + abortedPath +
                       "\r\n  ->ERROR: The test process was ended by signal SIGABRT"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("  ->ERROR: No progress for 2 s"), std::string::npos) << log;
    EXPECT_NE(result.err.find("Broken Hang In Initialize"), std::string::npos) << result.err;

    std::string complaints;
    EXPECT_TRUE(validJUnit(junit, complaints)) << complaints;
    std::string report = readFile(junit);
    EXPECT_NE(report.find("type=\"SIGABRT\""), std::string::npos);
    EXPECT_NE(report.find("<skipped "), std::string::npos) << "the tests after the abort";
}

TEST_F(Isolation, ProcessingBreakdownsFailWithTheirReasons)
{
    // Only the processing and state tests reach process, setupProcessing and setActive.
    copyInto(exampleModule(kQelGainModule), modules);
    copyInto(brokenFixture("fx_crash_process.so"), modules);
    copyInto(brokenFixture("fx_throw_setactive.so"), modules);
    copyInto(brokenFixture("fx_spin_setupprocessing.so"), modules);
    ProgramRun result = run({"--test", modules, "--isolate", "--timeout", "2"});
    EXPECT_EQ(result.status, 1) << result.err;
    for (const char* kind : {"Global Instance", "Local Instances"})
    {
        std::string top = std::string("Root/") + kind + "/";
        blamedLine(result.out, top + "Broken Crash In Process/", "SIGSEGV");
        blamedLine(result.out, top + "Broken Throw In SetActive/", "uncaught exception");
        blamedLine(result.out, top + "Broken Spin In SetupProcessing/", "no progress for 2 s");
    }
    std::string log = readFile(config + "/AutotestLog.txt");
    EXPECT_NE(log.find("refuses to change its state"), std::string::npos) << "the exception's text";
    EXPECT_FALSE(linesBelow(result.out, "Root/Local Instances/Qel Gain/").empty());
}

TEST_F(Isolation, OutputAndLogMatchARunInOneProcess)
{
    copyInto(exampleModule(kQelGainModule), modules);
    copyInto(exampleModule(kQelToneModule), modules);
    std::string single = temp.file("single.log"), isolated = temp.file("isolated.log");
    ProgramRun one = run({"--test", modules, "--log", single});
    ProgramRun apart = run({"--test", modules, "--log", isolated, "--isolate"});
    EXPECT_EQ(apart.status, one.status) << apart.err;
    EXPECT_EQ(apart.out, one.out);
    EXPECT_FALSE(readFile(single).empty());
    EXPECT_EQ(readFile(isolated), readFile(single));

    // The same for a selection across the tree.
    std::vector<std::string> selections{"--select", "Local Instances/Qel Tone",
                                        "--select", "Qel Gain Tests",
                                        "--select", "Global Instance/Qel Gain/Global Instance"};
    std::vector<std::string> plain{"--test", modules, "--log", single};
    plain.insert(plain.end(), selections.begin(), selections.end());
    std::vector<std::string> apartArguments = plain;
    apartArguments.push_back("--isolate");
    apartArguments[3] = isolated;
    one = run(plain);
    apart = run(apartArguments);
    EXPECT_EQ(apart.status, one.status) << apart.err;
    EXPECT_EQ(apart.out, one.out);
    EXPECT_EQ(readFile(isolated), readFile(single));
}

TEST_F(Isolation, ExitCodesAndUsageErrors)
{
    copyInto(exampleModule(kQelGainModule), modules);
    std::string junit = temp.file("report.xml");
    ProgramRun passed =
        run({"--test", modules, "--isolate", "--select", "Qel Gain Tests", "--junit", junit});
    EXPECT_EQ(passed.status, 0) << passed.err;
    EXPECT_EQ(passed.out, "Passed: Root/Qel Gain Tests/Gain Parameter Mapping\n"
                          "1 passed, 0 failed\n");
    std::string complaints;
    EXPECT_TRUE(validJUnit(junit, complaints)) << complaints;
    EXPECT_NE(readFile(junit).find("<system-out>checked 3 gain values</system-out>"),
              std::string::npos);

    // A class that cannot be made fails its provider's setup.
    copyInto(fixture(kThrowingModule), modules);
    ProgramRun failed = run({"--test", modules, "--isolate", "--class", kThrowingName});
    EXPECT_EQ(failed.status, 1) << failed.err;
    EXPECT_NE(failed.out.find(
                  "FAILED: Root/Global Instance/Fixture Throwing/Global Instance (setup failed)"),
              std::string::npos)
        << failed.out;

    ProgramRun noClass = run({"--test", temp.folder("empty"), "--isolate"});
    EXPECT_EQ(noClass.status, 2);
    EXPECT_NE(noClass.err.find("no class found"), std::string::npos);
    ProgramRun badPath =
        run({"--test", modules, "--isolate", "--select", "Global Instance/Nowhere"});
    EXPECT_EQ(badPath.status, 2);
    EXPECT_NE(badPath.err.find("Global Instance/Nowhere"), std::string::npos) << badPath.err;

    struct Case
    {
        std::vector<std::string> arguments;
        std::string named;
    };
    const Case usage[] = {
        {{"--test", modules, "--isolate", "--timeout", "0"}, "--timeout"},
        {{"--test", modules, "--isolate", "--timeout", "soon"}, "soon"},
        {{"--test", modules, "--timeout", "5"}, "--timeout belongs to --isolate"},
        {{"--list", modules, "--isolate"}, "--isolate belongs to --test"},
        {{"--list", modules, "--junit", "x.xml"}, "--junit belongs to --test"},
        {{"--list", modules, "--log", "x.log"}, "--log belongs to --test"},
        {{"--test", modules, "--junit"}, "--junit needs a value"},
        {{"--test", modules, "--isolat"}, "unknown option: --isolat"},
    };
    for (const Case& wrong : usage)
    {
        ProgramRun result = run(wrong.arguments);
        EXPECT_EQ(result.status, 2) << wrong.named;
        EXPECT_NE(result.err.find(wrong.named), std::string::npos) << result.err;
        EXPECT_TRUE(result.out.empty()) << result.out;
    }
}

TEST(IsolationOptions, AreReadWithTheirValues)
{
    const char* arguments[] = {"program",   "--test", "mods",    "--isolate",
                               "--timeout", "2.5",    "--junit", "r.xml"};
    CommandLine line = CommandLine::parse(8, arguments);
    EXPECT_TRUE(line.error.empty()) << line.error;
    EXPECT_TRUE(line.isolate);
    EXPECT_DOUBLE_EQ(line.timeoutSeconds, 2.5);
    EXPECT_EQ(line.junitFile, "r.xml");
    EXPECT_EQ(line.folders, std::vector<std::string>{"mods"});

    const char* plain[] = {"program", "--test", "--isolate"};
    EXPECT_DOUBLE_EQ(CommandLine::parse(3, plain).timeoutSeconds, 150.0);

    const char* child[] = {"program", "--test", "--isolated-child", "tests"};
    EXPECT_NE(CommandLine::parse(4, child).error.find("--report-fd"), std::string::npos);
}

TEST_F(Isolation, TheProgressLineOnlyOnATerminal)
{
    copyInto(exampleModule(kQelGainModule), modules);
    const std::vector<std::string> arguments{"--test", modules, "--isolate", "--select",
                                             "Qel Gain Tests"};

    // stdout into a pipe: the results alone.
    std::string command = programCommand(config, arguments) + " 2>/dev/null";
    FILE* pipe = ::popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string piped;
    char buffer[4096];
    for (size_t count; (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        piped.append(buffer, count);
    EXPECT_EQ(::pclose(pipe), 0);
    EXPECT_EQ(piped, "Passed: Root/Qel Gain Tests/Gain Parameter Mapping\n"
                     "1 passed, 0 failed\n");

    // stdout on a terminal: the line is drawn, and taken away before each result.
    int master = -1;
    pid_t child = ::forkpty(&master, nullptr, nullptr, nullptr);
    ASSERT_GE(child, 0);
    if (child == 0)
    {
        ::execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    std::string terminal;
    for (;;)
    {
        ssize_t count = ::read(master, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break; // EIO once the program has closed the terminal
        terminal.append(buffer, size_t(count));
    }
    ::close(master);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << terminal;
    EXPECT_NE(terminal.find("\r\033[K[0/1 "), std::string::npos) << terminal;
    EXPECT_NE(terminal.find("Qel Gain Tests: Gain Parameter Mapping"), std::string::npos)
        << terminal;
    EXPECT_NE(terminal.find("\r\033[KPassed: Root/Qel Gain Tests/Gain Parameter Mapping"),
              std::string::npos)
        << terminal;
    EXPECT_NE(terminal.find("1 passed, 0 failed"), std::string::npos);
}
