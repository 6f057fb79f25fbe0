// The controller half of a plug-in: its parameters with their texts and ranges, its state, the
// host's component handler and its editor view; with the smaller interfaces a controller may
// add beside it.
#pragma once

#include "qel3/ibstream.h"
#include "qel3/ipluginbase.h"
#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

class IComponentHandler;
class IPlugView;

struct ParameterInfo
{
    enum ParameterFlags : int32
    {
        kNoFlags = 0,
        kCanAutomate = 1 << 0,
        kIsReadOnly = 1 << 1,
        kIsWrapAround = 1 << 2,
        kIsList = 1 << 3,
        kIsProgramChange = 1 << 15,
        kIsBypass = 1 << 16,
    };

    ParamID id;
    String128 title;
    String128 shortTitle;
    String128 units;
    int32 stepCount; // 0 continuous, otherwise the number of steps minus one
    ParamValue defaultNormalizedValue;
    UnitID unitId;
    int32 flags;
};

static_assert(sizeof(ParameterInfo) == 792);
static_assert(offsetof(ParameterInfo, title) == 4);
static_assert(offsetof(ParameterInfo, shortTitle) == 260);
static_assert(offsetof(ParameterInfo, units) == 516);
static_assert(offsetof(ParameterInfo, stepCount) == 772);
static_assert(offsetof(ParameterInfo, defaultNormalizedValue) == 776);
static_assert(offsetof(ParameterInfo, unitId) == 784);
static_assert(offsetof(ParameterInfo, flags) == 788);

enum KnobModes : int32
{
    kCircularMode = 0,
    kRelativCircularMode = 1,
    kLinearMode = 2,
};
using KnobMode = int32;

class IEditController : public IPluginBase
{
public:
    virtual tresult setComponentState(IBStream* state) = 0;
    virtual tresult setState(IBStream* state) = 0;
    virtual tresult getState(IBStream* state) = 0;
    virtual int32 getParameterCount() = 0;
    virtual tresult getParameterInfo(int32 paramIndex, ParameterInfo& info) = 0;
    virtual tresult getParamStringByValue(ParamID id, ParamValue valueNormalized,
                                          String128 string) = 0;
    virtual tresult getParamValueByString(ParamID id, TChar* string,
                                          ParamValue& valueNormalized) = 0;
    virtual ParamValue normalizedParamToPlain(ParamID id, ParamValue valueNormalized) = 0;
    virtual ParamValue plainParamToNormalized(ParamID id, ParamValue plainValue) = 0;
    virtual ParamValue getParamNormalized(ParamID id) = 0;
    virtual tresult setParamNormalized(ParamID id, ParamValue value) = 0;
    virtual tresult setComponentHandler(IComponentHandler* handler) = 0;
    virtual IPlugView* createView(FIDString name) = 0;

    QEL_INTERFACE_IID(0xDCD7BBE3, 0x7742448D, 0xA874AACC, 0x979C759E);
};

class IEditController2 : public FUnknown
{
public:
    virtual tresult setKnobMode(KnobMode mode) = 0;
    virtual tresult openHelp(TBool onlyCheck) = 0;
    virtual tresult openAboutBox(TBool onlyCheck) = 0;

    QEL_INTERFACE_IID(0x7F4EFE59, 0xF3204967, 0xAC27A3AE, 0xAFB63038);
};

/** Which parameter a MIDI controller of an event bus and channel drives. */
class IMidiMapping : public FUnknown
{
public:
    virtual tresult getMidiControllerAssignment(int32 busIndex, int16 channel,
                                                CtrlNumber midiControllerNumber, ParamID& id) = 0;

    QEL_INTERFACE_IID(0xDF0FF9F7, 0x49B74669, 0xB63AB732, 0x7ADBF5E5);
};

/** MIDI controller numbers beyond the 128 of the standard. */
enum ControllerNumbers : int16
{
    kAfterTouch = 128,
    kPitchBend = 129,
    kCountCtrlNumber = 130,
};

/** Lets the host change a parameter outside the editor, framed like a user's gesture. */
class IEditControllerHostEditing : public FUnknown
{
public:
    virtual tresult beginEditFromHost(ParamID paramID) = 0;
    virtual tresult endEditFromHost(ParamID paramID) = 0;

    QEL_INTERFACE_IID(0xC1271208, 0x70594098, 0xB9DD34B3, 0x6BB0195E);
};

} // namespace Qel
} // namespace Quillmark
