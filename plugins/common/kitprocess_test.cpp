// Tests of the kit's processing and interface helpers: the walkers over parameter changes and
// events, the component and controller layers, the connection peer and message creation.
#include "common/connection.h"
#include "common/controllerbase.h"
#include "common/processhelpers.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

/** A host object on the test's stack, answering only its own interface. */
template <class I> class StackObject : public I
{
public:
    tresult queryInterface(const TUID iid, void** obj) override
    {
        if (iidEqual(iid, I::iid.bytes) || iidEqual(iid, FUnknown::iid.bytes))
        {
            *obj = static_cast<I*>(this);
            addRef();
            return kResultOk;
        }
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return ++references; }
    uint32 release() override { return --references; }
    uint32 references = 1;
};

class Queue : public StackObject<IParamValueQueue>
{
public:
    Queue(ParamID id, std::vector<std::pair<int32, ParamValue>> points, int32 refusedIndex = -1)
        : id(id), points(std::move(points)), refusedIndex(refusedIndex)
    {
    }
    ParamID getParameterId() override { return id; }
    int32 getPointCount() override { return int32(points.size()); }
    tresult getPoint(int32 index, int32& offset, ParamValue& value) override
    {
        if (index == refusedIndex || index < 0 || index >= getPointCount())
            return kResultFalse;
        offset = points[size_t(index)].first;
        value = points[size_t(index)].second;
        return kResultOk;
    }
    tresult addPoint(int32, ParamValue, int32&) override { return kResultFalse; }

private:
    ParamID id;
    std::vector<std::pair<int32, ParamValue>> points;
    int32 refusedIndex;
};

/** Hands out queues by place and may report fewer than it has, as some hosts do. */
class Changes : public StackObject<IParameterChanges>
{
public:
    explicit Changes(std::vector<Queue*> places, int32 reportedCount = -1)
        : places(std::move(places)), reportedCount(reportedCount)
    {
    }
    int32 getParameterCount() override
    {
        return reportedCount >= 0 ? reportedCount : int32(places.size());
    }
    IParamValueQueue* getParameterData(int32 index) override
    {
        return index >= 0 && index < int32(places.size()) ? places[size_t(index)] : nullptr;
    }
    IParamValueQueue* addParameterData(const ParamID&, int32&) override { return nullptr; }

private:
    std::vector<Queue*> places;
    int32 reportedCount;
};

using Point = std::pair<ParamID, ParamValue>;

} // namespace

TEST(BlockAutomation, HandsOutPointsInSampleOrderPerParameter)
{
    Queue gain(1, {{0, 0.1}, {10, 0.2}, {10, 0.3}, {40, 0.4}});
    Queue pan(2, {{5, 0.9}, {100, 0.8}});
    Queue other(3, {{2, 0.5}});
    Changes changes({&other, &pan, &gain});
    BlockAutomation<2> automation({1, 2});
    automation.begin(&changes);

    std::vector<Point> seen;
    auto record = [&](ParamID id, ParamValue value) { seen.push_back({id, value}); };
    EXPECT_EQ(automation.nextOffset(), 0);
    automation.takeUpTo(0, record);
    EXPECT_EQ(seen, (std::vector<Point>{{1, 0.1}}));
    EXPECT_EQ(automation.nextOffset(), 5);
    automation.takeUpTo(9, record);
    EXPECT_EQ(automation.nextOffset(), 10);
    automation.takeUpTo(10, record);
    EXPECT_EQ(seen, (std::vector<Point>{{1, 0.1}, {2, 0.9}, {1, 0.2}, {1, 0.3}}));
    EXPECT_EQ(automation.nextOffset(), 40);
    automation.takeUpTo(63, record);
    EXPECT_EQ(automation.nextOffset(), 100); // beyond a 64-sample block
    automation.takeUpTo(automation.kEndOfBlock, record);
    EXPECT_EQ(seen.size(), 6u);
    EXPECT_EQ(seen.back(), (Point{2, 0.8}));
    EXPECT_EQ(automation.nextOffset(), automation.kEndOfBlock);
}

TEST(BlockAutomation, FindsQueuesBehindFreePlacesAndSkipsBadPoints)
{
    // Place 0 is free; the host counts one queue, which stands at place 2.
    Queue freePlace(kNoParamId, {});
    Queue unknown(8, {{0, 1.0}});
    Queue gain(1, {{-5, 0.1}, {3, 0.2}, {4, 0.3}}, /*refusedIndex*/ 1);
    Changes changes({&freePlace, &unknown, &gain}, 1);
    BlockAutomation<1> automation({1});
    automation.begin(&changes);

    std::vector<Point> seen;
    auto record = [&](ParamID id, ParamValue value) { seen.push_back({id, value}); };
    EXPECT_EQ(automation.nextOffset(), 0); // a point before the block counts at its start
    automation.takeUpTo(3, record);
    EXPECT_EQ(seen, (std::vector<Point>{{1, 0.1}}));
    EXPECT_EQ(automation.nextOffset(), 4);
    automation.takeUpTo(automation.kEndOfBlock, record);
    EXPECT_EQ(seen, (std::vector<Point>{{1, 0.1}, {1, 0.3}}));

    // No changes at all, and a new block after a full one, start empty.
    automation.begin(nullptr);
    EXPECT_EQ(automation.nextOffset(), automation.kEndOfBlock);
    automation.takeUpTo(automation.kEndOfBlock, record);
    EXPECT_EQ(seen.size(), 2u);
}

namespace
{

class EventList : public StackObject<IEventList>
{
public:
    void add(int32 offset, int16 pitch)
    {
        Event e{};
        e.sampleOffset = offset;
        e.type = Event::kNoteOnEvent;
        e.noteOn.pitch = pitch;
        events.push_back(e);
    }
    int32 getEventCount() override { return int32(events.size()); }
    tresult getEvent(int32 index, Event& e) override
    {
        if (index == refusedIndex || index < 0 || index >= getEventCount())
            return kResultFalse;
        e = events[size_t(index)];
        return kResultOk;
    }
    tresult addEvent(Event&) override { return kResultFalse; }

    std::vector<Event> events;
    int32 refusedIndex = -1;
};

} // namespace

TEST(BlockEvents, HandsOutEventsUpToEachCut)
{
    EventList list;
    list.add(-3, 60);
    list.add(0, 61);
    list.add(20, 62);
    list.add(20, 63);
    list.add(30, 64);
    list.add(90, 65);
    list.refusedIndex = 4;
    BlockEvents events(&list);
    std::vector<int16> pitches;
    auto record = [&](const Event& e) { pitches.push_back(e.noteOn.pitch); };

    EXPECT_EQ(events.nextOffset(), 0);
    events.takeUpTo(0, record);
    EXPECT_EQ(pitches, (std::vector<int16>{60, 61}));
    EXPECT_EQ(events.nextOffset(), 20);
    events.takeUpTo(19, record);
    EXPECT_EQ(pitches.size(), 2u);
    events.takeUpTo(20, record);
    EXPECT_EQ(events.nextOffset(), 90); // the refused event is passed over
    events.takeUpTo(events.kEndOfBlock, record);
    EXPECT_EQ(pitches, (std::vector<int16>{60, 61, 62, 63, 65}));

    BlockEvents none(nullptr);
    EXPECT_EQ(none.nextOffset(), none.kEndOfBlock);
    none.takeUpTo(none.kEndOfBlock, record);
    EXPECT_EQ(pitches.size(), 5u);
}

TEST(ProcessHelpers, ChannelsAndSilenceBits)
{
    float left[4] = {};
    float* channels32[] = {left, nullptr};
    AudioBusBuffers bus{};
    bus.numChannels = 2;
    bus.channelBuffers32 = channels32;
    EXPECT_EQ(channelBuffers<Sample32>(bus)[0], left);
    bus.silenceFlags = 2;
    EXPECT_FALSE(isSilent(bus, 0));
    EXPECT_TRUE(isSilent(bus, 1));
    EXPECT_FALSE(isSilent(bus, 64));
    EXPECT_EQ(silenceMask(0), 0u);
    EXPECT_EQ(silenceMask(2), 3u);
    EXPECT_EQ(silenceMask(64), ~uint64{0});
    EXPECT_EQ(silenceMask(70), ~uint64{0});
}

namespace
{

class Context : public PluginObject<FUnknown>
{
};

/** The smallest component: a stereo output, and a count of activation changes. */
class ProbeComponent : public ComponentBase<>
{
public:
    ProbeComponent() { busses.addAudio(kOutput, u"Out", SpeakerArr::kStereo); }
    tresult getControllerClassId(TUID) override { return kResultFalse; }
    tresult setState(IBStream*) override { return kResultOk; }
    tresult getState(IBStream*) override { return kResultOk; }
    tresult process(ProcessData&) override { return kResultOk; }

    int activations = 0;
    int deactivations = 0;
    bool refuseActivation = false;

protected:
    tresult activeChanged(bool state) override
    {
        if (state && refuseActivation)
            return kResultFalse;
        ++(state ? activations : deactivations);
        return kResultOk;
    }
};

} // namespace

TEST(ComponentBase, ActivationFollowsTheLifeCycle)
{
    Context* context = new Context;
    auto* component = new ProbeComponent;
    EXPECT_EQ(component->setActive(true), kResultFalse); // not initialized
    ASSERT_EQ(component->initialize(context), kResultOk);
    EXPECT_EQ(component->setActive(false), kResultFalse);
    component->refuseActivation = true;
    EXPECT_EQ(component->setActive(true), kResultFalse);
    EXPECT_FALSE(component->isActive());
    component->refuseActivation = false;
    ASSERT_EQ(component->setActive(true), kResultOk);
    EXPECT_EQ(component->setActive(true), kResultFalse);
    EXPECT_EQ(component->activations, 1);
    EXPECT_EQ(component->setProcessing(true), kResultOk);
    EXPECT_TRUE(component->isProcessing());

    // Processing ends with the activation; terminate deactivates first.
    ASSERT_EQ(component->setActive(false), kResultOk);
    EXPECT_FALSE(component->isProcessing());
    EXPECT_EQ(component->setProcessing(true), kResultFalse);
    ASSERT_EQ(component->setActive(true), kResultOk);
    EXPECT_EQ(component->terminate(), kResultOk);
    EXPECT_FALSE(component->isActive());
    EXPECT_EQ(component->deactivations, 2);
    EXPECT_EQ(component->terminate(), kResultFalse);
    component->release();
    context->release();
}

TEST(ComponentBase, SetUpAndArrangements)
{
    Context* context = new Context;
    auto* component = new ProbeComponent;
    ASSERT_EQ(component->initialize(context), kResultOk);
    ProcessSetup setup{kRealtime, kSample64, 256, 96000.0};
    EXPECT_EQ(component->setupProcessing(setup), kResultOk);
    for (ProcessSetup bad :
         {ProcessSetup{kRealtime, 2, 256, 48000.0}, ProcessSetup{kRealtime, kSample32, 0, 48000.0},
          ProcessSetup{kRealtime, kSample32, 256, -1.0},
          ProcessSetup{kRealtime, kSample32, 256, std::nan("")}})
        EXPECT_EQ(component->setupProcessing(bad), kResultFalse);
    ASSERT_EQ(component->setActive(true), kResultOk);
    EXPECT_EQ(component->setupProcessing(setup), kResultFalse);
    ASSERT_EQ(component->setActive(false), kResultOk);

    SpeakerArrangement stereo = SpeakerArr::kStereo, mono = SpeakerArr::kMono;
    EXPECT_EQ(component->setBusArrangements(nullptr, 0, &stereo, 1), kResultOk);
    EXPECT_EQ(component->setBusArrangements(nullptr, 0, &mono, 1), kResultFalse);
    EXPECT_EQ(component->setBusArrangements(&stereo, 1, &stereo, 1), kResultFalse);
    EXPECT_EQ(component->setBusArrangements(nullptr, 0, nullptr, 1), kResultFalse);
    EXPECT_EQ(component->setIoMode(kSimple), kResultOk);
    EXPECT_EQ(component->setIoMode(kAdvanced), kResultFalse);
    EXPECT_EQ(component->activateBus(kAudio, kOutput, 0, false), kResultOk);
    EXPECT_EQ(component->activateBus(kAudio, kOutput, 1, false), kInvalidArgument);
    component->release();
    context->release();
}

namespace
{

class Handler : public StackObject<IComponentHandler>
{
public:
    tresult beginEdit(ParamID) override { return kResultOk; }
    tresult performEdit(ParamID, ParamValue) override { return kResultOk; }
    tresult endEdit(ParamID) override { return kResultOk; }
    tresult restartComponent(int32) override { return kResultOk; }
};

constexpr ParameterSpec kProbeParameters[] = {
    {.id = 4,
     .title = u"Drive",
     .units = u"%",
     .maxPlain = 100.0,
     .defaultPlain = 25.0,
     .precision = 0},
};
constexpr UnitSpec kProbeUnits[] = {{.id = 0, .parentId = -1, .name = u"Root"}};

class ProbeController : public EditControllerWithUnitsBase<>
{
public:
    ProbeController()
    {
        parameters = ParameterList(kProbeParameters);
        units = UnitTable(kProbeUnits, {});
    }
    tresult setComponentState(IBStream*) override { return kResultOk; }
    tresult setState(IBStream*) override { return kResultOk; }
    tresult getState(IBStream*) override { return kResultOk; }
};

} // namespace

TEST(EditControllerBase, AnswersFromItsTablesAndKeepsTheHandler)
{
    Context* context = new Context;
    auto* controller = new ProbeController;
    ASSERT_EQ(controller->initialize(context), kResultOk);
    EXPECT_EQ(controller->getParameterCount(), 1);
    EXPECT_DOUBLE_EQ(controller->getParamNormalized(4), 0.25);
    String128 string;
    EXPECT_EQ(controller->getParamStringByValue(5, 0.5, string), kResultFalse);
    EXPECT_DOUBLE_EQ(controller->normalizedParamToPlain(4, 0.5), 50.0);
    EXPECT_DOUBLE_EQ(controller->normalizedParamToPlain(5, 0.5), 0.5);
    EXPECT_DOUBLE_EQ(controller->plainParamToNormalized(4, 10.0), 0.1);
    EXPECT_EQ(controller->createView("editor"), nullptr);
    EXPECT_EQ(controller->getUnitCount(), 1);
    EXPECT_EQ(controller->getProgramListCount(), 0);
    UnitID unit = -5;
    EXPECT_EQ(controller->getUnitByBus(kAudio, kOutput, 0, 0, unit), kResultOk);
    EXPECT_EQ(unit, kRootUnitId);

    Handler handler;
    ASSERT_EQ(controller->setComponentHandler(&handler), kResultOk);
    EXPECT_EQ(handler.references, 2u);
    EXPECT_EQ(controller->terminate(), kResultOk);
    EXPECT_EQ(handler.references, 1u);
    controller->release();
    context->release();
}

namespace
{

class PeerPoint : public StackObject<IConnectionPoint>
{
public:
    tresult connect(IConnectionPoint*) override { return kResultOk; }
    tresult disconnect(IConnectionPoint*) override { return kResultOk; }
    tresult notify(IMessage* message) override
    {
        ids.push_back(message->getMessageID() ? message->getMessageID() : "");
        return kResultOk;
    }
    std::vector<std::string> ids;
};

class Attributes : public StackObject<IAttributeList>
{
public:
    tresult setInt(AttrID, int64) override { return kResultOk; }
    tresult getInt(AttrID, int64&) override { return kResultFalse; }
    tresult setFloat(AttrID, double) override { return kResultOk; }
    tresult getFloat(AttrID, double&) override { return kResultFalse; }
    tresult setString(AttrID, const TChar*) override { return kResultOk; }
    tresult getString(AttrID, TChar*, uint32) override { return kResultFalse; }
    tresult setBinary(AttrID, const void*, uint32) override { return kResultOk; }
    tresult getBinary(AttrID, const void*&, uint32&) override { return kResultFalse; }
};

class Message : public StackObject<IMessage>
{
public:
    FIDString getMessageID() override { return id.empty() ? nullptr : id.c_str(); }
    void setMessageID(FIDString newId) override { id = newId ? newId : ""; }
    IAttributeList* getAttributes() override { return &attributes; }
    std::string id;
    Attributes attributes;
};

/** Makes one message when asked for the message class, and records what it was asked. */
class Host : public StackObject<IHostApplication>
{
public:
    tresult getName(String128 name) override
    {
        name[0] = 0;
        return kResultOk;
    }
    tresult createInstance(TUID cid, TUID iid, void** obj) override
    {
        askedForMessage = iidEqual(cid, IMessage::iid.bytes) && iidEqual(iid, IMessage::iid.bytes);
        if (!askedForMessage)
            return kResultFalse;
        message.addRef(); // the caller's reference
        *obj = static_cast<IMessage*>(&message);
        return kResultOk;
    }
    bool askedForMessage = false;
    Message message;
};

} // namespace

TEST(ConnectionPeer, KeepsOnePeerAndForwardsMessages)
{
    ConnectionPeer peer;
    PeerPoint first, second;
    Message message;
    message.id = "Hello";
    EXPECT_EQ(peer.notify(&message), kResultFalse);
    EXPECT_EQ(peer.connect(nullptr), kInvalidArgument);
    ASSERT_EQ(peer.connect(&first), kResultOk);
    EXPECT_EQ(first.references, 2u);
    EXPECT_EQ(peer.connect(&second), kResultFalse);
    EXPECT_EQ(peer.notify(&message), kResultOk);
    EXPECT_EQ(peer.notify(nullptr), kResultFalse);
    EXPECT_EQ(first.ids, std::vector<std::string>{"Hello"});
    EXPECT_EQ(peer.disconnect(&second), kInvalidArgument);
    EXPECT_EQ(peer.disconnect(nullptr), kInvalidArgument);
    ASSERT_EQ(peer.disconnect(&first), kResultOk);
    EXPECT_EQ(first.references, 1u);
    EXPECT_FALSE(peer.isConnected());
    EXPECT_EQ(peer.connect(&second), kResultOk);
    EXPECT_EQ(peer.disconnect(&second), kResultOk);
}

TEST(ConnectionPeer, MessagesComeFromTheHost)
{
    Host host;
    {
        IPtr<IMessage> message = createMessage(&host, "Meter");
        ASSERT_TRUE(message);
        EXPECT_TRUE(host.askedForMessage);
        EXPECT_EQ(message.get(), &host.message);
        EXPECT_TRUE(isMessage(message.get(), "Meter"));
        EXPECT_FALSE(isMessage(message.get(), "Mete"));
        EXPECT_EQ(host.message.references, 2u); // the reference createInstance gave
    }
    EXPECT_EQ(host.message.references, 1u);
    EXPECT_FALSE(createMessage(nullptr, "Meter"));
    EXPECT_FALSE(isMessage(nullptr, "Meter"));
    host.message.id.clear();
    EXPECT_FALSE(isMessage(&host.message, "Meter"));

    {
        auto application = hostApplicationOf(&host);
        EXPECT_EQ(application.get(), &host);
        EXPECT_EQ(host.references, 2u);
    }
    EXPECT_EQ(host.references, 1u);
    PeerPoint notAHost;
    EXPECT_FALSE(hostApplicationOf(&notAHost));
    EXPECT_FALSE(hostApplicationOf(nullptr));
}
