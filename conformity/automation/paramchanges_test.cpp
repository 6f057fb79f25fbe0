// The queue that the automation test hands to a plug-in: what a plug-in can and cannot do with
// it, and the read marks that decide the automation test's messages.
#include "conformity/automation/paramchanges.h"

#include <gtest/gtest.h>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

TEST(ParamChanges, BeforeInitServesNoParameterAndTakesNothing)
{
    ParamChanges queue;
    EXPECT_EQ(queue.getParameterId(), 0xFFFFFFFFu);
    EXPECT_EQ(queue.getPointCount(), 0);
    EXPECT_FALSE(queue.hasPoints());
    EXPECT_FALSE(queue.storePoint(0, 0, 0.5));
    int32 offset = 7;
    ParamValue value = 0.25;
    EXPECT_EQ(queue.getPoint(0, offset, value), kResultFalse);
    EXPECT_EQ(offset, 7);
    EXPECT_EQ(value, 0.25);
}

TEST(ParamChanges, StoresOnlyTheNextFreeSlotWithinItsRoom)
{
    ParamChanges queue;
    queue.init(42, 2);
    EXPECT_EQ(queue.getParameterId(), 42u);
    EXPECT_EQ(queue.getCapacity(), 2);
    EXPECT_FALSE(queue.storePoint(1, 3, 0.1)) << "a slot past the next free one";
    EXPECT_TRUE(queue.storePoint(0, 3, 0.1));
    EXPECT_FALSE(queue.storePoint(0, 4, 0.2)) << "a used slot";
    EXPECT_TRUE(queue.storePoint(1, 9, 0.3));
    EXPECT_FALSE(queue.storePoint(2, 10, 0.4)) << "beyond the room";
    EXPECT_EQ(queue.getPointCount(), 2);

    int32 offset = -1;
    ParamValue value = -1.0;
    ASSERT_EQ(queue.getPoint(1, offset, value), kResultOk);
    EXPECT_EQ(offset, 9);
    EXPECT_EQ(value, 0.3);
}

TEST(ParamChanges, RefusesPointsOutsideTheUsedOnes)
{
    ParamChanges queue;
    queue.init(1, 8);
    ASSERT_TRUE(queue.storePoint(0, 0, 0.5));
    int32 offset = 11;
    ParamValue value = 0.75;
    EXPECT_EQ(queue.getPoint(-1, offset, value), kResultFalse);
    EXPECT_EQ(queue.getPoint(1, offset, value), kResultFalse) << "room, but no point";
    EXPECT_EQ(queue.getPoint(8, offset, value), kResultFalse);
    EXPECT_EQ(offset, 11);
    EXPECT_EQ(value, 0.75);
    // None of the refused reads counts as reading.
    EXPECT_FALSE(queue.havePointsBeenRead(true));
}

TEST(ParamChanges, APlugInCannotAddPoints)
{
    ParamChanges queue;
    queue.init(5, 8);
    ASSERT_TRUE(queue.storePoint(0, 0, 0.5));
    int32 index = 123;
    EXPECT_EQ(queue.addPoint(3, 0.25, index), kResultFalse);
    EXPECT_EQ(queue.addPoint(0, 0.5, index), kResultFalse);
    EXPECT_EQ(queue.getPointCount(), 1);
    EXPECT_EQ(index, 123);
    EXPECT_TRUE(queue.storePoint(1, 4, 0.6)) << "the refused adds took no slot";
}

TEST(ParamChanges, TellsWhetherAnyOrAllUsedPointsWereRead)
{
    ParamChanges queue;
    queue.init(5, 8);
    for (int32 point = 0; point < 3; ++point)
        ASSERT_TRUE(queue.storePoint(point, point * 10, 0.1 * point));
    EXPECT_FALSE(queue.havePointsBeenRead(true));
    EXPECT_FALSE(queue.havePointsBeenRead(false));

    int32 offset = 0;
    ParamValue value = 0.0;
    ASSERT_EQ(queue.getPoint(2, offset, value), kResultOk);
    EXPECT_TRUE(queue.havePointsBeenRead(true));
    EXPECT_FALSE(queue.havePointsBeenRead(false));
    ASSERT_EQ(queue.getPoint(0, offset, value), kResultOk);
    ASSERT_EQ(queue.getPoint(1, offset, value), kResultOk);
    EXPECT_TRUE(queue.havePointsBeenRead(false));
}

TEST(ParamChanges, ReadMarksSurviveTheNextBlock)
{
    ParamChanges queue;
    queue.init(5, 8);
    ASSERT_TRUE(queue.storePoint(0, 0, 0.1));
    ASSERT_TRUE(queue.storePoint(1, 5, 0.2));
    int32 offset = 0;
    ParamValue value = 0.0;
    ASSERT_EQ(queue.getPoint(0, offset, value), kResultOk);

    // The next block stores new points in the same slots; slot 0 still counts as read, slot 1
    // does not, and a third slot never used before does not either.
    queue.clearPoints();
    EXPECT_EQ(queue.getPointCount(), 0);
    ASSERT_TRUE(queue.storePoint(0, 7, 0.3));
    EXPECT_TRUE(queue.havePointsBeenRead(true));
    EXPECT_TRUE(queue.havePointsBeenRead(false));
    ASSERT_TRUE(queue.storePoint(1, 8, 0.4));
    ASSERT_TRUE(queue.storePoint(2, 9, 0.5));
    EXPECT_FALSE(queue.havePointsBeenRead(false));
    ASSERT_EQ(queue.getPoint(1, offset, value), kResultOk);
    EXPECT_EQ(offset, 8);
    EXPECT_FALSE(queue.havePointsBeenRead(false));
    ASSERT_EQ(queue.getPoint(2, offset, value), kResultOk);
    EXPECT_TRUE(queue.havePointsBeenRead(false));
}

TEST(ParamChanges, InitStartsOverWithFreshMarks)
{
    ParamChanges queue;
    queue.init(5, 4);
    ASSERT_TRUE(queue.storePoint(0, 0, 0.1));
    int32 offset = 0;
    ParamValue value = 0.0;
    ASSERT_EQ(queue.getPoint(0, offset, value), kResultOk);
    queue.init(6, 4);
    EXPECT_EQ(queue.getParameterId(), 6u);
    EXPECT_EQ(queue.getPointCount(), 0);
    ASSERT_TRUE(queue.storePoint(0, 1, 0.2));
    EXPECT_FALSE(queue.havePointsBeenRead(true));
}

TEST(ParamChanges, AnswersOnlyItsOwnInterface)
{
    ParamChanges queue;
    void* answer = nullptr;
    ASSERT_EQ(queue.queryInterface(IParamValueQueue::iid.bytes, &answer), kResultOk);
    EXPECT_EQ(answer, static_cast<IParamValueQueue*>(&queue));
    EXPECT_EQ(queue.release(), 1u) << "the query added one reference";
    EXPECT_EQ(queue.queryInterface(IParameterChanges::iid.bytes, &answer), kNoInterface);
    EXPECT_EQ(answer, nullptr);
}

} // namespace
