// Solid booleans on two overlapping closed meshes of about 20,000 triangles
// each: latitude-longitude spheres of radius 1000 and 900, offset so that
// about a third of the smaller one lies in the larger.
//
// Construct: cutting both surfaces along their intersection and sorting
// both (everything CKrSolidBoolean does up front, the diagnostic files
// included). The four operations then run on one constructed object.
// KRTES_BOOLEAN_ENGINE=exact runs the exact cut instead of the default.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "KrTesGeometry/boolean/KrMeshBoolean.h"
#include "KrTesGeometry/boolean/KrSolidBoolean.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace {

using TesTriMesh::CKrMeshData;
using TesTriMesh::CKrSolidBoolean;

// A sphere of rings x slices quads (fans at the poles), outward-facing:
// 2 * slices * (rings - 1) triangles.
void Sphere(double cx, double cy, double cz, double r, int rings, int slices, std::vector<CKrPoint3d>& pts,
            std::vector<KrTesGeo::_sTri_ID>& ids)
{
    const double pi = 3.141592653589793;
    pts.assign(1, CKrPoint3d(cx, cy, cz + r));
    for (int i = 1; i < rings; ++i) {
        const double th = pi * i / rings;
        for (int j = 0; j < slices; ++j) {
            // Every other ring is turned by half a slice, so no two rings
            // line up and the triangles stay well shaped.
            const double ph = 2.0 * pi * (j + 0.5 * (i % 2)) / slices;
            pts.emplace_back(cx + r * std::sin(th) * std::cos(ph), cy + r * std::sin(th) * std::sin(ph), cz + r * std::cos(th));
        }
    }
    pts.emplace_back(cx, cy, cz - r);
    const int south = static_cast<int>(pts.size()) - 1;
    auto at = [slices](int ring, int j) { return 1 + (ring - 1) * slices + (j % slices); };
    ids.clear();
    for (int j = 0; j < slices; ++j) ids.emplace_back(0, at(1, j), at(1, j + 1));
    for (int i = 1; i + 1 < rings; ++i)
        for (int j = 0; j < slices; ++j) {
            const int a = at(i, j), b = at(i, j + 1), c = at(i + 1, j), d = at(i + 1, j + 1);
            ids.emplace_back(a, c, d);
            ids.emplace_back(a, d, b);
        }
    for (int j = 0; j < slices; ++j) ids.emplace_back(south, at(rings - 1, j + 1), at(rings - 1, j));
}

struct Solids {
    std::vector<CKrPoint3d> pa, pb;
    std::vector<KrTesGeo::_sTri_ID> ia, ib;
    Solids()
    {
        Sphere(0, 0, 0, 1000.0, 100, 100, pa, ia);
        Sphere(900, 350, 250, 900.0, 100, 100, pb, ib);
    }
};

const Solids& Input()
{
    static const Solids s;
    return s;
}

// The constructions write their diagnostic files into the working
// directory: the benchmarks run in a scratch directory of their own.
void EnterScratch()
{
    static bool done = false;
    if (done) return;
    done = true;
    const char* engine = std::getenv("KRTES_BOOLEAN_ENGINE");
    if (engine && std::string(engine) == "exact")
        TesTriMesh::CKrMeshBoolean::SetCutEngine(TesTriMesh::CKrMeshBoolean::CutEngine::kExact);
    static std::string dir = "/tmp/krtes_bench_boolean_XXXXXX";
    if (mkdtemp(dir.data()) && chdir(dir.c_str()) == 0)
        std::atexit([] { std::system(("rm -rf '" + dir + "'").c_str()); });
}

void BM_Construct(benchmark::State& state)
{
    EnterScratch();
    const Solids& in = Input();
    for (auto _ : state) {
        state.PauseTiming();
        auto a = std::make_unique<CKrMeshData>(0.01);
        auto b = std::make_unique<CKrMeshData>(0.01);
        a->InputData(in.pa, in.ia, true);
        b->InputData(in.pb, in.ib, true);
        state.ResumeTiming();
        {
            CKrSolidBoolean solid(*a, *b);
            benchmark::DoNotOptimize(solid.AInside().size());
        }
        state.PauseTiming();
        a.reset();
        b.reset();
        state.ResumeTiming();
    }
    state.counters["trisA"] = static_cast<double>(in.ia.size());
    state.counters["trisB"] = static_cast<double>(in.ib.size());
}

// One constructed object shared by the operation benchmarks.
struct Built {
    CKrMeshData a{0.01}, b{0.01};
    std::unique_ptr<CKrSolidBoolean> solid;
    Built()
    {
        EnterScratch();
        a.InputData(Input().pa, Input().ia, true);
        b.InputData(Input().pb, Input().ib, true);
        solid = std::make_unique<CKrSolidBoolean>(a, b);
    }
};

Built& Shared()
{
    static Built b;
    return b;
}

void RunOperation(benchmark::State& state, bool (CKrSolidBoolean::*op)(CKrMeshData&))
{
    Built& built = Shared();
    long tris = 0;
    for (auto _ : state) {
        CKrMeshData result(0.01);
        ((*built.solid).*op)(result);
        tris = result.TriNum();
        benchmark::DoNotOptimize(tris);
    }
    state.counters["resultTris"] = static_cast<double>(tris);
}

void BM_Union(benchmark::State& state) { RunOperation(state, &CKrSolidBoolean::Union_A_And_B); }
void BM_Intersect(benchmark::State& state) { RunOperation(state, &CKrSolidBoolean::Intersect_A_And_B); }
void BM_AMinusB(benchmark::State& state) { RunOperation(state, &CKrSolidBoolean::Diference_A_And_B); }
void BM_BMinusA(benchmark::State& state) { RunOperation(state, &CKrSolidBoolean::Diference_B_And_A); }

}  // namespace

BENCHMARK(BM_Construct)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Union)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Intersect)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AMinusB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BMinusA)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
