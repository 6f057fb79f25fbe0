#include "engine/eventlist.h"
#include "engine/parameterchanges.h"
#include "engine/tringbuffer.h"

#include <gtest/gtest.h>

namespace Quillmark::MiniEngine
{
namespace
{

Qel::Event note(int16 pitch)
{
    Qel::Event event{};
    event.type = Qel::Event::kNoteOnEvent;
    event.noteOn.pitch = pitch;
    return event;
}

TEST(EventList, HoldsFourThousandNinetyFiveEventsAndRefusesTheNext)
{
    auto* list = new EventList;
    for (int32 i = 0; i < 4095; ++i)
    {
        Qel::Event event = note(int16(i % 128));
        ASSERT_EQ(list->addEvent(event), kResultOk) << i;
    }
    Qel::Event one = note(1);
    EXPECT_EQ(list->addEvent(one), kOutOfMemory);
    EXPECT_EQ(kOutOfMemory, static_cast<tresult>(0x8007000E));
    EXPECT_EQ(list->getEventCount(), 4095);
    Qel::Event read{};
    EXPECT_EQ(list->getEvent(4094, read), kResultOk);
    EXPECT_EQ(read.noteOn.pitch, 4094 % 128);
    EXPECT_EQ(list->getEvent(4095, read), kResultFalse);
    EXPECT_EQ(list->getEvent(-1, read), kResultFalse);
    list->clear();
    EXPECT_EQ(list->getEventCount(), 0);
    EXPECT_EQ(list->addEvent(one), kResultOk);

    Qel::IEventList* asInterface = nullptr;
    ASSERT_EQ(list->queryInterface(Qel::IEventList::iid.bytes, (void**)&asInterface), kResultOk);
    EXPECT_EQ(asInterface->getEventCount(), 1);
    asInterface->release();
    list->release();
}

TEST(SingleParameterQueue, KeepsOneValueTheLatest)
{
    SingleParameterQueue queue;
    EXPECT_EQ(queue.getPointCount(), 0);
    EXPECT_EQ(queue.getParameterId(), Qel::ParamID(0xFFFFFFFF));
    queue.use(7);
    int32 index = -5;
    EXPECT_EQ(queue.addPoint(10, 0.25, index), kResultOk);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(queue.addPoint(30, 0.75, index), kResultOk);
    EXPECT_EQ(queue.getPointCount(), 1);
    int32 offset = -1;
    double value = 0;
    ASSERT_EQ(queue.getPoint(0, offset, value), kResultOk);
    EXPECT_EQ(offset, 0) << "the offset is not kept";
    EXPECT_EQ(value, 0.75);
    EXPECT_NE(queue.getPoint(1, offset, value), kResultOk);
}

TEST(MultiParameterChange, QueuesAreHandedOutByPlace)
{
    MultiParameterChange changes;
    changes.setMaxParameters(8);
    int32 index = -1;
    for (int32 id : {10, 11, 12, 13, 14, 15})
        ASSERT_NE(changes.addParameterData(Qel::ParamID(id), index), nullptr);
    // Free every place but 0 and 5.
    for (int32 place : {1, 2, 3, 4})
        changes.queueAt(place)->free();
    EXPECT_EQ(changes.getParameterCount(), 2);
    Qel::IParamValueQueue* free = changes.getParameterData(1);
    ASSERT_NE(free, nullptr) << "a place below the capacity is answered, used or not";
    EXPECT_EQ(int32(free->getParameterId()), -1);
    EXPECT_EQ(changes.getParameterData(8), nullptr);

    // The same id finds its queue again; a new one takes the first free place.
    EXPECT_EQ(changes.addParameterData(15, index), changes.getParameterData(5));
    EXPECT_EQ(index, 5);
    EXPECT_EQ(changes.addParameterData(99, index), changes.getParameterData(1));
    EXPECT_EQ(index, 1);
    changes.clear();
    EXPECT_EQ(changes.getParameterCount(), 0);
    EXPECT_FALSE(changes.hasChanges());
}

TEST(MultiParameterChange, BeyondTwoHundredFiftySixParametersLaterOnesAreLost)
{
    MultiParameterChange changes;
    changes.setMaxParameters(1000);
    EXPECT_EQ(changes.getCapacity(), 256);
    for (int32 id = 0; id < 256; ++id)
        ASSERT_TRUE(changes.add(id, 0.5)) << id;
    EXPECT_FALSE(changes.add(256, 0.5));
    int32 index = 0;
    EXPECT_EQ(changes.addParameterData(300, index), nullptr);
    EXPECT_EQ(index, -1);
    EXPECT_TRUE(changes.add(17, 0.25)) << "a parameter already queued still takes a value";
    changes.clear();
    EXPECT_TRUE(changes.add(256, 0.5)) << "the next block has room again";
}

TEST(MultiParameterChange, AddAllMergesByIdAndNewValueWins)
{
    MultiParameterChange from, to;
    from.setMaxParameters(4);
    to.setMaxParameters(4);
    to.add(3, 0.1);
    from.add(3, 0.9);
    from.add(4, 0.4);
    EXPECT_TRUE(to.addAll(from));
    EXPECT_EQ(to.getParameterCount(), 2);
    int32 index = 0;
    int32 offset = 0;
    double value = 0;
    to.addParameterData(3, index)->getPoint(0, offset, value);
    EXPECT_EQ(value, 0.9);
    MultiParameterChange small;
    small.setMaxParameters(1);
    EXPECT_FALSE(small.addAll(from)) << "one of the two did not fit";
}

TEST(RingBuffer, FullTestDoesNotWrapSoAFullRoundLooksEmpty)
{
    TRingBuffer<int32> ring(4);
    for (int32 i = 0; i < 4; ++i)
        ASSERT_TRUE(ring.put(i));
    EXPECT_TRUE(ring.isEmpty()) << "the writer went all the way round";

    TRingBuffer<int32> other(4);
    int32 value = 0;
    other.put(1);
    other.put(2);
    other.get(value);
    other.get(value); // reader and writer at 2
    EXPECT_TRUE(other.put(3));
    EXPECT_TRUE(other.put(4));
    EXPECT_TRUE(other.put(5));
    EXPECT_FALSE(other.put(6)) << "the writer stands just behind the reader";
    for (int32 expected : {3, 4, 5})
    {
        ASSERT_TRUE(other.get(value));
        EXPECT_EQ(value, expected);
    }
    EXPECT_FALSE(other.get(value));
}

} // namespace
} // namespace Quillmark::MiniEngine
