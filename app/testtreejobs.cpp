#include "app/testtreejobs.h"

#include "app/commandline.h"
#include "app/directmodules.h"
#include "app/hostsession.h"
#include "conformity/testrunservice.h"
#include "conformity/testtreenames.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"

#include <ostream>

namespace Quillmark
{

namespace
{

/** The scanned session and the tree over it, for one job. */
struct TreeSession
{
    DirectModules direct;
    std::unique_ptr<HostSession> session;
    std::unique_ptr<TestRunService> service;

    /** Scans and builds the tree; an exit code when that failed. */
    int open(const CommandLine& commandLine, const TestRunService::Scope& scope, std::ostream& err)
    {
        std::vector<std::string> folders;
        std::string problem;
        if (!direct.sort(commandLine.folders, folders, problem))
        {
            err << "Qel3PluginTestHost: " << problem << "\n";
            return kExitUsage;
        }
        session = std::make_unique<HostSession>(err, commandLine.verbose, commandLine.configFolder);
        session->scan(folders);
        service = std::make_unique<TestRunService>(*FTester::instance(), std::string{});
        service->setScope(session->getRegistry(), scope);
        service->open();
        if (service->countClasses() == 0)
        {
            err << noClassFoundText(commandLine.testClass);
            return kExitUsage;
        }
        return kExitOk;
    }

    ~TreeSession()
    {
        if (service)
            service->close(false);
        FTester::instance()->removeInitializers();
    }
};

/** The group above `node` that is switched off, or null: a node below it does not run. */
FTestNode* disabledAncestor(FTestNode& node)
{
    FTestNode* found = nullptr;
    for (FNode* parent = node.getParent(); parent; parent = parent->getParent())
        if (auto* group = FCast<FTestNode>(parent); group && !group->isEnabled())
            found = group;
    return found;
}

void listLeaves(FTestNode& node, bool enabled, std::ostream& out)
{
    enabled = enabled && node.isEnabled();
    if (node.countChildren() == 0)
    {
        out << node.getPath().toUtf8() << "\t" << (enabled ? "enabled" : "disabled") << "\n";
        return;
    }
    for (int32 index = 0; index < node.countChildren(); ++index)
        if (auto* child = FCast<FTestNode>(node.getChild(index)))
            listLeaves(*child, enabled, out);
}

} // namespace

int runListTestsJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    TreeSession tree;
    TestRunService::Scope scope;
    // The tests that modules contribute exist only once their module has made them.
    scope.moduleTests = false;
    scope.classFilter = commandLine.testClass;
    if (int code = tree.open(commandLine, scope, err); code != kExitOk)
        return code;

    std::vector<FTestNode*> selection;
    for (const std::string& path : commandLine.selections)
    {
        FTestNode* node = tree.service->findNode(path);
        if (!node)
        {
            err << "Qel3PluginTestHost: no test node at " << path << "\n";
            return kExitUsage;
        }
        selection.push_back(node);
    }
    if (selection.empty())
        selection.push_back(tree.service->getRoot());
    for (FTestNode* node : selection)
        listLeaves(*node, !disabledAncestor(*node), out);

    std::vector<FComponentDescription*> testClasses;
    tree.session->getRegistry().collectCategory(TestTree::kTestClassCategory, testClasses);
    if (!testClasses.empty() && commandLine.selections.empty())
        err << "Qel3PluginTestHost: the tests of " << testClasses.size()
            << " module test classes are not listed: a module makes them when a run begins\n";
    return kExitOk;
}

int runTestSettingsJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    TreeSession tree;
    // The whole tree, so that the flags of every node are written back as they were.
    if (int code = tree.open(commandLine, TestRunService::Scope{}, err); code != kExitOk)
        return code;

    // Every path is checked before anything changes.
    std::vector<std::pair<FTestNode*, bool>> changes;
    for (const auto& [path, enable] : commandLine.enableChanges)
    {
        FTestNode* node = tree.service->findNode(path);
        if (!node)
        {
            err << "Qel3PluginTestHost: no test node at " << path << "\n";
            return kExitUsage;
        }
        changes.emplace_back(node, enable);
    }
    for (auto [node, enable] : changes)
    {
        node->setEnabled(enable);
        out << (enable ? "enabled: " : "disabled: ") << node->getPath().toUtf8() << "\n";
        if (FTestNode* group = enable ? disabledAncestor(*node) : nullptr)
            err << "Qel3PluginTestHost: " << node->getPath().toUtf8()
                << " still does not run: " << group->getPath().toUtf8() << " is disabled\n";
    }
    std::string error;
    if (!tree.service->getTester().writeSettings(&error))
    {
        err << "Qel3PluginTestHost: cannot write " << tree.service->getTester().getSettingsPath()
            << ": " << error << "\n";
        return kExitFailure;
    }
    return kExitOk;
}

} // namespace Quillmark
