// One event input bus of a playing plug-in as MIDI reaches it: the messages that MIDI threads
// deliver wait here until the audio thread takes them into a block, notes as events and
// controllers as parameter changes. MIDI threads take the lock for a few instructions; the audio
// thread only tries it, and a lost try leaves the messages for the next block. Every queue has a
// fixed capacity and keeps copies, so nothing is allocated or freed on the audio thread. Owned
// by the slot operator, one per event input bus.
#pragma once

#include "base/flock.h"
#include "engine/eventlist.h"
#include "engine/midiconversion.h"
#include "engine/parameterchanges.h"
#include "qel3/ieditcontroller.h"

#include <memory>

namespace Quillmark
{
class PEvent;

namespace MiniEngine
{

class QelEventInput : public CmObject
{
    QEL_DECLARE_CLASS(QelEventInput, CmObject)
public:
    static constexpr int32 kChannels = 16;
    static constexpr int32 kMapSize = 130; // controllers, then 0x80 pressure and 0x81 bend
    /** Messages that can wait per queue between two blocks; more are dropped. */
    static constexpr int32 kQueueCapacity = 1024;
    /** The flag of a MIDI event played now rather than at its position. */
    static constexpr uint16 kLiveFlag = 0x0080;

    explicit QelEventInput(int32 busIndex, bool legacyOutput = false);

    /** From a MIDI thread. A message on a filtered channel, or of a kind the plug-in does not
        take, is dropped. */
    void receive(const MidiMessage& message);
    /** The same for an event of a MIDI port: anything but a PMidiEvent is dropped. The event
        is borrowed; what is kept is a copy of its message. */
    void receive(PEvent* event);
    /** The message of a MIDI event as the conversion reads it: bit 7 of the flags is "live". */
    static bool toMessage(PEvent* event, MidiMessage& message);
    /** On the audio thread: notes (and, with legacy output, controllers) as events of the
        block; the queue is emptied. Nothing happens when a MIDI thread holds the lock. */
    void fillEvents(EventList& list, const OperatorBuffers& buffers, double sampleRate);
    /** On the audio thread: controllers, program changes, pressure and bend as parameter
        values, through the maps; the queue is emptied. */
    void fillParameterChanges(MultiParameterChange& changes);
    /** The controllers again, for a recorder: 0xb0, 0xd0 and 0xe0 as events. */
    void fillRecordEvents(EventList& list, const OperatorBuffers& buffers, double sampleRate);
    /** A note-off for every note that is still held, through receive. */
    void releaseHeldNotes();

    /** Reads the controller assignments of this bus from `mapping` (may be null). A channel
        ends at its first number without an assignment. Answers how many were mapped. */
    int32 updateMidiMapping(Qel::IMidiMapping* mapping);
    /** The program-change parameter of each channel, found through the units of the
        controller; -1 where there is none. */
    void updateProgramParams(Qel::IEditController* controller);

    int32 getBusIndex() const { return busIndex; }
    void setChannelFilter(int32 channel) { channelFilter = channel; }
    int32 getChannelFilter() const { return channelFilter; }
    bool isLegacyOutput() const { return legacyOutput; }
    void setLegacyOutput(bool state) { legacyOutput = state; }
    int32 getMappedParameter(int32 channel, int32 number) const;
    int32 getProgramParam(int32 channel) const;
    int32 getProgramCount(int32 channel) const;
    int32 getHeldNotes(int32 channel, int32 pitch) const;
    /** The lock of the queues; for tests that hold it as a MIDI thread would. */
    FLock& getLock() { return lock; }

private:
    struct Queue
    {
        std::unique_ptr<MidiMessage[]> items{new MidiMessage[kQueueCapacity]};
        int32 count = 0;
        void add(const MidiMessage& message)
        {
            if (count < kQueueCapacity)
                items[size_t(count++)] = message;
        }
    };

    Queue noteEvents;
    Queue controllerEvents;
    Queue recordControllerEvents;
    int32 busIndex;
    int32 programParams[kChannels];
    int32 programCounts[kChannels];
    // Allocated up front, so the audio thread may read any map without a test.
    std::unique_ptr<int32[]> controllerMaps[kChannels];
    int32 heldNotes[kChannels][128] = {};
    int32 channelFilter = -1;
    FLock lock{"QelEventInput"};
    bool legacyOutput;
};

} // namespace MiniEngine
} // namespace Quillmark
