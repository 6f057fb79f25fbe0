// Plays one class live through the JACK server named by JACK_DEFAULT_SERVER, with a MIDI file,
// for a number of seconds, the engine assembled as the application assembles it, and counts the
// allocations of the audio thread while it plays. Prints the driver's figures at the end. Run by
// scripts/play-stress.sh beside a conformity run; it is not a test.
//
//     play_stress MODULE-FOLDER CLASS-NAME FILE.mid SECONDS
#include "app/audioengine.h"
#include "base/fdefaults.h"
#include "base/fmainloop.h"
#include "base/optimaudio/audiokernels.h"
#include "devices/audio/audiodriver.h"
#include "devices/audio/baioshandler.h"
#include "engine/audiograph.h"
#include "engine/audiooperator.h"
#include "engine/qelplayer.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"
#include "rtcheck/callwatch.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <string>
#include <thread>
#include <unistd.h>

using namespace Quillmark;

namespace
{

/** An operator of the graph that opens a watched section on the audio thread at its first block
    and keeps it open until asked to close it: everything the thread does from then on, between
    the blocks too, is counted. */
class AllocationWatch : public MiniEngine::AudioOperator
{
public:
    void process(MiniEngine::OperatorBuffers&) override
    {
        if (closed.load(std::memory_order_acquire))
            return;
        if (closeRequested.load(std::memory_order_acquire))
        {
            if (open)
                reinterpret_cast<WatchedSection*>(storage)->~WatchedSection();
            open = false;
            closed.store(true, std::memory_order_release);
            return;
        }
        if (!open)
        {
            new (storage) WatchedSection(record);
            open = true;
            return;
        }
        blocks.fetch_add(1, std::memory_order_relaxed);
    }
    /** From the main thread: ends the section at the next block; false when no block came. */
    bool finish()
    {
        closeRequested.store(true, std::memory_order_release);
        for (int i = 0; i < 200 && !closed.load(std::memory_order_acquire); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return closed.load(std::memory_order_acquire);
    }

    CallRecord record; // written by the audio thread while the section is open
    std::atomic<int64_t> blocks{0};

private:
    alignas(WatchedSection) unsigned char storage[sizeof(WatchedSection)];
    bool open = false;
    std::atomic<bool> closeRequested{false};
    std::atomic<bool> closed{false};
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5)
    {
        std::fprintf(stderr, "usage: play_stress MODULE-FOLDER CLASS-NAME FILE.mid SECONDS\n");
        return 2;
    }
    installAudioKernels();
    CallWatch::prepare();
    const double seconds = std::atof(argv[4]);
    auto* registry = new FComponentRegistry;
    registry->scanFolder(argv[1]);
    FComponentDescription* description = findAudioModuleClass(*registry, argv[2]);
    if (!description)
    {
        std::fprintf(stderr, "%s", noClassFoundText(argv[2]).c_str());
        return 2;
    }
    const std::string prefsPath =
        (std::filesystem::temp_directory_path() / ("play-stress-" + std::to_string(getpid())))
            .string();
    auto* preferences = new FDefaultPool(prefsPath);
    {
        AudioEngine engine(*registry, preferences);
        AudioEngine::Options options;
        options.driver = "JACK";
        std::string problem;
        if (!engine.open(options, &problem))
        {
            std::fprintf(stderr, "Failed to open TARN Driver! %s\n", problem.c_str());
            return 1;
        }
        auto* watch = new AllocationWatch;
        engine.getGraph()->addOperator(watch);
        MiniEngine::QelPlayer& player = *engine.getPlayer();
        if (!player.loadPlugin(description->getCid(), 0, &problem) ||
            !player.loadMidiFile(argv[3], &problem))
        {
            std::fprintf(stderr, "%s\n", problem.c_str());
            return 1;
        }
        if (UValue* patterns = player.valueOf(MiniEngine::QelPlayer::kActivatePatterns))
            patterns->setInt(0);
        // The start (the driver's client joining the server, the plug-in and the song coming
        // in) is not the play: its xruns are counted apart.
        Baios::DriverDevice* device = engine.getDriverDevice();
        const int64 xrunsBeforePlay = device ? device->getOverloadCount() : 0;
        player.press(MiniEngine::QelPlayer::kPlay);
        const auto start = std::chrono::steady_clock::now();
        while (std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() <
               seconds)
        {
            FMainLoop::instance()->dispatchWithin(10);
            FMainLoop::instance()->runIdlePass();
        }
        const bool watched = watch->finish();
        player.press(MiniEngine::QelPlayer::kStop);
        BaiosHandler* handler = engine.getHandler();
        std::printf("Driver\t%s\n", engine.getDriverName().c_str());
        std::printf("SampleRate\t%.0f\n", handler->getSampleRate());
        std::printf("BlockSize\t%d\n", int(handler->getBlockSize()));
        std::printf("BlocksRendered\t%lld\n", (long long)handler->getBlocksRendered());
        std::printf("BlocksSkipped\t%lld\n", (long long)handler->getBlocksSkipped());
        std::printf("Xruns\t%lld\t(before the play: %lld)\n",
                    (long long)(device ? device->getOverloadCount() - xrunsBeforePlay : -1),
                    (long long)xrunsBeforePlay);
        if (!watched)
            std::printf("AudioThreadAllocations\tunknown (the audio thread stopped)\n");
        else
            std::printf("AudioThreadAllocations\t%lld\tfrees %lld\t(over %lld blocks; %s)\n",
                        (long long)watch->record.count(WatchedCall::kAllocation),
                        (long long)watch->record.count(WatchedCall::kFree),
                        (long long)watch->blocks.load(), CallWatch::heapMethod());
        engine.close(); // the graph's list owns the watch and lets it go
    }
    preferences->release();
    registry->close();
    registry->release();
    std::filesystem::remove(prefsPath);
    return 0;
}
