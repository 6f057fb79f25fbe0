#include "base/values/urationalvalue.h"
#include "base/values/uvaluetesting.h"

#include <gtest/gtest.h>

#include <limits>

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
} // namespace

TEST(URationalValue, TextShowsOneSignForTheWholeRatio)
{
    URationalValue value("signature", 4027, 4, 4);
    EXPECT_EQ(textOf(value), ConstString("4/4"));
    value.setRational(-3, 4);
    EXPECT_EQ(textOf(value), ConstString("-3/4"));
    value.setRational(3, -4);
    EXPECT_EQ(textOf(value), ConstString("-3/4"));
    value.setRational(-3, -4);
    EXPECT_EQ(textOf(value), ConstString("3/4"));
    value.setRational(0, -4);
    EXPECT_EQ(textOf(value), ConstString("0/4"));
    value.setRational(std::numeric_limits<int32>::min(), 1);
    EXPECT_EQ(textOf(value), ConstString("-2147483648/1"));
}

TEST(URationalValue, ReadsSignsOnEitherPart)
{
    URationalValue value("ratio", 1, 1, 1);
    EXPECT_EQ(value.setText("3/-4"), kResultOk);
    EXPECT_EQ(value.getNumerator(), 3);
    EXPECT_EQ(value.getDenominator(), -4);
    EXPECT_DOUBLE_EQ(value.getFloat(), -0.75);
    EXPECT_EQ(value.setText(" -6 / 8 "), kResultOk);
    EXPECT_EQ(value.getNumerator(), -6);
    EXPECT_EQ(value.getDenominator(), 8);
    EXPECT_EQ(value.setText("5"), kResultOk);
    EXPECT_EQ(value.getDenominator(), 1);

    for (const char8* bad : {"3/0", "3/", "/4", "a/b", "3/4/5", "", "3.5/4", "9999999999/1"})
    {
        EXPECT_EQ(value.setText(bad), kResultFalse) << bad;
        EXPECT_EQ(value.getNumerator(), 5) << bad;
        EXPECT_EQ(value.getDenominator(), 1) << bad;
    }
}

TEST(URationalValue, ChangesAreAnnouncedPartByPart)
{
    URationalValue value("signature", 4027, 3, 4);
    ChangeRecorder recorder(value.unknown());
    EXPECT_FALSE(value.setRational(3, 4));
    EXPECT_TRUE(recorder.messages.empty());
    EXPECT_TRUE(value.setRational(6, 8)); // equal ratio, different parts
    EXPECT_FALSE(value.setRational(1, 0));
    EXPECT_EQ(value.getDenominator(), 8);
    EXPECT_EQ(recorder.count(IDependent::kChanged), 1);
}

TEST(URationalValue, IntegerFormKeepsBothParts)
{
    URationalValue source("signature", 1, -7, 8);
    URationalValue target("signature", 1);
    EXPECT_EQ(target.setInt(source.getInt()), kResultOk);
    EXPECT_EQ(target.getNumerator(), -7);
    EXPECT_EQ(target.getDenominator(), 8);
    EXPECT_EQ(target.setInt(0x00050000), kResultFalse); // a denominator of 0
    EXPECT_EQ(target.getNumerator(), -7);

    URationalValue zeroDenominator("z", 1, 1, 0);
    EXPECT_EQ(zeroDenominator.getDenominator(), 1);
}
