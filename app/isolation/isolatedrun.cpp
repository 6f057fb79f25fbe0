#include "app/isolation/isolatedrun.h"

#include "app/isolation/childreport.h"
#include "base/platform/clock.h"
#include "base/platform/paths.h"
#include "conformity/fautotestlog.h"
#include "conformity/testrandom.h"
#include "conformity/testrunservice.h"
#include "conformity/testtreenames.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/plugprovider.h"

#include <cstdlib>
#include <filesystem>

namespace Quillmark
{

namespace
{

/** The log entry of an outcome, exactly as a run in one process writes it. */
void writeLog(FAutotestLog& log, const TestOutcome& outcome)
{
    auto* node = new FTestNode(String(outcome.path));
    node->setStatus(outcome.status);
    for (const std::string& message : outcome.messages)
        node->addMessage(message.c_str());
    for (const std::string& error : outcome.errors)
        node->addErrorMessage(error.c_str());
    log.write(*node);
    node->release();
}

/** A folder for the logs the test processes write (the parent writes the real one). */
class ScratchFolder
{
public:
    ScratchFolder()
    {
        std::string pattern = platform::temporaryFolder() + "/qel-isolate-XXXXXX";
        if (mkdtemp(pattern.data()))
            path = pattern;
    }
    ~ScratchFolder()
    {
        std::error_code ignored;
        if (!path.empty())
            std::filesystem::remove_all(path, ignored);
    }
    std::string path;
};

} // namespace

struct IsolatedRun::Unit
{
    IsolationUnit unit;
    std::string path; // the class group, or the root for the modules' tests
    int estimate = 0; // tests expected, until the process tells its plan
    bool whole = false;
    std::vector<std::string> selections; // below `path`
};

IsolatedRun::IsolatedRun(const IsolationOptions& options, FComponentRegistry& registry,
                         IIsolatedRunObserver& observer)
    : options(options), registry(registry), observer(observer),
      randomState(options.randomState.value_or(Qel::kTestRandomStart))
{
}

bool IsolatedRun::planUnits(std::vector<Unit>& units)
{
    // The tree of the classes is built here only to find the units: building it makes no
    // plug-in instance. The modules' own tests are built by their process alone, since their
    // test factories are plug-in code.
    TestRunService service(*FTester::instance());
    TestRunService::Scope scope;
    scope.moduleTests = false;
    scope.classFilter = options.classFilter;
    service.setScope(registry, scope);
    service.open();
    FTestNode* root = service.getRoot();

    std::vector<Unit> classUnits;
    std::vector<FTestNode*> classGroups;
    for (const TestTree::ProviderKind& kind : TestTree::kProviderKinds)
    {
        FTestNode* top = root ? root->findTestChild(kind.name) : nullptr;
        for (int32 index = 0; top && index < top->countChildren(); ++index)
        {
            auto* group = FCast<FTestNode>(top->getChild(index));
            auto* provider = group && group->countChildren() > 0
                                 ? FCast<Qel::PlugProvider>(group->getChild(0))
                                 : nullptr;
            if (!provider)
                continue;
            Unit unit;
            unit.unit.kind = kind.global ? IsolationUnit::kGlobal : IsolationUnit::kLocal;
            unit.unit.cid = provider->getClassId().toString();
            unit.path = group->getPath().toUtf8();
            unit.estimate = group->countLeaves(true);
            classUnits.push_back(unit);
            classGroups.push_back(group);
        }
    }
    std::vector<FComponentDescription*> testClasses;
    registry.collectCategory(TestTree::kTestClassCategory, testClasses);
    Unit moduleTests;
    moduleTests.path = "Root";

    auto close = [&](bool result)
    {
        service.close(false); // nothing here changed the flags
        FTester::instance()->removeInitializers();
        return result;
    };
    if (classUnits.empty())
    {
        observer.diagnostic(noClassFoundText(options.classFilter));
        return close(false);
    }

    auto addWhole = [&](const Unit& unit)
    {
        for (Unit& existing : units)
            if (existing.path == unit.path && existing.unit.kind == unit.unit.kind)
            {
                existing.whole = true;
                existing.selections.clear();
                existing.estimate = unit.estimate;
                return;
            }
        units.push_back(unit);
        units.back().whole = true;
    };
    auto addPart = [&](const Unit& unit, const std::string& relative, int estimate)
    {
        for (Unit& existing : units)
            if (existing.path == unit.path && existing.unit.kind == unit.unit.kind)
            {
                if (!existing.whole)
                {
                    existing.selections.push_back(relative);
                    existing.estimate += estimate;
                }
                return;
            }
        Unit part = unit;
        part.selections = {relative};
        part.estimate = estimate;
        units.push_back(part);
    };

    if (options.selections.empty())
    {
        if (!testClasses.empty())
            addWhole(moduleTests);
        for (const Unit& unit : classUnits)
            addWhole(unit);
        return close(true);
    }
    for (const std::string& selection : options.selections)
    {
        FTestNode* node = service.findNode(selection);
        if (node == root)
        {
            if (!testClasses.empty())
                addWhole(moduleTests);
            for (const Unit& unit : classUnits)
                addWhole(unit);
            continue;
        }
        if (node && node->getParent() == root)
        {
            // A kind's group: every class under it.
            for (size_t index = 0; index < classUnits.size(); ++index)
                if (classGroups[index]->getParent() == node)
                    addWhole(classUnits[index]);
            continue;
        }
        if (node)
        {
            for (size_t index = 0; index < classUnits.size(); ++index)
            {
                const std::string groupPath = classUnits[index].path;
                const std::string path = node->getPath().toUtf8();
                if (path == groupPath)
                    addWhole(classUnits[index]);
                else if (path.rfind(groupPath + "/", 0) == 0)
                    addPart(classUnits[index], path.substr(groupPath.size() + 1),
                            node->countLeaves(true));
            }
            continue;
        }
        if (testClasses.empty())
        {
            observer.diagnostic("Qel3PluginTestHost: no test node at " + selection + "\n");
            return close(false);
        }
        // A path into the modules' own tests: their process finds it, or tells that it
        // names nothing.
        std::string relative = selection.rfind("Root/", 0) == 0 ? selection.substr(5) : selection;
        addPart(moduleTests, relative, 0);
    }
    return close(true);
}

RunEnd IsolatedRun::run(FAutotestLog& log)
{
    std::vector<Unit> units;
    if (!planUnits(units))
        return RunEnd::kUsageError;
    for (const Unit& unit : units)
        observer.addToTotal(unit.estimate);

    ScratchFolder scratch;
    const std::string childLog = scratch.path + "/AutotestLog.txt";
    bool usageError = false;
    for (const Unit& unit : units)
    {
        if (options.stopping())
            break;
        if (!runUnit(unit, childLog, log))
            usageError = true;
    }
    if (options.stopping())
        return RunEnd::kInterrupted;
    return usageError ? RunEnd::kUsageError : RunEnd::kDone;
}

bool IsolatedRun::runUnit(const Unit& unit, const std::string& childLog, FAutotestLog& log)
{
    const std::string unitName =
        unit.path + (unit.unit.kind == IsolationUnit::kModuleTests ? " (the modules' tests)" : "");
    // A process that dies hands the tests after the blamed one to a new process. Each new one
    // starts past a test the one before settled, so there are fewer restarts than tests.
    IsolationUnit part = unit.unit;
    size_t restartsLeft = 0;
    bool planSeen = false;
    bool lastHung = false;
    std::vector<TestOutcome> handedOver; // the tests a new process was started for
    for (bool first = true;; first = false)
    {
        int finishedHere = 0;
        ChildReport::Listener listener;
        listener.planned = [&](const std::string&, const std::string&)
        {
            if (!first)
                return; // counted with the first process's plan
            if (!planSeen)
                observer.addToTotal(-unit.estimate);
            planSeen = true;
            observer.addToTotal(1);
        };
        listener.started = [&](const std::string& path, const std::string& suite)
        { observer.started(path, suite); };
        listener.finished = [&](const TestOutcome& outcome)
        {
            observer.finished(outcome);
            if (outcome.leaf)
            {
                writeLog(log, outcome);
                ++finishedHere;
            }
        };
        ChildReport report(unit.path, listener);
        ProcessEnd end = runProcess(part, unit.selections, childLog, report);

        if (first && !report.isDone() && end.kind == ProcessEnd::kExited &&
            end.code == kChildUsageError && report.countPlanned() == 0)
            return false; // the process has said what was wrong
        if (first)
        {
            if (!planSeen)
                observer.addToTotal(-unit.estimate);
            restartsLeft = report.countPlanned();
        }

        const bool interrupted = options.stopping();
        // A new process that dies before its first test died setting up what every test
        // needs: another one would die the same way.
        const bool stuckInSetup = !first && !report.isDone() && !report.hasStartedTest();
        ChildReport::Ending ending =
            report.end(end, platform::seconds(), !interrupted && !stuckInSetup);
        if (!first && !report.isDone() && report.countPlanned() == 0)
            ending.notRun = handedOver; // it died before telling its plan
        if (stuckInSetup && !interrupted)
            observer.diagnostic("Qel3PluginTestHost: the next test process of " + unitName +
                                " ended before its first test: " + report.reasonOfEnd(end) + "\n");
        if (ending.blamed)
        {
            observer.finished(*ending.blamed);
            writeLog(log, *ending.blamed);
            observer.diagnostic("Qel3PluginTestHost: the test process of " + unitName +
                                " ended early: " + ending.blamed->errors.back() + "\n");
        }
        // Each hang costs the whole time limit: when a new process hangs in its first test
        // right after a hang, the class is taken to hang in the tests after it as well.
        const bool hung = end.kind == ProcessEnd::kTimedOut;
        const bool hungAgain = hung && lastHung && finishedHere == 0;
        lastHung = hung;
        if (hungAgain && !stuckInSetup && !ending.notRun.empty())
            observer.diagnostic("Qel3PluginTestHost: the test processes of " + unitName +
                                " hung twice in a row\n");
        if (!ending.notRun.empty() && ending.blamed && !ending.lastSettled.empty() &&
            restartsLeft > 0 && !hungAgain)
        {
            --restartsLeft;
            part.resumeAfter = ending.lastSettled;
            handedOver = std::move(ending.notRun);
            observer.diagnostic("Qel3PluginTestHost: a new test process runs the " +
                                std::to_string(handedOver.size()) + " tests of " + unitName +
                                " after " + ending.lastSettled + "\n");
            continue;
        }
        for (const TestOutcome& outcome : ending.notRun)
            observer.finished(outcome);
        if (!ending.notRun.empty())
            observer.diagnostic("Qel3PluginTestHost: " + std::to_string(ending.notRun.size()) +
                                " tests of " + unitName + " did not run\n");
        else if (report.isDone() && !(end.kind == ProcessEnd::kExited &&
                                      (end.code == kChildDone || end.code == kChildInterrupted)))
        {
            std::string how = end.kind == ProcessEnd::kSignalled
                                  ? "signal " + std::to_string(end.signal)
                                  : "exit status " + std::to_string(end.code);
            observer.diagnostic("Qel3PluginTestHost: the test process of " + unitName +
                                " ended with " + how + " after its tests\n");
        }
        return true;
    }
}

ProcessEnd IsolatedRun::runProcess(const IsolationUnit& part,
                                   const std::vector<std::string>& selections,
                                   const std::string& childLog, ChildReport& report)
{
    std::vector<std::string> arguments{options.program, "--test"};
    arguments.insert(arguments.end(), options.folders.begin(), options.folders.end());
    if (!options.dataFolder.empty())
        arguments.insert(arguments.end(), {"--config-dir", options.dataFolder});
    arguments.insert(arguments.end(), {"--isolated-child", part.toString(), "--report-fd",
                                       std::to_string(ChildProcess::kReportFd), "--log", childLog,
                                       "--random-state", std::to_string(randomState)});
    for (const std::string& selection : selections)
        arguments.insert(arguments.end(), {"--select", selection});

    ChildProcess child;
    std::string problem;
    if (!child.start(arguments, problem))
    {
        observer.diagnostic("Qel3PluginTestHost: " + problem + "\n");
        return ProcessEnd();
    }
    ChildProcess::Handlers handlers;
    handlers.line = [&](const std::string& line) { report.receiveLine(line, platform::seconds()); };
    handlers.output = [&](const std::string& chunk) { observer.diagnostic(chunk); };
    handlers.tick = [&] { observer.tick(); };
    // A stop reaches the test process too (Ctrl-C goes to the whole process group), which
    // stops after its current test; one that is stuck in a test is killed soon after.
    handlers.stopRequested = [this] { return options.stopping(); };
    ProcessEnd end = child.supervise(options.timeoutSeconds, handlers);
    // A process that died in a test hands on the state at that test's start: the next one
    // goes on as if the test had drawn nothing.
    if (std::optional<uint32> state = report.getRandomState())
        randomState = *state;
    return end;
}

} // namespace Quillmark
