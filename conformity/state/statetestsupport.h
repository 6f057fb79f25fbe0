// For the tests of the state and bus tests: the groups that hold them below each provider, and
// the log text that one run of a class over those groups must leave, composed from what each
// test is expected to report.
#pragma once

#include "conformity/conformitytestsupport.h"
#include "conformity/state/qelbusactivationtest.h"
#include "conformity/state/qelbusconsistencytest.h"
#include "conformity/state/qelbusinvalidindextest.h"
#include "conformity/state/qelcheckaudiobusarrangementtest.h"
#include "conformity/state/qelinvalidstatetransitiontest.h"
#include "conformity/state/qelrepeatidenticalstatetransitiontest.h"
#include "conformity/state/qelsuspendresumetest.h"
#include "conformity/state/qelterminateinitializetest.h"
#include "conformity/state/qelvalidstatetransitiontest.h"
#include "hosting/plugprovider.h"
#include "plugins/common/exampleids.h"

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace Quillmark::testing
{

template <class Test, class... Arguments>
void addStateTest(FTestNode& group, Qel::PlugProvider& provider, Arguments... arguments)
{
    auto* test = new Test(&provider, arguments...);
    group.addLeaf(test->getName(), test);
    test->release();
}

inline void fillGeneral(FTestNode& group, Qel::PlugProvider& provider)
{
    addStateTest<Qel::QelTerminateInitializeTest>(group, provider);
    addStateTest<Qel::QelSuspendResumeTest>(group, provider, int32(Qel::kSample32));
}

inline void fillBusHandling(FTestNode& group, Qel::PlugProvider& provider)
{
    addStateTest<Qel::QelBusConsistencyTest>(group, provider);
    addStateTest<Qel::QelBusActivationTest>(group, provider);
    addStateTest<Qel::QelCheckAudioBusArrangementTest>(group, provider);
}

inline void fillStateTransitions(FTestNode& group, Qel::PlugProvider& provider)
{
    addStateTest<Qel::QelValidStateTransitionTest>(group, provider);
}

inline void fillRobustBusHandling(FTestNode& group, Qel::PlugProvider& provider)
{
    addStateTest<Qel::QelBusInvalidIndexTest>(group, provider);
}

inline void fillRobustStateTransitions(FTestNode& group, Qel::PlugProvider& provider)
{
    addStateTest<Qel::QelInvalidStateTransitionTest>(group, provider);
    addStateTest<Qel::QelRepeatIdenticalStateTransitionTest>(group, provider);
}

/** The six tests where the finished tree holds them. */
inline std::vector<FTreeBuilder::TestGroup> treeGroups()
{
    return {{"QEL3 Conformity/General", fillGeneral},
            {"QEL3 Conformity/Bus handling", fillBusHandling},
            {"QEL3 Conformity/State Transitions", fillStateTransitions}};
}

/** The six, and the three that the tree never holds in a category of their own. */
inline std::vector<FTreeBuilder::TestGroup> allGroups()
{
    std::vector<FTreeBuilder::TestGroup> groups = treeGroups();
    groups.push_back({"Robustness/Bus handling", fillRobustBusHandling});
    groups.push_back({"Robustness/State Transitions", fillRobustStateTransitions});
    return groups;
}

/** What one test reports: its verdict, and its messages behind the banner and its errors. */
struct Reported
{
    bool passed = true;
    std::vector<std::string> messages;
    std::vector<std::string> errors;
    bool ran = true; // false: setup failed, so not even the banner is there
};

/** The log lines of one test node: the verdict line, the banner, messages, then errors. */
inline std::string logEntry(const std::string& nodePath, const std::string& testName,
                            const Reported& reported)
{
    std::string text = std::string("Test: ") +
                       (reported.passed ? "Passed: " : "************ FAILED: ") + nodePath + "\r\n";
    if (reported.ran)
        text += "  ->Message: ===" + testName + " ====================================\r\n";
    for (const std::string& message : reported.messages)
        text += "  ->Message: " + message + "\r\n";
    for (const std::string& error : reported.errors)
        text += "  ->ERROR: " + error + "\r\n";
    return text;
}

/** What each of the nine tests reports for one class; by default a pass with the banner only. */
struct StateReport
{
    Reported terminateInitialize;
    Reported suspendResume;
    Reported busConsistency;
    Reported busActivation;
    Reported checkArrangement;
    Reported validTransition;
    Reported busInvalidIndex;
    Reported invalidTransition;
    Reported repeatTransition;
};

/** The log of a run of the groups below `provider` ("Root/Local Instances/<class>/Local
    Instances/"): the three groups of the tree and, with `robustness`, the other two. */
inline std::string expectedLog(const std::string& provider, const StateReport& report,
                               bool robustness = true)
{
    const std::string general = provider + "QEL3 Conformity/General/";
    const std::string busses = provider + "QEL3 Conformity/Bus handling/";
    const std::string transitions = provider + "QEL3 Conformity/State Transitions/";
    std::string log =
        logEntry(general + "Terminate/Initialize", "Terminate/Initialize",
                 report.terminateInitialize) +
        logEntry(general + "Suspend/Resume", "Suspend/Resume", report.suspendResume) +
        logEntry(busses + "Bus Consistency", "Bus Consistency", report.busConsistency) +
        logEntry(busses + "Bus Activation", "Bus Activation", report.busActivation) +
        logEntry(busses + "Check Audio Bus Arrangement", "Check Audio Bus Arrangement",
                 report.checkArrangement) +
        logEntry(transitions + "Valid State Transition", "Valid State Transition",
                 report.validTransition);
    if (robustness)
        log += logEntry(provider + "Robustness/Bus handling/Bus Invalid Index", "Bus Invalid Index",
                        report.busInvalidIndex) +
               logEntry(provider + "Robustness/State Transitions/Invalid State Transition",
                        "Invalid State Transition", report.invalidTransition) +
               logEntry(provider + "Robustness/State Transitions/Repeat Identical State Transition",
                        "Repeat Identical State Transition", report.repeatTransition);
    return log;
}

/** Points the fixtures' call log at a file of the test's own for its lifetime. */
class FixtureCallLog
{
public:
    explicit FixtureCallLog(const std::string& path) : path(path)
    {
        setenv(Qel::Examples::kFixtureLogVariable, path.c_str(), 1);
    }
    ~FixtureCallLog() { unsetenv(Qel::Examples::kFixtureLogVariable); }
    FixtureCallLog(const FixtureCallLog&) = delete;
    FixtureCallLog& operator=(const FixtureCallLog&) = delete;

    /** The lines written so far, without their line ends. */
    std::vector<std::string> lines() const
    {
        std::vector<std::string> result;
        std::istringstream in(readFile(path));
        for (std::string line; std::getline(in, line);)
            result.push_back(line);
        return result;
    }

    /** The lines that start with `prefix`. */
    std::vector<std::string> linesStartingWith(const std::string& prefix) const
    {
        std::vector<std::string> result;
        for (const std::string& line : lines())
            if (line.rfind(prefix, 0) == 0)
                result.push_back(line);
        return result;
    }

private:
    std::string path;
};

} // namespace Quillmark::testing
