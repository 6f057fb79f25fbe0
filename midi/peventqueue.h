// A list of events kept in time order. Events of equal time keep their order of arrival, and
// appending in time order costs one comparison. The queue owns its events unless made
// otherwise; a copy clones every event into a queue of its own.
#pragma once

#include "midi/pevent.h"

namespace Quillmark
{

class PEventQueue : public CmIDLinkedList
{
public:
    explicit PEventQueue(int32 ownership = kOwning) : CmIDLinkedList(ownership) {}
    PEventQueue(const PEventQueue& other);

    /** Puts `event` behind the last event that is not later; the queue takes the caller's
        reference when it owns its events. */
    void insert(PEvent* event);

    PEvent* getFirstEvent() const { return static_cast<PEvent*>(getFirst()); }
    PEvent* getLastEvent() const { return static_cast<PEvent*>(getLast()); }
};

class PEventQueueIterator : public CmIDLinkedListIterator
{
public:
    explicit PEventQueueIterator(const PEventQueue& queue) : CmIDLinkedListIterator(queue) {}
    PEvent* first() { return static_cast<PEvent*>(CmIDLinkedListIterator::first()); }
    PEvent* last() { return static_cast<PEvent*>(CmIDLinkedListIterator::last()); }
    PEvent* next() { return static_cast<PEvent*>(CmIDLinkedListIterator::next()); }
    PEvent* previous() { return static_cast<PEvent*>(CmIDLinkedListIterator::previous()); }
    PEvent* getCurrent() const
    {
        return static_cast<PEvent*>(CmIDLinkedListIterator::getCurrent());
    }
};

} // namespace Quillmark
