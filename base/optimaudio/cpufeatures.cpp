#include "base/optimaudio/cpufeatures.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace Quillmark
{

CpuFeatures detectCpuFeatures()
{
    CpuFeatures features;
#if defined(__x86_64__) || defined(__i386__)
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx))
    {
        features.sse = (edx >> 25) & 1;
        features.sse2 = (edx >> 26) & 1;
        features.sse3 = ecx & 1;
    }
#endif
    return features;
}

} // namespace Quillmark
