#include "app/testjob.h"

#include "app/commandline.h"
#include "app/directmodules.h"
#include "app/hostsession.h"
#include "app/interruptcatcher.h"
#include "app/isolation/isolatedchild.h"
#include "app/isolation/isolatedrun.h"
#include "app/junitwriter.h"
#include "app/testreporter.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "conformity/testrandom.h"
#include "conformity/testrunservice.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/fmodulemanager.h"

#include <cstdlib>
#include <filesystem>
#include <ostream>

namespace Quillmark
{

namespace
{

// A test process ends with the program's own exit codes, which the parent reads back.
static_assert(int(kChildDone) == int(kExitOk) && int(kChildUsageError) == int(kExitUsage) &&
              int(kChildInterrupted) == int(kExitInterrupted));

int exitCodeOf(RunEnd end)
{
    switch (end)
    {
    case RunEnd::kUsageError:
        return kExitUsage;
    case RunEnd::kInterrupted:
        return kExitInterrupted;
    case RunEnd::kDone:
        break;
    }
    return kExitOk;
}

/** Rounds of a run: the closing line of each when there is more than one, and whether to go
    on. */
class Rounds
{
public:
    Rounds(const CommandLine& commandLine, TestReporter& reporter, std::ostream& out)
        : commandLine(commandLine), reporter(reporter), out(out)
    {
    }

    int count() const { return commandLine.repeat; }
    /** The suite of an outcome of `round`: rounds after the first are told apart. */
    std::string suite(const std::string& suite, int round) const
    {
        return count() > 1 ? suite + " (round " + std::to_string(round) + ")" : suite;
    }
    void begin() { failedBefore = reporter.countFailed(), passedBefore = reporter.countPassed(); }
    /** Reports the round that ended; false when no round should follow. */
    bool end(int round)
    {
        const int failed = reporter.countFailed() - failedBefore;
        if (count() > 1)
        {
            reporter.getProgress().clear();
            out << "Round " << round << " of " << count() << ": "
                << reporter.countPassed() - passedBefore << " passed, " << failed << " failed\n";
        }
        return !(commandLine.stopOnFailure && failed > 0) && !InterruptCatcher::interrupted();
    }

private:
    const CommandLine& commandLine;
    TestReporter& reporter;
    std::ostream& out;
    int failedBefore = 0;
    int passedBefore = 0;
};

/** The whole tree, or the selected nodes, in this process, once per round. */
int runInProcess(const CommandLine& commandLine, HostSession& session, TestReporter& reporter,
                 std::ostream& out, std::ostream& err)
{
    TestRunService service(*FTester::instance(), session.logPath(commandLine.logFile));
    TestRunService::Scope scope;
    scope.classFilter = commandLine.testClass;
    service.setScope(session.getRegistry(), scope);
    service.open();
    auto finish = [&](int code)
    {
        service.close(); // stores the enabled flags
        FTester::instance()->removeInitializers();
        return code;
    };
    if (service.countClasses() == 0)
    {
        err << noClassFoundText(commandLine.testClass);
        return finish(kExitUsage);
    }

    std::vector<FTestNode*> selection;
    for (const std::string& path : commandLine.selections)
    {
        FTestNode* node = service.findNode(path);
        if (!node)
        {
            err << "Qel3PluginTestHost: no test node at " << path << "\n";
            return finish(kExitUsage);
        }
        selection.push_back(node);
    }
    Rounds rounds(commandLine, reporter, out);
    reporter.getProgress().setTotal(int(service.plan(selection).size()) * rounds.count());

    int round = 1;
    TestRunService::Listener listener;
    listener.started = [&](FTestNode& node)
    {
        if (node.countChildren() == 0)
            reporter.started(node.getPath().toUtf8(), TestOutcome::suiteOf(node));
    };
    listener.finished = [&](const FTestNode& node)
    {
        TestOutcome outcome = service.outcomeOf(node);
        outcome.suite = rounds.suite(outcome.suite, round);
        reporter.finished(outcome);
    };
    service.setListener(std::move(listener));
    InterruptCatcher catcher;
    service.setCancelPredicate([] { return InterruptCatcher::interrupted(); });
    if (commandLine.seed)
        Qel::testRandomState() = *commandLine.seed;
    if (commandLine.randomState)
        service.startFirstTestAt(*commandLine.randomState);
    for (; round <= rounds.count(); ++round)
    {
        rounds.begin();
        // One log for all rounds; each goes on with the random numbers where the last stopped.
        service.run(selection, round == 1);
        if (!rounds.end(round))
            break;
    }
    return finish(InterruptCatcher::interrupted() ? kExitInterrupted : kExitOk);
}

/** A word for the shell as it stands, or in single quotes. */
std::string shellWord(const std::string& word)
{
    if (!word.empty() &&
        word.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                               "_-./=:,+@%") == std::string::npos)
        return word;
    std::string quoted = "'";
    for (char c : word)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

/** Before the closing line of a failed run: per failed test, the command that runs it alone,
    starting the random numbers where they stood when it began. */
void printRepeatCommands(const CommandLine& commandLine, const std::vector<TestOutcome>& outcomes,
                         std::ostream& out)
{
    constexpr size_t kMostShown = 50;
    std::vector<const TestOutcome*> failed;
    for (const TestOutcome& outcome : outcomes)
        if (outcome.ran && outcome.leaf && !outcome.passed())
            failed.push_back(&outcome);
    if (failed.empty())
        return;
    std::string common = shellWord(platform::executablePath()) + " --test";
    for (const std::string& folder : commandLine.folders)
        common += " " + shellWord(folder);
    if (!commandLine.configFolder.empty())
        common += " --config-dir " + shellWord(commandLine.configFolder);
    if (commandLine.isolate)
        common += " --isolate";
    out << "To repeat a failed test alone:\n";
    for (size_t index = 0; index < failed.size() && index < kMostShown; ++index)
    {
        const TestOutcome& outcome = *failed[index];
        out << "  " << common << " --select " << shellWord(TestReporter::withoutRoot(outcome.path));
        if (outcome.randomState)
            out << " --random-state " << *outcome.randomState;
        out << "\n";
    }
    if (failed.size() > kMostShown)
        out << "  ... and " << failed.size() - kMostShown
            << " more; the JUnit report has the random state of each\n";
}

/** The console's side of an isolating run: verdicts and the progress line. */
class ConsoleRunObserver : public IIsolatedRunObserver
{
public:
    ConsoleRunObserver(TestReporter& reporter, std::ostream& err) : reporter(reporter), err(err) {}

    void started(const std::string& path, const std::string& suite) override
    {
        reporter.started(path, suite);
    }
    void finished(const TestOutcome& outcome) override { reporter.finished(outcome); }
    void diagnostic(const std::string& text) override { reporter.diagnostic(err, text); }
    void addToTotal(int count) override { reporter.getProgress().addToTotal(count); }
    void tick() override { reporter.getProgress().redraw(); }

private:
    TestReporter& reporter;
    std::ostream& err;
};

int runIsolated(const CommandLine& commandLine, HostSession& session,
                const std::vector<std::string>& folders, TestReporter& reporter, std::ostream& out,
                std::ostream& err)
{
    FAutotestLog log(session.logPath(commandLine.logFile));
    log.remove();
    IsolationOptions options;
    options.program = platform::executablePath();
    options.folders = folders;
    options.dataFolder = session.getDataFolder();
    options.classFilter = commandLine.testClass;
    options.selections = commandLine.selections;
    options.timeoutSeconds = commandLine.timeoutSeconds;
    options.stopRequested = [] { return InterruptCatcher::interrupted(); };
    options.randomState = commandLine.seed ? commandLine.seed : commandLine.randomState;

    Rounds rounds(commandLine, reporter, out);
    int round = 1;
    class Observer : public ConsoleRunObserver
    {
    public:
        Observer(TestReporter& reporter, std::ostream& err, const Rounds& rounds, int& round)
            : ConsoleRunObserver(reporter, err), rounds(rounds), round(round)
        {
        }
        void finished(const TestOutcome& outcome) override
        {
            TestOutcome inRound = outcome;
            inRound.suite = rounds.suite(outcome.suite, round);
            ConsoleRunObserver::finished(inRound);
        }

    private:
        const Rounds& rounds;
        int& round;
    } observer(reporter, err, rounds, round);
    InterruptCatcher catcher;
    RunEnd end = RunEnd::kDone;
    for (; round <= rounds.count(); ++round)
    {
        rounds.begin();
        IsolatedRun run(options, session.getRegistry(), observer);
        end = run.run(log);
        // The next round goes on with the random numbers where this one left them.
        options.randomState = run.getRandomState();
        if (end != RunEnd::kDone || !rounds.end(round))
            break;
    }
    return exitCodeOf(end);
}

/** A test process of an isolating run: everything it prints goes to the parent. */
int runChildJob(const CommandLine& commandLine, std::ostream& err)
{
    ChildRequest request;
    request.unit = commandLine.childUnit;
    request.reportFd = commandLine.reportFd;
    request.logFile = commandLine.logFile;
    request.selections = commandLine.selections;
    request.stopRequested = [] { return InterruptCatcher::interrupted(); };
    request.randomState = commandLine.randomState;
    IsolatedChild child(std::move(request));
    std::string problem;
    if (!child.prepare(problem))
    {
        err << "Qel3PluginTestHost: " << problem << "\n";
        return kExitUsage;
    }
    HostSession session(err, false, commandLine.configFolder);
    session.scan(commandLine.folders);
    InterruptCatcher catcher;
    return exitCodeOf(child.run(session.getRegistry(), err));
}

} // namespace

int runTestJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    if (!commandLine.childUnit.empty())
        return runChildJob(commandLine, err);

    DirectModules direct;
    std::vector<std::string> folders;
    std::string problem;
    if (!direct.sort(commandLine.folders, folders, problem))
    {
        err << "Qel3PluginTestHost: " << problem << "\n";
        return kExitUsage;
    }

    HostSession session(err, commandLine.verbose, commandLine.configFolder);
    session.scan(folders);

    ProgressLine progress(out, ProgressLine::stdoutIsTerminal());
    TestReporter reporter(out, progress);
    const std::string timestamp = JUnitWriter::currentTimestamp();
    int code = kExitOk;
    if (commandLine.isolate)
        code = runIsolated(commandLine, session, folders, reporter, out, err);
    else
        code = runInProcess(commandLine, session, reporter, out, err);
    if (code == kExitUsage && reporter.getOutcomes().empty())
        return code;

    printRepeatCommands(commandLine, reporter.getOutcomes(), out);
    reporter.printSummary();
    if (!commandLine.junitFile.empty())
    {
        std::string error;
        if (!JUnitWriter(timestamp).writeFile(commandLine.junitFile, reporter.getOutcomes(), error))
        {
            err << "Qel3PluginTestHost: " << error << "\n";
            if (code == kExitOk)
                code = kExitFailure;
        }
    }
    if (code == kExitInterrupted)
    {
        err << "Qel3PluginTestHost: interrupted; the log keeps the tests that ran\n";
        return code;
    }
    if (code != kExitOk)
        return code;
    return reporter.countFailed() > 0 ? kExitFailure : kExitOk;
}

} // namespace Quillmark
