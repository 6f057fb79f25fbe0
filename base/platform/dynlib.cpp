#include "base/platform/dynlib.h"

#include <atomic>
#include <dlfcn.h>

namespace Quillmark::platform
{

namespace
{
std::atomic<long> gLoadCount{0};
}

LibraryHandle loadLibrary(const std::string& path, std::string* error)
{
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
