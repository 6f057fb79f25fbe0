// IPluginBase for plug-in objects: initialize keeps the host context with a reference of its
// own, terminate gives it back. Each class a module creates derives from this (directly, or
// later through the component and controller interfaces that extend IPluginBase).
#pragma once

#include "common/iptr.h"
#include "common/pluginobject.h"
#include "qel3/ipluginbase.h"

#include <type_traits>

namespace Quillmark
{
namespace Qel
{

/** `Interface` is IPluginBase or an interface derived from it; `Others` are further interfaces.
    The object is initialized between a successful initialize and the next terminate. */
template <class Interface = IPluginBase, class... Others>
class PluginBase : public PluginObject<Interface, Others...>
{
    static_assert(std::is_base_of_v<IPluginBase, Interface>);
    using Base = PluginObject<Interface, Others...>;

public:
    /** A second initialize without terminate answers kResultFalse; a null context is
        refused, since everything a plug-in may ask of the host goes through it. */
    tresult initialize(FUnknown* context) override
    {
        if (!context)
            return kInvalidArgument;
        if (hostContext)
            return kResultFalse;
        hostContext.reset(context);
        return kResultOk;
    }

    /** Answers kResultFalse when the object is not initialized. */
    tresult terminate() override
    {
        if (!hostContext)
            return kResultFalse;
        hostContext.reset();
        return kResultOk;
    }

    tresult queryInterface(const TUID iid, void** obj) override
    {
        if (this->template offer<IPluginBase, Interface>(iid, obj))
            return kResultOk;
        return Base::queryInterface(iid, obj);
    }

    bool isInitialized() const { return static_cast<bool>(hostContext); }

protected:
    PluginBase() = default;

    /** The context given to initialize, or null outside initialize/terminate. */
    FUnknown* getHostContext() const { return hostContext.get(); }

private:
    IPtr<FUnknown> hostContext;
};

} // namespace Qel
} // namespace Quillmark
