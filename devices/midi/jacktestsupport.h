// For the tests of the JACK MIDI driver: a JACK server of the test's own, started and stopped
// by it, and a small JACK client that plays MIDI bytes into the server and records what the
// server plays to it, with the frame each message came at.
#pragma once

#include "devices/midi/mididevicetestsupport.h"

#include <jack/jack.h>
#include <jack/midiport.h>
#include <jack/ringbuffer.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Quillmark::testing
{

/** `jackd -r -n NAME -d dummy -r 48000 -p 256`, owned by one test. */
class JackServer
{
public:
    static constexpr int kSampleRate = 48000;
    static constexpr int kPeriod = 256;

    explicit JackServer(const std::string& tag, int period = kPeriod)
        : serverName("qelmidi-" + tag + "-" + std::to_string(getpid())), period(period)
    {
        // libjack reports every failed attempt to reach a server, which starting one makes
        // plenty of; QEL_TEST_VERBOSE shows them.
        if (!std::getenv("QEL_TEST_VERBOSE"))
        {
            jack_set_error_function([](const char*) {});
            jack_set_info_function([](const char*) {});
        }
    }
    ~JackServer() { stop(); }
    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;

    const std::string& name() const { return serverName; }

    /** Starts the server and waits until a client can reach it. */
    bool start()
    {
        if (pid > 0)
            return true;
        pid = fork();
        if (pid == 0)
        {
            setenv("JACK_NO_AUDIO_RESERVATION", "1", 1);
            const std::string rate = std::to_string(kSampleRate);
            const std::string frames = std::to_string(period);
            if (!std::getenv("QEL_TEST_VERBOSE"))
            {
                freopen("/dev/null", "w", stdout);
                freopen("/dev/null", "w", stderr);
            }
            execlp("jackd", "jackd", "-r", "-n", serverName.c_str(), "-d", "dummy", "-r",
                   rate.c_str(), "-p", frames.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        if (pid < 0)
            return false;
        return waitUntil(
                   [this]
                   {
                       int status = 0;
                       if (waitpid(pid, &status, WNOHANG) == pid)
                       {
                           pid = -1;
                           return true; // it ended: fails below
                       }
                       jack_status_t jackStatus{};
                       jack_client_t* probe = jack_client_open(
                           "qel-probe", jack_options_t(JackNoStartServer | JackServerName),
                           &jackStatus, serverName.c_str());
                       if (!probe)
                           return false;
                       jack_client_close(probe);
                       return true;
                   }) &&
               pid > 0;
    }

    /** Ends the server as a crash would: no goodbye to its clients. */
    void kill() { end(SIGKILL); }
    void stop() { end(SIGTERM); }

private:
    void end(int signal)
    {
        if (pid <= 0)
            return;
        ::kill(pid, signal);
        int status = 0;
        if (!waitUntil([&] { return waitpid(pid, &status, WNOHANG) == pid; }, 5.0))
        {
            ::kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
        }
        pid = -1;
    }

    std::string serverName;
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
    }

    jack_client_t* client = nullptr;
    jack_port_t* out = nullptr;
    jack_port_t* in = nullptr;
    jack_ringbuffer_t* toPlay = nullptr;
    jack_ringbuffer_t* heard = nullptr;
    std::mutex playMutex;
    std::vector<Received> all;
};

} // namespace Quillmark::testing
