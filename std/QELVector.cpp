// QELVector: the growable pointer array, its ordered and read-only variants
// and its iterator.
#include "QELVector.h"
#include "QELMemory.h"

#include <cstdlib>
#include <cstring>

#include "QELAssert.h"

QEL_SOURCE_FILE("QELVector.cpp");

namespace {

// The index that stands for no item: what a search that finds none returns,
// and the position of an iterator that stands on none.
const int NO_INDEX = -1;

// The first index of n slots holding this very pointer, or -1. Unrolled by
// four: identity scans are the vector's hottest search.
inline int findPointer(const QELContainerItem* const* a, int n, const QELContainerItem* item)
{
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        if (a[i] == item)
            return i;
        if (a[i + 1] == item)
            return i + 1;
        if (a[i + 2] == item)
            return i + 2;
        if (a[i + 3] == item)
            return i + 3;
    }
    for (; i < n; ++i)
        if (a[i] == item)
            return i;
    return NO_INDEX;
}

// Makes room for one more item: A + A/8 + 3 slots from A >= 0, or exactly
// the deferred capacity -A. Inlined into the hot insertions.
inline void growVector(QELVector* v)
{
    int a = v->array_size;
    v->array_size = a >= 0 ? a + (a >> 3) + 3 : -a;
    v->array =
        static_cast<const QELContainerItem**>(qelReallocate(v->array, v->array_size * sizeof(const QELContainerItem*)));
}

// The shrink rule, after size has been decreased: no item left releases the
// array; else below three quarters of array_size the array shrinks to that.
inline void shrinkVectorAfterRemoval(QELVector* v)
{
    if (v->size == 0) {
        v->array_size = 0;
        free(v->array);
        v->array = NULL;
        return;
    }
    int t = (v->array_size * 3) / 4;
    if (v->size < t) {
        v->array_size = t;
        v->array = static_cast<const QELContainerItem**>(qelReallocate(v->array, t * sizeof(const QELContainerItem*)));
    }
}

} // namespace

// ---------------------------------------------------------------------------
// QELVector
// ---------------------------------------------------------------------------

QELVector::QELVector() : array_size(0), array(NULL)
{
    QEL_OPERATION("QELVector::QELVector()");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
}

QELVector::QELVector(int capacity) : array_size(capacity >= 2 ? -capacity : 0), array(NULL)
{
    QEL_OPERATION("QELVector::QELVector(int)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
}

// An empty source gives an empty copy that allocates nothing, so that the
// copy keeps the invariant (no array without items unless array_size > 0).
QELVector::QELVector(const QELVector& other)
    : _QELContainer(), QELContainer(), QELArrayInterface(), array_size(other.size), array(NULL)
{
    QEL_OPERATION("QELVector::QELVector(const QELVector&)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT((&other)));
    size = other.size;
    if (size > 0) {
        array = static_cast<const QELContainerItem**>(qelAllocate(size * sizeof(const QELContainerItem*)));
        memcpy(array, other.array, size * sizeof(const QELContainerItem*));
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
}

QELVector::~QELVector()
{
    QEL_OPERATION("virtual QELVector::~QELVector()");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (array_size > 0)
        free(array);
}

QELBoolean QELVector::empty()
{
    QEL_OPERATION("virtual QELBoolean QELVector::empty()");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (array_size > 0) {
        free(array);
        array = NULL;
        size = 0;
        array_size = 0;
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return true;
}

QELContainer::Iterator* QELVector::newIterator(bool first) const
{
    return qelNew<Iterator>(*this, first);
}

void QELVector::deleteIterator(QELContainer::Iterator* it) const
{
    delete it;
}

QELBoolean QELVector::add(const QELContainerItem* item, bool unique, QELContainer::Iterator* where)
{
    QEL_OPERATION("virtual QELBoolean QELVector::add(const QELContainerItem*, bool, QELContainer::Iterator*)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    int index = addElement(item, unique);
    if (index == NO_INDEX) {
        QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
        return false;
    }
    if (where != NULL) {
        Iterator* it = static_cast<Iterator*>(where);
        it->container = this;
        it->position = index;
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return true;
}

QELBoolean QELVector::contains(const QELContainerItem* item, QELContainer::Iterator* where) const
{
    QEL_OPERATION("virtual QELBoolean QELVector::contains(const QELContainerItem*, QELContainer::Iterator*) const");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    int i = findPointer(array, size, item);
    if (i == NO_INDEX) {
        QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
        return false;
    }
    if (where != NULL) {
        Iterator* it = static_cast<Iterator*>(where);
        it->container = this;
        it->position = i;
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return true;
}

QELContainerItem* QELVector::findFirst(const QELContainerKey* key, QELContainer::Iterator* where) const
{
    QEL_OPERATION(
        "virtual QELContainerItem* QELVector::findFirst(const QELContainerKey*, QELContainer::Iterator*) const");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    const int n = size;
    const QELContainerItem* const* a = array;
    for (int i = 0; i < n; ++i) {
        if (compare2Key(a[i], key) == 0) {
            if (where != NULL) {
                Iterator* it = static_cast<Iterator*>(where);
                it->container = this;
                it->position = i;
            }
            QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
            return const_cast<QELContainerItem*>(array[i]);
        }
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return NULL;
}

QELContainerItem* QELVector::remove(QELContainer::Iterator* where)
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::remove(QELContainer::Iterator*)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (where == NULL || where->container != static_cast<const QELContainer*>(this))
        return NULL;
    Iterator* it = static_cast<Iterator*>(where);
    if (it->position < 0 || it->position >= size)
        return NULL;
    QELContainerItem* item = removeElement(it->position);
    if (it->position >= size)
        --it->position;
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return item;
}

QELVector& QELVector::operator=(const QELVector& other)
{
    QEL_OPERATION("virtual QELVector& QELVector::operator=(const QELVector&)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    QEL_ASSERT(QEL_VECTOR_INVARIANT((&other)));
    if (this == &other)
        return *this;
    if (array_size > 0)
        free(array);
    size = array_size = other.size;
    if (size != 0) {
        array = static_cast<const QELContainerItem**>(qelAllocate(size * sizeof(const QELContainerItem*)));
        memcpy(array, other.array, size * sizeof(const QELContainerItem*));
    } else {
        array = NULL;
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return *this;
}

QELBoolean QELVector::operator==(const QELVector& other) const
{
    QEL_OPERATION("virtual QELBoolean QELVector::operator==(const QELVector&) const");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    QEL_ASSERT(QEL_VECTOR_INVARIANT((&other)));
    if (size != other.size)
        return false;
    for (int i = 0; i < size; ++i)
        if (array[i] != other.array[i])
            return false;
    return true;
}

QELBoolean QELVector::operator!=(const QELVector& other) const
{
    return !(*this == other);
}

int QELVector::addElement(const QELContainerItem* item, bool unique)
{
    QEL_OPERATION("virtual int QELVector::addElement(const QELContainerItem*, bool)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (unique) {
        const int n = size;
        const QELContainerItem* const* a = array;
        for (int i = 0; i < n; ++i) {
            if (compare2Object(a[i], item) == 0) {
                QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
                return NO_INDEX;
            }
        }
    }
    if (size >= array_size)
        growVector(this);
    int index = size;
    array[index] = item;
    ++size;
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return index;
}

int QELVector::containsElement(const QELContainerItem* item) const
{
    QEL_OPERATION("virtual int QELVector::containsElement(const QELContainerItem*) const");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    int i = findPointer(array, size, item);
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return i;
}

QELContainerItem* QELVector::operator[](int index) const
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::operator[](int) const");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (index < 0 || index >= size)
        return NULL;
    return const_cast<QELContainerItem*>(array[index]);
}

int QELVector::findFirstElement(const QELContainerKey* key) const
{
    QEL_OPERATION("virtual int QELVector::findFirstElement(const QELContainerKey*) const");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    const int n = size;
    const QELContainerItem* const* a = array;
    for (int i = 0; i < n; ++i) {
        if (compare2Key(a[i], key) == 0) {
            QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
            return i;
        }
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return NO_INDEX;
}

int QELVector::findLastElement(const QELContainerKey* key) const
{
    QEL_OPERATION("virtual int QELVector::findLastElement(const QELContainerKey*) const");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    const QELContainerItem* const* a = array;
    for (int i = size - 1; i >= 0; --i) {
        if (compare2Key(a[i], key) == 0) {
            QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
            return i;
        }
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return NO_INDEX;
}

int QELVector::findNextElement(const QELContainerKey* key, int from) const
{
    QEL_OPERATION("virtual int QELVector::findNextElement(const QELContainerKey*, int) const");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (from < 0)
        return NO_INDEX;
    const int n = size;
    const QELContainerItem* const* a = array;
    for (int i = from + 1; i < n; ++i) {
        if (compare2Key(a[i], key) == 0) {
            QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
            return i;
        }
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return NO_INDEX;
}

int QELVector::findPreviousElement(const QELContainerKey* key, int from) const
{
    QEL_OPERATION("virtual int QELVector::findPreviousElement(const QELContainerKey*, int) const");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (from >= size || from <= 0)
        return NO_INDEX;
    const QELContainerItem* const* a = array;
    for (int i = from - 1; i >= 0; --i) {
        if (compare2Key(a[i], key) == 0) {
            QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
            return i;
        }
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return NO_INDEX;
}

QELContainerItem* QELVector::removeElement(int index)
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::removeElement(int)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (index < 0 || index >= size)
        return NULL;
    QELContainerItem* item = const_cast<QELContainerItem*>(array[index]);
    --size;
    if (size > 0)
        array[index] = array[size];
    shrinkVectorAfterRemoval(this);
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return item;
}

void QELVector::resize(int n)
{
    QEL_OPERATION("void QELVector::resize(int)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (n <= 0)
        return;
    if (array_size > 0) {
        array_size = n;
        array = static_cast<const QELContainerItem**>(qelReallocate(array, n * sizeof(const QELContainerItem*)));
    } else {
        array_size = n >= 2 ? -n : 0;
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
}

void QELVector::shrink()
{
    QEL_OPERATION("void QELVector::shrink()");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (array_size > size) {
        if (size == 0) {
            free(array);
            array = NULL;
        } else {
            array = static_cast<const QELContainerItem**>(qelReallocate(array, size * sizeof(const QELContainerItem*)));
        }
        array_size = size;
    }
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
}

// ---------------------------------------------------------------------------
// QELVector::Iterator
// ---------------------------------------------------------------------------

QELVector::Iterator::Iterator() : QELContainer::Iterator(), position(NO_INDEX)
{
    QEL_OPERATION("QELVector::Iterator::Iterator()");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
}

QELVector::Iterator::Iterator(const QELVector& v, bool first)
    : QELContainer::Iterator(&v), position(v.size == 0 ? NO_INDEX : (first ? 0 : v.size - 1))
{
    QEL_OPERATION("QELVector::Iterator::Iterator(const QELVector&, bool)");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
}

QELVector::Iterator::Iterator(const QELVector& v, int pos)
    : QELContainer::Iterator(&v), position(pos >= 0 && pos < v.size ? pos : NO_INDEX)
{
    QEL_OPERATION("QELVector::Iterator::Iterator(const QELVector&, int)");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
}

QELVector::Iterator::Iterator(const Iterator& other) : QELContainer::Iterator(other.container), position(other.position)
{
    QEL_OPERATION("QELVector::Iterator::Iterator(const QELVector::Iterator&)");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
}

QELContainerItem* QELVector::Iterator::operator*() const
{
    if (container == NULL || position < 0 || position >= container->size)
        return NULL;
    return const_cast<QELContainerItem*>(static_cast<const QELVector*>(container)->array[position]);
}

QELContainerItem* QELVector::Iterator::get() const
{
    if (container == NULL || position < 0 || position >= container->size)
        return NULL;
    return const_cast<QELContainerItem*>(static_cast<const QELVector*>(container)->array[position]);
}

QELContainerItem* QELVector::Iterator::moveToFirst()
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::Iterator::moveToFirst()");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    if (container == NULL || container->size == 0)
        return NULL;
    position = 0;
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    return const_cast<QELContainerItem*>(static_cast<const QELVector*>(container)->array[0]);
}

QELContainerItem* QELVector::Iterator::moveToLast()
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::Iterator::moveToLast()");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    if (container == NULL || container->size == 0)
        return NULL;
    position = container->size - 1;
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    return const_cast<QELContainerItem*>(static_cast<const QELVector*>(container)->array[position]);
}

QELContainerItem* QELVector::Iterator::next(int count)
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::Iterator::next(int)");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    if (container == NULL || container->size == 0)
        return NULL;
    // Computed wide so that a huge count clamps instead of overflowing.
    long long target = static_cast<long long>(position) + count;
    if (target >= container->size) {
        position = container->size - 1;
        QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
        return NULL;
    }
    if (target < 0) {
        position = 0;
        QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
        return NULL;
    }
    position = static_cast<int>(target);
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    return const_cast<QELContainerItem*>(static_cast<const QELVector*>(container)->array[position]);
}

QELContainerItem* QELVector::Iterator::previous(int count)
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::Iterator::previous(int)");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    if (container == NULL || container->size == 0)
        return NULL;
    long long target = static_cast<long long>(position) - count;
    if (target >= container->size) {
        position = container->size - 1;
        QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
        return NULL;
    }
    if (target < 0) {
        position = 0;
        QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
        return NULL;
    }
    position = static_cast<int>(target);
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    return const_cast<QELContainerItem*>(static_cast<const QELVector*>(container)->array[position]);
}

QELContainerItem* QELVector::Iterator::findFirst(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::Iterator::findFirst(const QELContainerKey*)");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    if (container == NULL)
        return NULL;
    const QELVector* v = static_cast<const QELVector*>(container);
    int i = v->findFirstElement(key);
    if (i == NO_INDEX)
        return NULL;
    position = i;
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    return const_cast<QELContainerItem*>(v->array[i]);
}

QELContainerItem* QELVector::Iterator::findLast(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::Iterator::findLast(const QELContainerKey*)");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    if (container == NULL)
        return NULL;
    const QELVector* v = static_cast<const QELVector*>(container);
    int i = v->findLastElement(key);
    if (i == NO_INDEX)
        return NULL;
    position = i;
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    return const_cast<QELContainerItem*>(v->array[i]);
}

QELContainerItem* QELVector::Iterator::findNext(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::Iterator::findNext(const QELContainerKey*)");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    if (container == NULL)
        return NULL;
    const QELVector* v = static_cast<const QELVector*>(container);
    int i = v->findNextElement(key, position);
    if (i == NO_INDEX)
        return NULL;
    position = i;
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    return const_cast<QELContainerItem*>(v->array[i]);
}

QELContainerItem* QELVector::Iterator::findPrevious(const QELContainerKey* key)
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::Iterator::findPrevious(const QELContainerKey*)");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    if (container == NULL)
        return NULL;
    const QELVector* v = static_cast<const QELVector*>(container);
    int i = v->findPreviousElement(key, position);
    if (i == NO_INDEX)
        return NULL;
    position = i;
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    return const_cast<QELContainerItem*>(v->array[i]);
}

QELBoolean QELVector::Iterator::operator==(const Iterator& other) const
{
    return container == other.container && position == other.position;
}

QELBoolean QELVector::Iterator::operator!=(const Iterator& other) const
{
    return !(*this == other);
}

QELVector::Iterator& QELVector::Iterator::operator=(const Iterator& other)
{
    QEL_OPERATION("virtual QELVector::Iterator& QELVector::Iterator::operator=(const QELVector::Iterator&)");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT((&other)));
    container = other.container;
    position = other.position;
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    return *this;
}

QELContainerItem* QELVector::Iterator::moveTo(QELVector& v, bool first)
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::Iterator::moveTo(QELVector&, bool)");
    container = &v;
    if (v.size == 0) {
        position = NO_INDEX;
        QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
        return NULL;
    }
    position = first ? 0 : v.size - 1;
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    return const_cast<QELContainerItem*>(v.array[position]);
}

QELContainerItem* QELVector::Iterator::moveTo(int pos)
{
    QEL_OPERATION("virtual QELContainerItem* QELVector::Iterator::moveTo(int)");
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    if (container == NULL || pos < 0 || pos >= container->size)
        return NULL;
    position = pos;
    QEL_ASSERT(QEL_VECTOR_ITERATOR_INVARIANT(this));
    return const_cast<QELContainerItem*>(static_cast<const QELVector*>(container)->array[pos]);
}

// ---------------------------------------------------------------------------
// QELOrderedVector
// ---------------------------------------------------------------------------

QELContainerItem* QELOrderedVector::remove(QELContainer::Iterator* where)
{
    QEL_OPERATION("virtual QELContainerItem* QELOrderedVector::remove(QELContainer::Iterator*)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (where == NULL || where->container != static_cast<const QELContainer*>(this))
        return NULL;
    Iterator* it = static_cast<Iterator*>(where);
    if (it->position < 0 || it->position >= size)
        return NULL;
    QELContainerItem* item = remove(it->position);
    if (it->position >= size)
        --it->position;
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return item;
}

QELBoolean QELOrderedVector::insertElement(const QELContainerItem* item, int pos)
{
    QEL_OPERATION("virtual QELBoolean QELOrderedVector::insertElement(const QELContainerItem*, int)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (pos < 0 || pos >= size)
        return false;
    if (size >= array_size)
        growVector(this);
    memmove(array + pos + 1, array + pos, (size - pos) * sizeof(const QELContainerItem*));
    array[pos] = item;
    ++size;
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return true;
}

QELContainerItem* QELOrderedVector::remove(int i)
{
    QEL_OPERATION("QELContainerItem* QELOrderedVector::remove(int)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    if (i < 0 || i >= size)
        return NULL;
    QELContainerItem* item = const_cast<QELContainerItem*>(array[i]);
    --size;
    if (size > 0)
        memmove(array + i, array + i + 1, (size - i) * sizeof(const QELContainerItem*));
    shrinkVectorAfterRemoval(this);
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return item;
}

// ---------------------------------------------------------------------------
// QELConstVector
// ---------------------------------------------------------------------------

QELConstVector::QELConstVector(const QELContainerItem** items, int count) : QELVector()
{
    QEL_OPERATION("QELConstVector::QELConstVector(const QELContainerItem**, int)");
    size = count;
    array_size = count;
    array = items;
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
}

QELConstVector::QELConstVector(const QELConstVector& other) : _QELContainer(), QELVector()
{
    QEL_OPERATION("QELConstVector::QELConstVector(const QELConstVector&)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT((&other)));
    size = other.size;
    array_size = other.array_size;
    array = other.array;
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
}

// Forgets the caller's array before the vector destructor runs, which then
// finds nothing to release.
QELConstVector::~QELConstVector()
{
    QEL_OPERATION("virtual QELConstVector::~QELConstVector()");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    size = 0;
    array_size = 0;
    array = NULL;
}

QELVector& QELConstVector::operator=(const QELVector&)
{
    QEL_OPERATION("virtual QELVector& QELConstVector::operator=(const QELVector&)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return *this;
}

QELBoolean QELConstVector::empty()
{
    QEL_OPERATION("virtual QELBoolean QELConstVector::empty()");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return false;
}

QELBoolean QELConstVector::add(const QELContainerItem*, bool, QELContainer::Iterator*)
{
    QEL_OPERATION("virtual QELBoolean QELConstVector::add(const QELContainerItem*, bool, QELContainer::Iterator*)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return false;
}

QELContainerItem* QELConstVector::remove(QELContainer::Iterator*)
{
    QEL_OPERATION("virtual QELContainerItem* QELConstVector::remove(QELContainer::Iterator*)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return NULL;
}

int QELConstVector::addElement(const QELContainerItem*, bool)
{
    QEL_OPERATION("virtual int QELConstVector::addElement(const QELContainerItem*, bool)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return NO_INDEX;
}

QELContainerItem* QELConstVector::removeElement(int)
{
    QEL_OPERATION("virtual QELContainerItem* QELConstVector::removeElement(int)");
    QEL_ASSERT(QEL_VECTOR_INVARIANT(this));
    return NULL;
}
