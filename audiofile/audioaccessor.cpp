#include "audiofile/audioaccessor.h"

#include "audiofile/audiobuffer.h"
#include "audiofile/audiofile.h"

#include <cmath>

namespace Quillmark
{

AudioAccessor::AudioAccessor(AudioFile& file, AudioAccessStream* stream)
    : file(file), stream(stream), sampleRate(file.getSampleRate()),
      sampleFormat(file.getSampleFormat()), frameFormat(file.getFrameFormat()),
      sampleSize(file.getSampleSize()), frameSize(file.getFrameSize()),
      channelCount(file.getChannelCount())
{
    file.addRef();
    channelPointers.reserve(16);
}

AudioAccessor::~AudioAccessor()
{
    close();
    file.release();
}

void AudioAccessor::close()
{
    delete stream;
    stream = nullptr;
}

void AudioAccessor::setSampleSize(int32 bits)
{
    sampleSize = bits;
    // A frame wider than needed stays only as 24-bit samples in 32-bit containers.
    const int32 needed = channelCount * (bits / 8);
    const bool wideContainers = bits == 24 && frameSize == channelCount * 4;
    if (frameSize < needed || (frameSize > needed && !wideContainers))
        frameSize = needed;
}

void AudioAccessor::setChannelCount(int32 channels)
{
    channelCount = channels;
    setSampleSize(sampleSize);
}

AudioConverter::Format AudioAccessor::streamFormat()
{
    AudioConverter::Format f;
    f.rate = float(file.getSampleRate());
    f.frameSize = int16(file.getFrameSize());
    f.sampleSize = int16(file.getSampleSize());
    f.sampleFormat = file.getSampleFormat();
    f.byteOrder = int16(file.getByteOrder());
    f.channels = int16(file.getChannelCount());
    f.frameFormat = file.getFrameFormat();
    return f;
}

AudioConverter::Format AudioAccessor::callerFormat() const
{
    AudioConverter::Format f;
    f.rate = float(sampleRate);
    f.frameSize = int16(frameSize);
    f.sampleSize = int16(sampleSize);
    f.sampleFormat = sampleFormat;
    f.byteOrder = int16(byteOrder);
    f.channels = int16(channelCount);
    f.frameFormat = frameFormat;
    return f;
}

bool AudioAccessor::needsConversion()
{
    return !(streamFormat() == callerFormat()) || gain != 1.f;
}

int64 AudioAccessor::getFrameCount()
{
    const double streamRate = file.getSampleRate();
    if (streamRate <= 0)
        return 0;
    return int64(double(file.getFrameCount()) * sampleRate / streamRate);
}

void AudioAccessor::configureConverter()
{
    if (!converter)
        converter = std::make_unique<AudioConverter>();
    converter->setGain(gain);
    converter->setQuality(quality);
    converter->setSourceFormat(streamFormat());
    converter->setTargetFormat(callerFormat());
}

int64 AudioAccessor::read(int64 frames, void* buffer)
{
    if (!stream || frames < 0)
        return kAudioStreamError;
    if (stream->seek(position) != position)
        return kAudioStreamError;
    if (!needsConversion())
    {
        int64 got = stream->read(frames, buffer);
        if (got > 0)
            position += got;
        return got;
    }
    configureConverter();
    int64 done = 0;
    if (file.getSampleRate() == sampleRate && file.getFrameFormat() != AudioConverter::kPlanar &&
        frameFormat != AudioConverter::kPlanar)
    {
        // Straight from the block cache into the caller's buffer where the stream allows it;
        // what it cannot hand over in place (a frame across two blocks) is copied below.
        InPlaceTarget target{*converter, static_cast<uint8*>(buffer), frameSize, 0, true};
        while (target.done < frames &&
               stream->readInPlace(frames - target.done, &convertInPlace, &target) > 0)
        {
        }
        if (!target.ok)
            return kAudioStreamError;
        done = target.done;
        position += done;
        if (done == frames)
            return done;
    }
    const int64 rest = readCopying(frames - done, static_cast<uint8*>(buffer) + done * frameSize);
    if (rest < 0)
        return done > 0 ? done : rest;
    return done + rest;
}

void AudioAccessor::convertInPlace(void* context, const uint8* frames, int64 count)
{
    auto& target = *static_cast<InPlaceTarget*>(context);
    int32 n = int32(count);
    if (!target.ok || !target.converter.convert(
                          frames, target.buffer + target.done * target.frameSize, n, false, n))
    {
        target.ok = false;
        return;
    }
    target.done += count;
}

int64 AudioAccessor::readCopying(int64 frames, void* buffer)
{
    if (frames <= 0)
        return 0;
    const double streamRate = file.getSampleRate();
    int64 sourceFrames = frames;
    if (streamRate != sampleRate)
    {
        sourceFrames = int64(float(streamRate / sampleRate) * float(frames));
        if (sourceFrames < 1)
            return 0;
    }
    const int32 streamFrameSize = file.getFrameSize();
    AudioBuffer* scratch = AudioBufferPool::instance().take(sourceFrames * streamFrameSize);
    if (!scratch)
        return kAudioStreamError;
    int64 got = stream->read(sourceFrames, scratch->data());
    if (got < 0)
    {
        AudioBufferPool::instance().giveBack(scratch);
        return got;
    }
    const bool flush = streamRate != sampleRate && position + got >= file.getFrameCount();
    int32 count = int32(got);
    const void* source = scratch->data();
    if (file.getFrameFormat() == AudioConverter::kPlanar)
    {
        // One stretch per channel, one after the other.
        channelPointers.clear();
        for (int32 c = 0; c < file.getChannelCount(); ++c)
            channelPointers.push_back(scratch->data() +
                                      size_t(c) * size_t(got) * size_t(file.getSampleSize() / 8));
        source = channelPointers.data();
    }
    bool ok = converter->convert(source, buffer, count, flush, int32(frames));
    AudioBufferPool::instance().giveBack(scratch);
    if (!ok || (count > frames && !flush))
        return kAudioStreamError;
    position += got;
    return count;
}

int64 AudioAccessor::write(int64 frames, const void* buffer, bool flush)
{
    if (!stream || frames < 0)
        return kAudioStreamError;
    if (stream->seek(position) != position)
        return kAudioStreamError;
    if (!needsConversion())
    {
        if (!buffer)
            return 0;
        int64 put = stream->write(frames, buffer);
        if (put > 0)
            position += put;
        return put;
    }
    configureConverter();
    // The converter works the other way round here: from the caller's format to the file's.
    converter->setSourceFormat(callerFormat());
    converter->setTargetFormat(streamFormat());
    const int64 capacity =
        AudioConverter::getRequiredFrames(frames, file.getSampleRate(), sampleRate, quality);
    AudioBuffer* scratch = AudioBufferPool::instance().take(capacity * file.getFrameSize() + 16);
    if (!scratch)
        return kAudioStreamError;
    int32 count = int32(frames);
    bool ok = converter->convert(buffer, scratch->data(), count, flush, int32(capacity));
    int64 put = ok ? stream->write(count, scratch->data()) : kAudioStreamError;
    AudioBufferPool::instance().giveBack(scratch);
    if (put < 0)
        return put;
    position += put;
    return frames;
}

int64 AudioAccessor::seek(int64 frame)
{
    const double streamRate = file.getSampleRate();
    if (frame < 0)
        return kAudioStreamError;
    if (streamRate == sampleRate || sampleRate <= 0)
    {
        position = frame;
        return frame;
    }
    const double ratio = streamRate / sampleRate;
    position = int64(double(frame) * ratio);
    if (converter)
        converter->reset();
    return int64(double(position) / ratio);
}

int64 AudioAccessor::tell() const
{
    // The position is kept in the stream's frames; at another rate it is given back in the
    // accessor's.
    double streamRate = 0;
    if (!file.attributes().getFloat("AudioSampleRate", streamRate) || streamRate <= 0 ||
        streamRate == sampleRate)
        return position;
    return int64(double(position) * sampleRate / streamRate);
}

} // namespace Quillmark
