// QELHashtable: the chained hashtable of item pointers and its iterator.
#ifndef QELHASHTABLE_H
#define QELHASHTABLE_H

#include "QELContainer.h"
#include "QELExport.h"

// The table invariant over any hashtable pointer expression `t`: either a
// bucket array is allocated (table set, table_mask positive), or there is
// none, the table is empty and table_mask holds a deferred bucket request.
// clang-format off
#define QEL_HASHTABLE_INVARIANT(t) ( ( ((t)->size>=0) && ((t)->table!=NULL) && ((t)->table_mask>0) ) || ( ((t)->size==0) && ((t)->table_mask<0) ) )
// clang-format on

// The condition on a chain element `e` linked into the table `t`: the table
// holds an item, the element is linked (a chain of one links to itself
// through previous) and it carries an item.
// clang-format off
#define QEL_HASHTABLE_ELEMENT_INVARIANT(t, e) ( ((t)->size>0) && ( ((e)->previous!=NULL) || ((e)->next!=NULL) ) && ((e)->data!=NULL) )
// clang-format on

// The iterator invariant over any hashtable iterator pointer expression `i`:
// detached, or on a sound table either in a state code (-1 no item, -2 first
// item, -3 last item, both not yet located) or on an element of a bucket.
// clang-format off
#define QEL_HASHTABLE_ITERATOR_INVARIANT(i) ( ((i)->container==NULL) || ( QEL_HASHTABLE_INVARIANT((i)->hashtable()) && ( ( ((i)->index>=-3) && ((i)->index<=-1) ) || ( ((i)->index>=0) && ((i)->index<=(i)->hashtable()->table_mask) && ((i)->element!=NULL) && QEL_HASHTABLE_ELEMENT_INVARIANT((i)->hashtable(), (i)->element) ) ) ) )
// clang-format on

// One link of a bucket chain. Chains are null-terminated along next and
// circular along previous: the head's previous is the chain's last element
// (the head itself when alone).
struct QEL_API QELHashtableElement {
    QELHashtableElement* next;
    QELHashtableElement* previous;
    const QELContainerItem* data;
};

// A chained hashtable of item pointers that it never owns; only the chain
// elements and the bucket array are freed. The bucket array (a power of two,
// at least 2 buckets) is allocated at the first insertion and changes only
// through resize() and empty(); a negative table_mask is the deferred request
// ~(buckets - 1). New items go to the head of their bucket's chain.
// Subclasses override hashObject/hashKey together with the comparisons.
class QEL_API QELHashtable : public QELContainer {
public:
    QELHashtableElement** table;
    int table_mask;

    // Walks the buckets in ascending order, each chain from its head (the
    // most recent item) to its oldest. index is the bucket of element, or a
    // state code: -1 on no item, -2 first item and -3 last item, located on
    // first use. Valid until the table changes other than through remove().
    class Iterator : public QELContainer::Iterator {
    public:
        QELHashtableElement* element;
        int index;

        Iterator();
        // Stands on the first (true) or last (false) item, or on none.
        Iterator(const QELHashtable& t, bool first = true);
        Iterator(const Iterator& other);
        virtual ~Iterator() { }

        // Null when detached or standing on no item.
        virtual QELContainerItem* operator*() const;
        virtual QELContainerItem* get() const;
        // Null when detached or the table is empty (the iterator then stands
        // on no item).
        virtual QELContainerItem* moveToFirst();
        virtual QELContainerItem* moveToLast();
        // Null past the end, the iterator staying on the item it reached
        // last; null from a -1 or -3 state (next) or -1 or -2 (previous).
        virtual QELContainerItem* next(int count = 1);
        virtual QELContainerItem* previous(int count = 1);
        // Null with the iterator unchanged when no item matches.
        virtual QELContainerItem* findFirst(const QELContainerKey* key);
        virtual QELContainerItem* findLast(const QELContainerKey* key);
        // Search the current bucket only (equal keys share a bucket); null
        // and unchanged when none matches or the iterator is not located.
        virtual QELContainerItem* findNext(const QELContainerKey* key);
        virtual QELContainerItem* findPrevious(const QELContainerKey* key);

        // False when either side is detached or on no item, so two
        // iterators on no item are unequal (deliberate).
        virtual QELBoolean operator==(const Iterator& other) const;
        virtual QELBoolean operator!=(const Iterator& other) const;
        virtual Iterator& operator=(const Iterator& other);
        // Attaches to t as the constructor would; null when t is empty.
        virtual QELContainerItem* moveTo(QELHashtable& t, bool first = true);

        // Resolves a state code: false (index -1) for -1 or an empty table;
        // -2/-3 locate the first/last item; i >= 0 sets index only.
        QELBoolean _moveTo(int i);

        // The walked table (the container field, typed).
        const QELHashtable* hashtable() const { return static_cast<const QELHashtable*>(container); }
    };

    // A positive count is rounded up to a power of two (at least 2) when the
    // table is allocated; 0 or less means 1024.
    QELHashtable(int buckets = 0);
    // Adds other's items in its iteration order into a table with other's
    // bucket count; buckets is ignored (deliberate). Runs the hashing of this
    // class: a subclass with its own hashes copies in its own constructor.
    QELHashtable(const QELHashtable& other, int buckets = 0);
    virtual ~QELHashtable();

    // Frees every element and the bucket array, keeping the bucket count
    // for the next insertion; always true.
    virtual QELBoolean empty();
    virtual QELContainer::Iterator* newIterator(bool first = true) const;
    virtual void deleteIterator(QELContainer::Iterator* it) const;
    // False when unique and an equal item (compare2Object) is in the bucket.
    virtual QELBoolean add(const QELContainerItem* item, bool unique = false, QELContainer::Iterator* where = NULL);
    // False unless this very pointer is held.
    virtual QELBoolean contains(const QELContainerItem* item, QELContainer::Iterator* where = NULL) const;
    // Null when no item matches; searches the key's bucket from its head.
    virtual QELContainerItem* findFirst(const QELContainerKey* key, QELContainer::Iterator* where = NULL) const;
    // Null for a null, foreign or unplaced iterator. The iterator moves to
    // the next item, else the previous one, else to no item.
    virtual QELContainerItem* remove(QELContainer::Iterator* where);

    // Empties this table and adds other's items with other's bucket count.
    virtual QELHashtable& operator=(const QELHashtable& other);
    // True when the sizes agree and this table holds every item of other.
    virtual QELBoolean operator==(const QELHashtable& other) const;
    virtual QELBoolean operator!=(const QELHashtable& other) const;
    // Re-adds every item into a new bucket array; false when buckets < 1.
    virtual QELBoolean resize(int buckets);
    // Null when no item matches. Walks the key's bucket backwards from its
    // last element and never tests the head of a chain of two or more
    // (deliberate; the tests pin this result).
    virtual QELContainerItem* findLast(const QELContainerKey* key, QELContainer::Iterator* where = NULL) const;
    // Default: the address truncated to 32 bits.
    virtual unsigned int hashObject(const QELContainerItem* item) const;
    virtual unsigned int hashKey(const QELContainerKey* key) const;

    // The bucket count: allocated, or requested for the next allocation.
    int bucketCount() const { return table_mask > 0 ? table_mask + 1 : -table_mask; }

protected:
    // Adds every item of other, in its iteration order, through add().
    void _addAll(const QELHashtable& other);
};

#endif
