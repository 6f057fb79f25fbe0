#include "base/values/ufloatvalues.h"
#include "base/values/ugraphicvalues.h"
#include "base/values/uintvalues.h"
#include "base/values/uvaluetesting.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Quillmark;
using Quillmark::testing::ChangeRecorder;
using Quillmark::testing::MessageSink;

namespace
{

/** Counts the undo hooks and the edit hook, and can ask for undo. */
class UndoValue : public UIntValue
{
public:
    explicit UndoValue(bool undo) : UIntValue("undoable", 1, 0, 10), undo(undo) {}

    int32 opened = 0;
    int32 closed = 0;
    std::vector<bool> editHook;

protected:
    bool wantsUndo() const override { return undo; }
    void openUndoStep() override { ++opened; }
    void closeUndoStep() override { ++closed; }
    void setEditing(bool state) override
    {
        editHook.push_back(state);
        UIntValue::setEditing(state);
    }

private:
    bool undo;
};

/** An owner that is a plain FObject and so cannot receive messages. */
class PlainOwner : public FObject
{
};

} // namespace

TEST(UValue, EditBracketsReachTheOwnerWithTheValue)
{
    MessageSink owner;
    auto* value = new UIntValue("songPosition", 123, 0, 1000);
    value->setOwner(&owner);
    value->setReportEdits(true);
    EXPECT_EQ(value->getFlags() & (1u << 16), 1u << 16);

    EXPECT_EQ(value->beginEdit(), kResultOk);
    EXPECT_TRUE(value->isEditing());
    ASSERT_EQ(owner.received.size(), 1u);
    EXPECT_EQ(owner.received[0].name, "BeginEdit");
    EXPECT_EQ(owner.received[0].value, value);
    EXPECT_TRUE(owner.received[0].valueWasEditing);

    EXPECT_EQ(value->endEdit(), kResultOk);
    EXPECT_FALSE(value->isEditing());
    ASSERT_EQ(owner.received.size(), 2u);
    EXPECT_EQ(owner.received[1].name, "EndEdit");
    EXPECT_EQ(owner.received[1].value, value);
    EXPECT_FALSE(owner.received[1].valueWasEditing);

    // The messages are gone, and with them their references to the value.
    EXPECT_EQ(value->getRefCount(), 1);
    value->release();
}

TEST(UValue, EditsAreReportedOnlyWithTheFlagAndAnOwnerThatTakesMessages)
{
    MessageSink owner;
    UIntValue quiet("quiet", 1);
    quiet.setOwner(&owner);
    quiet.beginEdit();
    quiet.endEdit();
    EXPECT_TRUE(owner.received.empty());

    UIntValue ownerless("ownerless", 2);
    ownerless.setReportEdits(true);
    ownerless.beginEdit();
    EXPECT_TRUE(ownerless.isEditing()); // the state is marked all the same
    ownerless.endEdit();
    EXPECT_FALSE(ownerless.isEditing());

    PlainOwner plain;
    UIntValue toPlain("toPlain", 3);
    toPlain.setOwner(&plain);
    toPlain.setReportEdits(true);
    EXPECT_EQ(toPlain.beginEdit(), kResultOk);
    EXPECT_EQ(toPlain.endEdit(), kResultOk);
}

TEST(UValue, UndoStepsOpenOnlyForEditsThatAreNotReported)
{
    UndoValue plain(true);
    plain.beginEdit();
    plain.endEdit();
    EXPECT_EQ(plain.opened, 1);
    EXPECT_EQ(plain.closed, 1);
    EXPECT_EQ(plain.editHook, (std::vector<bool>{true, false}));

    MessageSink owner;
    UndoValue reported(true);
    reported.setOwner(&owner);
    reported.setReportEdits(true);
    reported.beginEdit();
    reported.endEdit();
    EXPECT_EQ(owner.received.size(), 2u);
    EXPECT_EQ(reported.opened, 0);
    EXPECT_EQ(reported.closed, 0);

    UndoValue noUndo(false);
    noUndo.beginEdit();
    noUndo.endEdit();
    EXPECT_EQ(noUndo.opened, 0);
    EXPECT_EQ(noUndo.editHook.size(), 2u);
}

TEST(UValue, EndOfLifeReachesADependentThatLetsGo)
{
    auto* value = new UIntValue("gone", 7);
    ChangeRecorder recorder(value->unknown());
    value->release();
    EXPECT_EQ(recorder.messages, std::vector<int32>{IDependent::kDestroyed});
    EXPECT_FALSE(recorder.isWatching());
}

TEST(UValue, EndOfLifeComesAfterTheOwnedStateIsGone)
{
    auto* picture = new CmObject;
    auto* value = new UBitmapValue("picture", 3);
    value->setBitmap(picture);
    EXPECT_EQ(picture->getRefCount(), 2);

    ChangeRecorder recorder(value->unknown());
    int32 pictureCountAtEnd = 0;
    recorder.onMessage = [&](int32 message)
    {
        if (message == IDependent::kDestroyed)
            pictureCountAtEnd = picture->getRefCount();
    };
    value->release();
    EXPECT_EQ(recorder.count(IDependent::kDestroyed), 1);
    EXPECT_EQ(pictureCountAtEnd, 1);
    picture->release();
}

TEST(UValue, EndOfLifeDropsTheDeferredChanges)
{
    auto* value = new UFloatValue("deferred", 9);
    // This dependent does not let go, so only the value's own cancel keeps the handler from
    // delivering to the dead value.
    ChangeRecorder recorder(value->unknown(), false);
    value->deferChanged(IDependent::kChanged);
    value->release();
    UpdateHandler::instance()->triggerDeferedUpdates(nullptr);
    EXPECT_EQ(recorder.messages, std::vector<int32>{IDependent::kDestroyed});
}

TEST(UValue, EnabledStateIsAnnouncedApartFromTheValue)
{
    UIntValue value("enable", 1);
    ChangeRecorder recorder(value.unknown());
    EXPECT_TRUE(value.isEnabled());
    value.setEnabled(false);
    value.setEnabled(false);
    EXPECT_FALSE(value.isEnabled());
    value.setEnabled(true);
    EXPECT_EQ(recorder.count(UValue::kStateChanged), 2);
    EXPECT_EQ(recorder.count(IDependent::kChanged), 0);
    recorder.detach();
}

TEST(UValue, AnswersItsInterfacesWithOneIdentity)
{
    auto* value = new UFloatValue("f", 1);
    void* answer = nullptr;
    for (const QelUid* iid : {&IParameter::iid, &IValue::iid, &IValue2::iid,
                              &IStringRepresentationTarget::iid, &IFloatValue::iid})
    {
        ASSERT_EQ(value->queryInterface(iid->bytes, &answer), kResultOk);
        static_cast<FUnknown*>(answer)->release();
    }
    ASSERT_EQ(value->queryInterface(FUnknown::iid.bytes, &answer), kResultOk);
    EXPECT_EQ(answer, value->unknown());
    static_cast<FUnknown*>(answer)->release();
    EXPECT_EQ(value->getRefCount(), 1);

    ASSERT_EQ(value->queryInterface(IValue::iid.bytes, &answer), kResultOk);
    auto* asValue = static_cast<IValue*>(answer);
    EXPECT_EQ(FCast<UFloatValue>(asValue), value);
    asValue->release();

    auto* integer = new UIntValue("i", 2);
    EXPECT_EQ(integer->queryInterface(IFloatValue::iid.bytes, &answer), kNoInterface);
    EXPECT_EQ(answer, nullptr);
    integer->release();
    value->release();
}

TEST(UValue, TextTargetGoesThroughTheValueText)
{
    UIntValue value("n", 1, 0, 100);
    IStringRepresentationTarget* target = &value;
    EXPECT_EQ(target->setStringRepresentation("42"), kResultOk);
    EXPECT_EQ(value.getValue(), 42);
    String text;
    target->getStringRepresentation(text);
    EXPECT_EQ(text, ConstString("42"));
    EXPECT_EQ(target->setStringRepresentation("forty"), kResultFalse);
    EXPECT_EQ(value.getValue(), 42);
}

TEST(UValue, ABareValueAnswersNeutrally)
{
    UValue value("bare", 4);
    EXPECT_EQ(value.getTag(), 4);
    EXPECT_EQ(value.getName(), ConstString("bare"));
    EXPECT_EQ(value.setInt(3), kResultFalse);
    EXPECT_EQ(value.setFloat(3.0), kResultFalse);
    EXPECT_EQ(value.setText("3"), kResultFalse);
    EXPECT_EQ(value.setNormalized(0.5), kResultFalse);
    EXPECT_EQ(value.getInt(), 0);
    String text("stale");
    value.getText(text);
    EXPECT_TRUE(text.isEmpty());
}

TEST(ValueRange, MapsDegenerateRangesToTheMinimum)
{
    EXPECT_DOUBLE_EQ(ValueRange::toNormalized(5.0, 0.0, 10.0), 0.5);
    EXPECT_DOUBLE_EQ(ValueRange::toNormalized(-5.0, 0.0, 10.0), 0.0);
    EXPECT_DOUBLE_EQ(ValueRange::toNormalized(50.0, 0.0, 10.0), 1.0);
    EXPECT_DOUBLE_EQ(ValueRange::fromNormalized(0.25, -1.0, 1.0), -0.5);
    EXPECT_DOUBLE_EQ(ValueRange::fromNormalized(2.0, -1.0, 1.0), 1.0);

    EXPECT_DOUBLE_EQ(ValueRange::toNormalized(3.0, 3.0, 3.0), 0.0);
    EXPECT_DOUBLE_EQ(ValueRange::fromNormalized(0.7, 3.0, 3.0), 3.0);
    EXPECT_DOUBLE_EQ(ValueRange::toNormalized(NAN, 0.0, 1.0), 0.0);
    EXPECT_DOUBLE_EQ(ValueRange::fromNormalized(NAN, 2.0, 4.0), 2.0);
}
