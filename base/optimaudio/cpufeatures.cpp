#include "base/optimaudio/cpufeatures.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace Quillmark
{

#if defined(__x86_64__) || defined(__i386__)
namespace
{

unsigned long long readXcr0()
{
    unsigned int low = 0, high = 0;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (static_cast<unsigned long long>(high) << 32) | low;
}

} // namespace
#endif

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
        const bool osSavesWideRegisters = (ecx >> 27) & 1;
        if (osSavesWideRegisters && (readXcr0() & 6) == 6 && __get_cpuid_max(0, nullptr) >= 7)
        {
            __cpuid_count(7, 0, eax, ebx, ecx, edx);
            features.avx2 = (ebx >> 5) & 1;
        }
    }
#endif
    return features;
}

} // namespace Quillmark
