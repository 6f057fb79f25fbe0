#include "hosting/qelcontextmenutarget.h"

#include "base/fmessage.h"

namespace Quillmark
{
namespace Qel
{

QelContextMenuTarget::QelContextMenuTarget(IContextMenuTarget* target, int32 tag)
    : target(target), tag(tag)
{
    if (target)
        target->addRef();
}

QelContextMenuTarget::~QelContextMenuTarget()
{
    if (target)
        target->release();
}

void QelContextMenuTarget::notify(FMessage* message)
{
    if (message && message->is(kMenuSelect) && target)
        target->executeMenuItem(tag);
}

} // namespace Qel
} // namespace Quillmark
