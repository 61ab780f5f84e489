#ifndef KRTES_TESTS_KRTESTMESHES_H
#define KRTES_TESTS_KRTESTMESHES_H

// Meshes, solids and checks shared by the test suites.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"
#include "support/ScratchDir.h"

namespace testmesh {

using Ids = std::vector<KrTesGeo::_sTri_ID>;
using Pts = std::vector<CKrPoint3d>;

struct Solid {
    Pts pts;
    Ids ids;
};

// An axis-aligned box, outward-facing, two triangles per face.
inline Solid Box(double x0, double y0, double z0, double x1, double y1, double z1)
{
    Solid s;
    for (int i = 0; i < 8; ++i) s.pts.emplace_back(i & 1 ? x1 : x0, i & 2 ? y1 : y0, i & 4 ? z1 : z0);
    const int f[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (const auto& q : f) {
        s.ids.emplace_back(q[0], q[1], q[2]);
        s.ids.emplace_back(q[0], q[2], q[3]);
    }
    return s;
}

// A height field of nx x ny cells of size h from (x0, y0), two triangles a
// cell, counter-clockwise in plan, z = f(x, y); cells where skip(i, j) holds
// are left out.
inline Solid Grid(int nx, int ny, double x0, double y0, double h, const std::function<double(double, double)>& f,
                  const std::function<bool(int, int)>& skip = nullptr)
{
    Solid s;
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i) s.pts.emplace_back(x0 + i * h, y0 + j * h, f(x0 + i * h, y0 + j * h));
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i) {
            if (skip && skip(i, j)) continue;
            const int a = j * (nx + 1) + i;
            s.ids.emplace_back(a, a + 1, a + nx + 2);
            s.ids.emplace_back(a, a + nx + 2, a + nx + 1);
        }
    return s;
}

inline CGeDataTriMesh ToGeData(const Solid& s)
{
    CGeDataTriMesh g;
    for (const CKrPoint3d& p : s.pts) g.AddPoint(p.x, p.y, p.z);
    for (const auto& t : s.ids) g.AddTri(t.nID[0], t.nID[1], t.nID[2]);
    return g;
}

// Rotation of the solid about the axis through `centre` with direction
// (ax, ay, az) by `angle` radians.
inline Solid Rotated(Solid s, const CKrPoint3d& centre, double ax, double ay, double az, double angle)
{
    const double l = std::sqrt(ax * ax + ay * ay + az * az);
    ax /= l;
    ay /= l;
    az /= l;
    const double c = std::cos(angle), sn = std::sin(angle), t = 1.0 - c;
    const double m[3][3] = {{t * ax * ax + c, t * ax * ay - sn * az, t * ax * az + sn * ay},
                            {t * ax * ay + sn * az, t * ay * ay + c, t * ay * az - sn * ax},
                            {t * ax * az - sn * ay, t * ay * az + sn * ax, t * az * az + c}};
    for (CKrPoint3d& p : s.pts) {
        const double x = p.x - centre.x, y = p.y - centre.y, z = p.z - centre.z;
        p = CKrPoint3d(centre.x + m[0][0] * x + m[0][1] * y + m[0][2] * z,
                       centre.y + m[1][0] * x + m[1][1] * y + m[1][2] * z,
                       centre.z + m[2][0] * x + m[2][1] * y + m[2][2] * z);
    }
    return s;
}

// A sphere-like solid: an icosahedron subdivided `levels` times (20 * 4^levels
// triangles) with its vertices pushed onto the sphere, outward-facing.
inline Solid Sphere(const CKrPoint3d& c, double r, int levels)
{
    const double g = (1.0 + std::sqrt(5.0)) / 2.0;
    std::vector<std::array<double, 3>> v = {{-1, g, 0}, {1, g, 0},  {-1, -g, 0}, {1, -g, 0}, {0, -1, g}, {0, 1, g},
                                            {0, -1, -g}, {0, 1, -g}, {g, 0, -1},  {g, 0, 1},  {-g, 0, -1}, {-g, 0, 1}};
    std::vector<std::array<int, 3>> f = {{0, 11, 5}, {0, 5, 1},  {0, 1, 7},   {0, 7, 10}, {0, 10, 11},
                                         {1, 5, 9},  {5, 11, 4}, {11, 10, 2}, {10, 7, 6}, {7, 1, 8},
                                         {3, 9, 4},  {3, 4, 2},  {3, 2, 6},   {3, 6, 8},  {3, 8, 9},
                                         {4, 9, 5},  {2, 4, 11}, {6, 2, 10},  {8, 6, 7},  {9, 8, 1}};
    for (auto& p : v) {
        const double l = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
        for (double& x : p) x /= l;
    }
    for (int lv = 0; lv < levels; ++lv) {
        std::map<std::pair<int, int>, int> mid;
        auto midpoint = [&](int a, int b) {
            const auto key = std::minmax(a, b);
            auto it = mid.find(key);
            if (it != mid.end()) return it->second;
            std::array<double, 3> m = {v[a][0] + v[b][0], v[a][1] + v[b][1], v[a][2] + v[b][2]};
            const double l = std::sqrt(m[0] * m[0] + m[1] * m[1] + m[2] * m[2]);
            for (double& x : m) x /= l;
            v.push_back(m);
            return mid[key] = static_cast<int>(v.size()) - 1;
        };
        std::vector<std::array<int, 3>> nf;
        for (const auto& t : f) {
            const int a = midpoint(t[0], t[1]), b = midpoint(t[1], t[2]), cc = midpoint(t[2], t[0]);
            nf.push_back({t[0], a, cc});
            nf.push_back({t[1], b, a});
            nf.push_back({t[2], cc, b});
            nf.push_back({a, b, cc});
        }
        f.swap(nf);
    }
    Solid s;
    for (const auto& p : v) s.pts.emplace_back(c.x + r * p[0], c.y + r * p[1], c.z + r * p[2]);
    for (const auto& t : f) s.ids.emplace_back(t[0], t[1], t[2]);
    return s;
}

inline void Load(TesTriMesh::CKrMeshData& m, const Solid& s) { m.InputData(s.pts, s.ids, true); }

// Signed volume enclosed by index triples (positive for outward-facing).
inline double Volume(const Pts& pts, const Ids& ids) { return TesTriMesh::SolidVolume(pts, ids); }

inline double Volume(const Solid& s) { return Volume(s.pts, s.ids); }

inline double Volume(TesTriMesh::CKrMeshData& m) { return TesTriMesh::SolidVolume(m); }

// Closed and consistently oriented: every edge is run once each way. Empty
// string when sound, else the first fault found.
inline std::string ClosedOriented(const Ids& ids)
{
    const TesTriMesh::SKrSolidCheck c = TesTriMesh::CheckClosedSolid(ids);
    if (c.IsSolid()) return "";
    int e[2];
    if (!c.FirstFault(e)) return std::to_string(c.invalidTris) + " triples name no point";
    const char* what = c.openEdges ? "open edge " : c.overSharedEdges ? "over-shared edge " : "flipped edge ";
    return what + std::to_string(e[0]) + "-" + std::to_string(e[1]);
}

// Number of pairs of triangles that intersect other than along what they
// share: triangles sharing no corner must be apart; sharing one corner they
// may meet only there; sharing an edge they must not fold onto each other.
inline int SelfIntersections(const Pts& pts, const Ids& ids)
{
    const std::size_t n = ids.size();
    std::vector<std::array<double, 6>> box(n);
    std::vector<std::size_t> order(n);
    for (std::size_t i = 0; i < n; ++i) {
        order[i] = i;
        std::array<double, 6>& b = box[i];
        b = {1e300, 1e300, 1e300, -1e300, -1e300, -1e300};
        for (int k = 0; k < 3; ++k) {
            const CKrPoint3d& p = pts[ids[i].nID[k]];
            const double c[3] = {p.x, p.y, p.z};
            for (int a = 0; a < 3; ++a) {
                b[a] = std::min(b[a], c[a]);
                b[a + 3] = std::max(b[a + 3], c[a]);
            }
        }
    }
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return box[a][0] < box[b][0]; });
    auto P = [&](std::size_t t, int k) -> const CKrPoint3d& { return pts[ids[t].nID[k]]; };
    int bad = 0;
    for (std::size_t ii = 0; ii < n; ++ii) {
        const std::size_t i = order[ii];
        for (std::size_t jj = ii + 1; jj < n && box[order[jj]][0] <= box[i][3]; ++jj) {
            const std::size_t j = order[jj];
            if (box[j][1] > box[i][4] || box[j][4] < box[i][1] || box[j][2] > box[i][5] || box[j][5] < box[i][2])
                continue;
            int shared[3][2], ns = 0;
            for (int a = 0; a < 3; ++a)
                for (int b = 0; b < 3; ++b)
                    if (ids[i].nID[a] == ids[j].nID[b]) {
                        shared[ns][0] = a;
                        shared[ns][1] = b;
                        ++ns;
                    }
            if (ns == 3) {
                ++bad;  // the same triangle twice
                continue;
            }
            if (ns == 2) {
                const CKrPoint3d& a = P(i, shared[0][0]);
                const CKrPoint3d& b = P(i, shared[1][0]);
                const CKrPoint3d& c1 = P(i, 3 - shared[0][0] - shared[1][0]);
                const CKrPoint3d& c2 = P(j, 3 - shared[0][1] - shared[1][1]);
                if (KrTesGeo::Orient3dExact(a, b, c1, c2) != 0) continue;
                const CKrPoint3d u = b - a, p = c1 - a, q = c2 - a;
                const double n1[3] = {u.y * p.z - u.z * p.y, u.z * p.x - u.x * p.z, u.x * p.y - u.y * p.x};
                const double n2[3] = {u.y * q.z - u.z * q.y, u.z * q.x - u.x * q.z, u.x * q.y - u.y * q.x};
                if (n1[0] * n2[0] + n1[1] * n2[1] + n1[2] * n2[2] > 0.0) ++bad;  // folded onto each other
                continue;
            }
            CKrPoint3d p, q;
            bool coplanar = false;
            const int r = CKrSpaceMath::Test_Intersect_Tri_And_Tri_3D(P(i, 0), P(i, 1), P(i, 2), P(j, 0), P(j, 1),
                                                                      P(j, 2), p, q, coplanar);
            if (ns == 0) {
                bad += r == 2;
                continue;
            }
            if (r != 2) continue;
            const CKrPoint3d& v = P(i, shared[0][0]);
            if (!coplanar) {
                bad += !(p.Dist2(v) < 1e-18 && q.Dist2(v) < 1e-18);
                continue;
            }
            // Coplanar with one shared corner: their corners' wedges there
            // must not overlap. Work in the plane of the two largest axes.
            const CKrPoint3d e1 = P(i, 1) - P(i, 0), e2 = P(i, 2) - P(i, 0);
            const double nx = std::fabs(e1.y * e2.z - e1.z * e2.y), ny = std::fabs(e1.z * e2.x - e1.x * e2.z),
                         nz = std::fabs(e1.x * e2.y - e1.y * e2.x);
            auto flat = [&](const CKrPoint3d& x) {
                if (nx >= ny && nx >= nz) return CKrPoint3d(x.y, x.z, 0.0);
                if (ny >= nz) return CKrPoint3d(x.z, x.x, 0.0);
                return CKrPoint3d(x.x, x.y, 0.0);
            };
            const CKrPoint3d o = flat(v);
            CKrPoint3d w1[2], w2[2];
            for (int k = 0, m = 0; k < 3; ++k)
                if (k != shared[0][0]) w1[m++] = flat(P(i, k));
            for (int k = 0, m = 0; k < 3; ++k)
                if (k != shared[0][1]) w2[m++] = flat(P(j, k));
            auto orient = [](const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c) {
                return KrTesGeo::Orient2dExact(a, b, c);
            };
            if (orient(o, w1[0], w1[1]) < 0) std::swap(w1[0], w1[1]);
            if (orient(o, w2[0], w2[1]) < 0) std::swap(w2[0], w2[1]);
            auto inside = [&](const CKrPoint3d* w, const CKrPoint3d& r2) {
                return orient(o, w[0], r2) > 0 && orient(o, w[1], r2) < 0;
            };
            auto same = [&](const CKrPoint3d& a, const CKrPoint3d& b) {
                return orient(o, a, b) == 0 && (a.x - o.x) * (b.x - o.x) + (a.y - o.y) * (b.y - o.y) > 0.0;
            };
            if (inside(w1, w2[0]) || inside(w1, w2[1]) || inside(w2, w1[0]) || inside(w2, w1[1]) ||
                (same(w1[0], w2[0]) && same(w1[1], w2[1])))
                ++bad;
        }
    }
    return bad;
}

// Everything the boolean tests ask of a result: closed, consistently
// oriented, without self-intersections. Returns the volume through `vol`.
struct SolidReport {
    std::string closed;  // empty when closed and oriented
    int selfHits = 0;
    double volume = 0.0;
    std::size_t tris = 0;
};

inline SolidReport Inspect(TesTriMesh::CKrMeshData& m)
{
    Pts pts;
    Ids ids;
    m.OutputData(pts, ids);
    SolidReport r;
    r.closed = ClosedOriented(ids);
    r.selfHits = SelfIntersections(pts, ids);
    r.volume = Volume(pts, ids);
    r.tris = ids.size();
    return r;
}

// Volume of the intersection of two convex solids, an oracle independent of
// the library's boolean. Its boundary is the part of each solid's surface
// inside the other: each face is clipped by the other's face planes
// (n . x + d <= 0 inside), closed for A and open for B so that a face both
// share counts once.
struct Plane {
    double n[3];
    double d;
};

inline std::vector<Plane> FacePlanes(const Solid& s)
{
    std::vector<Plane> out;
    for (const auto& t : s.ids) {
        const CKrPoint3d &a = s.pts[t.nID[0]], &b = s.pts[t.nID[1]], &c = s.pts[t.nID[2]];
        const CKrPoint3d u = b - a, w = c - a;
        double n[3] = {u.y * w.z - u.z * w.y, u.z * w.x - u.x * w.z, u.x * w.y - u.y * w.x};
        const double l = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        for (double& x : n) x /= l;
        out.push_back({{n[0], n[1], n[2]}, -(n[0] * a.x + n[1] * a.y + n[2] * a.z)});
    }
    return out;
}

inline double ClippedSurfaceVolume(const Solid& a, const Solid& b, bool closed)
{
    const double tiny = 1e-9;
    const std::vector<Plane> planes = FacePlanes(b);
    double v = 0.0;
    for (const auto& t : a.ids) {
        std::vector<CKrPoint3d> f = {a.pts[t.nID[0]], a.pts[t.nID[1]], a.pts[t.nID[2]]};
        for (const Plane& pl : planes) {
            auto side = [&](const CKrPoint3d& p) { return pl.n[0] * p.x + pl.n[1] * p.y + pl.n[2] * p.z + pl.d; };
            auto in = [&](double sd) { return closed ? sd <= tiny : sd < -tiny; };
            std::vector<CKrPoint3d> g;
            for (std::size_t i = 0; i < f.size(); ++i) {
                const CKrPoint3d &p = f[i], &q = f[(i + 1) % f.size()];
                const double sp = side(p), sq = side(q);
                if (in(sp)) g.push_back(p);
                if (in(sp) != in(sq) && sp != sq) g.push_back(p + (q - p) * (sp / (sp - sq)));
            }
            f.swap(g);
        }
        for (std::size_t i = 1; i + 1 < f.size(); ++i) {
            const CKrPoint3d &p = f[0], &q = f[i], &r = f[i + 1];
            v += p.x * (q.y * r.z - q.z * r.y) - p.y * (q.x * r.z - q.z * r.x) + p.z * (q.x * r.y - q.y * r.x);
        }
    }
    return v / 6.0;
}

inline double ConvexIntersectionVolume(const Solid& a, const Solid& b)
{
    return ClippedSurfaceVolume(a, b, true) + ClippedSurfaceVolume(b, a, false);
}

}  // namespace testmesh

#endif
