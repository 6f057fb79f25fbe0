// The generic editor over the fixture with every kind of parameter: dense numbers, value
// kinds and conditions, edits in both directions, gestures, and proxies that survive a rebuild.
#include "app/info/genericeditor.h"
#include "app/info/infotestsupport.h"
#include "app/info/recordtext.h"
#include "base/values/ufloatvalues.h"
#include "base/values/uintvalues.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::Qel::Examples;

namespace
{

/** The host's side of edits as the rack will give it: it keeps what it is told. */
class EditRecorder : public IComponentHandler
{
public:
    tresult queryInterface(const TUID, void** obj) override
    {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }
    tresult beginEdit(ParamID) override { return kResultOk; }
    tresult performEdit(ParamID id, ParamValue value) override
    {
        edits.emplace_back(id, value);
        return kResultOk;
    }
    tresult endEdit(ParamID) override { return kResultOk; }
    tresult restartComponent(int32) override { return kResultOk; }

    std::vector<std::pair<ParamID, ParamValue>> edits;
};

class GenericEditorTest : public Quillmark::testing::InfoRecordsModule
{
protected:
    void SetUp() override
    {
        InfoRecordsModule::SetUp();
        controller = open(kInfoRecordsCid).getControllerWrapper()->getController();
        ASSERT_TRUE(controller);
        editor = new GenericEditor(controller, &handler, false, kInfoRecordsName);
    }
    void TearDown() override
    {
        editor->release();
        InfoRecordsModule::TearDown();
    }

    /** The plug-in's own text for a parameter's present value. */
    std::string pluginText(ParamID id)
    {
        String128 text{};
        controller->getParamStringByValue(id, controller->getParamNormalized(id), text);
        return recordText(text).toUtf8();
    }
    std::string text(const char8* name)
    {
        String result;
        if (UValue* value = editor->findValue(name))
            value->getText(result);
        return result.toUtf8();
    }

    IEditController* controller = nullptr;
    EditRecorder handler;
    GenericEditor* editor = nullptr;
};

} // namespace

TEST_F(GenericEditorTest, ShownParametersAreNumberedDenselyWithTheirTexts)
{
    // Bypass and program change take no number.
    ASSERT_EQ(editor->getParamCount(), 9);
    const ParamID shown[] = {10, 11, 12, 13, 14, 17, 18, 19, 20};
    for (int32 number = 0; number < 9; ++number)
    {
        auto* proxy = FCast<ParamValueProxy>(editor->findValue(String::format("param%d", number)));
        ASSERT_TRUE(proxy) << number;
        EXPECT_EQ(proxy, editor->getProxy(number));
        EXPECT_EQ(proxy->getParamId(), shown[number]);
        EXPECT_EQ(proxy->getTag(), int32(shown[number]));
        EXPECT_TRUE(editor->testCondition(String::format("hasParam%d", number)));
    }
    EXPECT_EQ(editor->findValue("param9"), nullptr);
    EXPECT_FALSE(editor->testCondition("hasParam9"));
    EXPECT_FALSE(editor->testCondition("hasParam-1"));
    EXPECT_FALSE(editor->testCondition("hasParam"));
    EXPECT_EQ(text("title0"), "Cutoff");
    EXPECT_EQ(text("unit0"), "Hz");
    EXPECT_EQ(text("title7").size(), 128u);
    EXPECT_EQ(text("title5"), "Gestures");
    // Lookup by id, by the number behind the prefix only.
    EXPECT_EQ(editor->findValue("ParamID13"), editor->getProxy(3));
    EXPECT_EQ(editor->findValue("ParamID15"), nullptr);
    EXPECT_EQ(editor->findValue("ParamID"), nullptr);
    EXPECT_EQ(editor->findValue("ParamID1x"), nullptr);

    auto* bare = new GenericEditor(controller, nullptr, true);
    EXPECT_EQ(bare->getParamCount(), 9);
    EXPECT_EQ(bare->findValue("title0"), nullptr);
    EXPECT_EQ(bare->getValues().countValues(), 9);
    bare->release();
}

TEST_F(GenericEditorTest, ValueKindsFollowTheStepCount)
{
    auto* cutoff = FCast<UFloatValue>(editor->getProxy(0)->getTarget());
    ASSERT_TRUE(cutoff);
    EXPECT_DOUBLE_EQ(cutoff->getDefault(), 0.25);
    EXPECT_EQ(editor->getProxy(0)->getStyle(), UValue::kStylePlain);
    // A toggle's default is the truncation of its steps times the default: 0.5 gives 0.
    auto* power = FCast<UIntValue>(editor->getProxy(1)->getTarget());
    ASSERT_TRUE(power);
    EXPECT_EQ(power->getMaxValue(), 1);
    EXPECT_EQ(power->getDefaultValue(), 0);
    EXPECT_TRUE(editor->testCondition("isToggle1"));
    EXPECT_FALSE(editor->testCondition("isDiscrete1"));
    auto* mode = FCast<UIntValue>(editor->getProxy(2)->getTarget());
    ASSERT_TRUE(mode);
    EXPECT_EQ(mode->getMaxValue(), 3);
    EXPECT_EQ(mode->getDefaultValue(), 3);
    EXPECT_TRUE(editor->testCondition("isDiscrete2"));
    // The wrap-around flag reaches the value.
    auto* wrap = FCast<UIntValue>(editor->getProxy(8)->getTarget());
    ASSERT_TRUE(wrap);
    EXPECT_TRUE(wrap->isWrapAround());
    EXPECT_FALSE(mode->isWrapAround());
    // The current value is the plug-in's, not the default.
    EXPECT_EQ(mode->getValue(), 3);
    EXPECT_EQ(FCast<UIntValue>(editor->getProxy(3)->getTarget())->getValue(), 10);
}

TEST_F(GenericEditorTest, ListsAreTheListFlagAloneOrASmallDiscreteSpan)
{
    EXPECT_TRUE(editor->testCondition("isList2"));  // flags exactly the list flag, span 3
    EXPECT_FALSE(editor->testCondition("isList3")); // list and automatable, span 20
    EXPECT_TRUE(editor->testCondition("isDiscrete3"));
    EXPECT_TRUE(editor->testCondition("isList4"));  // list and automatable, span 5
    EXPECT_TRUE(editor->testCondition("isList8"));  // no list flag, but discrete of span 7
    EXPECT_FALSE(editor->testCondition("isList0")); // continuous
    EXPECT_FALSE(editor->testCondition("isList1")); // a toggle is no discrete value
    EXPECT_FALSE(editor->testCondition("isList9"));
    EXPECT_FALSE(editor->testCondition("isSomething0"));
}

TEST_F(GenericEditorTest, EditsReachHandlerAndControllerInSinglePrecision)
{
    ParamValueProxy* cutoff = editor->getProxy(0);
    ASSERT_EQ(cutoff->setNormalized(0.3), kResultOk);
    ASSERT_EQ(handler.edits.size(), 1u);
    EXPECT_EQ(handler.edits[0].first, 10u);
    EXPECT_EQ(handler.edits[0].second, double(0.3f));
    EXPECT_NE(handler.edits[0].second, 0.3);
    EXPECT_EQ(controller->getParamNormalized(10), double(0.3f));

    // Texts are the plug-in's, both ways.
    EXPECT_EQ(text("param0"), pluginText(10));
    EXPECT_EQ(text("param0"), "30 %");
    ASSERT_EQ(cutoff->setText("45 %"), kResultOk);
    EXPECT_DOUBLE_EQ(controller->getParamNormalized(10), double(0.45f));
    EXPECT_EQ(cutoff->setText("loud"), kResultFalse);
    EXPECT_DOUBLE_EQ(controller->getParamNormalized(10), double(0.45f));
    EXPECT_EQ(handler.edits.size(), 2u);

    // A discrete value sends its step as a position in 0..1.
    ASSERT_EQ(editor->getProxy(2)->setInt(1), kResultOk);
    EXPECT_EQ(handler.edits.back().second, double(float(1.0 / 3.0)));
    EXPECT_EQ(text("param2"), "step 1");
}

TEST_F(GenericEditorTest, GesturesGoThroughHostEditingExceptForReadOnlyValues)
{
    ParamValueProxy* cutoff = editor->getProxy(0);
    cutoff->beginEdit();
    cutoff->setNormalized(0.6);
    cutoff->endEdit();
    ParamValueProxy* gestures = editor->getProxy(5);
    EXPECT_TRUE(editor->testCondition("isReadOnly5"));
    EXPECT_FALSE(editor->testCondition("isReadOnly0"));
    gestures->beginEdit();
    gestures->endEdit();
    EXPECT_EQ(pluginText(kInfoGestureLogParamId), "b10 e10");
    EXPECT_TRUE(editor->getProblems().empty());
}

TEST_F(GenericEditorTest, ChangesFromThePluginAreShownAndNotSentBack)
{
    editor->setParamValue(12, 2.0 / 3.0);
    EXPECT_EQ(editor->getProxy(2)->getInt(), 2);
    editor->setParamValue(10, 0.8);
    EXPECT_DOUBLE_EQ(editor->getProxy(0)->getNormalized(), 0.8);
    editor->setParamValue(999, 0.1); // unknown: nothing
    EXPECT_TRUE(handler.edits.empty());
    EXPECT_DOUBLE_EQ(controller->getParamNormalized(10), 0.25);

    controller->setParamNormalized(20, 0.0);
    controller->setParamNormalized(10, 0.125);
    editor->refresh();
    EXPECT_EQ(editor->getProxy(8)->getInt(), 0);
    EXPECT_DOUBLE_EQ(editor->getProxy(0)->getNormalized(), 0.125);
    EXPECT_TRUE(handler.edits.empty());
}

TEST_F(GenericEditorTest, RebuildKeepsTheProxiesThatViewsHold)
{
    ParamValueProxy* first = editor->getProxy(0);
    ParamValueProxy* last = editor->getProxy(8);
    first->addRef();
    last->addRef();
    IValue* oldValue = first->getTarget();
    oldValue->addRef();

    // With Power on, the plug-in drops its last parameter.
    controller->setParamNormalized(kInfoRestartParamId, 1.0);
    editor->rebuild();
    EXPECT_EQ(editor->getParamCount(), 8);
    EXPECT_EQ(editor->findValue("param0"), first);
    EXPECT_NE(first->getTarget(), nullptr);
    EXPECT_NE(first->getTarget(), oldValue);
    EXPECT_DOUBLE_EQ(first->getNormalized(), 0.25);
    EXPECT_EQ(editor->getProxy(1)->getInt(), 1);
    // The proxy of the parameter that went stays with its view, standing for nothing.
    EXPECT_EQ(last->getTarget(), nullptr);
    EXPECT_EQ(editor->findValue("param8"), nullptr);
    EXPECT_EQ(editor->findValue("ParamID20"), nullptr);
    EXPECT_EQ(text("title0"), "Cutoff");

    // Edits through the kept proxy still reach the plug-in.
    first->setNormalized(0.5);
    EXPECT_DOUBLE_EQ(controller->getParamNormalized(10), 0.5);
    oldValue->release();
    first->release();
    last->release();
}
