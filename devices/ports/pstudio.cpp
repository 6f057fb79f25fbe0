#include "devices/ports/pstudio.h"

#include "devices/ports/pdevice.h"
#include "devices/ports/pportregistry.h"

namespace Quillmark
{

namespace
{

void collect(const FNode& node, std::vector<PDevice*>& devices)
{
    for (int32 i = 0; i < node.countChildren(); ++i)
    {
        FNode* child = node.getChild(i);
        if (auto* device = FCast<PDevice>(child))
            devices.push_back(device);
        if (child)
            collect(*child, devices);
    }
}

} // namespace

PStudio::PStudio() : ports(new PPortRegistry), root(new PDeviceNode(String(kRootName))) {}

PStudio::~PStudio()
{
    stop();
    root->release();
    ports->release();
}

bool PStudio::addDevice(PDevice* device)
{
    if (!device || device->getParent())
        return false;
    device->addRef();
    if (root->addChild(device)) // takes over the reference just made
        return true;
    device->release();
    return false;
}

bool PStudio::removeDevice(PDevice* device)
{
    return device && root->removeChild(device);
}

int32 PStudio::countDevices() const
{
    return root->countChildren();
}

PDevice* PStudio::getDevice(int32 index) const
{
    return FCast<PDevice>(root->getChild(index));
}

PDevice* PStudio::findDevice(const ConstString& name) const
{
    for (PDevice* device : collectDevices())
        if (device->getName() == name)
            return device;
    return nullptr;
}

std::vector<PDevice*> PStudio::collectDevices() const
{
    std::vector<PDevice*> devices;
    collect(*root, devices);
    return devices;
}

void PStudio::stop()
{
    root->removeAll();
    started = false;
}

std::string PStudio::describe() const
{
    std::string text;
    for (PDevice* device : collectDevices())
    {
        text += device->getName().toUtf8() + "\n";
        for (int32 i = 0; i < device->countInputs(); ++i)
        {
            String name;
            device->getInput(i)->getName(name);
            text += "  in  " + name.toUtf8() + "\n";
        }
        for (int32 i = 0; i < device->countOutputs(); ++i)
        {
            String name;
            device->getOutput(i)->getName(name);
            text += "  out " + name.toUtf8() + "\n";
        }
    }
    return text;
}

} // namespace Quillmark
