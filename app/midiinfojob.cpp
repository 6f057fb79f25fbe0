#include "app/midiinfojob.h"

#include "app/commandline.h"
#include "base/fstreams.h"
#include "midi/midisong.h"
#include "midi/minitempotrack.h"

#include <cstdio>
#include <ostream>

namespace Quillmark
{

namespace
{

std::string position(double quarterNotes)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.6f", quarterNotes);
    return text;
}

std::string eventLine(const PMidiEvent& e)
{
    char text[64];
    std::snprintf(text, sizeof text, "\t%02X\t%d", e.getStatus(), e.getData1());
    std::string line = position(e.getTime()) + text;
    uint8 type = e.getMessageType();
    if (type != 0xC0 && type != 0xD0)
        line += "\t" + std::to_string(e.getData2());
    return line;
}

void printHeader(const MidiFileHeader& header, std::ostream& out)
{
    out << "Format: " << header.format << "\n";
    if (header.smpte)
        out << "Division: SMPTE " << -header.smpteFrames << " frames per second, " << header.ticks
            << " ticks per frame (read as ticks per quarter note)\n";
    else
        out << "Division: " << header.ticks << " ticks per quarter note\n";
    out << "Tracks in header: " << header.trackCount << "\n";
    String name(header.name);
    if (!name.isEmpty())
        out << "Song name: " << name.toUtf8() << "\n";
}

} // namespace

bool printMidiInfo(const std::string& path, std::ostream& out, std::ostream& err)
{
    FFileStream* stream = FFileStream::open(path.c_str(), "rb");
    if (!stream)
    {
        err << path << ": cannot be opened\n";
        return false;
    }
    MiniTempoTrack tempo;
    MidiSongData song;
    MidiSongReader reader(song, &tempo);
    bool complete = reader.readFile(stream);
    stream->release();
    // Past the header everything read counts; before it, there is nothing to show.
    if (!reader.wasHeaderRead())
    {
        err << path << ": " << reader.getStopReason() << "\n";
        return false;
    }

    out << "File: " << path << "\n";
    printHeader(song.getHeader(), out);
    for (PEvent* e = tempo.getTempoEvents().getFirstEvent(); e; e = e->getNextEvent())
    {
        auto* change = static_cast<TempoChangeEvent*>(e);
        char bpm[32];
        std::snprintf(bpm, sizeof bpm, "%.3f", change->getBpm());
        out << "Tempo: " << position(e->getTime()) << "\t" << bpm << " bpm\n";
    }
    for (PEvent* e = tempo.getSignatureEvents().getFirstEvent(); e; e = e->getNextEvent())
    {
        auto* change = static_cast<SignatureChangeEvent*>(e);
        out << "Signature: " << position(e->getTime()) << "\t" << change->getNumerator() << "/"
            << change->getDenominator() << "\n";
    }
    for (int32 i = 0; i < song.getTrackCount(); ++i)
    {
        MidiTrackData* track = song.getTrackAt(i);
        out << "Track " << track->getTrackIndex() + 1 << ": \"" << track->getName().toUtf8()
            << "\", " << track->getEventCount() << " events\n";
        for (PEvent* e = track->getEvents().getFirstEvent(); e; e = e->getNextEvent())
            out << "  " << eventLine(*static_cast<PMidiEvent*>(e)) << "\n";
    }
    if (!complete)
    {
        out << "Stopped at byte " << reader.getStopOffset() << ": " << reader.getStopReason()
            << "\n";
        err << path << ": reading stopped at byte " << reader.getStopOffset() << ": "
            << reader.getStopReason() << "; what came before is shown\n";
    }
    return true;
}

int runMidiInfoJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    if (commandLine.folders.empty())
    {
        err << "Qel3PluginTestHost: --midi-info needs a MIDI file\n";
        return kExitUsage;
    }
    bool allRead = true;
    bool first = true;
    for (const std::string& path : commandLine.folders)
    {
        if (!first)
            out << "\n";
        first = false;
        allRead = printMidiInfo(path, out, err) && allRead;
    }
    return allRead ? kExitOk : kExitFailure;
}

} // namespace Quillmark
