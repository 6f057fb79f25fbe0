#include "rtcheck/stacksymbolizer.h"

#include <cxxabi.h>
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace Quillmark
{

namespace
{

std::string baseName(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool isSanitizerRuntime(const std::string& file)
{
    const std::string name = baseName(file);
    return name.rfind("libasan", 0) == 0 || name.rfind("libubsan", 0) == 0 ||
           name.rfind("libclang_rt", 0) == 0;
}

} // namespace

std::string StackSymbolizer::demangle(const std::string& name)
{
    int status = 0;
    char* readable = abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status);
    if (status != 0 || !readable)
        return name;
    std::string result = readable;
    std::free(readable);
    return result;
}

const ElfSymbols* StackSymbolizer::symbolsOf(const std::string& file)
{
    auto found = files.find(file);
    if (found == files.end())
    {
        auto symbols = std::make_unique<ElfSymbols>();
        if (!symbols->load(file))
            symbols.reset();
        found = files.emplace(file, std::move(symbols)).first;
    }
    return found->second.get();
}

std::vector<std::string> StackSymbolizer::describe(void* const* frames, int depth,
                                                   const std::string& caller, int limit)
{
    std::vector<std::string> lines;
    bool top = true;
    for (int i = 0; i < depth && int(lines.size()) < limit; ++i)
    {
        // A return address points behind its call; one byte back is inside it.
        const auto address = reinterpret_cast<uintptr_t>(frames[i]) - (i > 0 ? 1 : 0);
        Dl_info info{};
        const bool known = dladdr(reinterpret_cast<void*>(address), &info) != 0;
        const std::string file = known && info.dli_fname ? info.dli_fname : "";
        if (top && known && isSanitizerRuntime(file))
            continue;
        top = false;
        std::string name;
        if (known && info.dli_sname && info.dli_saddr)
        {
            // The dynamic symbol may be a neighbour of a hidden function; the full table knows.
            name = info.dli_sname;
        }
        if (known && info.dli_fbase)
            if (const ElfSymbols* symbols = symbolsOf(file))
            {
                std::string inside =
                    symbols->find(address - reinterpret_cast<uintptr_t>(info.dli_fbase));
                if (!inside.empty())
                    name = inside;
            }
        const std::string readable = name.empty() ? std::string() : demangle(name);
        if (!caller.empty() && readable.rfind(caller, 0) == 0)
            break;
        char where[64];
        std::snprintf(where, sizeof where, "0x%llx", static_cast<unsigned long long>(address));
        lines.push_back((readable.empty() ? std::string(where) : readable) + " (" +
                        (file.empty() ? std::string("unknown") : baseName(file)) + ")");
    }
    return lines;
}

} // namespace Quillmark
