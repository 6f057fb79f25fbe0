#include "base/values/umenuvalue.h"

#include <algorithm>
#include <cmath>

namespace Quillmark
{

// --- UMenuEntry -----------------------------------------------------------------------------

UMenuEntry::UMenuEntry(const ConstString& title, int32 tag) : title(title), tag(tag) {}

UMenuEntry::~UMenuEntry()
{
    removeAll();
}

UMenuEntry* UMenuEntry::addEntry(const ConstString& childTitle, int32 childTag)
{
    children.push_back(new UMenuEntry(childTitle, childTag));
    return children.back();
}

UMenuEntry* UMenuEntry::entryAt(int32 index) const
{
    return index >= 0 && index < countEntries() ? children[size_t(index)] : nullptr;
}

void UMenuEntry::removeAll()
{
    std::vector<UMenuEntry*> old;
    old.swap(children);
    for (UMenuEntry* child : old)
        child->release();
}

void UMenuEntry::collectItems(std::vector<UMenuEntry*>& items) const
{
    for (UMenuEntry* child : children)
    {
        if (child->countEntries() == 0)
            items.push_back(child);
        else
            child->collectItems(items);
    }
}

// --- UMenuValue -----------------------------------------------------------------------------

UMenuValue::UMenuValue(const ConstString& name, int32 tag)
    : UValue(name, tag), root(new UMenuEntry(name))
{
}

UMenuValue::~UMenuValue()
{
    root->release();
}

UMenuEntry* UMenuValue::addEntry(const ConstString& title, int32 entryTag)
{
    UMenuEntry* entry = root->addEntry(title, entryTag);
    entriesChanged();
    return entry;
}

void UMenuValue::removeAll()
{
    root->removeAll();
    entriesChanged();
}

void UMenuValue::entriesChanged()
{
    changed(kStateChanged);
    int32 clipped = std::clamp(index, 0, lastIndex());
    if (clipped != index)
    {
        index = clipped;
        changed(kChanged);
    }
}

int32 UMenuValue::countItems() const
{
    std::vector<UMenuEntry*> items;
    root->collectItems(items);
    return int32(items.size());
}

UMenuEntry* UMenuValue::getItem(int32 itemIndex) const
{
    std::vector<UMenuEntry*> items;
    root->collectItems(items);
    return itemIndex >= 0 && itemIndex < int32(items.size()) ? items[size_t(itemIndex)] : nullptr;
}

int32 UMenuValue::indexOfTag(int32 entryTag) const
{
    std::vector<UMenuEntry*> items;
    root->collectItems(items);
    for (size_t i = 0; i < items.size(); ++i)
        if (items[i]->getTag() == entryTag)
            return int32(i);
    return -1;
}

int32 UMenuValue::lastIndex() const
{
    return std::max(0, countItems() - 1);
}

bool UMenuValue::choose(int32 newIndex, bool notify)
{
    int32 clipped = std::clamp(newIndex, 0, lastIndex());
    if (UMenuEntry* item = getItem(clipped); item && !item->isEnabled())
        return false;
    if (clipped != index)
    {
        index = clipped;
        valueChanged(notify);
    }
    return true;
}

bool UMenuValue::setIndex(int32 newIndex, bool notify)
{
    int32 old = index;
    choose(newIndex, notify);
    return index != old;
}

double UMenuValue::getNormalized() const
{
    return ValueRange::toNormalized(index, 0, lastIndex());
}

tresult UMenuValue::setNormalized(double normalized)
{
    if (std::isnan(normalized))
        return kResultFalse;
    long rounded = std::lround(ValueRange::fromNormalized(normalized, 0, lastIndex()));
    return choose(int32(rounded), true) ? kResultOk : kResultFalse;
}

int32 UMenuValue::getStepCount() const
{
    return lastIndex();
}

tresult UMenuValue::setInt(int32 newIndex)
{
    return choose(newIndex, true) ? kResultOk : kResultFalse;
}

tresult UMenuValue::setFloat(double newIndex)
{
    if (std::isnan(newIndex))
        return kResultFalse;
    double clipped = std::clamp<double>(std::round(newIndex), 0, lastIndex());
    return choose(int32(clipped), true) ? kResultOk : kResultFalse;
}

void UMenuValue::getText(String& text) const
{
    UMenuEntry* item = getSelectedItem();
    text = item ? item->getTitle() : String();
}

tresult UMenuValue::setText(const ConstString& text)
{
    std::vector<UMenuEntry*> items;
    root->collectItems(items);
    for (size_t i = 0; i < items.size(); ++i)
        if (items[i]->getTitle() == text)
            return choose(int32(i), true) ? kResultOk : kResultFalse;
    return kResultFalse;
}

} // namespace Quillmark
