// Events that travel with a block of audio: notes, pressure, note expressions and the
// controller output of older plug-ins, and the list that carries them into and out of process.
#pragma once

#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

struct NoteOnEvent
{
    int16 channel;
    int16 pitch;    // 0 to 127
    float tuning;   // cents
    float velocity; // 0 to 1
    int32 length;   // in samples, 0 when unknown
    int32 noteId;   // -1 when the host gives none
};

struct NoteOffEvent
{
    int16 channel;
    int16 pitch;
    float velocity;
    int32 noteId;
    float tuning;
};

struct DataEvent
{
    uint32 size;
    uint32 type;
    const uint8* bytes;
};

struct PolyPressureEvent
{
    int16 channel;
    int16 pitch;
    float pressure;
    int32 noteId;
};

struct NoteExpressionValueEvent
{
    NoteExpressionTypeID typeId;
    int32 noteId;
    NoteExpressionValue value;
};

struct LegacyMIDICCOutEvent
{
    uint8 controlNumber;
    int8 channel;
    int8 value;
    int8 value2;
};

/** One event of a block. */
struct Event
{
    enum EventFlags : uint16
    {
        kIsLive = 1 << 0,
    };
    enum EventTypes : uint16
    {
        kNoteOnEvent = 0,
        kNoteOffEvent = 1,
        kDataEvent = 2,
        kPolyPressureEvent = 3,
        kNoteExpressionValueEvent = 4,
        kLegacyMIDICCOutEvent = 0xFFFF,
    };

    int32 busIndex;
    int32 sampleOffset;
    TQuarterNotes ppqPosition;
    uint16 flags;
    uint16 type;
    union
    {
        NoteOnEvent noteOn;
        NoteOffEvent noteOff;
        DataEvent data;
        PolyPressureEvent polyPressure;
        NoteExpressionValueEvent noteExpressionValue;
        LegacyMIDICCOutEvent midiCCOut;
    };
};

static_assert(sizeof(NoteOnEvent) == 20);
static_assert(sizeof(Event) == 48);
static_assert(offsetof(Event, busIndex) == 0);
static_assert(offsetof(Event, sampleOffset) == 4);
static_assert(offsetof(Event, ppqPosition) == 8);
static_assert(offsetof(Event, flags) == 16);
static_assert(offsetof(Event, type) == 18);
static_assert(offsetof(Event, noteOn) == 24);

class IEventList : public FUnknown
{
public:
    virtual int32 getEventCount() = 0;
    virtual tresult getEvent(int32 index, Event& e) = 0;
    virtual tresult addEvent(Event& e) = 0;

    QEL_INTERFACE_IID(0x3A2C4214, 0x346349FE, 0xB2C4F397, 0xB9695A44);
};

} // namespace Qel
} // namespace Quillmark
