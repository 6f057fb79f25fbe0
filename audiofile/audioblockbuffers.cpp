#include "audiofile/audioblockbuffers.h"

#include <algorithm>
#include <cstring>

namespace Quillmark
{

namespace
{

struct BlockList
{
    std::mutex mutex;
    std::vector<AudioBlockBuffers*> entries;
    int64 created = 0;
};

BlockList& blockList()
{
    static BlockList* list = new BlockList;
    return *list;
}

} // namespace

AudioBlockBuffers::AudioBlockBuffers(const AudioFile* file, IBStream* stream, int64 blockSize)
    : file(file), stream(stream), blockSize(blockSize)
{
}

AudioBlockBuffers::~AudioBlockBuffers()
{
    for (auto& block : blocks)
        AudioBufferPool::instance().giveBack(block.buffer);
    if (stream)
        stream->release();
}

AudioBlockBuffers* AudioBlockBuffers::acquire(const AudioFile* file, IBStream* stream)
{
    BlockList& list = blockList();
    std::lock_guard<std::mutex> guard(list.mutex);
    auto it = std::find_if(list.entries.begin(), list.entries.end(),
                           [file](auto* e) { return e->file == file; });
    AudioBlockBuffers* entry;
    if (it != list.entries.end())
    {
        entry = *it;
        list.entries.erase(it);
        if (stream)
            stream->release();
    }
    else
    {
        // Staggered sizes, so the blocks of files played together end in different places
        // and their loads do not all fall into the same block.
        int64 stagger = list.created++ % 5;
        int64 size = stagger == 0 ? kDefaultBlockSize : (32 - stagger) * 0x2800;
        entry = new AudioBlockBuffers(file, stream, size);
    }
    list.entries.push_back(entry); // found entries move to the tail
    ++entry->users;
    return entry;
}

void AudioBlockBuffers::release(AudioBlockBuffers* entry)
{
    if (!entry)
        return;
    std::vector<AudioBlockBuffers*> dropped;
    {
        BlockList& list = blockList();
        std::lock_guard<std::mutex> guard(list.mutex);
        if (--entry->users > 0)
            return;
        for (auto it = list.entries.begin();
             list.entries.size() > kKeptEntries && it != list.entries.end();)
        {
            if ((*it)->users <= 0)
            {
                dropped.push_back(*it);
                it = list.entries.erase(it);
            }
            else
                ++it;
        }
    }
    for (auto* old : dropped)
        delete old;
}

void AudioBlockBuffers::forget(const AudioFile* file)
{
    AudioBlockBuffers* dropped = nullptr;
    {
        BlockList& list = blockList();
        std::lock_guard<std::mutex> guard(list.mutex);
        auto it = std::find_if(list.entries.begin(), list.entries.end(),
                               [file](auto* e) { return e->file == file; });
        if (it == list.entries.end())
            return;
        dropped = *it;
        list.entries.erase(it);
    }
    delete dropped;
}

size_t AudioBlockBuffers::entryCount()
{
    BlockList& list = blockList();
    std::lock_guard<std::mutex> guard(list.mutex);
    return list.entries.size();
}

AudioBlockBuffers::Block* AudioBlockBuffers::find(int64 index)
{
    for (auto& block : blocks)
        if (block.index == index)
            return &block;
    Block* slot = nullptr;
    if (blocks.size() < size_t(kMaxBlocks))
    {
        AudioBuffer* buffer = AudioBufferPool::instance().take(blockSize);
        if (!buffer)
            return nullptr;
        blocks.push_back(Block{-1, 0, buffer});
        slot = &blocks.back();
    }
    else
    {
        // The oldest load goes, however recently it was read from.
        slot = &*std::min_element(blocks.begin(), blocks.end(),
                                  [](const Block& a, const Block& b) { return a.stamp < b.stamp; });
    }
    slot->index = -1;
    int64 at = 0;
    if (!stream || stream->seek(index * blockSize, IBStream::kIBSeekSet, &at) != kResultOk ||
        at != index * blockSize)
        return nullptr;
    int32 got = 0;
    stream->read(slot->buffer->data(), int32(blockSize), &got);
    if (got < 1)
        return nullptr;
    slot->buffer->setUsed(got);
    slot->index = index;
    slot->stamp = ++loads;
    return slot;
}

int64 AudioBlockBuffers::read(int64 position, int64 bytes, uint8* target)
{
    int64 moved = 0;
    while (moved < bytes)
    {
        std::lock_guard<std::mutex> guard(mutex);
        const int64 at = position + moved;
        Block* block = find(at / blockSize);
        if (!block)
            return moved == 0 ? -1 : moved;
        const int64 offset = at % blockSize;
        const int64 count = std::min(bytes - moved, block->buffer->getUsed() - offset);
        if (count <= 0)
            break;
        std::memcpy(target + moved, block->buffer->data() + offset, size_t(count));
        moved += count;
    }
    return moved;
}

int64 AudioBlockBuffers::readInPlace(int64 position, int64 bytes, int32 frameSize,
                                     void (*sink)(void*, const uint8*, int64), void* context)
{
    if (frameSize <= 0 || bytes < frameSize)
        return 0;
    std::lock_guard<std::mutex> guard(mutex);
    Block* block = find(position / blockSize);
    if (!block)
        return -1;
    const int64 offset = position % blockSize;
    const int64 frames = std::min(bytes, block->buffer->getUsed() - offset) / frameSize;
    if (frames <= 0)
        return 0;
    // The lock keeps the block from being reloaded for another reader while the sink reads it.
    sink(context, block->buffer->data() + offset, frames);
    return frames;
}

} // namespace Quillmark
