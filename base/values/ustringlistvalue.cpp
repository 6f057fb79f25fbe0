#include "base/values/ustringlistvalue.h"

#include "base/fattributes.h"

#include <algorithm>

namespace Quillmark
{

UStringListValue::UStringListValue(const ConstString& name, int32 tag)
    : UIntDefValue(name, tag, 0, 0, 0)
{
}

String UStringListValue::getString(int32 index) const
{
    return index >= 0 && index < countStrings() ? strings[size_t(index)] : String();
}

int32 UStringListValue::indexOf(const ConstString& text) const
{
    for (size_t i = 0; i < strings.size(); ++i)
        if (strings[i] == text)
            return int32(i);
    return -1;
}

void UStringListValue::listChanged()
{
    setRange(0, std::max(0, countStrings() - 1));
}

void UStringListValue::addString(const ConstString& text)
{
    strings.emplace_back(text);
    listChanged();
}

bool UStringListValue::setString(int32 index, const ConstString& text)
{
    if (index < 0 || index >= countStrings())
        return false;
    strings[size_t(index)] = String(text);
    changed(kStateChanged);
    return true;
}

bool UStringListValue::removeString(int32 index)
{
    if (index < 0 || index >= countStrings())
        return false;
    strings.erase(strings.begin() + index);
    listChanged();
    return true;
}

void UStringListValue::removeAll()
{
    strings.clear();
    listChanged();
}

void UStringListValue::setMaxRecent(int32 bound)
{
    maxRecent = std::max(0, bound);
    if (maxRecent > 0 && countStrings() > maxRecent)
    {
        trimToBound();
        listChanged();
    }
}

void UStringListValue::trimToBound()
{
    if (maxRecent > 0 && countStrings() > maxRecent)
        strings.resize(size_t(maxRecent));
}

void UStringListValue::addRecent(const ConstString& text)
{
    int32 old = indexOf(text);
    if (old >= 0)
        strings.erase(strings.begin() + old);
    strings.insert(strings.begin(), String(text));
    trimToBound();
    listChanged();
    // The entry under the index may have moved even when the index did not.
    if (!setValue(0))
        changed(kChanged);
}

void UStringListValue::storeStrings(FAttributes& attributes) const
{
    FStringList* list = attributes.setStringList(kStringsKey);
    for (const String& text : strings)
        list->add(text);
    attributes.setInt(kMaxRecentKey, maxRecent);
}

bool UStringListValue::restoreStrings(const FAttributes& attributes)
{
    FStringList* list = attributes.getStringList(kStringsKey);
    if (!list)
        return false;
    int64 bound = 0;
    if (attributes.getInt(kMaxRecentKey, bound))
        maxRecent = int32(std::clamp<int64>(bound, 0, 0x7FFFFFFF));
    strings = list->values();
    trimToBound();
    listChanged();
    return true;
}

void UStringListValue::getText(String& text) const
{
    text = getString(value);
}

tresult UStringListValue::setText(const ConstString& text)
{
    int32 index = indexOf(text);
    if (index < 0)
        return kResultFalse;
    setValue(index);
    return kResultOk;
}

} // namespace Quillmark
