// Earthworks: cut and fill between two surfaces of about one million
// triangles each (two differently jittered 708 x 708 point grids over the
// same relief, one offset by half a cell and raised by a wave, so the
// surfaces cross everywhere and no edges coincide), and contours of a
// one-million-point surface at 100 levels.
//
// Prints the hardware threads and the load average first: the machine may
// be shared.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <thread>
#include <vector>

#include "KrTesGeometry/earthworks/KrContour.h"
#include "KrTesGeometry/earthworks/KrEarthVolume.h"

namespace {

struct Surface {
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> ids;
};

double Relief(double x, double y) { return 500.0 + 200.0 * std::sin(x / 1500.0) * std::cos(y / 1100.0); }

// n x n jittered grid points over a 10 m spacing, two triangles a cell
// (2 (n - 1)^2 triangles).
Surface Terrain(int n, double shift, double wave, unsigned seed)
{
    Surface s;
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> jit(-3.0, 3.0), noise(-0.05, 0.05);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            const double x = 500000.0 + shift + i * 10.0 + jit(rng), y = 4000000.0 + shift + j * 10.0 + jit(rng);
            s.pts.emplace_back(x, y, Relief(x - 500000.0, y - 4000000.0) + wave * std::sin(x / 37.0) + noise(rng));
        }
    for (int j = 0; j + 1 < n; ++j)
        for (int i = 0; i + 1 < n; ++i) {
            const int a = j * n + i;
            s.ids.emplace_back(a, a + 1, a + n + 1);
            s.ids.emplace_back(a, a + n + 1, a + n);
        }
    return s;
}

const Surface& Existing()
{
    static const Surface s = Terrain(708, 0.0, 0.0, 1);
    return s;
}
const Surface& Design()
{
    static const Surface s = Terrain(708, 5.0, 1.5, 2);
    return s;
}
const Surface& Big()
{
    static const Surface s = Terrain(1000, 0.0, 0.0, 3);
    return s;
}

void BM_CutFill_1M_vs_1M(benchmark::State& state)
{
    const Surface& a = Existing();
    const Surface& b = Design();
    TesTriMesh::KrEarthVolume v;
    for (auto _ : state) {
        TesTriMesh::KrVolumeBetween(a.pts, a.ids, b.pts, b.ids, {}, v);
        benchmark::ClobberMemory();  // (DoNotOptimize on a double may pass it through an integer register)
    }
    state.counters["tri_A"] = static_cast<double>(a.ids.size());
    state.counters["tri_B"] = static_cast<double>(b.ids.size());
    state.counters["cut_m3"] = v.cut;
    state.counters["fill_m3"] = v.fill;
    state.counters["cut_area_m2"] = v.cutArea;
}
BENCHMARK(BM_CutFill_1M_vs_1M)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();

void BM_Contours_1M_points_100_levels(benchmark::State& state)
{
    const Surface& s = Big();
    TesTriMesh::KrContourOptions opt;
    opt.interval = 4.0;  // the relief spans 400 m: 100 levels
    opt.indexEvery = 5;
    TesTriMesh::KrContourResult r;
    for (auto _ : state) {
        TesTriMesh::KrContours(s.pts, s.ids, opt, r);
        benchmark::DoNotOptimize(r.lines.data());
    }
    std::size_t pts = 0;
    for (const auto& l : r.lines) pts += l.pts.size();
    state.counters["points"] = static_cast<double>(s.pts.size());
    state.counters["lines"] = static_cast<double>(r.lines.size());
    state.counters["line_points"] = static_cast<double>(pts);
    state.counters["levels"] = r.lines.empty() ? 0.0 : static_cast<double>(r.lines.back().k - r.lines.front().k + 1);
}
BENCHMARK(BM_Contours_1M_points_100_levels)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace

int main(int argc, char** argv)
{
    double load[3] = {0, 0, 0};
    std::ifstream in("/proc/loadavg");
    in >> load[0] >> load[1] >> load[2];
    std::printf("hardware threads %u, load average %.2f %.2f %.2f\n", std::thread::hardware_concurrency(), load[0],
                load[1], load[2]);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
