#include "presets/pattributes.h"

namespace Quillmark
{
namespace QmMedia
{

namespace
{

constexpr const char8* kTypeKey = "Type";
constexpr const char8* kFlagsKey = "Flags";
constexpr const char8* kStringKey = "String";
constexpr const char8* kFloatKey = "Float";
constexpr const char8* kObjectKey = "Object";
constexpr const char8* kLongKey = "Long";

} // namespace

PStringIDMediaAttribute::PStringIDMediaAttribute(std::string id) : id(std::move(id)) {}

PStringIDMediaAttribute::~PStringIDMediaAttribute()
{
    dropObject();
}

void PStringIDMediaAttribute::dropObject()
{
    if (object)
        object->release();
    object = nullptr;
}

void PStringIDMediaAttribute::setString(const ConstString& value)
{
    dropObject();
    type = kString;
    text = String(value);
}

void PStringIDMediaAttribute::setFloat(double value)
{
    dropObject();
    type = kFloat;
    number = value;
}

void PStringIDMediaAttribute::setLong(int64 value)
{
    dropObject();
    type = kLong;
    integer = value;
}

void PStringIDMediaAttribute::setObject(FAttributes* value)
{
    if (value)
        value->addRef();
    dropObject();
    object = value ? value : new FAttributes;
    type = kObject;
}

bool PStringIDMediaAttribute::getString(String& value) const
{
    if (type != kString)
        return false;
    value = text;
    return true;
}

bool PStringIDMediaAttribute::getFloat(double& value) const
{
    if (type != kFloat)
        return false;
    value = number;
    return true;
}

bool PStringIDMediaAttribute::getLong(int64& value) const
{
    if (type != kLong)
        return false;
    value = integer;
    return true;
}

void PStringIDMediaAttribute::store(FAttributes& into) const
{
    into.setInt(kTypeKey, type);
    into.setInt(kFlagsKey, flags);
    switch (type)
    {
    case kString:
        into.setString(kStringKey, text);
        break;
    case kFloat:
        into.setFloat(kFloatKey, number);
        break;
    case kLong:
        into.setInt(kLongKey, integer);
        break;
    case kObject:
        into.setList(kObjectKey)->copyFrom(*object);
        break;
    }
}

bool PStringIDMediaAttribute::load(const FAttributes& from)
{
    int64 storedType = -1, storedFlags = 0;
    if (!from.getInt(kTypeKey, storedType))
        return false;
    from.getInt(kFlagsKey, storedFlags);
    switch (storedType)
    {
    case kString:
    {
        String value;
        if (!from.getString(kStringKey, value))
            return false;
        setString(value);
        break;
    }
    case kFloat:
    {
        // A whole number written by another writer reads as well.
        double value = 0;
        if (!from.getFloat(kFloatKey, value))
            return false;
        setFloat(value);
        break;
    }
    case kLong:
    {
        int64 value = 0;
        if (!from.getInt(kLongKey, value))
            return false;
        setLong(value);
        break;
    }
    case kObject:
    {
        FAttrList* list = from.getList(kObjectKey);
        if (!list)
            return false;
        auto* value = new FAttributes;
        value->copyFrom(*list);
        setObject(value);
        value->release();
        break;
    }
    default:
        return false;
    }
    flags = int32(storedFlags);
    return true;
}

PAttributes::~PAttributes()
{
    clear();
}

PStringIDMediaAttribute* PAttributes::at(int32 index) const
{
    return index >= 0 && index < count() ? attributes[size_t(index)] : nullptr;
}

PStringIDMediaAttribute* PAttributes::find(const std::string& id) const
{
    for (PStringIDMediaAttribute* attribute : attributes)
        if (attribute->getID() == id)
            return attribute;
    return nullptr;
}

PStringIDMediaAttribute* PAttributes::set(const std::string& id)
{
    if (PStringIDMediaAttribute* existing = find(id))
        return existing;
    attributes.push_back(new PStringIDMediaAttribute(id));
    return attributes.back();
}

bool PAttributes::remove(const std::string& id)
{
    for (auto it = attributes.begin(); it != attributes.end(); ++it)
        if ((*it)->getID() == id)
        {
            (*it)->release();
            attributes.erase(it);
            return true;
        }
    return false;
}

void PAttributes::clear()
{
    for (PStringIDMediaAttribute* attribute : attributes)
        attribute->release();
    attributes.clear();
}

void PAttributes::store(FAttributes& into) const
{
    for (const PStringIDMediaAttribute* attribute : attributes)
        attribute->store(*into.setList(attribute->getID().c_str()));
}

bool PAttributes::load(const FAttributes& from)
{
    clear();
    bool whole = true;
    for (int32 i = 0; i < from.count(); ++i)
    {
        const char8* name = from.nameAt(i);
        FAttrList* tree = from.typeAt(i) == FAttrType::kList ? from.getList(name) : nullptr;
        auto* attribute = tree && !find(name) ? new PStringIDMediaAttribute(name) : nullptr;
        if (!attribute || !attribute->load(*tree))
        {
            whole = false;
            if (attribute)
                attribute->release();
            continue;
        }
        attributes.push_back(attribute);
    }
    return whole;
}

void PAttributes::fromMediaAttributeList(const Qel::MediaAttributeList& list)
{
    clear();
    for (const auto& entry : list.all())
    {
        PStringIDMediaAttribute* attribute = set(entry.id);
        switch (entry.kind)
        {
        case Qel::MediaAttributeList::Kind::kInt:
            attribute->setLong(entry.intValue);
            break;
        case Qel::MediaAttributeList::Kind::kFloat:
            attribute->setFloat(entry.floatValue);
            break;
        case Qel::MediaAttributeList::Kind::kString:
            attribute->setString(String(entry.text));
            break;
        }
        attribute->setFlags(entry.flags);
    }
}

void PAttributes::toMediaAttributeList(Qel::MediaAttributeList& list) const
{
    list.clear();
    for (const PStringIDMediaAttribute* attribute : attributes)
    {
        String text;
        double number = 0;
        int64 integer = 0;
        if (attribute->getString(text))
            list.setString(attribute->getID(), text.toUtf8(), attribute->getFlags());
        else if (attribute->getFloat(number))
            list.setFloat(attribute->getID(), number, attribute->getFlags());
        else if (attribute->getLong(integer))
            list.setInt(attribute->getID(), integer, attribute->getFlags());
    }
}

} // namespace QmMedia
} // namespace Quillmark
