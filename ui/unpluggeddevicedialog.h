// The question after an audio device went away (form "UnpluggedBaiosDeviceDialog"): the
// message naming the device and the known drivers; OK answers the chosen driver's identifier,
// Cancel answers nothing, so that the device waits without a driver until it comes back. A
// modal dialog made for one question and owned by whoever asks.
#pragma once

#include "ui/skinloader.h"

#include <QDialog>

#include <string>
#include <vector>

class QLabel;
class QListWidget;
class QPushButton;

namespace Quillmark
{

class UnpluggedDeviceDialog : public QDialog
{
    Q_OBJECT
public:
    static constexpr const char* kForm = "UnpluggedBaiosDeviceDialog";

    /** One line of the list: shown by its name, answered by its identifier. */
    struct Driver
    {
        std::string identifier;
        QString name;
    };

    /** Null, with `error` set, when the form cannot be loaded. `preselected` is the identifier
        chosen at first; with none of that identifier, the first driver. */
    static UnpluggedDeviceDialog* create(const QString& text, const std::vector<Driver>& drivers,
                                         const std::string& preselected, const SkinLoader& skins,
                                         QWidget* parent, QString* error = nullptr);

    /** Shows the dialog modally; the identifier chosen with OK, or empty. */
    std::string ask();
    /** The identifier of the selected line, or empty. */
    std::string chosenDriver() const;

    QLabel* getMessage() const { return message; }
    QListWidget* getList() const { return list; }

private:
    explicit UnpluggedDeviceDialog(QWidget* parent);
    bool build(const QString& text, const std::vector<Driver>& drivers,
               const std::string& preselected, const SkinLoader& skins, QString* error);

    QLabel* message = nullptr;
    QListWidget* list = nullptr;
    QPushButton* ok = nullptr;
};

} // namespace Quillmark
