#include "midi/peventqueue.h"

namespace Quillmark
{

PEventQueue::PEventQueue(const PEventQueue& other) : CmIDLinkedList(kOwning)
{
    for (PEvent* e = other.getFirstEvent(); e; e = e->getNextEvent())
        append(e->clone());
}

void PEventQueue::insert(PEvent* event)
{
    PEvent* behind = getLastEvent();
    while (behind && behind->getTime() > event->getTime())
        behind = behind->getPreviousEvent();
    insertAfter(behind, event);
}

} // namespace Quillmark
