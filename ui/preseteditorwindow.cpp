#include "ui/preseteditorwindow.h"

#include "app/presettarget.h"
#include "base/fobject.h"
#include "presets/qelpreseteditor.h"
#include "ui/valuebinder.h"

#include <QAbstractButton>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include <memory>

namespace Quillmark
{

PresetEditorWindow::PresetEditorWindow(IPresetTarget* target, CmObject* keeper,
                                       const FComponentRegistry* registry)
    : target(target), keeper(keeper), registry(registry), binder(new ValueBinder(this))
{
    if (keeper)
        keeper->addRef();
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(kTitle);
}

PresetEditorWindow::~PresetEditorWindow()
{
    binder->unbindAll();
    if (controller)
        controller->release();
    if (keeper)
        keeper->release();
}

PresetEditorWindow* PresetEditorWindow::create(IPresetTarget* target, CmObject* keeper,
                                               const FComponentRegistry* registry,
                                               const SkinLoader& skins, QString* error)
{
    auto* window = new PresetEditorWindow(target, keeper, registry);
    if (!window->build(skins, error))
    {
        delete window;
        return nullptr;
    }
    return window;
}

bool PresetEditorWindow::build(const SkinLoader& skins, QString* error)
{
    QWidget* form = skins.load("QelPresetEditor", this, error);
    if (!form)
        return false;
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(9, 9, 9, 9);
    layout->addWidget(form);
    controller = new Qel::QelPresetEditor;
    binder->bind(form, [this](const std::string& name)
                 { return controller->findValue(String(name.c_str())); });
    path = form->findChild<QLineEdit*>("presetPath");
    status = form->findChild<QLabel*>("status");
    if (auto* name = form->findChild<QLabel*>("targetName"))
        name->setText(target ? QString::fromStdString(target->getPresetTargetName())
                             : QString("none: only the meta information of a file is edited"));
    setWindowTitle(target ? QString(kTitle) + ": " +
                                QString::fromStdString(target->getPresetTargetName())
                          : QString(kTitle));
    auto button = [form](const char* name) { return form->findChild<QAbstractButton*>(name); };
    if (QAbstractButton* load = button("loadPreset"))
    {
        load->setEnabled(target != nullptr);
        connect(load, &QAbstractButton::clicked, this, [this] { loadFrom(pathField()); });
    }
    if (QAbstractButton* save = button("savePreset"))
    {
        save->setEnabled(target != nullptr);
        connect(save, &QAbstractButton::clicked, this, [this] { saveTo(pathField()); });
    }
    if (QAbstractButton* browse = button("browse"))
        connect(browse, &QAbstractButton::clicked, this,
                [this]
                {
                    const QString chosen = QFileDialog::getSaveFileName(
                        this, "Preset File", pathField(), "Presets (*.qelpreset)", nullptr,
                        QFileDialog::DontConfirmOverwrite);
                    if (chosen.isEmpty())
                        return;
                    if (path)
                        path->setText(chosen);
                    if (QFileInfo::exists(chosen))
                        showFile(chosen);
                });
    // The controller writes the file on "Commit Changes"; its answer shows here after.
    if (QAbstractButton* commit = button("commitChanges"))
        connect(commit, &QAbstractButton::clicked, this,
                [this]
                {
                    const std::string& problem = controller->getLastError();
                    setStatus(problem.empty() ? "The meta information was written."
                                              : QString::fromStdString(problem),
                              !problem.empty());
                });
    resize(640, 470);
    return true;
}

QString PresetEditorWindow::pathField() const
{
    return path ? path->text().trimmed() : QString();
}

QString PresetEditorWindow::getStatus() const
{
    return status ? status->text() : QString();
}

void PresetEditorWindow::setStatus(const QString& text, bool problem)
{
    if (!status)
        return;
    status->setText(text);
    status->setStyleSheet(problem ? "color: #b00020;" : QString());
}

bool PresetEditorWindow::showFile(const QString& file)
{
    auto medium = std::make_unique<Qel::QelPresetMedium>(file.toStdString());
    if (!medium->scan(registry))
    {
        setStatus(file + " is not a preset file.", true);
        return false;
    }
    controller->setMedium(std::move(medium));
    return true;
}

bool PresetEditorWindow::saveTo(const QString& file)
{
    if (!target || file.isEmpty())
    {
        setStatus("Give the file to save to.", true);
        return false;
    }
    std::string problem;
    if (!target->savePreset(file.toStdString(), problem))
    {
        setStatus(QString::fromStdString(problem), true);
        return false;
    }
    if (path)
        path->setText(file);
    if (!showFile(file))
        return false;
    setStatus("Saved " + file, false);
    return true;
}

bool PresetEditorWindow::loadFrom(const QString& file)
{
    if (!target || file.isEmpty())
    {
        setStatus("Give the file to load.", true);
        return false;
    }
    std::string problem;
    if (!target->loadPreset(file.toStdString(), problem))
    {
        setStatus(QString::fromStdString(problem), true);
        return false;
    }
    if (path)
        path->setText(file);
    showFile(file);
    setStatus("Loaded " + file, false);
    return true;
}

} // namespace Quillmark
