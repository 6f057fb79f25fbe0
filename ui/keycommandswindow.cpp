#include "ui/keycommandswindow.h"

#include "app/commandtable.h"
#include "app/keyassignments.h"

#include <QAbstractButton>
#include <QKeySequence>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace Quillmark
{

KeyCommandsWindow::KeyCommandsWindow()
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(kTitle);
}

KeyCommandsWindow* KeyCommandsWindow::create(const CommandTable& commands, const SkinLoader& skins,
                                             QString* error)
{
    auto* window = new KeyCommandsWindow;
    if (!window->build(commands, skins, error))
    {
        delete window;
        return nullptr;
    }
    return window;
}

bool KeyCommandsWindow::build(const CommandTable& commands, const SkinLoader& skins, QString* error)
{
    QWidget* form = skins.load("KeyCommands", this, error);
    if (!form)
        return false;
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(9, 9, 9, 9);
    layout->addWidget(form);
    list = form->findChild<QTreeWidget*>("commandList");
    if (list)
    {
        list->setHeaderLabels({"Category", "Command", "Menu Text", "Key", "Available"});
        for (const CommandTable::Command& command : commands.getCommands())
        {
            auto* item = new QTreeWidgetItem(list);
            item->setText(0, QString::fromStdString(command.category));
            item->setText(1, QString::fromStdString(command.name));
            item->setText(2, command.menuText ? QString::fromStdString(command.menuText())
                                              : QString());
            // Shown the way this desktop writes keys ("Ctrl+W").
            item->setText(
                3, QKeySequence(QString::fromStdString(keyFor(command.category, command.name)))
                       .toString(QKeySequence::NativeText));
            const bool enabled = commands.isEnabled(command.category, command.name);
            item->setText(4, enabled ? "yes" : "not yet");
            if (!enabled)
                for (int column = 0; column < 5; ++column)
                    item->setForeground(column,
                                        palette().brush(QPalette::Disabled, QPalette::Text));
        }
        for (int column = 0; column < 5; ++column)
            list->resizeColumnToContents(column);
    }
    if (auto* close = form->findChild<QAbstractButton*>("close"))
        connect(close, &QAbstractButton::clicked, this, &QWidget::close);
    resize(860, 560);
    return true;
}

} // namespace Quillmark
