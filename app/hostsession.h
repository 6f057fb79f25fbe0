// What every command-line job needs first: the application started in its fixed order (the
// preference store with safe-start, a registry with the folders scanned in the program's order)
// and, at the end, its quit order with the preferences saved last. Owned by the job.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace Quillmark
{

class ConsoleUIServices;
class FComponentDescription;
class FComponentRegistry;
class FDefaultPool;
class TApplication;
struct ScanEvent;

class HostSession
{
public:
    /** `verbose` sends what the scan saw, and problems with saved files, to `err`.
        `dataFolder` holds the preferences, the module cache and the test settings; empty for
        the user data folder. */
    HostSession(std::ostream& err, bool verbose, const std::string& dataFolder = {});
    ~HostSession();
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    /** Scans the folders given, or the default folders in order when none are. The first scan
        also finishes the application's start-up. */
    int scan(const std::vector<std::string>& folders);

    /** scan(), then the audio module class named `nameOrCid` (either form of its identifier);
        null, with the words said on the session's error stream, when there is none. */
    FComponentDescription* scanForClass(const std::vector<std::string>& folders,
                                        const std::string& nameOrCid);

    FComponentRegistry& getRegistry();
    FDefaultPool& getPreferences();
    TApplication& getApplication() { return *application; }
    /** The folder of the user's data for this run. */
    const std::string& getDataFolder() const;
    /** The test log: `logFile`, or "AutotestLog.txt" in the data folder when it is empty. */
    std::string logPath(const std::string& logFile) const;
    /** For answers given up front, e.g. from command-line options. */
    ConsoleUIServices& getUIServices() { return *ui; }

    /** The folders scanned when none are given, in order. */
    static std::vector<std::string> defaultFolders();

private:
    void onScanEvent(const ScanEvent& event);

    std::ostream& err;
    bool verbose;
    std::unique_ptr<ConsoleUIServices> ui;
    TApplication* application = nullptr;
};

} // namespace Quillmark
