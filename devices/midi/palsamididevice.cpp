#include "devices/midi/palsamididevice.h"

#include "base/platform/clock.h"
#include "devices/midi/midibyteparser.h"

#include <alsa/asoundlib.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <thread>
#include <vector>

namespace Quillmark
{

namespace
{
/** System exclusive data through the encoder and decoder is kept to this size. */
constexpr size_t kCodecBytes = 65536;

/** Hands the messages of one input's stream to its socket, stamped with the arrival time. */
class ArrivalSink : public MidiByteParser::Sink
{
public:
    explicit ArrivalSink(PHWMidiInSocket* socket) : socket(socket) {}
    void midiMessage(const uint8* bytes, int32 size) override;

private:
    PHWMidiInSocket* socket;
};
} // namespace

/** A readable port of another client. Open, it has a sequencer connection, a port of ours
    connected from the source, and a thread that waits for events. */
class PAlsaMidiDevice::InSocket : public PHWMidiInSocket
{
public:
    InSocket(PAlsaMidiDevice* device, const std::string& name, int client, int port)
        : PHWMidiInSocket(device, name.c_str()), alsa(device), sourceClient(client),
          sourcePort(port)
    {
    }
    ~InSocket() override { stop(); }

    bool activate() override
    {
        if (active.load())
            return true;
        if (!alsa)
            return false;
        if (snd_seq_open(&handle, "default", SND_SEQ_OPEN_INPUT, SND_SEQ_NONBLOCK) < 0)
        {
            handle = nullptr;
            return false;
        }
        snd_seq_set_client_name(handle, kClientName);
        const int own = snd_seq_create_simple_port(
            handle, "in", SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE,
            SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
        if (own < 0 || snd_seq_connect_from(handle, own, sourceClient, sourcePort) < 0 ||
            snd_midi_event_new(kCodecBytes, &decoder) < 0)
        {
            releaseHandles();
            return false;
        }
        snd_midi_event_no_status(decoder, 1);
        stopSignal = eventfd(0, EFD_NONBLOCK);
        if (stopSignal < 0)
        {
            releaseHandles();
            return false;
        }
        resetNotes();
        parser.reset();
        active.store(true);
        thread = std::thread([this] { run(); });
        return true;
    }
    void deactivate() override { stop(); }

    PAlsaMidiDevice* alsa;

private:
    void stop()
    {
        if (!active.exchange(false))
            return;
        const uint64_t one = 1;
        if (write(stopSignal, &one, sizeof(one)) < 0)
        {
            // The thread also looks at `active` each time it wakes; it ends at the next event.
        }
        if (thread.joinable())
            thread.join();
        releaseHandles();
    }
    void releaseHandles()
    {
        if (decoder)
            snd_midi_event_free(decoder);
        decoder = nullptr;
        if (handle)
            snd_seq_close(handle);
        handle = nullptr;
        if (stopSignal >= 0)
            ::close(stopSignal);
        stopSignal = -1;
    }
    void run()
    {
        int32 seenGeneration = 0;
        ArrivalSink sink(this);
        const int count = snd_seq_poll_descriptors_count(handle, POLLIN);
        std::vector<pollfd> fds(size_t(count) + 1);
        snd_seq_poll_descriptors(handle, fds.data(), unsigned(count), POLLIN);
        fds[size_t(count)] = pollfd{stopSignal, POLLIN, 0};
        std::vector<uint8> bytes(kCodecBytes);
        while (active.load())
        {
            if (alsa)
                alsa->applyPriority(seenGeneration);
            if (poll(fds.data(), fds.size(), 100) < 0 && errno != EINTR)
                break;
            if (fds[size_t(count)].revents)
                break;
            snd_seq_event_t* event = nullptr;
            while (active.load() && snd_seq_event_input(handle, &event) >= 0 && event)
            {
                if (event->type == SND_SEQ_EVENT_SYSEX)
                {
                    parser.parse(static_cast<const uint8*>(event->data.ext.ptr),
                                 event->data.ext.len, sink);
                    continue;
                }
                const long size =
                    snd_midi_event_decode(decoder, bytes.data(), long(bytes.size()), event);
                if (size > 0)
                    parser.parse(bytes.data(), size_t(size), sink);
            }
        }
    }

    int sourceClient;
    int sourcePort;
    snd_seq_t* handle = nullptr;
    snd_midi_event_t* decoder = nullptr;
    int stopSignal = -1;
    MidiByteParser parser;
    std::thread thread;
};

void ArrivalSink::midiMessage(const uint8* bytes, int32 size)
{
    socket->handleMessage(bytes, size, platform::milliseconds());
}

/** A writable port of another client, reached from a port of ours on the device's connection. */
class PAlsaMidiDevice::OutSocket : public PMidiOutSocket
{
public:
    OutSocket(PAlsaMidiDevice* device, const std::string& name, int client, int port)
        : PMidiOutSocket(device, name.c_str()), alsa(device), destClient(client), destPort(port)
    {
    }
    ~OutSocket() override
    {
        if (encoder)
            snd_midi_event_free(encoder);
    }

    bool activate() override
    {
        FGuard guard(queueLock);
        if (active.load())
            return true;
        if (!alsa || !alsa->seq)
            return false;
        FGuard output(alsa->outputLock);
        if (!encoder && snd_midi_event_new(kCodecBytes, &encoder) < 0)
        {
            encoder = nullptr;
            return false;
        }
        ownPort = snd_seq_create_simple_port(
            alsa->seq, "out", SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ,
            SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
        if (ownPort < 0)
            return false;
        if (snd_seq_connect_to(alsa->seq, ownPort, destClient, destPort) < 0)
        {
            snd_seq_delete_simple_port(alsa->seq, ownPort);
            ownPort = -1;
            return false;
        }
        snd_midi_event_reset_encode(encoder);
        active.store(true);
        return true;
    }
    void deactivate() override
    {
        FGuard guard(queueLock);
        active.store(false);
        clearQueues();
        if (alsa && alsa->seq && ownPort >= 0)
        {
            FGuard output(alsa->outputLock);
            snd_seq_delete_simple_port(alsa->seq, ownPort);
        }
        ownPort = -1;
    }

    PAlsaMidiDevice* alsa;

protected:
    void writeMessage(const uint8* bytes, int32 size) override
    {
        if (!alsa || !alsa->seq || ownPort < 0 || !encoder)
            return;
        FGuard output(alsa->outputLock);
        long offset = 0;
        while (offset < size)
        {
            snd_seq_event_t event;
            snd_seq_ev_clear(&event);
            const long used = snd_midi_event_encode(encoder, bytes + offset, size - offset, &event);
            if (used <= 0)
                break;
            offset += used;
            if (event.type == SND_SEQ_EVENT_NONE)
                continue;
            snd_seq_ev_set_source(&event, ownPort);
            snd_seq_ev_set_subs(&event);
            snd_seq_ev_set_direct(&event);
            snd_seq_event_output_direct(alsa->seq, &event);
        }
    }

private:
    int destClient;
    int destPort;
    int ownPort = -1;
    snd_midi_event_t* encoder = nullptr;
};

PAlsaMidiDevice::PAlsaMidiDevice(const MidiDriverOptions& options, PPortRegistry* registry)
    : PMidiInterface(kName, kSettingsSection, registry), options(options)
{
}

PAlsaMidiDevice::~PAlsaMidiDevice()
{
    close();
    for (InSocket* socket : inSockets)
        socket->alsa = nullptr;
    for (OutSocket* socket : outSockets)
        socket->alsa = nullptr;
}

bool PAlsaMidiDevice::isSequencerPresent()
{
    return access("/dev/snd/seq", R_OK | W_OK) == 0;
}

bool PAlsaMidiDevice::open(std::string* problem)
{
    if (seq)
        return true;
    if (snd_seq_open(&seq, "default", SND_SEQ_OPEN_DUPLEX, 0) < 0)
    {
        seq = nullptr;
        if (problem)
            *problem = "the ALSA sequencer cannot be opened (is /dev/snd/seq there?)";
        return false;
    }
    snd_seq_set_client_name(seq, kClientName);
    createSockets();
    startScheduler();
    return true;
}

void PAlsaMidiDevice::close()
{
    deactivateAll();
    stopScheduler();
    if (seq)
    {
        FGuard output(outputLock);
        snd_seq_close(seq);
        seq = nullptr;
    }
}

int32 PAlsaMidiDevice::getClientId() const
{
    return seq ? snd_seq_client_id(seq) : -1;
}

void PAlsaMidiDevice::createSockets()
{
    const int own = snd_seq_client_id(seq);
    snd_seq_client_info_t* clientInfo = nullptr;
    snd_seq_port_info_t* portInfo = nullptr;
    snd_seq_client_info_malloc(&clientInfo);
    snd_seq_port_info_malloc(&portInfo);
    snd_seq_client_info_set_client(clientInfo, -1);
    while (snd_seq_query_next_client(seq, clientInfo) >= 0)
    {
        const int client = snd_seq_client_info_get_client(clientInfo);
        const std::string clientName = snd_seq_client_info_get_name(clientInfo);
        // Our own connections (this device's and those of open inputs) are no ports to offer.
        if (client == own || client == SND_SEQ_CLIENT_SYSTEM ||
            (clientName == kClientName && snd_seq_client_info_get_pid(clientInfo) == getpid()))
            continue;
        snd_seq_port_info_set_client(portInfo, client);
        snd_seq_port_info_set_port(portInfo, -1);
        while (snd_seq_query_next_port(seq, portInfo) >= 0)
        {
            const unsigned caps = snd_seq_port_info_get_capability(portInfo);
            const unsigned type = snd_seq_port_info_get_type(portInfo);
            if ((caps & SND_SEQ_PORT_CAP_NO_EXPORT) || !(type & SND_SEQ_PORT_TYPE_MIDI_GENERIC))
                continue;
            // Every client's ports are offered: the sequencer is where programs and cables
            // meet alike, and the options that widen the list concern the JACK ports only.
            const int port = snd_seq_port_info_get_port(portInfo);
            const std::string name = clientName + ":" + snd_seq_port_info_get_name(portInfo);
            const unsigned readable = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;
            const unsigned writable = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;
            if ((caps & readable) == readable && !findInputSocket(name.c_str()))
            {
                auto* socket = new InSocket(this, name, client, port);
                inSockets.push_back(socket);
                addInputSocket(socket);
            }
            if ((caps & writable) == writable && !findOutputSocket(name.c_str()))
            {
                auto* socket = new OutSocket(this, name, client, port);
                outSockets.push_back(socket);
                addOutputSocket(socket);
            }
        }
    }
    snd_seq_port_info_free(portInfo);
    snd_seq_client_info_free(clientInfo);
}

} // namespace Quillmark
