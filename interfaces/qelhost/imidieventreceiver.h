// Host-side interface of whatever takes the MIDI events of an input port, such as the collector
// of a playing plug-in. Not part of the plug-in standard: its identifier and the order of its
// operations are this host's own, fixed here.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{

class PEvent;

/** Takes MIDI events from a port on the port's own thread (a MIDI input thread). */
class IMidiEventReceiver : public FUnknown
{
public:
    /** `event` is borrowed for the call; a receiver that keeps it adds a reference or copies. */
    virtual void receiveMidiEvent(PEvent* event) = 0;

    QEL_INTERFACE_IID(0x3B8F1D62, 0x9E4A4C07, 0xB15D2A70, 0x6C93E41F);
};

} // namespace Quillmark
