// The rack engine: the ordered list of slots, each one plug-in playing in the graph. It loads a
// class into a new slot, routes it as it was routed last time, and takes slots down in their
// fixed order. Created once by the application, which owns it; lives on the user interface
// thread.
#pragma once

#include "base/fdefaults.h"
#include "base/fuid.h"

#include <string>
#include <vector>

namespace Quillmark
{
class FComponentRegistry;
class PPortRegistry;

namespace MiniEngine
{
class AudioGraph;
class QelSlot;

class QelRack : public CmObject
{
    QEL_DECLARE_CLASS(QelRack, CmObject)
public:
    /** `graph` and `registry` get references of their own; `settings` is borrowed and keeps
        the routing (may be null: nothing is kept). */
    QelRack(AudioGraph* graph, FComponentRegistry* registry, FDefaultPool* settings,
            PPortRegistry* portRegistry = nullptr);
    /** Takes every slot down. */
    ~QelRack() override;

    /** Loads the class into a new slot at the end of the graph; null with `problem` set when
        the class cannot be made or has no audio output. */
    QelSlot* addSlot(const FUID& classId, std::string* problem = nullptr);
    /** Saves the routing, closes the window, cuts the path of values, takes the operator out
        of the graph; with `forget` the slot is also dropped from the rack. */
    void removeSlot(QelSlot* slot, bool forget);
    void removeAllSlots();

    int32 countSlots() const { return int32(slots.size()); }
    QelSlot* getSlot(int32 index) const;
    AudioGraph* getAudioGraph() const { return audioGraph; }

private:
    void takeDown(QelSlot* slot);

    AudioGraph* audioGraph;
    FComponentRegistry* registry;
    FDefaultPool* settings;
    PPortRegistry* portRegistry;
    std::vector<QelSlot*> slots; // owned
};

} // namespace MiniEngine
} // namespace Quillmark
