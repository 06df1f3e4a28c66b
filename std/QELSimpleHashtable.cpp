// QELSimpleHashtable: keyed hashtables, their nodes and their iterator.
#include "QELSimpleHashtable.h"
#include "QELMemory.h"

#include <cstring>
#include <new>
#include <strings.h>

#include "QELAssert.h"

QEL_SOURCE_FILE("QELSimpleHashtable.cpp");

// ------------------------------------------------------------------- Nodes

QELSimpleHashtableNode::~QELSimpleHashtableNode()
{
}

const void* QELSimpleHashtableNode::getKey() const
{
    return NULL;
}

QELSimpleStringHashtableNode::~QELSimpleStringHashtableNode()
{
}

const void* QELSimpleStringHashtableNode::getKey() const
{
    return &key;
}

QELSimpleStringHashtableNode::QELSimpleStringHashtableNode(const QELString& k, void* v, InlineText)
    : QELSimpleHashtableNode(v), key()
{
    // The text follows the node in its block; the key wraps it, so the
    // string never frees it: the block goes with the node.
    char* text = reinterpret_cast<char*>(this + 1);
    memcpy(text, k.p, strlen(k.p) + 1);
    key.wrap(text);
}

QELSimpleStringHashtableNode* QELSimpleStringHashtableNode::create(const QELString& k, void* v)
{
    void* block = qelOperatorNew(sizeof(QELSimpleStringHashtableNode) + strlen(k.p) + 1);
    return new (block) QELSimpleStringHashtableNode(k, v, InlineText());
}

QELSimpleLongHashtableNode::~QELSimpleLongHashtableNode()
{
}

const void* QELSimpleLongHashtableNode::getKey() const
{
    return &key;
}

// ------------------------------------------------------ QELSimpleHashtable

// The value of a node found as an item, or null for no node.
static inline QELContainerItem* valueOf(const QELContainerItem* item)
{
    if (item == NULL)
        return NULL;
    return static_cast<QELContainerItem*>(QELSimpleHashtable::nodeOf(item)->value);
}

QELSimpleHashtable::QELSimpleHashtable(bool replace, int buckets)
    : _QELContainer(), QELHashtable(buckets), replace(replace)
{
}

QELSimpleHashtable::~QELSimpleHashtable()
{
    empty();
}

QELBoolean QELSimpleHashtable::empty()
{
    QEL_OPERATION("virtual QELBoolean QELSimpleHashtable::empty()");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    if (size > 0) {
        for (int b = 0; b <= table_mask; b++)
            for (QELHashtableElement* e = table[b]; e != NULL; e = e->next)
                delete nodeOf(e->data);
    }
    return QELHashtable::empty();
}

QELContainer::Iterator* QELSimpleHashtable::newIterator(bool first) const
{
    return qelNew<Iterator>(*this, first);
}

QELContainerItem* QELSimpleHashtable::findFirst(const QELContainerKey* key, QELContainer::Iterator* where) const
{
    return valueOf(QELHashtable::findFirst(key, where));
}

QELContainerItem* QELSimpleHashtable::findLast(const QELContainerKey* key, QELContainer::Iterator* where) const
{
    return valueOf(QELHashtable::findLast(key, where));
}

QELContainerItem* QELSimpleHashtable::remove(QELContainer::Iterator* where)
{
    QELContainerItem* item = QELHashtable::remove(where);
    if (item == NULL)
        return NULL;
    QELSimpleHashtableNode* node = nodeOf(item);
    void* value = node->value;
    delete node;
    return static_cast<QELContainerItem*>(value);
}

// ---------------------------------------------- QELSimpleHashtable::Iterator

QELContainerItem* QELSimpleHashtable::Iterator::operator*() const
{
    return valueOf(QELHashtable::Iterator::get());
}

QELContainerItem* QELSimpleHashtable::Iterator::get() const
{
    return valueOf(QELHashtable::Iterator::get());
}

QELContainerItem* QELSimpleHashtable::Iterator::moveToFirst()
{
    return valueOf(QELHashtable::Iterator::moveToFirst());
}

QELContainerItem* QELSimpleHashtable::Iterator::moveToLast()
{
    return valueOf(QELHashtable::Iterator::moveToLast());
}

QELContainerItem* QELSimpleHashtable::Iterator::next(int count)
{
    return valueOf(QELHashtable::Iterator::next(count));
}

QELContainerItem* QELSimpleHashtable::Iterator::previous(int count)
{
    return valueOf(QELHashtable::Iterator::previous(count));
}

QELContainerItem* QELSimpleHashtable::Iterator::findFirst(const QELContainerKey* key)
{
    return valueOf(QELHashtable::Iterator::findFirst(key));
}

QELContainerItem* QELSimpleHashtable::Iterator::findLast(const QELContainerKey* key)
{
    return valueOf(QELHashtable::Iterator::findLast(key));
}

QELContainerItem* QELSimpleHashtable::Iterator::findNext(const QELContainerKey* key)
{
    return valueOf(QELHashtable::Iterator::findNext(key));
}

QELContainerItem* QELSimpleHashtable::Iterator::findPrevious(const QELContainerKey* key)
{
    return valueOf(QELHashtable::Iterator::findPrevious(key));
}

QELContainerItem* QELSimpleHashtable::Iterator::moveTo(QELHashtable& t, bool first)
{
    return valueOf(QELHashtable::Iterator::moveTo(t, first));
}

const void* QELSimpleHashtable::Iterator::getKey() const
{
    QELContainerItem* item = QELHashtable::Iterator::get();
    if (item == NULL)
        return NULL;
    return nodeOf(item)->getKey();
}

// ------------------------------------------------ QELSimpleStringHashtable

static inline const QELSimpleStringHashtableNode* stringNodeOf(const QELContainerItem* item)
{
    return static_cast<const QELSimpleStringHashtableNode*>(QELSimpleHashtable::nodeOf(item));
}

static inline const QELString* stringKeyOf(const QELContainerKey* key)
{
    return reinterpret_cast<const QELString*>(key);
}

QELSimpleStringHashtable::QELSimpleStringHashtable(bool ignoreCase, bool replace, int buckets)
    : _QELContainer(), QELSimpleHashtable(replace, buckets), ignoreCase(ignoreCase)
{
}

QELSimpleStringHashtable::QELSimpleStringHashtable(const QELSimpleStringHashtable& other)
    : _QELContainer(), QELSimpleHashtable(other.replace, other.bucketCount()), ignoreCase(other.ignoreCase)
{
    QEL_OPERATION("QELSimpleStringHashtable::QELSimpleStringHashtable(const QELSimpleStringHashtable&)");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(&other));
    if (other.size == 0)
        return;
    for (int b = 0; b <= other.table_mask; b++)
        for (QELHashtableElement* e = other.table[b]; e != NULL; e = e->next)
            add(stringNodeOf(e->data)->key, stringNodeOf(e->data)->value);
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
}

QELSimpleStringHashtable& QELSimpleStringHashtable::operator=(const QELSimpleStringHashtable& other)
{
    if (&other == this)
        return *this;
    replace = other.replace;
    ignoreCase = other.ignoreCase;
    operator=(static_cast<const QELHashtable&>(other));
    return *this;
}

QELHashtable& QELSimpleStringHashtable::operator=(const QELHashtable& other)
{
    QEL_OPERATION("virtual QELHashtable& QELSimpleStringHashtable::operator=(const QELHashtable&)");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(&other));
    if (&other == this)
        return *this;
    empty();
    if (other.size == 0)
        return *this;
    table_mask = ~other.table_mask;
    for (int b = 0; b <= other.table_mask; b++)
        for (QELHashtableElement* e = other.table[b]; e != NULL; e = e->next)
            add(stringNodeOf(e->data)->key, stringNodeOf(e->data)->value);
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    return *this;
}

QELBoolean QELSimpleStringHashtable::add(const QELString& key, void* value)
{
    QELContainerItem* found = QELHashtable::findFirst(reinterpret_cast<const QELContainerKey*>(&key), NULL);
    if (found != NULL) {
        if (!replace)
            return false;
        nodeOf(found)->value = value;
        return true;
    }
    QELSimpleStringHashtableNode* node = QELSimpleStringHashtableNode::create(key, value);
    return QELHashtable::add(itemOf(node), true, NULL);
}

int QELSimpleStringHashtable::compare2Object(const QELContainerItem* a, const QELContainerItem* b) const
{
    if (ignoreCase)
        return strcasecmp(stringNodeOf(a)->key.p, stringNodeOf(b)->key.p);
    return strcmp(stringNodeOf(a)->key.p, stringNodeOf(b)->key.p);
}

int QELSimpleStringHashtable::compare2Key(const QELContainerItem* item, const QELContainerKey* key) const
{
    if (ignoreCase)
        return strcasecmp(stringNodeOf(item)->key.p, stringKeyOf(key)->p);
    return strcmp(stringNodeOf(item)->key.p, stringKeyOf(key)->p);
}

unsigned int QELSimpleStringHashtable::hashObject(const QELContainerItem* item) const
{
    const QELString& key = stringNodeOf(item)->key;
    if (ignoreCase) {
        // Keys that differ only in case must share a bucket.
        QELString upper(key);
        return upper.toUpper().hashCode();
    }
    return key.hashCode();
}

unsigned int QELSimpleStringHashtable::hashKey(const QELContainerKey* key) const
{
    const QELString& text = *stringKeyOf(key);
    if (ignoreCase) {
        QELString upper(text);
        return upper.toUpper().hashCode();
    }
    return text.hashCode();
}

// -------------------------------------------------- QELSimpleLongHashtable

static inline long longKeyOfNode(const QELContainerItem* item)
{
    return static_cast<const QELSimpleLongHashtableNode*>(QELSimpleHashtable::nodeOf(item))->key;
}

static inline long longKeyOf(const QELContainerKey* key)
{
    return *reinterpret_cast<const long*>(key);
}

// Written with the equality first, so that a test of the result against 0
// compiles to one comparison.
static inline int compareLongs(long a, long b)
{
    return a == b ? 0 : (a < b ? -1 : 1);
}

QELSimpleLongHashtable::QELSimpleLongHashtable(bool replace, int buckets)
    : _QELContainer(), QELSimpleHashtable(replace, buckets)
{
}

QELSimpleLongHashtable::QELSimpleLongHashtable(const QELSimpleLongHashtable& other)
    : _QELContainer(), QELSimpleHashtable(other.replace, other.bucketCount())
{
    QEL_OPERATION("QELSimpleLongHashtable::QELSimpleLongHashtable(const QELSimpleLongHashtable&)");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(&other));
    if (other.size == 0)
        return;
    for (int b = 0; b <= other.table_mask; b++)
        for (QELHashtableElement* e = other.table[b]; e != NULL; e = e->next)
            add(longKeyOfNode(e->data), nodeOf(e->data)->value);
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
}

QELSimpleLongHashtable& QELSimpleLongHashtable::operator=(const QELSimpleLongHashtable& other)
{
    if (&other == this)
        return *this;
    replace = other.replace;
    operator=(static_cast<const QELHashtable&>(other));
    return *this;
}

QELHashtable& QELSimpleLongHashtable::operator=(const QELHashtable& other)
{
    QEL_OPERATION("virtual QELHashtable& QELSimpleLongHashtable::operator=(const QELHashtable&)");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(&other));
    if (&other == this)
        return *this;
    empty();
    if (other.size == 0)
        return *this;
    table_mask = ~other.table_mask;
    for (int b = 0; b <= other.table_mask; b++)
        for (QELHashtableElement* e = other.table[b]; e != NULL; e = e->next)
            add(longKeyOfNode(e->data), nodeOf(e->data)->value);
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    return *this;
}

QELBoolean QELSimpleLongHashtable::add(long key, void* value)
{
    QELContainerItem* found = QELHashtable::findFirst(reinterpret_cast<const QELContainerKey*>(&key), NULL);
    if (found != NULL) {
        if (!replace)
            return false;
        nodeOf(found)->value = value;
        return true;
    }
    QELSimpleLongHashtableNode* node = qelNew<QELSimpleLongHashtableNode>(key, value);
    return QELHashtable::add(itemOf(node), true, NULL);
}

int QELSimpleLongHashtable::compare2Object(const QELContainerItem* a, const QELContainerItem* b) const
{
    return compareLongs(longKeyOfNode(a), longKeyOfNode(b));
}

int QELSimpleLongHashtable::compare2Key(const QELContainerItem* item, const QELContainerKey* key) const
{
    return compareLongs(longKeyOfNode(item), longKeyOf(key));
}

unsigned int QELSimpleLongHashtable::hashObject(const QELContainerItem* item) const
{
    return static_cast<unsigned int>(longKeyOfNode(item));
}

unsigned int QELSimpleLongHashtable::hashKey(const QELContainerKey* key) const
{
    return static_cast<unsigned int>(longKeyOf(key));
}
