// The step pattern's window (form "EventEditor"): whether the pattern plays, the edit actions and
// the step length bound by name to the player's step editor, and the pattern's matrix. Owned by
// Qt as a top-level window; the editor is the player's and must outlive the window.
#pragma once

#include "ui/skinloader.h"

#include <QWidget>

namespace Quillmark
{

class EventEditor;
class PatternView;
class ValueBinder;

class EventEditorWindow : public QWidget
{
    Q_OBJECT
public:
    static constexpr const char* kTitle = "Step Pattern";

    /** Null, with `error` set, when the skin cannot be loaded. */
    static EventEditorWindow* create(EventEditor& editor, const SkinLoader& skins,
                                     QString* error = nullptr);

    PatternView* getPatternView() const { return view; }
    int countBindings() const;

private:
    explicit EventEditorWindow(EventEditor& editor);
    bool build(const SkinLoader& skins, QString* error);

    EventEditor& editor;
    ValueBinder* binder;
    PatternView* view = nullptr;
};

} // namespace Quillmark
