// Helpers for tests that work on real files: a temporary folder that removes itself, copies of
// fixture modules, and a user data folder of the test's own.
#pragma once

#include "base/platform/paths.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace Quillmark::testing
{

class TempFolder
{
public:
    TempFolder()
    {
        std::string pattern = platform::temporaryFolder() + "/qel-test-XXXXXX";
        path = mkdtemp(pattern.data());
    }
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::permissions(path, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
        std::filesystem::remove_all(path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    /** A sub-folder, created when missing. */
    std::string folder(const std::string& name) const
    {
        std::filesystem::path sub = path / name;
        std::filesystem::create_directories(sub);
        return sub.string();
    }
    std::string file(const std::string& name) const { return (path / name).string(); }
    const std::filesystem::path& root() const { return path; }

private:
    std::filesystem::path path;
};

/** Where the fixture modules and the example modules of the build are. */
inline std::string fixture(const std::string& name)
{
    return std::string(QEL_FIXTURE_DIR) + "/" + name;
}
inline std::string exampleModule(const std::string& name)
{
    return std::string(QEL_MODULE_DIR) + "/" + name;
}

/** Copies a file or a whole package folder into `folder`, under `name` when given. */
inline std::string copyInto(const std::string& source, const std::string& folder,
                            const std::string& name = {})
{
    namespace fs = std::filesystem;
    fs::path target =
        fs::path(folder) / (name.empty() ? fs::path(source).filename().string() : name);
    fs::copy(source, target, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    return target.string();
}

inline void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

inline std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/** Points the default user data folder into a temporary folder for the life of the object,
    the way a user moves it: through XDG_CONFIG_HOME. */
class UserDataFolder
{
public:
    explicit UserDataFolder(const TempFolder& temp)
    {
        const char* saved = std::getenv("XDG_CONFIG_HOME");
        hadSaved = saved != nullptr;
        previous = saved ? saved : "";
        setenv("XDG_CONFIG_HOME", temp.folder("config").c_str(), 1);
        path = platform::userDataFolder();
        std::filesystem::create_directories(path);
    }
    ~UserDataFolder()
    {
        if (hadSaved)
            setenv("XDG_CONFIG_HOME", previous.c_str(), 1);
        else
            unsetenv("XDG_CONFIG_HOME");
    }
    const std::string& get() const { return path; }

private:
    std::string path;
    std::string previous;
    bool hadSaved = false;
};

} // namespace Quillmark::testing
