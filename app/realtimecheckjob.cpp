#include "app/realtimecheckjob.h"

#include "app/commandline.h"
#include "app/directmodules.h"
#include "app/hostsession.h"
#include "app/junitwriter.h"
#include "base/platform/files.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/plugprovider.h"
#include "qel3/ipluginfactory.h"
#include "rtcheck/offlinerender.h"
#include "rtcheck/realtimechecks.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <ostream>
#include <sstream>

namespace Quillmark
{

namespace
{

constexpr const char* kProgram = "Qel3PluginTestHost: ";
constexpr const char* kLogName = "RealtimeCheckLog.txt";

std::string verdictLine(const std::string& path, const CheckResult& result)
{
    return (result.passed ? "Passed: " : "FAILED: ") + path + " (" + result.summary + ")";
}

TestOutcome outcomeOf(const std::string& suite, const CheckResult& result, double seconds)
{
    TestOutcome outcome;
    outcome.path = suite + "/" + result.name;
    outcome.suite = suite;
    outcome.status = result.passed ? FTestNode::kPassed : FTestNode::kFailed;
    outcome.summary = outcome.status;
    outcome.seconds = seconds;
    if (result.passed)
    {
        outcome.messages.push_back(result.summary);
        outcome.messages.insert(outcome.messages.end(), result.evidence.begin(),
                                result.evidence.end());
    }
    else
    {
        outcome.errors.push_back(result.summary);
        outcome.errors.insert(outcome.errors.end(), result.evidence.begin(), result.evidence.end());
    }
    return outcome;
}

std::string describePlan(const RenderPlan& plan)
{
    std::string formats;
    for (const RenderFormat& format : plan.formats)
    {
        char text[64];
        std::snprintf(text, sizeof text, "%s%.0f Hz/%d", formats.empty() ? "" : ", ",
                      format.sampleRate, int(format.blockSize));
        formats += text;
    }
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g", plan.seconds);
    return std::string(seconds) + " seconds over " + formats + " (rate/block size), seed " +
           std::to_string(plan.seed);
}

} // namespace

int runRealtimeCheckJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    if (commandLine.testClass.empty())
    {
        err << kProgram << "--check-realtime needs --class NAME-OR-CID\n";
        return kExitUsage;
    }
    DirectModules direct;
    std::vector<std::string> folders;
    std::string problem;
    if (!direct.sort(commandLine.folders, folders, problem))
    {
        err << kProgram << problem << "\n";
        return kExitUsage;
    }
    HostSession session(err, commandLine.verbose, commandLine.configFolder);
    session.scan(folders);
    FComponentDescription* description =
        findAudioModuleClass(session.getRegistry(), commandLine.testClass);
    if (!description)
    {
        err << noClassFoundText(commandLine.testClass);
        return kExitUsage;
    }
    const std::string name = description->getName().toUtf8();

    auto* provider = new Qel::PlugProvider(&session.getRegistry(), description->getCid(), true);
    const bool created = provider->createPlugIn();
    for (const std::string& text : provider->getProblems())
        err << kProgram << text << "\n";
    Qel::IComponent* component = created ? provider->getComponent() : nullptr;
    if (!component)
    {
        err << kProgram << "the class \"" << name << "\" could not be created\n";
        provider->release();
        return kExitFailure;
    }
    Qel::IEditController* controller = provider->getController();

    RenderPlan plan;
    plan.formats = RenderPlan::standardFormats();
    plan.seconds = commandLine.seconds;
    plan.seed = commandLine.seed.value_or(1);
    OfflineRender render(component, controller, name);
    RealtimeChecks checks(plan.formats);
    const auto started = std::chrono::steady_clock::now();
    const bool rendered = render.run(plan, checks, problem);
    const double elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::vector<CheckResult> results;
    if (rendered)
        results = checks.results(render);
    provider->releasePlugIn(component, controller);
    provider->destroyPlugIn();
    provider->release();
    if (!rendered)
    {
        err << kProgram << "\"" << name << "\": " << problem << "\n";
        return kExitFailure;
    }

    std::ostringstream log;
    log << "Real-time check of \"" << name << "\" (" << description->getCid().toRegistryString()
        << ")\n"
        << "Rendered " << describePlan(plan) << "; " << checks.countBlocks() << " blocks"
        << (render.fedInputs() ? ", noise and silence at the inputs" : "")
        << (render.playedNotes() ? ", notes at the event input" : "") << ", "
        << render.getParameters().size()
        << (render.getParameters().size() == 1 ? " automatable parameter"
                                               : " automatable parameters")
        << " moved\n";
    int passed = 0, failed = 0;
    std::vector<TestOutcome> outcomes;
    for (const CheckResult& result : results)
    {
        const std::string line = verdictLine(name + "/" + result.name, result);
        out << line << "\n";
        log << line << "\n";
        for (const std::string& evidence : result.evidence)
        {
            out << "    " << evidence << "\n";
            log << "    " << evidence << "\n";
        }
        (result.passed ? passed : failed)++;
        outcomes.push_back(outcomeOf(name, result, elapsed / double(results.size())));
    }
    out << passed << " passed, " << failed << " failed\n";
    log << passed << " passed, " << failed << " failed\n";
    out.flush();

    int code = failed > 0 ? kExitFailure : kExitOk;
    const std::string logPath = commandLine.logFile.empty()
                                    ? platform::joinPath(session.getDataFolder(), kLogName)
                                    : commandLine.logFile;
    std::ofstream logFile(logPath, std::ios::binary | std::ios::trunc);
    if (!(logFile << log.str()) || !logFile.flush())
    {
        err << kProgram << "cannot write the log " << logPath << "\n";
        code = kExitFailure;
    }
    if (!commandLine.junitFile.empty())
    {
        std::string error;
        if (!JUnitWriter().writeFile(commandLine.junitFile, outcomes, error))
        {
            err << kProgram << error << "\n";
            code = kExitFailure;
        }
    }
    return code;
}

} // namespace Quillmark
