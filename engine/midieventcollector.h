// The MIDI side of whatever takes live MIDI in the engine: one port per event input, named
// "MidiEventCollectorInput" in the system "midi", that a MIDI source connects to. What a source
// sends to the port goes, on the source's thread, into the QelEventInput behind it, which the
// audio thread empties once per block. Made by a slot operator for its event inputs and by the
// recorder at activation; the maker owns it and the QelEventInputs stay the maker's.
#pragma once

#include "base/fobject.h"
#include "devices/ports/pport.h"
#include "engine/midiconversion.h"
#include "qelhost/imidieventreceiver.h"

#include <vector>

namespace Quillmark
{
class PEvent;
class PPortRegistry;

namespace MiniEngine
{
class QelEventInput;
}

namespace MidiSupport
{

/** One port of a collector: a sink of the "midi" system. A MIDI source hands it its events
    through IMidiEventReceiver, so that each port of a collector gets only its own. */
class MidiEventCollectorInput : public PInput, public IMidiEventReceiver
{
    QEL_DECLARE_CLASS(MidiEventCollectorInput, PInput)
public:
    static constexpr const char8* kPortName = "MidiEventCollectorInput";

    MidiEventCollectorInput(FUnknown* owner, int32 collectionIndex,
                            MiniEngine::QelEventInput* target);

    int32 getCollectionIndex() const { return collectionIndex; }
    MiniEngine::QelEventInput* getTarget() const { return target; }
    /** From a MIDI thread: the event is borrowed, a copy of its message is kept. */
    void receive(PEvent* event);
    void receive(const MiniEngine::MidiMessage& message);

    // IMidiEventReceiver, on the source's thread
    void receiveMidiEvent(PEvent* event) override { receive(event); }
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return PInput::addRef(); }
    uint32 release() override { return PInput::release(); }

private:
    int32 collectionIndex;
    MiniEngine::QelEventInput* target; // borrowed from the maker
};

class MidiEventCollector : public CmObject
{
    QEL_DECLARE_CLASS(MidiEventCollector, CmObject)
public:
    /** One registered port per target, named after `ownerName` (the middle part of its unique
        name). Port n is connected to MIDI source number n of the registry in display order,
        if that many sources exist. `registry` null means the process-wide one. */
    MidiEventCollector(const ConstString& ownerName,
                       const std::vector<MiniEngine::QelEventInput*>& targets,
                       PPortRegistry* registry = nullptr, bool connectSources = true);
    ~MidiEventCollector() override;

    int32 countInputs() const { return int32(inputs.size()); }
    MidiEventCollectorInput* getInput(int32 index) const;
    /** Connects input `index` to `source` alone; null leaves it unconnected. */
    void setPort(int32 index, PPort* source);

    /** The MIDI sources of `registry` in display order. */
    static std::vector<PPort*> midiSources(PPortRegistry& registry);

private:
    std::vector<MidiEventCollectorInput*> inputs; // owned
};

} // namespace MidiSupport
} // namespace Quillmark
