#include "hosting/qeleditcontroller.h"

#include "hosting/recordingtestsupport.h"
#include "qel3/iconnectionpoint.h"

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::Qel::Examples;

namespace
{

using Wrappers = Quillmark::testing::RecordingModule;

} // namespace

TEST_F(Wrappers, CreateInitializesAndTheWrapperHoldsTheOnlyHostReference)
{
    QelComponent* first = QelComponent::create(*registry, kRecordingComponentCid);
    QelComponent* second = QelComponent::create(*registry, kRecordingComponentCid);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(QelComponent::liveCount(), 2);
    EXPECT_NE(first->getComponent(), nullptr);
    EXPECT_NE(first->getConnectionPoint(), nullptr);
    EXPECT_EQ(first->getDescription(), registry->findByCid(kRecordingComponentCid));
    EXPECT_EQ(first->getClassName(), String(kRecordingComponentName));
    // The host object around the plug-in's is held by the wrapper alone.
    EXPECT_EQ(FObject::unknownToObject(first->getInstance())->getRefCount(), 1);

    first->release();
    EXPECT_EQ(QelComponent::liveCount(), 1);
    EXPECT_TRUE(module->isLoaded());
    second->release();
    EXPECT_EQ(QelComponent::liveCount(), 0);
    EXPECT_FALSE(module->isLoaded());
    EXPECT_EQ(calls(), (Lines{"component created", "component initialize", "component created",
                              "component initialize", "component terminate", "component destroyed",
                              "component terminate", "component destroyed"}));
}

TEST_F(Wrappers, CreateRefusesWhatIsNoComponentOrCannotBeMade)
{
    EXPECT_EQ(QelComponent::create(*registry, kRecordingMissingCid), nullptr);
    EXPECT_EQ(QelComponent::create(*registry, kRecordingPlainCid), nullptr);
    // The controller class has no IComponent either.
    EXPECT_EQ(QelComponent::create(*registry, kRecordingControllerCid), nullptr);
    EXPECT_EQ(QelComponent::liveCount(), 0);
    EXPECT_EQ(calls(),
              (Lines{"plain created", "plain terminate", "plain destroyed", "controller created",
                     "controller terminate", "controller destroyed"}));
    EXPECT_FALSE(module->isLoaded());
}

TEST_F(Wrappers, AnExceptionGoesToTheProblemHandlerNamingTheClass)
{
    std::vector<std::string> problems;
    auto collect = [&problems](const std::string& text) { problems.push_back(text); };
    EXPECT_EQ(QelComponent::create(*registry, kRecordingThrowingCid, collect), nullptr);
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_EQ(problems[0], PluginCallGuard::message(kRecordingThrowingName) +
                               " (initialize: " + kRecordingThrowMessage + ")");
}

TEST_F(Wrappers, ASeparateControllerHasItsInterfacesAndTheSecondControllerCalls)
{
    QelEditController* controller = QelEditController::create(*registry, kRecordingControllerCid);
    ASSERT_NE(controller, nullptr);
    EXPECT_NE(controller->getController(), nullptr);
    EXPECT_NE(controller->getConnectionPoint(), nullptr);
    EXPECT_EQ(controller->getUnitInfo(), nullptr);
    EXPECT_EQ(controller->getHostEditing(), nullptr);
    EXPECT_EQ(controller->getNoteExpression(), nullptr);
    EXPECT_EQ(controller->getKeyswitch(), nullptr);
    EXPECT_NE(controller->getInstance(), nullptr);

    // True exactly on kResultOk: kInvalidArgument and kResultFalse both count as no.
    EXPECT_TRUE(controller->setKnobMode(kLinearMode));
    EXPECT_FALSE(controller->setKnobMode(kCircularMode));
    EXPECT_FALSE(controller->openHelp(false));
    EXPECT_TRUE(controller->openAboutBox(true));
    EXPECT_TRUE(controller->setComponentHandler(nullptr));
    controller->release();
    EXPECT_EQ(calls(),
              (Lines{"controller created", "controller initialize", "controller setKnobMode",
                     "controller setKnobMode", "controller openHelp 0", "controller openAboutBox 1",
                     "controller setComponentHandler null", "controller terminate",
                     "controller destroyed"}));
}

TEST_F(Wrappers, AControllerThatRefusesInitializeIsReleasedAgain)
{
    EXPECT_EQ(QelEditController::create(*registry, kRecordingRefusingControllerCid), nullptr);
    EXPECT_EQ(QelEditController::create(*registry, kRecordingPlainCid), nullptr);
    EXPECT_EQ(calls(), (Lines{"refusing-controller created", "refusing-controller initialize",
                              "refusing-controller terminate", "refusing-controller destroyed",
                              "plain created", "plain terminate", "plain destroyed"}));
    EXPECT_FALSE(module->isLoaded());
}

TEST_F(Wrappers, AWrapperAroundAnExistingControllerNeverTerminatesIt)
{
    QelComponent* component = QelComponent::create(*registry, kRecordingUnitedCid);
    ASSERT_NE(component, nullptr);
    auto* existing = component->query<IEditController>(component->getComponent());
    ASSERT_NE(existing, nullptr);
    QelEditController* controller =
        QelEditController::wrapExisting(existing, component->getDescription());
    IEditController* given = existing;
    component->releaseInterface(existing); // the wrapper holds a reference of its own
    EXPECT_EQ(controller->getController(), given);
    EXPECT_EQ(controller->getInstance(), nullptr);
    // Without IEditController2 every one of its calls answers false.
    EXPECT_FALSE(controller->setKnobMode(kLinearMode));
    EXPECT_FALSE(controller->openHelp(true));
    EXPECT_FALSE(controller->openAboutBox(true));

    // Its wrapper goes first, as the provider lets it go: the component wrapper alone holds the
    // module's use and terminates the object, once.
    controller->release();
    EXPECT_EQ(calls(), (Lines{"united created", "united initialize"}));
    component->release();
    EXPECT_EQ(calls(), (Lines{"united created", "united initialize", "united terminate",
                              "united destroyed"}));
    EXPECT_FALSE(module->isLoaded());
}
