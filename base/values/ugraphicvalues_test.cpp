#include "base/values/ugraphicvalues.h"
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
} // namespace

TEST(UColorValue, TextAndIntegerFormsCarryAllFourChannels)
{
    UColorValue value("colour", 1, 0x80FF4000u);
    EXPECT_EQ(value.getAlpha(), 0x80);
    EXPECT_EQ(value.getRed(), 0xFF);
    EXPECT_EQ(value.getGreen(), 0x40);
    EXPECT_EQ(value.getBlue(), 0x00);
    EXPECT_EQ(textOf(value), ConstString("#80FF4000"));
    EXPECT_EQ(value.getInt(), int32(0x80FF4000u));

    EXPECT_EQ(value.setText("#12ab34"), kResultOk);
    EXPECT_EQ(value.getColor(), 0xFF12AB34u); // six digits are opaque
    EXPECT_EQ(value.setText("#0012AB34"), kResultOk);
    EXPECT_EQ(value.getColor(), 0x0012AB34u);
    for (const char8* bad : {"12AB34", "#12AB3", "#12AB345", "#GGGGGG", "#-12345", "#+12345", ""})
    {
        EXPECT_EQ(value.setText(bad), kResultFalse) << bad;
        EXPECT_EQ(value.getColor(), 0x0012AB34u) << bad;
    }
    value.setInt(-1);
    EXPECT_EQ(value.getColor(), 0xFFFFFFFFu);
}

TEST(UColorValue, AnEqualColourSendsNothing)
{
    UColorValue value("colour", 1, 0xFF000000u);
    ChangeRecorder recorder(value.unknown());
    value.setText("#000000");
    EXPECT_TRUE(recorder.messages.empty());
    value.setColor(0xFF000001u);
    EXPECT_EQ(recorder.count(IDependent::kChanged), 1);
}

TEST(UBitmapValue, HoldsOneReferenceToItsPicture)
{
    auto* first = new CmObject;
    auto* second = new CmObject;
    {
        UBitmapValue value("picture", 1);
        ChangeRecorder recorder(value.unknown());
        EXPECT_TRUE(value.setBitmap(first));
        EXPECT_FALSE(value.setBitmap(first));
        EXPECT_EQ(first->getRefCount(), 2);
        EXPECT_TRUE(value.setBitmap(second));
        EXPECT_EQ(first->getRefCount(), 1);
        EXPECT_EQ(value.getBitmap(), static_cast<FUnknown*>(second));
        EXPECT_EQ(recorder.count(IDependent::kChanged), 2);
        EXPECT_EQ(value.setInt(1), kResultFalse);
    }
    EXPECT_EQ(second->getRefCount(), 1);
    first->release();
    second->release();
}
