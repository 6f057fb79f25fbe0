// The values behind the preference window's pages, bound by name: "General" (quit question,
// parameter popup), "TARN" (releasing the driver in the background, the energy scheme),
// "Location" (the shared component folders, used from the next scan on) and "Tests" (where the
// test settings and log live, shown only). Each change goes to the application or straight into
// the preference store at once. Owned by the window that shows it; borrows the application.
#pragma once

#include "base/values/uvaluecontainer.h"

namespace Quillmark
{

class TApplication;

class PreferencePages : public UValueContainer
{
    QEL_DECLARE_CLASS(PreferencePages, UValueContainer)
public:
    enum Tags
    {
        kDontAskForQuit = 200,
        kParameterPopup,
        kReleaseHardware,
        kDisableCpuEnergySaving,
        kUseSharedComponents,
        kSharedComponentsPath,
        kTestSettingsFile,
        kTestLogFile,
        kDataFolder,
    };

    struct Page
    {
        const char8* title;
        std::vector<const char8*> values;
    };
    /** The pages in the order shown, each with the names of its values. */
    static const std::vector<Page>& pages();

    explicit PreferencePages(TApplication& application);
    ~PreferencePages() override;

    /** Reads every value from the application and the store again. */
    void reload();

    void valueChanged(IValue* value) override;

private:
    TApplication& application;
    bool loading = false;
};

} // namespace Quillmark
