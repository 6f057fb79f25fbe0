// Writes Standard MIDI Files that other programs read back: format 1 at 480 ticks per quarter
// note, channel messages with running status, a tempo and a signature at the start of a track.
// Fed one event at a time; sizes and the track count are patched when a track ends.
#pragma once

#include "qel3/ibstream.h"

namespace Quillmark
{

class MidiTrackData;
class MiniTempoTrack;
class PMidiEvent;

class MidiFileWriter
{
public:
    static constexpr int32 kTicksPerQuarter = 480;

    explicit MidiFileWriter(IBStream* stream) : stream(stream) {}

    /** Only events with ticks in [startTick, endTick] are written. */
    void setRange(int64 startTick, int64 endTick);

    bool writeHeader();
    bool beginTrack();
    /** A tempo meta event: 60 000 000 / bpm microseconds per quarter note. */
    bool writeTempo(int64 tick, double bpm);
    /** A time signature meta event; the denominator is stored as its base-2 logarithm. */
    bool writeSignature(int64 tick, int32 numerator, int32 denominator);
    /** A channel message at `tick`; false only for a failed write. Messages other than
        0x80 to 0xE0 and events out of order or out of range are passed over. */
    bool writeEvent(const PMidiEvent& event, int64 tick);
    bool endTrack();
    /** Writes the track count into the header. */
    bool finish();

    /** A whole file of one track: header, the tempo track's tempo and signature at tick 0,
        the events, the end. */
    bool save(const MidiTrackData& track, const MiniTempoTrack& tempo);

    /** The bytes of a variable-length number, most significant first, up to four bytes. */
    static int32 encodeVarLen(uint32 value, uint8 out[4]);

private:
    bool writeBytes(const void* data, int32 size);
    bool writeVarLen(uint32 value);
    bool writeWord(uint32 value);
    bool writeDelta(int64 tick);

    IBStream* stream;
    int64 trackStart = -1; // offset of the track's size field, -1 when it cannot be patched
    uint32 trackBytes = 0;
    int64 lastTick = 0;
    uint8 runningStatus = 0;
    int16 trackCount = 0;
    int64 startTick = 0;
    int64 endTick = INT64_MAX;
};

} // namespace Quillmark
