// The JACK MIDI driver against a real server of the test's own: notes from another client reach
// a connected receiver in order with their identifiers and timing order, outputs play at their
// time, the process callback leaves the heap alone, and the driver outlives its server.
#include "devices/midi/mididevicelist.h"
#include "devices/midi/mididevicetestsupport.h"
#include "devices/midi/palsamididevice.h"
#include "devices/midi/pjackmididevice.h"
#include "devices/ports/pportregistry.h"
#include "devices/testsupport/jacktestsupport.h"
#include "engine/eventlist.h"
#include "engine/qeleventinput.h"
#include "engine/testsupport/allocationcounter.h"

#include "base/platform/clock.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Quillmark
{
namespace
{

using testing::JackServer;
using testing::MidiReceiver;
using testing::TestJackClient;
using Bytes = std::vector<uint8_t>;

class JackMidi : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        server = std::make_unique<JackServer>(info->name());
        ASSERT_TRUE(server->start()) << "jackd did not start under " << server->name();
        client = std::make_unique<TestJackClient>(server->name(), "midi-test");
        ASSERT_TRUE(client->isOpen());
        MidiDriverOptions options;
        options.jackServerName = server->name();
        options.enableEmulated = true; // the test's client has no hardware behind it
        device = new PJackMidiDevice(options, &registry);
        std::string problem;
        ASSERT_TRUE(device->open(&problem)) << problem;
        input = device->findInputSocket(client->outputName().c_str());
        output = device->findOutputSocket(client->inputName().c_str());
        ASSERT_NE(input, nullptr);
        ASSERT_NE(output, nullptr);
    }
    void TearDown() override
    {
        if (device)
        {
            device->close();
            device->release();
        }
        receiver->release();
        client.reset();
        server.reset();
    }

    PPortRegistry registry;
    std::unique_ptr<JackServer> server;
    std::unique_ptr<TestJackClient> client;
    PJackMidiDevice* device = nullptr;
    PHWMidiInSocket* input = nullptr;
    PMidiOutSocket* output = nullptr;
    MidiReceiver* receiver = new MidiReceiver;
};

TEST_F(JackMidi, ListsTheServersPortsWithoutItsOwn)
{
    EXPECT_EQ(device->getName(), "JACK MIDI");
    EXPECT_EQ(device->getSampleRate(), double(JackServer::kSampleRate));
    for (int32 i = 0; i < device->countInputSockets(); ++i)
    {
        PHWMidiInSocket* socket = device->getInputSocket(i);
        EXPECT_TRUE(socket->isType("midi"));
        EXPECT_TRUE(socket->isSubtype("system"));
        EXPECT_FALSE(socket->isInputPin()); // a source of the graph
        EXPECT_NE(socket->getNameText().toUtf8().rfind(device->getClientName() + ":", 0), 0u);
    }
    PPortID id;
    ASSERT_TRUE(input->getUniqueName(id));
    EXPECT_EQ(id.getText(), "O|JACK MIDI|midi-test:out");
    EXPECT_EQ(registry.findPort(id), input);
}

TEST_F(JackMidi, PhysicalPortsOnlyUnlessAsked)
{
    MidiDriverOptions options;
    options.jackServerName = server->name();
    auto* plain = new PJackMidiDevice(options, nullptr);
    ASSERT_TRUE(plain->open());
    // The dummy backend has no MIDI hardware, and the test's client is a program.
    EXPECT_EQ(plain->findInputSocket(client->outputName().c_str()), nullptr);
    EXPECT_EQ(plain->findOutputSocket(client->inputName().c_str()), nullptr);
    plain->close();
    plain->release();
}

TEST_F(JackMidi, NotesReachAConnectedReceiverInOrderWithTheirIdentifiers)
{
    ASSERT_TRUE(input->connect(receiver->getPort()));
    ASSERT_TRUE(input->isActive()) << "a connection to an active port opens the socket";
    ASSERT_TRUE(client->settle());

    client->play({{10, {0x90, 60, 100}},
                  {20, {0x90, 60, 80}},           // the same key again before its release
                  {30, {0xFE}},                   // active sensing
                  {40, {0x91, 64, 90, 67, 91}}}); // running status inside one event
    ASSERT_TRUE(receiver->waitFor(4));
    client->play({{5, {0x80, 60, 0}},
                  {6, {0x90, 60, 0}}, // a note-on of velocity 0 ends a note as well
                  {7, {0x81, 64, 0}},
                  {8, {0x82, 70, 0}}, // never begun
                  {9, {0xF0, 0x7E, 0x7F, 0x09, 0x01, 0xF7}}});
    ASSERT_TRUE(receiver->waitFor(9));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const auto got = receiver->received();
    ASSERT_EQ(got.size(), 9u);

    const uint8 statuses[] = {0x90, 0x90, 0x91, 0x91, 0x80, 0x90, 0x81, 0x82, 0xF0};
    const uint8 keys[] = {60, 60, 64, 67, 60, 60, 64, 70};
    for (size_t i = 0; i < got.size(); ++i)
    {
        EXPECT_EQ(got[i].status, statuses[i]) << i;
        if (i < 8)
        {
            EXPECT_EQ(got[i].data1, keys[i]) << i;
        }
        EXPECT_TRUE(got[i].flags & PHWMidiInSocket::kLiveFlag) << i;
        if (i > 0)
        {
            EXPECT_GE(got[i].time, got[i - 1].time) << "time stamps keep the order " << i;
        }
    }
    EXPECT_EQ(got[3].data2, 91);
    // First in, first out per key: the first release ends the first note.
    EXPECT_EQ(got[4].noteId, got[0].noteId);
    EXPECT_EQ(got[5].noteId, got[1].noteId);
    EXPECT_NE(got[0].noteId, got[1].noteId);
    EXPECT_EQ(got[6].noteId, got[2].noteId);
    EXPECT_EQ(got[7].noteId, -1);
    EXPECT_EQ(got[8].sysex, (Bytes{0xF0, 0x7E, 0x7F, 0x09, 0x01, 0xF7}));
    // The second burst was played at least one cycle after the first arrived.
    EXPECT_GE(got[4].time - got[0].time, 0.9 * JackServer::kPeriod / JackServer::kSampleRate);
    EXPECT_EQ(device->getDroppedInputMessages(), 0);
}

TEST_F(JackMidi, DisconnectingTheLastReceiverClosesTheSocket)
{
    ASSERT_TRUE(input->connect(receiver->getPort()));
    ASSERT_TRUE(input->isActive());
    ASSERT_TRUE(input->disconnect(receiver->getPort()));
    EXPECT_FALSE(input->isActive());
    ASSERT_TRUE(client->settle());
    client->play({{0, {0x90, 1, 1}}});
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(receiver->count(), 0u);

    ASSERT_TRUE(input->connect(receiver->getPort()));
    ASSERT_TRUE(client->settle());
    client->play({{0, {0x90, 2, 2}}});
    ASSERT_TRUE(receiver->waitFor(1));
    EXPECT_EQ(receiver->received()[0].data1, 2);
}

TEST_F(JackMidi, OutputsPlayAtTheirTimeInOrder)
{
    auto* source = new PMidiOutput(nullptr, "Test Source");
    ASSERT_TRUE(source->connect(output));
    ASSERT_TRUE(output->isActive());

    const double now = platform::seconds();
    const uint32_t startFrame = client->frameTime();
    const auto event = [](uint8 status, uint8 d1, uint8 d2, double time)
    {
        auto* e = new PMidiEvent(status, d1, d2);
        e->setTime(time);
        return e;
    };
    PMidiEvent* late = event(0x90, 62, 100, now + 0.15);
    late->setLength(0.1); // a note-off of its own follows 0.1 s later
    PMidiEvent* early = event(0x90, 60, 100, now + 0.05);
    early->setFlag(PMidiOutSocket::kOwnNoteOffFlag, true);
    PMidiEvent* middle = event(0xB0, 7, 99, now + 0.10);
    // Sent out of order: the queue orders them by time.
    EXPECT_TRUE(output->send(late));
    EXPECT_TRUE(output->send(early));
    source->deliver(middle); // through the graph, as a sequencer would play it
    for (PMidiEvent* e : {late, early, middle})
        e->release();

    ASSERT_TRUE(testing::waitUntil([&] { return client->received().size() >= 4; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const auto got = client->received();
    ASSERT_EQ(got.size(), 4u);
    EXPECT_EQ(got[0].bytes, (Bytes{0x90, 60, 100}));
    EXPECT_EQ(got[1].bytes, (Bytes{0xB0, 7, 99}));
    EXPECT_EQ(got[2].bytes, (Bytes{0x90, 62, 100}));
    EXPECT_EQ(got[3].bytes, (Bytes{0x80, 62, 0}));

    // Never early: each message arrives no sooner than its time allows, give or take the
    // frame counter's step of one period.
    const double rate = JackServer::kSampleRate;
    const double slack = 2.0 * JackServer::kPeriod;
    EXPECT_GE(double(got[0].frame - startFrame), 0.05 * rate - slack);
    EXPECT_GE(double(got[1].frame - got[0].frame), 0.05 * rate - slack);
    EXPECT_GE(double(got[2].frame - got[1].frame), 0.05 * rate - slack);
    EXPECT_GE(double(got[3].frame - got[2].frame), 0.10 * rate - slack);
    EXPECT_EQ(output->countPending(), 0);
    source->release();
}

TEST_F(JackMidi, FlushEndsBegunNotesAndDropsTheRest)
{
    ASSERT_TRUE(output->activate());
    auto* noteOn = new PMidiEvent(0x92, 50, 100);
    noteOn->setTime(-1.0); // now
    noteOn->setLength(30.0);
    auto* later = new PMidiEvent(0x92, 52, 100);
    later->setTime(platform::seconds() + 30.0);
    later->setFlag(PMidiOutSocket::kNoCompanionFlag, true);
    ASSERT_TRUE(output->send(noteOn));
    ASSERT_TRUE(output->send(later));
    ASSERT_TRUE(testing::waitUntil([&] { return client->received().size() >= 1; }));
    EXPECT_EQ(output->countPending(), 2); // the later note and the first one's note-off

    auto* allNotesOff = new PMidiEvent(0xB2, 123, 0);
    allNotesOff->setTime(-1.0);
    ASSERT_TRUE(output->send(allNotesOff)); // flushes first, then plays itself
    ASSERT_TRUE(testing::waitUntil([&] { return client->received().size() >= 3; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const auto got = client->received();
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].bytes, (Bytes{0x92, 50, 100}));
    EXPECT_EQ(got[1].bytes, (Bytes{0x82, 50, 0}));
    EXPECT_EQ(got[2].bytes, (Bytes{0xB2, 123, 0}));
    EXPECT_EQ(output->countPending(), 0);
    for (PMidiEvent* e : {noteOn, later, allNotesOff})
        e->release();
}

struct AllocationWatch
{
    std::atomic<bool> started{false};
    std::atomic<int64_t> allocations{0};
    std::atomic<int64_t> cycles{0};

    static void observe(void* context, bool cycleStart)
    {
        auto* watch = static_cast<AllocationWatch*>(context);
        if (cycleStart)
        {
            if (!watch->started.exchange(true))
                Quillmark::testing::AllocationCounter::start();
            return;
        }
        watch->allocations.store(Quillmark::testing::AllocationCounter::allocations());
        watch->cycles.fetch_add(1);
    }
};

TEST_F(JackMidi, TheProcessCallbackNeverAllocates)
{
    AllocationWatch watch;
    device->setProcessObserver(&AllocationWatch::observe, &watch);
    ASSERT_TRUE(input->connect(receiver->getPort()));
    ASSERT_TRUE(output->activate());
    ASSERT_TRUE(testing::waitUntil([&] { return watch.cycles.load() > 2; }));
    ASSERT_TRUE(client->settle());

    const int kBursts = 40;
    for (int burst = 0; burst < kBursts; ++burst)
    {
        std::vector<std::pair<uint32_t, Bytes>> notes;
        for (uint8 key = 0; key < 8; ++key)
            notes.push_back({key * 10u, {0x90, uint8(40 + key), 100}});
        notes.push_back({100, {0xF0, 1, 2, 3, 0xF7}});
        client->play(notes);
        for (uint8 key = 0; key < 8; ++key)
        {
            auto* e = new PMidiEvent(0x80, uint8(40 + key), 0);
            e->setTime(-1.0);
            output->send(e);
            e->release();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(6));
    }
    ASSERT_TRUE(receiver->waitFor(kBursts * 9));
    ASSERT_TRUE(testing::waitUntil([&] { return client->received().size() >= kBursts * 8; }));
    const int64_t cyclesSeen = watch.cycles.load();
    device->setProcessObserver(nullptr, nullptr);
    EXPECT_GT(cyclesSeen, kBursts);
    EXPECT_EQ(watch.allocations.load(), 0) << "allocations on the JACK process thread";
    EXPECT_EQ(device->getDroppedInputMessages(), 0);
}

TEST_F(JackMidi, SurvivesItsServerGoingAwayAndComingBack)
{
    ASSERT_TRUE(input->connect(receiver->getPort()));
    ASSERT_TRUE(output->activate());
    ASSERT_TRUE(client->settle());
    client->play({{0, {0x90, 60, 1}}});
    ASSERT_TRUE(receiver->waitFor(1));

    server->kill();
    ASSERT_TRUE(testing::waitUntil([&] { return device->getServerLossCount() == 1; }))
        << "the driver never heard that its server went away";
    EXPECT_FALSE(device->isServerRunning());
    client.reset();
    // Meanwhile the host goes on: events to the output are taken and nothing breaks.
    auto* e = new PMidiEvent(0x90, 61, 1);
    e->setTime(-1.0);
    EXPECT_TRUE(output->send(e));
    e->release();
    EXPECT_FALSE(device->checkServer()) << "no server to return to yet";
    EXPECT_TRUE(input->isConnectedTo(receiver->getPort())) << "the graph keeps its connections";

    ASSERT_TRUE(server->start());
    client = std::make_unique<TestJackClient>(server->name(), "midi-test");
    ASSERT_TRUE(client->isOpen());
    ASSERT_TRUE(testing::waitUntil([&] { return device->checkServer(); }));
    EXPECT_TRUE(device->isServerRunning());
    EXPECT_TRUE(input->isActive()) << "the open socket opens again with its server";
    EXPECT_TRUE(output->isActive());

    ASSERT_TRUE(client->settle());
    client->play({{0, {0x90, 62, 2}}});
    ASSERT_TRUE(receiver->waitFor(2));
    EXPECT_EQ(receiver->received()[1].data1, 62);
    auto* again = new PMidiEvent(0x90, 63, 3);
    again->setTime(-1.0);
    ASSERT_TRUE(output->send(again));
    again->release();
    ASSERT_TRUE(testing::waitUntil(
        [&]
        {
            for (const auto& m : client->received())
                if (m.bytes == Bytes{0x90, 63, 3})
                    return true;
            return false;
        }));
}

TEST_F(JackMidi, ClosesCleanlyAfterItsServerDied)
{
    ASSERT_TRUE(input->connect(receiver->getPort()));
    ASSERT_TRUE(output->activate());
    server->kill();
    ASSERT_TRUE(testing::waitUntil([&] { return device->getServerLossCount() == 1; }));
    client.reset();
    device->close();
    EXPECT_FALSE(device->isSchedulerRunning());
    EXPECT_FALSE(input->isActive());
    EXPECT_FALSE(output->isActive());
    EXPECT_TRUE(input->isConnectedTo(receiver->getPort())) << "closing keeps the graph";
    device->release();
    device = nullptr;
}

/** Stands where a slot's collector stands: hands each event to the slot's event input. */
class EventInputReceiver : public CmObject, public IMidiEventReceiver
{
public:
    EventInputReceiver()
        : port(
              new PInput(static_cast<IMidiEventReceiver*>(this), "MidiEventCollectorInput", "midi"))
    {
    }
    ~EventInputReceiver() override
    {
        port->release();
        input->release();
    }
    void receiveMidiEvent(PEvent* event) override
    {
        input->receive(event);
        received.fetch_add(1);
    }
    tresult queryInterface(const TUID iid, void** obj) override
    {
        QEL_QUERY_INTERFACE(iid, obj, IMidiEventReceiver)
        return CmObject::queryInterface(iid, obj);
    }
    uint32 addRef() override { return CmObject::addRef(); }
    uint32 release() override { return CmObject::release(); }

    PPort* port;
    MiniEngine::QelEventInput* input = new MiniEngine::QelEventInput(0);
    std::atomic<int> received{0};
};

TEST_F(JackMidi, NotesBecomePlugInEventsOfTheNextBlock)
{
    auto* collector = new EventInputReceiver;
    ASSERT_TRUE(input->connect(collector->port));
    ASSERT_TRUE(client->settle());
    client->play({{0, {0x90, 60, 127}}, {1, {0x90, 60, 64}}, {2, {0xFE}}, {3, {0x80, 60, 0}}});
    ASSERT_TRUE(testing::waitUntil([&] { return collector->received.load() >= 3; }));

    Qel::ProcessContext context{};
    context.sampleRate = 48000.0;
    context.tempo = 120.0;
    MiniEngine::OperatorBuffers buffers;
    buffers.numSamples = 256;
    buffers.context = &context;
    auto* list = new MiniEngine::EventList;
    collector->input->fillEvents(*list, buffers, 48000.0);
    ASSERT_EQ(list->getEventCount(), 3);
    Qel::Event first{}, second{}, off{};
    ASSERT_EQ(list->getEvent(0, first), kResultOk);
    ASSERT_EQ(list->getEvent(1, second), kResultOk);
    ASSERT_EQ(list->getEvent(2, off), kResultOk);
    EXPECT_EQ(first.type, Qel::Event::kNoteOnEvent);
    EXPECT_EQ(first.sampleOffset, 0) << "live notes play at the start of the block";
    EXPECT_FLOAT_EQ(first.noteOn.velocity, 1.0f);
    EXPECT_EQ(off.type, Qel::Event::kNoteOffEvent);
    EXPECT_EQ(off.noteOff.noteId, first.noteOn.noteId) << "the older note of the key ends";
    EXPECT_NE(second.noteOn.noteId, first.noteOn.noteId);
    EXPECT_EQ(collector->input->getHeldNotes(0, 60), 0) << "a note-off clears its key";
    list->release();
    input->disconnect(collector->port);
    collector->release();
}

TEST_F(JackMidi, TheListingShowsEachInterfaceWithItsPortsOrItsReason)
{
    MidiDriverOptions options;
    options.jackServerName = server->name();
    options.enableEmulated = true;
    const auto listing = listMidiDevices(options);
    ASSERT_EQ(listing.size(), 2u);
    EXPECT_EQ(listing[0].device, "ALSA MIDI");
    EXPECT_EQ(listing[0].available, PAlsaMidiDevice::isSequencerPresent());
    const MidiDeviceListing& jack = listing[1];
    EXPECT_EQ(jack.device, "JACK MIDI");
    ASSERT_TRUE(jack.available) << jack.problem;
    EXPECT_NE(std::find(jack.inputs.begin(), jack.inputs.end(), client->outputName()),
              jack.inputs.end());
    EXPECT_NE(std::find(jack.outputs.begin(), jack.outputs.end(), client->inputName()),
              jack.outputs.end());
    EXPECT_EQ(registry.getPortCount(), device->countInputSockets() + device->countOutputSockets())
        << "the listing leaves the studio's registry alone";

    std::ostringstream text;
    printMidiDevices(text, listing);
    EXPECT_NE(text.str().find("MIDI: JACK MIDI\n"), std::string::npos) << text.str();
    EXPECT_NE(text.str().find("  in:  " + client->outputName() + "\n"), std::string::npos);
    EXPECT_NE(text.str().find("  out: " + client->inputName() + "\n"), std::string::npos);
    if (!listing[0].available)
    {
        EXPECT_NE(text.str().find("MIDI: ALSA MIDI (not available: "), std::string::npos);
    }
}

TEST(JackMidiWithoutServer, OpenFailsWithAReason)
{
    MidiDriverOptions options;
    options.jackServerName = "qelmidi-nobody-" + std::to_string(getpid());
    auto* device = new PJackMidiDevice(options, nullptr);
    std::string problem;
    EXPECT_FALSE(device->open(&problem));
    EXPECT_NE(problem.find(options.jackServerName), std::string::npos) << problem;
    EXPECT_FALSE(device->isServerRunning());
    EXPECT_EQ(device->countInputSockets(), 0);
    EXPECT_FALSE(device->checkServer());
    device->release();
}

} // namespace
} // namespace Quillmark
