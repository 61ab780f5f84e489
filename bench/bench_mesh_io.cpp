// Mesh interchange and editing at terrain scale: a jittered grid TIN of about
// 1,000,000 triangles imported from points and index triples, exported to both
// flat forms, its octree rebuilt; and the AddTri/DelTri churn that the
// triangulator produces.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <vector>

#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

using namespace TesTriMesh;
using KrTesGeo::_sTri_ID;

namespace {

// An n x n grid of squares (two triangles each), corners jittered by up to a
// fifth of the spacing, with a gentle terrain in z.
struct Terrain {
    std::vector<CKrPoint3d> pts;
    std::vector<_sTri_ID> ids;
    int n = 0;

    explicit Terrain(int side) : n(side)
    {
        std::mt19937 rng(1234);
        std::uniform_real_distribution<double> jit(-0.2, 0.2);
        pts.reserve(static_cast<size_t>(n + 1) * static_cast<size_t>(n + 1));
        for (int j = 0; j <= n; ++j) {
            for (int i = 0; i <= n; ++i) {
                const double x = 10.0 * (i + jit(rng)) + 500000.0;
                const double y = 10.0 * (j + jit(rng)) + 3000000.0;
                pts.emplace_back(x, y, 100.0 + 5.0 * std::sin(i * 0.05) * std::cos(j * 0.07) + jit(rng));
            }
        }
        ids.reserve(2 * static_cast<size_t>(n) * static_cast<size_t>(n));
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                const int32_t a = j * (n + 1) + i, b = a + 1, c = a + n + 2, d = a + n + 1;
                ids.emplace_back(a, b, c);
                ids.emplace_back(a, c, d);
            }
        }
    }
};

// 707 x 707 squares: 999,698 triangles on 501,264 points.
const Terrain& Big()
{
    static const Terrain t(707);
    return t;
}

double PeakRssMiB()
{
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    return static_cast<double>(ru.ru_maxrss) / 1024.0;  // kilobytes on Linux
}

void BM_ImportIndexed(benchmark::State& state)
{
    const Terrain& t = Big();
    for (auto _ : state) {
        CKrMeshData m;
        m.InputData(t.pts, t.ids, true);
        benchmark::DoNotOptimize(m.TriNum());
        state.PauseTiming();  // the destruction is not part of the import
        if (m.TriNum() != static_cast<long>(t.ids.size())) state.SkipWithError("triangles lost");
        m.ClearAllData();
        state.ResumeTiming();
    }
    state.counters["triangles"] = static_cast<double>(t.ids.size());
    state.counters["peak_rss_MiB"] = PeakRssMiB();
}

// A mesh imported once and shared by the export and octree benchmarks.
CKrMeshData& Imported()
{
    static CKrMeshData* m = [] {
        auto* p = new CKrMeshData;
        p->InputData(Big().pts, Big().ids, true);
        return p;
    }();
    return *m;
}

void BM_ExportVectors(benchmark::State& state)
{
    CKrMeshData& m = Imported();
    std::vector<CKrPoint3d> pts;
    std::vector<_sTri_ID> ids;
    for (auto _ : state) {
        m.OutputData(pts, ids);
        benchmark::DoNotOptimize(ids.data());
    }
    state.counters["triangles"] = static_cast<double>(ids.size());
    state.counters["peak_rss_MiB"] = PeakRssMiB();
}

void BM_ExportInterchange(benchmark::State& state)
{
    CKrMeshData& m = Imported();
    CGeDataTriMesh gm;
    for (auto _ : state) {
        m.OutputData(gm);
        benchmark::DoNotOptimize(gm.m_arrTris.m_pData);
    }
    state.counters["triangles"] = static_cast<double>(gm.GetTriCount());
    state.counters["peak_rss_MiB"] = PeakRssMiB();
}

void BM_ImportInterchange(benchmark::State& state)
{
    CGeDataTriMesh gm;
    Imported().OutputData(gm);
    for (auto _ : state) {
        CKrMeshData m;
        m.InputData(gm, true);
        benchmark::DoNotOptimize(m.TriNum());
        state.PauseTiming();
        m.ClearAllData();
        state.ResumeTiming();
    }
    state.counters["peak_rss_MiB"] = PeakRssMiB();
}

void BM_ResetOctTree(benchmark::State& state)
{
    CKrMeshData& m = Imported();
    for (auto _ : state) {
        m.ResetOctTree();
        benchmark::DoNotOptimize(m.m_pOctTree);
    }
    state.counters["peak_rss_MiB"] = PeakRssMiB();
}

// Edge flips on a grid mesh: per flip two DelTri, two AddTri, one
// FindEdgeByVer and one FindTriCoEdge, as in the triangulator's inner loop.
// range(0): 1 keeps an octree current, 0 works without one (as the
// triangulator does).
void BM_AddDelChurn(benchmark::State& state)
{
    const Terrain t(224);  // ~100,000 triangles
    CKrMeshData m;
    m.InputData(t.pts, t.ids, true);
    if (state.range(0) == 0) {
        delete m.m_pOctTree;
        m.m_pOctTree = nullptr;
    }
    // Grid corners to vertices by exact position (the import merged nothing;
    // a binary search under the tolerant order would not do, as that order is
    // not transitive on jittered data).
    std::vector<_sVertex*> corner(t.pts.size());
    {
        auto exact = [](const CKrPoint3d& a, const CKrPoint3d& b) { return CKrPoint3d::CompPt(a, b) < 0; };
        std::map<CKrPoint3d, _sVertex*, decltype(exact)> at(exact);
        for (_sVertex* v : m.m_setVer) at.emplace(v->pt, v);
        for (size_t i = 0; i < t.pts.size(); ++i) corner[i] = at.at(t.pts[i]);
    }
    std::mt19937 rng(99);
    const int n = t.n;
    std::vector<char> flipped(static_cast<size_t>(n) * static_cast<size_t>(n), 0);
    int64_t flips = 0;
    for (auto _ : state) {
        const int i = static_cast<int>(rng() % static_cast<unsigned>(n));
        const int j = static_cast<int>(rng() % static_cast<unsigned>(n));
        const size_t s = static_cast<size_t>(j) * static_cast<size_t>(n) + static_cast<size_t>(i);
        const size_t a0 = static_cast<size_t>(j) * static_cast<size_t>(n + 1) + static_cast<size_t>(i);
        _sVertex* a = corner[a0];
        _sVertex* b = corner[a0 + 1];
        _sVertex* c = corner[a0 + static_cast<size_t>(n) + 2];
        _sVertex* d = corner[a0 + static_cast<size_t>(n) + 1];
        // The current diagonal and the two triangles on it.
        _sVertex* p = flipped[s] ? b : a;
        _sVertex* q = flipped[s] ? d : c;
        _sTri* t1 = nullptr;
        for (_sTri* x : p->setTri) {
            if (m.FindEdgeByVer(p, q, x)) {
                t1 = x;
                break;
            }
        }
        _sTri* t2 = m.FindTriCoEdge(m.FindEdgeByVer(p, q, t1), t1);
        m.DelTri(t1);
        m.DelTri(t2);
        if (flipped[s]) {
            m.AddTri(a, b, c);
            m.AddTri(a, c, d);
        } else {
            m.AddTri(a, b, d);
            m.AddTri(b, c, d);
        }
        flipped[s] ^= 1;
        ++flips;
    }
    if (!m.IsMeshOk()) state.SkipWithError("mesh broken by churn");
    state.SetItemsProcessed(flips * 4);  // AddTri + DelTri calls
}

}  // namespace

BENCHMARK(BM_ImportIndexed)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ExportVectors)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ExportInterchange)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ImportInterchange)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ResetOctTree)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_AddDelChurn)->Arg(0)->Arg(1)->Unit(benchmark::kNanosecond);

BENCHMARK_MAIN();
