// QELVector: the growable array of item pointers, its ordered and read-only
// variants, and its iterator.
#ifndef QELVECTOR_H
#define QELVECTOR_H

#include "QELContainer.h"
#include "QELExport.h"

// The vector invariant over any vector pointer expression `v`: an empty
// vector has either an allocated array or none at all (array_size 0, or a
// deferred capacity -n); a non-empty one has an array holding every item.
// clang-format off
#define QEL_VECTOR_INVARIANT(v) ( ( ((v)->size==0) && ( ((v)->array_size>0) || ( ((v)->array_size<=0) && ((v)->array==NULL) ) ) ) || ( ((v)->size>0) && ((v)->size<=(v)->array_size) && ((v)->array!=NULL) ) )
// clang-format on

// The iterator invariant over any vector iterator pointer expression `i`:
// detached, or on a sound vector at -1 (no item) or at a valid index.
// clang-format off
#define QEL_VECTOR_ITERATOR_INVARIANT(i) ( ((i)->container==NULL) || ( QEL_VECTOR_INVARIANT(static_cast<const QELVector*>((i)->container)) && ( ((i)->position==-1) || ( ((i)->position>=0) && ((i)->position<(i)->container->size) ) ) ) )
// clang-format on

// A growable array of item pointers, usable as a QELContainer or by index.
// It never owns its items: only the array of pointers is freed. Items sit in
// slots 0 to size-1; array_size > 0 counts allocated slots, array_size -n < 0
// is a capacity deferred until the first insertion. Removal by index fills
// the gap with the last item (order is not kept, deliberately).
class QEL_API QELVector : public QELContainer, public QELArrayInterface {
public:
    int array_size;
    const QELContainerItem** array;

    // Walks a vector by index; position -1 means it stands on no item.
    // Running past either end leaves it on the end item (deliberate).
    class Iterator : public QELContainer::Iterator {
    public:
        int position;

        Iterator();
        // Stands on the first (true) or last (false) item, or on none.
        Iterator(const QELVector& v, bool first = true);
        // Stands at pos when it is a valid index, else on no item.
        Iterator(const QELVector& v, int pos);
        Iterator(const Iterator& other);
        virtual ~Iterator() { }

        // Null when detached or standing on no item.
        virtual QELContainerItem* operator*() const;
        virtual QELContainerItem* get() const;
        // Null and no move when detached or the vector is empty.
        virtual QELContainerItem* moveToFirst();
        virtual QELContainerItem* moveToLast();
        // Null past either end, leaving the iterator clamped on the end item.
        virtual QELContainerItem* next(int count = 1);
        virtual QELContainerItem* previous(int count = 1);
        // Null with the position unchanged when no item matches.
        virtual QELContainerItem* findFirst(const QELContainerKey* key);
        virtual QELContainerItem* findLast(const QELContainerKey* key);
        virtual QELContainerItem* findNext(const QELContainerKey* key);
        virtual QELContainerItem* findPrevious(const QELContainerKey* key);

        virtual QELBoolean operator==(const Iterator& other) const;
        virtual QELBoolean operator!=(const Iterator& other) const;
        virtual Iterator& operator=(const Iterator& other);
        // Attaches to v as the constructor would; null when v is empty.
        virtual QELContainerItem* moveTo(QELVector& v, bool first = true);
        // Null with the position unchanged when pos is not a valid index.
        virtual QELContainerItem* moveTo(int pos);

        int getPosition() const { return position; }
    };

    QELVector();
    // A capacity of 2 or more is reserved at the first insertion; 1 or less
    // reserves nothing (deliberate).
    explicit QELVector(int capacity);
    // Copies the pointers into an array of exactly the other's size.
    QELVector(const QELVector& other);
    virtual ~QELVector();

    // Releases the array (a deferred capacity is kept); always true.
    virtual QELBoolean empty();
    virtual QELContainer::Iterator* newIterator(bool first = true) const;
    virtual void deleteIterator(QELContainer::Iterator* it) const;
    // False when unique and an equal item (compare2Object) is already held.
    virtual QELBoolean add(const QELContainerItem* item, bool unique = false, QELContainer::Iterator* where = NULL);
    // False unless this very pointer is held (identity, no comparison).
    virtual QELBoolean contains(const QELContainerItem* item, QELContainer::Iterator* where = NULL) const;
    // Null when no item matches key.
    virtual QELContainerItem* findFirst(const QELContainerKey* key, QELContainer::Iterator* where = NULL) const;
    // Null, nothing changed, unless where stands on an item of this vector.
    virtual QELContainerItem* remove(QELContainer::Iterator* where);

    virtual QELVector& operator=(const QELVector& other);
    // Same size and the same pointers in the same order.
    virtual QELBoolean operator==(const QELVector& other) const;
    virtual QELBoolean operator!=(const QELVector& other) const;

    // -1 when unique and an equal item is already held.
    virtual int addElement(const QELContainerItem* item, bool unique = false);
    // -1 unless this very pointer is held.
    virtual int containsElement(const QELContainerItem* item) const;
    // Null when index is out of range.
    virtual QELContainerItem* operator[](int index) const;
    // -1 when no item matches key.
    virtual int findFirstElement(const QELContainerKey* key) const;
    virtual int findLastElement(const QELContainerKey* key) const;
    // -1 when from is negative; searches strictly above from.
    virtual int findNextElement(const QELContainerKey* key, int from) const;
    // -1 when from >= size or from <= 0 (no scan from the last item, deliberate).
    virtual int findPreviousElement(const QELContainerKey* key, int from) const;
    // Null when index is out of range; the last item fills the gap.
    virtual QELContainerItem* removeElement(int index);

    // Nothing when n <= 0; an allocated array is resized to exactly n slots
    // (n below size breaks the invariant), else n becomes the deferred capacity.
    void resize(int n);
    // Reallocates to exactly size slots; a deferred capacity is kept.
    void shrink();
};

// A vector that keeps the order of its items on removal and can insert in
// front of an existing item. Like QELVector, it never owns its items.
class QEL_API QELOrderedVector : public QELVector {
public:
    QELOrderedVector() : QELVector() { }
    explicit QELOrderedVector(int capacity) : QELVector(capacity) { }
    QELOrderedVector(const QELOrderedVector& other) : _QELContainer(), QELVector(other) { }
    using QELVector::operator=;
    QELOrderedVector& operator=(const QELOrderedVector& other)
    {
        QELVector::operator=(other);
        return *this;
    }

    // As QELVector::remove, but order is kept: the iterator then stands on
    // the item that followed the removed one, or on the new last item.
    virtual QELContainerItem* remove(QELContainer::Iterator* where);
    // False, nothing changed, when pos < 0 or pos >= size: it only inserts in
    // front of an existing item, never at the end (deliberate).
    virtual QELBoolean insertElement(const QELContainerItem* item, int pos);
    // Null when i is out of range; the tail moves down one slot.
    QELContainerItem* remove(int i);
};

// A read-only vector over a caller's array, used in place and never freed.
// Every mutation (empty, add, remove, addElement, removeElement) does
// nothing and fails; searches and iteration work as for QELVector.
class QEL_API QELConstVector : public QELVector {
public:
    // A count of 0 with a non-null items pointer breaks the invariant.
    QELConstVector(const QELContainerItem** items, int count);
    // A copy views the same caller's array.
    QELConstVector(const QELConstVector& other);
    // Clears array_size so that the caller's array is never released.
    virtual ~QELConstVector();
    // Assigning into a read-only vector would release the caller's array:
    // the copy assignment is forbidden and the virtual one changes nothing.
    QELConstVector& operator=(const QELConstVector&) = delete;
    virtual QELVector& operator=(const QELVector& other);

    virtual QELBoolean empty();
    virtual QELBoolean add(const QELContainerItem* item, bool unique = false, QELContainer::Iterator* where = NULL);
    virtual QELContainerItem* remove(QELContainer::Iterator* where);
    virtual int addElement(const QELContainerItem* item, bool unique = false);
    virtual QELContainerItem* removeElement(int index);
};

#endif
