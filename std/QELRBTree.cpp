// QELRBTree: the red-black tree of item pointers and its iterator.
#include "QELRBTree.h"
#include "QELAssert.h"
#include "QELMemory.h"

QEL_SOURCE_FILE("QELRBTree.cpp");

// The colour bit in the low bit of a node's parent word (set: red); nodes
// are aligned, so the address never uses it. Colour changes keep the parent
// address in the same word.
static const uintptr_t RED_BIT = 1;

static inline void setRed(QELRBTreeNode* n)
{
    n->parent |= RED_BIT;
}

static inline void setBlack(QELRBTreeNode* n)
{
    n->parent &= ~RED_BIT;
}

// Points n at parent p, keeping n's colour bit.
static inline void setParent(QELRBTreeNode* n, const QELRBTreeNode* p)
{
    n->parent = reinterpret_cast<uintptr_t>(p) | (n->parent & RED_BIT);
}

static inline QELRBTreeNode* newNode(const QELContainerItem* item, QELRBTreeNode* nil, uintptr_t parent)
{
    QELRBTreeNode* n = qelNew<QELRBTreeNode>();
    n->left = nil;
    n->right = nil;
    n->parent = parent;
    n->data = item;
    return n;
}

QELRBTree::QELRBTree() : _QELContainer(), QELContainer()
{
    QEL_OPERATION("QELRBTree::QELRBTree()");
    QELRBTreeNode* nil = qelNew<QELRBTreeNode>();
    nil->left = nil;
    nil->right = nil;
    nil->parent = 0;
    nil->data = NULL;
    _root = nil;
    _first = nil;
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
}

QELRBTree::QELRBTree(const QELRBTree& other) : _QELContainer(), QELContainer()
{
    QEL_OPERATION("QELRBTree::QELRBTree(const QELRBTree&)");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(&other));
    QELRBTreeNode* nil = qelNew<QELRBTreeNode>();
    nil->left = nil;
    nil->right = nil;
    nil->parent = 0;
    nil->data = NULL;
    _root = _duplicateNode(other._root, other.sentinel(), nil);
    _root->parent = 0;
    _first = _root;
    while (_first->left != nil)
        _first = _first->left;
    size = other.size;
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
}

QELRBTree::~QELRBTree()
{
    empty();
    delete _first;
}

QELRBTreeNode* QELRBTree::_duplicateNode(const QELRBTreeNode* node, const QELRBTreeNode* sourceSentinel,
                                         QELRBTreeNode* targetSentinel)
{
    if (node == sourceSentinel)
        return targetSentinel;
    QELRBTreeNode* n = qelNew<QELRBTreeNode>();
    n->data = node->data;
    n->parent = node->parent & RED_BIT;
    n->left = _duplicateNode(node->left, sourceSentinel, targetSentinel);
    if (n->left != targetSentinel)
        setParent(n->left, n);
    n->right = _duplicateNode(node->right, sourceSentinel, targetSentinel);
    if (n->right != targetSentinel)
        setParent(n->right, n);
    return n;
}

void QELRBTree::_deleteNode(QELRBTreeNode* node, QELRBTreeNode* sentinel)
{
    QEL_OPERATION("void QELRBTree::_deleteNode(QELRBTreeNode*, QELRBTreeNode*)");
    QEL_ASSERT(QEL_RBTREE_NODE_INVARIANT(this, node));
    if (node->left != sentinel)
        _deleteNode(node->left, sentinel);
    if (node->right != sentinel)
        _deleteNode(node->right, sentinel);
    delete node;
}

QELBoolean QELRBTree::empty()
{
    QEL_OPERATION("virtual QELBoolean QELRBTree::empty()");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    QELRBTreeNode* nil = sentinel();
    if (_root != nil) {
        // _first goes to the sentinel first: the sentinel is found through
        // it, and the first node is deleted before the others.
        _first = nil;
        _deleteNode(_root, nil);
    }
    size = 0;
    _root = nil;
    _first = nil;
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    return true;
}

QELContainer::Iterator* QELRBTree::newIterator(bool first) const
{
    return qelNew<Iterator>(*this, first);
}

void QELRBTree::deleteIterator(QELContainer::Iterator* it) const
{
    delete it;
}

QELBoolean QELRBTree::add(const QELContainerItem* item, bool unique, QELContainer::Iterator* where)
{
    QELRBTreeNode* n = addNode(item, unique);
    if (n == NULL)
        return false;
    if (where != NULL) {
        Iterator* it = static_cast<Iterator*>(where);
        it->container = this;
        it->node = n;
    }
    return true;
}

QELBoolean QELRBTree::contains(const QELContainerItem* item, QELContainer::Iterator* where) const
{
    QELRBTreeNode* n = getNode(item);
    if (n == NULL)
        return false;
    if (where != NULL) {
        Iterator* it = static_cast<Iterator*>(where);
        it->container = this;
        it->node = n;
    }
    return true;
}

QELContainerItem* QELRBTree::findFirst(const QELContainerKey* key, QELContainer::Iterator* where) const
{
    QELRBTreeNode* n = findFirstNode(key);
    if (n == NULL)
        return NULL;
    if (where != NULL) {
        Iterator* it = static_cast<Iterator*>(where);
        it->container = this;
        it->node = n;
    }
    return const_cast<QELContainerItem*>(n->data);
}

QELContainerItem* QELRBTree::remove(QELContainer::Iterator* where)
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::remove(QELContainer::Iterator*)");
    if (where == NULL || where->container != this)
        return NULL;
    Iterator* it = static_cast<Iterator*>(where);
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(it));
    QELRBTreeNode* n = it->node;
    if (n == NULL)
        return NULL;
    QELRBTreeNode* m = nextNode(n);
    if (m == NULL)
        m = previousNode(n);
    it->node = m;
    return removeNode(n);
}

QELRBTree& QELRBTree::operator=(const QELRBTree& other)
{
    QEL_OPERATION("virtual QELRBTree& QELRBTree::operator=(const QELRBTree&)");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    QEL_ASSERT(QEL_RBTREE_INVARIANT(&other));
    if (&other == this)
        return *this;
    // Release the previous content, then copy the shape as the copy
    // constructor does.
    empty();
    QELRBTreeNode* nil = sentinel();
    _root = _duplicateNode(other._root, other.sentinel(), nil);
    _root->parent = 0;
    _first = _root;
    while (_first->left != nil)
        _first = _first->left;
    size = other.size;
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    return *this;
}

QELBoolean QELRBTree::operator==(const QELRBTree& other) const
{
    QEL_OPERATION("virtual QELBoolean QELRBTree::operator==(const QELRBTree&) const");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    QEL_ASSERT(QEL_RBTREE_INVARIANT(&other));
    if (size != other.size)
        return false;
    if (size == 0)
        return true;
    const QELRBTreeNode* a = firstNode();
    const QELRBTreeNode* b = other.firstNode();
    while (a != NULL && b != NULL) {
        if (a->data != b->data)
            return false;
        a = nextNode(a);
        b = other.nextNode(b);
    }
    return a == NULL && b == NULL;
}

QELBoolean QELRBTree::operator!=(const QELRBTree& other) const
{
    return !(*this == other);
}

// ---------------------------------------------------------------- Insertion

QELRBTreeNode* QELRBTree::addNode(const QELContainerItem* item, bool unique)
{
    QEL_OPERATION("virtual QELRBTreeNode* QELRBTree::addNode(const QELContainerItem*, bool)");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    if (item == NULL)
        return NULL;
    QELRBTreeNode* nil = sentinel();
    if (_root == nil) {
        QELRBTreeNode* n = newNode(item, nil, 0);
        _root = n;
        _first = n;
        size = 1;
        QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
        QEL_ASSERT(QEL_RBTREE_NODE_INVARIANT(this, n));
        return n;
    }
    // Descend to an empty child; equal items are ordered by address.
    QELRBTreeNode* x = _root;
    QELRBTreeNode* p;
    int c;
    do {
        QEL_ASSERT(QEL_RBTREE_NODE_INVARIANT(this, x));
        c = compare2Object(x->data, item);
        if (c == 0) {
            if (unique)
                return NULL;
            c = qelCompareAddresses(x->data, item);
        }
        p = x;
        x = c >= 0 ? x->left : x->right;
    } while (x != nil);
    QELRBTreeNode* n = newNode(item, nil, reinterpret_cast<uintptr_t>(p) | 1);
    if (c >= 0) {
        p->left = n;
        if (p == _first)
            _first = n;
    } else {
        p->right = n;
    }
    size++;
    if (p->isRed()) {
        // The root hangs under a stack header while repairing, so that
        // rotations at the root need no special case.
        QELRBTreeNode header;
        header.left = nil;
        header.right = _root;
        header.parent = 0;
        header.data = NULL;
        _root->parent = reinterpret_cast<uintptr_t>(&header);
        _addFixup(n, p);
        _root = header.right;
        _root->parent = 0;
    }
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    QEL_ASSERT(QEL_RBTREE_NODE_INVARIANT(this, n));
    return n;
}

void QELRBTree::_rotate(QELRBTreeNode* parent, QELRBTreeNode* node, QELRBTreeNode* child)
{
    QELRBTreeNode* nil = sentinel();
    if (child == node->left) {
        QELRBTreeNode* b = child->right;
        node->left = b;
        if (b != nil)
            setParent(b, node);
        child->right = node;
    } else {
        QELRBTreeNode* b = child->left;
        node->right = b;
        if (b != nil)
            setParent(b, node);
        child->left = node;
    }
    setParent(node, child);
    setParent(child, parent);
    if (parent->left == node)
        parent->left = child;
    else
        parent->right = child;
}

void QELRBTree::_addFixup(QELRBTreeNode* node, QELRBTreeNode* parent)
{
    QELRBTreeNode* x = node;
    QELRBTreeNode* p = parent;
    // The header above the root is black, which ends the loop there.
    while (p->isRed()) {
        QELRBTreeNode* g = p->getParent();
        if (p == g->left) {
            QELRBTreeNode* u = g->right;
            if (u->isRed()) {
                setBlack(p);
                setBlack(u);
                setRed(g);
                x = g;
                p = g->getParent();
                continue;
            }
            if (x == p->right) {
                _rotate(g, p, x);
                QELRBTreeNode* t = x;
                x = p;
                p = t;
            }
            setBlack(p);
            setRed(g);
            _rotate(g->getParent(), g, p);
            return;
        } else {
            QELRBTreeNode* u = g->left;
            if (u->isRed()) {
                setBlack(p);
                setBlack(u);
                setRed(g);
                x = g;
                p = g->getParent();
                continue;
            }
            if (x == p->left) {
                _rotate(g, p, x);
                QELRBTreeNode* t = x;
                x = p;
                p = t;
            }
            setBlack(p);
            setRed(g);
            _rotate(g->getParent(), g, p);
            return;
        }
    }
}

// ------------------------------------------------------------------ Removal

QELContainerItem* QELRBTree::removeNode(QELRBTreeNode* z)
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::removeNode(QELRBTreeNode*)");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    QEL_ASSERT(QEL_RBTREE_NODE_INVARIANT(this, z));
    QELRBTreeNode* nil = sentinel();
    if (z == _first) {
        QELRBTreeNode* m = nextNode(z);
        _first = m != NULL ? m : nil;
    }
    QELRBTreeNode header;
    header.left = nil;
    header.right = _root;
    header.parent = 0;
    header.data = NULL;
    _root->parent = reinterpret_cast<uintptr_t>(&header);

    // y is the node unlinked from its place: z itself when it lacks a
    // child, else its successor; x is the child that takes y's place.
    QELRBTreeNode* y;
    QELRBTreeNode* x;
    if (z->left == nil) {
        y = z;
        x = z->right;
    } else if (z->right == nil) {
        y = z;
        x = z->left;
    } else {
        y = z->right;
        while (y->left != nil)
            y = y->left;
        x = y->right;
    }
    bool yRed = y->isRed();
    QELRBTreeNode* yp = y->getParent();
    setParent(x, yp);
    if (yp->left == y)
        yp->left = x;
    else
        yp->right = x;
    if (y != z) {
        // Relink y in z's place (colour included) rather than copying
        // items, so that node pointers held elsewhere stay valid.
        y->parent = z->parent;
        y->left = z->left;
        y->right = z->right;
        setParent(y->left, y);
        setParent(y->right, y);
        QELRBTreeNode* zp = z->getParent();
        if (zp->left == z)
            zp->left = y;
        else
            zp->right = y;
    }
    if (!yRed)
        _removeFixup(&header, x);
    _root = header.right;
    _root->parent = 0;
    nil->parent = 0;
    const QELContainerItem* item = z->data;
    delete z;
    size--;
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    return const_cast<QELContainerItem*>(item);
}

void QELRBTree::_removeFixup(QELRBTreeNode* header, QELRBTreeNode* node)
{
    QELRBTreeNode* x = node;
    while (x != header->right && !x->isRed()) {
        QELRBTreeNode* p = x->getParent();
        if (x == p->left) {
            QELRBTreeNode* w = p->right;
            if (w->isRed()) {
                setBlack(w);
                setRed(p);
                _rotate(p->getParent(), p, w);
                w = p->right;
            }
            if (!w->left->isRed() && !w->right->isRed()) {
                setRed(w);
                x = p;
            } else {
                if (!w->right->isRed()) {
                    setBlack(w->left);
                    setRed(w);
                    _rotate(p, w, w->left);
                    w = p->right;
                }
                if (p->isRed())
                    setRed(w);
                else
                    setBlack(w);
                setBlack(p);
                setBlack(w->right);
                _rotate(p->getParent(), p, w);
                x = header->right;
            }
        } else {
            QELRBTreeNode* w = p->left;
            if (w->isRed()) {
                setBlack(w);
                setRed(p);
                _rotate(p->getParent(), p, w);
                w = p->left;
            }
            if (!w->right->isRed() && !w->left->isRed()) {
                setRed(w);
                x = p;
            } else {
                if (!w->left->isRed()) {
                    setBlack(w->right);
                    setRed(w);
                    _rotate(p, w, w->right);
                    w = p->left;
                }
                if (p->isRed())
                    setRed(w);
                else
                    setBlack(w);
                setBlack(p);
                setBlack(w->left);
                _rotate(p->getParent(), p, w);
                x = header->right;
            }
        }
    }
    setBlack(x);
}

// --------------------------------------------------------- Node navigation

QELRBTreeNode* QELRBTree::firstNode() const
{
    QEL_OPERATION("virtual QELRBTreeNode* QELRBTree::firstNode() const");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    if (size == 0)
        return NULL;
    return _first;
}

QELRBTreeNode* QELRBTree::lastNode() const
{
    QEL_OPERATION("virtual QELRBTreeNode* QELRBTree::lastNode() const");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    if (size == 0)
        return NULL;
    QELRBTreeNode* nil = sentinel();
    QELRBTreeNode* n = _root;
    while (n->right != nil)
        n = n->right;
    return n;
}

QELRBTreeNode* QELRBTree::nextNode(const QELRBTreeNode* n) const
{
    if (n == NULL)
        return NULL;
    QELRBTreeNode* nil = sentinel();
    if (n->right != nil) {
        QELRBTreeNode* m = n->right;
        while (m->left != nil)
            m = m->left;
        return m;
    }
    // Climb to the first ancestor reached from its left subtree.
    QELRBTreeNode* p = n->getParent();
    while (p != NULL && n == p->right) {
        n = p;
        p = p->getParent();
    }
    return p;
}

QELRBTreeNode* QELRBTree::previousNode(const QELRBTreeNode* n) const
{
    if (n == NULL)
        return NULL;
    QELRBTreeNode* nil = sentinel();
    if (n->left != nil) {
        QELRBTreeNode* m = n->left;
        while (m->right != nil)
            m = m->right;
        return m;
    }
    QELRBTreeNode* p = n->getParent();
    while (p != NULL && n == p->left) {
        n = p;
        p = p->getParent();
    }
    return p;
}

// ---------------------------------------------------------------- Searches

QELRBTreeNode* QELRBTree::getNode(const QELContainerItem* item) const
{
    QEL_OPERATION("virtual QELRBTreeNode* QELRBTree::getNode(const QELContainerItem*) const");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    if (item == NULL || size == 0)
        return NULL;
    QELRBTreeNode* nil = sentinel();
    QELRBTreeNode* found = NULL;
    QELRBTreeNode* x = _root;
    while (x != nil) {
        QEL_ASSERT(QEL_RBTREE_NODE_INVARIANT(this, x));
        int c = compare2Object(x->data, item);
        if (c == 0) {
            c = qelCompareAddresses(x->data, item);
            // This very pointer: look on the left for an earlier copy.
            if (c == 0)
                found = x;
        }
        x = c < 0 ? x->right : x->left;
    }
    return found;
}

QELRBTreeNode* QELRBTree::findFirstNode(const QELContainerKey* key) const
{
    QEL_OPERATION("virtual QELRBTreeNode* QELRBTree::findFirstNode(const QELContainerKey*) const");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    if (size == 0)
        return NULL;
    QELRBTreeNode* nil = sentinel();
    QELRBTreeNode* found = NULL;
    QELRBTreeNode* x = _root;
    while (x != nil) {
        QEL_ASSERT(QEL_RBTREE_NODE_INVARIANT(this, x));
        int c = compare2Key(x->data, key);
        if (c == 0) {
            found = x;
            x = x->left;
            break;
        }
        x = c < 0 ? x->right : x->left;
    }
    // Below a match, a further match moves left again, anything else right.
    while (x != nil) {
        QEL_ASSERT(QEL_RBTREE_NODE_INVARIANT(this, x));
        if (compare2Key(x->data, key) == 0) {
            found = x;
            x = x->left;
        } else {
            x = x->right;
        }
    }
    return found;
}

QELRBTreeNode* QELRBTree::findLastNode(const QELContainerKey* key) const
{
    QEL_OPERATION("virtual QELRBTreeNode* QELRBTree::findLastNode(const QELContainerKey*) const");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    if (size == 0)
        return NULL;
    QELRBTreeNode* nil = sentinel();
    QELRBTreeNode* found = NULL;
    QELRBTreeNode* x = _root;
    while (x != nil) {
        QEL_ASSERT(QEL_RBTREE_NODE_INVARIANT(this, x));
        int c = compare2Key(x->data, key);
        if (c == 0) {
            found = x;
            x = x->right;
            break;
        }
        x = c < 0 ? x->right : x->left;
    }
    // Below a match, a further match moves right again, anything else left.
    while (x != nil) {
        QEL_ASSERT(QEL_RBTREE_NODE_INVARIANT(this, x));
        if (compare2Key(x->data, key) == 0) {
            found = x;
            x = x->right;
        } else {
            x = x->left;
        }
    }
    return found;
}

QELRBTreeNode* QELRBTree::findNextNode(const QELContainerKey* key, const QELRBTreeNode* n) const
{
    QEL_OPERATION("virtual QELRBTreeNode* QELRBTree::findNextNode(const QELContainerKey*, const QELRBTreeNode*) const");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    QELRBTreeNode* m = nextNode(n);
    if (m != NULL && compare2Key(m->data, key) == 0)
        return m;
    return NULL;
}

QELRBTreeNode* QELRBTree::findPreviousNode(const QELContainerKey* key, const QELRBTreeNode* n) const
{
    QEL_OPERATION(
        "virtual QELRBTreeNode* QELRBTree::findPreviousNode(const QELContainerKey*, const QELRBTreeNode*) const");
    QEL_ASSERT(QEL_RBTREE_INVARIANT(this));
    QELRBTreeNode* m = previousNode(n);
    if (m != NULL && compare2Key(m->data, key) == 0)
        return m;
    return NULL;
}

// ---------------------------------------------------------------- Iterator

QELRBTree::Iterator::Iterator() : QELContainer::Iterator(), node(NULL)
{
}

QELRBTree::Iterator::Iterator(const QELRBTree& t, bool first) : QELContainer::Iterator(&t), node(NULL)
{
    QEL_OPERATION("QELRBTree::Iterator::Iterator(const QELRBTree&, bool)");
    if (t.size != 0)
        node = first ? t._first : t.lastNode();
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
}

QELRBTree::Iterator::Iterator(const QELRBTree& t, const QELRBTreeNode& n)
    : QELContainer::Iterator(&t), node(const_cast<QELRBTreeNode*>(&n))
{
    QEL_OPERATION("QELRBTree::Iterator::Iterator(const QELRBTree&, const QELRBTreeNode&)");
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
}

QELRBTree::Iterator::Iterator(const Iterator& other) : QELContainer::Iterator(other.container), node(other.node)
{
    QEL_OPERATION("QELRBTree::Iterator::Iterator(const QELRBTree::Iterator&)");
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
}

QELContainerItem* QELRBTree::Iterator::operator*() const
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::Iterator::operator*() const");
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    if (container == NULL || node == NULL)
        return NULL;
    return const_cast<QELContainerItem*>(node->data);
}

QELContainerItem* QELRBTree::Iterator::get() const
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::Iterator::get() const");
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    if (container == NULL || node == NULL)
        return NULL;
    return const_cast<QELContainerItem*>(node->data);
}

QELContainerItem* QELRBTree::Iterator::moveToFirst()
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::Iterator::moveToFirst()");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    node = tree()->firstNode();
    return node != NULL ? const_cast<QELContainerItem*>(node->data) : NULL;
}

QELContainerItem* QELRBTree::Iterator::moveToLast()
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::Iterator::moveToLast()");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    node = tree()->lastNode();
    return node != NULL ? const_cast<QELContainerItem*>(node->data) : NULL;
}

QELContainerItem* QELRBTree::Iterator::moveTo(QELRBTree& t, bool first)
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::Iterator::moveTo(QELRBTree&, bool)");
    container = &t;
    node = NULL;
    if (t.size != 0)
        node = first ? t._first : t.lastNode();
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    return node != NULL ? const_cast<QELContainerItem*>(node->data) : NULL;
}

QELContainerItem* QELRBTree::Iterator::next(int count)
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::Iterator::next(int)");
    if (container == NULL || node == NULL)
        return NULL;
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    const QELRBTree* t = tree();
    QELRBTreeNode* n = node;
    for (int i = 0; i < count; i++) {
        QELRBTreeNode* m = t->nextNode(n);
        if (m == NULL) {
            // Past the end: stay on the node reached before this step.
            node = n;
            return NULL;
        }
        n = m;
    }
    node = n;
    return const_cast<QELContainerItem*>(n->data);
}

QELContainerItem* QELRBTree::Iterator::previous(int count)
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::Iterator::previous(int)");
    if (container == NULL || node == NULL)
        return NULL;
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    const QELRBTree* t = tree();
    QELRBTreeNode* n = node;
    for (int i = 0; i < count; i++) {
        QELRBTreeNode* m = t->previousNode(n);
        if (m == NULL) {
            node = n;
            return NULL;
        }
        n = m;
    }
    node = n;
    return const_cast<QELContainerItem*>(n->data);
}

QELContainerItem* QELRBTree::Iterator::findFirst(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::Iterator::findFirst(const QELContainerKey*)");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    QELRBTreeNode* n = tree()->findFirstNode(key);
    if (n == NULL)
        return NULL;
    node = n;
    return const_cast<QELContainerItem*>(n->data);
}

QELContainerItem* QELRBTree::Iterator::findLast(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::Iterator::findLast(const QELContainerKey*)");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    QELRBTreeNode* n = tree()->findLastNode(key);
    if (n == NULL)
        return NULL;
    node = n;
    return const_cast<QELContainerItem*>(n->data);
}

QELContainerItem* QELRBTree::Iterator::findNext(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::Iterator::findNext(const QELContainerKey*)");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    QELRBTreeNode* n = tree()->findNextNode(key, node);
    if (n == NULL)
        return NULL;
    node = n;
    return const_cast<QELContainerItem*>(n->data);
}

QELContainerItem* QELRBTree::Iterator::findPrevious(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELRBTree::Iterator::findPrevious(const QELContainerKey*)");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    QELRBTreeNode* n = tree()->findPreviousNode(key, node);
    if (n == NULL)
        return NULL;
    node = n;
    return const_cast<QELContainerItem*>(n->data);
}

QELBoolean QELRBTree::Iterator::operator==(const Iterator& other) const
{
    QEL_OPERATION("virtual QELBoolean QELRBTree::Iterator::operator==(const QELRBTree::Iterator&) const");
    if (container == NULL || container != other.container)
        return false;
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(&other));
    return node == other.node;
}

QELBoolean QELRBTree::Iterator::operator!=(const Iterator& other) const
{
    return !(*this == other);
}

QELRBTree::Iterator& QELRBTree::Iterator::operator=(const Iterator& other)
{
    QEL_OPERATION("virtual QELRBTree::Iterator& QELRBTree::Iterator::operator=(const QELRBTree::Iterator&)");
    container = other.container;
    node = other.node;
    QEL_ASSERT(QEL_RBTREE_ITERATOR_INVARIANT(this));
    return *this;
}
