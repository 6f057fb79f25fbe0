// What a module writes down about itself for its factory: one FactoryDescription and a table of
// ClassEntry records, usually constant data next to the classes they create.
#pragma once

#include "qel3/ipluginfactory.h"

#include <new>

namespace Quillmark
{
namespace Qel
{

/** Makes a new object with one reference for the caller, or null. */
using CreateFunction = FUnknown* (*)();

/** The maker of a module, as PFactoryInfo tells it. Texts are 8-bit. */
struct FactoryDescription
{
    const char8* vendor = "";
    const char8* url = "";
    const char8* email = "";
    int32 flags = PFactoryInfo::kNoFlags;
};

/** One class of a module, at the level of PClassInfoW: names, vendor and versions are 16-bit
    texts (write them as u"" literals); category and sub-categories are 8-bit. */
struct ClassEntry
{
    QelUid cid;
    int32 cardinality = PClassInfo::kManyInstances;
    const char8* category = kAudioModuleClass;
    const char16* name = u"";
    uint32 classFlags = 0;
    const char8* subCategories = ""; // "|"-separated, such as "Fx|Dynamics"
    const char16* vendor = u"";      // empty: the host uses the vendor of the factory
    const char16* version = u"";
    const char16* sdkVersion = u"Qel 3.0.0";
    CreateFunction create = nullptr;
};

/** The usual CreateFunction of a ClassEntry, for a PluginObject class T: a new T, or null
    when memory runs out (no exception may leave a module). */
template <class T> FUnknown* createObject()
{
    T* object = new (std::nothrow) T;
    return object ? object->asUnknown() : nullptr;
}

} // namespace Qel
} // namespace Quillmark
