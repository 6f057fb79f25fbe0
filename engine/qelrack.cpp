#include "engine/qelrack.h"

#include "devices/ports/pportregistry.h"
#include "engine/audiograph.h"
#include "engine/qelslot.h"
#include "engine/qelslotoperator.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/qelcomponent.h"

#include <algorithm>

namespace Quillmark
{
namespace MiniEngine
{

QelRack::QelRack(AudioGraph* graph, FComponentRegistry* registry, FDefaultPool* settings,
                 PPortRegistry* portRegistry)
    : audioGraph(graph), registry(registry), settings(settings),
      portRegistry(portRegistry ? portRegistry : PPortRegistry::instance())
{
    audioGraph->addRef();
    registry->addRef();
}

QelRack::~QelRack()
{
    removeAllSlots();
    audioGraph->release();
    registry->release();
}

QelSlot* QelRack::getSlot(int32 index) const
{
    return index >= 0 && index < int32(slots.size()) ? slots[size_t(index)] : nullptr;
}

QelSlot* QelRack::addSlot(const FUID& classId, std::string* problem)
{
    Qel::QelComponent* plugin = Qel::QelComponent::create(*registry, classId);
    if (!plugin)
    {
        if (problem)
            *problem = "the class cannot be made";
        return nullptr;
    }
    auto* slotOperator = new QelSlotOperator;
    slotOperator->setPortRegistry(portRegistry);
    const String name = plugin->getDescription() ? plugin->getDescription()->getName() : String();
    if (!slotOperator->attach(plugin->getComponent(), name))
    {
        if (problem)
            *problem = slotOperator->getProblem();
        slotOperator->release();
        plugin->release();
        return nullptr;
    }
    auto* slot = new QelSlot(plugin, slotOperator, *registry, settings, portRegistry);
    slots.push_back(slot);
    slotOperator->setParamListener(slot);
    // The graph takes over the reference made here; the slot holds one of its own.
    audioGraph->addOperator(slotOperator);
    slot->restoreRouting();
    plugin->release();
    return slot;
}

void QelRack::takeDown(QelSlot* slot)
{
    slot->saveRouting();
    if (QelSlotObserver* view = slot->getController())
    {
        view->slotClosing();
        slot->setController(nullptr);
    }
    QelSlotOperator* slotOperator = slot->getOperator();
    slotOperator->setParamListener(nullptr);
    if (audioGraph->removeOperator(slotOperator))
        slotOperator->release(); // the graph's reference, given back by the removal
    slot->leaveIdle();
}

void QelRack::removeSlot(QelSlot* slot, bool forget)
{
    const auto found = std::find(slots.begin(), slots.end(), slot);
    if (found == slots.end())
        return;
    takeDown(slot);
    if (forget)
    {
        slots.erase(found);
        slot->release();
    }
}

void QelRack::removeAllSlots()
{
    for (QelSlot* slot : slots)
        takeDown(slot);
    std::vector<QelSlot*> gone;
    gone.swap(slots);
    for (QelSlot* slot : gone)
        slot->release();
}

} // namespace MiniEngine
} // namespace Quillmark
