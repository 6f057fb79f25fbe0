// The preset commands of the "File" menu: "Load Preset" and "Save Preset" on the plug-in of the
// rack's first slot, "Convert QEL3 to QEL2 Presets" and "Overwrite Plugin Name in QEL3 Presets"
// on folders. Each asks its questions through the user interface services and remembers the
// answers in the section "Convert" of the preferences; the work itself is PresetActions'.
// Owned by the application.
#pragma once

#include "app/commandtable.h"
#include "app/presetactions.h"
#include "app/uiservices.h"

#include <functional>
#include <string>

namespace Quillmark
{

class FDefaultPool;

class PresetCommands
{
public:
    static constexpr const char8* kSection = "Convert";
    // The settings of the section, which double as the ids of the requests they answer.
    static constexpr const char8* kSourceFolder = "QEL3Src";
    static constexpr const char8* kDestFolder = "QEL2Dest";
    static constexpr const char8* kUid = "QEL2_UID";
    static constexpr const char8* kNewName = "QEL3_Name";
    static constexpr const char8* kLoadFile = "Load Preset";
    static constexpr const char8* kSaveFile = "Save Preset";
    static constexpr const char8* kFormQuestion = "fxb-or-fxp";

    /** `preferences` answers the store of the moment, or null while there is none. */
    PresetCommands(IUIServices& ui, std::function<FDefaultPool*()> preferences);

    /** The rack's first slot (borrowed); null for an empty rack. */
    void setSlot(IPresetSlot* newSlot) { slot = newSlot; }
    /** Adds the four commands to `table`; load and save are debounced. */
    void registerIn(CommandTable& table);

    void loadPreset();
    void savePreset();
    void convertPresets();
    void overwritePluginName();

private:
    std::string setting(const char8* key, const std::string& fallback = {}) const;
    void remember(const char8* key, const std::string& value);
    bool askFolder(const char8* id, const std::string& title, std::string& folder);
    void report(int count, const std::string& problems);

    IUIServices& ui;
    std::function<FDefaultPool*()> preferences;
    IPresetSlot* slot = nullptr;
};

} // namespace Quillmark
