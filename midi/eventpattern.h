// A step pattern of sixteen pitches and the player that turns it into notes, so a plug-in
// under test gets notes without any MIDI hardware. The user interface writes the pattern and
// the audio thread reads it, without a lock: a 32-bit store to one step cannot tear, and a
// half-replaced pattern only plays a few odd notes.
#pragma once

#include "midi/eventplayer.h"

#include <atomic>

namespace Quillmark
{

class EventPattern : public CmObject
{
public:
    static constexpr int32 kStepCount = 16;
    static constexpr int32 kLowestPitch = 36;
    static constexpr int32 kPitchRange = 37; // 36 to 72, the rows of the editor

    /** Starts with random pitches. */
    EventPattern();
    EventPattern(const EventPattern& other);
    EventPattern& operator=(const EventPattern& other);

    int32 getPitch(int32 step) const;
    void setPitch(int32 step, int32 pitch);
    int32 getStepLengthIndex() const { return stepLengthIndex.load(std::memory_order_relaxed); }
    void setStepLengthIndex(int32 index)
    {
        stepLengthIndex.store(index, std::memory_order_relaxed);
    }
    /** The step length in quarter notes: 4, 2, 1, 0.5, 0.25, 0.125 by index; 1 otherwise. */
    double getStepLength() const;

    /** Each pitch a random note from 36 to 72. */
    void randomize();
    /** Rising by semitones from the first step, which stays. */
    void chromatic();
    /** All pitches 0. */
    void clear();

    QEL_DECLARE_CLASS(EventPattern, CmObject)

private:
    std::atomic<int32> pitches[kStepCount];
    std::atomic<int32> stepLengthIndex{3};
};

class PatternPlayer : public EventPlayer
{
public:
    static constexpr float kVelocity = 0.75f;

    EventPattern& getPattern() { return pattern; }
    const EventPattern& getPattern() const { return pattern; }
    bool isActive() const { return active.load(std::memory_order_relaxed); }
    void setActive(bool state) { active.store(state, std::memory_order_relaxed); }
    int32 getCurrentStep() const { return currentStep; }
    double getNextStepPosition() const { return nextStep; }
    /** Starts over at `position` with the first step. */
    void reset(double position = 0.0);

    /** A note-on at every step that starts before `end`, and its note-off one step later.
        Steps advance whether or not the pattern is active, so switching it on keeps time. */
    void getEvents(double start, double end, Qel::IEventList* list) override;

    QEL_DECLARE_CLASS(PatternPlayer, EventPlayer)

private:
    double nextStep = 0.0;
    std::atomic<bool> active{true};
    EventPattern pattern;
    int32 stepCount = EventPattern::kStepCount;
    int32 currentStep = 0;
};

} // namespace Quillmark
