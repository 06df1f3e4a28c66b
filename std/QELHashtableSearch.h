// QELHashtableSearch: the bucket walk of QELHashtable::findFirst, shared with
// the keyed tables' own searches, which call their key hooks directly instead
// of through the virtual table. Internal; not installed.
#ifndef QELHASHTABLESEARCH_H
#define QELHASHTABLESEARCH_H

#include <typeinfo>

#include "QELHashtable.h"

// Points where, when given, at element e of the given bucket of t.
inline void qelPlaceOn(QELContainer::Iterator* where, const QELHashtable* t, QELHashtableElement* e, int bucket)
{
    if (where == NULL)
        return;
    QELHashtable::Iterator* it = static_cast<QELHashtable::Iterator*>(where);
    it->container = t;
    it->element = e;
    it->index = bucket;
}

// The first item that matches(item) accepts in the bucket of hash, walked
// from its head along next, or null; where is placed on it. t holds items.
template <class Matches>
inline QELContainerItem* qelFindFirstInBucket(const QELHashtable* t, unsigned int hash, Matches matches,
                                              QELContainer::Iterator* where)
{
    int bucket = static_cast<int>(hash & static_cast<unsigned int>(t->table_mask));
    for (QELHashtableElement* e = t->table[bucket]; e != NULL; e = e->next) {
        // The next element is asked for while the item is compared: when
        // the item does not match, its miss has already started.
        __builtin_prefetch(e->next);
        if (matches(e->data)) {
            qelPlaceOn(where, t, e, bucket);
            return const_cast<QELContainerItem*>(e->data);
        }
    }
    return NULL;
}

// Whether t is exactly of class Table, not of a subclass that may override
// the hooks. Comparing the addresses of the type descriptions is enough: the
// only one of a library class is the library's own, and a miss merely sends
// the search through the virtual hooks.
template <class Table>
inline bool qelIsExactly(const Table* t)
{
    return &typeid(*t) == &typeid(Table);
}

// Whether t can be searched by qelFindFirstBound: it is exactly of class
// Table (a subclass may override the hooks) and holds items in an allocated
// bucket array, which meets the table invariant. Any other table goes through
// QELHashtable::findFirst, whose own check reports a broken table.
template <class Table>
inline bool qelCanSearchDirectly(const Table* t)
{
    return qelIsExactly(t) && t->size > 0 && t->table != NULL && t->table_mask > 0;
}

// findFirst on t through Table's own hashKey and compare2Key, called
// directly (inlined where Table defines them), so that a search costs no
// virtual call. Returns the item (for the keyed tables, the node) and places
// where on it. Only for a table that qelCanSearchDirectly accepts.
template <class Table>
inline QELContainerItem* qelFindFirstBound(const Table* t, const QELContainerKey* key, QELContainer::Iterator* where)
{
    return qelFindFirstInBucket(
        t, t->Table::hashKey(key),
        [t, key](const QELContainerItem* item) { return t->Table::compare2Key(item, key) == 0; }, where);
}

// findFirst on t, directly where qelCanSearchDirectly allows it, else through
// QELHashtable::findFirst; the same item either way.
template <class Table>
inline QELContainerItem* qelFindFirstDirect(const Table* t, const QELContainerKey* key, QELContainer::Iterator* where)
{
    if (qelCanSearchDirectly(t))
        return qelFindFirstBound(t, key, where);
    return t->QELHashtable::findFirst(key, where);
}

#endif
