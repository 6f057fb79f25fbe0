// One track of a song as the host plays it: MIDI events in the order read, with positions in
// quarter notes. The user interface fills and clears it; the audio thread reads it under a
// try-lock and gives up a block rather than wait.
#pragma once

#include "base/fstring.h"
#include "midi/peventqueue.h"

#include "qel3/ievents.h"

#include <atomic>

namespace Quillmark
{

class MidiTrackData : public CmObject
{
public:
    /** Controller numbers of the events collectControllers hands out, beside 0 to 127. */
    enum ControllerNumbers : uint8
    {
        kChannelPressure = 128,
        kPitchBend = 129,
        kProgramChange = 130,
    };
    /** Positions use this when the file gives no usable resolution. */
    static constexpr int32 kFallbackTicks = 480;

    explicit MidiTrackData(int32 trackIndex = 0, int32 ticksPerQuarter = -1);

    int32 getTrackIndex() const { return trackIndex; }
    int32 getTicksPerQuarter() const { return ticksPerQuarter; }
    void setTicksPerQuarter(int32 ticks) { ticksPerQuarter = ticks; }
    const String& getName() const { return name; }
    void setName(const String& n) { name = n; }
    bool isDisabled() const { return disabled.load(); }
    void setDisabled(bool state) { disabled.store(state); }
    /** The position of the latest event, in quarter notes. Whoever fills the track hands it
        on to the tempo track as the song's length. */
    double getLastPosition() const { return lastPosition; }
    const PEventQueue& getEvents() const { return events; }
    int32 getEventCount() const { return events.count(); }

    /** Appends a message read from a file at `tick`. */
    void addEvent(int64 tick, uint8 status, uint8 data1, uint8 data2);
    /** Appends a note-on or note-off of a plug-in event; other kinds are not recorded. */
    void addMidiEvent(const Qel::Event& event, double position);
    /** Appends a controller value (0 to 1): 0-127 a control change, 128 channel pressure,
        129 pitch bend. */
    void addParameter(int32 channel, int32 controller, double value, double position);
    /** Takes an event that already has its position, behind those not later. */
    void append(PMidiEvent* event);

    // Read by the audio thread; a busy or disabled track gives nothing this block.
    /** Note-ons, note-offs and polyphonic pressure with time in [start, end), on `channel`
        or on every channel when it is negative. */
    void collectNotes(double start, double end, int32 channel, Qel::IEventList* list);
    /** Controllers, programs, channel pressure and pitch bend in [start, end), or exactly at
        `start` when the range is empty; as LegacyMIDICCOutEvent. */
    void collectControllers(double start, double end, int32 channel, Qel::IEventList* list);

    /** Empties the track, waiting for the audio thread to leave it. */
    void clear();

    /** Never blocks; pair a true result with unlock(). */
    bool tryLock();
    void unlock();

    QEL_DECLARE_CLASS(MidiTrackData, CmObject)

private:
    double positionOf(int64 tick) const;
    void noteLater(double position);

    PEventQueue events{PEventQueue::kOwning};
    PMidiEvent* controllerCursor = nullptr;
    int32 ticksPerQuarter;
    String name;
    double lastPosition = 0.0;
    std::atomic<bool> disabled{false};
    int32 trackIndex;
    std::atomic_flag busy = ATOMIC_FLAG_INIT;
};

} // namespace Quillmark
