// QELRBTree: the red-black tree of item pointers and its iterator.
#ifndef QELRBTREE_H
#define QELRBTREE_H

#include <cstdint>

#include "QELContainer.h"
#include "QELExport.h"

// One tree node: four words. The parent word holds the parent's address
// with the node's colour in bit 0 (set = red); a word of 0 marks the black
// root. Empty children point at the tree's sentinel node.
struct QEL_API QELRBTreeNode {
    QELRBTreeNode* left;
    QELRBTreeNode* right;
    uintptr_t parent;
    const QELContainerItem* data;

    QELRBTreeNode* getParent() const { return reinterpret_cast<QELRBTreeNode*>(parent & ~static_cast<uintptr_t>(1)); }
    bool isRed() const { return (parent & 1) != 0; }
};

// The tree invariant over any tree pointer expression `t`: empty with the
// root at the sentinel, or holding items with neither the root nor the first
// node at the sentinel; the sentinel is black, its own children, itemless.
// clang-format off
#define QEL_RBTREE_INVARIANT(t) ( ( ( ((t)->size==0) && ((t)->_root==(t)->sentinel()) ) || ( ((t)->size!=0) && ((t)->_root!=(t)->sentinel()) && ((t)->_first!=(t)->sentinel()) ) ) && !(t)->sentinel()->isRed() && ((t)->sentinel()->left==(t)->sentinel()) && ((t)->sentinel()->right==(t)->sentinel()) && ((t)->sentinel()->data==NULL) )
// clang-format on

// The node invariant over a node `n` of the tree `t`: the root (parent word
// 0) or a node that is not red under a red parent; each child is the
// sentinel or links back to it; the first node has no left child; it holds
// an item.
// clang-format off
#define QEL_RBTREE_NODE_INVARIANT(t, n) ( ( ( ((n)->parent==0) && ((t)->_root==(n)) ) || ( ((n)->parent!=0) && !( (n)->isRed() && (n)->getParent()->isRed() ) ) ) && ( ((n)->left==(t)->sentinel()) || ((n)->left->getParent()==(n)) ) && ( ((n)->right==(t)->sentinel()) || ((n)->right->getParent()==(n)) ) && ( ((n)!=(t)->_first) || ((n)->left==(t)->sentinel()) ) && ((n)->data!=NULL) )
// clang-format on

// The iterator invariant over a tree iterator pointer expression `i`:
// detached, or on a sound tree either on no node or on a sound node.
// clang-format off
#define QEL_RBTREE_ITERATOR_INVARIANT(i) ( ((i)->container==NULL) || ( QEL_RBTREE_INVARIANT((i)->tree()) && ( ((i)->node==NULL) || QEL_RBTREE_NODE_INVARIANT((i)->tree(), (i)->node) ) ) )
// clang-format on

// An ordered container of item pointers, a red-black tree ordered by
// compare2Object (equal items side by side, in address order) and searched
// by compare2Key. It owns its nodes and one sentinel (always _first->left),
// never the items. _first is the leftmost node, for constant-time access to
// the first item. Node pointers stay valid until their own node is removed.
class QEL_API QELRBTree : public QELContainer {
public:
    QELRBTreeNode* _root;
    QELRBTreeNode* _first;

    // Walks a tree in order, standing on a node or on none (node null).
    // Valid until the tree changes other than through remove() with it.
    class Iterator : public QELContainer::Iterator {
    public:
        QELRBTreeNode* node;

        Iterator();
        // Stands on the first (true) or last (false) node, or on none.
        Iterator(const QELRBTree& t, bool first = true);
        // Stands on n, a node of t.
        Iterator(const QELRBTree& t, const QELRBTreeNode& n);
        Iterator(const Iterator& other);
        virtual ~Iterator() { }

        // Null when detached or on no node.
        virtual QELContainerItem* operator*() const;
        virtual QELContainerItem* get() const;
        // Null on an empty tree (the iterator then stands on no node).
        virtual QELContainerItem* moveToFirst();
        virtual QELContainerItem* moveToLast();
        // Null past the end, the iterator staying on the last (first) node.
        virtual QELContainerItem* next(int count = 1);
        virtual QELContainerItem* previous(int count = 1);
        // Null with the iterator unchanged when no item matches; findNext
        // and findPrevious test only the immediate neighbour.
        virtual QELContainerItem* findFirst(const QELContainerKey* key);
        virtual QELContainerItem* findLast(const QELContainerKey* key);
        virtual QELContainerItem* findNext(const QELContainerKey* key);
        virtual QELContainerItem* findPrevious(const QELContainerKey* key);

        // True on the same tree and node; two iterators of one tree on no
        // node are equal. False when this iterator is detached.
        virtual QELBoolean operator==(const Iterator& other) const;
        virtual QELBoolean operator!=(const Iterator& other) const;
        virtual Iterator& operator=(const Iterator& other);
        // Attaches to t as the constructor would; null when t is empty.
        virtual QELContainerItem* moveTo(QELRBTree& t, bool first = true);

        QELRBTreeNode* getNode() const { return node; }
        // The walked tree (the container field, typed).
        const QELRBTree* tree() const { return static_cast<const QELRBTree*>(container); }
    };

    QELRBTree();
    // Copies the shape: same colours and item pointers, own nodes.
    QELRBTree(const QELRBTree& other);
    // Deletes every node and the sentinel; the items stay alive.
    virtual ~QELRBTree();

    // Deletes every node (the sentinel is kept); always true.
    virtual QELBoolean empty();
    virtual QELContainer::Iterator* newIterator(bool first = true) const;
    virtual void deleteIterator(QELContainer::Iterator* it) const;
    // False for a null item, or when unique and an equal item is held.
    virtual QELBoolean add(const QELContainerItem* item, bool unique = false, QELContainer::Iterator* where = NULL);
    // False unless this very pointer is held.
    virtual QELBoolean contains(const QELContainerItem* item, QELContainer::Iterator* where = NULL) const;
    // The first item in order matching key, or null.
    virtual QELContainerItem* findFirst(const QELContainerKey* key, QELContainer::Iterator* where = NULL) const;
    // Null for a null or foreign iterator or one on no node. The iterator
    // moves to the successor, else the predecessor, else to no node.
    virtual QELContainerItem* remove(QELContainer::Iterator* where);

    // Replaces the content by a copy of other's shape.
    virtual QELRBTree& operator=(const QELRBTree& other);
    // True when both hold the very same item pointers in the same order.
    virtual QELBoolean operator==(const QELRBTree& other) const;
    virtual QELBoolean operator!=(const QELRBTree& other) const;

    // The sentinel node standing for every empty child.
    QELRBTreeNode* sentinel() const { return _first->left; }

    // The node operations and the repair steps are public so that derived
    // trees and callers that keep node pointers can use them.
    // Null for a null item, or when unique and an equal item is held.
    virtual QELRBTreeNode* addNode(const QELContainerItem* item, bool unique = false);
    // The leftmost node holding this very pointer, or null.
    virtual QELRBTreeNode* getNode(const QELContainerItem* item) const;
    // Null on an empty tree.
    virtual QELRBTreeNode* firstNode() const;
    virtual QELRBTreeNode* lastNode() const;
    // Null for a null node or past either end.
    virtual QELRBTreeNode* nextNode(const QELRBTreeNode* n) const;
    virtual QELRBTreeNode* previousNode(const QELRBTreeNode* n) const;
    // The first (last) node in order matching key, or null.
    virtual QELRBTreeNode* findFirstNode(const QELContainerKey* key) const;
    virtual QELRBTreeNode* findLastNode(const QELContainerKey* key) const;
    // The immediate successor (predecessor) of n when it matches key, else
    // null: matching items are adjacent in order.
    virtual QELRBTreeNode* findNextNode(const QELContainerKey* key, const QELRBTreeNode* n) const;
    virtual QELRBTreeNode* findPreviousNode(const QELContainerKey* key, const QELRBTreeNode* n) const;
    // Unlinks and deletes z, a node of this tree, and returns its item.
    virtual QELContainerItem* removeNode(QELRBTreeNode* z);

    // Lifts child into node's place under parent.
    void _rotate(QELRBTreeNode* parent, QELRBTreeNode* node, QELRBTreeNode* child);
    void _addFixup(QELRBTreeNode* node, QELRBTreeNode* parent);
    void _removeFixup(QELRBTreeNode* header, QELRBTreeNode* node);
    // A copy of the subtree at node with the same colours; the source
    // sentinel maps to the target sentinel.
    static QELRBTreeNode* _duplicateNode(const QELRBTreeNode* node, const QELRBTreeNode* sourceSentinel,
                                         QELRBTreeNode* targetSentinel);
    // Deletes the subtree at node in post-order.
    void _deleteNode(QELRBTreeNode* node, QELRBTreeNode* sentinel);
};

#endif
