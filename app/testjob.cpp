#include "app/testjob.h"

#include "app/commandline.h"
#include "app/hostsession.h"
#include "app/isolatedchild.h"
#include "app/isolatedrun.h"
#include "app/junitwriter.h"
#include "app/nodewatcher.h"
#include "app/testreporter.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "conformity/fmoduletest.h"
#include "conformity/ftreebuilder.h"
#include "conformity/funittestingdialogcontroller.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/fmodulemanager.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <ostream>

namespace Quillmark
{

namespace
{

volatile std::sig_atomic_t& interruptFlag()
{
    static volatile std::sig_atomic_t flag = 0;
    return flag;
}

void onInterrupt(int)
{
    interruptFlag() = 1;
}

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

InterruptCatcher::InterruptCatcher()
{
    interruptFlag() = 0;
    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &previous());
}

InterruptCatcher::~InterruptCatcher()
{
    sigaction(SIGINT, &previous(), nullptr);
}

struct sigaction& InterruptCatcher::previous()
{
    static struct sigaction saved = {};
    return saved;
}

bool InterruptCatcher::interrupted()
{
    return interruptFlag() != 0;
}

namespace
{

/** The whole tree, or the selected nodes, in this process. */
int runInProcess(const CommandLine& commandLine, FComponentRegistry& registry,
                 TestReporter& reporter, std::ostream& err)
{
    FTester* tester = FTester::instance();
    tester->removeInitializers();
    tester->addInitializer(std::make_unique<FModuleTestInitializer>(registry));
    auto builder = std::make_unique<FTreeBuilder>(registry);
    builder->setClassFilter(commandLine.testClass);
    tester->addInitializer(std::move(builder));

    auto* controller = new FUnitTestingDialogController(*tester, commandLine.logFile);
    auto finish = [&](int code)
    {
        controller->release(); // closes the tester, which stores the enabled flags
        tester->removeInitializers();
        return code;
    };
    FTestNode* root = tester->getRoot();
    int32 classes = 0;
    if (FTestNode* top = root ? root->findTestChild("Global Instance") : nullptr)
        classes = top->countChildren();
    if (classes == 0)
    {
        err << "Qel3PluginTestHost: no class found"
            << (commandLine.testClass.empty() ? "" : " named " + commandLine.testClass) << "\n";
        return finish(kExitUsage);
    }

    std::vector<FTestNode*> selection;
    for (const std::string& path : commandLine.selections)
    {
        FTestNode* node = tester->findPath(path.c_str());
        if (!node)
        {
            err << "Qel3PluginTestHost: no test node at " << path << "\n";
            return finish(kExitUsage);
        }
        selection.push_back(node);
    }

    int planned = 0;
    for (FTestNode* node : selection.empty() ? std::vector<FTestNode*>{root} : selection)
        if (node->countChildren() > 0 || node->getTest())
            planned += node->countLeaves(true);
    reporter.getProgress().setTotal(planned);

    // The test on the progress line.
    NodeWatcher watcher(
        [&](FTestNode& node)
        {
            if (node.countChildren() == 0)
                reporter.started(node.getPath().toUtf8(), TestOutcome::suiteOf(node));
        },
        nullptr);
    watcher.watch(*root);
    controller->setTestListener([&](const FTestNode& node)
                                { reporter.finished(TestOutcome::of(node)); });
    InterruptCatcher catcher;
    controller->setCancelPredicate([] { return InterruptCatcher::interrupted(); });
    controller->setSelection(selection);
    const char8* button = selection.empty() ? "runAll" : "runSelected";
    if (UValue* value = controller->findValue(button))
        value->setInt(1);
    watcher.unwatchAll();
    return finish(InterruptCatcher::interrupted() ? kExitInterrupted : kExitOk);
}

} // namespace

int runTestJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    if (!commandLine.childUnit.empty())
        return runIsolatedChild(commandLine, err);

    DirectModules direct;
    std::vector<std::string> folders;
    std::string problem;
    if (!direct.sort(commandLine.folders, folders, problem))
    {
        err << "Qel3PluginTestHost: " << problem << "\n";
        return kExitUsage;
    }

    HostSession session(err, commandLine.verbose);
    session.scan(folders);
    FComponentRegistry& registry = session.getRegistry();

    ProgressLine progress(out, ProgressLine::stdoutIsTerminal());
    TestReporter reporter(out, progress);
    const std::string timestamp = JUnitWriter::currentTimestamp();
    int code = kExitOk;
    if (commandLine.isolate)
    {
        FAutotestLog log(commandLine.logFile);
        log.remove();
        IsolatedRun run(commandLine, registry, reporter, err, platform::executablePath());
        code = run.run(folders, log);
    }
    else
        code = runInProcess(commandLine, registry, reporter, err);
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
