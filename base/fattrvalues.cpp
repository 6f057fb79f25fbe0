#include "base/fattrvalues.h"

#include "base/classfactory.h"
#include "base/fattributes.h"

#include <cstring>

namespace Quillmark
{

FAttrBuffer::FAttrBuffer(const void* data, int64 size)
{
    assign(data, size);
}

void FAttrBuffer::assign(const void* data, int64 size)
{
    if (!data || size <= 0)
    {
        bytes.clear();
        return;
    }
    const auto* begin = static_cast<const uint8*>(data);
    bytes.assign(begin, begin + size);
}

bool FAttrBuffer::isEqual(const CmObject* other) const
{
    const auto* that = FCast<FAttrBuffer>(other);
    return that && that->bytes == bytes;
}

bool FIntList::isEqual(const CmObject* other) const
{
    const auto* that = FCast<FIntList>(other);
    return that && that->items == items;
}

bool FFloatList::isEqual(const CmObject* other) const
{
    const auto* that = FCast<FFloatList>(other);
    if (!that || that->items.size() != items.size())
        return false;
    return items.empty() ||
           std::memcmp(items.data(), that->items.data(), items.size() * sizeof(double)) == 0;
}

bool FStringList::isEqual(const CmObject* other) const
{
    const auto* that = FCast<FStringList>(other);
    if (!that || that->items.size() != items.size())
        return false;
    for (size_t i = 0; i < items.size(); ++i)
    {
        if (items[i].isWide() != that->items[i].isWide() || items[i] != that->items[i])
            return false;
    }
    return true;
}

bool FObjectList::isEqual(const CmObject* other) const
{
    const auto* that = FCast<FObjectList>(other);
    return that && that->items == items;
}

FSubList::~FSubList()
{
    clear();
}

FAttrList* FSubList::add(FAttrList* list)
{
    if (list)
        list->addRef();
    else
        list = new FAttrList;
    items.push_back(list);
    return list;
}

FAttrList* FSubList::at(int32 index) const
{
    return index >= 0 && index < count() ? items[size_t(index)] : nullptr;
}

void FSubList::clear()
{
    std::vector<FAttrList*> old;
    old.swap(items);
    for (FAttrList* list : old)
        list->release();
}

bool FSubList::isEqual(const CmObject* other) const
{
    const auto* that = FCast<FSubList>(other);
    if (!that || that->items.size() != items.size())
        return false;
    for (size_t i = 0; i < items.size(); ++i)
    {
        if (!items[i]->isEqual(that->items[i]))
            return false;
    }
    return true;
}

FXmlInstance::FXmlInstance(const ConstString& name, uint64 id)
    : className(name.toUtf8()), attributes(new FAttrList)
{
    setXmlID(id);
}

FXmlInstance::~FXmlInstance()
{
    attributes->release();
}

bool FXmlInstance::storeXml(FAttributes& out) const
{
    out.copyFrom(*attributes);
    return true;
}

bool FXmlInstance::restoreXml(const FAttributes& in)
{
    attributes->copyFrom(in);
    return true;
}

FXmlObject* FXmlInstance::createObject() const
{
    ClassFactory* factory = ClassFactory::instance();
    FUnknown* unknown = factory ? factory->createInstance(className.c_str()) : nullptr;
    if (!unknown)
        return nullptr;
    auto* object = FCast<FXmlObject>(unknown);
    if (!object || !object->restoreXml(*attributes))
    {
        unknown->release();
        return nullptr;
    }
    object->setXmlID(getXmlID());
    return object;
}

bool FXmlInstance::isEqual(const CmObject* other) const
{
    const auto* that = FCast<FXmlInstance>(other);
    // The number belongs to the document the object was read from, not to its content.
    return that && that->className == className && attributes->isEqual(that->attributes);
}

bool FXmlReference::isEqual(const CmObject* other) const
{
    const auto* that = FCast<FXmlReference>(other);
    return that && that->id == id;
}

} // namespace Quillmark
