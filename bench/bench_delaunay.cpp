// Building TINs: uniformly random points in projected survey coordinates
// (offset by 500000, 4000000), with and without 100 constraint polylines,
// and the bundled sample terrain.
#include <benchmark/benchmark.h>

#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "KrTesGeometry/tin/KrDelaunay.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "TinInputs.h"

namespace {

using benchtin::RandomLines;
using benchtin::RandomPoints;

void Build(benchmark::State& state, const std::vector<CKrPoint3d>& pts,
           const std::vector<std::vector<CKrPoint3d>>& lines)
{
    long tris = 0;
    for (auto _ : state) {
        TesTriMesh::CKrMeshData mesh;
        TesTriMesh::CKrDelaunay d(mesh, 0.01);
        for (const auto& p : pts) d.AddVertex(p);
        for (const auto& l : lines) d.AddSegYS(l, false, false);
        if (!d.Delaunay()) state.SkipWithError("triangulation failed");
        tris = mesh.TriNum();
    }
    state.counters["points"] = static_cast<double>(pts.size());
    state.counters["triangles"] = static_cast<double>(tris);
    state.SetItemsProcessed(state.iterations() * static_cast<long>(pts.size()));
}

void BM_RandomPoints(benchmark::State& state)
{
    const auto pts = RandomPoints(static_cast<std::size_t>(state.range(0)));
    Build(state, pts, {});
}

void BM_RandomPointsWith100Lines(benchmark::State& state)
{
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    const auto pts = RandomPoints(n);
    Build(state, pts, RandomLines(n, 100));
}

void BM_SampleTerrain(benchmark::State& state)
{
    std::ifstream in(std::string(KRTES_DATA_DIR) + "/jacksboro_scattered.xyz");
    std::vector<CKrPoint3d> pts;
    double x, y, z;
    while (in >> x >> y >> z) pts.emplace_back(x, y, z);
    if (pts.empty()) {
        state.SkipWithError("sample data not found");
        return;
    }
    Build(state, pts, {});
}

}  // namespace

BENCHMARK(BM_RandomPoints)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RandomPointsWith100Lines)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SampleTerrain)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
