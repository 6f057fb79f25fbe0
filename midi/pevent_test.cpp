#include "midi/pevent.h"
#include "midi/peventpool.h"
#include "midi/peventqueue.h"
#include "midi/pmidievents.h"

#include "base/fattributes.h"
#include "base/fstreams.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Quillmark;

namespace
{

PMidiEvent* noteAt(double time, uint8 pitch)
{
    auto* e = new PMidiEvent(0x90, pitch, 100);
    e->setTime(time);
    return e;
}

std::vector<int> pitches(const PEventQueue& queue)
{
    std::vector<int> out;
    PEventQueueIterator it(queue);
    for (PEvent* e = it.first(); e; e = it.next())
        out.push_back(static_cast<PMidiEvent*>(e)->getData1());
    return out;
}

} // namespace

TEST(PEvent, TimeArithmetic)
{
    PEvent e;
    EXPECT_EQ(e.getTime(), -1.0);
    e.setTime(2.0);
    e.setLength(1.0);
    EXPECT_EQ(e.getEnd(), 3.0);
    e.setEnd(1.5); // before the start: no negative length
    EXPECT_EQ(e.getLength(), 0.0);
    e.setEnd(4.25);
    EXPECT_EQ(e.getLength(), 2.25);

    e.setOffset(0.5);
    e.moveStart(0.25);
    EXPECT_EQ(e.getTime(), 2.25);
    EXPECT_EQ(e.getEnd(), 4.25);
    EXPECT_EQ(e.getOffset(), 0.75);
    e.shorten(10.0);
    EXPECT_EQ(e.getLength(), 0.0);

    // The same numbers through the playback interface.
    IPlaybackObject* playback = nullptr;
    ASSERT_EQ(e.queryInterface(IPlaybackObject::iid.bytes, reinterpret_cast<void**>(&playback)),
              kResultOk);
    EXPECT_EQ(playback->getStart(), 2.25);
    EXPECT_EQ(playback->getEnd(), 2.25);
    playback->release();
}

TEST(PEvent, CopyKeepsContextAndTargetButClearsMark)
{
    auto* target = new CmObject;
    PEvent e;
    e.setEventContext(77);
    e.setTarget(target);
    e.setMark(5);
    e.setMarkB(6);
    e.setTime(1.0);
    PEvent* copy = e.clone();
    EXPECT_EQ(copy->getEventContext(), 77u);
    EXPECT_EQ(copy->getTarget(), target);
    EXPECT_EQ(copy->getMark(), 0);
    EXPECT_EQ(copy->getMarkB(), 6);
    EXPECT_EQ(copy->getTime(), 1.0);
    EXPECT_EQ(target->getRefCount(), 3);
    copy->release();
    EXPECT_EQ(target->getRefCount(), 2);
    e.setTarget(nullptr);
    target->release();
}

TEST(PMidiEvent, MessageClassification)
{
    PMidiEvent on(0x93, 60, 100), zeroOn(0x93, 60, 0), off(0x83, 60, 64);
    EXPECT_TRUE(on.isNoteOn());
    EXPECT_FALSE(on.isNoteOff());
    EXPECT_TRUE(zeroOn.isNoteOff());
    EXPECT_FALSE(zeroOn.isNoteOn());
    EXPECT_TRUE(off.isNoteOff());
    EXPECT_EQ(on.getMessageType(), 0x90);
    EXPECT_EQ(on.getChannel(), 3);
    EXPECT_TRUE(on.hasFlag(PEvent::kMidiFlag));

    PMidiEvent clock(0xF8, 0, 0);
    EXPECT_EQ(clock.getMessageType(), 0xF8);
    EXPECT_TRUE(clock.isChannelMessage());
    PMidiEvent text(0x20, 0, 0);
    EXPECT_FALSE(text.isChannelMessage());
    PLyric lyric;
    EXPECT_TRUE(lyric.isChannelMessage());
    EXPECT_FALSE(lyric.hasFlag(PEvent::kMidiFlag));

    // Notes replace one another by status alone; controllers and pressure per number.
    EXPECT_EQ(on.getMessageKey(), PMidiEvent(0x93, 72, 1).getMessageKey());
    EXPECT_EQ(on.getMessageKey(), 0x93000000u);
    EXPECT_EQ(PMidiEvent(0xB1, 7, 0).getMessageKey(), 0xB1000007u);
    EXPECT_EQ(PMidiEvent(0xA1, 60, 0).getMessageKey(), 0xA100003Cu);
    EXPECT_NE(PMidiEvent(0xB1, 7, 0).getMessageKey(), PMidiEvent(0xB1, 10, 0).getMessageKey());
}

TEST(PMidiEvent, NoteIdsAndPartnersOnCopy)
{
    int32 next = PMidiEvent::peekNextNoteId();
    auto* on = new PMidiEvent(0x90, 60, 100);
    EXPECT_EQ(on->getNoteId(), next);
    auto* off = new PMidiEvent(0x80, 60, 0);
    EXPECT_EQ(off->getNoteId(), next + 1);
    on->setNoteOffPartner(off);

    auto* copy = static_cast<PMidiEvent*>(on->clone());
    EXPECT_EQ(copy->getNoteId(), next + 2);
    EXPECT_EQ(copy->getNoteOffPartner(), off);

    on->setFlag(PEvent::kKeepNoteIdFlag, true);
    auto* same = static_cast<PMidiEvent*>(on->clone());
    EXPECT_EQ(same->getNoteId(), on->getNoteId());

    // A note-on of velocity 0 is a note-off: its copy carries no partner.
    auto* silent = new PMidiEvent(0x90, 60, 0);
    silent->setNoteOffPartner(off);
    auto* silentCopy = static_cast<PMidiEvent*>(silent->clone());
    EXPECT_EQ(silentCopy->getNoteOffPartner(), nullptr);

    // Turning a note-on into a note-off later drops the partner too.
    copy->setStatus(0x81);
    EXPECT_EQ(copy->getNoteOffPartner(), nullptr);
    EXPECT_EQ(off->getRefCount(), 4); // off itself, on, same, silent

    for (PMidiEvent* e : {on, copy, same, silent, silentCopy, off})
        e->release();
}

TEST(PMidiEvent, PlainEventsComeFromThePoolAndReturnToIt)
{
    size_t before = MidiEventPool::blocksInUse();
    std::vector<PMidiEvent*> events;
    for (int i = 0; i < 1000; ++i)
        events.push_back(new PMidiEvent(0x90, uint8(i & 0x7F), 1));
    EXPECT_EQ(MidiEventPool::blocksInUse(), before + 1000);
    // Larger subclasses do not fit a block and go to the heap.
    auto* sysex = new PSysexEvent;
    EXPECT_EQ(MidiEventPool::blocksInUse(), before + 1000);
    sysex->release();
    for (PMidiEvent* e : events)
        e->release();
    EXPECT_EQ(MidiEventPool::blocksInUse(), before);
}

TEST(PEventQueue, InsertKeepsTimeOrderAndArrivalOrder)
{
    PEventQueue queue;
    queue.insert(noteAt(2.0, 1)); // into an empty queue
    queue.insert(noteAt(3.0, 2)); // appended
    queue.insert(noteAt(0.5, 3)); // at the head
    queue.insert(noteAt(2.0, 4)); // behind the earlier one of equal time
    queue.insert(noteAt(2.0, 5));
    queue.insert(noteAt(-1.0, 6)); // no position sorts first
    EXPECT_EQ(pitches(queue), (std::vector<int>{6, 3, 1, 4, 5, 2}));
    EXPECT_EQ(queue.count(), 6);
}

TEST(PEventQueue, CopyClonesIntoAnOwningQueue)
{
    PEventQueue borrowed(CmIDLinkedList::kNotOwning);
    PMidiEvent* a = noteAt(0.0, 10);
    PMidiEvent* b = noteAt(1.0, 11);
    borrowed.insert(a);
    borrowed.insert(b);
    {
        PEventQueue copy(borrowed);
        EXPECT_TRUE(copy.ownsElements());
        EXPECT_EQ(pitches(copy), (std::vector<int>{10, 11}));
        EXPECT_NE(copy.getFirstEvent(), a);
        EXPECT_EQ(copy.getFirstEvent()->getTime(), 0.0);
    }
    EXPECT_EQ(a->getRefCount(), 1);
    borrowed.removeAll();
    a->release();
    b->release();
}

TEST(PSysexEvent, DataEndsAtTheFirstTerminator)
{
    const uint8 bytes[] = {0xF0, 0x7E, 0x01, 0xF7, 0x55, 0xF7};
    PSysexEvent e;
    EXPECT_EQ(e.getChunk(), nullptr);
    e.setData(bytes);
    ASSERT_EQ(e.getSize(), 4);
    EXPECT_EQ(e.getBytes()[3], 0xF7);
    e.append(0x42);
    const uint8 more[] = {1, 2, 3};
    e.append(more, 3);
    EXPECT_EQ(e.getSize(), 8);

    // Copies share the buffer.
    auto* copy = static_cast<PSysexEvent*>(e.clone());
    EXPECT_EQ(copy->getChunk(), e.getChunk());
    copy->release();
}

TEST(PSysexChunk, BinaryAndAttributeForms)
{
    PSysexChunk chunk;
    const uint8 bytes[] = {0xF0, 1, 2, 3, 0xF7};
    chunk.append(bytes, 5);
    FMemoryStream stream;
    ASSERT_TRUE(chunk.write(&stream));
    EXPECT_EQ(stream.size(), 8 + 5);
    stream.seek(0, IBStream::kIBSeekSet);
    PSysexChunk back;
    ASSERT_TRUE(back.read(&stream));
    ASSERT_EQ(back.size(), 5);
    EXPECT_EQ(back.data()[4], 0xF7);

    // A size that promises more than the stream holds leaves the chunk as it was.
    FMemoryStream shortStream;
    chunk.write(&shortStream);
    shortStream.setSize(10);
    shortStream.seek(0, IBStream::kIBSeekSet);
    EXPECT_FALSE(back.read(&shortStream));
    EXPECT_EQ(back.size(), 5);

    FAttributes attributes;
    chunk.store(attributes);
    PSysexChunk restored;
    restored.restore(attributes); // no counter: one chunk
    EXPECT_EQ(restored.size(), 5);

    // Older writers split the data into numbered chunks; they merge into one.
    FAttributes old;
    old.setInt("ChunkCounter", 2);
    old.setInt("ChunkSize0", 2);
    old.setBuffer("Chunk0", bytes, 2);
    old.setInt("ChunkSize1", 3);
    old.setBuffer("Chunk1", bytes + 2, 3);
    PSysexChunk merged;
    merged.restore(old);
    ASSERT_EQ(merged.size(), 5);
    EXPECT_EQ(merged.data()[2], 2);

    FAttributes none;
    none.setInt("ChunkCounter", 0);
    none.setInt("ChunkSize0", 2);
    none.setBuffer("Chunk0", bytes, 2);
    PSysexChunk empty;
    empty.restore(none);
    EXPECT_EQ(empty.size(), 0);
}

TEST(PNoteChangeEvent, ValuesBecomeMessagesOnTheOldChannel)
{
    PNoteChangeEvent volume(PNoteChangeEvent::kVolume, 1.0);
    volume.setStatus(0x95);
    ASSERT_TRUE(volume.applyChange());
    EXPECT_EQ(volume.getStatus(), 0xB5);
    EXPECT_EQ(volume.getData1(), 7);
    EXPECT_EQ(volume.getData2(), 127);

    const std::pair<int32, uint8> controllers[] = {{1, 10}, {3, 1}, {4, 11}, {5, 71}, {200, 72}};
    for (auto [kind, controller] : controllers)
    {
        PNoteChangeEvent e(kind, 0.5);
        ASSERT_TRUE(e.applyChange());
        EXPECT_EQ(e.getData1(), controller) << kind;
        EXPECT_EQ(e.getData2(), 63) << kind;
    }

    PNoteChangeEvent bend(PNoteChangeEvent::kPitchBend, 0.5);
    bend.setStatus(0x02);
    ASSERT_TRUE(bend.applyChange());
    EXPECT_EQ(bend.getStatus(), 0xE2);
    EXPECT_EQ(bend.getData1() | (bend.getData2() << 7), 8192);

    // A given status decides the message; the value goes where that message carries it.
    PNoteChangeEvent pressure(PNoteChangeEvent::kVolume, 1.0, 0xD0);
    ASSERT_TRUE(pressure.applyChange());
    EXPECT_EQ(pressure.getStatus(), 0xD0);
    EXPECT_EQ(pressure.getData1(), 127);

    PNoteChangeEvent poly(PNoteChangeEvent::kVolume, 0.0, 0xA0);
    poly.setData1(64);
    ASSERT_TRUE(poly.applyChange());
    EXPECT_EQ(poly.getData1(), 64);
    EXPECT_EQ(poly.getData2(), 0);

    PNoteChangeEvent program(PNoteChangeEvent::kVolume, 1.0, 0xC0);
    EXPECT_FALSE(program.applyChange());
    EXPECT_FALSE(PMidiEvent(0xB0, 1, 1).applyChange());
}

TEST(PMidiEvents, NotationEventsStartAsDocumented)
{
    EXPECT_EQ(PDynamic(0xB0).getData2(), 60);
    EXPECT_EQ(PDynamic(0xA0).getData2(), 60);
    EXPECT_EQ(PDynamic(0xC0).getData1(), 60);
    EXPECT_EQ(PDynamic(0xD0).getData1(), 60);
    PDynamic note(0x90);
    EXPECT_EQ(note.getData1(), 60);
    EXPECT_EQ(note.getData2(), 0);
    PCrescendo crescendo;
    EXPECT_EQ(crescendo.startLevel, 100);
    EXPECT_EQ(crescendo.endLevel, 100);

    NoteContextInfo info;
    info.bytes[0] = 1;
    info.bytes[5] = 6;
    info.bytes[6] = 7; // not part of the stored form
    info.word = 0x1234;
    info.wide = 0x1122334455667788ull;
    FMemoryStream stream;
    ASSERT_TRUE(info.write(&stream));
    EXPECT_EQ(stream.size(), 4 + 2 + 8);
    stream.seek(0, IBStream::kIBSeekSet);
    NoteContextInfo back;
    ASSERT_TRUE(back.read(&stream));
    EXPECT_EQ(back.bytes[0], 1);
    EXPECT_EQ(back.bytes[2], 0xFF);
    EXPECT_EQ(back.bytes[5], 6);
    EXPECT_EQ(back.bytes[6], 0);
    EXPECT_EQ(back.word, 0x1234);
    EXPECT_EQ(back.wide, 0x1122334455667788ull);
}
