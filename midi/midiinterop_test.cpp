// Files made by independent tools (python3-mido, csvmidi) read by the host, and files the
// host writes read back by mido.
#include "midi/midifilewriter.h"
#include "midi/midisong.h"
#include "midi/miditestsupport.h"
#include "midi/minitempotrack.h"

#include "base/fstreams.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

using namespace Quillmark;
using namespace Quillmark::miditest;

namespace
{

struct ReadSong
{
    MiniTempoTrack tempo;
    MidiSongData song;
    bool ok = false;

    explicit ReadSong(const std::string& path)
    {
        FFileStream* stream = FFileStream::open(path.c_str(), "rb");
        if (!stream)
            return;
        MidiSongReader reader(song, &tempo);
        ok = reader.readFile(stream);
        stream->release();
    }

    /** "track tick status data1 data2" per event, ticks from the positions. */
    std::vector<std::string> events() const
    {
        std::vector<std::string> out;
        for (int32 i = 0; i < song.getTrackCount(); ++i)
        {
            MidiTrackData* t = song.getTrackAt(i);
            for (PEvent* p = t->getEvents().getFirstEvent(); p; p = p->getNextEvent())
            {
                auto* e = static_cast<PMidiEvent*>(p);
                char line[80];
                std::snprintf(line, sizeof line, "%d %lld %d %d %d", t->getTrackIndex(),
                              std::llround(e->getTime() * song.getHeader().ticks), e->getStatus(),
                              e->getData1(), e->getData2());
                out.push_back(line);
            }
        }
        return out;
    }
};

std::vector<std::string> splitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        if (!line.empty())
            lines.push_back(line);
    return lines;
}

} // namespace

TEST(MidiInterop, EveryEventOfAMidoFileIsReadBack)
{
    TempFolder folder;
    ASSERT_TRUE(folder.valid());
    std::string path = folder.file("mido.mid");
    // mido writes running status; the script prints what it wrote, as absolute ticks, in the
    // reader's format, so the two can be compared line by line.
    std::string script = R"(
import mido, random
random.seed(7)
f = mido.MidiFile(type=1, ticks_per_beat=384)
conductor = mido.MidiTrack()
conductor.append(mido.MetaMessage('track_name', name='Conductor', time=0))
conductor.append(mido.MetaMessage('set_tempo', tempo=500000, time=0))
conductor.append(mido.MetaMessage('time_signature', numerator=7, denominator=8, time=0))
conductor.append(mido.MetaMessage('set_tempo', tempo=428571, time=1536))
conductor.append(mido.MetaMessage('time_signature', numerator=3, denominator=4, time=384))
f.tracks.append(conductor)
expected = []
for index in (1, 2):
    t = mido.MidiTrack()
    t.append(mido.MetaMessage('track_name', name='Voice %d' % index, time=0))
    tick = 0
    for i in range(200):
        ch = random.randrange(16)
        kind = random.choice(['note_on', 'note_off', 'control_change', 'program_change',
                              'pitchwheel', 'aftertouch', 'polytouch'])
        delta = random.choice([0, 0, 1, 7, 96, 200, 20000])
        if kind in ('note_on', 'note_off'):
            m = mido.Message(kind, channel=ch, note=random.randrange(128),
                             velocity=random.randrange(128), time=delta)
        elif kind == 'control_change':
            m = mido.Message(kind, channel=ch, control=random.randrange(128),
                             value=random.randrange(128), time=delta)
        elif kind == 'program_change':
            m = mido.Message(kind, channel=ch, program=random.randrange(128), time=delta)
        elif kind == 'pitchwheel':
            m = mido.Message(kind, channel=ch, pitch=random.randrange(-8192, 8192), time=delta)
        elif kind == 'aftertouch':
            m = mido.Message(kind, channel=ch, value=random.randrange(128), time=delta)
        else:
            m = mido.Message(kind, channel=ch, note=random.randrange(128),
                             value=random.randrange(128), time=delta)
        if i % 50 == 10:
            t.append(mido.Message('sysex', data=[0x7E, 1, 2], time=0))
            t.append(mido.MetaMessage('text', text='between', time=0))
        t.append(m)
        tick += delta
        b = m.bytes() + [0]
        expected.append('%d %d %d %d %d' % (index, tick, b[0], b[1], b[2] if len(b) > 3 else 0))
    f.tracks.append(t)
f.save(%PATH%)
print('\n'.join(expected))
)";
    script.replace(script.find("%PATH%"), 6, "'" + path + "'");
    bool ran = false;
    std::string expected = runPython(folder, script, ran);
    ASSERT_TRUE(ran) << expected;

    ReadSong read(path);
    ASSERT_TRUE(read.ok);
    EXPECT_EQ(read.song.getHeader().format, 1);
    EXPECT_EQ(read.song.getHeader().trackCount, 3);
    EXPECT_EQ(read.song.getHeader().ticks, 384);
    EXPECT_EQ(read.events(), splitLines(expected));
    ASSERT_EQ(read.song.getTrackCount(), 2);
    EXPECT_EQ(read.song.getTrackAt(0)->getName().toUtf8(), "Voice 1");
    EXPECT_EQ(read.song.getTrackAt(1)->getName().toUtf8(), "Voice 2");

    const PEventQueue& tempos = read.tempo.getTempoEvents();
    ASSERT_EQ(tempos.count(), 2);
    EXPECT_EQ(static_cast<TempoChangeEvent*>(tempos.getFirstEvent())->getSecondsPerQuarter(), 0.5f);
    EXPECT_EQ(tempos.getLastEvent()->getTime(), 4.0);
    EXPECT_NEAR(static_cast<TempoChangeEvent*>(tempos.getLastEvent())->getBpm(), 140.0, 0.001);
    const PEventQueue& signatures = read.tempo.getSignatureEvents();
    ASSERT_EQ(signatures.count(), 2);
    auto* first = static_cast<SignatureChangeEvent*>(signatures.getFirstEvent());
    EXPECT_EQ(first->getNumerator(), 7);
    EXPECT_EQ(first->getDenominator(), 8);
    EXPECT_EQ(signatures.getLastEvent()->getTime(), 5.0);
}

TEST(MidiInterop, CsvmidiFormatZeroWithSysexAndTempo)
{
    TempFolder folder;
    ASSERT_TRUE(folder.valid());
    std::string csv = folder.file("song.csv");
    std::string path = folder.file("csv.mid");
    std::ofstream(csv) << "0, 0, Header, 0, 1, 120\n"
                          "1, 0, Start_track\n"
                          "1, 0, Title_t, \"Csv Song\"\n"
                          "1, 0, Tempo, 750000\n"
                          "1, 0, Time_signature, 5, 2, 24, 8\n"
                          "1, 0, Note_on_c, 0, 60, 100\n"
                          "1, 0, Note_on_c, 9, 36, 127\n"
                          "1, 30, System_exclusive, 3, 65, 16, 247\n"
                          "1, 60, Note_off_c, 0, 60, 0\n"
                          "1, 60, Note_on_c, 9, 36, 0\n"
                          "1, 90, Pitch_bend_c, 3, 16383\n"
                          "1, 120, Control_c, 15, 64, 127\n"
                          "1, 240, Program_c, 2, 33\n"
                          "1, 240, Marker_t, \"Verse\"\n"
                          "1, 300, Channel_aftertouch_c, 4, 77\n"
                          "1, 300, End_track\n"
                          "0, 0, End_of_file\n";
    std::string command = "csvmidi " + quote(csv) + " " + quote(path);
    ASSERT_EQ(std::system(command.c_str()), 0);

    ReadSong read(path);
    ASSERT_TRUE(read.ok);
    EXPECT_EQ(read.song.getHeader().format, 0);
    EXPECT_EQ(String(read.song.getHeader().name).toUtf8(), "Csv Song");
    EXPECT_EQ(read.events(),
              (std::vector<std::string>{"0 0 144 60 100", "0 0 153 36 127", "0 60 128 60 0",
                                        "0 60 153 36 0", "0 90 227 127 127", "0 120 191 64 127",
                                        "0 240 194 33 0", "0 300 212 77 0"}));
    ASSERT_EQ(read.tempo.getTempoEvents().count(), 1);
    EXPECT_FLOAT_EQ(
        static_cast<TempoChangeEvent*>(read.tempo.getTempoEvents().getFirstEvent())->getBpm(),
        80.0f);
    auto* signature =
        static_cast<SignatureChangeEvent*>(read.tempo.getSignatureEvents().getFirstEvent());
    ASSERT_NE(signature, nullptr);
    EXPECT_EQ(signature->getNumerator(), 5);
    EXPECT_EQ(signature->getDenominator(), 4);
}

TEST(MidiFileWriter, ExactBytesWithRunningStatusAndRange)
{
    FMemoryStream stream;
    MidiFileWriter writer(&stream);
    ASSERT_TRUE(writer.writeHeader());
    ASSERT_TRUE(writer.beginTrack());
    ASSERT_TRUE(writer.writeTempo(0, 90.0));
    ASSERT_TRUE(writer.writeSignature(0, 6, 8));
    writer.setRange(0, 20000);
    PMidiEvent on(0x90, 60, 100), on2(0x90, 64, 90), program(0xC1, 5, 0), sysex(0xF0, 0, 0),
        late(0x90, 1, 1);
    ASSERT_TRUE(writer.writeEvent(on, 0));
    ASSERT_TRUE(writer.writeEvent(on2, 200));       // running status: no status byte
    ASSERT_TRUE(writer.writeEvent(sysex, 300));     // not a channel message: passed over
    ASSERT_TRUE(writer.writeEvent(program, 100));   // earlier than the last: passed over
    ASSERT_TRUE(writer.writeEvent(program, 20000)); // 19800 ticks: a three-byte delta
    ASSERT_TRUE(writer.writeEvent(late, 20001));    // past the range
    ASSERT_TRUE(writer.endTrack());
    ASSERT_TRUE(writer.finish());

    const std::vector<uint8_t> expected = {
        'M',  'T',  'h',  'd',  0,    0,    0,    6,  0, 1, 0, 1, 0x01, 0xE0, // header, 480 ticks
        'M',  'T',  'r',  'k',  0,    0,    0,    32,                         // 32 bytes of track
        0x00, 0xFF, 0x51, 0x03, 0x0A, 0x2C, 0x2A,                             // 666666 us
        0x00, 0xFF, 0x58, 0x04, 6,    3,    24,   8,                          // 6/8
        0x00, 0x90, 60,   100,                                                //
        0x81, 0x48, 64,   90,                                                 // delta 200, running
        0x81, 0x9A, 0x58, 0xC1, 5,                                            // delta 19800
        0x00, 0xFF, 0x2F, 0x00};
    ASSERT_EQ(stream.size(), int64(expected.size()));
    EXPECT_EQ(std::vector<uint8_t>(stream.data(), stream.data() + stream.size()), expected);

    uint8 b[4];
    EXPECT_EQ(MidiFileWriter::encodeVarLen(0, b), 1);
    EXPECT_EQ(MidiFileWriter::encodeVarLen(0x7F, b), 1);
    ASSERT_EQ(MidiFileWriter::encodeVarLen(0x80, b), 2);
    EXPECT_EQ(b[0], 0x81);
    EXPECT_EQ(b[1], 0x00);
    ASSERT_EQ(MidiFileWriter::encodeVarLen(0x0FFFFFFF, b), 4);
    EXPECT_EQ(b[0], 0xFF);
    EXPECT_EQ(b[3], 0x7F);
}

TEST(MidiFileWriter, RecordingsReadBackByMidoWithTheSameNotes)
{
    TempFolder folder;
    ASSERT_TRUE(folder.valid());
    MidiTrackData recorded(256, MidiFileWriter::kTicksPerQuarter);
    // What a recorder hands over: plug-in note events and controller values.
    for (int i = 0; i < 40; ++i)
    {
        Qel::Event on{};
        on.type = Qel::Event::kNoteOnEvent;
        on.noteOn = {int16(i % 3), int16(40 + i), 0.0f, float(i + 1) / 40.0f, 0, i};
        recorded.addMidiEvent(on, i * 0.5);
        Qel::Event off{};
        off.type = Qel::Event::kNoteOffEvent;
        off.noteOff = {int16(i % 3), int16(40 + i), 0.5f, i, 0.0f};
        recorded.addMidiEvent(off, i * 0.5 + 0.25);
        if (i % 10 == 0)
            recorded.addParameter(1, 129, 1.0, i * 0.5 + 0.1);
    }
    MiniTempoTrack tempo;
    tempo.setFixedTempo(100.0);
    tempo.setSignature(3, 4);
    std::string path = folder.file("recorded.mid");
    FFileStream* stream = FFileStream::open(path.c_str(), "wb");
    ASSERT_NE(stream, nullptr);
    MidiFileWriter writer(stream);
    ASSERT_TRUE(writer.save(recorded, tempo));
    stream->release();

    std::string script = R"(
import mido
f = mido.MidiFile(%PATH%)
print('type', f.type, 'tracks', len(f.tracks), 'ticks', f.ticks_per_beat)
tick = 0
for m in f.tracks[0]:
    tick += m.time
    if m.type == 'set_tempo':
        print('tempo', tick, m.tempo)
    elif m.type == 'time_signature':
        print('signature', tick, m.numerator, m.denominator)
    elif m.type in ('note_on', 'note_off'):
        print(m.type, tick, m.channel, m.note, m.velocity)
    elif m.type == 'pitchwheel':
        print('bend', tick, m.channel, m.pitch)
)";
    script.replace(script.find("%PATH%"), 6, "'" + path + "'");
    bool ran = false;
    std::vector<std::string> lines = splitLines(runPython(folder, script, ran));
    ASSERT_TRUE(ran) << (lines.empty() ? "" : lines.back());

    std::vector<std::string> expected = {"type 1 tracks 1 ticks 480", "tempo 0 600000",
                                         "signature 0 3 4"};
    for (int i = 0; i < 40; ++i)
    {
        int vel = int(float(i + 1) / 40.0f * 127.0f);
        expected.push_back("note_on " + std::to_string(i * 240) + " " + std::to_string(i % 3) +
                           " " + std::to_string(40 + i) + " " + std::to_string(vel));
        if (i % 10 == 0)
            expected.push_back("bend " + std::to_string(i * 240 + 48) + " 1 8191");
        expected.push_back("note_off " + std::to_string(i * 240 + 120) + " " +
                           std::to_string(i % 3) + " " + std::to_string(40 + i) + " 63");
    }
    EXPECT_EQ(lines, expected);
}
