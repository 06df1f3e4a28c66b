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

// ------------------------------------------------- Structures under test

// Each structure under test says how to create it, add item i, find item i,
// remove item i (through a cursor that lives across the removals) and walk
// every item; the four benchmark bodies below are written once over these.
// `name` is the middle of the benchmark names ("BM_<name>_Insert").

// What a structure has unless it says otherwise: no cursor for removals and
// no counter beyond the bytes per item.
struct StructureDefaults {
    struct Cursor {
    };
    template <class Table>
    static void count(benchmark::State&, const Table&)
    {
    }
};

const QELContainerKey* TreeKey(const TreeData& d, int i)
{
    return reinterpret_cast<const QELContainerKey*>(&d.items[i].key);
}

struct TreeQEL : StructureDefaults {
    static constexpr const char* name = "Tree_QEL";
    typedef IntTree Table;
    typedef QELRBTree::Iterator Cursor;
    static TreeData& data() { return Tree(); }
    static Table* create() { return new IntTree; }
    static void add(Table& t, TreeData& d, int i) { t.add(I(&d.items[i])); }
    static bool contains(Table& t, TreeData& d, int i) { return t.findFirst(TreeKey(d, i)) != NULL; }
    static void remove(Table& t, TreeData& d, int i, Cursor& it)
    {
        t.findFirst(TreeKey(d, i), &it);
        t.remove(&it);
    }
    static long walk(Table& t)
    {
        long sum = 0;
        QELRBTree::Iterator it(t, true);
        for (QELContainerItem* p = it.get(); p != NULL; p = it.next())
            sum += ItemOf(p)->key;
        return sum;
    }
};

struct TreeStd : StructureDefaults {
    static constexpr const char* name = "Tree_Std";
    typedef StdTree Table;
    static TreeData& data() { return Tree(); }
    static Table* create() { return new StdTree(VirtualLess{&Tree().cmp}); }
    static void add(Table& t, TreeData& d, int i) { t.insert(&d.items[i]); }
    static bool contains(Table& t, TreeData& d, int i) { return t.find(&d.items[i]) != t.end(); }
    static void remove(Table& t, TreeData& d, int i, Cursor&) { t.erase(t.find(&d.items[i])); }
    static long walk(Table& t)
    {
        long sum = 0;
        for (const IntItem* p : t)
            sum += p->key;
        return sum;
    }
};

// The low bit of every item's address, summed: touches each item pointer
// without reading the item.
template <class Table, class Iterator>
long WalkHashtable(Table& t)
{
    long n = 0;
    Iterator it(t, true);
    for (QELContainerItem* p = it.get(); p != NULL; p = it.next())
        n += reinterpret_cast<size_t>(p) & 1;
    return n;
}

template <class Map>
long WalkStdMap(Map& m)
{
    long n = 0;
    for (auto& e : m)
        n += reinterpret_cast<size_t>(e.second) & 1;
    return n;
}

struct SimpleStringQEL : StructureDefaults {
    static constexpr const char* name = "SimpleString_QEL";
    typedef QELSimpleStringHashtable Table;
    typedef QELSimpleHashtable::Iterator Cursor;
    static StringData& data() { return Strings(); }
    static Table* create() { return new QELSimpleStringHashtable(false, false, kBuckets); }
    static void add(Table& t, StringData& d, int i) { t.add(d.keys[i], &d.values[i]); }
    static bool contains(Table& t, StringData& d, int i) { return t.findFirst(SK(d.keys[i])) != NULL; }
    static void remove(Table& t, StringData& d, int i, Cursor& it)
    {
        t.findFirst(SK(d.keys[i]), &it);
        t.remove(&it);
    }
    static long walk(Table& t) { return WalkHashtable<Table, QELSimpleHashtable::Iterator>(t); }
};

struct StringSetQEL : StructureDefaults {
    static constexpr const char* name = "StringSet_QEL";
    typedef QELStringHashtable Table;
    typedef QELHashtable::Iterator Cursor;
    static StringData& data() { return Strings(); }
    static Table* create() { return new QELStringHashtable(kBuckets); }
    static void add(Table& t, StringData& d, int i) { t.add(reinterpret_cast<const QELContainerItem*>(&d.keys[i])); }
    static bool contains(Table& t, StringData& d, int i) { return t.findFirst(CK(d.keys[i].p)) != NULL; }
    static void remove(Table& t, StringData& d, int i, Cursor& it)
    {
        t.findFirst(CK(d.keys[i].p), &it);
        t.remove(&it);
    }
    static long walk(Table& t) { return WalkHashtable<Table, QELHashtable::Iterator>(t); }
};

struct StringStd : StructureDefaults {
    static constexpr const char* name = "String_Std";
    typedef StdStringMap Table;
    static StringData& data() { return Strings(); }
    static Table* create() { return new StdStringMap(kBuckets); }
    static void add(Table& m, StringData& d, int i) { m.emplace(d.skeys[i], &d.values[i]); }
    static bool contains(Table& m, StringData& d, int i) { return m.find(d.skeys[i]) != m.end(); }
    static void remove(Table& m, StringData& d, int i, Cursor&) { m.erase(m.find(d.skeys[i])); }
    static long walk(Table& m) { return WalkStdMap(m); }
    // The bucket count after a million insertions shows whether the map
    // rehashed beyond the table size it was given.
    static void count(benchmark::State& state, const Table& m)
    {
        state.counters["buckets"] = static_cast<double>(m.bucket_count());
    }
};

const QELContainerKey* LongKey(const LongData& d, int i)
{
    return reinterpret_cast<const QELContainerKey*>(&d.keys[i]);
}

struct LongQEL : StructureDefaults {
    static constexpr const char* name = "Long_QEL";
    typedef QELSimpleLongHashtable Table;
    typedef QELSimpleHashtable::Iterator Cursor;
    static LongData& data() { return Longs(); }
    static Table* create() { return new QELSimpleLongHashtable(false, kBuckets); }
    static void add(Table& t, LongData& d, int i) { t.add(d.keys[i], &d.values[i]); }
    static bool contains(Table& t, LongData& d, int i) { return t.findFirst(LongKey(d, i)) != NULL; }
    static void remove(Table& t, LongData& d, int i, Cursor& it)
    {
        t.findFirst(LongKey(d, i), &it);
        t.remove(&it);
    }
    static long walk(Table& t) { return WalkHashtable<Table, QELSimpleHashtable::Iterator>(t); }
};

struct LongStd : StructureDefaults {
    static constexpr const char* name = "Long_Std";
    typedef StdLongMap Table;
    static LongData& data() { return Longs(); }
    static Table* create() { return new StdLongMap(kBuckets); }
    static void add(Table& m, LongData& d, int i) { m.emplace(d.keys[i], &d.values[i]); }
    static bool contains(Table& m, LongData& d, int i) { return m.find(d.keys[i]) != m.end(); }
    static void remove(Table& m, LongData& d, int i, Cursor&) { m.erase(m.find(d.keys[i])); }
    static long walk(Table& m) { return WalkStdMap(m); }
};

// ------------------------------------------------------ Benchmark bodies

template <class S>
std::unique_ptr<typename S::Table> Build()
{
    auto& d = S::data();
    std::unique_ptr<typename S::Table> t(S::create());
    for (int i = 0; i < kItems; i++)
        S::add(*t, d, i);
    return t;
}

// Insertion into a new structure, and the heap bytes it then holds per item.
template <class S>
void BM_Insert(benchmark::State& state)
{
    auto& d = S::data();
    for (auto _ : state) {
        size_t before = HeapInUse();
        typename S::Table* t = S::create();
        for (int i = 0; i < kItems; i++)
            S::add(*t, d, i);
        state.PauseTiming();
        state.counters["bytes_per_item"] = static_cast<double>(HeapInUse() - before) / kItems;
        S::count(state, *t);
        delete t;
        state.ResumeTiming();
    }
}

template <class S>
void BM_Find(benchmark::State& state)
{
    auto& d = S::data();
    std::unique_ptr<typename S::Table> t = Build<S>();
    for (auto _ : state) {
        size_t found = 0;
        for (int i : d.order)
            found += S::contains(*t, d, i);
        benchmark::DoNotOptimize(found);
    }
}

template <class S>
void BM_Iterate(benchmark::State& state)
{
    std::unique_ptr<typename S::Table> t = Build<S>();
    for (auto _ : state)
        benchmark::DoNotOptimize(S::walk(*t));
}

// Every item removed in random order from a structure built untimed.
template <class S>
void BM_Remove(benchmark::State& state)
{
    auto& d = S::data();
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<typename S::Table> t = Build<S>();
        state.ResumeTiming();
        typename S::Cursor cursor;
        for (int i : d.order)
            S::remove(*t, d, i, cursor);
        benchmark::DoNotOptimize(t.get());
        benchmark::ClobberMemory();
    }
}

// One pass per benchmark keeps the whole suite's run time reasonable; each
// pass is a million operations.
void Register(const char* structure, const char* operation, void (*body)(benchmark::State&))
{
    std::string name = std::string("BM_") + structure + "_" + operation;
    benchmark::RegisterBenchmark(name.c_str(), body)->Unit(benchmark::kMillisecond)->Iterations(1);
}

// A family's structures side by side for each operation, in the order
// Insert, Find, Iterate, Remove.
template <class... S>
void RegisterFamily()
{
    (Register(S::name, "Insert", BM_Insert<S>), ...);
    (Register(S::name, "Find", BM_Find<S>), ...);
    (Register(S::name, "Iterate", BM_Iterate<S>), ...);
    (Register(S::name, "Remove", BM_Remove<S>), ...);
}

bool RegisterAll()
{
    RegisterFamily<TreeQEL, TreeStd>();
    RegisterFamily<SimpleStringQEL, StringSetQEL, StringStd>();
    RegisterFamily<LongQEL, LongStd>();
    return true;
}

const bool registered = RegisterAll();

} // namespace

BENCHMARK_MAIN();
