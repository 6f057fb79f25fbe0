// The cost of one block through the device layer (the offline Null driver, BaiosHandler and the
// graph) beside the graph rendering the same block alone, at 256 samples.
#include "base/optimaudio/audiokernels.h"
#include "devices/audio/baioshandler.h"
#include "devices/audio/devicemanager.h"
#include "devices/audio/nullaudiodriver.h"
#include "devices/audio/pbaiosmanager.h"
#include "devices/ports/pportregistry.h"
#include "engine/testoperators.h"

#include <benchmark/benchmark.h>

using namespace Quillmark;
using MiniEngine::testing::SourceOperator;

namespace
{

constexpr int32 kBlock = 256;

/** The reference: a stereo source writing into two channels of device memory. */
void GraphAlone(benchmark::State& state)
{
    installAudioKernels();
    auto* device = new Baios::NullAudioDevice(Baios::NullAudioDevice::kOffline, 48000.0, kBlock);
    auto* ports = new PPortRegistry;
    auto* pDevice = new PBaiosDevice("Bench", device, ports);
    auto* graph = new MiniEngine::AudioOperatorRoot;
    auto* source = new SourceOperator(2, 0.25f);
    graph->addOperator(source);
    for (int32 i = 0; i < 2; ++i)
        source->getOutputPin(i)->connect(pDevice->getPlaybackPort(i));
    MiniEngine::OperatorSetup setup;
    setup.blockSize = kBlock;
    setup.sampleRate = 48000.0;
    graph->setupProcessing(setup);
    graph->prepareBuffers(kBlock);
    graph->resume();
    graph->setProcessing(true);
    MiniEngine::OperatorBuffers buffers;
    buffers.numSamples = kBlock;
    for (auto _ : state)
        benchmark::DoNotOptimize(graph->renderBlock(buffers));
    state.SetItemsProcessed(state.iterations() * kBlock);
    graph->setProcessing(false);
    graph->release();
    pDevice->release();
    ports->release();
    device->release();
}
BENCHMARK(GraphAlone);

/** The same graph called by the offline Null driver through BaiosHandler. */
void ThroughTheDeviceLayer(benchmark::State& state)
{
    installAudioKernels();
    std::vector<std::unique_ptr<Baios::AudioDriver>> drivers;
    drivers.push_back(std::make_unique<Baios::NullAudioDriver>(Baios::NullAudioDevice::kOffline));
    auto* library = new Baios::DeviceManager(std::move(drivers));
    auto* ports = new PPortRegistry;
    auto* manager = new PBaiosManager(ports, nullptr);
    manager->initialize(library);
    library->release();
    String error;
    PBaiosDevice* device = manager->selectDevice(Baios::NullAudioDevice::kOfflineIdentifier, error);
    auto* graph = new MiniEngine::AudioOperatorRoot;
    auto* source = new SourceOperator(2, 0.25f);
    graph->addOperator(source);
    for (int32 i = 0; i < 2; ++i)
        source->getOutputPin(i)->connect(device->getPlaybackPort(i));
    BaiosHandler::create(graph, manager, nullptr);
    graph->resume();
    graph->setProcessing(true);
    auto* offline = Baios::NullAudioDevice::fromDevice(device->getDriver());
    for (auto _ : state)
        benchmark::DoNotOptimize(offline->runBlocks(1));
    state.SetItemsProcessed(state.iterations() * kBlock);
    BaiosHandler::destroy(nullptr);
    graph->release();
    manager->terminate();
    manager->release();
    ports->release();
}
BENCHMARK(ThroughTheDeviceLayer);

} // namespace

BENCHMARK_MAIN();
