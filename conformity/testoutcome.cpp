#include "conformity/testoutcome.h"

#include "hosting/ftestnode.h"
#include "hosting/plugprovider.h"

namespace Quillmark
{

bool TestOutcome::passed() const
{
    return ran && summary == FTestNode::kPassed;
}

TestOutcome TestOutcome::of(const FTestNode& node)
{
    TestOutcome outcome;
    outcome.path = node.getPath().toUtf8();
    outcome.suite = suiteOf(node);
    outcome.status = node.getStatus();
    outcome.summary = node.getSummaryStatus();
    outcome.leaf = node.countChildren() == 0;
    outcome.seconds = node.getSeconds();
    for (const String& message : node.getMessages())
        outcome.messages.push_back(message.toUtf8());
    for (const String& error : node.getErrors())
        outcome.errors.push_back(error.toUtf8());
    if (!outcome.leaf)
        outcome.note =
            node.getStatus() == FTestNode::kSetupFailed ? "setup failed" : "teardown failed";
    return outcome;
}

std::string TestOutcome::suiteOf(const FTestNode& node)
{
    const FNode* topmost = &node;
    for (const FNode* current = &node; current; current = current->getParent())
    {
        if (FCast<Qel::PlugProvider>(static_cast<const FObject*>(current)))
            return static_cast<const FTestNode*>(current)->getPath().toUtf8();
        if (current->getParent() && current->getParent()->getParent())
            topmost = current->getParent();
    }
    if (const auto* top = FCast<FTestNode>(static_cast<const FObject*>(topmost)))
        return top->getPath().toUtf8();
    return node.getPath().toUtf8();
}

} // namespace Quillmark
