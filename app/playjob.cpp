#include "app/playjob.h"

#include "app/audioengine.h"
#include "app/commandline.h"
#include "app/hostsession.h"
#include "app/interruptcatcher.h"
#include "base/fmainloop.h"
#include "base/values/uvalue.h"
#include "devices/audio/audiodriver.h"
#include "devices/audio/baioshandler.h"
#include "engine/audiograph.h"
#include "engine/qelplayer.h"
#include "engine/qelslot.h"
#include "engine/signalgenerator.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"

#include <chrono>
#include <ostream>

namespace Quillmark
{

namespace
{

constexpr const char* kProgram = "Qel3PluginTestHost: ";
// How long the main loop waits at most between two looks at the clock and the song.
constexpr uint32_t kPollMs = 10;

void setValue(MiniEngine::QelPlayer& player, int32 tag, int64 value)
{
    if (UValue* item = player.valueOf(tag))
        item->setInt(value);
}

} // namespace

int runPlayJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    const PlayOptions& options = commandLine.play;
    const int32 inputKind = MiniEngine::SignalGenerator::kindOfInput(options.input);

    HostSession session(err, options.verbose || commandLine.verbose,
                        commandLine.dataFolderFor(options.configFolder));
    FComponentDescription* description = session.scanForClass(options.folders, options.className);
    if (!description)
        return kExitUsage;

    AudioEngine engine(session.getRegistry(), &session.getPreferences());
    AudioEngine::Options engineOptions;
    engineOptions.driver = options.driver;
    // A port named on the command line may belong to a program rather than to hardware.
    engineOptions.midiOptions.enableEmulated = !options.midiIn.empty();
    std::string problem;
    std::vector<std::string> midiProblems;
    if (!engine.open(engineOptions, &problem, &midiProblems))
    {
        err << kProgram << "Failed to open TARN Driver! " << problem << "\n";
        return kExitFailure;
    }
    if (options.verbose || commandLine.verbose)
        for (const std::string& line : midiProblems)
            err << kProgram << line << "\n";

    MiniEngine::QelPlayer& player = *engine.getPlayer();
    MiniEngine::QelSlot* slot = player.loadPlugin(description->getCid(), 0, &problem);
    if (!slot)
    {
        err << kProgram << options.className << ": " << problem << "\n";
        return kExitFailure;
    }
    PPort* midiSource = nullptr;
    if (!options.midiIn.empty())
    {
        midiSource = engine.findMidiSource(options.midiIn);
        if (!midiSource)
        {
            err << kProgram << options.midiIn << ": no such MIDI port\n";
            return kExitFailure;
        }
    }

    // Only the MIDI file and the MIDI inputs play notes, not the player's test patterns.
    setValue(player, MiniEngine::QelPlayer::kActivatePatterns, 0);
    if (inputKind == MiniEngine::SignalGenerator::kAudioFile &&
        !player.loadAudioFile(options.input, 0, &problem))
    {
        err << kProgram << options.input << ": " << problem << "\n";
        return kExitFailure;
    }
    setValue(player, MiniEngine::QelPlayer::kInputSignal, inputKind);
    if (!options.midi.empty() && !player.loadMidiFile(options.midi, &problem))
    {
        err << kProgram << options.midi << ": " << problem << "\n";
        return kExitFailure;
    }
    MiniEngine::AudioGraph& graph = *engine.getGraph();
    if (!options.record.empty())
    {
        graph.setRecordMode(MiniEngine::AudioGraph::kRecordDirect);
        setValue(player, MiniEngine::QelPlayer::kRecord, 1);
    }
    player.press(MiniEngine::QelPlayer::kPlay);
    // The program listens only once it plays and records, so that the first note played to
    // it is heard and kept like every later one.
    engine.connectMidi(slot, midiSource);
    if (!options.record.empty())
        engine.connectRecorder(midiSource); // the recorder listens where the plug-in listens

    InterruptCatcher interrupt;
    FMainLoop* loop = FMainLoop::instance();
    const auto start = std::chrono::steady_clock::now();
    const bool untilSongEnds = options.seconds < 0.0 && !options.midi.empty();
    bool interrupted = false;
    for (;;)
    {
        loop->dispatchWithin(kPollMs);
        loop->runIdlePass();
        if (InterruptCatcher::interrupted())
        {
            interrupted = true;
            break;
        }
        const double elapsed =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (options.seconds > 0.0 && elapsed >= options.seconds)
            break;
        if (untilSongEnds && !graph.isPlaying())
            break;
    }

    int result = interrupted ? kExitInterrupted : kExitOk;
    if (!options.record.empty() && !player.saveMidiFile(options.record, &problem))
    {
        err << kProgram << options.record << ": " << problem << "\n";
        result = kExitFailure;
    }
    else
        player.press(MiniEngine::QelPlayer::kStop);

    BaiosHandler* handler = engine.getHandler();
    Baios::DriverDevice* device = engine.getDriverDevice();
    out << "Driver\t" << engine.getDriverName() << "\n";
    out << "SampleRate\t" << handler->getSampleRate() << "\n";
    out << "BlockSize\t" << handler->getBlockSize() << "\n";
    out << "BlocksRendered\t" << handler->getBlocksRendered() << "\n";
    out << "BlocksSkipped\t" << handler->getBlocksSkipped() << "\n";
    out << "Xruns\t" << (device ? device->getOverloadCount() : 0) << "\n";
    // The settings of this run are the next run's start: the rack and the player's values.
    engine.saveRack(session.getPreferences());
    engine.close();
    return result;
}

} // namespace Quillmark
