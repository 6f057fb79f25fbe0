#include "app/tapplication.h"

#include "app/keyassignments.h"
#include "app/rackpresetslot.h"

#include "base/fcapabilities.h"
#include "base/fzlibcompressor.h"
#include "base/optimaudio/audiokernels.h"

#include "base/fdefaults.h"
#include "base/fmessage.h"
#include "base/platform/clock.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "base/values/uvalue.h"
#include "engine/audiograph.h"
#include "engine/qelplayer.h"
#include "engine/qelrack.h"
#include "engine/qelslot.h"
#include "engine/qelslotcontroller.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/ftester.h"
#include "hosting/qelhostcontext.h"

#include <chrono>
#include <filesystem>
#include <thread>

namespace Quillmark
{

namespace
{

TApplication* theApplication = nullptr;

constexpr const char8* kApplicationGroup = "Application";
constexpr const char8* kBaiosGroup = "BAIOS";
constexpr int32 kMaxInt32 = 2147483647;
const FUID kZlibCompressorCid(0x9D1E5C37, 0x2F804B61, 0xA3C7E018, 0x6B45D2F9);
constexpr const char8* kLocationGroup = "Location";
constexpr uint32_t kSplashMinimumMs = 8000;
constexpr int kSafeStartModifiers = 7; // Ctrl + Shift + Alt

/** A flag stored as an integer is set exactly when it equals 1. */
bool readFlag(FDefaultPool& pool, const char8* group, const char8* key)
{
    FDefaults* defaults = pool.lookup(group, 1, false);
    return defaults && defaults->getInt(key, 0) == 1;
}

int64 readInt(FDefaultPool& pool, const char8* group, const char8* key, int64 fallback)
{
    FDefaults* defaults = pool.lookup(group, 1, false);
    int64 value = 0;
    return defaults && defaults->getInt(key, value) ? value : fallback;
}

} // namespace

std::string TApplication::displayNameFor(const std::string& executablePath)
{
    std::string name = platform::fileName(executablePath);
    if (name.empty())
        return {};
    size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0)
        name.resize(dot);
    return name + " Standalone";
}

std::vector<std::string> TApplication::defaultScanFolders()
{
    std::vector<std::string> folders = platform::systemModuleFolders();
    folders.push_back(platform::programModuleFolder());
    return folders;
}

TApplication* TApplication::instance()
{
    return theApplication;
}

TApplication::TApplication(const StartupRecord& record, IUIServices& ui)
    : ui(ui), mode(record.mode), applicationName(record.name.empty() ? kDefaultName : record.name),
      dataFolder(record.dataFolder.empty() ? platform::userDataFolder() : record.dataFolder),
      presetCommands(ui, [this] { return preferences; })
{
    theApplication = this;
    // The sample kernels are chosen once, before anything can play or convert audio.
    installAudioKernels();
    if (Qel::QelHostContext* context = Qel::QelHostContext::instance())
        context->setDisplayName(applicationName);
    registerCommands();
}

TApplication::~TApplication()
{
    FMainLoop* loop = FMainLoop::instance();
    loop->setCommandHandler(nullptr);
    FCapabilities::instance()->setWarningHandler(nullptr);

    // Nothing read means nothing to write: saving now would replace the user's file.
    if (preferencesLoaded)
        writeSettings();
    // The engine goes before the registry, which unloads the modules its plug-ins live in.
    closeAudioEngine();

    // Not built yet, so absent here: the console and the remote surface.
    if (registry)
    {
        registry->close();
        registry->release();
        registry = nullptr;
    }
    if (preferences)
    {
        std::string problem;
        if (preferencesLoaded && !preferences->save(&problem))
            ui.showMessage(problem);
        preferences->release();
        preferences = nullptr;
    }
    if (theApplication == this)
        theApplication = nullptr;
}

void TApplication::writeSettings()
{
    FDefaults* baios = preferences->lookup(kBaiosGroup);
    baios->setInt("ReleaseHardware", releaseHardwareInBackground ? 1 : 0);
    baios->setInt("DisableCPUEnergySaving", disableCpuEnergySaving ? 1 : 0);
    if (engine && engine->isOpen())
        engine->saveRack(*preferences);
    preferences->lookup(kApplicationGroup)
        ->setInt("Enable Parameter Popup", parameterPopup ? 1 : 0);
}

bool TApplication::initialize()
{
    if (registry)
        return initialized;
    // The store and the registry exist even when start-up ends here, so callers never meet a
    // null; a store that was never loaded is never saved.
    const std::string dataFolder = getDataFolder();
    preferences = new FDefaultPool(platform::joinPath(dataFolder, "Defaults"));
    registry = new FComponentRegistry;
    registry->setCacheFolder(dataFolder);
    FTester::instance()->setSettingsPath(platform::joinPath(dataFolder, "TestSettings.bin"));
    registry->setPreferences(preferences);
    registry->setBootTextHandler([this](const std::string& text) { ui.setBootText(text); });
    registry->setMessageHandler([this](const std::string& text) { ui.showMessage(text); });
    // This program plays and tests every speaker arrangement it knows, surround included.
    FCapabilities::instance()->setValue("SURROUND", 1);
    FCapabilities::instance()->setWarningHandler([this](const char8*, const char8* text)
                                                 { ui.showMessage(text); });
    if (platform::executableFolder().empty() || dataFolder.empty() ||
        !platform::makeFolders(dataFolder))
    {
        quitRequested = true;
        return false;
    }
    initialized = true;
    return true;
}

void TApplication::run()
{
    if (!initialized)
    {
        quitRequested = true;
        return;
    }
    uint32_t started = platform::milliseconds();
    if (!quitRequested)
    {
        ui.showSplash();
        init();
    }
    if (!quitRequested)
    {
        ui.setMenuBar(createMenuBar());
        // A fast start still shows the splash for a while; any input dismisses it.
        while (ui.isSplashOpen() && !ui.hasPendingInput() &&
               platform::milliseconds() - started <= kSplashMinimumMs)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (quitRequested || platformQuit)
        return;
    open();
    if (platformQuit)
        return;
    restoreRack();
    FMainLoop* loop = FMainLoop::instance();
    loop->setCommandHandler(&commands);
    ui.runMainLoop([this] { return platformQuit; });
    loop->setCommandHandler(nullptr);
}

void TApplication::init()
{
    initPreferences();
    initScan(nullptr);
    initFinish();
}

void TApplication::initPreferences()
{
    if (!initialized || quitRequested || preferencesLoaded)
        return;
    // The program's own classes come first, so a module can never take their place.
    registry->addCompiledInClass(FZlibCompressor::kCategory, FZlibCompressor::kName, kMaxInt32,
                                 FZlibCompressor::create, nullptr, kZlibCompressorCid);
    loadPreferencesSafely();
    preferencesLoaded = true;
    dontAskForQuit = readFlag(*preferences, kApplicationGroup, "DontAskForQuit");
    parameterPopup = readInt(*preferences, kApplicationGroup, "Enable Parameter Popup", 0) > 0;
}

void TApplication::loadPreferencesSafely()
{
    // A file saved incompletely is put right first, from its alternate copy where one exists,
    // so that whatever the user chooses below works on a whole file.
    const std::string path = preferences->getFilePath();
    std::string problem;
    {
        auto* repair = new FDefaultPool(path);
        if (!repair->load(&problem))
        {
            ui.showMessage(problem);
            std::string saveProblem;
            if (!repair->save(&saveProblem))
                ui.showMessage(saveProblem);
        }
        repair->release();
    }

    int choice = kUseCurrentPreferences;
    if (ui.getModifierKeys() == kSafeStartModifiers)
    {
        Question question;
        question.id = kSafeStartQuestion;
        question.text = "You activated the safe-start mode by pressing <Ctrl>+<Shift>+<Alt> "
                        "during program startup.";
        question.buttons = {"Delete program preferences", "Disable program preferences",
                            "Use current program preferences"};
        question.defaultButton = kUseCurrentPreferences;
        choice = ui.ask(question);
    }

    std::error_code error;
    switch (choice)
    {
    case kDisablePreferences:
        // This run starts on factory values and leaves the saved file as it is.
        if (platform::fileInfo(path).isFile)
            std::filesystem::copy_file(path, preferences->getAlternatePath(),
                                       std::filesystem::copy_options::overwrite_existing, error);
        preferences->setDoNotSave(true);
        return;
    case kDeletePreferences:
        std::filesystem::rename(path, path + " (Trashed)", error);
        if (error && platform::fileInfo(path).exists)
            ui.showMessage(platform::fileName(path) + ": " + error.message());
        return;
    default:
        break;
    }
    if (!preferences->load(&problem))
        ui.showMessage(problem);
}

int32 TApplication::initScan(const std::vector<std::string>* folders)
{
    if (!initialized || quitRequested)
        return 0;
    ui.setBootText("Scan QEL3 Folder");
    int32 found = 0;
    if (folders)
    {
        for (const std::string& folder : *folders)
            found += registry->scanFolder(folder);
    }
    else
    {
        for (const std::string& folder : defaultScanFolders())
            found += registry->scanFolder(folder);
        if (readInt(*preferences, kLocationGroup, "Use Shared Components", 0) != 0)
            found += registry->scanSharedComponents();
        found += registry->scanComponentsFolder();
    }
    ui.setBootText({});
    scanned = true;
    return found;
}

void TApplication::initFinish()
{
    if (!initialized || quitRequested || !categories.empty())
        return;
    categories.push_back({true, String("Audio Module Class"), String("Audio Effects")});
    categories.push_back(
        {false, String("Component Controller Class"), String("QEL Edit Controllers")});
    releaseHardwareInBackground = readFlag(*preferences, kBaiosGroup, "ReleaseHardware");
    disableCpuEnergySaving = readFlag(*preferences, kBaiosGroup, "DisableCPUEnergySaving");
}

void TApplication::open()
{
    if (quitRequested || platformQuit)
        return;
    openInProgress = true;
    ui.setBootText("Open Audio Engine");
    engine = std::make_unique<AudioEngine>(*registry, preferences);
    std::string problem;
    if (!engine->open(engineOptions, &problem))
    {
        engine.reset();
        ui.showMessage("Failed to open TARN Driver!");
        forceQuit = true;
        platformQuit = true;
        FMainLoop::instance()->wake();
        openInProgress = false;
        return;
    }
    rackPresetSlot = std::make_unique<RackPresetSlot>(*engine->getRack(), *registry);
    setPresetSlot(rackPresetSlot.get());
    ui.closeSplash();
    ui.openMainWindow();
    openInProgress = false;
}

void TApplication::closeAudioEngine()
{
    if (!engine)
        return;
    setPresetSlot(nullptr);
    rackPresetSlot.reset();
    engine->close();
    engine.reset();
}

MiniEngine::QelPlayer* TApplication::getPlayer() const
{
    return engine ? engine->getPlayer() : nullptr;
}

void TApplication::restoreRack()
{
    MiniEngine::QelPlayer* player = getPlayer();
    if (player && !player->getRack()->getSlot(0))
        loadPlugin(FUID());
    ui.closeSplash();
}

bool TApplication::loadIntoPlayer(const FUID& cid, int32 replaceIndex)
{
    MiniEngine::QelPlayer* player = getPlayer();
    FComponentDescription* description = registry ? registry->findByCid(cid) : nullptr;
    if (!player || !description)
        return false;
    windowTitle =
        description->getName().toUtf8() + " - Version " + description->getVersion().toUtf8();
    std::string problem;
    if (!player->loadPlugin(cid, replaceIndex, &problem))
    {
        ui.showMessage(description->getName().toUtf8() + ": " + problem);
        return false;
    }
    return true;
}

void TApplication::loadPlugin(const FUID& cid)
{
    if (!getPlayer())
        return;
    if (cid.isValid() && registry->findByCid(cid))
    {
        loadIntoPlayer(cid, 0);
        return;
    }
    // The rack of the last run, in order; classes this registry does not know are skipped.
    for (const FUID& stored : AudioEngine::storedRack(*preferences))
        loadIntoPlayer(stored, -1);
}

UValue* TApplication::getValue(const std::string& path) const
{
    const size_t dot = path.find('.');
    if (dot == std::string::npos)
        return nullptr;
    const std::string head = path.substr(0, dot);
    const String rest(path.substr(dot + 1).c_str());
    MiniEngine::QelPlayer* player = getPlayer();
    if (!player)
        return nullptr;
    if (head == "Transport")
        return player->findValue(rest);
    if (head == "Plugin")
    {
        MiniEngine::QelSlot* slot = player->getRack()->getSlot(0);
        MiniEngine::QelSlotController* controller =
            slot ? player->findSlotController(slot) : nullptr;
        return controller ? controller->findValue(rest) : nullptr;
    }
    return nullptr;
}

bool TApplication::pressPlayer(int32 tag)
{
    MiniEngine::QelPlayer* player = getPlayer();
    if (!player)
        return false;
    player->press(tag);
    return true;
}

bool TApplication::canQuit(bool silently)
{
    if (dontAskForQuit || forceQuit)
        return true;
    if (MiniEngine::QelPlayer* player = getPlayer())
    {
        bool changed = false;
        if (!player->canQuit(changed))
            return false;
    }
    if (quitConfirmed || silently)
        return true;
    Question question;
    question.id = kQuitQuestion;
    question.text = "Are you sure you want to quit " + applicationName + "?";
    question.buttons = {"Quit", "Cancel"};
    question.defaultButton = 0;
    if (ui.ask(question) != 0)
        return false;
    quitConfirmed = true;
    return true;
}

bool TApplication::requestQuit()
{
    if (!canQuit(false))
        return false;
    platformQuit = true;
    FMainLoop::instance()->wake();
    return true;
}

void TApplication::setDontAskForQuit(bool state)
{
    dontAskForQuit = state;
    if (preferences)
        preferences->lookup(kApplicationGroup)->setInt("DontAskForQuit", state ? 1 : 0);
}

void TApplication::registerCommands()
{
    presetCommands.registerIn(commands);
    auto fixedText = [](const char8* text) { return [text] { return std::string(text); }; };
    commands.add(
        {"File", "Quit", fixedText("Quit"), false, [this] { return requestQuit(), true; }});
    commands.add({"File",
                  "Release TARN Driver",
                  {},
                  false,
                  [this]
                  {
                      releaseHardwareInBackground = true;
                      return true;
                  }});
    commands.add({"File",
                  "Don't Release TARN Driver",
                  {},
                  false,
                  [this]
                  {
                      releaseHardwareInBackground = false;
                      return true;
                  }});
    // Recognised so that a remote surface or key binding for it does no harm.
    commands.add({"Transport", "Tarn Reset", {}, false, [] { return true; }});

    // Commands whose targets (rack slot 0, the player, the windows) do not exist in this
    // object: they are known, shown disabled and run nothing. The desktop replaces those whose
    // windows it has.
    auto missing = [&](const char8* category, const char8* name, const char8* text, bool debounced)
    {
        std::function<std::string()> menuText;
        if (text)
            menuText = fixedText(text);
        commands.add({category, name, menuText, debounced, {}, [] { return false; }});
    };
    missing("File", "Close", "Close", false);
    missing("File", "Key Commands", "Key Commands...", false);
    missing("File", "Preferences", "Global Preferences...", false);
    missing("File", "Plug-In Preferences", "Plug-In Preferences...", true);
    missing("View", "Plugin Information", "Open Plug-In Information Window", false);
    missing("View", "Plugin Unit Tests", "Open Plug-In Unit Tests Window", false);
    missing("View", "Preset Editor", "Open Preset Editor", false);
    missing("View", "Step Pattern", "Open Step Pattern Editor", false);
    registerPlayerCommands();
    commands.add({"View", "Show/Hide Parameter Popup",
                  [this] {
                      return std::string(parameterPopup ? "Disable Parameter Popup"
                                                        : "Enable Parameter Popup");
                  },
                  false,
                  [this]
                  {
                      parameterPopup = !parameterPopup;
                      return true;
                  }});
    // The tool tip switches answer not handled, so that the toolkit's own handling follows.
    commands.add({"View",
                  "EnableTooltips",
                  {},
                  false,
                  [this]
                  {
                      tooltips = true;
                      return false;
                  }});
    commands.add({"View",
                  "DisableTooltips",
                  {},
                  false,
                  [this]
                  {
                      tooltips = false;
                      return false;
                  }});
}

void TApplication::registerPlayerCommands()
{
    using MiniEngine::QelPlayer;
    auto hasPlayer = [this] { return getPlayer() != nullptr; };
    auto add = [&](const char8* category, const char8* name, const char8* text, bool debounced,
                   std::function<bool()> action)
    {
        std::function<std::string()> menuText;
        if (text)
            menuText = [text] { return std::string(text); };
        commands.add({category, name, menuText, debounced, std::move(action), hasPlayer});
    };
    auto isOn = [this](int32 tag)
    {
        UValue* value = getPlayer() ? getPlayer()->valueOf(tag) : nullptr;
        return value && value->getInt() != 0;
    };
    add("File", "Load MIDI File", "Load MIDI File", true,
        [this] { return pressPlayer(QelPlayer::kLoadMidiFile); });
    add("File", "Save MIDI File", "Save MIDI File", true,
        [this] { return pressPlayer(QelPlayer::kSaveMidiFile); });
    add("Transport", "Play", "Play", false, [this] { return pressPlayer(QelPlayer::kPlay); });
    add("Transport", "PlayStop", "Play/Stop", false,
        [this]
        {
            if (!getPlayer())
                return false;
            const bool stopped = !getPlayer()->getAudioGraph()->isPlaying();
            return pressPlayer(stopped ? QelPlayer::kPlay : QelPlayer::kStop);
        });
    add("Transport", "Stop", "Stop", false, [this] { return pressPlayer(QelPlayer::kStop); });
    add("Transport", "Loop", "Loop On/Off", false,
        [this, isOn]
        {
            if (!getPlayer())
                return false;
            getPlayer()->valueOf(QelPlayer::kLoop)->setInt(isOn(QelPlayer::kLoop) ? 0 : 1);
            return true;
        });
    add("Transport", "Record", nullptr, false,
        [this, isOn]
        {
            if (!getPlayer())
                return false;
            if (isOn(QelPlayer::kRecord))
            {
                getPlayer()->valueOf(QelPlayer::kRecord)->setInt(0);
                return pressPlayer(QelPlayer::kStop);
            }
            getPlayer()->valueOf(QelPlayer::kRecord)->setInt(1);
            return true;
        });
    add("Transport", "Return to Zero", "Return to Zero", false,
        [this]
        {
            if (!getPlayer())
                return false;
            // A second stop while stopped is what rewinds.
            if (getPlayer()->getAudioGraph()->isPlaying())
            {
                pressPlayer(QelPlayer::kStop);
                pressPlayer(QelPlayer::kStop);
                return pressPlayer(QelPlayer::kPlay);
            }
            return pressPlayer(QelPlayer::kStop);
        });
}

std::vector<Menu> TApplication::createMenuBar() const
{
    auto addCommand = [this](Menu& menu, const char8* category, const char8* name)
    {
        const CommandTable::Command* command = commands.find(category, name);
        if (!command || !command->menuText)
            return;
        MenuItem item;
        item.title = command->menuText();
        item.category = category;
        item.name = name;
        item.enabled = !command->enabled || command->enabled();
        item.shortcut = keyFor(category, name);
        menu.items.push_back(item);
    };
    auto addSeparator = [](Menu& menu)
    {
        if (!menu.items.empty() && !menu.items.back().separator)
            menu.items.push_back(MenuItem::makeSeparator());
    };
    auto finish = [](std::vector<Menu>& bar, Menu& menu)
    {
        while (!menu.items.empty() && menu.items.back().separator)
            menu.items.pop_back();
        if (!menu.items.empty())
            bar.push_back(std::move(menu));
    };

    std::vector<Menu> bar;
    Menu file{"File", false, {}};
    addCommand(file, "File", "Close");
    addSeparator(file);
    for (const char8* name : {"Load Preset", "Save Preset", "Load MIDI File", "Save MIDI File"})
        addCommand(file, "File", name);
    addSeparator(file);
    addCommand(file, "File", "Convert QEL3 to QEL2 Presets");
    addCommand(file, "File", "Overwrite Plugin Name in QEL3 Presets");
    addSeparator(file);
    for (const char8* name : {"Key Commands", "Preferences", "Plug-In Preferences"})
        addCommand(file, "File", name);
    addSeparator(file);
    addCommand(file, "File", "Quit");
    finish(bar, file);

    Menu view{"View", false, {}};
    // The preset editor follows the three window commands, so that every window of the
    // command table has its menu item.
    for (const char8* name : {"Plugin Information", "QEL 2.x Settings", "Plugin Unit Tests",
                              "Preset Editor", "Step Pattern"})
        addCommand(view, "View", name);
    addSeparator(view);
    addCommand(view, "View", "Show/Hide Parameter Popup");
    finish(bar, view);

    Menu transport{"Transport", false, {}};
    for (const char8* name : {"Play", "PlayStop", "Stop", "Loop", "Return to Zero"})
        addCommand(transport, "Transport", name);
    finish(bar, transport);

    Menu help{"Help", true, {}};
    MenuItem manual;
    manual.title = "Help";
    manual.tag = 1001;
    help.items.push_back(manual);
    MenuItem about;
    about.title = "About " + applicationName;
    about.tag = 16;
    help.items.push_back(about);
    bar.push_back(std::move(help));
    return bar;
}

void TApplication::notify(FMessage* message)
{
    const String& name = message->getName();
    if (name == ConstString("NewDevice") || name == ConstString("LockProcess") ||
        name == ConstString("UnLockProcess"))
    {
        if (MiniEngine::QelPlayer* player = getPlayer())
            player->notify(message);
        return;
    }
    bool execute = name == ConstString(ICommandHandler::kInterpret);
    if (!execute && name != ConstString(ICommandHandler::kCanInterpret))
    {
        CmObject::notify(message);
        return;
    }
    String category, command;
    message->getString("category", category);
    message->getString("name", command);
    bool handled = execute ? commands.interpret(category.toUtf8(), command.toUtf8())
                           : commands.canInterpret(category.toUtf8(), command.toUtf8());
    message->setInt("result", handled ? 1 : 0);
}

} // namespace Quillmark
