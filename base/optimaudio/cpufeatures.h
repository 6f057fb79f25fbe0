// The processor features that decide which sample kernels run. Read once from CPUID leaf 1;
// on a processor without CPUID every feature reads as absent, so the generic kernels run.
#pragma once

namespace Quillmark
{

struct CpuFeatures
{
    bool sse = false;  // leaf 1, EDX bit 25
    bool sse2 = false; // leaf 1, EDX bit 26
    bool sse3 = false; // leaf 1, ECX bit 0
};

/** The features of the processor the program runs on. */
CpuFeatures detectCpuFeatures();

} // namespace Quillmark
