// The SSE and SSE3 forms of the float primitives. Each keeps the generic operation order per
// sample (one multiply, then one add, no fused step), so the results are bit for bit the same.
#include "base/optimaudio/optaudioprimitives.h"

#include <immintrin.h>

namespace Quillmark
{

void OptAudioprimitivesPIII::clear(int32 numSamples, float* destination) const
{
    int32 i = 0;
    const __m128 zero = _mm_setzero_ps();
    for (; i + 4 <= numSamples; i += 4)
        _mm_storeu_ps(destination + i, zero);
    generic.clear(numSamples - i, destination + i);
}

void OptAudioprimitivesPIII::copy(int32 numSamples, const float* source, float* destination) const
{
    // Overlapping blocks need memmove's direction handling; the generic form has it.
    generic.copy(numSamples, source, destination);
}

void OptAudioprimitivesPIII::scale(float gain, int32 numSamples, const float* source,
                                   float* destination) const
{
    int32 i = 0;
    const __m128 g = _mm_set1_ps(gain);
    for (; i + 4 <= numSamples; i += 4)
        _mm_storeu_ps(destination + i, _mm_mul_ps(_mm_loadu_ps(source + i), g));
    generic.scale(gain, numSamples - i, source + i, destination + i);
}

void OptAudioprimitivesPIII::mixAdd(int32 numSamples, const float* source, float* destination,
                                    float gain) const
{
    int32 i = 0;
    const __m128 g = _mm_set1_ps(gain);
    for (; i + 4 <= numSamples; i += 4)
    {
        __m128 product = _mm_mul_ps(_mm_loadu_ps(source + i), g);
        _mm_storeu_ps(destination + i, _mm_add_ps(_mm_loadu_ps(destination + i), product));
    }
    generic.mixAdd(numSamples - i, source + i, destination + i, gain);
}

float OptAudioprimitivesPIII::peak(int32 numSamples, const float* source) const
{
    int32 i = 0;
    const __m128 absMask = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
    __m128 maximum = _mm_setzero_ps();
    for (; i + 4 <= numSamples; i += 4)
    {
        // maxps answers its second operand when either is NaN: keeping the running maximum
        // there passes over NaN samples as the generic loop does.
        __m128 magnitude = _mm_and_ps(_mm_loadu_ps(source + i), absMask);
        maximum = _mm_max_ps(magnitude, maximum);
    }
    alignas(16) float lanes[4];
    _mm_store_ps(lanes, maximum);
    float result = generic.peak(numSamples - i, source + i);
    for (float lane : lanes)
        if (lane > result)
            result = lane;
    return result;
}

__attribute__((target("sse3"))) void OptAudioprimitivesPrescott::mixAdd(int32 numSamples,
                                                                        const float* source,
                                                                        float* destination,
                                                                        float gain) const
{
    int32 i = 0;
    const __m128 g = _mm_set1_ps(gain);
    for (; i + 8 <= numSamples; i += 8)
    {
        __m128 s0 = _mm_castsi128_ps(_mm_lddqu_si128(reinterpret_cast<const __m128i*>(source + i)));
        __m128 s1 =
            _mm_castsi128_ps(_mm_lddqu_si128(reinterpret_cast<const __m128i*>(source + i + 4)));
        __m128 d0 = _mm_loadu_ps(destination + i);
        __m128 d1 = _mm_loadu_ps(destination + i + 4);
        _mm_storeu_ps(destination + i, _mm_add_ps(d0, _mm_mul_ps(s0, g)));
        _mm_storeu_ps(destination + i + 4, _mm_add_ps(d1, _mm_mul_ps(s1, g)));
    }
    OptAudioprimitivesPIII::mixAdd(numSamples - i, source + i, destination + i, gain);
}

__attribute__((target("sse3"))) void OptAudioprimitivesPrescott::scale(float gain, int32 numSamples,
                                                                       const float* source,
                                                                       float* destination) const
{
    int32 i = 0;
    const __m128 g = _mm_set1_ps(gain);
    for (; i + 8 <= numSamples; i += 8)
    {
        __m128 s0 = _mm_castsi128_ps(_mm_lddqu_si128(reinterpret_cast<const __m128i*>(source + i)));
        __m128 s1 =
            _mm_castsi128_ps(_mm_lddqu_si128(reinterpret_cast<const __m128i*>(source + i + 4)));
        _mm_storeu_ps(destination + i, _mm_mul_ps(s0, g));
        _mm_storeu_ps(destination + i + 4, _mm_mul_ps(s1, g));
    }
    OptAudioprimitivesPIII::scale(gain, numSamples - i, source + i, destination + i);
}

} // namespace Quillmark
