// Solid booleans on two overlapping closed meshes of about 20,000 triangles
// each: latitude-longitude spheres of radius 1000 and 900, offset so that
// about a third of the smaller one lies in the larger.
//
// Construct: cutting both surfaces along their intersection and sorting
// both (everything CKrSolidBoolean does up front, the diagnostic files
// included). The four operations then run on one constructed object.
// KRTES_BOOLEAN_ENGINE=tolerant runs the earlier tolerant cut instead of the
// default exact one.
//
// ConstructLarge: the same construction on larger sphere pairs (about
// 100,000 and 200,000 triangles each); ConstructBumpy: a bumpy solid of
// 5,120 triangles against its copy turned 30 degrees about the vertical
// axis (the surfaces cross along many shallow lines). Each reports whether
// both sorts succeeded (classified) and, for the bumpy pair, the open edges
// of the union, so that a fast but unsound run shows as such.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "BooleanSolids.h"
#include "KrTesGeometry/boolean/KrMeshBoolean.h"
#include "KrTesGeometry/boolean/KrSolidBoolean.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"

namespace {

using TesTriMesh::CKrMeshData;
using TesTriMesh::CKrSolidBoolean;

using benchsolid::Bumpy;
using benchsolid::Sphere;

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
    if (engine && std::string(engine) == "tolerant")
        TesTriMesh::CKrMeshBoolean::SetCutEngine(TesTriMesh::CKrMeshBoolean::CutEngine::kTolerant);
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

// The construction on one pair, timed; a and b are loaded outside the timing.
template <class Load>
void ConstructPair(benchmark::State& state, Load load, bool checkUnion)
{
    EnterScratch();
    bool classified = false;
    double open = -1.0;
    for (auto _ : state) {
        state.PauseTiming();
        auto a = std::make_unique<CKrMeshData>(0.01);
        auto b = std::make_unique<CKrMeshData>(0.01);
        load(*a, *b);
        state.ResumeTiming();
        {
            CKrSolidBoolean solid(*a, *b);
            classified = solid.IsClassified();
            state.PauseTiming();
            if (checkUnion) {
                CKrMeshData u(0.01);
                solid.Union_A_And_B(u);
                open = static_cast<double>(TesTriMesh::CheckClosedSolid(u).openEdges);
            }
            state.ResumeTiming();
        }
        state.PauseTiming();
        a.reset();
        b.reset();
        state.ResumeTiming();
    }
    state.counters["classified"] = classified ? 1.0 : 0.0;
    if (checkUnion) state.counters["unionOpenEdges"] = open;
}

void BM_ConstructLarge(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0));
    std::vector<CKrPoint3d> pa, pb;
    std::vector<KrTesGeo::_sTri_ID> ia, ib;
    Sphere(0, 0, 0, 1000.0, n, n, pa, ia);
    Sphere(900, 350, 250, 900.0, n, n, pb, ib);
    ConstructPair(
        state,
        [&](CKrMeshData& a, CKrMeshData& b) {
            a.InputData(pa, ia, true);
            b.InputData(pb, ib, true);
        },
        false);
    state.counters["trisA"] = static_cast<double>(ia.size());
}

void BM_ConstructBumpy(benchmark::State& state)
{
    std::vector<CKrPoint3d> pa, pb;
    std::vector<KrTesGeo::_sTri_ID> ia, ib;
    Bumpy(0.0, pa, ia);
    Bumpy(30.0 * 3.141592653589793 / 180.0, pb, ib);
    ConstructPair(
        state,
        [&](CKrMeshData& a, CKrMeshData& b) {
            a.InputData(pa, ia, true);
            b.InputData(pb, ib, true);
        },
        true);
    state.counters["trisA"] = static_cast<double>(ia.size());
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
BENCHMARK(BM_ConstructLarge)->Unit(benchmark::kMillisecond)->Iterations(1)->Arg(224)->Arg(317);
BENCHMARK(BM_ConstructBumpy)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Union)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Intersect)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AMinusB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BMinusA)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
