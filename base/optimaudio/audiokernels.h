// Installs the global kernel tables once at start-up: the fastest implementation the processor
// supports, or the generic ones when forced (to compare results or to rule out a fast path
// when hunting a fault). The tables live for the rest of the process.
#pragma once

#include "base/optimaudio/cpufeatures.h"

namespace Quillmark
{

enum class KernelChoice
{
    kByProcessor,
    kGeneric,
};

/** Fills sAudioPrimitives (and the integer/float kernels). Calling it again re-selects; that is
    only safe while no audio runs. */
void installAudioKernels(KernelChoice choice = KernelChoice::kByProcessor);
/** The same choice made for a given set of features; used by the installer and its tests. */
void installAudioKernels(KernelChoice choice, const CpuFeatures& features);

} // namespace Quillmark
