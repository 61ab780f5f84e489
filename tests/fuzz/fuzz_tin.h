#ifndef KRTES_TESTS_FUZZ_TIN_H
#define KRTES_TESTS_FUZZ_TIN_H

// The triangulator (CheckDelaunay) and the queries on triangulated surfaces
// (CheckMeshQuery).

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "FuzzCommon.h"
#include "KrTesGeometry/boolean/KrMeshTrans.h"
#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/KrSeg3d.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

namespace TesTriMesh {
// Reaches the private plane section of CKrMeshTrans (a test hook the class
// declares a friend).
class CKrMeshTransTestAccess {
public:
    template <class... Args>
    static int Section(Args&&... args) { return CKrMeshTrans::IntersectTriAndPlane3D(std::forward<Args>(args)...); }
};
}  // namespace TesTriMesh

namespace krfuzz {

using TesTriMesh::_sTri;

// The triangulator on points of a small integer grid (so duplicates,
// collinear and cocircular sets are the rule), with breaklines, an outline
// and holes, optionally far from the origin, the full-hull option chosen by
// a byte. Integer coordinates keep every check below exact:
//  - a successful run leaves a sound mesh (IsMeshOk) of counter-clockwise
//    triangles (Orient2dExact) whose corners are input points;
//  - without constraints every edge between two triangles is locally
//    Delaunay (InCircleExact), and with the full hull the triangles number
//    2n - 2 - h and their areas add up to the area of the convex hull
//    (computed here by the monotone chain), every point being used;
//  - no triangle edge crosses a constraint segment, when the constraints do
//    not cross each other (where they do, the triangulator inserts rounded
//    crossing points, and the check would be about the rounding).

using GridPt = std::pair<int64_t, int64_t>;

inline int64_t Cross(const GridPt& o, const GridPt& a, const GridPt& b)
{
    return (a.first - o.first) * (b.second - o.second) - (a.second - o.second) * (b.first - o.first);
}

// The strict convex hull of distinct points, counter-clockwise (Andrew's
// monotone chain: the lower chain left to right, then the upper one back);
// fewer than 3 points when they are all collinear.
inline std::vector<GridPt> ConvexHull(std::vector<GridPt> p)
{
    std::sort(p.begin(), p.end());
    if (p.size() < 3) return p;
    std::vector<GridPt> h;
    for (int pass = 0; pass < 2; ++pass) {
        const std::size_t base = h.size();
        for (const GridPt& q : p) {
            while (h.size() >= base + 2 && Cross(h[h.size() - 2], h.back(), q) <= 0) h.pop_back();
            h.push_back(q);
        }
        h.pop_back();  // the first point of the other chain
        std::reverse(p.begin(), p.end());
    }
    return h;
}

// Whether the open segments ab and cd cross at one point inside both.
inline bool ProperCross(const GridPt& a, const GridPt& b, const GridPt& c, const GridPt& d)
{
    const auto side = [](int64_t v) { return (v > 0) - (v < 0); };
    return side(Cross(a, b, c)) * side(Cross(a, b, d)) < 0 && side(Cross(c, d, a)) * side(Cross(c, d, b)) < 0;
}

inline int CheckDelaunay(const uint8_t* data, std::size_t size)
{
    Bytes in(data, size);
    const uint8_t flags = in.U8();
    const bool fullHull = flags & 1;
    const int kGrid[4] = {3, 5, 9, 33}, g = kGrid[(flags >> 1) & 3];
    // Far from the origin the coordinates are still integers, so exact.
    const double ox = (flags & 64) ? 100000.0 : 0.0, oy = (flags & 64) ? 300000.0 : 0.0;
    TesTriMesh::CKrMeshData mesh(0.01);
    TesTriMesh::CKrDelaunay tin(mesh, 0.01);
    tin.SetFullHull(fullHull);

    std::set<GridPt> all;  // every plan point given to the triangulator
    const auto next = [&]() {
        const int x = in.U8() % g, y = in.U8() % g;
        all.insert({x, y});
        return CKrPoint3d(ox + x, oy + y, in.U8() % 4);
    };
    for (int i = 0, n = in.Below(300); i < n; ++i) tin.AddVertex(next());

    std::vector<std::pair<GridPt, GridPt>> cons;  // constraint segments
    const auto grid = [&](const CKrPoint3d& p) {
        return GridPt(static_cast<int64_t>(p.x - ox), static_cast<int64_t>(p.y - oy));
    };
    // Breaklines (open chains), an outline and holes (closed ones), each kind
    // as its flag says: how many chains, and of how many points.
    const int kChains[3] = {3, 0, 2}, kFewest[3] = {2, 3, 3}, kSpread[3] = {3, 4, 3};
    for (int kind = 0; kind < 3; ++kind) {  // flags 8, 16, 32
        const int k = (flags & (8 << kind)) == 0 ? 0 : kind == 1 ? 1 : 1 + in.U8() % kChains[kind];
        for (int i = 0; i < k; ++i) {
            std::vector<CKrPoint3d> c;
            for (int j = 0, m = kFewest[kind] + in.U8() % kSpread[kind]; j < m; ++j) c.push_back(next());
            for (std::size_t j = 0; j + 1 < c.size(); ++j) cons.push_back({grid(c[j]), grid(c[j + 1])});
            if (kind > 0) cons.push_back({grid(c.back()), grid(c.front())});
            if (kind == 0) tin.AddSegYS(c, false, (flags & 128) != 0);
            if (kind == 1) tin.SetOutline(c);
            if (kind == 2) tin.AddHoleLine(c);
        }
    }
    const bool constrained = !cons.empty();

    const bool ok = tin.Delaunay();

    const std::vector<GridPt> hull = ConvexHull(std::vector<GridPt>(all.begin(), all.end()));
    if (!constrained && hull.size() < 3) KRFUZZ_REQUIRE(!ok || mesh.TriNum() == 0);
    if (!ok) return 0;

    KRFUZZ_REQUIRE(mesh.IsMeshOk());
    bool consCross = false;
    for (std::size_t i = 0; i < cons.size() && !consCross; ++i)
        for (std::size_t j = i + 1; j < cons.size() && !consCross; ++j)
            consCross = ProperCross(cons[i].first, cons[i].second, cons[j].first, cons[j].second);

    int64_t area2 = 0;  // twice the area covered, in grid units
    for (const _sTri* t : mesh.m_setTri) {
        KRFUZZ_REQUIRE(KrTesGeo::Orient2dExact(t->pVer[0]->pt, t->pVer[1]->pt, t->pVer[2]->pt) == 1);
        if (!consCross) area2 += Cross(grid(t->pVer[0]->pt), grid(t->pVer[1]->pt), grid(t->pVer[2]->pt));
        for (int k = 0; k < 3 && !consCross; ++k) {
            const CKrPoint3d& v = t->pVer[k]->pt;
            const GridPt p = grid(v), q = grid(t->pVer[(k + 1) % 3]->pt);
            KRFUZZ_REQUIRE(all.count(p) == 1 && v.x == ox + p.first && v.y == oy + p.second);
            for (const auto& s : cons) KRFUZZ_REQUIRE(!ProperCross(p, q, s.first, s.second));
        }
    }
    if (!constrained) {
        // Locally Delaunay: across every shared edge the far corner is not
        // strictly inside the circle of the near triangle.
        for (const TesTriMesh::_sEdge* e : mesh.m_setEdge) {
            const _sTri *t0 = e->pTri[0], *t1 = e->pTri[1];
            if (!t0 || !t1) continue;
            const TesTriMesh::_sVertex* far = nullptr;
            for (const auto* v : t1->pVer)
                if (v != e->pVer[0] && v != e->pVer[1]) far = v;
            KRFUZZ_REQUIRE(far);
            KRFUZZ_REQUIRE(KrTesGeo::InCircleExact(t0->pVer[0]->pt, t0->pVer[1]->pt, t0->pVer[2]->pt, far->pt) != 1);
        }
    }
    if (fullHull && !constrained) {
        // The points on the hull's boundary: every point is in the hull, so
        // one on the line of a hull edge is on that edge.
        std::size_t h = 0;
        for (const GridPt& p : all) {
            std::size_t i = 0;
            while (i < hull.size() && Cross(hull[i], hull[(i + 1) % hull.size()], p) != 0) ++i;
            h += i < hull.size() ? 1 : 0;
        }
        int64_t hullArea2 = 0;
        for (std::size_t i = 0; i < hull.size(); ++i) hullArea2 += Cross({0, 0}, hull[i], hull[(i + 1) % hull.size()]);
        KRFUZZ_REQUIRE(mesh.m_setVer.size() == all.size());
        KRFUZZ_REQUIRE(static_cast<std::size_t>(mesh.TriNum()) == 2 * all.size() - 2 - h);
        KRFUZZ_REQUIRE(area2 == hullArea2);
    }
    return 0;
}

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

// Where (x, y) lies over triangle t in plan: 1 clearly inside, 0 clearly
// outside, -1 within margin of its boundary (no answer expected). Unless the
// triangle is flat in plan, z is set to the height of its plane at (x, y)
// whenever the answer is not 0.
inline int OverTriangle(const TesTriMesh::_sTri* t, double x, double y, double margin, double& z)
{
    const CKrPoint3d &a = t->pVer[0]->pt, &b = t->pVer[1]->pt, &c = t->pVer[2]->pt;
    const double area2 = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    double lo = DBL_MAX;  // the least signed distance from an edge line, positive inside
    for (int k = 0; k < 3; ++k) {
        const CKrPoint3d &p = t->pVer[k]->pt, &q = t->pVer[(k + 1) % 3]->pt;
        const double dx = q.x - p.x, dy = q.y - p.y, l2 = dx * dx + dy * dy;
        if (area2 != 0) {
            lo = std::min(lo, (dx * (y - p.y) - dy * (x - p.x)) / std::sqrt(l2) * (area2 < 0 ? -1.0 : 1.0));
            continue;
        }
        // Flat in plan: no point is inside, a point within margin of an edge is ambiguous.
        const double s = l2 > 0 ? std::clamp(((x - p.x) * dx + (y - p.y) * dy) / l2, 0.0, 1.0) : 0.0;
        if (std::hypot(x - (p.x + s * dx), y - (p.y + s * dy)) <= margin) return -1;
    }
    if (area2 == 0 || lo < -margin) return 0;
    const double wa = ((b.x - x) * (c.y - y) - (b.y - y) * (c.x - x)) / area2;
    const double wb = ((c.x - x) * (a.y - y) - (c.y - y) * (a.x - x)) / area2;
    z = wa * a.z + wb * b.z + (1.0 - wa - wb) * c.z;
    return lo <= margin ? -1 : 1;
}

inline int CheckMeshQuery(const uint8_t* data, std::size_t size)
{
    Bytes in(data, size);
    const uint8_t flags = in.U8();
    const bool terrain = flags & 1;
    const int g = (flags & 2) ? 24 : 5;
    // Several bytes to one value in the order written, whatever order the
    // compiler evaluates arguments in.
    const auto gridPt = [&]() {
        const int x = in.U8() % g, y = in.U8() % g;
        return CKrPoint3d(x, y, (in.U8() % 16) * 0.25);
    };
    const auto tri = [&](int n) {
        const int a = in.U8() % n, b = in.U8() % n;
        return KrTesGeo::_sTri_ID(a, b, in.U8() % n);
    };
    TesTriMesh::CKrMeshData mesh(0.01);
    if (terrain) {
        TesTriMesh::CKrDelaunay tin(mesh, 0.01);
        tin.SetFullHull(true);
        for (int i = 0, n = 3 + in.Below(400); i < n; ++i) tin.AddVertex(gridPt());
        if (!tin.Delaunay()) return 0;
    } else {
        std::vector<CKrPoint3d> pts;
        for (int x = 0; x < g && x < 6; ++x)
            for (int y = 0; y < 6; ++y) pts.emplace_back(x, y, (in.U8() % 16) * 0.25);
        std::vector<KrTesGeo::_sTri_ID> ids;
        const int np = static_cast<int>(pts.size());
        for (int t = 0, nt = in.Below(64); t < nt; ++t) ids.push_back(tri(np));
        for (int k = in.U8() % 4; k > 0; --k) {  // corners lifted straight up: triangles standing on edge
            const double x = pts[in.U8() % np].x, y = pts[in.U8() % np].y;
            pts.emplace_back(x, y, 5.0);
        }
        for (int t = in.U8() % 4; t > 0; --t) ids.push_back(tri(static_cast<int>(pts.size())));
        mesh.InputData(pts, ids, true);
    }
    if (mesh.TriNum() == 0) return 0;
    std::vector<const _sTri*> all(mesh.m_setTri.begin(), mesh.m_setTri.end());
    double zTop = -DBL_MAX, zLow = DBL_MAX;
    for (const _sTri* t : all)
        for (const auto* v : t->pVer) zTop = std::max(zTop, v->pt.z), zLow = std::min(zLow, v->pt.z);

    TesTriMesh::CKrMeshQuery query(mesh);
    const double margin = 1e-3, tolZ = 1e-7, eps = 1e-6;
    // Query positions off the grid lines, spread over the mesh and beyond it.
    const auto coord = [&]() { return (static_cast<int>(in.U8() % (8 * (g + 2))) - 8 + 0.37) / 8.0; };
    std::vector<CKrPoint3d> qs;
    for (int q = 0, nq = 1 + in.U8() % 128; q < nq; ++q) {
        const double x = coord(), y = coord();
        qs.emplace_back(x, y, 0.0);
        bool ambiguous = false, over = false;
        double top = -DBL_MAX;
        for (const _sTri* t : all) {
            double z = 0;
            const int r = OverTriangle(t, x, y, margin, z);
            ambiguous = ambiguous || r < 0;
            if (r == 1) over = true, top = std::max(top, z);
        }
        double z = -12345.0;
        const bool got = query.GetMapPoint(x, y, z);
        CKrPoint3d hit(0, 0, -12345.0);
        const bool rayHit = query.IntersectRay(hit, CKrPoint3d(x, y, zTop + 10.0), KrTesGeo::CGeoVector(0.0, 0.0, -1.0));
        KRFUZZ_REQUIRE(!got || (z >= zLow - tolZ && z <= zTop + tolZ));
        if (ambiguous) continue;
        KRFUZZ_REQUIRE(got == over && rayHit == over);
        KRFUZZ_REQUIRE(!over || (std::fabs(z - top) <= tolZ && std::fabs(hit.z - top) <= tolZ &&
                                 std::fabs(hit.x - x) <= tolZ && std::fabs(hit.y - y) <= tolZ));
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
                KRFUZZ_REQUIRE(std::fabs(across) <= 1e-6 && along >= -1e-6 && along <= 1 + 1e-6);
                // On a terrain the surface is one sheet: some triangle over
                // the piece's end (edges included) has the same height there.
                bool on = !terrain;
                for (const _sTri* t : all) {
                    double zz = std::nan("");
                    on = on || (OverTriangle(t, p.x, p.y, 1e-6, zz) != 0 && std::fabs(zz - p.z) <= 1e-6);
                }
                KRFUZZ_REQUIRE(on);
            }
        }
    }

    // Plane sections of every triangle.
    const double nx = in.U8() % 5 - 2.0, ny = in.U8() % 5 - 2.0, nz = in.U8() % 5 - 2.0;
    const KrTesGeo::CGeoVector normal(nx, ny, nz);
    const double nlen = std::sqrt(nx * nx + ny * ny + nz * nz);
    if (nlen == 0) return 0;
    const CKrPoint3d planePt = gridPt();
    const auto dist = [&](const CKrPoint3d& p) {
        return (nx * (p.x - planePt.x) + ny * (p.y - planePt.y) + nz * (p.z - planePt.z)) / nlen;
    };
    for (const _sTri* t : all) {
        bool clear = true, above = false, below = false, touches = false;
        for (const auto* v : t->pVer) {
            const double d = dist(v->pt), ad = std::fabs(d);
            clear = clear && !(ad > eps / 2 && ad < 2 * eps);
            above = above || d > eps;
            below = below || d < -eps;
            touches = touches || ad <= eps;
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
        const bool inPlane = !above && !below, across = above && below;
        KRFUZZ_REQUIRE(!inPlane || r == 1);
        KRFUZZ_REQUIRE(inPlane || across || touches || r == 0);  // clear of the plane
        KRFUZZ_REQUIRE(!across || r == 2);
        KRFUZZ_REQUIRE(r != 2 || (std::fabs(dist(p1)) <= 1e-6 && std::fabs(dist(p2)) <= 1e-6));
    }
    return 0;
}

}  // namespace krfuzz

#endif
