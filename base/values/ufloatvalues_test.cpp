#include "base/values/ufloatvalues.h"
#include "base/values/uvaluetesting.h"

#include <gtest/gtest.h>

#include <cmath>

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

/** Shows a gain in decibels, the way a volume control does. */
class DecibelValue : public UFloatTransformValue
{
public:
    DecibelValue() : UFloatTransformValue("volume", 115, 0.0, 1.0, 1.0, 1.0, 0.0, 1) {}
    double toShown(double plain) const override { return 20.0 * std::log10(plain); }
    double toPlain(double shown) const override { return std::pow(10.0, shown / 20.0); }
};

} // namespace

TEST(UFloatValue, SetsClipAndAnEqualSetSendsNothing)
{
    UFloatValue value("tempo", 4026, 1.0, 300.0, 120.0, 1, 1.0);
    ChangeRecorder recorder(value.unknown());
    value.setFloat(120.0);
    EXPECT_TRUE(recorder.messages.empty());
    value.setFloat(500.0);
    EXPECT_DOUBLE_EQ(value.getValue(), 300.0);
    value.setFloat(1000.0); // clips to the same maximum
    value.setFloat(-INFINITY);
    EXPECT_DOUBLE_EQ(value.getValue(), 1.0);
    EXPECT_EQ(value.setFloat(NAN), kResultFalse);
    EXPECT_DOUBLE_EQ(value.getValue(), 1.0);
    value.setInt(7);
    EXPECT_DOUBLE_EQ(value.getValue(), 7.0);
    EXPECT_EQ(recorder.count(IDependent::kChanged), 3);
    EXPECT_EQ(value.getInt(), 7);
}

TEST(UFloatValue, NormalisedPositionsCoverTheRange)
{
    UFloatValue value("pos", 123, 0.0, 1000.0, 250.0);
    EXPECT_DOUBLE_EQ(value.getNormalized(), 0.25);
    EXPECT_DOUBLE_EQ(value.getDefaultNormalized(), 0.25);
    EXPECT_EQ(value.getStepCount(), 0);
    value.setNormalized(0.5);
    EXPECT_DOUBLE_EQ(value.getValue(), 500.0);
    value.setNormalized(1.5);
    EXPECT_DOUBLE_EQ(value.getValue(), 1000.0);
    EXPECT_EQ(value.setNormalized(NAN), kResultFalse);
    EXPECT_DOUBLE_EQ(value.getValue(), 1000.0);

    UFloatValue fixed("fixed", 1, 2.5, 2.5, 2.5);
    EXPECT_DOUBLE_EQ(fixed.getNormalized(), 0.0);
    fixed.setNormalized(0.8);
    EXPECT_DOUBLE_EQ(fixed.getValue(), 2.5);

    value.setRange(-1.0, 1.0);
    EXPECT_DOUBLE_EQ(value.getValue(), 1.0);
    EXPECT_DOUBLE_EQ(value.getDefaultValue(), 1.0);
    value.setNormalized(0.25);
    EXPECT_DOUBLE_EQ(value.getValue(), -0.5);
}

TEST(UFloatValue, TextUsesThePrecisionAndRefusesWhatDoesNotParse)
{
    UFloatValue value("scale", 128, 0.0, 1.0, 0.5, 3);
    EXPECT_EQ(textOf(value), ConstString("0.500"));
    EXPECT_EQ(value.setText(" 0.25 "), kResultOk);
    EXPECT_DOUBLE_EQ(value.getValue(), 0.25);
    EXPECT_EQ(value.setText("2"), kResultOk);
    EXPECT_DOUBLE_EQ(value.getValue(), 1.0);
    EXPECT_EQ(value.setText("1e-1"), kResultOk);
    EXPECT_DOUBLE_EQ(value.getValue(), 0.1);
    for (const char8* bad : {"", "abc", "0.5x", "0,5", "nan", "inf", "--1", "0.5 0.5"})
    {
        EXPECT_EQ(value.setText(bad), kResultFalse) << bad;
        EXPECT_DOUBLE_EQ(value.getValue(), 0.1) << bad;
    }
    value.setPrecision(0);
    EXPECT_EQ(textOf(value), ConstString("0"));
    value.setPrecision(99);
    EXPECT_EQ(value.getPrecision(), 17);
}

TEST(UFloatValue, FloatInterfaceCanSetWithoutTellingAnyone)
{
    auto* value = new UFloatValue("tempo", 4026, 1.0, 300.0, 120.0, 1, 1.0);
    void* answer = nullptr;
    ASSERT_EQ(value->queryInterface(IFloatValue::iid.bytes, &answer), kResultOk);
    auto* floatValue = static_cast<IFloatValue*>(answer);
    ChangeRecorder recorder(value->unknown());

    EXPECT_EQ(floatValue->setFloatValue(140.0, false), kResultOk);
    EXPECT_TRUE(recorder.messages.empty());
    EXPECT_DOUBLE_EQ(floatValue->getFloatValue(), 140.0);
    EXPECT_EQ(floatValue->setFloatValue(141.0, true), kResultOk);
    EXPECT_EQ(recorder.count(IDependent::kChanged), 1);
    EXPECT_EQ(floatValue->setFloatValue(NAN, true), kResultFalse);

    double minimum = 0, maximum = 0;
    floatValue->getFloatRange(minimum, maximum);
    EXPECT_DOUBLE_EQ(minimum, 1.0);
    EXPECT_DOUBLE_EQ(maximum, 300.0);
    EXPECT_DOUBLE_EQ(floatValue->getFloatStep(), 1.0);
    EXPECT_EQ(floatValue->getFloatPrecision(), 1);
    floatValue->release();
    recorder.detach();
    value->release();
}

TEST(UFloatDefValue, DefaultChangesWithinTheRange)
{
    UFloatDefValue value("def", 1, 0.0, 10.0, 1.0);
    value.setDefaultValue(-3.0);
    EXPECT_DOUBLE_EQ(value.getDefaultValue(), 0.0);
    value.setDefaultValue(NAN);
    EXPECT_DOUBLE_EQ(value.getDefaultValue(), 0.0);
    value.setDefaultValue(4.0);
    EXPECT_DOUBLE_EQ(value.getDefaultNormalized(), 0.4);
    EXPECT_DOUBLE_EQ(value.getValue(), 1.0);
}

TEST(UFloatTransformValue, TextShowsAndReadsTheTransformedValue)
{
    UFloatTransformValue percent("mix", 1, 0.0, 1.0, 0.5, 100.0, 0.0, 0);
    EXPECT_EQ(textOf(percent), ConstString("50"));
    EXPECT_EQ(percent.setText("25"), kResultOk);
    EXPECT_DOUBLE_EQ(percent.getValue(), 0.25);
    EXPECT_EQ(percent.setText("250"), kResultOk); // clipped in plain terms
    EXPECT_DOUBLE_EQ(percent.getValue(), 1.0);
    EXPECT_EQ(percent.setText("half"), kResultFalse);
    EXPECT_DOUBLE_EQ(percent.getValue(), 1.0);
    EXPECT_DOUBLE_EQ(percent.getNormalized(), 1.0);

    UFloatTransformValue offset("celsius", 2, 0.0, 1000.0, 273.15, 1.0, -273.15, 2);
    EXPECT_EQ(textOf(offset), ConstString("0.00"));
    offset.setText("100");
    EXPECT_NEAR(offset.getValue(), 373.15, 1e-9);

    UFloatTransformValue noFactor("zero", 3, 0.0, 10.0, 2.0, 0.0);
    noFactor.setText("4");
    EXPECT_DOUBLE_EQ(noFactor.getValue(), 4.0);
}

TEST(UFloatTransformValue, SubclassesBringTheirOwnMapping)
{
    DecibelValue gain;
    EXPECT_EQ(textOf(gain), ConstString("0.0"));
    EXPECT_EQ(gain.setText("-6.0206"), kResultOk);
    EXPECT_NEAR(gain.getValue(), 0.5, 1e-5);
    EXPECT_EQ(gain.setText("12"), kResultOk); // beyond the range: clipped to unity
    EXPECT_DOUBLE_EQ(gain.getValue(), 1.0);
}
