#include "base/values/ustringvalue.h"
#include "base/values/uvaluetesting.h"

#include <gtest/gtest.h>

using namespace Quillmark;
using Quillmark::testing::ChangeRecorder;

TEST(UStringValue, TextIsTheValueAndEqualTextsSendNothing)
{
    UStringValue value("fileName", 113, "take.wav");
    ChangeRecorder recorder(value.unknown());
    EXPECT_EQ(value.setText("take.wav"), kResultOk);
    // The same characters in the other width are the same text.
    EXPECT_FALSE(value.setValue(u"take.wav"));
    EXPECT_TRUE(recorder.messages.empty());

    EXPECT_EQ(value.setText(u"d\u00E9j\u00E0.wav"), kResultOk);
    String text;
    value.getText(text);
    EXPECT_EQ(text, ConstString(u"d\u00E9j\u00E0.wav"));
    EXPECT_EQ(value.setText(""), kResultOk);
    EXPECT_TRUE(value.getValue().isEmpty());
    EXPECT_EQ(recorder.count(IDependent::kChanged), 2);

    // Numbers mean nothing to a text.
    EXPECT_EQ(value.setInt(5), kResultFalse);
    EXPECT_EQ(value.getInt(), 0);
    EXPECT_DOUBLE_EQ(value.getNormalized(), 0.0);
}
