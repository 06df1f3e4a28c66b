// QELRBTreeModel: the red-black tree tests' trees and model: a tree of Items
// ordered by key with its node operations published, the plain address tree,
// a check of every red-black property, order and size, and a driver that
// applies random operations to a tree and to a std::multiset and compares
// them after every step.
#ifndef QELRBTREEMODEL_H
#define QELRBTREEMODEL_H

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <vector>

#include "QELContainerTestSupport.h"
#include "QELRBTree.h"

// Orders Items by key; keys are ints. Publishes the node operations.
class IntTree : public QELRBTree {
public:
    virtual int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const { return CompareItems(a, b); }
    virtual int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const
    {
        return CompareItemToKey(item, key);
    }
    using QELRBTree::addNode;
    using QELRBTree::getNode;
    using QELRBTree::firstNode;
    using QELRBTree::lastNode;
    using QELRBTree::nextNode;
    using QELRBTree::previousNode;
    using QELRBTree::findFirstNode;
    using QELRBTree::findLastNode;
    using QELRBTree::findNextNode;
    using QELRBTree::findPreviousNode;
    using QELRBTree::removeNode;
};

// The plain tree (address order) with its node operations published.
class AddressTree : public QELRBTree {
public:
    using QELRBTree::getNode;
    using QELRBTree::firstNode;
    using QELRBTree::nextNode;
};

// Walks a subtree checking parent links and colours; returns its black
// height (sentinel = 1) or -1 after recording an error.
inline int CheckSubtree(const QELRBTreeNode* n, const QELRBTreeNode* parent, const QELRBTreeNode* nil,
                 std::vector<const QELRBTreeNode*>& inorder, std::string& err)
{
    if (n == nil)
        return 1;
    if (n->getParent() != parent) {
        err = "parent link broken";
        return -1;
    }
    if (n->data == NULL) {
        err = "node without item";
        return -1;
    }
    if (n->isRed() && (n->left->isRed() || n->right->isRed())) {
        err = "red node with a red child";
        return -1;
    }
    int lh = CheckSubtree(n->left, n, nil, inorder, err);
    if (lh < 0)
        return -1;
    inorder.push_back(n);
    int rh = CheckSubtree(n->right, n, nil, inorder, err);
    if (rh < 0)
        return -1;
    if (lh != rh) {
        err = "unequal black heights";
        return -1;
    }
    return lh + (n->isRed() ? 0 : 1);
}

// Every red-black property, the sentinel, _first, the order (by the
// comparison of `order`, by default the tree's own) and the size.
inline testing::AssertionResult IsSoundTree(const QELRBTree& t, const QELRBTree* order = NULL)
{
    if (order == NULL)
        order = &t;
    const QELRBTreeNode* nil = t._first->left;
    if (nil->left != nil || nil->right != nil || nil->isRed() || nil->data != NULL || nil->parent != 0)
        return testing::AssertionFailure() << "sentinel damaged";
    if (t.size == 0) {
        if (t._root != nil || t._first != nil)
            return testing::AssertionFailure() << "empty tree not at the sentinel";
        return testing::AssertionSuccess();
    }
    if (t._root == nil || t._root->parent != 0)
        return testing::AssertionFailure() << "root not black or has a parent";
    std::vector<const QELRBTreeNode*> inorder;
    std::string err;
    if (CheckSubtree(t._root, NULL, nil, inorder, err) < 0)
        return testing::AssertionFailure() << err;
    if (static_cast<int>(inorder.size()) != t.size)
        return testing::AssertionFailure() << "size " << t.size << " but " << inorder.size() << " nodes";
    if (inorder.front() != t._first)
        return testing::AssertionFailure() << "_first is not the leftmost node";
    for (size_t i = 1; i < inorder.size(); i++) {
        int c = order->compare2Object(inorder[i - 1]->data, inorder[i]->data);
        if (c > 0 || (c == 0 && qelCompareAddresses(inorder[i - 1]->data, inorder[i]->data) > 0))
            return testing::AssertionFailure() << "order broken at " << i;
    }
    return testing::AssertionSuccess();
}

// The model order: by key, equal keys by address.
struct ByKeyThenAddress {
    bool operator()(const Item* a, const Item* b) const
    {
        if (a->key != b->key)
            return a->key < b->key;
        return qelCompareAddresses(a, b) < 0;
    }
};
typedef std::multiset<const Item*, ByKeyThenAddress> TreeModel;

// One randomised run: adds (unique or not, fresh items or pointers already
// held), removals through iterators, searches and iteration, each compared
// with a std::multiset, the whole tree checked after every step.
inline void RunAgainstModel(unsigned seed, int steps, int keyRange, int poolSize)
{
    std::mt19937 rng(seed);
    std::vector<Item> pool;
    pool.reserve(poolSize);
    for (int i = 0; i < poolSize; i++)
        pool.emplace_back(static_cast<int>(rng() % keyRange));
    IntTree t;
    TreeModel m;
    for (int step = 0; step < steps; step++) {
        unsigned op = rng() % 100;
        const Item* item = &pool[rng() % pool.size()];
        int key = static_cast<int>(rng() % keyRange);
        SCOPED_TRACE(testing::Message() << "seed " << seed << " step " << step << " op " << op);
        if (op < 40 || m.size() < 5) {
            bool unique = rng() % 4 == 0;
            bool hasEqual = false;
            for (const Item* x : m)
                if (x->key == item->key)
                    hasEqual = true;
            QELRBTree::Iterator where;
            QELBoolean ok = t.add(I(item), unique, &where);
            if (unique && hasEqual) {
                ASSERT_FALSE(ok);
            } else {
                ASSERT_TRUE(ok);
                ASSERT_EQ(I(item), where.get());
                m.insert(item);
            }
        } else if (op < 70) {
            // Remove the first item with a random key, or a random one.
            QELRBTree::Iterator it;
            const Item* expect = NULL;
            auto lo = std::find_if(m.begin(), m.end(), [&](const Item* x) { return x->key == key; });
            if (lo != m.end()) {
                ASSERT_EQ(I(*lo), t.findFirst(K(&key), &it));
                expect = *lo;
            } else {
                ASSERT_EQ(NULL, t.findFirst(K(&key), &it));
                size_t pos = rng() % m.size();
                it.moveTo(t, true);
                if (pos > 0)
                    it.next(static_cast<int>(pos));
                lo = m.begin();
                std::advance(lo, pos);
                expect = *lo;
                ASSERT_EQ(I(expect), it.get());
            }
            auto after = std::next(lo);
            const Item* nextItem = after != m.end() ? *after : (lo != m.begin() ? *std::prev(lo) : NULL);
            ASSERT_EQ(I(expect), t.remove(&it));
            ASSERT_EQ(I(nextItem), it.get());
            m.erase(lo);
        } else if (op < 80) {
            // getNode: the leftmost node holding this pointer.
            QELRBTreeNode* n = t.getNode(I(item));
            bool held = m.find(item) != m.end();
            ASSERT_EQ(held, n != NULL);
            ASSERT_EQ(held, t.contains(I(item)) != 0);
            if (n != NULL) {
                ASSERT_EQ(I(item), n->data);
                QELRBTreeNode* p = t.previousNode(n);
                ASSERT_TRUE(p == NULL || p->data != I(item));
            }
        } else if (op < 90) {
            // First and last of a key, and the run between them.
            std::vector<const Item*> run;
            for (const Item* x : m)
                if (x->key == key)
                    run.push_back(x);
            QELRBTreeNode* f = t.findFirstNode(K(&key));
            QELRBTreeNode* l = t.findLastNode(K(&key));
            if (run.empty()) {
                ASSERT_EQ(NULL, f);
                ASSERT_EQ(NULL, l);
            } else {
                ASSERT_EQ(I(run.front()), f->data);
                ASSERT_EQ(I(run.back()), l->data);
                QELRBTree::Iterator it(t, *f);
                std::vector<const Item*> seen(1, ItemOf(it.get()));
                while (QELContainerItem* p = it.findNext(K(&key)))
                    seen.push_back(ItemOf(p));
                ASSERT_EQ(run, seen);
            }
        } else if (op < 95) {
            std::vector<const Item*> v(m.begin(), m.end());
            ASSERT_EQ(v, Contents(t));
            std::reverse(v.begin(), v.end());
            ASSERT_EQ(v, ReverseContents(t));
        } else if (op < 98) {
            QELRBTree c(t);
            ASSERT_TRUE(IsSoundTree(c, &t));
            ASSERT_TRUE(c == t);
            IntTree d;
            static_cast<QELRBTree&>(d) = t;
            ASSERT_TRUE(IsSoundTree(d));
            ASSERT_TRUE(d == t);
        } else if (rng() % 4 == 0) {
            t.empty();
            m.clear();
        }
        ASSERT_EQ(static_cast<int>(m.size()), t.size);
        ASSERT_TRUE(IsSoundTree(t));
    }
    std::vector<const Item*> v(m.begin(), m.end());
    ASSERT_EQ(v, Contents(t));
}

#endif
