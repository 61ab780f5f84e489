#ifndef KRTES_BENCH_BOOLEANSOLIDS_H
#define KRTES_BENCH_BOOLEANSOLIDS_H

// The closed solids the boolean benchmarks cut against each other, shared by
// bench_boolean and the peer comparison boolean_peers so that both time the
// same pairs.

#include <cmath>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "support/KrIcosphere.h"

namespace benchsolid {

// A sphere of rings x slices quads (fans at the poles), outward-facing:
// 2 * slices * (rings - 1) triangles.
inline void Sphere(double cx, double cy, double cz, double r, int rings, int slices, std::vector<CKrPoint3d>& pts,
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

// An icosahedron subdivided four times onto a sphere of radius 10, its
// radius then varied by 1.5 sin(3 theta) cos(4 phi), turned by `turn`.
inline void Bumpy(double turn, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& ids)
{
    const testmesh::Icosphere u = testmesh::UnitIcosphere(4);
    pts.clear();
    for (const auto& p : u.v) {
        const double th = std::acos(p[2]), ph = std::atan2(p[1], p[0]);
        const double r = 10.0 + 1.5 * std::sin(3 * th) * std::cos(4 * ph);
        const double x = r * p[0], y = r * p[1];
        pts.emplace_back(x * std::cos(turn) - y * std::sin(turn), x * std::sin(turn) + y * std::cos(turn), r * p[2]);
    }
    ids.clear();
    for (const auto& t : u.f) ids.emplace_back(t[0], t[1], t[2]);
}

}  // namespace benchsolid

#endif
