// The conformity run from the command line: scans the modules, builds the test tree, runs all of
// it or the selected nodes (in this process, or with --isolate one process per class and kind),
// writes the log and the JUnit report and prints one verdict per test. Ctrl-C stops the run
// between two tests. Also the job of a test process that an isolating run starts.
#pragma once

#include <iosfwd>

namespace Quillmark
{

struct CommandLine;

int runTestJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

} // namespace Quillmark
