// QELSimpleHashtable: keyed hashtables (maps from a text or long key to an
// untyped value), their nodes and their iterator.
#ifndef QELSIMPLEHASHTABLE_H
#define QELSIMPLEHASHTABLE_H

#include "QELExport.h"
#include "QELHashtable.h"
#include "QELString.h"

// One entry of a keyed hashtable: a key (in the subclasses) and a value
// pointer that the node never owns.
class QEL_API QELSimpleHashtableNode {
public:
    void* value;

    explicit QELSimpleHashtableNode(void* v = NULL) : value(v) { }
    virtual ~QELSimpleHashtableNode();
    // The address of the node's key field; null for this keyless base.
    virtual const void* getKey() const;
};

// An entry keyed by text; the node owns its copy of the key. Nodes made by
// create() keep the text in the same block, just after the node (key then
// wraps it), so that an entry costs one allocation and one cache miss less.
class QEL_API QELSimpleStringHashtableNode : public QELSimpleHashtableNode {
public:
    QELString key;

    // The key is copied into a block of its own.
    QELSimpleStringHashtableNode(const QELString& k, void* v) : QELSimpleHashtableNode(v), key(k) { }
    virtual ~QELSimpleStringHashtableNode();
    // A const QELString*.
    virtual const void* getKey() const;

    // A heap node holding a copy of k's text right after itself; released
    // with delete like any node.
    static QELSimpleStringHashtableNode* create(const QELString& k, void* v);
    static void operator delete(void* p) { ::operator delete(p); }

private:
    struct InlineText { };
    QELSimpleStringHashtableNode(const QELString& k, void* v, InlineText);
};

// An entry keyed by a long.
class QEL_API QELSimpleLongHashtableNode : public QELSimpleHashtableNode {
public:
    long key;

    QELSimpleLongHashtableNode(long k, void* v) : QELSimpleHashtableNode(v), key(k) { }
    virtual ~QELSimpleLongHashtableNode();
    // A const long*.
    virtual const void* getKey() const;
};

// A hashtable whose items are QELSimpleHashtableNode pointers: it owns the
// nodes (and so the key copies) but never the values. Lookups, removal and
// the iterator hand out values, not nodes. With replace set, adding an
// existing key replaces its value; otherwise such an add fails. Subclasses
// supply the key comparisons and hashes, and the keyed add().
class QEL_API QELSimpleHashtable : public QELHashtable {
public:
    bool replace;

    // A hashtable iterator that hands out the values of the nodes. The key
    // pointer from getKey() lives as long as the entry.
    class Iterator : public QELHashtable::Iterator {
    public:
        Iterator() : QELHashtable::Iterator() { }
        Iterator(const QELSimpleHashtable& t, bool first = true) : QELHashtable::Iterator(t, first) { }
        Iterator(const Iterator& other) : QELHashtable::Iterator(other) { }
        virtual ~Iterator() { }

        // Each returns the value of the node reached, null when none (a
        // null value cannot be told from a miss).
        virtual QELContainerItem* operator*() const;
        virtual QELContainerItem* get() const;
        virtual QELContainerItem* moveToFirst();
        virtual QELContainerItem* moveToLast();
        virtual QELContainerItem* next(int count = 1);
        virtual QELContainerItem* previous(int count = 1);
        virtual QELContainerItem* findFirst(const QELContainerKey* key);
        virtual QELContainerItem* findLast(const QELContainerKey* key);
        virtual QELContainerItem* findNext(const QELContainerKey* key);
        virtual QELContainerItem* findPrevious(const QELContainerKey* key);
        virtual QELContainerItem* moveTo(QELHashtable& t, bool first = true);

        // The current node's key (a const QELString* or a const long*),
        // null when the iterator stands on no entry.
        const void* getKey() const;
    };

    QELSimpleHashtable(bool replace = false, int buckets = 0);
    // Nodes of an unknown kind cannot be copied; the keyed subclasses copy.
    QELSimpleHashtable(const QELSimpleHashtable&) = delete;
    QELSimpleHashtable& operator=(const QELSimpleHashtable&) = delete;
    // Deletes every node; the values stay alive.
    virtual ~QELSimpleHashtable();

    // Deletes every node, then empties the table; always true.
    virtual QELBoolean empty();
    virtual QELContainer::Iterator* newIterator(bool first = true) const;
    // The value of the first (last) node matching key, or null. The key
    // is a const QELString* (string table) or a const long* (long table).
    virtual QELContainerItem* findFirst(const QELContainerKey* key, QELContainer::Iterator* where = NULL) const;
    virtual QELContainerItem* findLast(const QELContainerKey* key, QELContainer::Iterator* where = NULL) const;
    // Deletes the node at where and returns its value; null for a null,
    // foreign or unplaced iterator.
    virtual QELContainerItem* remove(QELContainer::Iterator* where);

    // The node held as an item, and back.
    static QELSimpleHashtableNode* nodeOf(const QELContainerItem* item)
    {
        return reinterpret_cast<QELSimpleHashtableNode*>(const_cast<QELContainerItem*>(item));
    }
    static const QELContainerItem* itemOf(const QELSimpleHashtableNode* node)
    {
        return reinterpret_cast<const QELContainerItem*>(node);
    }
};

// A map from text to values; keys match exactly (strcmp) or, with
// ignoreCase, regardless of letter case (strcasecmp, and hashes of the
// upper-cased text, so that such keys share a bucket).
class QEL_API QELSimpleStringHashtable : public QELSimpleHashtable {
public:
    bool ignoreCase;

    QELSimpleStringHashtable(bool ignoreCase = false, bool replace = false, int buckets = 0);
    // Copies the flags, the bucket count and every entry (keys copied,
    // values shared).
    QELSimpleStringHashtable(const QELSimpleStringHashtable& other);
    QELSimpleStringHashtable& operator=(const QELSimpleStringHashtable& other);
    // Replaces the entries by copies of other's, which must be a string
    // table; keeps this table's flags.
    virtual QELHashtable& operator=(const QELHashtable& other);
    virtual ~QELSimpleStringHashtable() { }

    using QELSimpleHashtable::add;
    // False when key exists and replace is not set (the entry unchanged);
    // with replace set an existing entry takes the new value.
    QELBoolean add(const QELString& key, void* value);

    virtual int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const;
    // key is a const QELString*.
    virtual int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const;
    virtual unsigned int hashObject(const QELContainerItem* item) const;
    virtual unsigned int hashKey(const QELContainerKey* key) const;
};

// A map from long keys to values; a key hashes to its own low 32 bits, so
// consecutive keys fill consecutive buckets.
class QEL_API QELSimpleLongHashtable : public QELSimpleHashtable {
public:
    QELSimpleLongHashtable(bool replace = false, int buckets = 0);
    QELSimpleLongHashtable(const QELSimpleLongHashtable& other);
    QELSimpleLongHashtable& operator=(const QELSimpleLongHashtable& other);
    // Replaces the entries by copies of other's, which must be a long table.
    virtual QELHashtable& operator=(const QELHashtable& other);
    virtual ~QELSimpleLongHashtable() { }

    using QELSimpleHashtable::add;
    // False when key exists and replace is not set (the entry unchanged).
    QELBoolean add(long key, void* value);

    virtual int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const;
    // key is a const long*.
    virtual int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const;
    virtual unsigned int hashObject(const QELContainerItem* item) const;
    virtual unsigned int hashKey(const QELContainerKey* key) const;
};

#endif
