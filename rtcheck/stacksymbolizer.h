// Turns the return addresses of a watched call into lines a developer reads: the function,
// demangled, and the file it lives in. Names come from the dynamic symbols first, then from the
// file's full symbol table, which names the hidden functions of a module too. Frames of a
// sanitizer runtime at the top of a stack are left out. Used on the main thread after a render;
// keeps the symbol tables it has read.
#pragma once

#include "rtcheck/elfsymbols.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Quillmark
{

class StackSymbolizer
{
public:
    /** One line per frame, "function (file)", from the first frame outside a sanitizer
        runtime, down to the frame of the function named `caller` (left
        out), at most `limit` lines. */
    std::vector<std::string> describe(void* const* frames, int depth, const std::string& caller,
                                      int limit = 24);

    /** The readable form of a mangled C++ name; the name itself when it is none. */
    static std::string demangle(const std::string& name);

private:
    const ElfSymbols* symbolsOf(const std::string& file);
    std::map<std::string, std::unique_ptr<ElfSymbols>> files;
};

} // namespace Quillmark
