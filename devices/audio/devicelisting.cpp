#include "devices/audio/devicelisting.h"

#include "devices/audio/pbaiosmanager.h"

#include <ostream>

namespace Quillmark
{

int printAudioDevices(PBaiosManager& manager, std::ostream& out)
{
    int opened = 0;
    for (int32 i = 0; i < manager.getDriverCount(); ++i)
    {
        const std::string identifier = manager.getDriverIdentifier(i);
        const std::string name = manager.getDriverName(i).toUtf8();
        String error;
        PBaiosDevice* device = manager.selectDevice(identifier.c_str(), error);
        if (!device || !device->getDriver())
        {
            out << name << "\tunavailable\t" << error.toUtf8() << "\n";
            continue;
        }
        ++opened;
        out << name << "\t" << manager.getSampleRate() << " Hz\t" << manager.getBlockSize()
            << " samples\n";
        Baios::IDevice* driver = device->getDriver();
        for (int32 direction : {int32(Baios::kInput), int32(Baios::kOutput)})
            for (int32 p = 0; p < driver->getPortCount(direction); ++p)
                if (Baios::IDevicePort* port = driver->getPort(direction, p))
                    out << "\t" << (direction == Baios::kInput ? "capture" : "playback") << "\t"
                        << port->getName() << "\t" << port->getUniqueName() << "\n";
    }
    String ignored;
    manager.selectDevice("null", ignored);
    return opened;
}

} // namespace Quillmark
