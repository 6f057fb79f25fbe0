#include "conformity/scan/qelunitinfotest.h"

#include "conformity/scan/scansupport.h"
#include "qel3/iunitinfo.h"

#include <algorithm>
#include <vector>

namespace Quillmark
{
namespace Qel
{

bool QelUnitInfoTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);

    Queried<IUnitInfo> unitInfo(controller);
    if (!unitInfo)
    {
        addMessage(result, "This component has no units.");
        return true;
    }
    const int32 unitCount = unitInfo->getUnitCount();
    if (unitCount < 1)
        addMessage(result, "No units found, while controller implements IUnitInfo !!!");
    else
        addMessage(result, String::format("This component has %d unit(s).", unitCount));

    std::vector<UnitID> ids;
    for (int32 index = 0; index < unitCount; ++index)
    {
        UnitInfo info{};
        if (unitInfo->getUnitInfo(index, info) != kResultOk)
        {
            // Made but kept back: a unit that tells nothing about itself fails nothing.
            const String unreported = String::format("Unit%03d: No unit info!", index);
            static_cast<void>(unreported);
            continue;
        }
        const char8* problem = nullptr;
        if (info.id < 0)
            problem = "Unit %03d: Invalid ID!";
        else if (std::find(ids.begin(), ids.end(), info.id) != ids.end())
            problem = "Unit %03d: ID already used!!!";
        else if (isEmptyField(info.name))
            problem = "Unit %03d: No name!";
        else if (info.parentUnitId < -1)
            problem = "Unit %03d: Invalid parent ID!";
        else if (info.parentUnitId == info.id)
            problem = "Unit %03d: Parent ID is equal to Unit ID!";
        else if (info.programListId < -1)
            problem = "Unit %03d: Invalid programlist ID!";
        if (problem)
        {
            addError(result, String::format(problem, index));
            return false;
        }
        ids.push_back(info.id);

        addMessage(
            result,
            String::format("   Unit%03d (ID = %d): \"%s\" (parent ID = %d, programlist ID = %d)",
                           index, info.id, fieldText(info.name).c_str(), info.parentUnitId,
                           info.programListId));

        // Selected by its index, not its id; the same value is then expected back.
        if (unitInfo->selectUnit(index) == kResultOk)
        {
            const UnitID selected = unitInfo->getSelectedUnit();
            if (selected != index)
                addMessage(result, String::format("The host has selected Unit ID = %d but "
                                                  "getSelectedUnit returns ID = %d!!!",
                                                  index, selected));
        }
    }
    return true;
}

} // namespace Qel
} // namespace Quillmark
