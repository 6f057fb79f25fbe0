#include "base/classfactory.h"

#include "base/singleton.h"

#include <cstring>

namespace Quillmark
{

namespace
{

uint32 hashName(const char8* name)
{
    // FNV-1a spreads short class names well over a small prime-free table.
    uint32 h = 2166136261u;
    for (; *name; ++name)
        h = (h ^ uint8(*name)) * 16777619u;
    return h;
}

uint32 hashCid(const FUID& cid)
{
    uint32 h = 2166136261u;
    const char8* bytes = cid.bytes();
    for (int i = 0; i < 16; ++i)
        h = (h ^ uint8(bytes[i])) * 16777619u;
    return h;
}

} // namespace

MetaClass::MetaClass(FClassID name, const FUID& cid, ClassCreateFunc create, ClassCreateFunc second,
                     int32 flags)
    : name(name), currentName(name), cid(cid), createFunction(create), secondFunction(second),
      flags(flags)
{
    if (ClassFactory* factory = ClassFactory::instance())
        factory->registerClass(this);
}

ClassFactory* ClassFactory::instance()
{
    return singletonInstance<ClassFactory>();
}

void ClassFactory::registerClass(MetaClass* record)
{
    if (!record || (!record->createFunction && !record->secondFunction))
        return;
    if (record->name && *record->name)
        byName[hashName(record->name) % kNameBuckets].push_back(record);
    if (record->cid.isValid())
        byCid[hashCid(record->cid) % kCidBuckets].push_back(record);
}

bool ClassFactory::replaceClass(FClassID name, FClassID replacement)
{
    for (MetaClass* record : byName[hashName(name) % kNameBuckets])
    {
        if (std::strcmp(record->name, name) == 0)
        {
            record->currentName = replacement;
            return true;
        }
    }
    return false;
}

const MetaClass* ClassFactory::findByName(const char8* name) const
{
    if (!name || !*name)
        return nullptr;
    for (const MetaClass* record : byName[hashName(name) % kNameBuckets])
        if (std::strcmp(record->name, name) == 0)
            return record;
    return nullptr;
}

const MetaClass* ClassFactory::findByCid(const FUID& cid) const
{
    if (!cid.isValid())
        return nullptr;
    for (const MetaClass* record : byCid[hashCid(cid) % kCidBuckets])
        if (record->cid == cid)
            return record;
    return nullptr;
}

FUnknown* ClassFactory::createInstance(const char8* nameOrCid) const
{
    const MetaClass* record = findByName(nameOrCid);
    if (record && record->currentName != record->name)
        record = findByName(record->currentName);
    if (!record)
    {
        FUID cid;
        if (cid.fromString(nameOrCid))
            record = findByCid(cid);
    }
    return record && record->createFunction ? record->createFunction() : nullptr;
}

FUnknown* ClassFactory::createInstance(const FUID& cid) const
{
    const MetaClass* record = findByCid(cid);
    return record && record->createFunction ? record->createFunction() : nullptr;
}

} // namespace Quillmark
