// The example modules driven as a host drives them: found by the registry in a scanned folder,
// created, initialized with the host context, set up and fed known signals, events and parameter
// changes by hand, with the output checked sample by sample.
#include "base/fstreams.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/qelhostcontext.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"
#include "plugins/common/iptr.h"
#include "qel3/iaudioprocessor.h"
#include "qel3/icomponent.h"
#include "qel3/iconnectionpoint.h"
#include "qel3/ieditcontroller.h"
#include "qel3/ikeyswitch.h"
#include "qel3/imessage.h"
#include "qel3/inoteexpression.h"
#include "qel3/iunitinfo.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::Qel::Examples;

namespace
{

/** Takes over a reference the caller was given. */
template <class I> IPtr<I> adopt(I* pointer)
{
    return IPtr<I>::adopt(pointer);
}

template <class I> IPtr<I> query(FUnknown* object)
{
    void* result = nullptr;
    if (!object || object->queryInterface(I::iid.bytes, &result) != kResultOk)
        return {};
    return adopt(static_cast<I*>(result));
}

FUnknown* hostContext()
{
    return static_cast<IHostApplication*>(QelHostContext::instance());
}

std::u16string text(const TChar* units)
{
    return std::u16string(units);
}

/** A host object that lives on the test's stack: counting is not needed. */
template <class I> class StackObject : public I
{
public:
    tresult queryInterface(const TUID iid, void** obj) override
    {
        if (iidEqual(iid, I::iid.bytes) || iidEqual(iid, FUnknown::iid.bytes))
        {
            *obj = static_cast<I*>(this);
            return kResultOk;
        }
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }
};

class PointQueue : public StackObject<IParamValueQueue>
{
public:
    PointQueue(ParamID id, std::vector<std::pair<int32, ParamValue>> points)
        : id(id), points(std::move(points))
    {
    }
    ParamID getParameterId() override { return id; }
    int32 getPointCount() override { return int32(points.size()); }
    tresult getPoint(int32 index, int32& offset, ParamValue& value) override
    {
        if (index < 0 || index >= getPointCount())
            return kResultFalse;
        offset = points[size_t(index)].first;
        value = points[size_t(index)].second;
        return kResultOk;
    }
    tresult addPoint(int32, ParamValue, int32&) override { return kResultFalse; }

private:
    ParamID id;
    std::vector<std::pair<int32, ParamValue>> points;
};

class Changes : public StackObject<IParameterChanges>
{
public:
    Changes& add(ParamID id, std::vector<std::pair<int32, ParamValue>> points)
    {
        queues.emplace_back(id, std::move(points));
        return *this;
    }
    int32 getParameterCount() override { return int32(queues.size()); }
    IParamValueQueue* getParameterData(int32 index) override
    {
        return index >= 0 && index < getParameterCount() ? &queues[size_t(index)] : nullptr;
    }
    IParamValueQueue* addParameterData(const ParamID&, int32&) override { return nullptr; }

private:
    std::vector<PointQueue> queues;
};

class Events : public StackObject<IEventList>
{
public:
    Events& noteOn(int32 offset, int16 pitch, int32 noteId, int16 channel = 0)
    {
        Event e{};
        e.sampleOffset = offset;
        e.type = Event::kNoteOnEvent;
        e.noteOn = NoteOnEvent{channel, pitch, 0.0f, 1.0f, 0, noteId};
        events.push_back(e);
        return *this;
    }
    Events& noteOff(int32 offset, int16 pitch, int32 noteId, int16 channel = 0)
    {
        Event e{};
        e.sampleOffset = offset;
        e.type = Event::kNoteOffEvent;
        e.noteOff = NoteOffEvent{channel, pitch, 0.0f, noteId, 0.0f};
        events.push_back(e);
        return *this;
    }
    Events& expression(int32 offset, NoteExpressionTypeID type, int32 noteId, double value)
    {
        Event e{};
        e.sampleOffset = offset;
        e.type = Event::kNoteExpressionValueEvent;
        e.noteExpressionValue = NoteExpressionValueEvent{type, noteId, value};
        events.push_back(e);
        return *this;
    }
    int32 getEventCount() override { return int32(events.size()); }
    tresult getEvent(int32 index, Event& e) override
    {
        if (index < 0 || index >= getEventCount())
            return kResultFalse;
        e = events[size_t(index)];
        return kResultOk;
    }
    tresult addEvent(Event&) override { return kResultFalse; }

private:
    std::vector<Event> events;
};

/** Stands in for the other half of a plug-in and keeps what it is told. */
class MessageRecorder : public StackObject<IConnectionPoint>
{
public:
    struct Received
    {
        std::string id;
        int64 enabled = -1;
        double peak = -1.0;
    };

    tresult connect(IConnectionPoint*) override { return kResultOk; }
    tresult disconnect(IConnectionPoint*) override { return kResultOk; }
    tresult notify(IMessage* message) override
    {
        Received entry;
        entry.id = message->getMessageID() ? message->getMessageID() : "";
        message->getAttributes()->getInt(kQelGainMeterEnabledAttribute, entry.enabled);
        message->getAttributes()->getFloat(kQelGainPeakAttribute, entry.peak);
        received.push_back(entry);
        return kResultOk;
    }

    std::vector<Received> received;
};

/** Host-owned channel buffers of one input and one output bus, and the ProcessData over them. */
template <class Sample> class Buffers
{
public:
    Buffers(int32 inputChannels, int32 outputChannels, int32 frames)
        : in(size_t(inputChannels), std::vector<Sample>(size_t(frames))),
          out(size_t(outputChannels), std::vector<Sample>(size_t(frames)))
    {
        for (auto& channel : in)
            inPointers.push_back(channel.data());
        for (auto& channel : out)
            outPointers.push_back(channel.data());
        bind(inBus, inPointers);
        bind(outBus, outPointers);
    }

    ProcessData data(int32 numSamples, IParameterChanges* changes = nullptr,
                     IEventList* events = nullptr)
    {
        ProcessData result{};
        result.processMode = kRealtime;
        result.symbolicSampleSize = std::is_same_v<Sample, Sample64> ? kSample64 : kSample32;
        result.numSamples = numSamples;
        result.numInputs = in.empty() ? 0 : 1;
        result.numOutputs = 1;
        result.inputs = in.empty() ? nullptr : &inBus;
        result.outputs = &outBus;
        result.inputParameterChanges = changes;
        result.inputEvents = events;
        return result;
    }

    std::vector<std::vector<Sample>> in;
    std::vector<std::vector<Sample>> out;
    AudioBusBuffers inBus{};
    AudioBusBuffers outBus{};

private:
    void bind(AudioBusBuffers& bus, std::vector<Sample*>& pointers)
    {
        bus.numChannels = int32(pointers.size());
        if constexpr (std::is_same_v<Sample, Sample64>)
            bus.channelBuffers64 = pointers.data();
        else
            bus.channelBuffers32 = pointers.data();
    }

    std::vector<Sample*> inPointers;
    std::vector<Sample*> outPointers;
};

/** The registry over a temporary folder with copies of the example modules. */
class ExampleModules : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string modules = temp.folder("modules");
        Quillmark::testing::copyInto(Quillmark::testing::exampleModule(kQelGainModule), modules);
        Quillmark::testing::copyInto(Quillmark::testing::exampleModule(kQelSynthModule), modules);
        registry = new FComponentRegistry;
        ASSERT_EQ(registry->scanFolder(modules), 2);
    }
    void TearDown() override { registry->release(); }

    /** A new object of class `cid`, initialized with the host context. */
    IPtr<FUnknown> create(const QelUid& cid)
    {
        auto object = adopt(registry->createInstance(FUID(cid)));
        if (auto base = query<IPluginBase>(object.get()))
        {
            EXPECT_EQ(base->initialize(hostContext()), kResultOk);
        }
        return object;
    }

    /** Terminates what create initialized; instances are destroyed by their last release. */
    static void terminate(const IPtr<FUnknown>& object)
    {
        if (auto base = query<IPluginBase>(object.get()))
        {
            EXPECT_EQ(base->terminate(), kResultOk);
        }
    }

    static tresult prepare(IComponent* component, IAudioProcessor* processor, int32 sampleSize,
                           double sampleRate = 44100.0)
    {
        ProcessSetup setup{kRealtime, sampleSize, 8192, sampleRate};
        if (processor->setupProcessing(setup) != kResultOk)
            return kResultFalse;
        if (component->setActive(true) != kResultOk)
            return kResultFalse;
        return processor->setProcessing(true);
    }

    /** The id of the parameter titled `title`, or kNoParamId. */
    static ParamID parameterId(IEditController* controller, const std::u16string& title)
    {
        for (int32 i = 0; i < controller->getParameterCount(); ++i)
        {
            ParameterInfo info{};
            if (controller->getParameterInfo(i, info) == kResultOk && text(info.title) == title)
                return info.id;
        }
        return kNoParamId;
    }

    Quillmark::testing::TempFolder temp;
    Quillmark::testing::UserDataFolder userData{temp};
    FComponentRegistry* registry = nullptr;
};

/** What a stream holds, as a new stream to read from the start. */
IPtr<FMemoryStream> copyOf(FMemoryStream* stream, int64 length = -1)
{
    const int64 size = length < 0 ? stream->size() : length;
    return adopt(new FMemoryStream(stream->data(), size));
}

template <class Sample> double tolerance()
{
    return std::is_same_v<Sample, Sample64> ? 1e-12 : 1e-6;
}

double decibels(double db)
{
    return std::pow(10.0, db / 20.0);
}

/** A test signal that is not silent anywhere in its first 8192 samples. */
template <class Sample> void fillSignal(std::vector<std::vector<Sample>>& channels)
{
    for (size_t c = 0; c < channels.size(); ++c)
        for (size_t i = 0; i < channels[c].size(); ++i)
            channels[c][i] = Sample(0.5 * std::sin(0.01 * double(i) + double(c)) + 0.25);
}

} // namespace

// ------------------------------------------------------------------------------------ Qel Gain

class GainExample : public ExampleModules
{
protected:
    void SetUp() override
    {
        ExampleModules::SetUp();
        effect = create(kQelGainCid);
        component = query<IComponent>(effect.get());
        processor = query<IAudioProcessor>(effect.get());
        ASSERT_TRUE(component && processor);
    }
    void TearDown() override
    {
        if (editor)
            terminate(editor);
        terminate(effect);
        component = {};
        processor = {};
        controller = {};
        effect = {};
        editor = {};
        ExampleModules::TearDown();
    }

    /** The separate controller, created from the class the component names. */
    IEditController* makeController()
    {
        TUID cid;
        EXPECT_EQ(component->getControllerClassId(cid), kResultOk);
        EXPECT_TRUE(iidEqual(cid, kQelGainControllerCid.bytes));
        editor = adopt(registry->createInstance(FUID(cid)));
        controller = query<IEditController>(editor.get());
        EXPECT_TRUE(controller);
        EXPECT_EQ(controller->initialize(hostContext()), kResultOk);
        return controller.get();
    }

    template <class Sample> void checkGainAtBlockSize(int32 blockSize);

    IPtr<FUnknown> effect;
    IPtr<IComponent> component;
    IPtr<IAudioProcessor> processor;
    IPtr<FUnknown> editor;
    IPtr<IEditController> controller;
};

TEST_F(GainExample, DeclaresAStereoEffectWithASeparateController)
{
    EXPECT_EQ(component->getBusCount(kAudio, kInput), 1);
    EXPECT_EQ(component->getBusCount(kAudio, kOutput), 1);
    EXPECT_EQ(component->getBusCount(kEvent, kInput), 0);
    for (BusDirection dir : {kInput, kOutput})
    {
        BusInfo info;
        std::memset(&info, 0xAB, sizeof info);
        ASSERT_EQ(component->getBusInfo(kAudio, dir, 0, info), kResultOk);
        EXPECT_EQ(info.channelCount, 2);
        EXPECT_EQ(info.busType, kMain);
        EXPECT_EQ(info.flags, BusInfo::kDefaultActive);
        EXPECT_FALSE(text(info.name).empty());
        EXPECT_EQ(info.name[127], 0); // zero behind the name, so records compare equal
        SpeakerArrangement arrangement = 0;
        EXPECT_EQ(processor->getBusArrangement(dir, 0, arrangement), kResultOk);
        EXPECT_EQ(arrangement, 0x3u);
    }
    BusInfo info{};
    EXPECT_NE(component->getBusInfo(kAudio, kInput, 1, info), kResultOk);

    // Mono works when both sides agree; anything else is refused and changes nothing.
    SpeakerArrangement mono = 0x80000, stereo = 0x3, quad = 0x33;
    EXPECT_EQ(processor->setBusArrangements(&mono, 1, &stereo, 1), kResultFalse);
    EXPECT_EQ(processor->setBusArrangements(&quad, 1, &quad, 1), kResultFalse);
    ASSERT_EQ(processor->setBusArrangements(&mono, 1, &mono, 1), kResultOk);
    ASSERT_EQ(component->getBusInfo(kAudio, kOutput, 0, info), kResultOk);
    EXPECT_EQ(info.channelCount, 1);

    EXPECT_EQ(processor->canProcessSampleSize(kSample32), kResultOk);
    EXPECT_EQ(processor->canProcessSampleSize(kSample64), kResultOk);
    EXPECT_EQ(processor->canProcessSampleSize(2), kResultFalse);
    EXPECT_FALSE(query<IEditController>(effect.get()));
    ASSERT_NE(makeController(), nullptr);
    EXPECT_FALSE(query<IComponent>(editor.get()));
}

TEST_F(GainExample, ParametersUnitsAndPresets)
{
    IEditController* edit = makeController();
    ASSERT_EQ(edit->getParameterCount(), 2);
    auto unitInfo = query<IUnitInfo>(controller.get());
    ASSERT_TRUE(unitInfo);

    ParameterInfo gain{}, bypass{};
    ASSERT_EQ(edit->getParameterInfo(0, gain), kResultOk);
    ASSERT_EQ(edit->getParameterInfo(1, bypass), kResultOk);
    EXPECT_EQ(edit->getParameterInfo(2, gain), kInvalidArgument);
    EXPECT_EQ(gain.id, kQelGainGainParamId);
    EXPECT_EQ(text(gain.title), u"Gain");
    EXPECT_EQ(text(gain.units), u"dB");
    EXPECT_EQ(gain.stepCount, 0);
    EXPECT_EQ(gain.flags, ParameterInfo::kCanAutomate);
    // 0 dB on a -60..+12 dB scale.
    EXPECT_DOUBLE_EQ(gain.defaultNormalizedValue, 60.0 / 72.0);
    EXPECT_DOUBLE_EQ(edit->normalizedParamToPlain(gain.id, gain.defaultNormalizedValue), 0.0);
    EXPECT_EQ(bypass.id, kQelGainBypassParamId);
    EXPECT_EQ(text(bypass.title), u"Bypass");
    EXPECT_EQ(bypass.stepCount, 1);
    EXPECT_EQ(bypass.flags, ParameterInfo::kIsBypass | ParameterInfo::kCanAutomate);
    EXPECT_EQ(bypass.defaultNormalizedValue, 0.0);

    // Every parameter sits in a unit that exists; the child unit carries the presets.
    ASSERT_EQ(unitInfo->getUnitCount(), 2);
    UnitInfo root{}, stage{};
    ASSERT_EQ(unitInfo->getUnitInfo(0, root), kResultOk);
    ASSERT_EQ(unitInfo->getUnitInfo(1, stage), kResultOk);
    EXPECT_EQ(root.id, kRootUnitId);
    EXPECT_EQ(root.parentUnitId, kNoParentUnitId);
    EXPECT_EQ(stage.parentUnitId, root.id);
    EXPECT_EQ(gain.unitId, stage.id);
    EXPECT_EQ(bypass.unitId, root.id);
    ASSERT_NE(stage.programListId, kNoProgramListId);
    ASSERT_EQ(unitInfo->getProgramListCount(), 1);
    ProgramListInfo list{};
    ASSERT_EQ(unitInfo->getProgramListInfo(0, list), kResultOk);
    EXPECT_EQ(list.id, stage.programListId);
    ASSERT_GE(list.programCount, 3);
    for (int32 i = 0; i < list.programCount; ++i)
    {
        String128 name{};
        ASSERT_EQ(unitInfo->getProgramName(list.id, i, name), kResultOk);
        EXPECT_FALSE(text(name).empty());
    }
    String128 name{};
    EXPECT_EQ(unitInfo->getProgramName(list.id, list.programCount, name), kResultFalse);
    EXPECT_EQ(unitInfo->hasProgramPitchNames(list.id, 0), kResultFalse);
    EXPECT_EQ(unitInfo->selectUnit(stage.id), kResultOk);
    EXPECT_EQ(unitInfo->getSelectedUnit(), stage.id);
    EXPECT_EQ(unitInfo->selectUnit(42), kResultFalse);
    EXPECT_EQ(unitInfo->getSelectedUnit(), stage.id);
}

TEST_F(GainExample, ParameterTextsAndValuesRoundTrip)
{
    IEditController* edit = makeController();
    const ParamID gain = kQelGainGainParamId;
    const double minus6 = edit->plainParamToNormalized(gain, -6.0);
    EXPECT_DOUBLE_EQ(minus6, 54.0 / 72.0);
    EXPECT_DOUBLE_EQ(edit->normalizedParamToPlain(gain, minus6), -6.0);
    EXPECT_DOUBLE_EQ(edit->plainParamToNormalized(gain, 40.0), 1.0); // clamped

    String128 string{};
    ASSERT_EQ(edit->getParamStringByValue(gain, minus6, string), kResultOk);
    EXPECT_EQ(text(string), u"-6.00");
    ASSERT_EQ(edit->getParamStringByValue(gain, 60.0 / 72.0, string), kResultOk);
    EXPECT_EQ(text(string), u"0.00");
    for (const char16_t* typed : {u"-6.00", u"-6", u"-6 dB"})
    {
        ParamValue value = -1.0;
        std::u16string copy(typed);
        ASSERT_EQ(edit->getParamValueByString(gain, copy.data(), value), kResultOk);
        EXPECT_DOUBLE_EQ(value, minus6);
    }
    ParamValue value = -1.0;
    std::u16string bad(u"loud");
    EXPECT_EQ(edit->getParamValueByString(gain, bad.data(), value), kResultFalse);
    EXPECT_EQ(value, -1.0);

    ASSERT_EQ(edit->getParamStringByValue(kQelGainBypassParamId, 1.0, string), kResultOk);
    EXPECT_EQ(text(string), u"On");
    std::u16string off(u"Off");
    ASSERT_EQ(edit->getParamValueByString(kQelGainBypassParamId, off.data(), value), kResultOk);
    EXPECT_EQ(value, 0.0);
    EXPECT_EQ(edit->getParamStringByValue(99, 0.5, string), kResultFalse);

    EXPECT_EQ(edit->setParamNormalized(gain, 1.5), kResultOk);
    EXPECT_EQ(edit->getParamNormalized(gain), 1.0);
    EXPECT_EQ(edit->setParamNormalized(99, 0.5), kResultFalse);
}

template <class Sample> void GainExample::checkGainAtBlockSize(int32 blockSize)
{
    SCOPED_TRACE(blockSize);
    ASSERT_EQ(prepare(component.get(), processor.get(),
                      std::is_same_v<Sample, Sample64> ? kSample64 : kSample32),
              kResultOk);
    Buffers<Sample> buffers(2, 2, blockSize);
    fillSignal(buffers.in);

    // -6 dB from the first sample on.
    const double minus6 = 54.0 / 72.0;
    Changes changes;
    changes.add(kQelGainGainParamId, {{0, minus6}});
    ProcessData data = buffers.data(blockSize, &changes);
    ASSERT_EQ(processor->process(data), kResultOk);
    for (int c = 0; c < 2; ++c)
        for (int32 i = 0; i < blockSize; ++i)
            ASSERT_NEAR(buffers.out[c][i], buffers.in[c][i] * decibels(-6.0), tolerance<Sample>())
                << "channel " << c << " sample " << i;
    EXPECT_EQ(buffers.outBus.silenceFlags, 0u);

    // Bypass passes the input through untouched; the gain stays where it was.
    Changes bypass;
    bypass.add(kQelGainBypassParamId, {{0, 1.0}});
    data = buffers.data(blockSize, &bypass);
    ASSERT_EQ(processor->process(data), kResultOk);
    EXPECT_EQ(buffers.out, buffers.in);

    Changes back;
    back.add(kQelGainBypassParamId, {{0, 0.0}});
    data = buffers.data(blockSize, &back);
    ASSERT_EQ(processor->process(data), kResultOk);
    EXPECT_NEAR(buffers.out[1][blockSize - 1], buffers.in[1][blockSize - 1] * decibels(-6.0),
                tolerance<Sample>());
    EXPECT_EQ(component->setActive(false), kResultOk);
}

TEST_F(GainExample, AppliesTheGainIn32BitAtAnyBlockSize)
{
    for (int32 size : {1, 64, 8192})
        checkGainAtBlockSize<Sample32>(size);
}

TEST_F(GainExample, AppliesTheGainIn64BitAtAnyBlockSize)
{
    for (int32 size : {1, 64, 8192})
        checkGainAtBlockSize<Sample64>(size);
}

TEST_F(GainExample, ChangesTakeEffectAtTheirSample)
{
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample64), kResultOk);
    Buffers<Sample64> buffers(2, 2, 64);
    fillSignal(buffers.in);
    // +12 dB from sample 20, -60 dB from 40, and bypass from 50 to the end.
    Changes changes;
    changes.add(kQelGainGainParamId, {{20, 1.0}, {40, 0.0}});
    changes.add(kQelGainBypassParamId, {{50, 1.0}});
    ProcessData data = buffers.data(64, &changes);
    ASSERT_EQ(processor->process(data), kResultOk);
    for (int32 i = 0; i < 64; ++i)
    {
        const double gain = i < 20 ? 1.0 : i < 40 ? decibels(12.0) : i < 50 ? decibels(-60.0) : 1.0;
        ASSERT_NEAR(buffers.out[0][i], buffers.in[0][i] * gain, 1e-12) << i;
    }
}

TEST_F(GainExample, SilentInputGivesFlaggedSilentOutput)
{
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample32), kResultOk);
    Buffers<Sample32> buffers(2, 2, 64);
    fillSignal(buffers.in);
    fillSignal(buffers.out);
    // The left input is flagged silent: whatever its buffer holds, the left output is silence.
    buffers.inBus.silenceFlags = 1;
    ProcessData data = buffers.data(64);
    ASSERT_EQ(processor->process(data), kResultOk);
    EXPECT_EQ(buffers.outBus.silenceFlags, 1u);
    EXPECT_EQ(buffers.out[0], std::vector<Sample32>(64, 0.0f));
    EXPECT_NEAR(buffers.out[1][10], buffers.in[1][10], 1e-6);

    buffers.inBus.silenceFlags = 3;
    ASSERT_EQ(processor->process(data), kResultOk);
    EXPECT_EQ(buffers.outBus.silenceFlags, 3u);
    EXPECT_EQ(buffers.out[1], std::vector<Sample32>(64, 0.0f));

    // Not flagged, not silent.
    buffers.inBus.silenceFlags = 0;
    ASSERT_EQ(processor->process(data), kResultOk);
    EXPECT_EQ(buffers.outBus.silenceFlags, 0u);
}

TEST_F(GainExample, BlocksWithoutAudioStillCarryParameters)
{
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample32), kResultOk);
    // A flush: no samples and no buffers at all.
    Changes changes;
    changes.add(kQelGainGainParamId, {{0, 0.25}});
    ProcessData flush{};
    flush.inputParameterChanges = &changes;
    ASSERT_EQ(processor->process(flush), kResultOk);
    auto state = adopt(new FMemoryStream);
    ASSERT_EQ(component->getState(state.get()), kResultOk);
    makeController();
    ASSERT_EQ(controller->setComponentState(copyOf(state.get()).get()), kResultOk);
    EXPECT_DOUBLE_EQ(controller->getParamNormalized(kQelGainGainParamId), 0.25);

    // No input bus: the output is cleared and flagged silent.
    Buffers<Sample32> buffers(0, 2, 64);
    fillSignal(buffers.out);
    ProcessData data = buffers.data(64);
    ASSERT_EQ(processor->process(data), kResultOk);
    EXPECT_EQ(buffers.outBus.silenceFlags, 3u);
    EXPECT_EQ(buffers.out[0], std::vector<Sample32>(64, 0.0f));

    // Channel pointers missing: nothing to write, and no crash.
    AudioBusBuffers bare{};
    bare.numChannels = 2;
    data.outputs = &bare;
    EXPECT_EQ(processor->process(data), kResultOk);
}

TEST_F(GainExample, StateRoundTripsAndDamagedStreamsAreRefused)
{
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample32), kResultOk);
    Changes changes;
    changes.add(kQelGainGainParamId, {{0, 0.5}});
    changes.add(kQelGainBypassParamId, {{0, 1.0}});
    ProcessData flush{};
    flush.inputParameterChanges = &changes;
    ASSERT_EQ(processor->process(flush), kResultOk);
    auto saved = adopt(new FMemoryStream);
    ASSERT_EQ(component->getState(saved.get()), kResultOk);
    ASSERT_EQ(saved->size(), 20);
    // Little-endian whatever the machine: the tag "QGai" and version 1 lead.
    EXPECT_EQ(std::string(saved->data(), 4), "QGai");
    EXPECT_EQ(saved->data()[4], 1);

    // A second instance takes the state and saves the same bytes.
    IPtr<FUnknown> other = create(kQelGainCid);
    auto otherComponent = query<IComponent>(other.get());
    ASSERT_EQ(otherComponent->setState(copyOf(saved.get()).get()), kResultOk);
    auto resaved = adopt(new FMemoryStream);
    ASSERT_EQ(otherComponent->getState(resaved.get()), kResultOk);
    EXPECT_EQ(std::string(resaved->data(), 20), std::string(saved->data(), 20));

    // Short, garbage, wrong version, out-of-range values: refused, and the state stays.
    std::vector<std::string> damaged;
    damaged.push_back(std::string(saved->data(), 19));
    damaged.push_back("");
    damaged.push_back(std::string(20, '\x5A'));
    std::string version2(saved->data(), 20);
    version2[4] = 2;
    damaged.push_back(version2);
    std::string loud(saved->data(), 20);
    const double db = 40.0;
    std::memcpy(loud.data() + 8, &db, 8);
    damaged.push_back(loud);
    std::string bypassTwo(saved->data(), 20);
    bypassTwo[16] = 2;
    damaged.push_back(bypassTwo);
    for (const std::string& bytes : damaged)
    {
        auto stream = adopt(new FMemoryStream(bytes.data(), int64(bytes.size())));
        EXPECT_EQ(otherComponent->setState(stream.get()), kResultFalse) << bytes.size();
    }
    EXPECT_EQ(otherComponent->setState(nullptr), kResultFalse);
    auto after = adopt(new FMemoryStream);
    ASSERT_EQ(otherComponent->getState(after.get()), kResultOk);
    EXPECT_EQ(std::string(after->data(), 20), std::string(saved->data(), 20));
    terminate(other);

    // The controller follows the component's state, and keeps its own.
    IEditController* edit = makeController();
    ASSERT_EQ(edit->setComponentState(copyOf(saved.get()).get()), kResultOk);
    EXPECT_DOUBLE_EQ(edit->getParamNormalized(kQelGainGainParamId), 0.5);
    EXPECT_EQ(edit->getParamNormalized(kQelGainBypassParamId), 1.0);
    EXPECT_EQ(edit->setComponentState(copyOf(saved.get(), 12).get()), kResultFalse);
    EXPECT_DOUBLE_EQ(edit->getParamNormalized(kQelGainGainParamId), 0.5);

    auto own = adopt(new FMemoryStream);
    ASSERT_EQ(edit->getState(own.get()), kResultOk);
    EXPECT_EQ(edit->setState(copyOf(own.get()).get()), kResultOk);
    EXPECT_EQ(edit->setState(copyOf(own.get(), own->size() - 1).get()), kResultFalse);
    EXPECT_EQ(edit->setState(copyOf(saved.get()).get()), kResultFalse); // not its format
}

TEST_F(GainExample, HalvesExchangeMessages)
{
    // The controller tells its peer at once that it wants meter values.
    IEditController* edit = makeController();
    auto controllerPoint = query<IConnectionPoint>(edit);
    auto componentPoint = query<IConnectionPoint>(component.get());
    ASSERT_TRUE(controllerPoint && componentPoint);
    MessageRecorder fakeComponent;
    ASSERT_EQ(controllerPoint->connect(&fakeComponent), kResultOk);
    EXPECT_EQ(controllerPoint->connect(&fakeComponent), kResultFalse);
    ASSERT_EQ(fakeComponent.received.size(), 1u);
    EXPECT_EQ(fakeComponent.received[0].id, kQelGainMeterSetupMessage);
    EXPECT_EQ(fakeComponent.received[0].enabled, 1);
    MessageRecorder stranger;
    EXPECT_EQ(controllerPoint->disconnect(&stranger), kInvalidArgument);
    EXPECT_EQ(controllerPoint->disconnect(&fakeComponent), kResultOk);

    // The component sends its peak from process, once every period, once a controller asked.
    MessageRecorder fakeController;
    ASSERT_EQ(componentPoint->connect(&fakeController), kResultOk);
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample32), kResultOk);
    Buffers<Sample32> buffers(2, 2, 64);
    fillSignal(buffers.in);
    ProcessData data = buffers.data(64);
    for (int i = 0; i < 2 * kQelGainMeterPeriodBlocks; ++i)
        ASSERT_EQ(processor->process(data), kResultOk);
    EXPECT_TRUE(fakeController.received.empty()); // nobody asked yet

    ASSERT_EQ(controllerPoint->connect(componentPoint.get()), kResultOk); // sends the setup
    for (int i = 0; i < 2 * kQelGainMeterPeriodBlocks; ++i)
        ASSERT_EQ(processor->process(data), kResultOk);
    ASSERT_EQ(fakeController.received.size(), 2u);
    float peak = 0.0f;
    for (const auto& channel : buffers.in)
        for (float sample : channel)
            peak = std::max(peak, std::fabs(sample));
    for (const auto& message : fakeController.received)
    {
        EXPECT_EQ(message.id, kQelGainMeterMessage);
        EXPECT_NEAR(message.peak, peak, 1e-6);
    }

    // The controller's own state switches the meter off, and tells the component so.
    const char off[] = {'Q', 'G', 'c', 't', 1, 0, 0, 0, 0, 0, 0, 0};
    auto state = adopt(new FMemoryStream(off, sizeof off));
    ASSERT_EQ(edit->setState(state.get()), kResultOk);
    for (int i = 0; i < 2 * kQelGainMeterPeriodBlocks; ++i)
        ASSERT_EQ(processor->process(data), kResultOk);
    EXPECT_EQ(fakeController.received.size(), 2u);

    EXPECT_EQ(componentPoint->disconnect(&fakeController), kResultOk);
    EXPECT_EQ(controllerPoint->disconnect(componentPoint.get()), kResultOk);
}

TEST_F(GainExample, TheMeterShowsTheLargestMagnitudeWhereverItLies)
{
    IEditController* edit = makeController();
    auto controllerPoint = query<IConnectionPoint>(edit);
    auto componentPoint = query<IConnectionPoint>(component.get());
    ASSERT_TRUE(controllerPoint && componentPoint);
    MessageRecorder fakeController;
    ASSERT_EQ(componentPoint->connect(&fakeController), kResultOk);
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample32), kResultOk);
    ASSERT_EQ(controllerPoint->connect(componentPoint.get()), kResultOk);

    // Lengths that leave samples after the last group of eight, and one that does not; the
    // largest magnitude is negative, once at the end and once at the start, and a NaN is
    // passed over wherever it is.
    for (const int32 frames : {61, 7, 64})
        for (const bool atEnd : {true, false})
        {
            Buffers<Sample32> buffers(2, 2, frames);
            fillSignal(buffers.in);
            for (auto& channel : buffers.in)
                for (float& sample : channel)
                    sample *= 0.5f;
            buffers.in[1][atEnd ? size_t(frames - 1) : 0] = -0.875f;
            buffers.in[0][size_t(frames / 2)] = std::numeric_limits<float>::quiet_NaN();
            ProcessData data = buffers.data(frames);
            fakeController.received.clear();
            for (int i = 0; i < kQelGainMeterPeriodBlocks; ++i)
                ASSERT_EQ(processor->process(data), kResultOk);
            ASSERT_EQ(fakeController.received.size(), 1u) << frames << " frames";
            const float loudest = std::fabs(buffers.out[1][atEnd ? size_t(frames - 1) : 0]);
            float others = 0.0f;
            for (const auto& channel : buffers.out)
                for (float sample : channel)
                    if (std::fabs(sample) != loudest)
                        others = std::max(others, std::fabs(sample));
            ASSERT_GT(loudest, others) << "the test signal has one loudest sample";
            EXPECT_EQ(fakeController.received[0].peak, double(loudest))
                << frames << " frames, loudest at the " << (atEnd ? "end" : "start");
        }
    EXPECT_EQ(componentPoint->disconnect(&fakeController), kResultOk);
    EXPECT_EQ(controllerPoint->disconnect(componentPoint.get()), kResultOk);
}

// ----------------------------------------------------------------------------------- Qel Synth

class SynthExample : public ExampleModules
{
protected:
    void SetUp() override
    {
        ExampleModules::SetUp();
        synth = create(kQelSynthCid);
        component = query<IComponent>(synth.get());
        processor = query<IAudioProcessor>(synth.get());
        controller = query<IEditController>(synth.get());
        ASSERT_TRUE(component && processor && controller);
    }
    void TearDown() override
    {
        terminate(synth);
        component = {};
        processor = {};
        controller = {};
        synth = {};
        ExampleModules::TearDown();
    }

    /** Renders `frames` samples in blocks of `blockSize`; the events and changes go with the
        first block. Returns the left channel and whether every block was flagged silent. */
    template <class Sample>
    std::vector<double> render(int32 frames, int32 blockSize, Events* events = nullptr,
                               Changes* changes = nullptr, bool* allSilent = nullptr)
    {
        Buffers<Sample> buffers(0, 2, blockSize);
        std::vector<double> left;
        bool silent = true;
        for (int32 done = 0; done < frames; done += blockSize)
        {
            const int32 count = std::min(blockSize, frames - done);
            ProcessData data =
                buffers.data(count, done == 0 ? changes : nullptr, done == 0 ? events : nullptr);
            EXPECT_EQ(processor->process(data), kResultOk);
            const bool flagged = buffers.outBus.silenceFlags == 3;
            silent = silent && flagged;
            for (int32 i = 0; i < count; ++i)
            {
                left.push_back(double(buffers.out[0][i]));
                // A block flagged silent holds zeros; one that sounds is the same on both sides.
                if (flagged)
                {
                    EXPECT_EQ(left.back(), 0.0);
                }
                EXPECT_EQ(buffers.out[1][i], buffers.out[0][i]);
            }
        }
        if (allSilent)
            *allSilent = silent;
        return left;
    }

    IPtr<FUnknown> synth;
    IPtr<IComponent> component;
    IPtr<IAudioProcessor> processor;
    IPtr<IEditController> controller;
};

double peakOf(const std::vector<double>& samples, size_t from = 0, size_t to = SIZE_MAX)
{
    double peak = 0.0;
    for (size_t i = from; i < std::min(to, samples.size()); ++i)
        peak = std::max(peak, std::fabs(samples[i]));
    return peak;
}

/** The frequency of a plain tone between two samples, from the times of its upward zero
    crossings (interpolated between samples, so that short stretches measure precisely). */
double frequencyOf(const std::vector<double>& samples, size_t from, size_t to, double rate)
{
    double first = -1.0, last = -1.0;
    int crossings = 0;
    for (size_t i = from + 1; i < std::min(to, samples.size()); ++i)
        if (samples[i - 1] < 0.0 && samples[i] >= 0.0)
        {
            const double t = double(i - 1) + -samples[i - 1] / (samples[i] - samples[i - 1]);
            if (crossings++ == 0)
                first = t;
            last = t;
        }
    return crossings > 1 ? (crossings - 1) * rate / (last - first) : 0.0;
}

TEST_F(SynthExample, IsOneObjectWithAnEventInputAndAStereoOutput)
{
    TUID cid;
    EXPECT_EQ(component->getControllerClassId(cid), kResultFalse);
    EXPECT_EQ(component->getBusCount(kEvent, kInput), 1);
    EXPECT_EQ(component->getBusCount(kAudio, kInput), 0);
    EXPECT_EQ(component->getBusCount(kAudio, kOutput), 1);
    BusInfo info{};
    ASSERT_EQ(component->getBusInfo(kEvent, kInput, 0, info), kResultOk);
    EXPECT_EQ(info.channelCount, 16);
    EXPECT_EQ(info.mediaType, kEvent);
    ASSERT_EQ(component->getBusInfo(kAudio, kOutput, 0, info), kResultOk);
    EXPECT_EQ(info.channelCount, 2);

    // One object: every interface leads to the same FUnknown.
    auto a = query<FUnknown>(controller.get());
    auto b = query<FUnknown>(component.get());
    EXPECT_EQ(a.get(), b.get());
    EXPECT_TRUE(query<IMidiMapping>(synth.get()));
    EXPECT_TRUE(query<INoteExpressionController>(synth.get()));
    EXPECT_TRUE(query<IKeyswitchController>(synth.get()));
    EXPECT_TRUE(query<IUnitInfo>(synth.get()));
    EXPECT_EQ(controller->getParameterCount(), kQelSynthParameterCount);
}

TEST_F(SynthExample, PlaysANoteAndFallsSilentAfterItsRelease)
{
    for (int32 sampleSize : {kSample32, kSample64})
        for (int32 blockSize : {1, 64, 8192})
        {
            SCOPED_TRACE(::testing::Message() << "size " << sampleSize << " block " << blockSize);
            ASSERT_EQ(prepare(component.get(), processor.get(), sampleSize), kResultOk);
            bool silent = false;
            auto idle = sampleSize == kSample64
                            ? render<Sample64>(4096, blockSize, nullptr, nullptr, &silent)
                            : render<Sample32>(4096, blockSize, nullptr, nullptr, &silent);
            EXPECT_TRUE(silent);
            EXPECT_EQ(peakOf(idle), 0.0);

            // A4, held for a fifth of a second: an audible 440 Hz sine (the default program).
            Events on;
            on.noteOn(0, 69, 7);
            auto note = sampleSize == kSample64
                            ? render<Sample64>(8820, blockSize, &on, nullptr, &silent)
                            : render<Sample32>(8820, blockSize, &on, nullptr, &silent);
            EXPECT_FALSE(silent);
            EXPECT_GT(peakOf(note, 4410), 0.05);
            EXPECT_NEAR(frequencyOf(note, 441, 8820, 44100.0), 440.0, 6.0);

            // After note-off and the default release of 250 ms the output is silent again.
            Events off;
            off.noteOff(0, 69, 7);
            auto tail = sampleSize == kSample64
                            ? render<Sample64>(22050, blockSize, &off, nullptr, &silent)
                            : render<Sample32>(22050, blockSize, &off, nullptr, &silent);
            EXPECT_GT(peakOf(tail, 0, 100), 0.01);
            EXPECT_EQ(peakOf(tail, 11100), 0.0);
            auto after =
                sampleSize == kSample64
                    ? render<Sample64>(256, std::min(blockSize, 256), nullptr, nullptr, &silent)
                    : render<Sample32>(256, std::min(blockSize, 256), nullptr, nullptr, &silent);
            EXPECT_TRUE(silent);
            EXPECT_EQ(component->setActive(false), kResultOk);
        }
}

TEST_F(SynthExample, NotesStartAtTheirSampleAndEndByIdOrKey)
{
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample32), kResultOk);
    Events events;
    events.noteOn(100, 60, -1).noteOn(100, 64, 11);
    auto block = render<Sample32>(512, 512, &events);
    EXPECT_EQ(peakOf(block, 0, 101), 0.0); // the first sample rises from zero
    EXPECT_GT(peakOf(block, 300), 0.0);

    // Note-offs: the one without id by its key, the other by its id (its key given wrong).
    Events off;
    off.noteOff(0, 60, -1).noteOff(0, 99, 11);
    bool silent = false;
    render<Sample32>(22050, 512, &off);
    render<Sample32>(512, 512, nullptr, nullptr, &silent);
    EXPECT_TRUE(silent);
}

TEST_F(SynthExample, NoteExpressionsChangeOneNote)
{
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample64), kResultOk);
    Events on;
    on.noteOn(0, 69, 3);
    auto plain = render<Sample64>(8192, 512, &on);
    const double level = peakOf(plain, 4096);

    // Volume 0.25 halves the note; tuning +1 octave (0.5 + 12/24) doubles its frequency.
    Events expressions;
    expressions.expression(0, kVolumeTypeID, 3, 0.25).expression(0, kTuningTypeID, 3, 1.0);
    auto changed = render<Sample64>(8192, 512, &expressions);
    EXPECT_NEAR(peakOf(changed, 2048), level / 2.0, level * 0.02);
    EXPECT_NEAR(frequencyOf(changed, 0, 8192, 44100.0), 880.0, 8.0);

    // An expression for another note id changes nothing.
    Events stranger;
    stranger.expression(0, kVolumeTypeID, 4, 1.0);
    auto same = render<Sample64>(4096, 512, &stranger);
    EXPECT_NEAR(peakOf(same), level / 2.0, level * 0.02);
}

TEST_F(SynthExample, KeySwitchesChooseTheArticulation)
{
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample32), kResultOk);
    // The staccato key plays nothing itself ...
    Events staccato;
    staccato.noteOn(0, int16(kQelSynthStaccatoKey), 1);
    bool silent = false;
    render<Sample32>(1024, 512, &staccato, nullptr, &silent);
    EXPECT_TRUE(silent);
    // ... and the notes after it end by themselves (80 ms plus the 250 ms release).
    Events note;
    note.noteOn(0, 69, 2);
    auto played = render<Sample32>(22050, 512, &note);
    EXPECT_GT(peakOf(played, 0, 3000), 0.05);
    EXPECT_EQ(peakOf(played, 3528 + 11025 + 100), 0.0);

    // The sustain key brings held notes back.
    Events sustain;
    sustain.noteOn(0, int16(kQelSynthSustainKey), 3).noteOn(0, 69, 4);
    auto held = render<Sample32>(22050, 512, &sustain);
    EXPECT_GT(peakOf(held, 20000), 0.05);

    auto keyswitch = query<IKeyswitchController>(synth.get());
    for (int16 channel : {int16(0), int16(15)})
    {
        ASSERT_EQ(keyswitch->getKeyswitchCount(0, channel), 2);
        KeyswitchInfo info{};
        ASSERT_EQ(keyswitch->getKeyswitchInfo(0, channel, 1, info), kResultOk);
        EXPECT_EQ(text(info.title), u"Staccato");
        EXPECT_EQ(info.keyswitchMin, kQelSynthStaccatoKey);
        EXPECT_EQ(info.keyswitchMax, kQelSynthStaccatoKey);
        EXPECT_EQ(keyswitch->getKeyswitchInfo(0, channel, 2, info), kResultFalse);
    }
    EXPECT_EQ(keyswitch->getKeyswitchCount(1, 0), 0);
    EXPECT_EQ(keyswitch->getKeyswitchCount(0, 16), 0);
}

TEST_F(SynthExample, NoteExpressionTypesAndTheirTexts)
{
    auto expressions = query<INoteExpressionController>(synth.get());
    EXPECT_EQ(expressions->getNoteExpressionCount(0, 16), 0);
    EXPECT_EQ(expressions->getNoteExpressionCount(1, 0), 0);
    ASSERT_EQ(expressions->getNoteExpressionCount(0, 9), 2);
    NoteExpressionTypeInfo volume{}, tuning{};
    ASSERT_EQ(expressions->getNoteExpressionInfo(0, 9, 0, volume), kResultOk);
    ASSERT_EQ(expressions->getNoteExpressionInfo(0, 9, 1, tuning), kResultOk);
    EXPECT_EQ(expressions->getNoteExpressionInfo(0, 9, 2, tuning), kResultFalse);
    EXPECT_EQ(volume.typeId, kVolumeTypeID);
    EXPECT_EQ(tuning.typeId, kTuningTypeID);
    EXPECT_EQ(tuning.flags & NoteExpressionTypeInfo::kIsBipolar,
              NoteExpressionTypeInfo::kIsBipolar);

    struct Case
    {
        NoteExpressionTypeID type;
        double value;
        std::u16string expected;
    };
    for (const Case& c : {Case{kVolumeTypeID, 0.5, u"0.00"}, Case{kVolumeTypeID, 0.25, u"-6.02"},
                          Case{kVolumeTypeID, 0.0, u"-inf"}, Case{kTuningTypeID, 0.5, u"+0.00"},
                          Case{kTuningTypeID, 0.75, u"+6.00"}, Case{kTuningTypeID, 0.0, u"-12.00"}})
    {
        String128 string{};
        ASSERT_EQ(expressions->getNoteExpressionStringByValue(0, 0, c.type, c.value, string),
                  kResultOk);
        EXPECT_EQ(text(string), c.expected);
        NoteExpressionValue back = -1.0;
        ASSERT_EQ(expressions->getNoteExpressionValueByString(0, 0, c.type, string, back),
                  kResultOk);
        EXPECT_NEAR(back, c.value, 1e-3) << std::string(c.expected.begin(), c.expected.end());
    }
    String128 string{};
    EXPECT_EQ(expressions->getNoteExpressionStringByValue(0, 0, kPanTypeID, 0.5, string),
              kResultFalse);
    NoteExpressionValue value = 0.0;
    EXPECT_EQ(expressions->getNoteExpressionValueByString(0, 0, kTuningTypeID, u"sharp", value),
              kResultFalse);
}

TEST_F(SynthExample, MidiControllersMapToParameters)
{
    auto mapping = query<IMidiMapping>(synth.get());
    for (int16 channel = 0; channel < 16; ++channel)
    {
        ParamID id = kNoParamId;
        ASSERT_EQ(mapping->getMidiControllerAssignment(0, channel, 1, id), kResultOk);
        EXPECT_EQ(id, kQelSynthVibratoParamId);
        ASSERT_EQ(mapping->getMidiControllerAssignment(0, channel, kPitchBend, id), kResultOk);
        EXPECT_EQ(id, kQelSynthPitchBendParamId);
        ASSERT_EQ(mapping->getMidiControllerAssignment(0, channel, 7, id), kResultOk);
        EXPECT_EQ(id, kQelSynthVolumeParamId);
    }
    ParamID id = kNoParamId;
    EXPECT_EQ(mapping->getMidiControllerAssignment(0, 0, 2, id), kResultFalse);
    EXPECT_EQ(mapping->getMidiControllerAssignment(0, 0, kCountCtrlNumber, id), kResultFalse);
    EXPECT_EQ(mapping->getMidiControllerAssignment(1, 0, 1, id), kResultFalse);
    EXPECT_EQ(mapping->getMidiControllerAssignment(0, 16, 1, id), kResultFalse);
    EXPECT_EQ(id, kNoParamId);

    // What the mod wheel drives is real: full vibrato bends a held note around its pitch.
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample64), kResultOk);
    Events on;
    on.noteOn(0, 69, 1);
    Changes wheel;
    wheel.add(kQelSynthVibratoParamId, {{0, 1.0}});
    auto vibrato = render<Sample64>(44100, 1024, &on, &wheel);
    double lowest = 1e9, highest = 0.0;
    for (size_t from = 4410; from + 2205 <= vibrato.size(); from += 2205)
    {
        const double f = frequencyOf(vibrato, from, from + 2205, 44100.0);
        lowest = std::min(lowest, f);
        highest = std::max(highest, f);
    }
    EXPECT_GT(highest - lowest, 10.0);
}

TEST_F(SynthExample, UnitsProgramsAndPitchNames)
{
    auto units = query<IUnitInfo>(synth.get());
    ASSERT_EQ(units->getUnitCount(), 3);
    UnitInfo root{};
    ASSERT_EQ(units->getUnitInfo(0, root), kResultOk);
    EXPECT_EQ(root.parentUnitId, kNoParentUnitId);
    for (int32 i = 1; i < 3; ++i)
    {
        UnitInfo unit{};
        ASSERT_EQ(units->getUnitInfo(i, unit), kResultOk);
        EXPECT_EQ(unit.parentUnitId, root.id);
    }
    ASSERT_EQ(units->getProgramListCount(), 1);
    ProgramListInfo list{};
    ASSERT_EQ(units->getProgramListInfo(0, list), kResultOk);
    EXPECT_EQ(list.id, root.programListId);
    EXPECT_EQ(text(list.name), u"Factory");
    ASSERT_EQ(list.programCount, 4);

    String128 name{};
    ASSERT_EQ(units->getProgramName(list.id, 1, name), kResultOk);
    EXPECT_EQ(text(name), u"Bright Saw");
    ASSERT_EQ(units->getProgramInfo(list.id, 2, "MusicalInstrument", name), kResultOk);
    EXPECT_EQ(text(name), u"Synth Pad");
    EXPECT_EQ(units->getProgramInfo(list.id, 2, "Style", name), kResultFalse);
    EXPECT_EQ(units->getProgramName(list.id + 1, 0, name), kResultFalse);

    ASSERT_EQ(units->hasProgramPitchNames(list.id, 0), kResultOk);
    ASSERT_EQ(units->getProgramPitchName(list.id, 0, int16(kQelSynthStaccatoKey), name), kResultOk);
    EXPECT_EQ(text(name), u"Staccato (key switch)");
    ASSERT_EQ(units->getProgramPitchName(list.id, 3, 60, name), kResultOk);
    EXPECT_EQ(text(name), u"Middle C");
    EXPECT_EQ(units->getProgramPitchName(list.id, 0, 61, name), kResultFalse);
    EXPECT_EQ(units->getProgramPitchName(list.id, 0, 128, name), kResultFalse);
    EXPECT_EQ(units->hasProgramPitchNames(list.id, 4), kResultFalse);

    // Every parameter lies in a listed unit; the program parameter is the list's.
    ParameterInfo program{};
    ASSERT_EQ(controller->getParameterInfo(kQelSynthProgramParamId, program), kResultOk);
    EXPECT_EQ(program.flags & ParameterInfo::kIsProgramChange, ParameterInfo::kIsProgramChange);
    EXPECT_EQ(program.stepCount, list.programCount - 1);
    EXPECT_EQ(program.unitId, root.id);
}

TEST_F(SynthExample, ProgramChangesSetTheSoundOnBothHalves)
{
    // Controller side: choosing "Bright Saw" moves the sound parameters.
    ASSERT_EQ(controller->setParamNormalized(kQelSynthProgramParamId, 1.0 / 3.0), kResultOk);
    String128 string{};
    ASSERT_EQ(controller->getParamStringByValue(
                  kQelSynthWaveformParamId,
                  controller->getParamNormalized(kQelSynthWaveformParamId), string),
              kResultOk);
    EXPECT_EQ(text(string), u"Saw");
    EXPECT_DOUBLE_EQ(
        controller->normalizedParamToPlain(kQelSynthVolumeParamId,
                                           controller->getParamNormalized(kQelSynthVolumeParamId)),
        60.0);

    // Processor side: a program point in a block does the same to what is saved.
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample32), kResultOk);
    Changes change;
    change.add(kQelSynthProgramParamId, {{0, 1.0}}); // "Pluck"
    render<Sample32>(64, 64, nullptr, &change);
    auto state = adopt(new FMemoryStream);
    ASSERT_EQ(component->getState(state.get()), kResultOk);
    ASSERT_EQ(controller->setComponentState(copyOf(state.get()).get()), kResultOk);
    EXPECT_DOUBLE_EQ(
        controller->normalizedParamToPlain(kQelSynthReleaseParamId,
                                           controller->getParamNormalized(kQelSynthReleaseParamId)),
        60.0);
    EXPECT_EQ(controller->getParamNormalized(kQelSynthProgramParamId), 1.0);
}

TEST_F(SynthExample, ParameterTextsRoundTrip)
{
    for (int32 i = 0; i < controller->getParameterCount(); ++i)
    {
        ParameterInfo info{};
        ASSERT_EQ(controller->getParameterInfo(i, info), kResultOk);
        EXPECT_EQ(info.id, ParamID(i));
        EXPECT_FALSE(text(info.title).empty());
        EXPECT_GE(info.defaultNormalizedValue, 0.0);
        EXPECT_LE(info.defaultNormalizedValue, 1.0);
        for (double value : {0.0, 0.2, 0.5, 0.9, 1.0, info.defaultNormalizedValue})
        {
            String128 string{};
            ASSERT_EQ(controller->getParamStringByValue(info.id, value, string), kResultOk);
            ParamValue back = -1.0;
            ASSERT_EQ(controller->getParamValueByString(info.id, string, back), kResultOk);
            String128 again{};
            ASSERT_EQ(controller->getParamStringByValue(info.id, back, again), kResultOk);
            EXPECT_EQ(text(again), text(string)) << "parameter " << i << " value " << value;
            if (info.stepCount == 0)
            {
                EXPECT_NEAR(controller->normalizedParamToPlain(info.id, back),
                            controller->normalizedParamToPlain(info.id, value), 0.51);
            }
        }
    }
    String128 string{};
    ASSERT_EQ(controller->getParamStringByValue(kQelSynthWaveformParamId, 0.99, string), kResultOk);
    EXPECT_EQ(text(string), u"Square");
    ParamValue value = 0.0;
    ASSERT_EQ(controller->getParamValueByString(kQelSynthWaveformParamId, string, value),
              kResultOk);
    EXPECT_EQ(value, 1.0);
}

TEST_F(SynthExample, StateRoundTripsAndDamagedStreamsAreRefused)
{
    ASSERT_EQ(controller->setParamNormalized(kQelSynthAttackParamId, 0.3), kResultOk);
    ASSERT_EQ(prepare(component.get(), processor.get(), kSample64), kResultOk);
    Changes changes;
    changes.add(kQelSynthAttackParamId, {{0, 0.3}});
    changes.add(kQelSynthPitchBendParamId, {{0, 0.75}});
    render<Sample64>(64, 64, nullptr, &changes);
    auto saved = adopt(new FMemoryStream);
    ASSERT_EQ(component->getState(saved.get()), kResultOk);
    EXPECT_EQ(saved->size(), 12 + kQelSynthParameterCount * 12);

    IPtr<FUnknown> other = create(kQelSynthCid);
    auto otherComponent = query<IComponent>(other.get());
    auto otherController = query<IEditController>(other.get());
    ASSERT_EQ(otherComponent->setState(copyOf(saved.get()).get()), kResultOk);
    EXPECT_DOUBLE_EQ(otherController->getParamNormalized(kQelSynthPitchBendParamId), 0.75);
    auto resaved = adopt(new FMemoryStream);
    ASSERT_EQ(otherComponent->getState(resaved.get()), kResultOk);
    EXPECT_EQ(std::string(resaved->data(), size_t(resaved->size())),
              std::string(saved->data(), size_t(saved->size())));

    std::string garbage(saved->data(), size_t(saved->size()));
    garbage[12] = 99; // an id the synth does not have
    std::string outOfRange(saved->data(), size_t(saved->size()));
    const double two = 2.0;
    std::memcpy(outOfRange.data() + 16, &two, 8);
    for (const std::string& bytes : {std::string(saved->data(), size_t(saved->size()) - 3), garbage,
                                     outOfRange, std::string(100, '\x11')})
    {
        auto first = adopt(new FMemoryStream(bytes.data(), int64(bytes.size())));
        EXPECT_EQ(otherComponent->setState(first.get()), kResultFalse);
        auto second = adopt(new FMemoryStream(bytes.data(), int64(bytes.size())));
        EXPECT_EQ(otherController->setComponentState(second.get()), kResultFalse);
    }
    EXPECT_DOUBLE_EQ(otherController->getParamNormalized(kQelSynthPitchBendParamId), 0.75);
    terminate(other);
}
