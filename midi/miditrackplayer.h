// Plays a loaded MIDI file and what was recorded, as one source of events for the engine.
// Loading and saving run on the user interface thread while the engine holds off (the caller
// holds the process lock); the audio thread only reads, under each track's try-lock.
#pragma once

#include "midi/eventplayer.h"
#include "midi/midisong.h"

#include <string>

namespace Quillmark
{

class MiniTempoTrack;

class MiditrackPlayer : public EventPlayer
{
public:
    static constexpr int32 kRecordedTrackIndex = 256;

    MiditrackPlayer();
    ~MiditrackPlayer() override;

    /** Reads a Standard MIDI File in place of the current song; its tempo map replaces the
        tempo track's. False when nothing could be read; a damaged file keeps what was read
        and `getLoadError` says where it stopped. */
    bool load(const std::string& path);
    const std::string& getLoadError() const { return loadError; }
    /** Writes the recorded track, with the tempo track's tempo and signature at its start. */
    bool save(const std::string& path);
    /** Drops the song and the tempo map. */
    void clear();

    MidiSongData* getSong() const { return midiSong; }
    MidiTrackData& getRecordedTrack() { return recordedTrack; }
    /** The tempo track that a loaded song's tempo map goes to and a save reads; the
        process-wide one unless set. Borrowed. */
    void setTempoTrack(MiniTempoTrack* track) { tempoTrack = track; }
    MiniTempoTrack* getTempoTrack() const;
    /** -1 plays every channel. */
    void setChannelFilter(int16 channel) { channelFilter = channel; }
    int16 getChannelFilter() const { return channelFilter; }

    void getEvents(double start, double end, Qel::IEventList* list) override;
    void getControllers(double start, double end, Qel::IEventList* list) override;

    QEL_DECLARE_CLASS(MiditrackPlayer, EventPlayer)

private:
    MidiSongData* midiSong = nullptr;
    MidiTrackData recordedTrack;
    int16 channelFilter = -1;
    std::string loadError;
    MiniTempoTrack* tempoTrack = nullptr;
};

} // namespace Quillmark
