// QELStringHashtable: a hashtable of QELString items looked up by text.
#ifndef QELSTRINGHASHTABLE_H
#define QELSTRINGHASHTABLE_H

#include "QELExport.h"
#include "QELHashtable.h"
#include "QELString.h"

// A set of QELString pointers, compared by text (strcmp) and found by a
// plain NUL-terminated key (a const char* passed as the key). It never owns
// the strings; a string must not change its text while it is held.
class QEL_API QELStringHashtable : public QELHashtable {
public:
    QELStringHashtable(int buckets = 0);
    // The same bucket count and the same string pointers as other.
    QELStringHashtable(const QELStringHashtable& other);
    QELStringHashtable& operator=(const QELStringHashtable& other);
    virtual ~QELStringHashtable() { }

    virtual int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const;
    // key is a const char*; a null key matches the empty string.
    virtual int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const;
    // The string's hashCode(); hashKey gives the same value for its text.
    virtual unsigned int hashObject(const QELContainerItem* item) const;
    virtual unsigned int hashKey(const QELContainerKey* key) const;
};

#endif
