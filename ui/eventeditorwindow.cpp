#include "ui/eventeditorwindow.h"

#include "midi/eventeditor.h"
#include "ui/patternview.h"
#include "ui/valuebinder.h"

#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <algorithm>

namespace Quillmark
{

EventEditorWindow::EventEditorWindow(EventEditor& editor)
    : editor(editor), binder(new ValueBinder(this))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(kTitle);
}

EventEditorWindow* EventEditorWindow::create(EventEditor& editor, const SkinLoader& skins,
                                             QString* error)
{
    auto* window = new EventEditorWindow(editor);
    if (!window->build(skins, error))
    {
        delete window;
        return nullptr;
    }
    return window;
}

bool EventEditorWindow::build(const SkinLoader& skins, QString* error)
{
    QWidget* form = skins.load("EventEditor", this, error);
    if (!form)
        return false;
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(9, 9, 9, 9);
    layout->addWidget(form);
    view = new PatternView(*editor.getPatternView());
    if (auto* area = form->findChild<QScrollArea*>("patternArea"))
        area->setWidget(view);
    else
        layout->addWidget(view);
    binder->bind(form, [this](const std::string& name)
                 { return editor.findValue(String(name.c_str())); });
    if (auto* close = form->findChild<QPushButton*>("close"))
        connect(close, &QPushButton::clicked, this, &QWidget::close);
    // Tall enough for the whole matrix, so no note hides below the fold at first.
    resize(std::max(form->width(), sizeHint().width()),
           PatternDef::kRows * PatternView::kRowHeight + 110);
    return true;
}

int EventEditorWindow::countBindings() const
{
    return binder->countBindings();
}

} // namespace Quillmark
