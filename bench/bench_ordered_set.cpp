// The ordered vertex set against std::set: a million heap-allocated points
// inserted in random order, walked in order, and looked up again, first with
// a plain x-then-y-then-z order on bare points, then with the mesh's own
// vertex records and tolerant vertex order.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/detail/KrOrderedSet.h"

using namespace TesTriMesh;

namespace {

const size_t kCount = 1000000;

struct P3 {
    double x, y, z;
};
struct P3Less {
    bool operator()(const P3* a, const P3* b) const
    {
        if (a->x != b->x) return a->x < b->x;
        if (a->y != b->y) return a->y < b->y;
        return a->z < b->z;
    }
};

// The points are allocated one by one in the order they are inserted, as a
// reader of a survey file would create them; their coordinates are random, so
// neighbours in the set are far apart in memory. lookup is another shuffle.
template <class E>
struct Points {
    std::vector<E*> insert, lookup;
    Points()
    {
        std::mt19937_64 rng(2024);
        std::uniform_real_distribution<double> xy(0.0, 10000.0), z(0.0, 500.0);
        insert.reserve(kCount);
        for (size_t i = 0; i < kCount; ++i) {
            E* e = new E();
            Set(*e, xy(rng), xy(rng), z(rng));
            insert.push_back(e);
        }
        lookup = insert;
        std::shuffle(lookup.begin(), lookup.end(), rng);
    }
    ~Points()
    {
        for (E* e : insert) delete e;
    }
    static void Set(P3& p, double x, double y, double z) { p = {x, y, z}; }
    static void Set(_sVertex& v, double x, double y, double z) { v.pt = CKrPoint3d(x, y, z); }
};

template <class E>
const Points<E>& Data()
{
    static const Points<E> p;
    return p;
}

template <class E, class Less>
using StdSet = std::set<E*, Less>;
template <class E, class Less>
using OrdSet = detail::CKrOrderedSet<E*, Less>;

template <class Set>
size_t SetBytes(const Set& s)
{
    // std::set: a 32-byte node header and the element, plus the allocator's
    // 8-byte chunk header, rounded to 16.
    return s.size() * 48;
}
template <class E, class Less>
size_t SetBytes(const OrdSet<E, Less>& s)
{
    return s.NodeBytes();
}

template <class Set, class E>
void BM_Insert(benchmark::State& state)
{
    const Points<E>& d = Data<E>();
    size_t n = 0;
    double bytes = 0;
    for (auto _ : state) {
        Set s;
        for (E* e : d.insert) s.insert(e);
        n = s.size();
        bytes = static_cast<double>(SetBytes(s));
        state.PauseTiming();
        { Set gone(std::move(s)); }  // freeing is not part of the insert
        state.ResumeTiming();
    }
    state.counters["elements"] = static_cast<double>(n);
    state.counters["bytes_per_element"] = bytes / static_cast<double>(n);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kCount));
}

template <class Set, class E>
const Set& Built()
{
    static const Set s(Data<E>().insert.begin(), Data<E>().insert.end());
    return s;
}

// The container's own cost of a walk: the elements are counted, not read.
template <class Set, class E>
void BM_Iterate(benchmark::State& state)
{
    const Set& s = Built<Set, E>();
    for (auto _ : state) {
        uintptr_t sum = 0;
        for (E* e : s) sum += reinterpret_cast<uintptr_t>(e);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(s.size()));
}

// A walk that also reads every element, as the mesh code's loops do: the
// reads of the scattered points then cost the same in either container.
template <class Set, class E>
void BM_IterateRead(benchmark::State& state)
{
    const Set& s = Built<Set, E>();
    for (auto _ : state) {
        double sum = 0;
        for (const E* e : s) sum += reinterpret_cast<const double*>(e)[0];
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(s.size()));
}

template <class Set, class E>
void BM_Find(benchmark::State& state)
{
    const Set& s = Built<Set, E>();
    const Points<E>& d = Data<E>();
    size_t found = 0;
    for (auto _ : state) {
        found = 0;
        for (E* e : d.lookup) found += s.find(e) != s.end();
        benchmark::DoNotOptimize(found);
    }
    // Every point is found under the exact order. The tolerant order merges
    // the rare points closer than the tolerance and, not being transitive,
    // can hide a few more from a binary search, in either container.
    state.counters["found"] = static_cast<double>(found);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kCount));
}

using PStd = StdSet<P3, P3Less>;
using POrd = OrdSet<P3, P3Less>;
using VStd = StdSet<_sVertex, CKrVerLess>;
using VOrd = OrdSet<_sVertex, CKrVerLess>;

}  // namespace

BENCHMARK_TEMPLATE(BM_Insert, PStd, P3)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Insert, POrd, P3)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Iterate, PStd, P3)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Iterate, POrd, P3)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_IterateRead, PStd, P3)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_IterateRead, POrd, P3)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Find, PStd, P3)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Find, POrd, P3)->Unit(benchmark::kMillisecond);

BENCHMARK_TEMPLATE(BM_Insert, VStd, _sVertex)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Insert, VOrd, _sVertex)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Iterate, VStd, _sVertex)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Iterate, VOrd, _sVertex)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Find, VStd, _sVertex)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Find, VOrd, _sVertex)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
