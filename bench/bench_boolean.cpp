// Solid booleans on two overlapping closed meshes of about 20,000 triangles
// each: latitude-longitude spheres of radius 1000 and 900, offset so that
// about a third of the smaller one lies in the larger.
//
// Construct: cutting both surfaces along their intersection and sorting
// both (everything CKrSolidBoolean does up front, the diagnostic files
// included). The four operations then run on one constructed object.
// KRTES_BOOLEAN_ENGINE=exact runs the exact cut instead of the default.
//
// ConstructLarge: the same construction on larger sphere pairs (about
// 100,000 and 200,000 triangles each); ConstructBumpy: a bumpy solid of
// 5,120 triangles against its copy turned 30 degrees about the vertical
// axis (the surfaces cross along many shallow lines). Each reports whether
// both sorts succeeded (classified) and, for the bumpy pair, the open edges
// of the union, so that a fast but unsound run shows as such.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <array>
#include <cmath>
#include <map>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "KrTesGeometry/boolean/KrMeshBoolean.h"
#include "KrTesGeometry/boolean/KrSolidBoolean.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"

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

// An icosahedron subdivided four times onto a sphere of radius 10, its
// radius then varied by 1.5 sin(3 theta) cos(4 phi), turned by `turn`.
void Bumpy(double turn, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& ids)
{
    const double g = (1.0 + std::sqrt(5.0)) / 2.0;
    std::vector<std::array<double, 3>> v = {{-1, g, 0}, {1, g, 0},  {-1, -g, 0}, {1, -g, 0}, {0, -1, g}, {0, 1, g},
                                            {0, -1, -g}, {0, 1, -g}, {g, 0, -1},  {g, 0, 1},  {-g, 0, -1}, {-g, 0, 1}};
    std::vector<std::array<int, 3>> f = {{0, 11, 5}, {0, 5, 1},  {0, 1, 7},   {0, 7, 10}, {0, 10, 11},
                                         {1, 5, 9},  {5, 11, 4}, {11, 10, 2}, {10, 7, 6}, {7, 1, 8},
                                         {3, 9, 4},  {3, 4, 2},  {3, 2, 6},   {3, 6, 8},  {3, 8, 9},
                                         {4, 9, 5},  {2, 4, 11}, {6, 2, 10},  {8, 6, 7},  {9, 8, 1}};
    auto unit = [](std::array<double, 3>& p) {
        const double l = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
        for (double& x : p) x /= l;
    };
    for (auto& p : v) unit(p);
    for (int lv = 0; lv < 4; ++lv) {
        std::map<std::pair<int, int>, int> mid;
        auto midpoint = [&](int a, int b) {
            const auto key = std::minmax(a, b);
            auto it = mid.find(key);
            if (it != mid.end()) return it->second;
            std::array<double, 3> m = {v[a][0] + v[b][0], v[a][1] + v[b][1], v[a][2] + v[b][2]};
            unit(m);
            v.push_back(m);
            return mid[key] = static_cast<int>(v.size()) - 1;
        };
        std::vector<std::array<int, 3>> nf;
        for (const auto& t : f) {
            const int a = midpoint(t[0], t[1]), b = midpoint(t[1], t[2]), c = midpoint(t[2], t[0]);
            nf.push_back({t[0], a, c});
            nf.push_back({t[1], b, a});
            nf.push_back({t[2], c, b});
            nf.push_back({a, b, c});
        }
        f.swap(nf);
    }
    pts.clear();
    for (const auto& p : v) {
        const double th = std::acos(p[2]), ph = std::atan2(p[1], p[0]);
        const double r = 10.0 + 1.5 * std::sin(3 * th) * std::cos(4 * ph);
        const double x = r * p[0], y = r * p[1];
        pts.emplace_back(x * std::cos(turn) - y * std::sin(turn), x * std::sin(turn) + y * std::cos(turn), r * p[2]);
    }
    ids.clear();
    for (const auto& t : f) ids.emplace_back(t[0], t[1], t[2]);
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
