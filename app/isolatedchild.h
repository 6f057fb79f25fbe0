// The test process of an isolating run: started by the parent with a unit of work (the tests of
// the modules, or one class under one kind of provider), it builds that part of the tree, runs
// it and reports every step over a pipe, and notes a fatal signal or an uncaught exception
// there before it dies. Everything it writes to stdout and stderr goes to the parent.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>

namespace Quillmark
{

struct CommandLine;

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

/** Runs the unit named by the command line's hidden child options; answers the exit code. */
int runIsolatedChild(const CommandLine& commandLine, std::ostream& err);

} // namespace Quillmark
