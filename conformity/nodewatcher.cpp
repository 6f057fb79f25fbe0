#include "conformity/nodewatcher.h"

#include "base/updatehandler.h"
#include "hosting/ftestnode.h"

namespace Quillmark
{

namespace
{

IUpdateHandler* updateHandler()
{
    if (IUpdateHandler* handler = FObject::getUpdateHandler())
        return handler;
    return UpdateHandler::instance();
}

FUnknown* identity(FTestNode* node)
{
    return static_cast<FObject*>(node);
}

} // namespace

NodeWatcher::NodeWatcher(Handler started, Handler groupEnded)
    : started(std::move(started)), groupEnded(std::move(groupEnded))
{
}

NodeWatcher::~NodeWatcher()
{
    unwatchAll();
}

void NodeWatcher::watch(FTestNode& node)
{
    updateHandler()->addDependent(identity(&node), this);
    watched.push_back(&node);
    for (int32 index = 0; index < node.countChildren(); ++index)
        if (auto* child = FCast<FTestNode>(node.getChild(index)))
            watch(*child);
}

void NodeWatcher::unwatchAll()
{
    if (watched.empty())
        return;
    IUpdateHandler* handler = updateHandler();
    for (FTestNode* node : watched)
        handler->removeDependent(identity(node), this);
    watched.clear();
}

void NodeWatcher::update(FUnknown* changedUnknown, int32 message)
{
    if (message != kChanged)
        return;
    auto* node = FCast<FTestNode>(FObject::unknownToObject(changedUnknown));
    if (!node)
        return;
    // The runner resets a node's status as it starts and stores the verdict as it ends.
    if (node->getStatus() == FTestNode::kReset)
    {
        if (started)
            started(*node);
    }
    else if (node->countChildren() > 0 && groupEnded)
        groupEnded(*node);
}

} // namespace Quillmark
