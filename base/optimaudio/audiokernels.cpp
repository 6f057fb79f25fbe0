#include "base/optimaudio/audiokernels.h"

#include "base/optimaudio/intfloatconverter.h"
#include "base/optimaudio/optaudioprimitives.h"

namespace Quillmark
{

namespace
{

// Stateless tables, so static objects shared by every installation are enough; they never
// need to be released.
const OptAudioprimitivesGeneric& genericPrimitives()
{
    static const OptAudioprimitivesGeneric table;
    return table;
}

} // namespace

void installAudioKernels(KernelChoice choice, const CpuFeatures& features)
{
    static const OptAudioprimitivesPIII piii(genericPrimitives());
    static const OptAudioprimitivesPrescott prescott(genericPrimitives());
    const OptAudioprimitives* primitives = &genericPrimitives();
    if (choice == KernelChoice::kByProcessor)
    {
        if (features.sse3)
            primitives = &prescott;
        else if (features.sse)
            primitives = &piii;
    }
    sAudioPrimitives.set(primitives);

    static const IntFloatConverterGeneric genericConverter;
    static const IntFloatConverterPIII piiiConverter(genericConverter);
    static const IntFloatConverterPIV pivConverter(genericConverter);
    static const IntFloatConverterAVX2 avx2Converter(genericConverter);
    const IntFloatConverter* converter = &genericConverter;
    if (choice == KernelChoice::kByProcessor)
    {
        if (features.avx2 && features.sse2)
            converter = &avx2Converter;
        else if (features.sse2)
            converter = &pivConverter;
        else if (features.sse)
            converter = &piiiConverter;
    }
    sIntFloatConverter.set(converter);
}

void installAudioKernels(KernelChoice choice)
{
    installAudioKernels(choice, detectCpuFeatures());
}

} // namespace Quillmark
