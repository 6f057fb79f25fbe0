// The one application object: gives the process its name, loads the preferences with safe-start,
// scans the plug-in folders in the program's order, serves the command table until quit, and
// tears down in a fixed order that writes the settings and saves the preferences last. Created
// by the entry (or a command-line job), which also owns the user interface services it borrows.
#pragma once

#include "app/audioengine.h"
#include "app/commandtable.h"
#include "app/presetcommands.h"
#include "app/uiservices.h"
#include "base/fobject.h"
#include "base/fstring.h"

#include <memory>
#include <string>
#include <vector>

namespace Quillmark
{

class FComponentRegistry;
class FDefaultPool;
class RackPresetSlot;
class UValue;

/** A class category shown on the information pages. */
struct PluginCategory
{
    bool isInstrumentClass = false;
    String categoryName; // the module class category, used as a filter
    String displayName;
};

class TApplication : public CmObject
{
public:
    static constexpr const char8* kVersion = "2.2.6";
    static constexpr const char8* kBuild = "3";
    static constexpr const char8* kDefaultName = "Qel3PluginTestHost";
    /** Buttons of the safe-start question, in the order shown. */
    enum SafeStartChoice
    {
        kDeletePreferences = 0,
        kDisablePreferences = 1,
        kUseCurrentPreferences = 2,
    };
    static constexpr const char8* kSafeStartQuestion = "safe-start";
    static constexpr const char8* kQuitQuestion = "quit";

    struct StartupRecord
    {
        int32 mode = 0;
        std::string name;
        /** Where "Defaults", "Module Cache" and "TestSettings.bin" live; empty for the user
            data folder. */
        std::string dataFolder;
    };

    /** The display name for an executable: its file name cut at the last dot (unless that dot
        leads the name), then " Standalone"; empty for an empty name. */
    static std::string displayNameFor(const std::string& executablePath);
    /** The plug-in folders scanned first, in order; the shared and "Components" folders
        follow them. */
    static std::vector<std::string> defaultScanFolders();

    /** The application of the process, or null. */
    static TApplication* instance();

    TApplication(const StartupRecord& record, IUIServices& ui);
    /** The folder of the user's data for this run. */
    const std::string& getDataFolder() const { return dataFolder; }
    ~TApplication() override;
    TApplication(const TApplication&) = delete;
    TApplication& operator=(const TApplication&) = delete;

    /** Finds the user data folder and creates the registry and the preference store; false,
        with quitRequested set, when the folder cannot be made. */
    bool initialize();
    /** Start-up, main loop until quit. The destructor does the rest. */
    void run();
    /** The whole start-up phase over the default folders. */
    void init();
    /** The phases of init, for jobs that scan folders of their own. */
    void initPreferences();
    /** Null scans the default folders in order; otherwise exactly the folders given. */
    int32 initScan(const std::vector<std::string>* folders = nullptr);
    void initFinish();
    /** Opens the audio engine and the main window; a driver that does not open ends the
        program ("Failed to open TARN Driver!"). */
    void open();
    /** After the window is up: the plug-ins of the last run, when slot 0 is empty. */
    void restoreRack();
    /** A valid class the registry knows goes into slot 0; otherwise the rack of the last run
        comes back. Nothing without a player. */
    void loadPlugin(const FUID& cid = FUID());
    /** How open() opens the engine; the default takes the driver of the last run. */
    void setEngineOptions(const AudioEngine::Options& options) { engineOptions = options; }
    /** The player once the engine is open, else null (borrowed). */
    MiniEngine::QelPlayer* getPlayer() const;
    AudioEngine* getAudioEngine() const { return engine.get(); }
    /** "Transport.NAME" is the player's value NAME, "Plugin.NAME" the value of slot 0's
        controller; anything else, or a missing target, is null. */
    UValue* getValue(const std::string& path) const;
    /** The title the main window shows for the plug-in in slot 0. */
    const std::string& getWindowTitle() const { return windowTitle; }

    /** True when quitting may go ahead; may ask the user. */
    bool canQuit(bool silently);
    /** Asks canQuit and, on yes, ends the main loop. */
    bool requestQuit();
    bool isQuitRequested() const { return quitRequested; }
    bool isPlatformQuit() const { return platformQuit; }

    std::vector<Menu> createMenuBar() const;

    /** "Interpret" and "CanInterpret" with the strings "category" and "name"; the answer goes
        back as the integer "result". "NewDevice", "LockProcess" and "UnLockProcess" go on to
        the player. */
    void notify(FMessage* message) override;

    FComponentRegistry& getRegistry() { return *registry; }
    FDefaultPool& getPreferences() { return *preferences; }
    CommandTable& getCommandTable() { return commands; }
    /** The plug-in that "Load Preset" and "Save Preset" act on: the rack's first slot, lent by
        whoever holds it (borrowed; null when the rack is empty). */
    void setPresetSlot(IPresetSlot* slot) { presetCommands.setSlot(slot); }
    IUIServices& getUIServices() { return ui; }
    const std::vector<PluginCategory>& getCategories() const { return categories; }
    const std::string& getApplicationName() const { return applicationName; }
    int32 getMode() const { return mode; }

    bool getDontAskForQuit() const { return dontAskForQuit; }
    /** Also stores the choice in the preferences. */
    void setDontAskForQuit(bool state);
    void setForceQuit(bool state) { forceQuit = state; }
    bool isQuitConfirmed() const { return quitConfirmed; }
    bool getReleaseHardwareInBackground() const { return releaseHardwareInBackground; }
    bool getDisableCpuEnergySaving() const { return disableCpuEnergySaving; }
    bool getParameterPopup() const { return parameterPopup; }
    /** The three are written to the preferences when the application ends. */
    void setReleaseHardwareInBackground(bool state) { releaseHardwareInBackground = state; }
    void setDisableCpuEnergySaving(bool state) { disableCpuEnergySaving = state; }
    void setParameterPopup(bool state) { parameterPopup = state; }

    QEL_DECLARE_CLASS(TApplication, CmObject)

private:
    void registerCommands();
    void registerPlayerCommands();
    void loadPreferencesSafely();
    void writeSettings();
    void closeAudioEngine();
    /** `cid` in place of the player's slot `replaceIndex`, or into a new slot for -1, the
        window's title following it; false, after a message, when it does not load. */
    bool loadIntoPlayer(const FUID& cid, int32 replaceIndex);
    /** Sets a player value to 1 through a press, so a lit button runs again. */
    bool pressPlayer(int32 tag);

    IUIServices& ui;
    int32 mode;
    std::string applicationName;
    std::string dataFolder;
    bool quitRequested = false;
    bool platformQuit = false;
    bool initialized = false;
    bool preferencesLoaded = false;
    bool scanned = false;
    bool openInProgress = false;
    std::vector<PluginCategory> categories;
    CommandTable commands;
    PresetCommands presetCommands;
    FComponentRegistry* registry = nullptr;
    FDefaultPool* preferences = nullptr;
    AudioEngine::Options engineOptions;
    std::unique_ptr<AudioEngine> engine;
    std::unique_ptr<RackPresetSlot> rackPresetSlot;
    std::string windowTitle;

    bool releaseHardwareInBackground = false;
    bool disableCpuEnergySaving = false;
    bool dontAskForQuit = false;
    bool forceQuit = false;
    bool quitConfirmed = false;
    bool parameterPopup = false;
    bool tooltips = true;
};

} // namespace Quillmark
