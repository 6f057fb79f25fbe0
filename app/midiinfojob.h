// The MIDI file report: what the host reads from Standard MIDI Files, as it will play them.
#pragma once

#include <iosfwd>
#include <string>

namespace Quillmark
{

struct CommandLine;

int runMidiInfoJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

/** Prints one file; false when nothing at all could be read from it. */
bool printMidiInfo(const std::string& path, std::ostream& out, std::ostream& err);

} // namespace Quillmark
