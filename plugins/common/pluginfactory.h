// The factory of a module, over a constant table of classes. It implements IPluginFactory3 and
// so the two older interfaces, and can be told to answer only up to an older one. The module's
// GetPluginFactory creates it; from then on the host owns it by reference.
#pragma once

#include "common/classentry.h"
#include "common/iptr.h"
#include "common/pluginobject.h"
#include "common/plugintext.h"

#include <cstring>
#include <span>

namespace Quillmark
{
namespace Qel
{

/** The newest factory interface a factory answers in queryInterface. The operations of newer
    interfaces then answer kNotImplemented, as if the factory did not have them. */
enum class FactoryLevel : int32
{
    kFactory = 1,
    kFactory2 = 2,
    kFactory3 = 3,
};

class PluginFactory : public PluginObject<IPluginFactory3>
{
public:
    /** `classes` is borrowed and must outlive the factory, as constant data of the module do;
        so must the texts both arguments point to. */
    PluginFactory(const FactoryDescription& factoryDescription,
                  std::span<const ClassEntry> classTable,
                  FactoryLevel answeredLevel = FactoryLevel::kFactory3)
        : description(factoryDescription), classes(classTable), level(answeredLevel)
    {
    }

    tresult queryInterface(const TUID iid, void** obj) override
    {
        if ((answers(FactoryLevel::kFactory3) && offer<IPluginFactory3>(iid, obj)) ||
            (answers(FactoryLevel::kFactory2) && offer<IPluginFactory2>(iid, obj)) ||
            offer<IPluginFactory>(iid, obj) || offer<FUnknown, IPluginFactory>(iid, obj))
            return kResultOk;
        return refuse(iid, obj);
    }

    // IPluginFactory

    tresult getFactoryInfo(PFactoryInfo* info) override
    {
        if (!info)
            return kInvalidArgument;
        std::memset(info, 0, sizeof(PFactoryInfo));
        copyText(info->vendor, description.vendor);
        copyText(info->url, description.url);
        copyText(info->email, description.email);
        info->flags = description.flags;
        return kResultOk;
    }

    int32 countClasses() override { return static_cast<int32>(classes.size()); }

    tresult getClassInfo(int32 index, PClassInfo* info) override
    {
        const ClassEntry* entry = classAt(index);
        if (!entry || !info)
            return kInvalidArgument;
        std::memset(info, 0, sizeof(PClassInfo));
        std::memcpy(info->cid, entry->cid.bytes, sizeof(TUID));
        info->cardinality = entry->cardinality;
        copyText(info->category, entry->category);
        narrowText(info->name, entry->name);
        return kResultOk;
    }

    /** Makes an object of class `cid` and answers it as `iid`. An unknown class answers
        kNoInterface; an object that lacks `iid` is released again. */
    tresult createInstance(FIDString cid, FIDString iid, void** obj) override
    {
        if (!obj)
            return kInvalidArgument;
        *obj = nullptr;
        if (!cid || !iid)
            return kInvalidArgument;
        const ClassEntry* entry = findClass(cid);
        if (!entry || !entry->create)
            return kNoInterface;

        FUnknown* object = nullptr;
        try
        {
            object = entry->create();
        }
        catch (...)
        {
            // No exception may cross into the host: a class that cannot be made is a failure.
            return kResultFalse;
        }
        if (!object)
            return kResultFalse;
        const tresult result = object->queryInterface(iid, obj);
        object->release(); // the creation reference; the caller holds the queried one
        return result;
    }

    // IPluginFactory2

    tresult getClassInfo2(int32 index, PClassInfo2* info) override
    {
        if (!answers(FactoryLevel::kFactory2))
            return kNotImplemented;
        const ClassEntry* entry = classAt(index);
        if (!entry || !info)
            return kInvalidArgument;
        std::memset(info, 0, sizeof(PClassInfo2));
        std::memcpy(info->cid, entry->cid.bytes, sizeof(TUID));
        info->cardinality = entry->cardinality;
        copyText(info->category, entry->category);
        narrowText(info->name, entry->name);
        info->classFlags = entry->classFlags;
        copyText(info->subCategories, entry->subCategories);
        narrowText(info->vendor, entry->vendor);
        narrowText(info->version, entry->version);
        narrowText(info->sdkVersion, entry->sdkVersion);
        return kResultOk;
    }

    // IPluginFactory3

    tresult getClassInfoUnicode(int32 index, PClassInfoW* info) override
    {
        if (!answers(FactoryLevel::kFactory3))
            return kNotImplemented;
        const ClassEntry* entry = classAt(index);
        if (!entry || !info)
            return kInvalidArgument;
        std::memset(info, 0, sizeof(PClassInfoW));
        std::memcpy(info->cid, entry->cid.bytes, sizeof(TUID));
        info->cardinality = entry->cardinality;
        copyText(info->category, entry->category);
        copyText(info->name, entry->name);
        info->classFlags = entry->classFlags;
        copyText(info->subCategories, entry->subCategories);
        copyText(info->vendor, entry->vendor);
        copyText(info->version, entry->version);
        copyText(info->sdkVersion, entry->sdkVersion);
        return kResultOk;
    }

    /** Keeps `context` with a reference of its own until the next call or the factory's end;
        null lets go of the one kept. */
    tresult setHostContext(FUnknown* context) override
    {
        if (!answers(FactoryLevel::kFactory3))
            return kNotImplemented;
        hostContext.reset(context);
        return kResultOk;
    }

    FactoryLevel getLevel() const { return level; }
    FUnknown* getHostContext() const { return hostContext.get(); }

protected:
    /** Only release destroys a factory. */
    ~PluginFactory() override = default;

    bool answers(FactoryLevel wanted) const { return level >= wanted; }

    const ClassEntry* classAt(int32 index) const
    {
        if (index < 0 || static_cast<std::size_t>(index) >= classes.size())
            return nullptr;
        return &classes[static_cast<std::size_t>(index)];
    }

    const ClassEntry* findClass(FIDString cid) const
    {
        for (const ClassEntry& entry : classes)
            if (iidEqual(entry.cid.bytes, cid))
                return &entry;
        return nullptr;
    }

private:
    FactoryDescription description;
    std::span<const ClassEntry> classes;
    FactoryLevel level;
    IPtr<FUnknown> hostContext;
};

} // namespace Qel
} // namespace Quillmark
