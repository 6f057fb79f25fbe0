#include "midi/eventeditor.h"

#include "base/values/uintvalues.h"
#include "base/values/umenuvalue.h"
#include "base/values/uvaluetesting.h"

#include <gtest/gtest.h>

using namespace Quillmark;

TEST(EventEditor, ValuesDriveThePlayerAndThePattern)
{
    PatternPlayer player;
    player.getPattern().setStepLengthIndex(4);
    auto* editor = new EventEditor(player);

    auto* active = editor->find<UIntValue>("eventsActive");
    auto* action = editor->find<UMenuValue>("editAction");
    auto* length = editor->find<UMenuValue>("stepLength");
    ASSERT_NE(active, nullptr);
    ASSERT_NE(action, nullptr);
    ASSERT_NE(length, nullptr);
    EXPECT_EQ(active->getTag(), 100);
    EXPECT_EQ(action->getTag(), 101);
    EXPECT_EQ(length->getTag(), 102);
    EXPECT_EQ(active->getValue(), 1);
    EXPECT_EQ(length->getIndex(), 4); // shows the pattern's length
    ASSERT_EQ(length->countItems(), 6);
    EXPECT_EQ(length->getItem(5)->getTitle().toUtf8(), "1/32");
    ASSERT_EQ(action->countItems(), 3);
    EXPECT_EQ(action->getItem(2)->getTitle().toUtf8(), "No Pattern");

    active->setValue(0);
    EXPECT_FALSE(player.isActive());
    length->setIndex(0);
    EXPECT_EQ(player.getPattern().getStepLength(), 4.0);

    {
        Quillmark::testing::ChangeRecorder repaint(editor->getPatternView());
        action->setIndex(2); // "No Pattern"
        for (int32 i = 0; i < 16; ++i)
            EXPECT_EQ(player.getPattern().getPitch(i), 0);
        EXPECT_EQ(repaint.count(FObject::kChanged), 1);
        player.getPattern().setPitch(0, 60);
        action->setIndex(1); // "Chromatic"
        EXPECT_EQ(player.getPattern().getPitch(7), 67);
        EXPECT_EQ(repaint.count(FObject::kChanged), 2);
    }
    editor->release();
}

TEST(PatternDef, NamesMarksAndClicks)
{
    EventPattern pattern;
    pattern.clear();
    PatternDef matrix(pattern);
    EXPECT_EQ(PatternDef::noteName(0).toUtf8(), "C4");  // note 72
    EXPECT_EQ(PatternDef::noteName(6).toUtf8(), "F#3"); // note 66
    EXPECT_EQ(PatternDef::noteName(36).toUtf8(), "C1"); // note 36
    EXPECT_EQ(PatternDef::noteName(40).toUtf8(), "G#"); // note 32: octave 0 has no number
    EXPECT_EQ(matrix.cellText(13, 0).toUtf8(), "B2");   // note 59
    EXPECT_EQ(matrix.cellText(13, 3).toUtf8(), "");

    EXPECT_FALSE(matrix.click(5, 0)); // the name column changes nothing
    for (int32 i = 0; i < 16; ++i)
        EXPECT_EQ(pattern.getPitch(i), 0);
    EXPECT_TRUE(matrix.click(10, 4)); // step 3 becomes note 62
    EXPECT_EQ(pattern.getPitch(3), 62);
    EXPECT_TRUE(matrix.isCellMarked(10, 4));
    EXPECT_FALSE(matrix.isCellMarked(10, 0));
    EXPECT_FALSE(matrix.isCellMarked(11, 4));
    EXPECT_FALSE(matrix.click(37, 4));
    EXPECT_FALSE(matrix.click(0, 17));

    EXPECT_EQ(PatternDef::columnWidth(0, 500), 20);
    EXPECT_EQ(PatternDef::columnWidth(1, 20 + 16 + 320), 20);
    EXPECT_EQ(PatternDef::columnWidth(16, 10), 0);
}
