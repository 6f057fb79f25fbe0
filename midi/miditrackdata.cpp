#include "midi/miditrackdata.h"

#include <thread>

namespace Quillmark
{

namespace
{
bool channelMatches(const PMidiEvent* e, int32 channel)
{
    return channel < 0 || e->getChannel() == channel;
}

uint8 to7Bits(double value)
{
    return uint8(int32(value * 127.0) & 0x7F);
}
} // namespace

MidiTrackData::MidiTrackData(int32 trackIndex, int32 ticksPerQuarter)
    : ticksPerQuarter(ticksPerQuarter), trackIndex(trackIndex)
{
}

double MidiTrackData::positionOf(int64 tick) const
{
    int32 ticks = ticksPerQuarter > 0 ? ticksPerQuarter : kFallbackTicks;
    return double(tick) / double(ticks);
}

void MidiTrackData::noteLater(double position)
{
    if (position > lastPosition)
        lastPosition = position;
}

void MidiTrackData::append(PMidiEvent* event)
{
    noteLater(event->getTime());
    // Events arrive in time order as a rule, which costs one comparison here.
    events.insert(event);
}

void MidiTrackData::addEvent(int64 tick, uint8 status, uint8 data1, uint8 data2)
{
    auto* e = new PMidiEvent(status, data1, data2);
    e->setTime(positionOf(tick));
    append(e);
}

void MidiTrackData::addMidiEvent(const Qel::Event& event, double position)
{
    uint8 status = 0;
    int16 channel = 0;
    int16 pitch = 0;
    float velocity = 0;
    if (event.type == Qel::Event::kNoteOnEvent)
    {
        channel = event.noteOn.channel;
        pitch = event.noteOn.pitch;
        velocity = event.noteOn.velocity;
        status = velocity > 0 ? 0x90 : 0x80;
    }
    else if (event.type == Qel::Event::kNoteOffEvent)
    {
        channel = event.noteOff.channel;
        pitch = event.noteOff.pitch;
        velocity = event.noteOff.velocity;
        status = 0x80;
    }
    else
        return;
    auto* e = new PMidiEvent(uint8(status | (channel & 0x0F)), uint8(pitch & 0x7F),
                             uint8(int32(velocity * 127.0f) & 0x7F));
    e->setTime(position);
    append(e);
}

void MidiTrackData::addParameter(int32 channel, int32 controller, double value, double position)
{
    auto ch = uint8(channel & 0x0F);
    PMidiEvent* e = nullptr;
    if (controller >= 0 && controller < 128)
        e = new PMidiEvent(uint8(0xB0 | ch), uint8(controller), to7Bits(value));
    else if (controller == kChannelPressure)
        e = new PMidiEvent(uint8(0xD0 | ch), to7Bits(value), 0);
    else if (controller == kPitchBend)
    {
        auto n = int32(value * 16383.0 + 0.5);
        e = new PMidiEvent(uint8(0xE0 | ch), uint8(n & 0x7F), uint8((n >> 7) & 0x7F));
    }
    if (!e)
        return;
    e->setTime(position);
    append(e);
}

bool MidiTrackData::tryLock()
{
    return !busy.test_and_set(std::memory_order_acquire);
}

void MidiTrackData::unlock()
{
    busy.clear(std::memory_order_release);
}

void MidiTrackData::collectNotes(double start, double end, int32 channel, Qel::IEventList* list)
{
    if (isDisabled() || !tryLock())
        return;
    for (PEvent* p = events.getFirstEvent(); p && p->getTime() < end; p = p->getNextEvent())
    {
        auto* e = static_cast<PMidiEvent*>(p);
        if (e->getTime() < start || !channelMatches(e, channel))
            continue;
        Qel::Event out{};
        out.ppqPosition = e->getTime();
        uint8 type = e->getMessageType();
        auto ch = int16(e->getChannel());
        auto pitch = int16(e->getData1() & 0x7F);
        float velocity = float(e->getData2() * 0.007874016);
        if (type == 0x80 || (type == 0x90 && e->getData2() == 0))
        {
            out.type = Qel::Event::kNoteOffEvent;
            out.noteOff = {ch, pitch, type == 0x80 ? velocity : 0.0f, -1, 0.0f};
        }
        else if (type == 0x90)
        {
            out.type = Qel::Event::kNoteOnEvent;
            out.noteOn = {ch, pitch, 0.0f, velocity, 0, -1};
        }
        else if (type == 0xA0)
        {
            out.type = Qel::Event::kPolyPressureEvent;
            out.polyPressure = {ch, pitch, float((e->getData2() & 0x7F) * 0.007874016), -1};
        }
        else
            continue;
        list->addEvent(out);
    }
    unlock();
}

void MidiTrackData::collectControllers(double start, double end, int32 channel,
                                       Qel::IEventList* list)
{
    if (isDisabled() || !tryLock())
        return;
    // Blocks follow one another, so the walk goes on from where the last one stopped.
    PEvent* p = controllerCursor;
    if (!p || start <= 0)
        p = events.getFirstEvent();
    else
    {
        while (p && p->getTime() >= start)
            p = p->getPreviousEvent();
        if (!p)
            p = events.getFirstEvent();
        while (p && p->getTime() < start)
            p = p->getNextEvent();
    }
    for (; p; p = p->getNextEvent())
    {
        double t = p->getTime();
        bool inRange = (t >= start && t < end) || (start == end && t == start);
        if (t > end || (t == end && start != end))
            break;
        auto* e = static_cast<PMidiEvent*>(p);
        if (!inRange || !channelMatches(e, channel))
            continue;
        Qel::Event out{};
        out.type = Qel::Event::kLegacyMIDICCOutEvent;
        out.ppqPosition = t;
        out.midiCCOut.channel = int8(e->getChannel());
        switch (e->getMessageType())
        {
        case 0xB0:
            out.midiCCOut.controlNumber = e->getData1() & 0x7F;
            out.midiCCOut.value = int8(e->getData2() & 0x7F);
            break;
        case 0xC0:
            out.midiCCOut.controlNumber = kProgramChange;
            out.midiCCOut.value = int8(e->getData1() & 0x7F);
            break;
        case 0xD0:
            out.midiCCOut.controlNumber = kChannelPressure;
            out.midiCCOut.value = int8(e->getData1() & 0x7F);
            break;
        case 0xE0:
            out.midiCCOut.controlNumber = kPitchBend;
            out.midiCCOut.value = int8(e->getData1() & 0x7F);
            out.midiCCOut.value2 = int8(e->getData2() & 0x7F);
            break;
        default:
            continue;
        }
        list->addEvent(out);
    }
    controllerCursor = static_cast<PMidiEvent*>(p ? p : events.getLastEvent());
    unlock();
}

void MidiTrackData::clear()
{
    while (!tryLock())
        std::this_thread::yield();
    controllerCursor = nullptr;
    events.removeAll();
    lastPosition = 0.0;
    unlock();
}

} // namespace Quillmark
