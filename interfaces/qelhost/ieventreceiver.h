// Host-side interfaces through which events and parameter values reach a playing plug-in and
// come back from it. Not part of the plug-in standard: their identifiers and the order of their
// operations are this host's own, fixed here.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{
namespace MiniEngine
{

class EventList;

/** Takes the timed events of a block for a plug-in, on the audio thread. */
class IEventReceiver : public FUnknown
{
public:
    /** True when the events were taken (a full queue may still drop some). */
    virtual bool receiveEvents(EventList& list) = 0;
    /** Drops what is queued. */
    virtual void flush() = 0;

    QEL_INTERFACE_IID(0xF776A159, 0x145949D0, 0x9DC75DBB, 0xF0D9132B);
};

/** Turns MIDI controllers and program changes into parameter changes of a plug-in. */
class IControllerReceiver : public FUnknown
{
public:
    /** True when the change was dropped. */
    virtual bool midiController(int32 sampleOffset, int32 controller, int32 channel,
                                double value) = 0;
    /** True when the change was dropped. */
    virtual bool programChange(int32 sampleOffset, int32 channel, double value) = 0;

    QEL_INTERFACE_IID(0x597E6C15, 0x598845D8, 0x9143145D, 0xF3A4BCDE);
};

/** Hears the parameter values a plug-in reports from its process call, on the audio thread. */
class IParamListener : public FUnknown
{
public:
    virtual void parameterChanged(int32 id, double value) = 0;

    QEL_INTERFACE_IID(0x15A20AF7, 0x0DDE4F2F, 0xAAA00176, 0xC6DBEFD0);
};

/** Only its presence counts: a component that offers it gets MIDI controllers as events of
    type kLegacyMIDICCOutEvent instead of parameter changes. */
class IMidiControllerInput : public FUnknown
{
public:
    QEL_INTERFACE_IID(0x0C049E5B, 0x0B2C45D8, 0xA1089AF0, 0x636C1A58);
};

} // namespace MiniEngine
} // namespace Quillmark
