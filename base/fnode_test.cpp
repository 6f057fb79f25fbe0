#include "base/fnode.h"

#include <gtest/gtest.h>

using namespace Quillmark;

namespace
{

/** Counts its own destruction, to see that the parent releases what it owns. */
class CountedNode : public FNode
{
public:
    CountedNode(const char8* name, int& destroyed) : FNode(name), destroyed(destroyed) {}
    ~CountedNode() override { ++destroyed; }

private:
    int& destroyed;
};

} // namespace

TEST(FNode, RepeatedNamesAmongSiblingsAreNumbered)
{
    FNode* root = new FNode("Root");
    FNode* a = new FNode("Bus");
    FNode* b = new FNode("Bus");
    FNode* c = new FNode("Bus");
    ASSERT_TRUE(root->addChild(a));
    ASSERT_TRUE(root->addChild(b));
    ASSERT_TRUE(root->addChild(c));
    EXPECT_EQ(root->countChildren(), 3);
    EXPECT_EQ(root->getChild(0)->getName(), ConstString("Bus"));
    EXPECT_EQ(root->getChild(1)->getName(), ConstString("Bus 2"));
    EXPECT_EQ(root->getChild(2)->getName(), ConstString("Bus 3"));
    EXPECT_EQ(b->getParent(), root);
    EXPECT_EQ(root->getChild(3), nullptr);
    EXPECT_EQ(root->getChild(-1), nullptr);

    // The first free number is taken, and a numbered name is itself a name like any other.
    EXPECT_TRUE(root->removeChild(b));
    FNode* again = new FNode("Bus");
    root->addChild(again);
    EXPECT_EQ(again->getName(), ConstString("Bus 2"));
    FNode* numbered = new FNode("Bus 2");
    root->addChild(numbered);
    EXPECT_EQ(numbered->getName(), ConstString("Bus 2 2"));
    EXPECT_EQ(root->indexOf(numbered), 3);

    // Names are unique per parent only.
    FNode* nested = new FNode("Bus");
    a->addChild(nested);
    EXPECT_EQ(nested->getName(), ConstString("Bus"));
    root->release();
}

TEST(FNode, RefusesNodesThatWouldBreakTheTree)
{
    FNode* root = new FNode("Root");
    FNode* child = new FNode("Child");
    ASSERT_TRUE(root->addChild(child));
    EXPECT_FALSE(root->addChild(nullptr));
    EXPECT_FALSE(root->addChild(root));
    EXPECT_FALSE(child->addChild(root)); // an ancestor
    FNode* other = new FNode("Other");
    EXPECT_FALSE(other->addChild(child)); // already has a parent
    EXPECT_EQ(child->getParent(), root);
    EXPECT_EQ(root->countChildren(), 1);
    EXPECT_FALSE(other->removeChild(child));
    other->release();
    root->release();
}

TEST(FNode, ParentReleasesItsChildren)
{
    int destroyed = 0;
    FNode* root = new FNode("Root");
    auto* first = new CountedNode("One", destroyed);
    auto* second = new CountedNode("Two", destroyed);
    root->addChild(first);
    root->addChild(second);
    second->addChild(new CountedNode("Deep", destroyed));

    // A child that someone else still holds survives its parent.
    first->addRef();
    root->release();
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(first->getParent(), nullptr);
    first->release();
    EXPECT_EQ(destroyed, 3);
}
