// Watches the nodes of a test tree and tells when each one starts and when a group ends: the
// runner announces both as a change of the node. Owned by the run service for the length of a
// run; it must be dropped, or told to stop watching, before the tree goes.
#pragma once

#include "base/fobject.h"

#include <functional>
#include <vector>

namespace Quillmark
{

class FTestNode;

class NodeWatcher : public FObject
{
public:
    using Handler = std::function<void(FTestNode& node)>;

    NodeWatcher(Handler started, Handler groupEnded);
    ~NodeWatcher() override;
    NodeWatcher(const NodeWatcher&) = delete;
    NodeWatcher& operator=(const NodeWatcher&) = delete;

    /** Watches `node` and every node below it. */
    void watch(FTestNode& node);
    void unwatchAll();

    void update(FUnknown* changedUnknown, int32 message) override;

private:
    Handler started;
    Handler groupEnded;
    std::vector<FTestNode*> watched;
};

} // namespace Quillmark
