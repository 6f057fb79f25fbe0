#include "base/values/ufloatvalues.h"
#include "base/values/uintvalues.h"
#include "base/values/uvalueproxy.h"
#include "base/values/uvaluetesting.h"

#include <gtest/gtest.h>

using namespace Quillmark;
using Quillmark::testing::ChangeRecorder;
using Quillmark::testing::MessageSink;

namespace
{
String textOf(const IValue& value)
{
    String text;
    value.getText(text);
    return text;
}
} // namespace

TEST(UValueProxy, WithoutATargetGetsAreNeutralAndSetsDoNothing)
{
    UValueProxy proxy("metronomeVolume", 136);
    ChangeRecorder recorder(proxy.unknown());
    EXPECT_EQ(proxy.getTarget(), nullptr);
    EXPECT_EQ(proxy.setInt(1), kResultFalse);
    EXPECT_EQ(proxy.setFloat(0.5), kResultFalse);
    EXPECT_EQ(proxy.setText("1"), kResultFalse);
    EXPECT_EQ(proxy.setNormalized(0.5), kResultFalse);
    EXPECT_EQ(proxy.beginEdit(), kResultFalse);
    EXPECT_EQ(proxy.endEdit(), kResultFalse);
    EXPECT_EQ(proxy.getInt(), 0);
    EXPECT_DOUBLE_EQ(proxy.getFloat(), 0.0);
    EXPECT_DOUBLE_EQ(proxy.getNormalized(), 0.0);
    EXPECT_DOUBLE_EQ(proxy.getMax(), 0.0);
    EXPECT_EQ(proxy.getStepCount(), 0);
    EXPECT_TRUE(textOf(proxy).isEmpty());
    EXPECT_TRUE(recorder.messages.empty());
}

TEST(UValueProxy, ForwardsEveryGetAndSetToItsTarget)
{
    auto* target = new UFloatValue("Volume", 7, 0.0, 10.0, 2.0, 1);
    UValueProxy proxy("metronomeVolume", 136, target);
    EXPECT_EQ(target->getRefCount(), 2);
    EXPECT_EQ(proxy.getName(), ConstString("metronomeVolume"));
    EXPECT_EQ(proxy.getTag(), 136);

    EXPECT_DOUBLE_EQ(proxy.getFloat(), 2.0);
    EXPECT_DOUBLE_EQ(proxy.getDefault(), 2.0);
    EXPECT_DOUBLE_EQ(proxy.getMax(), 10.0);
    EXPECT_DOUBLE_EQ(proxy.getDefaultNormalized(), 0.2);
    EXPECT_EQ(proxy.setFloat(5.0), kResultOk);
    EXPECT_DOUBLE_EQ(target->getValue(), 5.0);
    EXPECT_EQ(proxy.setNormalized(0.75), kResultOk);
    EXPECT_DOUBLE_EQ(target->getValue(), 7.5);
    EXPECT_EQ(proxy.setText("3.5"), kResultOk);
    EXPECT_EQ(textOf(proxy), ConstString("3.5"));
    EXPECT_EQ(proxy.setText("loud"), kResultFalse); // the target's refusal comes back
    EXPECT_EQ(proxy.setInt(20), kResultOk);
    EXPECT_EQ(proxy.getInt(), 10);

    EXPECT_EQ(proxy.setTarget(nullptr), kResultOk);
    EXPECT_EQ(target->getRefCount(), 1);
    target->release();
}

TEST(UValueProxy, ItsDependentsHearTheTargetAndTheSwitchOfTargets)
{
    auto* first = new UIntValue("first", 1, 0, 10);
    auto* second = new UIntValue("second", 2, 0, 10, 4);
    auto* proxy = new UValueProxy("proxy", 3, first);
    ChangeRecorder recorder(proxy->unknown());

    first->setInt(3);
    first->setInt(3);
    EXPECT_EQ(recorder.count(IDependent::kChanged), 1);
    first->setEnabled(false);
    EXPECT_EQ(recorder.count(UValue::kStateChanged), 1);

    proxy->setTarget(second);
    EXPECT_EQ(recorder.count(IDependent::kChanged), 2);
    EXPECT_EQ(proxy->getInt(), 4);
    first->setInt(9); // the old target is no longer heard
    EXPECT_EQ(recorder.count(IDependent::kChanged), 2);
    second->setInt(5);
    EXPECT_EQ(recorder.count(IDependent::kChanged), 3);

    recorder.detach();
    proxy->release();
    EXPECT_EQ(second->getRefCount(), 1);
    second->setInt(6); // the proxy is gone from the dependents as well
    first->release();
    second->release();
}

TEST(UValueProxy, EditsGoToTheTargetsOwner)
{
    MessageSink owner;
    auto* target = new UIntValue("bypass", 106);
    target->setOwner(&owner);
    target->setReportEdits(true);
    auto* proxy = new UValueProxy("metronomeBypass", 133, target);
    EXPECT_EQ(proxy->beginEdit(), kResultOk);
    EXPECT_EQ(proxy->endEdit(), kResultOk);
    ASSERT_EQ(owner.received.size(), 2u);
    EXPECT_EQ(owner.received[0].name, "BeginEdit");
    EXPECT_EQ(owner.received[0].value, target);
    proxy->release();
    target->release();
}

TEST(UValueProxy, LetsGoOfATargetThatEnds)
{
    auto* proxy = new UValueProxy("proxy", 1);
    ChangeRecorder recorder(proxy->unknown());
    {
        // A member-like value that is destroyed whatever its count says.
        UIntValue target("member", 2, 0, 5, 1);
        proxy->setTarget(&target);
        EXPECT_EQ(proxy->getInt(), 1);
    }
    EXPECT_EQ(proxy->getTarget(), nullptr);
    EXPECT_EQ(proxy->getInt(), 0);
    EXPECT_EQ(recorder.count(IDependent::kChanged), 2); // attached, then lost
    recorder.detach();
    proxy->release();
}

TEST(UValueProxy, AnswersTheProxyInterface)
{
    auto* proxy = new UValueProxy("proxy", 1);
    void* answer = nullptr;
    ASSERT_EQ(proxy->queryInterface(IValueProxy::iid.bytes, &answer), kResultOk);
    auto* asProxy = static_cast<IValueProxy*>(answer);
    UIntValue target("t", 2, 0, 3, 3);
    asProxy->setTarget(&target);
    EXPECT_EQ(proxy->getInt(), 3);
    asProxy->setTarget(nullptr);
    asProxy->release();
    proxy->release();
}

TEST(UValueProxy, AnswersTheStyleOfItsTarget)
{
    auto* toggle = new UIntValue("Power", 1, 0, 1, 0);
    toggle->setStyle(UValue::kStyleToggle);
    UValueProxy proxy("param0", 1);
    // Without a target a control draws a plain value, whatever the proxy itself was given.
    proxy.setStyle(UValue::kStyleDiscrete);
    EXPECT_EQ(proxy.getStyle(), UValue::kStylePlain);
    proxy.setTarget(toggle);
    EXPECT_EQ(proxy.getStyle(), UValue::kStyleToggle);
    toggle->setStyle(UValue::kStyleDiscrete);
    EXPECT_EQ(proxy.getStyle(), UValue::kStyleDiscrete);
    toggle->release();
}
