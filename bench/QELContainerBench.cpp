// QELContainerBench: the vectors against std::vector<const void*> on one
// million random item pointers: append, search, iterate, remove.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "QELVector.h"

namespace {

const int kItems = 1000000;
const int kSearches = 200;

struct Item {
    int value;
};

// One million distinct items, their pointers in random order, and a fixed
// sequence of random indexes for searches and removals.
struct Data {
    std::vector<Item> storage;
    std::vector<const QELContainerItem*> items;
    std::vector<int> searchIndexes;
    std::vector<int> randoms;

    Data() : storage(kItems)
    {
        std::mt19937 rng(12345);
        items.reserve(kItems);
        for (int i = 0; i < kItems; ++i) {
            storage[i].value = i;
            items.push_back(reinterpret_cast<const QELContainerItem*>(&storage[i]));
        }
        std::shuffle(items.begin(), items.end(), rng);
        std::uniform_int_distribution<int> pick(0, kItems - 1);
        for (int i = 0; i < kSearches; ++i)
            searchIndexes.push_back(pick(rng));
        randoms.reserve(kItems);
        for (int i = 0; i < kItems; ++i)
            randoms.push_back(pick(rng));
    }
};

const Data& data()
{
    static Data d;
    return d;
}

void fillVector(QELVector& v)
{
    for (const QELContainerItem* p : data().items)
        v.addElement(p);
}

std::vector<const void*> filledStd()
{
    std::vector<const void*> v;
    for (const QELContainerItem* p : data().items)
        v.push_back(p);
    return v;
}

// --- append -----------------------------------------------------------------

void BM_QELVector_Add(benchmark::State& state)
{
    const Data& d = data();
    for (auto _ : state) {
        QELVector v;
        for (const QELContainerItem* p : d.items)
            v.addElement(p);
        benchmark::DoNotOptimize(v.array);
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_QELVector_Add)->Unit(benchmark::kMillisecond);

void BM_QELVector_AddThroughContainer(benchmark::State& state)
{
    const Data& d = data();
    for (auto _ : state) {
        QELVector v;
        QELContainer& c = v;
        for (const QELContainerItem* p : d.items)
            c.add(p);
        benchmark::DoNotOptimize(v.array);
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_QELVector_AddThroughContainer)->Unit(benchmark::kMillisecond);

void BM_StdVector_Add(benchmark::State& state)
{
    const Data& d = data();
    for (auto _ : state) {
        std::vector<const void*> v;
        for (const QELContainerItem* p : d.items)
            v.push_back(p);
        benchmark::DoNotOptimize(v.data());
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_StdVector_Add)->Unit(benchmark::kMillisecond);

// --- search -----------------------------------------------------------------

// Identity search (containsElement: a plain pointer scan).
void BM_QELVector_ContainsElement(benchmark::State& state)
{
    const Data& d = data();
    QELVector v;
    fillVector(v);
    for (auto _ : state) {
        long sum = 0;
        for (int i : d.searchIndexes)
            sum += v.containsElement(d.items[i]);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kSearches);
}
BENCHMARK(BM_QELVector_ContainsElement)->Unit(benchmark::kMillisecond);

// Key search (findFirstElement: one virtual compare2Key call per item).
void BM_QELVector_FindFirstElement(benchmark::State& state)
{
    const Data& d = data();
    QELVector v;
    fillVector(v);
    for (auto _ : state) {
        long sum = 0;
        for (int i : d.searchIndexes)
            sum += v.findFirstElement(reinterpret_cast<const QELContainerKey*>(d.items[i]));
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kSearches);
}
BENCHMARK(BM_QELVector_FindFirstElement)->Unit(benchmark::kMillisecond);

void BM_StdVector_Find(benchmark::State& state)
{
    const Data& d = data();
    std::vector<const void*> v = filledStd();
    for (auto _ : state) {
        long sum = 0;
        for (int i : d.searchIndexes)
            sum += std::find(v.begin(), v.end(), static_cast<const void*>(d.items[i])) - v.begin();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kSearches);
}
BENCHMARK(BM_StdVector_Find)->Unit(benchmark::kMillisecond);

// --- iterate ----------------------------------------------------------------

void BM_QELVector_IterateIterator(benchmark::State& state)
{
    QELVector v;
    fillVector(v);
    for (auto _ : state) {
        uintptr_t sum = 0;
        QELVector::Iterator it(v, true);
        for (QELContainerItem* p = it.get(); p != nullptr; p = it.next(1))
            sum += reinterpret_cast<uintptr_t>(p);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_QELVector_IterateIterator)->Unit(benchmark::kMillisecond);

void BM_QELVector_IterateIndex(benchmark::State& state)
{
    QELVector v;
    fillVector(v);
    for (auto _ : state) {
        uintptr_t sum = 0;
        for (int i = 0; i < v.size; ++i)
            sum += reinterpret_cast<uintptr_t>(v[i]);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_QELVector_IterateIndex)->Unit(benchmark::kMillisecond);

void BM_StdVector_Iterate(benchmark::State& state)
{
    std::vector<const void*> v = filledStd();
    for (auto _ : state) {
        uintptr_t sum = 0;
        for (const void* p : v)
            sum += reinterpret_cast<uintptr_t>(p);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_StdVector_Iterate)->Unit(benchmark::kMillisecond);

// --- remove -----------------------------------------------------------------

// Unordered removal at random indexes until empty (the last item fills the gap).
void BM_QELVector_RemoveElement(benchmark::State& state)
{
    const Data& d = data();
    for (auto _ : state) {
        state.PauseTiming();
        QELVector v;
        fillVector(v);
        state.ResumeTiming();
        size_t k = 0;
        while (v.size > 0) {
            int i = d.randoms[k++ % kItems] % v.size;
            benchmark::DoNotOptimize(v.removeElement(i));
        }
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_QELVector_RemoveElement)->Unit(benchmark::kMillisecond);

void BM_StdVector_SwapAndPop(benchmark::State& state)
{
    const Data& d = data();
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<const void*> v = filledStd();
        state.ResumeTiming();
        size_t k = 0;
        while (!v.empty()) {
            size_t i = size_t(d.randoms[k++ % kItems]) % v.size();
            const void* p = v[i];
            v[i] = v.back();
            v.pop_back();
            benchmark::DoNotOptimize(p);
        }
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_StdVector_SwapAndPop)->Unit(benchmark::kMillisecond);

// Removal through the iterator protocol from the front (O(1) each, unordered).
void BM_QELVector_RemoveThroughIterator(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        QELVector v;
        fillVector(v);
        state.ResumeTiming();
        QELVector::Iterator it(v, true);
        QELContainer& c = v;
        while (v.size > 0)
            benchmark::DoNotOptimize(c.remove(&it));
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_QELVector_RemoveThroughIterator)->Unit(benchmark::kMillisecond);

// Ordered removal at random indexes of 20000 items (the tail moves down).
const int kOrdered = 20000;

void BM_QELOrderedVector_RemoveIndex(benchmark::State& state)
{
    const Data& d = data();
    for (auto _ : state) {
        state.PauseTiming();
        QELOrderedVector v;
        for (int i = 0; i < kOrdered; ++i)
            v.addElement(d.items[i]);
        state.ResumeTiming();
        size_t k = 0;
        while (v.size > 0) {
            int i = d.randoms[k++] % v.size;
            benchmark::DoNotOptimize(v.remove(i));
        }
    }
    state.SetItemsProcessed(state.iterations() * kOrdered);
}
BENCHMARK(BM_QELOrderedVector_RemoveIndex)->Unit(benchmark::kMillisecond);

void BM_StdVector_Erase(benchmark::State& state)
{
    const Data& d = data();
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<const void*> v(d.items.begin(), d.items.begin() + kOrdered);
        state.ResumeTiming();
        size_t k = 0;
        while (!v.empty()) {
            size_t i = size_t(d.randoms[k++]) % v.size();
            benchmark::DoNotOptimize(v[i]);
            v.erase(v.begin() + i);
        }
    }
    state.SetItemsProcessed(state.iterations() * kOrdered);
}
BENCHMARK(BM_StdVector_Erase)->Unit(benchmark::kMillisecond);

// Ordered insertion in front of random existing items.
void BM_QELOrderedVector_InsertElement(benchmark::State& state)
{
    const Data& d = data();
    for (auto _ : state) {
        QELOrderedVector v;
        v.addElement(d.items[0]);
        for (int k = 1; k < kOrdered; ++k)
            v.insertElement(d.items[k], d.randoms[k] % v.size);
        benchmark::DoNotOptimize(v.array);
    }
    state.SetItemsProcessed(state.iterations() * kOrdered);
}
BENCHMARK(BM_QELOrderedVector_InsertElement)->Unit(benchmark::kMillisecond);

void BM_StdVector_Insert(benchmark::State& state)
{
    const Data& d = data();
    for (auto _ : state) {
        std::vector<const void*> v;
        v.push_back(d.items[0]);
        for (int k = 1; k < kOrdered; ++k)
            v.insert(v.begin() + d.randoms[k] % v.size(), d.items[k]);
        benchmark::DoNotOptimize(v.data());
    }
    state.SetItemsProcessed(state.iterations() * kOrdered);
}
BENCHMARK(BM_StdVector_Insert)->Unit(benchmark::kMillisecond);

// --- memory -----------------------------------------------------------------
// Heap bytes per item after one million appends (mallinfo2 delta: small
// blocks and mapped blocks), in the counter bytes_per_item.

size_t heapInUse()
{
    struct mallinfo2 mi = mallinfo2();
    return mi.uordblks + mi.hblkhd;
}

void BM_QELVector_Memory(benchmark::State& state)
{
    const Data& d = data();
    for (auto _ : state) {
        size_t before = heapInUse();
        QELVector v;
        for (const QELContainerItem* p : d.items)
            v.addElement(p);
        state.counters["bytes_per_item"] = static_cast<double>(heapInUse() - before) / kItems;
        benchmark::DoNotOptimize(v.array);
    }
}
BENCHMARK(BM_QELVector_Memory)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_StdVector_Memory(benchmark::State& state)
{
    const Data& d = data();
    for (auto _ : state) {
        size_t before = heapInUse();
        std::vector<const void*> v;
        for (const QELContainerItem* p : d.items)
            v.push_back(p);
        state.counters["bytes_per_item"] = static_cast<double>(heapInUse() - before) / kItems;
        benchmark::DoNotOptimize(v.data());
    }
}
BENCHMARK(BM_StdVector_Memory)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

BENCHMARK_MAIN();
