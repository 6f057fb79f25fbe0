#include "engine/qelslot.h"

#include "base/fmainloop.h"
#include "base/fmessage.h"
#include "base/fstreams.h"
#include "devices/ports/pportregistry.h"
#include "engine/midieventcollector.h"
#include "engine/qeleventinput.h"
#include "engine/qelslotoperator.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/qel3connectionproxy.h"
#include "hosting/qelcomponent.h"
#include "hosting/qeleditcontroller.h"
#include "presets/presetfile.h"
#include "presets/presetio.h"

#include <cstdio>

namespace Quillmark
{
namespace MiniEngine
{

using namespace Qel;

namespace
{

std::string key(const char8* format, int32 index)
{
    char text[64];
    std::snprintf(text, sizeof(text), format, int(index));
    return text;
}

String uniqueNameOf(PPort* port)
{
    PPortID id;
    if (!port || !port->getUniqueName(id))
        return String();
    return String(id.getText().c_str());
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Handler

QelSlot::Handler::Handler(QelSlot* slot, QelSlotOperator* slotOperator, QelEditController* editPart)
    : editPart(editPart), slotOperator(slotOperator), slot(slot)
{
    slotOperator->addRef();
}

QelSlot::Handler::~Handler()
{
    slotOperator->release();
}

tresult QelSlot::Handler::queryInterface(const TUID iid, void** obj)
{
    if (!obj)
        return kInvalidArgument;
    FUnknown* result = nullptr;
    if (iidEqual(iid, IComponentHandler::iid.bytes) || iidEqual(iid, FUnknown::iid.bytes))
        result = static_cast<IComponentHandler*>(this);
    else if (iidEqual(iid, IComponentHandler2::iid.bytes))
        result = static_cast<IComponentHandler2*>(this);
    else if (iidEqual(iid, IComponentHandler3::iid.bytes))
        result = static_cast<IComponentHandler3*>(this);
    else if (iidEqual(iid, IUnitHandler::iid.bytes))
        result = static_cast<IUnitHandler*>(this);
    if (!result)
    {
        *obj = nullptr;
        return kNoInterface;
    }
    addRef();
    *obj = result;
    return kResultOk;
}

tresult QelSlot::Handler::performEdit(ParamID id, ParamValue value)
{
    slotOperator->queueParameter(int32(id), value);
    if (slot && slot->controller)
        slot->controller->refreshParameter(int32(id));
    return kResultOk;
}

tresult QelSlot::Handler::restartComponent(int32 flags)
{
    // A new component or a new bus layout would need the plug-in rebuilt under the user's
    // feet; the host says so instead and keeps the old busses.
    if (flags & (kReloadComponent | kIoChanged))
        return kNotImplemented;
    tresult result = kNotImplemented;
    QelSlotObserver* view = slot ? slot->controller : nullptr;
    if (flags & kParamTitlesChanged)
    {
        if (view)
            view->refreshParameterTitles();
        result = kResultOk;
    }
    else if (flags & kParamValuesChanged)
    {
        if (view)
            view->refreshParameterValues();
        result = kResultOk;
    }
    if (flags & kMidiCCAssignmentChanged)
    {
        slotOperator->setupController(editPart ? editPart->getController() : nullptr);
        result = kResultOk;
    }
    if (flags & kIoTitlesChanged)
    {
        if (view)
            view->refreshPortLabels();
        result = kResultOk;
    }
    // kLatencyChanged changes nothing: the engine does not compensate latency.
    return result;
}

tresult QelSlot::Handler::setDirty(TBool state)
{
    if (slot)
        slot->dirty = state != 0;
    return kResultOk;
}

IContextMenu* QelSlot::Handler::createContextMenu(IPlugView* view, const ParamID* paramId)
{
    return nullptr; // the engine has no menus; the window layer offers its own
}

tresult QelSlot::Handler::notifyUnitSelection(UnitID unitId)
{
    if (slot && slot->controller)
        slot->controller->refreshUnitSelector();
    return kResultOk;
}

// ---------------------------------------------------------------------------------------------
// QelSlot

QelSlot::QelSlot(QelComponent* plugin, QelSlotOperator* slotOperator, FComponentRegistry& registry,
                 FDefaultPool* settings, PPortRegistry* portRegistry)
    : plugin(plugin), slotOperator(slotOperator), settings(settings),
      portRegistry(portRegistry ? portRegistry : PPortRegistry::instance())
{
    plugin->addRef();
    slotOperator->addRef();
    if (FComponentDescription* description = plugin->getDescription())
        classId = description->getCid();

    IComponent* component = plugin->getComponent();
    if (auto* united = plugin->query<IEditController>(component))
    {
        editPart = QelEditController::wrapExisting(united, plugin->getDescription());
        plugin->releaseInterface(united);
    }
    else
    {
        TUID controllerId = {};
        tresult result = kResultFalse;
        plugin->guarded("getControllerClassId",
                        [&] { result = component->getControllerClassId(controllerId); });
        if (result == kResultOk && registry.findByCid(FUID(controllerId)))
            editPart = QelEditController::create(registry, FUID(controllerId));
    }

    if (editPart)
    {
        handler = new Handler(this, slotOperator, editPart);
        editPart->setComponentHandler(handler);
        IConnectionPoint* componentPoint = plugin->getConnectionPoint();
        IConnectionPoint* controllerPoint = editPart->getConnectionPoint();
        if (componentPoint && controllerPoint)
        {
            componentProxy = new QEL3ConnectionProxy(componentPoint);
            controllerProxy = new QEL3ConnectionProxy(controllerPoint);
            // Crosswise: each half talks to its own proxy, which delivers to the other half.
            plugin->guarded("connect", [&] { componentProxy->connect(controllerPoint); });
            editPart->guarded("connect", [&] { controllerProxy->connect(componentPoint); });
        }
    }

    pendingChanges.setMaxParameters(1);
    FMainLoop::instance()->addIdleTarget(this);
    idleRegistered = true;

    if (editPart)
    {
        IEditController* edit = editPart->getController();
        int32 count = 0;
        editPart->guarded("getParameterCount", [&] { count = edit->getParameterCount(); });
        for (int32 i = 0; i < count; ++i)
        {
            ParameterInfo info{};
            tresult result = kResultFalse;
            editPart->guarded("getParameterInfo",
                              [&] { result = edit->getParameterInfo(i, info); });
            if (result == kResultOk && (info.flags & ParameterInfo::kIsBypass))
            {
                bypassParamId = int32(info.id);
                hasBypass = true;
                break;
            }
        }
        pendingChanges.setMaxParameters(std::min(std::max(count, 0) + 1, 64));

        FMemoryStream state;
        tresult got = kResultFalse;
        plugin->guarded("getState", [&] { got = component->getState(&state); });
        if (got != kResultFalse)
        {
            state.seek(0, IBStream::kIBSeekSet);
            editPart->guarded("setComponentState", [&] { edit->setComponentState(&state); });
        }
        slotOperator->setupController(edit);
    }
}

void QelSlot::leaveIdle()
{
    if (!idleRegistered)
        return;
    idleRegistered = false;
    if (FMainLoop* loop = FMainLoop::instance())
        loop->removeIdleTarget(this);
}

QelSlot::~QelSlot()
{
    leaveIdle();
    if (controller)
        controller->slotClosing();
    controller = nullptr;
    slotOperator->release();
    if (componentProxy && controllerProxy)
    {
        if (IConnectionPoint* peer = componentProxy->getDestination())
            plugin->guarded("disconnect", [&] { componentProxy->disconnect(peer); });
        if (IConnectionPoint* peer = controllerProxy->getDestination())
            editPart->guarded("disconnect", [&] { controllerProxy->disconnect(peer); });
    }
    if (componentProxy)
        componentProxy->release();
    if (controllerProxy)
        controllerProxy->release();
    if (handler)
    {
        handler->detach();
        if (editPart)
            editPart->setComponentHandler(nullptr);
        handler->release();
    }
    if (editPart)
        editPart->release();
    plugin->release();
}

tresult QelSlot::queryInterface(const TUID iid, void** obj)
{
    if (!obj)
        return kInvalidArgument;
    if (iidEqual(iid, IParamListener::iid.bytes))
    {
        addRef();
        *obj = static_cast<IParamListener*>(this);
        return kResultOk;
    }
    return FObject::queryInterface(iid, obj);
}

bool QelSlot::setBypass(bool state)
{
    if (!hasBypass)
        return false;
    const double value = state ? 1.0 : 0.0;
    if (editPart)
        editPart->guarded("setParamNormalized", [&]
                          { editPart->getController()->setParamNormalized(bypassParamId, value); });
    return !slotOperator->queueParameter(bypassParamId, value);
}

void QelSlot::parameterChanged(int32 id, double value)
{
    if (pendingChanges.add(id, value))
        pendingFlag.store(true, std::memory_order_release);
}

void QelSlot::notify(FMessage* message)
{
    if (message && message->is("Idle"))
        deliverPendingChanges();
}

void QelSlot::deliverPendingChanges()
{
    if (!pendingFlag.exchange(false, std::memory_order_acq_rel) || !editPart)
        return;
    IEditController* edit = editPart->getController();
    for (int32 i = 0; i < pendingChanges.getCapacity(); ++i)
    {
        SingleParameterQueue* queue = pendingChanges.queueAt(i);
        if (!queue->isUsed())
            continue;
        const int32 id = queue->getId();
        const double value = queue->getValue();
        queue->free();
        editPart->guarded("setParamNormalized",
                          [&] { edit->setParamNormalized(ParamID(id), value); });
        if (controller)
            controller->refreshParameter(id);
    }
}

FDefaults* QelSlot::routingSection(bool create) const
{
    if (!settings)
        return nullptr;
    return settings->lookup(classId.toString().c_str(), 1, create);
}

PPort* QelSlot::findSystemPort(const String& uniqueName) const
{
    const PPortID id = PPortID::fromText(uniqueName);
    if (!id.isValid())
        return nullptr;
    return portRegistry->findPort(id);
}

void QelSlot::saveRouting()
{
    FDefaults* section = routingSection(true);
    if (!section)
        return;
    if (MidiSupport::MidiEventCollector* collector = slotOperator->getMidiCollector())
    {
        const int32 count = collector->countInputs();
        for (int32 i = 0; i < count; ++i)
        {
            MidiSupport::MidiEventCollectorInput* input = collector->getInput(i);
            section->setString(key(kMidiPort, i).c_str(), uniqueNameOf(input->getConnection(0)));
            QelEventInput* target = slotOperator->getEventInput(i);
            section->setInt(key(kMidiFilter, i).c_str(), target ? target->getChannelFilter() : -1);
        }
        section->setInt(kMidiPortCount, count);
    }
    int32 ins = 0;
    for (; QelBusPin* pin = slotOperator->getInputPin(ins); ++ins)
        section->setString(key(kAudioInPort, ins).c_str(), uniqueNameOf(pin->getConnection(0)));
    int32 outs = 0;
    for (; QelBusPin* pin = slotOperator->getOutputPin(outs); ++outs)
        section->setString(key(kAudioOutPort, outs).c_str(), uniqueNameOf(pin->getConnection(0)));
    if (ins > 0)
        section->setInt(kAudioInPortCount, ins);
    if (outs > 0)
        section->setInt(kAudioOutPortCount, outs);
    const int32 busses = slotOperator->getProcessData().numOutputs;
    section->setInt(kAudioOutBusCount, busses);
    for (int32 i = 0; i < busses; ++i)
        section->setInt(key(kAudioOutBusActive, i).c_str(),
                        slotOperator->isOutputBusActive(i) ? 1 : 0);
}

void QelSlot::restoreRouting()
{
    portsRestored = false;
    FDefaults* section = routingSection(false);
    if (!section)
        return;
    String name;
    if (MidiSupport::MidiEventCollector* collector = slotOperator->getMidiCollector())
    {
        const int32 count = int32(section->getInt(kMidiPortCount, 0));
        for (int32 i = 0; i < count && i < collector->countInputs(); ++i)
        {
            PPort* port = nullptr;
            if (section->getString(key(kMidiPort, i).c_str(), name))
                port = findSystemPort(name);
            collector->setPort(i, port); // no port found still clears the input
            if (port)
                portsRestored = true;
            const int64 filter = section->getInt(key(kMidiFilter, i).c_str(), -1);
            if (QelEventInput* target = slotOperator->getEventInput(i))
                if (filter >= -1 && filter <= 15)
                    target->setChannelFilter(int32(filter));
        }
    }
    auto restorePins = [&](const char8* countKey, const char8* format, bool input)
    {
        const int32 count = int32(section->getInt(countKey, 0));
        for (int32 i = 0; i < count; ++i)
        {
            QelBusPin* pin = input ? slotOperator->getInputPin(i) : slotOperator->getOutputPin(i);
            if (!pin)
                break;
            if (!section->getString(key(format, i).c_str(), name))
                continue;
            if (PPort* port = findSystemPort(name))
            {
                pin->disconnectAll();
                if (pin->connect(port))
                    portsRestored = true;
            }
        }
    };
    restorePins(kAudioInPortCount, kAudioInPort, true);
    restorePins(kAudioOutPortCount, kAudioOutPort, false);
    const int32 busses = std::min(int32(section->getInt(kAudioOutBusCount, 0)),
                                  slotOperator->getProcessData().numOutputs);
    for (int32 i = 0; i < busses; ++i)
        slotOperator->setOutputBusActive(
            i, section->getInt(key(kAudioOutBusActive, i).c_str(), 1) == 1);
}

bool QelSlot::getOutputBusName(int32 index, String& name) const
{
    IComponent* component = plugin->getComponent();
    BusInfo info{};
    tresult result = kResultFalse;
    plugin->guarded("getBusInfo",
                    [&] { result = component->getBusInfo(kAudio, kOutput, index, info); });
    if (result != kResultOk)
        return false;
    name = String(info.name);
    return true;
}

bool QelSlot::loadPreset(const std::string& path, std::string* problem)
{
    std::string bytes;
    if (!readWholeFile(path, bytes))
    {
        if (problem)
            *problem = "the file cannot be read";
        return false;
    }
    auto* stream = new FMemoryStream(bytes.data(), int64(bytes.size()));
    bool ok = false;
    {
        PresetFile file(stream);
        if (!file.readChunkList())
        {
            if (problem)
                *problem = "not a preset file";
        }
        else if (file.getClassID() != classId)
        {
            if (problem)
                *problem = "the preset belongs to another plug-in";
        }
        else if (!file.restoreComponentState(plugin->getComponent()))
        {
            if (problem)
                *problem = "the plug-in refused the preset's state";
        }
        else
        {
            ok = true;
            if (editPart)
            {
                file.restoreComponentState(editPart->getController());
                file.restoreControllerState(editPart->getController());
            }
        }
    }
    stream->release();
    return ok;
}

bool QelSlot::savePreset(const std::string& path, std::string* problem)
{
    PresetSource source;
    source.classId = classId;
    source.component = plugin->getComponent();
    source.controller = editPart ? editPart->getController() : nullptr;
    std::string error;
    if (savePresetFile(path, source, error))
        return true;
    if (problem)
        *problem = error;
    return false;
}

} // namespace MiniEngine
} // namespace Quillmark
