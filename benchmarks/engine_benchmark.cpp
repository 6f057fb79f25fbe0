// Cost of the engine around a plug-in: blocks of 64 frames rendered through the operator graph
// with 0, 1 and 8 slots of a plug-in whose process returns at once, beside the same plug-in's
// process called in a bare loop with the same buffers. Prints nanoseconds per block for each,
// and the host's overhead per block (one slot) and per added slot, both net of the bare loop.
// Usage: engine_benchmark [BLOCKS]

#include "base/fmainloop.h"
#include "base/optimaudio/audiokernels.h"
#include "base/platform/clock.h"
#include "base/platform/paths.h"
#include "engine/audiooperatorlist.h"
#include "engine/qelslotoperator.h"
#include "fixtures/probe/iprobe.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/qelcomponent.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::MiniEngine;

namespace
{

constexpr int32 kFrames = 64;

struct Engine
{
    AudioOperatorRoot* root = new AudioOperatorRoot;
    std::vector<Qel::QelComponent*> plugins;
    std::vector<QelSlotOperator*> slots;

    Engine(FComponentRegistry& registry, int32 slotCount)
    {
        for (int32 i = 0; i < slotCount; ++i)
        {
            Qel::QelComponent* plugin =
                Qel::QelComponent::create(registry, FUID(Qel::Probe::kIdleCid.bytes));
            if (!plugin)
            {
                std::fprintf(stderr, "engine_benchmark: cannot create \"Probe Idle\"\n");
                std::exit(1);
            }
            auto* slot = new QelSlotOperator;
            slot->attach(plugin->getComponent(), "Idle");
            root->addOperator(slot);
            plugins.push_back(plugin);
            slots.push_back(slot);
        }
        OperatorSetup setup;
        setup.blockSize = kFrames;
        setup.sampleRate = 48000.0;
        root->setupProcessing(setup);
        root->prepareBuffers(kFrames);
        root->resume();
        root->setProcessing(true);
    }

    ~Engine()
    {
        root->setProcessing(false);
        root->suspend();
        root->release();
        for (Qel::QelComponent* plugin : plugins)
            plugin->release();
    }

    /** Nanoseconds per block over `blocks` blocks of a running transport. */
    double render(int32 blocks)
    {
        Qel::ProcessContext context{};
        context.state = Qel::ProcessContext::kPlaying | Qel::ProcessContext::kTempoValid;
        context.sampleRate = 48000.0;
        context.tempo = 120.0;
        OperatorBuffers buffers;
        buffers.numSamples = kFrames;
        buffers.context = &context;
        const double quarters = kFrames / 24000.0;
        const int64_t start = platform::nanoseconds();
        for (int32 block = 0; block < blocks; ++block)
        {
            context.projectTimeSamples = int64(block) * kFrames;
            buffers.blockStartMusic = block * quarters;
            buffers.blockEndMusic = buffers.blockStartMusic + quarters;
            root->renderBlock(buffers);
        }
        return double(platform::nanoseconds() - start) / blocks;
    }

    /** The plug-in's process alone, with the record and buffers the first slot hands it. */
    double bare(int32 blocks)
    {
        QelSlotOperator* slot = slots.front();
        Qel::ProcessData data = slot->getProcessData();
        Qel::ProcessContext context{};
        data.processContext = &context;
        data.numSamples = kFrames;
        Qel::IAudioProcessor* processor = slot->getProcessor();
        const int64_t start = platform::nanoseconds();
        for (int32 block = 0; block < blocks; ++block)
        {
            context.projectTimeSamples = int64(block) * kFrames;
            processor->process(data);
        }
        return double(platform::nanoseconds() - start) / blocks;
    }
};

} // namespace

int main(int argc, char** argv)
{
    const int32 blocks = argc > 1 ? std::atoi(argv[1]) : 100000;
    if (blocks <= 0)
    {
        std::fprintf(stderr, "usage: engine_benchmark [BLOCKS]\n");
        return 2;
    }
    installAudioKernels();
    const std::string folder = platform::temporaryFolder() + "/qel-engine-benchmark";
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(std::string(QEL_FIXTURE_DIR) + "/" + Qel::Probe::kModule,
                               folder + "/" + Qel::Probe::kModule,
                               std::filesystem::copy_options::overwrite_existing);
    auto* registry = new FComponentRegistry;
    if (registry->scanFolder(folder) <= 0)
    {
        std::fprintf(stderr, "engine_benchmark: no classes in %s\n", folder.c_str());
        return 1;
    }

    double graph0, graph1, graph8, bare;
    {
        Engine engine(*registry, 0);
        engine.render(blocks / 10); // warm up
        graph0 = engine.render(blocks);
    }
    {
        Engine engine(*registry, 1);
        engine.render(blocks / 10);
        graph1 = engine.render(blocks);
        engine.bare(blocks / 10);
        bare = engine.bare(blocks);
    }
    {
        Engine engine(*registry, 8);
        engine.render(blocks / 10);
        graph8 = engine.render(blocks);
    }
    std::printf("blocks of %d frames: %d\n", kFrames, blocks);
    std::printf("graph, 0 slots        %8.1f ns/block\n", graph0);
    std::printf("graph, 1 slot         %8.1f ns/block\n", graph1);
    std::printf("graph, 8 slots        %8.1f ns/block\n", graph8);
    std::printf("bare process loop     %8.1f ns/block\n", bare);
    std::printf("overhead, 1 slot      %8.1f ns/block (target < 1000)\n", graph1 - bare);
    std::printf("overhead, added slot  %8.1f ns/slot  (target < 300)\n",
                (graph8 - graph1) / 7.0 - bare);

    FMainLoop::instance()->dispatchDue();
    registry->release();
    std::filesystem::remove_all(folder);
    return 0;
}
