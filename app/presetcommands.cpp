#include "app/presetcommands.h"

#include "base/fdefaults.h"
#include "base/platform/files.h"

namespace Quillmark
{

PresetCommands::PresetCommands(IUIServices& ui, std::function<FDefaultPool*()> preferences)
    : ui(ui), preferences(std::move(preferences))
{
}

void PresetCommands::registerIn(CommandTable& table)
{
    auto text = [](const char8* menuText) { return [menuText] { return std::string(menuText); }; };
    auto run = [this](void (PresetCommands::*action)())
    {
        return [this, action]
        {
            (this->*action)();
            return true;
        };
    };
    // Load and save act on the rack's first slot: off while nothing lends one.
    auto slotLent = [this] { return slot != nullptr; };
    table.add({"File", "Load Preset", text("Load Preset"), true, run(&PresetCommands::loadPreset),
               slotLent});
    table.add({"File", "Save Preset", text("Save Preset"), true, run(&PresetCommands::savePreset),
               slotLent});
    table.add({"File", "Convert QEL3 to QEL2 Presets",
               text("Convert QEL3 Presets to QEL2 Presets..."), false,
               run(&PresetCommands::convertPresets)});
    table.add({"File", "Overwrite Plugin Name in QEL3 Presets",
               text("Overwrite Plugin Name in QEL3 Presets..."), false,
               run(&PresetCommands::overwritePluginName)});
}

std::string PresetCommands::setting(const char8* key, const std::string& fallback) const
{
    FDefaultPool* pool = preferences ? preferences() : nullptr;
    String value;
    if (!pool || !pool->lookup(kSection)->getString(key, value))
        return fallback;
    return value.toUtf8();
}

void PresetCommands::remember(const char8* key, const std::string& value)
{
    if (FDefaultPool* pool = preferences ? preferences() : nullptr)
        pool->lookup(kSection)->setString(key, String(value));
}

bool PresetCommands::askFolder(const char8* id, const std::string& title, std::string& folder)
{
    TextRequest request;
    request.kind = TextRequest::kFolder;
    request.id = id;
    request.title = title;
    request.initial = setting(id);
    if (!ui.askText(request, folder) || folder.empty())
        return false;
    remember(id, folder);
    return true;
}

void PresetCommands::report(int count, const std::string& problems)
{
    if (!problems.empty())
        ui.showMessage(problems);
    if (count >= 0)
        ui.showMessage(PresetActions::convertedMessage(count));
}

void PresetCommands::loadPreset()
{
    PresetPlugIn plugIn;
    if (!slot || !slot->getPlugIn(plugIn))
    {
        ui.showMessage("There is no plug-in in the rack to load a preset into.");
        return;
    }
    TextRequest request;
    request.kind = TextRequest::kOpenFile;
    request.id = kLoadFile;
    request.title = "Load Preset";
    request.extension = "qelpreset";
    std::string path;
    if (!ui.askText(request, path) || path.empty())
        return;
    std::string problem, note;
    if (!PresetActions::load(path, plugIn, problem, &note))
        ui.showMessage(path + ": " + problem);
    else if (!note.empty())
        ui.showMessage(path + ": " + note);
}

void PresetCommands::savePreset()
{
    PresetPlugIn plugIn;
    if (!slot || !slot->getPlugIn(plugIn))
    {
        ui.showMessage("There is no plug-in in the rack to save a preset from.");
        return;
    }
    TextRequest request;
    request.kind = TextRequest::kSaveFile;
    request.id = kSaveFile;
    request.title = "Save Preset";
    request.initial = plugIn.className + ".qelpreset";
    request.extension = "qelpreset";
    std::string path;
    if (!ui.askText(request, path) || path.empty())
        return;
    if (platform::extensionOf(path) != "qelpreset")
        path += ".qelpreset";
    std::string problem;
    if (!PresetActions::save(path, plugIn, -1, problem))
        ui.showMessage(path + ": " + problem);
}

void PresetCommands::convertPresets()
{
    PresetActions::ConversionRequest conversion;
    if (!askFolder(kSourceFolder, "Select QEL3 Presets folder to convert",
                   conversion.sourceFolder) ||
        !askFolder(kDestFolder, "Select QEL2 Presets destination folder", conversion.destFolder))
        return;
    TextRequest request;
    request.id = kUid;
    request.title = "Enter QEL 2 UID (4 characters)";
    request.initial = setting(kUid);
    request.maxLength = 4;
    if (!ui.askText(request, conversion.uid))
        return;
    conversion.uid = conversion.uid.substr(0, 4);
    if (conversion.uid.empty())
        return;
    remember(kUid, conversion.uid);
    Question form;
    form.id = kFormQuestion;
    form.text = "Save QEL2 presets as bank (fxb) or program (fxp)?";
    form.buttons = {"Save as Bank", "Save as Program"};
    conversion.bank = ui.ask(form) == 0;
    std::string problems;
    const int count = PresetActions::convertFolder(conversion, problems);
    report(count, problems);
}

void PresetCommands::overwritePluginName()
{
    std::string folder;
    if (!askFolder(kSourceFolder, "Select QEL3 Presets folder to convert", folder))
        return;
    TextRequest request;
    request.id = kNewName;
    request.title = "Enter the new Name";
    request.initial = setting(kNewName);
    std::string name;
    if (!ui.askText(request, name) || name.empty())
        return;
    remember(kNewName, name);
    std::string problems;
    const int count = PresetActions::overwritePluginName(folder, name, problems);
    report(count, problems);
}

} // namespace Quillmark
