#include "ui/pluginwindow.h"

#include "base/fobject.h"
#include "ui/genericeditorview.h"

#include <QAbstractButton>
#include <QLabel>
#include <QLayout>
#include <QVBoxLayout>

namespace Quillmark
{

PluginWindow::PluginWindow(CmObject* keeper, IPresetTarget* presets)
    : keeper(keeper), presets(presets)
{
    setAttribute(Qt::WA_DeleteOnClose);
    if (keeper)
        keeper->addRef();
}

PluginWindow::~PluginWindow()
{
    // The widgets let go of the editor's values before the editor can go with its keeper.
    delete view;
    view = nullptr;
    if (keeper)
        keeper->release();
}

PluginWindow* PluginWindow::create(GenericEditor& editor, CmObject* keeper, IPresetTarget* presets,
                                   const QString& title, const SkinLoader& skins, QString* error)
{
    auto* window = new PluginWindow(keeper, presets);
    if (!window->build(editor, title, skins, error))
    {
        delete window;
        return nullptr;
    }
    return window;
}

bool PluginWindow::build(GenericEditor& editor, const QString& title, const SkinLoader& skins,
                         QString* error)
{
    QWidget* form = skins.load("PluginWindow", this, error);
    if (!form)
        return false;
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(9, 9, 9, 9);
    layout->addWidget(form);
    setWindowTitle(title);
    if (auto* name = form->findChild<QLabel*>("pluginName"))
        name->setText(title);
    if (auto* kind = form->findChild<QLabel*>("editorKind"))
        kind->setText("Generic Editor");
    QWidget* area = form->findChild<QWidget*>("editorArea");
    if (!area || !area->layout())
    {
        if (error)
            *error = "The skin template \"PluginWindow\" has no \"editorArea\"";
        return false;
    }
    view = GenericEditorView::create(editor, skins, area, error);
    if (!view)
        return false;
    area->layout()->addWidget(view);
    if (auto* button = form->findChild<QAbstractButton*>("openPresetEditor"))
    {
        button->setEnabled(false);
        connect(button, &QAbstractButton::clicked, this,
                [this]
                {
                    if (openPresetEditor)
                        openPresetEditor(*this);
                });
    }
    adjustSize();
    return true;
}

void PluginWindow::setPresetEditorOpener(std::function<void(PluginWindow&)> opener)
{
    openPresetEditor = std::move(opener);
    if (auto* button = findChild<QAbstractButton*>("openPresetEditor"))
        button->setEnabled(presets && openPresetEditor);
}

} // namespace Quillmark
