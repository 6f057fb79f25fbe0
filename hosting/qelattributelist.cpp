#include "hosting/qelattributelist.h"

#include <algorithm>
#include <cstring>

namespace Quillmark
{
namespace Qel
{

QelAttributeList::~QelAttributeList()
{
    clear();
}

QelAttributeList::Value* QelAttributeList::findValue(AttrID id)
{
    if (!id)
        return nullptr;
    auto it = std::find_if(values.begin(), values.end(),
                           [&](const Value& value) { return value.name == id; });
    return it == values.end() ? nullptr : &*it;
}

const QelAttributeList::Value* QelAttributeList::findValue(AttrID id) const
{
    return const_cast<QelAttributeList*>(this)->findValue(id);
}

QelAttributeList::Binary* QelAttributeList::findBinary(AttrID id)
{
    if (!id)
        return nullptr;
    auto it = std::find_if(binaries.begin(), binaries.end(),
                           [&](const Binary& binary) { return binary.name == id; });
    return it == binaries.end() ? nullptr : &*it;
}

const QelAttributeList::Binary* QelAttributeList::findBinary(AttrID id) const
{
    return const_cast<QelAttributeList*>(this)->findBinary(id);
}

void QelAttributeList::reset(Value& value)
{
    if (value.object)
        value.object->release();
    value.object = nullptr;
    value.type = kNoValue;
    value.intValue = 0;
    value.floatValue = 0;
    value.text.clear();
}

QelAttributeList::Value& QelAttributeList::setValue(AttrID id, int32 type)
{
    Value* value = findValue(id);
    if (!value)
    {
        values.push_back({});
        value = &values.back();
        value->name = id;
    }
    else
        reset(*value);
    value->type = type;
    return *value;
}

tresult QelAttributeList::setInt(AttrID id, int64 value)
{
    if (!id)
        return kInvalidArgument;
    setValue(id, kInteger).intValue = value;
    return kResultOk;
}

tresult QelAttributeList::getInt(AttrID id, int64& value)
{
    const Value* stored = findValue(id);
    value = stored && baseType(stored->type) == kInteger ? stored->intValue : 0;
    return stored ? kResultOk : kResultFalse;
}

tresult QelAttributeList::setFloat(AttrID id, double value)
{
    if (!id)
        return kInvalidArgument;
    setValue(id, kFloat).floatValue = value;
    return kResultOk;
}

tresult QelAttributeList::getFloat(AttrID id, double& value)
{
    const Value* stored = findValue(id);
    value = stored && baseType(stored->type) == kFloat ? stored->floatValue : 0;
    return stored ? kResultOk : kResultFalse;
}

tresult QelAttributeList::setString(AttrID id, const TChar* string)
{
    if (!id || !string)
        return kInvalidArgument;
    // A copy in 16-bit units, so the plug-in's buffer may go away after the call.
    String copy(string);
    copy.toWideString();
    setValue(id, kString16 | kOwnsContent).text = std::move(copy);
    return kResultOk;
}

tresult QelAttributeList::getString(AttrID id, TChar* string, uint32 sizeInBytes)
{
    uint32 units = sizeInBytes / 2;
    if (!string || units == 0)
        return kResultFalse;
    const Value* stored = findValue(id);
    if (!stored)
        return kResultFalse;
    int32 type = baseType(stored->type);
    if (type != kString8 && type != kString16)
        return kResultFalse;
    // copyTo16 converts an 8-bit text and never splits a surrogate pair at the cut.
    stored->text.copyTo16(string, units);
    return kResultOk;
}

tresult QelAttributeList::setBinary(AttrID id, const void* data, uint32 sizeInBytes)
{
    if (!id || (!data && sizeInBytes > 0))
        return kInvalidArgument;
    Binary* binary = findBinary(id);
    if (!binary)
    {
        binaries.push_back({});
        binary = &binaries.back();
        binary->name = id;
    }
    const auto* bytes = static_cast<const uint8*>(data);
    binary->data.assign(bytes, bytes + sizeInBytes);
    binary->data.shrink_to_fit();
    return kResultOk;
}

tresult QelAttributeList::getBinary(AttrID id, const void*& data, uint32& sizeInBytes)
{
    const Binary* binary = findBinary(id);
    data = binary && !binary->data.empty() ? binary->data.data() : nullptr;
    sizeInBytes = data ? uint32(binary->data.size()) : 0;
    return data ? kResultOk : kResultFalse;
}

void QelAttributeList::setString8(AttrID id, const char8* text)
{
    if (!id)
        return;
    if (!text)
    {
        if (Value* value = findValue(id))
        {
            reset(*value);
            values.erase(values.begin() + (value - values.data()));
        }
        return;
    }
    String copy(text);
    copy.toMultiByte();
    setValue(id, kString8 | kOwnsContent).text = std::move(copy);
}

const char8* QelAttributeList::getString8(AttrID id) const
{
    const Value* value = findValue(id);
    return value && baseType(value->type) == kString8 ? value->text.text8() : nullptr;
}

void QelAttributeList::setObject(AttrID id, FUnknown* object)
{
    if (!id)
        return;
    if (!object)
    {
        if (Value* value = findValue(id))
        {
            reset(*value);
            values.erase(values.begin() + (value - values.data()));
        }
        return;
    }
    object->addRef();
    setValue(id, kObject | kOwnsContent).object = object;
}

FUnknown* QelAttributeList::getObject(AttrID id) const
{
    const Value* value = findValue(id);
    return value && baseType(value->type) == kObject ? value->object : nullptr;
}

int32 QelAttributeList::getType(AttrID id) const
{
    const Value* value = findValue(id);
    return value ? baseType(value->type) : kNoValue;
}

bool QelAttributeList::hasBinary(AttrID id) const
{
    return findBinary(id) != nullptr;
}

bool QelAttributeList::setTransient(AttrID id, bool state)
{
    bool found = false;
    if (Value* value = findValue(id))
        value->transient = state, found = true;
    if (Binary* binary = findBinary(id))
        binary->transient = state, found = true;
    return found;
}

bool QelAttributeList::isTransient(AttrID id) const
{
    const Value* value = findValue(id);
    const Binary* binary = findBinary(id);
    return (value && value->transient) || (binary && binary->transient);
}

bool QelAttributeList::remove(AttrID id)
{
    bool found = false;
    if (Value* value = findValue(id))
    {
        reset(*value);
        values.erase(values.begin() + (value - values.data()));
        found = true;
    }
    if (Binary* binary = findBinary(id))
    {
        binaries.erase(binaries.begin() + (binary - binaries.data()));
        found = true;
    }
    return found;
}

void QelAttributeList::clear()
{
    for (Value& value : values)
        reset(value);
    values.clear();
    binaries.clear();
}

void QelAttributeList::copyFrom(const QelAttributeList& other)
{
    if (&other == this)
        return;
    clear();
    for (const Value& value : other.values)
    {
        // Objects stay with their list: a copy must not share a plug-in's object with another
        // receiver behind the owner's back.
        if (value.transient || baseType(value.type) == kObject)
            continue;
        values.push_back(value);
        values.back().object = nullptr;
    }
    for (const Binary& binary : other.binaries)
        if (!binary.transient)
            binaries.push_back(binary);
}

tresult QelAttributeList::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IAttributeList)
    return CmObject::queryInterface(iid, obj);
}

} // namespace Qel
} // namespace Quillmark
