// What the MIDI interfaces of this system offer, for a listing such as --list-devices: each
// interface with its inputs and outputs, or the reason it is not there. Opens each interface
// for a moment with a registry of its own, so the studio's ports stay untouched.
#pragma once

#include "devices/midi/pmidiinterface.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Quillmark
{

struct MidiDeviceListing
{
    std::string device;     // "ALSA MIDI", "JACK MIDI"
    bool available = false; // false: `problem` says why
    std::string problem;
    std::vector<std::string> inputs;  // ports that play into the host
    std::vector<std::string> outputs; // ports the host plays to
};

/** Both interfaces, ALSA first; an interface that is missing is listed with its reason. */
std::vector<MidiDeviceListing> listMidiDevices(const MidiDriverOptions& options);

/** One line per interface ("MIDI: JACK MIDI"), then one indented line per port ("  in: ..."),
    or the reason the interface is missing. */
void printMidiDevices(std::ostream& out, const std::vector<MidiDeviceListing>& listing);

} // namespace Quillmark
