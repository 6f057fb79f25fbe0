#include "app/preferencepages.h"

#include "app/tapplication.h"
#include "base/fdefaults.h"
#include "base/platform/files.h"
#include "base/values/uintvalues.h"
#include "base/values/ustringvalue.h"

namespace Quillmark
{

namespace
{

constexpr const char8* kLocationGroup = "Location";
constexpr const char8* kDefaultSharedComponents = "/usr/local/share/quillmark/shared-components";

} // namespace

const std::vector<PreferencePages::Page>& PreferencePages::pages()
{
    static const std::vector<Page> table{
        {"General", {"DontAskForQuit", "EnableParameterPopup"}},
        {"TARN", {"ReleaseHardware", "DisableCPUEnergySaving"}},
        {"Location", {"UseSharedComponents", "SharedComponentsPath"}},
        {"Tests", {"TestSettingsFile", "TestLogFile", "DataFolder"}},
    };
    return table;
}

PreferencePages::PreferencePages(TApplication& application) : application(application)
{
    adopt(new UIntValue("DontAskForQuit", kDontAskForQuit, 0, 1, 0));
    adopt(new UIntValue("EnableParameterPopup", kParameterPopup, 0, 1, 0));
    adopt(new UIntValue("ReleaseHardware", kReleaseHardware, 0, 1, 0));
    adopt(new UIntValue("DisableCPUEnergySaving", kDisableCpuEnergySaving, 0, 1, 0));
    adopt(new UIntValue("UseSharedComponents", kUseSharedComponents, 0, 1, 0));
    adopt(new UStringValue("SharedComponentsPath", kSharedComponentsPath));
    // Where the files of the tests live: shown, not edited, since a command-line option picks
    // the folder.
    for (auto [name, tag] : {std::pair{"TestSettingsFile", int32(kTestSettingsFile)},
                             std::pair{"TestLogFile", int32(kTestLogFile)},
                             std::pair{"DataFolder", int32(kDataFolder)}})
        adopt(new UStringValue(name, tag))->setEnabled(false);
    reload();
    setHandler(this);
}

PreferencePages::~PreferencePages()
{
    setHandler(nullptr);
}

void PreferencePages::reload()
{
    loading = true;
    auto setInt = [this](int32 tag, int32 number)
    {
        if (auto* value = FCast<UIntValue>(findValueByTag(tag)))
            value->setValue(number);
    };
    auto setText = [this](int32 tag, const std::string& text)
    {
        if (auto* value = FCast<UStringValue>(findValueByTag(tag)))
            value->setValue(text.c_str());
    };
    setInt(kDontAskForQuit, application.getDontAskForQuit() ? 1 : 0);
    setInt(kParameterPopup, application.getParameterPopup() ? 1 : 0);
    setInt(kReleaseHardware, application.getReleaseHardwareInBackground() ? 1 : 0);
    setInt(kDisableCpuEnergySaving, application.getDisableCpuEnergySaving() ? 1 : 0);
    FDefaults* location = application.getPreferences().lookup(kLocationGroup, 1, false);
    setInt(kUseSharedComponents,
           location && location->getInt("Use Shared Components", 0) != 0 ? 1 : 0);
    String path;
    if (!location || !location->getString("Shared Components Path", path) || path.isEmpty())
        path = kDefaultSharedComponents;
    setText(kSharedComponentsPath, path.toUtf8());
    const std::string& data = application.getDataFolder();
    setText(kTestSettingsFile, platform::joinPath(data, "TestSettings.bin"));
    setText(kTestLogFile, platform::joinPath(data, "AutotestLog.txt"));
    setText(kDataFolder, data);
    loading = false;
}

void PreferencePages::valueChanged(IValue* value)
{
    if (loading || !value)
        return;
    const bool on = value->getInt() == 1;
    switch (value->getTag())
    {
    case kDontAskForQuit:
        application.setDontAskForQuit(on);
        break;
    case kParameterPopup:
        application.setParameterPopup(on);
        break;
    case kReleaseHardware:
        application.setReleaseHardwareInBackground(on);
        break;
    case kDisableCpuEnergySaving:
        application.setDisableCpuEnergySaving(on);
        break;
    case kUseSharedComponents:
        application.getPreferences()
            .lookup(kLocationGroup)
            ->setInt("Use Shared Components", on ? 1 : 0);
        break;
    case kSharedComponentsPath:
    {
        String text;
        value->getText(text);
        application.getPreferences()
            .lookup(kLocationGroup)
            ->setString("Shared Components Path", text);
        break;
    }
    default:
        break;
    }
}

} // namespace Quillmark
