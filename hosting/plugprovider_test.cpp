#include "hosting/plugprovider.h"

#include "hosting/recordingtestsupport.h"

#include <algorithm>
#include <chrono>

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::Qel::Examples;

namespace
{

class Provider : public Quillmark::testing::RecordingModule
{
protected:
    PlugProvider* make(const FUID& cid, bool global = false)
    {
        return new PlugProvider(registry, cid, global);
    }
};

} // namespace

TEST_F(Provider, SeparateHalvesSeeTheOrderTheHostPromises)
{
    PlugProvider* provider = make(kRecordingComponentCid);
    EXPECT_EQ(provider->getName(), String(kRecordingComponentName));
    EXPECT_FALSE(module->isLoaded());

    IComponent* plug = provider->getComponent();
    ASSERT_NE(plug, nullptr);
    IEditController* controller = provider->getController();
    ASSERT_NE(controller, nullptr);
    EXPECT_TRUE(module->isLoaded());
    EXPECT_EQ(module->getUseCount(), 2);
    EXPECT_EQ(QelComponent::liveCount(), 1);
    // The handler the plug-in got is the provider's, and it reports nothing back.
    IComponentHandler* handler = provider->getControllerWrapper()->getComponentHandler();
    EXPECT_EQ(handler, static_cast<IComponentHandler*>(provider));
    EXPECT_EQ(handler->beginEdit(1), kResultFalse);
    EXPECT_EQ(handler->performEdit(1, 0.5), kResultFalse);
    EXPECT_EQ(handler->endEdit(1), kResultFalse);
    EXPECT_EQ(handler->restartComponent(1), kResultFalse);

    plug->setActive(true);
    controller->setComponentState(nullptr);
    plug->setActive(false);
    EXPECT_EQ(provider->releasePlugIn(plug, controller), kResultOk);

    EXPECT_EQ(
        calls(),
        (Lines{"component created", "component initialize", "component getControllerClassId",
               "controller created", "controller initialize", "controller setComponentHandler host",
               "component connect controller", "controller connect component",
               "component setActive 1", "controller setComponentState", "component setActive 0",
               "component disconnect controller", "controller disconnect component",
               "controller terminate", "controller destroyed", "component terminate",
               "component destroyed"}));
    EXPECT_EQ(provider->getComponentWrapper(), nullptr);
    EXPECT_EQ(provider->getControllerWrapper(), nullptr);
    EXPECT_FALSE(module->isLoaded());
    EXPECT_TRUE(provider->getProblems().empty());
    provider->release();
}

TEST_F(Provider, AUnitedClassIsInitializedAndTerminatedOnce)
{
    PlugProvider* provider = make(kRecordingUnitedCid);
    IComponent* plug = provider->getComponent();
    ASSERT_NE(plug, nullptr);
    IEditController* controller = provider->getController();
    ASSERT_NE(controller, nullptr);
    EXPECT_EQ(controller->getParameterCount(), 0);

    // Both halves are the one object; only the component wrapper owns an instance.
    void* first = nullptr;
    void* second = nullptr;
    ASSERT_EQ(plug->queryInterface(FUnknown::iid.bytes, &first), kResultOk);
    ASSERT_EQ(controller->queryInterface(FUnknown::iid.bytes, &second), kResultOk);
    EXPECT_EQ(first, second);
    static_cast<FUnknown*>(first)->release();
    static_cast<FUnknown*>(second)->release();
    EXPECT_EQ(provider->getControllerWrapper()->getInstance(), nullptr);
    EXPECT_EQ(provider->getControllerWrapper()->getComponentHandler(),
              static_cast<IComponentHandler*>(provider));

    provider->releasePlugIn(plug, controller);
    EXPECT_EQ(calls(),
              (Lines{"united created", "united initialize", "united setComponentHandler host",
                     "united getParameterCount", "united terminate", "united destroyed"}));
    EXPECT_FALSE(module->isLoaded());
    provider->release();
}

TEST_F(Provider, AControllerClassNoModuleOffersLeavesTheControllerNull)
{
    PlugProvider* provider = make(kRecordingOrphanCid);
    IComponent* plug = provider->getComponent();
    ASSERT_NE(plug, nullptr);
    EXPECT_EQ(provider->getController(), nullptr);
    EXPECT_EQ(provider->releasePlugIn(plug, nullptr), kResultOk);
    EXPECT_EQ(calls(), (Lines{"orphan created", "orphan initialize", "orphan getControllerClassId",
                              "orphan terminate", "orphan destroyed"}));
    EXPECT_TRUE(provider->getProblems().empty());
    provider->release();
}

TEST_F(Provider, AControllerThatRefusesToInitializeIsDroppedAndTheComponentStays)
{
    PlugProvider* provider = make(kRecordingRefusedCid);
    IComponent* plug = provider->getComponent();
    ASSERT_NE(plug, nullptr);
    EXPECT_EQ(provider->getController(), nullptr);
    EXPECT_EQ(calls(),
              (Lines{"refused created", "refused initialize", "refused getControllerClassId",
                     "refusing-controller created", "refusing-controller initialize",
                     "refusing-controller terminate", "refusing-controller destroyed"}));
    EXPECT_TRUE(module->isLoaded());
    EXPECT_EQ(module->getUseCount(), 1);

    clearCalls();
    provider->releasePlugIn(plug, nullptr);
    EXPECT_EQ(calls(), (Lines{"refused terminate", "refused destroyed"}));
    EXPECT_FALSE(module->isLoaded());
    provider->release();
}

TEST_F(Provider, AComponentWhoseInitializeThrowsIsReleasedAndNamed)
{
    PlugProvider* provider = make(kRecordingThrowingCid);
    EXPECT_EQ(provider->getComponent(), nullptr);
    EXPECT_EQ(provider->getController(), nullptr);
    EXPECT_EQ(provider->getComponentWrapper(), nullptr);
    // No controller was asked for; the object got the wrapper's terminate and is gone.
    EXPECT_EQ(calls(), (Lines{"throwing created", "throwing initialize", "throwing terminate",
                              "throwing destroyed"}));
    EXPECT_FALSE(module->isLoaded());

    ASSERT_EQ(provider->getProblems().size(), 1u);
    const std::string& problem = provider->getProblems().front();
    EXPECT_EQ(problem.find(kPluginExceptionText), 0u) << problem;
    EXPECT_NE(problem.find(std::string(kPluginExceptionText) + kRecordingThrowingName),
              std::string::npos)
        << problem;
    EXPECT_NE(problem.find(kRecordingThrowMessage), std::string::npos) << problem;

    EXPECT_EQ(provider->releasePlugIn(nullptr, nullptr), kResultOk);
    provider->release();
}

TEST_F(Provider, AThrowingControllerQueryCountsAsNoController)
{
    PlugProvider* provider = make(kRecordingThrowingIdCid);
    IComponent* plug = provider->getComponent();
    ASSERT_NE(plug, nullptr);
    EXPECT_EQ(provider->getController(), nullptr);
    ASSERT_EQ(provider->getProblems().size(), 1u);
    EXPECT_NE(provider->getProblems().front().find(kRecordingThrowingIdName), std::string::npos);
    provider->releasePlugIn(plug, nullptr);
    EXPECT_EQ(calls().back(), "throwing-id destroyed");
    provider->release();
}

TEST_F(Provider, AClassThatCannotBeMadeLeavesTheProviderEmpty)
{
    for (const FUID& cid : {FUID(kRecordingMissingCid), FUID(kRecordingPlainCid)})
    {
        PlugProvider* provider = make(cid);
        EXPECT_EQ(provider->getComponent(), nullptr);
        EXPECT_EQ(provider->getController(), nullptr);
        EXPECT_EQ(provider->releasePlugIn(nullptr, nullptr), kResultOk);
        provider->release();
    }
    // The object without IComponent was never initialized, yet its wrapper terminated it.
    EXPECT_EQ(calls(), (Lines{"plain created", "plain terminate", "plain destroyed"}));
    EXPECT_FALSE(module->isLoaded());
}

TEST_F(Provider, AGlobalProviderKeepsOneInstanceUntilItsTeardown)
{
    PlugProvider* provider = make(kRecordingComponentCid, true);
    EXPECT_EQ(provider->getComponent(), nullptr); // nothing before setup
    ASSERT_TRUE(provider->setup());

    IComponent* first = provider->getComponent();
    IEditController* controller = provider->getController();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(provider->releasePlugIn(first, controller), kResultOk);
    EXPECT_EQ(provider->releasePlugIn(nullptr, nullptr), kResultOk);
    IComponent* second = provider->getComponent();
    EXPECT_EQ(second, first);
    provider->releasePlugIn(second, nullptr);
    EXPECT_NE(provider->getComponentWrapper(), nullptr);
    EXPECT_TRUE(module->isLoaded());

    provider->teardown();
    EXPECT_FALSE(module->isLoaded());
    Lines lines = calls();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "component created"), 1);
    EXPECT_EQ(lines.back(), "component destroyed");
    provider->release();
}

TEST_F(Provider, TheDestructorTearsDownWhatIsStillAlive)
{
    PlugProvider* provider = make(kRecordingComponentCid, true);
    ASSERT_TRUE(provider->setup());
    clearCalls();
    provider->release();
    EXPECT_EQ(calls(), (Lines{"component disconnect controller", "controller disconnect component",
                              "controller terminate", "controller destroyed", "component terminate",
                              "component destroyed"}));
    EXPECT_FALSE(module->isLoaded());
}

TEST_F(Provider, ASecondGetComponentWithoutReleaseReplacesTheInstance)
{
    PlugProvider* provider = make(kRecordingComponentCid);
    IComponent* first = provider->getComponent();
    ASSERT_NE(first, nullptr);
    clearCalls();
    IComponent* second = provider->getComponent();
    ASSERT_NE(second, nullptr);
    EXPECT_NE(second, first);
    // The new pair is whole before the old one goes, so the module never unloads in between;
    // the caller's reference keeps the old component object itself.
    EXPECT_EQ(
        calls(),
        (Lines{"component created", "component initialize", "component getControllerClassId",
               "controller created", "controller initialize", "controller setComponentHandler host",
               "component connect controller", "controller connect component",
               "component disconnect controller", "controller disconnect component",
               "controller terminate", "controller destroyed", "component terminate"}));
    EXPECT_EQ(QelComponent::liveCount(), 1);

    // Callers pair the calls: the second reference goes back while its module is still held.
    second->release();
    clearCalls();
    provider->releasePlugIn(first, nullptr);
    EXPECT_EQ(calls().front(), "component destroyed"); // the first object, kept by the caller
    EXPECT_EQ(calls().back(), "component destroyed");
    EXPECT_FALSE(module->isLoaded());
    provider->release();
}

TEST_F(Provider, TheModuleUnloadsAFixedDelayAfterTheLastInstanceWhenDeferred)
{
    using Clock = std::chrono::steady_clock;
    FModuleBase::setDeferredUnloading(true);
    FMainLoop* loop = FMainLoop::instance();

    PlugProvider* first = make(kRecordingComponentCid, true);
    PlugProvider* second = make(kRecordingUnitedCid, true);
    ASSERT_TRUE(first->setup());
    ASSERT_TRUE(second->setup());
    EXPECT_EQ(module->getUseCount(), 3);

    // While one instance lives, the module stays, however long the loop runs.
    first->teardown();
    loop->dispatchWithin(2 * FModuleBase::kUnloadDelayMs);
    loop->dispatchDue();
    EXPECT_TRUE(module->isLoaded());
    EXPECT_FALSE(loop->isPending(module, "Unload"));

    const auto lastGone = Clock::now(); // the delay runs from within teardown
    second->teardown();
    EXPECT_TRUE(module->isLoaded());
    EXPECT_TRUE(loop->isPending(module, "Unload"));
    int32 delivered = loop->dispatchDue();
    // Not due yet, unless the machine stalled for the whole delay.
    if (Clock::now() - lastGone < std::chrono::milliseconds(FModuleBase::kUnloadDelayMs - 10))
    {
        EXPECT_EQ(delivered, 0);
        EXPECT_TRUE(module->isLoaded());
    }
    while (module->isLoaded() && Clock::now() - lastGone < std::chrono::seconds(5))
        loop->dispatchWithin(1000);
    EXPECT_FALSE(module->isLoaded());
    EXPECT_GE(Clock::now() - lastGone, std::chrono::milliseconds(FModuleBase::kUnloadDelayMs));

    first->release();
    second->release();
}

TEST_F(Provider, SubCategoriesComeFromTheClassEntry)
{
    PlugProvider* provider = make(kRecordingComponentCid);
    String result;
    EXPECT_EQ(provider->getSubCategories(result), kResultOk);
    EXPECT_EQ(result, String(kRecordingSubCategories));
    provider->release();

    provider = make(kRecordingMissingCid);
    EXPECT_EQ(provider->getSubCategories(result), kResultFalse);
    provider->release();
}

TEST_F(Provider, AnswersItsOwnInterfacesOnTheNodesCount)
{
    PlugProvider* provider = make(kRecordingComponentCid);
    void* object = nullptr;
    ASSERT_EQ(provider->queryInterface(IPlugProvider::iid.bytes, &object), kResultOk);
    EXPECT_EQ(object, static_cast<IPlugProvider*>(provider));
    EXPECT_EQ(provider->getRefCount(), 2);
    static_cast<IPlugProvider*>(object)->release();
    ASSERT_EQ(provider->queryInterface(IComponentHandler::iid.bytes, &object), kResultOk);
    static_cast<IComponentHandler*>(object)->release();
    EXPECT_EQ(provider->getRefCount(), 1);
    EXPECT_NE(FCast<FNode>(static_cast<FObject*>(provider)), nullptr);
    provider->release();
}
