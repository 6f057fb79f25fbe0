// The preset editor (form "QelPresetEditor"): the meta information of one preset file, bound by
// name to the preset editor's controller, with loading and saving the state of the plug-in it
// serves through that file. Without a plug-in it edits the meta information of any preset file.
// Owned by Qt as a top-level window; keeps the plug-in alive and borrows the registry.
#pragma once

#include "ui/skinloader.h"

#include <QPointer>
#include <QWidget>

#include <string>

class QLabel;
class QLineEdit;

namespace Quillmark
{

class CmObject;
class FComponentRegistry;
class IPresetTarget;
class ValueBinder;

namespace Qel
{
class QelPresetEditor;
}

class PresetEditorWindow : public QWidget
{
    Q_OBJECT
public:
    static constexpr const char* kTitle = "Preset Editor";

    /** Null, with `error` set, when the template is missing. `target` may be null; `keeper`
        (may be null) keeps it alive and gets a reference of the window's own. */
    static PresetEditorWindow* create(IPresetTarget* target, CmObject* keeper,
                                      const FComponentRegistry* registry, const SkinLoader& skins,
                                      QString* error = nullptr);
    ~PresetEditorWindow() override;

    Qel::QelPresetEditor& getController() const { return *controller; }
    IPresetTarget* getTarget() const { return target; }
    /** Saves the plug-in's state to `path` and shows the file; false with the reason shown. */
    bool saveTo(const QString& path);
    /** Loads `path` into the plug-in and shows the file; false with the reason shown. */
    bool loadFrom(const QString& path);
    /** Shows the meta information of `path` without touching the plug-in. */
    bool showFile(const QString& path);
    /** The line of the last outcome, as shown under the fields. */
    QString getStatus() const;

private:
    PresetEditorWindow(IPresetTarget* target, CmObject* keeper, const FComponentRegistry* registry);
    bool build(const SkinLoader& skins, QString* error);
    void setStatus(const QString& text, bool problem);
    QString pathField() const;

    IPresetTarget* target;
    CmObject* keeper;
    const FComponentRegistry* registry;
    Qel::QelPresetEditor* controller = nullptr;
    ValueBinder* binder;
    QLineEdit* path = nullptr;
    QLabel* status = nullptr;
};

} // namespace Quillmark
