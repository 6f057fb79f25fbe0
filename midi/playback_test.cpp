// Patterns, the MIDI file player, the tempo track and tap tempo, as the engine and the user
// interface drive them.
#include "midi/eventpattern.h"
#include "midi/midisong.h"
#include "midi/miditestsupport.h"
#include "midi/miditrackplayer.h"
#include "midi/minitempotrack.h"
#include "midi/pmidifiltersetup.h"
#include "midi/taptempo.h"

#include "base/fattributes.h"
#include "base/fstreams.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::miditest;

namespace
{

// A plain event list, as the engine's own carries events into process.
class Events : public Qel::IEventList
{
public:
    std::vector<Qel::Event> items;

    int32 getEventCount() override { return int32(items.size()); }
    tresult getEvent(int32 index, Qel::Event& e) override
    {
        if (index < 0 || index >= getEventCount())
            return kInvalidArgument;
        e = items[size_t(index)];
        return kResultOk;
    }
    tresult addEvent(Qel::Event& e) override
    {
        items.push_back(e);
        return kResultOk;
    }
    tresult queryInterface(const TUID, void** obj) override
    {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }
};

} // namespace

TEST(PatternPlayer, StepsCrossBlockBoundariesAndWrapAtSixteen)
{
    PatternPlayer player;
    EventPattern& pattern = player.getPattern();
    for (int32 i = 0; i < 16; ++i)
        pattern.setPitch(i, 40 + i);
    pattern.setStepLengthIndex(3); // half a quarter note

    Events first;
    player.getEvents(0.0, 0.75, &first); // steps at 0 and 0.5
    ASSERT_EQ(first.items.size(), 4u);
    EXPECT_EQ(first.items[0].type, Qel::Event::kNoteOnEvent);
    EXPECT_EQ(first.items[0].noteOn.pitch, 40);
    EXPECT_EQ(first.items[0].noteOn.velocity, 0.75f);
    EXPECT_EQ(first.items[0].noteOn.noteId, 0);
    EXPECT_EQ(first.items[1].type, Qel::Event::kNoteOffEvent);
    EXPECT_EQ(first.items[1].ppqPosition, 0.5);
    EXPECT_EQ(first.items[1].noteOff.noteId, 0);
    EXPECT_EQ(first.items[2].ppqPosition, 0.5);
    EXPECT_EQ(first.items[2].noteOn.pitch, 41);

    // The next block starts where the last one ended; the step at 1.0 belongs to it.
    Events second;
    player.getEvents(0.75, 1.0, &second);
    EXPECT_TRUE(second.items.empty());
    player.getEvents(1.0, 1.5, &second);
    ASSERT_EQ(second.items.size(), 2u);
    EXPECT_EQ(second.items[0].ppqPosition, 1.0);
    EXPECT_EQ(second.items[0].noteOn.pitch, 42);

    // Short steps over a long block: many steps in one call, wrapping at 16 whatever the
    // step length.
    pattern.setStepLengthIndex(5);
    Events many;
    player.getEvents(1.5, 4.0, &many); // 20 steps of 0.125
    ASSERT_EQ(many.items.size(), 40u);
    EXPECT_EQ(many.items[0].noteOn.noteId, 3);
    EXPECT_EQ(many.items[26].noteOn.noteId, 0); // step 16 is step 0 again
    EXPECT_EQ(many.items[26].noteOn.pitch, 40);
    EXPECT_EQ(player.getCurrentStep(), (3 + 20) % 16);

    // Inactive: no notes, but time goes on.
    player.setActive(false);
    Events silent;
    player.getEvents(4.0, 5.0, &silent);
    EXPECT_TRUE(silent.items.empty());
    EXPECT_EQ(player.getNextStepPosition(), 5.0);
}

TEST(EventPattern, EditActionsAndStepLengths)
{
    EventPattern pattern;
    for (int32 i = 0; i < 16; ++i)
    {
        EXPECT_GE(pattern.getPitch(i), 36);
        EXPECT_LE(pattern.getPitch(i), 72);
    }
    pattern.setPitch(0, 50);
    pattern.chromatic();
    EXPECT_EQ(pattern.getPitch(0), 50);
    EXPECT_EQ(pattern.getPitch(15), 65);
    pattern.clear();
    for (int32 i = 0; i < 16; ++i)
        EXPECT_EQ(pattern.getPitch(i), 0);

    // A pitch of 0 is still played.
    PatternPlayer player;
    player.getPattern().clear();
    Events events;
    player.getEvents(0.0, 0.1, &events);
    ASSERT_EQ(events.items.size(), 2u);
    EXPECT_EQ(events.items[0].noteOn.pitch, 0);

    const double lengths[] = {4, 2, 1, 0.5, 0.25, 0.125, 1, 1};
    for (int32 index = 0; index < 8; ++index)
    {
        pattern.setStepLengthIndex(index == 7 ? -1 : index);
        EXPECT_EQ(pattern.getStepLength(), lengths[index]) << index;
    }
}

TEST(MidiTrackData, NotesAndControllersForABlock)
{
    MidiTrackData track(0, 4);
    track.addEvent(0, 0x90, 60, 127);
    track.addEvent(0, 0xB0, 7, 100);
    track.addEvent(1, 0x91, 61, 0); // note-on of velocity 0: a note-off
    track.addEvent(2, 0xA0, 60, 50);
    track.addEvent(2, 0xE0, 0x7F, 0x7F);
    track.addEvent(4, 0x80, 60, 64);
    track.addEvent(4, 0xC0, 9, 0);
    track.addEvent(6, 0xD1, 33, 0);

    Events notes;
    track.collectNotes(0.0, 1.0, -1, &notes);
    ASSERT_EQ(notes.items.size(), 3u);
    EXPECT_EQ(notes.items[0].type, Qel::Event::kNoteOnEvent);
    EXPECT_FLOAT_EQ(notes.items[0].noteOn.velocity, 1.0f);
    EXPECT_EQ(notes.items[0].noteOn.noteId, -1);
    EXPECT_EQ(notes.items[1].type, Qel::Event::kNoteOffEvent);
    EXPECT_EQ(notes.items[1].noteOff.velocity, 0.0f);
    EXPECT_EQ(notes.items[1].ppqPosition, 0.25);
    EXPECT_EQ(notes.items[2].type, Qel::Event::kPolyPressureEvent);
    EXPECT_NEAR(notes.items[2].polyPressure.pressure, 50 / 127.0, 1e-6);

    Events channelOne;
    track.collectNotes(0.0, 2.0, 1, &channelOne);
    ASSERT_EQ(channelOne.items.size(), 1u);
    EXPECT_EQ(channelOne.items[0].noteOff.pitch, 61);

    // Controllers block by block, then back to the start as after a jump.
    Events c1, c2, c3, c4;
    track.collectControllers(0.0, 0.5, -1, &c1);
    track.collectControllers(0.5, 1.0, -1, &c2);
    track.collectControllers(1.0, 2.0, -1, &c3);
    track.collectControllers(0.0, 0.0, -1, &c4); // an empty range at the start
    ASSERT_EQ(c1.items.size(), 1u);
    EXPECT_EQ(c1.items[0].midiCCOut.controlNumber, 7);
    EXPECT_EQ(c1.items[0].midiCCOut.value, 100);
    ASSERT_EQ(c2.items.size(), 1u); // the bend at 0.5 belongs to the second block only
    EXPECT_EQ(c2.items[0].midiCCOut.controlNumber, MidiTrackData::kPitchBend);
    EXPECT_EQ(c2.items[0].midiCCOut.value, 0x7F);
    EXPECT_EQ(c2.items[0].midiCCOut.value2, 0x7F);
    ASSERT_EQ(c3.items.size(), 2u);
    EXPECT_EQ(c3.items[0].midiCCOut.controlNumber, MidiTrackData::kProgramChange);
    EXPECT_EQ(c3.items[0].midiCCOut.value, 9);
    EXPECT_EQ(c3.items[1].midiCCOut.controlNumber, MidiTrackData::kChannelPressure);
    EXPECT_EQ(c3.items[1].midiCCOut.channel, 1);
    EXPECT_EQ(c3.items[1].midiCCOut.value, 33);
    ASSERT_EQ(c4.items.size(), 1u);
    EXPECT_EQ(c4.items[0].midiCCOut.controlNumber, 7);

    // A seek backwards within the track finds the earlier controllers again.
    Events back;
    track.collectControllers(1.5, 2.0, -1, &back);
    track.collectControllers(0.5, 1.0, -1, &back);
    ASSERT_EQ(back.items.size(), 2u);
    EXPECT_EQ(back.items[0].midiCCOut.controlNumber, MidiTrackData::kChannelPressure);
    EXPECT_EQ(back.items[1].midiCCOut.controlNumber, MidiTrackData::kPitchBend);

    // A busy or disabled track gives nothing rather than wait.
    ASSERT_TRUE(track.tryLock());
    Events busy;
    track.collectNotes(0.0, 10.0, -1, &busy);
    track.collectControllers(0.0, 10.0, -1, &busy);
    EXPECT_TRUE(busy.items.empty());
    track.unlock();
    track.setDisabled(true);
    track.collectNotes(0.0, 10.0, -1, &busy);
    EXPECT_TRUE(busy.items.empty());
}

TEST(MidiTrackData, ClearWaitsForTheReaderToLeave)
{
    MidiTrackData track(0, 480);
    for (int i = 0; i < 100; ++i)
        track.addEvent(i * 10, 0x90, 60, 100);
    ASSERT_TRUE(track.tryLock());
    std::thread reader(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            EXPECT_EQ(track.getEventCount(), 100); // not cleared while held
            track.unlock();
        });
    track.clear();
    reader.join();
    EXPECT_EQ(track.getEventCount(), 0);
    EXPECT_EQ(track.getLastPosition(), 0.0);
}

TEST(MiditrackPlayer, LoadPlaysSaveWritesTheRecording)
{
    TempFolder folder;
    ASSERT_TRUE(folder.valid());
    std::string path = folder.file("in.mid");
    SmfBuilder smf;
    smf.header(1, 2, 96)
        .track({0x00, 0xFF, 0x51, 0x03, 0x09, 0x27, 0xC0, 0x00, 0xFF, 0x58, 0x04, 0x03, 0x02, 24, 8,
                0x00, 0xFF, 0x2F, 0x00})
        .track({0x00, 0x90, 60,   100,  0x30, 0x91, 62,   100,  0x30, 0x80,
                60,   0,    0x00, 0xB1, 1,    5,    0x00, 0xFF, 0x2F, 0x00});
    writeBytes(path, smf.bytes);

    MiniTempoTrack* tempo = MiniTempoTrack::instance();
    ASSERT_NE(tempo, nullptr);
    tempo->setFollowSong(true);
    MiditrackPlayer player;
    ASSERT_TRUE(player.load(path)) << player.getLoadError();
    EXPECT_EQ(player.getLoadError(), "");
    EXPECT_NEAR(tempo->getTempo(), 100.0, 1e-3); // 600000 us per quarter note
    EXPECT_EQ(tempo->getNumerator(), 3);
    EXPECT_EQ(tempo->getSongLength(), 1.0);

    Events notes;
    player.getEvents(0.0, 1.0, &notes);
    EXPECT_EQ(notes.items.size(), 2u);
    player.setChannelFilter(1);
    Events filtered;
    player.getEvents(0.0, 2.0, &filtered);
    player.getControllers(0.0, 2.0, &filtered);
    ASSERT_EQ(filtered.items.size(), 2u);
    EXPECT_EQ(filtered.items[0].noteOn.pitch, 62);
    EXPECT_EQ(filtered.items[1].midiCCOut.controlNumber, 1);

    // A file that is not MIDI leaves nothing loaded; one cut short keeps what was read.
    std::string wave = folder.file("not.mid");
    writeBytes(wave, {'R', 'I', 'F', 'F', 0, 0, 0, 0});
    EXPECT_FALSE(player.load(wave));
    EXPECT_EQ(player.getSong(), nullptr);
    std::string cut = folder.file("cut.mid");
    writeBytes(cut, std::vector<uint8_t>(smf.bytes.begin(), smf.bytes.end() - 10));
    EXPECT_TRUE(player.load(cut));
    EXPECT_NE(player.getLoadError().find("stopped at byte"), std::string::npos);
    ASSERT_NE(player.getSong(), nullptr);
    EXPECT_EQ(player.getSong()->getTrackAt(0)->getEventCount(), 2);

    // The recording goes out at 480 ticks with the tempo track's tempo and signature.
    Qel::Event on{};
    on.type = Qel::Event::kNoteOnEvent;
    on.noteOn = {0, 64, 0.0f, 1.0f, 0, 1};
    player.getRecordedTrack().addMidiEvent(on, 2.0);
    std::string out = folder.file("out.mid");
    ASSERT_TRUE(player.save(out));
    std::string bytes = readText(out);
    const std::string expected("MThd\0\0\0\x06\0\x01\0\x01\x01\xE0MTrk\0\0\0\x18"
                               "\0\xFF\x51\x03\x09\x27\xC0\0\xFF\x58\x04\x03\x02\x18\x08"
                               "\x87\x40\x90\x40\x7F\0\xFF\x2F\0",
                               46);
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(player.getRecordedTrack().getTicksPerQuarter(), 480);
    tempo->setFollowSong(false);
    player.clear();
}

TEST(MiniTempoTrack, PositionsBarsAndSeconds)
{
    MiniTempoTrack tempo;
    EXPECT_EQ(tempo.getContext().state, 0x22f00u);
    EXPECT_EQ(tempo.getSampleRate(), 44100.0);
    tempo.setSignature(3, 4);
    tempo.setPosition(7.5);
    EXPECT_EQ(tempo.getBarStart(), 6.0);
    tempo.setPosition(-1.0); // before the start: the bar that holds it
    EXPECT_EQ(tempo.getBarStart(), -3.0);
    tempo.advance(4.0);
    EXPECT_EQ(tempo.getPosition(), 3.0);
    EXPECT_EQ(tempo.getBarStart(), 3.0);

    // Fixed tempo: the map is ignored.
    auto* faster = new TempoChangeEvent(0.25f);
    faster->setTime(4.0);
    tempo.addTempoEvent(faster);
    EXPECT_DOUBLE_EQ(tempo.getSeconds(8.0), 4.0);
    // Following the song: four quarters at 120, then four at 240.
    tempo.setFollowSong(true);
    EXPECT_DOUBLE_EQ(tempo.getSeconds(8.0), 3.0);
    EXPECT_DOUBLE_EQ(tempo.getSeconds(2.0), 1.0);
    // The scale stretches the start of the song as much as its changes.
    tempo.setTempoScale(2.0);
    EXPECT_DOUBLE_EQ(tempo.getTempo(), 240.0);
    EXPECT_DOUBLE_EQ(tempo.getSeconds(8.0), 1.0 + 0.5);

    // Changes take effect in the block that holds them.
    tempo.setTempoScale(1.0);
    auto* signature = new SignatureChangeEvent(7, 8);
    signature->setTime(4.0);
    tempo.addSignatureEvent(signature);
    tempo.applyRange(0.0, 4.0);
    EXPECT_EQ(tempo.getTempo(), 120.0);
    tempo.applyRange(4.0, 5.0);
    EXPECT_EQ(tempo.getTempo(), 240.0);
    EXPECT_EQ(tempo.getNumerator(), 7);
    EXPECT_EQ(tempo.getDenominator(), 8);
    tempo.setFollowSong(false);
    EXPECT_EQ(tempo.getTempo(), 120.0);
}

TEST(MiniTempoTrack, SeekSnapsToTheBeat)
{
    MiniTempoTrack tempo;
    tempo.raiseSongLength(10.0);
    EXPECT_DOUBLE_EQ(tempo.seek(0.33), 0.33);
    EXPECT_DOUBLE_EQ(tempo.getPosition(), 3.3);
    EXPECT_EQ(tempo.getContext().projectTimeSamples, int64(3.3 * 0.5 * 44100 + 0.5));
    tempo.setSnapToGrid(true);
    EXPECT_DOUBLE_EQ(tempo.seek(0.33), 0.325); // 3.25 quarter notes: a whole sixteenth
    EXPECT_DOUBLE_EQ(tempo.getPosition(), 3.25);
    EXPECT_DOUBLE_EQ(tempo.seek(1.0), 1.0); // the end is never snapped
    EXPECT_DOUBLE_EQ(tempo.getPosition(), 10.0);
}

TEST(TapTempo, IntervalsAveragesAndLimits)
{
    TapTempo taps;
    taps.update();
    EXPECT_EQ(taps.getTempo(), -1.0f);
    taps.tap(1000);
    EXPECT_TRUE(taps.hasChanged());
    taps.update();
    EXPECT_FALSE(taps.hasChanged()); // one tap says nothing yet
    taps.tap(1500);
    taps.update();
    EXPECT_FLOAT_EQ(taps.getTempo(), 120.0f);
    taps.tap(2100); // 600: mean of 500 and 600
    taps.update();
    EXPECT_FLOAT_EQ(taps.getTempo(), 60000.0f / 550.0f);
    taps.tap(2800); // 700: integer mean of three, 600
    taps.update();
    EXPECT_FLOAT_EQ(taps.getTempo(), 100.0f);
    taps.tap(3510); // 710 replaces the oldest: (710 + 600 + 700) / 3 = 670
    taps.update();
    EXPECT_FLOAT_EQ(taps.getTempo(), 60000.0f / 670.0f);

    // A jump of more than 250 ms against the last interval starts the averaging anew.
    taps.tap(3510 + 1000);
    EXPECT_EQ(taps.getTapCount(), 2);
    taps.update();
    EXPECT_FLOAT_EQ(taps.getTempo(), 60.0f);

    // 1500 ms is still a beat; 1501 starts over, and so does a tap closer than 250 ms.
    TapTempo slow;
    slow.tap(0);
    slow.tap(1500);
    EXPECT_EQ(slow.getTapCount(), 2);
    slow.tap(3001);
    EXPECT_EQ(slow.getTapCount(), 1);
    EXPECT_EQ(slow.getTempo(), -1.0f);
    slow.tap(3251);
    EXPECT_EQ(slow.getTapCount(), 2);
    slow.tap(3500);
    EXPECT_EQ(slow.getTapCount(), 1);
}

TEST(PMidiFilterSetup, StoresItsSwitches)
{
    MidiSupport::PMidiFilterSetup setup;
    EXPECT_EQ(setup.getFilterStates(), 0x2040u);
    EXPECT_EQ(setup.getChannelStates(), 0u);
    setup.setFilterStates(0x1234);
    setup.setChannelStates(0xFFFF);
    setup.setControllerOn(64, true);
    setup.setControllerOn(200, true); // no such controller
    setup.setState(122, 7);
    setup.setState(123, 7); // past the array
    EXPECT_EQ(setup.getState(122), 7);
    EXPECT_EQ(setup.getState(123), 0);
    FAttributes attributes;
    setup.store(attributes);
    MidiSupport::PMidiFilterSetup back;
    back.restore(attributes);
    EXPECT_EQ(back.getFilterStates(), 0x1234u);
    EXPECT_EQ(back.getChannelStates(), 0xFFFFu);
    EXPECT_TRUE(back.isControllerOn(64));
    EXPECT_FALSE(back.isControllerOn(63));
    EXPECT_EQ(MidiSupport::PMidiFilterSetup::instance(), MidiSupport::PMidiFilterSetup::instance());
}
