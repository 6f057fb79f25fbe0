// A JACK server of the test's own (the dummy backend, no hardware), started and stopped by the
// test, and a small client that reads back what reaches one of its input ports.
#pragma once

#include <jack/jack.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace Quillmark::testing
{

class JackServer
{
public:
    /** A name no other test and no other run uses. */
    static std::string uniqueName(const char* tag)
    {
        static std::atomic<int> counter{0};
        return std::string("qeltest-") + tag + "-" + std::to_string(getpid()) + "-" +
               std::to_string(counter++);
    }

    explicit JackServer(std::string name, int blockSize = 256)
        : name(std::move(name)), blockSize(blockSize)
    {
    }
    ~JackServer() { stop(); }
    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;

    /** Starts jackd and waits until a client can connect; false when it does not come up. */
    bool start()
    {
        const std::string period = std::to_string(blockSize);
        const char* argv[] = {"jackd", "-r",    "-n", name.c_str(),   "-d",   "dummy",
                              "-r",    "48000", "-p", period.c_str(), nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
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
            jack_status_t status{};
            if (jack_client_t* probe =
                    jack_client_open("probe", jack_options_t(JackNoStartServer | JackServerName),
                                     &status, name.c_str()))
            {
                jack_client_close(probe);
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return false;
    }

    /** Ends the server with `signal` and waits for it. */
    void stop(int signal = SIGTERM)
    {
        if (pid <= 0)
            return;
        kill(pid, signal);
        int status = 0;
        waitpid(pid, &status, 0);
        pid = -1;
    }

    const std::string name;
    const int blockSize;
    pid_t pid = -1;
};

/** A client with one input port that remembers the first sample and the size of each block. */
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

    jack_client_t* client = nullptr;
    jack_port_t* port = nullptr;
    std::atomic<float> expected{-1000.0f};
    std::atomic<int> matching{0};
    std::atomic<unsigned> lastFrames{0};

private:
    static int process(jack_nframes_t frames, void* self)
    {
        auto* reader = static_cast<JackReader*>(self);
        const auto* samples = static_cast<const float*>(jack_port_get_buffer(reader->port, frames));
        const float wanted = reader->expected.load();
        bool all = frames > 0;
        for (jack_nframes_t i = 0; i < frames && all; ++i)
            all = samples[i] == wanted;
        if (all)
            reader->matching.fetch_add(1);
        reader->lastFrames.store(frames);
        return 0;
    }
};

} // namespace Quillmark::testing
