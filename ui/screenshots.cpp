// Writes a picture of every window over the example plug-ins, as a person sees it, so that a
// change to a window can be looked at without clicking through the program: the main window,
// the information pages of Qel Gain and Qel Synth, and the test window after a run of Qel Gain's
// general tests with that group selected.
// Usage: qel_screenshots OUTPUT-FOLDER MODULE-FOLDER
#include "app/tapplication.h"
#include "base/platform/paths.h"
#include "ui/mainwindow.h"
#include "ui/qtuiservices.h"
#include "ui/unittestingwindow.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QPixmap>
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
    }
    ui.closeWindows();
    ui.setApplication(nullptr);
    application->release();
    return status;
}
