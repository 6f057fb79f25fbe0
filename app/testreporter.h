// Where the outcomes of a command-line test run go: one verdict line per test on stdout, the
// counts for the closing line, the progress line on a terminal, and the list that the JUnit
// file is written from. Owned by the test job for one run.
#pragma once

#include "app/progressline.h"
#include "conformity/testoutcome.h"

#include <iosfwd>
#include <vector>

namespace Quillmark
{

class TestReporter
{
public:
    TestReporter(std::ostream& out, ProgressLine& progress);

    /** A test begins; shown on the progress line. */
    void started(const std::string& path, const std::string& suite);
    /** A test (or a failed group) is over: its verdict line, unless it did not run. */
    void finished(const TestOutcome& outcome);
    /** Writes `text` to `stream` (stderr, usually) without tearing the progress line. */
    void diagnostic(std::ostream& stream, const std::string& text);

    /** "N passed, N failed". */
    void printSummary();

    int countPassed() const { return passed; }
    int countFailed() const { return failed; }
    int countNotRun() const { return notRun; }
    const std::vector<TestOutcome>& getOutcomes() const { return outcomes; }
    ProgressLine& getProgress() { return progress; }

    /** A path of the tree as a user gives it: without the leading "Root/". */
    static std::string withoutRoot(const std::string& path);
    /** The verdict line of `outcome`, without its newline. */
    static std::string verdictLine(const TestOutcome& outcome);

private:
    std::ostream& out;
    ProgressLine& progress;
    std::vector<TestOutcome> outcomes;
    int passed = 0;
    int failed = 0;
    int notRun = 0;
    int leavesDone = 0;
};

} // namespace Quillmark
