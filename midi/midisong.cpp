#include "midi/midisong.h"
#include "midi/minitempotrack.h"

#include <algorithm>

namespace Quillmark
{

MidiSongData::~MidiSongData()
{
    clear();
}

MidiTrackData* MidiSongData::getTrackAt(int32 position) const
{
    return position >= 0 && position < getTrackCount() ? tracks[size_t(position)] : nullptr;
}

MidiTrackData* MidiSongData::getTrack(int32 trackIndex)
{
    for (MidiTrackData* t : tracks)
        if (t->getTrackIndex() == trackIndex)
            return t;
    if (tracks.size() == tracks.capacity())
        tracks.reserve(tracks.size() + 10);
    tracks.push_back(new MidiTrackData(trackIndex, header.ticks));
    return tracks.back();
}

double MidiSongData::getLastPosition() const
{
    double last = 0.0;
    for (MidiTrackData* t : tracks)
        last = std::max(last, t->getLastPosition());
    return last;
}

void MidiSongData::clear()
{
    for (MidiTrackData* t : tracks)
    {
        t->clear();
        t->release();
    }
    tracks.clear();
}

void MidiSongData::collectNotes(double start, double end, int32 channel, Qel::IEventList* list)
{
    for (MidiTrackData* t : tracks)
        t->collectNotes(start, end, channel, list);
}

void MidiSongData::collectControllers(double start, double end, int32 channel,
                                      Qel::IEventList* list)
{
    for (MidiTrackData* t : tracks)
        t->collectControllers(start, end, channel, list);
}

MidiSongReader::MidiSongReader(MidiSongData& song, MiniTempoTrack* tempoTrack)
    : song(song), tempoTrack(tempoTrack ? tempoTrack : MiniTempoTrack::instance())
{
}

bool MidiSongReader::onHeader(const MidiFileHeader& header)
{
    song.getHeader() = header;
    return true;
}

void MidiSongReader::onEnd()
{
    // A format 0 file names the song in its track, after the header was handed on.
    std::copy(std::begin(getHeader().name), std::end(getHeader().name), song.getHeader().name);
    // Once per file rather than per event: the tempo track is a process-wide service.
    if (tempoTrack)
        tempoTrack->raiseSongLength(song.getLastPosition());
}

MidiFileReader::Track MidiSongReader::getTrack(int32 channel)
{
    // Tracks keep the number of their chunk in the file, so a tempo track that vanished
    // leaves a gap rather than renumbering the rest.
    return song.getTrack(getTracksRead() - 1);
}

void MidiSongReader::setTrackName(Track track, const String& name)
{
    static_cast<MidiTrackData*>(track)->setName(name);
}

void MidiSongReader::onMidiEvent(Track track, int64 tick, uint8 status, uint8 data1, uint8 data2)
{
    static_cast<MidiTrackData*>(track)->addEvent(tick, status, data1, data2);
}

double MidiSongReader::positionOf(int64 tick) const
{
    int32 ticks =
        song.getHeader().ticks > 0 ? song.getHeader().ticks : MidiTrackData::kFallbackTicks;
    return double(tick) / double(ticks);
}

void MidiSongReader::onTempo(int64 tick, float secondsPerQuarter)
{
    if (!tempoTrack)
        return;
    auto* e = new TempoChangeEvent(secondsPerQuarter);
    e->setTime(positionOf(tick));
    tempoTrack->addTempoEvent(e);
}

void MidiSongReader::onSignature(int64 tick, int32 numerator, int32 denominator)
{
    if (!tempoTrack)
        return;
    auto* e = new SignatureChangeEvent(numerator, denominator);
    e->setTime(positionOf(tick));
    tempoTrack->addSignatureEvent(e);
}

} // namespace Quillmark
