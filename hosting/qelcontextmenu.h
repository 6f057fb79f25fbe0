// The host's context menu for a plug-in view, as a model: the host's entries, a separator, then
// the plug-in's entries, each chosen entry calling its target. A user interface shows it through
// a presenter. Reference counted; the plug-in that asked for it owns the reference.
// Only the current edition of the menu interface is offered.
#pragma once

#include "base/fobject.h"
#include "hosting/contextmenupresenter.h"
#include "qel3/icontextmenu.h"

#include <vector>

namespace Quillmark
{
namespace Qel
{

class QelContextMenuTarget;

class QelContextMenu : public CmObject, public IContextMenu
{
    QEL_DECLARE_CLASS(QelContextMenu, CmObject)
public:
    /** The view is borrowed; the presenter too, and either may be null, in which case the
        menu cannot pop up. */
    explicit QelContextMenu(IPlugView* view = nullptr, IContextMenuPresenter* presenter = nullptr);
    ~QelContextMenu() override;
    QelContextMenu(const QelContextMenu&) = delete;
    QelContextMenu& operator=(const QelContextMenu&) = delete;

    // IContextMenu
    int32 getItemCount() override;
    /** `target` gets the entry's target without a reference added, or null. */
    tresult getItem(int32 index, Item& item, IContextMenuTarget** target) override;
    /** The first call puts a separator between the host's entries and the plug-in's. */
    tresult addItem(const Item& item, IContextMenuTarget* target) override;
    /** Removes the plug-in's entry with this tag and target. */
    tresult removeItem(const Item& item, IContextMenuTarget* target) override;
    /** Shows the menu through the presenter; a chosen entry calls its target. */
    tresult popup(int32 x, int32 y) override;

    /** An entry of the host's own; it stands before the plug-in's entries. */
    void addHostItem(const Item& item, IContextMenuTarget* target);
    /** Chooses the entry at `index` as the user would; false when it cannot be chosen. */
    bool select(int32 index);
    /** The entries as the user interface shows them. */
    std::vector<ContextMenuEntry> getEntries() const;

    void setView(IPlugView* newView) { view = newView; }
    void setPresenter(IContextMenuPresenter* newPresenter) { presenter = newPresenter; }

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    struct Record
    {
        ContextMenuEntry entry;
        /** The separator that stands before the plug-in's entries. */
        bool pluginSeparator = false;
        bool fromPlugin = false;
        QelContextMenuTarget* target = nullptr; // one reference
    };

    static Record makeRecord(const Item& item, IContextMenuTarget* target);
    int32 firstPluginIndex() const;

    IPlugView* view;
    IContextMenuPresenter* presenter;
    std::vector<Record> records;
    bool separatorAdded = false;
};

} // namespace Qel
} // namespace Quillmark
