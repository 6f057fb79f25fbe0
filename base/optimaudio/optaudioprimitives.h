// Block operations on 32-bit float samples, used by the audio graph and the converters. One
// table, sAudioPrimitives, chosen by processor feature when the kernels are installed; every
// implementation gives the same bits as OptAudioprimitivesGeneric.
#pragma once

#include "base/optimaudio/kernelslot.h"

#include "qel3/funknown.h"

namespace Quillmark
{

class OptAudioprimitives
{
public:
    virtual ~OptAudioprimitives() = default;

    /** destination[i] = 0. */
    virtual void clear(int32 numSamples, float* destination) const = 0;
    /** destination[i] = source[i]; the two may be the same. */
    virtual void copy(int32 numSamples, const float* source, float* destination) const = 0;
    /** destination[i] = source[i] × gain; the two may be the same. */
    virtual void scale(float gain, int32 numSamples, const float* source,
                       float* destination) const = 0;
    /** destination[i] += source[i] × gain. */
    virtual void mixAdd(int32 numSamples, const float* source, float* destination,
                        float gain) const = 0;
    /** The largest |source[i]|, 0 for an empty block; a NaN sample is passed over. */
    virtual float peak(int32 numSamples, const float* source) const = 0;
    /** A name for reports and benchmarks. */
    virtual const char* getName() const = 0;
};

/** Plain loops: the reference every other implementation matches bit for bit. */
class OptAudioprimitivesGeneric : public OptAudioprimitives
{
public:
    void clear(int32 numSamples, float* destination) const override;
    void copy(int32 numSamples, const float* source, float* destination) const override;
    void scale(float gain, int32 numSamples, const float* source,
               float* destination) const override;
    void mixAdd(int32 numSamples, const float* source, float* destination,
                float gain) const override;
    float peak(int32 numSamples, const float* source) const override;
    const char* getName() const override { return "Generic"; }
};

/** SSE: four samples at a time, unaligned loads, the generic loop for the tail. */
class OptAudioprimitivesPIII : public OptAudioprimitives
{
public:
    explicit OptAudioprimitivesPIII(const OptAudioprimitives& generic) : generic(generic) {}

    void clear(int32 numSamples, float* destination) const override;
    void copy(int32 numSamples, const float* source, float* destination) const override;
    void scale(float gain, int32 numSamples, const float* source,
               float* destination) const override;
    void mixAdd(int32 numSamples, const float* source, float* destination,
                float gain) const override;
    float peak(int32 numSamples, const float* source) const override;
    const char* getName() const override { return "PIII"; }

protected:
    const OptAudioprimitives& generic;
};

/** SSE3: eight samples per step in the mixing loops, which dominate the graph's time. */
class OptAudioprimitivesPrescott : public OptAudioprimitivesPIII
{
public:
    using OptAudioprimitivesPIII::OptAudioprimitivesPIII;

    void mixAdd(int32 numSamples, const float* source, float* destination,
                float gain) const override;
    void scale(float gain, int32 numSamples, const float* source,
               float* destination) const override;
    const char* getName() const override { return "Prescott"; }
};

/** The table of float block operations; a use before installAudioKernels aborts. */
extern KernelSlot<OptAudioprimitives> sAudioPrimitives;

} // namespace Quillmark
