// For tests that need JACK: a server of the test's own (the dummy backend, no hardware), started
// and stopped by the test, a client that plays MIDI into the server and records the MIDI the
// server plays to it, and a client that reads back what reaches one of its audio ports.
#pragma once

#include "base/testsupport.h"

#include <jack/jack.h>
#include <jack/midiport.h>
#include <jack/ringbuffer.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <spawn.h>
#include <string>
#include <sys/file.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

extern char** environ;

namespace Quillmark::testing
{

/** Lets one test process at a time use JACK, for as long as any of its JackServer objects
    lives. libjack names a client's notification socket after the client and the user alone,
    not after the server, so two tests that each open a client of the same name (the driver's
    own, or "qel-probe") on two servers at once bind the same socket and take each other's
    messages. A process may hold it more than once. */
class JackTestLock
{
public:
    JackTestLock()
    {
        std::lock_guard<std::mutex> guard(state().mutex);
        if (state().holders++ > 0)
            return;
        const std::string path = "/tmp/qeltest-" + std::to_string(getuid()) + "-jack.lock";
        state().fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (state().fd >= 0)
            while (flock(state().fd, LOCK_EX) != 0 && errno == EINTR)
            {
            }
    }
    ~JackTestLock()
    {
        std::lock_guard<std::mutex> guard(state().mutex);
        if (--state().holders > 0 || state().fd < 0)
            return;
        ::close(state().fd); // lets the next test process in
        state().fd = -1;
    }
    JackTestLock(const JackTestLock&) = delete;
    JackTestLock& operator=(const JackTestLock&) = delete;

private:
    struct State
    {
        std::mutex mutex;
        int holders = 0;
        int fd = -1;
    };
    static State& state()
    {
        static State shared;
        return shared;
    }
};

/** `jackd -r -n NAME -d dummy -r 48000 -p PERIOD`, owned by one test. */
class JackServer
{
public:
    static constexpr int kSampleRate = 48000;
    static constexpr int kPeriod = 256;
    /** Names come from a small pool: JACK keeps a registry of at most eight servers, and a
        server that was killed keeps its entry until a server of the same name starts again. A
        name in use by another live server makes jackd give up at once, and the next is tried. */
    static constexpr int kNamePool = 8;

    explicit JackServer(std::string tag, int period = kPeriod) : tag(std::move(tag)), period(period)
    {
        // libjack reports every failed attempt to reach a server, which starting one makes
        // plenty of; QEL_TEST_VERBOSE shows them.
        if (!std::getenv("QEL_TEST_VERBOSE"))
        {
            jack_set_error_function([](const char*) {});
            jack_set_info_function([](const char*) {});
        }
        // The name is known from here on, for tests that point a driver at a server that
        // starts later: the first of the pool that no other test holds and no live server
        // answers to. The claim lasts as long as this object, so a test that kills its server
        // and starts it again finds its name still free, even with other tests running.
        for (int slot = 0; slot < kNamePool; ++slot)
            if (claim(slot))
            {
                firstSlot = slot;
                break;
            }
        serverName = poolName(firstSlot);
    }
    ~JackServer()
    {
        stop();
        if (claimFd >= 0)
            ::close(claimFd); // lets go of the name
    }
    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;

    /** The server's name: chosen when the object is made, and another of the pool only when
        that one was taken by the time of start. */
    const std::string& name() const { return serverName; }
    const std::string& getTag() const { return tag; }
    int blockSize() const { return period; }

    /** Starts jackd under the first free name of the pool and waits until a client can reach
        it; false when it does not come up. */
    bool start()
    {
        if (pid > 0)
            return true;
        if (claimFd >= 0 && startAs(poolName(firstSlot)))
            return true;
        // Without a claimed name, or with one that a server outside the tests holds: the
        // next name that can be claimed, before any client was pointed at this server.
        for (int i = 1; i < kNamePool; ++i)
        {
            const int slot = (firstSlot + i) % kNamePool;
            if (claim(slot) && startAs(poolName(slot)))
            {
                firstSlot = slot;
                return true;
            }
        }
        serverName = poolName(firstSlot);
        return false;
    }

    /** Ends the server with `signal` and waits for it; a server that does not end within five
        seconds is killed. */
    void stop(int signal = SIGTERM)
    {
        if (pid <= 0)
            return;
        ::kill(pid, signal);
        int status = 0;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (waitpid(pid, &status, WNOHANG) != pid)
        {
            if (std::chrono::steady_clock::now() > deadline)
            {
                ::kill(pid, SIGKILL);
                waitpid(pid, &status, 0);
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        pid = -1;
    }
    /** Ends the server as a crash would: no goodbye to its clients. */
    void kill() { stop(SIGKILL); }

private:
    /** Takes the name of `slot` for this object, letting go of any name held before; false
        when another test holds it or a server outside the tests answers to it. */
    bool claim(int slot)
    {
        const std::string path = "/tmp/" + poolName(slot) + ".lock";
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0)
            return false;
        if (flock(fd, LOCK_EX | LOCK_NB) != 0 || isAnswering(poolName(slot)))
        {
            ::close(fd);
            return false;
        }
        if (claimFd >= 0)
            ::close(claimFd);
        claimFd = fd;
        return true;
    }
    static std::string poolName(int slot)
    {
        return "qeltest-" + std::to_string(getuid()) + "-" + std::to_string(slot);
    }
    static bool isAnswering(const std::string& candidate)
    {
        jack_status_t status{};
        jack_client_t* probe =
            jack_client_open("qel-probe", jack_options_t(JackNoStartServer | JackServerName),
                             &status, candidate.c_str());
        if (probe)
            jack_client_close(probe);
        return probe != nullptr;
    }

    bool startAs(const std::string& candidate)
    {
        serverName = candidate;
        const std::string frames = std::to_string(period);
        const std::string rate = std::to_string(kSampleRate);
        const char* argv[] = {"jackd", "-r",         "-n", serverName.c_str(), "-d",   "dummy",
                              "-r",    rate.c_str(), "-p", frames.c_str(),     nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        if (!std::getenv("QEL_TEST_VERBOSE"))
        {
            posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
            posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        }
        setenv("JACK_NO_AUDIO_RESERVATION", "1", 1);
        const int failed =
            posix_spawnp(&pid, "jackd", &actions, nullptr, const_cast<char* const*>(argv), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (failed)
        {
            pid = -1;
            return false;
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline)
        {
            int status = 0;
            if (waitpid(pid, &status, WNOHANG) == pid)
            {
                pid = -1; // the name is taken, or the registry is full
                return false;
            }
            jack_status_t jackStatus{};
            if (jack_client_t* probe = jack_client_open(
                    "qel-probe", jack_options_t(JackNoStartServer | JackServerName), &jackStatus,
                    serverName.c_str()))
            {
                jack_client_close(probe);
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        stop(SIGKILL);
        return false;
    }

    JackTestLock exclusive; // first, so that it is taken before the first probe
    std::string tag;
    std::string serverName;
    int firstSlot = 0;
    int claimFd = -1;
    int period;
    pid_t pid = -1;
};

/** A JACK client with one MIDI output that plays what the test queues, and one MIDI input
    that records what arrives. */
class TestJackClient
{
public:
    struct Received
    {
        uint32_t frame; // absolute frame of the message
        std::vector<uint8_t> bytes;
    };

    TestJackClient(const std::string& server, const char* name)
    {
        jack_status_t status{};
        client = jack_client_open(name, jack_options_t(JackNoStartServer | JackServerName), &status,
                                  server.c_str());
        if (!client)
            return;
        toPlay = jack_ringbuffer_create(1 << 16);
        heard = jack_ringbuffer_create(1 << 16);
        out = jack_port_register(client, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
        in = jack_port_register(client, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
        jack_set_process_callback(client, &TestJackClient::processCallback, this);
        jack_activate(client);
    }
    ~TestJackClient()
    {
        if (client)
            jack_client_close(client);
        if (toPlay)
            jack_ringbuffer_free(toPlay);
        if (heard)
            jack_ringbuffer_free(heard);
    }
    TestJackClient(const TestJackClient&) = delete;
    TestJackClient& operator=(const TestJackClient&) = delete;

    bool isOpen() const { return client && out && in; }
    std::string outputName() const { return jack_port_name(out); }
    std::string inputName() const { return jack_port_name(in); }
    uint32_t frameTime() const { return jack_frame_time(client); }

    /** Waits until a connection made before the call carries this client's messages: the
        server takes a changed graph into use at the start of a cycle, so a cycle that was
        under way when the connection was made still plays without it. False when the client
        stops running. */
    bool settle(double seconds = 5.0) const
    {
        const uint64_t wanted = cycles.load() + 2;
        return eventually([&] { return cycles.load() >= wanted; }, seconds);
    }

    /** Queues messages for the next cycle; each is one JACK event at frame offset `offset`
        (offsets of one call must not fall). */
    void play(const std::vector<std::pair<uint32_t, std::vector<uint8_t>>>& messages)
    {
        std::vector<char> record;
        for (const auto& [offset, bytes] : messages)
        {
            const uint32_t size = uint32_t(bytes.size());
            record.insert(record.end(), reinterpret_cast<const char*>(&offset),
                          reinterpret_cast<const char*>(&offset) + 4);
            record.insert(record.end(), reinterpret_cast<const char*>(&size),
                          reinterpret_cast<const char*>(&size) + 4);
            record.insert(record.end(), bytes.begin(), bytes.end());
        }
        std::lock_guard<std::mutex> guard(playMutex);
        jack_ringbuffer_write(toPlay, record.data(), record.size());
    }

    /** What arrived until now, oldest first. */
    std::vector<Received> received()
    {
        while (jack_ringbuffer_read_space(heard) >= 8)
        {
            uint32_t header[2];
            jack_ringbuffer_read(heard, reinterpret_cast<char*>(header), 8);
            Received message{header[0], std::vector<uint8_t>(header[1])};
            jack_ringbuffer_read(heard, reinterpret_cast<char*>(message.bytes.data()), header[1]);
            all.push_back(std::move(message));
        }
        return all;
    }

private:
    static int processCallback(jack_nframes_t frames, void* self)
    {
        static_cast<TestJackClient*>(self)->process(frames);
        return 0;
    }
    void process(jack_nframes_t frames)
    {
        void* outBuffer = jack_port_get_buffer(out, frames);
        jack_midi_clear_buffer(outBuffer);
        uint32_t last = 0;
        while (jack_ringbuffer_read_space(toPlay) >= 8)
        {
            uint32_t header[2];
            jack_ringbuffer_peek(toPlay, reinterpret_cast<char*>(header), 8);
            if (jack_ringbuffer_read_space(toPlay) < 8 + header[1])
                break;
            jack_ringbuffer_read_advance(toPlay, 8);
            const uint32_t offset = std::max(last, std::min(header[0], frames - 1));
            last = offset;
            std::vector<char> bytes(header[1]); // the test's own thread: it may allocate
            jack_ringbuffer_read(toPlay, bytes.data(), header[1]);
            jack_midi_event_write(outBuffer, offset,
                                  reinterpret_cast<const jack_midi_data_t*>(bytes.data()),
                                  bytes.size());
        }
        void* inBuffer = jack_port_get_buffer(in, frames);
        const jack_nframes_t start = jack_last_frame_time(client);
        for (uint32_t i = 0; i < jack_midi_get_event_count(inBuffer); ++i)
        {
            jack_midi_event_t event{};
            if (jack_midi_event_get(&event, inBuffer, i) != 0)
                continue;
            const uint32_t header[2] = {start + event.time, uint32_t(event.size)};
            jack_ringbuffer_write(heard, reinterpret_cast<const char*>(header), 8);
            jack_ringbuffer_write(heard, reinterpret_cast<const char*>(event.buffer), event.size);
        }
        cycles.fetch_add(1);
    }

    jack_client_t* client = nullptr;
    jack_port_t* out = nullptr;
    jack_port_t* in = nullptr;
    jack_ringbuffer_t* toPlay = nullptr;
    jack_ringbuffer_t* heard = nullptr;
    std::mutex playMutex;
    std::vector<Received> all;
    std::atomic<uint64_t> cycles{0};
};

/** A client with one audio input port that counts the blocks whose samples all equal an
    expected value, and keeps the loudest sample it heard. */
class JackReader
{
public:
    JackReader(const std::string& server, const char* clientName)
    {
        jack_status_t status{};
        client = jack_client_open(clientName, jack_options_t(JackNoStartServer | JackServerName),
                                  &status, server.c_str());
        if (!client)
            return;
        port = jack_port_register(client, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
        jack_set_process_callback(client, process, this);
        jack_activate(client);
    }
    ~JackReader()
    {
        if (client)
            jack_client_close(client);
    }
    JackReader(const JackReader&) = delete;
    JackReader& operator=(const JackReader&) = delete;

    bool isOpen() const { return client && port; }
    bool connectFrom(const std::string& source)
    {
        return client && jack_connect(client, source.c_str(), jack_port_name(port)) == 0;
    }
    /** Counts blocks from now on whose samples all equal `value`. */
    void expect(float value)
    {
        expected.store(value);
        matching.store(0);
    }
    int matchingBlocks() const { return matching.load(); }
    /** The largest magnitude of a sample since the reader was made. */
    float peak() const { return loudest.load(); }

    jack_client_t* client = nullptr;
    jack_port_t* port = nullptr;
    std::atomic<float> expected{-1000.0f};
    std::atomic<int> matching{0};
    std::atomic<unsigned> lastFrames{0};
    std::atomic<float> loudest{0.0f};

private:
    static int process(jack_nframes_t frames, void* self)
    {
        auto* reader = static_cast<JackReader*>(self);
        const auto* samples = static_cast<const float*>(jack_port_get_buffer(reader->port, frames));
        const float wanted = reader->expected.load();
        bool all = frames > 0;
        float peak = reader->loudest.load();
        for (jack_nframes_t i = 0; i < frames; ++i)
        {
            all = all && samples[i] == wanted;
            peak = std::max(peak, std::fabs(samples[i]));
        }
        if (all)
            reader->matching.fetch_add(1);
        reader->loudest.store(peak);
        reader->lastFrames.store(frames);
        return 0;
    }
};

} // namespace Quillmark::testing
