// QELStringHashtable: a hashtable of QELString items looked up by text.
#include "QELStringHashtable.h"

#include <cstring>

#include "QELAssert.h"

QEL_SOURCE_FILE("QELStringHashtable.cpp");

static inline const QELString* stringOf(const QELContainerItem* item)
{
    return reinterpret_cast<const QELString*>(item);
}

static inline const char* textOf(const QELContainerKey* key)
{
    return reinterpret_cast<const char*>(key);
}

QELStringHashtable::QELStringHashtable(int buckets) : _QELContainer(), QELHashtable(buckets)
{
}

QELStringHashtable::QELStringHashtable(const QELStringHashtable& other)
    : _QELContainer(), QELHashtable(other.bucketCount())
{
    QEL_OPERATION("QELStringHashtable::QELStringHashtable(const QELStringHashtable&)");
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(&other));
    _addAll(other);
    QEL_ASSERT(QEL_HASHTABLE_INVARIANT(this));
}

QELStringHashtable& QELStringHashtable::operator=(const QELStringHashtable& other)
{
    QELHashtable::operator=(other);
    return *this;
}

int QELStringHashtable::compare2Object(const QELContainerItem* a, const QELContainerItem* b) const
{
    return strcmp(stringOf(a)->p, stringOf(b)->p);
}

int QELStringHashtable::compare2Key(const QELContainerItem* item, const QELContainerKey* key) const
{
    // The key compared as the QELString it would make: null reads as "".
    const char* text = textOf(key);
    return strcmp(stringOf(item)->p, text != NULL ? text : "");
}

unsigned int QELStringHashtable::hashObject(const QELContainerItem* item) const
{
    return stringOf(item)->hashCode();
}

unsigned int QELStringHashtable::hashKey(const QELContainerKey* key) const
{
    const char* text = textOf(key);
    return stringHashCode(text != NULL ? text : "");
}
