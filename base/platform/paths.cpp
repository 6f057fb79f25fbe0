#include "base/platform/paths.h"

#include "base/platform/files.h"

#include <climits>
#include <cstdlib>
#include <mutex>
#include <pwd.h>
#include <unistd.h>

namespace Quillmark::platform
{

namespace
{

std::string homeFolder()
{
    if (const char* home = std::getenv("HOME"); home && *home)
        return home;
    if (passwd* entry = getpwuid(getuid()); entry && entry->pw_dir)
        return entry->pw_dir;
    return "/tmp";
}

} // namespace

std::string executablePath()
{
    char buffer[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
    if (length <= 0)
        return {};
    buffer[length] = 0;
    return buffer;
}

std::string executableFolder()
{
    return folderOf(executablePath());
}

std::string userDataFolder()
{
    const char* config = std::getenv("XDG_CONFIG_HOME");
    std::string base = config && *config ? config : joinPath(homeFolder(), ".config");
    return joinPath(base, "Qel3PluginTestHost");
}

std::string temporaryFolder()
{
    const char* tmp = std::getenv("TMPDIR");
    return tmp && *tmp ? tmp : "/tmp";
}

std::vector<std::string> systemModuleFolders()
{
    std::vector<std::string> folders;
    if (const char* list = std::getenv("QEL3_PATH"))
    {
        std::string entries = list;
        size_t start = 0;
        while (start <= entries.size())
        {
            size_t colon = entries.find(':', start);
            std::string entry = entries.substr(start, colon - start);
            if (!entry.empty())
                folders.push_back(entry);
            if (colon == std::string::npos)
                break;
            start = colon + 1;
        }
    }
    folders.push_back(joinPath(homeFolder(), ".qel3"));
    folders.push_back("/usr/local/lib/qel3");
    folders.push_back("/usr/lib/qel3");
    return folders;
}

std::string programModuleFolder()
{
    return joinPath(executableFolder(), "QEL3");
}

std::string programComponentsFolder()
{
    return joinPath(executableFolder(), "Components");
}

} // namespace Quillmark::platform
