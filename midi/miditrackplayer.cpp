#include "midi/miditrackplayer.h"

#include "base/fstreams.h"
#include "midi/midifilewriter.h"
#include "midi/minitempotrack.h"

namespace Quillmark
{

MiditrackPlayer::MiditrackPlayer() : recordedTrack(kRecordedTrackIndex) {}

MiditrackPlayer::~MiditrackPlayer()
{
    if (midiSong)
        midiSong->release();
}

MiniTempoTrack* MiditrackPlayer::getTempoTrack() const
{
    return tempoTrack ? tempoTrack : MiniTempoTrack::instance();
}

void MiditrackPlayer::clear()
{
    if (midiSong)
    {
        midiSong->release();
        midiSong = nullptr;
    }
    if (MiniTempoTrack* tempo = getTempoTrack())
        tempo->clearMaps();
}

bool MiditrackPlayer::load(const std::string& path)
{
    loadError.clear();
    FFileStream* stream = FFileStream::open(path.c_str(), "rb");
    if (!stream)
    {
        loadError = path + ": cannot be opened";
        return false;
    }
    clear();
    auto* song = new MidiSongData;
    MidiSongReader reader(*song, getTempoTrack());
    bool complete = reader.readFile(stream);
    stream->release();
    if (!complete)
        loadError = path + ": reading stopped at byte " + std::to_string(reader.getStopOffset()) +
                    ": " + reader.getStopReason();
    if (!reader.wasHeaderRead())
    {
        song->release();
        return false;
    }
    midiSong = song;
    if (MiniTempoTrack* tempo = getTempoTrack())
        tempo->applyFirstEvents();
    return true;
}

bool MiditrackPlayer::save(const std::string& path)
{
    MiniTempoTrack* tempo = getTempoTrack();
    if (!tempo)
        return false;
    FFileStream* stream = FFileStream::open(path.c_str(), "wb");
    if (!stream)
        return false;
    recordedTrack.setTicksPerQuarter(MidiFileWriter::kTicksPerQuarter);
    MidiFileWriter writer(stream);
    bool ok = writer.save(recordedTrack, *tempo) && stream->close();
    stream->release();
    return ok;
}

void MiditrackPlayer::getEvents(double start, double end, Qel::IEventList* list)
{
    if (midiSong)
        midiSong->collectNotes(start, end, channelFilter, list);
    recordedTrack.collectNotes(start, end, channelFilter, list);
}

void MiditrackPlayer::getControllers(double start, double end, Qel::IEventList* list)
{
    if (midiSong)
        midiSong->collectControllers(start, end, channelFilter, list);
    recordedTrack.collectControllers(start, end, channelFilter, list);
}

} // namespace Quillmark
