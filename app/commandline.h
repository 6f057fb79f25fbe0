// The command-line mode of the program: what the arguments ask for, and the jobs that run
// without windows. Results go to stdout, diagnostics to stderr.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace Quillmark
{

struct CommandLine
{
    enum class Job
    {
        kNone,
        kHelp,
        kVersion,
        kList,
        kTest,
        kPreset,
    };

    Job job = Job::kNone;
    std::vector<std::string> folders;
    bool verbose = false;
    std::string configFolder;
    // --test: the class to test (name or identifier), the nodes to run, the log file.
    std::string testClass;
    std::vector<std::string> selections;
    std::string logFile;
    // --test --isolate: each class in a process of its own, killed after `timeoutSeconds`
    // without progress; --junit: the report for CI.
    bool isolate = false;
    double timeoutSeconds = kDefaultTimeoutSeconds;
    std::string junitFile;
    // Given by an isolating run to its test processes only: what to run and where to report.
    std::string childUnit;
    int reportFd = -1;
    // The preset modes: the mode's option and everything after it, read by the preset job.
    std::vector<std::string> presetArguments;
    std::string error; // a usage error, naming the wrong argument

    static constexpr double kDefaultTimeoutSeconds = 150.0;

    /** Reads the arguments; on a usage error `error` is set. */
    static CommandLine parse(int argc, const char* const argv[]);
};

/** Exit codes. */
enum ExitCode : int
{
    kExitOk = 0,
    kExitFailure = 1,
    kExitUsage = 2,
    kExitInterrupted = 130, // a run stopped by Ctrl-C, as shells report SIGINT
};

void printUsage(std::ostream& out);

/** Runs the job; answers the exit code. */
int runCommandLine(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

} // namespace Quillmark
