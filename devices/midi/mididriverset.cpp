#include "devices/midi/mididriverset.h"

namespace Quillmark
{

MidiDriverSet::MidiDriverSet(const MidiDriverOptions& options, PPortRegistry* registry)
    : alsa(new PAlsaMidiDevice(options, registry)), jack(new PJackMidiDevice(options, registry)),
      merged(new PMergedMidiInput(registry))
{
}

MidiDriverSet::~MidiDriverSet()
{
    stop(nullptr);
    // The merged input goes first, so its connections leave the sockets while they are whole.
    merged->release();
    jack->release();
    alsa->release();
}

void MidiDriverSet::start(FDefaultPool* pool, std::vector<std::string>* problems)
{
    std::string problem;
    alsaOpen = PAlsaMidiDevice::isSequencerPresent() && alsa->open(&problem);
    if (!alsaOpen && problems)
        problems->push_back(
            std::string(PAlsaMidiDevice::kName) + ": " +
            (problem.empty() ? "the sequencer (/dev/snd/seq) is not present" : problem));
    problem.clear();
    if (!jack->open(&problem) && problems)
        problems->push_back(std::string(PJackMidiDevice::kName) + ": " + problem);
    for (PMidiInterface* device :
         {static_cast<PMidiInterface*>(alsa), static_cast<PMidiInterface*>(jack)})
    {
        if (pool)
            device->restoreSettings(*pool);
        device->setFilter(filter);
    }
    for (PMidiInterface* device : getOpenInterfaces())
        collectInputs(device);
}

void MidiDriverSet::stop(FDefaultPool* pool)
{
    if (pool)
    {
        alsa->storeSettings(*pool);
        jack->storeSettings(*pool);
    }
    alsa->close();
    jack->close();
    alsaOpen = false;
}

void MidiDriverSet::checkDevices()
{
    if (jack->isServerRunning() || jack->checkServer())
        return;
    if (jack->getServerLossCount() == 0 && jack->open())
        collectInputs(jack);
}

void MidiDriverSet::setFilter(MidiSupport::PMidiFilterSetup* newFilter)
{
    filter = newFilter;
    alsa->setFilter(filter);
    jack->setFilter(filter);
}

std::vector<PMidiInterface*> MidiDriverSet::getOpenInterfaces() const
{
    std::vector<PMidiInterface*> open;
    if (alsaOpen)
        open.push_back(alsa);
    if (jack->isServerRunning())
        open.push_back(jack);
    return open;
}

void MidiDriverSet::collectInputs(PMidiInterface* device)
{
    std::vector<PPort*> sources;
    for (int32 i = 0; i < device->countInputSockets(); ++i)
        sources.push_back(device->getInputSocket(i));
    merged->addInputs(sources);
}

} // namespace Quillmark
