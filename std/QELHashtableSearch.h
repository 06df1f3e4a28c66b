// QELHashtableSearch: the bucket walk of QELHashtable::findFirst, through the
// virtual key hooks or, for the library's own keyed tables, through their
// hooks called directly. Internal; not installed.
#ifndef QELHASHTABLESEARCH_H
#define QELHASHTABLESEARCH_H

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

// findFirst on t through Table's own hashKey and compare2Key, called
// directly (inlined where Table defines them), so that a search costs no
// virtual call. Returns the item (for the keyed tables, the node) and places
// where on it. Only for a table of exactly class Table that holds items.
template <class Table>
inline QELContainerItem* qelFindFirstBound(const Table* t, const QELContainerKey* key, QELContainer::Iterator* where)
{
    return qelFindFirstInBucket(
        t, t->Table::hashKey(key),
        [t, key](const QELContainerItem* item) { return t->Table::compare2Key(item, key) == 0; }, where);
}

#endif
