// The generic editor as widgets: the form "genericEditor" with one row per parameter that the
// editor shows (title, control, the plug-in's text, unit), each control bound by name to the
// editor's value: a slider for a continuous parameter, a check box for a toggle, a list for a
// short list and a number box for other steps. Takes the editor only, never the plug-in class,
// so a rack slot's controller can show here as well. Owned by the window it sits in; borrows
// the editor, which outlives it.
#pragma once

#include "ui/skinloader.h"

#include <QWidget>

namespace Quillmark
{

class GenericEditor;
class ValueBinder;

class GenericEditorView : public QWidget
{
    Q_OBJECT
public:
    /** The frame of the editor; a longer list scrolls inside it. */
    static constexpr int kWidth = 550;
    static constexpr int kHeight = 400;

    /** Null, with `error` set, when the template is missing. */
    static GenericEditorView* create(GenericEditor& editor, const SkinLoader& skins,
                                     QWidget* parent = nullptr, QString* error = nullptr);
    ~GenericEditorView() override;

    GenericEditor& getEditor() const { return editor; }
    /** How many widgets are bound to the editor's values. */
    int countBindings() const;

private:
    GenericEditorView(GenericEditor& editor, QWidget* parent);
    bool build(const SkinLoader& skins, QString* error);

    GenericEditor& editor;
    ValueBinder* binder;
};

} // namespace Quillmark
