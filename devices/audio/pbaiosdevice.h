// An open (or unplugged) driver shown in the port system: PBaiosDevice is the PDevice of one
// driver, PBaiosDevicePort one of its channels. The ports outlive the driver, so connections
// survive while the device is away. PBaiosManager owns the devices; a device owns its ports.
#pragma once

#include "devices/ports/pdevice.h"
#include "qelhost/ibaios.h"

#include <vector>

namespace Quillmark
{

class FDefaultPool;

class PBaiosDevicePort : public PPort, public IAudioBufferPort
{
    QEL_DECLARE_CLASS(PBaiosDevicePort, PPort)
public:
    /** A playback channel of the driver is a sink of the device (an input pin). */
    PBaiosDevicePort(FUnknown* owner, Baios::IDevicePort* driverPort, bool playback);
    ~PBaiosDevicePort() override;

    /** Takes a reference to the new driver port, or none with null (the device is away). */
    void setDriverPort(Baios::IDevicePort* port);
    Baios::IDevicePort* getDriverPort() const { return driverPort; }
    const String& getDriverName() const { return driverName; }
    /** True when a connection uses the port, as the driver sees it; safe on any thread. */
    bool isUsed() const { return driverPort && driverPort->isActive(); }

    // IAudioBufferPort
    float* getAudioBuffer() override { return driverPort ? driverPort->getBuffer() : nullptr; }

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return PPort::addRef(); }
    uint32 release() override { return PPort::release(); }

protected:
    void activeChanged(bool active) override;

private:
    Baios::IDevicePort* driverPort = nullptr; // one reference
    String driverName;
};

class PBaiosDevice : public PDevice
{
    QEL_DECLARE_CLASS(PBaiosDevice, PDevice)
public:
    /** Takes its own reference to `driver` and builds a port per driver channel. */
    PBaiosDevice(const ConstString& name, Baios::IDevice* driver, PPortRegistry* registry);
    ~PBaiosDevice() override;

    /** Null while the device is unplugged. */
    Baios::IDevice* getDriver() const { return driver; }
    /** Drops the driver; the ports stay, without buffers. */
    void unplug();
    /** A driver again (the same device came back, or a reset): the ports are bound to its
        channels by unique name, channels without a port get one. */
    void setDriver(Baios::IDevice* newDriver);
    /** Binds every port to the driver's channel of the same unique name again. */
    void rebuildPorts();

    /** The playback channels, in order; read by the handler on the driver's thread while the
        device is started, so changed only while it is stopped. */
    int32 countPlaybackPorts() const { return int32(playback.size()); }
    PBaiosDevicePort* getPlaybackPort(int32 index) const { return playback[size_t(index)]; }

    bool isExternallyClocked() const { return externallyClocked; }
    bool hasSystemPorts() const { return systemPorts; }

    /** Writes "ClockSourceIndex", "DirectMonitor", "ExternallyClocked" to the device's own
        section. */
    void saveSettings(FDefaultPool& pool) const;
    /** Reads them back; the older section "QelAudioDevice\<name>" when the new one is
        missing, which is deleted afterwards. */
    void restoreSettings(FDefaultPool& pool);

private:
    void bindPorts();

    Baios::IDevice* driver = nullptr; // one reference
    bool externallyClocked = false;
    bool portsRemoved = false;
    bool systemPorts = false;
    int32 clockSourceIndex = 0;
    bool directMonitor = false;
    std::vector<PBaiosDevicePort*> playback; // not owned; the PDevice holds them
    std::vector<PBaiosDevicePort*> capture;  // not owned
};

} // namespace Quillmark
