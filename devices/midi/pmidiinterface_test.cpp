// What a MIDI interface does with the messages of its sockets, apart from any system service:
// the input path (active sensing, the filter, note identifiers, time stamps), the output queue
// and its scheduling thread, priorities and settings. The sockets here are fed by the test.
#include "devices/midi/mididevicetestsupport.h"
#include "devices/midi/pmidiinterface.h"
#include "devices/ports/pportregistry.h"

#include "base/fdefaults.h"
#include "base/fmessage.h"
#include "base/platform/clock.h"
#include "midi/pmidifiltersetup.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <mutex>
#include <unistd.h>

namespace Quillmark
{
namespace
{

using testing::MidiReceiver;
using Bytes = std::vector<uint8>;

/** An input that no system port stands behind: the test plays into it. */
class FeedSocket : public PHWMidiInSocket
{
public:
    using PHWMidiInSocket::PHWMidiInSocket;
    bool activate() override
    {
        ++activations;
        resetNotes();
        active.store(true);
        return true;
    }
    void deactivate() override { active.store(false); }
    bool isFake() const override { return true; }
    void feed(const Bytes& bytes, uint32 milliseconds = 0)
    {
        handleMessage(bytes.data(), int32(bytes.size()), milliseconds);
    }
    int32 activations = 0;
};

/** An output that writes into a list, with the clock's time of each write. */
class RecordingSocket : public PMidiOutSocket
{
public:
    using PMidiOutSocket::PMidiOutSocket;
    struct Written
    {
        Bytes bytes;
        double at;
    };
    bool activate() override
    {
        active.store(true);
        return true;
    }
    void deactivate() override
    {
        active.store(false);
        clearQueues();
    }
    std::vector<Written> written() const
    {
        std::lock_guard<std::mutex> guard(mutex);
        return list;
    }

protected:
    void writeMessage(const uint8* bytes, int32 size) override
    {
        std::lock_guard<std::mutex> guard(mutex);
        list.push_back({Bytes(bytes, bytes + size), platform::seconds()});
    }

private:
    mutable std::mutex mutex;
    std::vector<Written> list;
};

class LoopInterface : public PMidiInterface
{
public:
    explicit LoopInterface(PPortRegistry* registry)
        : PMidiInterface("Loop MIDI", "Loop MIDI Settings", registry)
    {
        keys = static_cast<FeedSocket*>(addInputSocket(new FeedSocket(this, "Keys")));
        synth = static_cast<RecordingSocket*>(addOutputSocket(new RecordingSocket(this, "Synth")));
    }
    ~LoopInterface() override { close(); }

    FeedSocket* keys;
    RecordingSocket* synth;
};

PMidiEvent* makeEvent(uint8 status, uint8 data1, uint8 data2, double time, double length = 0)
{
    auto* event = new PMidiEvent(status, data1, data2);
    event->setTime(time);
    event->setLength(length);
    return event;
}

class MidiInterfaceTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        device->release();
        receiver->release();
    }
    bool sendAndRelease(PMidiEvent* event)
    {
        const bool taken = device->synth->send(event);
        event->release();
        return taken;
    }
    static std::vector<Bytes> bytesOf(const std::vector<RecordingSocket::Written>& written)
    {
        std::vector<Bytes> result;
        for (const auto& w : written)
            result.push_back(w.bytes);
        return result;
    }

    PPortRegistry registry;
    LoopInterface* device = new LoopInterface(&registry);
    MidiReceiver* receiver = new MidiReceiver;
};

TEST_F(MidiInterfaceTest, ConnectingAnActivePortOpensTheInput)
{
    EXPECT_FALSE(device->keys->isActive());
    EXPECT_TRUE(device->keys->getFlags() & PPort::kHardware);
    ASSERT_TRUE(device->keys->connect(receiver->getPort()));
    EXPECT_TRUE(device->keys->isActive());
    EXPECT_EQ(device->keys->activations, 1);
    EXPECT_EQ(device->keys->countReceivers(), 1);
    device->keys->disconnect(receiver->getPort());
    EXPECT_FALSE(device->keys->isActive());
    EXPECT_EQ(device->keys->countReceivers(), 0);
}

TEST_F(MidiInterfaceTest, InputPathDropsActiveSensingAndPairsNoteIdentifiers)
{
    ASSERT_TRUE(device->keys->connect(receiver->getPort()));
    FeedSocket& keys = *device->keys;
    keys.feed({0xFE}, 1);
    keys.feed({0x90, 60, 100}, 2);
    keys.feed({0x90, 60, 101}, 3);
    keys.feed({0x90, 61, 0}, 4); // velocity 0: a note-off with no note open
    keys.feed({0x80, 60, 0}, 5);
    keys.feed({0x80, 60, 0}, 6);
    keys.feed({0x80, 60, 0}, 7);   // one release too many
    keys.feed({0x91, 60, 100}, 8); // another channel has its own queue
    EXPECT_EQ(keys.getNoteIdQueues().openNotes(1, 60), 1);

    const auto got = receiver->received();
    ASSERT_EQ(got.size(), 7u);
    EXPECT_EQ(got[0].status, 0x90);
    EXPECT_EQ(got[2].noteId, -1);
    EXPECT_EQ(got[3].noteId, got[0].noteId);
    EXPECT_EQ(got[4].noteId, got[1].noteId);
    EXPECT_EQ(got[5].noteId, -1);
    for (size_t i = 0; i < got.size(); ++i)
    {
        EXPECT_TRUE(got[i].flags & PHWMidiInSocket::kLiveFlag);
        EXPECT_DOUBLE_EQ(got[i].time, double(i + 2) * 0.001);
    }
}

TEST_F(MidiInterfaceTest, TimeStampsWrapWithTheThirtyTwoBitClock)
{
    ASSERT_TRUE(device->keys->connect(receiver->getPort()));
    device->keys->feed({0xB0, 1, 2}, 0xFFFFFFFFu);
    device->keys->feed({0xB0, 1, 3}, 0xFFFFFFFFu + 6u);
    const auto got = receiver->received();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_DOUBLE_EQ(got[0].time, 4294967.295);
    EXPECT_DOUBLE_EQ(got[1].time, 0.005); // wrapped, and nothing corrects it
}

TEST_F(MidiInterfaceTest, SystemTimestampsReplaceTheDriversOwn)
{
    ASSERT_TRUE(device->keys->connect(receiver->getPort()));
    device->setUseSystemTimestamp(true);
    const uint32 before = platform::milliseconds();
    device->keys->feed({0x90, 1, 1}, 7);
    const uint32 after = platform::milliseconds();
    const auto got = receiver->received();
    ASSERT_EQ(got.size(), 1u);
    const uint32 stamp = uint32(got[0].time * 1000.0 + 0.5);
    EXPECT_LE(uint32(stamp - before), uint32(after - before));
}

TEST_F(MidiInterfaceTest, TheFilterHoldsBackSwitchedControllers)
{
    ASSERT_TRUE(device->keys->connect(receiver->getPort()));
    device->keys->feed({0xB0, 123, 0}); // no filter: everything passes
    auto* filter = new MidiSupport::PMidiFilterSetup;
    filter->setControllerOn(123, true);
    device->setFilter(filter);
    device->keys->feed({0xB3, 123, 0});
    device->keys->feed({0xB3, 7, 100});
    device->keys->feed({0x93, 123, 100}); // a note of the same number is no controller
    device->setFilter(nullptr);
    filter->release();
    const auto got = receiver->received();
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].data1, 123);
    EXPECT_EQ(got[1].data1, 7);
    EXPECT_EQ(got[2].status, 0x93);
}

TEST_F(MidiInterfaceTest, SourcesDeliverToMidiInputsAndToOwnersThatTakeEvents)
{
    auto* second = new MidiReceiver;
    auto* plainPort = new PInput(nullptr, "Audio In", "audio");
    ASSERT_TRUE(device->keys->connect(receiver->getPort()));
    ASSERT_TRUE(device->keys->connect(second->getPort()));
    ASSERT_TRUE(device->keys->connect(plainPort)); // not MIDI: never reached
    EXPECT_EQ(device->keys->countReceivers(), 2);
    device->keys->feed({0x90, 1, 1});
    EXPECT_EQ(receiver->count(), 1u);
    EXPECT_EQ(second->count(), 1u);
    second->release(); // its port leaves the socket as it goes
    EXPECT_EQ(device->keys->countReceivers(), 1);
    device->keys->feed({0x90, 2, 2});
    EXPECT_EQ(receiver->count(), 2u);
    plainPort->release();
}

TEST_F(MidiInterfaceTest, OutputQueuePlaysByTimeAndAnswersTheNextTime)
{
    RecordingSocket& synth = *device->synth;
    ASSERT_TRUE(synth.activate());
    EXPECT_TRUE(sendAndRelease(makeEvent(0xB0, 7, 30, 103.0)));
    EXPECT_TRUE(sendAndRelease(makeEvent(0xB0, 7, 10, 101.0)));
    EXPECT_TRUE(sendAndRelease(makeEvent(0xB0, 7, 20, 102.0)));
    EXPECT_TRUE(sendAndRelease(makeEvent(0xB0, 7, 21, 102.0))); // equal times keep arrival
    EXPECT_EQ(synth.sendDueEvents(100.0), 101.0);
    EXPECT_TRUE(synth.written().empty());
    EXPECT_EQ(synth.sendDueEvents(102.0), 103.0);
    EXPECT_EQ(bytesOf(synth.written()),
              (std::vector<Bytes>{{0xB0, 7, 10}, {0xB0, 7, 20}, {0xB0, 7, 21}}));
    EXPECT_EQ(synth.sendDueEvents(200.0), PMidiOutSocket::kNothingPending);
    EXPECT_EQ(synth.written().size(), 4u);
}

TEST_F(MidiInterfaceTest, NoteOnsGetTheirNoteOffsUnlessTheyBringTheirOwn)
{
    RecordingSocket& synth = *device->synth;
    ASSERT_TRUE(synth.activate());
    PMidiEvent* held = makeEvent(0x90, 60, 100, 10.0, 2.0);
    held->setData3(33); // release velocity
    EXPECT_TRUE(sendAndRelease(held));
    EXPECT_TRUE(sendAndRelease(makeEvent(0x90, 61, 100, 10.0))); // length 0: off at once
    PMidiEvent* own = makeEvent(0x90, 62, 100, 10.0);
    own->setFlag(PMidiOutSocket::kOwnNoteOffFlag, true);
    EXPECT_TRUE(sendAndRelease(own));
    PMidiEvent* none = makeEvent(0x90, 63, 100, 10.0, 5.0);
    none->setFlag(PMidiOutSocket::kNoCompanionFlag, true);
    EXPECT_TRUE(sendAndRelease(none));

    EXPECT_EQ(synth.sendDueEvents(10.0), 12.0);
    EXPECT_EQ(synth.sendDueEvents(12.0), PMidiOutSocket::kNothingPending);
    EXPECT_EQ(bytesOf(synth.written()), (std::vector<Bytes>{{0x90, 60, 100},
                                                            {0x90, 61, 100},
                                                            {0x80, 61, 0},
                                                            {0x90, 62, 100},
                                                            {0x90, 63, 100},
                                                            {0x80, 60, 33}}))
        << "a note-off never goes before its own note-on, and before later notes";
}

TEST_F(MidiInterfaceTest, OnlyEventsMarkedForOutputAreTaken)
{
    RecordingSocket& synth = *device->synth;
    ASSERT_TRUE(synth.activate());
    PMidiEvent* unmarked = makeEvent(0xB0, 1, 1, 1.0);
    unmarked->setFlag(PMidiOutSocket::kOutputFlag, false);
    EXPECT_FALSE(sendAndRelease(unmarked));
    PMidiEvent* sent = makeEvent(0xB0, 1, 2, 1.0);
    sent->setFlag(PMidiOutSocket::kSentFlag, true);
    sent->addRef();
    EXPECT_TRUE(sendAndRelease(sent));
    EXPECT_FALSE(sent->hasFlag(PMidiOutSocket::kSentFlag));
    sent->release();
    EXPECT_FALSE(synth.send(nullptr));
    EXPECT_EQ(synth.countPending(), 1);
    synth.deactivate();
    EXPECT_EQ(synth.countPending(), 0);
    EXPECT_EQ(synth.sendDueEvents(5.0), PMidiOutSocket::kNothingPending);
    EXPECT_TRUE(synth.written().empty()) << "a closed output plays nothing";
}

TEST_F(MidiInterfaceTest, AllNotesOffNowFlushesThePortFirst)
{
    RecordingSocket& synth = *device->synth;
    ASSERT_TRUE(synth.activate());
    EXPECT_TRUE(sendAndRelease(makeEvent(0x90, 60, 100, 1.0, 100.0)));
    EXPECT_TRUE(sendAndRelease(makeEvent(0xB0, 1, 1, 50.0)));
    synth.sendDueEvents(1.0);
    EXPECT_EQ(synth.countPending(), 2);
    EXPECT_TRUE(sendAndRelease(makeEvent(0xB0, 123, 0, -1.0)));
    EXPECT_EQ(synth.countPending(), 1); // only the message itself waits
    synth.sendDueEvents(1.0);
    EXPECT_EQ(bytesOf(synth.written()),
              (std::vector<Bytes>{{0x90, 60, 100}, {0x80, 60, 0}, {0xB0, 123, 0}}));
}

TEST_F(MidiInterfaceTest, TheSchedulingThreadPlaysEventsNoEarlierThanTheirTime)
{
    RecordingSocket& synth = *device->synth;
    ASSERT_TRUE(synth.activate());
    device->startScheduler();
    const double now = platform::seconds();
    const double times[] = {now + 0.06, now + 0.02, now + 0.04, -1.0};
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(sendAndRelease(makeEvent(0xB0, 20, uint8(i), times[i])));
    ASSERT_TRUE(testing::waitUntil([&] { return synth.written().size() == 4; }));
    const auto written = synth.written();
    EXPECT_EQ(bytesOf(written),
              (std::vector<Bytes>{{0xB0, 20, 3}, {0xB0, 20, 1}, {0xB0, 20, 2}, {0xB0, 20, 0}}));
    EXPECT_GE(written[1].at, times[1]);
    EXPECT_GE(written[2].at, times[2]);
    EXPECT_GE(written[3].at, times[0]);
}

TEST_F(MidiInterfaceTest, TheSchedulingThreadWakesWithNothingToPlay)
{
    device->startScheduler();
    ASSERT_TRUE(device->isSchedulerRunning());
    const int64 first = device->getSchedulerRounds();
    EXPECT_TRUE(testing::waitUntil([&] { return device->getSchedulerRounds() > first + 5; }));
    device->close();
    EXPECT_FALSE(device->isSchedulerRunning());
    const int64 stopped = device->getSchedulerRounds();
    usleep(20000);
    EXPECT_EQ(device->getSchedulerRounds(), stopped);
}

TEST_F(MidiInterfaceTest, UpdatePriorityChangesTheBoost)
{
    EXPECT_TRUE(device->hasPriorityBoost()) << "the MIDI threads start boosted";
    auto* message = new FMessage("UpdatePriority");
    message->setInt("level", 0);
    device->notify(message);
    EXPECT_FALSE(device->hasPriorityBoost());
    message->setInt("level", 2);
    device->notify(message);
    EXPECT_TRUE(device->hasPriorityBoost());
    message->release();
    // Whether the system grants the real-time class or not, the threads run on.
    device->startScheduler();
    const int64 first = device->getSchedulerRounds();
    EXPECT_TRUE(testing::waitUntil([&] { return device->getSchedulerRounds() > first; }));
}

TEST_F(MidiInterfaceTest, SettingsAndTheOlderPerPortEntries)
{
    char folder[] = "/tmp/qelmidi-settings-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const std::string path = std::string(folder) + "/Defaults";
    {
        auto* pool = new FDefaultPool(path);
        pool->lookup("Loop MIDI Settings")->setInt("Use System Timestamp", 1);
        FDefaults* older = pool->lookup("Loop MIDI");
        older->setString("In Keys", "Piano");
        older->setInt("In Flags Keys", 1);
        older->setString("Out Synth", "Rack Synth");
        older->setInt("Out Flags Synth", 0);
        device->restoreSettings(*pool);
        EXPECT_TRUE(device->usesSystemTimestamp());
        EXPECT_EQ(device->keys->getUserName(), "Piano");
        EXPECT_FALSE(device->keys->isEnabled());
        EXPECT_EQ(device->synth->getUserName(), "Rack Synth");
        EXPECT_TRUE(device->synth->isEnabled());
        EXPECT_EQ(pool->lookup("Loop MIDI", 1, false), nullptr) << "read once, then deleted";

        device->setUseSystemTimestamp(false);
        device->storeSettings(*pool);
        int64 stored = -1;
        EXPECT_TRUE(pool->lookup("Loop MIDI Settings")->getInt("Use System Timestamp", stored));
        EXPECT_EQ(stored, 0);
        pool->release();
    }
    std::remove(path.c_str());
    rmdir(folder);
}

TEST(MidiDriverOptions, StartArgumentsWidenThePortList)
{
    EXPECT_FALSE(MidiDriverOptions::fromArguments({"foo"}).includesNonPhysicalPorts());
    const auto emulated = MidiDriverOptions::fromArguments({"enableemulated"});
    EXPECT_TRUE(emulated.enableEmulated);
    EXPECT_FALSE(emulated.ignorePortFilter);
    const auto ignore = MidiDriverOptions::fromArguments({"ignoreportfilter", "enableemulated"});
    EXPECT_TRUE(ignore.ignorePortFilter);
    EXPECT_FALSE(ignore.enableEmulated) << "the first one ends the reading";
    EXPECT_TRUE(ignore.includesNonPhysicalPorts());
}

} // namespace
} // namespace Quillmark
