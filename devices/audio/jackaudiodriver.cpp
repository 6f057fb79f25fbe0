#include "devices/audio/jackaudiodriver.h"

#include "devices/jack/quietjack.h"

#include <cstring>

namespace Quillmark::Baios
{

namespace
{
std::vector<std::string> physicalPorts(jack_client_t* client, unsigned long direction)
{
    std::vector<std::string> names;
    const char** ports =
        jack_get_ports(client, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | direction);
    if (!ports)
        return names;
    for (const char** port = ports; *port; ++port)
        names.emplace_back(*port);
    jack_free(ports);
    return names;
}
} // namespace

JackDevice::JackDevice(jack_client_t* client) : DriverDevice(kIdentifier), client(client)
{
    sampleRate.store(double(jack_get_sample_rate(client)));
    blockSize.store(int32(jack_get_buffer_size(client)));
}

JackDevice::~JackDevice()
{
    close();
}

JackDevice* JackDevice::open(const std::string& serverName, const std::string& clientName,
                             std::string& error)
{
    quietJackLibrary();
    jack_status_t status{};
    int options = JackNoStartServer;
    if (!serverName.empty())
        options |= JackServerName;
    jack_client_t* client =
        serverName.empty() ? jack_client_open(clientName.c_str(), jack_options_t(options), &status)
                           : jack_client_open(clientName.c_str(), jack_options_t(options), &status,
                                              serverName.c_str());
    if (!client)
    {
        error = (status & JackServerFailed) || (status & JackServerError)
                    ? "No JACK server is running" +
                          (serverName.empty() ? std::string()
                                              : " under the name \"" + serverName + "\"") +
                          "."
                    : "The JACK server refused the connection.";
        return nullptr;
    }
    auto* device = new JackDevice(client);
    if (!device->registerPorts(error))
    {
        device->release();
        return nullptr;
    }
    jack_set_process_callback(client, processCallback, device);
    jack_set_sample_rate_callback(client, sampleRateCallback, device);
    jack_set_buffer_size_callback(client, bufferSizeCallback, device);
    jack_set_xrun_callback(client, xrunCallback, device);
    jack_set_latency_callback(client, latencyCallback, device);
    jack_set_thread_init_callback(client, threadInitCallback, device);
    jack_on_shutdown(client, shutdownCallback, device);
    device->startNotifier();
    return device;
}

bool JackDevice::registerPorts(std::string& error)
{
    physicalCapture = physicalPorts(client, JackPortIsOutput);
    physicalPlayback = physicalPorts(client, JackPortIsInput);
    const size_t captureCount = physicalCapture.empty() ? 2 : physicalCapture.size();
    const size_t playbackCount = physicalPlayback.empty() ? 2 : physicalPlayback.size();
    const std::string self = jack_get_client_name(client);
    for (size_t i = 0; i < captureCount; ++i)
    {
        const std::string number = std::to_string(i + 1);
        jack_port_t* port = jack_port_register(client, ("in_" + number).c_str(),
                                               JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
        if (!port)
        {
            error = "JACK did not give the port in_" + number + ".";
            return false;
        }
        captureJackPorts.push_back(port);
        addPort(kInput, "In " + number,
                physicalCapture.empty() ? self + ":in_" + number : physicalCapture[i], int32(i),
                kMaxBlockSize);
    }
    for (size_t i = 0; i < playbackCount; ++i)
    {
        const std::string number = std::to_string(i + 1);
        jack_port_t* port = jack_port_register(client, ("out_" + number).c_str(),
                                               JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
        if (!port)
        {
            error = "JACK did not give the port out_" + number + ".";
            return false;
        }
        playbackJackPorts.push_back(port);
        addPort(kOutput, "Out " + number,
                physicalPlayback.empty() ? self + ":out_" + number : physicalPlayback[i], int32(i),
                kMaxBlockSize);
    }
    return true;
}

std::string JackDevice::getClientName() const
{
    return client ? jack_get_client_name(client) : "";
}

bool JackDevice::start(std::string& error)
{
    if (running.load())
        return true;
    if (!client || serverGone.load())
    {
        error = "The JACK server has gone away.";
        return false;
    }
    if (jack_activate(client) != 0)
    {
        error = "The JACK server did not activate the client.";
        return false;
    }
    running.store(true);
    connectPhysicalPorts();
    updateLatencies();
    return true;
}

void JackDevice::connectPhysicalPorts()
{
    // An existing connection answers EEXIST; either way the ports are joined.
    for (size_t i = 0; i < physicalCapture.size() && i < captureJackPorts.size(); ++i)
        jack_connect(client, physicalCapture[i].c_str(), jack_port_name(captureJackPorts[i]));
    for (size_t i = 0; i < physicalPlayback.size() && i < playbackJackPorts.size(); ++i)
        jack_connect(client, jack_port_name(playbackJackPorts[i]), physicalPlayback[i].c_str());
}

void JackDevice::stop()
{
    if (!running.exchange(false))
        return;
    // Returns once the process callback has finished its last cycle.
    if (client && !serverGone.load())
        jack_deactivate(client);
}

void JackDevice::close()
{
    stop();
    stopNotifier();
    if (client)
    {
        jack_client_close(client);
        client = nullptr;
    }
}

void JackDevice::updateLatencies()
{
    jack_latency_range_t range{};
    if (!captureJackPorts.empty())
    {
        jack_port_get_latency_range(captureJackPorts.front(), JackCaptureLatency, &range);
        inputLatency = int32(range.max);
    }
    if (!playbackJackPorts.empty())
    {
        jack_port_get_latency_range(playbackJackPorts.front(), JackPlaybackLatency, &range);
        outputLatency = int32(range.max);
    }
}

int JackDevice::processCallback(jack_nframes_t frames, void* self)
{
    auto* device = static_cast<JackDevice*>(self);
    const int32 count = int32(frames);
    if (count > kMaxBlockSize)
    {
        for (jack_port_t* port : device->playbackJackPorts)
            std::memset(jack_port_get_buffer(port, frames), 0, sizeof(float) * frames);
        return 0;
    }
    for (size_t i = 0; i < device->captureJackPorts.size(); ++i)
        std::memcpy(device->inputs[i]->getBuffer(),
                    jack_port_get_buffer(device->captureJackPorts[i], frames),
                    sizeof(float) * frames);
    device->renderBlock(count, device->sampleRate.load(std::memory_order_relaxed));
    for (size_t i = 0; i < device->playbackJackPorts.size(); ++i)
        std::memcpy(jack_port_get_buffer(device->playbackJackPorts[i], frames),
                    device->outputs[i]->getBuffer(), sizeof(float) * frames);
    return 0;
}

int JackDevice::sampleRateCallback(jack_nframes_t rate, void* self)
{
    auto* device = static_cast<JackDevice*>(self);
    if (device->sampleRate.exchange(double(rate)) != double(rate))
        device->raise(kRateChanged);
    return 0;
}

int JackDevice::bufferSizeCallback(jack_nframes_t frames, void* self)
{
    auto* device = static_cast<JackDevice*>(self);
    if (device->blockSize.exchange(int32(frames)) != int32(frames))
        device->raise(kSizeChanged);
    return 0;
}

int JackDevice::xrunCallback(void* self)
{
    static_cast<JackDevice*>(self)->raise(kOverload);
    return 0;
}

void JackDevice::latencyCallback(jack_latency_callback_mode_t, void* self)
{
    static_cast<JackDevice*>(self)->raise(kLatencyChanged);
}

void JackDevice::shutdownCallback(void* self)
{
    auto* device = static_cast<JackDevice*>(self);
    device->serverGone.store(true);
    device->raise(kRemoved);
}

void JackDevice::threadInitCallback(void* self)
{
    auto* device = static_cast<JackDevice*>(self);
    // A server that runs without real-time scheduling leaves its clients' threads in the normal
    // class; ask for it ourselves where the system allows.
    if (device->client && !jack_is_realtime(device->client))
        device->enterRealtime();
}

JackAudioDriver::JackAudioDriver(std::string serverName, std::string clientName)
    : serverName(std::move(serverName)), clientName(std::move(clientName))
{
}

DriverDevice* JackAudioDriver::open(std::string& error)
{
    return JackDevice::open(serverName, clientName, error);
}

} // namespace Quillmark::Baios
