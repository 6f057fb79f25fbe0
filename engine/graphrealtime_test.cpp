// The whole graph on the audio thread touches no heap: many blocks with the transport running,
// notes from the song and from MIDI ports, recording on, and parameters moving meanwhile.
#include "engine/graphtestsupport.h"
#include "engine/midirecorderoperator.h"
#include "engine/qeleventinput.h"
#include "engine/testsupport/allocationcounter.h"

#include <atomic>
#include <thread>

namespace Quillmark::MiniEngine
{
namespace
{

using namespace Qel::Probe;
using Quillmark::testing::CountAllocations;
using GraphRealTime = testing::GraphFixture;

TEST_F(GraphRealTime, BlocksWithNotesAndRecordingAllocateNothing)
{
    constexpr int32 kBlocks = 4000;
    constexpr int32 kSmallBlock = 64;
    start(kSmallBlock);
    QelSlot* slot = addProbe(kMappedCid);
    ASSERT_NE(slot, nullptr);
    IProbe* probe = probeOf(slot);
    InputOperator* input = graph->getInputOperator();
    input->setInputSignal(SignalGenerator::kNoise);
    input->getPatternPlayer().getPattern().setStepLengthIndex(5); // a note every 1/32
    playOneLongNote();
    graph->setLooping(true);
    graph->setRecordMode(AudioGraph::kRecordDirect);
    graph->setRecording(true);
    QelEventInput* recorderInput = graph->getRecorder()->getInput(0);
    QelEventInput* slotInput = slot->getOperator()->getEventInput(0);

    std::atomic<bool> done{false};
    int64_t allocations = -1, frees = -1;
    std::thread audio(
        [&]
        {
            CountAllocations count;
            for (int32 block = 0; block < kBlocks; ++block)
            {
                device->runBlock(*graph, kSmallBlock, testing::kRate);
                // Stops and starts on the way, each with its flush of held notes.
                if (block % 1000 == 999)
                    graph->setPlaying(!graph->isPlaying());
            }
            allocations = count.allocations();
            frees = count.frees();
            done = true;
        });
    int32 sent = 0, placed = 0;
    while (!done)
    {
        MidiMessage message;
        message.status = uint8((sent % 3 == 2 ? 0xB0 : sent % 2 ? 0x80 : 0x90));
        message.data1 = uint8(40 + sent % 40);
        message.data2 = 90;
        recorderInput->receive(message);
        slotInput->receive(message);
        slot->getOperator()->queueParameter(1, double(sent % 100) / 100.0);
        ++sent;
        placed += graph->collectRecording();
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    audio.join();
    placed += graph->collectRecording();

    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(frees, 0);
    // The path was busy all along: the plug-in got notes, the track got what was played.
    EXPECT_GT(probe->getEventCount(), kBlocks / 10);
    EXPECT_GT(placed, 0);
    EXPECT_EQ(input->getMidiPlayer().getRecordedTrack().getEventCount() > 2, true);
}

} // namespace
} // namespace Quillmark::MiniEngine
