// The note identifiers of the notes that are open on one MIDI input, one first-in-first-out
// queue per channel and pitch, so that a note-off carries the identifier of the oldest note-on
// of its key. Touched only by the input's own thread, so it has no lock. Owned by the socket.
#pragma once

#include "qel3/qeltypes.h"

#include <boost/circular_buffer.hpp>

#include <vector>

namespace Quillmark
{

class NoteIdQueues
{
public:
    static constexpr int32 kChannels = 16;
    static constexpr int32 kPitches = 128;
    /** Open notes kept per key. A key struck more often than this without a release forgets
        its oldest identifiers first; such a note-off then ends a later note. */
    static constexpr int32 kCapacity = 16;

    NoteIdQueues();

    /** A note-on: `noteId` joins the back of its key's queue. */
    void noteOn(int32 channel, int32 pitch, int32 noteId);
    /** A note-off: the front of its key's queue, removed; -1 when no note of the key is open. */
    int32 noteOff(int32 channel, int32 pitch);
    /** Open notes of one key. */
    int32 openNotes(int32 channel, int32 pitch) const;
    void clear();

private:
    boost::circular_buffer<int32>* queueOf(int32 channel, int32 pitch);

    std::vector<boost::circular_buffer<int32>> queues; // channel * 128 + pitch
};

} // namespace Quillmark
