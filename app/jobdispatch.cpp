#include "app/jobdispatch.h"

#include "app/audiofilejob.h"
#include "app/commandline.h"
#include "app/infojob.h"
#include "app/listdevicesjob.h"
#include "app/listjob.h"
#include "app/midiinfojob.h"
#include "app/playjob.h"
#include "app/presetjob.h"
#include "app/realtimecheckjob.h"
#include "app/renderjob.h"
#include "app/testjob.h"
#include "app/testtreejobs.h"
#include "base/platform/paths.h"

#include <ostream>

namespace Quillmark
{

int runCommandLine(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    if (!commandLine.error.empty())
    {
        err << "Qel3PluginTestHost: " << commandLine.error << "\n";
        err << "Try 'Qel3PluginTestHost --help'.\n";
        return kExitUsage;
    }
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
    case CommandLine::Job::kListTests:
        return runListTestsJob(commandLine, out, err);
    case CommandLine::Job::kAudioInfo:
        return runAudioInfoJob(commandLine, out, err);
    case CommandLine::Job::kAudioConvert:
        return runAudioConvertJob(commandLine, out, err);
    case CommandLine::Job::kPreset:
        return runPresetJob(commandLine, out, err);
    case CommandLine::Job::kRender:
        return runRenderJob(commandLine, out, err);
    case CommandLine::Job::kMidiInfo:
        return runMidiInfoJob(commandLine, out, err);
    case CommandLine::Job::kInfo:
        return runInfoJob(commandLine, out, err);
    case CommandLine::Job::kCheckRealtime:
        return runRealtimeCheckJob(commandLine, out, err);
    case CommandLine::Job::kListDevices:
        return runListDevicesJob(commandLine, out, err);
    case CommandLine::Job::kPlay:
        return runPlayJob(commandLine, out, err);
    case CommandLine::Job::kTestSettings:
        return runTestSettingsJob(commandLine, out, err);
    case CommandLine::Job::kNone:
        break;
    }
    printUsage(err);
    return kExitUsage;
}

} // namespace Quillmark
