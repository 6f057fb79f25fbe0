// How a MIDI message from a port becomes an event or a parameter value of a plug-in: the
// status-to-event table and the fixed scale factors. Kept apart from the queue that collects
// the messages, so that both the block path and the recorder convert in one way.
#pragma once

#include "qel3/ievents.h"
#include "qelhost/iaudiooperator.h"

namespace Quillmark
{
namespace MiniEngine
{

/** What the conversion reads of a received MIDI event. */
struct MidiMessage
{
    uint8 status = 0; // with the channel in the low nibble below 0xf0
    uint8 data1 = 0;
    uint8 data2 = 0;
    bool live = false;      // played now, not at `time`
    bool hasDetune = false; // `detune` counts
    float detune = 0.0f;    // cents
    double time = 0.0;      // the event's position
    double length = 0.0;    // the event's duration, in the unit of `time`
    int32 noteId = -1;
};

namespace MidiScale
{
/** Controller and channel pressure values: data × 1/127, computed in float. */
inline float controller(uint8 value)
{
    return float(value) * 0.007874016f;
}
/** Program changes: data1 × 1/127 in double. */
inline double program(uint8 data1)
{
    return data1 * 0.007874015748031496;
}
/** Pitch bend: the 14-bit value × 1/16383. */
inline double pitchBend(uint8 data1, uint8 data2)
{
    return double(((data2 & 0x7f) << 7) | (data1 & 0x7f)) * 6.103888176768602e-05;
}
} // namespace MidiScale

/** The kind of a status byte: the high nibble, or the whole byte from 0xf0 up. */
inline uint8 messageType(uint8 status)
{
    return status >= 0xf0 ? status : uint8(status & 0xf0);
}

/** Fills `event` for the plug-in's event bus `busIndex`; false when the message has no event
    form (a program change without `legacyOutput`, or any other status). A timed message lands
    at its sample in the block, limited to the block; a live one at its start. */
bool convertMidiMessage(const MidiMessage& message, int32 busIndex, bool legacyOutput,
                        const OperatorBuffers& buffers, double sampleRate, Qel::Event& event);

} // namespace MiniEngine
} // namespace Quillmark
