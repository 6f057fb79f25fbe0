#include "engine/eventlist.h"

namespace Quillmark
{
namespace MiniEngine
{

tresult EventList::getEvent(int32 index, Qel::Event& e)
{
    if (index < 0 || index >= count)
        return kResultFalse;
    e = events[index];
    return kResultOk;
}

tresult EventList::addEvent(Qel::Event& e)
{
    if (count + 1 > kMaxEvents)
        return kOutOfMemory;
    events[count++] = e;
    return kResultOk;
}

tresult EventList::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, Qel::IEventList)
    return FObject::queryInterface(iid, obj);
}

} // namespace MiniEngine
} // namespace Quillmark
