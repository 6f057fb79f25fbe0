#include "conformity/scan/qelscanparameterstest.h"

#include "conformity/scan/scansupport.h"
#include "qel3/iunitinfo.h"

#include <vector>

namespace Quillmark
{
namespace Qel
{

namespace
{

/** Above this many parameters a flat list is hard to use without units. */
constexpr int32 kUnitsAdvisedAbove = 20;

const char8* typeWord(int32 stepCount)
{
    if (stepCount == 0)
        return "Float";
    return stepCount == 1 ? "Toggle" : "Discrete";
}

/** The first failure of the unit walk for one parameter, or null when its unit is fine. Every
    unit is asked afresh, so a unit that only sometimes answers is caught. */
const char8* unitProblem(IUnitInfo& unitInfo, UnitID unitId)
{
    bool found = false;
    const int32 unitCount = unitInfo.getUnitCount();
    for (int32 unitIndex = 0; unitIndex < unitCount; ++unitIndex)
    {
        UnitInfo info{};
        if (unitInfo.getUnitInfo(unitIndex, info) != kResultOk)
            return "IUnitInfo::getUnitInfo (..) failed.";
        if (info.id == unitId)
            found = true;
    }
    if (!found && unitId != kRootUnitId)
        return "Parameter has a UnitID, which isn't defined in IUnitInfo.";
    return nullptr;
}

} // namespace

bool QelScanParametersTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);

    if (!controller)
    {
        addMessage(result, "No Edit Controller supplied!");
        return true;
    }
    const int32 count = controller->getParameterCount();
    if (count < 1)
    {
        addMessage(result, "This component does not export any parameters!");
        return true;
    }
    addMessage(result, String::format("This component exports %d parameter(s)", count));

    Queried<IUnitInfo> unitInfo(controller);
    if (!unitInfo && count > kUnitsAdvisedAbove)
        addMessage(result,
                   "Note: it could be better to use UnitInfo in order to sort Parameters (>20).");

    std::vector<ParamID> ids(static_cast<size_t>(count));
    bool bypassSeen = false;
    for (int32 index = 0; index < count; ++index)
    {
        ParameterInfo info{};
        if (controller->getParameterInfo(index, info) != kResultOk)
        {
            addError(result, String::format("Param %03d: is missing!!!", index));
            return false;
        }
        if (static_cast<int32>(info.id) < 0)
        {
            addError(result, String::format("Param %03d: Invalid Id!!!", index));
            return false;
        }
        for (int32 earlier = 0; earlier < index; ++earlier)
            if (ids[static_cast<size_t>(earlier)] == info.id)
            {
                addError(result, String::format("Param %03d: ID already used (by %03d)!!!", index,
                                                earlier));
                return false;
            }
        ids[static_cast<size_t>(index)] = info.id;
        if (info.stepCount < 0)
        {
            addError(result, String::format("Param %03d: invalid stepcount!!!", index));
            return false;
        }
        if (isEmptyField(info.title))
        {
            addError(result, String::format("Param %03d: has no title!!!", index));
            return false;
        }
        // -1.0 is let through on purpose: it is the default of a parameter without one.
        const ParamValue defaultValue = info.defaultNormalizedValue;
        if (defaultValue != -1.0 && (defaultValue < 0.0 || defaultValue > 1.0))
        {
            addError(result,
                     String::format("Param %03d: defaultValue is not normalized!!!", index));
            return false;
        }
        if (info.unitId < -1)
        {
            addError(result, String::format("Param %03d: No appropriate unit ID!!!", index));
            return false;
        }
        if (unitInfo)
        {
            if (const char8* problem = unitProblem(*unitInfo.get(), info.unitId))
            {
                addError(result, problem);
                return false;
            }
        }
        else if (info.unitId != kRootUnitId)
        {
            addError(result, String::format("IUnitInfo interface is missing, but "
                                            "ParameterInfo::unitID is not %03d (kRootUnitId).",
                                            kRootUnitId));
            return false;
        }
        if ((info.flags & ParameterInfo::kCanAutomate) && (info.flags & ParameterInfo::kIsReadOnly))
        {
            addError(result, "Parameter must not be kCanAutomate and kReadOnly at the same time.");
            return false;
        }
        if (info.flags & ParameterInfo::kIsBypass)
        {
            if (bypassSeen)
            {
                addError(result, "There can only be one bypass (kIsBypass).");
                return false;
            }
            bypassSeen = true;
        }

        addMessage(result, String::format(
                               "   Param %03d (ID = %d): [title=\"%s\"] [unit=\"%s\"] [type = %s, "
                               "default = %lf, unit = %d]",
                               index, static_cast<int32>(info.id), fieldText(info.title).c_str(),
                               fieldText(info.units).c_str(), typeWord(info.stepCount),
                               defaultValue, info.unitId));
    }
    if (!bypassSeen)
        addMessage(result, "Warning: No bypass parameter found. Is this intended ?");
    return true;
}

} // namespace Qel
} // namespace Quillmark
