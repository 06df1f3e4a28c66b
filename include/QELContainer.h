// QELContainer: the abstract container, iterator and array-index protocols.
#ifndef QELCONTAINER_H
#define QELCONTAINER_H

#include <cstddef>

#include "QELExport.h"
#include "QELTypes.h"

// Opaque item and key types: containers hold and pass only pointers to them.
class QELContainerItem;
class QELContainerKey;

// The single virtual base of every container, holding the item count that
// both the QELContainer and the QELArrayInterface views of an object read.
class QEL_API _QELContainer {
public:
    int size;

    _QELContainer() : size(0) { }
    virtual ~_QELContainer() { }
};

// A collection of untyped item pointers that it never owns: no operation,
// empty() and destruction included, deletes, frees or copies an item.
// Equality, order and key matching come only from compare2Object and
// compare2Key, which compare addresses unless a subclass overrides them.
class QEL_API QELContainer : public virtual _QELContainer {
public:
    // Walks any container and finds items by key. An iterator does not own
    // nor keep alive its container; changing the container other than by
    // remove() through this very iterator leaves it unspecified.
    class Iterator {
    public:
        const QELContainer* container;

        Iterator() : container(NULL) { }
        explicit Iterator(const QELContainer* c) : container(c) { }
        virtual ~Iterator() { }
        virtual const QELContainer* getContainer() const { return container; }
        virtual QELContainerItem* operator*() const = 0;
        virtual QELContainerItem* get() const = 0;
        virtual QELContainerItem* moveToFirst() = 0;
        virtual QELContainerItem* moveToLast() = 0;
        virtual QELContainerItem* next(int count = 1) = 0;
        virtual QELContainerItem* previous(int count = 1) = 0;
        virtual QELContainerItem* findFirst(const QELContainerKey* key) = 0;
        virtual QELContainerItem* findLast(const QELContainerKey* key) = 0;
        virtual QELContainerItem* findNext(const QELContainerKey* key) = 0;
        virtual QELContainerItem* findPrevious(const QELContainerKey* key) = 0;
    };

    virtual ~QELContainer() { }
    virtual QELBoolean empty() = 0;
    // A heap iterator of the container's own class, standing on the first
    // (true) or last (false) item; return it with deleteIterator().
    virtual Iterator* newIterator(bool first = true) const = 0;
    virtual void deleteIterator(Iterator* it) const = 0;
    virtual QELBoolean add(const QELContainerItem* item, bool unique = false, Iterator* where = NULL) = 0;
    virtual QELBoolean contains(const QELContainerItem* item, Iterator* where = NULL) const = 0;
    virtual QELContainerItem* findFirst(const QELContainerKey* key, Iterator* where = NULL) const = 0;
    virtual QELContainerItem* remove(Iterator* where) = 0;
    // Default: the sign of a - b as addresses (-1, 0 or 1), so identity.
    virtual int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const;
    // Default: the sign of item - key as addresses; a key is an item pointer.
    virtual int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const;
};

// The index-based view of the array-like containers. Returns -1 or null for
// indexes out of range; never asserts on them.
class QEL_API QELArrayInterface : public virtual _QELContainer {
public:
    virtual ~QELArrayInterface() { }
    virtual int addElement(const QELContainerItem* item, bool unique = false) = 0;
    virtual int containsElement(const QELContainerItem* item) const = 0;
    virtual QELContainerItem* operator[](int index) const = 0;
    virtual int findFirstElement(const QELContainerKey* key) const = 0;
    virtual int findLastElement(const QELContainerKey* key) const = 0;
    virtual int findNextElement(const QELContainerKey* key, int from) const = 0;
    virtual int findPreviousElement(const QELContainerKey* key, int from) const = 0;
    virtual QELContainerItem* removeElement(int index) = 0;
};

// The sign of the difference of two addresses: -1, 0 or 1. A truncated
// 64-bit difference would invert the order of far-apart pointers.
inline int qelCompareAddresses(const void* a, const void* b)
{
    return (a > b) - (a < b);
}

// An address truncated to 32 bits: the default hash of items and keys.
inline unsigned int qelHashAddress(const void* p)
{
    return static_cast<unsigned int>(reinterpret_cast<size_t>(p));
}

#endif
