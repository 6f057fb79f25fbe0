// Writes a picture of every window over the example plug-ins, as a person sees it, so that a
// change to a window can be looked at without clicking through the program: the main window and
// its File menu, the information pages of Qel Gain and Qel Synth, the test window after a run of
// Qel Gain's general tests with that group selected, the editor windows of Qel Gain and Qel
// Synth, the preset editor over a preset saved from Qel Gain, the preferences and the key
// commands.
// Usage: qel_screenshots OUTPUT-FOLDER MODULE-FOLDER
#include "app/tapplication.h"
#include "base/platform/paths.h"
#include "ui/mainwindow.h"
#include "ui/pluginwindow.h"
#include "ui/preseteditorwindow.h"
#include "ui/qtuiservices.h"
#include "ui/unittestingwindow.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPixmap>
#include <QTabWidget>
#include <QTest>

#include <cstdio>

using namespace Quillmark;

namespace
{

bool save(QWidget& window, const QString& folder, const QString& name)
{
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        return false;
    QTest::qWait(200);
    const QString path = QDir(folder).filePath(name + ".png");
    if (!window.grab().save(path))
        return false;
    std::printf("%s\n", path.toStdString().c_str());
    return true;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: qel_screenshots OUTPUT-FOLDER MODULE-FOLDER\n");
        return 2;
    }
    QApplication qt(argc, argv);
    const QString output = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(output);
    QtUIServices ui{SkinLoader()};
    TApplication::StartupRecord record;
    record.name = "Qel3PluginTestHost Standalone";
    record.dataFolder = QDir(output).filePath("config").toStdString();
    auto* application = new TApplication(record, ui);
    ui.setApplication(application);
    int status = 1;
    if (application->initialize())
    {
        application->initPreferences();
        const std::vector<std::string> folders{argv[2]};
        application->initScan(&folders);
        application->initFinish();
        ui.addWindowCommands();
        ui.setMenuBar(application->createMenuBar());
        ui.openMainWindow();
        status = 0;
        if (!ui.getMainWindow() || !save(*ui.getMainWindow(), output, "main-window"))
            status = 1;
        for (const char* name : {"Qel Gain", "Qel Synth"})
        {
            QWidget* info =
                ui.getMainWindow() ? ui.getMainWindow()->showInformation(name) : nullptr;
            const QString file = QString("info-") + QString(name).replace(' ', '-').toLower();
            if (!info || !save(*info, output, file))
                status = 1;
            delete info;
        }
        auto* tests = qobject_cast<UnitTestingWindow*>(ui.openTestWindow());
        const std::string group =
            "Global Instance/Qel Gain/Global Instance/QEL3 Conformity/General";
        if (tests && tests->selectPath(group))
        {
            if (auto* run = tests->findChild<QAbstractButton*>("runSelected"))
                run->click();
            tests->selectPath(group);
            if (!save(*tests, output, "test-window"))
                status = 1;
        }
        else
            status = 1;

        // The File menu, opened as a person opens it, with its keys and disabled items.
        MainWindow* main = ui.getMainWindow();
        QMenu* file = nullptr;
        if (main)
            for (QAction* menu : main->menuBar()->actions())
                if (menu->text() == "File")
                    file = menu->menu();
        if (file)
        {
            file->popup(main->mapToGlobal(QPoint(10, 10)));
            QTest::qWait(200);
            const QString path = QDir(output).filePath("menu-file.png");
            if (file->grab().save(path))
                std::printf("%s\n", path.toStdString().c_str());
            else
                status = 1;
            file->hide();
        }
        else
            status = 1;

        PluginWindow* gain = nullptr;
        for (const char* name : {"Qel Gain", "Qel Synth"})
        {
            PluginWindow* editor = main ? main->editClass(name) : nullptr;
            const QString picture =
                QString("plugin-window-") + QString(name).replace(' ', '-').toLower();
            if (!editor || !save(*editor, output, picture))
                status = 1;
            if (editor && QString(name) == "Qel Gain")
                gain = editor;
        }
        // The preset editor over a preset of Qel Gain saved a moment ago.
        auto* presets =
            gain ? qobject_cast<PresetEditorWindow*>(ui.openPresetEditor(gain)) : nullptr;
        const QString preset = QDir(output).filePath("config/Qel Gain.qelpreset");
        if (!presets || !presets->saveTo(preset) || !save(*presets, output, "preset-editor"))
            status = 1;
        QWidget* preferences = ui.openPreferences();
        if (!preferences || !save(*preferences, output, "preferences"))
            status = 1;
        if (auto* tabs = preferences ? preferences->findChild<QTabWidget*>("pages") : nullptr)
        {
            tabs->setCurrentIndex(2);
            if (!save(*preferences, output, "preferences-location"))
                status = 1;
        }
        QWidget* keys = ui.openKeyCommands();
        if (!keys || !save(*keys, output, "key-commands"))
            status = 1;
    }
    ui.closeWindows();
    ui.setApplication(nullptr);
    application->release();
    return status;
}
