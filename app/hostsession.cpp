#include "app/hostsession.h"

#include "app/consoleuiservices.h"
#include "app/tapplication.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"

#include <ostream>
#include <unistd.h>

namespace Quillmark
{

HostSession::HostSession(std::ostream& err, bool verbose, const std::string& dataFolder)
    : err(err), verbose(verbose)
{
    // Progress only on a terminal, so that redirected output stays clean.
    bool progress = isatty(STDOUT_FILENO) && isatty(STDERR_FILENO);
    ui = std::make_unique<ConsoleUIServices>(err, progress
                                                      ? ConsoleUIServices::BootText::kProgressLine
                                                      : ConsoleUIServices::BootText::kSilent);
    TApplication::StartupRecord record;
    record.name = TApplication::displayNameFor(platform::executablePath());
    record.dataFolder = dataFolder;
    application = new TApplication(record, *ui);
    if (!application->initialize())
    {
        err << "Qel3PluginTestHost: the user data folder " << application->getDataFolder()
            << " cannot be made\n";
        return;
    }
    application->initPreferences();
    application->getRegistry().setScanListener([this](const ScanEvent& event)
                                               { onScanEvent(event); });
}

const std::string& HostSession::getDataFolder() const
{
    return application->getDataFolder();
}

std::string HostSession::logPath(const std::string& logFile) const
{
    return logFile.empty() ? platform::joinPath(getDataFolder(), "AutotestLog.txt") : logFile;
}

HostSession::~HostSession()
{
    application->release();
    ui.reset();
}

FComponentRegistry& HostSession::getRegistry()
{
    return application->getRegistry();
}

FDefaultPool& HostSession::getPreferences()
{
    return application->getPreferences();
}

std::vector<std::string> HostSession::defaultFolders()
{
    return TApplication::defaultScanFolders();
}

FComponentDescription* HostSession::scanForClass(const std::vector<std::string>& folders,
                                                 const std::string& nameOrCid)
{
    scan(folders);
    FComponentDescription* description = findAudioModuleClass(getRegistry(), nameOrCid);
    if (!description)
        err << noClassFoundText(nameOrCid);
    return description;
}

int HostSession::scan(const std::vector<std::string>& folders)
{
    if (application->isQuitRequested())
        return 0;
    int found = 0;
    if (folders.empty())
        found = application->initScan(nullptr);
    else
    {
        std::vector<std::string> existing;
        for (const std::string& folder : folders)
        {
            if (!platform::fileInfo(folder).isFolder)
            {
                err << "Qel3PluginTestHost: not a folder: " << folder << "\n";
                continue;
            }
            // Absolute paths, so the cache recognises a module whatever the working folder.
            std::string absolute = platform::resolveLink(folder);
            existing.push_back(absolute.empty() ? folder : absolute);
        }
        found = application->initScan(&existing);
    }
    application->initFinish();
    return found;
}

void HostSession::onScanEvent(const ScanEvent& event)
{
    if (event.kind == ScanEvent::kCacheProblem)
    {
        ui->showMessage(event.path + ": " + event.detail);
        return;
    }
    if (!verbose)
        return;
    ui->setBootText({});
    switch (event.kind)
    {
    case ScanEvent::kFromCache:
        err << "cached   " << event.path;
        if (!event.detail.empty())
            err << " (" << event.detail << ")";
        err << "\n";
        break;
    case ScanEvent::kLoaded:
        err << "loaded   " << event.path << "\n";
        break;
    case ScanEvent::kSkipped:
        err << "skipped  " << event.path << ": " << event.detail << "\n";
        break;
    case ScanEvent::kCacheProblem:
        break;
    }
}

} // namespace Quillmark
