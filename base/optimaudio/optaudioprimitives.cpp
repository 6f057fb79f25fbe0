#include "base/optimaudio/optaudioprimitives.h"

#include <cstring>

namespace Quillmark
{

KernelSlot<OptAudioprimitives> sAudioPrimitives("sAudioPrimitives");

void OptAudioprimitivesGeneric::clear(int32 numSamples, float* destination) const
{
    for (int32 i = 0; i < numSamples; ++i)
        destination[i] = 0.f;
}

void OptAudioprimitivesGeneric::copy(int32 numSamples, const float* source,
                                     float* destination) const
{
    if (numSamples > 0 && source != destination)
        std::memmove(destination, source, sizeof(float) * static_cast<size_t>(numSamples));
}

void OptAudioprimitivesGeneric::scale(float gain, int32 numSamples, const float* source,
                                      float* destination) const
{
    for (int32 i = 0; i < numSamples; ++i)
        destination[i] = source[i] * gain;
}

void OptAudioprimitivesGeneric::mixAdd(int32 numSamples, const float* source, float* destination,
                                       float gain) const
{
    for (int32 i = 0; i < numSamples; ++i)
        destination[i] = destination[i] + source[i] * gain;
}

float OptAudioprimitivesGeneric::peak(int32 numSamples, const float* source) const
{
    float result = 0.f;
    for (int32 i = 0; i < numSamples; ++i)
    {
        float magnitude = source[i] < 0.f ? -source[i] : source[i];
        if (magnitude > result)
            result = magnitude;
    }
    return result;
}

} // namespace Quillmark
