#include "hosting/qelcontextmenu.h"

#include "base/fmessage.h"
#include "hosting/qelcontextmenutarget.h"

#include <algorithm>

namespace Quillmark
{
namespace Qel
{

QelContextMenu::QelContextMenu(IPlugView* view, IContextMenuPresenter* presenter)
    : view(view), presenter(presenter)
{
}

QelContextMenu::~QelContextMenu()
{
    for (Record& record : records)
        if (record.target)
            record.target->release();
}

QelContextMenu::Record QelContextMenu::makeRecord(const Item& item, IContextMenuTarget* target)
{
    Record record;
    ContextMenuEntry& entry = record.entry;
    entry.tag = item.tag;
    entry.groupStart = (item.flags & Item::kIsGroupStart) != 0;
    entry.groupEnd = (item.flags & Item::kIsGroupEnd) != 0;
    entry.separator = entry.groupEnd || (item.flags & Item::kIsSeparator) != 0;
    entry.disabled = entry.groupStart || (item.flags & Item::kIsDisabled) != 0;
    entry.checked = (item.flags & Item::kIsChecked) != 0;
    if (!entry.separator)
    {
        // The plug-in's name need not be terminated within its 128 units.
        auto length = uint32(std::find(item.name, item.name + 128, char16(0)) - item.name);
        entry.title = String(item.name, length);
    }
    // Only an entry that can be chosen needs someone to call.
    if (!entry.separator && !entry.groupStart)
        record.target = new QelContextMenuTarget(target, item.tag);
    return record;
}

int32 QelContextMenu::firstPluginIndex() const
{
    auto it = std::find_if(records.begin(), records.end(),
                           [](const Record& record)
                           { return record.pluginSeparator || record.fromPlugin; });
    return int32(it - records.begin());
}

int32 QelContextMenu::getItemCount()
{
    return int32(records.size());
}

tresult QelContextMenu::getItem(int32 index, Item& item, IContextMenuTarget** target)
{
    if (index < 0 || index >= int32(records.size()))
        return kResultFalse;
    const Record& record = records[size_t(index)];
    item.name[0] = 0;
    if (target)
        *target = record.target ? record.target->getTarget() : nullptr;
    if (record.pluginSeparator)
    {
        item.tag = 0;
        item.flags = Item::kIsSeparator | Item::kIsGroupEnd;
        return kResultOk;
    }
    const ContextMenuEntry& entry = record.entry;
    item.tag = entry.tag;
    item.flags = 0;
    if (entry.separator)
        item.flags |= Item::kIsSeparator;
    else
        entry.title.copyTo16(item.name, 128);
    if (entry.disabled)
        item.flags |= Item::kIsDisabled;
    if (entry.checked)
        item.flags |= Item::kIsChecked;
    return kResultOk;
}

tresult QelContextMenu::addItem(const Item& item, IContextMenuTarget* target)
{
    if (!separatorAdded)
    {
        Record separator;
        separator.entry.separator = true;
        separator.pluginSeparator = true;
        records.push_back(std::move(separator));
        separatorAdded = true;
    }
    Record record = makeRecord(item, target);
    record.fromPlugin = true;
    records.push_back(std::move(record));
    return kResultOk;
}

void QelContextMenu::addHostItem(const Item& item, IContextMenuTarget* target)
{
    records.insert(records.begin() + firstPluginIndex(), makeRecord(item, target));
}

tresult QelContextMenu::removeItem(const Item& item, IContextMenuTarget* target)
{
    auto it =
        std::find_if(records.begin(), records.end(),
                     [&](const Record& record)
                     {
                         IContextMenuTarget* held =
                             record.target ? record.target->getTarget() : nullptr;
                         return record.fromPlugin && record.entry.tag == item.tag && held == target;
                     });
    if (it == records.end())
        return kResultFalse;
    if (it->target)
        it->target->release();
    records.erase(it);
    return kResultOk;
}

bool QelContextMenu::select(int32 index)
{
    if (index < 0 || index >= int32(records.size()))
        return false;
    const Record& record = records[size_t(index)];
    if (!record.target || record.entry.disabled)
        return false;
    // The plug-in may change or release the menu from within its target.
    QelContextMenuTarget* chosen = record.target;
    chosen->addRef();
    auto* message = new FMessage(QelContextMenuTarget::kMenuSelect);
    chosen->notify(message);
    message->release();
    chosen->release();
    return true;
}

std::vector<ContextMenuEntry> QelContextMenu::getEntries() const
{
    std::vector<ContextMenuEntry> entries;
    entries.reserve(records.size());
    for (const Record& record : records)
        entries.push_back(record.entry);
    return entries;
}

tresult QelContextMenu::popup(int32 x, int32 y)
{
    if (!view || !presenter)
        return kResultFalse;
    if (!presenter->viewToScreen(view, x, y))
        return kResultFalse;
    addRef();
    int32 chosen = presenter->showMenu(getEntries(), x, y);
    if (chosen >= 0)
        select(chosen);
    release();
    return chosen >= 0 ? kResultOk : kResultFalse;
}

tresult QelContextMenu::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IContextMenu)
    return CmObject::queryInterface(iid, obj);
}

} // namespace Qel
} // namespace Quillmark
