// "Null Audio Driver": a device without hardware. Its thread calls the processor at the pace of
// the sample rate, so a machine without sound hardware still plays in real time; its offline
// form calls the processor as fast as the machine allows, for rendering to a file. Two capture
// channels (always silent) and two playback channels.
//
// Offline rendering, with or without the manager:
//
//     auto* device = new NullAudioDevice(NullAudioDevice::kOffline, 48000.0, 256);
//     device->setProcessor(handler);                      // any Baios::IProcessor
//     device->setBlockObserver([&](const float* const* channels, int32 count, int32 samples) {
//         /* write `samples` frames of `count` playback channels to the file */ });
//     device->runBlocks(1000);                            // on the calling thread
//     device->release();
//
// Through the manager and the handler, as the program renders its graph to a file:
//
//     String error;
//     PBaiosDevice* device = manager->selectDevice(NullAudioDevice::kOfflineIdentifier, error);
//     BaiosHandler::create(graph, manager, preferences);   // sets the graph up, 48 kHz, 256
//     graph->resume();                                     // the device is not started, so
//     graph->setProcessing(true);                          // the caller starts the graph
//     auto* offline = NullAudioDevice::fromDevice(device->getDriver());
//     offline->setBlockObserver(...);                      // the playback channels, per block
//     offline->runBlocks(count);
//
// Another rate or block size: manager->setSampleRate(rate), offline->setBlockSize(size), then
// deliver the main loop's messages (FMainLoop::instance()->dispatchDue()), through which the
// handler sets the graph up again, before rendering.
//
// A started offline device instead renders on its own thread until stopped, or until the count
// given to setBlockLimit is reached (waitUntilFinished waits for that).
#pragma once

#include "devices/audio/audiodriver.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace Quillmark::Baios
{

class NullAudioDevice : public DriverDevice
{
public:
    enum Mode
    {
        kRealtime,
        kOffline,
    };

    static constexpr const char8* kIdentifier = "Null Audio Driver";
    static constexpr const char8* kOfflineIdentifier = "Null Audio Driver (Offline)";
    static constexpr double kDefaultSampleRate = 48000.0;
    static constexpr int32 kDefaultBlockSize = 256;
    /** The largest block; the buffers are allocated once for it. */
    static constexpr int32 kMaxBlockSize = 8192;
    static constexpr int32 kChannels = 2;

    /** Called after each block on the rendering thread with the playback channels. It must not
        allocate or block when the device plays in real time. */
    using BlockObserver =
        std::function<void(const float* const* channels, int32 numChannels, int32 numSamples)>;

    explicit NullAudioDevice(Mode mode = kRealtime, double sampleRate = kDefaultSampleRate,
                             int32 blockSize = kDefaultBlockSize);

    /** The device behind an interface pointer when it is a NullAudioDevice, else null. */
    static NullAudioDevice* fromDevice(IDevice* device);

    tresult queryInterface(const TUID iid, void** obj) override;

    bool start(std::string& error) override;
    void stop() override;
    bool isRunning() const override { return running.load(); }
    int32 getBlockSize() const override { return blockSize.load(); }
    double getSampleRate() const override { return sampleRate.load(); }
    bool canSampleRate(double rate) const override;
    /** Stops, changes and starts again, then reports "deviceWasReset". */
    bool setSampleRate(double rate) override;
    /** The same for the block size (1 to kMaxBlockSize), reporting "blockSizeChanged". */
    bool setBlockSize(int32 size);

    Mode getMode() const { return mode; }
    /** Set only while the device is stopped. */
    void setBlockObserver(BlockObserver observer) { blockObserver = std::move(observer); }
    /** The samples of playback channel `channel` (0 or 1) after the last block, for a caller
        of runBlocks that reads them itself instead of through an observer; valid until the
        device is released. */
    const float* getPlaybackBuffer(int32 channel) const;
    /** Renders `count` blocks on the calling thread, as fast as possible, whatever the mode;
        nothing while the device's own thread runs. Answers the blocks rendered. */
    int64 runBlocks(int64 count);
    /** The thread of a started device ends by itself after this many blocks (0: never). */
    void setBlockLimit(int64 count) { blockLimit.store(count); }
    /** Waits until a started device with a block limit has reached it; false on timeout. */
    bool waitUntilFinished(int32 timeoutMs);

    QEL_INTERFACE_IID(0x7C2E4B90, 0x1D6A4F3E, 0x8B05A9C1, 0xE3F74D26);

protected:
    ~NullAudioDevice() override;

private:
    void threadMain();
    void renderOne();

    Mode mode;
    std::atomic<double> sampleRate;
    std::atomic<int32> blockSize;
    BlockObserver blockObserver;
    std::thread thread;
    std::atomic<bool> running{false};
    std::atomic<bool> stopRequested{false};
    std::atomic<int64> blockLimit{0};
    std::mutex finishMutex;
    std::condition_variable finished;
    bool threadDone = true;
};

/** The two entries of the driver list behind NullAudioDevice; the offline one is opened only by
    its identifier and is not listed. */
class NullAudioDriver : public AudioDriver
{
public:
    explicit NullAudioDriver(NullAudioDevice::Mode mode = NullAudioDevice::kRealtime) : mode(mode)
    {
    }
    std::string getIdentifier() const override
    {
        return mode == NullAudioDevice::kRealtime ? NullAudioDevice::kIdentifier
                                                  : NullAudioDevice::kOfflineIdentifier;
    }
    DriverDevice* open(std::string& error) override { return new NullAudioDevice(mode); }

private:
    NullAudioDevice::Mode mode;
};

} // namespace Quillmark::Baios
