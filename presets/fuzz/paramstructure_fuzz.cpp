// Feeds bytes as a parameter structure file, through parsing, the build and its expressions.
#include "presets/paramstructure.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Quillmark::HostParamStructure structure;
    structure.load(data, size);
    return 0;
}
