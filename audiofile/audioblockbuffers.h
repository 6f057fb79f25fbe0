// The block cache of one audio file, shared by every cached reader of it: at most four blocks
// of the file, the least recently loaded one reused for a fifth. Entries hang in one global
// list, found by their file and counted by the streams that use them.
#pragma once

#include "audiofile/audiobuffer.h"
#include "qel3/ibstream.h"

#include <mutex>
#include <vector>

namespace Quillmark
{

class AudioFile;

class AudioBlockBuffers
{
public:
    static constexpr int32 kMaxBlocks = 4;
    static constexpr int64 kDefaultBlockSize = 0x50000;
    static constexpr size_t kKeptEntries = 4;

    /** The entry of `file`, made on first use with `stream` (whose reference it takes;
        otherwise the stream is released), its use count raised. */
    static AudioBlockBuffers* acquire(const AudioFile* file, IBStream* stream);
    /** Lowers the use count; unused entries beyond four are dropped, oldest first. */
    static void release(AudioBlockBuffers* entry);
    /** Drops the entry of a file that goes away, so a later file at the same address never
        finds its blocks. */
    static void forget(const AudioFile* file);
    /** Entries in the global list, for tests. */
    static size_t entryCount();

    /** Copies up to `bytes` from file position `position`; answers the bytes copied, or -1
        when loading the first block needed failed. */
    int64 read(int64 position, int64 bytes, uint8* target);
    /** Hands `sink`, under the cache's lock, the whole frames of `frameSize` bytes that lie in
        the block at `position`, at most `bytes` of them; answers how many frames, 0 when the
        first one crosses into the next block, -1 when the block cannot be loaded. */
    int64 readInPlace(int64 position, int64 bytes, int32 frameSize,
                      void (*sink)(void*, const uint8*, int64), void* context);

    int64 getBlockSize() const { return blockSize; }
    /** How many loads from the file this entry made, for tests. */
    int64 getLoadCount() const { return loads; }

private:
    struct Block
    {
        int64 index = -1;
        int64 stamp = 0;
        AudioBuffer* buffer = nullptr;
    };

    AudioBlockBuffers(const AudioFile* file, IBStream* stream, int64 blockSize);
    ~AudioBlockBuffers();
    Block* find(int64 index);

    const AudioFile* file;
    IBStream* stream;
    int64 blockSize;
    int32 users = 0;
    int64 loads = 0;
    std::vector<Block> blocks;
    std::mutex mutex;
};

} // namespace Quillmark
