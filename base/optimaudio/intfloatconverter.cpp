#include "base/optimaudio/intfloatconverter.h"

#include "base/optimaudio/samplecodings.h"

#include <cmath>

namespace Quillmark
{

KernelSlot<IntFloatConverter> sIntFloatConverter("sIntFloatConverter");

int32 bytesPerSample(SampleCoding coding)
{
    static constexpr int32 sizes[] = {1, 1, 2, 2, 3, 3, 4, 4, 4, 4};
    int32 index = int32(coding);
    return index >= 0 && index < int32(SampleCoding::kCount) ? sizes[index] : 0;
}

namespace
{

using namespace SampleCodings;

float toFloatScale(SampleCoding coding, float gain)
{
    switch (coding)
    {
    case SampleCoding::kInt8:
    case SampleCoding::kUInt8:
        return gain * 0x1p-7f;
    case SampleCoding::kInt16LE:
    case SampleCoding::kInt16BE:
        return gain * 0x1p-15f;
    case SampleCoding::kInt24LE:
    case SampleCoding::kInt24BE:
        return gain * 0x1p-23f;
    case SampleCoding::kInt32LE:
    case SampleCoding::kInt32BE:
        return gain * 0x1p-31f;
    default:
        return gain;
    }
}

// `channels` outputs of one interleaved stream: 1 for mono, 2 for the split form.
template <SampleCoding C>
void toFloatLoop(const uint8* source, float* left, float* right, int32 count, float gain,
                 int32 shift)
{
    constexpr int32 size = C == SampleCoding::kInt8 || C == SampleCoding::kUInt8        ? 1
                           : C == SampleCoding::kInt16LE || C == SampleCoding::kInt16BE ? 2
                           : C == SampleCoding::kInt24LE || C == SampleCoding::kInt24BE ? 3
                                                                                        : 4;
    const int32 step = right ? 2 * size : size;
    const float scale = toFloatScale(C, gain);
    for (int32 i = 0; i < count; ++i, source += step)
    {
        if constexpr (C == SampleCoding::kFloat32LE || C == SampleCoding::kFloat32BE)
        {
            constexpr bool big = C == SampleCoding::kFloat32BE;
            left[i] = loadFloat(source, big) * scale;
            if (right)
                right[i] = loadFloat(source + size, big) * scale;
        }
        else
        {
            left[i] = float(loadInt<C>(source, shift)) * scale;
            if (right)
                right[i] = float(loadInt<C>(source + size, shift)) * scale;
        }
    }
}

template <SampleCoding C>
float fromFloatLoop(float* left, float* right, uint8* target, int32 count,
                    const FromFloatGain& settings, int32 shift)
{
    constexpr int32 size = C == SampleCoding::kInt8 || C == SampleCoding::kUInt8        ? 1
                           : C == SampleCoding::kInt16LE || C == SampleCoding::kInt16BE ? 2
                           : C == SampleCoding::kInt24LE || C == SampleCoding::kInt24BE ? 3
                                                                                        : 4;
    const float S = fullScale(C, shift);
    float gain = (settings.endGain - float(count) * settings.gainStep) * S;
    const float step = settings.gainStep * S;
    float peak = settings.peak * S;
    const int32 channels = right ? 2 : 1;
    for (int32 i = 0; i < count; ++i)
    {
        gain += step;
        for (int32 c = 0; c < channels; ++c)
        {
            float* source = c == 0 ? left : right;
            float sample = source[i];
            if (settings.clear)
                source[i] = 0.f;
            float x;
            float magnitude;
            if constexpr (C == SampleCoding::kUInt8)
            {
                x = (sample + 1.f) * gain;
                magnitude = std::fabs(sample * gain);
            }
            else
            {
                x = sample * gain;
                magnitude = std::fabs(x);
            }
            if (magnitude > peak)
                peak = magnitude;
            storeScaled<C>(x, target + (i * channels + c) * size, shift, S);
        }
    }
    return peak / S;
}

template <template <SampleCoding> class Op, class... Args>
auto dispatch(SampleCoding coding, Args... args)
{
    switch (coding)
    {
    case SampleCoding::kInt8:
        return Op<SampleCoding::kInt8>::run(args...);
    case SampleCoding::kUInt8:
        return Op<SampleCoding::kUInt8>::run(args...);
    case SampleCoding::kInt16LE:
        return Op<SampleCoding::kInt16LE>::run(args...);
    case SampleCoding::kInt16BE:
        return Op<SampleCoding::kInt16BE>::run(args...);
    case SampleCoding::kInt24LE:
        return Op<SampleCoding::kInt24LE>::run(args...);
    case SampleCoding::kInt24BE:
        return Op<SampleCoding::kInt24BE>::run(args...);
    case SampleCoding::kInt32LE:
        return Op<SampleCoding::kInt32LE>::run(args...);
    case SampleCoding::kInt32BE:
        return Op<SampleCoding::kInt32BE>::run(args...);
    case SampleCoding::kFloat32LE:
        return Op<SampleCoding::kFloat32LE>::run(args...);
    default:
        return Op<SampleCoding::kFloat32BE>::run(args...);
    }
}

template <SampleCoding C> struct ToFloatOp
{
    static void run(const uint8* s, float* l, float* r, int32 n, float g, int32 shift)
    {
        toFloatLoop<C>(s, l, r, n, g, shift);
    }
};

template <SampleCoding C> struct FromFloatOp
{
    static float run(float* l, float* r, uint8* t, int32 n, const FromFloatGain* g, int32 shift)
    {
        return fromFloatLoop<C>(l, r, t, n, *g, shift);
    }
};

bool validCoding(SampleCoding coding)
{
    return int32(coding) >= 0 && coding < SampleCoding::kCount;
}

} // namespace

void IntFloatConverterGeneric::toFloat(SampleCoding coding, const void* source, float* target,
                                       int32 count, float gain, int32 shift) const
{
    if (validCoding(coding) && count > 0)
        dispatch<ToFloatOp>(coding, static_cast<const uint8*>(source), target,
                            static_cast<float*>(nullptr), count, gain, shift);
}

void IntFloatConverterGeneric::toFloatStereo(SampleCoding coding, const void* source, float* left,
                                             float* right, int32 count, float gain,
                                             int32 shift) const
{
    if (validCoding(coding) && count > 0)
        dispatch<ToFloatOp>(coding, static_cast<const uint8*>(source), left, right, count, gain,
                            shift);
}

float IntFloatConverterGeneric::fromFloat(SampleCoding coding, float* source, void* target,
                                          int32 count, const FromFloatGain& gain, int32 shift) const
{
    if (!validCoding(coding) || count <= 0)
        return gain.peak;
    return dispatch<FromFloatOp>(coding, source, static_cast<float*>(nullptr),
                                 static_cast<uint8*>(target), count, &gain, shift);
}

float IntFloatConverterGeneric::fromFloatStereo(SampleCoding coding, float* left, float* right,
                                                void* target, int32 count,
                                                const FromFloatGain& gain, int32 shift) const
{
    if (!validCoding(coding) || count <= 0)
        return gain.peak;
    return dispatch<FromFloatOp>(coding, left, right, static_cast<uint8*>(target), count, &gain,
                                 shift);
}

} // namespace Quillmark
