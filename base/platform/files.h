// Facts about files and folders, and the walk over a folder, as the platform gives them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Quillmark::platform
{

struct FileInfo
{
    bool exists = false;
    bool isFolder = false;
    bool isFile = false;
    bool isLink = false;  // the entry itself is a symbolic link
    int64_t modified = 0; // nanoseconds since the epoch
    int64_t size = 0;
};

/** Facts about the entry, following links. A dangling link gives exists false, isLink true. */
FileInfo fileInfo(const std::string& path);
/** The names in a folder in the order the system lists them, without "." and "..". */
bool listFolder(const std::string& folder, std::vector<std::string>& names,
                std::string* error = nullptr);
/** The target of a link with every link resolved; empty when it does not resolve. */
std::string resolveLink(const std::string& path);
bool isReadable(const std::string& path);
bool makeFolders(const std::string& folder);

std::string joinPath(const std::string& folder, const std::string& name);
/** The last component of a path. */
std::string fileName(const std::string& path);
/** Everything before the last component, without a trailing separator. */
std::string folderOf(const std::string& path);
/** The file name without its last extension. */
std::string baseName(const std::string& path);
/** The last extension without the dot, or empty. */
std::string extensionOf(const std::string& path);

} // namespace Quillmark::platform
