#include "base/platform/files.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Quillmark::platform
{

FileInfo fileInfo(const std::string& path)
{
    FileInfo info;
    struct stat st;
    if (lstat(path.c_str(), &st) != 0)
        return info;
    info.isLink = S_ISLNK(st.st_mode);
    if (info.isLink && stat(path.c_str(), &st) != 0)
        return info;
    info.exists = true;
    info.isFolder = S_ISDIR(st.st_mode);
    info.isFile = S_ISREG(st.st_mode);
    info.modified = int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    info.size = int64_t(st.st_size);
    return info;
}

bool listFolder(const std::string& folder, std::vector<std::string>& names, std::string* error)
{
    DIR* dir = opendir(folder.c_str());
    if (!dir)
    {
        if (error)
            *error = std::strerror(errno);
        return false;
    }
    while (dirent* entry = readdir(dir))
    {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        names.emplace_back(entry->d_name);
    }
    closedir(dir);
    return true;
}

std::string resolveLink(const std::string& path)
{
    char resolved[PATH_MAX];
    if (!realpath(path.c_str(), resolved))
        return {};
    return resolved;
}

bool isReadable(const std::string& path)
{
    return access(path.c_str(), R_OK) == 0;
}

bool makeFolders(const std::string& folder)
{
    if (folder.empty())
        return false;
    std::string partial;
    size_t pos = 0;
    while (pos != std::string::npos)
    {
        pos = folder.find('/', pos + 1);
        partial = folder.substr(0, pos);
        if (mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST)
            return false;
    }
    return fileInfo(folder).isFolder;
}

std::string joinPath(const std::string& folder, const std::string& name)
{
    if (folder.empty())
        return name;
    if (folder.back() == '/')
        return folder + name;
    return folder + "/" + name;
}

std::string fileName(const std::string& path)
{
    std::string trimmed = path;
    while (trimmed.size() > 1 && trimmed.back() == '/')
        trimmed.pop_back();
    size_t slash = trimmed.rfind('/');
    return slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
}

std::string folderOf(const std::string& path)
{
    std::string trimmed = path;
    while (trimmed.size() > 1 && trimmed.back() == '/')
        trimmed.pop_back();
    size_t slash = trimmed.rfind('/');
    if (slash == std::string::npos)
        return {};
    return slash == 0 ? "/" : trimmed.substr(0, slash);
}

std::string baseName(const std::string& path)
{
    std::string name = fileName(path);
    size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string extensionOf(const std::string& path)
{
    std::string name = fileName(path);
    size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? std::string() : name.substr(dot + 1);
}

} // namespace Quillmark::platform
