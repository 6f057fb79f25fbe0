// "ALSA: <card>": a device over an alsa-lib PCM, one driver per sound card the system lists.
// The device plays its playback channels through the card's first PCM (through the plug layer,
// so any rate and sample format the card lacks is converted); its thread renders a period and
// writes it, which also paces it. A card that vanishes answers -ENODEV and is reported as
// removed; an xrun is reported as an overload and the stream is prepared again.
#pragma once

#include "devices/audio/audiodriver.h"

#include <alsa/asoundlib.h>

#include <thread>

namespace Quillmark::Baios
{

class AlsaPcmDevice : public DriverDevice
{
public:
    static constexpr int32 kDefaultBlockSize = 256;
    static constexpr double kDefaultSampleRate = 48000.0;
    static constexpr int32 kMaxBlockSize = 8192;
    static constexpr int32 kChannels = 2;

    /** Opens and sets up the PCM `pcmName` ("plughw:CARD=<id>,DEV=0", or "null" for a
        stream without hardware). Null with a reason when it cannot. */
    static AlsaPcmDevice* open(const std::string& identifier, const std::string& pcmName,
                               std::string& error);

    bool start(std::string& error) override;
    void stop() override;
    bool isRunning() const override { return running.load(); }
    int32 getBlockSize() const override { return blockSize; }
    double getSampleRate() const override { return sampleRate; }
    bool canSampleRate(double rate) const override;
    /** Sets the stream up again at `rate`, then reports "deviceWasReset". */
    bool setSampleRate(double rate) override;
    void close() override;

    const std::string& getPcmName() const { return pcmName; }

protected:
    ~AlsaPcmDevice() override;

private:
    AlsaPcmDevice(const std::string& identifier, std::string pcmName, snd_pcm_t* pcm);
    bool configure(double rate, std::string& error);
    void threadMain();

    std::string pcmName;
    snd_pcm_t* pcm;
    double sampleRate = kDefaultSampleRate;
    int32 blockSize = kDefaultBlockSize;
    std::unique_ptr<float[]> interleaved; // kMaxBlockSize frames
    std::thread thread;
    std::atomic<bool> running{false};
    std::atomic<bool> stopRequested{false};
};

class AlsaAudioDriver : public AudioDriver
{
public:
    static constexpr const char8* kPrefix = "ALSA: ";

    /** `cardName` is shown, `pcmName` opened. */
    AlsaAudioDriver(std::string cardName, std::string pcmName)
        : cardName(std::move(cardName)), pcmName(std::move(pcmName))
    {
    }
    std::string getIdentifier() const override { return kPrefix + cardName; }
    DriverDevice* open(std::string& error) override;

    /** One driver per card in the system's card list; none without cards. */
    static std::vector<std::unique_ptr<AudioDriver>> listCards();

private:
    std::string cardName;
    std::string pcmName;
};

} // namespace Quillmark::Baios
