// The tree over real modules: its shape, a test below a global provider framed by the provider's
// setup and teardown, a class without a controller, and a test that a module contributes.
#include "conformity/fmoduletest.h"
#include "conformity/ftreebuilder.h"
#include "conformity/qeltestbase.h"
#include "hosting/plugprovider.h"
#include "hosting/recordingtestsupport.h"

#include <algorithm>

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::Qel::Examples;

namespace
{

/** Asks the controller for its parameter count; without a controller it reports so and passes. */
class ParameterCountTest : public QelTestBase
{
public:
    using QelTestBase::QelTestBase;
    const char8* getName() const override { return "Parameter Count"; }
    bool run(ITestResult* result) override
    {
        if (!result || !plug)
            return false;
        addBanner(result);
        if (!controller)
        {
            result->addMessage("No Edit Controller supplied!");
            return true;
        }
        controller->getParameterCount();
        return true;
    }
};

FTestNode* findPath(const std::string& path)
{
    return FTester::instance()->findPath(path.c_str());
}

void fillGeneral(FTestNode& group, PlugProvider& provider)
{
    auto* test = new ParameterCountTest(&provider);
    group.addLeaf(test->getName(), test);
    test->release();
}

class TreeOverModules : public Quillmark::testing::RecordingModule
{
protected:
    void TearDown() override
    {
        tester->close();
        tester->removeInitializers();
        RecordingModule::TearDown();
    }

    /** Builds the tree of the recording classes with one test group, or with the builder's own
        groups. */
    void build(const std::string& filter = {}, bool withGroup = true)
    {
        tester->setRememberSettings(false);
        auto builder =
            withGroup
                ? std::make_unique<FTreeBuilder>(*registry, std::vector<FTreeBuilder::TestGroup>())
                : std::make_unique<FTreeBuilder>(*registry);
        builder->setClassFilter(filter);
        if (withGroup)
        {
            builder->addTestGroup({"QEL3 Conformity/General", fillGeneral});
            builder->addTestGroup({"Special Features/Audio Processing 64bit/Automation", nullptr});
            builder->addTestGroup({"Special Features/Audio Processing 64bit/Automation", nullptr});
        }
        tester->addInitializer(std::move(builder));
        tester->open();
    }

    static std::vector<std::string> childNames(FNode* node)
    {
        std::vector<std::string> names;
        for (int32 index = 0; node && index < node->countChildren(); ++index)
            names.push_back(node->getChild(index)->getName().toUtf8());
        return names;
    }

    FTester* tester = FTester::instance();
};

} // namespace

TEST_F(TreeOverModules, BothKindsHoldEveryAudioClassInRegistryOrder)
{
    build();
    FTestNode* root = tester->getRoot();
    EXPECT_EQ(childNames(root), (std::vector<std::string>{"Global Instance", "Local Instances"}));
    std::vector<FComponentDescription*> classes;
    registry->collectCategory("Audio Module Class", classes);
    std::vector<std::string> expected;
    for (FComponentDescription* description : classes)
        expected.push_back(description->getName().toUtf8());
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(childNames(findPath("Global Instance")), expected);
    EXPECT_EQ(childNames(findPath("Local Instances")), expected);

    std::string gainGroup = std::string("Global Instance/") + kRecordingComponentName;
    auto* global = FCast<PlugProvider>(findPath(gainGroup + "/Global Instance"));
    ASSERT_NE(global, nullptr);
    EXPECT_TRUE(global->isGlobal());
    EXPECT_EQ(global->getClassId(), FUID(kRecordingComponentCid));
    auto* local = FCast<PlugProvider>(
        findPath(std::string("Local Instances/") + kRecordingComponentName + "/Local Instances"));
    ASSERT_NE(local, nullptr);
    EXPECT_FALSE(local->isGlobal());

    EXPECT_EQ(childNames(global),
              (std::vector<std::string>{"QEL3 Conformity", "Special Features"}));
    EXPECT_EQ(childNames(findPath(gainGroup + "/Global Instance/QEL3 Conformity/General")),
              (std::vector<std::string>{"Parameter Count"}));
    // The second group of the same name in the same place is told apart by its number.
    EXPECT_EQ(childNames(
                  findPath(gainGroup + "/Global Instance/Special Features/Audio Processing 64bit")),
              (std::vector<std::string>{"Automation", "Automation 2"}));
}

TEST_F(TreeOverModules, TheFinishedTreeHoldsEveryGroupInItsPlace)
{
    build(kRecordingComponentName, false);
    const std::string provider =
        std::string("Local Instances/") + kRecordingComponentName + "/Local Instances";
    auto names = [&](const std::string& path) { return childNames(findPath(provider + path)); };
    using Names = std::vector<std::string>;
    const Names processing = {"Process Test",
                              "Silence Flags",
                              "Silence Processing",
                              "Check Tail processing",
                              "Parameters Flush (no Buffer)",
                              "Variable Block Size",
                              "Process Format",
                              "Process function running in another thread"};

    EXPECT_EQ(names("/QEL3 Conformity"),
              (Names{"General", "Audio Processing 32bit", "Bus handling", "Unit Info",
                     "State Transitions", "Note Expression"}));
    EXPECT_EQ(names("/QEL3 Conformity/General"),
              (Names{"Scan Editor Classes", "Scan Parameters", "MIDI Mapping",
                     "Terminate/Initialize", "Suspend/Resume"}));
    Names conformity32 = processing;
    conformity32.insert(conformity32.end(), {"Automation", "Speaker Arrangements"});
    EXPECT_EQ(names("/QEL3 Conformity/Audio Processing 32bit"), conformity32);
    EXPECT_EQ(
        names("/QEL3 Conformity/Bus handling"),
        (Names{"Scan Busses", "Bus Consistency", "Bus Activation", "Check Audio Bus Arrangement"}));
    EXPECT_EQ(names("/QEL3 Conformity/Unit Info"),
              (Names{"Scan Units", "Scan Programs", "Check Unit Structure"}));
    EXPECT_EQ(names("/QEL3 Conformity/State Transitions"), (Names{"Valid State Transition"}));
    EXPECT_EQ(names("/QEL3 Conformity/Note Expression"), (Names{"Note Expression", "Keyswitch"}));
    EXPECT_EQ(names("/Special Features"),
              (Names{"Audio Processing 32bit", "Audio Processing 64bit"}));
    EXPECT_EQ(names("/Special Features/Audio Processing 32bit"), (Names{"Automation"}));
    Names special64 = processing;
    special64.insert(special64.end(), {"Automation", "Automation 2", "Speaker Arrangements"});
    EXPECT_EQ(names("/Special Features/Audio Processing 64bit"), special64);

    // Parameter counts outside, change intervals inside; the accuracy of the place.
    Names automation = names("/QEL3 Conformity/Audio Processing 32bit/Automation");
    ASSERT_EQ(automation.size(), 12u);
    EXPECT_EQ(automation[0], "Accuracy: Block, 1 Parameters, Change every 100 Samples");
    EXPECT_EQ(automation[5], "Accuracy: Block, 2 Parameters, Change every 1 Samples");
    EXPECT_EQ(automation[11], "Accuracy: Block, All Parameters, Change every 1 Samples");
    EXPECT_EQ(names("/Special Features/Audio Processing 32bit/Automation")[6],
              "Accuracy: Sample, 10 Parameters, Change every 100 Samples");
    EXPECT_EQ(names("/Special Features/Audio Processing 64bit/Automation 2")[0],
              "Accuracy: Sample, 1 Parameters, Change every 100 Samples");

    // "In = Out", then one group per input arrangement with every output.
    const std::string speakers = "/Special Features/Audio Processing 64bit/Speaker Arrangements";
    Names rows = names(speakers);
    ASSERT_EQ(rows.size(), 16u);
    EXPECT_EQ(rows[0], "In = Out");
    EXPECT_EQ(rows[1], "In = Mono");
    EXPECT_EQ(rows[15], "In = 50");
    Names same = names(speakers + "/In = Out");
    ASSERT_EQ(same.size(), 15u);
    EXPECT_EQ(same[1], "In: Stereo: 2 Channels, Out: Stereo: 2 Channels");
    Names fromStereo = names(speakers + "/In = Stereo");
    ASSERT_EQ(fromStereo.size(), 15u);
    EXPECT_EQ(fromStereo[0], "In: Stereo: 2 Channels, Out: Mono: 1 Channels");
    EXPECT_EQ(fromStereo[14], "In: Stereo: 2 Channels, Out: 50: 5 Channels");

    EXPECT_EQ(findPath(provider)->countLeaves(), 559);
    EXPECT_EQ(tester->countTests(), 1118);
    // What a run would run leaves out disabled nodes, with all below them.
    findPath(provider + speakers)->setEnabled(false);
    findPath(provider + "/QEL3 Conformity/General/Suspend/Resume")->setEnabled(false);
    EXPECT_EQ(findPath(provider)->countLeaves(true), 559 - 240 - 1);
    EXPECT_EQ(findPath(provider)->countLeaves(), 559);
}

TEST_F(TreeOverModules, TheClassFilterTakesANameOrAnIdentifierAndNoClassLeavesTheTopGroups)
{
    build(kRecordingUnitedName);
    EXPECT_EQ(childNames(findPath("Local Instances")),
              (std::vector<std::string>{kRecordingUnitedName}));
    tester->close();
    tester->removeInitializers();
    build(FUID(kRecordingOrphanCid).toRegistryString());
    EXPECT_EQ(childNames(findPath("Global Instance")),
              (std::vector<std::string>{kRecordingOrphanName}));
    tester->close();
    tester->removeInitializers();
    build("no such class");
    EXPECT_EQ(childNames(tester->getRoot()),
              (std::vector<std::string>{"Global Instance", "Local Instances"}));
    EXPECT_EQ(tester->countTests(), 2);
}

TEST_F(TreeOverModules, ATestBelowAGlobalProviderRunsInsideItsSetupAndTeardown)
{
    build(kRecordingComponentName);
    FTestNode* test = findPath(std::string("Global Instance/") + kRecordingComponentName +
                               "/Global Instance/QEL3 Conformity/General/Parameter Count");
    ASSERT_NE(test, nullptr);
    clearCalls();
    tester->runWithParents(test);
    EXPECT_EQ(test->getStatus(), FTestNode::kPassed);
    Lines lines = calls();
    ASSERT_FALSE(lines.empty());
    auto at = [&](const std::string& line)
    { return std::find(lines.begin(), lines.end(), line) - lines.begin(); };
    // The instance is made once, before the test, and gone after it.
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "component created"), 1);
    EXPECT_EQ(lines.front(), "component created");
    EXPECT_LT(at("controller connect component"), at("component activateBus"));
    EXPECT_LT(at("component activateBus"), at("controller getParameterCount"));
    EXPECT_EQ(lines.back(), "component destroyed");
    EXPECT_FALSE(module->isLoaded());
    // The test's own result went to its node.
    ASSERT_EQ(test->getMessages().size(), 1u);
    EXPECT_EQ(test->getMessages()[0],
              String("===Parameter Count ===================================="));
}

TEST_F(TreeOverModules, AClassWithoutAControllerStillGetsItsFullTree)
{
    build(kRecordingOrphanName);
    std::string classGroup = std::string("Local Instances/") + kRecordingOrphanName;
    FTestNode* provider = findPath(classGroup + "/Local Instances");
    ASSERT_NE(provider, nullptr);
    EXPECT_EQ(childNames(provider),
              (std::vector<std::string>{"QEL3 Conformity", "Special Features"}));
    FTestNode* test =
        findPath(classGroup + "/Local Instances/QEL3 Conformity/General/Parameter Count");
    ASSERT_NE(test, nullptr);
    tester->runWithParents(test);
    EXPECT_EQ(test->getStatus(), FTestNode::kPassed);
    ASSERT_EQ(test->getMessages().size(), 2u);
    EXPECT_EQ(test->getMessages()[1], String("No Edit Controller supplied!"));
    EXPECT_EQ(QelComponent::liveCount(), 0);
}

TEST(ModuleTests, QelGainContributesATestThatChecksItsParameters)
{
    Quillmark::testing::TempFolder temp;
    Quillmark::testing::UserDataFolder userData{temp};
    std::string modules = temp.folder("modules");
    Quillmark::testing::copyInto(Quillmark::testing::exampleModule(kQelGainModule), modules);
    auto* registry = new FComponentRegistry;
    ASSERT_EQ(registry->scanFolder(modules), 1);

    FTester* tester = FTester::instance();
    tester->setRememberSettings(false);
    tester->removeInitializers();
    tester->addInitializer(std::make_unique<FModuleTestInitializer>(*registry));
    tester->open();
    FTestNode* test = findPath(std::string(kQelGainTestsName) + "/" + kQelGainTestName);
    ASSERT_NE(test, nullptr);
    EXPECT_NE(FCast<FModuleTest>(test->getParent()), nullptr);
    tester->runAll();
    EXPECT_EQ(test->getStatus(), FTestNode::kPassed);
    EXPECT_TRUE(test->getErrors().empty());
    ASSERT_EQ(test->getMessages().size(), 1u);
    EXPECT_EQ(test->getMessages()[0], String("checked 3 gain values"));
    tester->close();
    tester->removeInitializers();
    tester->setRememberSettings(true);
    registry->release();
}
