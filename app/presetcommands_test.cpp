// The preset commands of the menu, driven through the command table with their questions
// answered by a scripted user interface, over hand-made preset files and the example plug-in.
#include "app/presetcommands.h"

#include "app/hostsession.h"
#include "base/fdefaults.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/plugprovider.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"
#include "presets/presetfile.h"
#include "presets/presettestsupport.h"
#include "presets/qelpresetmedium.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>

using namespace Quillmark;
using namespace Quillmark::testing;
using Quillmark::Qel::PlugProvider;
using Quillmark::Qel::QelPresetMedium;
using namespace Quillmark::Qel::Examples;

namespace
{

/** Answers from tables, and keeps every request and message in order. */
class ScriptedUI : public IUIServices
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
        questions.push_back(question);
        auto answer = buttons.find(question.id);
        if (answer != buttons.end())
            for (size_t i = 0; i < question.buttons.size(); ++i)
                if (question.buttons[i] == answer->second)
                    return int(i);
        return question.defaultButton;
    }
    bool askText(const TextRequest& request, std::string& answer) override
    {
        requests.push_back(request);
        auto given = texts.find(request.id);
        if (given == texts.end())
            return false; // cancelled
        answer = given->second;
        return true;
    }
    int getModifierKeys() const override { return 0; }

    const TextRequest* request(const std::string& id) const
    {
        for (const TextRequest& r : requests)
            if (r.id == id)
                return &r;
        return nullptr;
    }

    std::map<std::string, std::string> texts, buttons;
    std::vector<TextRequest> requests;
    std::vector<Question> questions;
    std::vector<std::string> messages;
};

std::string classText(const FUID& cid)
{
    return cid.toString();
}

class PresetMenuCommands : public ::testing::Test
{
protected:
    void SetUp() override
    {
        preferences = new FDefaultPool(temp.file("Defaults"));
        commands.registerIn(table);
    }
    void TearDown() override { preferences->release(); }

    bool run(const char8* name) { return table.interpret("File", name); }
    std::string setting(const char8* key)
    {
        String value;
        preferences->lookup(PresetCommands::kSection)->getString(key, value);
        return value.toUtf8();
    }

    TempFolder temp;
    ScriptedUI ui;
    FDefaultPool* preferences = nullptr;
    int64_t now = 1000;
    CommandTable table{[this] { return now; }};
    PresetCommands commands{ui, [this] { return preferences; }};
};

TEST_F(PresetMenuCommands, AreInTheFileMenuWithTheirTextsAndOnlyLoadAndSaveAreDebounced)
{
    struct Expected
    {
        const char* name;
        const char* text;
        bool debounced;
    } expected[] = {
        {"Load Preset", "Load Preset", true},
        {"Save Preset", "Save Preset", true},
        {"Convert QEL3 to QEL2 Presets", "Convert QEL3 Presets to QEL2 Presets...", false},
        {"Overwrite Plugin Name in QEL3 Presets", "Overwrite Plugin Name in QEL3 Presets...",
         false},
    };
    for (const Expected& e : expected)
    {
        const CommandTable::Command* command = table.find("File", e.name);
        ASSERT_NE(command, nullptr) << e.name;
        EXPECT_EQ(command->menuText(), e.text);
        EXPECT_EQ(command->debounced, e.debounced) << e.name;
    }
    // Asking whether a command exists runs nothing.
    EXPECT_TRUE(table.canInterpret("File", "Convert QEL3 to QEL2 Presets"));
    EXPECT_TRUE(ui.requests.empty());
}

TEST_F(PresetMenuCommands, ConversionAsksInOrderRemembersTheAnswersAndReportsTheCount)
{
    const std::string source = temp.folder("qel3"), dest = temp.folder("qel2");
    const std::string cid = classText(FUID(0x11111111, 0x22222222, 0x33333333, 0x44444444));
    writeFile(source + "/Warm.qelpreset",
              handPreset(cid, {{"Comp", std::string("\x01\x02\x03", 3)}, {"Cont", "xy"}}));
    writeFile(source + "/Cold.qelpreset", handPreset(cid, {{"Comp", "abcd"}}));
    writeFile(source + "/NoState.qelpreset", handPreset(cid, {{"Cont", "xy"}}));
    writeFile(source + "/notes.txt", "not a preset");

    ui.texts = {{"QEL3Src", source}, {"QEL2Dest", dest}, {"QEL2_UID", "AB"}};
    ui.buttons = {{"fxb-or-fxp", "Save as Program"}};
    EXPECT_TRUE(run("Convert QEL3 to QEL2 Presets"));

    ASSERT_EQ(ui.requests.size(), 3u);
    EXPECT_EQ(ui.requests[0].title, "Select QEL3 Presets folder to convert");
    EXPECT_EQ(ui.requests[0].kind, TextRequest::kFolder);
    EXPECT_EQ(ui.requests[1].title, "Select QEL2 Presets destination folder");
    EXPECT_EQ(ui.requests[2].title, "Enter QEL 2 UID (4 characters)");
    EXPECT_EQ(ui.requests[2].maxLength, 4);
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0].text, "Save QEL2 presets as bank (fxb) or program (fxp)?");
    EXPECT_EQ(ui.questions[0].buttons,
              (std::vector<std::string>{"Save as Bank", "Save as Program"}));
    ASSERT_FALSE(ui.messages.empty());
    EXPECT_EQ(ui.messages.back(), "2 Presets were converted.");

    // A program: its id of two characters has zero bytes at the low end.
    const std::string warm = readFile(dest + "/Warm.fxp");
    ASSERT_GE(warm.size(), 60u);
    EXPECT_EQ(warm.substr(0, 4), "CcnK");
    EXPECT_EQ(warm.substr(8, 4), "FPCh");
    EXPECT_EQ(warm.substr(16, 4), std::string("AB\0\0", 4));
    EXPECT_EQ(warm.substr(warm.size() - 5), std::string("\x01\x02\x03xy", 5));
    EXPECT_TRUE(std::filesystem::exists(dest + "/Cold.fxp"));

    EXPECT_EQ(setting("QEL3Src"), source);
    EXPECT_EQ(setting("QEL2Dest"), dest);
    EXPECT_EQ(setting("QEL2_UID"), "AB");

    // The next run starts from the remembered answers, and a bank is asked for this time.
    ui.requests.clear();
    ui.buttons = {{"fxb-or-fxp", "Save as Bank"}};
    ui.texts["QEL2_UID"] = "WXYZ-too-long";
    EXPECT_TRUE(run("Convert QEL3 to QEL2 Presets"));
    ASSERT_EQ(ui.requests.size(), 3u);
    EXPECT_EQ(ui.requests[0].initial, source);
    EXPECT_EQ(ui.requests[1].initial, dest);
    EXPECT_EQ(ui.requests[2].initial, "AB");
    EXPECT_EQ(setting("QEL2_UID"), "WXYZ");
    const std::string bank = readFile(dest + "/Warm.fxb");
    ASSERT_GE(bank.size(), 20u);
    EXPECT_EQ(bank.substr(8, 4), "FBCh");
    EXPECT_EQ(bank.substr(16, 4), "WXYZ");
}

TEST_F(PresetMenuCommands, ACancelOrAnEmptyIdEndsTheConversionWithoutAWord)
{
    const std::string source = temp.folder("qel3"), dest = temp.folder("qel2");
    writeFile(source + "/One.qelpreset", handPreset(classText(FUID(1, 2, 3, 4)), {{"Comp", "ab"}}));

    ui.texts = {{"QEL3Src", source}}; // the destination is cancelled
    EXPECT_TRUE(run("Convert QEL3 to QEL2 Presets"));
    EXPECT_TRUE(ui.questions.empty());

    ui.texts = {{"QEL3Src", source}, {"QEL2Dest", dest}, {"QEL2_UID", ""}};
    EXPECT_TRUE(run("Convert QEL3 to QEL2 Presets"));
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_TRUE(std::filesystem::is_empty(dest));
    EXPECT_EQ(setting("QEL2_UID"), "");
}

/** A rack slot with nothing in it. */
class EmptySlot : public IPresetSlot
{
public:
    bool getPlugIn(PresetPlugIn&) override { return false; }
};

/** The plug-in of the rack's first slot, made from the example module. */
class ExampleSlot : public IPresetSlot
{
public:
    ExampleSlot() : session(log, false, folders.folder("data"))
    {
        session.scan({QEL_MODULE_DIR});
        FComponentRegistry& registry = session.getRegistry();
        for (int32 i = 0; i < registry.countDescriptions(); ++i)
            if (registry.getDescription(i)->getName().toUtf8() == kQelGainName)
                description = registry.getDescription(i);
        if (!description)
            return;
        provider = new PlugProvider(&registry, description->getCid(), true);
        if (provider->createPlugIn())
        {
            component = provider->getComponent();
            controller = provider->getController();
        }
    }
    ~ExampleSlot() override
    {
        if (provider)
        {
            provider->releasePlugIn(component, controller);
            provider->destroyPlugIn();
            provider->release();
        }
    }
    bool getPlugIn(PresetPlugIn& plugIn) override
    {
        if (!component)
            return false;
        plugIn.classId = description->getCid();
        plugIn.className = description->getName().toUtf8();
        plugIn.component = component;
        plugIn.controller = controller;
        return true;
    }

    TempFolder folders;
    std::ostringstream log;
    HostSession session;
    FComponentDescription* description = nullptr;
    PlugProvider* provider = nullptr;
    Qel::IComponent* component = nullptr;
    Qel::IEditController* controller = nullptr;
};

TEST_F(PresetMenuCommands, LoadAndSaveActOnTheRackSlotAndRefuseAnotherClassesPreset)
{
    ui.texts = {{"Save Preset", temp.file("mine")}, {"Load Preset", temp.file("mine.qelpreset")}};
    // No rack at all: both commands are off and do nothing.
    EXPECT_FALSE(run("Save Preset"));
    EXPECT_FALSE(run("Load Preset"));
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_TRUE(ui.requests.empty());

    // A rack whose slot holds no plug-in: a word, and no file dialog.
    EmptySlot empty;
    commands.setSlot(&empty);
    EXPECT_TRUE(run("Save Preset"));
    now += 1000;
    EXPECT_TRUE(run("Load Preset"));
    EXPECT_EQ(ui.messages,
              (std::vector<std::string>{"There is no plug-in in the rack to save a preset from.",
                                        "There is no plug-in in the rack to load a preset into."}));
    EXPECT_TRUE(ui.requests.empty());

    ExampleSlot slot;
    ASSERT_NE(slot.component, nullptr) << slot.log.str();
    commands.setSlot(&slot);
    ui.messages.clear();
    now += 1000;
    EXPECT_TRUE(run("Save Preset"));
    EXPECT_TRUE(ui.messages.empty()) << ui.messages.front();
    ASSERT_NE(ui.request("Save Preset"), nullptr);
    EXPECT_EQ(ui.request("Save Preset")->initial, std::string(kQelGainName) + ".qelpreset");
    // The extension is added to a name given without it.
    QelPresetMedium medium(temp.file("mine.qelpreset"));
    ASSERT_TRUE(medium.scan(nullptr));
    EXPECT_EQ(medium.getAttributes().getString("PlugInName"), kQelGainName);

    now += 1000;
    EXPECT_TRUE(run("Load Preset"));
    EXPECT_TRUE(ui.messages.empty()) << ui.messages.front();
    // A second request 100 ms later is dropped: no second dialog.
    now += 100;
    EXPECT_TRUE(run("Load Preset"));
    int loadDialogs = 0;
    for (const TextRequest& request : ui.requests)
        loadDialogs += request.id == "Load Preset";
    EXPECT_EQ(loadDialogs, 1);

    const std::string foreign = temp.file("foreign.qelpreset");
    writeFile(foreign, handPreset(classText(FUID(9, 9, 9, 9)), {{"Comp", "abcd"}}));
    ui.texts["Load Preset"] = foreign;
    now += 1000;
    EXPECT_TRUE(run("Load Preset"));
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_NE(ui.messages[0].find("made by class"), std::string::npos) << ui.messages[0];

    // And the overwrite of the plug-in name, on a folder with that preset and one without a
    // name, which keeps every byte.
    const std::string folder = temp.folder("rename");
    std::filesystem::copy_file(temp.file("mine.qelpreset"), folder + "/mine.qelpreset");
    const std::string bare = handPreset(classText(FUID(1, 2, 3, 4)), {{"Comp", "abcd"}});
    writeFile(folder + "/bare.qelpreset", bare);
    ui.messages.clear();
    ui.texts = {{"QEL3Src", folder}, {"QEL3_Name", "Gain Deluxe"}};
    EXPECT_TRUE(run("Overwrite Plugin Name in QEL3 Presets"));
    EXPECT_EQ(ui.messages, (std::vector<std::string>{"1 Presets were converted."}));
    EXPECT_EQ(ui.request("QEL3_Name")->title, "Enter the new Name");
    EXPECT_EQ(setting("QEL3_Name"), "Gain Deluxe");
    EXPECT_EQ(readFile(folder + "/bare.qelpreset"), bare);
    QelPresetMedium renamed(folder + "/mine.qelpreset");
    ASSERT_TRUE(renamed.scan(nullptr));
    EXPECT_EQ(renamed.getAttributes().getString("PlugInName"), "Gain Deluxe");
    commands.setSlot(nullptr);
}

} // namespace
