// Vector forms of the commonest kernels. Each computes per sample exactly what the generic
// loop computes (same multiply, same rounding and clipping tests), so results match bit for
// bit; a gain ramp, being a running sum, stays with the generic loops.
#include "base/optimaudio/intfloatconverter.h"

#include "base/optimaudio/samplecodings.h"

#include <cstring>
#include <immintrin.h>

namespace Quillmark
{

void IntFloatConverterPIII::toFloat(SampleCoding coding, const void* source, float* target,
                                    int32 count, float gain, int32 shift) const
{
    if (coding != SampleCoding::kFloat32LE || count <= 0)
        return generic.toFloat(coding, source, target, count, gain, shift);
    const float* in = static_cast<const float*>(source);
    const __m128 g = _mm_set1_ps(gain);
    int32 i = 0;
    for (; i + 4 <= count; i += 4)
        _mm_storeu_ps(target + i, _mm_mul_ps(_mm_loadu_ps(in + i), g));
    generic.toFloat(coding, in + i, target + i, count - i, gain, shift);
}

void IntFloatConverterPIII::toFloatStereo(SampleCoding coding, const void* source, float* left,
                                          float* right, int32 count, float gain, int32 shift) const
{
    generic.toFloatStereo(coding, source, left, right, count, gain, shift);
}

float IntFloatConverterPIII::fromFloat(SampleCoding coding, float* source, void* target,
                                       int32 count, const FromFloatGain& gain, int32 shift) const
{
    return generic.fromFloat(coding, source, target, count, gain, shift);
}

float IntFloatConverterPIII::fromFloatStereo(SampleCoding coding, float* left, float* right,
                                             void* target, int32 count, const FromFloatGain& gain,
                                             int32 shift) const
{
    return generic.fromFloatStereo(coding, left, right, target, count, gain, shift);
}

void IntFloatConverterPIV::toFloat(SampleCoding coding, const void* source, float* target,
                                   int32 count, float gain, int32 shift) const
{
    if (coding == SampleCoding::kInt24LE && count > 0)
    {
        // Four samples from four overlapping 32-bit loads: each puts its three bytes in the
        // top of a word, and an arithmetic shift brings them down with their sign. The last
        // load reaches one byte into the next sample, so the loop stops one sample early.
        const uint8* in = static_cast<const uint8*>(source);
        const __m128 scale = _mm_set1_ps(gain * 0x1p-23f);
        int32 i = 0;
        for (; i + 4 < count; i += 4)
        {
            uint32 w[4];
            std::memcpy(&w[0], in + 3 * i, 4);
            std::memcpy(&w[1], in + 3 * i + 3, 4);
            std::memcpy(&w[2], in + 3 * i + 6, 4);
            std::memcpy(&w[3], in + 3 * i + 9, 4);
            __m128i words = _mm_set_epi32(int32(w[3]), int32(w[2]), int32(w[1]), int32(w[0]));
            __m128i values = _mm_srai_epi32(_mm_slli_epi32(words, 8), 8);
            _mm_storeu_ps(target + i, _mm_mul_ps(_mm_cvtepi32_ps(values), scale));
        }
        return generic.toFloat(coding, in + 3 * i, target + i, count - i, gain, shift);
    }
    if (coding != SampleCoding::kInt16LE || count <= 0)
        return IntFloatConverterPIII::toFloat(coding, source, target, count, gain, shift);
    const int16* in = static_cast<const int16*>(source);
    const __m128 scale = _mm_set1_ps(gain * 0x1p-15f);
    int32 i = 0;
    for (; i + 8 <= count; i += 8)
    {
        __m128i samples = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        __m128i low = _mm_srai_epi32(_mm_unpacklo_epi16(samples, samples), 16);
        __m128i high = _mm_srai_epi32(_mm_unpackhi_epi16(samples, samples), 16);
        _mm_storeu_ps(target + i, _mm_mul_ps(_mm_cvtepi32_ps(low), scale));
        _mm_storeu_ps(target + i + 4, _mm_mul_ps(_mm_cvtepi32_ps(high), scale));
    }
    generic.toFloat(coding, in + i, target + i, count - i, gain, shift);
}

namespace
{

/** Four scaled values rounded half away from zero and clipped as the generic kernels do. */
inline __m128i quantize(__m128 x, __m128 upper, __m128 lower, __m128i upperValue,
                        __m128i lowerValue)
{
    const __m128 half = _mm_set1_ps(0.5f);
    __m128 positive = _mm_cmpge_ps(x, _mm_setzero_ps());
    __m128 offset =
        _mm_or_ps(_mm_and_ps(positive, half), _mm_andnot_ps(positive, _mm_set1_ps(-0.5f)));
    __m128i rounded = _mm_cvttps_epi32(_mm_add_ps(x, offset));
    // "not below the bound" is also true for NaN, which the generic test sends to the top.
    __m128i isUpper = _mm_castps_si128(_mm_cmpnlt_ps(x, upper));
    __m128i isLower = _mm_andnot_si128(isUpper, _mm_castps_si128(_mm_cmpnge_ps(x, lower)));
    __m128i clipped =
        _mm_or_si128(_mm_and_si128(isUpper, upperValue), _mm_and_si128(isLower, lowerValue));
    return _mm_or_si128(clipped, _mm_andnot_si128(_mm_or_si128(isUpper, isLower), rounded));
}

inline float horizontalPeak(__m128 peaks, float peak)
{
    alignas(16) float lanes[4];
    _mm_store_ps(lanes, peaks);
    for (float lane : lanes)
        if (lane > peak)
            peak = lane;
    return peak;
}

} // namespace

float IntFloatConverterPIV::fromFloat(SampleCoding coding, float* source, void* target, int32 count,
                                      const FromFloatGain& gain, int32 shift) const
{
    const bool vectorCoding = coding == SampleCoding::kInt16LE || coding == SampleCoding::kInt24LE;
    if (!vectorCoding || gain.gainStep != 0.f || count <= 0)
        return IntFloatConverterPIII::fromFloat(coding, source, target, count, gain, shift);

    const float S = SampleCodings::fullScale(coding, shift);
    const float runningGain = (gain.endGain - float(count) * gain.gainStep) * S;
    const __m128 g = _mm_set1_ps(runningGain);
    const __m128 absMask = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
    __m128 peaks = _mm_setzero_ps();
    uint8* out = static_cast<uint8*>(target);
    int32 i = 0;
    if (coding == SampleCoding::kInt16LE)
    {
        const __m128 upper = _mm_set1_ps(32767.f), lower = _mm_set1_ps(-32768.f);
        const __m128i upperValue = _mm_set1_epi32(0x7FFF), lowerValue = _mm_set1_epi32(-32768);
        for (; i + 8 <= count; i += 8)
        {
            __m128 x0 = _mm_mul_ps(_mm_loadu_ps(source + i), g);
            __m128 x1 = _mm_mul_ps(_mm_loadu_ps(source + i + 4), g);
            peaks = _mm_max_ps(_mm_and_ps(x0, absMask), peaks);
            peaks = _mm_max_ps(_mm_and_ps(x1, absMask), peaks);
            __m128i v = _mm_packs_epi32(quantize(x0, upper, lower, upperValue, lowerValue),
                                        quantize(x1, upper, lower, upperValue, lowerValue));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), v);
            if (gain.clear)
            {
                _mm_storeu_ps(source + i, _mm_setzero_ps());
                _mm_storeu_ps(source + i + 4, _mm_setzero_ps());
            }
        }
    }
    else
    {
        const __m128 upper = _mm_set1_ps(2147483392.f), lower = _mm_set1_ps(-2147483648.f);
        const __m128i upperValue = _mm_set1_epi32(0x7FFFFF00),
                      lowerValue = _mm_set1_epi32(int32(0x80000000u));
        alignas(16) uint32 values[4];
        // Four-byte stores that overlap: each writes its three bytes and one that the next
        // store overwrites, so the loop leaves the last sample to the tail.
        for (; i + 4 < count; i += 4)
        {
            __m128 x = _mm_mul_ps(_mm_loadu_ps(source + i), g);
            peaks = _mm_max_ps(_mm_and_ps(x, absMask), peaks);
            __m128i quantized = quantize(x, upper, lower, upperValue, lowerValue);
            _mm_store_si128(reinterpret_cast<__m128i*>(values), _mm_srli_epi32(quantized, 8));
            uint8* p = out + 3 * i;
            std::memcpy(p, &values[0], 4);
            std::memcpy(p + 3, &values[1], 4);
            std::memcpy(p + 6, &values[2], 4);
            std::memcpy(p + 9, &values[3], 4);
            if (gain.clear)
                _mm_storeu_ps(source + i, _mm_setzero_ps());
        }
    }
    FromFloatGain tail = gain;
    tail.peak = horizontalPeak(peaks, gain.peak * S) / S;
    return generic.fromFloat(coding, source + i, out + i * bytesPerSample(coding), count - i, tail,
                             shift);
}

} // namespace Quillmark
