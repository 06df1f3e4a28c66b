// QELVectorModel: the vector tests' items and models: a pool of items that
// carry values (distinct items may compare equal), vectors that compare by
// value, the capacity the growth and shrink rules predict, and a driver that
// applies random operations to a vector and a std::vector and compares them.
#ifndef QELVECTORMODEL_H
#define QELVECTORMODEL_H

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "QELVector.h"

// Items with a value: distinct objects may carry equal values.
struct Obj {
    int value;
};

inline Obj pool[64] = {};

struct PoolInit {
    PoolInit()
    {
        for (int i = 0; i < 64; ++i)
            pool[i].value = i;
    }
};
inline PoolInit poolInit;

inline const QELContainerItem* I(int k)
{
    return reinterpret_cast<const QELContainerItem*>(&pool[k]);
}

inline const QELContainerKey* K(const void* p)
{
    return static_cast<const QELContainerKey*>(p);
}

inline int valueOf(const QELContainerItem* item)
{
    return reinterpret_cast<const Obj*>(item)->value;
}

// Vectors that compare items by value and match an int key by value.
template <class Base>
class ValueCompared : public Base {
public:
    using Base::Base;
    int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const override
    {
        return valueOf(a) - valueOf(b);
    }
    int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const override
    {
        return valueOf(item) - *reinterpret_cast<const int*>(key);
    }
};
typedef ValueCompared<QELVector> ValueVector;
typedef ValueCompared<QELOrderedVector> ValueOrderedVector;

// The capacity the vector must have, following the growth and shrink rules.
struct CapacityModel {
    int arraySize = 0;

    void construct(int capacity) { arraySize = capacity >= 2 ? -capacity : 0; }
    void beforeInsert(int size)
    {
        if (size >= arraySize)
            arraySize = arraySize >= 0 ? arraySize + (arraySize >> 3) + 3 : -arraySize;
    }
    void afterRemove(int size)
    {
        if (size == 0) {
            arraySize = 0;
            return;
        }
        int t = (arraySize * 3) / 4;
        if (size < t)
            arraySize = t;
    }
};

// A pool with repeated values: item k carries value k % 7, so distinct
// items compare equal.
struct DiffPool {
    std::vector<Obj> objs;
    DiffPool() : objs(40)
    {
        for (size_t k = 0; k < objs.size(); ++k)
            objs[k].value = int(k % 7);
    }
    const QELContainerItem* item(size_t k) const { return reinterpret_cast<const QELContainerItem*>(&objs[k]); }
};

template <class V>
void differential(unsigned seed, bool ordered, int steps)
{
    std::mt19937 rng(seed);
    auto rnd = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    DiffPool pool;
    int initial = rnd(0, 6);
    V v(initial);
    CapacityModel cap;
    cap.construct(initial);
    std::vector<const QELContainerItem*> model;
    QELVector::Iterator it(v, true);
    int itPos = -1;

    auto matchesKey = [&](const QELContainerItem* p, int key) { return valueOf(p) == key; };

    for (int step = 0; step < steps; ++step) {
        int n = int(model.size());
        int op = rnd(0, 15);
        // Keep the vector moving in size: more inserts while small.
        if (n < 5 && op > 9)
            op = 0;
        SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step) + " op " + std::to_string(op));
        switch (op) {
        case 0:
        case 1:
        case 2: { // addElement, sometimes unique
            const QELContainerItem* p = pool.item(rnd(0, 39));
            bool unique = rnd(0, 2) == 0;
            bool refused = false;
            if (unique)
                for (const QELContainerItem* q : model)
                    if (valueOf(q) == valueOf(p))
                        refused = true;
            int expected = -1;
            if (!refused) {
                cap.beforeInsert(n);
                model.push_back(p);
                expected = n;
            }
            ASSERT_EQ(expected, v.addElement(p, unique));
            break;
        }
        case 3: { // add through the container with an iterator
            const QELContainerItem* p = pool.item(rnd(0, 39));
            bool unique = rnd(0, 1) == 0;
            bool refused = false;
            if (unique)
                for (const QELContainerItem* q : model)
                    if (valueOf(q) == valueOf(p))
                        refused = true;
            QELContainer& c = v;
            ASSERT_EQ(!refused, bool(c.add(p, unique, &it)));
            if (!refused) {
                cap.beforeInsert(n);
                model.push_back(p);
                itPos = n;
            }
            break;
        }
        case 4: { // removeElement (unordered)
            int i = rnd(-2, n + 1);
            const QELContainerItem* expected = nullptr;
            if (i >= 0 && i < n) {
                expected = model[i];
                model[i] = model.back();
                model.pop_back();
                cap.afterRemove(int(model.size()));
            }
            ASSERT_EQ(expected, v.removeElement(i));
            if (itPos >= int(model.size()))
                itPos = -2; // the iterator is unspecified now: re-placed before use
            break;
        }
        case 5: { // ordered remove(int) or insertElement
            if constexpr (std::is_base_of<QELOrderedVector, V>::value) {
                int i = rnd(-2, n + 1);
                if (rnd(0, 1) == 0) {
                    const QELContainerItem* expected = nullptr;
                    if (i >= 0 && i < n) {
                        expected = model[i];
                        model.erase(model.begin() + i);
                        cap.afterRemove(int(model.size()));
                    }
                    ASSERT_EQ(expected, v.remove(i));
                } else {
                    const QELContainerItem* p = pool.item(rnd(0, 39));
                    bool ok = i >= 0 && i < n;
                    if (ok) {
                        cap.beforeInsert(n);
                        model.insert(model.begin() + i, p);
                    }
                    ASSERT_EQ(ok, bool(v.insertElement(p, i)));
                }
                itPos = -2;
            }
            break;
        }
        case 6: { // remove through the iterator
            if (itPos == -2) {
                it.moveTo(v, true);
                itPos = n == 0 ? -1 : 0;
            }
            const QELContainerItem* expected = nullptr;
            if (itPos >= 0 && itPos < n) {
                expected = model[itPos];
                if (ordered) {
                    model.erase(model.begin() + itPos);
                } else {
                    model[itPos] = model.back();
                    model.pop_back();
                }
                cap.afterRemove(int(model.size()));
                if (itPos >= int(model.size()))
                    --itPos;
            }
            QELContainer& c = v;
            ASSERT_EQ(expected, c.remove(&it));
            ASSERT_EQ(itPos, it.position);
            break;
        }
        case 7: { // searches by key
            int key = rnd(0, 7);
            int from = rnd(-2, n + 2);
            int first = -1, last = -1, nextI = -1, prevI = -1;
            for (int i = 0; i < n; ++i)
                if (matchesKey(model[i], key)) {
                    if (first == -1)
                        first = i;
                    last = i;
                    if (from >= 0 && i > from && nextI == -1)
                        nextI = i;
                    if (from < n && from > 0 && i < from)
                        prevI = i;
                }
            ASSERT_EQ(first, v.findFirstElement(K(&key)));
            ASSERT_EQ(last, v.findLastElement(K(&key)));
            ASSERT_EQ(nextI, v.findNextElement(K(&key), from));
            ASSERT_EQ(prevI, v.findPreviousElement(K(&key), from));
            ASSERT_EQ(first == -1 ? nullptr : model[first], v.findFirst(K(&key)));
            break;
        }
        case 8: { // identity searches and indexing
            const QELContainerItem* p = pool.item(rnd(0, 39));
            auto found = std::find(model.begin(), model.end(), p);
            int expected = found == model.end() ? -1 : int(found - model.begin());
            ASSERT_EQ(expected, v.containsElement(p));
            ASSERT_EQ(expected != -1, bool(v.contains(p)));
            int i = rnd(-2, n + 1);
            ASSERT_EQ(i >= 0 && i < n ? model[i] : nullptr, v[i]);
            break;
        }
        case 9: { // iterator steps
            if (itPos == -2) {
                it.moveTo(v, true);
                itPos = n == 0 ? -1 : 0;
            }
            int count = rnd(-3, 3);
            bool forward = rnd(0, 1) == 0;
            const QELContainerItem* r = forward ? it.next(count) : it.previous(count);
            if (n == 0) {
                ASSERT_EQ(nullptr, r);
            } else {
                int target = forward ? itPos + count : itPos - count;
                const QELContainerItem* expected = nullptr;
                if (target >= n)
                    itPos = n - 1;
                else if (target < 0)
                    itPos = 0;
                else {
                    itPos = target;
                    expected = model[target];
                }
                ASSERT_EQ(expected, r);
            }
            ASSERT_EQ(itPos, it.position);
            break;
        }
        case 10: { // iterator searches
            if (itPos == -2) {
                it.moveTo(v, false);
                itPos = n == 0 ? -1 : n - 1;
            }
            int key = rnd(0, 7);
            bool forward = rnd(0, 1) == 0;
            int found = -1;
            if (forward && itPos >= 0) {
                for (int i = itPos + 1; i < n && found == -1; ++i)
                    if (matchesKey(model[i], key))
                        found = i;
            } else if (!forward && itPos > 0 && itPos < n) {
                for (int i = itPos - 1; i >= 0 && found == -1; --i)
                    if (matchesKey(model[i], key))
                        found = i;
            }
            const QELContainerItem* r = forward ? it.findNext(K(&key)) : it.findPrevious(K(&key));
            ASSERT_EQ(found == -1 ? nullptr : model[found], r);
            if (found != -1)
                itPos = found;
            ASSERT_EQ(itPos, it.position);
            break;
        }
        case 11: { // resize to at least size, or shrink
            if (rnd(0, 1) == 0) {
                int m = rnd(-1, n + 10);
                if (m < n && cap.arraySize > 0)
                    m = n; // below size would break the invariant
                if (m > 0) {
                    if (cap.arraySize > 0)
                        cap.arraySize = m;
                    else
                        cap.construct(m);
                }
                v.resize(m);
            } else {
                if (cap.arraySize > n)
                    cap.arraySize = n;
                v.shrink();
            }
            break;
        }
        case 12: { // copy and assignment
            V copy(v);
            ASSERT_TRUE(copy == v);
            ASSERT_EQ(n, copy.array_size);
            V other;
            other.addElement(pool.item(0));
            other = v;
            ASSERT_TRUE(other == v);
            ASSERT_FALSE(other != v);
            ASSERT_EQ(n, other.array_size);
            break;
        }
        case 13: { // occasionally empty everything
            if (rnd(0, 9) == 0) {
                ASSERT_TRUE(v.empty());
                model.clear();
                if (cap.arraySize > 0)
                    cap.arraySize = 0;
                itPos = -2;
            }
            break;
        }
        default: { // more appends
            const QELContainerItem* p = pool.item(rnd(0, 39));
            cap.beforeInsert(n);
            model.push_back(p);
            ASSERT_EQ(n, v.addElement(p));
            break;
        }
        }
        ASSERT_TRUE(QEL_VECTOR_INVARIANT((&v)));
        ASSERT_EQ(int(model.size()), v.size);
        ASSERT_EQ(cap.arraySize, v.array_size);
        for (int i = 0; i < v.size; ++i)
            ASSERT_EQ(model[i], v.array[i]) << i;
        if (itPos != -2) {
            ASSERT_TRUE(QEL_VECTOR_ITERATOR_INVARIANT((&it)));
        }
    }
}

#endif
