// The preference pages: each value starts from the application and the store, and a change goes
// back at once, so that the next start and the next scan see it.
#include "app/consoleuiservices.h"
#include "app/preferencepages.h"
#include "app/tapplication.h"
#include "base/fdefaults.h"
#include "base/values/uintvalues.h"
#include "base/values/ustringvalue.h"
#include "hosting/testsupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace Quillmark;

namespace
{

class PreferencePagesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        setenv("QEL3_PATH", temp.folder("none").c_str(), 1);
        app = new TApplication({0, "Test Standalone", {}}, ui);
        ASSERT_TRUE(app->initialize());
        app->initPreferences();
    }
    void TearDown() override
    {
        app->release();
        unsetenv("QEL3_PATH");
    }

    Quillmark::testing::TempFolder temp;
    Quillmark::testing::UserDataFolder userData{temp};
    std::ostringstream err;
    ConsoleUIServices ui{err};
    TApplication* app = nullptr;
};

} // namespace

TEST_F(PreferencePagesTest, EveryValueOfEveryPageIsThereByName)
{
    auto* pages = new PreferencePages(*app);
    int32 named = 0;
    for (const PreferencePages::Page& page : PreferencePages::pages())
        for (const char8* name : page.values)
        {
            EXPECT_NE(pages->findValue(name), nullptr) << page.title << "/" << name;
            ++named;
        }
    EXPECT_EQ(named, pages->countValues()) << "a value no page shows";
    // Where the test files live is shown, not edited.
    UValue* log = pages->findValue("TestLogFile");
    ASSERT_NE(log, nullptr);
    EXPECT_FALSE(log->isEnabled());
    String text;
    log->getText(text);
    EXPECT_EQ(text.toUtf8(), app->getDataFolder() + "/AutotestLog.txt");
    pages->release();
}

TEST_F(PreferencePagesTest, ChangesReachTheApplicationAndTheStore)
{
    app->getPreferences().lookup("Location")->setString("Shared Components Path", "/opt/shared");
    auto* pages = new PreferencePages(*app);
    auto* quit = pages->find<UIntValue>("DontAskForQuit");
    auto* shared = pages->find<UIntValue>("UseSharedComponents");
    auto* path = pages->find<UStringValue>("SharedComponentsPath");
    auto* release = pages->find<UIntValue>("ReleaseHardware");
    ASSERT_TRUE(quit && shared && path && release);
    EXPECT_EQ(quit->getValue(), 0);
    EXPECT_EQ(path->getValue().toUtf8(), "/opt/shared");

    quit->setValue(1);
    EXPECT_TRUE(app->getDontAskForQuit());
    EXPECT_EQ(app->getPreferences().lookup("Application")->getInt("DontAskForQuit", 0), 1);
    shared->setValue(1);
    EXPECT_EQ(app->getPreferences().lookup("Location")->getInt("Use Shared Components", 0), 1);
    path->setText(String("/srv/components"));
    String stored;
    ASSERT_TRUE(
        app->getPreferences().lookup("Location")->getString("Shared Components Path", stored));
    EXPECT_EQ(stored.toUtf8(), "/srv/components");
    release->setValue(1);
    EXPECT_TRUE(app->getReleaseHardwareInBackground());

    // A change made elsewhere shows after a reload, and the reload writes nothing back.
    app->setDontAskForQuit(false);
    app->getPreferences().lookup("Location")->setString("Shared Components Path", "/elsewhere");
    pages->reload();
    EXPECT_EQ(quit->getValue(), 0);
    EXPECT_EQ(path->getValue().toUtf8(), "/elsewhere");
    EXPECT_TRUE(app->getReleaseHardwareInBackground());
    pages->release();
}

TEST_F(PreferencePagesTest, AnEmptySharedPathShowsTheDefaultFolder)
{
    auto* pages = new PreferencePages(*app);
    auto* path = pages->find<UStringValue>("SharedComponentsPath");
    ASSERT_NE(path, nullptr);
    EXPECT_EQ(path->getValue().toUtf8(), "/usr/local/share/quillmark/shared-components");
    pages->release();
}
