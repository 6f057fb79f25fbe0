#include "base/values/umenuvalue.h"
#include "base/values/uvaluetesting.h"

#include <gtest/gtest.h>

using namespace Quillmark;
using Quillmark::testing::ChangeRecorder;

namespace
{

String textOf(const IValue& value)
{
    String text;
    value.getText(text);
    return text;
}

/** Two plain rates and a submenu of two high rates: four items in all. */
void fillRates(UMenuValue& value)
{
    value.addEntry("44.100 kHz", 44100);
    value.addEntry("48.000 kHz", 48000);
    UMenuEntry* high = value.getRoot()->addEntry("High");
    high->addEntry("96.000 kHz", 96000);
    high->addEntry("192.000 kHz", 192000);
    value.entriesChanged();
}

} // namespace

TEST(UMenuValue, ItemsAreTheLeavesInDepthFirstOrder)
{
    UMenuValue value("sampleRate", 105);
    fillRates(value);
    EXPECT_EQ(value.countItems(), 4);
    EXPECT_EQ(value.getStepCount(), 3);
    EXPECT_DOUBLE_EQ(value.getMax(), 3.0);
    EXPECT_EQ(value.getItem(2)->getTag(), 96000);
    EXPECT_EQ(value.getItem(4), nullptr);
    EXPECT_EQ(value.indexOfTag(192000), 3);
    EXPECT_EQ(value.indexOfTag(22050), -1);

    value.setInt(3);
    EXPECT_EQ(textOf(value), ConstString("192.000 kHz"));
    EXPECT_EQ(value.getSelectedItem()->getTag(), 192000);
    value.setInt(40);
    EXPECT_EQ(value.getIndex(), 3);
    value.setNormalized(1.0 / 3.0);
    EXPECT_EQ(value.getIndex(), 1);
}

TEST(UMenuValue, TextChoosesByTitleAndSubmenusAreNotItems)
{
    UMenuValue value("sampleRate", 105);
    fillRates(value);
    EXPECT_EQ(value.setText("96.000 kHz"), kResultOk);
    EXPECT_EQ(value.getIndex(), 2);
    EXPECT_EQ(value.setText("High"), kResultFalse);
    EXPECT_EQ(value.setText("22.050 kHz"), kResultFalse);
    EXPECT_EQ(value.getIndex(), 2);
}

TEST(UMenuValue, DisabledItemsCannotBeChosen)
{
    UMenuValue value("sampleRate", 105);
    fillRates(value);
    value.getItem(1)->setEnabled(false);
    EXPECT_EQ(value.setInt(1), kResultFalse);
    EXPECT_EQ(value.setText("48.000 kHz"), kResultFalse);
    EXPECT_FALSE(value.setIndex(1));
    EXPECT_EQ(value.getIndex(), 0);
    EXPECT_EQ(value.setInt(2), kResultOk);
    EXPECT_EQ(value.getIndex(), 2);
}

TEST(UMenuValue, ShrinkingTheTreeClipsTheChoice)
{
    UMenuValue value("sampleRate", 105);
    fillRates(value);
    value.setInt(3);
    ChangeRecorder recorder(value.unknown());
    value.getRoot()->entryAt(2)->removeAll(); // "High" becomes an item of its own
    value.entriesChanged();
    EXPECT_EQ(value.countItems(), 3);
    EXPECT_EQ(value.getIndex(), 2);
    EXPECT_EQ(textOf(value), ConstString("High"));
    EXPECT_EQ(recorder.count(IDependent::kChanged), 1);

    value.removeAll();
    EXPECT_EQ(value.countItems(), 0);
    EXPECT_EQ(value.getIndex(), 0);
    EXPECT_EQ(value.getSelectedItem(), nullptr);
    EXPECT_TRUE(textOf(value).isEmpty());
    EXPECT_DOUBLE_EQ(value.getNormalized(), 0.0);
}
