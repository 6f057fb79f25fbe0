// The work behind the preset commands of the menu and the preset modes of the command line:
// saving a plug-in's state as a preset file, restoring one into a plug-in, converting a folder
// of presets to fxp or fxb, and replacing the plug-in name in a folder of presets. The callers
// only gather the answers (from dialogs or from options), so both run the same code. Stateless.
#pragma once

#include "base/fuid.h"
#include "qel3/qeltypes.h"

#include <string>

namespace Quillmark
{

namespace Qel
{
class IComponent;
class IEditController;
} // namespace Qel

/** A living plug-in, borrowed for one preset operation. */
struct PresetPlugIn
{
    FUID classId;
    std::string className, vendor, subCategories; // for the meta information
    Qel::IComponent* component = nullptr;
    Qel::IEditController* controller = nullptr;
};

/** Where the menu's "Load Preset" and "Save Preset" act: the plug-in in the first slot of the
    rack. The rack lends its plug-in through this; until something is lent the slot is empty. */
class IPresetSlot
{
public:
    virtual ~IPresetSlot() = default;
    /** Fills `plugIn` and answers true when the slot holds a plug-in. */
    virtual bool getPlugIn(PresetPlugIn& plugIn) = 0;
};

namespace PresetActions
{

/** The message that reports a folder operation, as both the menu and the command line show it. */
std::string convertedMessage(int count);

/** Saves the plug-in's state (component, controller, meta information) to `path`. With
    `programIndex` of 0 or more, that program of the plug-in's first list that keeps program
    data goes in as well. False with a reason in `problem`. */
bool save(const std::string& path, const PresetPlugIn& plugIn, int32 programIndex,
          std::string& problem);

/** Checks the preset file at `path` before the plug-in sees a byte of it, then restores it:
    component state into both halves, controller state, program data. A file of another class
    is refused. `note` tells of program data the plug-in does not take. */
bool load(const std::string& path, const PresetPlugIn& plugIn, std::string& problem,
          std::string* note = nullptr);

/** The answers of "Convert QEL3 to QEL2 Presets". */
struct ConversionRequest
{
    std::string sourceFolder, destFolder;
    std::string uid; // up to 4 characters; a shorter one is padded with zero bytes
    bool bank = false;
};

/** Converts every preset file of the source folder; answers the count written and lists the
    files it could not convert in `problems`, one line each. -1 when the source is no folder. */
int convertFolder(const ConversionRequest& request, std::string& problems);

/** Replaces the plug-in name in the meta information of every preset file of `folder` that has
    one; files without it stay as they are. Answers the count changed; -1 when the folder
    cannot be listed. */
int overwritePluginName(const std::string& folder, const std::string& newName,
                        std::string& problems);

} // namespace PresetActions
} // namespace Quillmark
