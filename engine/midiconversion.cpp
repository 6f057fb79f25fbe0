#include "engine/midiconversion.h"

#include <cstring>

namespace Quillmark
{
namespace MiniEngine
{

using Qel::Event;

namespace
{

void legacy(Event& event, uint8 controlNumber, uint8 channel, uint8 value, uint8 value2 = 0)
{
    event.type = Event::kLegacyMIDICCOutEvent;
    event.midiCCOut.controlNumber = controlNumber;
    event.midiCCOut.channel = int8(channel);
    event.midiCCOut.value = int8(value);
    event.midiCCOut.value2 = int8(value2);
}

/** The recorder reads controllers, pressure and bend as note-ons by this convention. */
void asNoteOn(Event& event, uint8 channel, int16 pitch, float velocity)
{
    event.type = Event::kNoteOnEvent;
    event.noteOn.channel = channel;
    event.noteOn.pitch = pitch;
    event.noteOn.velocity = velocity;
    event.noteOn.noteId = -1;
}

} // namespace

bool convertMidiMessage(const MidiMessage& message, int32 busIndex, bool legacyOutput,
                        const OperatorBuffers& buffers, double sampleRate, Event& event)
{
    std::memset(&event, 0, sizeof event);
    event.busIndex = busIndex;
    event.flags = message.live ? uint16(Event::kIsLive) : uint16(0);
    const Qel::ProcessContext* context = buffers.context;
    const double tempo = context && context->tempo > 0.0 ? context->tempo : 120.0;
    if (message.live)
    {
        event.sampleOffset = 0;
        event.ppqPosition = buffers.blockStartMusic;
    }
    else
    {
        const double projectTime = context ? double(context->projectTimeSamples) : 0.0;
        const double offset = message.time * sampleRate - projectTime;
        const int32 last = buffers.numSamples > 0 ? buffers.numSamples - 1 : 0;
        event.sampleOffset = offset <= 0.0 ? 0 : offset >= double(last) ? last : int32(offset);
        event.ppqPosition = message.time * 60.0 / tempo;
    }

    const uint8 channel = message.status & 0x0f;
    const uint8 type = messageType(message.status);
    const bool noteOn = type == 0x90 && message.data2 > 0;
    switch (type)
    {
    case 0x90:
        if (noteOn)
        {
            event.type = Event::kNoteOnEvent;
            event.noteOn.channel = channel;
            event.noteOn.pitch = message.data1;
            event.noteOn.tuning = message.hasDetune ? message.detune : 0.0f;
            event.noteOn.velocity = float(message.data2) / 127.0f;
            event.noteOn.length = int32(message.length * sampleRate);
            event.noteOn.noteId = message.noteId;
            return true;
        }
        [[fallthrough]]; // a note-on with velocity 0 ends the note
    case 0x80:
        event.type = Event::kNoteOffEvent;
        event.noteOff.channel = channel;
        event.noteOff.pitch = message.data1;
        event.noteOff.velocity = float(message.data2) / 127.0f;
        event.noteOff.noteId = message.noteId;
        event.noteOff.tuning = 0.0f;
        return true;
    case 0xa0:
        if (legacyOutput)
            legacy(event, 0x83, channel, message.data1, message.data2);
        else
        {
            event.type = Event::kPolyPressureEvent;
            event.polyPressure.channel = channel;
            event.polyPressure.pitch = message.data1;
            event.polyPressure.pressure = float(message.data2) / 127.0f;
            event.polyPressure.noteId = -1;
        }
        return true;
    case 0xb0:
        if (legacyOutput)
            legacy(event, message.data1, channel, message.data2);
        else
            asNoteOn(event, channel, message.data1, float(message.data2) / 127.0f);
        return true;
    case 0xc0:
        if (!legacyOutput)
            return false;
        legacy(event, 0x82, channel, message.data1);
        return true;
    case 0xd0:
        if (legacyOutput)
            legacy(event, 0x80, channel, message.data1);
        else
            asNoteOn(event, channel, 0x80, float(message.data1) / 127.0f);
        return true;
    case 0xe0:
        if (legacyOutput)
            legacy(event, 0x81, channel, message.data1, message.data2);
        else
            asNoteOn(event, channel, 0x81,
                     float(double(((message.data2 & 0x7f) << 7) | (message.data1 & 0x7f)) *
                           6.103888e-05));
        return true;
    default:
        return false;
    }
}

} // namespace MiniEngine
} // namespace Quillmark
