#include "hosting/plugininstance.h"

#include "hosting/fcomponentregistry.h"

#include "hosting/qelhostcontext.h"
#include "qel3/ipluginbase.h"

namespace Quillmark
{
namespace Qel
{

PlugInstance::PlugInstance(FUnknown* instance, FComponentDescription* description,
                           ProblemHandler onProblem)
    : description(description), instance(instance), problemHandler(std::move(onProblem))
{
    if (description)
        description->addRef();
    if (instance)
        guarded("addRef", [instance] { instance->addRef(); });
}

PlugInstance::~PlugInstance()
{
    if (instance)
    {
        // Whatever terminate answers, the object is let go of: there is no second chance.
        if (IPluginBase* base = query<IPluginBase>(instance))
        {
            guarded("terminate", [base] { base->terminate(); });
            releaseInterface(base);
        }
        releaseInterface(instance);
    }
    if (description)
    {
        description->release();
        description = nullptr;
    }
}

bool PlugInstance::initialize()
{
    if (!checkInterfaces())
        return false;
    IPluginBase* base = query<IPluginBase>(instance);
    if (!base)
        return true;
    QelHostContext* context = QelHostContext::instance();
    FUnknown* contextUnknown = context ? static_cast<IHostApplication*>(context) : nullptr;
    tresult result = kResultFalse;
    guarded("initialize", [&] { result = base->initialize(contextUnknown); });
    releaseInterface(base);
    return result == kResultOk;
}

String PlugInstance::getClassName() const
{
    return description ? description->getName() : String();
}

FUnknown* PlugInstance::createObject(FComponentRegistry& registry, const FUID& cid,
                                     FComponentDescription*& description,
                                     const ProblemHandler& onProblem)
{
    FUnknown* object = registry.createInstance(cid);
    description = registry.findByCid(cid);
    // The registry has caught what the factory threw; the user learns it here.
    if (!object && description && onProblem &&
        description->lastError.find(kPluginExceptionText) != std::string::npos)
        onProblem(description->lastError);
    return object;
}

void PlugInstance::reportProblem(const std::string& message)
{
    lastProblem = message;
    if (problemHandler)
        problemHandler(message);
}

} // namespace Qel
} // namespace Quillmark
