#include "devices/audio/baioshandler.h"

#include "base/fdefaults.h"
#include "base/fmessage.h"
#include "base/optimaudio/optaudioprimitives.h"
#include "devices/audio/pbaiosdevice.h"
#include "devices/audio/pbaiosmanager.h"

#include <cstring>

namespace Quillmark
{

namespace
{
BaiosHandler* gBaiosHandler = nullptr;
}

BaiosHandler::BaiosHandler(MiniEngine::AudioOperatorRoot* graph, PBaiosManager* manager)
    : audioGraph(graph), manager(manager)
{
    if (audioGraph)
        audioGraph->addRef();
}

BaiosHandler::~BaiosHandler()
{
    if (audioGraph)
        audioGraph->release();
}

BaiosHandler* BaiosHandler::instance()
{
    return gBaiosHandler;
}

BaiosHandler* BaiosHandler::create(MiniEngine::AudioOperatorRoot* graph, PBaiosManager* manager,
                                   FDefaultPool* preferences)
{
    if (!graph || !manager || gBaiosHandler)
        return nullptr;
    auto* handler = new BaiosHandler(graph, manager);
    manager->setHandler(handler);
    gBaiosHandler = handler;
    manager->setProcessor(handler);
    handler->syncFormat();
    if (preferences)
        if (FDefaults* values = preferences->lookup(PBaiosManager::kSettingsSection, 1, false))
        {
            int64 level = 0;
            if (values->getInt("ProcessLevel", level))
                manager->setProcessLevel(int32(level));
        }
    if (manager->isStarted())
    {
        graph->resume();
        graph->setProcessing(true);
    }
    graph->prepareBuffers(handler->blockSize.load());
    if (manager->isFailed())
    {
        manager->setProcessor(nullptr);
        manager->setHandler(nullptr);
        gBaiosHandler = nullptr;
        handler->release();
        return nullptr;
    }
    return handler;
}

void BaiosHandler::destroy(FDefaultPool* preferences)
{
    BaiosHandler* handler = gBaiosHandler;
    if (!handler)
        return;
    PBaiosManager* manager = handler->manager;
    if (preferences)
        manager->saveSettings(*preferences);
    handler->audioGraph->setProcessing(false);
    handler->audioGraph->suspend();
    manager->setHandler(nullptr);
    manager->stop();
    manager->setProcessor(nullptr);
    manager->removeAllDevices();
    gBaiosHandler = nullptr;
    handler->release();
}

tresult BaiosHandler::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, Baios::IProcessor)
    return CmObject::queryInterface(iid, obj);
}

void BaiosHandler::process(const Baios::ProcessRecord& record)
{
    // The playback channels of the first device that have memory and are in use.
    float* outputs[kMaxChannels];
    int32 outputCount = 0;
    const int32 samples = record.numSamples;
    if (PBaiosDevice* device = manager->getDevice(0))
    {
        const int32 count = device->countPlaybackPorts();
        for (int32 i = 0; i < count && outputCount < kMaxChannels; ++i)
        {
            PBaiosDevicePort* port = device->getPlaybackPort(i);
            if (!port->isUsed())
                continue;
            if (float* buffer = port->getAudioBuffer())
            {
                sAudioPrimitives->clear(samples, buffer);
                outputs[outputCount++] = buffer;
            }
        }
    }

    const int32 size = blockSize.load(std::memory_order_acquire);
    // A block of another size than the graph's (the driver changed it and the main thread has
    // not caught up yet) or one before the graph's buffers are ready plays the silence above.
    if (samples != size || needsPrepare.load(std::memory_order_acquire))
    {
        blocksSkipped.fetch_add(1, std::memory_order_relaxed);
        return;
    }

    Qel::ProcessContext context;
    std::memset(&context, 0, sizeof(context));
    context.sampleRate = record.sampleRate;
    context.state = Qel::ProcessContext::kContTimeValid | Qel::ProcessContext::kSystemTimeValid;

    MiniEngine::OperatorBuffers buffers;
    buffers.numSamples = size;
    buffers.numChannels = 2;
    buffers.context = &context;
    if (!audioGraph->renderBlock(buffers))
    {
        blocksSkipped.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    blocksRendered.fetch_add(1, std::memory_order_relaxed);

    // The volume only ever reduces: a gain of 1.0 or more leaves the samples as they are.
    float gain = 1.0f;
    if (audioGraph->getOutputGain(gain) && gain < 1.0f)
        for (int32 i = 0; i < outputCount; ++i)
            sAudioPrimitives->scale(gain, samples, outputs[i], outputs[i]);
}

void BaiosHandler::syncFormat()
{
    const double deviceRate = manager->getSampleRate();
    const double rate = deviceRate > 0.0 ? deviceRate : 44100.0;
    const int32 size = manager->getBlockSize();
    if (rate == sampleRate && size == blockSize.load())
        return;
    sampleRate = rate;
    blockSize.store(size, std::memory_order_release);
    MiniEngine::OperatorSetup setup;
    setup.blockSize = size;
    setup.sampleRate = rate;
    audioGraph->setupProcessing(setup);
}

void BaiosHandler::stopEngine()
{
    audioGraph->setProcessing(false);
    audioGraph->suspend();
}

void BaiosHandler::startEngine()
{
    audioGraph->resume();
    audioGraph->setProcessing(true);
}

void BaiosHandler::notify(FMessage* message)
{
    if (!message)
        return;
    if (message->is("overloadDetected") || message->is("latencyChanged") ||
        message->is("Update Monitoring Activation"))
        return;
    if (message->is("sampleRateChanged") || message->is("Sample Rate to be set"))
    {
        stopEngine();
        syncFormat();
        startEngine();
    }
    else if (message->is("blockSizeChanged"))
    {
        stopEngine();
        syncFormat();
        audioGraph->prepareBuffers(blockSize.load());
        startEngine();
    }
    else if (message->is("baiosStopped"))
    {
        stopEngine();
        manager->updateChannels();
        audioGraph->prepareBuffers(blockSize.load());
        MiniEngine::OperatorSetup setup;
        setup.blockSize = blockSize.load();
        setup.sampleRate = sampleRate;
        audioGraph->setupProcessing(setup);
        startEngine();
    }
    else if (message->is("deviceWasReset") || message->is("resyncRequested"))
    {
        stopEngine();
        manager->broadcast("NewDevice");
        // The device's buffers exist from the moment it opens, so the graph is prepared here,
        // on the main thread, where the blocking lock belongs; until then blocks play silence.
        needsPrepare.store(true, std::memory_order_release);
        syncFormat();
        audioGraph->prepareBuffers(blockSize.load());
        needsPrepare.store(false, std::memory_order_release);
        manager->broadcast("UnLockProcess");
        startEngine();
    }
}

} // namespace Quillmark
