#ifndef KRTES_TESTS_FUZZ_MESH_QUERY_H
#define KRTES_TESTS_FUZZ_MESH_QUERY_H

// Elevation, vertical rays, drape and plane sections on fuzzed meshes: a
// terrain (the full-hull triangulation of grid points with byte-chosen
// heights, large enough for the query object to switch to its plan grid), or
// free triangles on grid points that overlap, fold and stand on edge.
// Everything is compared with brute force over all triangles:
//  - GetMapPoint at a point clearly inside or outside every triangle's plan
//    (at least 1e-3 from every edge) answers exactly when some triangle lies
//    over it, with the highest of their heights;
//  - a ray straight down from above the mesh hits that same height;
//  - a draped segment's pieces lie over the segment and, on a terrain, on
//    the surface;
//  - the section of each triangle by a plane (CKrMeshTrans) reports no
//    contact, a triangle in the plane or a segment as the corners' signed
//    distances say, and the segment lies in the plane.

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <vector>

#include "FuzzCommon.h"
#include "KrTesGeometry/boolean/KrMeshTrans.h"
#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/geom/KrSeg3d.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

namespace TesTriMesh {
// Reaches the private plane section of CKrMeshTrans (a test hook the class
// declares a friend).
class CKrMeshTransTestAccess {
public:
    static int Section(const _sTri* tri, const CKrPoint3d& planePt, const KrTesGeo::CGeoVector& normal,
                       CKrPoint3d& pt1, CKrPoint3d& pt2, std::vector<_sEdgeConVer*>& conv, int& edgeIndex,
                       double eps)
    {
        return CKrMeshTrans::IntersectTriAndPlane3D(tri, planePt, normal, pt1, pt2, conv, edgeIndex, eps);
    }
};
}  // namespace TesTriMesh

namespace krfuzz {

// Where (x, y) lies over triangle abc in plan: 1 clearly inside, 0 clearly
// outside, -1 within margin of its boundary (no answer expected). Unless the
// triangle is flat in plan, z is set to the height of its plane at (x, y)
// whenever the answer is not 0.
inline int OverTriangle(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, double x, double y,
                        double margin, double& z)
{
    const double area2 = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    // Signed distances from the three edge lines, positive inside.
    const double e[3][4] = {{a.x, a.y, b.x, b.y}, {b.x, b.y, c.x, c.y}, {c.x, c.y, a.x, a.y}};
    double d[3];
    for (int k = 0; k < 3; ++k) {
        const double dx = e[k][2] - e[k][0], dy = e[k][3] - e[k][1];
        const double len = std::sqrt(dx * dx + dy * dy);
        if (len == 0) {
            d[k] = std::hypot(x - e[k][0], y - e[k][1]);  // a collapsed edge: a point
            d[k] = d[k] > margin ? -DBL_MAX : 0.0;
            continue;
        }
        d[k] = (dx * (y - e[k][1]) - dy * (x - e[k][0])) / len * (area2 < 0 ? -1.0 : 1.0);
    }
    if (area2 == 0) {  // flat in plan: no point is inside, a point on it is ambiguous
        // Near the plan segment hull of the corners: within margin of any edge segment.
        for (int k = 0; k < 3; ++k) {
            const double ax = e[k][0], ay = e[k][1], bx = e[k][2], by = e[k][3];
            const double dx = bx - ax, dy = by - ay, l2 = dx * dx + dy * dy;
            double t = l2 > 0 ? ((x - ax) * dx + (y - ay) * dy) / l2 : 0.0;
            t = std::min(1.0, std::max(0.0, t));
            if (std::hypot(x - (ax + t * dx), y - (ay + t * dy)) <= margin) return -1;
        }
        return 0;
    }
    const double lo = std::min(d[0], std::min(d[1], d[2]));
    if (lo < -margin) return 0;
    const double wa = ((b.x - x) * (c.y - y) - (b.y - y) * (c.x - x)) / area2;
    const double wb = ((c.x - x) * (a.y - y) - (c.y - y) * (a.x - x)) / area2;
    z = wa * a.z + wb * b.z + (1.0 - wa - wb) * c.z;
    return lo <= margin ? -1 : 1;
}

}  // namespace krfuzz

inline int CheckMeshQuery(const uint8_t* data, std::size_t size)
{
    using namespace krfuzz;
    using TesTriMesh::_sTri;
    Bytes in(data, size);
    const uint8_t flags = in.U8();
    const bool terrain = flags & 1;
    const int g = (flags & 2) ? 24 : 5;
    TesTriMesh::CKrMeshData mesh(0.01);
    if (terrain) {
        TesTriMesh::CKrDelaunay tin(mesh, 0.01);
        tin.SetFullHull(true);
        const int n = 3 + in.Below(400);
        for (int i = 0; i < n; ++i) tin.AddVertex(CKrPoint3d(in.U8() % g, in.U8() % g, (in.U8() % 16) * 0.25));
        if (!tin.Delaunay()) return 0;
    } else {
        std::vector<CKrPoint3d> pts;
        for (int x = 0; x < g && x < 6; ++x)
            for (int y = 0; y < 6; ++y) pts.emplace_back(x, y, 0.0);
        for (CKrPoint3d& p : pts) p.z = (in.U8() % 16) * 0.25;
        std::vector<KrTesGeo::_sTri_ID> ids;
        const int nt = in.Below(64);
        const int np = static_cast<int>(pts.size());
        for (int t = 0; t < nt; ++t) ids.emplace_back(in.U8() % np, in.U8() % np, in.U8() % np);
        // Some corners lifted straight up: triangles standing on edge.
        for (int k = in.U8() % 4; k > 0; --k) pts.push_back(CKrPoint3d(pts[in.U8() % np].x, pts[in.U8() % np].y, 5.0));
        for (int t = in.U8() % 4; t > 0; --t)
            ids.emplace_back(in.U8() % static_cast<int>(pts.size()), in.U8() % static_cast<int>(pts.size()),
                             in.U8() % static_cast<int>(pts.size()));
        mesh.InputData(pts, ids, true);
    }
    if (mesh.TriNum() == 0) return 0;
    std::vector<const _sTri*> all(mesh.m_setTri.begin(), mesh.m_setTri.end());
    double zTop = -DBL_MAX, zLow = DBL_MAX;
    for (const _sTri* t : all)
        for (const auto* v : t->pVer) zTop = std::max(zTop, v->pt.z), zLow = std::min(zLow, v->pt.z);

    TesTriMesh::CKrMeshQuery query(mesh);
    const double margin = 1e-3, tolZ = 1e-7;
    // Query positions off the grid lines, spread over the mesh and beyond it.
    const auto coord = [&]() { return (static_cast<int>(in.U8() % (8 * (g + 2))) - 8 + 0.37) / 8.0; };
    const int nq = 1 + in.U8() % 128;
    std::vector<CKrPoint3d> qs;
    for (int q = 0; q < nq; ++q) {
        const double x = coord(), y = coord();
        qs.emplace_back(x, y, 0.0);
        bool ambiguous = false, over = false;
        double top = -DBL_MAX;
        for (const _sTri* t : all) {
            double z = 0;
            const int r = OverTriangle(t->pVer[0]->pt, t->pVer[1]->pt, t->pVer[2]->pt, x, y, margin, z);
            if (r < 0) ambiguous = true;
            if (r == 1) over = true, top = std::max(top, z);
        }
        double z = -12345.0;
        const bool got = query.GetMapPoint(x, y, z);
        CKrPoint3d hit(0, 0, -12345.0);
        const bool rayHit = query.IntersectRay(hit, CKrPoint3d(x, y, zTop + 10.0), KrTesGeo::CGeoVector(0.0, 0.0, -1.0));
        if (got) KRFUZZ_REQUIRE(z >= zLow - tolZ && z <= zTop + tolZ);
        if (ambiguous) continue;
        KRFUZZ_REQUIRE(got == over);
        KRFUZZ_REQUIRE(rayHit == over);
        if (over) {
            KRFUZZ_REQUIRE(std::fabs(z - top) <= tolZ);
            KRFUZZ_REQUIRE(std::fabs(hit.z - top) <= tolZ && std::fabs(hit.x - x) <= tolZ &&
                           std::fabs(hit.y - y) <= tolZ);
        }
    }

    // Drape: pieces over the plan segment between two query points.
    for (std::size_t q = 0; q + 1 < qs.size() && q < 8; q += 2) {
        const CKrPoint3d &p1 = qs[q], &p2 = qs[q + 1];
        std::vector<CKrSeg3d> pieces;
        if (!query.GetMapPolyline({p1, p2}, false, pieces)) continue;
        const double dx = p2.x - p1.x, dy = p2.y - p1.y, len = std::hypot(dx, dy);
        for (const CKrSeg3d& s : pieces) {
            for (const CKrPoint3d& p : s.m_pt) {
                KRFUZZ_REQUIRE(p.z >= zLow - 1e-6 && p.z <= zTop + 1e-6);
                if (len == 0) continue;
                const double across = (dx * (p.y - p1.y) - dy * (p.x - p1.x)) / len;
                const double along = (dx * (p.x - p1.x) + dy * (p.y - p1.y)) / (len * len);
                KRFUZZ_REQUIRE(std::fabs(across) <= 1e-6);
                KRFUZZ_REQUIRE(along >= -1e-6 && along <= 1 + 1e-6);
                if (!terrain) continue;
                // On a terrain the surface is one sheet: some triangle over
                // the piece's end (edges included) has the same height there.
                bool on = false;
                for (const _sTri* t : all) {
                    double zz = std::nan("");
                    if (OverTriangle(t->pVer[0]->pt, t->pVer[1]->pt, t->pVer[2]->pt, p.x, p.y, 1e-6, zz) != 0 &&
                        std::fabs(zz - p.z) <= 1e-6)
                        on = true;
                }
                KRFUZZ_REQUIRE(on);
            }
        }
    }

    // Plane sections of every triangle.
    const KrTesGeo::CGeoVector normal(static_cast<double>(in.U8() % 5) - 2.0, static_cast<double>(in.U8() % 5) - 2.0,
                                      static_cast<double>(in.U8() % 5) - 2.0);
    const double nlen = std::sqrt(normal.x * normal.x + normal.y * normal.y + normal.z * normal.z);
    if (nlen == 0) return 0;
    const CKrPoint3d planePt(in.U8() % g, in.U8() % g, (in.U8() % 16) * 0.25);
    const double eps = 1e-6;
    for (const _sTri* t : all) {
        double d[3];
        bool clear = true;
        for (int k = 0; k < 3; ++k) {
            const CKrPoint3d& p = t->pVer[k]->pt;
            d[k] = (normal.x * (p.x - planePt.x) + normal.y * (p.y - planePt.y) + normal.z * (p.z - planePt.z)) / nlen;
            const double ad = std::fabs(d[k]);
            if (ad > eps / 2 && ad < 2 * eps) clear = false;
        }
        CKrPoint3d p1, p2;
        std::vector<TesTriMesh::_sEdgeConVer*> conv;
        int edgeIndex = -1;
        const int r = TesTriMesh::CKrMeshTransTestAccess::Section(t, planePt, normal, p1, p2, conv, edgeIndex, eps);
        for (TesTriMesh::_sEdgeConVer* c : conv) {
            for (TesTriMesh::_sVertex* v : c->vertices) delete v;
            delete c;
        }
        if (!clear) continue;
        const bool above = d[0] > eps || d[1] > eps || d[2] > eps;
        const bool below = d[0] < -eps || d[1] < -eps || d[2] < -eps;
        const bool inPlane = !above && !below;
        if (inPlane) {
            KRFUZZ_REQUIRE(r == 1);
            continue;
        }
        const bool touches = std::fabs(d[0]) <= eps || std::fabs(d[1]) <= eps || std::fabs(d[2]) <= eps;
        if (!(above && below) && !touches) {
            KRFUZZ_REQUIRE(r == 0);
            continue;
        }
        if (above && below) KRFUZZ_REQUIRE(r == 2);
        if (r == 2) {
            for (const CKrPoint3d* p : {&p1, &p2}) {
                const double dp = (normal.x * (p->x - planePt.x) + normal.y * (p->y - planePt.y) +
                                   normal.z * (p->z - planePt.z)) / nlen;
                KRFUZZ_REQUIRE(std::fabs(dp) <= 1e-6);
            }
        }
    }
    return 0;
}

#endif
