#include "devices/midi/pjackmididevice.h"

#include "devices/jack/quietjack.h"

#include <jack/jack.h>
#include <jack/midiport.h>
#include <jack/ringbuffer.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <thread>

namespace Quillmark
{

/** An input port of the server, read by the process callback while open. */
class PJackMidiDevice::InSocket : public PHWMidiInSocket
{
public:
    InSocket(PJackMidiDevice* device, const char* portName, int32 slot)
        : PHWMidiInSocket(device, portName), jack(device), slot(slot), source(portName)
    {
    }
    bool activate() override
    {
        wanted = true;
        if (active.load())
            return true;
        if (!jack || !jack->openInput(slot))
            return false;
        resetNotes();
        active.store(true);
        return true;
    }
    void deactivate() override
    {
        wanted = false;
        close();
    }
    void close()
    {
        active.store(false);
        if (jack)
            jack->closeInput(slot);
    }
    void handle(const uint8* bytes, int32 size, uint32 milliseconds)
    {
        if (active.load())
            handleMessage(bytes, size, milliseconds);
    }

    PJackMidiDevice* jack;
    const int32 slot;
    const std::string source;
    bool wanted = false; // what to restore when the server comes back
};

/** An output port of the server, fed by the process callback from its ring. */
class PJackMidiDevice::OutSocket : public PMidiOutSocket
{
public:
    OutSocket(PJackMidiDevice* device, const char* portName, int32 slot)
        : PMidiOutSocket(device, portName), jack(device), slot(slot), destination(portName)
    {
    }
    bool activate() override
    {
        wanted = true;
        FGuard guard(queueLock);
        if (active.load())
            return true;
        if (!jack || !jack->openOutput(slot))
            return false;
        active.store(true);
        return true;
    }
    void deactivate() override
    {
        wanted = false;
        close();
        clearQueues();
    }
    void close()
    {
        FGuard guard(queueLock);
        active.store(false);
        if (jack)
            jack->closeOutput(slot);
    }

    PJackMidiDevice* jack;
    const int32 slot;
    const std::string destination;
    bool wanted = false;

protected:
    void writeMessage(const uint8* bytes, int32 size) override
    {
        if (!jack || size <= 0)
            return;
        jack_ringbuffer_t* ring = jack->outputs[size_t(slot)].ring;
        const uint32 length = uint32(size);
        if (!ring || jack_ringbuffer_write_space(ring) < sizeof(length) + length)
            return; // the server does not take them now; like a full cable, it drops
        // One write per record, so the process callback sees a record whole or not at all.
        record.resize(sizeof(length) + length);
        std::memcpy(record.data(), &length, sizeof(length));
        std::memcpy(record.data() + sizeof(length), bytes, length);
        jack_ringbuffer_write(ring, reinterpret_cast<const char*>(record.data()), record.size());
    }

private:
    std::vector<uint8> record; // under the queue lock
};

PJackMidiDevice::PJackMidiDevice(const MidiDriverOptions& options, PPortRegistry* registry)
    : PMidiInterface(kName, kSettingsSection, registry), options(options)
{
    sem_init(&workerWake, 0, 0);
    inputRing = jack_ringbuffer_create(kInputRingBytes);
    jack_ringbuffer_mlock(inputRing);
}

PJackMidiDevice::~PJackMidiDevice()
{
    close();
    // The sockets outlive this part of the device; they must no longer reach it.
    for (int32 i = 0; i < inputCount; ++i)
        inputs[size_t(i)].socket->jack = nullptr;
    for (int32 i = 0; i < outputCount; ++i)
        outputs[size_t(i)].socket->jack = nullptr;
    for (OutputSlot& slot : outputs)
        if (slot.ring)
            jack_ringbuffer_free(slot.ring);
    jack_ringbuffer_free(inputRing);
    sem_destroy(&workerWake);
}

bool PJackMidiDevice::open(std::string* problem)
{
    if (client.load())
        return true;
    if (!connectClient(problem))
        return false;
    createSockets();
    startWorker();
    startScheduler();
    return true;
}

void PJackMidiDevice::close()
{
    deactivateAll();
    stopScheduler();
    stopWorker();
    disconnectClient();
}

bool PJackMidiDevice::connectClient(std::string* problem)
{
    quietJackLibrary();
    jack_status_t status{};
    int openOptions = JackNoStartServer;
    if (!options.jackServerName.empty())
        openOptions |= JackServerName;
    jack_client_t* opened =
        jack_client_open(kClientName, jack_options_t(openOptions), &status,
                         options.jackServerName.empty() ? nullptr : options.jackServerName.c_str());
    if (!opened)
    {
        if (problem)
            *problem = "no JACK server is running" +
                       (options.jackServerName.empty()
                            ? std::string()
                            : " under the name \"" + options.jackServerName + "\"");
        return false;
    }
    jack_set_process_callback(opened, &PJackMidiDevice::processCallback, this);
    jack_on_info_shutdown(opened, &PJackMidiDevice::shutdownCallback, this);
    sampleRate.store(double(jack_get_sample_rate(opened)));
    serverGone.store(false);
    client.store(opened);
    if (jack_activate(opened) != 0)
    {
        client.store(nullptr);
        jack_client_close(opened);
        if (problem)
            *problem = "the JACK server refused to run the MIDI client";
        return false;
    }
    return true;
}

void PJackMidiDevice::disconnectClient()
{
    jack_client_t* closing = client.exchange(nullptr);
    if (!closing)
        return;
    for (InputSlot& slot : inputs)
        slot.port.store(nullptr);
    for (OutputSlot& slot : outputs)
        slot.port.store(nullptr);
    if (!serverGone.load())
        jack_deactivate(closing);
    jack_client_close(closing);
}

void PJackMidiDevice::createSockets()
{
    jack_client_t* current = client.load();
    const std::string own = std::string(jack_get_client_name(current)) + ":";
    const unsigned long physical = options.includesNonPhysicalPorts() ? 0 : JackPortIsPhysical;
    const auto collect = [&](unsigned long direction, auto&& make)
    {
        const char** names =
            jack_get_ports(current, nullptr, JACK_DEFAULT_MIDI_TYPE, direction | physical);
        if (!names)
            return;
        for (const char** name = names; *name; ++name)
            if (std::strncmp(*name, own.c_str(), own.size()) != 0)
                make(*name);
        jack_free(names);
    };
    collect(JackPortIsOutput,
            [&](const char* name)
            {
                if (inputCount >= kMaxSockets || findInputSocket(name))
                    return;
                const int32 slot = inputCount.load();
                auto* socket = new InSocket(this, name, slot);
                inputs[size_t(slot)].socket = socket;
                inputCount.store(slot + 1); // the slot is whole before anyone reads it
                addInputSocket(socket);
            });
    collect(JackPortIsInput,
            [&](const char* name)
            {
                if (outputCount >= kMaxSockets || findOutputSocket(name))
                    return;
                const int32 index = outputCount.load();
                OutputSlot& slot = outputs[size_t(index)];
                slot.ring = jack_ringbuffer_create(kOutputRingBytes);
                jack_ringbuffer_mlock(slot.ring);
                slot.socket = new OutSocket(this, name, index);
                outputCount.store(index + 1);
                addOutputSocket(slot.socket);
            });
}

std::string PJackMidiDevice::getClientName() const
{
    jack_client_t* current = client.load();
    return current ? std::string(jack_get_client_name(current)) : std::string();
}

void PJackMidiDevice::setProcessObserver(ProcessObserver newObserver, void* context)
{
    observerContext.store(context);
    observer.store(newObserver);
}

void PJackMidiDevice::waitForCycles()
{
    if (!isServerRunning())
        return;
    const uint64 start = cycles.load();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(250);
    while (cycles.load() < start + 2 && isServerRunning() &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

bool PJackMidiDevice::openInput(int32 index)
{
    InputSlot& slot = inputs[size_t(index)];
    jack_client_t* current = client.load();
    if (!current || serverGone.load() || slot.port.load())
        return slot.port.load() != nullptr;
    const std::string portName = "in_" + std::to_string(index + 1);
    jack_port_t* port =
        jack_port_register(current, portName.c_str(), JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    if (!port)
        return false;
    if (jack_connect(current, slot.socket->source.c_str(), jack_port_name(port)) != 0)
    {
        jack_port_unregister(current, port);
        return false;
    }
    slot.port.store(port);
    // The server switches to a new graph at a cycle's border: once two cycles have passed,
    // whatever the source plays reaches the socket.
    waitForCycles();
    return true;
}

void PJackMidiDevice::closeInput(int32 index)
{
    jack_port_t* port = inputs[size_t(index)].port.exchange(nullptr);
    if (!port)
        return;
    waitForCycles();
    if (jack_client_t* current = client.load(); current && !serverGone.load())
        jack_port_unregister(current, port);
}

bool PJackMidiDevice::openOutput(int32 index)
{
    OutputSlot& slot = outputs[size_t(index)];
    jack_client_t* current = client.load();
    if (!current || serverGone.load() || slot.port.load())
        return slot.port.load() != nullptr;
    const std::string portName = "out_" + std::to_string(index + 1);
    jack_port_t* port =
        jack_port_register(current, portName.c_str(), JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    if (!port)
        return false;
    if (jack_connect(current, jack_port_name(port), slot.socket->destination.c_str()) != 0)
    {
        jack_port_unregister(current, port);
        return false;
    }
    jack_ringbuffer_reset(slot.ring);
    slot.port.store(port);
    waitForCycles();
    return true;
}

void PJackMidiDevice::closeOutput(int32 index)
{
    jack_port_t* port = outputs[size_t(index)].port.exchange(nullptr);
    if (!port)
        return;
    waitForCycles();
    if (jack_client_t* current = client.load(); current && !serverGone.load())
        jack_port_unregister(current, port);
}

bool PJackMidiDevice::checkServer()
{
    if (isServerRunning())
        return true;
    if (!serverGone.load())
        return false; // never opened, or closed on purpose
    for (int32 i = 0; i < inputCount; ++i)
        inputs[size_t(i)].socket->close();
    for (int32 i = 0; i < outputCount; ++i)
        outputs[size_t(i)].socket->close();
    disconnectClient();
    serverGone.store(true); // until a new client runs
    if (!connectClient(nullptr))
        return false;
    for (int32 i = 0; i < inputCount; ++i)
        if (inputs[size_t(i)].socket->wanted)
            inputs[size_t(i)].socket->activate();
    for (int32 i = 0; i < outputCount; ++i)
        if (outputs[size_t(i)].socket->wanted)
            outputs[size_t(i)].socket->activate();
    return true;
}

void PJackMidiDevice::startWorker()
{
    if (workerRun.exchange(true))
        return;
    worker = std::thread([this] { workerLoop(); });
}

void PJackMidiDevice::stopWorker()
{
    if (!workerRun.exchange(false))
        return;
    sem_post(&workerWake);
    if (worker.joinable())
        worker.join();
}

/** Hands each whole message of one input to its socket. */
namespace
{
class SocketSink : public MidiByteParser::Sink
{
public:
    SocketSink(PHWMidiInSocket* socket, uint32 milliseconds,
               void (*handle)(PHWMidiInSocket*, const uint8*, int32, uint32))
        : socket(socket), milliseconds(milliseconds), handle(handle)
    {
    }
    void midiMessage(const uint8* bytes, int32 size) override
    {
        handle(socket, bytes, size, milliseconds);
    }

private:
    PHWMidiInSocket* socket;
    uint32 milliseconds;
    void (*handle)(PHWMidiInSocket*, const uint8*, int32, uint32);
};
} // namespace

void PJackMidiDevice::workerLoop()
{
    int32 seenGeneration = 0;
    std::vector<uint8> bytes;
    bytes.reserve(4096);
    while (workerRun.load())
    {
        applyPriority(seenGeneration);
        timespec until{};
        clock_gettime(CLOCK_REALTIME, &until);
        until.tv_nsec += 20 * 1000000;
        if (until.tv_nsec >= 1000000000)
        {
            until.tv_sec += 1;
            until.tv_nsec -= 1000000000;
        }
        while (sem_timedwait(&workerWake, &until) != 0 && errno == EINTR)
        {
        }
        while (true)
        {
            RecordHeader header{};
            const size_t available = jack_ringbuffer_read_space(inputRing);
            if (available < sizeof(header))
                break;
            jack_ringbuffer_peek(inputRing, reinterpret_cast<char*>(&header), sizeof(header));
            if (available < sizeof(header) + header.size)
                break; // the bytes follow in a moment
            jack_ringbuffer_read_advance(inputRing, sizeof(header));
            bytes.resize(header.size);
            jack_ringbuffer_read(inputRing, reinterpret_cast<char*>(bytes.data()), header.size);
            if (header.slot >= uint32(inputCount))
                continue;
            // The server's clock estimate is corrected cycle by cycle; the stamps of one input
            // keep the order of its messages all the same.
            uint32 milliseconds = uint32(header.microseconds / 1000u);
            if (int32(milliseconds - lastStamps[header.slot]) < 0)
                milliseconds = lastStamps[header.slot];
            lastStamps[header.slot] = milliseconds;
            InSocket* socket = inputs[header.slot].socket;
            if (!socket->isActive())
            {
                parsers[header.slot].reset(); // a new activation starts from a clean stream
                continue;
            }
            SocketSink sink(socket, milliseconds,
                            [](PHWMidiInSocket* target, const uint8* data, int32 size, uint32 stamp)
                            { static_cast<InSocket*>(target)->handle(data, size, stamp); });
            parsers[header.slot].parse(bytes.data(), bytes.size(), sink);
        }
    }
}

int PJackMidiDevice::processCallback(uint32 frames, void* self)
{
    return static_cast<PJackMidiDevice*>(self)->process(frames);
}

void PJackMidiDevice::shutdownCallback(jack_status_t, const char*, void* self)
{
    auto* device = static_cast<PJackMidiDevice*>(self);
    device->serverGone.store(true);
    device->serverLosses.fetch_add(1);
}

int PJackMidiDevice::process(uint32 frames)
{
    const ProcessObserver watching = observer.load();
    void* context = observerContext.load();
    if (watching)
        watching(context, true);
    jack_client_t* current = client.load();
    jack_nframes_t cycleFrame = 0;
    jack_time_t cycleStart = 0, nextCycle = 0;
    float period = 0;
    if (current)
        jack_get_cycle_times(current, &cycleFrame, &cycleStart, &nextCycle, &period);
    const double microsecondsPerFrame =
        frames > 0 && nextCycle > cycleStart ? double(nextCycle - cycleStart) / frames : 0.0;
    bool wrote = false;
    for (int32 i = 0; i < inputCount; ++i)
    {
        jack_port_t* port = inputs[size_t(i)].port.load();
        if (!port)
            continue;
        void* buffer = jack_port_get_buffer(port, frames);
        const uint32 count = jack_midi_get_event_count(buffer);
        for (uint32 e = 0; e < count; ++e)
        {
            jack_midi_event_t event{};
            if (jack_midi_event_get(&event, buffer, e) != 0 || event.size == 0)
                continue;
            const RecordHeader header{uint32(i), uint32(event.size),
                                      cycleStart +
                                          uint64(double(event.time) * microsecondsPerFrame)};
            if (jack_ringbuffer_write_space(inputRing) < sizeof(header) + event.size)
            {
                droppedInput.fetch_add(1, std::memory_order_relaxed);
                continue;
            }
            jack_ringbuffer_write(inputRing, reinterpret_cast<const char*>(&header),
                                  sizeof(header));
            jack_ringbuffer_write(inputRing, reinterpret_cast<const char*>(event.buffer),
                                  event.size);
            wrote = true;
        }
    }
    if (wrote)
        sem_post(&workerWake);
    for (int32 i = 0; i < outputCount; ++i)
    {
        OutputSlot& slot = outputs[size_t(i)];
        jack_port_t* port = slot.port.load();
        if (!port)
            continue;
        void* buffer = jack_port_get_buffer(port, frames);
        jack_midi_clear_buffer(buffer);
        while (true)
        {
            uint32 length = 0;
            const size_t available = jack_ringbuffer_read_space(slot.ring);
            if (available < sizeof(length))
                break;
            jack_ringbuffer_peek(slot.ring, reinterpret_cast<char*>(&length), sizeof(length));
            if (available < sizeof(length) + length)
                break;
            jack_midi_data_t* target = jack_midi_event_reserve(buffer, 0, length);
            if (!target)
                break; // the port's buffer is full; the rest go out in the next cycle
            jack_ringbuffer_read_advance(slot.ring, sizeof(length));
            jack_ringbuffer_read(slot.ring, reinterpret_cast<char*>(target), length);
        }
    }
    cycles.fetch_add(1);
    if (watching)
        watching(context, false);
    return 0;
}

} // namespace Quillmark
