// Host-side interfaces of the port system. These are not part of the plug-in standard: their
// identifiers and the order of their operations are this host's own, fixed here, and nothing
// outside the host ever sees them.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{

/** The public face of a port: its system, its kind and whether it may be used. */
class IPort : public FUnknown
{
public:
    /** True when the port belongs to the system `name` ("audio", "midi"). */
    virtual bool isType(const char8* name) const = 0;
    /** True when the port is of the kind `name` ("system", "virtual", "alias", ...). */
    virtual bool isSubtype(const char8* name) const = 0;
    virtual bool isEnabled() const = 0;
    virtual void setEnabled(bool state) = 0;

    QEL_INTERFACE_IID(0x85963968, 0xA86E45F7, 0x952F9EEE, 0xC4D1A1FB);
};

/** A port that brings sample memory of its own, such as a channel of an audio device. A pin
    connected one to one to it reads or writes that memory directly. */
class IAudioBufferPort : public FUnknown
{
public:
    /** The device's samples for the current block, or null while it has none. */
    virtual float* getAudioBuffer() = 0;

    QEL_INTERFACE_IID(0xF423782E, 0xF79A445E, 0x8DF0DD4E, 0xCEA3F23A);
};

/** Hears about the ports of the registry. `port` is borrowed for the call. */
class IPortRegistryNotification : public FUnknown
{
public:
    enum Codes : int32
    {
        kPortRemoved = 100,
        kPortRenamed = 101,
        kPortEnableChanged = 102,
        kPortConnectionsChanged = 103,
    };

    virtual void portNotification(IPort* port, int32 code) = 0;

    QEL_INTERFACE_IID(0xC63CF25F, 0xC9B64DE4, 0x972FCB1A, 0x4F653FE3);
};

} // namespace Quillmark
