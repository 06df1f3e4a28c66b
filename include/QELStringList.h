// QELStringList: an ordered vector of strings compared as text.
#ifndef QELSTRINGLIST_H
#define QELSTRINGLIST_H

#include "QELExport.h"
#include "QELString.h"
#include "QELVector.h"

// An ordered vector whose items and keys are QELString objects, compared
// byte-wise and case-sensitively (strcmp). It never owns its strings: whoever
// adds a string deletes it. The vector invariant holds as for QELVector.
class QEL_API QELStringList : public QELOrderedVector {
public:
    QELStringList() : QELOrderedVector() { }
    explicit QELStringList(int capacity) : QELOrderedVector(capacity) { }

    // strcmp of the two strings' texts.
    virtual int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const;
    // strcmp of the item's text and the key's, the key being a QELString.
    virtual int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const;
};

#endif
