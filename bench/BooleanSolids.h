#ifndef KRTES_BENCH_BOOLEANSOLIDS_H
#define KRTES_BENCH_BOOLEANSOLIDS_H

// The closed solids the boolean benchmarks cut against each other, shared by
// bench_boolean and the peer comparison boolean_peers so that both time the
// same pairs.

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"

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

}  // namespace benchsolid

#endif
