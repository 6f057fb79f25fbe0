// The dictionary of creatable host classes, by name and by class identifier. Filled during
// static construction through MetaClass records and read afterwards; a singleton.
#pragma once

#include "base/fobject.h"
#include "base/fuid.h"

#include <vector>

namespace Quillmark
{

using ClassCreateFunc = FUnknown* (*)();

/** One creatable class. A replacing record redirects the current name of another. */
class MetaClass
{
public:
    MetaClass(FClassID name, const FUID& cid, ClassCreateFunc create,
              ClassCreateFunc second = nullptr, int32 flags = 0);

    FClassID name;
    FClassID currentName;
    FUID cid;
    ClassCreateFunc createFunction;
    ClassCreateFunc secondFunction;
    int32 flags;
};

class ClassFactory : public FObject
{
public:
    static constexpr int32 kNameBuckets = 50;
    static constexpr int32 kCidBuckets = 20;

    static ClassFactory* instance();

    /** Enters a record: by name when it has one, by identifier when that is valid. */
    void registerClass(MetaClass* record);
    /** Redirects the current name of `name` to `replacement`. */
    bool replaceClass(FClassID name, FClassID replacement);

    /** By name first; failing that the text is read as a 32-character identifier. */
    FUnknown* createInstance(const char8* nameOrCid) const;
    FUnknown* createInstance(const FUID& cid) const;

    const MetaClass* findByName(const char8* name) const;
    const MetaClass* findByCid(const FUID& cid) const;

    FClassID isTypeName() const override { return "ClassFactory"; }

private:
    std::vector<MetaClass*> byName[kNameBuckets];
    std::vector<MetaClass*> byCid[kCidBuckets];
};

/** Registers a host class with the factory at static construction:
    QEL_META_CLASS (FMemoryStream, FUID (...)). */
#define QEL_META_CLASS(ClassName, cidValue)                                                        \
    static ::Quillmark::MetaClass gMetaClass##ClassName(                                           \
        #ClassName, cidValue,                                                                      \
        []() -> ::Quillmark::FUnknown*                                                             \
        { return static_cast<::Quillmark::FObject*>(new ClassName); })

} // namespace Quillmark
