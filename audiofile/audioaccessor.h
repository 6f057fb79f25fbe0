// Converting access to a file's samples: the caller names the format and rate it wants, and
// reads or writes in those; the accessor moves raw frames through its access stream and an
// AudioConverter. It owns the stream and the converter and keeps a reference to the file.
#pragma once

#include "audiofile/audioaccessstream.h"
#include "base/optimaudio/audioconverter.h"

#include <memory>

namespace Quillmark
{

class AudioFile;

class AudioAccessor : public CmObject
{
public:
    /** Takes the stream; starts with the file's own format in host byte order. */
    AudioAccessor(AudioFile& file, AudioAccessStream* stream);
    ~AudioAccessor() override;

    // The format the caller sees. Channel count and sample size keep the frame size in step.
    void setSampleRate(double rate) { sampleRate = rate; }
    void setSampleFormat(int32 format) { sampleFormat = format; }
    void setSampleSize(int32 bits);
    void setChannelCount(int32 channels);
    void setFrameFormat(int32 format) { frameFormat = format; }
    void setByteOrder(int32 order) { byteOrder = order; }
    void setGain(float newGain) { gain = newGain; }
    void setQuality(bool on) { quality = on; }
    double getSampleRate() const { return sampleRate; }
    int32 getSampleFormat() const { return sampleFormat; }
    int32 getSampleSize() const { return sampleSize; }
    int32 getFrameSize() const { return frameSize; }
    int32 getChannelCount() const { return channelCount; }
    int32 getFrameFormat() const { return frameFormat; }
    int32 getByteOrder() const { return byteOrder; }

    /** Frames of the file at the accessor's rate. */
    int64 getFrameCount();
    /** False only when the caller's format equals the stream's in every respect. */
    bool needsConversion();

    /** Reads up to `frames` frames in the accessor's format; answers the frames delivered, 0
        at the end, or a failure code (0x80000000). For the planar frame format `buffer` is
        an array of channel pointers. */
    int64 read(int64 frames, void* buffer);
    /** Writes `frames` frames given in the accessor's format. */
    int64 write(int64 frames, const void* buffer, bool flush = false);
    /** Answers the frame really reached at the accessor's rate. */
    int64 seek(int64 frame);
    int64 tell() const;
    AudioConverter* getConverter() { return converter.get(); }
    void close();

    QEL_DECLARE_CLASS(AudioAccessor, CmObject)

private:
    AudioConverter::Format streamFormat();
    AudioConverter::Format callerFormat() const;
    void configureConverter();
    /** Reads through a scratch buffer and converts from there. */
    int64 readCopying(int64 frames, void* buffer);
    struct InPlaceTarget
    {
        AudioConverter& converter;
        uint8* buffer;
        int64 frameSize; // the caller's
        int64 done;
        bool ok;
    };
    static void convertInPlace(void* context, const uint8* frames, int64 count);

    AudioFile& file;
    std::unique_ptr<AudioConverter> converter;
    AudioAccessStream* stream;
    int64 position = 0; // in the stream's own frames
    double sampleRate;
    float gain = 1.f;
    int32 sampleFormat;
    int32 frameFormat;
    int32 sampleSize;
    int32 frameSize;
    int32 channelCount;
    int32 byteOrder = 0;
    bool quality = true;
    std::vector<uint8*> channelPointers;
};

} // namespace Quillmark
