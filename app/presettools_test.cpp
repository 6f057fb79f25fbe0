// The preset tools of the File menu: each question in order, answers remembered for the next
// time, a cancel that writes nothing, and the count reported.
#include "app/editedplugin.h"
#include "app/presettools.h"
#include "app/uiservices.h"
#include "base/fdefaults.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"
#include "presets/qelpresetmedium.h"

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>

using namespace Quillmark;
using namespace Quillmark::Qel::Examples;

namespace
{

/** Answers folders and texts from queues, in order, and keeps what it was asked and shown. */
class AnsweringUIServices : public IUIServices
{
public:
    void showSplash() override {}
    void closeSplash() override {}
    bool isSplashOpen() const override { return false; }
    bool hasPendingInput() const override { return false; }
    void setBootText(const std::string&) override {}
    void setMenuBar(const std::vector<Menu>&) override {}
    void showMessage(const std::string& text) override { messages.push_back(text); }
    int ask(const Question& question) override
    {
        asked.push_back(question.text);
        return button;
    }
    int getModifierKeys() const override { return 0; }
    bool chooseFolder(const std::string& title, std::string& folder) override
    {
        asked.push_back(title);
        offered.push_back(folder);
        if (folders.empty())
            return false;
        folder = folders.front();
        folders.pop_front();
        return true;
    }
    bool askText(const std::string& prompt, int maxLength, std::string& text) override
    {
        asked.push_back(prompt);
        offered.push_back(text);
        limits.push_back(maxLength);
        if (texts.empty())
            return false;
        text = texts.front();
        texts.pop_front();
        return true;
    }

    std::deque<std::string> folders, texts;
    int button = 0;
    std::vector<std::string> asked, offered, messages;
    std::vector<int> limits;
};

class PresetToolsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        registry = new FComponentRegistry;
        Quillmark::testing::copyInto(Quillmark::testing::exampleModule(kQelGainModule),
                                     temp.folder("modules"));
        ASSERT_GT(registry->scanFolder(temp.folder("modules")), 0);
        std::string error;
        EditedPlugin* plugin = EditedPlugin::create(*registry, FUID(kQelGainCid), error);
        ASSERT_NE(plugin, nullptr) << error;
        source = temp.folder("source");
        destination = temp.folder("destination");
        for (const char* name : {"Soft", "Loud"})
            ASSERT_TRUE(plugin->savePreset(source + "/" + name + ".qelpreset", error)) << error;
        plugin->release();
        Quillmark::testing::writeFile(source + "/Broken.qelpreset", "not a preset");
        Quillmark::testing::writeFile(source + "/notes.txt", "left alone");
        preferences = new FDefaultPool(temp.file("Defaults"));
    }
    void TearDown() override
    {
        preferences->release();
        registry->close();
        registry->release();
    }

    std::string remembered(const char* key)
    {
        String text;
        FDefaults* section = preferences->lookup("Convert", 1, false);
        return section && section->getString(key, text) ? text.toUtf8() : std::string("-");
    }

    Quillmark::testing::TempFolder temp;
    FComponentRegistry* registry = nullptr;
    FDefaultPool* preferences = nullptr;
    AnsweringUIServices ui;
    std::string source, destination;
};

} // namespace

TEST_F(PresetToolsTest, ConvertAsksInOrderRemembersAndWritesOneFilePerPreset)
{
    ui.folders = {source, destination};
    ui.texts = {"AB"};
    ui.button = 1; // "Save as Program"
    PresetTools tools(ui, *preferences);
    ASSERT_TRUE(tools.convertToQel2());
    EXPECT_EQ(ui.asked, (std::vector<std::string>{
                            PresetTools::kSourceQuestion, PresetTools::kDestinationQuestion,
                            PresetTools::kUidQuestion, PresetTools::kFormQuestion}));
    EXPECT_EQ(ui.limits, (std::vector<int>{4}));
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0].rfind("2 Presets were converted.", 0), 0u) << ui.messages[0];
    for (const char* name : {"Soft", "Loud"})
    {
        const std::string fxp = Quillmark::testing::readFile(destination + "/" + name + ".fxp");
        ASSERT_GT(fxp.size(), 60u) << name;
        EXPECT_EQ(fxp.substr(0, 4), "CcnK");
        EXPECT_EQ(fxp.substr(8, 4), "FPCh");
        // A two-character identifier fills the low end with zero bytes.
        EXPECT_EQ(fxp.substr(16, 4), std::string("AB\0\0", 4));
    }
    EXPECT_FALSE(std::filesystem::exists(destination + "/notes.fxp"));
    EXPECT_EQ(remembered("QEL3Src"), source);
    EXPECT_EQ(remembered("QEL2Dest"), destination);
    EXPECT_EQ(remembered("QEL2_UID"), "AB");

    // The next run starts from the remembered answers; a bank goes to fxb.
    ui.asked.clear();
    ui.offered.clear();
    ui.folders = {source, destination};
    ui.texts = {"WXYZ"};
    ui.button = 0;
    ASSERT_TRUE(tools.convertToQel2());
    EXPECT_EQ(ui.offered, (std::vector<std::string>{source, destination, "AB"}));
    EXPECT_EQ(Quillmark::testing::readFile(destination + "/Soft.fxb").substr(8, 4), "FBCh");
}

TEST_F(PresetToolsTest, ACancelOrAnEmptyIdentifierWritesNothing)
{
    PresetTools tools(ui, *preferences);
    ui.folders = {source}; // the destination is cancelled
    EXPECT_FALSE(tools.convertToQel2());
    ui.folders = {source, destination};
    ui.texts = {""};
    EXPECT_FALSE(tools.convertToQel2());
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_TRUE(std::filesystem::is_empty(destination));
    EXPECT_EQ(remembered("QEL2_UID"), "-");
}

TEST_F(PresetToolsTest, OverwriteRenamesEveryPresetAndNamesTheFileItCannot)
{
    ui.folders = {source};
    ui.texts = {"Renamed Gain"};
    PresetTools tools(ui, *preferences);
    ASSERT_TRUE(tools.overwritePluginName());
    EXPECT_EQ(ui.asked,
              (std::vector<std::string>{PresetTools::kSourceQuestion, PresetTools::kNameQuestion}));
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0].rfind("2 Presets were converted.", 0), 0u) << ui.messages[0];
    EXPECT_NE(ui.messages[0].find("Broken.qelpreset: not a preset file"), std::string::npos);
    for (const char* name : {"Soft", "Loud"})
    {
        Qel::QelPresetMedium medium(source + "/" + name + ".qelpreset");
        ASSERT_TRUE(medium.scan(nullptr));
        EXPECT_EQ(medium.getAttributes().getString("PlugInName"), "Renamed Gain");
    }
    EXPECT_EQ(Quillmark::testing::readFile(source + "/Broken.qelpreset"), "not a preset");
    EXPECT_EQ(remembered("QEL3_Name"), "Renamed Gain");
}
