// The application's start-up, quit and settings over real preference files and real modules,
// with a user interface services implementation that records what it was asked to show.
#include "app/keyassignments.h"
#include "app/tapplication.h"
#include "base/fdefaults.h"
#include "base/fmessage.h"
#include "base/fstreams.h"
#include "base/icompressionengine.h"
#include "engine/audiograph.h"
#include "engine/qelplayer.h"
#include "engine/qelrack.h"
#include "engine/qelslot.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/qelhostcontext.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

using namespace Quillmark;
using namespace Quillmark::Qel::Examples;
using Quillmark::testing::copyInto;
using Quillmark::testing::readFile;
using Quillmark::testing::writeFile;
namespace fs = std::filesystem;

namespace
{

/** Keeps every request as a line of text, in order, and answers questions from a table. */
class RecordingUIServices : public IUIServices
{
public:
    void showSplash() override
    {
        events.push_back("splash");
        splashOpen = true;
    }
    void closeSplash() override
    {
        events.push_back("close splash");
        splashOpen = false;
    }
    bool isSplashOpen() const override { return splashOpen; }
    // Input is waiting at once, so the splash does not hold a test up.
    bool hasPendingInput() const override { return true; }
    void setBootText(const std::string& text) override
    {
        if (!text.empty())
            events.push_back("boot " + text);
    }
    void setMenuBar(const std::vector<Menu>& menus) override
    {
        menuBar = menus;
        events.push_back("menu bar");
    }
    void showMessage(const std::string& text) override { events.push_back("message " + text); }
    int ask(const Question& question) override
    {
        events.push_back("ask " + question.id);
        questions.push_back(question);
        auto answer = answers.find(question.id);
        return answer != answers.end() ? answer->second : question.defaultButton;
    }
    bool askText(const TextRequest& request, std::string& answer) override
    {
        events.push_back("ask text " + request.id);
        auto given = textAnswers.find(request.id);
        if (given == textAnswers.end())
            return false;
        answer = given->second;
        return true;
    }
    int getModifierKeys() const override { return modifiers; }

    int indexOf(const std::string& event) const
    {
        auto at = std::find(events.begin(), events.end(), event);
        return at == events.end() ? -1 : int(at - events.begin());
    }
    int indexContaining(const std::string& part) const
    {
        for (size_t i = 0; i < events.size(); ++i)
            if (events[i].find(part) != std::string::npos)
                return int(i);
        return -1;
    }

    std::vector<std::string> events;
    std::vector<Question> questions;
    std::vector<Menu> menuBar;
    std::map<std::string, int> answers;
    std::map<std::string, std::string> textAnswers;
    int modifiers = 0;
    bool splashOpen = false;
};

class Application : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const char* path = std::getenv("QEL3_PATH");
        savedPath = path ? path : "";
        hadPath = path != nullptr;
        setenv("QEL3_PATH", temp.folder("none").c_str(), 1);
    }
    void TearDown() override
    {
        if (hadPath)
            setenv("QEL3_PATH", savedPath.c_str(), 1);
        else
            unsetenv("QEL3_PATH");
    }

    /** Runs start-up up to the end of init over the default folders. */
    TApplication* start()
    {
        auto* app = new TApplication({0, "Test Standalone", {}}, ui);
        EXPECT_TRUE(app->initialize());
        app->init();
        return app;
    }

    std::string defaultsPath() const { return userData.get() + "/Defaults"; }

    void writeDefaults(const std::function<void(FDefaultPool&)>& fill)
    {
        auto* pool = new FDefaultPool(defaultsPath());
        pool->load();
        fill(*pool);
        ASSERT_TRUE(pool->save());
        pool->release();
    }

    int64 storedInt(const char8* group, const char8* key, int64 fallback = -99)
    {
        auto* pool = new FDefaultPool(defaultsPath());
        EXPECT_TRUE(pool->load());
        FDefaults* defaults = pool->lookup(group, 1, false);
        int64 value = 0;
        if (!defaults || !defaults->getInt(key, value))
            value = fallback;
        pool->release();
        return value;
    }

    Quillmark::testing::TempFolder temp;
    Quillmark::testing::UserDataFolder userData{temp};
    RecordingUIServices ui;
    std::string savedPath;
    bool hadPath = false;
};

} // namespace

TEST(DisplayName, CutsAtTheLastDotUnlessItLeadsTheName)
{
    EXPECT_EQ(TApplication::displayNameFor("/opt/bin/My.Tool.exe"), "My.Tool Standalone");
    EXPECT_EQ(TApplication::displayNameFor("/usr/bin/Qel3PluginTestHost"),
              "Qel3PluginTestHost Standalone");
    EXPECT_EQ(TApplication::displayNameFor("/x/.hidden"), ".hidden Standalone");
    EXPECT_EQ(TApplication::displayNameFor("/x/a."), "a Standalone");
    EXPECT_EQ(TApplication::displayNameFor(""), "");
}

TEST_F(Application, NameReachesThePlugInsHostContextAndAnEmptyNameTakesTheDefault)
{
    auto* app = new TApplication({0, "My.Tool Standalone", {}}, ui);
    EXPECT_EQ(TApplication::instance(), app);
    EXPECT_EQ(Qel::QelHostContext::instance()->getDisplayName(), "My.Tool Standalone");
    app->release();
    EXPECT_EQ(TApplication::instance(), nullptr);

    auto* unnamed = new TApplication({0, "", {}}, ui);
    EXPECT_EQ(unnamed->getApplicationName(), "Qel3PluginTestHost");
    unnamed->release();
}

TEST_F(Application, RunStartsInOrderAndQuitsThroughTheQueuedCommand)
{
    std::string modules = temp.folder("modules");
    copyInto(Quillmark::testing::exampleModule(kQelGainModule), modules);
    setenv("QEL3_PATH", modules.c_str(), 1);

    auto* app = new TApplication({0, "Test Standalone", {}}, ui);
    ASSERT_TRUE(app->initialize());
    FMainLoop::instance()->queueCommand("File", "Quit");
    app->run();
    EXPECT_TRUE(app->isPlatformQuit());

    int splash = ui.indexOf("splash");
    int scan = ui.indexOf("boot Scan QEL3 Folder");
    int module = ui.indexContaining(kQelGainModule);
    int menu = ui.indexOf("menu bar");
    int closed = ui.indexOf("close splash");
    int quit = ui.indexOf("ask quit");
    EXPECT_EQ(splash, 0);
    EXPECT_LT(splash, scan);
    EXPECT_LT(scan, module);
    EXPECT_LT(module, menu);
    EXPECT_LT(menu, closed);
    EXPECT_LT(closed, quit);
    EXPECT_EQ(ui.questions.back().text, "Are you sure you want to quit Test Standalone?");

    ASSERT_EQ(app->getCategories().size(), 2u);
    EXPECT_TRUE(app->getCategories()[0].isInstrumentClass);
    EXPECT_EQ(app->getCategories()[0].categoryName, ConstString("Audio Module Class"));
    EXPECT_EQ(app->getCategories()[1].categoryName, ConstString("Component Controller Class"));
    EXPECT_FALSE(app->getCategories()[1].isInstrumentClass);
    EXPECT_NE(app->getRegistry().findByCid(FUID(kQelGainCid)), nullptr);
    app->release();
}

TEST_F(Application, TheCompressionEngineIsAClassOfItsOwnCategory)
{
    TApplication* app = start();
    std::vector<FComponentDescription*> engines;
    ASSERT_EQ(app->getRegistry().collectCategory("Compression Engine", engines), 1);
    EXPECT_EQ(engines[0]->getName(), ConstString("Zlib Compressor"));
    FUnknown* object = app->getRegistry().createInstance(engines[0]->getCid());
    ASSERT_NE(object, nullptr);
    void* answer = nullptr;
    ASSERT_EQ(object->queryInterface(ICompressionEngine::iid.bytes, &answer), kResultOk);
    auto* engine = static_cast<ICompressionEngine*>(answer);
    std::string text(1000, 'x');
    FMemoryStream source(text.data(), int64(text.size())), packed, unpacked;
    ASSERT_EQ(engine->compress(&source, &packed, 9), kResultOk);
    EXPECT_LT(packed.size(), 100);
    packed.seek(0, IBStream::kIBSeekSet);
    ASSERT_EQ(engine->decompress(&packed, &unpacked), kResultOk);
    EXPECT_EQ(std::string(unpacked.data(), size_t(unpacked.size())), text);
    engine->release();
    object->release();
    app->release();
}

TEST_F(Application, PlugInFoldersAreScannedInOrderSoTheFirstCopyWins)
{
    std::string first = temp.folder("first"), second = temp.folder("second");
    copyInto(Quillmark::testing::exampleModule(kQelGainModule), first);
    copyInto(Quillmark::testing::exampleModule(kQelGainModule), second);
    for (const auto& [order, expected] :
         {std::pair{first + ":" + second, first}, std::pair{second + ":" + first, second}})
    {
        setenv("QEL3_PATH", order.c_str(), 1);
        TApplication* app = start();
        auto* gain = FCast<FPluginComponent>(app->getRegistry().findByCid(FUID(kQelGainCid)));
        ASSERT_NE(gain, nullptr);
        EXPECT_EQ(gain->getModulePath().rfind(expected + "/", 0), 0u) << gain->getModulePath();
        app->release();
    }
}

TEST_F(Application, SettingsWrittenAtQuitAreReadAtTheNextStart)
{
    writeDefaults(
        [](FDefaultPool& pool)
        {
            pool.lookup("BAIOS")->setInt("ReleaseHardware", 1);
            pool.lookup("BAIOS")->setInt("DisableCPUEnergySaving", 2); // only 1 means set
            pool.lookup("Application")->setInt("Enable Parameter Popup", 3);
        });
    TApplication* app = start();
    EXPECT_TRUE(app->getReleaseHardwareInBackground());
    EXPECT_FALSE(app->getDisableCpuEnergySaving());
    EXPECT_TRUE(app->getParameterPopup());
    EXPECT_TRUE(app->getCommandTable().interpret("File", "Don't Release TARN Driver"));
    EXPECT_TRUE(app->getCommandTable().interpret("View", "Show/Hide Parameter Popup"));
    app->release();

    EXPECT_EQ(storedInt("BAIOS", "ReleaseHardware"), 0);
    EXPECT_EQ(storedInt("BAIOS", "DisableCPUEnergySaving"), 0);
    EXPECT_EQ(storedInt("Application", "Enable Parameter Popup"), 0);

    app = start();
    EXPECT_FALSE(app->getReleaseHardwareInBackground());
    EXPECT_FALSE(app->getParameterPopup());
    EXPECT_TRUE(app->getCommandTable().interpret("File", "Release TARN Driver"));
    app->release();
    EXPECT_EQ(storedInt("BAIOS", "ReleaseHardware"), 1);
}

TEST_F(Application, AStartThatEndsBeforeThePreferencesLoadLeavesTheFileAlone)
{
    writeDefaults([](FDefaultPool& pool) { pool.lookup("Keep")->setInt("me", 5); });
    std::string before = readFile(defaultsPath());
    auto* app = new TApplication({0, "Test Standalone", {}}, ui);
    ASSERT_TRUE(app->initialize());
    app->release();
    EXPECT_EQ(readFile(defaultsPath()), before);
}

TEST_F(Application, DamagedDefaultsArePutRightFromTheAlternateCopy)
{
    writeDefaults([](FDefaultPool& pool) { pool.lookup("Alpha")->setInt("kept", 42); });
    // The second save keeps the first file as the alternate copy.
    writeDefaults(
        [](FDefaultPool& pool)
        {
            for (int i = 0; i < 20; ++i)
                pool.lookup(("Filler " + std::to_string(i)).c_str())->setInt("n", i);
            pool.lookup("Omega")->setInt("late", 7);
        });
    ASSERT_TRUE(fs::exists(defaultsPath() + ".bak"));
    std::string text = readFile(defaultsPath());
    writeFile(defaultsPath(), text.substr(0, text.size() / 3));

    TApplication* app = start();
    EXPECT_NE(ui.indexContaining("message Defaults"), -1);
    FDefaults* alpha = app->getPreferences().lookup("Alpha", 1, false);
    ASSERT_NE(alpha, nullptr);
    EXPECT_EQ(alpha->getInt("kept", 0), 42);
    // Repaired on disk before the store read it, not only in memory.
    auto* check = new FDefaultPool(defaultsPath());
    EXPECT_TRUE(check->load());
    check->release();
    app->release();
    EXPECT_EQ(storedInt("Alpha", "kept"), 42);
}

TEST_F(Application, SafeStartAsksOnlyWithCtrlShiftAlt)
{
    writeDefaults([](FDefaultPool& pool) { pool.lookup("Alpha")->setInt("kept", 42); });
    ui.modifiers = 3; // Ctrl + Shift is not enough
    TApplication* app = start();
    EXPECT_EQ(ui.indexOf("ask safe-start"), -1);
    EXPECT_NE(app->getPreferences().lookup("Alpha", 1, false), nullptr);
    app->release();

    ui.modifiers = 7; // unanswered, the default keeps the current preferences
    app = start();
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0].buttons.at(size_t(ui.questions[0].defaultButton)),
              "Use current program preferences");
    EXPECT_NE(app->getPreferences().lookup("Alpha", 1, false), nullptr);
    app->release();
}

TEST_F(Application, SafeStartDisableRunsOnFactoryValuesAndKeepsTheFile)
{
    writeDefaults(
        [](FDefaultPool& pool)
        {
            pool.lookup("Alpha")->setInt("kept", 42);
            pool.lookup("BAIOS")->setInt("ReleaseHardware", 1);
        });
    std::string before = readFile(defaultsPath());
    ui.modifiers = 7;
    ui.answers["safe-start"] = TApplication::kDisablePreferences;
    TApplication* app = start();
    EXPECT_EQ(app->getPreferences().lookup("Alpha", 1, false), nullptr);
    EXPECT_FALSE(app->getReleaseHardwareInBackground());
    EXPECT_EQ(readFile(defaultsPath() + ".bak"), before);
    app->getCommandTable().interpret("View", "Show/Hide Parameter Popup");
    app->release();
    EXPECT_EQ(readFile(defaultsPath()), before);
}

TEST_F(Application, SafeStartDeleteTrashesTheFileAndStartsFresh)
{
    writeDefaults([](FDefaultPool& pool) { pool.lookup("Alpha")->setInt("kept", 42); });
    std::string before = readFile(defaultsPath());
    ui.modifiers = 7;
    ui.answers["safe-start"] = TApplication::kDeletePreferences;
    TApplication* app = start();
    EXPECT_EQ(app->getPreferences().lookup("Alpha", 1, false), nullptr);
    EXPECT_EQ(readFile(defaultsPath() + " (Trashed)"), before);
    EXPECT_FALSE(fs::exists(defaultsPath()));
    app->release();
    // The new file holds what this run wrote, and nothing of the old one.
    EXPECT_EQ(storedInt("Alpha", "kept"), -99);
    EXPECT_EQ(storedInt("BAIOS", "ReleaseHardware"), 0);
}

TEST_F(Application, QuitQuestionHonoursDontAskForQuit)
{
    writeDefaults([](FDefaultPool& pool)
                  { pool.lookup("Application")->setInt("DontAskForQuit", 1); });
    TApplication* app = start();
    EXPECT_TRUE(app->getDontAskForQuit());
    EXPECT_TRUE(app->canQuit(false));
    EXPECT_TRUE(ui.questions.empty());
    app->setDontAskForQuit(false);
    app->release();
    EXPECT_EQ(storedInt("Application", "DontAskForQuit"), 0);

    app = start();
    EXPECT_FALSE(app->getDontAskForQuit());
    EXPECT_TRUE(app->canQuit(true)); // silent: no question
    EXPECT_TRUE(ui.questions.empty());
    ui.answers["quit"] = 1; // Cancel
    EXPECT_FALSE(app->getCommandTable().interpret("File", "Quit") && app->isPlatformQuit());
    EXPECT_FALSE(app->isPlatformQuit());
    EXPECT_FALSE(app->isQuitConfirmed());
    ui.answers["quit"] = 0; // Quit
    EXPECT_TRUE(app->requestQuit());
    EXPECT_TRUE(app->isQuitConfirmed());
    EXPECT_TRUE(app->isPlatformQuit());
    EXPECT_EQ(ui.questions.size(), 2u);
    // Answered once, never asked again.
    EXPECT_TRUE(app->canQuit(false));
    EXPECT_EQ(ui.questions.size(), 2u);
    app->release();

    app = start();
    ui.answers["quit"] = 1;
    app->setForceQuit(true);
    EXPECT_TRUE(app->canQuit(false));
    EXPECT_EQ(ui.questions.size(), 2u);
    app->release();
}

TEST_F(Application, CommandsByMessageAndTheMenuBar)
{
    TApplication* app = start();
    auto* message = new FMessage(ICommandHandler::kCanInterpret);
    message->setString("category", String("Transport"));
    message->setString("name", String("Tarn Reset"));
    app->notify(message);
    int64 result = -1;
    EXPECT_TRUE(message->getInt("result", result));
    EXPECT_EQ(result, 1);
    message->release();

    message = new FMessage(ICommandHandler::kInterpret);
    message->setString("category", String("View"));
    message->setString("name", String("EnableTooltips"));
    app->notify(message);
    EXPECT_TRUE(message->getInt("result", result));
    EXPECT_EQ(result, 0); // tool tips leave the rest to the toolkit
    message->release();

    // The popup item names what selecting it does, so its text follows the state.
    auto popupTitle = [&]
    {
        for (const Menu& menu : app->createMenuBar())
            for (const MenuItem& item : menu.items)
                if (item.name == "Show/Hide Parameter Popup")
                    return item.title;
        return std::string();
    };
    EXPECT_EQ(popupTitle(), "Enable Parameter Popup");
    app->getCommandTable().interpret("View", "Show/Hide Parameter Popup");
    EXPECT_EQ(popupTitle(), "Disable Parameter Popup");

    std::vector<Menu> bar = app->createMenuBar();
    ASSERT_FALSE(bar.empty());
    const Menu& help = bar.back();
    EXPECT_TRUE(help.isHelpMenu);
    ASSERT_EQ(help.items.size(), 2u);
    EXPECT_EQ(help.items[0].tag, 1001);
    EXPECT_EQ(help.items[1].title, "About Test Standalone");
    for (const Menu& menu : bar)
    {
        ASSERT_FALSE(menu.items.empty()) << menu.title;
        EXPECT_FALSE(menu.items.front().separator) << menu.title;
        EXPECT_FALSE(menu.items.back().separator) << menu.title;
    }
    app->release();
}

TEST_F(Application, EveryCommandWithAMenuTextIsInTheMenusWithItsKey)
{
    TApplication* app = start();
    std::map<std::string, const MenuItem*> shown;
    const std::vector<Menu> bar = app->createMenuBar();
    for (const Menu& menu : bar)
        for (const MenuItem& item : menu.items)
            if (!item.separator && !item.category.empty())
            {
                const std::string key = item.category + "/" + item.name;
                EXPECT_EQ(shown.count(key), 0u) << key << " twice";
                shown[key] = &item;
            }
    // The menus of a program without windows: the commands of missing targets are there but
    // off, and only those.
    for (const char8* key :
         {"File/Close", "File/Load MIDI File", "File/Key Commands", "File/Preferences",
          "Transport/Play", "Transport/Return to Zero", "View/Preset Editor",
          "View/Plugin Information", "View/Plugin Unit Tests"})
    {
        ASSERT_EQ(shown.count(key), 1u) << key;
        EXPECT_FALSE(shown[key]->enabled) << key;
    }
    ASSERT_EQ(shown.count("File/Quit"), 1u);
    EXPECT_TRUE(shown["File/Quit"]->enabled);
    EXPECT_TRUE(shown["View/Show/Hide Parameter Popup"]->enabled);
    EXPECT_EQ(shown["File/Close"]->shortcut, "Ctrl+W");
    EXPECT_EQ(shown["File/Quit"]->shortcut, "Ctrl+Q");
    // Commands without a menu text stay out; no QEL 2.x bridge, no item for it.
    EXPECT_EQ(shown.count("Transport/Record"), 0u);
    EXPECT_EQ(shown.count("Transport/Tarn Reset"), 0u);
    EXPECT_EQ(shown.count("View/QEL 2.x Settings"), 0u);

    // A disabled command exists but runs nothing.
    CommandTable& commands = app->getCommandTable();
    EXPECT_TRUE(commands.canInterpret("Transport", "Play"));
    EXPECT_FALSE(commands.isEnabled("Transport", "Play"));
    EXPECT_FALSE(commands.interpret("Transport", "Play"));
    EXPECT_FALSE(commands.interpret("File", "Load MIDI File"));
    EXPECT_EQ(commands.getLastCommandTime(), -1) << "a disabled debounced command left a time";

    // Every key assignment names a command of the table, and no key runs two.
    std::set<std::string> keys;
    for (const KeyAssignment& assignment : defaultKeyAssignments())
    {
        EXPECT_TRUE(commands.canInterpret(assignment.category, assignment.name))
            << assignment.category << "/" << assignment.name;
        EXPECT_TRUE(keys.insert(assignment.key).second) << assignment.key;
    }
    app->release();
}

TEST_F(Application, TheEngineOpensWithTheWindowAndThePlayerAndTheRackOutliveAQuit)
{
    std::string modules = temp.folder("modules");
    copyInto(Quillmark::testing::exampleModule(kQelGainModule), modules);
    setenv("QEL3_PATH", modules.c_str(), 1);
    writeDefaults([](FDefaultPool& pool)
                  { pool.lookup("BAIOS")->setString("DeviceName", String("Null Audio Driver")); });

    TApplication* app = start();
    // Start-up alone opens no audio device: only the window's start does.
    EXPECT_EQ(app->getPlayer(), nullptr);
    EXPECT_FALSE(app->getCommandTable().isEnabled("Transport", "Play"));
    EXPECT_EQ(app->getValue("Transport.tempo"), nullptr);
    app->open();
    ASSERT_NE(app->getPlayer(), nullptr);
    EXPECT_LT(ui.indexOf("boot Open Audio Engine"), ui.indexOf("close splash"));
    EXPECT_EQ(app->getAudioEngine()->getDriverName(), "Null Audio Driver");

    // The transport commands act on the player now.
    CommandTable& commands = app->getCommandTable();
    EXPECT_TRUE(commands.isEnabled("Transport", "Play"));
    ASSERT_NE(app->getValue("Transport.loop"), nullptr);
    const int32 loop = app->getValue("Transport.loop")->getInt();
    EXPECT_TRUE(commands.interpret("Transport", "Loop"));
    EXPECT_EQ(app->getValue("Transport.loop")->getInt(), 1 - loop);
    EXPECT_TRUE(commands.interpret("Transport", "Play"));
    EXPECT_TRUE(app->getPlayer()->getAudioGraph()->isPlaying());
    EXPECT_TRUE(commands.interpret("Transport", "PlayStop"));
    EXPECT_FALSE(app->getPlayer()->getAudioGraph()->isPlaying());
    EXPECT_TRUE(commands.interpret("Transport", "PlayStop"));
    EXPECT_TRUE(app->getPlayer()->getAudioGraph()->isPlaying());
    EXPECT_TRUE(commands.interpret("Transport", "Stop"));
    EXPECT_FALSE(app->getPlayer()->getAudioGraph()->isPlaying());

    // "Plugin" paths reach slot 0's controller once there is one; unknown heads reach nothing.
    EXPECT_EQ(app->getValue("Plugin.param0"), nullptr);
    app->loadPlugin(FUID(kQelGainCid));
    ASSERT_NE(app->getPlayer()->getRack()->getSlot(0), nullptr);
    EXPECT_EQ(app->getWindowTitle().rfind("Qel Gain - Version ", 0), 0u) << app->getWindowTitle();
    EXPECT_NE(app->getValue("Plugin.param0"), nullptr);
    EXPECT_EQ(app->getValue("Elsewhere.tempo"), nullptr);
    EXPECT_EQ(app->getValue("tempo"), nullptr);
    app->getValue("Transport.tempo")->setFloat(141.0);
    app->release();

    EXPECT_EQ(storedInt("Plugin Rack", "Slot Count"), 1);
    auto* pool = new FDefaultPool(defaultsPath());
    ASSERT_TRUE(pool->load());
    double tempo = 0.0;
    EXPECT_TRUE(pool->lookup("Player")->getFloat("Tempo", tempo));
    EXPECT_DOUBLE_EQ(tempo, 141.0);
    pool->release();

    // The next start plays on where this one ended.
    app = start();
    app->open();
    ASSERT_NE(app->getPlayer(), nullptr);
    app->restoreRack();
    MiniEngine::QelSlot* slot = app->getPlayer()->getRack()->getSlot(0);
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(slot->getClassId(), FUID(kQelGainCid));
    EXPECT_EQ(app->getPlayer()->getRack()->countSlots(), 1);
    EXPECT_DOUBLE_EQ(app->getValue("Transport.tempo")->getFloat(), 141.0);
    EXPECT_EQ(app->getValue("Transport.loop")->getInt(), 1 - loop);
    app->release();
}

TEST_F(Application, NoDriverEndsTheStartWithTheDriverMessage)
{
    // "null" is the stored choice of no device at all.
    writeDefaults([](FDefaultPool& pool)
                  { pool.lookup("BAIOS")->setString("DeviceName", String("null")); });
    TApplication* app = start();
    app->open();
    EXPECT_GE(ui.indexOf("message Failed to open TARN Driver!"), 0);
    EXPECT_TRUE(app->isPlatformQuit());
    EXPECT_EQ(app->getPlayer(), nullptr);
    EXPECT_TRUE(app->canQuit(false)) << "a forced quit asks nothing";
    EXPECT_EQ(ui.indexOf("ask quit"), -1);
    app->release();
}
