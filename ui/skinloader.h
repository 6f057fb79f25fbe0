// Finds the skin templates, one Qt Designer file per template named as the system names it
// ("UnitTestingDialog", "QELPlayerView", ...), and builds widgets from them at run time. Owned
// by whoever opens windows; cheap to copy.
#pragma once

#include <QString>
#include <QStringList>

class QWidget;

namespace Quillmark
{

class SkinLoader
{
public:
    /** Looks in `folders` in order; none: the folders of the installed program. */
    explicit SkinLoader(QStringList folders = {});

    /** The skin folders of the program: "skin" beside the executable, then
        "../share/qel3plugintesthost/skin" relative to it. */
    static QStringList defaultFolders();

    /** The file of template `name`, or empty when no folder has it. */
    QString find(const QString& name) const;
    /** The widget tree of template `name` under `parent`; null, with `error` set, when the
        template is missing or cannot be read. */
    QWidget* load(const QString& name, QWidget* parent, QString* error = nullptr) const;

    const QStringList& getFolders() const { return folders; }

private:
    QStringList folders;
};

} // namespace Quillmark
