#ifndef KRTES_TESTS_FUZZ_DELAUNAY_H
#define KRTES_TESTS_FUZZ_DELAUNAY_H

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

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "FuzzCommon.h"
#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

namespace krfuzz {

using GridPt = std::pair<int64_t, int64_t>;

inline int64_t Cross(const GridPt& o, const GridPt& a, const GridPt& b)
{
    return (a.first - o.first) * (b.second - o.second) - (a.second - o.second) * (b.first - o.first);
}

// The strict convex hull of distinct points, counter-clockwise (Andrew's
// monotone chain); fewer than 3 points when they are all collinear.
inline std::vector<GridPt> ConvexHull(std::vector<GridPt> p)
{
    std::sort(p.begin(), p.end());
    if (p.size() < 3) return p;
    std::vector<GridPt> h(2 * p.size());
    std::size_t k = 0;
    for (std::size_t i = 0; i < p.size(); ++i) {
        while (k >= 2 && Cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
        h[k++] = p[i];
    }
    for (std::size_t i = p.size() - 1, t = k + 1; i-- > 0;) {
        while (k >= t && Cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
        h[k++] = p[i];
    }
    h.resize(k - 1);
    return h;
}

inline bool OnSegment(const GridPt& a, const GridPt& b, const GridPt& p)
{
    return Cross(a, b, p) == 0 && std::min(a.first, b.first) <= p.first && p.first <= std::max(a.first, b.first) &&
           std::min(a.second, b.second) <= p.second && p.second <= std::max(a.second, b.second);
}

inline int Sign(int64_t v) { return (v > 0) - (v < 0); }

// Whether the open segments ab and cd cross at one point inside both.
inline bool ProperCross(const GridPt& a, const GridPt& b, const GridPt& c, const GridPt& d)
{
    const int s1 = Sign(Cross(a, b, c)), s2 = Sign(Cross(a, b, d));
    const int s3 = Sign(Cross(c, d, a)), s4 = Sign(Cross(c, d, b));
    return s1 * s2 < 0 && s3 * s4 < 0;
}

}  // namespace krfuzz

inline int CheckDelaunay(const uint8_t* data, std::size_t size)
{
    using namespace krfuzz;
    using TesTriMesh::_sTri;
    using TesTriMesh::_sVertex;
    Bytes in(data, size);
    const uint8_t flags = in.U8();
    const bool fullHull = flags & 1;
    static const int kGrid[4] = {3, 5, 9, 33};
    const int g = kGrid[(flags >> 1) & 3];
    const bool withLines = flags & 8, withOutline = flags & 16, withHoles = flags & 32;
    // Far from the origin the coordinates are still integers, so exact.
    const double ox = (flags & 64) ? 100000.0 : 0.0, oy = (flags & 64) ? 300000.0 : 0.0;
    const int n = in.Below(300);

    std::set<GridPt> all;  // every plan point given to the triangulator
    const auto next = [&]() {
        const int x = in.U8() % g, y = in.U8() % g;
        all.insert({x, y});
        return CKrPoint3d(ox + x, oy + y, in.U8() % 4);
    };
    std::vector<CKrPoint3d> pts;
    for (int i = 0; i < n; ++i) pts.push_back(next());

    std::vector<std::pair<GridPt, GridPt>> cons;  // constraint segments
    const auto grid = [&](const CKrPoint3d& p) {
        return GridPt(static_cast<int64_t>(p.x - ox), static_cast<int64_t>(p.y - oy));
    };
    const auto addChain = [&](const std::vector<CKrPoint3d>& c, bool closed) {
        for (std::size_t i = 0; i + 1 < c.size(); ++i) cons.push_back({grid(c[i]), grid(c[i + 1])});
        if (closed && c.size() > 2) cons.push_back({grid(c.back()), grid(c.front())});
    };
    std::vector<std::vector<CKrPoint3d>> lines, holes;
    std::vector<CKrPoint3d> outline;
    if (withLines) {
        const int k = 1 + in.U8() % 3;
        for (int i = 0; i < k; ++i) {
            std::vector<CKrPoint3d> c;
            const int m = 2 + in.U8() % 3;
            for (int j = 0; j < m; ++j) c.push_back(next());
            lines.push_back(c);
            addChain(c, false);
        }
    }
    if (withOutline) {
        const int m = 3 + in.U8() % 4;
        for (int j = 0; j < m; ++j) outline.push_back(next());
        addChain(outline, true);
    }
    if (withHoles) {
        const int k = 1 + in.U8() % 2;
        for (int i = 0; i < k; ++i) {
            std::vector<CKrPoint3d> c;
            const int m = 3 + in.U8() % 3;
            for (int j = 0; j < m; ++j) c.push_back(next());
            holes.push_back(c);
            addChain(c, true);
        }
    }
    const bool constrained = !cons.empty();

    TesTriMesh::CKrMeshData mesh(0.01);
    TesTriMesh::CKrDelaunay tin(mesh, 0.01);
    tin.SetFullHull(fullHull);
    for (const CKrPoint3d& p : pts) tin.AddVertex(p);
    for (const auto& c : lines) tin.AddSegYS(c, false, (flags & 128) != 0);
    if (!outline.empty()) tin.SetOutline(outline);
    for (const auto& c : holes) tin.AddHoleLine(c);
    const bool ok = tin.Delaunay();

    const std::vector<GridPt> hull = ConvexHull(std::vector<GridPt>(all.begin(), all.end()));
    if (!constrained && hull.size() < 3) KRFUZZ_REQUIRE(!ok || mesh.TriNum() == 0);
    if (!ok) return 0;

    KRFUZZ_REQUIRE(mesh.IsMeshOk());
    bool consCross = false;
    for (std::size_t i = 0; i < cons.size() && !consCross; ++i)
        for (std::size_t j = i + 1; j < cons.size() && !consCross; ++j)
            consCross = ProperCross(cons[i].first, cons[i].second, cons[j].first, cons[j].second);

    int64_t area2 = 0;
    for (const _sTri* t : mesh.m_setTri) {
        const CKrPoint3d &a = t->pVer[0]->pt, &b = t->pVer[1]->pt, &c = t->pVer[2]->pt;
        KRFUZZ_REQUIRE(KrTesGeo::Orient2dExact(a, b, c) == 1);
        if (!consCross) {
            for (int k = 0; k < 3; ++k) {
                const GridPt p = grid(t->pVer[k]->pt);
                KRFUZZ_REQUIRE(all.count(p) == 1 && t->pVer[k]->pt.x == ox + p.first &&
                               t->pVer[k]->pt.y == oy + p.second);
            }
            area2 += Cross(grid(a), grid(b), grid(c));
            for (int k = 0; k < 3; ++k) {
                const GridPt p = grid(t->pVer[k]->pt), q = grid(t->pVer[(k + 1) % 3]->pt);
                for (const auto& s : cons) KRFUZZ_REQUIRE(!ProperCross(p, q, s.first, s.second));
            }
        }
    }
    if (!constrained) {
        // Locally Delaunay: across every shared edge the far corner is not
        // strictly inside the circle of the near triangle.
        for (const TesTriMesh::_sEdge* e : mesh.m_setEdge) {
            const _sTri *t0 = e->pTri[0], *t1 = e->pTri[1];
            if (!t0 || !t1) continue;
            const _sVertex* far = nullptr;
            for (const _sVertex* v : t1->pVer)
                if (v != e->pVer[0] && v != e->pVer[1]) far = v;
            KRFUZZ_REQUIRE(far);
            KRFUZZ_REQUIRE(KrTesGeo::InCircleExact(t0->pVer[0]->pt, t0->pVer[1]->pt, t0->pVer[2]->pt, far->pt) != 1);
        }
    }
    if (fullHull && !constrained) {
        const std::size_t nPts = all.size();
        std::size_t h = 0;
        for (const GridPt& p : all) {
            for (std::size_t i = 0; i < hull.size(); ++i) {
                if (OnSegment(hull[i], hull[(i + 1) % hull.size()], p)) {
                    ++h;
                    break;
                }
            }
        }
        int64_t hullArea2 = 0;
        for (std::size_t i = 0; i < hull.size(); ++i) hullArea2 += Cross({0, 0}, hull[i], hull[(i + 1) % hull.size()]);
        KRFUZZ_REQUIRE(mesh.m_setVer.size() == nPts);
        KRFUZZ_REQUIRE(static_cast<std::size_t>(mesh.TriNum()) == 2 * nPts - 2 - h);
        KRFUZZ_REQUIRE(area2 == hullArea2);
    }
    return 0;
}

#endif
