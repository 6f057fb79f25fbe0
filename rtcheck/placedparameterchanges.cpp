#include "rtcheck/placedparameterchanges.h"

namespace Quillmark
{

using namespace Qel;

namespace
{

/** Hosts hand queues out by place; a bound keeps a lying source from holding the thread. */
constexpr int32 kMaxSourcePlaces = 1024;

template <class Interface> tresult answer(Interface* self, const TUID iid, void** obj)
{
    if (!iid || !obj)
        return kInvalidArgument;
    if (iidEqual(iid, FUnknown::iid.bytes) || iidEqual(iid, Interface::iid.bytes))
    {
        *obj = self;
        return kResultOk;
    }
    *obj = nullptr;
    return kNoInterface;
}

} // namespace

void PlacedParameterChanges::fill(IParameterChanges& source, const ParameterPlacement* placements,
                                  int32 count)
{
    used = 0;
    for (int32 place = 0; place < kMaxSourcePlaces && used < kCapacity; ++place)
    {
        IParamValueQueue* from = source.getParameterData(place);
        if (!from)
            break;
        const int32 points = from->getPointCount();
        if (points <= 0)
            continue;
        Queue& to = queues[size_t(used)];
        to.id = from->getParameterId();
        to.count = 0;
        int32 placed = -1;
        for (int32 i = 0; i < count; ++i)
            if (placements[i].id == to.id)
                placed = placements[i].sampleOffset;
        for (int32 p = 0; p < points && to.count < Queue::kMaxPoints; ++p)
        {
            int32 offset = 0;
            ParamValue value = 0.0;
            if (from->getPoint(p, offset, value) != kResultOk)
                continue;
            to.offsets[size_t(to.count)] = placed >= 0 ? placed : offset;
            to.values[size_t(to.count)] = value;
            ++to.count;
        }
        if (to.count > 0)
            ++used;
    }
}

IParamValueQueue* PlacedParameterChanges::getParameterData(int32 index)
{
    return index >= 0 && index < used ? &queues[size_t(index)] : nullptr;
}

IParamValueQueue* PlacedParameterChanges::addParameterData(const ParamID&, int32& index)
{
    index = -1;
    return nullptr;
}

tresult PlacedParameterChanges::queryInterface(const TUID iid, void** obj)
{
    return answer<IParameterChanges>(this, iid, obj);
}

tresult PlacedParameterChanges::Queue::getPoint(int32 index, int32& sampleOffset, ParamValue& value)
{
    if (index < 0 || index >= count)
        return kResultFalse;
    sampleOffset = offsets[size_t(index)];
    value = values[size_t(index)];
    return kResultOk;
}

tresult PlacedParameterChanges::Queue::addPoint(int32, ParamValue, int32& index)
{
    index = -1;
    return kResultFalse;
}

tresult PlacedParameterChanges::Queue::queryInterface(const TUID iid, void** obj)
{
    return answer<IParamValueQueue>(this, iid, obj);
}

} // namespace Quillmark
