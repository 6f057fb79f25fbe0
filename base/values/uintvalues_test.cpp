#include "base/values/uintvalues.h"
#include "base/values/uvaluetesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Quillmark;
using Quillmark::testing::ChangeRecorder;

namespace
{

/** Sees every change through updateDone, which runs with or without an update handler. */
class CountingIntValue : public UIntValue
{
public:
    using UIntValue::UIntValue;
    void updateDone(int32 message) override
    {
        if (message == kChanged)
            ++changes;
    }
    int32 changes = 0;
};

String textOf(const IValue& value)
{
    String text;
    value.getText(text);
    return text;
}

} // namespace

TEST(UIntValue, AnEqualSetSendsNothing)
{
    CountingIntValue value("count", 1, 0, 10, 3);
    EXPECT_EQ(value.setInt(3), kResultOk);
    EXPECT_EQ(value.changes, 0);
    EXPECT_EQ(value.setInt(4), kResultOk);
    EXPECT_EQ(value.changes, 1);
    value.setFloat(4.2); // rounds to the present value
    value.setText(" 4 ");
    value.setNormalized(0.4);
    EXPECT_EQ(value.changes, 1);
}

TEST(UIntValue, DependentsHearEachChangeOnce)
{
    UIntValue value("switch", 102, 0, 1);
    ChangeRecorder recorder(value.unknown());
    value.setInt(1);
    value.setInt(1);
    value.setInt(5); // clips to 1
    value.setInt(0);
    EXPECT_EQ(recorder.messages, (std::vector<int32>{IDependent::kChanged, IDependent::kChanged}));

    EXPECT_TRUE(value.setValue(1, false));
    EXPECT_EQ(value.getValue(), 1);
    EXPECT_EQ(recorder.messages.size(), 2u); // a silent set tells no one
}

TEST(UIntValue, SetsClipToTheRange)
{
    UIntValue value("clip", 1, -5, 5, 99);
    EXPECT_EQ(value.getDefaultValue(), 5); // the default is clipped too
    EXPECT_EQ(value.getValue(), 5);
    value.setInt(-100);
    EXPECT_EQ(value.getValue(), -5);
    value.setFloat(1e12);
    EXPECT_EQ(value.getValue(), 5);
    value.setFloat(-2.5);
    EXPECT_EQ(value.getValue(), -3); // halves round away from zero
    EXPECT_EQ(value.setFloat(NAN), kResultFalse);
    EXPECT_EQ(value.getValue(), -3);
    value.setText("-77");
    EXPECT_EQ(value.getValue(), -5);

    UIntValue inverted("inverted", 1, 10, 2);
    EXPECT_EQ(inverted.getMaxValue(), 10);
    value.setRange(0, 2);
    EXPECT_EQ(value.getValue(), 0);
    EXPECT_EQ(value.getDefaultValue(), 2);
}

TEST(UIntValue, NormalisedPositionsRoundToSteps)
{
    UIntValue value("steps", 1, 10, 20, 15);
    EXPECT_DOUBLE_EQ(value.getNormalized(), 0.5);
    EXPECT_DOUBLE_EQ(value.getDefaultNormalized(), 0.5);
    EXPECT_EQ(value.getStepCount(), 10);
    value.setNormalized(0.26);
    EXPECT_EQ(value.getValue(), 13);
    value.setNormalized(-1.0);
    EXPECT_EQ(value.getValue(), 10);
    value.setNormalized(7.0);
    EXPECT_EQ(value.getValue(), 20);
    EXPECT_EQ(value.setNormalized(NAN), kResultFalse);
    EXPECT_EQ(value.getValue(), 20);

    UIntValue wide("wide", 1, std::numeric_limits<int32>::min(), std::numeric_limits<int32>::max());
    EXPECT_EQ(wide.getStepCount(), std::numeric_limits<int32>::max());
    wide.setNormalized(1.0);
    EXPECT_EQ(wide.getValue(), std::numeric_limits<int32>::max());
}

TEST(UIntValue, ADegenerateRangeSitsAtItsMinimum)
{
    UIntValue value("fixed", 1, 7, 7, 7);
    EXPECT_DOUBLE_EQ(value.getNormalized(), 0.0);
    EXPECT_EQ(value.getStepCount(), 0);
    EXPECT_EQ(value.setNormalized(0.9), kResultOk);
    EXPECT_EQ(value.getValue(), 7);
    value.setInt(8);
    EXPECT_EQ(value.getValue(), 7);
}

TEST(UIntValue, TextThatDoesNotParseLeavesTheValue)
{
    UIntValue value("text", 1, -1000, 1000, 12);
    for (const char8* bad :
         {"", "  ", "abc", "12abc", "1.5", "0x10", "+-3", "--3", "1 2", "99999999999999999999999"})
    {
        EXPECT_EQ(value.setText(bad), kResultFalse) << bad;
        EXPECT_EQ(value.getValue(), 12) << bad;
    }
    EXPECT_EQ(value.setText("\t-40 "), kResultOk);
    EXPECT_EQ(value.getValue(), -40);
    EXPECT_EQ(value.setText("+41"), kResultOk);
    EXPECT_EQ(textOf(value), ConstString("41"));
    EXPECT_EQ(value.setText(u"\u0663"), kResultFalse); // digits of other scripts do not count
}

TEST(UIntDefValue, DefaultChangesWithinTheRange)
{
    UIntDefValue value("def", 1, 0, 10, 2);
    value.setInt(6);
    value.setDefaultValue(50);
    EXPECT_EQ(value.getDefaultValue(), 10);
    EXPECT_DOUBLE_EQ(value.getDefault(), 10.0);
    EXPECT_EQ(value.getValue(), 6);
}

TEST(USecondsValue, ShowsMinutesAndHours)
{
    USecondsValue value("time", 1, -100000, 1000000);
    struct Case
    {
        int32 seconds;
        const char8* text;
    };
    for (Case c : {Case{0, "0:00"}, Case{59, "0:59"}, Case{61, "1:01"}, Case{3599, "59:59"},
                   Case{3600, "1:00:00"}, Case{90061, "25:01:01"}, Case{-75, "-1:15"}})
    {
        value.setInt(c.seconds);
        EXPECT_EQ(textOf(value), ConstString(c.text)) << c.seconds;
    }
}

TEST(USecondsValue, ReadsItsOwnFormsAndRefusesOthers)
{
    USecondsValue value("time", 1, -100000, 100000, 5);
    EXPECT_EQ(value.setText("1:02:03"), kResultOk);
    EXPECT_EQ(value.getValue(), 3723);
    EXPECT_EQ(value.setText("90:00"), kResultOk); // minutes may run on without hours
    EXPECT_EQ(value.getValue(), 5400);
    EXPECT_EQ(value.setText("-0:30"), kResultOk);
    EXPECT_EQ(value.getValue(), -30);
    EXPECT_EQ(value.setText("45"), kResultOk);
    EXPECT_EQ(value.getValue(), 45);
    EXPECT_EQ(value.setText("30:00:00"), kResultOk); // clipped to the range
    EXPECT_EQ(value.getValue(), 100000);
    for (const char8* bad :
         {"1:60", "1:60:00", "1:00:60", "1:2:3:4", ":30", "1:", "a:00", "-", "1:-5", "+1:00"})
    {
        EXPECT_EQ(value.setText(bad), kResultFalse) << bad;
        EXPECT_EQ(value.getValue(), 100000) << bad;
    }
}

TEST(UDateValue, DaysAndDatesConvertBothWays)
{
    UDateValue value("date", 1);
    EXPECT_EQ(textOf(value), ConstString("1970-01-01"));
    EXPECT_TRUE(value.setDate(2024, 2, 29));
    EXPECT_EQ(value.getValue(), 19782);
    int32 year = 0, month = 0, day = 0;
    value.getDate(year, month, day);
    EXPECT_EQ(year, 2024);
    EXPECT_EQ(month, 2);
    EXPECT_EQ(day, 29);
    EXPECT_EQ(textOf(value), ConstString("2024-02-29"));

    value.setInt(UDateValue::kFirstDay - 10);
    EXPECT_EQ(textOf(value), ConstString("0001-01-01"));
    value.setInt(UDateValue::kLastDay + 10);
    EXPECT_EQ(textOf(value), ConstString("9999-12-31"));
}

TEST(UDateValue, RefusesDaysThatDoNotExist)
{
    UDateValue value("date", 1, 100);
    EXPECT_FALSE(value.setDate(2023, 2, 29));
    EXPECT_FALSE(value.setDate(2024, 13, 1));
    EXPECT_FALSE(value.setDate(0, 1, 1));
    for (const char8* bad : {"2023-02-29", "2024-1-05", "2024/01/05", "20240105", "2024-04-31",
                             "+024-01-05", "abcd-ef-gh", ""})
    {
        EXPECT_EQ(value.setText(bad), kResultFalse) << bad;
    }
    EXPECT_EQ(value.getValue(), 100);
    EXPECT_EQ(value.setText(" 1999-12-31 "), kResultOk);
    EXPECT_EQ(textOf(value), ConstString("1999-12-31"));
}

TEST(UIntValue, StepsStopAtTheEndsUnlessTheyWrap)
{
    CountingIntValue value("Mode", 0, -1, 2, 2);
    EXPECT_FALSE(value.step(1));
    EXPECT_EQ(value.getValue(), 2);
    EXPECT_TRUE(value.step(-7));
    EXPECT_EQ(value.getValue(), -1);
    EXPECT_EQ(value.changes, 1);

    value.setWrapAround(true);
    EXPECT_TRUE(value.isWrapAround());
    EXPECT_TRUE(value.step(-1));
    EXPECT_EQ(value.getValue(), 2);
    EXPECT_TRUE(value.step(2));
    EXPECT_EQ(value.getValue(), 0);
    // A whole turn, or many, arrives where it started and says so by sending nothing.
    EXPECT_FALSE(value.step(-8));
    EXPECT_EQ(value.getValue(), 0);
    EXPECT_EQ(value.changes, 3);
    // The flag is its own bit: the other states stay as they were.
    value.setEnabled(false);
    value.setWrapAround(false);
    EXPECT_FALSE(value.isEnabled());
    EXPECT_FALSE(value.isWrapAround());
}

TEST(UIntValue, WrappingSurvivesTheWholeIntegerRange)
{
    UIntValue value("Wide", 0, std::numeric_limits<int32>::min(), std::numeric_limits<int32>::max(),
                    std::numeric_limits<int32>::max());
    value.setWrapAround(true);
    EXPECT_TRUE(value.step(1));
    EXPECT_EQ(value.getValue(), std::numeric_limits<int32>::min());
    EXPECT_TRUE(value.step(-2));
    EXPECT_EQ(value.getValue(), std::numeric_limits<int32>::max() - 1);
}
