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
    // leaf 7 EBX bit 5, and only when the system saves the wide registers on a thread switch
    // (leaf 1 ECX bit 27 with XCR0 bits 1 and 2), or the upper halves would be lost
    bool avx2 = false;
};

/** The features of the processor the program runs on. */
CpuFeatures detectCpuFeatures();

} // namespace Quillmark
