// The information pages on the command line: every audio class of the modules found, created
// once, its page printed, and with --generic the parameters of its generic editor.
#pragma once

#include <iosfwd>

namespace Quillmark
{

struct CommandLine;

int runInfoJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

} // namespace Quillmark
