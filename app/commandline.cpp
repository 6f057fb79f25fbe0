#include "app/commandline.h"

#include "app/listjob.h"
#include "app/presetjob.h"
#include "app/testjob.h"
#include "base/platform/paths.h"

#include <cmath>
#include <cstdlib>
#include <ostream>

namespace Quillmark
{

CommandLine CommandLine::parse(int argc, const char* const argv[])
{
    CommandLine result;
    std::string testOption;    // the first option given that only --test takes
    std::string isolateOption; // the first option given that only --isolate takes
    auto belongsToTest = [&](const std::string& option)
    {
        if (testOption.empty())
            testOption = option;
    };
    auto setJob = [&](Job job, const std::string& argument)
    {
        if (result.job != Job::kNone && result.job != job && result.error.empty())
            result.error = "only one job at a time: " + argument;
        result.job = job;
    };
    for (int i = 1; i < argc; ++i)
    {
        std::string argument = argv[i];
        auto takeValue = [&](std::string& into) -> bool
        {
            if (i + 1 >= argc)
            {
                result.error = argument + " needs a value";
                return false;
            }
            into = argv[++i];
            return true;
        };
        if (isPresetJobOption(argument))
        {
            setJob(Job::kPreset, argument);
            result.presetArguments.assign(argv + i, argv + argc);
            break;
        }
        if (argument == "--list")
            setJob(Job::kList, argument);
        else if (argument == "--test")
            setJob(Job::kTest, argument);
        else if (argument == "--class")
        {
            belongsToTest(argument);
            if (!takeValue(result.testClass))
                break;
        }
        else if (argument == "--select")
        {
            belongsToTest(argument);
            std::string path;
            if (!takeValue(path))
                break;
            result.selections.push_back(path);
        }
        else if (argument == "--log")
        {
            belongsToTest(argument);
            if (!takeValue(result.logFile))
                break;
        }
        else if (argument == "--isolate")
        {
            belongsToTest(argument);
            result.isolate = true;
        }
        else if (argument == "--junit")
        {
            belongsToTest(argument);
            if (!takeValue(result.junitFile))
                break;
        }
        else if (argument == "--timeout")
        {
            belongsToTest(argument);
            if (isolateOption.empty())
                isolateOption = argument;
            std::string text;
            if (!takeValue(text))
                break;
            char* end = nullptr;
            double seconds = std::strtod(text.c_str(), &end);
            if (text.empty() || *end != '\0' || !std::isfinite(seconds) || seconds <= 0.0)
            {
                result.error = "--timeout needs a number of seconds above 0, not: " + text;
                break;
            }
            result.timeoutSeconds = seconds;
        }
        else if (argument == "--isolated-child" || argument == "--report-fd")
        {
            // Only an isolating run passes these, to the test processes it starts.
            belongsToTest(argument);
            std::string value;
            if (!takeValue(value))
                break;
            if (argument == "--isolated-child")
                result.childUnit = value;
            else
                result.reportFd = std::atoi(value.c_str());
        }
        else if (argument == "--help" || argument == "-h")
            setJob(Job::kHelp, argument);
        else if (argument == "--version")
            setJob(Job::kVersion, argument);
        else if (argument == "--verbose" || argument == "-v")
            result.verbose = true;
        else if (argument == "--config-dir")
        {
            if (i + 1 >= argc)
            {
                result.error = "--config-dir needs a folder";
                break;
            }
            result.configFolder = argv[++i];
        }
        else if (argument.rfind("--config-dir=", 0) == 0)
            result.configFolder = argument.substr(13);
        else if (!argument.empty() && argument[0] == '-')
        {
            result.error = "unknown option: " + argument;
            break;
        }
        else
            result.folders.push_back(argument);
    }
    if (result.error.empty() && !result.folders.empty() && result.job != Job::kList &&
        result.job != Job::kTest)
        result.error = "a folder is given without a job: " + result.folders.front();
    if (result.error.empty() && !testOption.empty() && result.job != Job::kTest)
        result.error = testOption + " belongs to --test";
    if (result.error.empty() && !isolateOption.empty() && !result.isolate)
        result.error = isolateOption + " belongs to --isolate";
    if (result.error.empty() && !result.childUnit.empty() && result.reportFd < 0)
        result.error = "--isolated-child needs --report-fd";
    return result;
}

void printUsage(std::ostream& out)
{
    out << "Usage: Qel3PluginTestHost --list [FOLDER...] [--verbose] [--config-dir DIR]\n"
           "       Qel3PluginTestHost --test [MODULE-OR-FOLDER...] [--class NAME-OR-CID]\n"
           "                          [--select PATH]... [--log FILE] [--junit FILE]\n"
           "                          [--isolate [--timeout SECONDS]] [--config-dir DIR]\n"
           "       Qel3PluginTestHost --preset-save --class NAME-OR-CID [MODULE-OR-FOLDER...]\n"
           "                          [--set PARAM-ID=NORMALIZED]... [--program-index N] FILE\n"
           "       Qel3PluginTestHost --preset-info FILE\n"
           "       Qel3PluginTestHost --preset-load --class NAME-OR-CID [MODULE-OR-FOLDER...] "
           "FILE\n"
           "       Qel3PluginTestHost --convert-presets SRC-FOLDER DEST-FOLDER --uid ABCD\n"
           "                          (--bank|--program)\n"
           "       Qel3PluginTestHost --param-structure FILE-OR-MODULE\n"
           "       Qel3PluginTestHost --representation FILE\n"
           "       Qel3PluginTestHost --overwrite-plugin-name FOLDER --name NAME\n"
           "\n"
           "  --list             list every class of the modules in the default plug-in\n"
           "                     folders, or in the folders given, one line per class:\n"
           "                     category, name, class identifier, vendor, version,\n"
           "                     sub-categories, location (separated by tabs)\n"
           "  --test             build the conformity test tree for every class of the\n"
           "                     modules found (a module file or package folder given is\n"
           "                     scanned by itself), run it, print one verdict line per\n"
           "                     test and a closing line \"N passed, N failed\"\n"
           "  --class NAME-OR-CID  test only the class of that name or identifier\n"
           "  --select PATH      run only this node of the tree with what lies below it,\n"
           "                     such as \"Local Instances/Qel Gain\"; may be repeated\n"
           "  --log FILE         write the test log to FILE instead of AutotestLog.txt in\n"
           "                     the user data folder\n"
           "  --junit FILE       also write the results as a JUnit XML report to FILE\n"
           "  --isolate          run the tests of each class in a process of its own: a\n"
           "                     crash, an abort, an uncaught exception or a hang fails the\n"
           "                     test that was running, and the run goes on with the next\n"
           "                     class\n"
           "  --timeout SECONDS  with --isolate: the longest a test may go without progress\n"
           "                     before its process is killed (default 150)\n"
           "  --verbose, -v      tell on stderr, for each module, whether it came from the\n"
           "                     cache or was loaded, and why a module was skipped\n"
           "  --config-dir DIR   keep preferences and the module cache in DIR instead of\n"
           "                     $XDG_CONFIG_HOME/Qel3PluginTestHost\n"
           "  --preset-save      save the state of a new instance of the class as a\n"
           "                     .qelpreset file, after the --set values\n"
           "  --preset-info      print the class, the chunks (identifier, offset, size)\n"
           "                     and the meta attributes (id, type, value, flags)\n"
           "  --preset-load      restore a preset into a new instance and print each\n"
           "                     parameter: id, title, normalized value, text\n"
           "  --convert-presets  convert each .qelpreset of a folder to fxb or fxp\n"
           "  --param-structure  print the parameter structure (FILE.qelxml, or the one\n"
           "                     beside a module): category bits, groups, parameters\n"
           "                     with their evaluated ids, value types; warnings on\n"
           "                     stderr\n"
           "  --representation   print the pages, cells and layers of a representation\n"
           "                     document as the page view shows them\n"
           "  --overwrite-plugin-name  set the plug-in name in the meta information of\n"
           "                     each .qelpreset of a folder\n"
           "  --help             show this text\n"
           "  --version          show the version\n"
           "\n"
           "Default folders, in order: each entry of QEL3_PATH, ~/.qel3, /usr/local/lib/qel3,\n"
           "/usr/lib/qel3, the folder QEL3 beside the program, then its folder Components.\n"
           "\n"
           "On a terminal, --test keeps one progress line at the bottom of its output.\n"
           "\n"
           "Exit status: 0 on success, 1 when no class was found (--list) or a test failed\n"
           "(--test), 2 for a usage error and when --test finds no class, 130 when Ctrl-C\n"
           "stopped a test run.\n";
}

int runCommandLine(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    if (!commandLine.error.empty())
    {
        err << "Qel3PluginTestHost: " << commandLine.error << "\n";
        err << "Try 'Qel3PluginTestHost --help'.\n";
        return kExitUsage;
    }
    if (!commandLine.configFolder.empty())
        platform::setUserDataFolder(commandLine.configFolder);

    switch (commandLine.job)
    {
    case CommandLine::Job::kHelp:
        printUsage(out);
        return kExitOk;
    case CommandLine::Job::kVersion:
        out << "Qel3PluginTestHost " << QEL_VERSION << "\n";
        return kExitOk;
    case CommandLine::Job::kList:
        return runListJob(commandLine, out, err);
    case CommandLine::Job::kTest:
        return runTestJob(commandLine, out, err);
    case CommandLine::Job::kPreset:
        return runPresetJob(commandLine, out, err);
    case CommandLine::Job::kNone:
        break;
    }
    printUsage(err);
    return kExitUsage;
}

} // namespace Quillmark
