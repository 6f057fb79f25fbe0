#include "app/audioengine.h"

#include "base/fdefaults.h"
#include "base/fmainloop.h"
#include "devices/audio/audiodriver.h"
#include "devices/audio/baioshandler.h"
#include "devices/audio/devicemanager.h"
#include "devices/audio/pbaiosdevice.h"
#include "devices/audio/pbaiosmanager.h"
#include "devices/midi/mididriverset.h"
#include "devices/ports/pportregistry.h"
#include "devices/ports/pstudio.h"
#include "engine/audiograph.h"
#include "engine/inputoperator.h"
#include "engine/midieventcollector.h"
#include "engine/midirecorderoperator.h"
#include "engine/qelplayer.h"
#include "engine/qelrack.h"
#include "engine/qelslot.h"
#include "engine/qelslotoperator.h"
#include "hosting/fcomponentregistry.h"

#include <cstdio>

namespace Quillmark
{

namespace
{

std::string slotKey(int32 number)
{
    char key[32];
    std::snprintf(key, sizeof(key), AudioEngine::kSlotKey, number);
    return key;
}

} // namespace

AudioEngine::AudioEngine(FComponentRegistry& classes, FDefaultPool* preferences,
                         MiniEngine::PlayerDialogs* dialogs)
    : classes(classes), preferences(preferences), dialogs(dialogs)
{
}

AudioEngine::~AudioEngine()
{
    close();
}

bool AudioEngine::open(const Options& options, std::string* problem,
                       std::vector<std::string>* midiProblems)
{
    auto fail = [&](const std::string& text)
    {
        if (problem)
            *problem = text;
        close();
        return false;
    };
    if (isOpen())
        return true;

    // The device library is the compiled-in class of category "Baios", as at every start.
    if (!classes.findByCategoryAndName(String(Baios::DeviceManager::kCategory),
                                       String(Baios::DeviceManager::kName)))
        Baios::DeviceManager::registerClass(classes);
    studio = new PStudio;
    PPortRegistry* ports = studio->getPortRegistry();
    manager = new PBaiosManager(ports, preferences);
    if (!manager->initialize(&classes))
        return fail(PBaiosManager::kFailedText);
    if (options.driver.empty())
        manager->openInitialDevice();
    else
    {
        String error;
        if (!manager->selectDevice(options.driver.c_str(), error))
            return fail(options.driver + ": " +
                        (error.isEmpty() ? std::string("no such driver") : error.toUtf8()));
    }
    if (manager->countDevices() == 0)
        return fail("no audio driver could be opened");

    // The MIDI drivers come first, so that "All MIDI Inputs" is a source when slots appear.
    if (options.midi)
    {
        midi = std::make_unique<MidiDriverSet>(options.midiOptions, ports);
        midi->start(preferences, midiProblems);
    }
    studio->addDevice(manager);
    if (midi)
        for (PDevice* device :
             {static_cast<PDevice*>(midi->getAlsa()), static_cast<PDevice*>(midi->getJack()),
              static_cast<PDevice*>(midi->getMerged())})
            studio->addDevice(device);
    studio->start();

    graph = new MiniEngine::AudioGraph(nullptr, ports);
    graph->createRecorder();
    input = graph->createInputOperator();
    manager->start();
    handler = BaiosHandler::create(graph, manager, preferences);
    if (!handler)
        return fail("the audio engine cannot be joined to the driver");
    rack = new MiniEngine::QelRack(graph, &classes, preferences, ports);
    player = new MiniEngine::QelPlayer(graph, rack, preferences, &classes, dialogs);
    return true;
}

void AudioEngine::close()
{
    // The player writes its settings while the graph and the rack it reads still stand.
    if (player)
    {
        player->shutdown();
        player->release();
        player = nullptr;
    }
    if (handler)
    {
        BaiosHandler::destroy(preferences);
        handler = nullptr;
    }
    if (rack)
    {
        rack->removeAllSlots();
        rack->release();
        rack = nullptr;
    }
    // The studio lets go of the devices, which then close with their owners below.
    if (studio)
        studio->stop();
    if (midi)
    {
        midi->stop(preferences);
        midi.reset();
    }
    input = nullptr;
    if (graph)
    {
        graph->release();
        graph = nullptr;
    }
    if (manager)
    {
        manager->terminate();
        FMainLoop::instance()->cancel(manager);
        manager->release();
        manager = nullptr;
    }
    if (studio)
    {
        studio->release();
        studio = nullptr;
    }
}

std::vector<FUID> AudioEngine::rackClasses() const
{
    std::vector<FUID> result;
    for (int32 i = 0; rack && i < rack->countSlots(); ++i)
    {
        MiniEngine::QelSlot* slot = rack->getSlot(i);
        if (!slot || !slot->getClassId().isValid())
            break;
        result.push_back(slot->getClassId());
    }
    return result;
}

void AudioEngine::saveRack(FDefaultPool& pool) const
{
    FDefaults* section = pool.lookup(kRackSection);
    const std::vector<FUID> stored = rackClasses();
    for (size_t i = 0; i < stored.size(); ++i)
        section->setString(slotKey(int32(i) + 1).c_str(), String(stored[i].toString().c_str()));
    section->setInt(kSlotCountKey, int64(stored.size()));
}

std::vector<FUID> AudioEngine::storedRack(FDefaultPool& pool)
{
    std::vector<FUID> result;
    FDefaults* section = pool.lookup(kRackSection, 1, false);
    if (!section)
        return result;
    const int64 count = section->getInt(kSlotCountKey, 0);
    for (int64 i = 1; i <= count; ++i)
    {
        String text;
        FUID cid;
        if (!section->getString(slotKey(int32(i)).c_str(), text) ||
            !cid.fromString(text.toUtf8().c_str()))
            break;
        result.push_back(cid);
    }
    return result;
}

void AudioEngine::listen(MidiSupport::MidiEventCollector* collector, PPort* source) const
{
    if (collector && collector->countInputs() > 0)
        collector->setPort(0, source ? source : allMidiInputs());
}

void AudioEngine::connectMidi(MiniEngine::QelSlot* slot, PPort* source)
{
    if (slot)
        listen(slot->getOperator()->getMidiCollector(), source);
}

void AudioEngine::connectRecorder(PPort* source)
{
    if (MiniEngine::MidiRecorderOperator* recorder = graph ? graph->getRecorder() : nullptr)
        listen(recorder->getCollector(), source);
}

PPort* AudioEngine::allMidiInputs() const
{
    return midi ? midi->getMerged()->getMergedOutput() : nullptr;
}

PPort* AudioEngine::findMidiSource(const std::string& name) const
{
    if (!midi)
        return nullptr;
    for (PMidiInterface* device : midi->getOpenInterfaces())
        if (PPort* port = device->findInputSocket(String(name.c_str())))
            return port;
    return nullptr;
}

PPortRegistry* AudioEngine::getPorts() const
{
    return studio ? studio->getPortRegistry() : nullptr;
}

Baios::DriverDevice* AudioEngine::getDriverDevice() const
{
    PBaiosDevice* device = manager ? manager->getDevice(0) : nullptr;
    return device ? dynamic_cast<Baios::DriverDevice*>(device->getDriver()) : nullptr;
}

std::string AudioEngine::getDriverName() const
{
    PBaiosDevice* device = manager ? manager->getDevice(0) : nullptr;
    return device && device->getDriver() ? std::string(device->getDriver()->getIdentifier())
                                         : std::string();
}

} // namespace Quillmark
