#include "conformity/testrunservice.h"

#include "conformity/fmoduletest.h"
#include "conformity/ftreebuilder.h"
#include "conformity/nodewatcher.h"
#include "conformity/testrandom.h"
#include "conformity/testtreenames.h"

namespace Quillmark
{

namespace
{

void collectPlan(FTestNode& node, std::vector<FTestNode*>& into)
{
    if (!node.isEnabled())
        return;
    if (node.countChildren() == 0)
    {
        into.push_back(&node);
        return;
    }
    for (int32 index = 0; index < node.countChildren(); ++index)
        if (auto* child = FCast<FTestNode>(node.getChild(index)))
            collectPlan(*child, into);
}

bool runnable(const FTestNode& node)
{
    return node.countChildren() > 0 || node.getTest();
}

} // namespace

TestRunService::TestRunService(FTester& tester, std::string logPath)
    : tester(tester), log(std::move(logPath))
{
}

TestRunService::~TestRunService()
{
    close();
}

void TestRunService::setScope(FComponentRegistry& registry, const Scope& scope)
{
    tester.removeInitializers();
    if (scope.moduleTests)
        tester.addInitializer(std::make_unique<FModuleTestInitializer>(registry));
    if (scope.classes)
    {
        auto builder = std::make_unique<FTreeBuilder>(registry);
        builder->setClassFilter(scope.classFilter);
        tester.addInitializer(std::move(builder));
    }
}

void TestRunService::open()
{
    if (opened)
        return;
    opened = true;
    tester.setObserver(this);
    tester.open();
}

void TestRunService::close(bool storeSettings)
{
    if (!opened)
        return;
    opened = false;
    if (tester.getObserver() == this)
        tester.setObserver(nullptr);
    const bool remember = tester.getRememberSettings();
    if (!storeSettings)
        tester.setRememberSettings(false);
    tester.close();
    tester.setRememberSettings(remember);
}

FTestNode* TestRunService::findNode(const std::string& path) const
{
    return tester.findPath(path.c_str());
}

int32 TestRunService::countClasses() const
{
    FTestNode* root = getRoot();
    FTestNode* top = root ? root->findTestChild(TestTree::kGlobalInstance) : nullptr;
    return top ? top->countChildren() : 0;
}

std::vector<FTestNode*> TestRunService::plan(const std::vector<FTestNode*>& selection) const
{
    std::vector<FTestNode*> tests;
    std::vector<FTestNode*> nodes = selection;
    if (nodes.empty() && getRoot())
        nodes.push_back(getRoot());
    for (FTestNode* node : nodes)
        if (node && runnable(*node))
            collectPlan(*node, tests);
    return tests;
}

void TestRunService::run(const std::vector<FTestNode*>& selection, bool freshLog)
{
    FTestNode* root = getRoot();
    if (!root || running)
        return;
    if (freshLog)
        log.remove();
    randomUses.clear();
    // A test's use of the random sequence is measured from its start to its end; the state
    // asked for is set as the first test starts, after the groups above it are set up.
    NodeWatcher watcher(
        [this](FTestNode& node)
        {
            if (node.countChildren() == 0)
            {
                if (firstTestState)
                    Qel::testRandomState() = *firstTestState;
                firstTestState.reset();
                randomUses[&node] = {Qel::testRandomState(), Qel::testRandomState()};
            }
            if (listener.started)
                listener.started(node);
        },
        [this](FTestNode& node)
        {
            if (listener.groupEnded)
                listener.groupEnded(node);
        });
    for (FTestNode* node : selection.empty() ? std::vector<FTestNode*>{root} : selection)
        if (node)
            watcher.watch(*node);
    running = true;
    if (selection.empty())
        tester.runAll();
    else
        for (FTestNode* node : selection)
            if (node && runnable(*node))
                tester.runWithParents(node);
    running = false;
    watcher.unwatchAll();
}

bool TestRunService::cancelled()
{
    return cancelPredicate && cancelPredicate();
}

void TestRunService::testerChanged(FTester& changedTester)
{
    FTestNode* node = changedTester.getLastNode();
    if (!node)
        return;
    if (node->countChildren() > 0)
    {
        const int32 status = node->getStatus();
        if (listener.finished &&
            (status == FTestNode::kSetupFailed || status == FTestNode::kTeardownFailed))
            listener.finished(*node);
        return;
    }
    if (auto use = randomUses.find(node); use != randomUses.end())
        use->second.end = Qel::testRandomState();
    log.write(*node);
    if (listener.finished)
        listener.finished(*node);
}

std::optional<TestRunService::RandomUse> TestRunService::randomUseOf(const FTestNode& node) const
{
    auto use = randomUses.find(&node);
    if (use == randomUses.end())
        return std::nullopt;
    return use->second;
}

TestOutcome TestRunService::outcomeOf(const FTestNode& node) const
{
    TestOutcome outcome = TestOutcome::of(node);
    if (std::optional<RandomUse> use = randomUseOf(node); use && use->drew())
        outcome.randomState = use->start;
    return outcome;
}

} // namespace Quillmark
