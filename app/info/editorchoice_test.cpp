// Which editor a controller wrapper gives: the plug-in's view, or the generic editor, made once
// and kept by the wrapper.
#include "app/info/genericeditor.h"
#include "app/info/infotestsupport.h"
#include "qel3/iplugview.h"

#include <gtest/gtest.h>

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::Qel::Examples;

namespace
{

using EditorChoiceTest = Quillmark::testing::InfoRecordsModule;

QelEditController::EditorRequest request()
{
    QelEditController::EditorRequest result;
    result.makeGenericEditor = [](QelEditController& wrapper) -> CmObject*
    { return makeGenericEditor(wrapper); };
    return result;
}

} // namespace

TEST_F(EditorChoiceTest, TheViewOfThePluginUnlessTheGenericOneIsAskedFor)
{
    QelEditController* wrapper = open(kInfoRecordsCid).getControllerWrapper();
    ASSERT_TRUE(wrapper);
    QelEditController::EditorChoice own = wrapper->createEditor(request());
    ASSERT_NE(own.view, nullptr);
    EXPECT_EQ(own.genericEditor, nullptr);
    EXPECT_EQ(own.width, 320);
    EXPECT_EQ(own.height, 200);
    EXPECT_TRUE(wrapper->getCanResize());
    own.view->release();

    QelEditController::EditorRequest forced = request();
    forced.forceGeneric = true;
    forced.genericTemplateHeight = 900;
    QelEditController::EditorChoice generic = wrapper->createEditor(forced);
    EXPECT_EQ(generic.view, nullptr);
    auto* editor = FCast<GenericEditor>(generic.genericEditor);
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->getParamCount(), 9);
    EXPECT_EQ(generic.width, 550);
    EXPECT_EQ(generic.height, 400);
    EXPECT_TRUE(generic.scrolls);

    // The display mode picks the generic one too, and it is the same editor as before.
    QelEditController::EditorRequest byMode = request();
    byMode.displayMode = QelEditController::kGenericDisplayMode;
    EXPECT_EQ(wrapper->createEditor(byMode).genericEditor, editor);
    // A view the window cannot take falls through to the generic editor.
    QelEditController::EditorRequest refused = request();
    int offered = 0;
    refused.wrapView = [&](IPlugView* view)
    {
        ++offered;
        return view->isPlatformTypeSupported("HWND") == kResultOk;
    };
    QelEditController::EditorChoice fallen = wrapper->createEditor(refused);
    EXPECT_EQ(offered, 1);
    EXPECT_EQ(fallen.view, nullptr);
    EXPECT_EQ(fallen.genericEditor, editor);
    EXPECT_FALSE(fallen.scrolls);
}

TEST_F(EditorChoiceTest, APluginWithoutViewGetsTheGenericEditorAndNoControllerNothing)
{
    QelEditController* single = open(kInfoSingleBusCid).getControllerWrapper();
    ASSERT_TRUE(single);
    QelEditController::EditorChoice choice = single->createEditor(request());
    EXPECT_EQ(choice.view, nullptr);
    auto* editor = FCast<GenericEditor>(choice.genericEditor);
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->getParamCount(), 1);
    EXPECT_TRUE(single->getCanResize());
    // Without a way to make one, no editor at all, and the window may not be resized.
    QelEditController* records = open(kInfoRecordsCid).getControllerWrapper();
    QelEditController::EditorRequest none;
    none.forceGeneric = true;
    QelEditController::EditorChoice empty = records->createEditor(none);
    EXPECT_EQ(empty.genericEditor, nullptr);
    EXPECT_EQ(empty.view, nullptr);
    EXPECT_FALSE(records->getCanResize());
    EXPECT_EQ(open(kInfoNoControllerCid).getControllerWrapper(), nullptr);
}
