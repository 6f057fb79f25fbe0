// The runner over small trees of scripted tests: order of setup, run and teardown, statuses,
// the log file byte for byte, the settings file, and the controller's values.
#include "conformity/funittestingdialogcontroller.h"
#include "conformity/scriptedtestsupport.h"
#include "hosting/testsupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

using namespace Quillmark;
using Quillmark::testing::readFile;
using Quillmark::testing::ScriptedTest;
using Quillmark::testing::ScriptedTree;

namespace
{

class Runner : public ::testing::Test
{
protected:
    void SetUp() override { tester->removeInitializers(); }
    void TearDown() override
    {
        controller.reset();
        tester->setObserver(nullptr);
        tester->close();
        tester->removeInitializers();
        for (ScriptedTest* test : tests)
            test->release();
    }

    ScriptedTest* add(const std::string& path)
    {
        tests.push_back(new ScriptedTest(path, calls));
        return tests.back();
    }

    /** Opens the tester through a controller, as the window does. */
    FUnitTestingDialogController& open()
    {
        tester->addInitializer(std::make_unique<ScriptedTree>(tests));
        controller.reset(new FUnitTestingDialogController(*tester));
        return *controller;
    }

    static void press(FUnitTestingDialogController& dialog, const char* name)
    {
        ASSERT_NE(dialog.findValue(name), nullptr) << name;
        dialog.findValue(name)->setInt(1);
    }

    struct Releaser
    {
        void operator()(FUnitTestingDialogController* c) const { c->release(); }
    };

    Quillmark::testing::TempFolder temp;
    Quillmark::testing::UserDataFolder userData{temp};
    FTester* tester = FTester::instance();
    std::vector<ScriptedTest*> tests;
    std::vector<std::string> calls;
    std::unique_ptr<FUnitTestingDialogController, Releaser> controller;
};

} // namespace

TEST_F(Runner, TheLogHasOneLinePerTestWithMessagesBeforeErrors)
{
    ScriptedTest* good = add("Suite/Good");
    good->messages = {"first remark", "second remark"};
    ScriptedTest* bad = add("Suite/Inner/Bad");
    bad->runAnswer = false;
    bad->errors = {"went wrong"};
    bad->messages = {"a remark"};
    add("Suite/Unprepared")->setupAnswer = false;
    ScriptedTest* untidy = add("Untidy");
    untidy->teardownAnswer = false;

    press(open(), "runAll");
    const std::string log = readFile(userData.get() + "/AutotestLog.txt");
    EXPECT_EQ(log, "Test: Passed: Root/Suite/Good\r\n"
                   "  ->Message: first remark\r\n"
                   "  ->Message: second remark\r\n"
                   "Test: ************ FAILED: Root/Suite/Inner/Bad\r\n"
                   "  ->Message: a remark\r\n"
                   "  ->ERROR: went wrong\r\n"
                   "Test: ************ FAILED: Root/Suite/Unprepared\r\n"
                   "Test: ************ FAILED: Root/Untidy\r\n");
    EXPECT_EQ(calls, (std::vector<std::string>{
                         "Suite/Good setup", "Suite/Good run", "Suite/Good teardown",
                         "Suite/Inner/Bad setup", "Suite/Inner/Bad run", "Suite/Inner/Bad teardown",
                         "Suite/Unprepared setup", "Suite/Unprepared teardown", "Untidy setup",
                         "Untidy run", "Untidy teardown"}));

    FTestNode* suite = tester->findPath("Suite");
    ASSERT_NE(suite, nullptr);
    // A group passes once reached; its failures show in the summary only.
    EXPECT_EQ(suite->getStatus(), FTestNode::kPassed);
    EXPECT_EQ(suite->getSummaryStatus(), FTestNode::kFailed);
    EXPECT_EQ(tester->findPath("Root/Suite/Good")->getSummaryStatus(), FTestNode::kPassed);
    EXPECT_EQ(tester->findPath("Suite/Inner/Bad")->getStatus(), FTestNode::kFailed);
    EXPECT_EQ(tester->findPath("Suite/Unprepared")->getStatus(), FTestNode::kSetupFailed);
    EXPECT_EQ(tester->findPath("Untidy")->getStatus(), FTestNode::kTeardownFailed);

    // A second run starts a fresh log.
    calls.clear();
    controller->setSelection({tester->findPath("Suite/Good")});
    press(*controller, "runSelected");
    EXPECT_EQ(readFile(userData.get() + "/AutotestLog.txt"), "Test: Passed: Root/Suite/Good\r\n"
                                                             "  ->Message: first remark\r\n"
                                                             "  ->Message: second remark\r\n");
}

TEST_F(Runner, ADisabledNodeIsSkippedAndKeepsItsStatusAcrossTheSettingsFile)
{
    add("Group/One")->runAnswer = false;
    add("Group/Two");
    add("Three");
    FUnitTestingDialogController& dialog = open();
    press(dialog, "runAll");
    FTestNode* one = tester->findPath("Group/One");
    ASSERT_EQ(one->getStatus(), FTestNode::kFailed);

    // Disabled in the same tree: the next run leaves its verdict and messages alone.
    one->setEnabled(false);
    calls.clear();
    press(dialog, "runAll");
    EXPECT_EQ(one->getStatus(), FTestNode::kFailed);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "Group/One run"), 0);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "Group/Two run"), 1);
    EXPECT_EQ(readFile(userData.get() + "/AutotestLog.txt").find("Group/One"), std::string::npos);

    // Closing stores the flags; the next tree reads them back by path.
    tester->findPath("Group")->setEnabled(true);
    controller.reset();
    const std::string settings = readFile(userData.get() + "/TestSettings.bin");
    EXPECT_NE(settings.find("FTester-Tests"), std::string::npos);
    EXPECT_NE(settings.find("TestNodeFlags"), std::string::npos);
    tester->removeInitializers();
    calls.clear();
    press(open(), "runAll");
    EXPECT_FALSE(tester->findPath("Group/One")->isEnabled());
    EXPECT_TRUE(tester->findPath("Group/Two")->isEnabled());
    EXPECT_EQ(tester->findPath("Group/One")->getStatus(), FTestNode::kReset);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "Group/One run"), 0);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "Three run"), 1);

    // A disabled group skips everything below it; enable all brings it back.
    tester->findPath("Group")->setEnabled(false);
    calls.clear();
    press(*controller, "runAll");
    EXPECT_EQ(calls, (std::vector<std::string>{"Three setup", "Three run", "Three teardown"}));
    press(*controller, "enableAll");
    EXPECT_TRUE(tester->findPath("Group/One")->isEnabled());
    press(*controller, "disableAll");
    EXPECT_FALSE(tester->findPath("Three")->isEnabled());
}

TEST_F(Runner, RunWithParentsFramesTheNodeWithItsAncestorsAndCancelStopsBetweenTests)
{
    add("Outer");
    ScriptedTest* inner = add("Outer/Inner");
    add("Outer/Later");
    FUnitTestingDialogController& dialog = open();
    // "Outer" was a leaf and became a group; its own test moved below it.
    ASSERT_NE(tester->findPath("Outer/_Self_"), nullptr);
    EXPECT_EQ(tester->findPath("Outer/_Self_")->getTest(), static_cast<Qel::ITest*>(tests[0]));
    EXPECT_EQ(tester->countTests(), 3);

    // The ancestors' setup and teardown come from their test (here: none) or environment.
    auto* environment = add("environment");
    tester->findPath("Outer")->setEnvironment(environment);
    tester->runWithParents(tester->findPath("Outer/Inner"));
    EXPECT_EQ(calls,
              (std::vector<std::string>{"environment setup", "Outer/Inner setup", "Outer/Inner run",
                                        "Outer/Inner teardown", "environment teardown"}));
    (void)inner;

    int polls = 0;
    dialog.setCancelPredicate([&] { return ++polls > 3; }); // root, Outer, _Self_, then stop
    calls.clear();
    press(dialog, "runAll");
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "Outer setup"), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "Outer/Inner run"), 0);
    EXPECT_EQ(readFile(userData.get() + "/AutotestLog.txt"), "Test: Passed: Root/Outer/_Self_\r\n");
}

TEST_F(Runner, EachNodeKeepsTheTimeOfItsLastRun)
{
    add("Suite/Slow")->runFor = std::chrono::milliseconds(30);
    add("Suite/Quick");
    press(open(), "runAll");
    // Only a lower bound: a busy machine may take longer, never less.
    EXPECT_GE(tester->findPath("Suite/Slow")->getSeconds(), 0.03);
    EXPECT_GE(tester->findPath("Suite")->getSeconds(),
              tester->findPath("Suite/Slow")->getSeconds());
    EXPECT_GE(tester->findPath("Suite/Quick")->getSeconds(), 0.0);
}

TEST_F(Runner, TheControllerOffersItsNamedValues)
{
    add("A/B");
    add("A/C");
    FUnitTestingDialogController& dialog = open();
    ASSERT_NE(dialog.findValue("numTests"), nullptr);
    EXPECT_EQ(dialog.findValue("numTests")->getInt(), 2);
    for (const char* name : {"numTestsRun", "numErrors", "numFailures"})
        EXPECT_EQ(dialog.findValue(name)->getInt(), 0) << name;
    ASSERT_NE(dialog.findValue("cancel"), nullptr);
    EXPECT_FALSE(dialog.findValue("cancel")->isEnabled());
    EXPECT_EQ(dialog.findValue("runAll")->getTag(), 14532);
    EXPECT_EQ(dialog.findValue("runSelected")->getTag(), 14533);
    EXPECT_EQ(dialog.findValue("enableAll")->getTag(), 14534);
    EXPECT_EQ(dialog.findValue("disableAll")->getTag(), 14535);
    EXPECT_EQ(tester->getObserver(), static_cast<ITesterObserver*>(&dialog.getService()));
    press(dialog, "close");
    EXPECT_EQ(tester->getObserver(), nullptr);
    EXPECT_EQ(tester->getRoot(), nullptr);
}

/** Hangs a fixed set of nodes under the root. */
class FixedTree : public FTestInitializer
{
public:
    void initialize(FTester&, FTestNode& root) override
    {
        auto* group = new FTestNode("Suspend");
        group->addChild(new FTestNode("Resume X"));
        root.addChild(group);
        root.addChild(new FTestNode("Suspend/Resume"));
        auto* deeper = new FTestNode("Suspend/Resume Y");
        deeper->addChild(new FTestNode("Z"));
        root.addChild(deeper);
    }
};

TEST(FindPath, NamesThatHoldASlashAreFoundWholeAndTheWalkGoesBack)
{
    FTester* tester = FTester::instance();
    tester->removeInitializers();
    bool remember = tester->getRememberSettings();
    tester->setRememberSettings(false);
    tester->addInitializer(std::make_unique<FixedTree>());
    tester->open();
    FTestNode* root = tester->getRoot();
    ASSERT_NE(root, nullptr);
    auto child = [&](FNode* node, int32 index) { return FCast<FTestNode>(node->getChild(index)); };
    FTestNode* group = child(root, 0);
    EXPECT_EQ(tester->findPath("Suspend/Resume"), child(root, 1));
    EXPECT_EQ(tester->findPath("Root/Suspend/Resume"), child(root, 1));
    EXPECT_EQ(tester->findPath("Suspend/Resume X"), child(group, 0));
    EXPECT_EQ(tester->findPath("Suspend/Resume Y/Z"), child(child(root, 2), 0));
    EXPECT_EQ(tester->findPath("Suspend/Resume/Z"), nullptr);
    EXPECT_EQ(tester->findPath("Suspend/"), nullptr);
    tester->close();
    tester->removeInitializers();
    tester->setRememberSettings(remember);
}
