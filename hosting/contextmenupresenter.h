// What the user interface does for a plug-in's context menu: it places a point of a plug-in
// view on the screen and shows a list of entries there. The menu model borrows the presenter,
// which the user interface owns and keeps alive while a menu may pop up.
#pragma once

#include "base/fstring.h"
#include "qel3/qeltypes.h"

#include <vector>

namespace Quillmark
{
namespace Qel
{

class IPlugView;

/** One line of a context menu as the user interface shows it. */
struct ContextMenuEntry
{
    String title;
    int32 tag = 0;
    bool separator = false;
    bool disabled = false;
    bool checked = false;
    /** The entries between a group start and its group end may be shown as a submenu. */
    bool groupStart = false;
    bool groupEnd = false;
};

class IContextMenuPresenter
{
public:
    /** Converts a point in the coordinates of `view` to screen coordinates; false when the
        view is not shown. */
    virtual bool viewToScreen(IPlugView* view, int32& x, int32& y) = 0;
    /** Shows the entries at a screen point and waits for the user: the index of the chosen
        entry, or a negative number when nothing was chosen. */
    virtual int32 showMenu(const std::vector<ContextMenuEntry>& entries, int32 x, int32 y) = 0;

protected:
    ~IContextMenuPresenter() = default;
};

} // namespace Qel
} // namespace Quillmark
