#include "engine/qelslotcontroller.h"

#include "base/fmainloop.h"
#include "base/fmessage.h"
#include "base/values/uintvalues.h"
#include "base/values/ustringlistvalue.h"
#include "base/values/ustringvalue.h"
#include "base/values/uvalueproxy.h"
#include "devices/ports/pportid.h"
#include "devices/ports/pportregistry.h"
#include "devices/ports/pportvalue.h"
#include "engine/midieventcollector.h"
#include "engine/parameterdescription.h"
#include "engine/playerdialogs.h"
#include "engine/qelbuspin.h"
#include "engine/qeleventinput.h"
#include "engine/qelplayer.h"
#include "engine/qelslotoperator.h"
#include "engine/slotparametervalue.h"
#include "hosting/qelcontextmenu.h"
#include "hosting/qeleditcontroller.h"
#include "qel3/iunitinfo.h"

namespace Quillmark::MiniEngine
{

namespace
{
bool sameTitle(const ConstString& a, const ConstString& b)
{
    return a.compare(b, false) == 0;
}

const std::vector<PlayerFileType>& presetTypes()
{
    static const std::vector<PlayerFileType> types{
        {"QEL3 Preset", {"qelpreset"}, "application/x-qelpreset"}};
    return types;
}

std::string stemOf(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}
} // namespace

QelSlotController::QelSlotController(QelPlayer* player, QelSlot* slot, PPortRegistry* registry,
                                     PlayerDialogs* dialogs)
    : UValueContainer(this), player(player), slot(slot),
      registry(registry ? registry : PPortRegistry::instance()), dialogs(dialogs)
{
    slot->addRef();
    slot->setController(this);
    QelSlotOperator* op = slot->getOperator();
    adopt(new UIntValue("removeSlot", kRemoveSlot));
    adopt(new UIntValue("openEditor", kOpenEditor));
    adopt(new UIntValue("savePreset", kSavePreset));
    adopt(new UIntValue("loadPreset", kLoadPreset));
    adopt(new UIntValue("openInfo", kOpenInfo));
    onOff = adopt(new UIntValue("onOff", kOnOff, 0, 1, op->isActive() ? 1 : 0));
    if (slot->hasBypassParameter())
        bypass = adopt(new UIntValue("bypass", kBypass));
    presetName = adopt(new UStringValue("presetName", kPresetName));
    if (op->hasAuxInput())
        enableAux = adopt(new UIntValue("enableAux", kEnableAux, 0, 1,
                                        op->isInputBusActive(op->getAuxBusIndex()) ? 1 : 0));
    inputMidiSignal = adopt(new UIntValue("inputMidiSignal", kInputMidiSignal));
    adopt(new UIntValue("editPort", kEditPort));
    adopt(new UIntValue("genericEditor", kGenericEditor));
    adopt(new UIntValue("incrementSelectUnit", kIncrementSelectUnit));
    adopt(new UIntValue("decrementSelectUnit", kDecrementSelectUnit));
    currentSelectedLayer =
        adopt(new UStringListValue("currentSelectedLayer", kCurrentSelectedLayer));
    currentPage = adopt(new UStringListValue("currentPage", kCurrentPage));
    adopt(new UIntValue("enableAllOutputAudioBus", kEnableAllOutputAudioBus));
    adopt(new UIntValue("enableOnlyFirstOutputAudioBus", kEnableOnlyFirstOutputAudioBus));
    adopt(new UStringValue("componentTitle", 0, op->getName()));
    createParameterValues();
    createPortValues();
    followSelectedUnit();
}

QelSlotController::~QelSlotController()
{
    slotClosing();
    setHandler(nullptr);
    removeAll();
}

void QelSlotController::slotClosing()
{
    if (!slot)
        return;
    for (SlotParameterValue* parameter : parameters)
        parameter->detach();
    removePortValues();
    QelSlot* closing = slot;
    slot = nullptr;
    if (closing->getController() == this)
        closing->setController(nullptr);
    closing->release();
}

void QelSlotController::createParameterValues()
{
    Qel::QelEditController* editPart = slot->getEditPart();
    if (!editPart)
        return;
    Qel::IEditController* controller = editPart->getController();
    const int32 count = controller->getParameterCount();
    for (int32 i = 0; i < count; ++i)
    {
        Qel::ParameterInfo info{};
        if (controller->getParameterInfo(i, info) != kResultOk)
            continue;
        auto* value = new SlotParameterValue(slot, info);
        // Kept apart from the row's own values: a parameter called "bypass" must not hide them.
        parameters.push_back(value);
        if (!addValue(value, String::format("param%u", unsigned(info.id))))
        {
            parameters.pop_back();
        }
        value->release();
    }
    for (const char8* function : {"solo", "mute", "volume"})
    {
        auto* proxy = adopt(new UValueProxy(function));
        for (SlotParameterValue* parameter : parameters)
            if (sameTitle(parameter->getName(), function))
            {
                proxy->setTarget(parameter);
                break;
            }
    }
    // Quick controls: the parameters a user would automate, in pages of eight.
    int32 candidates = 0;
    for (SlotParameterValue* parameter : parameters)
        if ((parameter->getParameterFlags() & Qel::ParameterInfo::kCanAutomate) &&
            !(parameter->getParameterFlags() &
              (Qel::ParameterInfo::kIsBypass | Qel::ParameterInfo::kIsProgramChange |
               Qel::ParameterInfo::kIsReadOnly)))
            ++candidates;
    for (int32 page = 0; page * kQuickControls < candidates || page == 0; ++page)
        currentPage->addString(String::format("%d", page + 1));
    for (int32 i = 0; i < kQuickControls; ++i)
        quickControls[i] = adopt(new UValueProxy(String::format("QC%d", i + 1)));
    pointQuickControls();
}

void QelSlotController::pointQuickControls()
{
    int32 skip = currentPage->getValue() * kQuickControls;
    int32 next = 0;
    for (SlotParameterValue* parameter : parameters)
    {
        if (next >= kQuickControls)
            break;
        if (!(parameter->getParameterFlags() & Qel::ParameterInfo::kCanAutomate) ||
            (parameter->getParameterFlags() &
             (Qel::ParameterInfo::kIsBypass | Qel::ParameterInfo::kIsProgramChange |
              Qel::ParameterInfo::kIsReadOnly)))
            continue;
        if (skip > 0)
        {
            --skip;
            continue;
        }
        quickControls[next++]->setTarget(parameter);
    }
    for (; next < kQuickControls; ++next)
        if (quickControls[next])
            quickControls[next]->setTarget(nullptr);
}

void QelSlotController::createPortValues()
{
    QelSlotOperator* op = slot->getOperator();
    int32 tag = kPortValueBase;
    auto add = [&](UValue* value)
    {
        if (UValue* kept = adopt(value))
            portValues.push_back(kept);
    };
    if (MidiSupport::MidiEventCollector* collector = op->getMidiCollector())
        for (int32 i = 0; i < collector->countInputs(); ++i)
        {
            PPort* port = collector->getInput(i);
            add(new PPortValue(String::format("inputMidiPort%d", i), tag++, registry, port));
            String label;
            port->getName(label);
            add(new UStringValue(
                String::format("inputMidiPortLabel%d", i), tag++,
                String::format("%s-%s-", op->getName().toUtf8().c_str(), label.toUtf8().c_str())));
            QelEventInput* input = op->getEventInput(i);
            auto* filter = new UStringListValue(String::format("inputMidiPortFilter%d", i), tag++);
            filter->addString("All");
            for (int32 channel = 1; channel <= 16; ++channel)
                filter->addString(String::format("%d", channel));
            filter->setValue(input ? input->getChannelFilter() + 1 : 0, false);
            add(filter);
        }
    for (int32 i = 0; QelBusPin* pin = op->getOutputPin(i); ++i)
    {
        add(new PPortValue(String::format("outputAudioPort%d", i), tag++, registry, pin));
        String busName;
        slot->getOutputBusName(i, busName);
        add(new UStringValue(
            String::format("outputAudioPortLabel%d", i), tag++,
            String::format("%s-%s-", op->getName().toUtf8().c_str(), busName.toUtf8().c_str())));
    }
    const int32 busses = op->getProcessData().numOutputs;
    for (int32 bus = 0; bus < busses; ++bus)
    {
        add(new UIntValue(String::format("enableOutputAudioBus%d", bus), tag++, 0, 1,
                          op->isOutputBusActive(bus) ? 1 : 0));
        add(new UIntValue(String::format("isOutputAudioBusStart%d", bus), tag++, 0, 1, 1));
    }
}

void QelSlotController::removePortValues()
{
    // A port value may wait for the main loop to resync it; the port does not outlive the
    // slot, so nothing may reach it after this.
    FMainLoop* loop = FMainLoop::instance();
    for (UValue* value : portValues)
    {
        if (loop)
            loop->cancel(value);
        removeValue(value);
    }
    portValues.clear();
}

void QelSlotController::refreshPorts()
{
    if (!slot)
        return;
    removePortValues();
    createPortValues();
}

void QelSlotController::refreshPortLabels()
{
    refreshPorts();
}

SlotParameterValue* QelSlotController::findParameter(const ConstString& title) const
{
    for (SlotParameterValue* parameter : parameters)
        if (parameter->getName() == title)
            return parameter;
    return nullptr;
}

SlotParameterValue* QelSlotController::parameterById(Qel::ParamID id) const
{
    for (SlotParameterValue* parameter : parameters)
        if (parameter->getParamId() == id)
            return parameter;
    return nullptr;
}

void QelSlotController::refreshParameter(int32 id)
{
    if (SlotParameterValue* parameter = parameterById(Qel::ParamID(id)))
        setQuietly(parameter, parameter->getValue()), parameter->followPlugin();
}

void QelSlotController::setQuietly(UValue* value, double newValue)
{
    const int32 outer = quietTag;
    quietTag = value->getTag();
    value->setFloat(newValue);
    quietTag = outer;
}

int32 QelSlotController::connectDefaultPorts()
{
    if (!slot || !registry)
        return 0;
    QelSlotOperator* op = slot->getOperator();
    int32 connected = 0;
    for (int32 i = 0; i < 4; ++i)
    {
        QelBusPin* pin = op->getInputPin(i);
        if (!pin)
            break;
        PPort* port = registry->findPort(PPortID::fromText(kDefaultInputs[i]));
        if (!port)
        {
            // The input signals register their pins as sources; the same port seen from the
            // other side carries the other letter.
            std::string text = kDefaultInputs[i];
            text[0] = 'O';
            port = registry->findPort(PPortID::fromText(text.c_str()));
        }
        if (port && (pin->isConnectedTo(port) || pin->connect(port)))
            ++connected;
    }
    for (int32 i = 0; QelBusPin* pin = op->getOutputPin(i); ++i)
        if (pin->getConnectionCount() > 0)
            return connected;
    // The playback channels of the first audio device, in the registry's order.
    String device;
    std::vector<PPort*> playbacks;
    for (int32 i = 0; i < registry->getPortCount(); ++i)
    {
        PPort* port = registry->getPort(i);
        if (!port->isType("audio") || !(port->getFlags() & PPort::kHardware) || !port->isInputPin())
            continue;
        if (playbacks.empty())
            device = port->getDeviceName();
        else if (port->getDeviceName() != device)
            continue;
        playbacks.push_back(port);
    }
    for (int32 i = 0; i < int32(playbacks.size()); ++i)
    {
        QelBusPin* pin = op->getOutputPin(i);
        if (!pin)
            break;
        if (pin->connect(playbacks[size_t(i)]))
            ++connected;
    }
    return connected;
}

void QelSlotController::idle()
{
    if (!slot)
        return;
    QelSlotOperator* op = slot->getOperator();
    setQuietly(onOff, op->isActive() ? 1 : 0);
    setQuietly(inputMidiSignal, op->hadEvents() ? 1 : 0);
    for (SlotParameterValue* parameter : parameters)
    {
        const int32 outer = quietTag;
        quietTag = parameter->getTag();
        parameter->followPlugin();
        quietTag = outer;
    }
    if (bypass)
        if (SlotParameterValue* parameter = parameterById(Qel::ParamID(slot->getBypassParamId())))
            setQuietly(bypass, parameter->getValue() >= 0.5 ? 1 : 0);
    if (enableAux)
        setQuietly(enableAux, op->isInputBusActive(op->getAuxBusIndex()) ? 1 : 0);
}

void QelSlotController::stepUnit(int32 direction)
{
    Qel::QelEditController* editPart = slot->getEditPart();
    Qel::IUnitInfo* units = editPart ? editPart->getUnitInfo() : nullptr;
    if (!units)
        return;
    units->selectUnit(units->getSelectedUnit() + direction);
    followSelectedUnit();
}

void QelSlotController::followSelectedUnit()
{
    if (!slot)
        return;
    Qel::QelEditController* editPart = slot->getEditPart();
    Qel::IUnitInfo* units = editPart ? editPart->getUnitInfo() : nullptr;
    if (!units)
        return;
    if (currentSelectedLayer->countStrings() == 0)
        for (int32 i = 0; i < units->getUnitCount(); ++i)
        {
            Qel::UnitInfo info{};
            if (units->getUnitInfo(i, info) == kResultOk)
                currentSelectedLayer->addString(String(ConstString(info.name)));
        }
    setQuietly(currentSelectedLayer, units->getSelectedUnit() - 1);
}

void QelSlotController::setAllOutputBusses(bool onlyFirst)
{
    QelSlotOperator* op = slot->getOperator();
    const int32 busses = op->getProcessData().numOutputs;
    for (int32 bus = 0; bus < busses; ++bus)
        op->setOutputBusActive(bus, !onlyFirst || bus == 0);
    refreshPorts();
}

std::string QelSlotController::askPresetPath(bool save)
{
    if (!dialogs)
        return std::string();
    return save ? dialogs->askSaveFile("Save Preset", presetTypes())
                : dialogs->askOpenFile("Load Preset", presetTypes());
}

void QelSlotController::onValueChanged(UValue* value)
{
    const int32 tag = value->getTag();
    if (tag == quietTag || !slot)
        return;
    if (auto* parameter = FCast<SlotParameterValue>(static_cast<FObject*>(value)))
    {
        parameter->sendToPlugin();
        return;
    }
    QelSlotOperator* op = slot->getOperator();
    const bool on = value->getInt() == 1;
    switch (tag)
    {
    case kRemoveSlot:
        if (on)
        {
            setQuietly(value, 0);
            // Posted: the row and this value go with the slot, which must not happen while the
            // value is still telling its dependents.
            auto* message = new FMessage("removeSlot");
            message->setObject("slotController", static_cast<FObject*>(this));
            FMainLoop::instance()->post(player, message);
            message->release();
        }
        return;
    case kSavePreset:
    case kLoadPreset:
        if (on)
        {
            setQuietly(value, 0);
            const std::string path = askPresetPath(tag == kSavePreset);
            std::string problem;
            const bool done =
                !path.empty() && (tag == kSavePreset ? slot->savePreset(path, &problem)
                                                     : slot->loadPreset(path, &problem));
            if (done)
            {
                presetName->setValue(String(stemOf(path)));
                idle();
            }
        }
        return;
    case kOpenInfo:
    case kEditPort:
        // The windows are the view layer's; the button only springs back.
        if (on)
            setQuietly(value, 0);
        return;
    case kOnOff:
        op->setActive(on);
        return;
    case kBypass:
        slot->setBypass(on);
        if (SlotParameterValue* parameter = parameterById(Qel::ParamID(slot->getBypassParamId())))
        {
            const int32 outer = quietTag;
            quietTag = parameter->getTag();
            parameter->followPlugin();
            quietTag = outer;
        }
        return;
    case kEnableAux:
    {
        // A bus can change only while the plug-in is off.
        const bool active = op->isActive();
        if (active)
            op->setActive(false);
        op->setInputBusActive(op->getAuxBusIndex(), on);
        if (active)
            op->setActive(true);
        return;
    }
    case kGenericEditor:
        genericEditorOpen = on;
        return;
    case kIncrementSelectUnit:
    case kDecrementSelectUnit:
        if (on)
        {
            setQuietly(value, 0);
            stepUnit(tag == kIncrementSelectUnit ? 1 : -1);
        }
        return;
    case kCurrentSelectedLayer:
        if (Qel::QelEditController* editPart = slot->getEditPart())
            if (Qel::IUnitInfo* units = editPart->getUnitInfo())
            {
                units->selectUnit(value->getInt() + 1);
                followSelectedUnit();
            }
        return;
    case kCurrentPage:
        pointQuickControls();
        return;
    case kEnableAllOutputAudioBus:
    case kEnableOnlyFirstOutputAudioBus:
        if (on)
        {
            setQuietly(value, 0);
            setAllOutputBusses(tag == kEnableOnlyFirstOutputAudioBus);
        }
        return;
    default:
        break;
    }
    // The values made per port.
    const String name = nameAt(indexOf(value->getName()));
    if (name.toUtf8().rfind("enableOutputAudioBus", 0) == 0)
    {
        const int32 bus = std::atoi(name.toUtf8().c_str() + 20);
        op->setOutputBusActive(bus, on);
        return;
    }
    if (name.toUtf8().rfind("inputMidiPortFilter", 0) == 0)
    {
        const int32 input = std::atoi(name.toUtf8().c_str() + 19);
        if (QelEventInput* target = op->getEventInput(input))
            target->setChannelFilter(value->getInt() - 1);
    }
}

void QelSlotController::notify(FMessage* message)
{
    if (!message)
        return;
    if (message->is("Idle"))
    {
        idle();
        return;
    }
    if (message->is("ContextMenu"))
    {
        auto* menu = FCast<Qel::QelContextMenu>(message->getObject("Menu"));
        if (!menu)
            return;
        int64 id = 0;
        const bool overParameter = message->getInt("QEL3 ParamID", id);
        const Qel::ParamID paramId = Qel::ParamID(id);
        fillContextMenu(*menu, overParameter ? &paramId : nullptr);
    }
}

void QelSlotController::fillContextMenu(Qel::QelContextMenu& menu, const Qel::ParamID* paramId)
{
    auto item = [](const std::string& text, int32 tag, int32 flags)
    {
        Qel::ContextMenuItem entry{};
        const std::u16string wide = String(text).toUtf16();
        for (size_t i = 0; i < 127 && i < wide.size(); ++i)
            entry.name[i] = wide[i];
        entry.tag = tag;
        entry.flags = flags;
        return entry;
    };
    menu.addHostItem(
        item(genericEditorOpen ? "Switch to Plug-in Editor" : "Switch to Generic Editor",
             kMenuSwitchEditor, 0),
        this);
    if (!paramId || !slot || !slot->getEditPart())
        return;
    Qel::IEditController* controller = slot->getEditPart()->getController();
    const int32 count = controller->getParameterCount();
    for (int32 i = 0; i < count; ++i)
    {
        Qel::ParameterInfo info{};
        if (controller->getParameterInfo(i, info) == kResultOk && info.id == *paramId)
        {
            // An entry holds at most 127 units: the record goes one piece per entry.
            for (const std::string& piece : describeParameterPieces(i, info))
                menu.addHostItem(item(piece, kMenuParameterInfo, Qel::ContextMenuItem::kIsDisabled),
                                 this);
            return;
        }
    }
}

tresult QelSlotController::executeMenuItem(int32 tag)
{
    if (tag != kMenuSwitchEditor)
        return kResultFalse;
    // The editor kind changes; an open editor closes and opens again as the other kind.
    UValue* kind = findValueByTag(kGenericEditor);
    kind->setInt(genericEditorOpen ? 0 : 1);
    return kResultOk;
}

tresult QelSlotController::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, Qel::IContextMenuTarget)
    return UValueContainer::queryInterface(iid, obj);
}

bool QelSlotController::testCondition(const ConstString& name) const
{
    if (!slot)
        return false;
    QelSlotOperator* op = slot->getOperator();
    if (name == ConstString("hasEnableAux"))
        return op->hasAuxInput();
    if (name == ConstString("hasBypass"))
        return slot->hasBypassParameter();
    if (name == ConstString("hasInputMidiPort"))
        return op->getMidiCollector() && op->getMidiCollector()->countInputs() > 0;
    if (name == ConstString("hasOutputAudioPort"))
        return op->getOutputPin(0) != nullptr;
    const std::string text = name.toUtf8();
    if (text.rfind("enableOutputAudioBus", 0) == 0)
        return op->isOutputBusActive(std::atoi(text.c_str() + 20));
    if (text.rfind("isOutputAudioBusStart", 0) == 0)
        return true;
    return false;
}

} // namespace Quillmark::MiniEngine
