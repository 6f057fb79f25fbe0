// Fixed-size blocks for the MIDI events that files and recordings make by the hundred
// thousand: one heap request per chunk of blocks instead of one per event. Process-wide; the
// events return their blocks when they die, from whichever thread releases them.
//
// Taking and returning a block never locks and never touches the heap: the free blocks form a
// lock-free stack (a compare-and-swap on one 64-bit word holding the top block's index and a
// counter that changes with every operation, so a block that was taken and returned between a
// thread's read and its swap cannot be mistaken for the one it read). That is what lets the
// recorder and the MIDI drivers make and drop events on the audio and MIDI threads.
//
// Growing is a heap allocation. The first chunk holds 32768 blocks and each further one twice
// the one before. Whoever prepares real-time work calls reserve() first, off the real-time
// threads. When the free blocks run out all the same, allocate() grows the pool then and
// there, on whichever thread asked (behind a lock that only growing takes), rather than fail
// an event in the middle of a recording; growCount() tells afterwards that it happened.
#pragma once

#include "qel3/funknown.h"

#include <cstddef>

namespace Quillmark
{

class MidiEventPool
{
public:
    static constexpr size_t kFirstChunkBlocks = 32768;
    /** Chunks double from the first, so this many cover far beyond any song or recording. */
    static constexpr int kMaxChunks = 16;

    /** A block for one PMidiEvent, or null for any other size, or when the pool is at its
        last chunk and full. */
    static void* allocate(size_t blockSize);
    /** Returns a block; false when it did not come from the pool. */
    static bool free(void* block);
    /** Grows the pool until at least `blocks` blocks are free. For non-real-time threads:
        it may allocate and take the growing lock. False when the pool cannot grow that far. */
    static bool reserve(size_t blocks);

    /** Blocks handed out and not yet returned. */
    static size_t blocksInUse();
    /** Blocks in all chunks, free or not. */
    static size_t capacity();
    /** How many chunks were made: the first one, and one per growth since. */
    static int growCount();
};

} // namespace Quillmark
