// Kernels between stored samples (8, 16, 24 and 32-bit integers, 32-bit floats, either byte
// order) and 32-bit float samples, one per stored coding, mono or two-channel. The converter
// picks one kernel per block, so no loop branches on the format. sIntFloatConverter is chosen
// by processor feature; every implementation gives the bits of IntFloatConverterGeneric.
#pragma once

#include "base/optimaudio/kernelslot.h"

#include "qel3/funknown.h"

namespace Quillmark
{

/** The stored codings, in the order of the kernel table. */
enum class SampleCoding : int32
{
    kInt8,
    kUInt8,
    kInt16LE,
    kInt16BE,
    kInt24LE,
    kInt24BE,
    kInt32LE,
    kInt32BE,
    kFloat32LE,
    kFloat32BE,
    kCount
};

/** Bytes per stored sample of a coding. */
int32 bytesPerSample(SampleCoding coding);

/** Settings of the from-float kernels. The gain runs from (endGain - count × gainStep) and
    grows by gainStep before each sample (each frame in the two-channel form), so it reaches
    endGain at the last one; a step of 0 is a constant gain. */
struct FromFloatGain
{
    float endGain = 1.f;
    float gainStep = 0.f;
    float peak = 0.f;   // the peak so far, in units of full scale
    bool clear = false; // zero the source as it is read, for buffers that mix by adding
};

class IntFloatConverter
{
public:
    virtual ~IntFloatConverter() = default;

    /** count samples of `coding` at `source` to floats × gain. The 32-bit integer codings
        shift each value left by `shift` first (a 24-bit value in the low bits uses 8). */
    virtual void toFloat(SampleCoding coding, const void* source, float* target, int32 count,
                         float gain, int32 shift = 0) const = 0;
    /** count interleaved two-channel frames into two channel buffers. */
    virtual void toFloatStereo(SampleCoding coding, const void* source, float* left, float* right,
                               int32 count, float gain, int32 shift = 0) const = 0;
    /** count floats to `coding`, rounded and clipped by the coding's rules; answers the new
        peak, measured after the gain and before clipping, so above 1.0 means it clipped. */
    virtual float fromFloat(SampleCoding coding, float* source, void* target, int32 count,
                            const FromFloatGain& gain, int32 shift = 0) const = 0;
    /** count frames of two channel buffers into interleaved two-channel frames. */
    virtual float fromFloatStereo(SampleCoding coding, float* left, float* right, void* target,
                                  int32 count, const FromFloatGain& gain,
                                  int32 shift = 0) const = 0;
    virtual const char* getName() const = 0;
};

/** Plain loops; the reference for the rounding and clipping rules. */
class IntFloatConverterGeneric : public IntFloatConverter
{
public:
    void toFloat(SampleCoding coding, const void* source, float* target, int32 count, float gain,
                 int32 shift = 0) const override;
    void toFloatStereo(SampleCoding coding, const void* source, float* left, float* right,
                       int32 count, float gain, int32 shift = 0) const override;
    float fromFloat(SampleCoding coding, float* source, void* target, int32 count,
                    const FromFloatGain& gain, int32 shift = 0) const override;
    float fromFloatStereo(SampleCoding coding, float* left, float* right, void* target, int32 count,
                          const FromFloatGain& gain, int32 shift = 0) const override;
    const char* getName() const override { return "Generic"; }
};

/** SSE: the 16-bit and float codings to float; the rest goes to the generic kernels. */
class IntFloatConverterPIII : public IntFloatConverter
{
public:
    explicit IntFloatConverterPIII(const IntFloatConverter& generic) : generic(generic) {}

    void toFloat(SampleCoding coding, const void* source, float* target, int32 count, float gain,
                 int32 shift = 0) const override;
    void toFloatStereo(SampleCoding coding, const void* source, float* left, float* right,
                       int32 count, float gain, int32 shift = 0) const override;
    float fromFloat(SampleCoding coding, float* source, void* target, int32 count,
                    const FromFloatGain& gain, int32 shift = 0) const override;
    float fromFloatStereo(SampleCoding coding, float* left, float* right, void* target, int32 count,
                          const FromFloatGain& gain, int32 shift = 0) const override;
    const char* getName() const override { return "PIII"; }

protected:
    const IntFloatConverter& generic;
};

/** SSE2: adds the integer conversions (16 and 24 bits, little end first): to float at any
    gain, from float at a constant gain. */
class IntFloatConverterPIV : public IntFloatConverterPIII
{
public:
    using IntFloatConverterPIII::IntFloatConverterPIII;

    void toFloat(SampleCoding coding, const void* source, float* target, int32 count, float gain,
                 int32 shift = 0) const override;
    float fromFloat(SampleCoding coding, float* source, void* target, int32 count,
                    const FromFloatGain& gain, int32 shift = 0) const override;
    const char* getName() const override { return "PIV"; }
};

/** AVX2: eight samples a step for the integer codings of 16, 24 and 32 bits and the float
    coding (little end first), mono and two-channel, to float at any gain and from float at a
    constant gain; everything else goes to the SSE2 kernels. Only installed when the processor
    and the system support the wide registers. */
class IntFloatConverterAVX2 : public IntFloatConverterPIV
{
public:
    using IntFloatConverterPIV::IntFloatConverterPIV;

    void toFloat(SampleCoding coding, const void* source, float* target, int32 count, float gain,
                 int32 shift = 0) const override;
    void toFloatStereo(SampleCoding coding, const void* source, float* left, float* right,
                       int32 count, float gain, int32 shift = 0) const override;
    float fromFloat(SampleCoding coding, float* source, void* target, int32 count,
                    const FromFloatGain& gain, int32 shift = 0) const override;
    float fromFloatStereo(SampleCoding coding, float* left, float* right, void* target, int32 count,
                          const FromFloatGain& gain, int32 shift = 0) const override;
    const char* getName() const override { return "AVX2"; }
};

/** The integer/float kernels; a use before installAudioKernels aborts. */
extern KernelSlot<IntFloatConverter> sIntFloatConverter;

} // namespace Quillmark
