#include "app/renderjob.h"

#include "app/commandline.h"
#include "app/hostsession.h"
#include "audiofile/audioaccessor.h"
#include "audiofile/audiofile.h"
#include "audiofile/audiofilehandler.h"
#include "audiofile/audiofilekeys.h"
#include "base/fmainloop.h"
#include "base/optimaudio/audiokernels.h"
#include "base/owned.h"
#include "devices/audio/baioshandler.h"
#include "devices/audio/devicemanager.h"
#include "devices/audio/nullaudiodriver.h"
#include "devices/audio/pbaiosmanager.h"
#include "devices/ports/pportregistry.h"
#include "engine/audiograph.h"
#include "engine/inputoperator.h"
#include "engine/qelrack.h"
#include "engine/qelslot.h"
#include "engine/qelslotoperator.h"
#include "hosting/classlookup.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/qeleditcontroller.h"
#include "midi/minitempotrack.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <ostream>
#include <vector>

namespace Quillmark
{

namespace
{

constexpr const char* kProgram = "Qel3PluginTestHost: ";

/** The sample rate of an audio file, 0 when it cannot be read. */
double fileSampleRate(const std::string& path)
{
    Owned<AudioFile> file(new AudioFile);
    file->setRepairOnRead(false);
    file->setPath(path);
    if (!file->ensureHeader() || !file->isValid())
        return 0.0;
    return file->getSampleRate();
}

/** A stereo 32-bit float WAV file written block by block. */
class WaveWriter
{
public:
    bool open(const std::string& path, double rate, std::string& problem)
    {
        file.reset(new AudioFile);
        file->setPath(path);
        if (!file->getHandler() || file->isReadOnly())
        {
            problem = "no writable file type for this name";
            return false;
        }
        file->setDefaultAttributes();
        file->setChannelCount(2);
        file->getAttributes().setInt(AudioKeys::kByteOrder, 0);
        file->getAttributes().setInt(AudioKeys::kFrameFormat, 0);
        file->setSampleFormat(AudioConverter::kFloat);
        file->setSampleSize(32);
        file->setSampleRate(rate);
        file->getAttributes().setInt(AudioKeys::kFrameSize, 8);
        file->getHandler()->onFormatChanged();
        std::unique_ptr<AudioAccessStream> stream(file->createFile(kAudioModeReadWrite));
        if (!stream)
        {
            problem = "cannot create the file";
            return false;
        }
        writer.reset(new AudioAccessor(*file, stream.release()));
        writer->setSampleRate(rate);
        writer->setSampleFormat(AudioConverter::kFloat);
        writer->setSampleSize(32);
        pending = std::make_unique<float[]>(kChunkSamples);
        filled = 0;
        return true;
    }
    /** Collects the frames and writes them in large pieces: one write per block would cost
        more than the rendering of small blocks. */
    bool write(const float* left, const float* right, int32 frames)
    {
        while (frames > 0)
        {
            const int32 room = int32((kChunkSamples - filled) / 2);
            const int32 take = frames < room ? frames : room;
            float* to = pending.get() + filled;
            for (int32 i = 0; i < take; ++i)
            {
                to[2 * i] = left[i];
                to[2 * i + 1] = right[i];
            }
            filled += size_t(take) * 2;
            left += take;
            right += take;
            frames -= take;
            if (filled == kChunkSamples && !flush())
                return false;
        }
        return true;
    }
    bool flush()
    {
        const int64 frames = int64(filled / 2);
        const bool ok = frames == 0 || writer->write(frames, pending.get()) >= 0;
        filled = 0;
        return ok;
    }
    void close()
    {
        if (writer)
            writer->close();
    }

private:
    static constexpr size_t kChunkSamples = 65536 * 2;

    Owned<AudioFile> file;
    Owned<AudioAccessor> writer;
    std::unique_ptr<float[]> pending; // interleaved, kChunkSamples long
    size_t filled = 0;
};

/** Everything a render plays through, torn down in the order of the application's quit. */
class RenderEngine
{
public:
    ~RenderEngine()
    {
        if (rack)
            rack->release();
        if (handler)
            BaiosHandler::destroy(nullptr);
        if (graph)
            graph->release();
        if (manager)
        {
            manager->terminate();
            FMainLoop::instance()->cancel(manager);
            manager->release();
        }
        if (ports)
            ports->release();
    }

    PPortRegistry* ports = nullptr;
    PBaiosManager* manager = nullptr;
    MiniEngine::AudioGraph* graph = nullptr;
    BaiosHandler* handler = nullptr;
    MiniEngine::QelRack* rack = nullptr;
    MiniEngine::QelSlot* slot = nullptr;
    Baios::NullAudioDevice* device = nullptr;
};

} // namespace

int runRenderJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    const RenderOptions& options = commandLine.render;
    installAudioKernels();
    HostSession session(err, options.verbose || commandLine.verbose,
                        commandLine.dataFolderFor(options.configFolder));
    FComponentDescription* description = session.scanForClass(options.folders, options.className);
    if (!description)
        return kExitUsage;

    // The input decides the format unless a rate is given: a file plays sample for sample.
    const int32 inputKind = MiniEngine::SignalGenerator::kindOfInput(options.input);
    const bool inputFile = inputKind == MiniEngine::SignalGenerator::kAudioFile;
    double rate = options.sampleRate;
    if (rate <= 0.0 && inputFile)
        rate = fileSampleRate(options.input);
    if (rate <= 0.0)
        rate = RenderOptions::kDefaultSampleRate;
    if (options.seconds < 0.0 && !inputFile && options.midi.empty())
    {
        err << kProgram << "--render needs --seconds without an input file or a MIDI file\n";
        return kExitUsage;
    }

    RenderEngine engine;
    engine.ports = new PPortRegistry;
    engine.manager = new PBaiosManager(engine.ports, nullptr);
    {
        std::vector<std::unique_ptr<Baios::AudioDriver>> drivers;
        drivers.push_back(std::make_unique<Baios::NullAudioDriver>());
        auto* library = new Baios::DeviceManager(std::move(drivers));
        const bool ok = engine.manager->initialize(static_cast<Baios::IDeviceManager*>(library));
        library->release();
        if (!ok)
        {
            err << kProgram << "the audio device library cannot be started\n";
            return kExitFailure;
        }
    }
    String deviceError;
    PBaiosDevice* device =
        engine.manager->selectDevice(Baios::NullAudioDevice::kOfflineIdentifier, deviceError);
    engine.device = device ? Baios::NullAudioDevice::fromDevice(device->getDriver()) : nullptr;
    if (!engine.device || !engine.device->setSampleRate(rate) ||
        !engine.device->setBlockSize(options.blockSize))
    {
        err << kProgram << "the offline driver cannot play " << rate << " Hz in blocks of "
            << options.blockSize << "\n";
        return kExitFailure;
    }

    // The graph as at start-up: recorder, input signal, then the plug-in's slot.
    engine.graph = new MiniEngine::AudioGraph(nullptr, engine.ports);
    engine.graph->createRecorder();
    MiniEngine::InputOperator* input = engine.graph->createInputOperator();
    input->getPatternPlayer().setActive(false); // only the MIDI file plays notes
    engine.handler = BaiosHandler::create(engine.graph, engine.manager, nullptr);
    if (!engine.handler)
    {
        err << kProgram << "the audio engine cannot be joined to the driver\n";
        return kExitFailure;
    }
    engine.rack =
        new MiniEngine::QelRack(engine.graph, &session.getRegistry(), nullptr, engine.ports);
    std::string problem;
    engine.slot = engine.rack->addSlot(description->getCid(), &problem);
    if (!engine.slot)
    {
        err << kProgram << options.className << ": " << problem << "\n";
        return kExitFailure;
    }
    MiniEngine::QelSlotOperator* slotOperator = engine.slot->getOperator();

    // Routing: the input signal into the plug-in's first inputs, its first outputs (a mono
    // output on both sides) to the device, its aux input on the aux signal.
    for (int32 c = 0; c < 2; ++c)
        if (MiniEngine::QelBusPin* pin = slotOperator->getInputPin(c))
            input->getOutputPin(c)->connect(pin);
    MiniEngine::QelBusPin* left = slotOperator->getOutputPin(0);
    MiniEngine::QelBusPin* right = slotOperator->getOutputPin(1);
    if (left)
        left->connect(device->getPlaybackPort(0));
    if (right ? right : left)
        (right ? right : left)->connect(device->getPlaybackPort(1));

    input->setInputSignal(inputKind);
    if (inputFile && !engine.graph->loadAudioFile(options.input, 0, &problem))
    {
        err << kProgram << options.input << ": " << problem << "\n";
        return kExitFailure;
    }
    if (!options.auxInput.empty())
    {
        input->setAuxInputSignal(MiniEngine::SignalGenerator::kAudioFile);
        if (!engine.graph->loadAudioFile(options.auxInput, 1, &problem))
        {
            err << kProgram << options.auxInput << ": " << problem << "\n";
            return kExitFailure;
        }
    }
    MiniTempoTrack& tempo = engine.graph->getTempoTrack();
    if (!options.midi.empty())
    {
        bool loaded = false;
        {
            FGuard guard(*engine.graph->getProcessLock());
            loaded = input->getMidiPlayer().load(options.midi);
        }
        if (!loaded)
        {
            err << kProgram << options.midi << ": " << input->getMidiPlayer().getLoadError()
                << "\n";
            return kExitFailure;
        }
        if (!input->getMidiPlayer().getLoadError().empty())
            err << kProgram << options.midi << ": " << input->getMidiPlayer().getLoadError()
                << "\n";
        tempo.setFollowSong(true);
        if (MidiSongData* song = input->getMidiPlayer().getSong())
            tempo.raiseSongLength(song->getLastPosition());
        engine.graph->rewind();
    }
    if (!options.preset.empty() && !engine.slot->loadPreset(options.preset, &problem))
    {
        err << kProgram << options.preset << ": " << problem << "\n";
        return kExitFailure;
    }

    // How long: as asked, or to the end of the input and the song, plus the plug-in's tail.
    int64 frames = 0;
    if (options.seconds > 0.0)
        frames = int64(std::llround(options.seconds * rate));
    else
    {
        if (inputFile)
            frames = input->getSignal().getLength();
        if (!options.midi.empty())
            frames =
                std::max(frames, int64(std::ceil(tempo.getSeconds(tempo.getSongLength()) * rate)));
        uint32 tail = slotOperator->getProcessor()->getTailSamples();
        const double maxTail = RenderOptions::kMaxTailSeconds * rate;
        frames += tail == Qel::kInfiniteTail || tail > maxTail ? int64(maxTail) : int64(tail);
    }

    // The playback channels are read straight after each block; they stay where they are for
    // the whole render.
    const float* playedLeft = engine.device->getPlaybackBuffer(0);
    const float* playedRight = engine.device->getPlaybackBuffer(1);
    if (!playedLeft || !playedRight)
    {
        err << kProgram << "the offline driver has no stereo playback\n";
        return kExitFailure;
    }

    WaveWriter writer;
    if (!writer.open(options.output, rate, problem))
    {
        err << kProgram << options.output << ": " << problem << "\n";
        return kExitFailure;
    }
    int64 written = 0;
    bool writeFailed = false;

    // Values before the first block go to the controller as well, so both halves agree.
    std::vector<RenderOptions::Setting> pending = options.settings;
    std::stable_sort(pending.begin(), pending.end(),
                     [](const auto& a, const auto& b) { return a.seconds < b.seconds; });
    Qel::IEditController* controller =
        engine.slot->getEditPart() ? engine.slot->getEditPart()->getController() : nullptr;

    engine.graph->prepareBuffers(options.blockSize);
    engine.graph->resume();
    engine.graph->setProcessing(true);
    engine.graph->setPlaying(true);

    const auto startTime = std::chrono::steady_clock::now();
    int64 blocks = 0;
    size_t next = 0;
    while (written < frames && !writeFailed)
    {
        // A change lands at the first sample of the block that holds its time.
        const int64 blockEnd = blocks * options.blockSize + options.blockSize;
        for (; next < pending.size() && int64(pending[next].seconds * rate) < blockEnd; ++next)
        {
            const auto id = Qel::ParamID(pending[next].id);
            if (controller && pending[next].seconds == 0.0)
                controller->setParamNormalized(id, pending[next].value);
            slotOperator->queueParameter(int32(id), pending[next].value);
        }
        if (engine.device->runBlocks(1) != 1)
            break;
        ++blocks;
        const int64 take = std::min<int64>(options.blockSize, frames - written);
        if (!writer.write(playedLeft, playedRight, int32(take)))
            writeFailed = true;
        written += take;
    }
    if (!writeFailed && !writer.flush())
        writeFailed = true;
    const double elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - startTime).count();
    writer.close();
    if (writeFailed || written < frames)
    {
        err << kProgram << options.output << ": writing failed after " << written << " frames\n";
        std::remove(options.output.c_str()); // no half-written file is left behind
        return kExitFailure;
    }
    const double audioSeconds = double(frames) / rate;
    char speed[64];
    std::snprintf(speed, sizeof(speed), "%.1f", elapsed > 0.0 ? audioSeconds / elapsed : 0.0);
    out << "Wrote\t" << options.output << "\n";
    out << "Frames\t" << frames << "\n";
    out << "Blocks\t" << blocks << "\n";
    out << "SampleRate\t" << rate << "\n";
    out << "Speed\t" << speed << "x real time\n";
    return kExitOk;
}

} // namespace Quillmark
