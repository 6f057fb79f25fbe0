#include "base/fattributes.h"

#include <cstring>

namespace Quillmark
{

namespace
{

const char8* safeName(const char8* name)
{
    return name ? name : "";
}

bool sameBits(double a, double b)
{
    return std::memcmp(&a, &b, sizeof(double)) == 0;
}

/** A deep copy of a value object; objects that are not plain data are shared. */
FObject* copyValue(FAttrType type, FObject* object)
{
    switch (type)
    {
    case FAttrType::kList:
    {
        auto* list = new FAttrList;
        list->copyFrom(*static_cast<FAttrList*>(object));
        return list;
    }
    case FAttrType::kObject:
        if (auto* instance = FCast<FXmlInstance>(object))
        {
            auto* copy = new FXmlInstance(instance->getXmlClass(), instance->getXmlID());
            copy->getAttributes().copyFrom(instance->getAttributes());
            return copy;
        }
        break;
    case FAttrType::kReference:
        return new FXmlReference(static_cast<FXmlReference*>(object)->getID());
    case FAttrType::kBuffer:
    {
        auto* buffer = static_cast<FAttrBuffer*>(object);
        return new FAttrBuffer(buffer->data(), buffer->size());
    }
    case FAttrType::kIntList:
    {
        auto* list = new FIntList;
        list->values() = static_cast<FIntList*>(object)->values();
        return list;
    }
    case FAttrType::kFloatList:
    {
        auto* list = new FFloatList;
        list->values() = static_cast<FFloatList*>(object)->values();
        return list;
    }
    case FAttrType::kStringList:
    {
        auto* list = new FStringList;
        list->values() = static_cast<FStringList*>(object)->values();
        return list;
    }
    case FAttrType::kObjectList:
    {
        auto* list = new FObjectList;
        list->values() = static_cast<FObjectList*>(object)->values();
        return list;
    }
    case FAttrType::kSubList:
    {
        auto* source = static_cast<FSubList*>(object);
        auto* list = new FSubList;
        for (int32 i = 0; i < source->count(); ++i)
            list->add()->copyFrom(*source->at(i));
        return list;
    }
    default:
        break;
    }
    if (object)
        object->addRef();
    return object;
}

} // namespace

FAttributes::~FAttributes()
{
    clear();
}

const char8* FAttributes::nameAt(int32 index) const
{
    if (index < 0 || index >= count())
        return nullptr;
    return entries[size_t(index)].name.c_str();
}

FAttrType FAttributes::typeAt(int32 index) const
{
    if (index < 0 || index >= count())
        return FAttrType::kNone;
    return entries[size_t(index)].type;
}

int32 FAttributes::indexOf(const char8* name) const
{
    const char8* wanted = safeName(name);
    for (size_t i = 0; i < entries.size(); ++i)
    {
        if (entries[i].name == wanted)
            return int32(i);
    }
    return -1;
}

FAttrType FAttributes::getType(const char8* name) const
{
    return typeAt(indexOf(name));
}

bool FAttributes::remove(const char8* name)
{
    int32 index = indexOf(name);
    if (index < 0)
        return false;
    FObject* object = entries[size_t(index)].object;
    entries.erase(entries.begin() + index);
    if (object)
        object->release();
    return true;
}

void FAttributes::clear()
{
    std::vector<Entry> old;
    old.swap(entries);
    for (Entry& entry : old)
    {
        if (entry.object)
            entry.object->release();
    }
}

FAttributes::Entry& FAttributes::setEntry(const char8* name, FAttrType type)
{
    int32 index = indexOf(name);
    if (index < 0)
    {
        entries.emplace_back();
        entries.back().name = safeName(name);
        index = count() - 1;
    }
    Entry& entry = entries[size_t(index)];
    FObject* old = entry.object;
    entry.type = type;
    entry.intValue = 0;
    entry.floatValue = 0;
    entry.text.clear();
    entry.object = nullptr;
    // Released last: the old value may own the very text or object that is being set.
    if (old)
        old->release();
    return entry;
}

const FAttributes::Entry* FAttributes::find(const char8* name, FAttrType type) const
{
    int32 index = indexOf(name);
    if (index < 0 || entries[size_t(index)].type != type)
        return nullptr;
    return &entries[size_t(index)];
}

FObject* FAttributes::setObjectEntry(const char8* name, FAttrType type, FObject* object)
{
    object->addRef(); // before the entry lets go of a value that may be the same object
    Entry& entry = setEntry(name, type);
    entry.object = object;
    return object;
}

void FAttributes::setInt(const char8* name, int64 value)
{
    setEntry(name, FAttrType::kInt).intValue = value;
}

void FAttributes::appendInt(const char8* name, int64 value)
{
    entries.emplace_back();
    Entry& entry = entries.back();
    entry.name = safeName(name);
    entry.type = FAttrType::kInt;
    entry.intValue = value;
}

bool FAttributes::getIntAt(int32 index, int64& value) const
{
    if (index < 0 || index >= count() || entries[size_t(index)].type != FAttrType::kInt)
        return false;
    value = entries[size_t(index)].intValue;
    return true;
}

bool FAttributes::getInt(const char8* name, int64& value) const
{
    const Entry* entry = find(name, FAttrType::kInt);
    if (!entry)
        return false;
    value = entry->intValue;
    return true;
}

void FAttributes::setFloat(const char8* name, double value)
{
    setEntry(name, FAttrType::kFloat).floatValue = value;
}

bool FAttributes::getFloat(const char8* name, double& value) const
{
    if (const Entry* entry = find(name, FAttrType::kFloat))
    {
        value = entry->floatValue;
        return true;
    }
    if (const Entry* entry = find(name, FAttrType::kInt))
    {
        value = double(entry->intValue);
        return true;
    }
    return false;
}

void FAttributes::setString(const char8* name, const ConstString& value)
{
    String copy(value); // `value` may be the text of the entry being replaced
    setEntry(name, FAttrType::kString).text = std::move(copy);
}

bool FAttributes::getString(const char8* name, String& value) const
{
    const Entry* entry = find(name, FAttrType::kString);
    if (!entry)
        return false;
    value = entry->text;
    return true;
}

#define QEL_ATTR_OBJECT_ACCESS(Setter, Getter, Class, Kind)                                        \
    Class* FAttributes::Setter(const char8* name, Class* value)                                    \
    {                                                                                              \
        if (value)                                                                                 \
            return static_cast<Class*>(setObjectEntry(name, Kind, value));                         \
        auto* fresh = new Class;                                                                   \
        setObjectEntry(name, Kind, fresh);                                                         \
        fresh->release();                                                                          \
        return fresh;                                                                              \
    }                                                                                              \
    Class* FAttributes::Getter(const char8* name) const                                            \
    {                                                                                              \
        const Entry* entry = find(name, Kind);                                                     \
        return entry ? static_cast<Class*>(entry->object) : nullptr;                               \
    }

QEL_ATTR_OBJECT_ACCESS(setIntList, getIntList, FIntList, FAttrType::kIntList)
QEL_ATTR_OBJECT_ACCESS(setFloatList, getFloatList, FFloatList, FAttrType::kFloatList)
QEL_ATTR_OBJECT_ACCESS(setStringList, getStringList, FStringList, FAttrType::kStringList)
QEL_ATTR_OBJECT_ACCESS(setObjectList, getObjectList, FObjectList, FAttrType::kObjectList)
QEL_ATTR_OBJECT_ACCESS(setSubList, getSubList, FSubList, FAttrType::kSubList)

#undef QEL_ATTR_OBJECT_ACCESS

FAttrList* FAttributes::setList(const char8* name, FAttrList* list)
{
    if (list == this)
        return nullptr;
    if (list)
        return static_cast<FAttrList*>(setObjectEntry(name, FAttrType::kList, list));
    auto* fresh = new FAttrList;
    setObjectEntry(name, FAttrType::kList, fresh);
    fresh->release();
    return fresh;
}

FAttrList* FAttributes::getList(const char8* name) const
{
    const Entry* entry = find(name, FAttrType::kList);
    return entry ? static_cast<FAttrList*>(entry->object) : nullptr;
}

FAttrBuffer* FAttributes::setBuffer(const char8* name, const void* data, int64 size)
{
    auto* buffer = new FAttrBuffer(data, size);
    setObjectEntry(name, FAttrType::kBuffer, buffer);
    buffer->release();
    return buffer;
}

FAttrBuffer* FAttributes::getBuffer(const char8* name) const
{
    const Entry* entry = find(name, FAttrType::kBuffer);
    return entry ? static_cast<FAttrBuffer*>(entry->object) : nullptr;
}

void FAttributes::setObject(const char8* name, FXmlObject* object)
{
    if (!object)
    {
        remove(name);
        return;
    }
    setObjectEntry(name, FAttrType::kObject, object);
}

FXmlObject* FAttributes::getObject(const char8* name) const
{
    const Entry* entry = find(name, FAttrType::kObject);
    return entry ? static_cast<FXmlObject*>(entry->object) : nullptr;
}

FXmlReference* FAttributes::setReference(const char8* name, uint64 id)
{
    auto* reference = new FXmlReference(id);
    setObjectEntry(name, FAttrType::kReference, reference);
    reference->release();
    return reference;
}

FXmlReference* FAttributes::getReference(const char8* name) const
{
    const Entry* entry = find(name, FAttrType::kReference);
    return entry ? static_cast<FXmlReference*>(entry->object) : nullptr;
}

void FAttributes::copyFrom(const FAttributes& other)
{
    if (&other == this)
        return;
    std::vector<Entry> copy;
    copy.reserve(other.entries.size());
    for (const Entry& entry : other.entries)
    {
        Entry e = entry;
        e.object = entry.object ? copyValue(entry.type, entry.object) : nullptr;
        copy.push_back(std::move(e));
    }
    clear();
    entries = std::move(copy);
}

bool FAttributes::isEqual(const CmObject* other) const
{
    const auto* that = FCast<FAttributes>(other);
    if (!that || that->entries.size() != entries.size())
        return false;
    if (that == this)
        return true;
    for (size_t i = 0; i < entries.size(); ++i)
    {
        const Entry& a = entries[i];
        const Entry& b = that->entries[i];
        if (a.name != b.name || a.type != b.type || a.intValue != b.intValue ||
            !sameBits(a.floatValue, b.floatValue))
            return false;
        if (a.type == FAttrType::kString &&
            (a.text.isWide() != b.text.isWide() || a.text != b.text))
            return false;
        if (a.object != b.object)
        {
            const auto* objectA = FCast<CmObject>(a.object);
            const auto* objectB = FCast<CmObject>(b.object);
            if (!objectA || !objectB || !objectA->isEqual(objectB))
                return false;
        }
    }
    return true;
}

} // namespace Quillmark
