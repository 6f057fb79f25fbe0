#include "midi/pevent.h"
#include "midi/peventpool.h"

#include <algorithm>
#include <new>

namespace Quillmark
{

namespace
{
// Plain integer by design: ids only need to differ between events alive at the same time,
// and the events are made on one thread at a time.
int32 nextNoteId = 0;
} // namespace

PEvent::PEvent(const PEvent& other)
    : CmIDLink(other), flags(other.flags), context(other.context), target(other.target), mark(0),
      markB(other.markB), time(other.time), length(other.length), offset(other.offset),
      extra(other.extra)
{
    if (target)
        target->addRef();
}

PEvent::~PEvent()
{
    if (target)
        target->release();
}

void PEvent::setEnd(double end)
{
    length = std::max(end - time, 0.0);
}

void PEvent::moveStart(double delta)
{
    time += delta;
    length -= delta;
    offset += delta;
}

void PEvent::shorten(double delta)
{
    length = std::max(length - delta, 0.0);
}

void PEvent::setTarget(FUnknown* t)
{
    if (t)
        t->addRef();
    if (target)
        target->release();
    target = t;
}

tresult PEvent::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IPlaybackObject)
    return CmIDLink::queryInterface(iid, obj);
}

FUnknown* PEvent::getContext(const TUID iid)
{
    if (!owner)
        return nullptr;
    void* answer = nullptr;
    if (owner->queryInterface(iid, &answer) != kResultOk || !answer)
        return nullptr;
    auto* unknown = static_cast<FUnknown*>(answer);
    unknown->release();
    return unknown;
}

PMidiEvent::PMidiEvent() : noteId(nextNoteId++)
{
    flags = kMidiFlag;
}

PMidiEvent::PMidiEvent(uint8 status, uint8 data1, uint8 data2) : PMidiEvent()
{
    this->status = status;
    this->data1 = data1;
    this->data2 = data2;
}

PMidiEvent::PMidiEvent(const PMidiEvent& other)
    : PEvent(other), status(other.status), data1(other.data1), data2(other.data2),
      data3(other.data3), noteId(other.hasFlag(kKeepNoteIdFlag) ? other.noteId : nextNoteId++),
      reserved(other.reserved), attachment(other.attachment)
{
    if (attachment)
        attachment->addRef();
    // A note-off ends a note; it has no partner of its own to carry along.
    if (!isNoteOff())
        setNoteOffPartner(other.noteOffPartner);
}

PMidiEvent::~PMidiEvent()
{
    setNoteOffPartner(nullptr);
    setAttachment(nullptr);
}

void PMidiEvent::setStatus(uint8 s)
{
    status = s;
    if (getMessageType() == 0x80)
        setNoteOffPartner(nullptr);
}

uint32 PMidiEvent::getMessageKey() const
{
    uint32 key = uint32(status) << 24;
    uint8 type = getMessageType();
    if (type == 0xA0 || type == 0xB0)
        key += data1;
    return key;
}

void PMidiEvent::setNoteOffPartner(PMidiEvent* partner)
{
    if (partner == noteOffPartner)
        return;
    if (partner)
        partner->addRef();
    if (noteOffPartner)
        noteOffPartner->release();
    noteOffPartner = partner;
}

void PMidiEvent::setAttachment(FUnknown* a)
{
    if (a)
        a->addRef();
    if (attachment)
        attachment->release();
    attachment = a;
}

int32 PMidiEvent::peekNextNoteId()
{
    return nextNoteId;
}

void* PMidiEvent::operator new(size_t size)
{
    if (void* block = MidiEventPool::allocate(size))
        return block;
    return ::operator new(size);
}

void PMidiEvent::operator delete(void* p, size_t size)
{
    if (!p || MidiEventPool::free(p))
        return;
    ::operator delete(p);
}

} // namespace Quillmark
