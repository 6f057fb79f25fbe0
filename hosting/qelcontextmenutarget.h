// What a context menu entry of a plug-in calls when it is chosen: the plug-in's target and the
// entry's tag. Owned by its menu; holds a reference to the target.
#pragma once

#include "base/fobject.h"
#include "qel3/icontextmenu.h"

namespace Quillmark
{
namespace Qel
{

class QelContextMenuTarget : public CmObject
{
    QEL_DECLARE_CLASS(QelContextMenuTarget, CmObject)
public:
    /** The message that a chosen entry sends to its record. */
    static constexpr const char8* kMenuSelect = "MenuSelect";

    /** `target` may be null; then choosing the entry does nothing. */
    QelContextMenuTarget(IContextMenuTarget* target, int32 tag);
    ~QelContextMenuTarget() override;
    QelContextMenuTarget(const QelContextMenuTarget&) = delete;
    QelContextMenuTarget& operator=(const QelContextMenuTarget&) = delete;

    IContextMenuTarget* getTarget() const { return target; }
    int32 getTag() const { return tag; }

    /** "MenuSelect" calls executeMenuItem with the tag. */
    void notify(FMessage* message) override;

private:
    IContextMenuTarget* target;
    int32 tag;
};

} // namespace Qel
} // namespace Quillmark
