// Program data of a plug-in's program lists and units, read and written as byte streams, so a
// preset can carry one program. The standard names these two interfaces but fixes neither their
// identifiers nor the order of their operations: both are this host's own choice, kept in this
// folder apart from the fixed headers, and a module that wants them compiles against it.
#pragma once

#include "qel3/ibstream.h"
#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

/** Offered by a component or controller whose program lists keep data per program. */
class IProgramListData : public FUnknown
{
public:
    virtual tresult programDataSupported(ProgramListID listId) = 0;
    virtual tresult getProgramData(ProgramListID listId, int32 programIndex, IBStream* data) = 0;
    virtual tresult setProgramData(ProgramListID listId, int32 programIndex, IBStream* data) = 0;

    QEL_INTERFACE_IID(0x5B2F8E31, 0x7A0C4D19, 0x9E46B3D2, 0x1C8F70A4);
};

/** Offered by a component whose units keep data of their own. */
class IUnitData : public FUnknown
{
public:
    virtual tresult unitDataSupported(UnitID unitId) = 0;
    virtual tresult getUnitData(UnitID unitId, IBStream* data) = 0;
    virtual tresult setUnitData(UnitID unitId, IBStream* data) = 0;

    QEL_INTERFACE_IID(0x8D41C6E7, 0x2F934B08, 0xA1D75E60, 0x4B39C2F5);
};

} // namespace Qel
} // namespace Quillmark
