// The conformity run from the command line: scans the modules, builds the test tree, runs all of
// it or the selected nodes (in this process, or with --isolate one process per class and kind),
// writes the log and the JUnit report and prints one verdict per test. Ctrl-C stops the run
// between two tests.
#pragma once

#include <csignal>
#include <iosfwd>

namespace Quillmark
{

struct CommandLine;

int runTestJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

/** Catches SIGINT for the life of the object, so that a run can stop between two tests; the
    handler before it is restored afterwards. */
class InterruptCatcher
{
public:
    InterruptCatcher();
    ~InterruptCatcher();
    InterruptCatcher(const InterruptCatcher&) = delete;
    InterruptCatcher& operator=(const InterruptCatcher&) = delete;

    /** Whether SIGINT arrived since the catcher was made. */
    static bool interrupted();

private:
    static struct sigaction& previous();
};

} // namespace Quillmark
