// The parent of an isolating test run: it works out the units of work from the tree (the
// modules' own tests, then each class under the global provider, then each class under the
// local one, the order of a run in one process), starts one test process per unit, watches it
// with the time limit, and turns what each process reports, or how it died, into outcomes and
// log entries. Owned by the front end for one run.
#pragma once

#include "app/isolation/childprocess.h"
#include "app/isolation/isolatedchild.h"
#include "app/isolation/isolationoptions.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Quillmark
{

class ChildReport;
class FAutotestLog;
class FComponentRegistry;

class IsolatedRun
{
public:
    /** All borrowed. `registry` holds the classes of the options' folders. */
    IsolatedRun(const IsolationOptions& options, FComponentRegistry& registry,
                IIsolatedRunObserver& observer);

    /** Runs every unit and writes `log`. A usage error (no class, a path that names no node)
        is told to the observer as a diagnostic. */
    RunEnd run(FAutotestLog& log);
    /** Where the random sequence stood when the last test process ended. */
    uint32 getRandomState() const { return randomState; }

private:
    struct Unit;

    bool planUnits(std::vector<Unit>& units);
    /** Runs the unit, in new processes after each death, until its tests have all been dealt
        with. Answers false when the process found the unit's selection wrong (a usage
        error). */
    bool runUnit(const Unit& unit, const std::string& childLog, FAutotestLog& log);

    /** Runs one test process for `part` of a unit, its records into `report`. */
    ProcessEnd runProcess(const IsolationUnit& part, const std::vector<std::string>& selections,
                          const std::string& childLog, ChildReport& report);

    const IsolationOptions& options;
    FComponentRegistry& registry;
    IIsolatedRunObserver& observer;
    uint32 randomState;
};

} // namespace Quillmark
