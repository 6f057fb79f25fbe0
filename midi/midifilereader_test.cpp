#include "midi/midifilereader.h"
#include "midi/midisong.h"
#include "midi/miditestsupport.h"
#include "midi/minitempotrack.h"

#include "base/fstreams.h"

#include <gtest/gtest.h>

using namespace Quillmark;
using namespace Quillmark::miditest;

namespace
{

// Writes down every call of the parser, one line each, in the order they come.
class LoggingReader : public MidiFileReader
{
public:
    std::vector<std::string> log;
    int trackMade = 0;

protected:
    bool onHeader(const MidiFileHeader& h) override
    {
        log.push_back("header " + std::to_string(h.format) + " " + std::to_string(h.trackCount) +
                      " " + std::to_string(h.ticks));
        return true;
    }
    Track getTrack(int32 channel) override
    {
        return reinterpret_cast<Track>(intptr_t(++trackMade));
    }
    void setTrackName(Track t, const String& name) override
    {
        log.push_back("name " + name.toUtf8());
    }
    void closeTrack(Track t, int64 tick) override
    {
        log.push_back("close " + std::to_string(intptr_t(t)) + " " + std::to_string(tick));
    }
    void onMidiEvent(Track t, int64 tick, uint8 s, uint8 d1, uint8 d2) override
    {
        char line[64];
        std::snprintf(line, sizeof line, "midi %d %lld %02X %d %d", int(intptr_t(t)),
                      (long long)tick, s, d1, d2);
        log.push_back(line);
    }
    void onSysex(Track t, int64 tick, const uint8* bytes, int32 size) override
    {
        std::string line = "sysex " + std::to_string(tick);
        for (int32 i = 0; i < size; ++i)
        {
            char hex[4];
            std::snprintf(hex, sizeof hex, " %02X", bytes[i]);
            line += hex;
        }
        log.push_back(line);
    }
    void onMeta(Track t, int64 tick, uint8 type, int32 size, const uint8* data) override
    {
        log.push_back("meta " + std::to_string(type) + " " +
                      std::string(reinterpret_cast<const char*>(data), size_t(size)));
    }
    void onMetaUnassigned(int64 tick, uint8 type, int32 size, const uint8* data) override
    {
        log.push_back("unassigned " + std::to_string(type));
    }
    void onTempo(int64 tick, float spq) override
    {
        log.push_back("tempo " + std::to_string(tick) + " " + std::to_string(spq));
    }
    void onSignature(int64 tick, int32 n, int32 d) override
    {
        log.push_back("sig " + std::to_string(tick) + " " + std::to_string(n) + "/" +
                      std::to_string(d));
    }
};

bool parse(LoggingReader& reader, const std::vector<uint8_t>& bytes)
{
    FMemoryStream stream(bytes.data(), int64(bytes.size()));
    return reader.readFile(&stream);
}

using Lines = std::vector<std::string>;

} // namespace

TEST(MidiFileReader, RunningStatusSurvivesMetaAndSysexButNotOtherTracks)
{
    SmfBuilder smf;
    smf.header(1, 2, 96)
        .track({0x00, 0x90, 60,   100,             // note-on sets running status
                0x10, 61,   90,                    // running status
                0x00, 0xFF, 0x01, 0x02, 'h',  'i', // a text meta in between
                0x10, 62,   80,                    // still running
                0x00, 0xF0, 0x02, 0x7E, 0x00,      // sysex, last byte forced to F7
                0x10, 63,   70,                    // still running
                0x00, 0xC1, 5,                     // one data byte
                0x08, 6,                           // running with one byte
                0x00, 0xFF, 0x2F, 0x00})
        .track({0x00, 40, // no status yet in a new track: ignored
                0x00, 0x80, 60, 0, 0x00, 0xFF, 0x2F, 0x00});
    LoggingReader reader;
    ASSERT_TRUE(parse(reader, smf.bytes)) << reader.getStopReason();
    EXPECT_EQ(reader.getTracksRead(), 2) << reader.getStopReason();
    EXPECT_EQ(reader.log, (Lines{"header 1 2 96", "midi 1 0 90 60 100", "midi 1 16 90 61 90",
                                 "meta 1 hi", "midi 1 32 90 62 80", "sysex 32 F0 7E F7",
                                 "midi 1 48 90 63 70", "midi 1 48 C1 5 0", "midi 1 56 C1 6 0",
                                 "name hi", "close 1 56", "midi 2 0 80 60 0", "close 2 0"}));
}

TEST(MidiFileReader, ToleratesOddHeadersForeignChunksLongDeltasAndSystemBytes)
{
    SmfBuilder smf;
    smf.header(1, 1, 480, 8) // two bytes more than usual
        .chunk("XFIH", {1, 2, 3, 4, 5})
        .track({0x80, 0x80, 0x80, 0x80, 0x80, 0x01, 0x90, 60,   1, // six-byte delta of 1
                0x00, 0xF1, 0x00, 0xF2, 0x00, 0xF3, 0x00, 0xF6,    // system common bytes
                0x00, 0x90, 61,   2,                               // nothing was consumed
                0x00, 0xFF, 0x2F, 0x00});
    LoggingReader reader;
    ASSERT_TRUE(parse(reader, smf.bytes));
    EXPECT_EQ(reader.log,
              (Lines{"header 1 1 480", "midi 1 1 90 60 1", "midi 1 1 90 61 2", "close 1 1"}));
}

TEST(MidiFileReader, MetaEventsNameTracksAndCarryTempoAndSignature)
{
    SmfBuilder smf;
    smf.header(1, 2, 480)
        // A tempo track: no channel message, so no track object is ever asked for.
        .track({0x00, 0xFF, 0x03, 0x04, 'S',  'o',  'n',  'g', 0x00, 0xFF, 0x51, 0x03, 0x07, 0xA1,
                0x20, 0x00, 0xFF, 0x58, 0x04, 0x06, 0x03, 24,  8,    0x83, 0x60, 0xFF, 0x51, 0x03,
                0x0F, 0x42, 0x40, 0x00, 0xFF, 0x06, 0x01, 'M', 0x00, 0xFF, 0x2F, 0x00})
        // A text names the track until a real name comes.
        .track({0x00, 0x90, 60,  1,   0x00, 0xFF, 0x01, 0x01, 'T', 0x00, 0xFF, 0x03, 0x04,
                'L',  'e',  'a', 'd', 0x00, 0xFF, 0x03, 0x01, 'X', 0x00, 0xFF, 0x2F, 0x00});
    LoggingReader reader;
    ASSERT_TRUE(parse(reader, smf.bytes));
    EXPECT_EQ(reader.log,
              (Lines{"header 1 2 480", "tempo 0 0.500000", "sig 0 6/8", "tempo 480 1.000000",
                     "unassigned 6", "midi 1 0 90 60 1", "meta 1 T", "name Lead", "close 1 0"}));
}

TEST(MidiFileReader, SysexOfSizeZeroWritesItsEndOverTheStart)
{
    SmfBuilder smf;
    smf.header(0, 1, 96).track(
        {0x00, 0xF0, 0x00, 0x00, 0xF7, 0x03, 0x43, 0x12, 0x00, 0x00, 0xFF, 0x2F, 0x00});
    LoggingReader reader;
    ASSERT_TRUE(parse(reader, smf.bytes));
    // An 0xF7 packet is read as a sysex too.
    EXPECT_EQ(reader.log,
              (Lines{"header 0 1 96", "sysex 0 F7", "sysex 0 F0 43 12 F7", "close 1 0"}));
}

TEST(MidiFileReader, DamageKeepsWhatWasReadAndSaysWhere)
{
    SmfBuilder smf;
    smf.header(1, 2, 96).track({0x00, 0x90, 60, 100, 0x10, 0x80, 60}); // cut short
    LoggingReader reader;
    EXPECT_FALSE(parse(reader, smf.bytes));
    EXPECT_EQ(reader.log, (Lines{"header 1 2 96", "midi 1 0 90 60 100", "close 1 16"}));
    EXPECT_EQ(reader.getStopOffset(), int64(smf.bytes.size()) - 1); // at the missing byte
    EXPECT_FALSE(reader.getStopReason().empty());

    // A track count above what the file holds.
    SmfBuilder missing;
    missing.header(1, 3, 96).track({0x00, 0x90, 1, 1, 0x00, 0xFF, 0x2F, 0x00});
    LoggingReader second;
    EXPECT_FALSE(parse(second, missing.bytes));
    EXPECT_EQ(second.getTracksRead(), 1);
    EXPECT_EQ(second.log.size(), 3u);

    // A sysex length far past the end is not trusted with memory.
    SmfBuilder huge;
    huge.header(0, 1, 96).track({0x00, 0xF0, 0xFF, 0xFF, 0xFF, 0x7F, 1, 2});
    LoggingReader third;
    EXPECT_FALSE(parse(third, huge.bytes));

    for (const std::vector<uint8_t>& notMidi :
         {std::vector<uint8_t>{}, std::vector<uint8_t>{'R', 'I', 'F', 'F', 0, 0, 0, 6},
          std::vector<uint8_t>{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0}})
    {
        LoggingReader refused;
        EXPECT_FALSE(parse(refused, notMidi));
        EXPECT_TRUE(refused.log.empty());
    }
}

TEST(MidiFileReader, EarlyEndOfTrackAndWrongTrackSizes)
{
    SmfBuilder smf;
    // The first size is too large: the end-of-track meta ends the track, and the next
    // chunk starts right behind it.
    smf.header(1, 2, 96)
        .trackWithSize(100, {0x00, 0x90, 1, 1, 0x00, 0xFF, 0x2F, 0x00})
        .track({0x00, 0x90, 2, 2, 0x00, 0xFF, 0x2F, 0x00});
    LoggingReader reader;
    ASSERT_TRUE(parse(reader, smf.bytes));
    EXPECT_EQ(reader.log, (Lines{"header 1 2 96", "midi 1 0 90 1 1", "close 1 0", "midi 2 0 90 2 2",
                                 "close 2 0"}));

    // A size that ends before the end-of-track event ends the track there.
    SmfBuilder cut;
    cut.header(1, 1, 96).trackWithSize(4, {0x00, 0x90, 3, 3, 0x00, 0x90, 4, 4});
    LoggingReader second;
    ASSERT_TRUE(parse(second, cut.bytes));
    EXPECT_EQ(second.log, (Lines{"header 1 1 96", "midi 1 0 90 3 3", "close 1 0"}));
}

TEST(MidiFileHeader, DivisionForms)
{
    MidiFileHeader h;
    h.setDivision(0x01E0);
    EXPECT_EQ(h.smpte, 0);
    EXPECT_EQ(h.ticks, 480);
    EXPECT_EQ(h.smpteFrames, 0);
    h.setDivision(0xE728); // -25 frames per second, 40 ticks per frame
    EXPECT_EQ(h.smpte, 1);
    EXPECT_EQ(h.ticks, 40);
    EXPECT_EQ(h.smpteFrames, -25);
}

TEST(MidiSongReader, BuildsTracksAndTheTempoMap)
{
    SmfBuilder smf;
    smf.header(1, 3, 96)
        .track({0x00, 0xFF, 0x51, 0x03, 0x07, 0xA1, 0x20, 0x00, 0xFF, 0x58, 0x04, 0x03, 0x02,
                24,   8,    0x60, 0xFF, 0x51, 0x03, 0x03, 0xD0, 0x90, 0x00, 0xFF, 0x2F, 0x00})
        .track({0x00, 0xFF, 0x03, 0x03, 'B',  'a',  's', 0x00, 0x91, 40,   90,  0x30,
                40,   0,    0x00, 0xFF, 0x06, 0x01, 'M', 0x00, 0xFF, 0x2F, 0x00})
        .track({0x60, 0xB2, 7, 100, 0x00, 0xF0, 0x01, 0xF7, 0x00, 0xFF, 0x2F, 0x00});
    MiniTempoTrack tempo;
    MidiSongData song;
    MidiSongReader reader(song, &tempo);
    FMemoryStream stream(smf.bytes.data(), int64(smf.bytes.size()));
    ASSERT_TRUE(reader.readFile(&stream));

    ASSERT_EQ(song.getTrackCount(), 2); // the tempo track had nothing to play
    MidiTrackData* bass = song.getTrackAt(0);
    EXPECT_EQ(bass->getTrackIndex(), 1);
    EXPECT_EQ(bass->getName().toUtf8(), "Bas");
    ASSERT_EQ(bass->getEventCount(), 2);
    auto* off = static_cast<PMidiEvent*>(bass->getEvents().getLastEvent());
    EXPECT_EQ(off->getTime(), 0.5);
    EXPECT_TRUE(off->isNoteOff());
    EXPECT_EQ(song.getTrackAt(1)->getEventCount(), 1); // the sysex is dropped
    EXPECT_EQ(song.getLastPosition(), 1.0);

    ASSERT_EQ(tempo.getTempoEvents().count(), 2);
    auto* first = static_cast<TempoChangeEvent*>(tempo.getTempoEvents().getFirstEvent());
    EXPECT_EQ(first->getSecondsPerQuarter(), 0.5f);
    auto* second = static_cast<TempoChangeEvent*>(tempo.getTempoEvents().getLastEvent());
    EXPECT_EQ(second->getTime(), 1.0);
    EXPECT_FLOAT_EQ(second->getSecondsPerQuarter(), 0.25f);
    auto* signature =
        static_cast<SignatureChangeEvent*>(tempo.getSignatureEvents().getFirstEvent());
    EXPECT_EQ(signature->getNumerator(), 3);
    EXPECT_EQ(signature->getDenominator(), 4);
}

TEST(MidiSongReader, FormatZeroStaysOneTrackAndNamesTheSong)
{
    SmfBuilder smf;
    smf.header(0, 1, 0xE728) // SMPTE: ticks used as per quarter
        .track({0x00, 0xFF, 0x03, 0x04, 'T', 'u', 'n',  'e',  0x00, 0x90, 60,   1,    0x00, 0x91,
                61,   1,    0x00, 0x9F, 62,  1,   0x28, 0x80, 60,   0,    0x00, 0xFF, 0x2F, 0x00});
    MiniTempoTrack tempo;
    MidiSongData song;
    MidiSongReader reader(song, &tempo);
    FMemoryStream stream(smf.bytes.data(), int64(smf.bytes.size()));
    ASSERT_TRUE(reader.readFile(&stream));
    ASSERT_EQ(song.getTrackCount(), 1);
    EXPECT_EQ(song.getTrackAt(0)->getEventCount(), 4);
    EXPECT_EQ(song.getHeader().smpte, 1);
    EXPECT_EQ(song.getTrackAt(0)->getEvents().getLastEvent()->getTime(), 1.0); // 40 of 40
    EXPECT_EQ(String(song.getHeader().name).toUtf8(), "Tune");
}

TEST(MidiFileReader, SplitSwitchGivesEachChannelOfFormatZeroItsTrack)
{
    SmfBuilder smf;
    smf.header(0, 1, 96).track({0x00, 0x90, 60,   1,    0x00, 0x93, 61,   1,    0x10, 0x80,
                                60,   0,    0x00, 0x83, 61,   0,    0x00, 0xFF, 0x2F, 0x00});
    LoggingReader joined;
    ASSERT_TRUE(parse(joined, smf.bytes));
    EXPECT_EQ(joined.trackMade, 1);

    LoggingReader split;
    split.setSplitChannels(true);
    ASSERT_TRUE(parse(split, smf.bytes));
    EXPECT_EQ(split.log,
              (Lines{"header 0 1 96", "midi 1 0 90 60 1", "midi 2 0 93 61 1", "midi 1 16 80 60 0",
                     "midi 2 16 83 61 0", "close 1 16", "close 2 16"}));
}
