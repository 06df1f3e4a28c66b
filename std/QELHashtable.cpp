// QELHashtable: the chained hashtable of item pointers and its iterator.
#include "QELHashtable.h"
#include "QELHashtableSearch.h"
#include "QELSimpleHashtable.h"
#include "QELStringHashtable.h"
#include "QELMemory.h"

#include <cstdlib>
#include <typeinfo>

#include "QELAssert.h"

QEL_SOURCE_FILE("QELHashtable.cpp");

// The iterator's state codes (an index below 0): no item, or the first or
// last item, not yet located (_moveTo locates it on first use).
static const int NO_ITEM = -1;
static const int FIRST_ITEM = -2;
static const int LAST_ITEM = -3;

// Buckets of a table whose constructor was given no positive count.
static const int DEFAULT_BUCKETS = 1024;

QELHashtable::QELHashtable(int buckets)
    : _QELContainer(), QELContainer(), table(NULL), table_mask(buckets > 0 ? -buckets : -DEFAULT_BUCKETS)
{
    QEL_OPERATION("QELHashtable::QELHashtable(int)");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
}

QELHashtable::QELHashtable(const QELHashtable& other, int buckets)
    : _QELContainer(), QELContainer(), table(NULL),
      table_mask(other.table_mask < 0 ? other.table_mask : ~other.table_mask)
{
    QEL_OPERATION("QELHashtable::QELHashtable(const QELHashtable&, int)");
    // The copy always has as many buckets as other: buckets is not consulted.
    static_cast<void>(buckets);
    size = 0;
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(&other));
    _addAll(other);
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
}

QELHashtable::~QELHashtable()
{
    QEL_OPERATION("virtual QELHashtable::~QELHashtable()");
    empty();
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
}

void QELHashtable::_addAll(const QELHashtable& other)
{
    if (other.size == 0)
        return;
    for (int b = 0; b <= other.table_mask; b++)
        for (QELHashtableElement* e = other.table[b]; e != NULL; e = e->next)
            add(e->data, false, NULL);
}

QELBoolean QELHashtable::empty()
{
    QEL_OPERATION("virtual QELBoolean QELHashtable::empty()");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    if (table_mask < 0)
        return true;
    for (int b = 0; b <= table_mask; b++) {
        QELHashtableElement* e = table[b];
        while (e != NULL) {
            QELHashtableElement* n = e->next;
            delete e;
            e = n;
        }
    }
    size = 0;
    free(table);
    table = NULL;
    table_mask = ~table_mask;
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    return true;
}

QELContainer::Iterator* QELHashtable::newIterator(bool first) const
{
    return qelNew<Iterator>(*this, first);
}

void QELHashtable::deleteIterator(QELContainer::Iterator* it) const
{
    delete it;
}

QELBoolean QELHashtable::add(const QELContainerItem* item, bool unique, QELContainer::Iterator* where)
{
    QEL_OPERATION("virtual QELBoolean QELHashtable::add(const QELContainerItem*, bool, QELContainer::Iterator*)");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    if (table_mask < 0) {
        // The smallest power of two not below the request, at least 2.
        int wanted = ~table_mask;
        int mask = 1;
        while (mask < wanted)
            mask = mask * 2 + 1;
        table = static_cast<QELHashtableElement**>(
            qelAllocateZeroed(static_cast<size_t>(mask) + 1, sizeof(QELHashtableElement*)));
        table_mask = mask;
    }
    int bucket = static_cast<int>(hashObject(item) & static_cast<unsigned int>(table_mask));
    QELHashtableElement* head = table[bucket];
    if (unique) {
        for (QELHashtableElement* e = head; e != NULL; e = e->next)
            if (compare2Object(e->data, item) == 0)
                return false;
    }
    QELHashtableElement* e = qelNew<QELHashtableElement>();
    e->next = head;
    e->data = item;
    if (head != NULL) {
        e->previous = head->previous;
        head->previous = e;
    } else {
        e->previous = e;
    }
    table[bucket] = e;
    size++;
    QEL_ASSERT(QEL_HASHTABLE_ELEMENT_INVARIANT(this, e));
    qelPlaceOn(where, this, e, bucket);
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    return true;
}

QELBoolean QELHashtable::contains(const QELContainerItem* item, QELContainer::Iterator* where) const
{
    QEL_OPERATION("virtual QELBoolean QELHashtable::contains(const QELContainerItem*, QELContainer::Iterator*) const");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    if (size == 0)
        return false;
    int bucket = static_cast<int>(hashObject(item) & static_cast<unsigned int>(table_mask));
    for (QELHashtableElement* e = table[bucket]; e != NULL; e = e->next) {
        if (e->data == item) {
            qelPlaceOn(where, this, e, bucket);
            return true;
        }
    }
    return false;
}

// The library's own keyed tables and string set are searched with their
// hooks called directly (inlined) rather than through the virtual table; a
// table of any other class, a subclass of theirs included, which may
// override the hooks, takes the virtual calls.
QELContainerItem* QELHashtable::findFirst(const QELContainerKey* key, QELContainer::Iterator* where) const
{
    QEL_OPERATION(
        "virtual QELContainerItem* QELHashtable::findFirst(const QELContainerKey*, QELContainer::Iterator*) const");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    if (size == 0)
        return NULL;
    const std::type_info& type = typeid(*this);
    if (&type == &typeid(QELSimpleLongHashtable))
        return qelFindFirstBound(static_cast<const QELSimpleLongHashtable*>(this), key, where);
    if (&type == &typeid(QELSimpleStringHashtable))
        return qelFindFirstBound(static_cast<const QELSimpleStringHashtable*>(this), key, where);
    if (&type == &typeid(QELStringHashtable))
        return qelFindFirstBound(static_cast<const QELStringHashtable*>(this), key, where);
    return qelFindFirstInBucket(
        this, hashKey(key), [this, key](const QELContainerItem* item) { return compare2Key(item, key) == 0; }, where);
}

QELContainerItem* QELHashtable::findLast(const QELContainerKey* key, QELContainer::Iterator* where) const
{
    QEL_OPERATION(
        "virtual QELContainerItem* QELHashtable::findLast(const QELContainerKey*, QELContainer::Iterator*) const");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    if (size == 0)
        return NULL;
    int bucket = static_cast<int>(hashKey(key) & static_cast<unsigned int>(table_mask));
    QELHashtableElement* head = table[bucket];
    if (head == NULL)
        return NULL;
    // From the last element backwards; the walk stops on arriving back at
    // the head, which is therefore tested only when it is alone.
    QELHashtableElement* e = head->previous;
    do {
        if (compare2Key(e->data, key) == 0) {
            qelPlaceOn(where, this, e, bucket);
            return const_cast<QELContainerItem*>(e->data);
        }
        e = e->previous;
    } while (e != head);
    return NULL;
}

QELContainerItem* QELHashtable::remove(QELContainer::Iterator* where)
{
    QEL_OPERATION("virtual QELContainerItem* QELHashtable::remove(QELContainer::Iterator*)");
    if (where == NULL || where->container != this)
        return NULL;
    Iterator* it = static_cast<Iterator*>(where);
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(it));
    if (!it->_moveTo(it->index))
        return NULL;
    QELHashtableElement* e = it->element;
    int bucket = it->index;
    const QELContainerItem* item = e->data;
    // Move the iterator off the element as next(1), else previous(1), else
    // to no item would, without reading the item of the element reached.
    QELHashtableElement* head = table[bucket];
    if (e->next != NULL) {
        it->element = e->next;
    } else {
        int nb = bucket + 1;
        while (nb <= table_mask && table[nb] == NULL)
            nb++;
        if (nb <= table_mask) {
            it->element = table[nb];
            it->index = nb;
        } else if (e != head) {
            it->element = e->previous;
        } else {
            int pb = bucket - 1;
            while (pb >= 0 && table[pb] == NULL)
                pb--;
            if (pb >= 0) {
                it->element = table[pb]->previous;
                it->index = pb;
            } else {
                it->index = NO_ITEM;
            }
        }
    }
    if (e->next != NULL)
        e->next->previous = e->previous;
    else
        head->previous = e->previous;
    if (e == head)
        table[bucket] = e->next;
    else
        e->previous->next = e->next;
    delete e;
    size--;
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    return const_cast<QELContainerItem*>(item);
}

QELHashtable& QELHashtable::operator=(const QELHashtable& other)
{
    QEL_OPERATION("virtual QELHashtable& QELHashtable::operator=(const QELHashtable&)");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(&other));
    if (&other == this)
        return *this;
    empty();
    if (other.size == 0)
        return *this;
    table_mask = ~other.table_mask;
    _addAll(other);
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    return *this;
}

QELBoolean QELHashtable::operator==(const QELHashtable& other) const
{
    QEL_OPERATION("virtual QELBoolean QELHashtable::operator==(const QELHashtable&) const");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(&other));
    if (size != other.size)
        return false;
    if (other.size == 0)
        return true;
    for (int b = 0; b <= other.table_mask; b++)
        for (QELHashtableElement* e = other.table[b]; e != NULL; e = e->next)
            if (!contains(e->data, NULL))
                return false;
    return true;
}

QELBoolean QELHashtable::operator!=(const QELHashtable& other) const
{
    return !(*this == other);
}

QELBoolean QELHashtable::resize(int buckets)
{
    QEL_OPERATION("virtual QELBoolean QELHashtable::resize(int)");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    if (buckets < 1)
        return false;
    // Move the content into a temporary table, re-add it into a fresh bucket
    // array, then let the temporary free the old elements and array.
    QELHashtable old(1);
    old.size = size;
    old.table = table;
    old.table_mask = table_mask;
    size = 0;
    table = NULL;
    table_mask = -buckets;
    _addAll(old);
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
    return true;
}

unsigned int QELHashtable::hashObject(const QELContainerItem* item) const
{
    return qelHashAddress(item);
}

unsigned int QELHashtable::hashKey(const QELContainerKey* key) const
{
    return qelHashAddress(key);
}

// ---------------------------------------------------------------- Iterator

QELHashtable::Iterator::Iterator() : QELContainer::Iterator(), element(NULL), index(NO_ITEM)
{
}

QELHashtable::Iterator::Iterator(const QELHashtable& t, bool first)
    : QELContainer::Iterator(&t), element(NULL), index(t.size > 0 ? (first ? FIRST_ITEM : LAST_ITEM) : NO_ITEM)
{
    QEL_OPERATION("QELHashtable::Iterator::Iterator(const QELHashtable&, bool)");
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
}

QELHashtable::Iterator::Iterator(const Iterator& other)
    : QELContainer::Iterator(other.container), element(other.element), index(other.index)
{
    QEL_OPERATION("QELHashtable::Iterator::Iterator(const QELHashtable::Iterator&)");
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
}

QELBoolean QELHashtable::Iterator::_moveTo(int i)
{
    if (i >= 0) {
        index = i;
        return true;
    }
    const QELHashtable* t = hashtable();
    if (i == NO_ITEM || t == NULL || t->size == 0) {
        index = NO_ITEM;
        return false;
    }
    if (i == FIRST_ITEM) {
        int b = 0;
        while (t->table[b] == NULL)
            b++;
        element = t->table[b];
        index = b;
    } else {
        int b = t->table_mask;
        while (t->table[b] == NULL)
            b--;
        element = t->table[b]->previous;
        index = b;
    }
    return true;
}

QELContainerItem* QELHashtable::Iterator::operator*() const
{
    return get();
}

QELContainerItem* QELHashtable::Iterator::get() const
{
    QEL_OPERATION("virtual QELContainerItem* QELHashtable::Iterator::get() const");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
    Iterator* self = const_cast<Iterator*>(this);
    if (!self->_moveTo(index))
        return NULL;
    return const_cast<QELContainerItem*>(element->data);
}

QELContainerItem* QELHashtable::Iterator::moveToFirst()
{
    QEL_OPERATION("virtual QELContainerItem* QELHashtable::Iterator::moveToFirst()");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
    if (!_moveTo(FIRST_ITEM))
        return NULL;
    return const_cast<QELContainerItem*>(element->data);
}

QELContainerItem* QELHashtable::Iterator::moveToLast()
{
    QEL_OPERATION("virtual QELContainerItem* QELHashtable::Iterator::moveToLast()");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
    if (!_moveTo(LAST_ITEM))
        return NULL;
    return const_cast<QELContainerItem*>(element->data);
}

QELContainerItem* QELHashtable::Iterator::moveTo(QELHashtable& t, bool first)
{
    QEL_OPERATION("virtual QELContainerItem* QELHashtable::Iterator::moveTo(QELHashtable&, bool)");
    container = &t;
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(&t));
    if (!_moveTo(first ? FIRST_ITEM : LAST_ITEM))
        return NULL;
    return const_cast<QELContainerItem*>(element->data);
}

QELContainerItem* QELHashtable::Iterator::next(int count)
{
    QEL_OPERATION("virtual QELContainerItem* QELHashtable::Iterator::next(int)");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
    if (index == FIRST_ITEM)
        _moveTo(FIRST_ITEM);
    if (index < 0)
        return NULL;
    const QELHashtable* t = hashtable();
    QELHashtableElement* e = element;
    int b = index;
    for (int n = 0; n < count; n++) {
        if (e->next != NULL) {
            e = e->next;
        } else {
            int nb = b + 1;
            while (nb <= t->table_mask && t->table[nb] == NULL)
                nb++;
            if (nb > t->table_mask) {
                // No further item: stay on the one reached before this step.
                element = e;
                index = b;
                return NULL;
            }
            b = nb;
            e = t->table[nb];
        }
    }
    element = e;
    index = b;
    return const_cast<QELContainerItem*>(e->data);
}

QELContainerItem* QELHashtable::Iterator::previous(int count)
{
    QEL_OPERATION("virtual QELContainerItem* QELHashtable::Iterator::previous(int)");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
    if (index == LAST_ITEM)
        _moveTo(LAST_ITEM);
    if (index < 0)
        return NULL;
    const QELHashtable* t = hashtable();
    QELHashtableElement* e = element;
    int b = index;
    for (int n = 0; n < count; n++) {
        if (e != t->table[b]) {
            e = e->previous;
        } else {
            int nb = b - 1;
            while (nb >= 0 && t->table[nb] == NULL)
                nb--;
            if (nb < 0) {
                // No earlier item: stay on the one reached before this step.
                element = e;
                index = b;
                return NULL;
            }
            b = nb;
            e = t->table[nb]->previous;
        }
    }
    element = e;
    index = b;
    return const_cast<QELContainerItem*>(e->data);
}

QELContainerItem* QELHashtable::Iterator::findFirst(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELHashtable::Iterator::findFirst(const QELContainerKey*)");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
    // The table's own search, which returns the item held by the element.
    return hashtable()->QELHashtable::findFirst(key, this);
}

QELContainerItem* QELHashtable::Iterator::findLast(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELHashtable::Iterator::findLast(const QELContainerKey*)");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
    return hashtable()->QELHashtable::findLast(key, this);
}

QELContainerItem* QELHashtable::Iterator::findNext(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELHashtable::Iterator::findNext(const QELContainerKey*)");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
    if (index < 0)
        return NULL;
    const QELHashtable* t = hashtable();
    for (QELHashtableElement* e = element->next; e != NULL; e = e->next) {
        if (t->compare2Key(e->data, key) == 0) {
            element = e;
            return const_cast<QELContainerItem*>(e->data);
        }
    }
    return NULL;
}

QELContainerItem* QELHashtable::Iterator::findPrevious(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELHashtable::Iterator::findPrevious(const QELContainerKey*)");
    if (container == NULL)
        return NULL;
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
    if (index < 0)
        return NULL;
    const QELHashtable* t = hashtable();
    QELHashtableElement* head = t->table[index];
    if (element == head)
        return NULL;
    QELHashtableElement* e = element;
    do {
        e = e->previous;
        if (t->compare2Key(e->data, key) == 0) {
            element = e;
            return const_cast<QELContainerItem*>(e->data);
        }
    } while (e != head);
    return NULL;
}

QELBoolean QELHashtable::Iterator::operator==(const Iterator& other) const
{
    QEL_OPERATION("virtual QELBoolean QELHashtable::Iterator::operator==(const QELHashtable::Iterator&) const");
    if (container == NULL || other.container == NULL || container != other.container)
        return false;
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(&other));
    const_cast<Iterator*>(this)->_moveTo(index);
    const_cast<Iterator&>(other)._moveTo(other.index);
    if (index == NO_ITEM || other.index == NO_ITEM)
        return false;
    return element == other.element;
}

QELBoolean QELHashtable::Iterator::operator!=(const Iterator& other) const
{
    return !(*this == other);
}

QELHashtable::Iterator& QELHashtable::Iterator::operator=(const Iterator& other)
{
    QEL_OPERATION("virtual QELHashtable::Iterator& QELHashtable::Iterator::operator=(const QELHashtable::Iterator&)");
    container = other.container;
    element = other.element;
    index = other.index;
    QEL_ASSERT(QEL_HASHTABLE_ITERATOR_INVARIANT(this));
    return *this;
}
