// What the parent makes of one test process: the tests it planned, the node running at each
// moment, the outcomes it sent; and, when the process ends before its run is over, the failed
// test that takes the blame and the planned tests that never ran. One per child process.
#pragma once

#include "app/isolation/childprocess.h"
#include "app/isolation/reportrecord.h"
#include "conformity/testoutcome.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Quillmark
{

class ChildReport
{
public:
    struct Listener
    {
        std::function<void(const std::string& path, const std::string& suite)> planned;
        std::function<void(const std::string& path, const std::string& suite)> started;
        std::function<void(const TestOutcome& outcome)> finished;
    };

    /** `unitPath` names the whole unit of work, e.g. a class's group, for a process that dies
        before it has planned anything. */
    ChildReport(std::string unitPath, Listener listener);

    /** One record, received at `now` (seconds on any steady clock). */
    void receive(const ReportRecord& record, double now);
    /** One line of the pipe; lines that are no record are passed over. */
    void receiveLine(const std::string& line, double now);

    struct Ending
    {
        /** When the run was not over: the test that was running (or, when a group was being
            prepared, its first test still to run) as failed with the reason; or the group, or
            the whole unit, when no test is left to take the blame. */
        std::optional<TestOutcome> blamed;
        /** The planned tests that did not run, marked as such. */
        std::vector<TestOutcome> notRun;
        /** The last planned test that ran or took the blame: a new process can go on after
            it with `notRun`. Empty when there is none. */
        std::string lastSettled;
    };

    /** The process has ended at `now`. Without `blame` (the user stopped the run) nothing is
        blamed. */
    Ending end(const ProcessEnd& processEnd, double now, bool blame = true);

    bool isDone() const { return done; }
    /** Where the random sequence stood after the last test the process reported (or at its
        end), if it told. */
    std::optional<uint32> getRandomState() const { return randomState; }
    size_t countPlanned() const { return plan.size(); }
    /** Whether one of the planned tests has begun: the process got past the groups' setup. */
    bool hasStartedTest() const { return testStarted; }
    /** The error text for the end of a process whose run was not over. */
    std::string reasonOfEnd(const ProcessEnd& processEnd) const;

    /** The error text for an end before the run was over, and a short form in `note`. */
    static std::string describe(const ProcessEnd& processEnd, const std::string& fatalNote,
                                std::string& note);

private:
    struct Planned
    {
        std::string path;
        std::string suite;
        bool finished = false;
    };

    Planned* findPlanned(const std::string& path);
    Planned* firstUnfinishedBelow(const std::string& groupPath);
    void closeOpen(const std::string& path);

    std::string unitPath;
    Listener listener;
    std::optional<uint32> randomState;
    std::vector<Planned> plan;
    std::vector<std::pair<std::string, double>> open; // begun and not ended, outermost first
    std::vector<std::string> pendingMessages;
    std::vector<std::string> pendingErrors;
    std::string fatalNote;
    bool done = false;
    bool testStarted = false;
};

} // namespace Quillmark
