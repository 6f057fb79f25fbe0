// "JACK": a device over libjack. The device is one client of the server, with a pair of its own
// ports for every physical capture and playback port of the server (two of each when the server
// has none), connected to them when the device starts. JACK fixes the rate and the block size
// for all its clients, so the device offers only the server's; its reports (xruns, rate, size,
// latency, the server going away) leave the callbacks without allocating and reach the manager
// through the notifier thread.
#pragma once

#include "devices/audio/audiodriver.h"

#include <jack/jack.h>

namespace Quillmark::Baios
{

class JackDevice : public DriverDevice
{
public:
    static constexpr const char8* kIdentifier = "JACK";
    /** Blocks above this size play silence; the port memory is allocated once for it. */
    static constexpr int32 kMaxBlockSize = 8192;

    /** Connects to the server `serverName` (empty: the default server, or the one named by
        JACK_DEFAULT_SERVER), never starting one. Null with a reason when there is none. */
    static JackDevice* open(const std::string& serverName, const std::string& clientName,
                            std::string& error);

    bool start(std::string& error) override;
    void stop() override;
    bool isRunning() const override { return running.load(); }
    int32 getBlockSize() const override { return blockSize.load(); }
    double getSampleRate() const override { return sampleRate.load(); }
    /** Only the server's own rate. */
    bool canSampleRate(double rate) const override { return rate == sampleRate.load(); }
    /** A rate other than the server's is refused: no client can change it. */
    bool setSampleRate(double rate) override { return canSampleRate(rate); }
    void close() override;

    /** The client's name as the server knows it (it may add a suffix). */
    std::string getClientName() const;
    /** True once the server has gone away; the device then only waits to be closed. */
    bool isServerGone() const { return serverGone.load(); }

protected:
    ~JackDevice() override;

private:
    JackDevice(jack_client_t* client);
    bool registerPorts(std::string& error);
    void connectPhysicalPorts();
    void updateLatencies();

    static int processCallback(jack_nframes_t frames, void* self);
    static int sampleRateCallback(jack_nframes_t rate, void* self);
    static int bufferSizeCallback(jack_nframes_t frames, void* self);
    static int xrunCallback(void* self);
    static void latencyCallback(jack_latency_callback_mode_t mode, void* self);
    static void shutdownCallback(void* self);
    static void threadInitCallback(void* self);

    jack_client_t* client;
    std::vector<jack_port_t*> captureJackPorts;  // parallel to `inputs`
    std::vector<jack_port_t*> playbackJackPorts; // parallel to `outputs`
    std::vector<std::string> physicalCapture;
    std::vector<std::string> physicalPlayback;
    std::atomic<double> sampleRate{0.0};
    std::atomic<int32> blockSize{0};
    std::atomic<bool> running{false};
    std::atomic<bool> serverGone{false};
};

class JackAudioDriver : public AudioDriver
{
public:
    /** The program's client name by default; a test gives its own server and client names. */
    explicit JackAudioDriver(std::string serverName = std::string(),
                             std::string clientName = "Qel3PluginTestHost");
    std::string getIdentifier() const override { return JackDevice::kIdentifier; }
    DriverDevice* open(std::string& error) override;

private:
    std::string serverName;
    std::string clientName;
};

} // namespace Quillmark::Baios
