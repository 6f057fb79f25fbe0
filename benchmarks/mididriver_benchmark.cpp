// Plays MIDI through the JACK MIDI driver against a JACK server of its own (dummy backend,
// 48 kHz, 64 frames) and prints three figures, each beside a reference of the same run:
// - the driver's process callback time per cycle while notes flow both ways, beside a bare
//   JACK client that reads the same notes into a ring (the floor any MIDI client pays);
// - when a note reaches a receiver connected to the driver's input (through the ring and the
//   worker), measured from the bare client's callback of the same cycle: negative when the
//   worker delivers before JACK has even called the next client;
// - the lateness of scheduled output notes, beside the period.
// Targets: the callback stays far below the period; delivery within the cycle the bare client
// sees the note in; output lateness within the scheduler's 2 ms plus one period.
#include "base/platform/clock.h"
#include "devices/midi/mididevicetestsupport.h"
#include "devices/testsupport/jacktestsupport.h"
#include "devices/midi/pjackmididevice.h"
#include "devices/ports/pportregistry.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

using namespace Quillmark;

namespace
{

constexpr int kPeriod = 64;
constexpr int kNotes = 2000;

double monotonicNow()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

/** Per-cycle times of one callback, kept in a fixed array: no allocation in the callback. */
struct CycleTimes
{
    static constexpr int kMax = 200000;
    std::vector<double> seconds = std::vector<double>(kMax);
    std::atomic<int> count{0};
    double started = 0;
    void begin() { started = monotonicNow(); }
    void end()
    {
        const int at = count.load();
        if (at < kMax)
        {
            seconds[size_t(at)] = monotonicNow() - started;
            count.store(at + 1);
        }
    }
};

/** The bare client: one MIDI input; the time of the callback that brings each message goes
    into a fixed array, note-ons of channel 1 (from the player) and 2 (from the driver) apart. */
struct BareClient
{
    jack_client_t* client = nullptr;
    jack_port_t* in = nullptr;
    CycleTimes cycles;
    std::vector<double> arrivals = std::vector<double>(kNotes * 4);
    std::atomic<int> arrived{0};
    std::vector<double> outputArrivals = std::vector<double>(kNotes * 4);
    std::atomic<int> outputArrived{0};

    static int process(jack_nframes_t frames, void* self)
    {
        auto* me = static_cast<BareClient*>(self);
        me->cycles.begin();
        const double cycleStart = monotonicNow();
        void* buffer = jack_port_get_buffer(me->in, frames);
        for (uint32_t i = 0; i < jack_midi_get_event_count(buffer); ++i)
        {
            jack_midi_event_t event{};
            if (jack_midi_event_get(&event, buffer, i) != 0)
                continue;
            const bool fromDriver = event.size > 0 && event.buffer[0] == 0x91;
            auto& list = fromDriver ? me->outputArrivals : me->arrivals;
            auto& count = fromDriver ? me->outputArrived : me->arrived;
            const int at = count.load();
            if (at < int(list.size()))
            {
                list[size_t(at)] = cycleStart;
                count.store(at + 1);
            }
        }
        me->cycles.end();
        return 0;
    }
};

void summary(const char* what, std::vector<double> values, double scale, const char* unit)
{
    if (values.empty())
    {
        std::printf("%-58s no samples\n", what);
        return;
    }
    std::sort(values.begin(), values.end());
    double sum = 0;
    for (double v : values)
        sum += v;
    std::printf("%-58s mean %8.1f  p99 %8.1f  max %8.1f %s  (%zu samples)\n", what,
                sum / double(values.size()) * scale,
                values[size_t(double(values.size() - 1) * 0.99)] * scale, values.back() * scale,
                unit, values.size());
}

/** Receives from the driver: the arrival time of each note-on, on the same clock. */
class TimedReceiver : public Quillmark::testing::MidiReceiver
{
public:
    void receiveMidiEvent(PEvent* event) override
    {
        const int at = arrived.load();
        if (at < int(arrivals.size()))
        {
            arrivals[size_t(at)] = monotonicNow();
            arrived.store(at + 1);
        }
        MidiReceiver::receiveMidiEvent(event);
    }
    std::vector<double> arrivals = std::vector<double>(kNotes * 4);
    std::atomic<int> arrived{0};
};

} // namespace

int main()
{
    Quillmark::testing::JackServer server("benchmark", kPeriod);
    if (!server.start())
    {
        std::fprintf(stderr, "jackd did not start\n");
        return 1;
    }
    std::printf("JACK server %s: dummy backend, 48000 Hz\n", server.name().c_str());
    Quillmark::testing::TestJackClient player(server.name(), "bench-player");
    BareClient bare;
    jack_status_t status{};
    bare.client = jack_client_open("bench-bare", jack_options_t(JackNoStartServer | JackServerName),
                                   &status, server.name().c_str());
    if (!player.isOpen() || !bare.client)
    {
        std::fprintf(stderr, "the benchmark's clients could not join the server\n");
        return 1;
    }
    bare.in = jack_port_register(bare.client, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(bare.client, &BareClient::process, &bare);
    jack_activate(bare.client);
    jack_connect(bare.client, player.outputName().c_str(), jack_port_name(bare.in));
    const double rate = jack_get_sample_rate(bare.client);
    const double period = double(jack_get_buffer_size(bare.client)) / rate;

    PPortRegistry registry;
    MidiDriverOptions options;
    options.jackServerName = server.name();
    options.enableEmulated = true;
    auto* device = new PJackMidiDevice(options, &registry);
    if (!device->open())
    {
        std::fprintf(stderr, "the driver could not open\n");
        return 1;
    }
    CycleTimes driverCycles;
    device->setProcessObserver(
        [](void* context, bool start)
        {
            auto* times = static_cast<CycleTimes*>(context);
            start ? times->begin() : times->end();
        },
        &driverCycles);
    auto* receiver = new TimedReceiver;
    device->findInputSocket(player.outputName().c_str())->connect(receiver->getPort());
    PMidiOutSocket* output = device->findOutputSocket((std::string("bench-bare:in")).c_str());
    output->activate();

    std::vector<double> scheduled;
    const int kBurst = 4;
    for (int i = 0; i < kNotes / kBurst; ++i)
    {
        std::vector<std::pair<uint32_t, std::vector<uint8_t>>> notes;
        for (int n = 0; n < kBurst; ++n)
            notes.push_back({uint32_t(n * 8), {0x90, uint8_t(40 + n), 100}});
        player.play(notes);
        const double at = platform::seconds() + 0.003;
        auto* event = new PMidiEvent(0x91, uint8_t(i % 128), 90);
        event->setTime(at);
        event->setFlag(PMidiOutSocket::kNoCompanionFlag, true);
        output->send(event);
        event->release();
        scheduled.push_back(at);
        std::this_thread::sleep_for(std::chrono::microseconds(2500));
    }
    Quillmark::testing::waitUntil([&] { return receiver->arrived.load() >= kNotes; }, 10.0);
    Quillmark::testing::waitUntil([&] { return player.received().size() >= scheduled.size(); },
                                  10.0);
    device->setProcessObserver(nullptr, nullptr);

    std::printf("period: %.0f frames, %.1f us; %d notes in, %zu notes out\n", period * rate,
                period * 1e6, kNotes, scheduled.size());
    summary("process callback per cycle, JACK MIDI driver",
            std::vector<double>(driverCycles.seconds.begin(),
                                driverCycles.seconds.begin() + driverCycles.count.load()),
            1e6, "us");
    summary("process callback per cycle, bare client (reference)",
            std::vector<double>(bare.cycles.seconds.begin(),
                                bare.cycles.seconds.begin() + bare.cycles.count.load()),
            1e6, "us");
    std::vector<double> delays;
    const int matched = std::min(receiver->arrived.load(), bare.arrived.load());
    for (int i = 0; i < matched; ++i)
        delays.push_back(receiver->arrivals[size_t(i)] - bare.arrivals[size_t(i)]);
    summary("input: delivery minus the bare client's callback", delays, 1e6, "us");
    // The scheduler's clock (platform::seconds) is the monotonic clock the bare client reads.
    std::vector<double> lateness;
    for (int i = 0; i < bare.outputArrived.load() && i < int(scheduled.size()); ++i)
        lateness.push_back(bare.outputArrivals[size_t(i)] - scheduled[size_t(i)]);
    summary("output: lateness after the scheduled time", lateness, 1e6, "us");
    std::printf("dropped input messages: %lld\n", (long long)device->getDroppedInputMessages());

    device->close();
    device->release();
    receiver->release();
    jack_client_close(bare.client);
    return 0;
}
