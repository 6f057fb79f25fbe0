// Symbol tables read from module files that anyone may have built or damaged.
#include "rtcheck/elfsymbols.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Quillmark::ElfSymbols symbols;
    if (symbols.parse(data, size))
        for (uint64_t offset : {uint64_t(0), uint64_t(0x1000), uint64_t(size), ~uint64_t(0)})
            (void)symbols.find(offset);
    return 0;
}
