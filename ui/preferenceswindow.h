// The global preferences (form "GlobalPreferences"): one tab per page, each control bound by
// name to a value of the preference pages, so that a change reaches the application and the
// store at once. The page "TARN" also shows the audio system's values (driver, rate, latencies,
// priority) once its controller is given. Owned by Qt as a top-level window; borrows the
// application.
#pragma once

#include "ui/skinloader.h"

#include <QWidget>

namespace Quillmark
{

class AudioSystemController;
class PreferencePages;
class TApplication;
class ValueBinder;

class PreferencesWindow : public QWidget
{
    Q_OBJECT
public:
    static constexpr const char* kTitle = "Global Preferences";

    static PreferencesWindow* create(TApplication& application, const SkinLoader& skins,
                                     QString* error = nullptr);
    ~PreferencesWindow() override;

    PreferencePages& getPages() const { return *pages; }
    int countBindings() const;
    /** Binds the audio system's controls to `controller` (the window keeps a reference) and
        shows them in place of the two stored flags; null hides them again. */
    void setAudioSystem(AudioSystemController* controller);
    AudioSystemController* getAudioSystem() const { return audioSystem; }

private:
    PreferencesWindow();
    bool build(TApplication& application, const SkinLoader& skins, QString* error);

    PreferencePages* pages = nullptr;
    ValueBinder* binder;
    ValueBinder* audioBinder;
    AudioSystemController* audioSystem = nullptr;
};

} // namespace Quillmark
