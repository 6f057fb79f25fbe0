// The run service that every front end runs the tree through: what a selection plans, what a
// run tells its listener and in which order, and when the enabled flags are stored.
#include "conformity/scriptedtestsupport.h"
#include "conformity/testrunservice.h"
#include "hosting/testsupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Quillmark;
using Quillmark::testing::readFile;
using Quillmark::testing::ScriptedTest;
using Quillmark::testing::ScriptedTree;

namespace
{

class RunService : public ::testing::Test
{
protected:
    void SetUp() override
    {
        tester->removeInitializers();
        for (const char* path : {"A/One", "A/Two", "B/Three", "B/C/Four"})
            tests.push_back(new ScriptedTest(path, calls));
        tester->addInitializer(std::make_unique<ScriptedTree>(tests));
    }
    void TearDown() override
    {
        service.close(false);
        tester->removeInitializers();
        for (ScriptedTest* test : tests)
            test->release();
    }

    std::vector<std::string> paths(const std::vector<FTestNode*>& nodes)
    {
        std::vector<std::string> result;
        for (FTestNode* node : nodes)
            result.push_back(node->getPath().toUtf8());
        return result;
    }

    Quillmark::testing::TempFolder temp;
    Quillmark::testing::UserDataFolder userData{temp};
    FTester* tester = FTester::instance();
    std::vector<ScriptedTest*> tests;
    std::vector<std::string> calls;
    TestRunService service{*tester, userData.get() + "/run.txt"};
};

TEST_F(RunService, PlansTheEnabledTestsOfTheSelectionInTreeOrder)
{
    service.open();
    ASSERT_TRUE(service.isOpen());
    EXPECT_EQ(paths(service.plan({})), (std::vector<std::string>{"Root/A/One", "Root/A/Two",
                                                                 "Root/B/Three", "Root/B/C/Four"}));
    service.findNode("B/C")->setEnabled(false);
    EXPECT_EQ(paths(service.plan({service.findNode("Root/B"), service.findNode("A/One")})),
              (std::vector<std::string>{"Root/B/Three", "Root/A/One"}));
    EXPECT_EQ(service.findNode("Nowhere"), nullptr);
    EXPECT_EQ(service.countClasses(), 0); // no "Global Instance" in this tree
    EXPECT_TRUE(calls.empty());           // planning runs nothing
}

TEST_F(RunService, ASelectionRunsOnlyItsNodesAndTellsStartsEndsAndResultsInOrder)
{
    service.open();
    std::vector<std::string> told;
    TestRunService::Listener listener;
    listener.started = [&](FTestNode& node) { told.push_back("start " + node.getPath().toUtf8()); };
    listener.groupEnded = [&](FTestNode& node)
    { told.push_back("end " + node.getPath().toUtf8()); };
    listener.finished = [&](const FTestNode& node)
    { told.push_back("done " + node.getPath().toUtf8()); };
    service.setListener(std::move(listener));
    tests[3]->runAnswer = false;

    service.run({service.findNode("B")});
    EXPECT_EQ(calls,
              (std::vector<std::string>{"B/Three setup", "B/Three run", "B/Three teardown",
                                        "B/C/Four setup", "B/C/Four run", "B/C/Four teardown"}));
    EXPECT_EQ(told,
              (std::vector<std::string>{"start Root/B", "start Root/B/Three", "done Root/B/Three",
                                        "start Root/B/C", "start Root/B/C/Four",
                                        "done Root/B/C/Four", "end Root/B/C", "end Root/B"}));
    EXPECT_FALSE(service.isRunning());
    EXPECT_EQ(readFile(userData.get() + "/run.txt"),
              "Test: Passed: Root/B/Three\r\nTest: ************ FAILED: Root/B/C/Four\r\n");

    // Each run starts a fresh log; an empty selection is the whole tree.
    calls.clear();
    service.run({});
    EXPECT_EQ(calls.size(), 12u);
    EXPECT_EQ(readFile(userData.get() + "/run.txt").substr(0, 30),
              "Test: Passed: Root/A/One\r\nTest");
}

TEST_F(RunService, ACancelStopsBeforeTheNextNode)
{
    service.open();
    service.setCancelPredicate([&] { return !calls.empty() && calls.back() == "A/One teardown"; });
    service.run({});
    EXPECT_EQ(calls, (std::vector<std::string>{"A/One setup", "A/One run", "A/One teardown"}));
    EXPECT_EQ(service.findNode("A/Two")->getStatus(), FTestNode::kReset);
}

TEST_F(RunService, ClosingStoresTheEnabledFlagsOnlyWhenAsked)
{
    const std::string settings = tester->getSettingsPath();
    service.open();
    service.findNode("A/Two")->setEnabled(false);
    service.close(false);
    EXPECT_FALSE(std::filesystem::exists(settings));

    service.open();
    EXPECT_TRUE(service.findNode("A/Two")->isEnabled());
    service.findNode("A/Two")->setEnabled(false);
    service.close();
    ASSERT_TRUE(std::filesystem::exists(settings));

    service.open();
    EXPECT_FALSE(service.findNode("A/Two")->isEnabled());
    EXPECT_EQ(service.plan({}).size(), 3u);
    EXPECT_EQ(tester->getObserver(), &service);
    service.close();
    EXPECT_EQ(tester->getObserver(), nullptr);
    EXPECT_EQ(service.getRoot(), nullptr);
}

} // namespace
