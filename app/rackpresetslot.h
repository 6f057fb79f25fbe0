// The rack's first slot as the preset commands see it: whatever plug-in slot 0 holds at the
// moment of the command, or none. Owned by the application; borrows the rack and the registry.
#pragma once

#include "app/presetactions.h"

namespace Quillmark
{

class FComponentRegistry;

namespace MiniEngine
{
class QelRack;
}

class RackPresetSlot : public IPresetSlot
{
public:
    RackPresetSlot(MiniEngine::QelRack& rack, FComponentRegistry& registry)
        : rack(rack), registry(registry)
    {
    }
    bool getPlugIn(PresetPlugIn& plugIn) override;

private:
    MiniEngine::QelRack& rack;
    FComponentRegistry& registry;
};

} // namespace Quillmark
