// Fixed-size blocks for the MIDI events that files and recordings make by the hundred
// thousand: one heap request per 32768 events instead of one per event. Process-wide; the
// events return their blocks when they die, from whichever thread releases them.
#pragma once

#include "qel3/funknown.h"

#include <cstddef>

namespace Quillmark
{

class MidiEventPool
{
public:
    static constexpr size_t kFirstChunkBlocks = 32768;

    /** A block for one PMidiEvent, or null for any other size. */
    static void* allocate(size_t blockSize);
    /** Returns a block; false when it did not come from the pool. */
    static bool free(void* block);
    /** Blocks handed out and not yet returned. */
    static size_t blocksInUse();
};

} // namespace Quillmark
