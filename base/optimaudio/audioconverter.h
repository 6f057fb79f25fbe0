// Converts blocks of samples from one format to another: sample coding, byte order,
// interleaved or one buffer per channel, channel count and, through ALSampleRateConverter,
// the rate. Common cases run one kernel over the block; the rest go channel by channel through
// float scratch space that grows to the largest block once and is then reused.
#pragma once

#include "base/optimaudio/alsamplerateconverter.h"
#include "base/optimaudio/intfloatconverter.h"

#include <memory>
#include <vector>

namespace Quillmark
{

class AudioConverter : public CmObject
{
public:
    enum SampleFormat : int32
    {
        kUnsigned = 0,
        kSigned = 1,
        kFloat = 2,
    };
    enum FrameFormat : int32
    {
        kInterleaved = 0,
        kPlanar = 2, // one pointer per channel: the block is an array of channel pointers
    };

    struct Format
    {
        float rate = 44100.f;
        int16 frameSize = 2; // bytes of one frame of all channels, for interleaved blocks
        int16 sampleSize = 16;
        int32 sampleFormat = kSigned;
        int16 byteOrder = 0; // 0 little end first, 1 big end first
        int16 channels = 1;
        int32 frameFormat = kInterleaved;

        bool operator==(const Format&) const = default;
        /** Bytes of one sample in its container. */
        int32 containerSize() const;
    };

    AudioConverter() = default;

    void setSourceFormat(const Format& format) { source = format; }
    void setTargetFormat(const Format& format) { target = format; }
    const Format& getSourceFormat() const { return source; }
    const Format& getTargetFormat() const { return target; }
    void setGain(float newGain) { gain = newGain; }
    float getGain() const { return gain; }
    /** With quality the rate converter uses its default filter length, else the short one. */
    void setQuality(bool on) { quality = on; }

    /** Converts `count` frames from `sourceData` to `targetData`; `count` then holds the
        frames written. For the planar frame format a block is an array of channel pointers.
        With differing rates the target must hold getRequiredFrames(count) frames; `flush`
        ends the stream and plays out the converter's history. With `maxOutput` at 0 or more,
        no more frames than that are written; the converter keeps the rest for the next call.
        False when no path exists. */
    bool convert(const void* sourceData, void* targetData, int32& count, bool flush = false,
                 int32 maxOutput = -1);

    /** Frames of output that `frames` of input can give at most, for sizing a target. */
    static int64 getRequiredFrames(int64 frames, double targetRate, double sourceRate,
                                   bool quality);
    /** The peak of the samples written since the last reset, after the gain, in units of full
        scale; above 1.0 means something clipped. */
    float getPeak() const { return peak; }
    void resetPeak() { peak = 0.f; }
    /** Starts a new stream: the rate converter's history is dropped. */
    void reset();

    /** The kernel coding of a format, and the shift of 32-bit containers; false when no kernel
        covers it. */
    static bool codingOf(const Format& format, SampleCoding& coding, int32& shift);

    QEL_DECLARE_CLASS(AudioConverter, CmObject)

private:
    bool convertSameRateDirect(const void* sourceData, void* targetData, int32 count);
    bool convertIntegerDirect(const void* sourceData, void* targetData, int32 count);
    bool convertByChannel(const void* sourceData, void* targetData, int32& count, bool flush,
                          int32 maxOutput);
    const uint8* sourceChannel(const void* data, int32 channel, int32 count);
    void storeChannel(float* samples, void* data, int32 channel, int32 count);

    Format source;
    Format target;
    float gain = 1.f;
    bool quality = true;
    float peak = 0.f;
    std::unique_ptr<ALSampleRateConverter> rateConverter;
    // Scratch space: bytes of one channel, float channels before and after rate conversion.
    std::vector<uint8> channelBytes;
    std::vector<std::vector<float>> floats;
    std::vector<std::vector<float>> resampled;
    std::vector<const float*> inputPointers;
    std::vector<float*> outputPointers;
};

} // namespace Quillmark
