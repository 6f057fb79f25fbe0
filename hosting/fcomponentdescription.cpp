#include "hosting/fcomponentdescription.h"

#include "hosting/fmodule.h"
#include "hosting/fpluginexception.h"
#include "hosting/fplugininstance.h"
#include "hosting/fpluginwrapper.h"

#include <algorithm>

namespace Quillmark
{

int32 FComponentDescription::compare(const CmObject* other) const
{
    const auto* description = FCast<FComponentDescription>(const_cast<CmObject*>(other));
    if (!description)
        return CmObject::compare(other);
    if (int32 result = category.compare(description->category, true))
        return result;
    return name.compare(description->name, true);
}

FUnknown* FComponentDescription::createInstance(FUnknown*)
{
    return nullptr;
}

FUnknown* FComponentDescription::createRawInstance(bool)
{
    return nullptr;
}

FPluginComponent::FPluginComponent(FModule* module, const std::string& modulePath)
    : module(module), path(modulePath)
{
}

FPluginComponent::~FPluginComponent()
{
    // Whatever the host did not hand back goes now, before the module can be unloaded.
    while (!instances.empty())
        releaseRawInstance(instances.back());
}

FUnknown* FPluginComponent::createPlainObject(std::string* problem)
{
    if (!module)
        return nullptr;
    module->acquire();
    IPluginFactory* factory = module->getFactory();
    if (!factory)
    {
        if (problem)
            *problem = module->getLoadError();
        module->releaseUse();
        return nullptr;
    }
    void* object = nullptr;
    tresult result = kResultFalse;
    PluginCallGuard guard(getName(), problem);
    guard.run("createInstance",
              [&]
              {
                  TUID classId;
                  cid.toTUID(classId);
                  result = factory->createInstance(classId, FUnknown::iid.bytes, &object);
              });
    if (result != kResultOk && object)
    {
        guard.run("release", [&] { static_cast<FUnknown*>(object)->release(); });
        object = nullptr;
    }
    if ((result != kResultOk || !object) && problem && problem->empty())
        *problem = "the factory refused to create the class";
    if (result != kResultOk || !object)
    {
        module->releaseUse();
        return nullptr;
    }
    return static_cast<FUnknown*>(object);
}

FUnknown* FPluginComponent::createInstance(FUnknown*)
{
    lastError.clear();
    FUnknown* object = createPlainObject(&lastError);
    if (!object)
        return nullptr;
    auto* host = new FPluginInstance(object, module);

    bool anyMatched = false;
    for (const FPluginWrapper& wrapper : FPluginWrapper::list())
    {
        bool matches = false;
        if (!wrapper.category.isEmpty())
            matches = wrapper.category == category;
        else if (wrapper.iid.isValid())
        {
            void* answer = nullptr;
            if (host->queryInterface(wrapper.iid.bytes(), &answer) == kResultOk && answer)
            {
                static_cast<FUnknown*>(answer)->release();
                matches = true;
            }
        }
        if (!matches || !wrapper.wrap)
            continue;
        anyMatched = true;
        if (FUnknown* wrapped = wrapper.wrap(host, this))
        {
            host->release();
            available = true;
            return wrapped;
        }
    }
    if (anyMatched)
    {
        host->release();
        return nullptr;
    }
    available = true;
    return static_cast<IDependent*>(host);
}

FUnknown* FPluginComponent::createRawInstance(bool wrapped)
{
    lastError.clear();
    FUnknown* object = createPlainObject(&lastError);
    if (!object)
        return nullptr;
    if (wrapped)
        return static_cast<IDependent*>(new FPluginInstance(object, module));
    // The use taken for the object stays until the registry is handed the object back.
    instances.push_back(object);
    return object;
}

bool FPluginComponent::ownsRawInstance(FUnknown* object) const
{
    return std::find(instances.begin(), instances.end(), object) != instances.end();
}

bool FPluginComponent::releaseRawInstance(FUnknown* object)
{
    auto it = std::find(instances.begin(), instances.end(), object);
    if (it == instances.end())
        return false;
    instances.erase(it);
    PluginCallGuard guard(getName(), nullptr);
    guard.run("release", [&] { object->release(); });
    module->releaseUse();
    return true;
}

FCompiledInComponentDescription::FCompiledInComponentDescription(CreateFunction create,
                                                                 void* userData)
    : create(create), userData(userData)
{
}

FUnknown* FCompiledInComponentDescription::createInstance(FUnknown*)
{
    return create ? create(userData) : nullptr;
}

FUnknown* FCompiledInComponentDescription::createRawInstance(bool)
{
    return createInstance(nullptr);
}

} // namespace Quillmark
