#include "devices/midi/mididevicelist.h"

#include "devices/midi/palsamididevice.h"
#include "devices/midi/pjackmididevice.h"
#include "devices/ports/pportregistry.h"

#include <ostream>

namespace Quillmark
{

namespace
{
template <class Device> MidiDeviceListing listOne(const MidiDriverOptions& options, bool present)
{
    MidiDeviceListing listing;
    listing.device = Device::kName;
    if (!present)
    {
        listing.problem = "the ALSA sequencer (/dev/snd/seq) is not present";
        return listing;
    }
    PPortRegistry registry;
    auto* device = new Device(options, &registry);
    listing.available = device->open(&listing.problem);
    if (listing.available)
    {
        for (int32 i = 0; i < device->countInputSockets(); ++i)
            listing.inputs.push_back(device->getInputSocket(i)->getNameText().toUtf8());
        for (int32 i = 0; i < device->countOutputSockets(); ++i)
            listing.outputs.push_back(device->getOutputSocket(i)->getNameText().toUtf8());
    }
    device->close();
    device->release();
    return listing;
}
} // namespace

std::vector<MidiDeviceListing> listMidiDevices(const MidiDriverOptions& options)
{
    std::vector<MidiDeviceListing> all;
    all.push_back(listOne<PAlsaMidiDevice>(options, PAlsaMidiDevice::isSequencerPresent()));
    all.push_back(listOne<PJackMidiDevice>(options, true));
    return all;
}

void printMidiDevices(std::ostream& out, const std::vector<MidiDeviceListing>& listing)
{
    for (const MidiDeviceListing& device : listing)
    {
        out << "MIDI: " << device.device;
        if (!device.available)
        {
            out << " (not available: " << device.problem << ")\n";
            continue;
        }
        out << '\n';
        for (const std::string& name : device.inputs)
            out << "  in:  " << name << '\n';
        for (const std::string& name : device.outputs)
            out << "  out: " << name << '\n';
        if (device.inputs.empty() && device.outputs.empty())
            out << "  (no ports)\n";
    }
}

} // namespace Quillmark
