// Command-line jobs over the conformity tree that run no test: --list-tests prints what a run
// would run, with the enabled flags from "TestSettings.bin", without making a plug-in instance;
// --enable and --disable change those flags for the runs that follow.
#pragma once

#include <iosfwd>

namespace Quillmark
{

struct CommandLine;

int runListTestsJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);
int runTestSettingsJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

} // namespace Quillmark
