#include "devices/midi/pmidisockets.h"

#include "base/platform/clock.h"
#include "devices/midi/pmidiinterface.h"
#include "midi/pevent.h"
#include "midi/pmidievents.h"

#include <algorithm>
#include <type_traits>

namespace Quillmark
{

PMidiInSocket::PMidiInSocket(PMidiInterface* device, const ConstString& name)
    : PMidiOutput(device, name, "system", PPort::kHardware), device(device)
{
}

PHWMidiInSocket::PHWMidiInSocket(PMidiInterface* device, const ConstString& name)
    : PMidiInSocket(device, name)
{
}

void PHWMidiInSocket::activeChanged(bool state)
{
    if (state)
        activate();
    else
        deactivate();
}

void PHWMidiInSocket::handleMessage(const uint8* bytes, int32 size, uint32 driverMilliseconds)
{
    if (!bytes || size < 1 || bytes[0] < 0x80)
        return;
    const uint8 status = bytes[0];
    if (status == 0xFE)
        return; // active sensing keeps a cable alive; the engine has no use for it
    PMidiInterface* owner = getDevice();
    if (!PMidiInterface::passesFilter(owner ? owner->getFilter() : nullptr, bytes, size))
        return;

    PMidiEvent* event = nullptr;
    if (status == 0xF0)
    {
        if (bytes[size - 1] != 0xF7)
            return;
        auto* sysex = new PSysexEvent;
        sysex->setData(bytes);
        event = sysex;
    }
    else
    {
        event = new PMidiEvent(status, size > 1 ? bytes[1] : 0, size > 2 ? bytes[2] : 0);
    }
    event->setFlag(kLiveFlag, true);
    const uint32 stamp =
        owner && owner->usesSystemTimestamp() ? platform::milliseconds() : driverMilliseconds;
    event->setTime(double(stamp) * 0.001);

    if (event->isNoteOn())
        noteIdQueues.noteOn(event->getChannel(), event->getData1(), event->getNoteId());
    else if (event->isNoteOff())
        event->setNoteId(noteIdQueues.noteOff(event->getChannel(), event->getData1()));

    deliver(event);
    event->release();
}

PMidiOutSocket::PMidiOutSocket(PMidiInterface* device, const ConstString& name)
    : PMidiInput(device, name, "system", PPort::kHardware), device(device)
{
}

PMidiOutSocket::~PMidiOutSocket()
{
    clearQueues();
}

void PMidiOutSocket::activeChanged(bool state)
{
    if (state)
        activate();
    else
        deactivate();
}

namespace
{
template <class Entry> double timeOf(const Entry& entry)
{
    if constexpr (std::is_pointer_v<Entry>)
        return entry->getTime();
    else
        return entry.event->getTime();
}

/** Behind every entry of the same or an earlier time, so equal times keep their arrival. */
template <class Entry> void insertByTime(std::vector<Entry>& list, const Entry& entry)
{
    const double time = timeOf(entry);
    const auto place =
        std::upper_bound(list.begin(), list.end(), time,
                         [](double t, const Entry& queued) { return t < timeOf(queued); });
    list.insert(place, entry);
}
} // namespace

bool PMidiOutSocket::send(PEvent* event)
{
    if (!event || !event->hasFlag(kOutputFlag))
        return false;
    auto* midi = FCast<PMidiEvent>(static_cast<FObject*>(event));
    if (!midi)
        return false;
    event->setFlag(kSentFlag, false);
    if (event->getTime() < 0 && midi->getMessageType() == 0xB0 && midi->getData1() == 123)
        flush();
    {
        FGuard guard(queueLock);
        event->addRef();
        insertByTime(queue, event);
        if (midi->isNoteOn() && !event->hasFlag(kNoCompanionFlag))
        {
            const double length = event->getLength();
            if (length > 0 || (length == 0 && !event->hasFlag(kOwnNoteOffFlag)))
            {
                auto* noteOff = new PMidiEvent(uint8(0x80 | midi->getChannel()), midi->getData1(),
                                               midi->getData3());
                const double start = event->getTime() < 0 ? platform::seconds() : event->getTime();
                noteOff->setTime(start + std::max(length, 0.0));
                noteOff->setNoteId(midi->getNoteId());
                insertByTime(noteOffs, PendingNoteOff{noteOff, event});
            }
        }
    }
    if (device)
        device->wakeScheduler(event->getTime());
    return true;
}

void PMidiOutSocket::receive(PEvent* event)
{
    if (!event)
        return;
    PEvent* copy = event->clone();
    if (copy->hasFlag(PHWMidiInSocket::kLiveFlag))
        copy->setTime(-1.0);
    send(copy);
    copy->release();
}

void PMidiOutSocket::play(PEvent* event)
{
    if (!active.load())
        return;
    if (auto* sysex = FCast<PSysexEvent>(static_cast<FObject*>(event)))
    {
        if (sysex->getSize() > 0)
            writeMessage(sysex->getBytes(), sysex->getSize());
        return;
    }
    auto* midi = FCast<PMidiEvent>(static_cast<FObject*>(event));
    if (!midi || midi->getStatus() < 0x80 || midi->getStatus() == 0xF0)
        return;
    const uint8 bytes[3] = {midi->getStatus(), uint8(midi->getData1() & 0x7F),
                            uint8(midi->getData2() & 0x7F)};
    const int32 count =
        1 + std::max<int32>(0,
                            [&]
                            {
                                const uint8 status = bytes[0];
                                if (status >= 0xF0)
                                    return status == 0xF2
                                               ? 2
                                               : (status == 0xF1 || status == 0xF3 ? 1 : 0);
                                const uint8 type = status & 0xF0;
                                return type == 0xC0 || type == 0xD0 ? 1 : 2;
                            }());
    writeMessage(bytes, count);
}

double PMidiOutSocket::sendDueEvents(double now)
{
    FGuard guard(queueLock);
    size_t fromQueue = 0;
    while (true)
    {
        PEvent* next = fromQueue < queue.size() && queue[fromQueue]->getTime() <= now
                           ? queue[fromQueue]
                           : nullptr;
        // A note-off due no later than the next event goes first, as it ends an older note;
        // one whose note-on has not played yet waits for it.
        auto off = noteOffs.begin();
        while (off != noteOffs.end() && off->noteOn)
            ++off;
        if (off != noteOffs.end() && off->event->getTime() <= now &&
            (!next || off->event->getTime() <= next->getTime()))
        {
            play(off->event);
            off->event->release();
            noteOffs.erase(off);
            continue;
        }
        if (!next)
            break;
        play(next);
        for (PendingNoteOff& pending : noteOffs)
            if (pending.noteOn == next)
                pending.noteOn = nullptr;
        next->release();
        ++fromQueue;
    }
    queue.erase(queue.begin(), queue.begin() + std::ptrdiff_t(fromQueue));
    double next = kNothingPending;
    if (!queue.empty())
        next = std::min(next, queue.front()->getTime());
    for (const PendingNoteOff& pending : noteOffs)
        if (!pending.noteOn)
        {
            next = std::min(next, pending.event->getTime());
            break;
        }
    return next;
}

void PMidiOutSocket::flush()
{
    FGuard guard(queueLock);
    for (PEvent* event : queue)
        event->release();
    queue.clear();
    for (const PendingNoteOff& pending : noteOffs)
    {
        if (!pending.noteOn)
            play(pending.event); // the note sounds: end it
        pending.event->release();
    }
    noteOffs.clear();
}

void PMidiOutSocket::clearQueues()
{
    FGuard guard(queueLock);
    for (PEvent* event : queue)
        event->release();
    queue.clear();
    for (const PendingNoteOff& pending : noteOffs)
        pending.event->release();
    noteOffs.clear();
}

int32 PMidiOutSocket::countPending() const
{
    FGuard guard(queueLock);
    return int32(queue.size() + noteOffs.size());
}

} // namespace Quillmark
