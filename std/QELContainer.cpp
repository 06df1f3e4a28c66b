// QELContainer: the address defaults of the comparison hooks.
#include "QELContainer.h"

int QELContainer::compare2Object(const QELContainerItem* a, const QELContainerItem* b) const
{
    return qelCompareAddresses(a, b);
}

int QELContainer::compare2Key(const QELContainerItem* item, const QELContainerKey* key) const
{
    return qelCompareAddresses(item, key);
}
