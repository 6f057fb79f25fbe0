#include "base/cmidlink.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Quillmark;

namespace
{

// Counts its own destruction so the tests see what an owning list releases.
struct Node : CmIDLink
{
    explicit Node(int value, int* destroyed = nullptr) : value(value), destroyed(destroyed) {}
    ~Node() override
    {
        if (destroyed)
            ++*destroyed;
    }
    int value;
    int* destroyed;
};

std::vector<int> forward(const CmIDLinkedList& list)
{
    std::vector<int> out;
    CmIDLinkedListIterator it(list);
    for (CmIDLink* l = it.first(); l; l = it.next())
        out.push_back(static_cast<Node*>(l)->value);
    return out;
}

std::vector<int> backward(const CmIDLinkedList& list)
{
    std::vector<int> out;
    CmIDLinkedListIterator it(list);
    for (CmIDLink* l = it.last(); l; l = it.previous())
        out.push_back(static_cast<Node*>(l)->value);
    return out;
}

} // namespace

TEST(CmIDLinkedList, LinksStayConsistentInBothDirections)
{
    CmIDLinkedList list(CmIDLinkedList::kNotOwning);
    Node a(1), b(2), c(3), d(4);
    list.append(&b);
    list.prepend(&a);
    list.append(&d);
    list.insertBefore(&d, &c);
    EXPECT_EQ(forward(list), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(backward(list), (std::vector<int>{4, 3, 2, 1}));
    EXPECT_EQ(list.count(), 4);

    list.unlink(&a);
    list.unlink(&d);
    EXPECT_EQ(forward(list), (std::vector<int>{2, 3}));
    EXPECT_EQ(backward(list), (std::vector<int>{3, 2}));
    EXPECT_FALSE(a.isLinked());
    EXPECT_FALSE(list.contains(&a));
    list.unlink(&b);
    list.unlink(&c);
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(list.getLast(), nullptr);
    EXPECT_EQ(list.count(), 0);
}

TEST(CmIDLinkedList, OwnershipDecidesWhetherElementsAreReleased)
{
    int destroyed = 0;
    {
        CmIDLinkedList owning;
        owning.append(new Node(1, &destroyed));
        owning.append(new Node(2, &destroyed));
        auto* kept = new Node(3, &destroyed);
        owning.append(kept);
        owning.remove(owning.getFirst());
        EXPECT_EQ(destroyed, 1);
        // Unlinking hands the reference to the caller instead.
        owning.unlink(kept);
        EXPECT_EQ(destroyed, 1);
        kept->release();
        EXPECT_EQ(destroyed, 2);
    }
    EXPECT_EQ(destroyed, 3);

    destroyed = 0;
    auto* n = new Node(1, &destroyed);
    {
        CmIDLinkedList borrowing(CmIDLinkedList::kNotOwning);
        borrowing.append(n);
    }
    EXPECT_EQ(destroyed, 0);
    n->release();
    EXPECT_EQ(destroyed, 1);
}

TEST(CmIDLinkedList, IteratorSurvivesRemovalBehindIt)
{
    CmIDLinkedList list;
    for (int i = 0; i < 5; ++i)
        list.append(new Node(i));
    CmIDLinkedListIterator it(list);
    for (CmIDLink* l = it.first(); l;)
    {
        CmIDLink* current = l;
        l = it.next();
        if (static_cast<Node*>(current)->value % 2 == 0)
            list.remove(current);
    }
    EXPECT_EQ(forward(list), (std::vector<int>{1, 3}));
}
