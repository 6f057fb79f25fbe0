// What an isolating run is asked to do and what it tells while it runs: the front end (the
// command line, later the test window) fills the options from its own settings and implements
// the observer. Plain declarations, no logic.
#pragma once

#include "conformity/testoutcome.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Quillmark
{

struct IsolationOptions
{
    std::string program;                 // the executable that runs each unit of work
    std::vector<std::string> folders;    // the modules and folders every test process scans
    std::string dataFolder;              // preferences, module cache and test settings of the run
    std::string classFilter;             // only the class of this name or identifier
    std::vector<std::string> selections; // paths of the nodes to run; empty for the whole tree
    double timeoutSeconds = 150.0;       // how long a test may go without progress
    /** Where the random sequence stands as the first test begins; where it always starts
        when not set. Each test process goes on where the one before it left off, so every
        test draws what it would draw in one process. */
    std::optional<uint32> randomState;
    /** Polled while the run goes on; true stops it after the current test. */
    std::function<bool()> stopRequested;

    bool stopping() const { return stopRequested && stopRequested(); }
};

/** How a run, or one test process's part of it, ended. */
enum class RunEnd
{
    kDone,        // every test was dealt with (passed, failed or reported as not run)
    kUsageError,  // no class, or a path that names no node: said on the error stream
    kInterrupted, // stopped on request
};

/** Told of an isolating run's progress, on the thread that runs it. */
class IIsolatedRunObserver
{
public:
    virtual ~IIsolatedRunObserver() = default;
    /** A test begins in some process. */
    virtual void started(const std::string& path, const std::string& suite) = 0;
    /** A test, or a group whose setup or teardown failed, is over; or it did not run. */
    virtual void finished(const TestOutcome& outcome) = 0;
    /** What a test process printed, or what the run says about a process's end. */
    virtual void diagnostic(const std::string& text) = 0;
    /** The number of tests expected changed by `count` (plans replace estimates). */
    virtual void addToTotal(int count) = 0;
    /** Called now and then while a process runs. */
    virtual void tick() {}
};

} // namespace Quillmark
