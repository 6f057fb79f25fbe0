// The two preset tools of the File menu: converting a folder of preset files to the older fxp or
// fxb form, and overwriting the plug-in name in the meta information of a folder of presets.
// Each asks its questions through the user interface services, remembers the answers in the
// preference store and reports the count. Used by the application's command table.
#pragma once

#include <string>

namespace Quillmark
{

class FDefaultPool;
class IUIServices;

class PresetTools
{
public:
    static constexpr const char* kSourceQuestion = "Select QEL3 Presets folder to convert";
    static constexpr const char* kDestinationQuestion = "Select QEL2 Presets destination folder";
    static constexpr const char* kUidQuestion = "Enter QEL 2 UID (4 characters)";
    static constexpr const char* kFormQuestion =
        "Save QEL2 presets as bank (fxb) or program (fxp)?";
    static constexpr const char* kFormQuestionId = "preset-form";
    static constexpr const char* kNameQuestion = "Enter the new Name";

    PresetTools(IUIServices& ui, FDefaultPool& preferences) : ui(ui), preferences(preferences) {}

    /** "Convert QEL3 to QEL2 Presets": source, destination, identifier, bank or program, then
        the conversion and its count. False when the user cancelled a question. */
    bool convertToQel2();
    /** "Overwrite Plugin Name in QEL3 Presets": source and new name, then the rewrite of every
        preset file's meta information and its count. False when the user cancelled. */
    bool overwritePluginName();

    /** Writes `name` as the plug-in name into every preset file of `folder`; answers how many
        were changed and adds a line per file that could not be to `problems`. */
    static int overwritePluginNames(const std::string& folder, const std::string& name,
                                    std::string& problems);

private:
    bool chooseFolder(const char* question, const char* key, std::string& folder);
    std::string stored(const char* key, const char* fallback) const;
    void store(const char* key, const std::string& value);
    void report(int count, const std::string& problems);

    IUIServices& ui;
    FDefaultPool& preferences;
};

} // namespace Quillmark
