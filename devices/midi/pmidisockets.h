// The sockets of a MIDI interface: each port of the system's MIDI service is one socket in the
// port graph. An input of the hardware is a source of the graph (`PMidiInSocket`), an output of
// the hardware is a sink (`PMidiOutSocket`). The driver subclasses open and close the system's
// port; what happens to a message in between is here. Owned by their `PMidiInterface`.
#pragma once

#include "devices/midi/noteidqueues.h"
#include "devices/midi/pmidiports.h"

#include <atomic>
#include <vector>

namespace Quillmark
{

class PMidiInterface;
class PMidiEvent;

class PMidiInSocket : public PMidiOutput
{
    QEL_DECLARE_CLASS(PMidiInSocket, PMidiOutput)
public:
    PMidiInSocket(PMidiInterface* device, const ConstString& name);
    PMidiInterface* getDevice() const { return device; }

private:
    PMidiInterface* device;
};

/** An input backed by a port of the system. It is opened while something active is connected,
    and gives note-offs the identifier of the note-on they end. */
class PHWMidiInSocket : public PMidiInSocket
{
    QEL_DECLARE_CLASS(PHWMidiInSocket, PMidiInSocket)
public:
    /** The flag of an event played now rather than at its position. */
    static constexpr uint16 kLiveFlag = 0x0080;

    PHWMidiInSocket(PMidiInterface* device, const ConstString& name);

    /** Opens the system's port and starts delivering; false leaves the socket inactive. */
    virtual bool activate() = 0;
    virtual void deactivate() = 0;
    /** True for a socket that no port of the system stands behind. */
    virtual bool isFake() const { return false; }
    bool isActive() const { return active.load(); }

    /** On the input thread: one whole message (1 to 3 bytes, or system exclusive data from
        0xF0 to 0xF7) that the driver stamped with `driverMilliseconds` on the wrapping clock
        of platform::milliseconds. Active sensing and what the filter holds back end here; the
        rest becomes a live event with a note identifier and goes to the connected ports. */
    void handleMessage(const uint8* bytes, int32 size, uint32 driverMilliseconds);
    /** Only the input thread may read these while the socket is active. */
    const NoteIdQueues& getNoteIdQueues() const { return noteIdQueues; }

protected:
    /** The graph's view: a connected active port opens the socket, the last one closes it. */
    void activeChanged(bool state) override;
    /** A new activation starts with no open notes. */
    void resetNotes() { noteIdQueues.clear(); }

    std::atomic<bool> active{false};

private:
    NoteIdQueues noteIdQueues;
};

/** An output of the hardware: events with a time wait in a queue until the device's scheduling
    thread finds them due. Times are seconds of platform::seconds(); a negative time means now.
    `send` may run on any thread. */
class PMidiOutSocket : public PMidiInput
{
    QEL_DECLARE_CLASS(PMidiOutSocket, PMidiInput)
public:
    /** Flags of the events that travel through an output. */
    enum SendFlags : uint16
    {
        kOutputFlag = 0x0004,      // marked for output; every MIDI message carries it
        kOwnNoteOffFlag = 0x0010,  // a note-on of length 0 whose note-off comes by itself
        kNoCompanionFlag = 0x0200, // never give this note-on a note-off of its own
        kSentFlag = 0x0800,        // cleared when the event is queued
    };
    /** The answer of sendDueEvents when nothing waits: 30 days. */
    static constexpr double kNothingPending = 2592000.0;

    PMidiOutSocket(PMidiInterface* device, const ConstString& name);
    ~PMidiOutSocket() override;

    virtual bool activate() = 0;
    virtual void deactivate() = 0;
    bool isActive() const { return active.load(); }

    /** Queues the event with a reference of its own; false for an event not marked for
        output. A note-on with a length gets its note-off queued beside it. Controller 123
        with a negative time flushes the port first. */
    bool send(PEvent* event);
    /** Drops what waits, but plays at once the note-offs of notes already begun, so that no
        note hangs. */
    void flush();
    /** On the scheduling thread: plays every event due at `now` in time order, and answers the
        time of the next one, or kNothingPending. */
    double sendDueEvents(double now);
    int32 countPending() const;

    /** What arrives through the graph is played: live events at once, others at their time. */
    void receive(PEvent* event) override;
    PMidiInterface* getDevice() const { return device; }

protected:
    /** Plays one whole message on the system's port; called under the queue's lock. */
    virtual void writeMessage(const uint8* bytes, int32 size) = 0;
    void activeChanged(bool state) override;
    /** Drops every queued event without playing it; for deactivation. */
    void clearQueues();

    std::atomic<bool> active{false};
    mutable FLock queueLock{"PMidiOutSocket queue"};

private:
    /** A note-off made for a queued note-on. `noteOn` names the note-on (never followed) until
        it has played; before that the note-off must not go, whatever its time. */
    struct PendingNoteOff
    {
        PEvent* event;
        const PEvent* noteOn;
    };

    void play(PEvent* event);

    PMidiInterface* device;
    std::vector<PEvent*> queue;           // sorted by time, equal times in order of arrival
    std::vector<PendingNoteOff> noteOffs; // sorted the same way
};

} // namespace Quillmark
