// The --render mode: one plug-in class played offline through the same graph, rack and
// transport as live play, driven by the offline form of the Null driver as fast as the machine
// allows, and written to a 32-bit float WAV file.
#pragma once

#include <iosfwd>

namespace Quillmark
{

struct CommandLine;

int runRenderJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

} // namespace Quillmark
