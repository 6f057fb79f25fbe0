#include "midi/eventpattern.h"

#include "base/hostrand.h"

namespace Quillmark
{

EventPattern::EventPattern()
{
    randomize();
}

EventPattern::EventPattern(const EventPattern& other) : CmObject(other)
{
    *this = other;
}

EventPattern& EventPattern::operator=(const EventPattern& other)
{
    for (int32 i = 0; i < kStepCount; ++i)
        setPitch(i, other.getPitch(i));
    setStepLengthIndex(other.getStepLengthIndex());
    return *this;
}

int32 EventPattern::getPitch(int32 step) const
{
    return pitches[step % kStepCount].load(std::memory_order_relaxed);
}

void EventPattern::setPitch(int32 step, int32 pitch)
{
    pitches[step % kStepCount].store(pitch, std::memory_order_relaxed);
}

double EventPattern::getStepLength() const
{
    switch (getStepLengthIndex())
    {
    case 0:
        return 4.0;
    case 1:
        return 2.0;
    case 3:
        return 0.5;
    case 4:
        return 0.25;
    case 5:
        return 0.125;
    default:
        return 1.0;
    }
}

void EventPattern::randomize()
{
    for (int32 i = 0; i < kStepCount; ++i)
        setPitch(i, hostRand() % kPitchRange + kLowestPitch);
}

void EventPattern::chromatic()
{
    int32 first = getPitch(0);
    for (int32 i = 1; i < kStepCount; ++i)
        setPitch(i, first + i);
}

void EventPattern::clear()
{
    for (int32 i = 0; i < kStepCount; ++i)
        setPitch(i, 0);
}

void PatternPlayer::reset(double position)
{
    nextStep = position;
    currentStep = 0;
}

void PatternPlayer::getEvents(double start, double end, Qel::IEventList* list)
{
    double length = pattern.getStepLength();
    while (nextStep < end)
    {
        if (isActive())
        {
            auto pitch = int16(pattern.getPitch(currentStep));
            Qel::Event on{};
            on.type = Qel::Event::kNoteOnEvent;
            on.ppqPosition = nextStep;
            on.noteOn = {0, pitch, 0.0f, kVelocity, 0, currentStep};
            list->addEvent(on);
            Qel::Event off{};
            off.type = Qel::Event::kNoteOffEvent;
            off.ppqPosition = nextStep + length;
            off.noteOff = {0, pitch, 0.0f, currentStep, 0.0f};
            list->addEvent(off);
        }
        nextStep += length;
        currentStep = (currentStep + 1) % stepCount;
    }
}

} // namespace Quillmark
