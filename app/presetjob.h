// The preset modes of the command line: saving a plug-in's state as a preset file, showing what
// a preset file holds, restoring one into a plug-in, and converting a folder of presets to the
// older fxp or fxb form. Each question of the interactive commands is an option here.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace Quillmark
{

struct CommandLine;

/** Runs the preset mode in `commandLine.presetArguments` (the mode's option first). */
int runPresetJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

} // namespace Quillmark
