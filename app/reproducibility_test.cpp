// Runs that a developer can repeat: the random state recorded per test, a test repeated alone
// with the numbers it drew in the full run, isolated runs that draw what one process draws,
// seeds and rounds, the tests a run would run, and the enabled flags changed from the command
// line.
#include "app/junitvalidation.h"
#include "app/programtestsupport.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>

using namespace Quillmark;
using namespace Quillmark::Qel::Examples;
using namespace Quillmark::testing;

namespace
{

const std::string kAutomationModule = std::string(QEL_FIXTURE_DIR) + "/fx_automation_faults.so";
const std::string kThreeParameters = "Automation Three Parameters";
const std::string kModuleDir = QEL_MODULE_DIR;

/** Sets QEL_FIXTURE_LOG for the programs started while it lives. */
class FixtureLog
{
public:
    explicit FixtureLog(const std::string& path) { setenv(kFixtureLogVariable, path.c_str(), 1); }
    ~FixtureLog() { unsetenv(kFixtureLogVariable); }
};

/** The random state of every test in a JUnit report that has one, by path without "Root/". */
std::map<std::string, std::string> randomStates(const std::string& junit)
{
    std::map<std::string, std::string> states;
    static const std::regex testcase(
        "<testcase classname=\"Root/([^\"]*)\" name=\"([^\"]*)\"[^>]*>\\s*<properties><property "
        "name=\"random-state\" value=\"([0-9]+)\"/></properties>");
    for (auto it = std::sregex_iterator(junit.begin(), junit.end(), testcase);
         it != std::sregex_iterator(); ++it)
        states[(*it)[1].str() + "/" + (*it)[2].str()] = (*it)[3].str();
    return states;
}

/** The lines that the log holds for the test at `path` (without "Root/"). */
std::string logSection(const std::string& log, const std::string& path)
{
    const std::string tail = ": Root/" + path + "\r\n";
    size_t start = log.find(tail);
    if (start == std::string::npos)
        return {};
    start = log.rfind("Test: ", start);
    size_t end = log.find("Test: ", start + 1);
    return log.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

class Reproducible : public ::testing::Test
{
protected:
    ProgramRun run(const std::vector<std::string>& arguments)
    {
        return runProgram(temp, config, arguments);
    }

    TempFolder temp;
    std::string config = temp.folder("config");
};

TEST_F(Reproducible, ATestRepeatedAloneDrawsTheSameNumbersAndWritesTheSameLogSection)
{
    ProgramRun full;
    {
        FixtureLog observed(temp.file("full.obs"));
        full = run({"--test", kAutomationModule, "--class", kThreeParameters, "--select",
                    "Local Instances", "--log", temp.file("full.log"), "--junit",
                    temp.file("full.xml")});
    }
    ASSERT_EQ(full.status, 0) << full.err;
    std::map<std::string, std::string> states = randomStates(readFile(temp.file("full.xml")));
    // The automation tests draw their points, and record where they began.
    int automation = 0;
    for (const auto& [path, state] : states)
        automation += path.find("/Automation") != std::string::npos;
    EXPECT_GE(automation, 24);
    const std::string path = "Local Instances/" + kThreeParameters +
                             "/Local Instances/Special "
                             "Features/Audio Processing 32bit/Automation/Accuracy: Sample, "
                             "All Parameters, Change every 50 Samples";
    ASSERT_EQ(states.count(path), 1u);
    const std::string section = logSection(readFile(temp.file("full.log")), path);
    ASSERT_FALSE(section.empty());

    ProgramRun alone;
    {
        FixtureLog observed(temp.file("alone.obs"));
        alone = run({"--test", kAutomationModule, "--select", path, "--random-state", states[path],
                     "--log", temp.file("alone.log")});
    }
    ASSERT_EQ(alone.status, 0) << alone.err;
    EXPECT_EQ(alone.out, "Passed: Root/" + path + "\n1 passed, 0 failed\n");
    EXPECT_EQ(readFile(temp.file("alone.log")), section);
    // The plug-in saw the very same points, in the same blocks.
    const std::string seen = readFile(temp.file("alone.obs"));
    ASSERT_GT(seen.size(), 200u);
    ASSERT_NE(seen.find("\nqueue "), std::string::npos) << seen;
    EXPECT_NE(readFile(temp.file("full.obs")).find(seen), std::string::npos);

    // Started elsewhere in the sequence, the same test sends other points.
    {
        FixtureLog observed(temp.file("other.obs"));
        const std::string other = std::to_string(std::stoul(states[path]) + 1);
        ASSERT_EQ(
            run({"--test", kAutomationModule, "--select", path, "--random-state", other}).status,
            0);
    }
    EXPECT_EQ(readFile(temp.file("full.obs")).find(readFile(temp.file("other.obs"))),
              std::string::npos);
}

TEST_F(Reproducible, IsolatedAndInProcessRunsDrawTheSameNumbersAndWriteTheSameLog)
{
    const std::vector<std::string> selections = {
        "Global Instance/Qel Gain/Global Instance/QEL3 Conformity/Bus handling",
        "Global Instance/Qel Gain/Global Instance/QEL3 Conformity/Audio Processing 32bit/"
        "Automation",
        "Local Instances/Qel Gain/Local Instances/QEL3 Conformity/Audio Processing 32bit/Variable "
        "Block Size",
        "Local Instances/Qel Gain/Local Instances/Special Features/Audio Processing 32bit/"
        "Automation",
        "Local Instances/" + kThreeParameters +
            "/Local Instances/Special Features/Audio Processing "
            "32bit/Automation"};
    auto arguments = [&](const std::string& name, bool isolate)
    {
        std::vector<std::string> list = {"--test",
                                         kModuleDir,
                                         kAutomationModule,
                                         "--log",
                                         temp.file(name + ".log"),
                                         "--junit",
                                         temp.file(name + ".xml")};
        for (const std::string& selection : selections)
            list.insert(list.end(), {"--select", selection});
        if (isolate)
            list.push_back("--isolate");
        return list;
    };
    ProgramRun inProcess, isolated;
    {
        FixtureLog observed(temp.file("inprocess.obs"));
        inProcess = run(arguments("inprocess", false));
    }
    {
        FixtureLog observed(temp.file("isolated.obs"));
        isolated = run(arguments("isolated", true));
    }
    ASSERT_EQ(inProcess.status, 0) << inProcess.err;
    ASSERT_EQ(isolated.status, 0) << isolated.err;
    EXPECT_EQ(isolated.out, inProcess.out);
    EXPECT_EQ(readFile(temp.file("isolated.log")), readFile(temp.file("inprocess.log")));
    EXPECT_EQ(readFile(temp.file("isolated.obs")), readFile(temp.file("inprocess.obs")));

    std::map<std::string, std::string> states = randomStates(readFile(temp.file("inprocess.xml")));
    EXPECT_EQ(randomStates(readFile(temp.file("isolated.xml"))), states);
    // Bus consistency picks random indices; the automation tests draw their points; the
    // variable block size draws its sizes.
    EXPECT_EQ(states.count(selections[0] + "/Bus Consistency"), 1u);
    EXPECT_EQ(states.count(selections[2]), 1u);
    EXPECT_EQ(states.size(), 1u + 12u + 1u + 12u + 12u);
}

TEST_F(Reproducible, AFailedRunPrintsTheCommandThatRepeatsEachFailedTest)
{
    ProgramRun full = run({"--test", kAutomationModule, "--class", "Automation No Empty Blocks",
                           "--select", "Local Instances"});
    ASSERT_EQ(full.status, 1) << full.err;
    std::vector<std::string> lines = splitLines(full.out);
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines.back(), "557 passed, 2 failed");
    auto heading = std::find(lines.begin(), lines.end(), "To repeat a failed test alone:");
    ASSERT_NE(heading, lines.end());
    ASSERT_EQ(lines.end() - heading, 4); // heading, two commands, closing line
    for (auto command = heading + 1; command != lines.end() - 1; ++command)
    {
        ASSERT_EQ(command->rfind("  " + std::string(QEL_PROGRAM) + " --test ", 0), 0u) << *command;
        EXPECT_NE(command->find("--config-dir"), std::string::npos);
        std::string again = temp.file("again.txt");
        const int raw = std::system((*command + " >" + shellQuote(again) + " 2>&1").c_str());
        EXPECT_EQ(WEXITSTATUS(raw), 1);
        std::vector<std::string> out = splitLines(readFile(again));
        ASSERT_FALSE(out.empty());
        EXPECT_EQ(out.back(), "0 passed, 1 failed");
        EXPECT_EQ(out.front().rfind("FAILED: Root/Local Instances/Automation No Empty Blocks/", 0),
                  0u)
            << out.front();
    }
}

TEST_F(Reproducible, SeedsAndRoundsGoOnThroughTheSequence)
{
    const std::string test = "Local Instances/Qel Gain/Local Instances/QEL3 Conformity/Audio "
                             "Processing 32bit/Variable Block Size";
    auto stateOf = [&](const std::vector<std::string>& extra)
    {
        std::vector<std::string> list = {"--test", kModuleDir, "--select",
                                         test,     "--junit",  temp.file("r.xml")};
        list.insert(list.end(), extra.begin(), extra.end());
        ProgramRun result = run(list);
        EXPECT_EQ(result.status, 0) << result.err;
        return std::make_pair(result, randomStates(readFile(temp.file("r.xml"))));
    };
    auto [plain, plainStates] = stateOf({});
    ASSERT_EQ(plainStates.size(), 1u);
    EXPECT_EQ(plainStates.begin()->second, "1"); // where the sequence always starts
    auto [seeded, seededStates] = stateOf({"--seed", "4242"});
    EXPECT_EQ(seededStates.begin()->second, "4242");

    // Three rounds: each reported, each going on where the last left the sequence.
    auto [rounds, roundStates] = stateOf({"--repeat", "3"});
    std::vector<std::string> lines = splitLines(rounds.out);
    ASSERT_EQ(lines.size(), 7u) << rounds.out;
    EXPECT_EQ(lines[1], "Round 1 of 3: 1 passed, 0 failed");
    EXPECT_EQ(lines[5], "Round 3 of 3: 1 passed, 0 failed");
    EXPECT_EQ(lines[6], "3 passed, 0 failed");
    ASSERT_EQ(roundStates.size(), 3u);
    std::vector<std::string> starts;
    for (const auto& [path, state] : roundStates)
        starts.push_back(state);
    EXPECT_EQ(std::count(starts.begin(), starts.end(), "1"), 1);
    EXPECT_NE(starts[0], starts[1]);
    EXPECT_NE(starts[1], starts[2]);
    std::string junitProblem;
    EXPECT_TRUE(validJUnit(temp.file("r.xml"), junitProblem)) << junitProblem;

    // A failing round ends the rounds when asked.
    ProgramRun stopped = run({"--test", kAutomationModule, "--class", "Automation No Empty Blocks",
                              "--select", "Local Instances", "--repeat", "4", "--stop-on-failure"});
    EXPECT_EQ(stopped.status, 1);
    EXPECT_NE(stopped.out.find("Round 1 of 4: 557 passed, 2 failed"), std::string::npos);
    EXPECT_EQ(stopped.out.find("Round 2 of 4"), std::string::npos);
}

TEST_F(Reproducible, ListTestsMakesNoInstanceAndShowsTheFlagsThatEnableAndDisableWrite)
{
    const std::string counting = std::string(QEL_FIXTURE_DIR) + "/fx_counting.so";
    ProgramRun listed;
    {
        FixtureLog observed(temp.file("calls.log"));
        listed = run({"--list-tests", counting});
    }
    ASSERT_EQ(listed.status, 0) << listed.err;
    std::vector<std::string> lines = splitLines(listed.out);
    EXPECT_EQ(lines.size(), 1118u);
    EXPECT_EQ(readFile(temp.file("calls.log")).find("createInstance"), std::string::npos);
    for (const std::string& line : lines)
        ASSERT_TRUE(line.size() > 8 && line.substr(line.size() - 8) == "\tenabled") << line;

    const std::string group = "Global Instance/Fixture Counting/Global Instance/QEL3 Conformity/"
                              "General";
    ProgramRun changed = run({"--disable", group, "--disable", "Local Instances", "--enable",
                              "Local Instances/Fixture Counting", counting});
    ASSERT_EQ(changed.status, 0) << changed.err;
    EXPECT_EQ(changed.out, "disabled: Root/" + group +
                               "\ndisabled: Root/Local Instances\nenabled: Root/Local "
                               "Instances/Fixture Counting\n");
    EXPECT_NE(changed.err.find("still does not run: Root/Local Instances is disabled"),
              std::string::npos);
    lines = splitLines(run({"--list-tests", counting}).out);
    int enabled = 0;
    for (const std::string& line : lines)
        enabled += line.substr(line.size() - 8) == "\tenabled";
    EXPECT_EQ(enabled, 559 - 5); // the general group's five tests are off, and all local ones

    // A path that names nothing changes nothing.
    const std::string settings = readFile(config + "/TestSettings.bin");
    ProgramRun wrong = run({"--enable", "Local Instances", "--disable", "Nowhere", counting});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_NE(wrong.err.find("no test node at Nowhere"), std::string::npos);
    EXPECT_EQ(readFile(config + "/TestSettings.bin"), settings);

    // A run skips what is off.
    ProgramRun test = run({"--test", counting, "--select", "Local Instances"});
    EXPECT_EQ(test.out, "0 passed, 0 failed\n");
}

} // namespace
