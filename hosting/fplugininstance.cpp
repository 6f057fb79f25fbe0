#include "hosting/fplugininstance.h"

#include "hosting/fmodule.h"

namespace Quillmark
{

FPluginInstance::FPluginInstance(FUnknown* object, FModule* module) : object(object), module(module)
{
    if (module)
        module->addRef();
}

FPluginInstance::~FPluginInstance()
{
    if (object)
    {
        try
        {
            object->release();
        }
        catch (...)
        {
            // The object is gone either way; its module still gets its use back.
        }
    }
    if (module)
    {
        module->releaseUse();
        module->release();
    }
}

tresult FPluginInstance::queryInterface(const TUID iid, void** obj)
{
    if (iidEqual(iid, FObject::iid.bytes))
        return FObject::queryInterface(iid, obj);
    if (!object)
    {
        *obj = nullptr;
        return kNoInterface;
    }
    try
    {
        return object->queryInterface(iid, obj);
    }
    catch (...)
    {
        *obj = nullptr;
        return kNoInterface;
    }
}

bool FPluginInstance::isTypeOf(FClassID className, bool recursive) const
{
    if (classIDsEqual(className, "FPluginInstance"))
        return true;
    return recursive && FObject::isTypeOf(className, true);
}

} // namespace Quillmark
