// Completing a triangulation to the whole convex hull of its points.
//
// The bulk insertion works inside a finite super triangle. A triangle whose
// circumcircle holds a corner of the super triangle loses to it, so when the
// super triangle's triangles are removed, thin triangles along the convex
// hull go with them and the outline of the surface is ragged.
//
// Every triangle that survives had a circumcircle empty of all points, so it
// belongs to the Delaunay triangulation of the points; what is missing is the
// region between the surviving triangles and the convex hull. That region
// falls apart into pockets: polygons whose sides are hull edges or edges of
// surviving triangles. Ear clipping triangulates each pocket, and exact
// in-circle flips, never across a pocket side, make every edge locally
// Delaunay (the surviving side of a pocket side has an empty circle, so it
// needs no flip): the result is the Delaunay triangulation of the points on
// the pockets' sides and the surviving triangles. A point whose triangles all
// went with the super triangle can lie strictly inside a pocket; such points
// are inserted last, one by one, into that Delaunay triangulation.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

namespace TesTriMesh {

namespace {

using KrTesGeo::Orient2dExact;

bool PlanLess(const _sVertex* a, const _sVertex* b)
{
    return a->pt.x < b->pt.x || (a->pt.x == b->pt.x && a->pt.y < b->pt.y);
}

// Counter-clockwise convex hull (Andrew's monotone chain) keeping the points
// that lie on its edges: they are vertices of the triangulation's boundary.
std::vector<_sVertex*> HullWithEdgePoints(std::vector<_sVertex*> pts)
{
    std::sort(pts.begin(), pts.end(), PlanLess);
    pts.erase(std::unique(pts.begin(), pts.end()), pts.end());
    if (pts.size() < 3) return pts;
    std::vector<_sVertex*> hull(2 * pts.size());
    std::size_t k = 0;
    for (std::size_t i = 0; i < pts.size(); ++i) {
        while (k >= 2 && Orient2dExact(hull[k - 2]->pt, hull[k - 1]->pt, pts[i]->pt) < 0) --k;
        hull[k++] = pts[i];
    }
    for (std::size_t i = pts.size() - 1, lower = k + 1; i-- > 0;) {
        while (k >= lower && Orient2dExact(hull[k - 2]->pt, hull[k - 1]->pt, pts[i]->pt) < 0) --k;
        hull[k++] = pts[i];
    }
    hull.resize(k - 1);
    // All points collinear: the chain runs out and back; no area to fill.
    for (std::size_t i = 0; i < hull.size(); ++i)
        if (Orient2dExact(hull[i]->pt, hull[(i + 1) % hull.size()]->pt, hull[(i + 2) % hull.size()]->pt) > 0)
            return hull;
    return {};
}

// Clockwise angle from direction (ux, uy) to (wx, wy), in [0, 2 pi).
double ClockwiseAngle(double ux, double uy, double wx, double wy)
{
    const double a = -std::atan2(ux * wy - uy * wx, ux * wx + uy * wy);  // clockwise, [-pi, pi)
    return a < 0 ? a + 2.0 * 3.14159265358979323846 : a;
}

// The pockets as closed vertex cycles with the pocket on the left, traced
// from directed sides; where a vertex starts several sides (pockets touching
// at a point) the trace keeps to the pocket it came in by.
std::vector<std::vector<_sVertex*>> TraceCycles(const std::vector<std::pair<_sVertex*, _sVertex*>>& sides)
{
    std::multimap<const _sVertex*, std::size_t> from;  // ordered by address only for lookup
    for (std::size_t i = 0; i < sides.size(); ++i) from.emplace(sides[i].first, i);
    std::vector<char> used(sides.size(), 0);
    std::vector<std::vector<_sVertex*>> cycles;
    // Start points in side order, which is sorted by position: deterministic.
    for (std::size_t s = 0; s < sides.size(); ++s) {
        if (used[s]) continue;
        std::vector<_sVertex*> cyc;
        std::size_t cur = s;
        while (!used[cur]) {
            used[cur] = 1;
            cyc.push_back(sides[cur].first);
            _sVertex* u = sides[cur].first;
            _sVertex* v = sides[cur].second;
            std::size_t best = sides.size();
            double bestAngle = 0.0;
            auto range = from.equal_range(v);
            for (auto it = range.first; it != range.second; ++it) {
                const _sVertex* w = sides[it->second].second;
                const double a = ClockwiseAngle(u->pt.x - v->pt.x, u->pt.y - v->pt.y, w->pt.x - v->pt.x,
                                                w->pt.y - v->pt.y);
                if (best == sides.size() || a < bestAngle) {
                    best = it->second;
                    bestAngle = a;
                }
            }
            if (best == sides.size()) break;
            cur = best;  // a side already used closes the cycle
        }
        if (cyc.size() >= 3) cycles.push_back(std::move(cyc));
    }
    return cycles;
}

bool InsideOrOn(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, const CKrPoint3d& p)
{
    return Orient2dExact(a, b, p) >= 0 && Orient2dExact(b, c, p) >= 0 && Orient2dExact(c, a, p) >= 0;
}

// Ear clipping of one counter-clockwise cycle; the triangles go to out.
// Only vertices that do not turn strictly left can lie in an ear, so a
// convex pocket (the usual case along a hull) is clipped in linear time.
bool ClipEars(std::vector<_sVertex*> poly, std::vector<std::array<_sVertex*, 3>>& out)
{
    while (poly.size() > 3) {
        const std::size_t n = poly.size();
        std::vector<std::size_t> blockers;
        for (std::size_t i = 0; i < n; ++i)
            if (Orient2dExact(poly[(i + n - 1) % n]->pt, poly[i]->pt, poly[(i + 1) % n]->pt) <= 0)
                blockers.push_back(i);
        bool clipped = false;
        for (std::size_t i = 0; i < n && !clipped; ++i) {
            _sVertex* a = poly[(i + n - 1) % n];
            _sVertex* b = poly[i];
            _sVertex* c = poly[(i + 1) % n];
            if (Orient2dExact(a->pt, b->pt, c->pt) <= 0) continue;
            bool ear = true;
            for (std::size_t j : blockers) {
                const _sVertex* q = poly[j];
                if (q == a || q == b || q == c) continue;
                if (InsideOrOn(a->pt, b->pt, c->pt, q->pt)) {
                    ear = false;
                    break;
                }
            }
            if (!ear) continue;
            out.push_back({a, b, c});
            poly.erase(poly.begin() + static_cast<std::ptrdiff_t>(i));
            clipped = true;
        }
        if (!clipped) return false;
    }
    if (poly.size() == 3 && Orient2dExact(poly[0]->pt, poly[1]->pt, poly[2]->pt) > 0)
        out.push_back({poly[0], poly[1], poly[2]});
    return true;
}

}  // namespace

void CKrDelaunay::SetFullHull(bool on) { m_bFullHull = on; }

bool CKrDelaunay::IsFullHull() const { return m_bFullHull; }

void CKrDelaunay::RemoveSuperTriangle()
{
    std::vector<_sTri*> gone;
    for (_sVertex* s : m_pTriBound)
        if (s) gone.insert(gone.end(), s->setTri.begin(), s->setTri.end());
    std::sort(gone.begin(), gone.end());
    gone.erase(std::unique(gone.begin(), gone.end()), gone.end());
    if (!m_bFullHull) {
        for (_sTri* t : gone) m_mesh.DelTri(t);
        return;
    }
    auto isGone = [&gone](const _sTri* t) { return std::binary_search(gone.begin(), gone.end(), t); };
    auto isSuper = [this](const _sVertex* v) {
        return v == m_pTriBound[0] || v == m_pTriBound[1] || v == m_pTriBound[2];
    };

    // The sides of the surviving region that face a removed triangle, with
    // the removed side on their left, and the points the hull is made of
    // (every hull point is a corner of some removed triangle).
    std::vector<std::pair<_sVertex*, _sVertex*>> sides;
    std::vector<_sVertex*> corners;
    for (_sTri* t : gone) {
        for (int k = 0; k < 3; ++k) {
            _sVertex* u = t->pVer[k];
            _sVertex* v = t->pVer[(k + 1) % 3];
            if (!isSuper(u)) corners.push_back(u);
            if (isSuper(u) || isSuper(v)) continue;
            const _sTri* across = m_mesh.FindTriCoEdge(m_mesh.FindEdgeByVer(u, v, t), t);
            if (across && !isGone(across)) sides.emplace_back(u, v);
        }
    }
    for (_sTri* t : gone) m_mesh.DelTri(t);

    const std::vector<_sVertex*> hull = HullWithEdgePoints(corners);
    for (std::size_t i = 0; i < hull.size(); ++i) sides.emplace_back(hull[i], hull[(i + 1) % hull.size()]);
    // A hull side that a surviving triangle already has appears twice, once
    // each way (the removed triangle across it lies outside the hull): it
    // bounds no pocket, so both go.
    auto sideLess = [](const std::pair<_sVertex*, _sVertex*>& p, const std::pair<_sVertex*, _sVertex*>& q) {
        if (p.first != q.first) return PlanLess(p.first, q.first);
        return p.second != q.second && PlanLess(p.second, q.second);
    };
    std::sort(sides.begin(), sides.end(), sideLess);
    std::vector<std::pair<_sVertex*, _sVertex*>> open;
    for (const auto& s : sides) {
        auto rev = std::make_pair(s.second, s.first);
        auto it = std::lower_bound(sides.begin(), sides.end(), rev, sideLess);
        if (it != sides.end() && *it == rev) continue;
        open.push_back(s);
    }

    std::vector<std::array<_sVertex*, 3>> ears;
    for (const std::vector<_sVertex*>& cyc : TraceCycles(open)) ClipEars(cyc, ears);
    std::vector<_sTri*> added;
    added.reserve(ears.size());
    for (const auto& e : ears)
        if (_sTri* t = m_mesh.AddTri(e[0], e[1], e[2])) {
            t->bSign = true;  // a pocket triangle: its shared edges may flip
            added.push_back(t);
        }

    // Lawson flips between pocket triangles until every such edge is locally
    // Delaunay. Each flip lowers the triangulation in the lifted map, so the
    // loop ends; cocircular quadruples (sign 0) are left as they are.
    std::vector<_sTri*> work(added.rbegin(), added.rend());
    while (!work.empty()) {
        _sTri* t = work.back();
        work.pop_back();
        if (!m_mesh.m_setTri.count(t) || !t->bSign) continue;
        for (int k = 0; k < 3; ++k) {
            _sVertex* u = t->pVer[k];
            _sVertex* v = t->pVer[(k + 1) % 3];
            _sVertex* w = t->pVer[(k + 2) % 3];
            _sTri* o = m_mesh.FindTriCoEdge(m_mesh.FindEdgeByVer(u, v, t), t);
            if (!o || !o->bSign) continue;
            _sVertex* z = nullptr;
            for (_sVertex* c : o->pVer)
                if (c != u && c != v) z = c;
            if (!z || KrTesGeo::InCircleDetExact(u->pt, v->pt, w->pt, z->pt) <= 0) continue;
            // The quadrilateral u, z, v, w is convex (z lies in the circle on
            // the far side of u-v): flip u-v to z-w.
            m_mesh.DelTri(t);
            m_mesh.DelTri(o);
            _sTri* t1 = m_mesh.AddTri(u, z, w);
            _sTri* t2 = m_mesh.AddTri(z, v, w);
            for (_sTri* n : {t1, t2})
                if (n) {
                    n->bSign = true;
                    work.push_back(n);
                }
            break;
        }
    }
    // Every pocket triangle has its corners on the pocket sides.
    for (const auto& s : open)
        for (_sTri* t : s.first->setTri) t->bSign = false;

    // Points inside a pocket, in position order.
    std::sort(corners.begin(), corners.end(), PlanLess);
    corners.erase(std::unique(corners.begin(), corners.end()), corners.end());
    for (_sVertex* v : corners)
        if (v->setTri.empty()) InsertPtIntoMesh(v);
}

}  // namespace TesTriMesh
