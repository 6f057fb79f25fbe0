// A plug-in's own editor view, as the host embeds it in a window of its own.
//
// The identifier and the order of the operations of IPlugView are this host's own choice: no
// published table fixes them. A module built against another layout of this interface will not
// be recognised, and a host that asks for a view simply gets none from it.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{
namespace Qel
{

/** A rectangle in pixels, as a view reports and is given its size. */
struct ViewRect
{
    int32 left = 0;
    int32 top = 0;
    int32 right = 0;
    int32 bottom = 0;

    int32 getWidth() const { return right - left; }
    int32 getHeight() const { return bottom - top; }
};

static_assert(sizeof(ViewRect) == 16);

/** The kind of parent window a view is embedded in on Linux: an X11 window id. */
inline constexpr FIDString kPlatformTypeX11EmbedWindowID = "X11EmbedWindowID";

class IPlugView : public FUnknown
{
public:
    /** kResultOk when the view can live in a parent of this platform type. */
    virtual tresult isPlatformTypeSupported(FIDString type) = 0;
    /** The view is embedded in `parent`, a window of the platform type `type`. */
    virtual tresult attached(void* parent, FIDString type) = 0;
    /** The view leaves its parent; the host releases it after this. */
    virtual tresult removed() = 0;
    /** The size the view wants. */
    virtual tresult getSize(ViewRect* size) = 0;
    /** The host gives the view a new size. */
    virtual tresult onSize(ViewRect* newSize) = 0;
    /** kResultOk when the user may resize the window that holds the view. */
    virtual tresult canResize() = 0;

    QEL_INTERFACE_IID(0x4A1C6E52, 0x9D0B4F37, 0xB2E8C5A1, 0x7F3D0C19);
};

} // namespace Qel
} // namespace Quillmark
