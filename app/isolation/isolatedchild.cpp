#include "app/isolation/isolatedchild.h"

#include "app/isolation/reportrecord.h"
#include "conformity/testoutcome.h"
#include "conformity/testrandom.h"
#include "conformity/testrunservice.h"
#include "conformity/testtreenames.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cxxabi.h>
#include <exception>
#include <ostream>
#include <unistd.h>

namespace Quillmark
{

namespace
{

/** The descriptor the handlers of a dying process report to. */
int& fatalReportFd()
{
    static int fd = -1;
    return fd;
}

void writeAll(int fd, const char* data, size_t size)
{
    while (size > 0)
    {
        ssize_t written = ::write(fd, data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        data += written;
        size -= size_t(written);
    }
}

/** Only calls that are safe in a signal handler: the number by hand, one write. */
void onFatalSignal(int signal)
{
    char line[32] = "F\tsignal ";
    size_t length = 9;
    char digits[12];
    size_t count = 0;
    for (int value = signal; value > 0 && count < sizeof digits; value /= 10)
        digits[count++] = char('0' + value % 10);
    while (count > 0)
        line[length++] = digits[--count];
    line[length++] = '\n';
    writeAll(fatalReportFd(), line, length);
    // The handler was reset on entry: the signal raised again ends the process with it.
    ::raise(signal);
}

[[noreturn]] void onTerminate()
{
    std::string text = "exception ";
    if (std::exception_ptr current = std::current_exception())
    {
        std::string type = "an exception of unknown type";
        if (const std::type_info* info = abi::__cxa_current_exception_type())
        {
            int status = 0;
            char* demangled = abi::__cxa_demangle(info->name(), nullptr, nullptr, &status);
            type = status == 0 && demangled ? demangled : info->name();
            std::free(demangled);
        }
        try
        {
            std::rethrow_exception(current);
        }
        catch (const std::exception& exception)
        {
            text += type + ": " + exception.what();
        }
        catch (...)
        {
            text += type;
        }
        ReportRecord record{ReportRecord::kFatal, {text}};
        std::string line = record.encode();
        writeAll(fatalReportFd(), line.data(), line.size());
    }
    std::abort();
}

/** Reports the signals that end a process by a fault, and uncaught exceptions. The handlers
    replace those of a sanitizer, so that the parent sees the signal itself. */
void installFatalHandlers(int reportFd)
{
    fatalReportFd() = reportFd;
    static char alternateStack[64 * 1024]; // a crash by stack overflow needs a stack of its own
    stack_t stack = {};
    stack.ss_sp = alternateStack;
    stack.ss_size = sizeof alternateStack;
    ::sigaltstack(&stack, nullptr);
    struct sigaction action = {};
    action.sa_handler = onFatalSignal;
    action.sa_flags = SA_RESETHAND | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        ::sigaction(signal, &action, nullptr);
    std::set_terminate(onTerminate);
}

/** Writes records to the parent's pipe. */
class Reporter
{
public:
    explicit Reporter(int fd) : fd(fd) {}
    void send(ReportRecord::Kind kind, std::vector<std::string> fields = {})
    {
        std::string line = ReportRecord{kind, std::move(fields)}.encode();
        writeAll(fd, line.data(), line.size());
    }

private:
    int fd;
};

/** Disables what lies at or before `last` in tree order below `node`, so that a run goes on
    with the tests after it; a group whose tests all came before is disabled as a whole, so
    that it is not set up again. Answers whether all of `node` lay there; `passed` turns true
    once `last` has been met. */
bool skipThrough(FTestNode& node, const FTestNode& last, bool& passed)
{
    if (passed)
        return false;
    if (&node == &last)
        passed = true;
    bool whole = true;
    if (!passed)
        for (int32 index = 0; index < node.countChildren(); ++index)
            if (auto* child = FCast<FTestNode>(node.getChild(index)))
                whole = skipThrough(*child, last, passed) && whole;
    if (whole)
        node.setEnabled(false);
    return whole;
}

} // namespace

std::string IsolationUnit::toString() const
{
    std::string text = "tests";
    if (kind == kGlobal)
        text = "global:" + cid;
    else if (kind == kLocal)
        text = "local:" + cid;
    return resumeAfter.empty() ? text : text + ">" + resumeAfter;
}

std::optional<IsolationUnit> IsolationUnit::parse(const std::string& text)
{
    // The part before the first '>' never holds one; the path after it may.
    IsolationUnit unit;
    const size_t mark = text.find('>');
    const std::string name = text.substr(0, mark);
    if (mark != std::string::npos)
    {
        unit.resumeAfter = text.substr(mark + 1);
        if (unit.resumeAfter.empty())
            return std::nullopt;
    }
    if (name == "tests")
        return unit;
    for (auto [prefix, kind] : {std::pair{"global:", kGlobal}, std::pair{"local:", kLocal}})
        if (name.rfind(prefix, 0) == 0 && name.size() > std::string(prefix).size())
        {
            unit.kind = kind;
            unit.cid = name.substr(std::string(prefix).size());
            return unit;
        }
    return std::nullopt;
}

const char* IsolationUnit::kindName() const
{
    switch (kind)
    {
    case kGlobal:
        return TestTree::kGlobalInstance;
    case kLocal:
        return TestTree::kLocalInstances;
    case kModuleTests:
        break;
    }
    return "";
}

bool IsolatedChild::prepare(std::string& problem)
{
    std::optional<IsolationUnit> parsed = IsolationUnit::parse(request.unit);
    if (!parsed)
    {
        problem = "not a unit of tests: " + request.unit;
        return false;
    }
    unit = *parsed;
    installFatalHandlers(request.reportFd);
    return true;
}

RunEnd IsolatedChild::run(FComponentRegistry& registry, std::ostream& err)
{
    Reporter reporter(request.reportFd);
    TestRunService service(*FTester::instance(), request.logFile);
    TestRunService::Scope scope;
    scope.moduleTests = unit.kind == IsolationUnit::kModuleTests;
    scope.classes = !scope.moduleTests;
    scope.classFilter = unit.cid;
    service.setScope(registry, scope);
    service.open();
    // The parent keeps the enabled flags of the whole tree; this tree is only a part of it.
    auto finish = [&](RunEnd end)
    {
        service.close(false);
        FTester::instance()->removeInitializers();
        return end;
    };

    FTestNode* base = service.getRoot();
    if (unit.kind != IsolationUnit::kModuleTests)
    {
        FTestNode* top = base ? base->findTestChild(unit.kindName()) : nullptr;
        base = top && top->countChildren() > 0 ? FCast<FTestNode>(top->getChild(0)) : nullptr;
        if (!base)
        {
            err << "Qel3PluginTestHost: no class " << unit.cid << "\n";
            return finish(RunEnd::kUsageError);
        }
    }
    std::vector<FTestNode*> selection;
    for (const std::string& relative : request.selections)
    {
        std::string path = base->getPath().toUtf8() + (relative.empty() ? "" : "/" + relative);
        FTestNode* node = service.findNode(path);
        if (!node)
        {
            err << "Qel3PluginTestHost: no test node at " << path << "\n";
            return finish(RunEnd::kUsageError);
        }
        selection.push_back(node);
    }
    if (selection.empty())
        selection.push_back(base);
    if (!unit.resumeAfter.empty())
    {
        FTestNode* last = service.findNode(unit.resumeAfter);
        if (!last)
        {
            err << "Qel3PluginTestHost: no test node at " << unit.resumeAfter << "\n";
            return finish(RunEnd::kUsageError);
        }
        // The selected nodes that lay wholly before are dropped, so that not even the groups
        // above them are set up again.
        bool passed = false;
        std::vector<FTestNode*> rest;
        for (FTestNode* node : selection)
            if (!skipThrough(*node, *last, passed))
                rest.push_back(node);
        selection = std::move(rest);
    }

    for (FTestNode* node : service.plan(selection))
        reporter.send(ReportRecord::kPlan, {node->getPath().toUtf8(), TestOutcome::suiteOf(*node)});

    // The groups above a selected node are set up before it, without a notice of their own;
    // they are announced here, outermost first, so that a crash in their setup is theirs.
    std::vector<FTestNode*> ancestors;
    for (FTestNode* node : selection)
        for (FNode* parent = node->getParent(); parent && parent->getParent();
             parent = parent->getParent())
            if (auto* group = FCast<FTestNode>(parent);
                group && std::find(ancestors.begin(), ancestors.end(), group) == ancestors.end())
                ancestors.insert(ancestors.begin(), group);
    for (FTestNode* group : ancestors)
        reporter.send(ReportRecord::kBegin, {group->getPath().toUtf8()});

    TestRunService::Listener listener;
    listener.started = [&](FTestNode& node)
    { reporter.send(ReportRecord::kBegin, {node.getPath().toUtf8()}); };
    listener.groupEnded = [&](FTestNode& node)
    { reporter.send(ReportRecord::kGroupEnd, {node.getPath().toUtf8()}); };
    listener.finished = [&](const FTestNode& node)
    {
        TestOutcome outcome = TestOutcome::of(node);
        std::optional<TestRunService::RandomUse> use = service.randomUseOf(node);
        const uint32 now = Qel::testRandomState();
        for (const std::string& message : outcome.messages)
            reporter.send(ReportRecord::kMessage, {message});
        for (const std::string& error : outcome.errors)
            reporter.send(ReportRecord::kError, {error});
        const double milliseconds = outcome.seconds * 1000.0;
        reporter.send(ReportRecord::kResult,
                      {outcome.path, outcome.suite, std::to_string(outcome.status),
                       std::to_string(outcome.summary), outcome.leaf ? "1" : "0",
                       std::to_string(int64(milliseconds)), std::to_string(use ? use->start : now),
                       std::to_string(use ? use->end : now)});
    };
    service.setListener(std::move(listener));
    service.setCancelPredicate(request.stopRequested);
    if (request.randomState)
    {
        // Set now as well, for a part that has no test left to start.
        Qel::testRandomState() = *request.randomState;
        service.startFirstTestAt(*request.randomState);
    }
    // An empty selection here means that everything lay before the resumption point.
    if (!selection.empty())
        service.run(selection);
    reporter.send(ReportRecord::kDone, {std::to_string(Qel::testRandomState())});
    const bool stopped = request.stopRequested && request.stopRequested();
    return finish(stopped ? RunEnd::kInterrupted : RunEnd::kDone);
}

} // namespace Quillmark
