#include "devices/audio/alsaaudiodriver.h"

#include <cerrno>
#include <cstring>

namespace Quillmark::Baios
{

AlsaPcmDevice::AlsaPcmDevice(const std::string& identifier, std::string name, snd_pcm_t* pcm)
    : DriverDevice(identifier), pcmName(std::move(name)), pcm(pcm),
      interleaved(new float[size_t(kMaxBlockSize) * kChannels]())
{
    for (int32 i = 0; i < kChannels; ++i)
    {
        const std::string number = std::to_string(i + 1);
        addPort(kOutput, "Out " + number, pcmName + ":playback_" + number, i, kMaxBlockSize);
    }
}

AlsaPcmDevice::~AlsaPcmDevice()
{
    close();
}

AlsaPcmDevice* AlsaPcmDevice::open(const std::string& identifier, const std::string& pcmName,
                                   std::string& error)
{
    snd_pcm_t* pcm = nullptr;
    const int result = snd_pcm_open(&pcm, pcmName.c_str(), SND_PCM_STREAM_PLAYBACK, 0);
    if (result < 0)
    {
        error = "The sound card \"" + pcmName + "\" could not be opened: " + snd_strerror(result);
        return nullptr;
    }
    auto* device = new AlsaPcmDevice(identifier, pcmName, pcm);
    if (!device->configure(kDefaultSampleRate, error))
    {
        device->release();
        return nullptr;
    }
    return device;
}

bool AlsaPcmDevice::configure(double rate, std::string& error)
{
    snd_pcm_hw_params_t* params = nullptr;
    snd_pcm_hw_params_alloca(&params);
    unsigned int wantedRate = unsigned(rate);
    snd_pcm_uframes_t period = snd_pcm_uframes_t(kDefaultBlockSize);
    snd_pcm_uframes_t bufferFrames = period * 3;
    int result = snd_pcm_hw_params_any(pcm, params);
    if (result >= 0)
        result = snd_pcm_hw_params_set_access(pcm, params, SND_PCM_ACCESS_RW_INTERLEAVED);
    if (result >= 0)
        result = snd_pcm_hw_params_set_format(pcm, params, SND_PCM_FORMAT_FLOAT_LE);
    if (result >= 0)
        result = snd_pcm_hw_params_set_channels(pcm, params, kChannels);
    if (result >= 0)
        result = snd_pcm_hw_params_set_rate(pcm, params, wantedRate, 0);
    if (result >= 0)
        result = snd_pcm_hw_params_set_period_size_near(pcm, params, &period, nullptr);
    if (result >= 0)
        result = snd_pcm_hw_params_set_buffer_size_near(pcm, params, &bufferFrames);
    if (result >= 0)
        result = snd_pcm_hw_params(pcm, params);
    if (result < 0)
    {
        error = "The sound card \"" + pcmName + "\" refused the format: " + snd_strerror(result);
        return false;
    }
    if (period < 1 || period > snd_pcm_uframes_t(kMaxBlockSize))
    {
        error = "The sound card \"" + pcmName + "\" chose an unusable period.";
        return false;
    }
    sampleRate = double(wantedRate);
    blockSize = int32(period);
    outputLatency = int32(bufferFrames);
    return true;
}

bool AlsaPcmDevice::canSampleRate(double rate) const
{
    if (!pcm || rate <= 0.0)
        return false;
    snd_pcm_hw_params_t* params = nullptr;
    snd_pcm_hw_params_alloca(&params);
    if (snd_pcm_hw_params_any(pcm, params) < 0)
        return false;
    return snd_pcm_hw_params_test_rate(pcm, params, unsigned(rate), 0) == 0;
}

bool AlsaPcmDevice::setSampleRate(double rate)
{
    if (rate == sampleRate)
        return true;
    if (!canSampleRate(rate))
        return false;
    const bool wasRunning = running.load();
    stop();
    std::string error;
    snd_pcm_drop(pcm);
    if (!configure(rate, error))
    {
        configure(sampleRate, error);
        if (wasRunning)
            start(error);
        return false;
    }
    if (wasRunning)
        start(error);
    sendMessage("deviceWasReset");
    return true;
}

bool AlsaPcmDevice::start(std::string& error)
{
    if (running.load())
        return true;
    if (!pcm)
    {
        error = "The sound card is closed.";
        return false;
    }
    const int result = snd_pcm_prepare(pcm);
    if (result < 0)
    {
        error = std::string("The sound card could not start: ") + snd_strerror(result);
        if (result == -ENODEV)
            raise(kRemoved);
        return false;
    }
    startNotifier();
    stopRequested.store(false);
    running.store(true);
    thread = std::thread([this] { threadMain(); });
    return true;
}

void AlsaPcmDevice::stop()
{
    stopRequested.store(true);
    if (thread.joinable())
        thread.join();
    running.store(false);
}

void AlsaPcmDevice::close()
{
    stop();
    stopNotifier();
    if (pcm)
    {
        snd_pcm_close(pcm);
        pcm = nullptr;
    }
}

void AlsaPcmDevice::threadMain()
{
    // A stream without hardware never waits in its writes; in the real-time class its loop
    // would hold a processor to itself.
    if (snd_pcm_type(pcm) != SND_PCM_TYPE_NULL)
        enterRealtime();
    const int32 frames = blockSize;
    while (!stopRequested.load(std::memory_order_relaxed))
    {
        renderBlock(frames, sampleRate);
        for (int32 c = 0; c < kChannels; ++c)
        {
            const float* channel = outputs[size_t(c)]->getBuffer();
            for (int32 s = 0; s < frames; ++s)
                interleaved[size_t(s * kChannels + c)] = channel[s];
        }
        int32 written = 0;
        while (written < frames && !stopRequested.load(std::memory_order_relaxed))
        {
            const snd_pcm_sframes_t result =
                snd_pcm_writei(pcm, interleaved.get() + size_t(written) * kChannels,
                               snd_pcm_uframes_t(frames - written));
            if (result >= 0)
            {
                written += int32(result);
                continue;
            }
            if (result == -EPIPE || result == -ESTRPIPE)
            {
                raise(kOverload);
                snd_pcm_prepare(pcm);
                continue;
            }
            if (result == -EAGAIN || result == -EINTR)
                continue;
            // -ENODEV and anything else fatal: the card is gone. The manager closes the device
            // and looks for the card again.
            raise(kRemoved);
            return;
        }
    }
    snd_pcm_drop(pcm);
}

DriverDevice* AlsaAudioDriver::open(std::string& error)
{
    return AlsaPcmDevice::open(getIdentifier(), pcmName, error);
}

std::vector<std::unique_ptr<AudioDriver>> AlsaAudioDriver::listCards()
{
    std::vector<std::unique_ptr<AudioDriver>> drivers;
    int card = -1;
    while (snd_card_next(&card) == 0 && card >= 0)
    {
        snd_ctl_t* control = nullptr;
        const std::string controlName = "hw:" + std::to_string(card);
        if (snd_ctl_open(&control, controlName.c_str(), 0) < 0)
            continue;
        snd_ctl_card_info_t* info = nullptr;
        snd_ctl_card_info_alloca(&info);
        if (snd_ctl_card_info(control, info) >= 0)
        {
            const std::string id = snd_ctl_card_info_get_id(info);
            const std::string name = snd_ctl_card_info_get_name(info);
            // By the card's id, not its number: a card that comes back may get another number.
            drivers.push_back(std::make_unique<AlsaAudioDriver>(name.empty() ? id : name,
                                                                "plughw:CARD=" + id + ",DEV=0"));
        }
        snd_ctl_close(control);
    }
    return drivers;
}

} // namespace Quillmark::Baios
