// QELContainerTestSupport: what the container tests share: an item keyed by
// an int that counts its lives (so that a test can prove no container frees
// one), the casts between it, its key and the containers' opaque types, the
// three-way comparisons by key, and the items a container yields walking
// forwards or backwards.
#ifndef QELCONTAINERTESTSUPPORT_H
#define QELCONTAINERTESTSUPPORT_H

#include <vector>

#include "QELContainer.h"

// Every live Item is counted in `alive`; tests reset and compare it.
struct Item {
    int key;
    static inline int alive = 0;
    explicit Item(int k = 0) : key(k) { ++alive; }
    Item(const Item& o) : key(o.key) { ++alive; }
    ~Item() { --alive; }
};

inline const QELContainerItem* I(const Item* p) { return reinterpret_cast<const QELContainerItem*>(p); }
inline const Item* ItemOf(const QELContainerItem* p) { return reinterpret_cast<const Item*>(p); }
inline Item* MutableItemOf(QELContainerItem* p) { return reinterpret_cast<Item*>(p); }
inline const QELContainerKey* K(const int* k) { return reinterpret_cast<const QELContainerKey*>(k); }
// An item's own address as a key (for containers that compare addresses).
inline const QELContainerKey* KeyOf(const Item* p) { return reinterpret_cast<const QELContainerKey*>(p); }

inline int CompareInts(int x, int y) { return (x > y) - (x < y); }

// The comparisons of the test containers that order Items by key.
inline int CompareItems(const QELContainerItem* a, const QELContainerItem* b)
{
    return CompareInts(ItemOf(a)->key, ItemOf(b)->key);
}

inline int CompareItemToKey(const QELContainerItem* item, const QELContainerKey* key)
{
    return CompareInts(ItemOf(item)->key, *reinterpret_cast<const int*>(key));
}

// Items with the keys given, in one block (ascending addresses).
inline std::vector<Item> MakeItems(const std::vector<int>& keys)
{
    std::vector<Item> v;
    v.reserve(keys.size());
    for (int k : keys)
        v.emplace_back(k);
    return v;
}

// The items of a container through its Iterator: from the first item
// forwards, or from the last backwards.
template <class Container>
std::vector<const Item*> Walk(const Container& c, bool forwards)
{
    std::vector<const Item*> v;
    typename Container::Iterator it(c, forwards);
    for (QELContainerItem* p = it.get(); p != NULL; p = forwards ? it.next() : it.previous())
        v.push_back(ItemOf(p));
    return v;
}

template <class Container>
std::vector<const Item*> Contents(const Container& c)
{
    return Walk(c, true);
}

template <class Container>
std::vector<const Item*> ReverseContents(const Container& c)
{
    return Walk(c, false);
}

#endif
