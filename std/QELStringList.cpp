// QELStringList: the text comparisons of the string list.
#include "QELStringList.h"

#include <cstring>

int QELStringList::compare2Object(const QELContainerItem* a, const QELContainerItem* b) const
{
    return strcmp(reinterpret_cast<const QELString*>(a)->p, reinterpret_cast<const QELString*>(b)->p);
}

int QELStringList::compare2Key(const QELContainerItem* item, const QELContainerKey* key) const
{
    return strcmp(reinterpret_cast<const QELString*>(item)->p, reinterpret_cast<const QELString*>(key)->p);
}
