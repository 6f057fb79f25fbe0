// What the host offers an edit controller for its units: a changed unit selection and a changed
// program list.
#pragma once

#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

class IUnitHandler : public FUnknown
{
public:
    virtual tresult notifyUnitSelection(UnitID unitId) = 0;
    /** `programIndex` is the changed program, or -1 when the whole list changed. */
    virtual tresult notifyProgramListChange(ProgramListID listId, int32 programIndex) = 0;

    QEL_INTERFACE_IID(0x4B5147F8, 0x4654486B, 0x8DAB30BA, 0x163A3C56);
};

} // namespace Qel
} // namespace Quillmark
