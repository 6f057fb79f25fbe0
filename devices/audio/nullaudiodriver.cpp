#include "devices/audio/nullaudiodriver.h"

#include "base/fobject.h"

#include <cerrno>
#include <chrono>
#include <ctime>

namespace Quillmark::Baios
{

namespace
{
constexpr double kRates[] = {16000.0, 22050.0, 24000.0,  32000.0,  44100.0,  48000.0, 64000.0,
                             88200.0, 96000.0, 128000.0, 176400.0, 192000.0, 384000.0};

int64 monotonicNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64(now.tv_sec) * 1000000000 + now.tv_nsec;
}

void sleepUntil(int64 deadlineNs)
{
    timespec when{};
    when.tv_sec = time_t(deadlineNs / 1000000000);
    when.tv_nsec = long(deadlineNs % 1000000000);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &when, nullptr) == EINTR)
    {
    }
}
} // namespace

NullAudioDevice::NullAudioDevice(Mode mode, double rate, int32 size)
    : DriverDevice(mode == kRealtime ? kIdentifier : kOfflineIdentifier), mode(mode),
      sampleRate(rate > 0.0 ? rate : kDefaultSampleRate),
      blockSize(size >= 1 && size <= kMaxBlockSize ? size : kDefaultBlockSize)
{
    for (int32 i = 0; i < kChannels; ++i)
    {
        const std::string number = std::to_string(i + 1);
        addPort(kInput, "In " + number, "null:capture_" + number, i, kMaxBlockSize);
        addPort(kOutput, "Out " + number, "null:playback_" + number, i, kMaxBlockSize);
    }
}

NullAudioDevice::~NullAudioDevice()
{
    stop();
}

NullAudioDevice* NullAudioDevice::fromDevice(IDevice* device)
{
    void* object = nullptr;
    if (!device || device->queryInterface(iid.bytes, &object) != kResultOk)
        return nullptr;
    auto* result = static_cast<NullAudioDevice*>(object);
    result->release();
    return result;
}

tresult NullAudioDevice::queryInterface(const TUID queried, void** obj)
{
    QEL_QUERY_INTERFACE(queried, obj, NullAudioDevice)
    return DriverDevice::queryInterface(queried, obj);
}

bool NullAudioDevice::start(std::string& error)
{
    if (running.load())
        return true;
    stopRequested.store(false);
    {
        std::lock_guard<std::mutex> guard(finishMutex);
        threadDone = false;
    }
    running.store(true);
    try
    {
        thread = std::thread([this] { threadMain(); });
    }
    catch (const std::system_error& failure)
    {
        running.store(false);
        threadDone = true;
        error = std::string("Could not start the driver thread: ") + failure.what();
        return false;
    }
    return true;
}

void NullAudioDevice::stop()
{
    stopRequested.store(true);
    if (thread.joinable())
        thread.join();
    running.store(false);
}

bool NullAudioDevice::canSampleRate(double rate) const
{
    for (double known : kRates)
        if (known == rate)
            return true;
    return false;
}

bool NullAudioDevice::setSampleRate(double rate)
{
    if (!canSampleRate(rate))
        return false;
    if (rate == sampleRate.load())
        return true;
    const bool wasRunning = running.load();
    stop();
    sampleRate.store(rate);
    std::string ignored;
    if (wasRunning)
        start(ignored);
    sendMessage("deviceWasReset");
    return true;
}

bool NullAudioDevice::setBlockSize(int32 size)
{
    if (size < 1 || size > kMaxBlockSize)
        return false;
    if (size == blockSize.load())
        return true;
    const bool wasRunning = running.load();
    stop();
    blockSize.store(size);
    std::string ignored;
    if (wasRunning)
        start(ignored);
    sendMessage("blockSizeChanged");
    return true;
}

void NullAudioDevice::renderOne()
{
    const int32 samples = blockSize.load(std::memory_order_relaxed);
    renderBlock(samples, sampleRate.load(std::memory_order_relaxed));
    if (blockObserver)
    {
        const float* channels[kChannels];
        for (int32 i = 0; i < kChannels; ++i)
            channels[i] = outputs[size_t(i)]->getBuffer();
        blockObserver(channels, kChannels, samples);
    }
}

const float* NullAudioDevice::getPlaybackBuffer(int32 channel) const
{
    return channel >= 0 && channel < int32(outputs.size()) ? outputs[size_t(channel)]->getBuffer()
                                                           : nullptr;
}

int64 NullAudioDevice::runBlocks(int64 count)
{
    if (running.load())
        return 0;
    int64 done = 0;
    for (; done < count; ++done)
        renderOne();
    return done;
}

bool NullAudioDevice::waitUntilFinished(int32 timeoutMs)
{
    std::unique_lock<std::mutex> lock(finishMutex);
    return finished.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                             [this] { return threadDone; });
}

void NullAudioDevice::threadMain()
{
    if (mode == kRealtime)
        enterRealtime();
    const int64 limit = blockLimit.load();
    const int64 periodNs = int64(double(blockSize.load()) * 1.0e9 / sampleRate.load() + 0.5);
    int64 deadline = monotonicNs();
    for (int64 block = 0; !stopRequested.load(std::memory_order_relaxed); ++block)
    {
        if (limit > 0 && block >= limit)
            break;
        if (mode == kRealtime)
        {
            // Pace by absolute deadlines so that time spent rendering does not add up; after a
            // long stall start a fresh schedule instead of rushing to catch up.
            const int64 now = monotonicNs();
            if (now - deadline > 4 * periodNs)
                deadline = now;
            sleepUntil(deadline);
            deadline += periodNs;
            if (stopRequested.load(std::memory_order_relaxed))
                break;
        }
        renderOne();
    }
    std::lock_guard<std::mutex> guard(finishMutex);
    threadDone = true;
    finished.notify_all();
}

} // namespace Quillmark::Baios
