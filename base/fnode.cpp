#include "base/fnode.h"

#include <algorithm>

namespace Quillmark
{

FNode::FNode(const ConstString& name) : name(name) {}

FNode::~FNode()
{
    removeAll();
}

bool FNode::addChild(FNode* child)
{
    if (!child || child->parent)
        return false;
    for (const FNode* node = this; node; node = node->parent)
    {
        if (node == child)
            return false;
    }
    child->name = uniqueChildName(child->name);
    child->parent = this;
    children.push_back(child);
    return true;
}

bool FNode::removeChild(FNode* child)
{
    auto it = std::find(children.begin(), children.end(), child);
    if (it == children.end())
        return false;
    children.erase(it);
    child->parent = nullptr;
    child->release();
    return true;
}

void FNode::removeAll()
{
    // Detach first, so that a child's destructor never sees a half-emptied list.
    std::vector<FNode*> old;
    old.swap(children);
    for (FNode* child : old)
    {
        child->parent = nullptr;
        child->release();
    }
}

FNode* FNode::getChild(int32 index) const
{
    if (index < 0 || index >= countChildren())
        return nullptr;
    return children[size_t(index)];
}

FNode* FNode::findChild(const ConstString& childName) const
{
    for (FNode* child : children)
    {
        if (child->name == childName)
            return child;
    }
    return nullptr;
}

int32 FNode::indexOf(const FNode* child) const
{
    auto it = std::find(children.begin(), children.end(), child);
    return it == children.end() ? -1 : int32(it - children.begin());
}

String FNode::uniqueChildName(const ConstString& wanted) const
{
    if (!findChild(wanted))
        return String(wanted);
    for (int32 suffix = 2;; ++suffix)
    {
        String candidate(wanted);
        candidate.append(String::format(" %d", suffix));
        if (!findChild(candidate))
            return candidate;
    }
}

} // namespace Quillmark
