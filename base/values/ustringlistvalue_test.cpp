#include "base/fattributes.h"
#include "base/values/ustringlistvalue.h"
#include "base/values/uvaluetesting.h"

#include <gtest/gtest.h>

using namespace Quillmark;
using Quillmark::testing::ChangeRecorder;

namespace
{

UStringListValue* makeRecordModes()
{
    auto* value = new UStringListValue("recordMode", 122);
    for (const char8* mode : {"Direct", "MIDI", "Count In 1", "Count In 2"})
        value->addString(mode);
    return value;
}

String textOf(const IValue& value)
{
    String text;
    value.getText(text);
    return text;
}

} // namespace

TEST(UStringListValue, TheIndexStaysWithinTheEntries)
{
    UStringListValue empty("empty", 1);
    EXPECT_EQ(empty.getMaxValue(), 0);
    empty.setInt(3);
    EXPECT_EQ(empty.getValue(), 0);
    EXPECT_TRUE(textOf(empty).isEmpty());

    UStringListValue* value = makeRecordModes();
    EXPECT_EQ(value->getStepCount(), 3);
    value->setInt(-1);
    EXPECT_EQ(value->getValue(), 0);
    value->setInt(4);
    EXPECT_EQ(value->getValue(), 3);
    EXPECT_EQ(textOf(*value), ConstString("Count In 2"));
    EXPECT_TRUE(value->getString(4).isEmpty());
    EXPECT_TRUE(value->getString(-1).isEmpty());
    EXPECT_FALSE(value->setString(4, "x"));
    EXPECT_FALSE(value->removeString(-1));

    value->setNormalized(1.0 / 3.0);
    EXPECT_EQ(value->getValue(), 1);
    value->release();
}

TEST(UStringListValue, RemovingEntriesPullsTheIndexBack)
{
    UStringListValue* value = makeRecordModes();
    value->setInt(3);
    ChangeRecorder recorder(value->unknown());
    EXPECT_TRUE(value->removeString(3));
    EXPECT_EQ(value->getValue(), 2);
    EXPECT_EQ(recorder.count(IDependent::kChanged), 1);
    EXPECT_GE(recorder.count(UValue::kStateChanged), 1);

    value->removeAll();
    EXPECT_EQ(value->getValue(), 0);
    EXPECT_EQ(value->countStrings(), 0);
    recorder.detach();
    value->release();
}

TEST(UStringListValue, TextSelectsAnEntryByItsExactTitle)
{
    UStringListValue* value = makeRecordModes();
    EXPECT_EQ(value->setText("Count In 1"), kResultOk);
    EXPECT_EQ(value->getValue(), 2);
    EXPECT_EQ(value->setText("count in 1"), kResultFalse);
    EXPECT_EQ(value->setText("1"), kResultFalse);
    EXPECT_EQ(value->setText(""), kResultFalse);
    EXPECT_EQ(value->getValue(), 2);
    value->release();
}

TEST(UStringListValue, RecentEntriesComeFirstWithinTheBound)
{
    UStringListValue value("recent", 1);
    value.setMaxRecent(3);
    for (const char8* file : {"a.mid", "b.mid", "c.mid", "d.mid"})
        value.addRecent(file);
    ASSERT_EQ(value.countStrings(), 3);
    EXPECT_EQ(value.getString(0), ConstString("d.mid"));
    EXPECT_EQ(value.getString(2), ConstString("b.mid"));

    value.addRecent("c.mid"); // moves up instead of standing twice
    EXPECT_EQ(value.countStrings(), 3);
    EXPECT_EQ(value.getString(0), ConstString("c.mid"));
    EXPECT_EQ(value.getString(1), ConstString("d.mid"));
    EXPECT_EQ(value.getValue(), 0);

    value.setMaxRecent(1);
    EXPECT_EQ(value.countStrings(), 1);
    EXPECT_EQ(value.getMaxValue(), 0);
}

TEST(UStringListValue, EntriesTravelThroughAnAttributeTree)
{
    UStringListValue source("recent", 1);
    source.setMaxRecent(5);
    source.addString("one");
    source.addString(u"zw\u00F6lf");
    FAttributes attributes;
    source.storeStrings(attributes);
    int64 bound = 0;
    EXPECT_TRUE(attributes.getInt("Max Recent", bound));
    EXPECT_EQ(bound, 5);
    ASSERT_NE(attributes.getStringList("Strings"), nullptr);

    UStringListValue target("recent", 1);
    target.addString("old");
    FAttributes nothing;
    EXPECT_FALSE(target.restoreStrings(nothing));
    EXPECT_EQ(target.getString(0), ConstString("old"));

    EXPECT_TRUE(target.restoreStrings(attributes));
    EXPECT_EQ(target.getMaxRecent(), 5);
    ASSERT_EQ(target.countStrings(), 2);
    EXPECT_EQ(target.getString(1), ConstString(u"zw\u00F6lf"));
    EXPECT_EQ(target.getMaxValue(), 1);
}
