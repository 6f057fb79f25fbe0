#include "conformity/scan/qelunitstructuretest.h"

#include "conformity/scan/scansupport.h"
#include "qel3/iunitinfo.h"

namespace Quillmark
{
namespace Qel
{

namespace
{

/** Whether a unit that answers has the id `id`; units that give no information are passed
    over. */
bool hasUnit(IUnitInfo& unitInfo, int32 unitCount, UnitID id)
{
    for (int32 index = 0; index < unitCount; ++index)
    {
        UnitInfo info{};
        if (unitInfo.getUnitInfo(index, info) == kResultOk && info.id == id)
            return true;
    }
    return false;
}

} // namespace

bool QelUnitStructureTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);

    Queried<IUnitInfo> unitInfo(controller);
    if (!unitInfo)
    {
        addMessage(result, "This component does not support IUnitInfo!");
        return true;
    }
    const int32 unitCount = unitInfo->getUnitCount();
    if (unitCount < 1)
        addMessage(result, "No units found, while controller implements IUnitInfo !!!");

    bool rootSeen = false;
    for (int32 index = 0; index < unitCount; ++index)
    {
        // The texts name the unit by the id of its record; a record that was not filled
        // keeps the id 0 it started with.
        UnitInfo info{};
        if (unitInfo->getUnitInfo(index, info) != kResultOk)
        {
            addError(result, String::format("Unit %03d: No unit info.", info.id));
            return false;
        }
        if (info.parentUnitId == kNoParentUnitId)
        {
            if (rootSeen)
            {
                addError(result,
                         String::format("Unit %03d: Has no parent, but there is a root already.",
                                        info.id));
                return false;
            }
            if (info.id != kRootUnitId)
            {
                addError(result,
                         String::format("Unit %03d: Should be the Root Unit => id should be %03d!!",
                                        info.id, kRootUnitId));
                return false;
            }
            rootSeen = true;
            continue;
        }
        // A parent id of 0 names the root even when no unit 0 is listed.
        if (!hasUnit(*unitInfo.get(), unitCount, info.parentUnitId) &&
            info.parentUnitId != kRootUnitId)
        {
            addError(result, String::format("Unit %03d: Parent does not exist!!", info.id));
            return false;
        }
    }
    addMessage(result, "All units have valid parent IDs.");
    return true;
}

} // namespace Qel
} // namespace Quillmark
