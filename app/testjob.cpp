#include "app/testjob.h"

#include "app/commandline.h"
#include "app/hostsession.h"
#include "app/interruptcatcher.h"
#include "app/isolation/isolatedchild.h"
#include "app/isolation/isolatedrun.h"
#include "app/junitwriter.h"
#include "app/testreporter.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "conformity/testrunservice.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/fmodulemanager.h"

#include <cstdlib>
#include <filesystem>
#include <ostream>

namespace Quillmark
{

namespace
{

/** Module files and package folders given directly are scanned each by itself: a folder of
    their own holds a link to each. Removed with the object. */
class DirectModules
{
public:
    ~DirectModules()
    {
        if (!folder.empty())
        {
            std::error_code ignored;
            std::filesystem::remove_all(folder, ignored);
        }
    }

    /** The folders to scan; false with `problem` set when an entry does not exist. */
    bool sort(const std::vector<std::string>& entries, std::vector<std::string>& folders,
              std::string& problem)
    {
        namespace fs = std::filesystem;
        for (const std::string& entry : entries)
        {
            std::error_code error;
            fs::path absolute = fs::absolute(entry, error);
            if (error || !fs::exists(absolute, error))
            {
                problem = "no such module or folder: " + entry;
                return false;
            }
            if (!FModuleManager::isModule(absolute.string()))
            {
                folders.push_back(entry);
                continue;
            }
            if (folder.empty())
            {
                std::string pattern = platform::temporaryFolder() + "/qel-test-modules-XXXXXX";
                if (!mkdtemp(pattern.data()))
                {
                    problem = "cannot make a temporary folder";
                    return false;
                }
                folder = pattern;
                folders.push_back(folder);
            }
            fs::create_symlink(absolute, fs::path(folder) / absolute.filename(), error);
            if (error)
            {
                problem = "cannot link " + entry + ": " + error.message();
                return false;
            }
        }
        return true;
    }

private:
    std::string folder;
};

} // namespace

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

/** The whole tree, or the selected nodes, in this process. */
int runInProcess(const CommandLine& commandLine, HostSession& session, TestReporter& reporter,
                 std::ostream& err)
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
        err << "Qel3PluginTestHost: no class found"
            << (commandLine.testClass.empty() ? "" : " named " + commandLine.testClass) << "\n";
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
    reporter.getProgress().setTotal(int(service.plan(selection).size()));

    TestRunService::Listener listener;
    listener.started = [&](FTestNode& node)
    {
        if (node.countChildren() == 0)
            reporter.started(node.getPath().toUtf8(), TestOutcome::suiteOf(node));
    };
    listener.finished = [&](const FTestNode& node) { reporter.finished(TestOutcome::of(node)); };
    service.setListener(std::move(listener));
    InterruptCatcher catcher;
    service.setCancelPredicate([] { return InterruptCatcher::interrupted(); });
    service.run(selection);
    return finish(InterruptCatcher::interrupted() ? kExitInterrupted : kExitOk);
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
                const std::vector<std::string>& folders, TestReporter& reporter, std::ostream& err)
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
    ConsoleRunObserver observer(reporter, err);
    InterruptCatcher catcher;
    return exitCodeOf(IsolatedRun(options, session.getRegistry(), observer).run(log));
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
        code = runIsolated(commandLine, session, folders, reporter, err);
    else
        code = runInProcess(commandLine, session, reporter, err);
    if (code == kExitUsage && reporter.getOutcomes().empty())
        return code;

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
