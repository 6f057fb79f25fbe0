#include "base/optimaudio/audioconverter.h"

#include "base/optimaudio/intfloatconverter.h"
#include "base/optimaudio/optaudioprimitives.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Quillmark
{

int32 AudioConverter::Format::containerSize() const
{
    if (frameFormat == kPlanar || channels <= 0)
        return (sampleSize + 7) / 8;
    return frameSize / channels;
}

bool AudioConverter::codingOf(const Format& format, SampleCoding& coding, int32& shift)
{
    shift = 0;
    const bool big = format.byteOrder == 1;
    const int32 container = format.containerSize();
    if (format.channels <= 0)
        return false;
    if (format.sampleFormat == kFloat)
    {
        if (format.sampleSize != 32 || container != 4)
            return false;
        coding = big ? SampleCoding::kFloat32BE : SampleCoding::kFloat32LE;
        return true;
    }
    switch (container)
    {
    case 1:
        coding = format.sampleFormat == kUnsigned ? SampleCoding::kUInt8 : SampleCoding::kInt8;
        return format.sampleSize <= 8;
    case 2:
        coding = big ? SampleCoding::kInt16BE : SampleCoding::kInt16LE;
        return format.sampleSize <= 16;
    case 3:
        coding = big ? SampleCoding::kInt24BE : SampleCoding::kInt24LE;
        return format.sampleSize <= 24;
    case 4:
        // Containers wider than the sample hold it in their high bits, as files store them.
        coding = big ? SampleCoding::kInt32BE : SampleCoding::kInt32LE;
        return format.sampleSize <= 32;
    default:
        return false;
    }
}

int64 AudioConverter::getRequiredFrames(int64 frames, double targetRate, double sourceRate,
                                        bool quality)
{
    if (sourceRate <= 0 || targetRate <= 0)
        return 0;
    if (targetRate == sourceRate)
        return frames;
    const double factor = targetRate / sourceRate;
    if (!quality)
        return int64(factor * double(frames + 10));
    // The filter's history may hold up to one side of taps on top of the new input.
    return int64(double(frames + 2 * 64) * factor) + 2;
}

void AudioConverter::reset()
{
    if (rateConverter)
        rateConverter->reset();
}

bool AudioConverter::convert(const void* sourceData, void* targetData, int32& count, bool flush,
                             int32 maxOutput)
{
    SampleCoding sourceCoding, targetCoding;
    int32 sourceShift, targetShift;
    if (count < 0 || !codingOf(source, sourceCoding, sourceShift) ||
        !codingOf(target, targetCoding, targetShift))
        return false;
    if (count == 0 && !flush)
        return true;
    if (source.rate == target.rate)
    {
        if (count == 0)
            return true;
        if (convertSameRateDirect(sourceData, targetData, count))
            return true;
    }
    return convertByChannel(sourceData, targetData, count, flush, maxOutput);
}

bool AudioConverter::convertSameRateDirect(const void* sourceData, void* targetData, int32 count)
{
    SampleCoding sourceCoding, targetCoding;
    int32 sourceShift, targetShift;
    codingOf(source, sourceCoding, sourceShift);
    codingOf(target, targetCoding, targetShift);
    const bool sameChannels = source.channels == target.channels;
    const bool interleaved =
        source.frameFormat == kInterleaved && target.frameFormat == kInterleaved;
    const int32 samples = source.channels * count;

    if (sameChannels && interleaved && source == target && gain == 1.f)
    {
        std::memcpy(targetData, sourceData, size_t(source.frameSize) * size_t(count));
        return true;
    }
    if (sameChannels && interleaved &&
        source.frameSize == source.channels * bytesPerSample(sourceCoding) &&
        target.frameSize == target.channels * bytesPerSample(targetCoding))
    {
        if (targetCoding == SampleCoding::kFloat32LE)
        {
            sIntFloatConverter->toFloat(sourceCoding, sourceData, static_cast<float*>(targetData),
                                        samples, gain, sourceShift);
            if (sourceCoding == SampleCoding::kFloat32LE ||
                sourceCoding == SampleCoding::kFloat32BE)
                peak = std::max(peak,
                                sAudioPrimitives->peak(samples, static_cast<float*>(targetData)));
            return true;
        }
        if (sourceCoding == SampleCoding::kFloat32LE)
        {
            FromFloatGain settings;
            settings.endGain = gain;
            settings.peak = peak;
            // The kernel writes to its source only when asked to clear it, which this is not.
            peak = sIntFloatConverter->fromFloat(
                targetCoding, const_cast<float*>(static_cast<const float*>(sourceData)), targetData,
                samples, settings, targetShift);
            return true;
        }
        if (gain == 1.f && convertIntegerDirect(sourceData, targetData, samples))
            return true;
    }
    if (sameChannels && source.channels == 2 && source.frameFormat == kInterleaved &&
        target.frameFormat == kPlanar && targetCoding == SampleCoding::kFloat32LE &&
        source.frameSize == 2 * bytesPerSample(sourceCoding))
    {
        float* const* channels = static_cast<float* const*>(targetData);
        sIntFloatConverter->toFloatStereo(sourceCoding, sourceData, channels[0], channels[1], count,
                                          gain, sourceShift);
        return true;
    }
    if (sameChannels && source.channels == 2 && source.frameFormat == kPlanar &&
        target.frameFormat == kInterleaved && sourceCoding == SampleCoding::kFloat32LE &&
        target.frameSize == 2 * bytesPerSample(targetCoding))
    {
        const float* const* channels = static_cast<const float* const*>(sourceData);
        FromFloatGain settings;
        settings.endGain = gain;
        settings.peak = peak;
        peak = sIntFloatConverter->fromFloatStereo(targetCoding, const_cast<float*>(channels[0]),
                                                   const_cast<float*>(channels[1]), targetData,
                                                   count, settings, targetShift);
        return true;
    }
    return false;
}

// Integer to integer without a detour through float, where the rule is a byte operation.
bool AudioConverter::convertIntegerDirect(const void* sourceData, void* targetData, int32 samples)
{
    SampleCoding from, to;
    int32 fromShift, toShift;
    codingOf(source, from, fromShift);
    codingOf(target, to, toShift);
    const uint8* in = static_cast<const uint8*>(sourceData);
    uint8* out = static_cast<uint8*>(targetData);
    auto is8 = [](SampleCoding c) { return c == SampleCoding::kInt8 || c == SampleCoding::kUInt8; };
    auto signed8 = [&](int32 i)
    { return from == SampleCoding::kUInt8 ? int32(in[i]) - 128 : int32(int8(in[i])); };
    const bool toBig = to == SampleCoding::kInt16BE || to == SampleCoding::kInt24BE ||
                       to == SampleCoding::kInt32BE;
    if (from == to && fromShift == toShift)
    {
        std::memcpy(out, in, size_t(samples) * size_t(bytesPerSample(from)));
        return true;
    }
    if (is8(from) && is8(to))
    {
        for (int32 i = 0; i < samples; ++i)
            out[i] = in[i] ^ 0x80; // signed and unsigned 8 bits differ in the top bit only
        return true;
    }
    if (is8(from) && (to == SampleCoding::kInt16LE || to == SampleCoding::kInt16BE))
    {
        for (int32 i = 0; i < samples; ++i)
        {
            uint16 v = uint16(signed8(i) * 256);
            out[2 * i + (toBig ? 1 : 0)] = uint8(v);
            out[2 * i + (toBig ? 0 : 1)] = uint8(v >> 8);
        }
        return true;
    }
    if (is8(from) && (to == SampleCoding::kInt24LE || to == SampleCoding::kInt24BE))
    {
        for (int32 i = 0; i < samples; ++i)
        {
            uint8 high = uint8(signed8(i));
            out[3 * i + (toBig ? 2 : 0)] = 0;
            out[3 * i + 1] = 0;
            out[3 * i + (toBig ? 0 : 2)] = high;
        }
        return true;
    }
    if ((from == SampleCoding::kInt16LE || from == SampleCoding::kInt16BE) && is8(to))
    {
        const bool fromBig = from == SampleCoding::kInt16BE;
        for (int32 i = 0; i < samples; ++i)
        {
            uint8 high = in[2 * i + (fromBig ? 0 : 1)];
            out[i] = to == SampleCoding::kUInt8 ? uint8(high ^ 0x80) : high;
        }
        return true;
    }
    return false;
}

const uint8* AudioConverter::sourceChannel(const void* data, int32 channel, int32 count)
{
    const int32 size = source.containerSize();
    if (source.frameFormat == kPlanar)
        return static_cast<const uint8* const*>(data)[channel];
    const uint8* in = static_cast<const uint8*>(data) + channel * size;
    const size_t needed = size_t(count) * size_t(size);
    if (channelBytes.size() < needed)
        channelBytes.resize(needed);
    for (int32 i = 0; i < count; ++i)
        std::memcpy(channelBytes.data() + size_t(i) * size_t(size),
                    in + size_t(i) * size_t(source.frameSize), size_t(size));
    return channelBytes.data();
}

void AudioConverter::storeChannel(float* samples, void* data, int32 channel, int32 count)
{
    SampleCoding coding;
    int32 shift;
    codingOf(target, coding, shift);
    FromFloatGain settings;
    settings.peak = peak;
    const int32 size = target.containerSize();
    if (target.frameFormat == kPlanar)
    {
        peak = sIntFloatConverter->fromFloat(
            coding, samples, static_cast<void* const*>(data)[channel], count, settings, shift);
        return;
    }
    const size_t needed = size_t(count) * size_t(size);
    if (channelBytes.size() < needed)
        channelBytes.resize(needed);
    peak =
        sIntFloatConverter->fromFloat(coding, samples, channelBytes.data(), count, settings, shift);
    uint8* out = static_cast<uint8*>(data) + channel * size;
    for (int32 i = 0; i < count; ++i)
        std::memcpy(out + size_t(i) * size_t(target.frameSize),
                    channelBytes.data() + size_t(i) * size_t(size), size_t(size));
}

bool AudioConverter::convertByChannel(const void* sourceData, void* targetData, int32& count,
                                      bool flush, int32 maxOutput)
{
    SampleCoding sourceCoding;
    int32 sourceShift;
    codingOf(source, sourceCoding, sourceShift);
    const int32 inChannels = source.channels;
    const int32 outChannels = target.channels;
    if (floats.size() < size_t(inChannels))
        floats.resize(size_t(inChannels));
    for (int32 c = 0; c < inChannels; ++c)
    {
        auto& buffer = floats[size_t(c)];
        if (buffer.size() < size_t(count))
            buffer.resize(size_t(count));
        if (count > 0)
            sIntFloatConverter->toFloat(sourceCoding, sourceChannel(sourceData, c, count),
                                        buffer.data(), count, gain, sourceShift);
    }

    int32 frames = count;
    std::vector<std::vector<float>>* channels = &floats;
    if (source.rate != target.rate)
    {
        if (!rateConverter || rateConverter->getChannels() != inChannels)
            rateConverter = std::make_unique<ALSampleRateConverter>(inChannels, quality ? 3 : 0);
        rateConverter->setRates(source.rate, target.rate);
        const int32 capacity = rateConverter->maxOutputFor(count);
        if (resampled.size() < size_t(inChannels))
            resampled.resize(size_t(inChannels));
        inputPointers.resize(size_t(inChannels));
        outputPointers.resize(size_t(inChannels));
        for (int32 c = 0; c < inChannels; ++c)
        {
            if (resampled[size_t(c)].size() < size_t(capacity))
                resampled[size_t(c)].resize(size_t(capacity));
            inputPointers[size_t(c)] = floats[size_t(c)].data();
            outputPointers[size_t(c)] = resampled[size_t(c)].data();
        }
        frames = rateConverter->process(inputPointers.data(), count, outputPointers.data(),
                                        maxOutput >= 0 ? std::min(capacity, maxOutput) : capacity,
                                        flush);
        channels = &resampled;
    }

    // Channel counts that differ: one source channel feeds every target channel; otherwise
    // each target channel takes its own source channel and those beyond the source are
    // silent.
    for (int32 c = 0; c < outChannels; ++c)
    {
        if (frames <= 0)
            break;
        float* samples;
        if (inChannels == 1 || c < inChannels)
            samples = (*channels)[size_t(inChannels == 1 ? 0 : c)].data();
        else
        {
            auto& silence = floats[0];
            if (silence.size() < size_t(frames))
                silence.resize(size_t(frames));
            std::fill(silence.begin(), silence.begin() + frames, 0.f);
            samples = silence.data();
        }
        storeChannel(samples, targetData, c, frames);
    }
    count = frames;
    return true;
}

} // namespace Quillmark
