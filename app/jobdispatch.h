// The entry of every command-line mode: reports a usage error, or runs the job that the
// arguments ask for. Called by main with the program's streams; jobs never need a display.
#pragma once

#include <iosfwd>

namespace Quillmark
{

struct CommandLine;

/** Runs the job; answers the exit code. */
int runCommandLine(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

} // namespace Quillmark
