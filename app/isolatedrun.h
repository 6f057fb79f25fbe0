// The parent of an isolating test run: it works out the units of work from the tree (the
// modules' own tests, then each class under the global provider, then each class under the
// local one, the order of a run in one process), starts one test process per unit, watches it
// with the time limit, and turns what each process reports, or how it died, into outcomes and
// log entries. Owned by the test job for one run.
#pragma once

#include "app/childprocess.h"
#include "app/isolatedchild.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Quillmark
{

class ChildReport;
class FAutotestLog;
class FComponentRegistry;
class TestReporter;
struct CommandLine;

class IsolatedRun
{
public:
    /** All borrowed. `program` is the executable that runs each unit. */
    IsolatedRun(const CommandLine& commandLine, FComponentRegistry& registry,
                TestReporter& reporter, std::ostream& err, std::string program);

    /** Runs every unit over `folders` and writes `log`; answers kExitOk, kExitUsage (no
        class, a path that names no node) or kExitInterrupted. Failed tests are counted by
        the reporter. */
    int run(const std::vector<std::string>& folders, FAutotestLog& log);

private:
    struct Unit;

    bool planUnits(std::vector<Unit>& units);
    /** Runs the unit, in new processes after each death, until its tests have all been dealt
        with. Answers false when the process found the unit's selection wrong (a usage
        error). */
    bool runUnit(const Unit& unit, const std::vector<std::string>& folders,
                 const std::string& childLog, FAutotestLog& log);

    /** Runs one test process for `part` of a unit, its records into `report`. */
    ProcessEnd runProcess(const IsolationUnit& part, const std::vector<std::string>& selections,
                          const std::vector<std::string>& folders, const std::string& childLog,
                          ChildReport& report);

    const CommandLine& commandLine;
    FComponentRegistry& registry;
    TestReporter& reporter;
    std::ostream& err;
    std::string program;
};

} // namespace Quillmark
