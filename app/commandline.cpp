#include "app/commandline.h"

#include <cmath>
#include <cstdlib>
#include <ostream>

namespace Quillmark
{

bool CommandLine::isPresetJobOption(const std::string& argument)
{
    return argument == "--preset-save" || argument == "--preset-info" ||
           argument == "--preset-load" || argument == "--convert-presets" ||
           argument == "--param-structure" || argument == "--representation" ||
           argument == "--overwrite-plugin-name";
}

namespace
{

/** The whole of `text` as a finite number. */
bool number(const std::string& text, double& value)
{
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && std::isfinite(value);
}

} // namespace

std::string RenderOptions::parse(const std::vector<std::string>& arguments, RenderOptions& options)
{
    for (size_t i = 0; i < arguments.size(); ++i)
    {
        const std::string& argument = arguments[i];
        std::string value;
        const bool takesValue =
            argument == "--class" || argument == "--input" || argument == "--aux-input" ||
            argument == "--midi" || argument == "--preset" || argument == "--set" ||
            argument == "--sample-rate" || argument == "--block-size" || argument == "--seconds" ||
            argument == "--output" || argument == "--config-dir";
        if (takesValue)
        {
            if (i + 1 >= arguments.size())
                return argument + " needs a value";
            value = arguments[++i];
        }
        double n = 0.0;
        if (argument == "--class")
            options.className = value;
        else if (argument == "--input")
            options.input = value;
        else if (argument == "--aux-input")
            options.auxInput = value;
        else if (argument == "--midi")
            options.midi = value;
        else if (argument == "--preset")
            options.preset = value;
        else if (argument == "--output")
            options.output = value;
        else if (argument == "--config-dir")
            options.configFolder = value;
        else if (argument == "--sample-rate")
        {
            if (!number(value, n) || n < 8000.0 || n > 384000.0)
                return "--sample-rate needs a rate of 8000 to 384000 Hz, not: " + value;
            options.sampleRate = n;
        }
        else if (argument == "--block-size")
        {
            if (!number(value, n) || n != std::floor(n) || n < 1 || n > kMaxBlockSize)
                return "--block-size needs a whole number of 1 to 8192, not: " + value;
            options.blockSize = int(n);
        }
        else if (argument == "--seconds")
        {
            if (!number(value, n) || n <= 0.0)
                return "--seconds needs a number above 0, not: " + value;
            options.seconds = n;
        }
        else if (argument == "--set")
        {
            // PARAM-ID=NORMALIZED, optionally @SECONDS for a change during the render.
            Setting setting;
            const size_t equals = value.find('=');
            const size_t at = value.find('@');
            const std::string id = value.substr(0, equals);
            const std::string normalized =
                equals == std::string::npos
                    ? std::string()
                    : value.substr(equals + 1,
                                   at == std::string::npos ? std::string::npos : at - equals - 1);
            double parsedId = 0.0;
            if (equals == std::string::npos || !number(id, parsedId) || parsedId < 0 ||
                parsedId != std::floor(parsedId) || parsedId > 4294967295.0 ||
                !number(normalized, setting.value) || setting.value < 0.0 || setting.value > 1.0)
                return "--set needs PARAM-ID=NORMALIZED (0 to 1), not: " + value;
            setting.id = int64_t(parsedId);
            if (at != std::string::npos &&
                (!number(value.substr(at + 1), setting.seconds) || setting.seconds < 0.0))
                return "--set takes a time of 0 seconds or more after @, not: " + value;
            options.settings.push_back(setting);
        }
        else if (argument == "--verbose" || argument == "-v")
            options.verbose = true;
        else if (!argument.empty() && argument[0] == '-')
            return "unknown option for --render: " + argument;
        else
            options.folders.push_back(argument);
    }
    if (options.className.empty())
        return "--render needs --class NAME-OR-CID";
    if (options.output.empty())
        return "--render needs --output FILE.wav";
    return std::string();
}

std::string PlayOptions::parse(const std::vector<std::string>& arguments, PlayOptions& options)
{
    for (size_t i = 0; i < arguments.size(); ++i)
    {
        const std::string& argument = arguments[i];
        std::string value;
        const bool takesValue = argument == "--class" || argument == "--driver" ||
                                argument == "--input" || argument == "--midi" ||
                                argument == "--midi-in" || argument == "--seconds" ||
                                argument == "--record" || argument == "--config-dir";
        if (takesValue)
        {
            if (i + 1 >= arguments.size())
                return argument + " needs a value";
            value = arguments[++i];
        }
        if (argument == "--class")
            options.className = value;
        else if (argument == "--driver")
            options.driver = value;
        else if (argument == "--input")
            options.input = value;
        else if (argument == "--midi")
            options.midi = value;
        else if (argument == "--midi-in")
            options.midiIn = value;
        else if (argument == "--record")
            options.record = value;
        else if (argument == "--config-dir")
            options.configFolder = value;
        else if (argument == "--seconds")
        {
            double n = 0.0;
            if (!number(value, n) || n <= 0.0 || n > 86400.0)
                return "--seconds needs a number of seconds above 0, not: " + value;
            options.seconds = n;
        }
        else if (argument == "--verbose" || argument == "-v")
            options.verbose = true;
        else if (!argument.empty() && argument[0] == '-')
            return "unknown option for --play: " + argument;
        else
            options.folders.push_back(argument);
    }
    if (options.className.empty())
        return "--play needs --class NAME-OR-CID";
    return std::string();
}

CommandLine CommandLine::parse(int argc, const char* const argv[])
{
    CommandLine result;
    std::string testOption;    // the first option given that only --test takes
    std::string isolateOption; // the first option given that only --isolate takes
    std::string treeOption;    // the first option given that --test and --list-tests take
    bool secondsGiven = false;
    auto belongsToTest = [&](const std::string& option)
    {
        if (testOption.empty())
            testOption = option;
    };
    auto belongsToTree = [&](const std::string& option)
    {
        if (treeOption.empty())
            treeOption = option;
    };
    // A decimal number of 0 to 4294967295.
    auto readState = [&](const std::string& option, const std::string& text,
                         std::optional<uint32_t>& into) -> bool
    {
        char* end = nullptr;
        unsigned long long value = std::strtoull(text.c_str(), &end, 10);
        if (text.empty() || text[0] == '-' || *end != '\0' || value > 0xFFFFFFFFull)
        {
            result.error = option + " needs a number of 0 to 4294967295, not: " + text;
            return false;
        }
        into = uint32_t(value);
        return true;
    };
    // Options that --test has and the real-time check shares.
    auto sharedWithCheck = [](const std::string& option)
    { return option == "--seed" || option == "--log" || option == "--junit"; };
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
        if (CommandLine::isPresetJobOption(argument))
        {
            setJob(Job::kPreset, argument);
            result.presetArguments.assign(argv + i, argv + argc);
            break;
        }
        if (argument == "--render")
        {
            setJob(Job::kRender, argument);
            std::vector<std::string> rest(argv + i + 1, argv + argc);
            const std::string problem = RenderOptions::parse(rest, result.render);
            if (!problem.empty() && result.error.empty())
                result.error = problem;
            break;
        }
        if (argument == "--play")
        {
            setJob(Job::kPlay, argument);
            std::vector<std::string> rest(argv + i + 1, argv + argc);
            const std::string problem = PlayOptions::parse(rest, result.play);
            if (!problem.empty() && result.error.empty())
                result.error = problem;
            break;
        }
        if (argument == "--list")
            setJob(Job::kList, argument);
        else if (argument == "--test")
            setJob(Job::kTest, argument);
        else if (argument == "--check-realtime")
            setJob(Job::kCheckRealtime, argument);
        else if (argument == "--seconds")
        {
            std::string text;
            if (!takeValue(text))
                break;
            double seconds = 0.0;
            if (!number(text, seconds) || seconds <= 0.0 || seconds > 86400.0)
            {
                result.error = "--seconds needs a number of seconds above 0, not: " + text;
                break;
            }
            result.seconds = seconds;
            secondsGiven = true;
        }
        else if (argument == "--list-tests")
            setJob(Job::kListTests, argument);
        else if (argument == "--info")
            setJob(Job::kInfo, argument);
        else if (argument == "--generic")
            result.generic = true;
        else if (argument == "--enable" || argument == "--disable")
        {
            setJob(Job::kTestSettings, argument);
            std::string path;
            if (!takeValue(path))
                break;
            result.enableChanges.emplace_back(path, argument == "--enable");
        }
        else if (argument == "--midi-info")
            setJob(Job::kMidiInfo, argument);
        else if (argument == "--list-devices")
            setJob(Job::kListDevices, argument);
        else if (argument == "--class")
        {
            belongsToTree(argument);
            if (!takeValue(result.testClass))
                break;
        }
        else if (argument == "--select")
        {
            belongsToTree(argument);
            std::string path;
            if (!takeValue(path))
                break;
            result.selections.push_back(path);
        }
        else if (argument == "--seed" || argument == "--random-state")
        {
            belongsToTest(argument);
            std::string text;
            if (!takeValue(text) ||
                !readState(argument, text, argument == "--seed" ? result.seed : result.randomState))
                break;
        }
        else if (argument == "--repeat")
        {
            belongsToTest(argument);
            std::string text;
            if (!takeValue(text))
                break;
            char* end = nullptr;
            long rounds = std::strtol(text.c_str(), &end, 10);
            if (text.empty() || *end != '\0' || rounds < 1 || rounds > 1000000)
            {
                result.error = "--repeat needs a number of rounds from 1, not: " + text;
                break;
            }
            result.repeat = int(rounds);
        }
        else if (argument == "--stop-on-failure")
        {
            belongsToTest(argument);
            result.stopOnFailure = true;
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
            double seconds = 0.0;
            if (!number(text, seconds) || seconds <= 0.0)
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
        else if (argument == "--audio-info")
            setJob(Job::kAudioInfo, argument);
        else if (argument == "--audio-convert")
            setJob(Job::kAudioConvert, argument);
        else if (argument == "--sample-format" || argument == "--sample-size" ||
                 argument == "--sample-rate" || argument == "--file-type")
        {
            std::string value;
            if (!takeValue(value))
                break;
            result.audioOptions.emplace_back(argument, value);
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
        result.job != Job::kTest && result.job != Job::kListTests &&
        result.job != Job::kTestSettings && result.job != Job::kInfo &&
        result.job != Job::kMidiInfo && result.job != Job::kAudioInfo &&
        result.job != Job::kAudioConvert && result.job != Job::kCheckRealtime)
        result.error = "a folder is given without a job: " + result.folders.front();
    if (result.error.empty() && result.job == Job::kCheckRealtime)
    {
        if (!testOption.empty() && !sharedWithCheck(testOption))
            result.error = testOption + " belongs to --test";
        else if (result.randomState || result.isolate || result.repeat != 1 || result.stopOnFailure)
            result.error = "--check-realtime takes --seed, --log and --junit, no other option of "
                           "--test";
        else if (!result.selections.empty())
            result.error = "--select belongs to --test or --list-tests";
        else if (result.testClass.empty())
            result.error = "--check-realtime needs --class NAME-OR-CID";
    }
    if (result.error.empty() && secondsGiven && result.job != Job::kCheckRealtime)
        result.error = "--seconds belongs to --check-realtime";
    if (result.error.empty() && !testOption.empty() && result.job != Job::kTest &&
        result.job != Job::kCheckRealtime)
        result.error = testOption + " belongs to --test";
    if (result.error.empty() && !treeOption.empty() && result.job != Job::kTest &&
        result.job != Job::kListTests && result.job != Job::kCheckRealtime &&
        !(result.job == Job::kInfo && treeOption == "--class"))
        result.error = treeOption + " belongs to --test or --list-tests";
    if (result.error.empty() && result.job == Job::kInfo && !result.selections.empty())
        result.error = "--select belongs to --test or --list-tests";
    if (result.error.empty() && result.generic && result.job != Job::kInfo)
        result.error = "--generic belongs to --info";
    if (result.error.empty() && result.seed && result.randomState)
        result.error = "--seed and --random-state both say where the sequence starts: give one";
    if (result.error.empty() && result.stopOnFailure && result.repeat < 2)
        result.error = "--stop-on-failure belongs to --repeat";
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
           "                          [--isolate [--timeout SECONDS]] [--seed N | --random-state "
           "N]\n"
           "                          [--repeat N [--stop-on-failure]] [--config-dir DIR]\n"
           "       Qel3PluginTestHost --check-realtime --class NAME-OR-CID [MODULE-OR-FOLDER...]\n"
           "                          [--seconds S] [--seed N] [--log FILE] [--junit FILE]\n"
           "                          [--config-dir DIR]\n"
           "       Qel3PluginTestHost --list-tests [MODULE-OR-FOLDER...] [--class NAME-OR-CID]\n"
           "                          [--select PATH]... [--config-dir DIR]\n"
           "       Qel3PluginTestHost --info [MODULE-OR-FOLDER...] [--class NAME-OR-CID]\n"
           "                          [--generic] [--config-dir DIR]\n"
           "       Qel3PluginTestHost (--enable PATH | --disable PATH)... [MODULE-OR-FOLDER...]\n"
           "                          [--config-dir DIR]\n"
           "       Qel3PluginTestHost --list-devices\n"
           "       Qel3PluginTestHost --midi-info FILE...\n"
           "       Qel3PluginTestHost --audio-info FILE...\n"
           "       Qel3PluginTestHost --audio-convert IN OUT [--sample-format int|float]\n"
           "                          [--sample-size BITS] [--sample-rate HZ] [--file-type NAME]\n"
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
           "       Qel3PluginTestHost --render --class NAME-OR-CID [MODULE-OR-FOLDER...]\n"
           "                          [--input FILE|sine|noise|silence] [--aux-input FILE]\n"
           "                          [--midi FILE.mid] [--preset FILE]\n"
           "                          [--set PARAM-ID=NORMALIZED[@SECONDS]]...\n"
           "                          [--sample-rate HZ] [--block-size N] [--seconds S]\n"
           "                          --output FILE.wav\n"
           "       Qel3PluginTestHost --play --class NAME-OR-CID [MODULE-OR-FOLDER...]\n"
           "                          [--driver NAME] [--input FILE|sine|noise|silence]\n"
           "                          [--midi FILE.mid] [--midi-in PORT] [--seconds S]\n"
           "                          [--record FILE.mid]\n"
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
           "  --seed N           start the random numbers of the tests at N instead of where\n"
           "                     they always start (0 to 4294967295)\n"
           "  --random-state N   start the random numbers at N as the first test begins; a\n"
           "                     failed run prints, per failed test, the command that\n"
           "                     repeats it alone this way\n"
           "  --repeat N         run the tests N times, each round going on with the random\n"
           "                     numbers where the last one left them; each round is reported\n"
           "  --stop-on-failure  with --repeat: stop after the first round with a failure\n"
           "  --check-realtime   render the class offline through the engine for S seconds\n"
           "                     (--seconds, default 20) at several sample rates and block\n"
           "                     sizes, with noise and silence at its inputs, notes at its\n"
           "                     event input and its automatable parameters moved at random\n"
           "                     (repeatable with --seed), and print one verdict per check:\n"
           "                     allocation and blocking calls (locks held elsewhere, waits,\n"
           "                     sleeps, file and socket calls) inside process, with the\n"
           "                     first call stack; NaN and infinity; denormal samples; output\n"
           "                     above 0 dBFS for 10 ms; channels flagged silent that sound;\n"
           "                     the cost of a block (thread CPU time: median, 99th\n"
           "                     percentile and maximum, as a share of the block's real-time\n"
           "                     budget, and the parameter values at the worst block). A lock\n"
           "                     that was free is a warning, not a failure. The log goes to\n"
           "                     --log FILE or RealtimeCheckLog.txt in the user data folder\n"
           "  --seconds S        with --check-realtime: how long to render in all\n"
           "  --list-tests       print the tests a run would run, one per line: the path, a\n"
           "                     tab, and \"enabled\" or \"disabled\" as TestSettings.bin has\n"
           "                     it; no plug-in is created (the tests that modules contribute\n"
           "                     are left out: they exist only once their module makes them)\n"
           "  --info             print the information page of every audio class: its facts\n"
           "                     as name and value, then its bus, parameter, note\n"
           "                     expression and key switch trees, one node per line with\n"
           "                     the cells of the columns separated by tabs\n"
           "  --generic          with --info: also the parameters the generic editor shows\n"
           "  --enable PATH, --disable PATH\n"
           "                     switch a node of the tree on or off in TestSettings.bin, for\n"
           "                     the runs that follow; may be repeated\n"
           "  --list-devices     open each audio driver once and print its name, sample\n"
           "                     rate and block size (or \"unavailable\" and why), then one\n"
           "                     line per port: direction, name, unique name (tab-separated);\n"
           "                     then each MIDI interface (\"MIDI: ALSA MIDI\", \"MIDI: JACK\n"
           "                     MIDI\") with one line per port (\"  in: ...\", \"  out: ...\")\n"
           "                     or the reason it is missing\n"
           "  --midi-info        print what the host reads from each Standard MIDI File:\n"
           "                     format, division, song name, tempo and signature maps,\n"
           "                     and per track its name and events (position in quarter\n"
           "                     notes, status, data), one per line; exit status 1 when\n"
           "                     nothing could be read from a file\n"
           "  --verbose, -v      tell on stderr, for each module, whether it came from the\n"
           "                     cache or was loaded, and why a module was skipped\n"
           "  --config-dir DIR   keep preferences and the module cache in DIR instead of\n"
           "                     $XDG_CONFIG_HOME/Qel3PluginTestHost\n"
           "  --audio-info       print each audio file's type, its attributes (one\n"
           "                     key<TAB>value line each) and the repairs its header needed\n"
           "  --audio-convert    convert IN to OUT in the format given (default: IN's own);\n"
           "                     the file type follows --file-type or OUT's extension\n"
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
           "  --render           play one class offline through the engine, as fast as\n"
           "                     the machine allows, and write its first two outputs as a\n"
           "                     32-bit float WAV file; prints the frames written, the\n"
           "                     blocks and the speed as a multiple of real time\n"
           "  --input            the signal on the plug-in's first inputs: an audio file\n"
           "                     (its first 240 s, sample for sample), a 1000 Hz sine,\n"
           "                     noise or silence (the default)\n"
           "  --aux-input FILE   the aux signal; as in live play it replaces the input's\n"
           "                     samples wherever the file has some\n"
           "  --midi FILE.mid    notes and controllers from a Standard MIDI File, at its\n"
           "                     tempo\n"
           "  --preset FILE      a .qelpreset of the class, loaded before the first block\n"
           "  --set ID=VALUE[@S] a normalized value for a parameter, before the first\n"
           "                     block or at S seconds (from the first sample of the block\n"
           "                     that holds that time); may be repeated\n"
           "  --sample-rate HZ   default: the input file's rate, else 48000\n"
           "  --block-size N     frames per block, 1 to 8192; default 256\n"
           "  --seconds S        how long; default: to the end of the input file or the\n"
           "                     MIDI file, whichever is later, plus the plug-in's tail\n"
           "  --play             play one class live through an audio driver until --seconds\n"
           "                     are up, the --midi song ends, or Ctrl-C; its first two\n"
           "                     outputs go to the driver's first two playback channels,\n"
           "                     every MIDI input of the system (\"All MIDI Inputs\") plays\n"
           "                     into its first event input; prints at the end: driver,\n"
           "                     sample rate, block size, blocks rendered, blocks skipped\n"
           "                     (silence while the engine was busy) and xruns\n"
           "  --driver NAME      with --play: \"JACK\", \"Null Audio Driver\" (plays in real\n"
           "                     time without sound hardware) or an ALSA driver as\n"
           "                     --list-devices names it; default: the driver of the last\n"
           "                     run, else the first that opens. JACK talks to the server\n"
           "                     named by JACK_DEFAULT_SERVER, never starting one\n"
           "  --midi-in PORT     with --play: only this MIDI port (as --list-devices names\n"
           "                     it, such as \"client:port\" for JACK) plays into the class\n"
           "  --record FILE.mid  with --play: record what the MIDI inputs play and write it\n"
           "                     as a Standard MIDI File at the end\n"
           "  --help             show this text\n"
           "  --version          show the version\n"
           "\n"
           "Default folders, in order: each entry of QEL3_PATH, ~/.qel3, /usr/local/lib/qel3,\n"
           "/usr/lib/qel3, the folder QEL3 beside the program, then its folder Components.\n"
           "\n"
           "On a terminal, --test keeps one progress line at the bottom of its output.\n"
           "\n"
           "Exit status: 0 on success, 1 when no class was found (--list, --info), a class\n"
           "could not be created (--info, --check-realtime), a test failed (--test) or a\n"
           "check failed (--check-realtime), 2 for a usage error and when --test or\n"
           "--check-realtime finds no class, 130 when Ctrl-C stopped a test run.\n";
}

} // namespace Quillmark
