#include "base/platform/atomicfile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace Quillmark::platform
{

namespace
{

bool fail(std::string* error, const std::string& what, const std::string& path, int code)
{
    if (error)
        *error = what + " \"" + path + "\": " + std::strerror(code);
    return false;
}

std::string folderOf(const std::string& path)
{
    size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

/** Creates the folder and every missing folder above it. */
bool makeFolders(const std::string& folder, int& code)
{
    struct stat info;
    if (::stat(folder.c_str(), &info) == 0)
    {
        code = S_ISDIR(info.st_mode) ? 0 : ENOTDIR;
        return code == 0;
    }
    size_t slash = folder.find_last_of('/');
    if (slash != std::string::npos && slash > 0 && !makeFolders(folder.substr(0, slash), code))
        return false;
    if (::mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST)
    {
        code = errno;
        return false;
    }
    return true;
}

/** A name beside `base` that nothing else is likely to pick at the same moment. */
std::string temporaryName(const std::string& base)
{
    std::random_device random;
    char suffix[48];
    std::snprintf(suffix, sizeof(suffix), ".tmp-%d-%08x", int(::getpid()), unsigned(random()));
    return base + suffix;
}

/** Opens a new file beside `base` for writing; -1 with `code` set on failure. */
int createTemporary(const std::string& base, std::string& name, mode_t mode, int& code)
{
    for (int attempt = 0; attempt < 100; ++attempt)
    {
        name = temporaryName(base);
        int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (fd >= 0)
            return fd;
        if (errno != EEXIST)
            break;
    }
    code = errno;
    return -1;
}

bool writeAll(int fd, const void* data, size_t size, int& code)
{
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0)
    {
        ssize_t n = ::write(fd, bytes, size);
        if (n < 0)
        {
            if (errno == EINTR)
                continue;
            code = errno;
            return false;
        }
        bytes += n;
        size -= size_t(n);
    }
    return true;
}

/** Writes, forces to disk and closes; the file is removed again on failure. */
bool finishFile(int fd, const std::string& name, const void* data, size_t size, int& code)
{
    bool ok = writeAll(fd, data, size, code);
    if (ok && ::fsync(fd) != 0)
    {
        code = errno;
        ok = false;
    }
    if (::close(fd) != 0 && ok)
    {
        code = errno;
        ok = false;
    }
    if (!ok)
        ::unlink(name.c_str());
    return ok;
}

/** A second name for the file at `path`: a hard link, or a copy where links are not
    possible. */
bool duplicate(const std::string& path, const std::string& name, int& code)
{
    if (::link(path.c_str(), name.c_str()) == 0)
        return true;
    int in = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0)
    {
        code = errno;
        return false;
    }
    std::string content;
    char buffer[16384];
    for (;;)
    {
        ssize_t n = ::read(in, buffer, sizeof(buffer));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
        {
            code = errno;
            ::close(in);
            return false;
        }
        if (n == 0)
            break;
        content.append(buffer, size_t(n));
    }
    ::close(in);
    int out = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (out < 0)
    {
        code = errno;
        return false;
    }
    return finishFile(out, name, content.data(), content.size(), code);
}

void syncFolder(const std::string& folder)
{
    // Makes the renames themselves durable; a file system that cannot do this is no reason
    // to fail, the content is on disk already.
    int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0)
    {
        ::fsync(fd);
        ::close(fd);
    }
}

} // namespace

bool writeFileAtomically(const std::string& path, const void* data, size_t size, std::string* error,
                         const std::string& keepPreviousAs)
{
    if (path.empty() || (!data && size > 0))
        return fail(error, "cannot write", path, EINVAL);
    const std::string folder = folderOf(path);
    int code = 0;
    if (!makeFolders(folder, code))
        return fail(error, "cannot create the folder", folder, code);

    struct stat previous;
    bool hasPrevious = ::stat(path.c_str(), &previous) == 0;
    if (hasPrevious && S_ISDIR(previous.st_mode))
        return fail(error, "cannot replace", path, EISDIR);
    // The new file keeps the permissions of the one it replaces.
    mode_t mode = hasPrevious ? (previous.st_mode & 07777) : 0666;

    std::string temporary;
    int fd = createTemporary(path, temporary, mode, code);
    if (fd < 0)
        return fail(error, "cannot create a temporary file beside", path, code);
    if (hasPrevious)
        ::fchmod(fd, mode); // open() applied the umask
    if (!finishFile(fd, temporary, data, size, code))
        return fail(error, "cannot write", temporary, code);

    if (!keepPreviousAs.empty() && keepPreviousAs != path && hasPrevious &&
        S_ISREG(previous.st_mode))
    {
        std::string keep = temporaryName(keepPreviousAs);
        if (!duplicate(path, keep, code))
        {
            ::unlink(temporary.c_str());
            return fail(error, "cannot keep the previous file as", keepPreviousAs, code);
        }
        if (::rename(keep.c_str(), keepPreviousAs.c_str()) != 0)
        {
            code = errno;
            ::unlink(keep.c_str());
            ::unlink(temporary.c_str());
            return fail(error, "cannot keep the previous file as", keepPreviousAs, code);
        }
    }

    if (::rename(temporary.c_str(), path.c_str()) != 0)
    {
        code = errno;
        ::unlink(temporary.c_str());
        return fail(error, "cannot replace", path, code);
    }
    syncFolder(folder);
    return true;
}

} // namespace Quillmark::platform
