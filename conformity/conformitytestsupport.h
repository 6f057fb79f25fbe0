// For tests of conformity tests: a registry of its own over a temporary copy of one module, a
// tree built from chosen test groups over one class of it, a run of the whole tree or of chosen
// nodes, and the text of "AutotestLog.txt" that the run wrote.
#pragma once

#include "base/fmainloop.h"
#include "conformity/ftreebuilder.h"
#include "conformity/funittestingdialogcontroller.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/fmodule.h"
#include "hosting/ftester.h"
#include "hosting/qelcomponent.h"
#include "hosting/testsupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace Quillmark::testing
{

class ConformityRun : public ::testing::Test
{
protected:
    using Groups = std::vector<FTreeBuilder::TestGroup>;

    void TearDown() override
    {
        closeTree();
        FMainLoop::instance()->dispatchDue();
        FModuleBase::setDeferredUnloading(false);
        EXPECT_EQ(Qel::QelComponent::liveCount(), 0);
        if (registry)
            registry->release();
        registry = nullptr;
    }

    /** Scans a copy of `modulePath` (a file or a package folder); false when it has no class. */
    bool loadModule(const std::string& modulePath)
    {
        copyInto(modulePath, temp.folder("modules"));
        registry = new FComponentRegistry;
        return registry->scanFolder(temp.folder("modules")) > 0;
    }

    /** Builds the tree over the class named `className` (or every class when empty) with
        exactly `groups` below each provider. */
    void buildTree(const Groups& groups, const std::string& className = {})
    {
        closeTree();
        FTester* tester = FTester::instance();
        // The tester is process-wide: what this run changes is put back when it closes.
        rememberedSettings = tester->getRememberSettings();
        tester->setRememberSettings(false);
        auto builder = std::make_unique<FTreeBuilder>(*registry, groups);
        builder->setClassFilter(className);
        tester->addInitializer(std::move(builder));
        controller = new FUnitTestingDialogController(*tester, temp.file("AutotestLog.txt"));
    }

    /** Runs the whole tree, or the nodes at `paths` each with its parents; answers the log. */
    std::string runTree(const std::vector<std::string>& paths = {})
    {
        std::vector<FTestNode*> selection;
        for (const std::string& path : paths)
        {
            FTestNode* node = find(path);
            EXPECT_NE(node, nullptr) << path;
            if (node)
                selection.push_back(node);
        }
        controller->setSelection(selection);
        controller->findValue(selection.empty() ? "runAll" : "runSelected")->setInt(1);
        controller->getLog().close();
        return readFile(controller->getLog().getPath());
    }

    /** The node at `path` below the root ("Global Instance/Class/..."), or null. */
    FTestNode* find(const std::string& path) const
    {
        return FTester::instance()->findPath(path.c_str());
    }

    void closeTree()
    {
        if (!controller)
            return;
        controller->release();
        controller = nullptr;
        FTester::instance()->removeInitializers();
        FTester::instance()->setRememberSettings(rememberedSettings);
    }

    TempFolder temp;
    FComponentRegistry* registry = nullptr;
    FUnitTestingDialogController* controller = nullptr;
    bool rememberedSettings = true;
};

} // namespace Quillmark::testing
