// Feeds arbitrary bytes to the MIDI file reader through the stream entry the player and
// --midi-info use, then plays and writes back what was read.
#include "base/fstreams.h"
#include "midi/midifilewriter.h"
#include "midi/midisong.h"
#include "midi/minitempotrack.h"
#include "midi/pmidievents.h"

#include <cstddef>
#include <cstdint>

namespace
{

// Counts without keeping, as an engine block would take events.
class CountingList : public Quillmark::Qel::IEventList
{
public:
    Quillmark::int32 count = 0;
    Quillmark::int32 getEventCount() override { return count; }
    Quillmark::tresult getEvent(Quillmark::int32, Quillmark::Qel::Event&) override
    {
        return Quillmark::kResultFalse;
    }
    Quillmark::tresult addEvent(Quillmark::Qel::Event&) override
    {
        ++count;
        return Quillmark::kResultOk;
    }
    Quillmark::tresult queryInterface(const Quillmark::TUID, void** obj) override
    {
        *obj = nullptr;
        return Quillmark::kNoInterface;
    }
    Quillmark::uint32 addRef() override { return 1; }
    Quillmark::uint32 release() override { return 1; }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace Quillmark;
    auto* stream = new FMemoryStream(data, int64(size));
    MiniTempoTrack tempo;
    MidiSongData song;
    MidiSongReader reader(song, &tempo);
    reader.readFile(stream);
    stream->release();

    CountingList list;
    double end = song.getLastPosition() + 1.0;
    for (double start = 0.0; start < end && start < 64.0; start += 0.5)
    {
        song.collectNotes(start, start + 0.5, -1, &list);
        song.collectControllers(start, start + 0.5, -1, &list);
    }
    tempo.setFollowSong(true);
    tempo.applyFirstEvents();
    tempo.getSeconds(end);

    // The stored forms of sysex data and note context come from files too.
    FMemoryStream chunkBytes(data, int64(size));
    PSysexChunk chunk;
    chunk.read(&chunkBytes);
    FMemoryStream infoBytes(data, int64(size));
    NoteContextInfo info;
    info.read(&infoBytes);

    if (MidiTrackData* first = song.getTrackAt(0))
    {
        auto* out = new FMemoryStream;
        MidiFileWriter writer(out);
        writer.save(*first, tempo);
        out->release();
    }
    return 0;
}
