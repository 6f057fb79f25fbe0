// The units of a plug-in (a tree of parameter groups) and its program lists with program names
// and pitch names.
#pragma once

#include "qel3/ibstream.h"
#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

struct UnitInfo
{
    UnitID id;
    UnitID parentUnitId; // kNoParentUnitId for the root
    String128 name;
    ProgramListID programListId; // kNoProgramListId when the unit has none
};

static_assert(sizeof(UnitInfo) == 268);
static_assert(offsetof(UnitInfo, name) == 8);
static_assert(offsetof(UnitInfo, programListId) == 264);

struct ProgramListInfo
{
    ProgramListID id;
    String128 name;
    int32 programCount;
};

static_assert(sizeof(ProgramListInfo) == 264);
static_assert(offsetof(ProgramListInfo, programCount) == 260);

class IUnitInfo : public FUnknown
{
public:
    virtual int32 getUnitCount() = 0;
    virtual tresult getUnitInfo(int32 unitIndex, UnitInfo& info) = 0;
    virtual int32 getProgramListCount() = 0;
    virtual tresult getProgramListInfo(int32 listIndex, ProgramListInfo& info) = 0;
    virtual tresult getProgramName(ProgramListID listId, int32 programIndex, String128 name) = 0;
    virtual tresult getProgramInfo(ProgramListID listId, int32 programIndex, CString attributeId,
                                   String128 attributeValue) = 0;
    virtual tresult hasProgramPitchNames(ProgramListID listId, int32 programIndex) = 0;
    virtual tresult getProgramPitchName(ProgramListID listId, int32 programIndex, int16 midiPitch,
                                        String128 name) = 0;
    virtual UnitID getSelectedUnit() = 0;
    virtual tresult selectUnit(UnitID unitId) = 0;
    virtual tresult getUnitByBus(MediaType type, BusDirection dir, int32 busIndex, int32 channel,
                                 UnitID& unitId) = 0;
    virtual tresult setUnitProgramData(int32 listOrUnitId, int32 programIndex, IBStream* data) = 0;

    QEL_INTERFACE_IID(0x3D4BD6B5, 0x913A4FD2, 0xA886E768, 0xA5EB92C1);
};

} // namespace Qel
} // namespace Quillmark
