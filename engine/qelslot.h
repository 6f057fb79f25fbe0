// One loaded plug-in as the rack sees it: the component's operator in the graph, the controller
// half for the user interface, the two joined through connection proxies, the values the plug-in
// reports on their way to the controller, and the routing kept in the settings under the class's
// own section. Owned by the QelRack; lives on the user interface thread.
#pragma once

#include "base/fdefaults.h"
#include "base/fuid.h"
#include "engine/parameterchanges.h"
#include "qel3/icomponenthandler.h"
#include "qel3/iunithandler.h"
#include "qelhost/ieventreceiver.h"

#include <atomic>
#include <string>

namespace Quillmark
{
class FComponentRegistry;
class PPort;
class PPortRegistry;

namespace Qel
{
class QelComponent;
class QelEditController;
class QEL3ConnectionProxy;
} // namespace Qel

namespace MiniEngine
{
class QelSlotOperator;

/** What the slot's window hears when the plug-in asks for a refresh. */
class QelSlotObserver
{
public:
    virtual ~QelSlotObserver() = default;
    virtual void refreshParameterTitles() {}
    virtual void refreshParameterValues() {}
    virtual void refreshParameter(int32 id) {}
    virtual void refreshPortLabels() {}
    virtual void refreshUnitSelector() {}
    /** The slot goes: close the window and forget the slot. */
    virtual void slotClosing() {}
};

class QelSlot : public CmObject, public IParamListener
{
    QEL_DECLARE_CLASS(QelSlot, CmObject)
public:
    // Routing keys, in the section named after the class identifier.
    static constexpr const char8* kMidiPortCount = "Midi Port Count";
    static constexpr const char8* kMidiPort = "Midi Port %d";
    static constexpr const char8* kMidiFilter = "Midi Filter %d";
    static constexpr const char8* kAudioInPortCount = "Audio In Port Count";
    static constexpr const char8* kAudioInPort = "Audio In Port %d";
    static constexpr const char8* kAudioOutPortCount = "Audio Out Port Count";
    static constexpr const char8* kAudioOutPort = "Audio Out Port %d";
    static constexpr const char8* kAudioOutBusCount = "Audio Out Bus Count";
    static constexpr const char8* kAudioOutBusActive = "Audio Out Bus Active %d";

    /** The component handler the slot gives the controller. */
    class Handler : public CmObject,
                    public Qel::IComponentHandler,
                    public Qel::IComponentHandler2,
                    public Qel::IComponentHandler3,
                    public Qel::IUnitHandler
    {
        QEL_DECLARE_CLASS(Handler, CmObject)
    public:
        Handler(QelSlot* slot, QelSlotOperator* slotOperator, Qel::QelEditController* editPart);
        ~Handler() override;

        tresult beginEdit(Qel::ParamID id) override { return kResultOk; }
        /** Queued for the next block; the window refreshes the parameter. Always kResultOk,
            also when the queue was full and the value was dropped. */
        tresult performEdit(Qel::ParamID id, Qel::ParamValue value) override;
        tresult endEdit(Qel::ParamID id) override { return kResultOk; }
        tresult restartComponent(int32 flags) override;
        tresult setDirty(TBool state) override;
        tresult requestOpenEditor(FIDString name) override { return kNotImplemented; }
        tresult startGroupEdit() override { return kNotImplemented; }
        tresult finishGroupEdit() override { return kNotImplemented; }
        Qel::IContextMenu* createContextMenu(Qel::IPlugView* view,
                                             const Qel::ParamID* paramId) override;
        tresult notifyUnitSelection(Qel::UnitID unitId) override;
        tresult notifyProgramListChange(Qel::ProgramListID listId, int32 programIndex) override
        {
            return kNotImplemented;
        }

        /** The slot is going: no further call reaches it. */
        void detach() { slot = nullptr; }

        tresult queryInterface(const TUID iid, void** obj) override;
        uint32 addRef() override { return FObject::addRef(); }
        uint32 release() override { return FObject::release(); }

    private:
        Qel::QelEditController* editPart; // borrowed from the slot
        QelSlotOperator* slotOperator;    // strong
        QelSlot* slot;
    };

    /** Takes references of its own to `plugin` and `slotOperator`; builds the controller side
        through `registry`. `settings` (borrowed, may be null) keeps the routing. */
    QelSlot(Qel::QelComponent* plugin, QelSlotOperator* slotOperator, FComponentRegistry& registry,
            FDefaultPool* settings, PPortRegistry* portRegistry = nullptr);
    ~QelSlot() override;

    Qel::QelComponent* getPlugin() const { return plugin; }
    QelSlotOperator* getOperator() const { return slotOperator; }
    Qel::QelEditController* getEditPart() const { return editPart; }
    Handler* getHandler() const { return handler; }
    const FUID& getClassId() const { return classId; }
    int32 getBypassParamId() const { return bypassParamId; }
    bool hasBypassParameter() const { return hasBypass; }
    bool arePortsRestored() const { return portsRestored; }
    bool isDirty() const { return dirty; }
    void setDirtyFlag(bool state) { dirty = state; }
    bool hasPendingChanges() const { return pendingFlag.load(); }
    bool isConnected() const { return componentProxy != nullptr; }
    /** The proxy each half talks through; null when a half has no connection point. */
    Qel::QEL3ConnectionProxy* getComponentProxy() const { return componentProxy; }
    Qel::QEL3ConnectionProxy* getControllerProxy() const { return controllerProxy; }

    /** The slot's window, borrowed; null when it has none. */
    void setController(QelSlotObserver* observer) { controller = observer; }
    QelSlotObserver* getController() const { return controller; }

    /** Switches the plug-in's own bypass parameter; false when it has none. */
    bool setBypass(bool state);

    void saveRouting();
    void restoreRouting();
    /** The name of output bus `index`, as the port labels show it; false past the end. */
    bool getOutputBusName(int32 index, String& name) const;

    /** Restores the component's and controller's state from a preset file; false with
        `problem` set when the file is damaged or the plug-in refuses it. */
    bool loadPreset(const std::string& path, std::string* problem = nullptr);
    bool savePreset(const std::string& path, std::string* problem = nullptr);

    // IParamListener, on the audio thread: kept for the next "Idle".
    void parameterChanged(int32 id, double value) override;
    /** "Idle": the values the plug-in reported go to its controller. */
    void notify(FMessage* message) override;
    /** Stops hearing "Idle"; the main loop holds a reference to the slot until then, so the
        rack calls this when it takes the slot down. */
    void leaveIdle();
    /** The same without the message, for whoever drives the main loop by hand. */
    void deliverPendingChanges();

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    FDefaults* routingSection(bool create) const;
    PPort* findSystemPort(const String& uniqueName) const;

    Qel::QelComponent* plugin;
    QelSlotOperator* slotOperator;
    QelSlotObserver* controller = nullptr;
    Qel::QelEditController* editPart = nullptr;
    MultiParameterChange pendingChanges;
    Qel::QEL3ConnectionProxy* componentProxy = nullptr;
    Qel::QEL3ConnectionProxy* controllerProxy = nullptr;
    Handler* handler = nullptr;
    FDefaultPool* settings;
    PPortRegistry* portRegistry;
    FUID classId;
    int32 bypassParamId = -1;
    std::atomic<bool> pendingFlag{false};
    bool hasBypass = false;
    bool portsRestored = false;
    bool dirty = false;
    bool idleRegistered = false;
};

} // namespace MiniEngine
} // namespace Quillmark
