// QELHashtableModel: the hashtable tests' table and model: a table of Items
// hashed by their key (so a test can choose buckets), a check of the chains'
// links, counts and buckets, an exact model of the chains (one list per
// bucket, head first), and a driver that applies random operations to a
// table and to the model and compares them after every step.
#ifndef QELHASHTABLEMODEL_H
#define QELHASHTABLEMODEL_H

#include <gtest/gtest.h>

#include <list>
#include <random>
#include <vector>

#include "QELContainerTestSupport.h"
#include "QELHashtable.h"

// Items keyed by int; the hash is the key itself, so the bucket of key k is
// k & table_mask and tests can place items in chosen buckets.
class KeyTable : public QELHashtable {
public:
    explicit KeyTable(int buckets = 0) : QELHashtable(buckets) {}
    KeyTable(const KeyTable& other) : _QELContainer(), QELHashtable(other.bucketCount()) { _addAll(other); }
    KeyTable& operator=(const KeyTable& other)
    {
        QELHashtable::operator=(other);
        return *this;
    }
    virtual int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const { return CompareItems(a, b); }
    virtual int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const
    {
        return CompareItemToKey(item, key);
    }
    virtual unsigned int hashObject(const QELContainerItem* item) const { return static_cast<unsigned int>(ItemOf(item)->key); }
    virtual unsigned int hashKey(const QELContainerKey* key) const { return static_cast<unsigned int>(*reinterpret_cast<const int*>(key)); }
};

inline int Buckets(const QELHashtable& t) { return t.table_mask + 1; }

// Structural soundness: invariant, chain links, element count and size.
inline testing::AssertionResult IsSoundTable(const QELHashtable& t)
{
    if (!(QEL_HASHTABLE_INVARIANT(&t)))
        return testing::AssertionFailure() << "table invariant";
    if (t.table_mask < 0)
        return t.table == NULL ? testing::AssertionSuccess() : testing::AssertionFailure() << "table without mask";
    if ((t.table_mask & (t.table_mask + 1)) != 0)
        return testing::AssertionFailure() << "bucket count not a power of two";
    int count = 0;
    for (int b = 0; b <= t.table_mask; b++) {
        const QELHashtableElement* head = t.table[b];
        if (head == NULL)
            continue;
        const QELHashtableElement* last = head;
        for (const QELHashtableElement* e = head; e != NULL; e = e->next) {
            count++;
            if (e->data == NULL)
                return testing::AssertionFailure() << "element without item";
            if (e != head && e->previous->next != e)
                return testing::AssertionFailure() << "previous link broken in bucket " << b;
            if (e->next != NULL && e->next->previous != e)
                return testing::AssertionFailure() << "next link broken in bucket " << b;
            if ((t.hashObject(e->data) & static_cast<unsigned int>(t.table_mask)) != static_cast<unsigned int>(b))
                return testing::AssertionFailure() << "item in the wrong bucket " << b;
            last = e;
        }
        if (head->previous != last)
            return testing::AssertionFailure() << "head does not point at the last element in bucket " << b;
    }
    if (count != t.size)
        return testing::AssertionFailure() << "size " << t.size << " but " << count << " elements";
    return testing::AssertionSuccess();
}

// An exact model of the chains: one list per bucket, head first.
struct ChainModel {
    std::vector<std::list<const Item*>> buckets;
    void reset(int n) { buckets.assign(n, std::list<const Item*>()); }
    std::list<const Item*>& of(int key) { return buckets[key & (static_cast<int>(buckets.size()) - 1)]; }
    std::vector<const Item*> order() const
    {
        std::vector<const Item*> v;
        for (const auto& b : buckets)
            v.insert(v.end(), b.begin(), b.end());
        return v;
    }
    int count() const
    {
        int n = 0;
        for (const auto& b : buckets)
            n += static_cast<int>(b.size());
        return n;
    }
    // Re-adding in iteration order, as copies and resize do.
    void rebuild(int n)
    {
        std::vector<const Item*> v = order();
        reset(n);
        for (const Item* x : v)
            of(x->key).push_front(x);
    }
};

inline void RunAgainstChainModel(unsigned seed, int steps, int keyRange, int buckets)
{
    std::mt19937 rng(seed);
    std::vector<Item> pool;
    pool.reserve(300);
    for (int i = 0; i < 300; i++)
        pool.emplace_back(static_cast<int>(rng() % keyRange));
    KeyTable t(buckets);
    ChainModel m;
    m.reset(buckets);
    std::unordered_multimap<int, const Item*> counts;
    for (int step = 0; step < steps; step++) {
        unsigned op = rng() % 100;
        const Item* item = &pool[rng() % pool.size()];
        int key = static_cast<int>(rng() % keyRange);
        SCOPED_TRACE(testing::Message() << "seed " << seed << " step " << step << " op " << op);
        if (op < 40 || m.count() < 3) {
            bool unique = rng() % 4 == 0;
            bool hasEqual = counts.count(item->key) > 0;
            QELHashtable::Iterator where;
            QELBoolean ok = t.add(I(item), unique, &where);
            if (unique && hasEqual) {
                ASSERT_FALSE(ok);
            } else {
                ASSERT_TRUE(ok);
                ASSERT_EQ(I(item), where.get());
                m.of(item->key).push_front(item);
                counts.emplace(item->key, item);
            }
        } else if (op < 65) {
            // Remove at a random position; the iterator moves on.
            std::vector<const Item*> v = m.order();
            size_t pos = rng() % v.size();
            QELHashtable::Iterator it(t, true);
            if (pos > 0) {
                ASSERT_EQ(I(v[pos]), it.next(static_cast<int>(pos)));
            }
            const Item* expectNext = pos + 1 < v.size() ? v[pos + 1] : (pos > 0 ? v[pos - 1] : NULL);
            ASSERT_EQ(I(v[pos]), t.remove(&it));
            ASSERT_EQ(I(expectNext), it.get());
            auto& chain = m.of(v[pos]->key);
            // The very element at that position: count earlier copies.
            int before = static_cast<int>(std::count(v.begin(), v.begin() + pos, v[pos]));
            for (auto c = chain.begin(); c != chain.end(); ++c) {
                if (*c == v[pos] && before-- == 0) {
                    chain.erase(c);
                    break;
                }
            }
            auto range = counts.equal_range(v[pos]->key);
            for (auto c = range.first; c != range.second; ++c) {
                if (c->second == v[pos]) {
                    counts.erase(c);
                    break;
                }
            }
        } else if (op < 80) {
            // findFirst from the head, findLast from the tail sparing the head.
            const auto& chain = m.of(key);
            const Item* first = NULL;
            const Item* last = NULL;
            for (const Item* x : chain) {
                if (x->key == key) {
                    if (first == NULL)
                        first = x;
                }
            }
            int idx = 0;
            for (const Item* x : chain) {
                if (x->key == key && (idx > 0 || chain.size() == 1))
                    last = x;
                idx++;
            }
            ASSERT_EQ(I(first), t.findFirst(K(&key)));
            ASSERT_EQ(I(last), t.findLast(K(&key)));
            ASSERT_EQ(first != NULL, counts.count(key) > 0);
        } else if (op < 88) {
            bool held = std::find(m.of(item->key).begin(), m.of(item->key).end(), item) != m.of(item->key).end();
            ASSERT_EQ(held, t.contains(I(item)) != 0);
        } else if (op < 94) {
            std::vector<const Item*> v = m.order();
            ASSERT_EQ(v, Contents(t));
            std::reverse(v.begin(), v.end());
            ASSERT_EQ(v, ReverseContents(t));
        } else if (op < 97) {
            KeyTable c(t);
            ChainModel cm = m;
            cm.rebuild(static_cast<int>(m.buckets.size()));
            ASSERT_EQ(cm.order(), Contents(c));
            ASSERT_TRUE(c == t);
            ASSERT_TRUE(IsSoundTable(c));
        } else if (op < 99) {
            int n = 1 << (1 + rng() % 6);
            ASSERT_TRUE(t.resize(n));
            m.rebuild(n);
        } else {
            t.empty();
            m.reset(static_cast<int>(m.buckets.size()));
            counts.clear();
        }
        ASSERT_EQ(m.count(), t.size);
        ASSERT_EQ(static_cast<int>(counts.size()), t.size);
        ASSERT_TRUE(IsSoundTable(t));
    }
    ASSERT_EQ(m.order(), Contents(t));
}

#endif
