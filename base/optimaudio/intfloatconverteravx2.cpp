// Eight-lane forms of the hot kernels. Each lane computes exactly what the generic loop computes
// for its sample (the same multiply, the same rounding and clipping tests, no fused multiply-add),
// so the bits match; the leftover samples of a block go to the generic loops. These functions are
// compiled for AVX2 alone and only called when the installer found it.
#include "base/optimaudio/intfloatconverter.h"

#include "base/optimaudio/samplecodings.h"

#include <cstring>
#include <immintrin.h>

#define QEL_AVX2 __attribute__((target("avx2")))

namespace Quillmark
{

namespace
{

bool usableShift(int32 shift)
{
    return shift >= 0 && shift < 32;
}

// Three-byte samples at byte offsets `first`, `second`, `third`, `fourth` of each 16-byte lane
// moved to the top of four 32-bit words, the low byte zero.
QEL_AVX2 inline __m256i spreadTriples(int first, int second, int third, int fourth)
{
    auto word = [](int at) { return (at + 2) << 24 | (at + 1) << 16 | at << 8 | 0x80; };
    return _mm256_setr_epi32(word(first), word(second), word(third), word(fourth), word(first),
                             word(second), word(third), word(fourth));
}

// Eight 24-bit samples from 24 bytes: lane 0 from `p`, lane 1 from `p + 12`. Reads 28 bytes.
QEL_AVX2 inline __m256i loadTriples(const uint8* p, const __m256i& spread)
{
    __m256i bytes = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(p + 12),
                                        reinterpret_cast<const __m128i*>(p));
    return _mm256_srai_epi32(_mm256_shuffle_epi8(bytes, spread), 8);
}

// Bytes 1 to 3 of eight 32-bit words, stored as 24 bytes at p and nothing beyond.
QEL_AVX2 inline void storeTriples(uint8* p, __m256i words)
{
    const __m256i pack =
        _mm256_setr_epi8(1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, -1, -1, -1, -1, //
                         1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, -1, -1, -1, -1);
    __m256i packed = _mm256_shuffle_epi8(words, pack);
    __m128i high = _mm256_extracti128_si256(packed, 1);
    // The low lane's four spare bytes land where the high lane starts, which overwrites them.
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(packed));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 12), high);
    const int32 last = _mm_cvtsi128_si32(_mm_srli_si128(high, 8));
    std::memcpy(p + 20, &last, 4);
}

/** The clipping bounds of one coding at full scale S, as the generic store tests them. */
struct Bounds
{
    __m256 upper, lower;
    __m256i upperValue, lowerValue;
};

QEL_AVX2 inline Bounds boundsOf(SampleCoding coding, int32 shift, float S)
{
    if (coding == SampleCoding::kInt16LE)
        return {_mm256_set1_ps(32767.f), _mm256_set1_ps(-32768.f), _mm256_set1_epi32(0x7FFF),
                _mm256_set1_epi32(-32768)};
    if (coding == SampleCoding::kInt24LE)
        return {_mm256_set1_ps(2147483392.f), _mm256_set1_ps(-2147483648.f),
                _mm256_set1_epi32(0x7FFFFF00), _mm256_set1_epi32(int32(0x80000000u))};
    return {_mm256_set1_ps(S), _mm256_set1_ps(-S), _mm256_set1_epi32(int32(0x7FFFFFFFu >> shift)),
            _mm256_set1_epi32(int32(0x80000000u) >> shift)};
}

/** Eight scaled values rounded half away from zero and clipped; a NaN goes to the top value,
    because "not below the upper bound" holds for it, as in the generic test. */
QEL_AVX2 inline __m256i quantize(__m256 x, const Bounds& b)
{
    const __m256 positive = _mm256_cmp_ps(x, _mm256_setzero_ps(), _CMP_GE_OQ);
    const __m256 offset = _mm256_blendv_ps(_mm256_set1_ps(-0.5f), _mm256_set1_ps(0.5f), positive);
    const __m256i rounded = _mm256_cvttps_epi32(_mm256_add_ps(x, offset));
    const __m256i isUpper = _mm256_castps_si256(_mm256_cmp_ps(x, b.upper, _CMP_NLT_UQ));
    const __m256i isLower =
        _mm256_andnot_si256(isUpper, _mm256_castps_si256(_mm256_cmp_ps(x, b.lower, _CMP_NGE_UQ)));
    __m256i result = _mm256_blendv_epi8(rounded, b.upperValue, isUpper);
    return _mm256_blendv_epi8(result, b.lowerValue, isLower);
}

/** The same result for codings whose top value is the upper bound itself (16 and 24 bits):
    clamping first sends everything beyond the bounds, NaN included (min answers its second
    operand for a NaN), to a bound that rounds to the value stored for it; and adding
    copysign(0.5) differs from the generic choice of +0.5 or -0.5 only for -0, where both
    truncate to 0. */
QEL_AVX2 inline __m256i quantizeClamped(__m256 x, const Bounds& b)
{
    const __m256 clamped = _mm256_max_ps(_mm256_min_ps(x, b.upper), b.lower);
    const __m256 sign = _mm256_castsi256_ps(_mm256_set1_epi32(int32(0x80000000u)));
    const __m256 half = _mm256_or_ps(_mm256_and_ps(clamped, sign), _mm256_set1_ps(0.5f));
    return _mm256_cvttps_epi32(_mm256_add_ps(clamped, half));
}

/** A finished lane-wise peak folded the way the generic loop folds: only a larger value wins. */
QEL_AVX2 inline float foldPeak(__m256 peaks, float peak)
{
    alignas(32) float lanes[8];
    _mm256_store_ps(lanes, peaks);
    for (float lane : lanes)
        if (lane > peak)
            peak = lane;
    return peak;
}

/** |x| joins the running peaks; a NaN magnitude leaves them as they are. */
QEL_AVX2 inline __m256 addPeak(__m256 peaks, __m256 x)
{
    const __m256 magnitude = _mm256_and_ps(x, _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF)));
    return _mm256_max_ps(magnitude, peaks);
}

QEL_AVX2 inline __m256 loadAndClear(float* p, bool clear)
{
    __m256 v = _mm256_loadu_ps(p);
    if (clear)
        _mm256_storeu_ps(p, _mm256_setzero_ps());
    return v;
}

/** The stored words of eight samples: the quantized integers, or the float bits. */
QEL_AVX2 inline __m256i encode(SampleCoding coding, __m256 x, const Bounds& b)
{
    if (coding == SampleCoding::kFloat32LE)
        return _mm256_castps_si256(x);
    return coding == SampleCoding::kInt32LE ? quantize(x, b) : quantizeClamped(x, b);
}

bool isWideCoding(SampleCoding coding)
{
    return coding == SampleCoding::kInt16LE || coding == SampleCoding::kInt24LE ||
           coding == SampleCoding::kInt32LE || coding == SampleCoding::kFloat32LE;
}

float toFloatScale(SampleCoding coding, float gain)
{
    switch (coding)
    {
    case SampleCoding::kInt16LE:
        return gain * 0x1p-15f;
    case SampleCoding::kInt24LE:
        return gain * 0x1p-23f;
    case SampleCoding::kInt32LE:
        return gain * 0x1p-31f;
    default:
        return gain;
    }
}

} // namespace

QEL_AVX2 void IntFloatConverterAVX2::toFloat(SampleCoding coding, const void* source, float* target,
                                             int32 count, float gain, int32 shift) const
{
    if (!isWideCoding(coding) || count <= 0 || !usableShift(shift))
        return IntFloatConverterPIV::toFloat(coding, source, target, count, gain, shift);
    const uint8* in = static_cast<const uint8*>(source);
    const __m256 scale = _mm256_set1_ps(toFloatScale(coding, gain));
    int32 i = 0;
    switch (coding)
    {
    case SampleCoding::kInt16LE:
        for (; i + 16 <= count; i += 16)
        {
            __m256i samples = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 2 * i));
            __m256i low = _mm256_cvtepi16_epi32(_mm256_castsi256_si128(samples));
            __m256i high = _mm256_cvtepi16_epi32(_mm256_extracti128_si256(samples, 1));
            _mm256_storeu_ps(target + i, _mm256_mul_ps(_mm256_cvtepi32_ps(low), scale));
            _mm256_storeu_ps(target + i + 8, _mm256_mul_ps(_mm256_cvtepi32_ps(high), scale));
        }
        break;
    case SampleCoding::kInt24LE:
    {
        // Each step reads four bytes past its eight samples, so two samples must follow.
        const __m256i spread = spreadTriples(0, 3, 6, 9);
        for (; i + 10 <= count; i += 8)
            _mm256_storeu_ps(
                target + i,
                _mm256_mul_ps(_mm256_cvtepi32_ps(loadTriples(in + 3 * i, spread)), scale));
        break;
    }
    case SampleCoding::kInt32LE:
    {
        const __m128i bits = _mm_cvtsi32_si128(shift);
        for (; i + 8 <= count; i += 8)
        {
            __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 4 * i));
            v = _mm256_sll_epi32(v, bits);
            _mm256_storeu_ps(target + i, _mm256_mul_ps(_mm256_cvtepi32_ps(v), scale));
        }
        break;
    }
    default: // float
        for (; i + 8 <= count; i += 8)
            _mm256_storeu_ps(
                target + i,
                _mm256_mul_ps(_mm256_loadu_ps(reinterpret_cast<const float*>(in) + i), scale));
        break;
    }
    generic.toFloat(coding, in + i * bytesPerSample(coding), target + i, count - i, gain, shift);
}

QEL_AVX2 void IntFloatConverterAVX2::toFloatStereo(SampleCoding coding, const void* source,
                                                   float* left, float* right, int32 count,
                                                   float gain, int32 shift) const
{
    if (!isWideCoding(coding) || count <= 0 || !usableShift(shift))
        return IntFloatConverterPIV::toFloatStereo(coding, source, left, right, count, gain, shift);
    const uint8* in = static_cast<const uint8*>(source);
    const __m256 scale = _mm256_set1_ps(toFloatScale(coding, gain));
    int32 i = 0;
    switch (coding)
    {
    case SampleCoding::kInt16LE:
        // Eight frames are eight 32-bit words: the left sample in the low half of each.
        for (; i + 8 <= count; i += 8)
        {
            __m256i frames = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 4 * i));
            __m256i l = _mm256_srai_epi32(_mm256_slli_epi32(frames, 16), 16);
            __m256i r = _mm256_srai_epi32(frames, 16);
            _mm256_storeu_ps(left + i, _mm256_mul_ps(_mm256_cvtepi32_ps(l), scale));
            _mm256_storeu_ps(right + i, _mm256_mul_ps(_mm256_cvtepi32_ps(r), scale));
        }
        break;
    case SampleCoding::kInt24LE:
    {
        // Four frames a step; each lane sorts its two frames into left, left, right, right and
        // the 64-bit permute joins the lanes: four lefts, then four rights.
        const __m256i spread = spreadTriples(0, 6, 3, 9);
        for (; i + 5 <= count; i += 4)
        {
            __m256i v = _mm256_permute4x64_epi64(loadTriples(in + 6 * i, spread), 0xD8);
            __m256 f = _mm256_mul_ps(_mm256_cvtepi32_ps(v), scale);
            _mm_storeu_ps(left + i, _mm256_castps256_ps128(f));
            _mm_storeu_ps(right + i, _mm256_extractf128_ps(f, 1));
        }
        break;
    }
    default: // 32-bit integer or float: eight frames from two loads
    {
        const bool isFloat = coding == SampleCoding::kFloat32LE;
        const __m128i bits = _mm_cvtsi32_si128(shift);
        for (; i + 8 <= count; i += 8)
        {
            __m256 a = _mm256_loadu_ps(reinterpret_cast<const float*>(in + 8 * i));
            __m256 b = _mm256_loadu_ps(reinterpret_cast<const float*>(in + 8 * i + 32));
            __m256 l = _mm256_castpd_ps(
                _mm256_permute4x64_pd(_mm256_castps_pd(_mm256_shuffle_ps(a, b, 0x88)), 0xD8));
            __m256 r = _mm256_castpd_ps(
                _mm256_permute4x64_pd(_mm256_castps_pd(_mm256_shuffle_ps(a, b, 0xDD)), 0xD8));
            if (!isFloat)
            {
                l = _mm256_cvtepi32_ps(_mm256_sll_epi32(_mm256_castps_si256(l), bits));
                r = _mm256_cvtepi32_ps(_mm256_sll_epi32(_mm256_castps_si256(r), bits));
            }
            _mm256_storeu_ps(left + i, _mm256_mul_ps(l, scale));
            _mm256_storeu_ps(right + i, _mm256_mul_ps(r, scale));
        }
        break;
    }
    }
    generic.toFloatStereo(coding, in + 2 * i * bytesPerSample(coding), left + i, right + i,
                          count - i, gain, shift);
}

QEL_AVX2 float IntFloatConverterAVX2::fromFloat(SampleCoding coding, float* source, void* target,
                                                int32 count, const FromFloatGain& gain,
                                                int32 shift) const
{
    // A gain ramp is a running sum from sample to sample; it stays with the generic loops.
    if (!isWideCoding(coding) || gain.gainStep != 0.f || count <= 0 || !usableShift(shift))
        return IntFloatConverterPIV::fromFloat(coding, source, target, count, gain, shift);

    const float S = SampleCodings::fullScale(coding, shift);
    const __m256 g = _mm256_set1_ps((gain.endGain - float(count) * gain.gainStep) * S);
    const Bounds bounds = boundsOf(coding, shift, S);
    __m256 peaks = _mm256_set1_ps(gain.peak * S);
    uint8* out = static_cast<uint8*>(target);
    int32 i = 0;
    if (coding == SampleCoding::kInt16LE)
    {
        for (; i + 16 <= count; i += 16)
        {
            __m256 x0 = _mm256_mul_ps(loadAndClear(source + i, gain.clear), g);
            __m256 x1 = _mm256_mul_ps(loadAndClear(source + i + 8, gain.clear), g);
            peaks = addPeak(addPeak(peaks, x0), x1);
            // The pack works lane by lane; the permute puts the four quarters back in order.
            __m256i v =
                _mm256_packs_epi32(quantizeClamped(x0, bounds), quantizeClamped(x1, bounds));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * i),
                                _mm256_permute4x64_epi64(v, 0xD8));
        }
    }
    else if (coding == SampleCoding::kInt24LE)
    {
        for (; i + 8 <= count; i += 8)
        {
            __m256 x = _mm256_mul_ps(loadAndClear(source + i, gain.clear), g);
            peaks = addPeak(peaks, x);
            storeTriples(out + 3 * i, quantizeClamped(x, bounds));
        }
    }
    else
    {
        for (; i + 8 <= count; i += 8)
        {
            __m256 x = _mm256_mul_ps(loadAndClear(source + i, gain.clear), g);
            peaks = addPeak(peaks, x);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * i), encode(coding, x, bounds));
        }
    }
    FromFloatGain tail = gain;
    tail.peak = foldPeak(peaks, gain.peak * S) / S;
    return generic.fromFloat(coding, source + i, out + i * bytesPerSample(coding), count - i, tail,
                             shift);
}

QEL_AVX2 float IntFloatConverterAVX2::fromFloatStereo(SampleCoding coding, float* left,
                                                      float* right, void* target, int32 count,
                                                      const FromFloatGain& gain, int32 shift) const
{
    if (!isWideCoding(coding) || gain.gainStep != 0.f || count <= 0 || !usableShift(shift))
        return IntFloatConverterPIV::fromFloatStereo(coding, left, right, target, count, gain,
                                                     shift);

    const float S = SampleCodings::fullScale(coding, shift);
    const __m256 g = _mm256_set1_ps((gain.endGain - float(count) * gain.gainStep) * S);
    const Bounds bounds = boundsOf(coding, shift, S);
    __m256 peaks = _mm256_set1_ps(gain.peak * S);
    uint8* out = static_cast<uint8*>(target);
    const int32 frameBytes = 2 * bytesPerSample(coding);
    int32 i = 0;
    for (; i + 8 <= count; i += 8)
    {
        __m256 xl = _mm256_mul_ps(loadAndClear(left + i, gain.clear), g);
        __m256 xr = _mm256_mul_ps(loadAndClear(right + i, gain.clear), g);
        peaks = addPeak(addPeak(peaks, xl), xr);
        __m256i l = encode(coding, xl, bounds), r = encode(coding, xr, bounds);
        // Per lane: low = frames 0-1 | 4-5, high = frames 2-3 | 6-7.
        __m256i low = _mm256_unpacklo_epi32(l, r), high = _mm256_unpackhi_epi32(l, r);
        uint8* p = out + i * frameBytes;
        if (coding == SampleCoding::kInt16LE)
        {
            // The lane-wise pack of low and high gives frames 0-3 and 4-7 in order.
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm256_packs_epi32(low, high));
            continue;
        }
        __m256i first = _mm256_permute2x128_si256(low, high, 0x20);
        __m256i second = _mm256_permute2x128_si256(low, high, 0x31);
        if (coding == SampleCoding::kInt24LE)
        {
            storeTriples(p, first);
            storeTriples(p + 24, second);
        }
        else
        {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), first);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(p + 32), second);
        }
    }
    FromFloatGain tail = gain;
    tail.peak = foldPeak(peaks, gain.peak * S) / S;
    return generic.fromFloatStereo(coding, left + i, right + i, out + i * frameBytes, count - i,
                                   tail, shift);
}

} // namespace Quillmark
