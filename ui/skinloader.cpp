#include "ui/skinloader.h"

#include "base/platform/paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUiLoader>
#include <QWidget>

namespace Quillmark
{

SkinLoader::SkinLoader(QStringList folders)
    : folders(folders.isEmpty() ? defaultFolders() : std::move(folders))
{
}

QStringList SkinLoader::defaultFolders()
{
    const QString program = QString::fromStdString(platform::executableFolder());
    return {QDir(program).filePath("skin"),
            QDir::cleanPath(QDir(program).filePath("../share/qel3plugintesthost/skin"))};
}

QString SkinLoader::find(const QString& name) const
{
    for (const QString& folder : folders)
    {
        QFileInfo file(QDir(folder).filePath(name + ".ui"));
        if (file.isFile())
            return file.filePath();
    }
    return {};
}

QWidget* SkinLoader::load(const QString& name, QWidget* parent, QString* error) const
{
    const QString path = find(name);
    if (path.isEmpty())
    {
        if (error)
            *error = "The skin template \"" + name + "\" was not found in " + folders.join(", ");
        return nullptr;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        if (error)
            *error = "The skin template " + path + " cannot be read";
        return nullptr;
    }
    QUiLoader loader;
    QWidget* widget = loader.load(&file, parent);
    if (!widget && error)
        *error = "The skin template " + path + " is damaged: " + loader.errorString();
    return widget;
}

} // namespace Quillmark
