#include "engine/audiooperatorlist.h"
#include "engine/pendingparameterchanges.h"
#include "engine/probetestsupport.h"
#include "engine/qelslotoperator.h"
#include "engine/testoperators.h"

#include "base/platform/clock.h"
#include "common/exampleids.h"
#include "hosting/qeleditcontroller.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace Quillmark::MiniEngine
{
namespace
{

using namespace Qel::Probe;
using Quillmark::testing::thisThread;

constexpr int32 kBlock = 64;
constexpr double kRate = 48000.0;
constexpr double kTempo = 120.0;
constexpr double kSamplesPerQuarter = kRate * 60.0 / kTempo; // 24000

Qel::Event noteOn(int16 pitch, double ppq)
{
    Qel::Event event{};
    event.type = Qel::Event::kNoteOnEvent;
    event.ppqPosition = ppq;
    event.noteOn.pitch = pitch;
    event.noteOn.velocity = 1.0f;
    event.noteOn.noteId = -1;
    return event;
}

Qel::Event noteOff(int16 pitch, double ppq)
{
    Qel::Event event{};
    event.type = Qel::Event::kNoteOffEvent;
    event.ppqPosition = ppq;
    event.noteOff.pitch = pitch;
    event.noteOff.noteId = -1;
    return event;
}

/** The quarter-note position of the middle of sample `sample`, counted from 0. */
double at(double sample)
{
    return (sample + 0.5) / kSamplesPerQuarter;
}

class SlotOperator : public Quillmark::testing::ProbeTest
{
protected:
    void TearDown() override
    {
        root->setProcessing(false);
        root->suspend();
        root->release();
        ProbeTest::TearDown();
    }

    QelSlotOperator* addSlot(const QelUid& cid, const char8* name = "Probe")
    {
        auto* op = new QelSlotOperator;
        EXPECT_TRUE(op->attach(makePlugIn(cid), name));
        root->addOperator(op);
        return op;
    }

    void start()
    {
        OperatorSetup setup;
        setup.blockSize = kBlock;
        setup.sampleRate = kRate;
        root->setupProcessing(setup);
        root->prepareBuffers(kBlock);
        root->resume();
        root->setProcessing(true);
    }

    /** Renders the next block of a transport that plays (or stands) at 120 beats per minute. */
    bool render(bool playing = true)
    {
        context.state = Qel::ProcessContext::kTempoValid | (playing ? uint32(kPlayingFlag) : 0u);
        context.sampleRate = kRate;
        context.tempo = kTempo;
        context.projectTimeSamples = block * kBlock;
        OperatorBuffers buffers;
        buffers.numSamples = kBlock;
        buffers.context = &context;
        buffers.blockStartMusic = double(block * kBlock) / kSamplesPerQuarter;
        buffers.blockEndMusic = double((block + 1) * kBlock) / kSamplesPerQuarter;
        const bool rendered = root->renderBlock(buffers);
        if (playing)
            ++block;
        return rendered;
    }

    std::vector<ReceivedEvent> received()
    {
        std::vector<ReceivedEvent> events;
        ReceivedEvent event{};
        for (int32 i = 0; probe().getEvent(i, event); ++i)
            events.push_back(event);
        return events;
    }

    std::vector<ReceivedPoint> points()
    {
        std::vector<ReceivedPoint> result;
        ReceivedPoint point{};
        for (int32 i = 0; probe().getPoint(i, point); ++i)
            result.push_back(point);
        return result;
    }

    static constexpr uint32 kPlayingFlag = Qel::ProcessContext::kPlaying;
    AudioOperatorRoot* root = new AudioOperatorRoot;
    Qel::ProcessContext context{};
    int64 block = 0;
};

TEST_F(SlotOperator, EventsLandAtEverySampleOfTheirBlockAndLaterOnesWait)
{
    QelSlotOperator* slot = addSlot(kEffectCid);
    start();
    ASSERT_TRUE(slot->hasEventInput());
    EventList events;
    for (int16 sample = 0; sample < kBlock; ++sample)
    {
        Qel::Event event = noteOn(sample, at(sample));
        events.addEvent(event);
    }
    Qel::Event late = noteOn(100, at(kBlock + 10));     // block 1, sample 10
    Qel::Event later = noteOn(101, at(3 * kBlock + 1)); // block 3, sample 1
    events.addEvent(late);
    events.addEvent(later);
    ASSERT_TRUE(slot->receiveEvents(events));
    for (int i = 0; i < 4; ++i)
        ASSERT_TRUE(render());

    const std::vector<ReceivedEvent> arrived = received();
    ASSERT_EQ(arrived.size(), size_t(kBlock + 2));
    for (int32 i = 0; i < kBlock; ++i)
    {
        EXPECT_EQ(arrived[size_t(i)].block, 0);
        EXPECT_EQ(arrived[size_t(i)].event.sampleOffset, i);
        EXPECT_EQ(arrived[size_t(i)].event.noteOn.pitch, i);
    }
    EXPECT_EQ(arrived[kBlock].block, 1);
    EXPECT_EQ(arrived[kBlock].event.sampleOffset, 10);
    EXPECT_EQ(arrived[kBlock + 1].block, 3);
    EXPECT_EQ(arrived[kBlock + 1].event.sampleOffset, 1);
}

TEST_F(SlotOperator, EventsAtTheBlockEdgesAreClampedIntoTheBlock)
{
    QelSlotOperator* slot = addSlot(kEffectCid);
    start();
    render(); // block 0 passes with nothing
    EventList events;
    Qel::Event behind = noteOn(1, at(3));                                  // already past
    Qel::Event atEnd = noteOn(2, double(2 * kBlock) / kSamplesPerQuarter); // exactly the end
    events.addEvent(behind);
    events.addEvent(atEnd);
    slot->receiveEvents(events);
    render(); // block 1
    const std::vector<ReceivedEvent> arrived = received();
    ASSERT_EQ(arrived.size(), 2u);
    EXPECT_EQ(arrived[0].event.sampleOffset, 0);
    EXPECT_EQ(arrived[1].event.sampleOffset, kBlock - 1) << "the end is not above the end";
}

TEST_F(SlotOperator, StoppedTransportLetsOnlyNoteOffsThroughAtOnce)
{
    QelSlotOperator* slot = addSlot(kEffectCid);
    start();
    EventList events;
    Qel::Event on = noteOn(60, at(1000));
    Qel::Event off = noteOff(60, at(2000));
    events.addEvent(on);
    events.addEvent(off);
    slot->receiveEvents(events);
    render(false);
    const std::vector<ReceivedEvent> arrived = received();
    ASSERT_EQ(arrived.size(), 1u);
    EXPECT_EQ(arrived[0].event.type, Qel::Event::kNoteOffEvent);
    EXPECT_EQ(arrived[0].event.sampleOffset, 0);
    EXPECT_EQ(arrived[0].event.ppqPosition, 0.0);
    render(true);
    EXPECT_EQ(received().size(), 1u) << "the note-on was dropped, not kept";
}

TEST_F(SlotOperator, EventsNeedAnEventInputAndAnActivePlugIn)
{
    QelSlotOperator* mono = addSlot(kMonoCid);
    EventList events;
    Qel::Event on = noteOn(60, 0.0);
    events.addEvent(on);
    start();
    EXPECT_FALSE(mono->hasEventInput());
    EXPECT_FALSE(mono->receiveEvents(events));
    QelSlotOperator* fx = addSlot(kEffectCid);
    EXPECT_TRUE(fx->receiveEvents(events));
    root->setProcessing(false);
    root->suspend();
    EXPECT_FALSE(fx->receiveEvents(events)) << "inactive";
}

TEST_F(SlotOperator, ValuesFromTheInterfaceArriveAtTheNextBlockLastOneWinning)
{
    QelSlotOperator* slot = addSlot(kEffectCid);
    start();
    render();
    EXPECT_FALSE(slot->queueParameter(0, 0.25));
    EXPECT_FALSE(slot->queueParameter(0, 0.5));
    render();
    render();
    const std::vector<ReceivedPoint> arrived = points();
    ASSERT_EQ(arrived.size(), 1u) << "once, and never again";
    EXPECT_EQ(arrived[0].block, 1);
    EXPECT_EQ(arrived[0].id, 0u);
    EXPECT_EQ(arrived[0].sampleOffset, 0);
    EXPECT_EQ(arrived[0].value, 0.5);
    // The probe has no controller, so the queue has room for one parameter only.
    EXPECT_FALSE(slot->queueParameter(3, 1.0));
    EXPECT_TRUE(slot->queueParameter(4, 1.0)) << "dropped: every queue is taken";
}

TEST_F(SlotOperator, ReportedValuesReachTheControllerOnIdleNotBefore)
{
    Quillmark::testing::copyInto(Quillmark::testing::exampleModule(Qel::Examples::kQelGainModule),
                                 temp.folder("modules"));
    ASSERT_GT(registry->scanFolder(temp.folder("modules")), 0);
    Qel::QelEditController* gain =
        Qel::QelEditController::create(*registry, FUID(Qel::Examples::kQelGainControllerCid.bytes));
    ASSERT_NE(gain, nullptr);
    Qel::IEditController* controller = gain->getController();
    auto* pending = new PendingParameterChanges(controller);
    pending->start();

    QelSlotOperator* slot = addSlot(kEffectCid);
    slot->setupController(controller); // two parameters: room for three
    slot->setParamListener(pending);
    probe().setEcho(true, 0); // every value comes straight back
    start();
    const double before = controller->getParamNormalized(Qel::Examples::kQelGainGainParamId);
    slot->queueParameter(int32(Qel::Examples::kQelGainGainParamId), 0.125);
    std::thread audio([&] { render(); });
    audio.join();
    EXPECT_TRUE(pending->hasPending());
    EXPECT_EQ(controller->getParamNormalized(Qel::Examples::kQelGainGainParamId), before);
    FMainLoop::instance()->runIdlePass();
    EXPECT_FALSE(pending->hasPending());
    EXPECT_EQ(controller->getParamNormalized(Qel::Examples::kQelGainGainParamId), 0.125);

    slot->setParamListener(nullptr);
    pending->stop();
    pending->release();
    gain->release();
}

TEST_F(SlotOperator, ProcessingStopsOnTheAudioThreadWhenSwitchedOff)
{
    QelSlotOperator* slot = addSlot(kEffectCid);
    start();
    std::atomic<bool> stop{false};
    std::atomic<uint64> audioThread{0};
    std::thread audio(
        [&]
        {
            audioThread = thisThread();
            while (!stop)
                render();
        });
    while (probe().getCallCount() < 20)
        std::this_thread::yield();
    // The records are read from here on; they are not reset while the other thread adds.
    const int32 from = probe().getCallCount();
    const double started = platform::seconds();
    slot->setActive(false);
    const double waited = platform::seconds() - started;
    stop = true;
    audio.join();
    EXPECT_LT(waited, 1.0) << "the audio thread answered; no two-second wait";
    Call call{};
    bool stoppedThere = false;
    std::vector<int32> activations;
    for (int32 i = from; probe().getCall(i, call); ++i)
    {
        if (call.kind == Call::kSetProcessing && call.argument == 0)
            stoppedThere = call.thread == audioThread.load();
        if (call.kind == Call::kSetActive)
            activations.push_back(call.argument);
    }
    EXPECT_TRUE(stoppedThere);
    EXPECT_EQ(activations, std::vector<int32>{0});
}

TEST_F(SlotOperator, BusSwitchedOffWhileRenderingFallsSilentAtOnce)
{
    QelSlotOperator* synth = addSlot(kSynthCid, "Synth");
    probe().setLevel(0.5f);
    auto* sink = new testing::SinkOperator(1);
    root->addOperator(sink);
    ASSERT_EQ(synth->setOutputBusActive(1, true), kResultOk);
    start();
    synth->getOutputPin(1)->connect(sink->getInputPin(0)); // "Synth-Aux-L"
    root->prepareBuffers(kBlock);
    render();
    ASSERT_FLOAT_EQ(sink->received[0][0], 0.5f);

    std::atomic<bool> stop{false};
    std::atomic<int64> blocks{0};
    std::thread audio(
        [&]
        {
            while (!stop)
                if (render())
                    ++blocks;
        });
    while (blocks < 20)
        std::this_thread::yield();
    const double started = platform::seconds();
    EXPECT_EQ(synth->setOutputBusActive(1, false), kResultOk);
    const double waited = platform::seconds() - started;
    const int64 mark = blocks;
    while (blocks < mark + 5)
        std::this_thread::yield();
    stop = true;
    audio.join();
    EXPECT_LT(waited, 1.0);
    EXPECT_FALSE(synth->isOutputBusActive(1));
    for (float sample : sink->received[0])
        ASSERT_EQ(sample, 0.0f);
    // The component was switched off around the change, as busses may not change while active.
    const std::vector<std::string> calls = configurationCalls(probe());
    const auto last = std::find(calls.rbegin(), calls.rend(), "activateBus:-102");
    ASSERT_NE(last, calls.rend());
    const auto off = std::prev(last.base());
    ASSERT_GE(off - calls.begin(), 1);
    EXPECT_EQ(*(off - 1), "setActive:0");
    EXPECT_EQ(*(off + 1), "setActive:1");
}

TEST_F(SlotOperator, PlugInThatThrowsStopsNeitherTheGraphNorTheOthers)
{
    QelSlotOperator* broken = addSlot(kEffectCid, "Broken");
    IProbe& brokenProbe = probe();
    addSlot(kSynthCid, "Synth");
    IProbe& synthProbe = probe();
    synthProbe.setLevel(0.5f);
    auto* sink = new testing::SinkOperator(1);
    root->addOperator(sink);
    start();
    QelSlotOperator* synth = static_cast<QelSlotOperator*>(root->getOperator(1));
    synth->getOutputPin(0)->connect(sink->getInputPin(0));
    root->prepareBuffers(kBlock);
    brokenProbe.setThrowing(true);
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(render());
    EXPECT_EQ(arguments(brokenProbe, Call::kProcess).size(), 3u) << "called on every block";
    EXPECT_EQ(arguments(synthProbe, Call::kProcess).size(), 3u);
    EXPECT_FLOAT_EQ(sink->received[0][kBlock - 1], 0.5f);
    brokenProbe.setThrowing(false);
    EXPECT_FALSE(broken->queueParameter(0, 0.5));
    render();
    EXPECT_EQ(brokenProbe.getPointCount(), 1) << "the plug-in plays on once it stops throwing";
}

TEST_F(SlotOperator, RemovedWhileAnotherThreadRendersAndNeverCalledAgain)
{
    addSlot(kEffectCid);
    QelSlotOperator* slot = addSlot(kSynthCid, "Synth");
    start();
    std::atomic<bool> stop{false};
    std::atomic<int64> blocks{0};
    std::thread audio(
        [&]
        {
            while (!stop)
                if (render())
                    ++blocks;
        });
    while (blocks < 50)
        std::this_thread::yield();
    ASSERT_TRUE(root->removeOperator(slot));
    const int32 callsAfterRemoval = probe().getCallCount();
    const int64 mark = blocks;
    while (blocks < mark + 50)
        std::this_thread::yield();
    stop = true;
    audio.join();
    EXPECT_EQ(probe().getCallCount(), callsAfterRemoval);
    EXPECT_EQ(configurationCalls(probe()).back(), "setActive:0");
    slot->release();
}

} // namespace
} // namespace Quillmark::MiniEngine
