#include "engine/audiooperatorlist.h"
#include "engine/probetestsupport.h"
#include "engine/qelslotoperator.h"

#include "common/exampleids.h"
#include "midi/pevent.h"
#include "qel3/ieditcontroller.h"

#include <atomic>
#include <map>
#include <thread>

namespace Quillmark::MiniEngine
{
namespace
{

using namespace Qel::Probe;

constexpr int32 kBlock = 64;

MidiMessage midi(uint8 status, uint8 data1, uint8 data2 = 0)
{
    MidiMessage message;
    message.status = status;
    message.data1 = data1;
    message.data2 = data2;
    message.live = true;
    return message;
}

class EventInput : public Quillmark::testing::ProbeTest
{
protected:
    void TearDown() override
    {
        root->setProcessing(false);
        root->suspend();
        root->release();
        if (controller)
            controller->release();
        ProbeTest::TearDown();
    }

    /** "Probe Mapped" in the graph, its controller read, the graph running. */
    QelSlotOperator* startMapped()
    {
        slot = new QelSlotOperator;
        Qel::IComponent* component = makePlugIn(kMappedCid);
        EXPECT_TRUE(slot->attach(component, "Mapped"));
        component->queryInterface(Qel::IEditController::iid.bytes, (void**)&controller);
        slot->setupController(controller);
        root->addOperator(slot);
        OperatorSetup setup;
        setup.blockSize = kBlock;
        setup.sampleRate = 48000.0;
        root->setupProcessing(setup);
        root->prepareBuffers(kBlock);
        root->resume();
        root->setProcessing(true);
        return slot;
    }

    bool render()
    {
        context.state = Qel::ProcessContext::kPlaying | Qel::ProcessContext::kTempoValid;
        context.tempo = 120.0;
        context.sampleRate = 48000.0;
        OperatorBuffers buffers;
        buffers.numSamples = kBlock;
        buffers.context = &context;
        return root->renderBlock(buffers);
    }

    std::vector<ReceivedEvent> events()
    {
        std::vector<ReceivedEvent> result;
        ReceivedEvent event{};
        for (int32 i = 0; probe().getEvent(i, event); ++i)
            result.push_back(event);
        return result;
    }

    std::vector<ReceivedPoint> points()
    {
        std::vector<ReceivedPoint> result;
        ReceivedPoint point{};
        for (int32 i = 0; probe().getPoint(i, point); ++i)
            result.push_back(point);
        return result;
    }

    AudioOperatorRoot* root = new AudioOperatorRoot;
    QelSlotOperator* slot = nullptr;
    Qel::IEditController* controller = nullptr;
    Qel::ProcessContext context{};
};

TEST_F(EventInput, ControllerMapsEndAtTheFirstUnassignedNumber)
{
    startMapped();
    ASSERT_EQ(slot->countEventInputs(), 1);
    QelEventInput* input = slot->getEventInput(0);
    EXPECT_EQ(input->getMappedParameter(0, 7), 107);
    EXPECT_EQ(input->getMappedParameter(13, 0x81), 100 + 0x81);
    EXPECT_EQ(input->getMappedParameter(14, 9), 109);
    EXPECT_EQ(input->getMappedParameter(14, 10), -1);
    EXPECT_EQ(input->getMappedParameter(14, 11), -1) << "behind the gap, though it would answer";
    for (int32 number = 0; number < QelEventInput::kMapSize; ++number)
        ASSERT_EQ(input->getMappedParameter(15, number), -1) << "nothing for controller 0";
    EXPECT_EQ(slot->getMappedParameter(0, 7), 107);
    EXPECT_EQ(slot->getMappedParameter(15, 7), -1);
    // The program parameter of the unit every channel belongs to.
    EXPECT_EQ(input->getProgramParam(0), 2);
    EXPECT_EQ(input->getProgramCount(0), 4);
}

TEST_F(EventInput, PlugInWithoutControllerZeroGetsNoMappingAtAll)
{
    Quillmark::testing::copyInto(Quillmark::testing::exampleModule(Qel::Examples::kQelSynthModule),
                                 temp.folder("modules"));
    ASSERT_GT(registry->scanFolder(temp.folder("modules")), 0);
    slot = new QelSlotOperator;
    Qel::IComponent* synth = makePlugIn(Qel::Examples::kQelSynthCid);
    ASSERT_NE(synth, nullptr);
    ASSERT_TRUE(slot->attach(synth, "Synth"));
    synth->queryInterface(Qel::IEditController::iid.bytes, (void**)&controller);
    ASSERT_NE(controller, nullptr);
    slot->setupController(controller);
    root->addOperator(slot);
    for (int32 channel = 0; channel < 16; ++channel)
    {
        EXPECT_EQ(slot->getMappedParameter(channel, 1), -1) << channel;
        EXPECT_EQ(slot->getMappedParameter(channel, 7), -1) << channel;
    }
    EXPECT_TRUE(slot->midiController(0, 7, 0, 0.5)) << "dropped: nothing is mapped";
}

TEST_F(EventInput, MessagesFromAMidiThreadReachThePlugInScaled)
{
    startMapped();
    QelEventInput* input = slot->getEventInput(0);
    // The plug-in has three parameters, so a block carries at most four values: the MIDI
    // thread sends in two bursts with a block between them.
    std::atomic<int> stage{0};
    std::thread midiThread(
        [&]
        {
            input->receive(midi(0x90, 60, 127));
            input->receive(midi(0xb0, 7, 127));     // mapped to 107
            input->receive(midi(0xc0, 64));         // program parameter 2
            input->receive(midi(0xe0, 0x7f, 0x7f)); // bend: 100 + 0x81
            input->receive(midi(0xd0, 32));         // pressure: 100 + 0x80
            stage = 1;
            while (stage != 2)
                std::this_thread::yield();
            input->receive(midi(0xb2, 1, 10)); // channel 2, mapped to 101
            input->receive(midi(0x80, 60, 0));
            input->receive(midi(0xf8, 0)); // system: dropped
            stage = 3;
        });
    std::thread audio(
        [&]
        {
            while (stage != 1)
                std::this_thread::yield();
            render();
            stage = 2;
            while (stage != 3)
                std::this_thread::yield();
            render();
        });
    midiThread.join();
    audio.join();

    const std::vector<ReceivedEvent> arrived = events();
    ASSERT_EQ(arrived.size(), 2u);
    EXPECT_EQ(arrived[0].event.type, Qel::Event::kNoteOnEvent);
    EXPECT_EQ(arrived[0].event.noteOn.pitch, 60);
    EXPECT_EQ(arrived[0].event.flags, Qel::Event::kIsLive);
    EXPECT_EQ(arrived[1].event.type, Qel::Event::kNoteOffEvent);

    std::map<uint32, double> values;
    for (const ReceivedPoint& point : points())
        values[point.id] = point.value;
    ASSERT_EQ(values.size(), 5u);
    EXPECT_EQ(values[107], double(127.0f * 0.007874016f));
    EXPECT_EQ(values[2], 64 * 0.007874015748031496);
    EXPECT_EQ(values[100 + 0x81], 16383 * 6.103888176768602e-05);
    EXPECT_EQ(values[100 + 0x80], double(32.0f * 0.007874016f));
    EXPECT_EQ(values[101], double(10.0f * 0.007874016f));
}

TEST_F(EventInput, LostTryLockLeavesEventsForTheNextBlock)
{
    startMapped();
    QelEventInput* input = slot->getEventInput(0);
    input->receive(midi(0x90, 60, 100));
    std::atomic<bool> held{false}, release{false};
    std::thread midiThread(
        [&]
        {
            input->getLock().lock();
            held = true;
            while (!release)
                std::this_thread::yield();
            input->getLock().unlock();
        });
    while (!held)
        std::this_thread::yield();
    ASSERT_TRUE(render()) << "the block itself is rendered";
    EXPECT_EQ(probe().getEventCount(), 0);
    release = true;
    midiThread.join();
    render();
    const std::vector<ReceivedEvent> arrived = events();
    ASSERT_EQ(arrived.size(), 1u);
    EXPECT_EQ(arrived[0].block, 1) << "exactly one block later";
}

TEST_F(EventInput, ChannelFilterAndHeldNotes)
{
    startMapped();
    QelEventInput* input = slot->getEventInput(0);
    input->setChannelFilter(3);
    input->receive(midi(0x90, 60, 100)); // channel 0: filtered out
    input->receive(midi(0x93, 61, 100));
    input->receive(midi(0x93, 61, 90)); // the same key twice
    input->receive(midi(0x93, 62, 90));
    input->receive(midi(0x93, 62, 0)); // velocity 0 ends it
    EXPECT_EQ(input->getHeldNotes(0, 60), 0);
    EXPECT_EQ(input->getHeldNotes(3, 61), 2);
    EXPECT_EQ(input->getHeldNotes(3, 62), 0);
    render();
    probe().reset();
    input->releaseHeldNotes();
    EXPECT_EQ(input->getHeldNotes(3, 61), 0);
    render();
    const std::vector<ReceivedEvent> arrived = events();
    ASSERT_EQ(arrived.size(), 1u);
    EXPECT_EQ(arrived[0].event.type, Qel::Event::kNoteOffEvent);
    EXPECT_EQ(arrived[0].event.noteOff.channel, 3);
    EXPECT_EQ(arrived[0].event.noteOff.pitch, 61);
}

TEST_F(EventInput, EventsOfAPortAreCopiedAndOnlyMidiEventsCount)
{
    startMapped();
    QelEventInput* input = slot->getEventInput(0);
    auto* note = new PMidiEvent(0x91, 64, 127);
    note->setFlags(note->getFlags() | QelEventInput::kLiveFlag);
    input->receive(note);
    note->release(); // borrowed: the input keeps a copy of the message
    auto* bend = new PMidiEvent(0xe1, 0x00, 0x40);
    input->receive(bend);
    bend->release();
    auto* plain = new PEvent; // no MIDI message at all
    input->receive(plain);
    plain->release();
    input->receive(static_cast<PEvent*>(nullptr));
    render();
    const std::vector<ReceivedEvent> arrived = events();
    ASSERT_EQ(arrived.size(), 1u);
    EXPECT_EQ(arrived[0].event.noteOn.channel, 1);
    EXPECT_EQ(arrived[0].event.noteOn.pitch, 64);
    EXPECT_EQ(arrived[0].event.flags, Qel::Event::kIsLive);
    const std::vector<ReceivedPoint> values = points();
    ASSERT_EQ(values.size(), 1u);
    EXPECT_EQ(values[0].id, uint32(100 + 0x81));
    EXPECT_EQ(values[0].value, 8192 * 6.103888176768602e-05);
}

TEST_F(EventInput, ControllersAndProgramsFromTheInterfaceGoThroughTheMaps)
{
    startMapped();
    EXPECT_FALSE(slot->programChange(0, 5, 0.5));
    EXPECT_TRUE(slot->midiController(0, 20, 15, 0.5)) << "channel 15 has no map";
    render();
    const std::vector<ReceivedPoint> arrived = points();
    ASSERT_EQ(arrived.size(), 1u);
    EXPECT_EQ(arrived[0].id, 2u);
    EXPECT_EQ(arrived[0].value, 0.5);
    EXPECT_FALSE(slot->midiController(0, 1, 0, 0.25));
    render();
    ASSERT_EQ(points().size(), 2u);
    EXPECT_EQ(points()[1].id, 101u);
}

} // namespace
} // namespace Quillmark::MiniEngine
