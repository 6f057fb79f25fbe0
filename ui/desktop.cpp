#include "ui/desktop.h"

#include "app/commandline.h"
#include "app/tapplication.h"
#include "base/platform/paths.h"
#include "ui/qtuiservices.h"

#include <QApplication>

namespace Quillmark
{

int runDesktop(int argc, char* argv[], const CommandLine& commandLine)
{
    QApplication qt(argc, argv);
    QApplication::setApplicationName("Qel3PluginTestHost");
    QtUIServices ui{SkinLoader()};

    TApplication::StartupRecord record;
    record.name = TApplication::displayNameFor(platform::executablePath());
    record.dataFolder = commandLine.configFolder;
    auto* application = new TApplication(record, ui);
    ui.setApplication(application);
    if (!application->initialize())
    {
        application->release();
        return kExitFailure;
    }
    // The windows' own commands, so that menus and key commands reach them like any other.
    ui.addWindowCommands();
    application->run();
    const bool failed = ui.getMainWindow() == nullptr && !application->isPlatformQuit();
    // The windows go before the application that their controllers stand on.
    ui.closeWindows();
    ui.setApplication(nullptr);
    application->release();
    return failed ? kExitFailure : kExitOk;
}

} // namespace Quillmark
