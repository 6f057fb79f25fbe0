#include "app/listdevicesjob.h"

#include "app/commandline.h"
#include "devices/audio/devicelisting.h"
#include "devices/audio/devicemanager.h"
#include "devices/audio/pbaiosmanager.h"
#include "devices/midi/mididevicelist.h"
#include "devices/ports/pstudio.h"
#include "hosting/fcomponentregistry.h"

#include <ostream>

namespace Quillmark
{

int runListDevicesJob(const CommandLine&, std::ostream& out, std::ostream& err)
{
    // The device library is found the way the program finds it at start-up: as the compiled-in
    // class of category "Baios" in the class registry.
    auto* classes = new FComponentRegistry;
    Baios::DeviceManager::registerClass(*classes);
    // The studio of the run, as the live engine has it: its ports and the audio system.
    auto* studio = new PStudio;
    auto* manager = new PBaiosManager(studio->getPortRegistry(), nullptr);
    studio->addDevice(manager);
    studio->start();
    int result = kExitOk;
    if (!manager->initialize(classes))
    {
        err << "Qel3PluginTestHost: " << PBaiosManager::kFailedText << "\n";
        result = kExitFailure;
    }
    else
    {
        out << "Audio drivers:\n";
        printAudioDevices(*manager, out);
        out << "MIDI devices:\n";
        printMidiDevices(out, listMidiDevices(MidiDriverOptions()));
    }
    studio->stop();
    manager->terminate();
    manager->release();
    studio->release();
    classes->release();
    return result;
}

} // namespace Quillmark
