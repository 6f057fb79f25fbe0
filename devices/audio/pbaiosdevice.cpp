#include "devices/audio/pbaiosdevice.h"

#include "base/fdefaults.h"

namespace Quillmark
{

PBaiosDevicePort::PBaiosDevicePort(FUnknown* owner, Baios::IDevicePort* port, bool playbackPort)
    : PPort(owner, ConstString(port ? port->getName() : ""), "audio", "system",
            uint32(kHardware) | (playbackPort ? uint32(kInputPin) : 0u))
{
    setDriverPort(port);
}

PBaiosDevicePort::~PBaiosDevicePort()
{
    setDriverPort(nullptr);
}

void PBaiosDevicePort::setDriverPort(Baios::IDevicePort* port)
{
    if (port == driverPort)
        return;
    if (port)
    {
        port->addRef();
        driverName = String(port->getUniqueName());
        // The driver hears at once whether anything uses the channel.
        port->setActive(!isInactive());
    }
    if (driverPort)
        driverPort->release();
    driverPort = port;
}

void PBaiosDevicePort::activeChanged(bool active)
{
    if (driverPort)
        driverPort->setActive(active);
}

tresult PBaiosDevicePort::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IAudioBufferPort)
    return PPort::queryInterface(iid, obj);
}

PBaiosDevice::PBaiosDevice(const ConstString& name, Baios::IDevice* newDriver,
                           PPortRegistry* registry)
    : PDevice(name, true, registry)
{
    setDriver(newDriver);
}

PBaiosDevice::~PBaiosDevice()
{
    if (driver)
        driver->release();
    driver = nullptr;
}

void PBaiosDevice::unplug()
{
    for (PBaiosDevicePort* port : playback)
        port->setDriverPort(nullptr);
    for (PBaiosDevicePort* port : capture)
        port->setDriverPort(nullptr);
    if (driver)
        driver->release();
    driver = nullptr;
}

void PBaiosDevice::setDriver(Baios::IDevice* newDriver)
{
    if (newDriver)
        newDriver->addRef();
    if (driver)
        driver->release();
    driver = newDriver;
    bindPorts();
}

void PBaiosDevice::rebuildPorts()
{
    bindPorts();
}

void PBaiosDevice::bindPorts()
{
    if (!driver)
        return;
    for (int32 direction : {int32(Baios::kInput), int32(Baios::kOutput)})
    {
        auto& list = direction == Baios::kOutput ? playback : capture;
        std::vector<bool> bound(list.size(), false);
        const int32 count = driver->getPortCount(direction);
        for (int32 i = 0; i < count; ++i)
        {
            Baios::IDevicePort* channel = driver->getPort(direction, i);
            if (!channel)
                continue;
            const String unique(channel->getUniqueName());
            PBaiosDevicePort* match = nullptr;
            for (size_t p = 0; p < list.size() && !match; ++p)
                if (!bound[p] && list[p]->getDriverName() == unique)
                {
                    match = list[p];
                    bound[p] = true;
                }
            if (match)
            {
                match->setDriverPort(channel);
                continue;
            }
            auto* port = new PBaiosDevicePort(this, channel, direction == Baios::kOutput);
            port->setRole(channel->getRole());
            adoptPort(port);
            list.push_back(port);
            bound.push_back(true);
            systemPorts = true;
        }
        // A channel the driver no longer has keeps its port, without memory.
        for (size_t p = 0; p < list.size(); ++p)
            if (!bound[p])
            {
                list[p]->setDriverPort(nullptr);
                portsRemoved = true;
            }
    }
    externallyClocked = driver->isExternallyClocked();
}

void PBaiosDevice::saveSettings(FDefaultPool& pool) const
{
    const std::string section = getName().toUtf8();
    FDefaults* values = pool.lookup(section.c_str());
    if (!values)
        return;
    values->setInt("ClockSourceIndex", clockSourceIndex);
    values->setInt("DirectMonitor", directMonitor ? 1 : 0);
    values->setInt("ExternallyClocked", externallyClocked ? 1 : 0);
}

void PBaiosDevice::restoreSettings(FDefaultPool& pool)
{
    const std::string section = getName().toUtf8();
    const std::string older = "QelAudioDevice\\" + section;
    if (FDefaults* values = pool.lookup(section.c_str(), 1, false))
    {
        clockSourceIndex = int32(values->getInt("ClockSourceIndex", 0));
        directMonitor = values->getInt("DirectMonitor", 0) == 1;
    }
    else if (FDefaults* old = pool.lookup(older.c_str(), 1, false))
    {
        directMonitor = old->getInt("DirectMonitor", 0) == 1;
        pool.removeGroup(older.c_str());
    }
    if (driver)
    {
        if (clockSourceIndex >= 0 && clockSourceIndex < driver->getClockSourceCount())
            driver->setClockSource(clockSourceIndex);
        driver->setDirectMonitor(directMonitor);
        externallyClocked = driver->isExternallyClocked();
    }
}

} // namespace Quillmark
