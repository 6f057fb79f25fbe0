// A named node of the framework's trees (test tree, information pages). A node owns its
// children in order and holds one reference to each; the parent pointer is not a reference.
// Among siblings names stay unique: a repeated name gets " 2", " 3", ... appended.
#pragma once

#include "base/fobject.h"
#include "base/fstring.h"

#include <vector>

namespace Quillmark
{

class FNode : public CmObject
{
public:
    explicit FNode(const ConstString& name = ConstString());
    ~FNode() override;
    FNode(const FNode&) = delete;
    FNode& operator=(const FNode&) = delete;

    const String& getName() const { return name; }
    FNode* getParent() const { return parent; }

    /** Takes over the caller's reference and renames the child when a sibling has its name.
        Refused (false, the caller keeps its reference) for null, for a node that has a parent
        already, and for this node or one of its ancestors. */
    bool addChild(FNode* child);
    /** Removes and releases a child; false when it is not a child of this node. */
    bool removeChild(FNode* child);
    /** Releases all children. */
    void removeAll();

    int32 countChildren() const { return int32(children.size()); }
    /** The child at `index` (borrowed), or null. */
    FNode* getChild(int32 index) const;
    /** The first child with exactly this name (borrowed), or null. */
    FNode* findChild(const ConstString& childName) const;
    int32 indexOf(const FNode* child) const;

    QEL_DECLARE_CLASS(FNode, CmObject)

protected:
    /** The first of name, "name 2", "name 3", ... that no child has. */
    String uniqueChildName(const ConstString& wanted) const;

private:
    String name;
    FNode* parent = nullptr;
    std::vector<FNode*> children;
};

} // namespace Quillmark
