// Scale checks, run by hand (not a ctest): prints figures, exits non-zero on
// a failure.
//
//   bench_scale lidar [N]         N points (default 10 million) of a lidar
//                                 strip: scan lines, 30 % near-duplicates
//   bench_scale offset [N]        the same cloud (N, default 200000) at the
//                                 origin and shifted by 1e7 and 1e9
//   bench_scale readfile PATH [N] writes N lines (default 100 million) to
//                                 PATH streaming, reads it with ReadPointFile
//   bench_scale churn             1,000 TINs of 5,000 points, RSS after 10,
//                                 100, 1000
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "KrTesGeometry/io/KrPointFile.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

using namespace TesTriMesh;

namespace {

double PeakRssMb()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss / 1024.0;
}

double CurrentRssMb()
{
    std::ifstream in("/proc/self/statm");
    long size = 0, resident = 0;
    in >> size >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1048576.0);
}

double Seconds(std::chrono::steady_clock::time_point t0)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// A lidar strip along x: straight scan lines across the strip (collinear
// runs of points, slightly slanted), every base point with probability 3/7
// followed by a near-duplicate within 0.01 of it, so 30 % of all points are
// near-duplicates.
std::vector<CKrPoint3d> LidarStrip(std::size_t n, double ox, double oy)
{
    std::mt19937_64 rng(2024);
    std::uniform_real_distribution<double> jitter(-0.0035, 0.0035), coin(0.0, 1.0);
    std::vector<CKrPoint3d> pts;
    pts.reserve(n);
    const int perLine = 700;  // points per scan line, 0.25 m apart across a 175 m strip
    for (std::size_t line = 0; pts.size() < n; ++line) {
        const double x0 = line * 0.3;
        for (int k = 0; k < perLine && pts.size() < n; ++k) {
            const double x = ox + x0 + k * 0.0125, y = oy + k * 0.25;
            const double z = 100.0 + 5.0 * std::sin(x0 / 50.0) + 0.01 * k;
            pts.emplace_back(x, y, z);
            if (coin(rng) < 3.0 / 7.0 && pts.size() < n) pts.emplace_back(x + jitter(rng), y + jitter(rng), z + 0.02);
        }
    }
    return pts;
}

int Lidar(std::size_t n)
{
    const auto t0 = std::chrono::steady_clock::now();
    std::vector<CKrPoint3d> pts = LidarStrip(n, 0, 0);
    const double genTime = Seconds(t0);
    CKrMeshData mesh;
    const auto t1 = std::chrono::steady_clock::now();
    bool ok;
    std::size_t verts = 0;
    {
        CKrDelaunay d(mesh, 0.01);
        for (const CKrPoint3d& p : pts) d.AddVertex(p);
        verts = mesh.m_setVer.size();
        ok = d.Delaunay();
    }
    const double tinTime = Seconds(t1);
    std::printf("lidar: %zu points (%zu distinct vertices), generate %.1f s, triangulate %.1f s, %ld triangles, %s, "
                "peak RSS %.0f MB\n",
                pts.size(), verts, genTime, tinTime, mesh.TriNum(), ok ? "ok" : "FAILED", PeakRssMb());
    return ok ? 0 : 1;
}

std::vector<std::array<std::size_t, 3>> TinByIndex(const std::vector<CKrPoint3d>& base, double shift, bool& ok)
{
    CKrMeshData m;
    CKrDelaunay d(m, 0.01);
    for (std::size_t i = 0; i < base.size(); ++i)
        d.AddVertex(CKrPoint3d(base[i].x + shift, base[i].y + shift, base[i].z), static_cast<int>(i));
    ok = d.Delaunay();
    std::vector<std::array<std::size_t, 3>> out;
    for (const _sTri* t : m.m_setTri) {
        std::array<std::size_t, 3> r = {static_cast<std::size_t>(t->pVer[0]->nID),
                                        static_cast<std::size_t>(t->pVer[1]->nID),
                                        static_cast<std::size_t>(t->pVer[2]->nID)};
        std::rotate(r.begin(), std::min_element(r.begin(), r.end()), r.end());
        out.push_back(r);
    }
    std::sort(out.begin(), out.end());
    return out;
}

int Offset(std::size_t n)
{
    // Coordinates on a 1/1024 grid so that the shifted values are exact.
    std::vector<CKrPoint3d> base = LidarStrip(n, 0, 0);
    for (CKrPoint3d& p : base) {
        p.x = std::round(p.x * 1024.0) / 1024.0;
        p.y = std::round(p.y * 1024.0) / 1024.0;
    }
    bool ok0, ok7, ok9;
    const auto t0 = TinByIndex(base, 0.0, ok0);
    const auto t7 = TinByIndex(base, 1e7, ok7);
    const auto t9 = TinByIndex(base, 1e9, ok9);
    std::printf("offset: %zu points, triangles %zu / %zu / %zu at 0 / 1e7 / 1e9, 1e7 %s, 1e9 %s\n", base.size(),
                t0.size(), t7.size(), t9.size(), t0 == t7 ? "same" : "DIFFERENT", t0 == t9 ? "same" : "DIFFERENT");
    return ok0 && ok7 && ok9 && t0 == t7 && t0 == t9 ? 0 : 1;
}

int ReadFile(const std::string& path, std::size_t n)
{
    {
        const auto t0 = std::chrono::steady_clock::now();
        FILE* f = std::fopen(path.c_str(), "w");
        if (!f) {
            std::printf("readfile: cannot write %s\n", path.c_str());
            return 1;
        }
        std::mt19937_64 rng(9);
        char buf[128];
        for (std::size_t i = 0; i < n; ++i) {
            const int len = std::snprintf(buf, sizeof buf, "%.3f %.3f %.3f\n", 500000.0 + (rng() % 100000000) / 1000.0,
                                          4000000.0 + (rng() % 100000000) / 1000.0, 100.0 + (rng() % 100000) / 1000.0);
            std::fwrite(buf, 1, static_cast<std::size_t>(len), f);
        }
        std::fclose(f);
        std::printf("readfile: wrote %zu lines in %.1f s, RSS before reading %.0f MB\n", n, Seconds(t0), CurrentRssMb());
    }
    // Samples the resident size while the reader runs.
    std::atomic<bool> done{false};
    double maxSeen = 0.0;
    std::thread watch([&] {
        while (!done) {
            maxSeen = std::max(maxSeen, CurrentRssMb());
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
    });
    const auto t0 = std::chrono::steady_clock::now();
    std::vector<CKrPoint3d> pts;
    std::string err;
    const bool ok = krtes::ReadPointFile(path, pts, err);
    const double t = Seconds(t0);
    done = true;
    watch.join();
    std::printf("readfile: %s, %zu points in %.1f s, RSS sampled max %.0f MB, peak RSS %.0f MB, points alone %.0f MB%s%s\n",
                ok ? "read" : "refused", pts.size(), t, maxSeen, PeakRssMb(),
                pts.size() * sizeof(CKrPoint3d) / 1048576.0, ok ? "" : ", message: ", err.c_str());
    return 0;
}

int Churn()
{
    std::mt19937_64 rng(1);
    std::uniform_real_distribution<double> u(0.0, 1000.0);
    const auto t0 = std::chrono::steady_clock::now();
    int failures = 0;
    for (int i = 1; i <= 1000; ++i) {
        {
            CKrMeshData m;
            CKrDelaunay d(m, 0.01);
            for (int k = 0; k < 5000; ++k) d.AddVertex(CKrPoint3d(u(rng), u(rng), u(rng) * 0.01));
            if (!d.Delaunay()) ++failures;
        }
        if (i == 1 || i == 10 || i == 100 || i == 1000)
            std::printf("churn: after %4d TINs RSS %.1f MB (%.1f s)\n", i, CurrentRssMb(), Seconds(t0));
    }
    std::printf("churn: %d failures, peak RSS %.1f MB\n", failures, PeakRssMb());
    return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "lidar") return Lidar(argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 10000000);
    if (mode == "offset") return Offset(argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 200000);
    if (mode == "readfile" && argc > 2) return ReadFile(argv[2], argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 100000000);
    if (mode == "churn") return Churn();
    std::fprintf(stderr, "usage: bench_scale lidar [N] | offset [N] | readfile PATH [N] | churn\n");
    return 2;
}
