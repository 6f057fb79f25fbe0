// What the host offers an edit controller: parameter edits framed as gestures, restart requests,
// the dirty state, editor requests, group edits and the host's context menu.
#pragma once

#include "qel3/icontextmenu.h"
#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

class IPlugView;

/** What restartComponent asks the host to do again; several may be combined. */
enum RestartFlags : int32
{
    kReloadComponent = 1 << 0,
    kIoChanged = 1 << 1,
    kParamValuesChanged = 1 << 2,
    kLatencyChanged = 1 << 3,
    kParamTitlesChanged = 1 << 4,
    kMidiCCAssignmentChanged = 1 << 5,
    kIoTitlesChanged = 1 << 7,
};

class IComponentHandler : public FUnknown
{
public:
    virtual tresult beginEdit(ParamID id) = 0;
    virtual tresult performEdit(ParamID id, ParamValue valueNormalized) = 0;
    virtual tresult endEdit(ParamID id) = 0;
    virtual tresult restartComponent(int32 flags) = 0;

    QEL_INTERFACE_IID(0x93A0BEA3, 0x0BD045DB, 0x8E890B0C, 0xC1E46AC6);
};

class IComponentHandler2 : public FUnknown
{
public:
    virtual tresult setDirty(TBool state) = 0;
    virtual tresult requestOpenEditor(FIDString name = "editor") = 0;
    virtual tresult startGroupEdit() = 0;
    virtual tresult finishGroupEdit() = 0;

    QEL_INTERFACE_IID(0xF040B4B3, 0xA36045EC, 0xABCDC045, 0xB4D5A2CC);
};

class IComponentHandler3 : public FUnknown
{
public:
    /** A new context menu for the view, for a parameter when `paramID` is not null; the caller
        owns the returned reference. */
    virtual IContextMenu* createContextMenu(IPlugView* view, const ParamID* paramID) = 0;

    QEL_INTERFACE_IID(0x69F11617, 0xD26B400D, 0xA4B6B964, 0x7B6EBBAB);
};

} // namespace Qel
} // namespace Quillmark
