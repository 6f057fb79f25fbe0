// One class in the registry: what it is called, where it comes from and how to make one.
// FPluginComponent is a class of a module; FCompiledInComponentDescription one built into the
// host. The registry owns every description.
#pragma once

#include "base/fobject.h"
#include "base/fstring.h"
#include "base/fuid.h"

#include <string>
#include <vector>

namespace Quillmark
{

class FModule;

class FComponentDescription : public CmObject
{
    QEL_DECLARE_CLASS(FComponentDescription, CmObject)
public:
    FComponentDescription() = default;

    /** By category, then by name, both case-sensitive. */
    int32 compare(const CmObject* other) const override;

    virtual const String& getName() const { return name; }
    virtual const String& getCategory() const { return category; }
    virtual String getVendor() const { return String(); }
    virtual const String& getVersion() const { return version; }
    virtual const FUID& getCid() const { return cid; }
    /** A new instance with one reference for the caller, or null. */
    virtual FUnknown* createInstance(FUnknown* outer = nullptr);
    virtual FUnknown* createRawInstance(bool wrapped);

    uint32 classFlags = 0;
    String subCategories;
    String version;
    String sdkVersion;
    String location;
    int32 cardinality = 0;
    String name;
    String category;
    FUID cid;
    int32 componentNumber = -1;
    bool available = true;
    /** Why the last creation failed, for the caller's report. */
    std::string lastError;
};

/** A class offered by a module's factory. */
class FPluginComponent : public FComponentDescription
{
    QEL_DECLARE_CLASS(FPluginComponent, FComponentDescription)
public:
    /** `module` is borrowed: the registry owns it and outlives this description. */
    FPluginComponent(FModule* module, const std::string& modulePath);
    ~FPluginComponent() override;

    String getVendor() const override { return vendor; }
    FUnknown* createInstance(FUnknown* outer = nullptr) override;
    FUnknown* createRawInstance(bool wrapped) override;

    /** Drops a plain object handed out by createRawInstance(false); false when unknown. */
    bool releaseRawInstance(FUnknown* object);
    bool ownsRawInstance(FUnknown* object) const;

    FModule* getModule() const { return module; }
    const std::string& getModulePath() const { return path; }

    String vendor;
    String url;
    String email;

private:
    /** The plug-in's own object with a use of the module taken, or null. */
    FUnknown* createPlainObject(std::string* problem);

    FModule* module;
    std::string path;
    std::vector<FUnknown*> instances;
};

/** A class built into the host, entered with FComponentRegistry::addCompiledInClass. */
class FCompiledInComponentDescription : public FComponentDescription
{
    QEL_DECLARE_CLASS(FCompiledInComponentDescription, FComponentDescription)
public:
    using CreateFunction = FUnknown* (*)(void* userData);

    FCompiledInComponentDescription(CreateFunction create, void* userData);

    String getVendor() const override { return String("Quillmark"); }
    FUnknown* createInstance(FUnknown* outer = nullptr) override;
    FUnknown* createRawInstance(bool wrapped) override;

private:
    CreateFunction create;
    void* userData;
};

} // namespace Quillmark
