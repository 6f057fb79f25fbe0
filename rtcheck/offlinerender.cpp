#include "rtcheck/offlinerender.h"

#include "base/fstring.h"
#include "base/optimaudio/audiokernels.h"
#include "engine/audiooperatorlist.h"
#include "engine/eventlist.h"
#include "engine/qelslotoperator.h"
#include "rtcheck/randomsequence.h"
#include "rtcheck/watchingprocessor.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <thread>

namespace Quillmark
{

using namespace Qel;
using namespace MiniEngine;

namespace
{

constexpr double kTempo = 120.0;
// Inputs: half a second of noise, then a quarter of a second of silence, over and over, so a
// plug-in meets both and the edges between them.
constexpr double kNoiseSeconds = 0.5;
constexpr double kSilenceSeconds = 0.25;
constexpr float kNoiseLevel = 0.25f; // -12 dBFS peak
// Mean times between two moves of one parameter and between two notes.
constexpr double kMoveSeconds = 0.05;
constexpr double kNoteSeconds = 0.1;
constexpr int kMaxHeldNotes = 64;

/** Feeds noise and silence to every input pin of the plug-in. */
class SignalSource : public AudioOperator
{
public:
    SignalSource(int32 channels, uint64_t seed) : random(seed)
    {
        auto* bus = new QelBus("Check Source");
        for (int32 i = 0; i < channels; ++i)
            bus->addPin(new QelBusPin(this, String("Check Source-" + std::to_string(i)), false));
        outputBusses.push_back(bus);
    }
    void setupProcessing(const OperatorSetup& setup) override
    {
        scratch = setup.scratchOutput;
        noiseSamples = int64(kNoiseSeconds * setup.sampleRate);
        periodSamples = noiseSamples + int64(kSilenceSeconds * setup.sampleRate);
        position = 0;
    }
    void process(OperatorBuffers& buffers) override
    {
        for (int32 i = 0; QelBusPin* pin = getOutputPin(i); ++i)
        {
            float* out = pin->getBuffer() ? pin->getBuffer() : scratch;
            for (int32 s = 0; s < buffers.numSamples; ++s)
            {
                const bool noise = (position + s) % periodSamples < noiseSamples;
                out[s] = noise ? float(random.uniform() * 2.0 - 1.0) * kNoiseLevel : 0.0f;
            }
            pin->mixToConnections(buffers.numSamples);
        }
        position += buffers.numSamples;
    }

private:
    RandomSequence random;
    float* scratch = nullptr;
    int64 noiseSamples = 1;
    int64 periodSamples = 1;
    int64 position = 0;
};

/** Gives every output pin of the plug-in a place to write to: channels of their own. */
class OutputSink : public AudioOperator
{
public:
    explicit OutputSink(int32 channels)
    {
        auto* bus = new QelBus("Check Sink");
        for (int32 i = 0; i < channels; ++i)
            bus->addPin(new QelBusPin(this, String("Check Sink-" + std::to_string(i)), true));
        inputBusses.push_back(bus);
    }
};

struct HeldNote
{
    int16 pitch = 0;
    int64 endSample = 0;
};

Event noteEvent(uint16 type, int16 pitch, float velocity, double ppq)
{
    Event event{};
    event.type = type;
    event.ppqPosition = ppq;
    if (type == Event::kNoteOnEvent)
    {
        event.noteOn.pitch = pitch;
        event.noteOn.velocity = velocity;
        event.noteOn.noteId = -1;
    }
    else
    {
        event.noteOff.pitch = pitch;
        event.noteOff.velocity = velocity;
        event.noteOff.noteId = -1;
    }
    return event;
}

template <class Call, class Result> Result guarded(Call call, Result failure)
{
    try
    {
        return call();
    }
    catch (...)
    {
        return failure;
    }
}

} // namespace

std::vector<RenderFormat> RenderPlan::standardFormats()
{
    return {{44100.0, 512}, {48000.0, 64}, {96000.0, 128}, {48000.0, 1024}};
}

OfflineRender::OfflineRender(IComponent* component, IEditController* controller, std::string name)
    : component(component), controller(controller), name(std::move(name))
{
    const int32 count =
        controller ? guarded([&] { return controller->getParameterCount(); }, 0) : 0;
    for (int32 i = 0; i < count; ++i)
    {
        ParameterInfo info{};
        if (guarded([&] { return controller->getParameterInfo(i, info); }, tresult(kResultFalse)) !=
            kResultOk)
            continue;
        if (!(info.flags & ParameterInfo::kCanAutomate) ||
            (info.flags & ParameterInfo::kIsReadOnly))
            continue;
        info.title[127] = 0;
        parameters.push_back({info.id, String(info.title).toUtf8()});
    }
}

std::string OfflineRender::describe(const std::vector<double>& values) const
{
    std::string result;
    for (size_t i = 0; i < parameters.size() && i < values.size(); ++i)
    {
        char number[32];
        std::snprintf(number, sizeof number, "%.4f", values[i]);
        if (!result.empty())
            result += ", ";
        result += parameters[i].title + "=" + number;
        String128 text = {};
        if (controller &&
            guarded(
                [&]
                { return controller->getParamStringByValue(parameters[i].id, values[i], text); },
                tresult(kResultFalse)) == kResultOk)
        {
            text[127] = 0;
            result += " (" + String(text).toUtf8() + ")";
        }
    }
    return result;
}

bool OfflineRender::run(const RenderPlan& plan, RenderObserver& observer, std::string& problem)
{
    installAudioKernels();
    if (plan.watch)
        CallWatch::prepare();
    IAudioProcessor* processor = nullptr;
    if (guarded(
            [&]
            { return component->queryInterface(IAudioProcessor::iid.bytes, (void**)&processor); },
            tresult(kNoInterface)) != kResultOk ||
        !processor)
    {
        problem = "the component is no audio processor";
        return false;
    }

    std::vector<double> values(parameters.size(), 0.0);
    for (size_t i = 0; i < parameters.size(); ++i)
        values[i] =
            controller
                ? guarded([&] { return controller->getParamNormalized(parameters[i].id); }, 0.0)
                : 0.0;
    std::vector<bool> activeOutputs;
    RenderedBlock current;
    current.activeOutputs = &activeOutputs;
    current.parameterValues = &values;
    WatchingProcessor watching(
        component, processor, plan.watch,
        [&](ProcessData& data, int64 cost, const CallRecord& calls, bool threw)
        {
            current.data = &data;
            current.cpuNanoseconds = cost;
            current.calls = plan.watch ? &calls : nullptr;
            current.threw = threw;
            observer.blockRendered(current);
        });

    auto* slot = new QelSlotOperator;
    if (!slot->attach(static_cast<IComponent*>(&watching), String(name)))
    {
        problem = "the engine cannot play it: " + slot->getProblem();
        slot->release();
        processor->release();
        return false;
    }
    slot->setupController(controller);
    slot->updatePins();
    notes = slot->hasEventInput();
    inputs = slot->getInputPinCount() > 0;
    RandomSequence random(plan.seed);
    auto* source = new SignalSource(slot->getInputPinCount(), random.next());
    auto* sink = new OutputSink(slot->getOutputPinCount());
    for (int32 i = 0; i < slot->getInputPinCount(); ++i)
        source->getOutputPin(i)->connect(slot->getInputPin(i));
    for (int32 i = 0; i < slot->getOutputPinCount(); ++i)
        slot->getOutputPin(i)->connect(sink->getInputPin(i));
    auto* root = new AudioOperatorRoot;
    root->addOperator(source);
    root->addOperator(slot);
    root->addOperator(sink);

    auto events = std::make_unique<EventList>();
    const double secondsPerFormat = plan.formats.empty() ? 0.0 : plan.seconds / plan.formats.size();
    for (size_t f = 0; f < plan.formats.size(); ++f)
    {
        const RenderFormat& format = plan.formats[f];
        OperatorSetup setup;
        setup.blockSize = format.blockSize;
        setup.sampleRate = format.sampleRate;
        root->setupProcessing(setup);
        root->prepareBuffers(format.blockSize);
        root->resume();
        root->setProcessing(true);
        activeOutputs.assign(size_t(slot->getProcessData().numOutputs), false);
        for (size_t bus = 0; bus < activeOutputs.size(); ++bus)
            activeOutputs[bus] = slot->isOutputBusActive(int32(bus));

        const int64 blocks = std::max<int64>(
            1, int64(std::ceil(secondsPerFormat * format.sampleRate / format.blockSize)));
        observer.formatStarted(int(f), format, blocks);
        current.format = &format;

        std::thread rendering(
            [&]
            {
                const double samplesPerQuarter = format.sampleRate * 60.0 / kTempo;
                const double blockSeconds = format.blockSize / format.sampleRate;
                const double moveChance = std::min(1.0, blockSeconds / kMoveSeconds);
                const double noteChance = std::min(1.0, blockSeconds / kNoteSeconds);
                HeldNote held[kMaxHeldNotes];
                int heldCount = 0;
                ProcessContext context{};
                context.state = ProcessContext::kPlaying | ProcessContext::kTempoValid |
                                ProcessContext::kProjectTimeMusicValid;
                context.sampleRate = format.sampleRate;
                context.tempo = kTempo;
                for (int64 block = 0; block < blocks; ++block)
                {
                    const int64 start = block * format.blockSize;
                    const int64 end = start + format.blockSize;
                    // A move lands at a random sample of the block: the engine's queue brings
                    // the value, and the watch hands it to the plug-in at that sample.
                    for (size_t i = 0; i < values.size(); ++i)
                        if (random.uniform() < moveChance)
                        {
                            values[i] = random.uniform();
                            const int32 offset = std::min(
                                format.blockSize - 1, int32(random.uniform() * format.blockSize));
                            if (!slot->queueParameter(int32(parameters[i].id), values[i]))
                                watching.placeChange(parameters[i].id, offset);
                        }
                    if (notes)
                    {
                        events->clear();
                        for (int i = 0; i < heldCount;)
                            if (held[i].endSample < end)
                            {
                                Event off =
                                    noteEvent(Event::kNoteOffEvent, held[i].pitch, 0.0f,
                                              (double(std::max(held[i].endSample, start)) + 0.5) /
                                                  samplesPerQuarter);
                                events->addEvent(off);
                                held[i] = held[--heldCount];
                            }
                            else
                                ++i;
                        if (heldCount < kMaxHeldNotes && random.uniform() < noteChance)
                        {
                            const int64 at = start + random.below(format.blockSize);
                            HeldNote note;
                            note.pitch = int16(36 + random.below(61));
                            note.endSample =
                                at + int64((0.05 + 0.35 * random.uniform()) * format.sampleRate);
                            const float velocity = float(0.2 + 0.8 * random.uniform());
                            Event on = noteEvent(Event::kNoteOnEvent, note.pitch, velocity,
                                                 (double(at) + 0.5) / samplesPerQuarter);
                            events->addEvent(on);
                            held[heldCount++] = note;
                        }
                        if (!events->isEmpty())
                            slot->receiveEvents(*events);
                    }
                    context.projectTimeSamples = start;
                    context.projectTimeMusic = double(start) / samplesPerQuarter;
                    OperatorBuffers buffers;
                    buffers.numSamples = format.blockSize;
                    buffers.numChannels = 2;
                    buffers.context = &context;
                    buffers.blockStartMusic = double(start) / samplesPerQuarter;
                    buffers.blockEndMusic = double(end) / samplesPerQuarter;
                    current.place = {int(f), block, start};
                    root->renderBlock(buffers);
                }
            });
        rendering.join();
        root->setProcessing(false);
        root->suspend();
    }
    root->release(); // releases the three operators it holds
    processor->release();
    return true;
}

} // namespace Quillmark
