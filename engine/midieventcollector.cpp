#include "engine/midieventcollector.h"

#include "devices/ports/pportregistry.h"
#include "engine/qeleventinput.h"

#include <algorithm>

namespace Quillmark
{
namespace MidiSupport
{

MidiEventCollectorInput::MidiEventCollectorInput(FUnknown* owner, int32 collectionIndex,
                                                 MiniEngine::QelEventInput* target)
    : PInput(owner,
             collectionIndex == 0 ? String(kPortName)
                                  : String(kPortName).append(" ").append(
                                        std::to_string(collectionIndex + 1).c_str()),
             "midi", "virtual"),
      collectionIndex(collectionIndex), target(target)
{
}

tresult MidiEventCollectorInput::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IMidiEventReceiver)
    return PInput::queryInterface(iid, obj);
}

void MidiEventCollectorInput::receive(PEvent* event)
{
    if (target && isEnabled())
        target->receive(event);
}

void MidiEventCollectorInput::receive(const MiniEngine::MidiMessage& message)
{
    if (target && isEnabled())
        target->receive(message);
}

MidiEventCollector::MidiEventCollector(const ConstString& ownerName,
                                       const std::vector<MiniEngine::QelEventInput*>& targets,
                                       PPortRegistry* registry, bool connectSources)
{
    if (!registry)
        registry = PPortRegistry::instance();
    for (size_t i = 0; i < targets.size(); ++i)
    {
        auto* input = new MidiEventCollectorInput(this, int32(i), targets[i]);
        input->setDeviceName(ownerName);
        registry->addPort(input);
        inputs.push_back(input);
    }
    if (!connectSources)
        return;
    const std::vector<PPort*> sources = midiSources(*registry);
    for (size_t i = 0; i < inputs.size() && i < sources.size(); ++i)
        inputs[i]->connect(sources[i]);
}

MidiEventCollector::~MidiEventCollector()
{
    for (MidiEventCollectorInput* input : inputs)
    {
        input->disconnectAll();
        input->release();
    }
}

MidiEventCollectorInput* MidiEventCollector::getInput(int32 index) const
{
    return index >= 0 && index < int32(inputs.size()) ? inputs[size_t(index)] : nullptr;
}

void MidiEventCollector::setPort(int32 index, PPort* source)
{
    MidiEventCollectorInput* input = getInput(index);
    if (!input)
        return;
    input->disconnectAll();
    if (source)
        input->connect(source);
}

std::vector<PPort*> MidiEventCollector::midiSources(PPortRegistry& registry)
{
    std::vector<PPort*> sources;
    for (int32 i = 0; i < registry.getPortCount(); ++i)
    {
        PPort* port = registry.getPort(i);
        if (port && port->isType("midi") && !port->isInputPin() &&
            !FCast<MidiEventCollectorInput>(static_cast<FObject*>(port)))
            sources.push_back(port);
    }
    std::stable_sort(sources.begin(), sources.end(),
                     [](PPort* a, PPort* b) { return PPortRegistry::comparePorts(*a, *b) < 0; });
    return sources;
}

} // namespace MidiSupport
} // namespace Quillmark
