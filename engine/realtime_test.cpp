// The rendering thread must not touch the heap: thousands of blocks with events in and out and
// parameter changes both ways, counted by the allocation hooks of the test build.
#include "engine/audiooperatorlist.h"
#include "engine/pendingparameterchanges.h"
#include "engine/probetestsupport.h"
#include "engine/qelslotoperator.h"
#include "engine/testsupport/allocationcounter.h"

#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>

namespace Quillmark::MiniEngine
{
namespace
{

using namespace Qel::Probe;
using Quillmark::testing::AllocationCounter;
using Quillmark::testing::CountAllocations;

constexpr int32 kBlock = 64;
constexpr int32 kBlocks = 5000;

TEST(AllocationCounter, SeesAllocationsOfItsOwnThreadOnly)
{
    int64_t afterNew = 0, afterDelete = 0, afterMalloc = 0;
    {
        CountAllocations count;
        auto* kept = new int(3);
        afterNew = count.allocations();
        delete kept;
        afterDelete = count.frees();
        void* block = std::malloc(16);
        afterMalloc = count.allocations() - afterNew;
        std::free(block);
    }
    // With the C functions hooked, one new is seen twice: as new and as the malloc below it.
    EXPECT_EQ(afterNew, AllocationCounter::countsMalloc() ? 2 : 1);
    EXPECT_GE(afterDelete, 1);
    EXPECT_EQ(afterMalloc, AllocationCounter::countsMalloc() ? 1 : 0);
}

TEST(AllocationCounter, OtherThreadsAreNotCounted)
{
    std::atomic<int> stage{0};
    std::thread other(
        [&]
        {
            while (stage.load() != 1)
                std::this_thread::yield();
            auto unused = std::make_unique<int[]>(100);
            stage = 2;
        });
    {
        CountAllocations count;
        stage = 1;
        while (stage.load() != 2)
            std::this_thread::yield();
        EXPECT_EQ(count.allocations(), 0);
    }
    other.join();
}

class RealTime : public Quillmark::testing::ProbeTest
{
};

TEST_F(RealTime, RenderingThousandsOfBlocksWithEventsAndParametersAllocatesNothing)
{
    auto* root = new AudioOperatorRoot;
    auto* slot = new QelSlotOperator;
    ASSERT_TRUE(slot->attach(makePlugIn(kEffectCid), "Probe"));
    IProbe& effect = probe();
    root->addOperator(slot);
    auto* synth = new QelSlotOperator;
    ASSERT_TRUE(synth->attach(makePlugIn(kSynthCid), "Synth"));
    root->addOperator(synth);
    OperatorSetup setup;
    setup.blockSize = kBlock;
    setup.sampleRate = 48000.0;
    root->setupProcessing(setup);
    // The synth feeds the effect, so audio flows through pins too.
    synth->getOutputPin(0)->connect(slot->getInputPin(0));
    synth->getOutputPin(0)->connect(slot->getInputPin(1));
    root->prepareBuffers(kBlock);
    root->resume();
    root->setProcessing(true);

    auto* pending = new PendingParameterChanges(nullptr);
    slot->setParamListener(pending);
    effect.setEcho(true, 0);

    auto events = std::make_unique<EventList>();
    std::atomic<bool> done{false};
    int64_t allocations = -1, frees = -1;
    std::thread audio(
        [&]
        {
            Qel::ProcessContext context{};
            context.state = Qel::ProcessContext::kPlaying | Qel::ProcessContext::kTempoValid;
            context.sampleRate = 48000.0;
            context.tempo = 120.0;
            const double quarterPerBlock = kBlock / 24000.0;
            CountAllocations count;
            for (int32 block = 0; block < kBlocks; ++block)
            {
                // Two notes per block, at its start and in its middle, as a player would queue
                // them.
                events->clear();
                const double start = block * quarterPerBlock;
                Qel::Event on{};
                on.type = Qel::Event::kNoteOnEvent;
                on.ppqPosition = start;
                on.noteOn.pitch = int16(block % 128);
                Qel::Event off = on;
                off.type = Qel::Event::kNoteOffEvent;
                off.ppqPosition = start + quarterPerBlock / 2;
                events->addEvent(on);
                events->addEvent(off);
                slot->receiveEvents(*events);
                context.projectTimeSamples = int64(block) * kBlock;
                OperatorBuffers buffers;
                buffers.numSamples = kBlock;
                buffers.context = &context;
                buffers.blockStartMusic = start;
                buffers.blockEndMusic = start + quarterPerBlock;
                root->renderBlock(buffers);
            }
            allocations = count.allocations();
            frees = count.frees();
            done = true;
        });
    // Meanwhile the user interface moves a parameter, with no lock, and this thread plays
    // MIDI into the plug-in's event input as a MIDI thread would.
    QelEventInput* midiInput = slot->getEventInput(0);
    ASSERT_NE(midiInput, nullptr);
    int32 moves = 0, midiNotes = 0;
    while (!done)
    {
        slot->queueParameter(0, double(moves % 100) / 100.0);
        if (midiNotes < 20000)
        {
            MidiMessage message;
            message.status = midiNotes % 2 ? 0x80 : 0x90;
            message.data1 = 64;
            message.data2 = 100;
            message.live = true;
            midiInput->receive(message);
            ++midiNotes;
        }
        ++moves;
        std::this_thread::yield();
    }
    audio.join();

    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(frees, 0);
    // What arrived shows that the path was busy all along.
    EXPECT_GE(effect.getEventCount(), 2 * kBlocks);
    EXPECT_GT(effect.getEventCount(), 2 * kBlocks) << "MIDI notes arrived as well";
    EXPECT_GT(effect.getPointCount(), 0);
    EXPECT_TRUE(pending->hasPending()) << "values came back from the plug-in";

    slot->setParamListener(nullptr);
    pending->release();
    root->setProcessing(false);
    root->suspend();
    root->release();
}

} // namespace
} // namespace Quillmark::MiniEngine
