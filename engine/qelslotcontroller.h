// The user interface side of one slot: its commands, routing and parameters as named values for
// a row of the rack, the proxies a view uses for solo, mute, volume and the quick controls, and
// the default routing of a slot that brought none from the settings. Created for a slot by the
// player, which owns it; it holds a reference to the slot and lives on the main thread.
#pragma once

#include "base/values/uvaluecontainer.h"
#include "engine/qelslot.h"
#include "qel3/icontextmenu.h"

#include <string>
#include <vector>

namespace Quillmark
{
class PPortRegistry;
class UIntValue;
class UStringListValue;
class UStringValue;
class UValueProxy;

namespace Qel
{
class QelContextMenu;
}

namespace MiniEngine
{
class PlayerDialogs;
class QelPlayer;
class SlotParameterValue;

class QelSlotController : public UValueContainer,
                          public QelSlotObserver,
                          public Qel::IContextMenuTarget
{
    QEL_DECLARE_CLASS(QelSlotController, UValueContainer)
public:
    enum Tags : int32
    {
        kRemoveSlot = 100,
        kOpenEditor = 101,
        kSavePreset = 102,
        kLoadPreset = 103,
        kOpenInfo = 104,
        kOnOff = 105,
        kBypass = 106,
        kPresetName = 107,
        kEnableAux = 108,
        kInputMidiSignal = 109,
        kEditPort = 110,
        kGenericEditor = 111,
        kIncrementSelectUnit = 112,
        kDecrementSelectUnit = 113,
        kCurrentSelectedLayer = 114,
        kCurrentPage = 115,
        kEnableAllOutputAudioBus = 521,
        kEnableOnlyFirstOutputAudioBus = 522,
        /** Tags of the values made per output bus and per MIDI input, from here on. */
        kPortValueBase = 1000,
    };
    /** Tags of the host's entries in a plug-in's context menu. */
    enum MenuTags : int32
    {
        kMenuSwitchEditor = 10000,
        kMenuParameterInfo = 10001,
    };
    /** Quick controls on one page. */
    static constexpr int32 kQuickControls = 8;
    /** The unique names the first four input pins connect to by default. */
    static constexpr const char8* kDefaultInputs[4] = {"I|QelBus|Input-L", "I|QelBus|Input-R",
                                                       "I|QelBus|AuxIn-L", "I|QelBus|AuxIn-R"};

    /** `player` (borrowed, the owner) hears "removeSlot"; `slot` gets a reference of its own
        and this controller as its observer. `registry` (borrowed, may be null: the
        process-wide one) holds the ports of the default routing. */
    QelSlotController(QelPlayer* player, QelSlot* slot, PPortRegistry* registry = nullptr,
                      PlayerDialogs* dialogs = nullptr);
    ~QelSlotController() override;

    QelSlot* getSlot() const { return slot; }
    /** The value of `tag` (borrowed), or null. */
    UValue* valueOf(int32 tag) const { return findValueByTag(tag); }
    /** The value of the plug-in's parameter of that title (borrowed), or null. */
    SlotParameterValue* findParameter(const ConstString& title) const;
    SlotParameterValue* parameterById(Qel::ParamID id) const;

    /** Connects the first four input pins to the input signals, and, when no output pin is
        connected yet, the output pins to the first audio device's playback channels. Answers
        how many pins it connected. */
    int32 connectDefaultPorts();

    /** "Idle": the values follow the plug-in and the operator. */
    void idle();
    /** Rebuilds the port values after the devices changed. */
    void refreshPorts();

    /** The host's entries of a context menu of the plug-in's view: the switch between the
        plug-in's and the generic editor, and, over a parameter, what its record says. */
    void fillContextMenu(Qel::QelContextMenu& menu, const Qel::ParamID* paramId);
    bool isGenericEditorOpen() const { return genericEditorOpen; }

    // IContextMenuTarget
    tresult executeMenuItem(int32 tag) override;

    void onValueChanged(UValue* value) override;
    /** "Idle", and "ContextMenu" with its "Menu" and, over a parameter, "QEL3 ParamID". */
    void notify(FMessage* message) override;

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }
    bool testCondition(const ConstString& name) const override;

    // QelSlotObserver
    void refreshParameterValues() override { idle(); }
    void refreshParameter(int32 id) override;
    void refreshPortLabels() override;
    void refreshUnitSelector() override { followSelectedUnit(); }
    void slotClosing() override;

private:
    void createParameterValues();
    void createPortValues();
    void removePortValues();
    void pointQuickControls();
    void stepUnit(int32 direction);
    void followSelectedUnit();
    void setQuietly(UValue* value, double newValue);
    void setAllOutputBusses(bool onlyFirst);
    std::string askPresetPath(bool save);

    QelPlayer* player;
    QelSlot* slot;
    PPortRegistry* registry;
    PlayerDialogs* dialogs;
    std::vector<SlotParameterValue*> parameters; // borrowed from the container
    std::vector<UValue*> portValues;             // borrowed from the container
    UValueProxy* quickControls[kQuickControls] = {};
    int32 quietTag = -1;
    bool genericEditorOpen = false;

    UIntValue* onOff = nullptr;
    UIntValue* bypass = nullptr;
    UIntValue* enableAux = nullptr;
    UIntValue* inputMidiSignal = nullptr;
    UStringValue* presetName = nullptr;
    UStringListValue* currentSelectedLayer = nullptr;
    UStringListValue* currentPage = nullptr;
};

} // namespace MiniEngine
} // namespace Quillmark
