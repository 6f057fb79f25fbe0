// Slots in the rack: routing that survives a restart of the rack and of the settings file, the
// answers to the plug-in's restart requests, the bypass parameter, and teardown.
#include "common/exampleids.h"
#include "engine/graphtestsupport.h"
#include "engine/midieventcollector.h"
#include "engine/qeleventinput.h"
#include "hosting/qel3connectionproxy.h"
#include "hosting/qelcomponent.h"
#include "hosting/qeleditcontroller.h"

#include <fstream>
#include <vector>

namespace Quillmark::MiniEngine
{
namespace
{

using namespace Qel::Probe;
using SlotRack = testing::GraphFixture;

/** Notes what a slot's window is asked to refresh. */
class RecordingObserver : public QelSlotObserver
{
public:
    void refreshParameterTitles() override { calls.push_back("titles"); }
    void refreshParameterValues() override { calls.push_back("values"); }
    void refreshParameter(int32 id) override { calls.push_back("parameter " + std::to_string(id)); }
    void refreshPortLabels() override { calls.push_back("ports"); }
    void slotClosing() override { calls.push_back("closing"); }
    std::vector<std::string> calls;
};

TEST_F(SlotRack, RoutingIsWrittenUnderTheClassAndReadBackAfterARestart)
{
    start();
    PDevice* midiDevice = new PDevice("Keyboard", true, ports);
    PPort* keys = midiDevice->addPort("Keys", false, "midi");
    PPort* pads = midiDevice->addPort("Pads", false, "midi");

    QelSlot* slot = addProbe(kMappedCid);
    ASSERT_NE(slot, nullptr);
    QelSlotOperator* op = slot->getOperator();
    // The event input found the first MIDI source by itself; the user chooses the second.
    ASSERT_NE(op->getMidiCollector(), nullptr);
    EXPECT_TRUE(op->getMidiCollector()->getInput(0)->isConnectedTo(keys));
    op->getMidiCollector()->setPort(0, pads);
    op->getEventInput(0)->setChannelFilter(3);
    // Crossed over, so that a default routing could not pass for the stored one.
    op->getOutputPin(0)->disconnectAll();
    op->getOutputPin(1)->disconnectAll();
    op->getOutputPin(0)->connect(device->playbacks[1]);
    op->getOutputPin(1)->connect(device->playbacks[0]);

    rack->release(); // saves the routing of every slot
    rack = nullptr;
    ASSERT_TRUE(settings->save());

    FDefaultPool* reread = new FDefaultPool(temp.file("Defaults"));
    ASSERT_TRUE(reread->load());
    const std::string section = FUID(kMappedCid.bytes).toString();
    FDefaults* stored = reread->lookup(section.c_str(), 1, false);
    ASSERT_NE(stored, nullptr);
    String text;
    EXPECT_EQ(stored->getInt(QelSlot::kMidiPortCount, 0), 1);
    ASSERT_TRUE(stored->getString("Midi Port 0", text));
    EXPECT_EQ(std::string(text.text8()), "O|Keyboard|Pads");
    EXPECT_EQ(stored->getInt("Midi Filter 0", 0), 3);
    EXPECT_EQ(stored->getInt(QelSlot::kAudioInPortCount, 0), 2);
    ASSERT_TRUE(stored->getString("Audio In Port 1", text));
    EXPECT_EQ(std::string(text.text8()), "O|QelBus|Input-R");
    ASSERT_TRUE(stored->getString("Audio Out Port 0", text));
    EXPECT_EQ(std::string(text.text8()), "I|Test Device|Out R");
    EXPECT_EQ(stored->getInt("Audio Out Bus Active 0", 0), 1);

    rack = new QelRack(graph, registry, reread, ports);
    QelSlot* again = rack->addSlot(FUID(kMappedCid.bytes));
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(again->arePortsRestored());
    QelSlotOperator* op2 = again->getOperator();
    EXPECT_TRUE(op2->getMidiCollector()->getInput(0)->isConnectedTo(pads));
    EXPECT_FALSE(op2->getMidiCollector()->getInput(0)->isConnectedTo(keys));
    EXPECT_EQ(op2->getEventInput(0)->getChannelFilter(), 3);
    EXPECT_TRUE(op2->getInputPin(0)->isConnectedTo(graph->getInputOperator()->getOutputPin(0)));
    EXPECT_TRUE(op2->getOutputPin(0)->isConnectedTo(device->playbacks[1]));
    EXPECT_TRUE(op2->getOutputPin(1)->isConnectedTo(device->playbacks[0]));

    // The routed slot plays: the input's sine arrives on the crossed channels.
    graph->getInputOperator()->setInputSignal(SignalGenerator::kSine);
    graph->setPlaying(true);
    run(1);
    EXPECT_NE(device->out(1, 10), 0.0f);
    rack->release();
    rack = nullptr;
    reread->release();
    midiDevice->release();
}

TEST_F(SlotRack, DamagedRoutingEntriesChangeNothing)
{
    start();
    const std::string section = FUID(kMappedCid.bytes).toString();
    FDefaults* stored = settings->lookup(section.c_str());
    stored->setInt(QelSlot::kMidiPortCount, 1);
    stored->setString("Midi Port 0", "O|Nowhere|Gone");
    stored->setInt("Midi Filter 0", 99);
    stored->setInt(QelSlot::kAudioOutPortCount, 5);
    stored->setString("Audio Out Port 0", "no bars at all");
    stored->setInt(QelSlot::kAudioOutBusCount, 40);
    stored->setInt("Audio Out Bus Active 0", 0);

    QelSlot* slot = rack->addSlot(FUID(kMappedCid.bytes));
    ASSERT_NE(slot, nullptr);
    EXPECT_FALSE(slot->arePortsRestored());
    QelSlotOperator* op = slot->getOperator();
    EXPECT_EQ(op->getEventInput(0)->getChannelFilter(), -1);
    EXPECT_EQ(op->getMidiCollector()->getInput(0)->getConnectionCount(), 0);
    EXPECT_EQ(op->getOutputPin(0)->getConnectionCount(), 0);
    // The bus count is cut to the busses the plug-in has; the stored state still applies.
    EXPECT_FALSE(op->isOutputBusActive(0));
}

TEST_F(SlotRack, RestartRequestsAreAnsweredFlagByFlag)
{
    start();
    QelSlot* slot = addProbe(kMappedCid);
    ASSERT_NE(slot, nullptr);
    RecordingObserver view;
    slot->setController(&view);
    QelSlot::Handler* handler = slot->getHandler();
    ASSERT_NE(handler, nullptr);
    QelSlotOperator* op = slot->getOperator();
    const int32 pins = op->getOutputPinCount();

    EXPECT_EQ(handler->restartComponent(Qel::kReloadComponent), kNotImplemented);
    EXPECT_EQ(handler->restartComponent(Qel::kIoChanged), kNotImplemented);
    EXPECT_EQ(handler->restartComponent(Qel::kIoChanged | Qel::kParamTitlesChanged),
              kNotImplemented);
    EXPECT_TRUE(view.calls.empty());
    EXPECT_EQ(op->getOutputPinCount(), pins) << "the old busses stay";

    EXPECT_EQ(handler->restartComponent(Qel::kLatencyChanged), kNotImplemented);
    EXPECT_EQ(handler->restartComponent(0x40), kNotImplemented);
    EXPECT_EQ(handler->restartComponent(0), kNotImplemented);

    EXPECT_EQ(handler->restartComponent(Qel::kParamTitlesChanged), kResultOk);
    EXPECT_EQ(handler->restartComponent(Qel::kParamValuesChanged), kResultOk);
    EXPECT_EQ(handler->restartComponent(Qel::kParamValuesChanged | Qel::kParamTitlesChanged),
              kResultOk);
    EXPECT_EQ(handler->restartComponent(Qel::kIoTitlesChanged), kResultOk);
    EXPECT_EQ(view.calls, (std::vector<std::string>{"titles", "values", "titles", "ports"}));

    // The controller maps are read again from the plug-in.
    op->setupController(nullptr);
    EXPECT_EQ(op->getMappedParameter(0, 7), -1);
    EXPECT_EQ(handler->restartComponent(Qel::kMidiCCAssignmentChanged), kResultOk);
    EXPECT_EQ(op->getMappedParameter(0, 7), 107);
    EXPECT_EQ(op->getMappedParameter(14, 9), 109);
    EXPECT_EQ(op->getMappedParameter(14, 10), -1);
    EXPECT_EQ(op->getMappedParameter(15, 0), -1);
    slot->setController(nullptr);
}

TEST_F(SlotRack, EditsFromTheControllerReachTheNextBlockAndValuesComeBackOnIdle)
{
    start();
    QelSlot* slot = addProbe(kMappedCid);
    ASSERT_NE(slot, nullptr);
    IProbe* probe = probeOf(slot);
    probe->setEcho(true, 0);
    RecordingObserver view;
    slot->setController(&view);
    EXPECT_EQ(slot->getHandler()->performEdit(1, 0.75), kResultOk);
    EXPECT_EQ(slot->getHandler()->beginEdit(1), kResultOk);
    EXPECT_EQ(view.calls, (std::vector<std::string>{"parameter 1"}));
    run(1);
    const std::vector<ReceivedPoint> points = pointsOf(*probe);
    ASSERT_EQ(points.size(), 1u);
    EXPECT_EQ(points[0].id, 1u);
    EXPECT_EQ(points[0].value, 0.75);
    // The echo came back from the plug-in and waits for "Idle".
    EXPECT_TRUE(slot->hasPendingChanges());
    slot->deliverPendingChanges();
    EXPECT_FALSE(slot->hasPendingChanges());
    EXPECT_EQ(slot->getEditPart()->getController()->getParamNormalized(1), 0.75);
    slot->setController(nullptr);
}

TEST_F(SlotRack, RemovingASlotTakesItOutOfTheGraphAndClosesItsWindow)
{
    start();
    QelSlot* first = addProbe(kEffectCid);
    QelSlot* second = addProbe(kMappedCid);
    ASSERT_TRUE(first && second);
    RecordingObserver view;
    first->setController(&view);
    EXPECT_EQ(graph->countOperators(), 4);
    rack->removeSlot(first, true);
    EXPECT_EQ(view.calls, (std::vector<std::string>{"closing"}));
    EXPECT_EQ(rack->countSlots(), 1);
    EXPECT_EQ(graph->countOperators(), 3);
    EXPECT_EQ(graph->getOperator(2), static_cast<IAudioOperator*>(second->getOperator()));
    // The routing of the removed slot was kept.
    EXPECT_NE(settings->lookup(FUID(kEffectCid.bytes).toString().c_str(), 1, false), nullptr);
    run(2);
    rack->removeAllSlots();
    EXPECT_EQ(graph->countOperators(), 2);
}

TEST_F(SlotRack, ASeparateControllerIsMadeJoinedCrosswiseAndLetGoInOrder)
{
    Quillmark::testing::copyInto(Quillmark::testing::exampleModule(Qel::Examples::kQelGainModule),
                                 temp.folder("modules"));
    ASSERT_GT(registry->scanFolder(temp.folder("modules")), 0);
    start();
    QelSlot* slot = rack->addSlot(FUID(Qel::Examples::kQelGainCid.bytes));
    ASSERT_NE(slot, nullptr);
    ASSERT_NE(slot->getEditPart(), nullptr);
    EXPECT_EQ(slot->getBypassParamId(), int32(Qel::Examples::kQelGainBypassParamId));
    EXPECT_TRUE(slot->hasBypassParameter());
    ASSERT_TRUE(slot->isConnected());
    Qel::IConnectionPoint* componentPoint = slot->getPlugin()->getConnectionPoint();
    Qel::IConnectionPoint* controllerPoint = slot->getEditPart()->getConnectionPoint();
    // Each half sends through its own proxy, which delivers to the other half.
    EXPECT_EQ(slot->getComponentProxy()->getSource(), componentPoint);
    EXPECT_EQ(slot->getComponentProxy()->getDestination(), controllerPoint);
    EXPECT_EQ(slot->getControllerProxy()->getSource(), controllerPoint);
    EXPECT_EQ(slot->getControllerProxy()->getDestination(), componentPoint);
    EXPECT_EQ(slot->getEditPart()->getComponentHandler(), slot->getHandler());

    // Bypass goes to the controller at once and to the processor at the next block.
    EXPECT_TRUE(slot->setBypass(true));
    EXPECT_EQ(slot->getEditPart()->getController()->getParamNormalized(
                  Qel::Examples::kQelGainBypassParamId),
              1.0);
    run(1);
    rack->removeAllSlots();
    EXPECT_EQ(rack->countSlots(), 0);
}

TEST_F(SlotRack, APresetSavedFromOneSlotSetsUpAnother)
{
    Quillmark::testing::copyInto(Quillmark::testing::exampleModule(Qel::Examples::kQelGainModule),
                                 temp.folder("modules"));
    ASSERT_GT(registry->scanFolder(temp.folder("modules")), 0);
    start();
    const FUID gainCid(Qel::Examples::kQelGainCid.bytes);
    QelSlot* first = rack->addSlot(gainCid);
    ASSERT_NE(first, nullptr);
    // The value reaches the processor in a block, and the controller through the echo path.
    first->getHandler()->performEdit(Qel::Examples::kQelGainGainParamId, 0.25);
    first->getEditPart()->getController()->setParamNormalized(Qel::Examples::kQelGainGainParamId,
                                                              0.25);
    run(1);
    const std::string path = temp.file("gain.qelpreset");
    std::string problem;
    ASSERT_TRUE(first->savePreset(path, &problem)) << problem;

    QelSlot* second = rack->addSlot(gainCid);
    ASSERT_NE(second, nullptr);
    Qel::IEditController* controller = second->getEditPart()->getController();
    EXPECT_NE(controller->getParamNormalized(Qel::Examples::kQelGainGainParamId), 0.25);
    ASSERT_TRUE(second->loadPreset(path, &problem)) << problem;
    EXPECT_NEAR(controller->getParamNormalized(Qel::Examples::kQelGainGainParamId), 0.25, 1e-9);

    // Another class's preset, and bytes that are no preset, are refused and change nothing.
    QelSlot* probe = rack->addSlot(FUID(kEffectCid.bytes));
    ASSERT_NE(probe, nullptr);
    EXPECT_FALSE(probe->loadPreset(path, &problem));
    EXPECT_EQ(problem, "the preset belongs to another plug-in");
    std::ofstream(temp.file("junk.qelpreset")) << "not a preset at all";
    EXPECT_FALSE(second->loadPreset(temp.file("junk.qelpreset"), &problem));
    EXPECT_EQ(problem, "not a preset file");
    EXPECT_NEAR(controller->getParamNormalized(Qel::Examples::kQelGainGainParamId), 0.25, 1e-9);
}

TEST_F(SlotRack, AClassThatCannotPlayGivesNoSlot)
{
    start();
    std::string problem;
    EXPECT_EQ(rack->addSlot(FUID(kSilentCid.bytes), &problem), nullptr);
    EXPECT_FALSE(problem.empty());
    FUID unknown;
    EXPECT_EQ(rack->addSlot(unknown, &problem), nullptr);
    EXPECT_EQ(rack->countSlots(), 0);
    EXPECT_EQ(graph->countOperators(), 2);
}

} // namespace
} // namespace Quillmark::MiniEngine
