#ifndef KRTES_TESTS_KRTESTMESHES_H
#define KRTES_TESTS_KRTESTMESHES_H

// Meshes, solids and checks shared by the test suites.

#include <functional>
#include <cmath>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"
#include "support/KrIcosphere.h"
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
    const Icosphere u = UnitIcosphere(levels);
    Solid s;
    for (const auto& p : u.v) s.pts.emplace_back(c.x + r * p[0], c.y + r * p[1], c.z + r * p[2]);
    for (const auto& t : u.f) s.ids.emplace_back(t[0], t[1], t[2]);
    return s;
}

inline void Load(TesTriMesh::CKrMeshData& m, const Solid& s) { m.InputData(s.pts, s.ids, true); }

// Signed volume enclosed by index triples (positive for outward-facing).
inline double Volume(const Pts& pts, const Ids& ids) { return TesTriMesh::SolidVolume(pts, ids); }

inline double Volume(const Solid& s) { return Volume(s.pts, s.ids); }

inline double Volume(TesTriMesh::CKrMeshData& m) { return TesTriMesh::SolidVolume(m); }

// Number of pairs of triangles that meet other than along what they share
// (the library's exact check, tested against pairs on their own).
inline int SelfIntersections(const Pts& pts, const Ids& ids)
{
    return static_cast<int>(TesTriMesh::FindSelfIntersections(pts, ids).size());
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
