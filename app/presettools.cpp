#include "app/presettools.h"

#include "app/uiservices.h"
#include "base/fdefaults.h"
#include "base/platform/files.h"
#include "presets/fxpconverter.h"
#include "presets/qelpresetmedium.h"

#include <algorithm>
#include <vector>

namespace Quillmark
{

namespace
{

// The remembered answers live beside the identifier the conversion asks for.
constexpr const char8* kConvertGroup = "Convert";

} // namespace

std::string PresetTools::stored(const char* key, const char* fallback) const
{
    FDefaults* section = preferences.lookup(kConvertGroup, 1, false);
    String text;
    if (section && section->getString(key, text))
        return text.toUtf8();
    return fallback;
}

void PresetTools::store(const char* key, const std::string& value)
{
    preferences.lookup(kConvertGroup)->setString(key, String(value.c_str()));
}

bool PresetTools::chooseFolder(const char* question, const char* key, std::string& folder)
{
    folder = stored(key, "");
    if (!ui.chooseFolder(question, folder) || folder.empty())
        return false;
    store(key, folder);
    return true;
}

void PresetTools::report(int count, const std::string& problems)
{
    std::string text = std::to_string(count) + " Presets were converted.";
    if (!problems.empty())
        text += "\n\n" + problems;
    ui.showMessage(text);
}

bool PresetTools::convertToQel2()
{
    std::string source, destination;
    if (!chooseFolder(kSourceQuestion, "QEL3Src", source) ||
        !chooseFolder(kDestinationQuestion, "QEL2Dest", destination))
        return false;
    std::string uid = stored("QEL2_UID", "");
    if (!ui.askText(kUidQuestion, 4, uid) || uid.empty())
        return false;
    uid = uid.substr(0, 4);
    store("QEL2_UID", uid);
    Question form{kFormQuestionId, kFormQuestion, {"Save as Bank", "Save as Program"}, 0};
    const bool bank = ui.ask(form) == 0;
    std::string problems;
    const int count = Qel::FxpConverter::convertFolder(
        source, destination,
        bank ? Qel::FxpConverter::Form::kBank : Qel::FxpConverter::Form::kProgram,
        Qel::FxpConverter::makeUniqueId(uid), &problems);
    report(count, problems);
    return true;
}

bool PresetTools::overwritePluginName()
{
    std::string folder;
    if (!chooseFolder(kSourceQuestion, "QEL3Src", folder))
        return false;
    std::string name = stored("QEL3_Name", "");
    if (!ui.askText(kNameQuestion, 0, name) || name.empty())
        return false;
    store("QEL3_Name", name);
    std::string problems;
    const int count = overwritePluginNames(folder, name, problems);
    report(count, problems);
    return true;
}

int PresetTools::overwritePluginNames(const std::string& folder, const std::string& name,
                                      std::string& problems)
{
    std::vector<std::string> names;
    std::string error;
    if (!platform::listFolder(folder, names, &error))
    {
        problems += folder + ": " + error + "\n";
        return 0;
    }
    std::sort(names.begin(), names.end());
    int changed = 0;
    for (const std::string& entry : names)
    {
        const std::string path = platform::joinPath(folder, entry);
        if (platform::extensionOf(entry) != "qelpreset" || !platform::fileInfo(path).isFile)
            continue;
        Qel::QelPresetMedium medium(path);
        if (!medium.scan(nullptr))
        {
            problems += path + ": not a preset file, left alone\n";
            continue;
        }
        const auto* old = medium.getAttributes().find("PlugInName");
        medium.getAttributes().setString(
            "PlugInName", name, old ? old->flags : Qel::MediaAttributeList::kWriteProtected);
        if (!medium.commit(error))
        {
            problems += path + ": " + error + "\n";
            continue;
        }
        ++changed;
    }
    return changed;
}

} // namespace Quillmark
