#include "app/hostsession.h"

#include "base/fdefaults.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "hosting/fcomponentregistry.h"

#include <ostream>
#include <unistd.h>

namespace Quillmark
{

HostSession::HostSession(std::ostream& err, bool verbose)
    : err(err), verbose(verbose), progress(isatty(STDOUT_FILENO) && isatty(STDERR_FILENO))
{
    std::string folder = platform::userDataFolder();
    preferences = new FDefaultPool(platform::joinPath(folder, "Defaults"));
    std::string problem;
    if (!preferences->load(&problem))
        err << "Qel3PluginTestHost: " << problem << "\n";

    registry = new FComponentRegistry;
    registry->setPreferences(preferences);
    registry->setScanListener([this](const ScanEvent& event) { onScanEvent(event); });
    registry->setBootTextHandler([this](const std::string& text) { showProgress(text); });
}

HostSession::~HostSession()
{
    registry->close();
    registry->release();
    std::string problem;
    if (!preferences->save(&problem))
        err << "Qel3PluginTestHost: " << problem << "\n";
    preferences->release();
}

std::vector<std::string> HostSession::defaultFolders()
{
    std::vector<std::string> folders = platform::systemModuleFolders();
    folders.push_back(platform::programModuleFolder());
    return folders;
}

int HostSession::scan(const std::vector<std::string>& folders)
{
    int found = 0;
    if (folders.empty())
    {
        for (const std::string& folder : defaultFolders())
            found += registry->scanFolder(folder);
        if (FDefaults* location = preferences->lookup("Location", 1, false))
            if (location->getInt("Use Shared Components", 0) != 0)
                found += registry->scanSharedComponents();
        found += registry->scanComponentsFolder();
    }
    else
    {
        for (const std::string& folder : folders)
        {
            if (!platform::fileInfo(folder).isFolder)
            {
                err << "Qel3PluginTestHost: not a folder: " << folder << "\n";
                continue;
            }
            // Absolute paths, so the cache recognises a module whatever the working folder.
            std::string absolute = platform::resolveLink(folder);
            found += registry->scanFolder(absolute.empty() ? folder : absolute);
        }
    }
    showProgress({});
    return found;
}

void HostSession::showProgress(const std::string& text)
{
    if (!progress)
        return;
    // One line that rewrites itself; cleared when the scan ends.
    err << "\r\033[K";
    if (!text.empty())
        err << "Scanning " << text.substr(0, 100);
    err.flush();
    progressShown = !text.empty();
}

void HostSession::onScanEvent(const ScanEvent& event)
{
    if (event.kind == ScanEvent::kCacheProblem)
    {
        showProgress({});
        err << "Qel3PluginTestHost: " << event.path << ": " << event.detail << "\n";
        return;
    }
    if (!verbose)
        return;
    showProgress({});
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
