// Benchmarks of the red-black tree and the hashtables against their std::
// peers: one million random items inserted, found, iterated and removed,
// and the heap bytes each structure spends per item. Assertions stay on.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "QELRBTree.h"
#include "QELSimpleHashtable.h"
#include "QELStringHashtable.h"

namespace {

const int kItems = 1000000;
const int kBuckets = 1 << 20;

// Heap bytes in use (small blocks and mapped blocks).
size_t HeapInUse()
{
    struct mallinfo2 mi = mallinfo2();
    return mi.uordblks + mi.hblkhd;
}

// ------------------------------------------------------------ Tree data

struct IntItem {
    int key;
};

const QELContainerItem* I(const IntItem* p) { return reinterpret_cast<const QELContainerItem*>(p); }
const IntItem* ItemOf(const QELContainerItem* p) { return reinterpret_cast<const IntItem*>(p); }

// The tree ordered by an int field, through the virtual comparison hooks.
class IntTree : public QELRBTree {
public:
    virtual int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const
    {
        int x = ItemOf(a)->key, y = ItemOf(b)->key;
        return (x > y) - (x < y);
    }
    virtual int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const
    {
        int x = ItemOf(item)->key, y = *reinterpret_cast<const int*>(key);
        return (x > y) - (x < y);
    }
};

// The std::multiset peer also orders through a virtual call, out of line.
class IntOrder {
public:
    virtual ~IntOrder() {}
    virtual int compare(const IntItem* a, const IntItem* b) const;
};

__attribute__((noinline)) int IntOrder::compare(const IntItem* a, const IntItem* b) const
{
    return (a->key > b->key) - (a->key < b->key);
}

struct VirtualLess {
    const IntOrder* order;
    bool operator()(const IntItem* a, const IntItem* b) const { return order->compare(a, b) < 0; }
};

typedef std::multiset<const IntItem*, VirtualLess> StdTree;

struct TreeData {
    std::vector<IntItem> items;
    std::vector<int> order;  // a random permutation for finds and removals
    IntOrder cmp;
    TreeData()
    {
        std::mt19937 rng(12345);
        items.resize(kItems);
        for (IntItem& it : items)
            it.key = static_cast<int>(rng());
        order.resize(kItems);
        for (int i = 0; i < kItems; i++)
            order[i] = i;
        std::shuffle(order.begin(), order.end(), rng);
    }
};

TreeData& Tree()
{
    static TreeData data;
    return data;
}

std::unique_ptr<IntTree> BuildQELTree()
{
    TreeData& d = Tree();
    std::unique_ptr<IntTree> t(new IntTree);
    for (const IntItem& it : d.items)
        t->add(I(&it));
    return t;
}

std::unique_ptr<StdTree> BuildStdTree()
{
    TreeData& d = Tree();
    std::unique_ptr<StdTree> t(new StdTree(VirtualLess{&d.cmp}));
    for (const IntItem& it : d.items)
        t->insert(&it);
    return t;
}

void BM_Tree_QEL_Insert(benchmark::State& state)
{
    TreeData& d = Tree();
    for (auto _ : state) {
        size_t before = HeapInUse();
        IntTree* t = new IntTree;
        for (const IntItem& it : d.items)
            t->add(I(&it));
        state.PauseTiming();
        state.counters["bytes_per_item"] = static_cast<double>(HeapInUse() - before) / kItems;
        delete t;
        state.ResumeTiming();
    }
}

void BM_Tree_Std_Insert(benchmark::State& state)
{
    TreeData& d = Tree();
    for (auto _ : state) {
        size_t before = HeapInUse();
        StdTree* t = new StdTree(VirtualLess{&d.cmp});
        for (const IntItem& it : d.items)
            t->insert(&it);
        state.PauseTiming();
        state.counters["bytes_per_item"] = static_cast<double>(HeapInUse() - before) / kItems;
        delete t;
        state.ResumeTiming();
    }
}

void BM_Tree_QEL_Find(benchmark::State& state)
{
    TreeData& d = Tree();
    std::unique_ptr<IntTree> t = BuildQELTree();
    for (auto _ : state) {
        size_t found = 0;
        for (int i : d.order)
            found += t->findFirst(reinterpret_cast<const QELContainerKey*>(&d.items[i].key)) != NULL;
        benchmark::DoNotOptimize(found);
    }
}

void BM_Tree_Std_Find(benchmark::State& state)
{
    TreeData& d = Tree();
    std::unique_ptr<StdTree> t = BuildStdTree();
    for (auto _ : state) {
        size_t found = 0;
        for (int i : d.order)
            found += t->find(&d.items[i]) != t->end();
        benchmark::DoNotOptimize(found);
    }
}

void BM_Tree_QEL_Iterate(benchmark::State& state)
{
    std::unique_ptr<IntTree> t = BuildQELTree();
    for (auto _ : state) {
        long sum = 0;
        QELRBTree::Iterator it(*t, true);
        for (QELContainerItem* p = it.get(); p != NULL; p = it.next())
            sum += ItemOf(p)->key;
        benchmark::DoNotOptimize(sum);
    }
}

void BM_Tree_Std_Iterate(benchmark::State& state)
{
    std::unique_ptr<StdTree> t = BuildStdTree();
    for (auto _ : state) {
        long sum = 0;
        for (const IntItem* p : *t)
            sum += p->key;
        benchmark::DoNotOptimize(sum);
    }
}

void BM_Tree_QEL_Remove(benchmark::State& state)
{
    TreeData& d = Tree();
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<IntTree> t = BuildQELTree();
        state.ResumeTiming();
        QELRBTree::Iterator it;
        for (int i : d.order) {
            t->findFirst(reinterpret_cast<const QELContainerKey*>(&d.items[i].key), &it);
            t->remove(&it);
        }
        benchmark::DoNotOptimize(t->size);
    }
}

void BM_Tree_Std_Remove(benchmark::State& state)
{
    TreeData& d = Tree();
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<StdTree> t = BuildStdTree();
        state.ResumeTiming();
        for (int i : d.order)
            t->erase(t->find(&d.items[i]));
        benchmark::DoNotOptimize(t->size());
    }
}

// --------------------------------------------------------- String keys

struct StringData {
    std::vector<QELString> keys;
    std::vector<std::string> skeys;
    std::vector<int> order;
    std::vector<int> values;
    StringData()
    {
        std::mt19937 rng(777);
        keys.reserve(kItems);
        skeys.reserve(kItems);
        std::unordered_map<std::string, int> seen(kBuckets);
        while (static_cast<int>(skeys.size()) < kItems) {
            // 8 to 16 lower-case letters: short keys fit std::string's
            // inline buffer, longer ones do not.
            std::string s;
            int len = 8 + static_cast<int>(rng() % 9);
            for (int i = 0; i < len; i++)
                s += static_cast<char>('a' + rng() % 26);
            if (!seen.emplace(s, 0).second)
                continue;
            skeys.push_back(s);
            keys.emplace_back(s.c_str());
        }
        order.resize(kItems);
        for (int i = 0; i < kItems; i++)
            order[i] = i;
        std::shuffle(order.begin(), order.end(), rng);
        values.resize(kItems);
    }
};

StringData& Strings()
{
    static StringData data;
    return data;
}

const QELContainerKey* SK(const QELString& s) { return reinterpret_cast<const QELContainerKey*>(&s); }
const QELContainerKey* CK(const char* s) { return reinterpret_cast<const QELContainerKey*>(s); }

typedef std::unordered_map<std::string, void*> StdStringMap;

std::unique_ptr<QELSimpleStringHashtable> BuildSimpleStringTable()
{
    StringData& d = Strings();
    std::unique_ptr<QELSimpleStringHashtable> t(new QELSimpleStringHashtable(false, false, kBuckets));
    for (int i = 0; i < kItems; i++)
        t->add(d.keys[i], &d.values[i]);
    return t;
}

std::unique_ptr<QELStringHashtable> BuildStringTable()
{
    StringData& d = Strings();
    std::unique_ptr<QELStringHashtable> t(new QELStringHashtable(kBuckets));
    for (int i = 0; i < kItems; i++)
        t->add(reinterpret_cast<const QELContainerItem*>(&d.keys[i]));
    return t;
}

std::unique_ptr<StdStringMap> BuildStdStringMap()
{
    StringData& d = Strings();
    std::unique_ptr<StdStringMap> m(new StdStringMap(kBuckets));
    for (int i = 0; i < kItems; i++)
        m->emplace(d.skeys[i], &d.values[i]);
    return m;
}

void BM_SimpleString_QEL_Insert(benchmark::State& state)
{
    StringData& d = Strings();
    for (auto _ : state) {
        size_t before = HeapInUse();
        QELSimpleStringHashtable* t = new QELSimpleStringHashtable(false, false, kBuckets);
        for (int i = 0; i < kItems; i++)
            t->add(d.keys[i], &d.values[i]);
        state.PauseTiming();
        state.counters["bytes_per_item"] = static_cast<double>(HeapInUse() - before) / kItems;
        delete t;
        state.ResumeTiming();
    }
}

void BM_StringSet_QEL_Insert(benchmark::State& state)
{
    StringData& d = Strings();
    for (auto _ : state) {
        size_t before = HeapInUse();
        QELStringHashtable* t = new QELStringHashtable(kBuckets);
        for (int i = 0; i < kItems; i++)
            t->add(reinterpret_cast<const QELContainerItem*>(&d.keys[i]));
        state.PauseTiming();
        state.counters["bytes_per_item"] = static_cast<double>(HeapInUse() - before) / kItems;
        delete t;
        state.ResumeTiming();
    }
}

void BM_String_Std_Insert(benchmark::State& state)
{
    StringData& d = Strings();
    for (auto _ : state) {
        size_t before = HeapInUse();
        StdStringMap* m = new StdStringMap(kBuckets);
        for (int i = 0; i < kItems; i++)
            m->emplace(d.skeys[i], &d.values[i]);
        state.PauseTiming();
        state.counters["bytes_per_item"] = static_cast<double>(HeapInUse() - before) / kItems;
        state.counters["buckets"] = static_cast<double>(m->bucket_count());
        delete m;
        state.ResumeTiming();
    }
}

void BM_SimpleString_QEL_Find(benchmark::State& state)
{
    StringData& d = Strings();
    std::unique_ptr<QELSimpleStringHashtable> t = BuildSimpleStringTable();
    for (auto _ : state) {
        size_t found = 0;
        for (int i : d.order)
            found += t->findFirst(SK(d.keys[i])) != NULL;
        benchmark::DoNotOptimize(found);
    }
}

void BM_StringSet_QEL_Find(benchmark::State& state)
{
    StringData& d = Strings();
    std::unique_ptr<QELStringHashtable> t = BuildStringTable();
    for (auto _ : state) {
        size_t found = 0;
        for (int i : d.order)
            found += t->findFirst(CK(d.keys[i].p)) != NULL;
        benchmark::DoNotOptimize(found);
    }
}

void BM_String_Std_Find(benchmark::State& state)
{
    StringData& d = Strings();
    std::unique_ptr<StdStringMap> m = BuildStdStringMap();
    for (auto _ : state) {
        size_t found = 0;
        for (int i : d.order)
            found += m->find(d.skeys[i]) != m->end();
        benchmark::DoNotOptimize(found);
    }
}

void BM_SimpleString_QEL_Iterate(benchmark::State& state)
{
    std::unique_ptr<QELSimpleStringHashtable> t = BuildSimpleStringTable();
    for (auto _ : state) {
        size_t n = 0;
        QELSimpleHashtable::Iterator it(*t, true);
        for (QELContainerItem* p = it.get(); p != NULL; p = it.next())
            n += reinterpret_cast<size_t>(p) & 1;
        benchmark::DoNotOptimize(n);
    }
}

void BM_StringSet_QEL_Iterate(benchmark::State& state)
{
    std::unique_ptr<QELStringHashtable> t = BuildStringTable();
    for (auto _ : state) {
        size_t n = 0;
        QELHashtable::Iterator it(*t, true);
        for (QELContainerItem* p = it.get(); p != NULL; p = it.next())
            n += reinterpret_cast<size_t>(p) & 1;
        benchmark::DoNotOptimize(n);
    }
}

void BM_String_Std_Iterate(benchmark::State& state)
{
    std::unique_ptr<StdStringMap> m = BuildStdStringMap();
    for (auto _ : state) {
        size_t n = 0;
        for (auto& e : *m)
            n += reinterpret_cast<size_t>(e.second) & 1;
        benchmark::DoNotOptimize(n);
    }
}

void BM_SimpleString_QEL_Remove(benchmark::State& state)
{
    StringData& d = Strings();
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<QELSimpleStringHashtable> t = BuildSimpleStringTable();
        state.ResumeTiming();
        QELSimpleHashtable::Iterator it;
        for (int i : d.order) {
            t->findFirst(SK(d.keys[i]), &it);
            t->remove(&it);
        }
        benchmark::DoNotOptimize(t->size);
    }
}

void BM_StringSet_QEL_Remove(benchmark::State& state)
{
    StringData& d = Strings();
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<QELStringHashtable> t = BuildStringTable();
        state.ResumeTiming();
        QELHashtable::Iterator it;
        for (int i : d.order) {
            t->findFirst(CK(d.keys[i].p), &it);
            t->remove(&it);
        }
        benchmark::DoNotOptimize(t->size);
    }
}

void BM_String_Std_Remove(benchmark::State& state)
{
    StringData& d = Strings();
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<StdStringMap> m = BuildStdStringMap();
        state.ResumeTiming();
        for (int i : d.order)
            m->erase(m->find(d.skeys[i]));
        benchmark::DoNotOptimize(m->size());
    }
}

// ----------------------------------------------------------- Long keys

struct LongData {
    std::vector<long> keys;
    std::vector<int> order;
    std::vector<int> values;
    LongData()
    {
        std::mt19937_64 rng(4242);
        std::unordered_map<long, int> seen(kBuckets);
        while (static_cast<int>(keys.size()) < kItems) {
            long k = static_cast<long>(rng());
            if (seen.emplace(k, 0).second)
                keys.push_back(k);
        }
        order.resize(kItems);
        for (int i = 0; i < kItems; i++)
            order[i] = i;
        std::shuffle(order.begin(), order.end(), rng);
        values.resize(kItems);
    }
};

LongData& Longs()
{
    static LongData data;
    return data;
}

typedef std::unordered_map<long, void*> StdLongMap;

std::unique_ptr<QELSimpleLongHashtable> BuildLongTable()
{
    LongData& d = Longs();
    std::unique_ptr<QELSimpleLongHashtable> t(new QELSimpleLongHashtable(false, kBuckets));
    for (int i = 0; i < kItems; i++)
        t->add(d.keys[i], &d.values[i]);
    return t;
}

std::unique_ptr<StdLongMap> BuildStdLongMap()
{
    LongData& d = Longs();
    std::unique_ptr<StdLongMap> m(new StdLongMap(kBuckets));
    for (int i = 0; i < kItems; i++)
        m->emplace(d.keys[i], &d.values[i]);
    return m;
}

void BM_Long_QEL_Insert(benchmark::State& state)
{
    LongData& d = Longs();
    for (auto _ : state) {
        size_t before = HeapInUse();
        QELSimpleLongHashtable* t = new QELSimpleLongHashtable(false, kBuckets);
        for (int i = 0; i < kItems; i++)
            t->add(d.keys[i], &d.values[i]);
        state.PauseTiming();
        state.counters["bytes_per_item"] = static_cast<double>(HeapInUse() - before) / kItems;
        delete t;
        state.ResumeTiming();
    }
}

void BM_Long_Std_Insert(benchmark::State& state)
{
    LongData& d = Longs();
    for (auto _ : state) {
        size_t before = HeapInUse();
        StdLongMap* m = new StdLongMap(kBuckets);
        for (int i = 0; i < kItems; i++)
            m->emplace(d.keys[i], &d.values[i]);
        state.PauseTiming();
        state.counters["bytes_per_item"] = static_cast<double>(HeapInUse() - before) / kItems;
        delete m;
        state.ResumeTiming();
    }
}

void BM_Long_QEL_Find(benchmark::State& state)
{
    LongData& d = Longs();
    std::unique_ptr<QELSimpleLongHashtable> t = BuildLongTable();
    for (auto _ : state) {
        size_t found = 0;
        for (int i : d.order)
            found += t->findFirst(reinterpret_cast<const QELContainerKey*>(&d.keys[i])) != NULL;
        benchmark::DoNotOptimize(found);
    }
}

void BM_Long_Std_Find(benchmark::State& state)
{
    LongData& d = Longs();
    std::unique_ptr<StdLongMap> m = BuildStdLongMap();
    for (auto _ : state) {
        size_t found = 0;
        for (int i : d.order)
            found += m->find(d.keys[i]) != m->end();
        benchmark::DoNotOptimize(found);
    }
}

void BM_Long_QEL_Iterate(benchmark::State& state)
{
    std::unique_ptr<QELSimpleLongHashtable> t = BuildLongTable();
    for (auto _ : state) {
        size_t n = 0;
        QELSimpleHashtable::Iterator it(*t, true);
        for (QELContainerItem* p = it.get(); p != NULL; p = it.next())
            n += reinterpret_cast<size_t>(p) & 1;
        benchmark::DoNotOptimize(n);
    }
}

void BM_Long_Std_Iterate(benchmark::State& state)
{
    std::unique_ptr<StdLongMap> m = BuildStdLongMap();
    for (auto _ : state) {
        size_t n = 0;
        for (auto& e : *m)
            n += reinterpret_cast<size_t>(e.second) & 1;
        benchmark::DoNotOptimize(n);
    }
}

void BM_Long_QEL_Remove(benchmark::State& state)
{
    LongData& d = Longs();
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<QELSimpleLongHashtable> t = BuildLongTable();
        state.ResumeTiming();
        QELSimpleHashtable::Iterator it;
        for (int i : d.order) {
            t->findFirst(reinterpret_cast<const QELContainerKey*>(&d.keys[i]), &it);
            t->remove(&it);
        }
        benchmark::DoNotOptimize(t->size);
    }
}

void BM_Long_Std_Remove(benchmark::State& state)
{
    LongData& d = Longs();
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<StdLongMap> m = BuildStdLongMap();
        state.ResumeTiming();
        for (int i : d.order)
            m->erase(m->find(d.keys[i]));
        benchmark::DoNotOptimize(m->size());
    }
}

} // namespace

// One pass per benchmark keeps the whole suite's run time reasonable; each
// pass is a million operations.
#define QEL_BENCH(name) BENCHMARK(name)->Unit(benchmark::kMillisecond)->Iterations(1)

QEL_BENCH(BM_Tree_QEL_Insert);
QEL_BENCH(BM_Tree_Std_Insert);
QEL_BENCH(BM_Tree_QEL_Find);
QEL_BENCH(BM_Tree_Std_Find);
QEL_BENCH(BM_Tree_QEL_Iterate);
QEL_BENCH(BM_Tree_Std_Iterate);
QEL_BENCH(BM_Tree_QEL_Remove);
QEL_BENCH(BM_Tree_Std_Remove);

QEL_BENCH(BM_SimpleString_QEL_Insert);
QEL_BENCH(BM_StringSet_QEL_Insert);
QEL_BENCH(BM_String_Std_Insert);
QEL_BENCH(BM_SimpleString_QEL_Find);
QEL_BENCH(BM_StringSet_QEL_Find);
QEL_BENCH(BM_String_Std_Find);
QEL_BENCH(BM_SimpleString_QEL_Iterate);
QEL_BENCH(BM_StringSet_QEL_Iterate);
QEL_BENCH(BM_String_Std_Iterate);
QEL_BENCH(BM_SimpleString_QEL_Remove);
QEL_BENCH(BM_StringSet_QEL_Remove);
QEL_BENCH(BM_String_Std_Remove);

QEL_BENCH(BM_Long_QEL_Insert);
QEL_BENCH(BM_Long_Std_Insert);
QEL_BENCH(BM_Long_QEL_Find);
QEL_BENCH(BM_Long_Std_Find);
QEL_BENCH(BM_Long_QEL_Iterate);
QEL_BENCH(BM_Long_Std_Iterate);
QEL_BENCH(BM_Long_QEL_Remove);
QEL_BENCH(BM_Long_Std_Remove);

BENCHMARK_MAIN();
