// The ALSA MIDI driver against the system's sequencer, with another client made by the test.
// Machines without a sequencer (containers, most CI runners) skip these with a message.
#include "devices/midi/mididevicetestsupport.h"
#include "devices/midi/palsamididevice.h"
#include "devices/ports/pportregistry.h"

#include <alsa/asoundlib.h>
#include <gtest/gtest.h>
#include <poll.h>

namespace Quillmark
{
namespace
{

using testing::MidiReceiver;

constexpr const char* kSkipMessage =
    "no ALSA sequencer (/dev/snd/seq) on this machine: the ALSA MIDI paths are not run";

class AlsaMidi : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!PAlsaMidiDevice::isSequencerPresent())
            GTEST_SKIP() << kSkipMessage;
        ASSERT_GE(snd_seq_open(&other, "default", SND_SEQ_OPEN_DUPLEX, 0), 0);
        snd_seq_set_client_name(other, "qel-midi-test");
        keys = snd_seq_create_simple_port(
            other, "keys", SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ,
            SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
        synth = snd_seq_create_simple_port(
            other, "synth", SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE,
            SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
        ASSERT_GE(keys, 0);
        ASSERT_GE(synth, 0);
        device = new PAlsaMidiDevice(MidiDriverOptions(), &registry);
        std::string problem;
        ASSERT_TRUE(device->open(&problem)) << problem;
    }
    void TearDown() override
    {
        if (device)
        {
            device->close();
            device->release();
        }
        receiver->release();
        if (other)
            snd_seq_close(other);
    }
    void play(uint8 status, uint8 data1, uint8 data2)
    {
        snd_seq_event_t event;
        snd_seq_ev_clear(&event);
        const uint8 channel = status & 0x0F;
        if ((status & 0xF0) == 0x90)
            snd_seq_ev_set_noteon(&event, channel, data1, data2);
        else
            snd_seq_ev_set_noteoff(&event, channel, data1, data2);
        snd_seq_ev_set_source(&event, keys);
        snd_seq_ev_set_subs(&event);
        snd_seq_ev_set_direct(&event);
        snd_seq_event_output_direct(other, &event);
    }

    PPortRegistry registry;
    snd_seq_t* other = nullptr;
    int keys = -1;
    int synth = -1;
    PAlsaMidiDevice* device = nullptr;
    MidiReceiver* receiver = new MidiReceiver;
};

TEST_F(AlsaMidi, NotesOfAnotherClientReachAConnectedReceiver)
{
    PHWMidiInSocket* socket = device->findInputSocket("qel-midi-test:keys");
    ASSERT_NE(socket, nullptr);
    ASSERT_TRUE(socket->connect(receiver->getPort()));
    ASSERT_TRUE(socket->isActive());
    play(0x90, 60, 100);
    play(0x90, 60, 90);
    play(0x80, 60, 0);
    play(0x80, 61, 0);
    ASSERT_TRUE(receiver->waitFor(4));
    const auto got = receiver->received();
    EXPECT_EQ(got[0].status, 0x90);
    EXPECT_EQ(got[0].data1, 60);
    EXPECT_EQ(got[2].status, 0x80);
    EXPECT_EQ(got[2].noteId, got[0].noteId);
    EXPECT_EQ(got[3].noteId, -1);
    EXPECT_TRUE(got[0].flags & PHWMidiInSocket::kLiveFlag);
    socket->disconnect(receiver->getPort());
    EXPECT_FALSE(socket->isActive());
}

TEST_F(AlsaMidi, OutputsReachAnotherClient)
{
    PMidiOutSocket* socket = device->findOutputSocket("qel-midi-test:synth");
    ASSERT_NE(socket, nullptr);
    ASSERT_TRUE(socket->activate());
    auto* event = new PMidiEvent(0x92, 64, 77);
    event->setTime(-1.0);
    event->setFlag(PMidiOutSocket::kNoCompanionFlag, true);
    ASSERT_TRUE(socket->send(event));
    event->release();

    pollfd fds[4];
    const int count = snd_seq_poll_descriptors(other, fds, 4, POLLIN);
    ASSERT_GT(poll(fds, nfds_t(count), 5000), 0) << "nothing arrived";
    snd_seq_event_t* arrived = nullptr;
    ASSERT_GE(snd_seq_event_input(other, &arrived), 0);
    ASSERT_NE(arrived, nullptr);
    EXPECT_EQ(arrived->type, SND_SEQ_EVENT_NOTEON);
    EXPECT_EQ(arrived->data.note.channel, 2);
    EXPECT_EQ(arrived->data.note.note, 64);
    EXPECT_EQ(arrived->data.note.velocity, 77);
    socket->deactivate();
}

TEST(AlsaMidiWithoutSequencer, OpenFailsWithAReason)
{
    if (PAlsaMidiDevice::isSequencerPresent())
        GTEST_SKIP() << "this machine has a sequencer; AlsaMidi covers it";
    auto* device = new PAlsaMidiDevice(MidiDriverOptions(), nullptr);
    std::string problem;
    EXPECT_FALSE(device->open(&problem));
    EXPECT_NE(problem.find("/dev/snd/seq"), std::string::npos) << problem;
    EXPECT_EQ(device->countInputSockets(), 0);
    EXPECT_EQ(device->getClientId(), -1);
    device->close();
    device->release();
}

} // namespace
} // namespace Quillmark
