#include "base/optimaudio/kernelslot.h"

#include <cstdio>
#include <cstdlib>

namespace Quillmark
{

void kernelSlotAssert(const char* name)
{
    std::fprintf(stderr, "Assertion failed: %s\n", name);
    std::fflush(stderr);
    std::abort();
}

} // namespace Quillmark
