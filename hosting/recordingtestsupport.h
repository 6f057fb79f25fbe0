// For tests of living plug-in instances: a registry of its own that scanned a temporary copy of
// the recording fixture, and the fixture's call log, which the test reads line by line.
#pragma once

#include "base/fmainloop.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/fmodule.h"
#include "hosting/qelcomponent.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace Quillmark::testing
{

class RecordingModule : public ::testing::Test
{
protected:
    using Lines = std::vector<std::string>;

    void SetUp() override
    {
        using namespace Qel::Examples;
        log = temp.file("calls.log");
        setenv(kFixtureLogVariable, log.c_str(), 1);
        copyInto(fixture(kRecordingModule), temp.folder("modules"));
        registry = new FComponentRegistry;
        ASSERT_EQ(registry->scanFolder(temp.folder("modules")), 1);
        auto* description = FCast<FPluginComponent>(registry->findByCid(kRecordingComponentCid));
        ASSERT_NE(description, nullptr);
        module = description->getModule();
        clearCalls();
    }

    void TearDown() override
    {
        // Whatever a test left pending is delivered, so no message outlives the registry.
        FMainLoop::instance()->dispatchDue();
        FModuleBase::setDeferredUnloading(false);
        EXPECT_EQ(Qel::QelComponent::liveCount(), 0);
        if (registry)
            registry->release();
        unsetenv(Qel::Examples::kFixtureLogVariable);
    }

    /** The calls logged since the last clearCalls, one "<role> <call>" a line. */
    Lines calls() const
    {
        Lines lines;
        std::istringstream in(readFile(log));
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }
    void clearCalls() const { std::remove(log.c_str()); }

    TempFolder temp;
    UserDataFolder userData{temp};
    std::string log;
    FComponentRegistry* registry = nullptr;
    FModule* module = nullptr; // owned by the registry
};

} // namespace Quillmark::testing
