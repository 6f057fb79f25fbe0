// The whole engine as the device layer drives it: the graph with its recorder, input signal and
// slots of the probe plug-in, rendering into the channels of a test device through real ports.
#include "engine/audiograph.h"
#include "engine/graphtestsupport.h"
#include "engine/inputoperator.h"
#include "engine/midirecorderoperator.h"
#include "engine/probetestsupport.h"
#include "engine/qeleventinput.h"
#include "engine/qelrack.h"
#include "engine/qelslot.h"
#include "engine/qelslotoperator.h"
#include "midi/minitempotrack.h"

#include "midi/miditrackdata.h"
#include "midi/pevent.h"

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <thread>

namespace Quillmark::MiniEngine
{
namespace
{

using namespace Qel::Probe;
using testing::kBlock;
using testing::kRate;
using WholeGraph = testing::GraphFixture;

TEST_F(WholeGraph, ListOrderIsRecorderInputThenSlots)
{
    QelSlot* slot = addProbe(kEffectCid);
    ASSERT_NE(slot, nullptr);
    ASSERT_EQ(graph->countOperators(), 3);
    EXPECT_EQ(graph->getOperator(0), static_cast<IAudioOperator*>(graph->getRecorder()));
    EXPECT_EQ(graph->getOperator(1), static_cast<IAudioOperator*>(graph->getInputOperator()));
    EXPECT_EQ(graph->getOperator(2), static_cast<IAudioOperator*>(slot->getOperator()));
    // The input operator faces the device's capture channels.
    EXPECT_TRUE(graph->getInputOperator()->getInputPin(0)->isConnectedTo(device->captures[0]));
    EXPECT_TRUE(graph->getInputOperator()->getInputPin(3)->isConnectedTo(device->captures[1]));
}

TEST_F(WholeGraph, TransportAtRestLeavesInputsSilentButStillRunsThePlugIns)
{
    start();
    QelSlot* slot = addProbe(kEffectCid);
    ASSERT_NE(slot, nullptr);
    IProbe* probe = probeOf(slot);
    ASSERT_NE(probe, nullptr);
    graph->getInputOperator()->setInputSignal(SignalGenerator::kSine);
    run(3);
    EXPECT_EQ(int32(arguments(*probe, Call::kProcess).size()), 3);
    for (int32 s = 0; s < kBlock; ++s)
        ASSERT_EQ(device->out(0, s), 0.0f) << s;

    graph->setPlaying(true);
    run(1);
    // The effect passes its input through: the 1000 Hz sine from its first sample.
    for (int32 s : {1, 7, 100, 1000})
        EXPECT_NEAR(device->out(0, s), std::sin(2.0 * std::numbers::pi * 1000.0 * s / kRate), 1e-4)
            << s;
    EXPECT_EQ(device->out(0, 5), device->out(1, 5));
}

TEST_F(WholeGraph, StopDuringAHeldNoteSendsNoteOffAndAllSoundOffInTheNextBlock)
{
    start();
    QelSlot* slot = addProbe(kMappedCid);
    ASSERT_NE(slot, nullptr);
    IProbe* probe = probeOf(slot);
    playOneLongNote();
    graph->setPlaying(true);
    run(2);
    const int32 pitch = 60;
    ASSERT_TRUE(graph->isNoteHeld(0, pitch));
    probe->reset();

    graph->setPlaying(false);
    run(1);
    EXPECT_FALSE(graph->isNoteHeld(0, pitch));
    bool noteOff = false;
    for (const ReceivedEvent& e : eventsOf(*probe))
        if (e.event.type == Qel::Event::kNoteOffEvent && e.event.noteOff.pitch == pitch)
        {
            noteOff = true;
            EXPECT_EQ(e.block, 0);
            EXPECT_EQ(e.event.sampleOffset, 0);
        }
    EXPECT_TRUE(noteOff);
    // Controllers 120 and 121 of channel 0 reach the parameters the plug-in maps them to.
    bool allSoundOff = false, resetControllers = false;
    for (const ReceivedPoint& p : pointsOf(*probe))
    {
        allSoundOff = allSoundOff || (p.id == 220 && p.value == 1.0 && p.block == 0);
        resetControllers = resetControllers || (p.id == 221 && p.value == 1.0 && p.block == 0);
    }
    EXPECT_TRUE(allSoundOff);
    EXPECT_TRUE(resetControllers);

    // Nothing further is sent while the transport rests.
    probe->reset();
    run(3);
    EXPECT_TRUE(eventsOf(*probe).empty());
}

TEST_F(WholeGraph, AMovedPositionReleasesTheSoundingNotes)
{
    start();
    QelSlot* slot = addProbe(kMappedCid);
    ASSERT_NE(slot, nullptr);
    playOneLongNote();
    graph->setPlaying(true);
    run(1);
    const int32 pitch = 60;
    ASSERT_TRUE(graph->isNoteHeld(0, pitch));
    graph->setPosition(8.0);
    run(1);
    EXPECT_FALSE(graph->isNoteHeld(0, pitch));
    EXPECT_GE(tempo->getPosition(), 8.0);
}

TEST_F(WholeGraph, CountInLastsWholeBlocksPlusOne)
{
    start(1024, 44100.0);
    const double blockBeats = 120.0 / 60.0 * 1024 / 44100.0;
    struct Case
    {
        int32 mode;
        double beats;
    };
    for (Case c : {Case{AudioGraph::kRecordCountIn1, 4.0}, Case{AudioGraph::kRecordCountIn2, 8.0}})
    {
        graph->setRecording(false);
        graph->setPlaying(false);
        run(1, 1024, 44100.0);
        graph->setRecordMode(c.mode);
        graph->setRecording(true);
        const double expected = blockBeats * (std::ceil(c.beats / blockBeats) + 1.0);
        EXPECT_DOUBLE_EQ(graph->getCountInBeats(), expected);
        EXPECT_DOUBLE_EQ(tempo->getPosition(), -expected);
        int32 blocks = 0;
        while (!graph->isPlaying() && blocks < 1000)
        {
            run(1, 1024, 44100.0);
            ++blocks;
        }
        // "Count In 2" at 4/4 lasts just over two bars: 174 blocks of about 0.0464 beats.
        const int32 whole = int32(std::ceil(c.beats / blockBeats)) + 1;
        EXPECT_GE(blocks, whole) << c.mode;
        EXPECT_LE(blocks, whole + 1) << c.mode;
        EXPECT_GT(blocks * blockBeats, c.beats);
    }
}

TEST_F(WholeGraph, DirectRecordingStartsAtOnceAndMidiModeWaitsForTheFirstNote)
{
    start();
    graph->setRecordMode(AudioGraph::kRecordDirect);
    graph->setRecording(true);
    EXPECT_EQ(graph->getCountInBeats(), 0.0);
    run(1);
    EXPECT_TRUE(graph->isPlaying());
    graph->setRecording(false);
    graph->setPlaying(false);
    run(1);

    graph->setRecordMode(AudioGraph::kRecordMidi);
    graph->setRecording(true);
    run(20);
    EXPECT_FALSE(graph->isPlaying());
    MidiMessage on;
    on.status = 0x90;
    on.data1 = 60;
    on.data2 = 100;
    graph->getRecorder()->getInput(0)->receive(on);
    run(1);
    EXPECT_TRUE(graph->isPlaying());
    run(2);
    // The note reached the recorded track through the hand-over, at the take's start.
    EXPECT_EQ(graph->collectRecording(), 1);
    MidiTrackData& track = graph->getInputOperator()->getMidiPlayer().getRecordedTrack();
    ASSERT_EQ(track.getEventCount(), 1);
    auto* event = static_cast<PMidiEvent*>(track.getEvents().getFirstEvent());
    EXPECT_EQ(event->getStatus(), 0x90);
    EXPECT_EQ(event->getData1(), 60);
    EXPECT_NEAR(event->getTime(), 0.0, 1e-9);
}

TEST_F(WholeGraph, ASongLoopsWithinOneBlockOfItsEndAndRunsOnSilentlyWithoutLoop)
{
    start();
    QelSlot* slot = addProbe(kEffectCid);
    ASSERT_NE(slot, nullptr);
    // 0.05 s at 48 kHz: 2400 frames, two blocks and a third of one.
    const std::string path = makeWave("song.wav", "0.05 sine 440");
    ASSERT_TRUE(graph->loadAudioFile(path, 0));
    EXPECT_EQ(graph->getSongLengthSamples(), 2400);
    const SignalGenerator& song = graph->getInputOperator()->getSignal();
    EXPECT_NEAR(song.getChannel(0)[100], std::sin(2.0 * std::numbers::pi * 440.0 * 100 / kRate),
                1e-3);

    graph->setLooping(true);
    graph->setPlaying(true);
    run(2);
    EXPECT_EQ(tempo->getContext().projectTimeSamples, 2048);
    run(1); // this block crosses the end: its last frames are silence, then the song restarts
    EXPECT_EQ(device->out(0, 2399 - 2048), song.getChannel(0)[2399]);
    EXPECT_EQ(device->out(0, 2400 - 2048), 0.0f);
    EXPECT_EQ(tempo->getContext().projectTimeSamples, 0);
    EXPECT_EQ(tempo->getPosition(), 0.0);
    run(1);
    EXPECT_EQ(device->out(0, 10), song.getChannel(0)[10]);

    graph->setLooping(false);
    run(3);
    EXPECT_EQ(tempo->getContext().projectTimeSamples, 4 * kBlock);
    for (int32 s = 0; s < kBlock; ++s)
        ASSERT_EQ(device->out(0, s), 0.0f);
}

TEST_F(WholeGraph, AParameterQueuedBeforeABlockReachesThePlugInAtThatBlocksFirstSample)
{
    start(256);
    QelSlot* slot = addProbe(kEffectCid);
    ASSERT_NE(slot, nullptr);
    IProbe* probe = probeOf(slot);
    graph->setPlaying(true);
    run(5, 256);
    EXPECT_FALSE(slot->getOperator()->queueParameter(3, 0.25));
    run(2, 256);
    const std::vector<ReceivedPoint> points = pointsOf(*probe);
    ASSERT_EQ(points.size(), 1u);
    EXPECT_EQ(points[0].id, 3u);
    EXPECT_EQ(points[0].value, 0.25);
    EXPECT_EQ(points[0].block * 256 + points[0].sampleOffset, 5 * 256);
}

TEST_F(WholeGraph, AFullBlockOfOutputPassesThroughTheEffectBitForBit)
{
    start();
    QelSlot* slot = addProbe(kEffectCid);
    ASSERT_NE(slot, nullptr);
    const std::string path = makeWave("noise.wav", "0.1 whitenoise");
    ASSERT_TRUE(graph->loadAudioFile(path, 0));
    graph->setPlaying(true);
    const SignalGenerator& song = graph->getInputOperator()->getSignal();
    for (int32 block = 0; block < 4; ++block)
    {
        run(1);
        for (int32 s = 0; s < kBlock; ++s)
            for (int32 c = 0; c < 2; ++c)
                ASSERT_EQ(device->out(c, s), song.getChannel(c)[block * kBlock + s]);
    }
}

TEST_F(WholeGraph, ALockedGraphSkipsTheBlockAndAVolumeBelowOneIsOffered)
{
    start();
    QelSlot* slot = addProbe(kEffectCid);
    ASSERT_NE(slot, nullptr);
    IProbe* probe = probeOf(slot);
    // The configuration thread holds the lock while the audio thread comes round.
    std::atomic<int> stage{0};
    std::thread holder(
        [&]
        {
            FGuard guard(*graph->getProcessLock());
            stage = 1;
            while (stage.load() != 2)
                std::this_thread::yield();
        });
    while (stage.load() != 1)
        std::this_thread::yield();
    run(1);
    stage = 2;
    holder.join();
    EXPECT_TRUE(arguments(*probe, Call::kProcess).empty());
    run(1);
    EXPECT_EQ(arguments(*probe, Call::kProcess).size(), 1u);
    float gain = 0.0f;
    graph->setOutputGain(0.5f);
    EXPECT_TRUE(graph->getOutputGain(gain));
    EXPECT_EQ(gain, 0.5f);
}

} // namespace
} // namespace Quillmark::MiniEngine
