#ifndef KRTES_TESTS_EDITTESTUTIL_H
#define KRTES_TESTS_EDITTESTUTIL_H

#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "build/KrDelaunay.h"
#include "geom/KrPoint3d.h"
#include "geom/sTriID.h"
#include "mesh/KrMeshData.h"

namespace edittest {

using Pts = std::vector<CKrPoint3d>;
using Ids = std::vector<KrTesGeo::_sTri_ID>;

// A closed sphere of radius r about c, wound counter-clockwise seen from
// outside (outward normals): each face of an octahedron split into n x n
// triangles, the points pushed out onto the sphere. 8 n^2 triangles; the
// faces' shared edges are merged by the mesh import.
inline void Sphere(double r, int n, Pts& pts, Ids& ids, const CKrPoint3d& c = CKrPoint3d(0.0, 0.0, 0.0))
{
    pts.clear();
    ids.clear();
    for (int s = 0; s < 8; ++s) {
        const double sx = (s & 1) ? -1.0 : 1.0, sy = (s & 2) ? -1.0 : 1.0, sz = (s & 4) ? -1.0 : 1.0;
        CKrPoint3d a(sx, 0.0, 0.0), b(0.0, sy, 0.0), d(0.0, 0.0, sz);
        if (sx * sy * sz < 0) std::swap(b, d);
        const int base = static_cast<int>(pts.size());
        auto at = [&](int i, int j) { return base + i * (n + 1) - i * (i - 1) / 2 + j; };  // i + j <= n
        for (int i = 0; i <= n; ++i) {
            for (int j = 0; i + j <= n; ++j) {
                CKrPoint3d p = a + (b - a) * (double(i) / n) + (d - a) * (double(j) / n);
                const double len = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
                pts.push_back(c + p * (r / len));
            }
        }
        for (int i = 0; i < n; ++i) {
            for (int j = 0; i + j < n; ++j) {
                ids.emplace_back(at(i, j), at(i + 1, j), at(i, j + 1));
                if (i + j + 1 < n) ids.emplace_back(at(i + 1, j), at(i + 1, j + 1), at(i, j + 1));
            }
        }
    }
}

// The closed box [lo, hi] as 12 triangles with outward normals.
inline void Box(const CKrPoint3d& lo, const CKrPoint3d& hi, Pts& pts, Ids& ids)
{
    pts.clear();
    ids.clear();
    for (int k = 0; k < 8; ++k)
        pts.emplace_back((k & 1) ? hi.x : lo.x, (k & 2) ? hi.y : lo.y, (k & 4) ? hi.z : lo.z);
    // Corner k has x from bit 0, y from bit 1, z from bit 2. Each face as a
    // counter-clockwise quad seen from outside.
    const int quads[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (const auto& q : quads) {
        ids.emplace_back(q[0], q[1], q[2]);
        ids.emplace_back(q[0], q[2], q[3]);
    }
}

// A plan grid of nx x ny unit squares from (x0, y0), two counter-clockwise
// triangles per square, z = f(x, y); squares where skip(i, j) holds are left
// out.
inline void Grid(int nx, int ny, const std::function<double(double, double)>& f, Pts& pts, Ids& ids,
                 const std::function<bool(int, int)>& skip = nullptr, double x0 = 0.0, double y0 = 0.0)
{
    pts.clear();
    ids.clear();
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i) pts.emplace_back(x0 + i, y0 + j, f(x0 + i, y0 + j));
    auto at = [nx](int i, int j) { return j * (nx + 1) + i; };
    for (int j = 0; j < ny; ++j) {
        for (int i = 0; i < nx; ++i) {
            if (skip && skip(i, j)) continue;
            ids.emplace_back(at(i, j), at(i + 1, j), at(i + 1, j + 1));
            ids.emplace_back(at(i, j), at(i + 1, j + 1), at(i, j + 1));
        }
    }
}

// A Delaunay TIN of n random points and the four corners of the square
// [0, size]^2, z = f(x, y).
inline bool RandomTin(TesTriMesh::CKrMeshData& mesh, std::size_t n, double size,
                      const std::function<double(double, double)>& f, unsigned seed)
{
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u(0.0, size);
    TesTriMesh::CKrDelaunay tin(mesh, 0.01);
    for (double x : {0.0, size})
        for (double y : {0.0, size}) tin.AddVertex(CKrPoint3d(x, y, f(x, y)));
    for (std::size_t i = 0; i < n; ++i) {
        const double x = u(rng), y = u(rng);
        tin.AddVertex(CKrPoint3d(x, y, f(x, y)));
    }
    return tin.Delaunay();
}

}  // namespace edittest

#endif
