// Surface queries: elevations on a TIN of one million random points (in
// projected survey coordinates, one point per 100 square units) and side
// tests against a closed sphere of about 100,000 triangles.
//
// The terrain is a smooth relief with centimetre noise. (Independent random
// heights would make a field of needles whose boxes span the whole height
// range: the octree keeps such triangles near its root, and every plan query
// would then test most of them - a degenerate case, not a terrain.)
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "KrTesGeometry/tin/KrDelaunay.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace {

constexpr double kOx = 500000.0, kOy = 4000000.0;

// Built once, on first use: the triangulation itself takes seconds.
const TesTriMesh::CKrMeshData& Tin()
{
    static std::unique_ptr<TesTriMesh::CKrMeshData> mesh;
    if (!mesh) {
        mesh.reset(new TesTriMesh::CKrMeshData);
        const std::size_t n = 1000000;
        const double size = std::sqrt(static_cast<double>(n)) * 10.0;
        std::mt19937_64 rng(20261121);
        std::uniform_real_distribution<double> u(0.0, size), noise(-0.01, 0.01);
        TesTriMesh::CKrDelaunay d(*mesh, 0.01);
        for (std::size_t i = 0; i < n; ++i) {
            const double x = u(rng), y = u(rng);
            const double z = 500.0 + 200.0 * std::sin(x / 1500.0) * std::cos(y / 1100.0) + noise(rng);
            d.AddVertex(CKrPoint3d(kOx + x, kOy + y, z));
        }
        d.Delaunay();
    }
    return *mesh;
}

// A sphere of radius r: each octahedron face split into n x n triangles and
// pushed out onto the sphere (8 n^2 triangles, outward normals).
const TesTriMesh::CKrMeshData& Sphere(double r, int n)
{
    static std::unique_ptr<TesTriMesh::CKrMeshData> mesh;
    if (!mesh) {
        std::vector<CKrPoint3d> pts;
        std::vector<KrTesGeo::_sTri_ID> ids;
        for (int s = 0; s < 8; ++s) {
            const double sx = (s & 1) ? -1.0 : 1.0, sy = (s & 2) ? -1.0 : 1.0, sz = (s & 4) ? -1.0 : 1.0;
            CKrPoint3d a(sx, 0.0, 0.0), b(0.0, sy, 0.0), c(0.0, 0.0, sz);
            if (sx * sy * sz < 0) std::swap(b, c);
            const int base = static_cast<int>(pts.size());
            auto at = [&](int i, int j) { return base + i * (n + 1) - i * (i - 1) / 2 + j; };
            for (int i = 0; i <= n; ++i) {
                for (int j = 0; i + j <= n; ++j) {
                    const CKrPoint3d p = a + (b - a) * (double(i) / n) + (c - a) * (double(j) / n);
                    pts.push_back(p * (r / std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z)));
                }
            }
            for (int i = 0; i < n; ++i) {
                for (int j = 0; i + j < n; ++j) {
                    ids.emplace_back(at(i, j), at(i + 1, j), at(i, j + 1));
                    if (i + j + 1 < n) ids.emplace_back(at(i + 1, j), at(i + 1, j + 1), at(i, j + 1));
                }
            }
        }
        mesh.reset(new TesTriMesh::CKrMeshData);
        mesh->InputData(pts, ids, true);
    }
    return *mesh;
}

// One million elevation queries at random positions over the TIN's extent
// (one iteration = one query).
void BM_GetMapPoint_1M_TIN(benchmark::State& state)
{
    const TesTriMesh::CKrMeshData& mesh = Tin();
    if (mesh.TriNum() == 0) {
        state.SkipWithError("triangulation failed");
        return;
    }
    const CKrPoint3d lo = mesh.GetMinLimit(), hi = mesh.GetMaxLimit();
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> ux(lo.x, hi.x), uy(lo.y, hi.y);
    std::vector<CKrPoint3d> q(1 << 20);
    for (auto& p : q) p = CKrPoint3d(ux(rng), uy(rng), 0.0);
    TesTriMesh::CKrMeshQuery query(mesh);
    std::size_t i = 0, found = 0;
    for (auto _ : state) {
        double z = 0.0;
        const CKrPoint3d& p = q[i++ & (q.size() - 1)];
        found += query.GetMapPoint(p.x, p.y, z);
        benchmark::DoNotOptimize(z);
    }
    state.counters["triangles"] = static_cast<double>(mesh.TriNum());
    state.counters["on_surface"] = static_cast<double>(found) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_GetMapPoint_1M_TIN)->Iterations(1000000)->Unit(benchmark::kMicrosecond);

// Side tests against the closed sphere, at random points of its bounding
// box widened by half (about a third of them inside).
void BM_HitTestPt_100k_Sphere(benchmark::State& state)
{
    const double r = 1000.0;
    const TesTriMesh::CKrMeshData& mesh = Sphere(r, 112);  // 100,352 triangles
    std::mt19937_64 rng(9);
    std::uniform_real_distribution<double> u(-1.5 * r, 1.5 * r);
    std::vector<CKrPoint3d> q(1 << 14);
    for (auto& p : q) p = CKrPoint3d(u(rng), u(rng), u(rng));
    TesTriMesh::CKrMeshQuery query(mesh);
    const KrTesGeo::CGeoVector up(0.0, 0.0, 1.0);
    std::size_t i = 0, wrong = 0;
    for (auto _ : state) {
        const CKrPoint3d& p = q[i++ & (q.size() - 1)];
        const auto side = query.HitTestPt(p, up);
        // The tessellation lies within 0.5% of the sphere.
        const double rho = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
        if ((rho < 0.99 * r && side != TesTriMesh::CKrMeshQuery::eHitBack) ||
            (rho > 1.01 * r && side != TesTriMesh::CKrMeshQuery::eHitFront))
            ++wrong;
    }
    state.counters["triangles"] = static_cast<double>(mesh.TriNum());
    state.counters["wrong_side"] = static_cast<double>(wrong);
}
BENCHMARK(BM_HitTestPt_100k_Sphere)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
