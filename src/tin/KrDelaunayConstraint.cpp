// Constraint input and recovery of the triangulator: constraint lines, the
// outline, holes, the splitting of crossing constraints, and the forcing of
// every constraint segment into the triangulation.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "KrTesGeometry/tin/KrDelaunay.h"
#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/KrPlanarFunc.h"
#include "geom/KrPlanarInternal.h"

namespace TesTriMesh {

namespace {
inline _sVertex* SegA(const _sSeg* s) { return s->pVer[0]; }
inline _sVertex* SegB(const _sSeg* s) { return s->pVer[1]; }
inline _sSeg* MakeSeg(_sVertex* a, _sVertex* b)
{
    return new _sSeg(a, b);
}

inline int Orient(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c)
{
    return KrTesGeo::Orient2dExact(a.x, a.y, b.x, b.y, c.x, c.y);
}

// True when v lies on the open segment a-b in plan: within 1e-6 of its line
// and strictly between its ends. A constraint that runs through (or within a
// micrometre of) an existing point is restored in two stretches meeting there.
bool IsOnSegment(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& v)
{
    const double dx = b.x - a.x, dy = b.y - a.y;
    const double len2 = dx * dx + dy * dy;
    if (len2 <= 0.0) return false;
    const double s = (v.x - a.x) * dx + (v.y - a.y) * dy;
    if (!(s > 0.0 && s < len2)) return false;
    if (Orient(a, b, v) == 0) return true;
    const double cross = dx * (v.y - a.y) - dy * (v.x - a.x);
    return cross * cross <= 1e-12 * len2;
}

_sVertex* Third(const _sTri* t, const _sVertex* u, const _sVertex* w)
{
    for (_sVertex* v : t->pVer)
        if (v != u && v != w) return v;
    return nullptr;
}
}  // namespace

// ---------------------------------------------------------------------------
// Input

bool CKrDelaunay::AddSegments(const std::vector<_sVertex*>& vers, bool closed)
{
    for (std::size_t i = 1; i < vers.size(); ++i)
        if (vers[i - 1] && vers[i] && vers[i - 1] != vers[i]) m_vecSeg.push_back(MakeSeg(vers[i - 1], vers[i]));
    if (closed && vers.size() > 1 && vers.back() && vers.front() && vers.back() != vers.front())
        m_vecSeg.push_back(MakeSeg(vers.back(), vers.front()));
    return true;
}

bool CKrDelaunay::AddSegYS(const std::vector<CKrPoint3d>& pts, int tag, bool closed)
{
    if (pts.size() < 2) return false;
    std::vector<_sVertex*> vers;
    vers.reserve(pts.size());
    for (const CKrPoint3d& p : pts) vers.push_back(AddVertex(p, tag));
    return AddSegments(vers, closed);
}

bool CKrDelaunay::AddSegYS(const std::vector<CKrPoint3d>& pts, bool closed, bool markEnds)
{
    if (pts.size() < 2) return false;
    std::vector<_sVertex*> vers;
    vers.reserve(pts.size());
    for (std::size_t i = 0; i < pts.size(); ++i) {
        if (markEnds) vers.push_back(AddVertex(pts[i], (i == 0 || i + 1 == pts.size()) ? 1 : 0));
        else vers.push_back(AddVertex(pts[i]));
    }
    return AddSegments(vers, closed);
}

bool CKrDelaunay::SetOutlineRing(const std::vector<CKrPoint3d>& pts)
{
    if (pts.size() < 3) return false;
    std::vector<_sVertex*> vers;
    for (const CKrPoint3d& p : pts) vers.push_back(AddVertex(p));
    vers.erase(std::remove(vers.begin(), vers.end(), nullptr), vers.end());
    for (std::size_t k = vers.size(); k-- > 1;)
        if (vers[k] == vers[k - 1]) vers.erase(vers.begin() + static_cast<long>(k));
    // A ring given with its first point repeated at the end is the same ring.
    if (vers.size() > 1 && vers.back() == vers.front()) vers.pop_back();
    std::vector<CKrPoint3d> ring;
    for (const _sVertex* v : vers) ring.push_back(v->pt);
    m_plOutline.Clear();
    m_plOutline.SetVertex(ring);
    m_plOutline.SetClosed(true);
    return true;
}

bool CKrDelaunay::SetOutline(const std::vector<CKrPoint3d>& pts)
{
    return SetOutlineRing(pts) && AddSegYS(pts, true, false);
}

bool CKrDelaunay::SetOutline(const std::vector<CKrPoint3d>& pts, int tag)
{
    return SetOutlineRing(pts) && AddSegYS(pts, tag, true);
}

bool CKrDelaunay::AddHoleLine(const std::vector<CKrPoint3d>& pts)
{
    if (pts.size() < 3) return false;
    AddSegYS(pts, true, false);
    CKrPolyLine* hole = new CKrPolyLine;
    hole->SetVertex(pts);
    hole->SetClosed(true);
    m_vecHole.push_back(hole);
    return true;
}

void CKrDelaunay::SetIsCheckYS(bool check) { m_bCheckYS = check; }

// ---------------------------------------------------------------------------
// Crossing constraints

int CKrDelaunay::BreakSeg(_sSeg*& s1, _sSeg*& s2, _sSeg*& s1a, _sSeg*& s1b, _sSeg*& s2a, _sSeg*& s2b)
{
    if (!s1 || !s2) return 0;
    _sVertex *a1 = SegA(s1), *b1 = SegB(s1), *a2 = SegA(s2), *b2 = SegB(s2);
    if (!a1 || !b1 || !a2 || !b2) return 0;
    if (a1 == a2 || a1 == b2 || b1 == a2 || b1 == b2) return 0;
    double x = 0.0, y = 0.0;
    if (KrTesGeo::JH_GetInterPoint_LineSection_Ex(a1->pt.x, a1->pt.y, b1->pt.x, b1->pt.y, a2->pt.x, a2->pt.y,
                                                  b2->pt.x, b2->pt.y, &x, &y, GetCoordTol()) != 1)
        return 0;
    // The crossing takes its elevation from the first segment.
    const double d1 = KrTesGeo::get_dist(a1->pt.x, a1->pt.y, x, y);
    const double d2 = KrTesGeo::get_dist(x, y, b1->pt.x, b1->pt.y);
    const double z = (d1 + d2 > 0.0) ? a1->pt.z + (b1->pt.z - a1->pt.z) * d1 / (d1 + d2) : a1->pt.z;
    _sVertex* p = AddVertex(CKrPoint3d(x, y, z));
    if (!p) return 0;
    s1a = MakeSeg(a1, p);
    s1b = MakeSeg(p, b1);
    s2a = MakeSeg(a2, p);
    s2b = MakeSeg(p, b2);
    return 1;
}

void CKrDelaunay::PreDealForEdge()
{
    if (!m_bCheckYS) return;
    // Every split puts a new vertex at a crossing; pieces that share it are
    // never split against each other, so the scan ends. The cap guards
    // against pathological input whose crossings merge into other vertices.
    std::size_t splits = 0;
    const std::size_t maxSplits = 16 * m_vecSeg.size() + 100000;
    for (long i = 0; i < static_cast<long>(m_vecSeg.size()); ++i) {
        for (long j = i + 1; j < static_cast<long>(m_vecSeg.size()); ++j) {
            _sSeg *p1 = nullptr, *p2 = nullptr, *p3 = nullptr, *p4 = nullptr;
            if (BreakSeg(m_vecSeg[static_cast<std::size_t>(i)], m_vecSeg[static_cast<std::size_t>(j)], p1, p2, p3,
                         p4) != 1)
                continue;
            delete m_vecSeg[static_cast<std::size_t>(j)];
            m_vecSeg.erase(m_vecSeg.begin() + j);
            delete m_vecSeg[static_cast<std::size_t>(i)];
            m_vecSeg.erase(m_vecSeg.begin() + i);
            for (_sSeg* piece : {p1, p2, p3, p4}) {
                if (SegA(piece) != SegB(piece)) m_vecSeg.push_back(piece);
                else delete piece;
            }
            if (++splits > maxSplits) return;
            --i;  // resume at the same position
            break;
        }
    }
}

// ---------------------------------------------------------------------------
// Recovery

void CKrDelaunay::DealSegYS(const _sSeg* seg)
{
    if (!seg) return;
    _sVertex* a = SegA(seg);
    _sVertex* b = SegB(seg);
    // Each stretch ends at a vertex strictly nearer to b, so the number of
    // stretches is bounded by the number of vertices.
    std::size_t guard = m_mesh.m_setVer.size() + 1;
    while (a && b && a != b && guard-- > 0) {
        std::vector<_sVertex*> side1, side2;
        _sVertex* stop = nullptr;
        if (GetSegYsPoly(a, b, side1, side2, stop)) {
            TriPolyDelaunay(side1);
            TriPolyDelaunay(side2);
        }
        if (!stop || stop == b) break;
        a = stop;
    }
}

bool CKrDelaunay::GetSegYsPoly(_sVertex* a, _sVertex* b, std::vector<_sVertex*>& side1,
                               std::vector<_sVertex*>& side2, _sVertex*& stop)
{
    side1.clear();
    side2.clear();
    stop = nullptr;
    if (!a || !b || a == b || a->setTri.empty()) return false;
    const CKrPoint3d A = a->pt, B = b->pt;

    // Already an edge, or a neighbour of a lies on the segment: the first
    // stretch is an existing edge.
    _sVertex* onSeg = nullptr;
    double best = std::numeric_limits<double>::max();
    for (const _sTri* t : a->setTri) {
        for (_sVertex* v : t->pVer) {
            if (v == a) continue;
            if (v == b) {
                stop = b;
                return false;
            }
            if (IsOnSegment(A, B, v->pt) && A.Dist2d2(v->pt) < best) {
                best = A.Dist2d2(v->pt);
                onSeg = v;
            }
        }
    }
    if (onSeg) {
        stop = onSeg;
        return false;
    }

    // The triangle around a through whose opposite edge the segment leaves:
    // counter-clockwise (a, u, w) with u right of a->b and w left of it.
    _sTri* cur = nullptr;
    _sVertex *u = nullptr, *w = nullptr;
    for (_sTri* t : a->setTri) {
        int i = 0;
        while (i < 3 && t->pVer[i] != a) ++i;
        if (i == 3) continue;
        _sVertex* cu = t->pVer[(i + 1) % 3];
        _sVertex* cw = t->pVer[(i + 2) % 3];
        if (Orient(A, B, cu->pt) < 0 && Orient(A, B, cw->pt) > 0) {
            cur = t;
            u = cu;
            w = cw;
            break;
        }
    }
    if (!cur) return false;

    // Walk along the segment without changing anything yet, so that a walk
    // that cannot be completed leaves the triangulation intact.
    std::vector<_sTri*> crossed{cur};
    std::vector<_sVertex*> right{a, u}, left{a, w};
    _sVertex* end = nullptr;
    for (std::size_t guard = static_cast<std::size_t>(m_mesh.TriNum()) + 4; guard > 0; --guard) {
        _sEdge* e = m_mesh.FindEdgeByVer(u, w, cur);
        _sTri* next = m_mesh.FindTriCoEdge(e, cur);
        if (!next) return false;
        _sVertex* x = Third(next, u, w);
        if (!x) return false;
        crossed.push_back(next);
        if (x == b || IsOnSegment(A, B, x->pt)) {
            end = x;
            break;
        }
        const int o = Orient(A, B, x->pt);
        if (o < 0) {
            right.push_back(x);
            u = x;
        } else if (o > 0) {
            left.push_back(x);
            w = x;
        } else {
            return false;  // on the line beyond the segment: the walk went astray
        }
        cur = next;
    }
    if (!end) return false;
    right.push_back(end);
    left.push_back(end);
    for (_sTri* t : crossed) m_mesh.DelTri(t);
    side1.swap(right);
    side2.swap(left);
    stop = end;
    return true;
}

bool CKrDelaunay::TriPolyDelaunay(std::vector<_sVertex*>& poly)
{
    const std::size_t n = poly.size();
    if (n < 3) return false;
    std::vector<CKrPoint3d> pts(n);
    std::vector<double> xs(n), ys(n);
    for (std::size_t i = 0; i < n; ++i) {
        pts[i] = poly[i]->pt;
        xs[i] = pts[i].x;
        ys[i] = pts[i].y;
    }
    // The walk hands over one chain in each winding; triangles are always
    // made counter-clockwise.
    const double area = KrTesGeo::GetPolygonArea2D(static_cast<int>(n), xs.data(), ys.data());
    if (area < 0.0) {
        std::reverse(poly.begin(), poly.end());
        std::reverse(pts.begin(), pts.end());
    }
    if (n == 3) {
        if (Orient(pts[0], pts[1], pts[2]) <= 0) return false;
        m_mesh.AddTri(poly[0], poly[1], poly[2]);
        return true;
    }
    std::vector<KrTesGeo::_sTri_ID> tris;
    bool ok = KrTesGeo::TriangulatePolygonByAngle(pts, tris, 1e-6) && tris.size() == n - 2;
    for (std::size_t i = 0; ok && i < tris.size(); ++i)
        ok = Orient(pts[static_cast<std::size_t>(tris[i][0])], pts[static_cast<std::size_t>(tris[i][1])],
                    pts[static_cast<std::size_t>(tris[i][2])]) > 0;
    if (!ok) return TriangulateChain(poly);
    for (const KrTesGeo::_sTri_ID& t : tris)
        m_mesh.AddTri(poly[static_cast<std::size_t>(t[0])], poly[static_cast<std::size_t>(t[1])],
                      poly[static_cast<std::size_t>(t[2])]);
    return true;
}

bool CKrDelaunay::TriangulateChain(std::vector<_sVertex*>& poly)
{
    // Fallback for cavities the angle-based ear cutting refuses (collinear
    // runs, slivers): ear clipping decided with exact predicates. An ear is a
    // strictly convex corner whose triangle holds no other corner; a simple
    // polygon always has one. Counter-clockwise input.
    std::vector<_sVertex*> ring(poly);
    std::vector<std::array<_sVertex*, 3>> out;
    while (ring.size() > 3) {
        const std::size_t m = ring.size();
        bool cut = false;
        for (std::size_t i = 0; i < m && !cut; ++i) {
            _sVertex* p = ring[(i + m - 1) % m];
            _sVertex* v = ring[i];
            _sVertex* q = ring[(i + 1) % m];
            if (Orient(p->pt, v->pt, q->pt) <= 0) continue;
            bool blocked = false;
            for (std::size_t j = 0; j < m && !blocked; ++j) {
                const _sVertex* o = ring[j];
                if (o == p || o == v || o == q) continue;
                blocked = Orient(p->pt, v->pt, o->pt) >= 0 && Orient(v->pt, q->pt, o->pt) >= 0 &&
                          Orient(q->pt, p->pt, o->pt) >= 0;
            }
            if (blocked) continue;
            out.push_back({p, v, q});
            ring.erase(ring.begin() + static_cast<long>(i));
            cut = true;
        }
        if (!cut) return false;  // not a simple polygon: leave the cavity open
    }
    if (Orient(ring[0]->pt, ring[1]->pt, ring[2]->pt) <= 0) return false;
    out.push_back({ring[0], ring[1], ring[2]});
    for (const auto& t : out) m_mesh.AddTri(t[0], t[1], t[2]);
    return true;
}

}  // namespace TesTriMesh
