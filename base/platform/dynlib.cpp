#include "base/platform/dynlib.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Quillmark::platform
{

namespace
{
std::atomic<long> gLoadCount{0};

bool readAt(int fd, void* buffer, size_t size, off_t offset)
{
    return pread(fd, buffer, size, offset) == ssize_t(size);
}

bool within(uint64_t offset, uint64_t length, uint64_t fileSize)
{
    return offset <= fileSize && length <= fileSize - offset;
}

} // namespace

bool checkLibraryFile(const std::string& path, std::string* error)
{
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
    {
        if (error)
            *error = "the file cannot be opened";
        return false;
    }
    struct stat st;
    Elf64_Ehdr header;
    bool ok = fstat(fd, &st) == 0 && readAt(fd, &header, sizeof(header), 0);
    uint64_t size = ok ? uint64_t(st.st_size) : 0;
    const char* reason = nullptr;
    if (!ok || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0)
        reason = "not an ELF file";
    else if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_machine != EM_X86_64)
        reason = "built for another machine";
    else if (header.e_type != ET_DYN)
        reason = "not a shared library";
    else if (header.e_phentsize != sizeof(Elf64_Phdr) ||
             !within(header.e_phoff, uint64_t(header.e_phnum) * sizeof(Elf64_Phdr), size) ||
             (header.e_shoff &&
              !within(header.e_shoff, uint64_t(header.e_shnum) * header.e_shentsize, size)))
        reason = "the library file is truncated";
    else
    {
        // Every segment the loader maps must lie in the file: mapping past its end would fault
        // on first touch instead of failing the load.
        for (int i = 0; i < header.e_phnum && !reason; ++i)
        {
            Elf64_Phdr segment;
            if (!readAt(fd, &segment, sizeof(segment),
                        off_t(header.e_phoff + uint64_t(i) * sizeof(Elf64_Phdr))) ||
                ((segment.p_type == PT_LOAD || segment.p_type == PT_DYNAMIC) &&
                 !within(segment.p_offset, segment.p_filesz, size)))
                reason = "the library file is truncated";
        }
    }
    close(fd);
    if (reason && error)
        *error = reason;
    return !reason;
}

LibraryHandle loadLibrary(const std::string& path, std::string* error)
{
    if (!checkLibraryFile(path, error))
        return nullptr;
    dlerror();
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle)
    {
        if (error)
        {
            const char* text = dlerror();
            *error = text ? text : "the library could not be loaded";
        }
        return nullptr;
    }
    gLoadCount.fetch_add(1);
    return handle;
}

void* findSymbol(LibraryHandle library, const char* name)
{
    return library ? dlsym(library, name) : nullptr;
}

void freeLibrary(LibraryHandle library)
{
    if (library)
        dlclose(library);
}

long loadedLibraryCount()
{
    return gLoadCount.load();
}

} // namespace Quillmark::platform
