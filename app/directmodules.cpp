#include "app/directmodules.h"

#include "base/platform/paths.h"
#include "hosting/fmodulemanager.h"

#include <cstdlib>
#include <filesystem>

namespace Quillmark
{

DirectModules::~DirectModules()
{
    if (!folder.empty())
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
}

bool DirectModules::sort(const std::vector<std::string>& entries, std::vector<std::string>& folders,
                         std::string& problem)
{
    namespace fs = std::filesystem;
    for (const std::string& entry : entries)
    {
        std::error_code error;
        fs::path absolute = fs::absolute(entry, error);
        if (error || !fs::exists(absolute, error))
        {
            problem = "no such module or folder: " + entry;
            return false;
        }
        if (!FModuleManager::isModule(absolute.string()))
        {
            folders.push_back(entry);
            continue;
        }
        if (folder.empty())
        {
            std::string pattern = platform::temporaryFolder() + "/qel-test-modules-XXXXXX";
            if (!mkdtemp(pattern.data()))
            {
                problem = "cannot make a temporary folder";
                return false;
            }
            folder = pattern;
            folders.push_back(folder);
        }
        fs::create_symlink(absolute, fs::path(folder) / absolute.filename(), error);
        if (error)
        {
            problem = "cannot link " + entry + ": " + error.message();
            return false;
        }
    }
    return true;
}

} // namespace Quillmark
