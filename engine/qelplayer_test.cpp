// The player over a real graph, rack and plug-ins: each value changes what it should in the
// graph or the tempo track, the metronome is heard on the beats, the texts of the position, the
// "Player" settings across a restart, and MIDI files through the player and back.
#include "engine/playertestsupport.h"

#include "base/fmessage.h"
#include "base/values/ufloatvalues.h"
#include "base/values/uintvalues.h"
#include "base/values/urationalvalue.h"
#include "base/values/ustringlistvalue.h"
#include "base/values/ustringvalue.h"
#include "base/values/uvalueproxy.h"
#include "engine/gainvalue.h"
#include "engine/positiontext.h"
#include "engine/slotparametervalue.h"
#include "engine/testsupport/allocationcounter.h"
#include "midi/miditrackplayer.h"
#include "midi/pmidifiltersetup.h"

#include <cmath>

using namespace Quillmark;
using namespace Quillmark::MiniEngine;
using namespace Quillmark::MiniEngine::testing;
using Quillmark::testing::readFile;
using Quillmark::testing::writeFile;

namespace
{

using P = QelPlayer;

/** Writes a MIDI file with mido: one track of quarter notes at 480 ticks, `quarters` long,
    at `bpm` and in `numerator`/`denominator`. */
std::string makeMidoFile(const Quillmark::testing::TempFolder& folder, const std::string& name,
                         int quarters, int bpm = 120, int numerator = 4, int denominator = 4)
{
    const std::string path = folder.file(name);
    const std::string script = "import mido\n"
                               "f = mido.MidiFile(type=1, ticks_per_beat=480)\n"
                               "t = mido.MidiTrack()\n"
                               "t.append(mido.MetaMessage('set_tempo', tempo=mido.bpm2tempo(" +
                               std::to_string(bpm) +
                               "), time=0))\n"
                               "t.append(mido.MetaMessage('time_signature', numerator=" +
                               std::to_string(numerator) +
                               ", denominator=" + std::to_string(denominator) +
                               ", time=0))\n"
                               "for i in range(" +
                               std::to_string(quarters) +
                               "):\n"
                               "    t.append(mido.Message('note_on', note=60 + i % 12, "
                               "velocity=100, time=0))\n"
                               "    t.append(mido.Message('note_off', note=60 + i % 12, "
                               "velocity=0, time=480))\n"
                               "f.tracks.append(t)\n"
                               "f.save('" +
                               path + "')\n";
    bool ok = false;
    const std::string output = runDebianPython(folder, script, ok);
    EXPECT_TRUE(ok) << output;
    return path;
}

double peak(const TestDevice& device, int32 from, int32 to)
{
    double result = 0.0;
    for (int32 s = from; s < to; ++s)
        result = std::max(result, double(std::fabs(device.out(0, s))));
    return result;
}

} // namespace

TEST_F(PlayerFixture, PlayStartsStopPausesAndASecondStopRewinds)
{
    player->press(P::kPlay);
    EXPECT_TRUE(graph->isPlaying());
    EXPECT_EQ(number(P::kStop), 0);
    run(10);
    const double reached = tempo->getPosition();
    EXPECT_NEAR(reached, 10 * kBlock / kRate * 2.0, 1e-9); // 120 bpm: two quarters a second

    // A click on the lit play button keeps it lit.
    value(P::kPlay).setInt(0);
    EXPECT_EQ(number(P::kPlay), 1);
    EXPECT_TRUE(graph->isPlaying());

    player->press(P::kStop);
    EXPECT_FALSE(graph->isPlaying());
    EXPECT_EQ(number(P::kPlay), 0);
    EXPECT_EQ(number(P::kStop), 1);
    run(2);
    EXPECT_DOUBLE_EQ(tempo->getPosition(), reached); // the position stays

    player->press(P::kStop);
    EXPECT_EQ(tempo->getPosition(), 0.0);
    EXPECT_EQ(tempo->getContext().projectTimeSamples, 0);
    EXPECT_EQ(number(P::kStop), 0);
    player->press(P::kStop); // at rest already
    EXPECT_EQ(tempo->getPosition(), 0.0);
    EXPECT_FALSE(graph->isPlaying());

    player->press(P::kPlay);
    EXPECT_TRUE(graph->isPlaying());
    EXPECT_EQ(number(P::kStop), 0);
}

TEST_F(PlayerFixture, LoopSignalsGainsAndListsReachTheEngine)
{
    value(P::kLoop).setInt(1);
    EXPECT_TRUE(graph->isLooping());
    EXPECT_TRUE(tempo->getContext().state & Qel::ProcessContext::kCycleActive);
    value(P::kLoop).setInt(0);
    EXPECT_FALSE(graph->isLooping());

    value(P::kInputSignal).setInt(0);
    EXPECT_EQ(graph->getInputOperator()->getInputSignal(), 0);
    value(P::kAuxInputSignal).setInt(2);
    EXPECT_EQ(graph->getInputOperator()->getAuxInputSignal(), 2);
    EXPECT_EQ(text(P::kAuxInputSignal), "Silence");

    value(P::kVolume).setNormalized(0.25);
    float gain = 0.0f;
    graph->getOutputGain(gain);
    EXPECT_FLOAT_EQ(gain, 0.25f);
    value(P::kInput1Gain).setText("-6.02");
    EXPECT_NEAR(graph->getInputOperator()->getSignal().getGain(), 0.5, 1e-3);
    value(P::kInput2Gain).setText("-oo");
    EXPECT_EQ(graph->getInputOperator()->getAuxSignal().getGain(), 0.0f);

    value(P::kRecordMode).setText("Count In 2");
    EXPECT_EQ(graph->getRecordMode(), AudioGraph::kRecordCountIn2);
    value(P::kMidiChannel).setText("10");
    EXPECT_EQ(graph->getInputOperator()->getMidiPlayer().getChannelFilter(), 9);
    value(P::kMidiChannel).setText("All");
    EXPECT_EQ(graph->getInputOperator()->getMidiPlayer().getChannelFilter(), -1);
    value(P::kMidiFilterAllNoteOff).setInt(1);
    EXPECT_TRUE(MidiSupport::PMidiFilterSetup::instance()->isControllerOn(123));
    MidiSupport::PMidiFilterSetup::instance()->setControllerOn(123, false); // process-wide
    value(P::kMidiFilterAllNoteOff).setInt(0);
    EXPECT_FALSE(MidiSupport::PMidiFilterSetup::instance()->isControllerOn(123));
    value(P::kActivatePatterns).setInt(0);
    EXPECT_FALSE(graph->getInputOperator()->getPatternPlayer().isActive());

    // The step editor is the view's sub-controller; its switch reaches the pattern player.
    FController* editor = player->findController("eventEditor");
    ASSERT_NE(editor, nullptr);
    editor->findValue("eventsActive")->setInt(0);
    editor->findValue("eventsActive")->setInt(1);
    EXPECT_TRUE(graph->getInputOperator()->getPatternPlayer().isActive());
    EXPECT_EQ(player->findController("metronome"), nullptr); // no metronome slot yet

    // Messages of the device layer.
    auto* lock = new FMessage("LockProcess");
    player->notify(lock);
    lock->release();
    EXPECT_TRUE(graph->isDisabled());
    auto* unlock = new FMessage("UnLockProcess");
    player->notify(unlock);
    unlock->release();
    EXPECT_FALSE(graph->isDisabled());
}

TEST_F(PlayerFixture, TempoScaleCoversHalfToDoubleSpeedWithoutAGap)
{
    value(P::kTempo).setFloat(100.0);
    EXPECT_DOUBLE_EQ(tempo->getTempo(), 100.0);

    value(P::kTempoScale).setFloat(0.0);
    EXPECT_DOUBLE_EQ(tempo->getTempo(), 50.0);
    value(P::kTempoScale).setFloat(1.0);
    EXPECT_DOUBLE_EQ(tempo->getTempo(), 200.0);
    value(P::kTempoScale).setFloat(0.5);
    EXPECT_DOUBLE_EQ(tempo->getTempo(), 100.0);
    value(P::kTempoScale).setFloat(0.501);
    EXPECT_GT(tempo->getTempo(), 100.0);
    EXPECT_LT(tempo->getTempo(), 100.5);
    value(P::kTempoScale).setFloat(0.499);
    EXPECT_LT(tempo->getTempo(), 100.0);
    EXPECT_GT(tempo->getTempo(), 99.5);

    // The graph's own tempo change keeps the scale; a typed tempo resets it.
    value(P::kTempoScale).setFloat(1.0);
    graph->setTempo(90.0);
    EXPECT_DOUBLE_EQ(tempo->getTempo(), 180.0);
    value(P::kTempo).setFloat(80.0);
    EXPECT_DOUBLE_EQ(number(P::kTempoScale), 0.5);
    EXPECT_DOUBLE_EQ(tempo->getTempo(), 80.0);

    // The transport moves at the scaled tempo.
    value(P::kTempoScale).setFloat(1.0);
    player->press(P::kPlay);
    run(4);
    EXPECT_NEAR(tempo->getPosition(), 4 * kBlock / kRate * 160.0 / 60.0, 1e-9);
    player->idle();
    EXPECT_DOUBLE_EQ(number(P::kTempo), 80.0); // the display shows the tempo before the scale
}

TEST_F(PlayerFixture, TapTempoSetsTheTempoFromTheTapsAndKeepsTheScale)
{
    int64 now = 5'000'000;
    player->setClock([&now] { return now; });
    value(P::kTempoScale).setFloat(0.0);
    for (int i = 0; i < 3; ++i)
    {
        player->press(P::kTapTempo);
        EXPECT_EQ(number(P::kTapTempo), 0); // a button springs back
        now += 600'000;                     // 600 ms: 100 bpm
    }
    EXPECT_DOUBLE_EQ(tempo->getFixedTempo(), 100.0);
    EXPECT_DOUBLE_EQ(tempo->getTempo(), 50.0);
    // A tap after a long pause starts over and changes nothing yet.
    now += 5'000'000;
    player->press(P::kTapTempo);
    EXPECT_DOUBLE_EQ(tempo->getFixedTempo(), 100.0);
}

TEST_F(PlayerFixture, SignatureAndTimeFormatShapeThePositionText)
{
    value(P::kSignature).setText("3/4");
    EXPECT_EQ(tempo->getNumerator(), 3);
    EXPECT_EQ(tempo->getDenominator(), 4);
    EXPECT_EQ(value(P::kSignature).setText("0/4"), kResultFalse);
    EXPECT_EQ(tempo->getNumerator(), 3);

    player->idle();
    EXPECT_EQ(text(P::kTime), "001.  1. 1");
    player->press(P::kPlay);
    // 3.625 quarter notes at 120 bpm and 48 kHz: 87000 samples, away from any edge of a
    // sixteenth or a tenth of a second.
    run(87000 / 500, 500);
    player->idle();
    EXPECT_EQ(text(P::kTime), "002.  1. 3");
    value(P::kTimeFormat).setInt(0);
    EXPECT_FALSE(tempo->getSnapToGrid());
    player->idle();
    EXPECT_EQ(text(P::kTime), "00:00:01.8");
}

TEST(PositionText, ClockBarsAndCountIn)
{
    EXPECT_EQ(formatTimePosition(0.0).toUtf8(), "00:00:00.0");
    EXPECT_EQ(formatTimePosition(3723.45).toUtf8(), "01:02:03.4");
    EXPECT_EQ(formatTimePosition(25 * 3600.0 + 1.0).toUtf8(), "01:00:01.0"); // hours wrap at 24
    EXPECT_EQ(formatBarPosition(0.0, 4, 4).toUtf8(), "001.  1. 1");
    EXPECT_EQ(formatBarPosition(5.75, 4, 4).toUtf8(), "002.  2. 4");
    // 6/8: a bar of three quarter notes, beats of an eighth, two sixteenths each.
    EXPECT_EQ(formatBarPosition(3.75, 6, 8).toUtf8(), "002.  2. 2");
    EXPECT_EQ(formatBarPosition(0.0, 11, 8).toUtf8(), "001. 01. 1");
    // The count-in counts bars 2, 1 and the beats down.
    EXPECT_EQ(formatBarPosition(-8.0, 4, 4).toUtf8(), ">  2.  4  <");
    EXPECT_EQ(formatBarPosition(-4.0, 4, 4).toUtf8(), ">  1.  4  <");
    EXPECT_EQ(formatBarPosition(-0.5, 4, 4).toUtf8(), ">  1.  1  <");
    EXPECT_EQ(formatBarPosition(-1.0, 12, 8).toUtf8(), ">  1. 02.  <");
    EXPECT_EQ(formatPosition(kPositionTime, -1.5, 0.0, 4, 4).toUtf8(), ">  1.  2  <");
    EXPECT_EQ(formatBarPosition(1.0, 0, 4).toUtf8(), "");
}

TEST(GainValueText, DecibelsBothWays)
{
    GainValue gain("volume", 115);
    EXPECT_DOUBLE_EQ(gain.getGain(), 0.5); // plain default 50 of 0..100
    gain.setGain(1.0);
    String shown;
    gain.getText(shown);
    EXPECT_EQ(shown.toUtf8(), "0.00");
    EXPECT_EQ(gain.setText("-20 dB"), kResultOk);
    EXPECT_NEAR(gain.getGain(), 0.1, 1e-12);
    gain.getText(shown);
    EXPECT_EQ(shown.toUtf8(), "-20.00");
    EXPECT_EQ(gain.setText("+6"), kResultOk); // more than unity is clipped
    EXPECT_DOUBLE_EQ(gain.getGain(), 1.0);
    gain.setGain(1e-6);
    gain.getText(shown);
    EXPECT_EQ(shown.toUtf8(), "-oo");
    gain.setGain(2e-6);
    gain.getText(shown);
    EXPECT_EQ(shown.toUtf8(), "-113.98");
    EXPECT_EQ(gain.setText("loud"), kResultFalse);
    EXPECT_EQ(gain.setText("3 dBFS"), kResultFalse);
    EXPECT_NEAR(gain.getGain(), 2e-6, 1e-15);
}

TEST_F(PlayerFixture, SongEndStopsOnIdleAndTheSongPositionSnapsToTheGrid)
{
    const std::string path = makeMidoFile(temp, "eight.mid", 8);
    std::string problem;
    ASSERT_TRUE(player->loadMidiFile(path, &problem)) << problem;
    EXPECT_EQ(text(P::kMidiFileName), "eight.mid");
    ASSERT_DOUBLE_EQ(tempo->getSongLength(), 8.0);

    // Scrubbing with the grid on lands on a multiple of a quarter of the signature's
    // denominator: 0.333 of 8 quarters is 2.664, which goes to 2.75.
    value(P::kSongPosition).setFloat(333.0);
    EXPECT_DOUBLE_EQ(tempo->getPosition(), 2.75);
    EXPECT_DOUBLE_EQ(number(P::kSongPosition), 343.75);
    EXPECT_EQ(tempo->getContext().projectTimeSamples, int64(2.75 * 0.5 * kRate));
    value(P::kTimeFormat).setInt(0); // time display: no grid
    value(P::kSongPosition).setFloat(333.0);
    EXPECT_NEAR(tempo->getPosition(), 2.664, 1e-12);

    // Played to the end, the transport runs on until "Idle" stops it.
    value(P::kSongPosition).setFloat(0.0);
    player->press(P::kPlay);
    run(int32(4.0 * kRate / kBlock) + 2); // a little over four seconds: eight quarters
    EXPECT_GE(tempo->getSongPositionRatio(), 1.0);
    EXPECT_TRUE(graph->isPlaying());
    player->idle();
    EXPECT_FALSE(graph->isPlaying());
    EXPECT_EQ(number(P::kPlay), 0);
    EXPECT_DOUBLE_EQ(number(P::kSongPosition), P::kSongPositionMax);
    // Play at the end starts from the beginning.
    player->press(P::kPlay);
    EXPECT_EQ(tempo->getPosition(), 0.0);
    EXPECT_EQ(number(P::kSongPosition), 0.0);

    // With loop on, the end is not a stop.
    value(P::kLoop).setInt(1);
    run(int32(4.0 * kRate / kBlock) + 2);
    player->idle();
    EXPECT_TRUE(graph->isPlaying());
    EXPECT_LT(tempo->getPosition(), 8.0);
}

TEST_F(PlayerFixture, ScrubbingPausesTheTransportUntilTheGestureEnds)
{
    makeMidoFile(temp, "four.mid", 4);
    ASSERT_TRUE(player->loadMidiFile(temp.file("four.mid")));
    player->press(P::kPlay);
    run(2);
    value(P::kSongPosition).beginEdit();
    EXPECT_FALSE(graph->isPlaying());
    value(P::kSongPosition).setFloat(500.0);
    EXPECT_DOUBLE_EQ(tempo->getPosition(), 2.0);
    value(P::kSongPosition).endEdit();
    EXPECT_TRUE(graph->isPlaying());
    // A gesture that starts at rest leaves the transport at rest.
    player->press(P::kStop);
    value(P::kSongPosition).beginEdit();
    value(P::kSongPosition).endEdit();
    EXPECT_FALSE(graph->isPlaying());
}

TEST_F(PlayerFixture, RecordWithCountInStartsTheTransportAfterTwoBars)
{
    value(P::kRecordMode).setText("Count In 2");
    player->press(P::kRecord);
    EXPECT_TRUE(graph->isRecording());
    EXPECT_EQ(number(P::kSongPositionIndicator), 2);
    EXPECT_FALSE(graph->isPlaying());
    // Two bars of 4/4, stretched to whole blocks, plus one block.
    const double blockBeats = 2.0 * kBlock / kRate;
    const double countIn = blockBeats * (std::ceil(8.0 / blockBeats) + 1.0);
    EXPECT_NEAR(graph->getCountInBeats(), countIn, 1e-9);
    EXPECT_NEAR(tempo->getPosition(), -countIn, 1e-9);
    // The count-in reaches a hair into a third bar before the two it counts down.
    run(2);
    player->idle();
    EXPECT_EQ(text(P::kTime), ">  2.  4  <");

    int32 blocks = 0;
    while (!graph->isPlaying() && blocks < 1000)
    {
        run(1);
        ++blocks;
    }
    // The last block of the count-in may leave a rounding rest that takes one block more.
    EXPECT_NEAR(blocks, double(std::llround(countIn / blockBeats)) - 2.0, 1.0);
    player->idle();
    EXPECT_EQ(number(P::kPlay), 1);
    EXPECT_EQ(number(P::kSongPositionIndicator), 2);

    // Stop ends the recording and keeps the position.
    run(3);
    player->press(P::kStop);
    EXPECT_FALSE(graph->isRecording());
    EXPECT_EQ(number(P::kRecord), 0);
    EXPECT_EQ(number(P::kSongPositionIndicator), 0);
    EXPECT_GT(tempo->getPosition(), 0.0);
}

TEST_F(PlayerFixture, MetronomeClicksOnTheBeatsOnlyWhenSwitchedOn)
{
    std::string problem;
    QelSlot* slot = player->loadPlugin(FUID(Qel::Examples::kMetronomeCid.bytes), -1, &problem);
    ASSERT_NE(slot, nullptr) << problem;
    ASSERT_NE(player->getMetronome(), nullptr);
    EXPECT_EQ(player->findController("metronome"), player->getMetronome());
    // The default routing put the clicks on the device.
    ASSERT_TRUE(slot->getOperator()->getOutputPin(0)->isConnectedTo(device->playbacks[0]));

    auto* enable = static_cast<UValueProxy*>(&value(P::kMetronomeEnable));
    auto* playMode = static_cast<UValueProxy*>(&value(P::kMetronomePlayMode));
    ASSERT_NE(enable->getTarget(), nullptr);
    ASSERT_NE(playMode->getTarget(), nullptr);
    ASSERT_NE(static_cast<UValueProxy*>(&value(P::kMetronomeVolume))->getTarget(), nullptr);

    value(P::kMetronomeMode).setText("On");
    EXPECT_EQ(enable->getInt(), 1);
    EXPECT_EQ(playMode->getInt(), 0);
    // 120 bpm at 48 kHz: a beat every 24000 samples; blocks of 1000 put beats at block starts.
    player->press(P::kPlay);
    auto blockPeaks = [&](int32 blocks)
    {
        std::vector<double> peaks;
        for (int32 b = 0; b < blocks; ++b)
        {
            device->runBlock(*graph, 1000, kRate);
            peaks.push_back(peak(*device, 0, 1000));
        }
        return peaks;
    };
    std::vector<double> peaks = blockPeaks(49);
    for (int32 b : {0, 24, 48})
        EXPECT_GT(peaks[size_t(b)], 0.05) << "beat at block " << b;
    for (int32 b : {2, 12, 23, 26, 40})
        EXPECT_EQ(peaks[size_t(b)], 0.0) << "no beat at block " << b;
    EXPECT_GT(peaks[0], peaks[24]); // the first beat of the bar is accented
    {
        // Clicking allocates nothing on the thread that renders.
        Quillmark::testing::CountAllocations counting;
        run(48, 1000);
        EXPECT_EQ(counting.allocations(), 0);
    }

    value(P::kMetronomeMode).setText("Off");
    EXPECT_EQ(enable->getInt(), 0);
    player->press(P::kStop);
    player->press(P::kStop);
    run(3, 1000); // the last click dies away at rest
    player->press(P::kPlay);
    peaks = blockPeaks(49);
    for (int32 b : {0, 24, 48})
        EXPECT_EQ(peaks[size_t(b)], 0.0) << "silent metronome at block " << b;

    // "Count In" is silent while the song plays.
    value(P::kMetronomeMode).setText("Count In");
    EXPECT_EQ(playMode->getInt(), 1);
    EXPECT_EQ(enable->getInt(), 1);
    peaks = blockPeaks(25);
    EXPECT_EQ(peaks[24], 0.0);
}

TEST_F(PlayerFixture, PlayerSettingsSurviveARestartThroughTheStoreFile)
{
    value(P::kTempo).setFloat(133.0);
    value(P::kSignature).setText("7/8");
    value(P::kTimeFormat).setInt(0);
    value(P::kTempoScale).setFloat(0.7);
    value(P::kRecordMode).setText("MIDI");
    value(P::kMetronomeMode).setText("Count In");
    value(P::kVolume).setNormalized(0.3);
    value(P::kDontAskForQuit).setInt(1);
    value(P::kMidiFilterAllNoteOff).setInt(1);
    ASSERT_TRUE(player->loadMidiFile(makeMidoFile(temp, "kept.mid", 2, 133, 7, 8)));
    value(P::kTempo).setFloat(133.0); // the song brought its own; the typed one is kept
    value(P::kTempoScale).setFloat(0.7);
    player->shutdown();
    player->release();
    player = nullptr;
    ASSERT_TRUE(settings->save());

    // A fresh engine state and a store read back from the file.
    graph->setTempo(120.0);
    graph->setTimeSignature(4, 4);
    tempo->setTempoScale(1.0);
    graph->setOutputGain(1.0f);
    MidiSupport::PMidiFilterSetup::instance()->setControllerOn(123, false);
    settings->release();
    settings = new FDefaultPool(temp.file("Defaults"));
    ASSERT_TRUE(settings->load());
    player = new QelPlayer(graph, rack, settings, registry, &dialogs);

    EXPECT_DOUBLE_EQ(number(P::kTempo), 133.0);
    EXPECT_EQ(text(P::kSignature), "7/8");
    EXPECT_EQ(number(P::kTimeFormat), 0);
    EXPECT_DOUBLE_EQ(number(P::kTempoScale), 0.7);
    EXPECT_EQ(text(P::kRecordMode), "MIDI");
    EXPECT_EQ(text(P::kMetronomeMode), "Count In");
    EXPECT_DOUBLE_EQ(value(P::kVolume).getNormalized(), 0.3);
    EXPECT_EQ(number(P::kDontAskForQuit), 1);
    EXPECT_EQ(text(P::kMidiFileName), "kept.mid");
    EXPECT_EQ(number(P::kMidiFilterAllNoteOff), 1);
    // ... and they reached the engine.
    EXPECT_TRUE(MidiSupport::PMidiFilterSetup::instance()->isControllerOn(123));
    MidiSupport::PMidiFilterSetup::instance()->setControllerOn(123, false); // process-wide
    EXPECT_DOUBLE_EQ(tempo->getFixedTempo(), 133.0);
    EXPECT_DOUBLE_EQ(tempo->getTempo(), 133.0 * 1.4);
    EXPECT_EQ(tempo->getNumerator(), 7);
    EXPECT_EQ(tempo->getDenominator(), 8);
    EXPECT_FALSE(tempo->getSnapToGrid());
    EXPECT_EQ(graph->getRecordMode(), AudioGraph::kRecordMidi);
    float gain = 0.0f;
    graph->getOutputGain(gain);
    EXPECT_FLOAT_EQ(gain, 0.3f);
    FDefaults* section = settings->lookup("Player", 1, false);
    ASSERT_NE(section, nullptr);
    for (const char8* key : {"Gain", "SigNum", "SigDenom", "TimeFormat", "Tempo", "TempoScale",
                             "RecordMode", "Midifile", "MetronomeMode", "MIDIFilter"})
        EXPECT_TRUE(section->contains(key)) << key;
}

TEST_F(PlayerFixture, StoredMetronomeVolumeReturnsWithTheMetronome)
{
    ASSERT_NE(player->loadPlugin(FUID(Qel::Examples::kMetronomeCid.bytes)), nullptr);
    value(P::kMetronomeVolume).setNormalized(0.25);
    restartPlayer(); // the old player wrote "Volume"; the rack keeps its slot
    FDefaults* metronome = settings->lookup("Metronome", 1, false);
    ASSERT_NE(metronome, nullptr);
    double stored = 0.0;
    ASSERT_TRUE(metronome->getFloat("Volume", stored));
    EXPECT_DOUBLE_EQ(stored, 0.25);
    // A new metronome slot takes the stored volume.
    ASSERT_NE(player->loadPlugin(FUID(Qel::Examples::kMetronomeCid.bytes)), nullptr);
    EXPECT_DOUBLE_EQ(value(P::kMetronomeVolume).getFloat(), 0.25);
    SlotParameterValue* volume = player->getMetronome()->findParameter("Volume");
    ASSERT_NE(volume, nullptr);
    EXPECT_DOUBLE_EQ(volume->getValue(), 0.25);
}

TEST_F(PlayerFixture, MidiFileLoadsThroughTheDialogAndRecordedNotesSaveAndReadBack)
{
    const std::string song = makeMidoFile(temp, "song.mid", 6, 90, 3, 4);
    dialogs.paths.push_back(song);
    player->press(P::kLoadMidiFile);
    EXPECT_EQ(number(P::kLoadMidiFile), 0);
    ASSERT_EQ(dialogs.titles.back(), "Open MIDI File");
    ASSERT_EQ(dialogs.lastTypes.size(), 1u);
    EXPECT_EQ(dialogs.lastTypes[0].description, "MIDI file");
    EXPECT_EQ(dialogs.lastTypes[0].mimeType, "audio/x-midi");
    EXPECT_EQ(text(P::kMidiFileName), "song.mid");
    EXPECT_DOUBLE_EQ(tempo->getSongLength(), 6.0);
    EXPECT_EQ(tempo->getNumerator(), 3);
    player->idle();
    EXPECT_EQ(text(P::kSignature), "3/4");
    EXPECT_TRUE(value(P::kSongPosition).isEnabled());

    // Recorded notes go out through "saveMidiFile" and mido reads them.
    MidiTrackData& recorded = graph->getInputOperator()->getMidiPlayer().getRecordedTrack();
    for (int i = 0; i < 4; ++i)
    {
        auto* on = new PMidiEvent(0x90, uint8(64 + i), 90);
        on->setTime(i * 1.0);
        recorded.append(on);
        auto* off = new PMidiEvent(0x80, uint8(64 + i), 0);
        off->setTime(i * 1.0 + 0.5);
        recorded.append(off);
    }
    // With the song's tempo in force, the file is written at it.
    value(P::kTempoMode).setInt(1);
    EXPECT_NEAR(tempo->getTempo(), 90.0, 1e-4); // mido rounds to whole microseconds
    const std::string saved = temp.file("saved.mid");
    dialogs.paths.push_back(saved);
    player->press(P::kSaveMidiFile);
    EXPECT_EQ(dialogs.titles.back(), "Save MIDI File");
    bool ok = false;
    const std::string listing =
        runDebianPython(temp,
                        "import mido\n"
                        "f = mido.MidiFile('" +
                            saved +
                            "')\n"
                            "for t in f.tracks:\n"
                            "    now = 0\n"
                            "    for m in t:\n"
                            "        now += m.time\n"
                            "        if m.type in ('note_on', 'note_off'):\n"
                            "            print(now * 480 // f.ticks_per_beat, m.type, m.note)\n"
                            "        if m.type == 'set_tempo':\n"
                            "            print('tempo', round(mido.tempo2bpm(m.tempo)))\n",
                        ok);
    ASSERT_TRUE(ok) << listing;
    EXPECT_EQ(listing, "tempo 90\n"
                       "0 note_on 64\n240 note_off 64\n"
                       "480 note_on 65\n720 note_off 65\n"
                       "960 note_on 66\n1200 note_off 66\n"
                       "1440 note_on 67\n1680 note_off 67\n");

    // And the host reads its own file back.
    recorded.clear();
    ASSERT_TRUE(player->loadMidiFile(saved));
    MidiSongData* reread = graph->getInputOperator()->getMidiPlayer().getSong();
    ASSERT_NE(reread, nullptr);
    int32 notes = 0;
    for (int32 t = 0; t < reread->getTrackCount(); ++t)
        notes += reread->getTrackAt(t)->getEventCount();
    EXPECT_EQ(notes, 8);

    // A damaged file is refused with a reason, and the name is cleared.
    writeFile(temp.file("broken.mid"), "RIFF this is not a MIDI file");
    std::string problem;
    EXPECT_FALSE(player->loadMidiFile(temp.file("broken.mid"), &problem));
    EXPECT_FALSE(problem.empty());
    EXPECT_EQ(text(P::kMidiFileName), "");
}

TEST_F(PlayerFixture, EffectListsAddSlotsAndRemoveSlotTakesThemOut)
{
    const int32 before = rack->countSlots();
    auto* list = static_cast<UStringListValue*>(&value(P::kSynthList));
    const int32 synth = list->indexOf(Qel::Examples::kQelSynthName);
    ASSERT_GT(synth, 0);
    list->setValue(synth);
    EXPECT_EQ(list->getValue(), 0);
    ASSERT_EQ(rack->countSlots(), before + 1);
    QelSlot* slot = rack->getSlot(before);
    EXPECT_EQ(slot->getOperator()->getName(), ConstString(Qel::Examples::kQelSynthName));
    ASSERT_EQ(player->countSlotControllers(), 1);
    QelSlotController* row = player->getSlotController(0);
    EXPECT_EQ(row->getSlot(), slot);

    // The row's remove button goes through the player.
    row->press(QelSlotController::kRemoveSlot);
    EXPECT_EQ(rack->countSlots(), before + 1); // not while the button is still telling
    FMainLoop::instance()->dispatchDue();
    EXPECT_EQ(rack->countSlots(), before);
    EXPECT_EQ(player->countSlotControllers(), 0);
}

TEST_F(PlayerFixture, QuitAsksAboutDirtySlotsOnly)
{
    QelSlot* slot = player->loadPlugin(FUID(Qel::Examples::kQelGainCid.bytes));
    ASSERT_NE(slot, nullptr);
    bool changed = false;
    EXPECT_TRUE(player->canQuit(changed));
    EXPECT_FALSE(changed);
    EXPECT_TRUE(dialogs.questions.empty());

    slot->setDirtyFlag(true);
    dialogs.buttonAnswers = {2}; // "Cancel"
    EXPECT_FALSE(player->canQuit(changed));
    EXPECT_TRUE(slot->isDirty());
    dialogs.buttonAnswers = {1}; // "No, Quit"
    EXPECT_TRUE(player->canQuit(changed));
    EXPECT_TRUE(changed);
    EXPECT_FALSE(slot->isDirty());
    EXPECT_EQ(dialogs.questions.back(), "Do you want to save your changes?");

    slot->setDirtyFlag(true);
    const std::string preset = temp.file("gain.qelpreset");
    dialogs.buttonAnswers = {0}; // "Save & Quit"
    dialogs.paths.push_back(preset);
    EXPECT_TRUE(player->canQuit(changed));
    EXPECT_FALSE(slot->isDirty());
    EXPECT_FALSE(readFile(preset).empty());
}

TEST_F(PlayerFixture, AudioFileButtonsLoadTheSignalsAndNameThem)
{
    const std::string wave = makeWave("half.wav", "sine 440 trim 0 0.5");
    dialogs.paths.push_back(wave);
    player->press(P::kAudioFile);
    EXPECT_EQ(number(P::kAudioFile), 0);
    EXPECT_EQ(dialogs.titles.back(), "Open Audio File");
    EXPECT_EQ(text(P::kFileName), "half.wav");
    EXPECT_EQ(graph->getSongLengthSamples(), 24000);
    EXPECT_EQ(graph->getInputOperator()->getSignal().getLength(), 24000);

    // The aux file never sets the song's length.
    dialogs.paths.push_back(wave);
    player->press(P::kAuxAudioFile);
    EXPECT_EQ(text(P::kAuxFileName), "half.wav");
    EXPECT_EQ(graph->getInputOperator()->getAuxSignal().getLength(), 24000);
    EXPECT_GT(graph->getSongLengthSamples(), 24000);

    // A cancelled dialog changes nothing; a file that is no sound clears the name.
    player->press(P::kAudioFile);
    EXPECT_EQ(text(P::kFileName), "half.wav");
    writeFile(temp.file("noise.wav"), "not a wave file at all");
    std::string problem;
    EXPECT_FALSE(player->loadAudioFile(temp.file("noise.wav"), 0, &problem));
    EXPECT_FALSE(problem.empty());
    EXPECT_EQ(text(P::kFileName), "");
}

TEST_F(PlayerFixture, NewDeviceRebuildsThePortValuesOfEveryRow)
{
    QelSlot* slot = player->loadPlugin(FUID(Qel::Examples::kQelGainCid.bytes));
    ASSERT_NE(slot, nullptr);
    QelSlotController* row = player->findSlotController(slot);
    UValue* before = row->findValue("outputAudioPort0");
    ASSERT_NE(before, nullptr);
    before->addRef();
    auto* message = new FMessage("NewDevice");
    player->notify(message);
    message->release();
    UValue* after = row->findValue("outputAudioPort0");
    ASSERT_NE(after, nullptr);
    EXPECT_NE(after, before);
    String shown;
    after->getText(shown);
    EXPECT_NE(shown.toUtf8(), "None"); // still shows the device channel it plays to
    before->release();
}
