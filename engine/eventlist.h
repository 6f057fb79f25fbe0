// The events of one block for a plug-in: a fixed array in one object, so that adding is a plain
// copy and the audio thread never allocates. Owned by the operator that feeds the plug-in.
#pragma once

#include "base/fobject.h"
#include "qel3/ievents.h"

namespace Quillmark
{
namespace MiniEngine
{

/** The result of a full list or queue; the standard's code for "out of memory". */
inline constexpr tresult kOutOfMemory = static_cast<tresult>(0x8007000Eu);

class EventList : public CmObject, public Qel::IEventList
{
    QEL_DECLARE_CLASS(EventList, CmObject)
public:
    static constexpr int32 kCapacity = 4096;
    /** One place always stays free: the list holds at most this many events. */
    static constexpr int32 kMaxEvents = kCapacity - 1;

    /** Empties the list; nothing on the plug-in's side is told. */
    void clear() { count = 0; }
    bool isEmpty() const { return count == 0; }
    /** The event at `index`, unchecked; for the host's own readers. */
    const Qel::Event& at(int32 index) const { return events[index]; }

    // IEventList
    int32 getEventCount() override { return count; }
    /** kResultFalse for an index out of range. */
    tresult getEvent(int32 index, Qel::Event& e) override;
    /** kOutOfMemory once the list holds kMaxEvents. */
    tresult addEvent(Qel::Event& e) override;

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    Qel::Event events[kCapacity]{};
    int32 count = 0;
};

} // namespace MiniEngine
} // namespace Quillmark
