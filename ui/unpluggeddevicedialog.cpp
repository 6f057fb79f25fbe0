#include "ui/unpluggeddevicedialog.h"

#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace Quillmark
{

namespace
{

constexpr int kIdentifierRole = Qt::UserRole;

} // namespace

UnpluggedDeviceDialog::UnpluggedDeviceDialog(QWidget* parent) : QDialog(parent)
{
    setModal(true);
}

UnpluggedDeviceDialog* UnpluggedDeviceDialog::create(const QString& text,
                                                     const std::vector<Driver>& drivers,
                                                     const std::string& preselected,
                                                     const SkinLoader& skins, QWidget* parent,
                                                     QString* error)
{
    auto* dialog = new UnpluggedDeviceDialog(parent);
    if (!dialog->build(text, drivers, preselected, skins, error))
    {
        delete dialog;
        return nullptr;
    }
    return dialog;
}

bool UnpluggedDeviceDialog::build(const QString& text, const std::vector<Driver>& drivers,
                                  const std::string& preselected, const SkinLoader& skins,
                                  QString* error)
{
    QWidget* form = skins.load(kForm, this, error);
    if (!form)
        return false;
    message = form->findChild<QLabel*>("message");
    list = form->findChild<QListWidget*>("drivers");
    ok = form->findChild<QPushButton*>("ok");
    auto* cancel = form->findChild<QPushButton*>("cancel");
    if (!message || !list || !ok || !cancel)
    {
        if (error)
            *error =
                QString("The form \"%1\" lacks its message, drivers, ok or cancel.").arg(kForm);
        return false;
    }
    setWindowTitle(form->windowTitle().isEmpty() ? QString(kForm) : form->windowTitle());
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(9, 9, 9, 9);
    layout->addWidget(form);

    message->setText(text);
    QListWidgetItem* chosen = nullptr;
    for (const Driver& driver : drivers)
    {
        auto* item = new QListWidgetItem(driver.name, list);
        item->setData(kIdentifierRole, QString::fromStdString(driver.identifier));
        if (!chosen && driver.identifier == preselected)
            chosen = item;
    }
    if (!chosen && list->count() > 0)
        chosen = list->item(0);
    if (chosen)
        list->setCurrentItem(chosen);
    list->setFocus();

    // Without a driver chosen, OK would mean the same as Cancel; it waits for a choice.
    ok->setEnabled(chosen != nullptr);
    connect(list, &QListWidget::itemSelectionChanged, this,
            [this] { ok->setEnabled(!list->selectedItems().isEmpty()); });
    connect(list, &QListWidget::itemActivated, this, [this] { accept(); });
    connect(ok, &QPushButton::clicked, this, [this] { accept(); });
    connect(cancel, &QPushButton::clicked, this, [this] { reject(); });
    return true;
}

std::string UnpluggedDeviceDialog::chosenDriver() const
{
    const QList<QListWidgetItem*> selected = list->selectedItems();
    if (selected.isEmpty())
        return {};
    return selected.front()->data(kIdentifierRole).toString().toStdString();
}

std::string UnpluggedDeviceDialog::ask()
{
    // Whoever owns the dialog may delete it while its loop runs.
    QPointer<UnpluggedDeviceDialog> self(this);
    const int result = exec();
    if (!self || result != QDialog::Accepted)
        return {};
    return chosenDriver();
}

} // namespace Quillmark
