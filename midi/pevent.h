// The timed event that everything the host plays or records is made of: a list node with a
// position and a length in quarter notes, independent of any file's resolution. An event is
// reference counted; a queue that holds it in owning mode holds its one reference.
#pragma once

#include "base/cmidlink.h"
#include "qelhost/iplaybackobject.h"

namespace Quillmark
{

class PEvent : public CmIDLink, public IPlaybackObject
{
public:
    enum Flags : uint16
    {
        kMidiFlag = 0x0004,      // set in every MIDI event that is a real message
        kKeepNoteIdFlag = 0x2000 // a copy keeps the source's note identity
    };
    static constexpr double kNoTime = -1.0;

    PEvent() = default;
    PEvent(const PEvent& other);
    PEvent& operator=(const PEvent&) = delete;
    ~PEvent() override;

    /** A new event of the same class with the same content and one reference. */
    virtual PEvent* clone() const { return new PEvent(*this); }

    virtual void setTime(double t) { time = t; }
    virtual double getTime() const { return time; }
    virtual void setLength(double l) { length = l; }
    virtual double getLength() const { return length; }
    /** The length becomes the distance to `end`, never negative. */
    virtual void setEnd(double end);
    virtual double getEnd() const { return time + length; }
    virtual void setOffset(double o) { offset = o; }
    virtual double getOffset() const { return offset; }
    /** Moves the start by `delta` and keeps the end where it is. */
    virtual void moveStart(double delta);
    /** Takes `delta` off the length, never below 0. */
    virtual void shorten(double delta);

    uint16 getFlags() const { return flags; }
    void setFlags(uint16 f) { flags = f; }
    bool hasFlag(uint16 f) const { return (flags & f) != 0; }
    void setFlag(uint16 f, bool state) { flags = state ? (flags | f) : (flags & ~f); }

    uint64 getEventContext() const { return context; }
    void setEventContext(uint64 c) { context = c; }
    FUnknown* getOwner() const { return owner; }
    void setOwner(FUnknown* o) { owner = o; }
    FUnknown* getTarget() const { return target; }
    void setTarget(FUnknown* t);
    int32 getMark() const { return mark; }
    void setMark(int32 m) { mark = m; }
    int32 getMarkB() const { return markB; }
    void setMarkB(int32 m) { markB = m; }
    int32 getExtra() const { return extra; }
    void setExtra(int32 e) { extra = e; }

    PEvent* getNextEvent() const { return static_cast<PEvent*>(getNext()); }
    PEvent* getPreviousEvent() const { return static_cast<PEvent*>(getPrevious()); }

    // FUnknown, answered once for both bases.
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return CmIDLink::addRef(); }
    uint32 release() override { return CmIDLink::release(); }

    // IPlaybackObject
    FUnknown* getContext(const TUID iid) override;
    IPlaybackObject* getNextPlayback() override { return getNextEvent(); }
    double getStart() override { return time; }
    double getLength() override { return length; }
    double getEnd() override { return time + length; }
    double getOffset() override { return offset; }

    QEL_DECLARE_CLASS(PEvent, CmIDLink)

protected:
    uint16 flags = 0;

private:
    uint64 context = 0;
    FUnknown* owner = nullptr;
    FUnknown* target = nullptr;
    int32 mark = 0;
    int32 markB = 0;
    double time = kNoTime;
    double length = 0.0;
    double offset = 0.0;
    int32 extra = 0;
};

/** A MIDI message at a position. Events made in volume come from a block pool. */
class PMidiEvent : public PEvent
{
public:
    PMidiEvent();
    PMidiEvent(uint8 status, uint8 data1, uint8 data2);
    PMidiEvent(const PMidiEvent& other);
    ~PMidiEvent() override;

    PEvent* clone() const override { return new PMidiEvent(*this); }

    uint8 getStatus() const { return status; }
    /** A status that turns the event into a note-off drops the note-on's partner. */
    void setStatus(uint8 s);
    uint8 getData1() const { return data1; }
    void setData1(uint8 d) { data1 = d; }
    uint8 getData2() const { return data2; }
    void setData2(uint8 d) { data2 = d; }
    uint8 getData3() const { return data3; }
    void setData3(uint8 d) { data3 = d; }
    void set(uint8 s, uint8 d1, uint8 d2)
    {
        setStatus(s);
        data1 = d1;
        data2 = d2;
    }

    int32 getNoteId() const { return noteId; }
    void setNoteId(int32 id) { noteId = id; }

    /** The status without its channel; system messages (0xF0 to 0xFF) stay whole. */
    uint8 getMessageType() const { return status >= 0xF0 ? status : uint8(status & 0xF0); }
    uint8 getChannel() const { return status & 0x0F; }
    bool isNoteOn() const { return getMessageType() == 0x90 && data2 > 0; }
    /** A note-on with velocity 0 is a note-off, as senders use it that way. */
    bool isNoteOff() const
    {
        return getMessageType() == 0x80 || (getMessageType() == 0x90 && data2 == 0);
    }
    virtual bool isChannelMessage() const { return getMessageType() >= 0x80; }
    /** A key that groups events which replace one another: status, and the controller or
        pitch for controllers and polyphonic pressure. */
    virtual uint32 getMessageKey() const;
    /** Only note-change events turn a value into a message; others refuse. */
    virtual bool applyChange() { return false; }

    PMidiEvent* getNoteOffPartner() const { return noteOffPartner; }
    void setNoteOffPartner(PMidiEvent* partner);
    FUnknown* getAttachment() const { return attachment; }
    void setAttachment(FUnknown* a);

    /** The number the next new MIDI event takes as its note id. */
    static int32 peekNextNoteId();

    // The pool serves exactly this class's size; subclasses fall through to the heap.
    static void* operator new(size_t size);
    static void operator delete(void* p, size_t size);

    QEL_DECLARE_CLASS(PMidiEvent, PEvent)

protected:
    uint8 status = 0;
    uint8 data1 = 0;
    uint8 data2 = 0;
    uint8 data3 = 0;

private:
    int32 noteId;
    PMidiEvent* noteOffPartner = nullptr;
    uint64 reserved = 0;
    FUnknown* attachment = nullptr;
};

/** A tempo change: seconds per quarter note from its position on. */
class TempoChangeEvent : public PEvent
{
public:
    explicit TempoChangeEvent(float secondsPerQuarter = 0.5f) : secondsPerQuarter(secondsPerQuarter)
    {
    }
    PEvent* clone() const override { return new TempoChangeEvent(*this); }
    float getSecondsPerQuarter() const { return secondsPerQuarter; }
    void setSecondsPerQuarter(float s) { secondsPerQuarter = s; }
    /** Beats per minute, 0 for a change without a duration. */
    double getBpm() const { return secondsPerQuarter > 0 ? 60.0 / secondsPerQuarter : 0.0; }

    QEL_DECLARE_CLASS(TempoChangeEvent, PEvent)

private:
    float secondsPerQuarter;
};

class SignatureChangeEvent : public PEvent
{
public:
    SignatureChangeEvent(int32 numerator = 4, int32 denominator = 4)
        : numerator(numerator), denominator(denominator)
    {
    }
    PEvent* clone() const override { return new SignatureChangeEvent(*this); }
    int32 getNumerator() const { return numerator; }
    int32 getDenominator() const { return denominator; }

    QEL_DECLARE_CLASS(SignatureChangeEvent, PEvent)

private:
    int32 numerator;
    int32 denominator;
};

} // namespace Quillmark
