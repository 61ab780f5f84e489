// The C++ side of python/bench/bench_python.py: the same work as
// krtes.Tin.from_points and Tin.elevation, on the same raw float64 files,
// timed the same way (wall clock, best of the runs given).
//
//   krtes_py_bench_cpp POINTS.f64 QUERIES.f64 RUNS
//
// POINTS.f64 holds n rows of x, y, z; QUERIES.f64 m rows of x, y; both raw
// little-endian doubles. Prints the wall-clock seconds of each part (tin,
// elevation), their processor seconds (cpu_tin, cpu_elevation) and a
// checksum of the heights so the two sides can be compared.
#include <chrono>
#include <cmath>
#include <ctime>
#include <cstdio>
#include <fstream>
#include <limits>
#include <vector>

#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

namespace {

std::vector<double> ReadRaw(const char* path)
{
    std::ifstream f(path, std::ios::binary | std::ios::ate);
    std::vector<double> v(static_cast<std::size_t>(f.tellg()) / sizeof(double));
    f.seekg(0);
    f.read(reinterpret_cast<char*>(v.data()), static_cast<std::streamsize>(v.size() * sizeof(double)));
    return v;
}

double Now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Processor time of the process: on a shared machine it moves less with the
// load than the wall clock.
double Cpu()
{
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s POINTS.f64 QUERIES.f64 RUNS\n", argv[0]);
        return 2;
    }
    const std::vector<double> xyz = ReadRaw(argv[1]), xy = ReadRaw(argv[2]);
    const int runs = std::atoi(argv[3]);
    const std::size_t n = xyz.size() / 3, m = xy.size() / 2;
    double bestTin = 1e300, bestElev = 1e300, cpuTin = 1e300, cpuElev = 1e300, sum = 0.0;
    std::size_t tris = 0;
    for (int r = 0; r < runs; ++r) {
        TesTriMesh::CKrMeshData mesh(0.01);
        double t0 = Now(), c0 = Cpu();
        {
            TesTriMesh::CKrDelaunay tin(mesh, 0.01);
            tin.SetFullHull(true);
            for (std::size_t i = 0; i < n; ++i) tin.AddVertex(CKrPoint3d(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]));
            if (!tin.Delaunay()) return 1;
        }
        bestTin = std::min(bestTin, Now() - t0);
        cpuTin = std::min(cpuTin, Cpu() - c0);
        tris = mesh.m_setTri.size();

        std::vector<double> z(m);
        t0 = Now();
        c0 = Cpu();
        {
            TesTriMesh::CKrMeshQuery q(mesh);
            const double nan = std::numeric_limits<double>::quiet_NaN();
            for (std::size_t i = 0; i < m; ++i) {
                double h = 0.0;
                z[i] = q.GetMapPoint(xy[2 * i], xy[2 * i + 1], h) ? h : nan;
            }
        }
        bestElev = std::min(bestElev, Now() - t0);
        cpuElev = std::min(cpuElev, Cpu() - c0);
        sum = 0.0;
        for (double h : z)
            if (!std::isnan(h)) sum += h;
    }
    std::printf("triangles %zu\ntin %.4f\nelevation %.4f\ncpu_tin %.4f\ncpu_elevation %.4f\nchecksum %.6f\n", tris,
                bestTin, bestElev, cpuTin, cpuElev, sum);
    return 0;
}
