// The --test job: the real program over copies of the example modules, its output, its log and
// its exit codes; and Ctrl-C between two tests, raised inside a run in this process.
#include "app/commandline.h"
#include "app/interruptcatcher.h"
#include "conformity/funittestingdialogcontroller.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <sys/wait.h>

using namespace Quillmark;
using namespace Quillmark::Qel::Examples;
using Quillmark::testing::copyInto;
using Quillmark::testing::readFile;

namespace
{

std::string quote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        result.push_back(line);
    return result;
}

class TestCommand : public ::testing::Test
{
protected:
    struct Run
    {
        int status = -1;
        std::string out;
        std::string err;
    };

    Run run(const std::vector<std::string>& arguments)
    {
        std::string command = quote(QEL_PROGRAM) + " --config-dir " + quote(config);
        for (const std::string& argument : arguments)
            command += " " + quote(argument);
        std::string out = temp.file("out.txt"), err = temp.file("err.txt");
        command += " </dev/null >" + quote(out) + " 2>" + quote(err);
        Run result;
        int raw = std::system(command.c_str());
        result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        result.out = readFile(out);
        result.err = readFile(err);
        return result;
    }

    Quillmark::testing::TempFolder temp;
    std::string config = temp.folder("config");
    std::string modules = temp.folder("modules");
};

} // namespace

TEST_F(TestCommand, RunsTheTreeOverTheModulesAndLogsEveryTest)
{
    std::string gain = copyInto(Quillmark::testing::exampleModule(kQelGainModule), modules);
    Run result = run({"--test", gain});
    // Qel Gain passes the whole suite; the module's own test runs first.
    EXPECT_EQ(result.status, 0) << result.err;
    std::vector<std::string> out = lines(result.out);
    ASSERT_GT(out.size(), 2u);
    EXPECT_EQ(out.front(), "Passed: Root/Qel Gain Tests/Gain Parameter Mapping");
    EXPECT_EQ(out.back(), std::to_string(out.size() - 1) + " passed, 0 failed");

    // Every test of both providers ran: the same tests below each, global ones first.
    const std::string global = "Root/Global Instance/Qel Gain/Global Instance/";
    const std::string local = "Root/Local Instances/Qel Gain/Local Instances/";
    std::vector<std::string> globalTests, localTests;
    for (size_t index = 1; index + 1 < out.size(); ++index)
    {
        const std::string& line = out[index];
        ASSERT_EQ(line.rfind("Passed: ", 0), 0u) << line;
        std::string path = line.substr(8);
        if (path.rfind(global, 0) == 0)
        {
            EXPECT_TRUE(localTests.empty()) << "a global test after the local ones: " << path;
            globalTests.push_back(path.substr(global.size()));
        }
        else if (path.rfind(local, 0) == 0)
            localTests.push_back(path.substr(local.size()));
        else
            ADD_FAILURE() << "outside the class's providers: " << path;
    }
    EXPECT_EQ(globalTests, localTests);
    EXPECT_NE(std::find(globalTests.begin(), globalTests.end(),
                        "QEL3 Conformity/Audio Processing 32bit/Process Test"),
              globalTests.end());

    // The log holds each of them, in the same order, with its messages.
    std::string log = readFile(config + "/AutotestLog.txt");
    EXPECT_EQ(log.rfind("Test: Passed: Root/Qel Gain Tests/Gain Parameter Mapping\r\n"
                        "  ->Message: checked 3 gain values\r\n",
                        0),
              0u);
    std::vector<std::string> logged;
    for (const std::string& line : lines(log))
        if (line.rfind("Test: ", 0) == 0)
            logged.push_back(line.substr(6, line.size() - 7)); // without "Test: " and CR
    ASSERT_EQ(logged.size(), out.size() - 1);
    for (size_t index = 0; index < logged.size(); ++index)
        EXPECT_EQ(logged[index], out[index]);
    EXPECT_NE(readFile(config + "/TestSettings.bin").find("FTester-Tests"), std::string::npos);
}

TEST_F(TestCommand, SelectionClassAndLogOptions)
{
    copyInto(Quillmark::testing::exampleModule(kQelGainModule), modules);
    copyInto(Quillmark::testing::exampleModule(kQelToneModule), modules);
    std::string log = temp.file("my.log");
    Run selected = run({"--test", modules, "--select", "Qel Gain Tests", "--log", log});
    EXPECT_EQ(selected.status, 0) << selected.err;
    EXPECT_EQ(lines(selected.out),
              (std::vector<std::string>{"Passed: Root/Qel Gain Tests/Gain Parameter Mapping",
                                        "1 passed, 0 failed"}));
    EXPECT_EQ(readFile(log), "Test: Passed: Root/Qel Gain Tests/Gain Parameter Mapping\r\n"
                             "  ->Message: checked 3 gain values\r\n");
    EXPECT_FALSE(std::filesystem::exists(config + "/AutotestLog.txt"));

    // A class whose factory throws cannot be created: its global provider cannot set up,
    // which counts as a failure.
    copyInto(Quillmark::testing::fixture(kThrowingModule), modules);
    Run throwing = run({"--test", modules, "--class", kThrowingName});
    EXPECT_EQ(throwing.status, 1);
    EXPECT_NE(throwing.out.find(
                  "FAILED: Root/Global Instance/Fixture Throwing/Global Instance (setup failed)"),
              std::string::npos)
        << throwing.out;
    EXPECT_EQ(throwing.out.find("Qel Gain/"), std::string::npos);
}

TEST_F(TestCommand, UsageErrorsAndNoClassExitWithTwo)
{
    copyInto(Quillmark::testing::exampleModule(kQelGainModule), modules);
    EXPECT_EQ(run({"--test", temp.folder("empty")}).status, 2);
    Run unknownClass = run({"--test", modules, "--class", "Nothing Like It"});
    EXPECT_EQ(unknownClass.status, 2);
    EXPECT_NE(unknownClass.err.find("no class found"), std::string::npos);
    Run badPath = run({"--test", modules, "--select", "Global Instance/Nowhere"});
    EXPECT_EQ(badPath.status, 2);
    EXPECT_NE(badPath.err.find("Global Instance/Nowhere"), std::string::npos);
    EXPECT_EQ(run({"--test", modules, "--select"}).status, 2);
    EXPECT_EQ(run({"--list", modules, "--class", "x"}).status, 2);
    EXPECT_EQ(run({"--test", temp.file("missing.so")}).status, 2);
}

namespace
{

/** Raises SIGINT from inside its run, as a user pressing Ctrl-C during that test would. */
class InterruptingTest : public FObject, public Qel::ITest
{
public:
    explicit InterruptingTest(bool interrupt) : interrupt(interrupt) {}
    bool setup() override { return true; }
    bool run(Qel::ITestResult*) override
    {
        ++runs;
        if (interrupt)
            std::raise(SIGINT);
        return true;
    }
    bool teardown() override { return true; }
    const char8* getDescription() override { return nullptr; }
    tresult queryInterface(const TUID iid, void** obj) override
    {
        QEL_QUERY_INTERFACE(iid, obj, Qel::ITest)
        return FObject::queryInterface(iid, obj);
    }
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

    bool interrupt;
    int runs = 0;
};

class ThreeTests : public FTestInitializer
{
public:
    explicit ThreeTests(std::vector<InterruptingTest*>& tests) : tests(tests) {}
    void initialize(FTester& tester, FTestNode&) override
    {
        const char* names[] = {"Group/First", "Group/Second", "Group/Third"};
        for (size_t index = 0; index < tests.size(); ++index)
            tester.addPathTest(names[index], tests[index]);
    }
    std::vector<InterruptingTest*>& tests;
};

} // namespace

TEST(Interrupt, CtrlCStopsTheRunBetweenTwoTestsAndTheLogKeepsWhatRan)
{
    Quillmark::testing::TempFolder temp;
    Quillmark::testing::UserDataFolder userData{temp};
    std::vector<InterruptingTest*> tests{new InterruptingTest(false), new InterruptingTest(true),
                                         new InterruptingTest(false)};
    FTester* tester = FTester::instance();
    tester->removeInitializers();
    tester->addInitializer(std::make_unique<ThreeTests>(tests));
    {
        InterruptCatcher catcher;
        EXPECT_FALSE(InterruptCatcher::interrupted());
        auto* dialog = new FUnitTestingDialogController(*tester);
        dialog->setCancelPredicate([] { return InterruptCatcher::interrupted(); });
        dialog->findValue("runAll")->setInt(1);
        EXPECT_TRUE(InterruptCatcher::interrupted());
        EXPECT_EQ(tests[0]->runs, 1);
        EXPECT_EQ(tests[1]->runs, 1); // the test that was running when Ctrl-C came finishes
        EXPECT_EQ(tests[2]->runs, 0);
        EXPECT_EQ(tester->findPath("Group/Third")->getStatus(), FTestNode::kReset);
        dialog->release();
    }
    EXPECT_EQ(readFile(userData.get() + "/AutotestLog.txt"),
              "Test: Passed: Root/Group/First\r\nTest: Passed: Root/Group/Second\r\n");
    tester->removeInitializers();
    for (InterruptingTest* test : tests)
        test->release();
}
