// The two directions of a MIDI port. A `PMidiOutput` is a source: it hands events to every port
// connected to it, on the thread the events come from (a MIDI input thread). A `PMidiInput` is
// a sink that takes them. Connections change on the user interface thread; a source keeps the
// receivers it delivers to behind a lock of its own, so delivery never reads a list that is
// being changed. Both are owned by their device.
#pragma once

#include "base/flock.h"
#include "devices/ports/pport.h"

#include <vector>

namespace Quillmark
{

class PEvent;
class IMidiEventReceiver;

/** A sink of MIDI. By default it hands what it receives to its owner, when the owner takes
    MIDI events; devices override `receive`. */
class PMidiInput : public PInput
{
    QEL_DECLARE_CLASS(PMidiInput, PInput)
public:
    PMidiInput(FUnknown* owner, const ConstString& name, const char8* subtype = "virtual",
               uint32 flags = 0);
    /** Leaves every connection while it is still whole, so no source delivers to a half
        destroyed port. */
    ~PMidiInput() override;

    /** On the source's thread; the event is borrowed. */
    virtual void receive(PEvent* event);
};

/** A source of MIDI. */
class PMidiOutput : public POutput
{
    QEL_DECLARE_CLASS(PMidiOutput, POutput)
public:
    PMidiOutput(FUnknown* owner, const ConstString& name, const char8* subtype = "virtual",
                uint32 flags = 0);
    ~PMidiOutput() override;

    /** Hands the event to every connected sink, in the order of connection: a `PMidiInput`
        gets `receive`, any other port of type "midi" whose owner takes MIDI events gets
        `receiveMidiEvent` on its owner. Any thread; the event is borrowed. */
    void deliver(PEvent* event);
    /** How many places `deliver` reaches now. */
    int32 countReceivers() const;

    /** Also forgets the port as a receiver at once: a port that goes away takes itself out of
        its connections without any further notice. */
    bool removeConnection(PPort* other) override;

protected:
    void connectionsChanged() override;

private:
    struct Target
    {
        PPort* port = nullptr;
        PMidiInput* input = nullptr;
        IMidiEventReceiver* receiver = nullptr; // borrowed from the connected port's owner
    };

    mutable FLock targetLock{"PMidiOutput"};
    std::vector<Target> targets;
};

} // namespace Quillmark
