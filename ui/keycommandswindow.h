// The key commands (form "KeyCommands"): every command of the application's command table with
// its menu text, its key and whether it can run now. Owned by Qt as a top-level window; borrows
// the table, which outlives it.
#pragma once

#include "ui/skinloader.h"

#include <QWidget>

class QTreeWidget;

namespace Quillmark
{

class CommandTable;

class KeyCommandsWindow : public QWidget
{
    Q_OBJECT
public:
    static constexpr const char* kTitle = "Key Commands";

    static KeyCommandsWindow* create(const CommandTable& commands, const SkinLoader& skins,
                                     QString* error = nullptr);

    QTreeWidget* getList() const { return list; }

private:
    KeyCommandsWindow();
    bool build(const CommandTable& commands, const SkinLoader& skins, QString* error);

    QTreeWidget* list = nullptr;
};

} // namespace Quillmark
