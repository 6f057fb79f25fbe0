#include "base/values/fcontroller.h"
#include "base/values/uintvalues.h"
#include "base/updatehandler.h"

#include <gtest/gtest.h>

using namespace Quillmark;

namespace
{

class SwitchingController : public FController
{
public:
    void onValueChanged(UValue* value) override
    {
        switch (value->getTag())
        {
        case 102:
            playing = value->getInt() == 1;
            break;
        default:
            ++others;
        }
    }
    bool testCondition(const ConstString& name) const override
    {
        return name == ConstString("hasBypass");
    }

    bool playing = false;
    int32 others = 0;
};

} // namespace

TEST(FController, HearsTheValuesItDependsOn)
{
    SwitchingController controller;
    UIntValue play("play", 102);
    UIntValue loop("loop", 103);
    UpdateHandler::instance()->addDependent(play.unknown(), &controller);
    UpdateHandler::instance()->addDependent(loop.unknown(), &controller);

    play.setInt(1);
    EXPECT_TRUE(controller.playing);
    loop.setInt(1);
    loop.setEnabled(false); // a change of state, not of the value
    EXPECT_EQ(controller.others, 1);

    // The host side can hand a value over directly as well.
    play.setValue(0, false);
    static_cast<IHostController&>(controller).valueChanged(&play);
    EXPECT_FALSE(controller.playing);

    UpdateHandler::instance()->removeDependent(nullptr, &controller);
}

TEST(FController, BaseAnswersNothingButItsConditions)
{
    auto* controller = new SwitchingController;
    IController* asController = controller;
    IValue* value = reinterpret_cast<IValue*>(1);
    EXPECT_EQ(asController->getValue("play", &value), kResultFalse);
    EXPECT_EQ(value, nullptr);
    IController* child = reinterpret_cast<IController*>(1);
    EXPECT_EQ(asController->getController("child", &child), kResultFalse);
    EXPECT_EQ(child, nullptr);
    EXPECT_TRUE(asController->checkCondition("hasBypass"));
    EXPECT_FALSE(asController->checkCondition("hasEnableAux"));

    void* answer = nullptr;
    ASSERT_EQ(controller->queryInterface(IHostController::iid.bytes, &answer), kResultOk);
    static_cast<IHostController*>(answer)->release();
    ASSERT_EQ(controller->queryInterface(IController::iid.bytes, &answer), kResultOk);
    EXPECT_EQ(answer, static_cast<void*>(asController));
    static_cast<IController*>(answer)->release();
    EXPECT_EQ(controller->getRefCount(), 1);
    controller->release();
}

TEST(FControllerList, HoldsEachControllerOnce)
{
    auto* first = new FController;
    auto* second = new FController;
    {
        FControllerList list;
        EXPECT_TRUE(list.add(first));
        EXPECT_FALSE(list.add(first));
        EXPECT_FALSE(list.add(nullptr));
        EXPECT_TRUE(list.add(second));
        EXPECT_EQ(list.count(), 2);
        EXPECT_EQ(list.at(1), second);
        EXPECT_EQ(list.at(2), nullptr);
        EXPECT_EQ(list.indexOf(second), 1);
        EXPECT_EQ(first->getRefCount(), 2);
        EXPECT_TRUE(list.remove(first));
        EXPECT_FALSE(list.remove(first));
        EXPECT_EQ(first->getRefCount(), 1);
        EXPECT_EQ(list.indexOf(second), 0);
    }
    EXPECT_EQ(second->getRefCount(), 1);
    first->release();
    second->release();
}
