#include "base/fmessage.h"

#include <algorithm>

namespace Quillmark
{

FMessage::FMessage(const char8* name) : name(name) {}

FMessage::~FMessage()
{
    for (Entry& entry : entries)
        if (auto* ref = std::get_if<ObjectRef>(&entry.value); ref && ref->object)
            ref->object->release();
}

bool FMessage::is(const char8* messageName) const
{
    return messageName && name == ConstString(messageName);
}

FMessage::Entry* FMessage::find(const char8* key)
{
    auto it = std::find_if(entries.begin(), entries.end(),
                           [&](const Entry& entry) { return entry.key == key; });
    return it == entries.end() ? nullptr : &*it;
}

const FMessage::Entry* FMessage::find(const char8* key) const
{
    return const_cast<FMessage*>(this)->find(key);
}

void FMessage::set(const char8* key, Value value)
{
    if (!key)
        return;
    remove(key);
    entries.push_back({key, std::move(value)});
}

bool FMessage::remove(const char8* key)
{
    Entry* entry = key ? find(key) : nullptr;
    if (!entry)
        return false;
    if (auto* ref = std::get_if<ObjectRef>(&entry->value); ref && ref->object)
        ref->object->release();
    entries.erase(entries.begin() + (entry - entries.data()));
    return true;
}

void FMessage::setInt(const char8* key, int64 value)
{
    set(key, value);
}

bool FMessage::getInt(const char8* key, int64& value) const
{
    const Entry* entry = find(key);
    const int64* stored = entry ? std::get_if<int64>(&entry->value) : nullptr;
    if (stored)
        value = *stored;
    return stored != nullptr;
}

void FMessage::setFloat(const char8* key, double value)
{
    set(key, value);
}

bool FMessage::getFloat(const char8* key, double& value) const
{
    const Entry* entry = find(key);
    const double* stored = entry ? std::get_if<double>(&entry->value) : nullptr;
    if (stored)
        value = *stored;
    return stored != nullptr;
}

void FMessage::setString(const char8* key, const ConstString& value)
{
    set(key, String(value));
}

bool FMessage::getString(const char8* key, String& value) const
{
    const Entry* entry = find(key);
    const String* stored = entry ? std::get_if<String>(&entry->value) : nullptr;
    if (stored)
        value = *stored;
    return stored != nullptr;
}

void FMessage::setObject(const char8* key, FUnknown* object)
{
    if (!object)
    {
        remove(key);
        return;
    }
    object->addRef();
    set(key, ObjectRef{object});
}

FUnknown* FMessage::getObject(const char8* key) const
{
    const Entry* entry = find(key);
    const ObjectRef* stored = entry ? std::get_if<ObjectRef>(&entry->value) : nullptr;
    return stored ? stored->object : nullptr;
}

} // namespace Quillmark
