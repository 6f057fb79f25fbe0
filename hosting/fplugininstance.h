// The host object around an object that a module created: it keeps a use of the module, so the
// module's code stays loaded as long as the object lives, and it answers every interface query
// with the plug-in object's own answer. Whoever receives it from the registry owns it.
#pragma once

#include "base/fobject.h"

namespace Quillmark
{

class FModule;

class FPluginInstance : public FObject
{
public:
    /** Takes over one reference to `object` and the use of `module` the caller took. */
    FPluginInstance(FUnknown* object, FModule* module);
    ~FPluginInstance() override;

    /** The host's own request is answered by this object; all others by the plug-in's. */
    tresult queryInterface(const TUID iid, void** obj) override;

    /** The plug-in's object; borrowed. */
    FUnknown* getObject() const { return object; }
    FModule* getModule() const { return module; }

    FClassID isTypeName() const override { return "FPluginInstance"; }
    bool isTypeOf(FClassID className, bool recursive = true) const override;
    static FClassID getFClassID() { return "FPluginInstance"; }

private:
    FUnknown* object;
    FModule* module;
};

} // namespace Quillmark
