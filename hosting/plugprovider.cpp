#include "hosting/plugprovider.h"

#include "hosting/fcomponentregistry.h"
#include "qel3/iconnectionpoint.h"

namespace Quillmark
{
namespace Qel
{

namespace
{

String nodeName(FComponentRegistry* registry, const FUID& classId, const ConstString& name)
{
    if (!name.isEmpty())
        return String(name);
    if (FComponentDescription* description = registry ? registry->findByCid(classId) : nullptr)
        return description->getName();
    return String(classId.toString());
}

} // namespace

PlugProvider::PlugProvider(FComponentRegistry* registry, const FUID& classId, bool global,
                           const ConstString& name)
    : PlugProviderNode(nodeName(registry, classId, name)), registry(registry), global(global),
      classId(classId)
{
    if (registry)
        registry->addRef();
}

PlugProvider::~PlugProvider()
{
    destroyPlugIn();
    if (registry)
        registry->release();
}

bool PlugProvider::setup()
{
    return global ? createPlugIn() : true;
}

bool PlugProvider::teardown()
{
    if (global)
        destroyPlugIn();
    return true;
}

bool PlugProvider::createPlugIn()
{
    if (!registry)
        return false;
    // The new pair is made and joined first; an instance still alive is replaced only then, so
    // its module stays loaded for whoever still holds a part of it.
    QelComponent* newComponent = QelComponent::create(*registry, classId, problemHandler());
    QelEditController* newController = newComponent ? makeController(newComponent) : nullptr;
    if (newController && newController->getController())
        newController->setComponentHandler(this);
    connect(newComponent, newController);

    release(component, controller);
    component = newComponent;
    controller = newController;
    return component != nullptr;
}

QelEditController* PlugProvider::makeController(QelComponent* newComponent)
{
    IComponent* plug = newComponent->getComponent();
    if (auto* united = newComponent->query<IEditController>(plug))
    {
        // One object in both roles: initialized once, as component; terminated once, by the
        // component wrapper.
        QelEditController* wrapper = QelEditController::wrapExisting(
            united, newComponent->getDescription(), problemHandler());
        newComponent->releaseInterface(united);
        return wrapper;
    }
    TUID controllerId = {};
    tresult result = kResultFalse;
    newComponent->guarded("getControllerClassId",
                          [&] { result = plug->getControllerClassId(controllerId); });
    // A component without a controller is a valid plug-in.
    if (result != kResultOk)
        return nullptr;
    return QelEditController::create(*registry, FUID(controllerId), problemHandler());
}

void PlugProvider::connect(QelComponent* newComponent, QelEditController* newController)
{
    IConnectionPoint* componentPoint = newComponent ? newComponent->getConnectionPoint() : nullptr;
    IConnectionPoint* controllerPoint =
        newController ? newController->getConnectionPoint() : nullptr;
    if (!componentPoint || !controllerPoint)
        return;
    // A refused connection is no reason to refuse the plug-in: the results are not looked at.
    newComponent->guarded("connect", [&] { componentPoint->connect(controllerPoint); });
    newController->guarded("connect", [&] { controllerPoint->connect(componentPoint); });
}

void PlugProvider::destroyPlugIn()
{
    release(component, controller);
}

void PlugProvider::release(QelComponent*& oldComponent, QelEditController*& oldController)
{
    IConnectionPoint* componentPoint = oldComponent ? oldComponent->getConnectionPoint() : nullptr;
    IConnectionPoint* controllerPoint =
        oldController ? oldController->getConnectionPoint() : nullptr;
    if (componentPoint && controllerPoint)
    {
        oldComponent->guarded("disconnect", [&] { componentPoint->disconnect(controllerPoint); });
        oldController->guarded("disconnect", [&] { controllerPoint->disconnect(componentPoint); });
    }
    // The controller goes first, so a separate one is terminated before its component.
    if (oldController)
    {
        oldController->release();
        oldController = nullptr;
    }
    if (oldComponent)
    {
        oldComponent->release();
        oldComponent = nullptr;
    }
}

IComponent* PlugProvider::getComponent()
{
    if (!global)
        createPlugIn();
    IComponent* plug = component ? component->getComponent() : nullptr;
    if (plug && !component->guarded("addRef", [plug] { plug->addRef(); }))
        return nullptr;
    return plug;
}

IEditController* PlugProvider::getController()
{
    IEditController* plug = controller ? controller->getController() : nullptr;
    if (plug && !controller->guarded("addRef", [plug] { plug->addRef(); }))
        return nullptr;
    return plug;
}

tresult PlugProvider::releasePlugIn(IComponent* plug, IEditController* editController)
{
    // The caller's references go back first: the wrappers may still hold the objects.
    std::string problem;
    PluginCallGuard guard(className(), &problem);
    if (plug && !guard.run("release", [plug] { plug->release(); }))
        problems.push_back(problem);
    if (editController && !guard.run("release", [editController] { editController->release(); }))
        problems.push_back(problem);
    if (!global)
        destroyPlugIn();
    return kResultOk;
}

tresult PlugProvider::getSubCategories(String& result)
{
    FComponentDescription* description = registry ? registry->findByCid(classId) : nullptr;
    if (!description)
        return kResultFalse;
    result = description->subCategories;
    return kResultOk;
}

tresult PlugProvider::beginEdit(ParamID)
{
    return kResultFalse;
}

tresult PlugProvider::performEdit(ParamID, ParamValue)
{
    return kResultFalse;
}

tresult PlugProvider::endEdit(ParamID)
{
    return kResultFalse;
}

tresult PlugProvider::restartComponent(int32)
{
    return kResultFalse;
}

tresult PlugProvider::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IPlugProvider)
    QEL_QUERY_INTERFACE(iid, obj, IComponentHandler)
    return PlugProviderNode::queryInterface(iid, obj);
}

PlugInstance::ProblemHandler PlugProvider::problemHandler()
{
    return [this](const std::string& message) { problems.push_back(message); };
}

String PlugProvider::className() const
{
    FComponentDescription* description = registry ? registry->findByCid(classId) : nullptr;
    return description ? description->getName() : String(classId.toString());
}

} // namespace Qel
} // namespace Quillmark
