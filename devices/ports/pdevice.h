// A device of the studio: a node of the device tree that owns its input and output ports. When a
// device goes away, its connections are kept on alias ports until it comes back.
#pragma once

#include "base/fnode.h"
#include "devices/ports/pport.h"

#include <vector>

namespace Quillmark
{

class PPortRegistry;

/** A node of the device tree; a node can be found by its tag, written "[Tag:<number>]". */
class PDeviceNode : public FNode
{
    QEL_DECLARE_CLASS(PDeviceNode, FNode)
public:
    explicit PDeviceNode(const ConstString& name = ConstString(), int32 tag = -1)
        : FNode(name), tag(tag)
    {
    }
    int32 getTag() const { return tag; }
    /** This node or a node below it by tag text "[Tag:n]", or by plain name; null if none. */
    PDeviceNode* findNode(const ConstString& path);

private:
    int32 tag;
};

class PDevice : public PDeviceNode
{
    QEL_DECLARE_CLASS(PDevice, PDeviceNode)
public:
    enum Flags : uint32
    {
        kCanRead = 1u << 0,
        kCanWrite = 1u << 1,
    };

    /** Ports of a hardware device carry bit 6 and start inactive. */
    PDevice(const ConstString& name, bool hardware, PPortRegistry* registry);
    /** Keeps the connections on aliases, then drops the ports. */
    ~PDevice() override;

    /** A port of this device, owned by it and registered. `input` is a sink of the device
        (a playback channel), the others are sources (capture channels). */
    PPort* addPort(const ConstString& name, bool input, const char8* type = "audio");
    /** Adds a port made elsewhere; the device takes over the caller's reference. */
    PPort* adoptPort(PPort* port);

    int32 countInputs() const { return int32(inputs.size()); }
    int32 countOutputs() const { return int32(outputs.size()); }
    PPort* getInput(int32 index) const;
    PPort* getOutput(int32 index) const;
    /** Inputs first, then outputs. */
    std::vector<PPort*> getPorts() const;

    bool isVisible() const { return deviceIsVisible; }
    void setVisible(bool state) { deviceIsVisible = state; }
    uint32 getFlags() const { return flags; }
    void setFlags(uint32 newFlags) { flags = newFlags; }

private:
    PPortRegistry* registry;
    std::vector<PPort*> inputs;
    std::vector<PPort*> outputs;
    bool hardware;
    bool deviceIsVisible = true;
    uint32 flags = kCanRead | kCanWrite;
};

} // namespace Quillmark
