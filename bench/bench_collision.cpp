// Collision checks between two terrain meshes of 100,000 triangles each
// (250 x 200 cells of 2 triangles, 1 m apart, rolling heights): side by side
// sharing an edge (touching), side by side with a 70 m gap (apart), and one
// hovering 0.3 m above the other (no contact, but the extents overlap, so
// every nearby pair is a candidate). Each iteration uses a fresh object and
// so builds both octrees.
#include <benchmark/benchmark.h>

#include <cmath>

#include "KrTesGeometry/collision/KrCollision.h"
#include "KrTesGeometry/collision/KrMeshContact.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"

namespace {

constexpr int kNx = 250, kNy = 200;  // 100,000 triangles

double Height(double x, double y) { return 3.0 * std::sin(0.05 * x) + 2.0 * std::cos(0.07 * y) + 0.01 * x; }

CGeDataTriMesh Terrain(double x0, double dz)
{
    CGeDataTriMesh m;
    for (int j = 0; j <= kNy; ++j)
        for (int i = 0; i <= kNx; ++i) m.AddPoint(x0 + i, j, Height(x0 + i, j) + dz);
    for (int j = 0; j < kNy; ++j)
        for (int i = 0; i < kNx; ++i) {
            const int a = j * (kNx + 1) + i;
            m.AddTri(a, a + 1, a + kNx + 2);
            m.AddTri(a, a + kNx + 2, a + kNx + 1);
        }
    return m;
}

void Check(benchmark::State& state, double x0, double dz, bool expectContact)
{
    const CGeDataTriMesh a = Terrain(0.0, 0.0), b = Terrain(x0, dz);
    double dist = 0.0;
    for (auto _ : state) {
        TesTriMesh::CCollision c;
        if (!c.CollisionCheck(a, b)) state.SkipWithError("nothing measured");
        if (c.IsColl() != expectContact) state.SkipWithError("unexpected contact answer");
        dist = c.DistClose();
    }
    state.counters["distance"] = dist;
    state.counters["triangles"] = static_cast<double>(a.GetTriCount() + b.GetTriCount());
}

void BM_CollisionTouching(benchmark::State& state) { Check(state, kNx, 0.0, true); }
void BM_CollisionApart(benchmark::State& state) { Check(state, kNx + 70.0, 0.0, false); }
void BM_CollisionHovering(benchmark::State& state) { Check(state, 0.0, 0.3, false); }

// The same three terrain pairs through CKrMeshContact: each iteration builds
// both hierarchies over every triangle and answers the exact contact query
// and the true distance.
void MeshContact(benchmark::State& state, double x0, double dz, bool expectContact)
{
    const CGeDataTriMesh a = Terrain(0.0, 0.0), b = Terrain(x0, dz);
    double dist = 0.0;
    for (auto _ : state) {
        TesTriMesh::CKrMeshContact ma, mb;
        if (!ma.Build(a) || !mb.Build(b)) state.SkipWithError("build failed");
        if (ma.Intersects(mb) != expectContact) state.SkipWithError("unexpected contact answer");
        dist = ma.Distance(mb).distance;
    }
    state.counters["distance"] = dist;
    state.counters["triangles"] = static_cast<double>(a.GetTriCount() + b.GetTriCount());
}

// One hierarchy build over 100,000 triangles.
void BM_MeshContactBuild(benchmark::State& state)
{
    const CGeDataTriMesh a = Terrain(0.0, 0.0);
    for (auto _ : state) {
        TesTriMesh::CKrMeshContact m;
        if (!m.Build(a)) state.SkipWithError("build failed");
        benchmark::DoNotOptimize(m.TriCount());
    }
}

void BM_MeshContactTouching(benchmark::State& state) { MeshContact(state, kNx, 0.0, true); }
void BM_MeshContactApart(benchmark::State& state) { MeshContact(state, kNx + 70.0, 0.0, false); }
void BM_MeshContactHovering(benchmark::State& state) { MeshContact(state, 0.0, 0.3, false); }

}  // namespace

BENCHMARK(BM_CollisionTouching)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CollisionApart)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CollisionHovering)->Unit(benchmark::kMillisecond);

BENCHMARK(BM_MeshContactBuild)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MeshContactTouching)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MeshContactApart)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MeshContactHovering)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
