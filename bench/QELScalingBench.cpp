// QELScalingBench: how the cost per item of each container grows with its
// size, from 10^3 to 10^7 items, beside its standard-library peer at the
// same sizes. Each run builds the structure from empty (the "insert" phase)
// and then probes it (the "find" phase: lookups of items it holds, or one
// walk over a vector), and reports per item:
//   insert_ns_per_item  build time / items inserted
//   find_ns_per_item    probe time / items probed
//   ns_per_item         the sum of the two
//   bytes_per_item      heap in use after the build, less before (mallinfo2)
// Benchmark names are Scaling/<family>/<qel|std>/<items>; bench/curves.py
// draws them. Fixed iteration counts keep the whole program near two
// minutes on a two-core machine.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "QELHashtable.h"
#include "QELRBTree.h"
#include "QELSimpleHashtable.h"
#include "QELVector.h"

namespace {

const long kSizes[] = {1000, 10000, 100000, 1000000, 10000000};
// Lookups per find phase at most: enough for a steady figure, few enough
// that 10^7-item structures are probed in about a second.
const long kMaxLookups = 1000000;
// A prime that shares no factor with the sizes, so that i * kStride % n
// visits every index below n once: the lookups go in a scattered order.
const unsigned long kStride = 1000003;
// Sizes up to this one get an untimed run before the timed ones.
const long kMaxWarmedItems = 100000;

// Heap bytes in use (small blocks and mapped blocks).
size_t HeapInUse()
{
    struct mallinfo2 mi = mallinfo2();
    return mi.uordblks + mi.hblkhd;
}

// The index of lookup j among n items.
long Scattered(long j, long n)
{
    return static_cast<long>((static_cast<unsigned long>(j) * kStride) % static_cast<unsigned long>(n));
}

// ------------------------------------------------------------------ Data

// Items with distinct pseudo-random keys (i times an odd constant is a
// bijection of 32-bit values), shared by every family up to the size it uses.
struct Item {
    int key;
};

const std::vector<Item>& Items()
{
    static std::vector<Item> items = [] {
        std::vector<Item> v(10000000);
        for (size_t i = 0; i < v.size(); i++)
            v[i].key = static_cast<int>(static_cast<uint32_t>(i) * 2654435761u);
        return v;
    }();
    return items;
}

const QELContainerItem* AsItem(const Item* p) { return reinterpret_cast<const QELContainerItem*>(p); }
const Item* ItemOf(const QELContainerItem* p) { return reinterpret_cast<const Item*>(p); }
const QELContainerKey* AsKey(const void* p) { return reinterpret_cast<const QELContainerKey*>(p); }

// splitmix64: a bijection of 64-bit values, so the long keys are distinct.
uint64_t Mix(uint64_t x)
{
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

const std::vector<long>& LongKeys()
{
    static std::vector<long> keys = [] {
        std::vector<long> v(10000000);
        for (size_t i = 0; i < v.size(); i++)
            v[i] = static_cast<long>(Mix(i));
        return v;
    }();
    return keys;
}

// Keys of 9 to 17 lower-case letters: 4 to 12 random ones, then the index
// in five base-26 digits, which keeps them distinct. Held both as QELString
// and as std::string (most fit std::string's inline buffer).
struct StringKeys {
    std::vector<QELString> qel;
    std::vector<std::string> std;
    StringKeys()
    {
        const size_t n = 10000000;
        qel.reserve(n);
        std.reserve(n);
        for (size_t i = 0; i < n; i++) {
            uint64_t r = Mix(i + 0x5bd1e995);
            std::string s(4 + r % 9, 'a');
            for (char& c : s) {
                r /= 26;
                c = static_cast<char>('a' + r % 26);
            }
            for (size_t d = 0, x = i; d < 5; d++, x /= 26)
                s += static_cast<char>('a' + x % 26);
            qel.emplace_back(s.c_str());
            std.push_back(std::move(s));
        }
    }
};

const StringKeys& Strings()
{
    static StringKeys keys;
    return keys;
}

// ------------------------------------------------------------- Workloads

// Each workload names its family and side, builds a structure of n items
// (timed as the insert phase) and probes it (the find phase), returning a
// sum that keeps the probes from being optimised away. probes(n) is the
// number of items the find phase handles; maxItems caps the sizes run;
// prepare() makes the shared data before anything is timed.
struct Lookups {
    static long probes(long n) { return std::min(n, kMaxLookups); }
    static constexpr long maxItems = 10000000;
};

struct OnItems : Lookups {
    static void prepare() { Items(); }
};

struct OnLongKeys : Lookups {
    static void prepare() { LongKeys(); }
};

struct OnStrings : Lookups {
    static void prepare() { Strings(); }
};

struct VectorQEL : OnItems {
    static constexpr const char* family = "vector";
    static constexpr const char* side = "qel";
    typedef QELVector Structure;
    static Structure* build(long n)
    {
        QELVector* v = new QELVector;
        const Item* items = Items().data();
        for (long i = 0; i < n; i++)
            v->addElement(AsItem(&items[i]));
        return v;
    }
    // A walk over every item through the iterator.
    static long probes(long n) { return n; }
    static long probe(Structure& v, long)
    {
        long sum = 0;
        QELVector::Iterator it(v, true);
        for (QELContainerItem* p = it.get(); p != NULL; p = it.next())
            sum += ItemOf(p)->key;
        return sum;
    }
};

struct VectorStd : OnItems {
    static constexpr const char* family = "vector";
    static constexpr const char* side = "std";
    typedef std::vector<const Item*> Structure;
    static Structure* build(long n)
    {
        Structure* v = new Structure;
        const Item* items = Items().data();
        for (long i = 0; i < n; i++)
            v->push_back(&items[i]);
        return v;
    }
    static long probes(long n) { return n; }
    static long probe(Structure& v, long)
    {
        long sum = 0;
        for (const Item* p : v)
            sum += p->key;
        return sum;
    }
};

// Insertion in front of a random existing item: every insertion moves part
// of the tail, so the cost per item grows with n on both sides by nature.
// 10^6 items would take minutes per side: the sizes stop at 10^5.
struct OrderedVectorQEL : OnItems {
    static constexpr const char* family = "ordered_vector_insert";
    static constexpr const char* side = "qel";
    static constexpr long maxItems = 100000;
    typedef QELOrderedVector Structure;
    static Structure* build(long n)
    {
        QELOrderedVector* v = new QELOrderedVector;
        const Item* items = Items().data();
        v->addElement(AsItem(&items[0]));
        for (long i = 1; i < n; i++)
            v->insertElement(AsItem(&items[i]), static_cast<int>(Mix(i) % static_cast<uint64_t>(v->size)));
        return v;
    }
    // Lookups by index.
    static long probe(Structure& v, long n)
    {
        long sum = 0;
        for (long j = 0; j < probes(n); j++)
            sum += ItemOf(v[static_cast<int>(Scattered(j, n))])->key;
        return sum;
    }
};

struct OrderedVectorStd : OnItems {
    static constexpr const char* family = "ordered_vector_insert";
    static constexpr const char* side = "std";
    static constexpr long maxItems = 100000;
    typedef std::vector<const Item*> Structure;
    static Structure* build(long n)
    {
        Structure* v = new Structure;
        const Item* items = Items().data();
        v->push_back(&items[0]);
        for (long i = 1; i < n; i++)
            v->insert(v->begin() + static_cast<long>(Mix(i) % v->size()), &items[i]);
        return v;
    }
    static long probe(Structure& v, long n)
    {
        long sum = 0;
        for (long j = 0; j < probes(n); j++)
            sum += v[Scattered(j, n)]->key;
        return sum;
    }
};

// Items hashed and matched by their key through the virtual hooks.
class KeyHashtable : public QELHashtable {
public:
    explicit KeyHashtable(int buckets) : QELHashtable(buckets) { }
    virtual int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const
    {
        return ItemOf(item)->key != *reinterpret_cast<const int*>(key);
    }
    virtual unsigned int hashObject(const QELContainerItem* item) const
    {
        return static_cast<unsigned int>(ItemOf(item)->key);
    }
    virtual unsigned int hashKey(const QELContainerKey* key) const
    {
        return static_cast<unsigned int>(*reinterpret_cast<const int*>(key));
    }
};

// The first `count` of the scattered lookups of items among n.
template <class Table>
long FindItems(Table& t, long n, long count)
{
    const Item* items = Items().data();
    long found = 0;
    for (long j = 0; j < count; j++)
        found += t.findFirst(AsKey(&items[Scattered(j, n)].key)) != NULL;
    return found;
}

template <class Map>
long FindItemsInMap(Map& m, long n, long count)
{
    const Item* items = Items().data();
    long found = 0;
    for (long j = 0; j < count; j++)
        found += m.find(items[Scattered(j, n)].key) != m.end();
    return found;
}

// The hashtable's default 1024 buckets never grow, so chains hold n / 1024
// items and a lookup walks half of one: the cost per item grows linearly
// with n by design. At 10^7 (chains of ~10^4) building and probing would
// take minutes: the sizes stop at 10^6, where a lookup already takes ~10 us,
// so the probes stop at 10^5 lookups.
struct Hashtable1024QEL : OnItems {
    static constexpr const char* family = "hashtable_1024";
    static constexpr const char* side = "qel";
    static constexpr long maxItems = 1000000;
    static long probes(long n) { return std::min(n, 100000L); }
    typedef KeyHashtable Structure;
    static Structure* build(long n)
    {
        KeyHashtable* t = new KeyHashtable(1024);
        const Item* items = Items().data();
        for (long i = 0; i < n; i++)
            t->add(AsItem(&items[i]));
        return t;
    }
    static long probe(Structure& t, long n) { return FindItems(t, n, probes(n)); }
};

// The peer grows its bucket array as it fills (its own default).
struct Hashtable1024Std : OnItems {
    static constexpr const char* family = "hashtable_1024";
    static constexpr const char* side = "std";
    static constexpr long maxItems = Hashtable1024QEL::maxItems;
    static long probes(long n) { return Hashtable1024QEL::probes(n); }
    typedef std::unordered_map<int, const Item*> Structure;
    static Structure* build(long n)
    {
        Structure* m = new Structure;
        const Item* items = Items().data();
        for (long i = 0; i < n; i++)
            m->emplace(items[i].key, &items[i]);
        return m;
    }
    static long probe(Structure& m, long n) { return FindItemsInMap(m, n, probes(n)); }
};

// A bucket per item, asked for at construction on both sides.
struct HashtableNQEL : OnItems {
    static constexpr const char* family = "hashtable_n";
    static constexpr const char* side = "qel";
    typedef KeyHashtable Structure;
    static Structure* build(long n)
    {
        KeyHashtable* t = new KeyHashtable(static_cast<int>(n));
        const Item* items = Items().data();
        for (long i = 0; i < n; i++)
            t->add(AsItem(&items[i]));
        return t;
    }
    static long probe(Structure& t, long n) { return FindItems(t, n, probes(n)); }
};

struct HashtableNStd : OnItems {
    static constexpr const char* family = "hashtable_n";
    static constexpr const char* side = "std";
    typedef std::unordered_map<int, const Item*> Structure;
    static Structure* build(long n)
    {
        Structure* m = new Structure;
        m->reserve(static_cast<size_t>(n));
        const Item* items = Items().data();
        for (long i = 0; i < n; i++)
            m->emplace(items[i].key, &items[i]);
        return m;
    }
    static long probe(Structure& m, long n) { return FindItemsInMap(m, n, probes(n)); }
};

struct StringTableQEL : OnStrings {
    static constexpr const char* family = "string_table";
    static constexpr const char* side = "qel";
    typedef QELSimpleStringHashtable Structure;
    static Structure* build(long n)
    {
        QELSimpleStringHashtable* t = new QELSimpleStringHashtable(false, false, static_cast<int>(n));
        const std::vector<QELString>& keys = Strings().qel;
        for (long i = 0; i < n; i++)
            t->add(keys[i], const_cast<QELString*>(&keys[i]));
        return t;
    }
    static long probe(Structure& t, long n)
    {
        const std::vector<QELString>& keys = Strings().qel;
        long found = 0;
        for (long j = 0; j < probes(n); j++)
            found += t.findFirst(AsKey(&keys[Scattered(j, n)])) != NULL;
        return found;
    }
};

struct StringTableStd : OnStrings {
    static constexpr const char* family = "string_table";
    static constexpr const char* side = "std";
    typedef std::unordered_map<std::string, void*> Structure;
    static Structure* build(long n)
    {
        Structure* m = new Structure;
        m->reserve(static_cast<size_t>(n));
        const std::vector<std::string>& keys = Strings().std;
        for (long i = 0; i < n; i++)
            m->emplace(keys[i], const_cast<std::string*>(&keys[i]));
        return m;
    }
    static long probe(Structure& m, long n)
    {
        const std::vector<std::string>& keys = Strings().std;
        long found = 0;
        for (long j = 0; j < probes(n); j++)
            found += m.find(keys[Scattered(j, n)]) != m.end();
        return found;
    }
};

struct LongTableQEL : OnLongKeys {
    static constexpr const char* family = "long_table";
    static constexpr const char* side = "qel";
    typedef QELSimpleLongHashtable Structure;
    static Structure* build(long n)
    {
        QELSimpleLongHashtable* t = new QELSimpleLongHashtable(false, static_cast<int>(n));
        const std::vector<long>& keys = LongKeys();
        for (long i = 0; i < n; i++)
            t->add(keys[i], const_cast<long*>(&keys[i]));
        return t;
    }
    static long probe(Structure& t, long n)
    {
        const std::vector<long>& keys = LongKeys();
        long found = 0;
        for (long j = 0; j < probes(n); j++)
            found += t.findFirst(AsKey(&keys[Scattered(j, n)])) != NULL;
        return found;
    }
};

struct LongTableStd : OnLongKeys {
    static constexpr const char* family = "long_table";
    static constexpr const char* side = "std";
    typedef std::unordered_map<long, void*> Structure;
    static Structure* build(long n)
    {
        Structure* m = new Structure;
        m->reserve(static_cast<size_t>(n));
        const std::vector<long>& keys = LongKeys();
        for (long i = 0; i < n; i++)
            m->emplace(keys[i], const_cast<long*>(&keys[i]));
        return m;
    }
    static long probe(Structure& m, long n)
    {
        const std::vector<long>& keys = LongKeys();
        long found = 0;
        for (long j = 0; j < probes(n); j++)
            found += m.find(keys[Scattered(j, n)]) != m.end();
        return found;
    }
};

// The tree ordered by the items' keys through its virtual hooks.
class KeyTree : public QELRBTree {
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

struct TreeQEL : OnItems {
    static constexpr const char* family = "tree";
    static constexpr const char* side = "qel";
    typedef KeyTree Structure;
    static Structure* build(long n)
    {
        KeyTree* t = new KeyTree;
        const Item* items = Items().data();
        for (long i = 0; i < n; i++)
            t->add(AsItem(&items[i]));
        return t;
    }
    static long probe(Structure& t, long n) { return FindItems(t, n, probes(n)); }
};

struct ByKey {
    bool operator()(const Item* a, const Item* b) const { return a->key < b->key; }
};

// The peer's comparison is inline (the library's goes through a virtual
// call): the curve shows how each grows, not the cost of the call.
struct TreeStd : OnItems {
    static constexpr const char* family = "tree";
    static constexpr const char* side = "std";
    typedef std::multiset<const Item*, ByKey> Structure;
    static Structure* build(long n)
    {
        Structure* s = new Structure;
        const Item* items = Items().data();
        for (long i = 0; i < n; i++)
            s->insert(&items[i]);
        return s;
    }
    static long probe(Structure& s, long n)
    {
        const Item* items = Items().data();
        long found = 0;
        for (long j = 0; j < probes(n); j++)
            found += s.find(&items[Scattered(j, n)]) != s.end();
        return found;
    }
};

// ------------------------------------------------------------- The runner

typedef std::chrono::steady_clock Clock;

double Nanoseconds(Clock::time_point from, Clock::time_point to)
{
    return std::chrono::duration<double, std::nano>(to - from).count();
}

// Builds and probes W's structure of state.range(0) items per iteration;
// the iteration's time is the two phases (the destruction is not timed).
template <class W>
void BM_Scaling(benchmark::State& state)
{
    const long n = state.range(0);
    W::prepare();
    // One untimed run first at the small sizes, so that their few
    // milliseconds do not pay for cold caches and fresh heap pages.
    if (n <= kMaxWarmedItems) {
        std::unique_ptr<typename W::Structure> warm(W::build(n));
        benchmark::DoNotOptimize(W::probe(*warm, n));
    }
    double insertNs = 0, findNs = 0, bytes = 0;
    for (auto _ : state) {
        size_t before = HeapInUse();
        Clock::time_point start = Clock::now();
        std::unique_ptr<typename W::Structure> s(W::build(n));
        Clock::time_point built = Clock::now();
        bytes = static_cast<double>(HeapInUse() - before);
        benchmark::DoNotOptimize(W::probe(*s, n));
        Clock::time_point probed = Clock::now();
        state.SetIterationTime((Nanoseconds(start, built) + Nanoseconds(built, probed)) / 1e9);
        insertNs += Nanoseconds(start, built);
        findNs += Nanoseconds(built, probed);
    }
    const double runs = static_cast<double>(state.iterations());
    const double insert = insertNs / (runs * static_cast<double>(n));
    const double find = findNs / (runs * static_cast<double>(W::probes(n)));
    state.counters["insert_ns_per_item"] = insert;
    state.counters["find_ns_per_item"] = find;
    state.counters["ns_per_item"] = insert + find;
    state.counters["bytes_per_item"] = bytes / static_cast<double>(n);
}

// Enough runs at the small sizes for a steady figure; one at 10^5 and up.
int RunsFor(long n)
{
    return static_cast<int>(std::max(1L, 100000 / n));
}

template <class W>
void RegisterSide(long n)
{
    if (n > W::maxItems)
        return;
    std::string name = std::string("Scaling/") + W::family + "/" + W::side;
    benchmark::RegisterBenchmark(name.c_str(), BM_Scaling<W>)
        ->Arg(n)
        ->Iterations(RunsFor(n))
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

// The library and its peer side by side at each size.
template <class Qel, class Std>
void RegisterFamily()
{
    for (long n : kSizes) {
        RegisterSide<Qel>(n);
        RegisterSide<Std>(n);
    }
}

bool RegisterAll()
{
    RegisterFamily<VectorQEL, VectorStd>();
    RegisterFamily<OrderedVectorQEL, OrderedVectorStd>();
    RegisterFamily<Hashtable1024QEL, Hashtable1024Std>();
    RegisterFamily<HashtableNQEL, HashtableNStd>();
    RegisterFamily<LongTableQEL, LongTableStd>();
    RegisterFamily<StringTableQEL, StringTableStd>();
    RegisterFamily<TreeQEL, TreeStd>();
    return true;
}

const bool registered = RegisterAll();

} // namespace

BENCHMARK_MAIN();
