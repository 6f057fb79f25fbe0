// For the tests of the information page and the generic editor: the fixture module with every
// kind of record, scanned from a folder of its own, and a class of it brought to life through
// the provider the application uses.
#pragma once

#include "hosting/fcomponentregistry.h"
#include "hosting/plugprovider.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

namespace Quillmark
{
namespace testing
{

class InfoRecordsModule : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string modules = temp.folder("modules");
        copyInto(fixture(Qel::Examples::kInfoRecordsModule), modules);
        registry = new FComponentRegistry;
        ASSERT_EQ(registry->scanFolder(modules), 1);
    }

    void TearDown() override
    {
        for (Qel::PlugProvider* provider : providers)
        {
            provider->destroyPlugIn();
            provider->release();
        }
        registry->release();
    }

    /** A living instance of class `cid`; the fixture takes it down at the end of the test. */
    Qel::PlugProvider& open(const QelUid& cid)
    {
        auto* provider = new Qel::PlugProvider(registry, FUID(cid), true);
        providers.push_back(provider);
        EXPECT_TRUE(provider->createPlugIn());
        return *provider;
    }

    TempFolder temp;
    FComponentRegistry* registry = nullptr;
    std::vector<Qel::PlugProvider*> providers;
};

} // namespace testing
} // namespace Quillmark
