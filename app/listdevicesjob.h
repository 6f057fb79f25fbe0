// --list-devices: the audio drivers this machine offers, each opened once to show its format and
// its ports, and the MIDI ports.
#pragma once

#include <iosfwd>

namespace Quillmark
{

struct CommandLine;

int runListDevicesJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

} // namespace Quillmark
