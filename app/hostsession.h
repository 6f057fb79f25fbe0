// What every command-line job needs first: the preference store loaded, a registry with the
// folders scanned in the program's order, and a clean save at the end. Owned by the job.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace Quillmark
{

class FComponentRegistry;
class FDefaultPool;
struct ScanEvent;

class HostSession
{
public:
    /** `verbose` sends what the scan saw, and problems with saved files, to `err`. */
    HostSession(std::ostream& err, bool verbose);
    ~HostSession();
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    /** Scans the folders given, or the default folders in order when none are. */
    int scan(const std::vector<std::string>& folders);

    FComponentRegistry& getRegistry() { return *registry; }
    FDefaultPool& getPreferences() { return *preferences; }

    /** The folders scanned when none are given, in order. */
    static std::vector<std::string> defaultFolders();

private:
    void onScanEvent(const ScanEvent& event);
    void showProgress(const std::string& text);

    std::ostream& err;
    bool verbose;
    bool progress;
    bool progressShown = false;
    FDefaultPool* preferences;
    FComponentRegistry* registry;
};

} // namespace Quillmark
