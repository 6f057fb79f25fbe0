// The studio of a run: the port registry that knows every port by name, and the tree of devices
// ("Device Root") whose ports are connected across it: the audio system with the driver's device
// below it, the MIDI interfaces and the merged MIDI input. Whoever assembles the live engine
// owns it, starts it once the devices exist and stops it before they close.
#pragma once

#include "base/fobject.h"
#include "base/fstring.h"

#include <string>
#include <vector>

namespace Quillmark
{

class PDevice;
class PDeviceNode;
class PPortRegistry;

class PStudio : public CmObject
{
    QEL_DECLARE_CLASS(PStudio, CmObject)
public:
    static constexpr const char8* kRootName = "Device Root";

    PStudio();
    /** stop() */
    ~PStudio() override;
    PStudio(const PStudio&) = delete;
    PStudio& operator=(const PStudio&) = delete;

    /** The registry of every port of the run (borrowed). It goes with the studio, so devices
        whose ports it holds must be gone before. */
    PPortRegistry* getPortRegistry() const { return ports; }

    /** Takes a device of the run into the tree, with a reference of its own. Refused for null
        and for a device that is already in a tree. */
    bool addDevice(PDevice* device);
    bool removeDevice(PDevice* device);
    int32 countDevices() const;
    /** The device added `index`th (borrowed), or null. */
    PDevice* getDevice(int32 index) const;
    /** The device of that name anywhere in the tree (borrowed), or null. */
    PDevice* findDevice(const ConstString& name) const;
    /** Every device of the tree, depth first: each device before the devices below it. Devices
        that come and go below another (a driver's device) are found as they are now. */
    std::vector<PDevice*> collectDevices() const;

    /** From here on the devices are in use. */
    void start() { started = true; }
    /** Lets go of every device, which then closes with its owner; the registry stays. */
    void stop();
    bool isStarted() const { return started; }

    /** One line per device ("NAME") and below it one per port ("  in  NAME" for a sink of the
        device, "  out NAME" for a source), as the tree holds them now. */
    std::string describe() const;

private:
    PPortRegistry* ports;
    PDeviceNode* root;
    bool started = false;
};

} // namespace Quillmark
