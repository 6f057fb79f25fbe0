// The --play mode: one plug-in class live through an audio driver, the engine assembled as the
// application assembles it, until the time is up, the song ends or Ctrl-C; then the figures of
// the run (driver, format, blocks rendered and skipped, xruns).
#pragma once

#include <iosfwd>

namespace Quillmark
{

struct CommandLine;

int runPlayJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

} // namespace Quillmark
