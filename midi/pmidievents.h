// The kinds of timed events beside plain MIDI messages: system exclusive data, text, raw
// meta events, notation marks, chords and note changes. Each copies itself with clone().
#pragma once

#include "base/fstring.h"
#include "midi/pevent.h"

#include <vector>

namespace Quillmark
{

class FAttributes;
class IBStream;

/** A growing byte buffer for system exclusive data, shared by the events that carry it. */
class PSysexChunk : public CmObject
{
public:
    static constexpr size_t kGrowthStep = 32;

    const uint8* data() const { return bytes.data(); }
    int32 size() const { return int32(bytes.size()); }
    void clear() { bytes.clear(); }
    void append(uint8 byte) { append(&byte, 1); }
    void append(const uint8* data, int32 count);

    /** Binary form: 32-bit size, a 32-bit word kept for later use, the bytes. */
    bool write(IBStream* stream) const;
    bool read(IBStream* stream);
    /** Writes the buffer as chunk 0. */
    void store(FAttributes& attributes) const;
    /** Appends every numbered chunk that "ChunkCounter" announces, so files written with
        several chunks merge into one buffer. */
    void restore(const FAttributes& attributes);

    QEL_DECLARE_CLASS(PSysexChunk, CmObject)

private:
    std::vector<uint8> bytes;
};

class PSysexEvent : public PMidiEvent
{
public:
    PSysexEvent() : PMidiEvent(0xF0, 0, 0) {}
    PSysexEvent(const PSysexEvent& other);
    ~PSysexEvent() override;
    PEvent* clone() const override { return new PSysexEvent(*this); }

    /** Copies up to and including the first 0xF7; the caller guarantees there is one. */
    void setData(const uint8* bytes);
    void append(uint8 byte);
    void append(const uint8* bytes, int32 count);
    /** The shared buffer, or null before any data. */
    PSysexChunk* getChunk() const { return chunk; }
    const uint8* getBytes() const { return chunk ? chunk->data() : nullptr; }
    int32 getSize() const { return chunk ? chunk->size() : 0; }

    QEL_DECLARE_CLASS(PSysexEvent, PMidiEvent)

private:
    PSysexChunk* makeChunk();
    PSysexChunk* chunk = nullptr;
};

/** Events whose content is text. */
class PMidiStringBase : public PMidiEvent
{
public:
    using PMidiEvent::PMidiEvent;
    virtual int32 getStringCount() const = 0;
    virtual const String* getString(int32 index) const = 0;

    QEL_DECLARE_CLASS(PMidiStringBase, PMidiEvent)
};

class PMidiString : public PMidiStringBase
{
public:
    using PMidiStringBase::PMidiStringBase;
    PEvent* clone() const override { return new PMidiString(*this); }
    int32 getStringCount() const override { return int32(strings.size()); }
    const String* getString(int32 index) const override
    {
        return index >= 0 && index < getStringCount() ? &strings[size_t(index)] : nullptr;
    }
    void addString(const ConstString& text) { strings.emplace_back(text); }

    QEL_DECLARE_CLASS(PMidiString, PMidiStringBase)

private:
    std::vector<String> strings;
};

/** A meta event of a file, kept as its type and bytes. */
class PSmfEvent : public PEvent
{
public:
    PSmfEvent(uint8 type = 0, const uint8* data = nullptr, int32 size = 0);
    PEvent* clone() const override { return new PSmfEvent(*this); }
    uint8 getType() const { return type; }
    const std::vector<uint8>& getData() const { return bytes; }

    QEL_DECLARE_CLASS(PSmfEvent, PEvent)

private:
    uint8 type;
    std::vector<uint8> bytes;
};

/** A gradual change of loudness between two levels. */
class PCrescendo : public PMidiEvent
{
public:
    using PMidiEvent::PMidiEvent;
    PEvent* clone() const override { return new PCrescendo(*this); }

    double startPosition = 0.0;
    double endPosition = 0.0;
    int32 startLevel = 100;
    int32 endLevel = 100;

    QEL_DECLARE_CLASS(PCrescendo, PMidiEvent)
};

/** A loudness mark; made with a default strength in the byte its message type uses. */
class PDynamic : public PMidiEvent
{
public:
    explicit PDynamic(uint8 status = 0xB0);
    PEvent* clone() const override { return new PDynamic(*this); }

    double position = 0.0;
    double amount = 0.0;
    int32 level = 0;

    QEL_DECLARE_CLASS(PDynamic, PMidiEvent)
};

class PDirection : public PMidiEvent
{
public:
    using PMidiEvent::PMidiEvent;
    PEvent* clone() const override { return new PDirection(*this); }
    QEL_DECLARE_CLASS(PDirection, PMidiEvent)
};

/** A syllable of lyrics: not a MIDI message, though it travels with the channel's events. */
class PLyric : public PMidiEvent
{
public:
    PLyric() : PMidiEvent(0x20, 0, 0) { flags &= ~kMidiFlag; }
    PEvent* clone() const override { return new PLyric(*this); }
    bool isChannelMessage() const override { return true; }
    QEL_DECLARE_CLASS(PLyric, PMidiEvent)
};

class PChordEvent : public PEvent
{
public:
    PChordEvent() = default;
    PChordEvent(const PChordEvent& other);
    ~PChordEvent() override;
    PEvent* clone() const override { return new PChordEvent(*this); }
    FUnknown* getChord() const { return chord; }
    void setChord(FUnknown* c);

    QEL_DECLARE_CLASS(PChordEvent, PEvent)

private:
    FUnknown* chord = nullptr;
};

/** A change of a note's sound, turned into the MIDI message that carries it. */
class PNoteChangeEvent : public PMidiEvent
{
public:
    enum Kind : int32
    {
        kVolume = 0,    // controller 7
        kPan = 1,       // controller 10
        kPitchBend = 2, // pitch bend message
        kModulation = 3,
        kExpression = 4,
        kTimbre = 5,
        // any other kind is the controller of that number
    };

    PNoteChangeEvent(int32 kind = kVolume, double value = 0.0, uint8 changeStatus = 0);
    PEvent* clone() const override { return new PNoteChangeEvent(*this); }

    int32 getKind() const { return kind; }
    double getValue() const { return value; }
    void setValue(double v) { value = v; }
    uint8 getChangeStatus() const { return changeStatus; }

    /** Writes `value` (0 to 1) into status and data bytes; false for a status that carries
        no value. The channel of the event stays. */
    bool applyChange() override;

    QEL_DECLARE_CLASS(PNoteChangeEvent, PMidiEvent)

private:
    int32 kind;
    double value;
    uint8 changeStatus;
};

/** What a notation program knows about a note beside its MIDI bytes. */
class NoteContextInfo : public CmObject
{
public:
    uint8 bytes[7] = {0, 0, 0xFF, 0, 0xFF, 0, 0};
    uint16 word = 0;
    uint64 wide = 0;
    String text;

    /** Binary form: bytes 0, 1, 2 and 5, the 16-bit and the 64-bit value; no text. */
    bool write(IBStream* stream) const;
    bool read(IBStream* stream);

    QEL_DECLARE_CLASS(NoteContextInfo, CmObject)
};

} // namespace Quillmark
