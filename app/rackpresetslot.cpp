#include "app/rackpresetslot.h"

#include "engine/qelrack.h"
#include "engine/qelslot.h"
#include "engine/qelslotoperator.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/qeleditcontroller.h"

namespace Quillmark
{

bool RackPresetSlot::getPlugIn(PresetPlugIn& plugIn)
{
    MiniEngine::QelSlot* slot = rack.getSlot(0);
    if (!slot || !slot->getOperator() || !slot->getOperator()->getComponent())
        return false;
    plugIn.classId = slot->getClassId();
    if (FComponentDescription* description = registry.findByCid(plugIn.classId))
    {
        plugIn.className = description->getName().toUtf8();
        plugIn.vendor = description->getVendor().toUtf8();
        plugIn.subCategories = description->subCategories.toUtf8();
    }
    plugIn.component = slot->getOperator()->getComponent();
    plugIn.controller = slot->getEditPart() ? slot->getEditPart()->getController() : nullptr;
    return true;
}

} // namespace Quillmark
