// Frame-based reading and writing of a file's raw sample data. AudioFileAccessStream goes to
// the file directly; AudioBlockAccessStream reads through the block cache that all readers of
// one file share. Frame counts are 64-bit; a failure answers kAudioStreamError.
#pragma once

#include "qel3/ibstream.h"

namespace Quillmark
{

class AudioFile;
class AudioBlockBuffers;

inline constexpr int64 kAudioStreamError = 0x80000000;

class AudioAccessStream
{
public:
    virtual ~AudioAccessStream() = default;
    virtual int64 read(int64 frames, void* buffer) = 0;
    /** Receives stored frames that a stream holds in memory; `count` is at least 1. */
    using FrameSink = void (*)(void* context, const uint8* frames, int64 count);
    /** Hands `sink` the stored frames at the position straight from the stream's own memory,
        as many whole frames as lie together (at most `frames`), and moves past them: one copy
        fewer than read. Answers the frames handed; 0 when the stream keeps no such memory, at
        the end, or when the next frame lies across two pieces of it (read takes those). */
    virtual int64 readInPlace(int64 frames, FrameSink sink, void* context) { return 0; }
    virtual int64 write(int64 frames, const void* buffer) = 0;
    virtual int64 seek(int64 frame) = 0;
    virtual int64 tell() = 0;
    virtual void close() = 0;
    /** The byte stream below, borrowed; null for the cached form. */
    virtual IBStream* getStream() = 0;
};

/** Reads and writes at the data offset of the file's handler. Holds a reference to the file
    and owns the byte stream. */
class AudioFileAccessStream : public AudioAccessStream
{
public:
    AudioFileAccessStream(AudioFile& file, IBStream* stream, int64 dataOffset, int32 frameSize);
    ~AudioFileAccessStream() override;

    int64 read(int64 frames, void* buffer) override;
    int64 write(int64 frames, const void* buffer) override;
    int64 seek(int64 frame) override;
    int64 tell() override;
    /** After a write, has the handler bring the header up to date. */
    void close() override;
    IBStream* getStream() override { return stream; }

private:
    AudioFile& file;
    IBStream* stream;
    int64 dataOffset;
    int32 frameSize;
    bool written = false;
};

/** Reads through the file's shared block cache; writing is not offered. */
class AudioBlockAccessStream : public AudioAccessStream
{
public:
    AudioBlockAccessStream(AudioFile& file, IBStream* stream, int64 dataOffset, int32 frameSize);
    ~AudioBlockAccessStream() override;

    int64 read(int64 frames, void* buffer) override;
    int64 readInPlace(int64 frames, FrameSink sink, void* context) override;
    int64 write(int64, const void*) override { return kAudioStreamError; }
    int64 seek(int64 frame) override;
    int64 tell() override;
    void close() override;
    IBStream* getStream() override { return nullptr; }

private:
    AudioFile& file;
    AudioBlockBuffers* blocks;
    int64 dataOffset;
    int32 frameSize;
    int64 bytePosition;
};

} // namespace Quillmark
