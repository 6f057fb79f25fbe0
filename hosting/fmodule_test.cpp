#include "hosting/fmodule.h"

#include "base/fmainloop.h"
#include "base/fmessage.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <sstream>

using namespace Quillmark;
using namespace Quillmark::Qel::Examples;
using Quillmark::testing::TempFolder;

namespace
{

std::vector<std::string> logLines(const std::string& path)
{
    std::vector<std::string> lines;
    std::istringstream in(Quillmark::testing::readFile(path));
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// Records the calls of the counting fixture in a log file of the test's own.
class CountingModule : public ::testing::Test
{
protected:
    void SetUp() override
    {
        log = temp.file("calls.log");
        setenv(kFixtureLogVariable, log.c_str(), 1);
        path = Quillmark::testing::copyInto(Quillmark::testing::fixture(kCountingModule),
                                            temp.folder("modules"));
    }
    void TearDown() override
    {
        unsetenv(kFixtureLogVariable);
        FModuleBase::setDeferredUnloading(false);
    }

    TempFolder temp;
    std::string log;
    std::string path;
};

} // namespace

TEST_F(CountingModule, LoadRunsInitDllThenReadsTheFactoryAndUnloadRunsExitDll)
{
    auto* module = new FModule(path);
    ASSERT_TRUE(module->load()) << module->getLoadError();
    EXPECT_TRUE(module->isLoaded());
    EXPECT_NE(module->getFactory(), nullptr);
    // The third factory interface gets the host context as part of the load.
    EXPECT_EQ(logLines(log),
              (std::vector<std::string>{"InitDll", "GetPluginFactory", "setHostContext"}));

    module->unload();
    EXPECT_FALSE(module->isLoaded());
    EXPECT_EQ(logLines(log).back(), "ExitDll");
    module->release();
}

TEST_F(CountingModule, TheLastUseUnloadsAtOnceWhenNotDeferred)
{
    auto* module = new FModule(path);
    module->acquire();
    module->acquire();
    ASSERT_NE(module->getFactory(), nullptr);
    module->releaseUse();
    EXPECT_TRUE(module->isLoaded());
    EXPECT_EQ(module->getUseCount(), 1);
    module->releaseUse();
    EXPECT_FALSE(module->isLoaded());
    // The count is held at zero, however often a use is given back.
    module->releaseUse();
    EXPECT_EQ(module->getUseCount(), 0);
    module->release();
}

TEST_F(CountingModule, DeferredUnloadWaitsForTheMessageAndAcquireCancelsIt)
{
    FMainLoop* loop = FMainLoop::instance();
    FModuleBase::setDeferredUnloading(true);
    auto* module = new FModule(path);

    module->acquire();
    ASSERT_NE(module->getFactory(), nullptr);
    auto released = std::chrono::steady_clock::now();
    module->releaseUse();
    EXPECT_TRUE(module->isLoaded());
    EXPECT_TRUE(loop->isPending(module, "Unload"));
    int32 delivered = loop->dispatchDue();
    // Not due before its 100 ms; a machine that stalled that long proves nothing here.
    if (std::chrono::steady_clock::now() - released < std::chrono::milliseconds(90))
    {
        EXPECT_EQ(delivered, 0);
        EXPECT_TRUE(module->isLoaded());
    }

    // A new use before the delay ends keeps the library.
    module->acquire();
    EXPECT_FALSE(loop->isPending(module, "Unload"));
    module->releaseUse();
    loop->dispatchWithin(2000);
    EXPECT_FALSE(module->isLoaded());
    EXPECT_EQ(logLines(log).back(), "ExitDll");
    module->release();
}

TEST_F(CountingModule, AnUnloadMessageWithAUseTakenMeanwhileDoesNothing)
{
    auto* module = new FModule(path);
    module->acquire();
    ASSERT_NE(module->getFactory(), nullptr);
    auto* unload = new FMessage("Unload");
    module->notify(unload);
    unload->release();
    EXPECT_TRUE(module->isLoaded());
    module->releaseUse();
    module->release();
}

TEST(FModule, NeverUnloadFlagFromTheFactoryKeepsTheLibrary)
{
    auto* module = new FModule(Quillmark::testing::fixture(kNeverUnloadModule));
    module->acquire();
    IPluginFactory* factory = module->getFactory();
    ASSERT_NE(factory, nullptr);
    PFactoryInfo info{};
    factory->getFactoryInfo(&info);
    module->setFactoryInfo(info);
    EXPECT_TRUE(module->getFlags() & FModuleBase::kNeverUnload);
    module->releaseUse();
    EXPECT_TRUE(module->isLoaded());
    module->release();
}

TEST(FModule, LoadFailuresSayWhy)
{
    TempFolder temp;
    struct Case
    {
        std::string path;
        std::string reason;
    };
    std::string notALibrary = temp.file("text.so");
    Quillmark::testing::writeFile(notALibrary, "this is no library\n");
    std::string truncated = temp.file("truncated.so");
    std::string whole =
        Quillmark::testing::readFile(Quillmark::testing::exampleModule(kQelToneModule));
    Quillmark::testing::writeFile(truncated, whole.substr(0, whole.size() / 3));

    const Case cases[] = {
        {Quillmark::testing::fixture(kNoEntryModule), "GetPluginFactory"},
        {Quillmark::testing::fixture(kNullFactoryModule), "answered null"},
        {Quillmark::testing::fixture(kInitDllFalseModule), "InitDll answered false"},
        {notALibrary, "not a loadable library"},
        {truncated, "not a loadable library"},
        {temp.file("missing.so"), "not a loadable library"},
    };
    for (const Case& c : cases)
    {
        auto* module = new FModule(c.path);
        EXPECT_FALSE(module->load()) << c.path;
        EXPECT_FALSE(module->isLoaded()) << c.path;
        EXPECT_NE(module->getLoadError().find(c.reason), std::string::npos)
            << c.path << ": " << module->getLoadError();
        EXPECT_EQ(module->getFactory(), nullptr);
        module->release();
    }
}
