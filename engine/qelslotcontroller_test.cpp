// The row of a slot over real plug-ins in a real rack: its values mirror the slot (on/off,
// bypass, program, routing), the default routing, the proxies of solo, mute and volume and the
// quick controls, and the stepping through the plug-in's units.
#include "engine/playertestsupport.h"

#include <cmath>

#include "base/fmessage.h"
#include "base/values/uintvalues.h"
#include "base/values/ustringlistvalue.h"
#include "base/values/ustringvalue.h"
#include "base/values/uvalueproxy.h"
#include "devices/ports/pportid.h"
#include "engine/parameterdescription.h"
#include "engine/slotparametervalue.h"
#include "hosting/qelcontextmenu.h"
#include "hosting/qeleditcontroller.h"
#include "qel3/iunitinfo.h"

using namespace Quillmark;
using namespace Quillmark::MiniEngine;
using namespace Quillmark::MiniEngine::testing;

namespace
{
using C = QelSlotController;

std::string uniqueName(const PPort* port)
{
    PPortID id;
    return port && port->getUniqueName(id) ? id.getText() : std::string();
}
} // namespace

TEST_F(PlayerFixture, DefaultRoutingConnectsInputSignalsAndTheFirstDevice)
{
    QelSlot* slot = player->loadPlugin(FUID(Qel::Examples::kQelGainCid.bytes));
    ASSERT_NE(slot, nullptr);
    QelSlotOperator* op = slot->getOperator();
    InputOperator* input = graph->getInputOperator();
    ASSERT_NE(op->getInputPin(0), nullptr);
    EXPECT_TRUE(op->getInputPin(0)->isConnectedTo(input->getOutputPin(0)))
        << uniqueName(op->getInputPin(0)->getConnection(0));
    EXPECT_TRUE(op->getInputPin(1)->isConnectedTo(input->getOutputPin(1)));
    EXPECT_TRUE(op->getOutputPin(0)->isConnectedTo(device->playbacks[0]));
    EXPECT_TRUE(op->getOutputPin(1)->isConnectedTo(device->playbacks[1]));

    // The sine reaches the device through the gain at unity.
    value(QelPlayer::kInputSignal).setText("Sine");
    player->press(QelPlayer::kPlay);
    run(2);
    float largest = 0.0f;
    for (int32 s = 0; s < kBlock; ++s)
        largest = std::max(largest, std::fabs(device->out(0, s)));
    EXPECT_GT(largest, 0.1f);

    // A slot that already plays somewhere keeps its outputs.
    QelSlotController* row = player->findSlotController(slot);
    op->getOutputPin(0)->disconnectAll();
    op->getOutputPin(1)->disconnectAll();
    op->getOutputPin(1)->connect(device->playbacks[0]);
    row->connectDefaultPorts();
    EXPECT_EQ(op->getOutputPin(0)->getConnectionCount(), 0);
    EXPECT_TRUE(op->getOutputPin(1)->isConnectedTo(device->playbacks[0]));

    // Routing a slot restores at the next load replaces the defaults.
    op->getOutputPin(0)->connect(device->playbacks[1]);
    player->removeSlot(slot);
    QelSlot* again = player->loadPlugin(FUID(Qel::Examples::kQelGainCid.bytes));
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(again->arePortsRestored());
    EXPECT_TRUE(again->getOperator()->getOutputPin(0)->isConnectedTo(device->playbacks[1]));
    EXPECT_TRUE(again->getOperator()->getOutputPin(1)->isConnectedTo(device->playbacks[0]));
}

TEST_F(PlayerFixture, RowValuesMirrorTheSlot)
{
    QelSlot* slot = player->loadPlugin(FUID(Qel::Examples::kQelGainCid.bytes));
    ASSERT_NE(slot, nullptr);
    QelSlotController* row = player->findSlotController(slot);
    ASSERT_NE(row, nullptr);
    EXPECT_TRUE(row->checkCondition("hasBypass"));
    EXPECT_TRUE(row->checkCondition("hasOutputAudioPort"));
    EXPECT_FALSE(row->checkCondition("hasInputMidiPort"));
    String title;
    row->findValue("componentTitle")->getText(title);
    EXPECT_EQ(title.toUtf8(), Qel::Examples::kQelGainName);
    String label;
    ASSERT_NE(row->findValue("outputAudioPortLabel0"), nullptr);
    row->findValue("outputAudioPortLabel0")->getText(label);
    EXPECT_EQ(label.toUtf8().rfind("Qel Gain-", 0), 0u) << label.toUtf8();

    // Bypass: the switch moves the plug-in's parameter, and the plug-in's moves the switch.
    Qel::IEditController* controller = slot->getEditPart()->getController();
    const auto bypassId = Qel::ParamID(slot->getBypassParamId());
    row->valueOf(C::kBypass)->setInt(1);
    EXPECT_DOUBLE_EQ(controller->getParamNormalized(bypassId), 1.0);
    controller->setParamNormalized(bypassId, 0.0);
    row->idle();
    EXPECT_EQ(row->valueOf(C::kBypass)->getInt(), 0);

    // A parameter value: set from the row, it reaches the controller and the component.
    SlotParameterValue* gain = row->parameterById(Qel::Examples::kQelGainGainParamId);
    ASSERT_NE(gain, nullptr);
    EXPECT_EQ(gain->setText("-12"), kResultOk);
    const double normalized = controller->getParamNormalized(Qel::Examples::kQelGainGainParamId);
    EXPECT_DOUBLE_EQ(gain->getValue(), normalized);
    String shown;
    gain->getText(shown);
    EXPECT_EQ(shown.toUtf8().rfind("-12", 0), 0u) << shown.toUtf8();

    // On and off reach the operator.
    row->valueOf(C::kOnOff)->setInt(0);
    EXPECT_FALSE(slot->getOperator()->isActive());
    row->valueOf(C::kOnOff)->setInt(1);
    EXPECT_TRUE(slot->getOperator()->isActive());
    slot->getOperator()->setActive(false);
    row->idle();
    EXPECT_EQ(row->valueOf(C::kOnOff)->getInt(), 0);

    // Output busses.
    row->findValue("enableOutputAudioBus0")->setInt(0);
    EXPECT_FALSE(slot->getOperator()->isOutputBusActive(0));
    row->press(C::kEnableAllOutputAudioBus);
    EXPECT_TRUE(slot->getOperator()->isOutputBusActive(0));
    EXPECT_EQ(row->valueOf(C::kEnableAllOutputAudioBus)->getInt(), 0);
}

TEST_F(PlayerFixture, SynthRowOffersProgramVolumeProxyAndQuickControls)
{
    QelSlot* slot = player->loadPlugin(FUID(Qel::Examples::kQelSynthCid.bytes));
    ASSERT_NE(slot, nullptr);
    QelSlotController* row = player->findSlotController(slot);
    EXPECT_TRUE(row->checkCondition("hasInputMidiPort"));
    EXPECT_FALSE(row->checkCondition("hasBypass"));
    EXPECT_EQ(row->valueOf(C::kBypass), nullptr);
    ASSERT_NE(row->findValue("inputMidiPort0"), nullptr);
    ASSERT_NE(row->findValue("inputMidiPortFilter0"), nullptr);

    // "volume" stands for the synth's Volume parameter.
    auto* volume = FCast<UValueProxy>(row->findValue("volume"));
    ASSERT_NE(volume, nullptr);
    ASSERT_EQ(volume->getTarget(), row->parameterById(Qel::Examples::kQelSynthVolumeParamId));
    volume->setNormalized(0.4);
    Qel::IEditController* controller = slot->getEditPart()->getController();
    EXPECT_DOUBLE_EQ(controller->getParamNormalized(Qel::Examples::kQelSynthVolumeParamId), 0.4);
    EXPECT_EQ(FCast<UValueProxy>(row->findValue("solo"))->getTarget(), nullptr);

    // The program parameter mirrors the plug-in.
    SlotParameterValue* program = row->findParameter("Program");
    ASSERT_NE(program, nullptr);
    controller->setParamNormalized(Qel::Examples::kQelSynthProgramParamId, 1.0);
    row->idle();
    EXPECT_DOUBLE_EQ(program->getValue(), 1.0);

    // Quick controls skip the program change.
    auto* qc1 = FCast<UValueProxy>(row->findValue("QC1"));
    ASSERT_NE(qc1, nullptr);
    EXPECT_EQ(qc1->getTarget(), row->parameterById(Qel::Examples::kQelSynthVolumeParamId));
    for (int32 i = 1; i <= C::kQuickControls; ++i)
    {
        auto* qc = FCast<UValueProxy>(row->findValue(String::format("QC%d", i)));
        ASSERT_NE(qc, nullptr);
        EXPECT_NE(qc->getTarget(), program);
    }

    // The MIDI filter of the row is the event input's.
    row->findValue("inputMidiPortFilter0")->setText("3");
    EXPECT_EQ(slot->getOperator()->getEventInput(0)->getChannelFilter(), 2);
}

TEST_F(PlayerFixture, UnitSteppingFollowsWhatThePlugInSelects)
{
    QelSlot* slot = player->loadPlugin(FUID(Qel::Examples::kQelGainCid.bytes));
    ASSERT_NE(slot, nullptr);
    QelSlotController* row = player->findSlotController(slot);
    Qel::IUnitInfo* units = slot->getEditPart()->getUnitInfo();
    ASSERT_NE(units, nullptr);
    ASSERT_EQ(units->getSelectedUnit(), Qel::kRootUnitId);

    row->press(C::kIncrementSelectUnit);
    EXPECT_EQ(units->getSelectedUnit(), 1);
    EXPECT_EQ(row->valueOf(C::kCurrentSelectedLayer)->getInt(), 0);
    EXPECT_EQ(row->valueOf(C::kIncrementSelectUnit)->getInt(), 0);
    // Past the last unit the plug-in refuses, and the row shows what it kept.
    row->press(C::kIncrementSelectUnit);
    EXPECT_EQ(units->getSelectedUnit(), 1);
    row->press(C::kDecrementSelectUnit);
    EXPECT_EQ(units->getSelectedUnit(), Qel::kRootUnitId);

    // The plug-in's own selection reaches the row through its handler.
    units->selectUnit(1);
    slot->getHandler()->notifyUnitSelection(1);
    EXPECT_EQ(row->valueOf(C::kCurrentSelectedLayer)->getInt(), 0);
}

TEST_F(PlayerFixture, ContextMenuOffersTheEditorSwitchAndTheParameterRecord)
{
    QelSlot* slot = player->loadPlugin(FUID(Qel::Examples::kQelGainCid.bytes));
    ASSERT_NE(slot, nullptr);
    QelSlotController* row = player->findSlotController(slot);

    auto* menu = new Qel::QelContextMenu;
    auto* message = new FMessage("ContextMenu");
    message->setObject("Menu", static_cast<FObject*>(menu));
    message->setInt("QEL3 ParamID", Qel::Examples::kQelGainBypassParamId);
    row->notify(message);
    message->release();
    std::vector<Qel::ContextMenuEntry> entries = menu->getEntries();
    ASSERT_EQ(entries.size(), 5u);
    EXPECT_EQ(entries[0].title.toUtf8(), "Switch to Generic Editor");
    for (size_t i = 1; i < entries.size(); ++i)
        EXPECT_TRUE(entries[i].disabled);
    EXPECT_EQ(entries[1].title.toUtf8(), "ParameterInfo[1]: [id: 1], [unitId: 0]");
    EXPECT_EQ(entries[2].title.toUtf8(),
              "[title: \"Bypass\"], [shortTitle: \"Byp\"], [units: \"\"]");
    EXPECT_EQ(entries[3].title.toUtf8(), "[stepCount: 1], [defaultNormalizedValue: 0.000000");
    EXPECT_EQ(entries[4].title.toUtf8(), "[flags: kCanAutomate kIsBypass)...");

    // Choosing the switch changes the editor kind, and the next menu offers the way back.
    ASSERT_TRUE(menu->select(0));
    EXPECT_TRUE(row->isGenericEditorOpen());
    EXPECT_EQ(row->valueOf(C::kGenericEditor)->getInt(), 1);
    menu->release();
    auto* second = new Qel::QelContextMenu;
    row->fillContextMenu(*second, nullptr);
    entries = second->getEntries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].title.toUtf8(), "Switch to Plug-in Editor");
    second->release();
}

TEST(ParameterDescription, EveryFlagByName)
{
    Qel::ParameterInfo info{};
    info.id = 42;
    info.unitId = 3;
    const std::u16string title = u"Cut\u00f6ff";
    std::copy(title.begin(), title.end(), info.title);
    info.stepCount = 0;
    info.defaultNormalizedValue = 0.25;
    info.flags = Qel::ParameterInfo::kIsReadOnly | Qel::ParameterInfo::kIsWrapAround |
                 Qel::ParameterInfo::kIsList | Qel::ParameterInfo::kIsProgramChange;
    EXPECT_EQ(describeParameter(7, info),
              "ParameterInfo[7]: [id: 42], [unitId: 3], [title: \"Cut\xc3\xb6"
              "ff\"]"
              ", [shortTitle: \"\"], [units: \"\"], [stepCount: 0], [defaultNormalizedValue: "
              "0.250000, [flags: kIsReadOnly kIsWrapAround kIsList kIsProgramChange)...");
    info.flags = 0;
    EXPECT_EQ(describeParameter(0, info).substr(describeParameter(0, info).size() - 12),
              "[flags: )...");
}
