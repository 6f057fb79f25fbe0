#include "conformity/automation/paramchanges.h"

#include <new>

namespace Quillmark
{
namespace Qel
{

void ParamChanges::init(ParamID parameterId, int32 maxPoints)
{
    id = parameterId;
    usedPoints = 0;
    processedFrames = 0;
    points.reset(maxPoints > 0 ? new (std::nothrow) Point[size_t(maxPoints)] : nullptr);
    numPoints = points ? maxPoints : 0;
}

void ParamChanges::clearPoints()
{
    usedPoints = 0;
    processedFrames = 0;
}

bool ParamChanges::storePoint(int32 pointIndex, int32 sampleOffset, ParamValue value)
{
    if (!points || pointIndex != usedPoints || pointIndex >= numPoints)
        return false;
    // The read mark stays as it is: a slot read in an earlier block is not asked for again.
    points[size_t(pointIndex)].offset = sampleOffset;
    points[size_t(pointIndex)].value = value;
    ++usedPoints;
    return true;
}

bool ParamChanges::havePointsBeenRead(bool atLeastOne) const
{
    for (int32 index = 0; index < usedPoints; ++index)
    {
        const bool read = points[size_t(index)].read;
        if (atLeastOne && read)
            return true;
        if (!atLeastOne && !read)
            return false;
    }
    return !atLeastOne;
}

tresult ParamChanges::getPoint(int32 index, int32& sampleOffset, ParamValue& value)
{
    if (!points || index < 0 || index >= usedPoints)
        return kResultFalse;
    Point& point = points[size_t(index)];
    sampleOffset = point.offset;
    value = point.value;
    point.read = true;
    return kResultOk;
}

tresult ParamChanges::addPoint(int32 sampleOffset, ParamValue value, int32& index)
{
    return kResultFalse;
}

tresult ParamChanges::queryInterface(const TUID iid, void** obj)
{
    if (!iid || !obj)
        return kInvalidArgument;
    if (iidEqual(iid, IParamValueQueue::iid.bytes) || iidEqual(iid, FUnknown::iid.bytes))
    {
        addRef();
        *obj = static_cast<IParamValueQueue*>(this);
        return kResultOk;
    }
    *obj = nullptr;
    return kNoInterface;
}

} // namespace Qel
} // namespace Quillmark
