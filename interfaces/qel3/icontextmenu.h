// The host's context menu as a plug-in sees it: it may list the host's items, add its own with a
// target that is told when one is chosen, and show the menu at a point of its view.
#pragma once

#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

/** One entry of a context menu. */
struct ContextMenuItem
{
    enum Flags : int32
    {
        kIsSeparator = 1 << 0,
        kIsDisabled = 1 << 1,
        kIsChecked = 1 << 2,
        kIsGroupStart = 1 << 3,
        kIsGroupEnd = 1 << 4,
    };

    String128 name;
    int32 tag;
    int32 flags;
};

static_assert(sizeof(ContextMenuItem) == 264);
static_assert(offsetof(ContextMenuItem, name) == 0);
static_assert(offsetof(ContextMenuItem, tag) == 256);
static_assert(offsetof(ContextMenuItem, flags) == 260);

/** Told when a menu entry that it was added with is chosen. */
class IContextMenuTarget : public FUnknown
{
public:
    virtual tresult executeMenuItem(int32 tag) = 0;

    QEL_INTERFACE_IID(0x3CDF2E75, 0x85D34144, 0xBF86D36B, 0xD7C4894D);
};

class IContextMenu : public FUnknown
{
public:
    using Item = ContextMenuItem;

    virtual int32 getItemCount() = 0;
    /** Fills `item`; `target` (may be null) gets the item's target, with no reference added. */
    virtual tresult getItem(int32 index, Item& item, IContextMenuTarget** target) = 0;
    virtual tresult addItem(const Item& item, IContextMenuTarget* target) = 0;
    virtual tresult removeItem(const Item& item, IContextMenuTarget* target) = 0;
    /** Shows the menu at a point in the coordinates of the view it was made for. */
    virtual tresult popup(int32 x, int32 y) = 0;

    QEL_INTERFACE_IID(0x2E93C863, 0x0C9C4588, 0x97DBECF5, 0xAD17817D);
};

} // namespace Qel
} // namespace Quillmark
