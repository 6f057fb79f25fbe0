#include "devices/ports/pdevice.h"

#include "devices/ports/pportregistry.h"

#include <cstdlib>
#include <string>

namespace Quillmark
{

PDeviceNode* PDeviceNode::findNode(const ConstString& path)
{
    const std::string text = path.toUtf8();
    static constexpr char prefix[] = "[Tag:";
    if (text.rfind(prefix, 0) == 0 && text.size() > sizeof(prefix) && text.back() == ']')
    {
        const std::string number = text.substr(sizeof(prefix) - 1, text.size() - sizeof(prefix));
        char* end = nullptr;
        const long wanted = std::strtol(number.c_str(), &end, 10);
        if (end && *end == '\0' && !number.empty())
        {
            if (tag == wanted)
                return this;
            for (int32 i = 0; i < countChildren(); ++i)
                if (auto* child = FCast<PDeviceNode>(getChild(i)))
                    if (PDeviceNode* found = child->findNode(path))
                        return found;
            return nullptr;
        }
    }
    if (getName() == path)
        return this;
    for (int32 i = 0; i < countChildren(); ++i)
        if (auto* child = FCast<PDeviceNode>(getChild(i)))
            if (PDeviceNode* found = child->findNode(path))
                return found;
    return nullptr;
}

PDevice::PDevice(const ConstString& name, bool hardware, PPortRegistry* registry)
    : PDeviceNode(name), registry(registry), hardware(hardware)
{
}

PDevice::~PDevice()
{
    if (registry)
        registry->keepConnections(getPorts());
    for (PPort* port : getPorts())
    {
        port->disconnectAll();
        port->release();
    }
}

PPort* PDevice::addPort(const ConstString& name, bool input, const char8* type)
{
    const uint32 portFlags =
        (input ? uint32(PPort::kInputPin) : 0u) | (hardware ? uint32(PPort::kHardware) : 0u);
    return adoptPort(new PPort(this, name, type, hardware ? "system" : "virtual", portFlags));
}

PPort* PDevice::adoptPort(PPort* port)
{
    if (!port)
        return nullptr;
    port->setDeviceName(getName());
    (port->isInputPin() ? inputs : outputs).push_back(port);
    if (registry)
    {
        registry->addPort(port);
        registry->portAppeared(port);
    }
    return port;
}

PPort* PDevice::getInput(int32 index) const
{
    return index >= 0 && index < int32(inputs.size()) ? inputs[size_t(index)] : nullptr;
}

PPort* PDevice::getOutput(int32 index) const
{
    return index >= 0 && index < int32(outputs.size()) ? outputs[size_t(index)] : nullptr;
}

std::vector<PPort*> PDevice::getPorts() const
{
    std::vector<PPort*> all = inputs;
    all.insert(all.end(), outputs.begin(), outputs.end());
    return all;
}

} // namespace Quillmark
