// Tests of QELRBTree and QELRBTree::Iterator: ordering, duplicates, key
// searches, removal, copies, iteration, assertion reports, and a randomised
// comparison against std::multiset with every red-black property re-checked.
#include <gtest/gtest.h>

#include <malloc.h>

#include "QELDeathTestPatterns.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "QELContainerTestSupport.h"
#include "QELRBTree.h"
#include "QELRBTreeModel.h"

namespace {

// Escapes a literal text for a POSIX extended regular expression.
#define QEL_STR2(x) #x
#define QEL_XSTR(x) QEL_STR2(x)

// The report of a failed check: file, operation, expanded expression.
std::string Report(const std::string& signature, const std::string& expression)
{
    return AssertionReport("QELRBTree.cpp", signature, expression);
}

} // namespace

// ---------------------------------------------------------------- Basics

TEST(QELRBTreeTest, NewTreeIsEmptyWithItsSentinel)
{
    QELRBTree t;
    EXPECT_EQ(0, t.size);
    EXPECT_EQ(t._root, t._first);
    EXPECT_EQ(t._first, t.sentinel());
    EXPECT_EQ(t.sentinel()->left, t.sentinel());
    EXPECT_EQ(t.sentinel()->right, t.sentinel());
    EXPECT_EQ(0u, t.sentinel()->parent);
    EXPECT_EQ(NULL, t.sentinel()->data);
    EXPECT_TRUE(IsSoundTree(t));
}

TEST(QELRBTreeTest, NodeIsFourWords)
{
    EXPECT_EQ(4 * sizeof(void*), sizeof(QELRBTreeNode));
}

TEST(QELRBTreeTest, AddNullItemIsRefused)
{
    IntTree t;
    EXPECT_FALSE(t.add(NULL));
    EXPECT_EQ(NULL, t.addNode(NULL, false));
    EXPECT_EQ(0, t.size);
    EXPECT_TRUE(IsSoundTree(t));
}

TEST(QELRBTreeTest, FirstItemBecomesBlackRootAndFirst)
{
    IntTree t;
    Item a(5);
    QELRBTreeNode* n = t.addNode(I(&a), false);
    ASSERT_NE(nullptr, n);
    EXPECT_EQ(n, t._root);
    EXPECT_EQ(n, t._first);
    EXPECT_EQ(0u, n->parent);
    EXPECT_EQ(t.sentinel(), n->left);
    EXPECT_EQ(t.sentinel(), n->right);
    EXPECT_EQ(1, t.size);
    EXPECT_TRUE(IsSoundTree(t));
}

TEST(QELRBTreeTest, ItemsComeOutInKeyOrder)
{
    std::vector<Item> items = MakeItems({50, 20, 80, 10, 30, 70, 90, 60, 40, 0});
    IntTree t;
    for (Item& it : items) {
        EXPECT_TRUE(t.add(I(&it)));
        EXPECT_TRUE(IsSoundTree(t));
    }
    std::vector<const Item*> v = Contents(t);
    ASSERT_EQ(10u, v.size());
    for (size_t i = 0; i < v.size(); i++)
        EXPECT_EQ(static_cast<int>(i) * 10, v[i]->key);
    EXPECT_EQ(0, ItemOf(t.firstNode()->data)->key);
    EXPECT_EQ(90, ItemOf(t.lastNode()->data)->key);
}

TEST(QELRBTreeTest, SamePointerTwiceStoresTwoNodesAndGetNodeFindsLeftmost)
{
    std::vector<Item> items = MakeItems({1, 2, 3});
    IntTree t;
    t.add(I(&items[0]));
    t.add(I(&items[1]));
    QELRBTreeNode* n1 = t.addNode(I(&items[1]), false);
    t.add(I(&items[2]));
    QELRBTreeNode* n2 = t.addNode(I(&items[1]), false);
    EXPECT_EQ(5, t.size);
    EXPECT_TRUE(IsSoundTree(t));
    QELRBTreeNode* g = t.getNode(I(&items[1]));
    ASSERT_NE(nullptr, g);
    EXPECT_EQ(I(&items[1]), g->data);
    // Leftmost of the three nodes holding the pointer: its predecessor holds
    // another item.
    EXPECT_EQ(I(&items[0]), t.previousNode(g)->data);
    EXPECT_EQ(I(&items[1]), t.nextNode(g)->data);
    EXPECT_EQ(I(&items[1]), t.nextNode(t.nextNode(g))->data);
    EXPECT_TRUE(g != n1 || g != n2);
    EXPECT_TRUE(t.contains(I(&items[1])));
}

TEST(QELRBTreeTest, EqualItemsAreKeptInAddressOrder)
{
    // items[0] has the lower address; added last, it still comes first.
    std::vector<Item> items = MakeItems({7, 7, 7});
    IntTree t;
    t.add(I(&items[2]));
    t.add(I(&items[1]));
    t.add(I(&items[0]));
    std::vector<const Item*> v = Contents(t);
    ASSERT_EQ(3u, v.size());
    EXPECT_EQ(&items[0], v[0]);
    EXPECT_EQ(&items[1], v[1]);
    EXPECT_EQ(&items[2], v[2]);
    EXPECT_TRUE(IsSoundTree(t));
}

TEST(QELRBTreeTest, UniqueAddOfEqualItemIsRefused)
{
    std::vector<Item> items = MakeItems({4, 4});
    IntTree t;
    EXPECT_TRUE(t.add(I(&items[0]), true));
    EXPECT_FALSE(t.add(I(&items[1]), true));
    EXPECT_FALSE(t.add(I(&items[0]), true));
    EXPECT_EQ(1, t.size);
    EXPECT_TRUE(t.add(I(&items[1]), false));
    EXPECT_EQ(2, t.size);
}

TEST(QELRBTreeTest, DefaultComparisonIsIdentity)
{
    std::vector<Item> items = MakeItems({1, 1});
    AddressTree t;
    t.add(I(&items[1]));
    t.add(I(&items[0]));
    EXPECT_TRUE(t.add(I(&items[0]), true) == false);
    EXPECT_EQ(2, t.size);
    // Address order.
    EXPECT_EQ(I(&items[0]), t.firstNode()->data);
    // A key is simply an item pointer.
    EXPECT_EQ(I(&items[1]), t.findFirst(reinterpret_cast<const QELContainerKey*>(&items[1])));
    Item other(1);
    EXPECT_FALSE(t.contains(I(&other)));
    EXPECT_EQ(NULL, t.findFirst(reinterpret_cast<const QELContainerKey*>(&other)));
}

TEST(QELRBTreeTest, ContainsIsIdentityNotEquality)
{
    std::vector<Item> items = MakeItems({3, 3});
    IntTree t;
    t.add(I(&items[0]));
    EXPECT_TRUE(t.contains(I(&items[0])));
    EXPECT_FALSE(t.contains(I(&items[1])));
    EXPECT_FALSE(t.contains(NULL));
    QELRBTree::Iterator it;
    EXPECT_TRUE(t.contains(I(&items[0]), &it));
    EXPECT_EQ(&t, it.container);
    EXPECT_EQ(I(&items[0]), it.get());
}

TEST(QELRBTreeTest, SearchesOnEmptyTreeGiveNull)
{
    IntTree t;
    Item a(1);
    int k = 1;
    EXPECT_EQ(NULL, t.getNode(I(&a)));
    EXPECT_EQ(NULL, t.findFirstNode(K(&k)));
    EXPECT_EQ(NULL, t.findLastNode(K(&k)));
    EXPECT_EQ(NULL, t.firstNode());
    EXPECT_EQ(NULL, t.lastNode());
    EXPECT_EQ(NULL, t.nextNode(NULL));
    EXPECT_EQ(NULL, t.previousNode(NULL));
    EXPECT_EQ(NULL, t.findFirst(K(&k)));
    EXPECT_FALSE(t.contains(I(&a)));
}

// A tree of one item finds it, first and last, by its key.
TEST(QELRBTreeTest, OneItemTreeFindsItsItem)
{
    IntTree t;
    Item a(7);
    t.add(I(&a));
    int k = 7, other = 8;
    EXPECT_EQ(I(&a), t.findFirst(K(&k)));
    ASSERT_NE(nullptr, t.findLastNode(K(&k)));
    EXPECT_EQ(I(&a), t.findLastNode(K(&k))->data);
    ASSERT_NE(nullptr, t.findFirstNode(K(&k)));
    EXPECT_EQ(I(&a), t.findFirstNode(K(&k))->data);
    EXPECT_EQ(NULL, t.findFirst(K(&other)));
}

TEST(QELRBTreeTest, RunOfFiveEqualKeysFindsFirstAndLast)
{
    // Keys 1..9 with a run of five 5s in the middle.
    std::vector<Item> items = MakeItems({5, 1, 5, 9, 2, 5, 8, 3, 5, 7, 4, 5, 6});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    ASSERT_TRUE(IsSoundTree(t));
    int k = 5;
    QELRBTreeNode* first = t.findFirstNode(K(&k));
    QELRBTreeNode* last = t.findLastNode(K(&k));
    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, last);
    EXPECT_EQ(4, ItemOf(t.previousNode(first)->data)->key);
    EXPECT_EQ(6, ItemOf(t.nextNode(last)->data)->key);
    // Lowest and highest address among the 5s.
    EXPECT_EQ(I(&items[0]), first->data);
    EXPECT_EQ(I(&items[11]), last->data);
    // Walk the run with findNextNode.
    int count = 1;
    QELRBTreeNode* n = first;
    while ((n = t.findNextNode(K(&k), n)) != NULL) {
        count++;
        if (count == 5) {
            EXPECT_EQ(last, n);
        }
    }
    EXPECT_EQ(5, count);
    EXPECT_EQ(NULL, t.findNextNode(K(&k), last));
    EXPECT_EQ(NULL, t.findPreviousNode(K(&k), first));
    EXPECT_EQ(t.previousNode(last), t.findPreviousNode(K(&k), last));
    int absent = 10;
    EXPECT_EQ(NULL, t.findFirstNode(K(&absent)));
    EXPECT_EQ(NULL, t.findLastNode(K(&absent)));
    EXPECT_EQ(I(&items[0]), t.findFirst(K(&k)));
}

TEST(QELRBTreeTest, RemovingFirstMakesSuccessorFirst)
{
    std::vector<Item> items = MakeItems({1, 2, 3, 4});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    QELRBTree::Iterator it(t, true);
    EXPECT_EQ(I(&items[0]), t.remove(&it));
    EXPECT_EQ(I(&items[1]), t._first->data);
    EXPECT_EQ(I(&items[1]), it.get());
    EXPECT_TRUE(IsSoundTree(t));
}

TEST(QELRBTreeTest, RemovingOnlyNodeLeavesSentinel)
{
    IntTree t;
    Item a(1);
    t.add(I(&a));
    QELRBTree::Iterator it(t, true);
    EXPECT_EQ(I(&a), t.remove(&it));
    EXPECT_EQ(0, t.size);
    EXPECT_EQ(t.sentinel(), t._root);
    EXPECT_EQ(t.sentinel(), t._first);
    EXPECT_EQ(NULL, it.node);
    EXPECT_EQ(NULL, it.get());
    EXPECT_TRUE(IsSoundTree(t));
    // Removing again through the iterator on no node gives null.
    EXPECT_EQ(NULL, t.remove(&it));
}

TEST(QELRBTreeTest, RemovingLastNodeMovesIteratorToNewLast)
{
    std::vector<Item> items = MakeItems({1, 2, 3});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    QELRBTree::Iterator it(t, false);
    EXPECT_EQ(I(&items[2]), t.remove(&it));
    EXPECT_EQ(I(&items[1]), it.get());
    EXPECT_EQ(t.lastNode(), it.node);
}

TEST(QELRBTreeTest, RemovingMiddleNodeMovesIteratorToSuccessor)
{
    std::vector<Item> items = MakeItems({1, 2, 3, 4, 5, 6, 7});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    int k = 4;
    QELRBTree::Iterator it;
    t.findFirst(K(&k), &it);
    QELRBTreeNode* succ = t.nextNode(it.node);
    EXPECT_EQ(I(&items[3]), t.remove(&it));
    EXPECT_EQ(succ, it.node);
    EXPECT_TRUE(IsSoundTree(t));
}

TEST(QELRBTreeTest, RemovalRelinksNodesSoOtherNodePointersStayValid)
{
    std::vector<Item> items = MakeItems({1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    IntTree t;
    std::vector<QELRBTreeNode*> nodes;
    for (Item& it : items)
        nodes.push_back(t.addNode(I(&it), false));
    // Remove the root (two children: its successor is relinked into place).
    QELRBTreeNode* root = t._root;
    const QELContainerItem* rootItem = root->data;
    QELRBTree::Iterator it(t, *root);
    EXPECT_EQ(rootItem, t.remove(&it));
    for (size_t i = 0; i < nodes.size(); i++) {
        if (nodes[i] == root)
            continue;
        EXPECT_EQ(I(&items[i]), nodes[i]->data);
        EXPECT_EQ(nodes[i], t.getNode(I(&items[i])));
    }
    EXPECT_TRUE(IsSoundTree(t));
}

TEST(QELRBTreeTest, RemoveThroughForeignOrNullIteratorGivesNull)
{
    std::vector<Item> items = MakeItems({1, 2});
    IntTree a, b;
    a.add(I(&items[0]));
    b.add(I(&items[1]));
    QELRBTree::Iterator it(b, true);
    EXPECT_EQ(NULL, a.remove(&it));
    EXPECT_EQ(NULL, a.remove(NULL));
    QELRBTree::Iterator detached;
    EXPECT_EQ(NULL, a.remove(&detached));
    EXPECT_EQ(1, a.size);
    EXPECT_EQ(1, b.size);
    EXPECT_EQ(I(&items[1]), it.get());
}

TEST(QELRBTreeTest, AddWithWherePointsIteratorAtNewItem)
{
    std::vector<Item> items = MakeItems({2, 1, 3});
    IntTree t;
    QELRBTree::Iterator it;
    for (Item& item : items) {
        EXPECT_TRUE(t.add(I(&item), false, &it));
        EXPECT_EQ(&t, it.container);
        EXPECT_EQ(I(&item), it.get());
    }
    QELRBTree::Iterator before = it;
    EXPECT_FALSE(t.add(I(&items[0]), true, &it));
    EXPECT_TRUE(it == before);
}

TEST(QELRBTreeTest, EmptyDeletesNodesButNeverItems)
{
    int before = Item::alive;
    {
        std::vector<Item> items = MakeItems({1, 2, 3, 4, 5});
        {
            IntTree t;
            for (Item& it : items)
                t.add(I(&it));
            QELRBTreeNode* nil = t.sentinel();
            EXPECT_TRUE(t.empty());
            EXPECT_EQ(0, t.size);
            EXPECT_EQ(nil, t._root);
            EXPECT_EQ(nil, t._first);
            EXPECT_TRUE(IsSoundTree(t));
            EXPECT_TRUE(t.empty());
            for (Item& it : items)
                t.add(I(&it));
        }
        EXPECT_EQ(before + 5, Item::alive);
        for (Item& it : items)
            EXPECT_GE(it.key, 1);
    }
    EXPECT_EQ(before, Item::alive);
}

// empty() and the destructor give back every node, those of right subtrees
// included: filling and emptying a tree again and again leaves the heap as
// it was.
TEST(QELRBTreeTest, EmptyGivesBackEveryNode)
{
    std::vector<int> keys(1000);
    for (int i = 0; i < 1000; i++)
        keys[i] = i;
    std::vector<Item> items = MakeItems(keys);
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    t.empty();
    const size_t before = mallinfo2().uordblks;
    for (int round = 0; round < 20; round++) {
        for (Item& it : items)
            t.add(I(&it));
        t.empty();
    }
    EXPECT_LE(mallinfo2().uordblks, before + 4096);
}

TEST(QELRBTreeTest, CopyKeepsShapeColoursAndItems)
{
    std::vector<Item> items = MakeItems({8, 3, 10, 1, 6, 14, 4, 7, 13, 2, 5});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    QELRBTree c(t);
    EXPECT_TRUE(IsSoundTree(c, &t));
    EXPECT_EQ(t.size, c.size);
    EXPECT_NE(t.sentinel(), c.sentinel());
    // Same shape: walk both trees in step.
    std::vector<std::pair<const QELRBTreeNode*, const QELRBTreeNode*>> stack;
    stack.push_back({t._root, c._root});
    while (!stack.empty()) {
        auto [a, b] = stack.back();
        stack.pop_back();
        if (a == t.sentinel()) {
            EXPECT_EQ(c.sentinel(), b);
            continue;
        }
        ASSERT_NE(c.sentinel(), b);
        EXPECT_NE(a, b);
        EXPECT_EQ(a->data, b->data);
        EXPECT_EQ(a->isRed(), b->isRed());
        stack.push_back({a->left, b->left});
        stack.push_back({a->right, b->right});
    }
    EXPECT_TRUE(t == c);
    EXPECT_FALSE(t != c);
    EXPECT_EQ(I(&items[3]), c._first->data);
}

TEST(QELRBTreeTest, CopyOfASubclassKeepsItsOrderAndFirstItem)
{
    std::vector<Item> items = MakeItems({5, 2, 9, 1});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    IntTree c(t);
    EXPECT_TRUE(IsSoundTree(c, &t));
    EXPECT_EQ(4, c.size);
    EXPECT_EQ(I(&items[3]), c._first->data);
    EXPECT_TRUE(c == t);
}

TEST(QELRBTreeTest, CopyOfEmptyTreeIsEmpty)
{
    QELRBTree t;
    QELRBTree c(t);
    EXPECT_EQ(0, c.size);
    EXPECT_TRUE(IsSoundTree(c));
    EXPECT_TRUE(c == t);
}

TEST(QELRBTreeTest, AssignmentReplacesContentWithCopy)
{
    std::vector<Item> items = MakeItems({1, 2, 3, 4, 5, 6});
    IntTree a, b;
    for (int i = 0; i < 3; i++)
        a.add(I(&items[i]));
    for (int i = 3; i < 6; i++)
        b.add(I(&items[i]));
    EXPECT_TRUE(a != b);
    static_cast<QELRBTree&>(a) = b;
    EXPECT_TRUE(IsSoundTree(a));
    EXPECT_TRUE(a == b);
    EXPECT_EQ(3, a.size);
    std::vector<const Item*> v = Contents(a);
    EXPECT_EQ(std::vector<const Item*>({&items[3], &items[4], &items[5]}), v);
    // Self-assignment keeps the content.
    QELRBTree& ra = a;
    QELRBTree& rb = a;
    ra = rb;
    EXPECT_TRUE(a == b);
    // Assigning an empty tree empties.
    IntTree e;
    static_cast<QELRBTree&>(a) = e;
    EXPECT_EQ(0, a.size);
    EXPECT_TRUE(IsSoundTree(a));
}

TEST(QELRBTreeTest, EqualityNeedsSamePointersInSameOrder)
{
    std::vector<Item> items = MakeItems({1, 2, 2});
    IntTree a, b;
    a.add(I(&items[0]));
    a.add(I(&items[1]));
    b.add(I(&items[0]));
    b.add(I(&items[2]));
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a != b);
    b.add(I(&items[1]));
    EXPECT_FALSE(a == b);
    IntTree e1, e2;
    EXPECT_TRUE(e1 == e2);
    // One item each: equal only when it is the same pointer.
    IntTree one, other, same;
    one.add(I(&items[0]));
    other.add(I(&items[1]));
    same.add(I(&items[0]));
    EXPECT_FALSE(one == other);
    EXPECT_TRUE(one != other);
    EXPECT_TRUE(one == same);
}

TEST(QELRBTreeTest, NewIteratorStandsOnFirstOrLast)
{
    std::vector<Item> items = MakeItems({3, 1, 2});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    QELContainer::Iterator* f = t.newIterator();
    QELContainer::Iterator* l = t.newIterator(false);
    EXPECT_EQ(I(&items[1]), f->get());
    EXPECT_EQ(I(&items[0]), l->get());
    EXPECT_EQ(&t, f->getContainer());
    t.deleteIterator(f);
    t.deleteIterator(l);
    t.deleteIterator(NULL);
}

// ------------------------------------------------------------- Iteration

TEST(QELRBTreeIteratorTest, OnEmptyTreeStandsOnNoNode)
{
    IntTree t;
    QELRBTree::Iterator a(t, true), b(t, false);
    EXPECT_EQ(NULL, a.node);
    EXPECT_EQ(NULL, a.get());
    EXPECT_EQ(NULL, *a);
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);
    EXPECT_EQ(NULL, a.next());
    EXPECT_EQ(NULL, a.previous());
    EXPECT_EQ(NULL, a.moveToFirst());
    EXPECT_EQ(NULL, a.moveToLast());
    int k = 0;
    EXPECT_EQ(NULL, a.findFirst(K(&k)));
    EXPECT_EQ(NULL, a.findNext(K(&k)));
}

TEST(QELRBTreeIteratorTest, DetachedIteratorReturnsNullEverywhere)
{
    QELRBTree::Iterator it;
    int k = 0;
    EXPECT_EQ(NULL, it.container);
    EXPECT_EQ(NULL, it.get());
    EXPECT_EQ(NULL, *it);
    EXPECT_EQ(NULL, it.moveToFirst());
    EXPECT_EQ(NULL, it.moveToLast());
    EXPECT_EQ(NULL, it.next());
    EXPECT_EQ(NULL, it.previous());
    EXPECT_EQ(NULL, it.findFirst(K(&k)));
    EXPECT_EQ(NULL, it.findLast(K(&k)));
    EXPECT_EQ(NULL, it.findNext(K(&k)));
    EXPECT_EQ(NULL, it.findPrevious(K(&k)));
    QELRBTree::Iterator other;
    EXPECT_FALSE(it == other);
    EXPECT_TRUE(it != other);
}

TEST(QELRBTreeIteratorTest, NextPastLastReturnsNullAndStaysOnLast)
{
    std::vector<Item> items = MakeItems({1, 2, 3});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    QELRBTree::Iterator it(t, false);
    EXPECT_EQ(NULL, it.next(1));
    EXPECT_EQ(I(&items[2]), it.get());
    // A longer step stops on the last node too.
    it.moveToFirst();
    EXPECT_EQ(NULL, it.next(5));
    EXPECT_EQ(I(&items[2]), it.get());
    EXPECT_EQ(NULL, it.previous(3));
    EXPECT_EQ(I(&items[0]), it.get());
    EXPECT_EQ(I(&items[2]), it.next(2));
    EXPECT_EQ(I(&items[0]), it.previous(2));
    // A count of 0 returns the current item.
    EXPECT_EQ(I(&items[0]), it.next(0));
    EXPECT_EQ(I(&items[0]), it.previous(0));
}

TEST(QELRBTreeIteratorTest, FindFirstThenFindNextVisitsEveryMatchInOrder)
{
    std::vector<Item> items = MakeItems({2, 1, 2, 3, 2, 0, 2});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    int k = 2;
    QELRBTree::Iterator it(t, true);
    std::vector<const Item*> seen;
    for (QELContainerItem* p = it.findFirst(K(&k)); p != NULL; p = it.findNext(K(&k)))
        seen.push_back(ItemOf(p));
    EXPECT_EQ(std::vector<const Item*>({&items[0], &items[2], &items[4], &items[6]}), seen);
    EXPECT_EQ(I(&items[6]), it.get());
    // Backwards from the last match.
    seen.clear();
    for (QELContainerItem* p = it.findLast(K(&k)); p != NULL; p = it.findPrevious(K(&k)))
        seen.push_back(ItemOf(p));
    EXPECT_EQ(std::vector<const Item*>({&items[6], &items[4], &items[2], &items[0]}), seen);
    EXPECT_EQ(I(&items[0]), it.get());
    // A miss leaves the iterator where it was.
    int absent = 9;
    EXPECT_EQ(NULL, it.findFirst(K(&absent)));
    EXPECT_EQ(NULL, it.findLast(K(&absent)));
    EXPECT_EQ(I(&items[0]), it.get());
}

TEST(QELRBTreeIteratorTest, FindNextExaminesOnlyTheImmediateSuccessor)
{
    std::vector<Item> items = MakeItems({1, 2, 1});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    int k1 = 1, k2 = 2;
    QELRBTree::Iterator it(t, true);
    // On the first 1: its successor is the second 1.
    EXPECT_EQ(I(&items[2]), it.findNext(K(&k1)));
    // Now on the second 1: the successor is the 2.
    EXPECT_EQ(NULL, it.findNext(K(&k1)));
    it.moveToFirst();
    // From the first 1 the 2 is two steps away.
    EXPECT_EQ(NULL, it.findNext(K(&k2)));
    EXPECT_EQ(I(&items[0]), it.get());
}

TEST(QELRBTreeIteratorTest, EqualityAndAssignment)
{
    std::vector<Item> items = MakeItems({1, 2});
    IntTree t, u;
    for (Item& it : items)
        t.add(I(&it));
    QELRBTree::Iterator a(t, true), b(t, true), c(t, false), d(u, true);
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a == c);
    EXPECT_TRUE(a != c);
    EXPECT_FALSE(a == d);
    c = a;
    EXPECT_TRUE(a == c);
    EXPECT_EQ(&t, c.container);
    QELRBTree::Iterator e(a);
    EXPECT_TRUE(e == a);
    EXPECT_EQ(a.node, e.getNode());
}

TEST(QELRBTreeIteratorTest, MoveToAttachesToAnotherTree)
{
    std::vector<Item> items = MakeItems({1, 2, 3});
    IntTree t, u, empty;
    t.add(I(&items[0]));
    u.add(I(&items[1]));
    u.add(I(&items[2]));
    QELRBTree::Iterator it(t, true);
    EXPECT_EQ(I(&items[2]), it.moveTo(u, false));
    EXPECT_EQ(&u, it.container);
    EXPECT_EQ(I(&items[1]), it.moveTo(u, true));
    EXPECT_EQ(NULL, it.moveTo(empty, true));
    EXPECT_EQ(&empty, it.container);
    EXPECT_EQ(NULL, it.node);
}

TEST(QELRBTreeIteratorTest, ConstructorOnNodeAndForwardBackwardWalk)
{
    std::vector<Item> items = MakeItems({5, 3, 8, 1, 4, 7, 9});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    QELRBTree::Iterator it(t, *t._root);
    EXPECT_EQ(t._root->data, it.get());
    std::vector<int> fwd, bwd;
    QELRBTree::Iterator f(t, true);
    for (QELContainerItem* p = f.get(); p; p = f.next())
        fwd.push_back(ItemOf(p)->key);
    for (QELContainerItem* p = f.moveToLast(); p; p = f.previous())
        bwd.push_back(ItemOf(p)->key);
    EXPECT_EQ(std::vector<int>({1, 3, 4, 5, 7, 8, 9}), fwd);
    EXPECT_EQ(std::vector<int>({9, 8, 7, 5, 4, 3, 1}), bwd);
}

// ------------------------------------------------------ Randomised model

TEST(QELRBTreeModelTest, ManyEqualKeysAgainstMultiset)
{
    for (unsigned seed : {1u, 2u, 3u})
        RunAgainstModel(seed, 4000, 20, 150);
}

TEST(QELRBTreeModelTest, FewEqualKeysAgainstMultiset)
{
    for (unsigned seed : {11u, 12u})
        RunAgainstModel(seed, 4000, 1000, 400);
}

TEST(QELRBTreeModelTest, AscendingAndDescendingInsertionsStayBalanced)
{
    std::vector<Item> items;
    items.reserve(2000);
    for (int i = 0; i < 2000; i++)
        items.emplace_back(i);
    IntTree up, down;
    for (int i = 0; i < 2000; i++) {
        up.add(I(&items[i]));
        down.add(I(&items[1999 - i]));
    }
    EXPECT_TRUE(IsSoundTree(up));
    EXPECT_TRUE(IsSoundTree(down));
    // Height bound of a red-black tree: at most 2 log2(n + 1).
    int depth = 0;
    for (const QELRBTreeNode* n = up._first; n != NULL; n = n->getParent())
        depth++;
    EXPECT_LE(depth, 22);
    // Remove every other item from the front, then the rest from the back.
    QELRBTree::Iterator it(up, true);
    while (up.size > 1000) {
        up.remove(&it);
        it.next();
        ASSERT_TRUE(IsSoundTree(up));
    }
    it.moveToLast();
    while (up.size > 0) {
        up.remove(&it);
        ASSERT_TRUE(IsSoundTree(up));
    }
}

// -------------------------------------------------------- Assertion reports

class QELRBTreeDeathTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(QELRBTreeDeathTest, CorruptSizeIsReportedByAddNode)
{
    IntTree t;
    Item a(1);
    t.size = 3;
    EXPECT_DEATH(t.add(I(&a)),
                 Report("virtual QELRBTreeNode* QELRBTree::addNode(const QELContainerItem*, bool)",
                        QEL_XSTR(QEL_RBTREE_INVARIANT(this))));
    t.size = 0;
}

TEST_F(QELRBTreeDeathTest, TreeInvariantTextNamesItsParts)
{
    // The expanded expression as the reports show it.
    std::string text = QEL_XSTR(QEL_RBTREE_INVARIANT(this));
    EXPECT_EQ("( ( ( ((this)->size==0) && ((this)->_root==(this)->sentinel()) ) || ( ((this)->size!=0) && "
              "((this)->_root!=(this)->sentinel()) && ((this)->_first!=(this)->sentinel()) ) ) && "
              "!(this)->sentinel()->isRed() && ((this)->sentinel()->left==(this)->sentinel()) && "
              "((this)->sentinel()->right==(this)->sentinel()) && ((this)->sentinel()->data==__null) )",
              text);
    EXPECT_STREQ("( ( ( ((x)->parent==0) && ((this)->_root==(x)) ) || ( ((x)->parent!=0) && !( (x)->isRed() && "
                 "(x)->getParent()->isRed() ) ) ) && ( ((x)->left==(this)->sentinel()) || "
                 "((x)->left->getParent()==(x)) ) && ( ((x)->right==(this)->sentinel()) || "
                 "((x)->right->getParent()==(x)) ) && ( ((x)!=(this)->_first) || ((x)->left==(this)->sentinel()) ) "
                 "&& ((x)->data!=__null) )",
                 QEL_XSTR(QEL_RBTREE_NODE_INVARIANT(this, x)));
}

TEST_F(QELRBTreeDeathTest, RedSentinelIsReportedBySearch)
{
    IntTree t;
    Item a(1);
    t.add(I(&a));
    int k = 1;
    t.sentinel()->parent = 1;
    EXPECT_DEATH(t.findFirst(K(&k)),
                 Report("virtual QELRBTreeNode* QELRBTree::findFirstNode(const QELContainerKey*) const",
                        QEL_XSTR(QEL_RBTREE_INVARIANT(this))));
    t.sentinel()->parent = 0;
}

TEST_F(QELRBTreeDeathTest, RedUnderRedIsReportedWhileDescending)
{
    std::vector<Item> items = MakeItems({2, 1, 3, 4});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    // 2 is the black root, 1 and 3 black, 4 red under 3: make 3 red too.
    QELRBTreeNode* three = t.getNode(I(&items[2]));
    ASSERT_FALSE(three->isRed());
    three->parent |= 1;
    int k = 4;
    EXPECT_DEATH(t.findLastNode(K(&k)),
                 Report("virtual QELRBTreeNode* QELRBTree::findLastNode(const QELContainerKey*) const",
                        QEL_XSTR(QEL_RBTREE_NODE_INVARIANT(this, x))));
    three->parent &= ~static_cast<uintptr_t>(1);
}

TEST_F(QELRBTreeDeathTest, BrokenParentLinkIsReportedByGetNode)
{
    std::vector<Item> items = MakeItems({2, 1, 3});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    QELRBTreeNode* left = t._root->left;
    uintptr_t saved = left->parent;
    left->parent = reinterpret_cast<uintptr_t>(t._root->right);
    EXPECT_DEATH(t.contains(I(&items[1])),
                 Report("virtual QELRBTreeNode* QELRBTree::getNode(const QELContainerItem*) const",
                        QEL_XSTR(QEL_RBTREE_NODE_INVARIANT(this, x))));
    left->parent = saved;
}

TEST_F(QELRBTreeDeathTest, NodeWithoutItemIsReportedByIterator)
{
    std::vector<Item> items = MakeItems({1, 2});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    QELRBTree::Iterator it(t, false);
    const QELContainerItem* saved = it.node->data;
    it.node->data = NULL;
    EXPECT_DEATH(it.get(),
                 Report("virtual QELContainerItem* QELRBTree::Iterator::get() const",
                        QEL_XSTR(QEL_RBTREE_ITERATOR_INVARIANT(this))));
    it.node->data = saved;
}

TEST_F(QELRBTreeDeathTest, IteratorOnRedUnderRedIsReportedByRemove)
{
    std::vector<Item> items = MakeItems({2, 1, 3, 4});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    QELRBTreeNode* three = t.getNode(I(&items[2]));
    QELRBTree::Iterator it(t, false);
    ASSERT_EQ(I(&items[3]), it.get());
    three->parent |= 1;
    EXPECT_DEATH(t.remove(&it),
                 Report("virtual QELContainerItem* QELRBTree::remove(QELContainer::Iterator*)",
                        QEL_XSTR(QEL_RBTREE_ITERATOR_INVARIANT(it))));
    three->parent &= ~static_cast<uintptr_t>(1);
}

TEST_F(QELRBTreeDeathTest, CorruptNodeIsReportedByRemoveNode)
{
    std::vector<Item> items = MakeItems({2, 1, 3});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    QELRBTreeNode* n = t._root->right;
    const QELContainerItem* saved = n->data;
    n->data = NULL;
    EXPECT_DEATH(t.removeNode(n),
                 Report("virtual QELContainerItem* QELRBTree::removeNode(QELRBTreeNode*)",
                        QEL_XSTR(QEL_RBTREE_NODE_INVARIANT(this, z))));
    n->data = saved;
}

TEST_F(QELRBTreeDeathTest, CorruptNodeIsReportedWhileEmptying)
{
    std::vector<Item> items = MakeItems({2, 1, 3});
    IntTree t;
    for (Item& it : items)
        t.add(I(&it));
    QELRBTreeNode* n = t._root->left;
    const QELContainerItem* saved = n->data;
    n->data = NULL;
    EXPECT_DEATH(t.empty(),
                 Report("void QELRBTree::_deleteNode(QELRBTreeNode*, QELRBTreeNode*)",
                        QEL_XSTR(QEL_RBTREE_NODE_INVARIANT(this, node))));
    n->data = saved;
}
