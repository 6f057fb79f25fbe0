#include "audiofile/audioaccessstream.h"

#include "audiofile/audioblockbuffers.h"
#include "audiofile/audiofile.h"

#include <algorithm>

namespace Quillmark
{

namespace
{

/** At most `frames` from `at`, but none past the file's last frame when the file knows it. */
int64 framesBefore(AudioFile& file, int64 at, int64 frames)
{
    const int64 total = file.getFrameCount();
    return total >= 0 && at >= 0 && at + frames > total ? total - at : frames;
}

} // namespace

AudioFileAccessStream::AudioFileAccessStream(AudioFile& file, IBStream* stream, int64 dataOffset,
                                             int32 frameSize)
    : file(file), stream(stream), dataOffset(dataOffset), frameSize(frameSize)
{
    file.addRef();
    seek(0);
}

AudioFileAccessStream::~AudioFileAccessStream()
{
    close();
    file.release();
}

int64 AudioFileAccessStream::read(int64 frames, void* buffer)
{
    if (!stream || frames <= 0 || frameSize <= 0)
        return kAudioStreamError;
    frames = framesBefore(file, tell(), frames);
    if (frames <= 0)
        return 0;
    int64 done = 0;
    uint8* out = static_cast<uint8*>(buffer);
    const int64 bytes = frames * frameSize;
    while (done < bytes)
    {
        int32 chunk = int32(std::min<int64>(bytes - done, 1 << 30));
        int32 got = 0;
        if (stream->read(out + done, chunk, &got) != kResultOk || got <= 0)
            break;
        done += got;
    }
    return done / frameSize;
}

int64 AudioFileAccessStream::write(int64 frames, const void* buffer)
{
    if (!stream || frames < 0 || frameSize <= 0)
        return kAudioStreamError;
    int64 done = 0;
    const uint8* in = static_cast<const uint8*>(buffer);
    const int64 bytes = frames * frameSize;
    while (done < bytes)
    {
        int32 chunk = int32(std::min<int64>(bytes - done, 1 << 30));
        int32 put = 0;
        if (stream->write(const_cast<uint8*>(in + done), chunk, &put) != kResultOk || put <= 0)
            break;
        done += put;
    }
    if (done > 0)
    {
        written = true;
        int64 at = tell();
        if (at > file.getFrameCount())
            file.setFrameCount(at);
    }
    return done / frameSize;
}

int64 AudioFileAccessStream::seek(int64 frame)
{
    if (!stream || frame < 0)
        return kAudioStreamError;
    int64 result = 0;
    if (stream->seek(dataOffset + frameSize * frame, IBStream::kIBSeekSet, &result) != kResultOk)
        return kAudioStreamError;
    return frame;
}

int64 AudioFileAccessStream::tell()
{
    int64 position = 0;
    if (!stream || frameSize <= 0 || stream->tell(&position) != kResultOk ||
        position - dataOffset < 0)
        return kAudioStreamError;
    return (position - dataOffset) / frameSize;
}

void AudioFileAccessStream::close()
{
    if (!stream)
        return;
    if (written)
    {
        if (AudioFileHandler* handler = file.getHandler())
            handler->updateHeader(stream);
        written = false;
    }
    stream->release();
    stream = nullptr;
}

AudioBlockAccessStream::AudioBlockAccessStream(AudioFile& file, IBStream* stream, int64 dataOffset,
                                               int32 frameSize)
    : file(file), blocks(AudioBlockBuffers::acquire(&file, stream)), dataOffset(dataOffset),
      frameSize(frameSize), bytePosition(dataOffset)
{
    file.addRef();
}

AudioBlockAccessStream::~AudioBlockAccessStream()
{
    close();
    file.release();
}

int64 AudioBlockAccessStream::read(int64 frames, void* buffer)
{
    if (!blocks || frames <= 0 || frameSize <= 0)
        return kAudioStreamError;
    frames = framesBefore(file, tell(), frames);
    if (frames <= 0)
        return 0;
    int64 moved = blocks->read(bytePosition, frames * frameSize, static_cast<uint8*>(buffer));
    if (moved < 0)
        return kAudioStreamError;
    bytePosition += moved;
    return moved / frameSize;
}

int64 AudioBlockAccessStream::readInPlace(int64 frames, FrameSink sink, void* context)
{
    if (!blocks || frames <= 0 || frameSize <= 0)
        return 0;
    frames = framesBefore(file, tell(), frames);
    if (frames <= 0)
        return 0;
    const int64 handed =
        blocks->readInPlace(bytePosition, frames * frameSize, frameSize, sink, context);
    if (handed <= 0)
        return 0;
    bytePosition += handed * frameSize;
    return handed;
}

int64 AudioBlockAccessStream::seek(int64 frame)
{
    if (frame < 0)
        return kAudioStreamError;
    bytePosition = dataOffset + frame * frameSize;
    return frame;
}

int64 AudioBlockAccessStream::tell()
{
    if (frameSize <= 0 || bytePosition < dataOffset)
        return kAudioStreamError;
    return (bytePosition - dataOffset) / frameSize;
}

void AudioBlockAccessStream::close()
{
    AudioBlockBuffers::release(blocks);
    blocks = nullptr;
}

} // namespace Quillmark
