// A song read from a Standard MIDI File: its header and its tracks, each a MidiTrackData.
// MidiSongReader fills it; the tempo and signature changes go to the global MiniTempoTrack,
// which is the one holder of the tempo map. Only track names, channel messages, tempo and
// signature survive a read: system exclusive and other meta events are dropped.
#pragma once

#include "midi/midifilereader.h"
#include "midi/miditrackdata.h"

#include <vector>

namespace Quillmark
{

class MiniTempoTrack;

class MidiSongData : public CmObject
{
public:
    MidiSongData() = default;
    ~MidiSongData() override;
    MidiSongData(const MidiSongData&) = delete;
    MidiSongData& operator=(const MidiSongData&) = delete;

    MidiFileHeader& getHeader() { return header; }
    const MidiFileHeader& getHeader() const { return header; }
    int32 getTrackCount() const { return int32(tracks.size()); }
    MidiTrackData* getTrackAt(int32 position) const;
    /** The track with `trackIndex`, made with the song's ticks when there is none yet. */
    MidiTrackData* getTrack(int32 trackIndex);
    /** The latest event position of all tracks, in quarter notes. */
    double getLastPosition() const;
    void clear();

    void collectNotes(double start, double end, int32 channel, Qel::IEventList* list);
    void collectControllers(double start, double end, int32 channel, Qel::IEventList* list);

    QEL_DECLARE_CLASS(MidiSongData, CmObject)

private:
    std::vector<MidiTrackData*> tracks;
    MidiFileHeader header;
};

class MidiSongReader : public MidiFileReader
{
public:
    /** Reads into `song`; the tempo map goes to `tempoTrack`, the global one when null. */
    explicit MidiSongReader(MidiSongData& song, MiniTempoTrack* tempoTrack = nullptr);

protected:
    bool onHeader(const MidiFileHeader& header) override;
    void onEnd() override;
    Track getTrack(int32 channel) override;
    void setTrackName(Track track, const String& name) override;
    void closeTrack(Track track, int64 tick) override {}
    void onMidiEvent(Track track, int64 tick, uint8 status, uint8 data1, uint8 data2) override;
    void onTempo(int64 tick, float secondsPerQuarter) override;
    void onSignature(int64 tick, int32 numerator, int32 denominator) override;
    bool onMarker(int64 tick, uint8 type, int32 size, const uint8* data) override { return true; }

private:
    double positionOf(int64 tick) const;

    MidiSongData& song;
    MiniTempoTrack* tempoTrack;
};

} // namespace Quillmark
