// The test process of an isolating run: started by the parent with a unit of work (the tests of
// the modules, or one class under one kind of provider), it builds that part of the tree, runs
// it and reports every step over a pipe, and notes a fatal signal or an uncaught exception
// there before it dies. Everything it writes to stdout and stderr goes to the parent.
#pragma once

#include "app/isolation/isolationoptions.h"

#include "qel3/qeltypes.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace Quillmark
{

class FComponentRegistry;

/** The exit statuses of a test process that the parent tells apart (those of the program). */
enum ChildExit : int
{
    kChildDone = 0,
    kChildUsageError = 2,
    kChildInterrupted = 130,
};

/** What a test process runs: "tests" (the modules' own tests), "global:CID" or "local:CID",
    followed by ">PATH" when it goes on after the test at PATH. */
struct IsolationUnit
{
    enum Kind
    {
        kModuleTests,
        kGlobal,
        kLocal,
    };
    Kind kind = kModuleTests;
    std::string cid; // the class identifier text, for kGlobal and kLocal
    /** When a process of the unit died: the last test it dealt with. The next process runs
        only the tests after it. Empty for a whole run. */
    std::string resumeAfter;

    std::string toString() const;
    static std::optional<IsolationUnit> parse(const std::string& text);
    /** "Global Instance" or "Local Instances"; empty for the modules' tests. */
    const char* kindName() const;
};

/** What the parent asks of a test process, from its hidden options. */
struct ChildRequest
{
    std::string unit; // IsolationUnit::toString
    int reportFd = -1;
    std::string logFile;
    std::vector<std::string> selections; // below the unit's class group
    std::function<bool()> stopRequested;
    /** Where the random sequence stands as the first test begins; as it stands when not set. */
    std::optional<uint32> randomState;
};

/** The test process's side: it reports over the pipe and notes a fatal end there. */
class IsolatedChild
{
public:
    explicit IsolatedChild(ChildRequest request) : request(std::move(request)) {}

    /** Reads the unit and installs the handlers that report a fatal signal or an uncaught
        exception; false, with `problem` set, when the unit cannot be read. Called before the
        scan, so that a module that crashes while it is loaded is reported too. */
    bool prepare(std::string& problem);
    /** Runs the unit over `registry` (borrowed); a usage error is said on `err`. */
    RunEnd run(FComponentRegistry& registry, std::ostream& err);

private:
    ChildRequest request;
    IsolationUnit unit;
};

} // namespace Quillmark
