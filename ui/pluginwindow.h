// The window of a plug-in's editor (form "PluginWindow"). The plug-in standard gives no view
// interface for a plug-in's own editor, so every plug-in is edited here through the generic
// editor, which fills "editorArea".
//
// The seam for a plug-in's own view: a native editor would be an X11 window that the plug-in
// creates as a child of a window of ours. It would go into "editorArea" in place of the
// generic editor, through QWidget::createWindowContainer around QWindow::fromWinId, and this
// class would follow its size requests. Nothing else in the program needs to change for it:
// the window is opened with a controller, not with a plug-in class.
//
// Owned by Qt as a top-level window; it holds one reference to whatever keeps the controller
// alive (the plug-in instance now, a rack slot later) and lets go of it when it closes.
#pragma once

#include "ui/skinloader.h"

#include <QWidget>

#include <functional>

namespace Quillmark
{

class CmObject;
class GenericEditor;
class GenericEditorView;
class IPresetTarget;

class PluginWindow : public QWidget
{
    Q_OBJECT
public:
    /** Null, with `error` set, when a template is missing. `keeper` (may be null) gets a
        reference of the window's own, released when the window goes; `presets` (may be null,
        borrowed from the keeper) is what the preset editor of this window loads and saves. */
    static PluginWindow* create(GenericEditor& editor, CmObject* keeper, IPresetTarget* presets,
                                const QString& title, const SkinLoader& skins,
                                QString* error = nullptr);
    ~PluginWindow() override;

    GenericEditorView* getEditorView() const { return view; }
    IPresetTarget* getPresetTarget() const { return presets; }
    CmObject* getKeeper() const { return keeper; }
    /** What the "Presets..." button opens; none leaves the button off. */
    void setPresetEditorOpener(std::function<void(PluginWindow&)> opener);

private:
    PluginWindow(CmObject* keeper, IPresetTarget* presets);
    bool build(GenericEditor& editor, const QString& title, const SkinLoader& skins,
               QString* error);

    CmObject* keeper;
    IPresetTarget* presets;
    GenericEditorView* view = nullptr;
    std::function<void(PluginWindow&)> openPresetEditor;
};

} // namespace Quillmark
