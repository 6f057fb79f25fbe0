// Brings one plug-in class to life as a component and an edit controller for the tests, joins the
// two, and takes them down again in the order the plug-in is promised. Each node of the test
// tree that runs a test over a class owns one provider; the provider owns both wrappers.
#pragma once

#include "base/fuid.h"
#include "hosting/ftestnode.h"
#include "hosting/iplugprovider.h"
#include "hosting/qelcomponent.h"
#include "hosting/qeleditcontroller.h"
#include "qel3/icomponenthandler.h"

#include <string>
#include <vector>

namespace Quillmark
{

class FComponentRegistry;

namespace Qel
{

/** The tree node class a provider hangs in: each class's tests run below its providers. */
using PlugProviderNode = FTestNode;

class PlugProvider : public PlugProviderNode, public IPlugProvider, public IComponentHandler
{
    QEL_DECLARE_CLASS(PlugProvider, PlugProviderNode)
public:
    /** `registry` gets a reference of the provider's own. A global provider serves one instance
        from its setup to its teardown; any other builds a fresh one on each getComponent. The
        node is named `name`, or after the class when that is empty. */
    PlugProvider(FComponentRegistry* registry, const FUID& classId, bool global = false,
                 const ConstString& name = ConstString());
    /** Tears down what is still alive. A plug-in that keeps the component handler holds a
        reference to the provider until its terminate, so an owner that drops a provider with a
        living instance calls teardown first. */
    ~PlugProvider() override;
    PlugProvider(const PlugProvider&) = delete;
    PlugProvider& operator=(const PlugProvider&) = delete;

    /** As a node of the test tree: a global provider brings its one instance to life here
        (true when there is a component) and takes it down in teardown; any other does nothing
        in either, since each getComponent makes a fresh instance. */
    bool setup() override;
    bool teardown() override;

    /** Creates and initializes the component, then its controller (the same object for a united
        class, else the class it names), hands over the component handler and connects the two.
        A call over a living instance replaces it. True when there is a component. */
    bool createPlugIn();
    /** Disconnects the two halves and releases the controller, then the component. */
    void destroyPlugIn();

    // IPlugProvider
    IComponent* getComponent() override;
    IEditController* getController() override;
    tresult releasePlugIn(IComponent* component, IEditController* controller) override;
    tresult getSubCategories(String& result) override;

    // IComponentHandler: what a plug-in signals during a test reaches no verdict.
    tresult beginEdit(ParamID id) override;
    tresult performEdit(ParamID id, ParamValue valueNormalized) override;
    tresult endEdit(ParamID id) override;
    tresult restartComponent(int32 flags) override;

    // FUnknown, on the reference count of the host object.
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

    bool isGlobal() const { return global; }
    const FUID& getClassId() const { return classId; }
    /** The wrappers of the living instance; borrowed, null when there is none. */
    QelComponent* getComponentWrapper() const { return component; }
    QelEditController* getControllerWrapper() const { return controller; }

    /** The messages of exceptions caught in calls into the plug-in, oldest first. */
    const std::vector<std::string>& getProblems() const { return problems; }
    void clearProblems() { problems.clear(); }

private:
    /** Disconnects and releases one pair of wrappers, controller first. */
    static void release(QelComponent*& oldComponent, QelEditController*& oldController);
    QelEditController* makeController(QelComponent* newComponent);
    void connect(QelComponent* newComponent, QelEditController* newController);
    PlugInstance::ProblemHandler problemHandler();
    String className() const;

    FComponentRegistry* registry;
    QelComponent* component = nullptr;
    QelEditController* controller = nullptr;
    bool global;
    FUID classId;
    std::vector<std::string> problems;
};

} // namespace Qel
} // namespace Quillmark
