// An intrusive doubly linked list: each element is its own node, so moving events between
// lists never allocates. The list either only links its elements or owns them (releasing
// each one it drops); the mode is chosen at construction.
#pragma once

#include "base/fobject.h"

namespace Quillmark
{

/** A reference-counted object that can sit in one CmIDLinkedList at a time. */
class CmIDLink : public CmObject
{
public:
    CmIDLink() = default;
    // A copy is a new node that belongs to no list yet.
    CmIDLink(const CmIDLink& other) : CmObject(other) {}
    CmIDLink& operator=(const CmIDLink&) { return *this; }

    CmIDLink* getNext() const { return next; }
    CmIDLink* getPrevious() const { return previous; }
    bool isLinked() const { return next || previous; }

    QEL_DECLARE_CLASS(CmIDLink, CmObject)

private:
    friend class CmIDLinkedList;
    CmIDLink* next = nullptr;
    CmIDLink* previous = nullptr;
};

class CmIDLinkedList
{
public:
    enum Ownership : int32
    {
        kNotOwning = 0,
        kOwning = 2, // elements are released when they leave the list or the list dies
    };

    explicit CmIDLinkedList(int32 ownership = kOwning) : ownership(ownership) {}
    CmIDLinkedList(const CmIDLinkedList&) = delete;
    CmIDLinkedList& operator=(const CmIDLinkedList&) = delete;
    virtual ~CmIDLinkedList() { removeAll(); }

    int32 getOwnership() const { return ownership; }
    bool ownsElements() const { return ownership == kOwning; }
    CmIDLink* getFirst() const { return head; }
    CmIDLink* getLast() const { return tail; }
    int32 count() const { return total; }
    bool isEmpty() const { return head == nullptr; }

    void append(CmIDLink* link) { insertAfter(tail, link); }
    void prepend(CmIDLink* link) { insertAfter(nullptr, link); }

    /** Links `link` behind `after`; a null `after` puts it at the head. */
    void insertAfter(CmIDLink* after, CmIDLink* link)
    {
        CmIDLink* following = after ? after->next : head;
        link->previous = after;
        link->next = following;
        if (after)
            after->next = link;
        else
            head = link;
        if (following)
            following->previous = link;
        else
            tail = link;
        ++total;
    }

    void insertBefore(CmIDLink* before, CmIDLink* link)
    {
        insertAfter(before ? before->previous : tail, link);
    }

    /** Unlinks without releasing: the caller takes over the list's reference. */
    CmIDLink* unlink(CmIDLink* link)
    {
        if (link->previous)
            link->previous->next = link->next;
        else
            head = link->next;
        if (link->next)
            link->next->previous = link->previous;
        else
            tail = link->previous;
        link->next = link->previous = nullptr;
        --total;
        return link;
    }

    /** Unlinks and, in an owning list, releases. */
    void remove(CmIDLink* link)
    {
        unlink(link);
        if (ownsElements())
            link->release();
    }

    void removeAll()
    {
        while (head)
            remove(head);
    }

    bool contains(const CmIDLink* link) const
    {
        for (CmIDLink* l = head; l; l = l->next)
            if (l == link)
                return true;
        return false;
    }

private:
    CmIDLink* head = nullptr;
    CmIDLink* tail = nullptr;
    int32 total = 0;
    int32 ownership;
};

/** Walks a list in either direction. Removing the current element is allowed once the
    iterator has stepped past it. */
class CmIDLinkedListIterator
{
public:
    explicit CmIDLinkedListIterator(const CmIDLinkedList& list) : list(list) {}

    CmIDLink* first() { return current = list.getFirst(); }
    CmIDLink* last() { return current = list.getLast(); }
    CmIDLink* next() { return current = current ? current->getNext() : nullptr; }
    CmIDLink* previous() { return current = current ? current->getPrevious() : nullptr; }
    CmIDLink* getCurrent() const { return current; }
    void setCurrent(CmIDLink* link) { current = link; }
    bool done() const { return current == nullptr; }

private:
    const CmIDLinkedList& list;
    CmIDLink* current = nullptr;
};

} // namespace Quillmark
