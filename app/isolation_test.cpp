// The isolating run of the real program: broken classes fail with their reasons while the run
// goes on, a hang is killed at the time limit, the output and the log match a run in one
// process, the JUnit report validates, the exit codes, and the progress line only on a
// terminal. The broken classes are the fixtures of fixtures/broken.
#include "app/commandline.h"
#include "app/isolation/isolatedchild.h"
#include "app/junitvalidation.h"
#include "app/programtestsupport.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <map>
#include <pty.h>
#include <regex>
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

    /** The first failed line below `prefix` that names `reason`; fails the test when there is
        none, or, unless `several` may be, more than one. */
    static std::string blamedLine(const std::string& out, const std::string& prefix,
                                  const std::string& reason, bool several = false)
    {
        std::vector<std::string> blamed;
        for (const std::string& line : linesBelow(out, prefix))
            if (line.rfind("FAILED: ", 0) == 0 && endsWith(line, " (" + reason + ")"))
                blamed.push_back(line);
        if (several)
            EXPECT_FALSE(blamed.empty()) << prefix << " (" << reason << ") in\n" << out;
        else
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
    // A new process for the tests after the blamed one dies making the instance again: the
    // rest of that class stays unrun.
    EXPECT_NE(result.err.find("the next test process of Root/Global Instance/Broken Abort In "
                              "Initialize ended before its first test"),
              std::string::npos)
        << result.err;
    blamedLine(result.out, hangProvider, "no progress for 2 s");
    EXPECT_EQ(linesBelow(result.out, abortProvider).size(), 1u) << "no other test ran there";
    EXPECT_EQ(linesBelow(result.out, hangProvider).size(), 1u);
    // Each local test makes its own instance: the hang of the first is followed by one in the
    // next process, and then the class is given up.
    EXPECT_EQ(linesBelow(result.out, "Root/Local Instances/Broken Hang In Initialize/").size(), 2u);
    EXPECT_NE(result.err.find("Broken Hang In Initialize hung twice in a row"), std::string::npos);

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
    // The groups where each breakdown shows first: every processing test after them would
    // break the same way, each in a process of its own, which only costs time here.
    std::vector<std::string> arguments = {"--test", modules, "--isolate", "--timeout", "2"};
    for (const char* kind : {"Global Instance", "Local Instances"})
        for (const char* name : {"Broken Crash In Process", "Broken Throw In SetActive",
                                 "Broken Spin In SetupProcessing", "Qel Gain"})
            for (const char* group :
                 {"QEL3 Conformity/General", "QEL3 Conformity/Audio Processing 32bit/Process Test",
                  "QEL3 Conformity/Audio Processing 32bit/Silence Flags"})
            {
                arguments.push_back("--select");
                arguments.push_back(std::string(kind) + "/" + name + "/" + kind + "/" + group);
            }
    ProgramRun result = run(arguments);
    EXPECT_EQ(result.status, 1) << result.err;
    for (const char* kind : {"Global Instance", "Local Instances"})
    {
        std::string top = std::string("Root/") + kind + "/";
        // The tests after a blamed one run in a new process, and break the same way.
        blamedLine(result.out, top + "Broken Crash In Process/", "SIGSEGV", true);
        blamedLine(result.out, top + "Broken Throw In SetActive/", "uncaught exception", true);
        blamedLine(result.out, top + "Broken Spin In SetupProcessing/", "no progress for 2 s",
                   true);
    }
    std::string log = readFile(config + "/AutotestLog.txt");
    EXPECT_NE(log.find("refuses to change its state"), std::string::npos) << "the exception's text";
    EXPECT_FALSE(linesBelow(result.out, "Root/Local Instances/Qel Gain/").empty());
}

namespace
{

/** The paths of a log's entries, or of a JUnit report's test cases, matched by `pattern` with
    the path (or its two parts) in its groups. */
std::vector<std::string> matchedPaths(const std::string& text, const std::regex& pattern)
{
    std::vector<std::string> paths;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), pattern);
         it != std::sregex_iterator(); ++it)
        paths.push_back(it->size() > 2 ? (*it)[1].str() + "/" + (*it)[2].str() : (*it)[1].str());
    return paths;
}

/** The paths of the verdict lines, in order, without the note of a test that died by a
    signal. */
std::vector<std::string> verdictPaths(const std::string& out)
{
    return matchedPaths(out, std::regex("(?:Passed|FAILED): (.*?)(?: \\(SIG[A-Z]+\\))?\n"));
}

/** Whether every group's tests come together, as a walk through a tree gives them. */
bool inTreeOrder(const std::vector<std::string>& paths)
{
    std::map<std::string, size_t> lastOfGroup;
    for (size_t index = 0; index < paths.size(); ++index)
        for (size_t slash = paths[index].find('/'); slash != std::string::npos;
             slash = paths[index].find('/', slash + 1))
        {
            auto [it, added] = lastOfGroup.emplace(paths[index].substr(0, slash), index);
            if (!added && it->second != index - 1 && it->second != index)
                return false; // the group was left and came back
            it->second = index;
        }
    return true;
}

} // namespace

TEST(TreeOrder, NoticesAGroupThatComesBack)
{
    EXPECT_TRUE(inTreeOrder({"R/a/1", "R/a/2", "R/b/1", "R/c/x/1"}));
    EXPECT_FALSE(inTreeOrder({"R/a/1", "R/b/1", "R/a/2"}));
}

TEST_F(Isolation, ANewProcessRunsTheTestsAfterACrash)
{
    // With this class the processing tests crash, one after the other; the tests of busses,
    // units, states and note expressions come after them and pass.
    copyInto(brokenFixture("fx_crash_process.so"), modules);
    const std::string provider = "Global Instance/Broken Crash In Process/Global Instance/";
    std::string junit = temp.file("report.xml"), isolatedLog = temp.file("isolated.log");
    ProgramRun result = run({"--test", modules, "--isolate", "--select", "Global Instance", "--log",
                             isolatedLog, "--junit", junit});
    EXPECT_EQ(result.status, 1) << result.err;
    blamedLine(result.out,
               "Root/" + provider + "QEL3 Conformity/Audio Processing 32bit/Process Test",
               "SIGSEGV");
    EXPECT_EQ(result.err.find("did not run"), std::string::npos) << "every test was dealt with";

    // The tests before the first crash and those after the last one read as in a run in one
    // process, in their places.
    std::string before = temp.file("before.log"), after = temp.file("after.log");
    ProgramRun first =
        run({"--test", modules, "--log", before, "--select", provider + "QEL3 Conformity/General"});
    ProgramRun last = run({"--test", modules, "--log", after, "--select",
                           provider + "QEL3 Conformity/Bus handling", "--select",
                           provider + "QEL3 Conformity/Unit Info", "--select",
                           provider + "QEL3 Conformity/State Transitions", "--select",
                           provider + "QEL3 Conformity/Note Expression"});
    ASSERT_EQ(first.status, 0) << first.out;
    ASSERT_EQ(last.status, 0) << last.out;
    auto verdicts = [](const std::string& out)
    { return out.substr(0, out.rfind("\n", out.size() - 2) + 1); };
    EXPECT_EQ(result.out.rfind(verdicts(first.out), 0), 0u) << result.out;
    const size_t lastAt = result.out.find(verdicts(last.out));
    EXPECT_NE(lastAt, std::string::npos) << result.out;
    EXPECT_GT(lastAt, result.out.find("/Process Test (SIGSEGV)"));
    std::string log = readFile(isolatedLog);
    EXPECT_EQ(log.rfind(readFile(before), 0), 0u);
    EXPECT_NE(log.find(readFile(after)), std::string::npos);

    // Each test once, in the order of the tree, the same in stdout, the log and the report.
    std::vector<std::string> paths = verdictPaths(result.out);
    std::vector<std::string> sorted = paths;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end()) << "a test twice";
    EXPECT_GT(paths.size(), 500u);
    EXPECT_TRUE(inTreeOrder(paths));
    EXPECT_EQ(matchedPaths(log, std::regex("Test: (?:Passed|\\*+ FAILED): ([^\r]*)\r\n")), paths);
    std::string complaints;
    EXPECT_TRUE(validJUnit(junit, complaints)) << complaints;
    std::string report = readFile(junit);
    EXPECT_EQ(report.find("<skipped"), std::string::npos);
    EXPECT_EQ(
        matchedPaths(report, std::regex("<testcase classname=\"([^\"]*)\" name=\"([^\"]*)\"")),
        paths);
}

TEST(IsolationUnitText, CarriesTheTestToGoOnAfter)
{
    IsolationUnit unit;
    unit.kind = IsolationUnit::kGlobal;
    unit.cid = "6B1D0C112F8A4E379C05E2A451D7B005";
    unit.resumeAfter = "Root/Global Instance/Fx/Global Instance/In > Out/Test";
    std::optional<IsolationUnit> back = IsolationUnit::parse(unit.toString());
    ASSERT_TRUE(back);
    EXPECT_EQ(back->kind, unit.kind);
    EXPECT_EQ(back->cid, unit.cid);
    EXPECT_EQ(back->resumeAfter, unit.resumeAfter);
    auto plain = IsolationUnit::parse("local:ABC");
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->kind, IsolationUnit::kLocal);
    EXPECT_TRUE(plain->resumeAfter.empty());
    auto tests = IsolationUnit::parse("tests>Root/Qel Gain Tests/A");
    ASSERT_TRUE(tests);
    EXPECT_EQ(tests->kind, IsolationUnit::kModuleTests);
    EXPECT_EQ(tests->resumeAfter, "Root/Qel Gain Tests/A");
    for (const char* wrong : {"tests>", "global:>Root/x", "global>Root/x", "nothing"})
        EXPECT_FALSE(IsolationUnit::parse(wrong)) << wrong;
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
