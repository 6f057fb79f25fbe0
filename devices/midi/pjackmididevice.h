// "JACK MIDI": the MIDI ports of a JACK server as sockets of the studio. One client of the
// server carries every socket. Its process callback only copies bytes: input bytes go through
// one lock-free ring to a worker thread that builds the events and delivers them, and output
// bytes come from one lock-free ring per output that the scheduling thread fills. Nothing on the
// JACK process thread allocates, locks or logs. When the server goes away the device keeps its
// sockets and connections; checkServer, called on a timer, reaches the server again. Created and
// owned by whoever starts the studio's MIDI devices.
#pragma once

#include "devices/midi/midibyteparser.h"
#include "devices/midi/pmidiinterface.h"

#include <jack/jack.h>
#include <jack/ringbuffer.h>

#include <array>
#include <atomic>
#include <semaphore.h>
#include <string>
#include <thread>

namespace Quillmark
{

class PJackMidiDevice : public PMidiInterface
{
    QEL_DECLARE_CLASS(PJackMidiDevice, PMidiInterface)
public:
    static constexpr const char8* kName = "JACK MIDI";
    static constexpr const char8* kSettingsSection = "JACK MIDI";
    static constexpr const char8* kClientName = "Qel3PluginTestHost MIDI";
    /** Sockets per direction; ports of the server beyond these are not offered. */
    static constexpr int32 kMaxSockets = 64;
    /** Bytes of the ring from the process callback to the worker. */
    static constexpr size_t kInputRingBytes = 1 << 16;
    /** Bytes of each output's ring to the process callback. */
    static constexpr size_t kOutputRingBytes = 1 << 14;

    /** Called on the JACK process thread at the start (true) and end (false) of each cycle;
        lets a test watch that thread. Must not allocate. */
    using ProcessObserver = void (*)(void* context, bool cycleStart);

    PJackMidiDevice(const MidiDriverOptions& options, PPortRegistry* registry);
    ~PJackMidiDevice() override;

    /** Reaches the server (never starting one), makes a socket for every MIDI port of the
        server that the options admit, and starts the worker and the scheduling thread. False
        with a reason when there is no server. */
    bool open(std::string* problem = nullptr);
    void close() override;
    /** True while the server is reachable. */
    bool isServerRunning() const { return client.load() != nullptr && !serverGone.load(); }
    /** After the server went away: tries once to reach it again, and reopens the sockets that
        were open, with their connections in the server. True when the server is there. */
    bool checkServer();
    /** How often the server went away since open. */
    int32 getServerLossCount() const { return serverLosses.load(); }
    /** Input bytes dropped because the worker fell behind. */
    int64 getDroppedInputMessages() const { return droppedInput.load(); }
    /** Process cycles run since open. */
    uint64 getProcessCycles() const { return cycles.load(); }
    double getSampleRate() const { return sampleRate.load(); }

    void setProcessObserver(ProcessObserver observer, void* context);

    /** The name this client has in the server, for connecting to it from outside. */
    std::string getClientName() const;

private:
    class InSocket;
    class OutSocket;
    friend class InSocket;
    friend class OutSocket;

    struct InputSlot
    {
        std::atomic<jack_port_t*> port{nullptr};
        InSocket* socket = nullptr;
    };
    struct OutputSlot
    {
        std::atomic<jack_port_t*> port{nullptr};
        jack_ringbuffer_t* ring = nullptr;
        OutSocket* socket = nullptr;
    };
    struct RecordHeader
    {
        uint32 slot;
        uint32 size;
        uint64 microseconds; // on the server's clock, at the message's frame
    };

    bool connectClient(std::string* problem);
    void disconnectClient();
    void createSockets();
    void startWorker();
    void stopWorker();
    void workerLoop();
    /** Waits until the process thread has finished the cycle it may be in and one more; gives
        up when no cycle comes. */
    void waitForCycles();

    bool openInput(int32 slot);
    void closeInput(int32 slot);
    bool openOutput(int32 slot);
    void closeOutput(int32 slot);

    static int processCallback(uint32 frames, void* self);
    static void shutdownCallback(jack_status_t code, const char* reason, void* self);
    int process(uint32 frames);

    MidiDriverOptions options;
    std::atomic<jack_client_t*> client{nullptr};
    std::atomic<bool> serverGone{false};
    std::atomic<int32> serverLosses{0};
    std::atomic<uint64> cycles{0};
    std::atomic<int64> droppedInput{0};
    std::atomic<double> sampleRate{0.0};
    std::atomic<ProcessObserver> observer{nullptr};
    std::atomic<void*> observerContext{nullptr};

    std::array<InputSlot, kMaxSockets> inputs;
    std::array<OutputSlot, kMaxSockets> outputs;
    // Grow while the client runs (a server that came later); the process callback reads them.
    std::atomic<int32> inputCount{0};
    std::atomic<int32> outputCount{0};
    jack_ringbuffer_t* inputRing = nullptr;

    sem_t workerWake;
    std::thread worker;
    std::atomic<bool> workerRun{false};
    std::array<MidiByteParser, kMaxSockets> parsers; // the worker's, one per input
    std::array<uint32, kMaxSockets> lastStamps{};    // the worker's: stamps never go back
};

} // namespace Quillmark
