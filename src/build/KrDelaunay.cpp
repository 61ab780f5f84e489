#include "build/KrDelaunay.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <utility>

#include "build/KrPlanarVertexIndex.h"
#include "build/KrTriLocator.h"
#include "geom/KrExactPredicates.h"
#include "geom/KrPlanarFunc.h"

namespace TesTriMesh {

namespace {
// The process-wide coordinate tolerance of every triangulator's vertex index.
double g_dDelaunayTol = 0.01;

inline bool IsFinite(const CKrPoint3d& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

// The triangle across edge k of t (edge k joins pVer[k] and pVer[(k+1)%3]),
// or null when t is not on that edge or the other side is empty.
inline _sTri* Across(const _sTri* t, int k)
{
    const _sEdge* e = t->pEdge[k];
    if (!e) return nullptr;
    if (e->pTri[0] == t) return e->pTri[1];
    if (e->pTri[1] == t) return e->pTri[0];
    return nullptr;
}

// Temporary marks kept in a triangle's visit mark while a cavity is built;
// every path puts the mark back to -1 (unset) before it returns.
constexpr int32_t kUnmarked = -1;
constexpr int32_t kInCavity = 0x4B520001;
constexpr int32_t kReached = 0x4B520002;
constexpr int32_t kKept = 0x4B520003;

inline int32_t& Mark(_sTri* t) { return t->nSign[1]; }
inline int32_t MarkOf(const _sTri* t) { return t->nSign[1]; }

inline int Orient(const _sVertex* a, const _sVertex* b, double px, double py)
{
    return KrTesGeo::Orient2dExact(a->pt.x, a->pt.y, b->pt.x, b->pt.y, px, py);
}
}  // namespace

double CKrDelaunay::GetCoordTol() { return g_dDelaunayTol; }

CKrDelaunay::CKrDelaunay(CKrMeshData& mesh, double tol)
    : m_mesh(mesh), m_pTriBound{nullptr, nullptr, nullptr}, m_bCheckYS(false),
      m_pVerIndex(new CKrPlanarVertexIndex)
{
    g_dDelaunayTol = tol;
}

CKrDelaunay::~CKrDelaunay()
{
    for (CKrPolyLine* h : m_vecHole) delete h;
    for (_sSeg* s : m_vecSeg) delete s;
    m_vecHole.clear();
    m_vecSeg.clear();
}

void CKrDelaunay::SetProgress(std::function<void(std::size_t, std::size_t)> progress)
{
    m_fnProgress = std::move(progress);
}

// ---------------------------------------------------------------------------
// Vertices

_sVertex* CKrDelaunay::NewVertex(const CKrPoint3d& pt, bool hasTag, int tag)
{
    if (!IsFinite(pt)) return nullptr;
    m_pVerIndex->EnsureTolerance(g_dDelaunayTol);
    if (_sVertex* old = m_pVerIndex->Find(pt.x, pt.y)) return old;

    _sVertex* v = new _sVertex;
    v->pt = pt;
    if (hasTag) v->nID = tag;
    auto ins = m_mesh.m_setVer.insert(v);
    if (!ins.second) {
        // The mesh already holds a vertex it merges this point with (its own
        // tolerance is larger than ours): use that one rather than leave a
        // vertex that no container owns.
        delete v;
        v = *ins.first;
        m_pVerIndex->Insert(v);
        return v;
    }
    m_pVerIndex->Insert(v);
    m_mesh.UpdateExtent(*v);
    return v;
}

_sVertex* CKrDelaunay::AddVertex(const CKrPoint3d& pt, int tag) { return NewVertex(pt, true, tag); }

_sVertex* CKrDelaunay::AddVertex(const CKrPoint3d& pt) { return NewVertex(pt, false, 0); }

bool CKrDelaunay::IsNotMesh() const { return m_mesh.m_setVer.size() < 3; }

void CKrDelaunay::TranslateCoord(bool back)
{
    if (m_mesh.m_setVer.empty()) return;
    if (!back) {
        m_ptOrigin = CKrPoint3d((m_mesh.m_ptMax.x + m_mesh.m_ptMin.x) * 0.5,
                                (m_mesh.m_ptMax.y + m_mesh.m_ptMin.y) * 0.5, 0.0);
    }
    const double sx = back ? m_ptOrigin.x : -m_ptOrigin.x;
    const double sy = back ? m_ptOrigin.y : -m_ptOrigin.y;
    m_mesh.m_ptMax.x += sx;
    m_mesh.m_ptMax.y += sy;
    m_mesh.m_ptMin.x += sx;
    m_mesh.m_ptMin.y += sy;
    for (_sVertex* v : m_mesh.m_setVer) {
        v->pt.x += sx;
        v->pt.y += sy;
    }
    for (CKrPolyLine* h : m_vecHole) h->Offset(m_ptOrigin, back);
    m_plOutline.Offset(m_ptOrigin, back);
    m_pVerIndex->Rebuild();
}

// ---------------------------------------------------------------------------
// Point location and insertion

void CKrDelaunay::SetTriBound()
{
    const CKrPoint3d mx = m_mesh.m_ptMax, mn = m_mesh.m_ptMin;
    const double w = mx.x - mn.x, h = mx.y - mn.y;
    const double d = w > h ? w : h;
    const double cx = (mx.x + mn.x) * 0.5, cy = (mx.y + mn.y) * 0.5;
    m_pTriBound[0] = AddVertex(CKrPoint3d(cx - 2.0 * d, cy - d, 0.0));
    m_pTriBound[1] = AddVertex(CKrPoint3d(cx, cy + 2.0 * d, 0.0));
    m_pTriBound[2] = AddVertex(CKrPoint3d(cx + 2.0 * d, cy - d, 0.0));
    m_mesh.AddTri(m_pTriBound[2], m_pTriBound[1], m_pTriBound[0]);
}

_sTri* CKrDelaunay::WalkFrom(_sTri* t, double x, double y) const
{
    // Visibility walk with exact orientation: leave through the first edge
    // that has the point strictly on its outer side. On a valid triangulation
    // the walk ends; should rounding in the in-circle tests have left the
    // triangulation slightly non-Delaunay, a deterministic walk could cycle,
    // so after a generous number of steps the edge order is randomised
    // (which ends with probability 1), and as a last resort every triangle is
    // tested.
    const std::size_t n = static_cast<std::size_t>(m_mesh.TriNum());
    const std::size_t detLimit = 1000 + 16 * static_cast<std::size_t>(std::sqrt(static_cast<double>(n)));
    const std::size_t hardLimit = detLimit + 4 * n + 1000;
    uint32_t rnd = 0x9E3779B9u;
    for (std::size_t step = 0; t && step < hardLimit; ++step) {
        int first = 0;
        if (step >= detLimit) {
            rnd ^= rnd << 13;
            rnd ^= rnd >> 17;
            rnd ^= rnd << 5;
            first = static_cast<int>(rnd % 3u);
        }
        int exitEdge = -1;
        for (int j = 0; j < 3; ++j) {
            const int k = (first + j) % 3;
            if (Orient(t->pVer[k], t->pVer[(k + 1) % 3], x, y) < 0) {
                exitEdge = k;
                break;
            }
        }
        if (exitEdge < 0) return t;
        const _sEdge* e = t->pEdge[exitEdge];
        if (!e || (e->pTri[0] != t && e->pTri[1] != t)) return nullptr;  // broken topology
        t = Across(t, exitEdge);
    }
    if (!t) return nullptr;  // walked off the triangulated region
    for (_sTri* c : m_mesh.m_setTri) {
        if (Orient(c->pVer[0], c->pVer[1], x, y) >= 0 && Orient(c->pVer[1], c->pVer[2], x, y) >= 0 &&
            Orient(c->pVer[2], c->pVer[0], x, y) >= 0)
            return c;
    }
    return nullptr;
}

_sTri* CKrDelaunay::FindTri(double x, double y) const
{
    if (m_mesh.m_setTri.empty()) return nullptr;
    _sTri* start = m_pLocator ? m_pLocator->Start(x, y) : nullptr;
    if (!start) start = *m_mesh.m_setTri.begin();
    return WalkFrom(start, x, y);
}

_sTri* CKrDelaunay::FindNextTri(_sTri* tri, _sVertex* a, _sVertex* b, double x1, double y1, double x2, double y2)
{
    if (!tri || !a || !b) return nullptr;
    if (!KrTesGeo::IsIntersectLineSeg(x1, y1, x2, y2, a->pt.x, a->pt.y, b->pt.x, b->pt.y, 0.0)) return nullptr;
    _sEdge* e = m_mesh.FindEdgeByVer(a, b, tri);
    _sTri* next = m_mesh.FindTriCoEdge(e, tri);
    if (!next) return nullptr;
    m_mesh.DelTri(tri);
    return next;
}

void CKrDelaunay::FindCircumTri(const _sVertex* p, _sTri* start, std::vector<_sTri*>& out) const
{
    // Depth-first over the neighbours across AB, then BC, then CA, with an
    // explicit stack: a point inside thousands of cocircular points has a
    // cavity that large, and recursion that deep would overflow the stack.
    // Membership is marked in the triangles' visit mark and cleared again.
    const std::size_t first = out.size();
    const double ox = m_ptOrigin.x, oy = m_ptOrigin.y;
    std::vector<_sTri*>& stack = m_vecStack;
    stack.clear();
    if (start) stack.push_back(start);
    while (!stack.empty()) {
        _sTri* t = stack.back();
        stack.pop_back();
        if (MarkOf(t) == kInCavity) continue;  // already in the cavity
        const CKrPoint3d &a = t->pVer[0]->pt, &b = t->pVer[1]->pt, &c = t->pVer[2]->pt;
        // Evaluated in the local frame of the run (see Delaunay()).
        if (CKrPoint3d::IsPtIn3PCircle(p->pt.x - ox, p->pt.y - oy, a.x - ox, a.y - oy, b.x - ox, b.y - oy,
                                       c.x - ox, c.y - oy) < 0)
            continue;
        Mark(t) = kInCavity;
        out.push_back(t);
        for (int k = 2; k >= 0; --k)
            if (_sTri* n = Across(t, k)) stack.push_back(n);
    }
    for (std::size_t i = first; i < out.size(); ++i) Mark(out[i]) = kUnmarked;
}

void CKrDelaunay::RepairCavity(const _sVertex* p, _sTri* start, std::vector<_sTri*>& cavity) const
{
    // The in-circle decisions are made in plain floating point. Near
    // cocircular or collinear points they can disagree across an edge and
    // leave a cavity that p does not see entirely, which would create an
    // inverted or flat triangle. Check every boundary edge exactly and move
    // the offending triangles in or out until p sees the whole boundary.
    const double px = p->pt.x, py = p->pt.y;
    for (_sTri* t : cavity) Mark(t) = kInCavity;
    bool changed = false;
    if (MarkOf(start) != kInCavity) {
        Mark(start) = kInCavity;
        cavity.push_back(start);
        changed = true;
    }
    for (int round = 0; round < 64; ++round) {
        bool again = false;
        for (std::size_t i = 0; i < cavity.size(); ++i) {
            _sTri* t = cavity[i];
            if (MarkOf(t) != kInCavity) continue;
            for (int k = 0; k < 3; ++k) {
                _sTri* n = Across(t, k);
                if (n && MarkOf(n) == kInCavity) continue;
                const _sVertex *a = t->pVer[k], *b = t->pVer[(k + 1) % 3];
                const int o = Orient(a, b, px, py);
                if (o > 0) continue;
                const double dx = b->pt.x - a->pt.x, dy = b->pt.y - a->pt.y;
                const double s = (px - a->pt.x) * dx + (py - a->pt.y) * dy;
                const bool onEdge = o == 0 && s > 0.0 && s < dx * dx + dy * dy;
                if (onEdge && n) {
                    Mark(n) = kInCavity;  // p lies on this edge: both sides must go
                    cavity.push_back(n);
                } else if (t != start) {
                    Mark(t) = kUnmarked;  // p cannot see this edge: keep the triangle
                } else {
                    continue;
                }
                again = changed = true;
                break;
            }
        }
        if (!again) break;
    }
    if (changed) {
        // Keep only what is still connected to the start triangle, in the
        // original order.
        std::vector<_sTri*> reach{start}, stack{start};
        Mark(start) = kReached;
        while (!stack.empty()) {
            _sTri* t = stack.back();
            stack.pop_back();
            for (int k = 0; k < 3; ++k) {
                _sTri* n = Across(t, k);
                if (n && MarkOf(n) == kInCavity) {
                    Mark(n) = kReached;
                    stack.push_back(n);
                }
            }
        }
        std::vector<_sTri*> kept;
        for (_sTri* t : cavity)
            if (MarkOf(t) == kReached) {  // the list may repeat a triangle: take it once
                kept.push_back(t);
                Mark(t) = kKept;
            }
        for (_sTri* t : cavity) Mark(t) = kUnmarked;
        cavity.swap(kept);
    }
    for (_sTri* t : cavity) Mark(t) = kUnmarked;
}

bool CKrDelaunay::InsertPtIntoMesh(_sVertex* p)
{
    if (!p) return false;
    _sTri* t = FindTri(p->pt.x, p->pt.y);
    if (!t) return false;

    std::vector<_sTri*>& cavity = m_vecCavity;
    cavity.clear();
    FindCircumTri(p, t, cavity);
    RepairCavity(p, t, cavity);
    if (cavity.empty()) return false;

    // The boundary of the cavity: every directed edge whose triangle across
    // is not in the cavity, in cavity order. (An edge shared by two cavity
    // triangles occurs twice and cancels.)
    for (_sTri* c : cavity) Mark(c) = kInCavity;
    std::vector<std::pair<_sVertex*, _sVertex*>>& rim = m_vecRim;
    rim.clear();
    for (_sTri* c : cavity) {
        for (int k = 0; k < 3; ++k) {
            const _sTri* n = Across(c, k);
            if (!n || MarkOf(n) != kInCavity) rim.emplace_back(c->pVer[k], c->pVer[(k + 1) % 3]);
        }
    }
    for (_sTri* c : cavity) m_mesh.DelTri(c);
    for (const auto& e : rim) m_mesh.AddTri(e.first, e.second, p);
    if (m_pLocator && !rim.empty()) m_pLocator->Note(p);
    return !rim.empty();
}

// ---------------------------------------------------------------------------
// The driver

void CKrDelaunay::ClearOldTriangles()
{
    // Triangles from before go with every link to them (edges, the corners'
    // triangle sets), so no vertex keeps a pointer to a deleted record.
    if (m_mesh.TriNum() > 0 || !m_mesh.m_setEdge.empty()) m_mesh.ClearTriData();
}

void CKrDelaunay::ClipByOutlineAndHoles()
{
    std::vector<_sTri*> drop;
    const bool outline = m_plOutline.NumVerts() >= 3;
    for (_sTri* t : m_mesh.m_setTri) {
        const double third = 1.0 / 3.0;
        const CKrPoint3d c((t->pVer[0]->pt.x + t->pVer[1]->pt.x + t->pVer[2]->pt.x) * third,
                           (t->pVer[0]->pt.y + t->pVer[1]->pt.y + t->pVer[2]->pt.y) * third, 0.0);
        bool inHole = false;
        for (const CKrPolyLine* h : m_vecHole) {
            int where = 0;
            if (h->HitTest(c, where, 0.0) && where == 1) {
                inHole = true;
                break;
            }
        }
        if (inHole) {
            drop.push_back(t);
            continue;
        }
        if (outline) {
            int where = 1;
            m_plOutline.HitTest(c, where, 0.0);
            if (where == 0) drop.push_back(t);
        }
    }
    for (_sTri* t : drop) m_mesh.DelTri(t);
}

bool CKrDelaunay::Delaunay()
{
    // The in-circle determinants are evaluated without tolerance, so they
    // are evaluated relative to a local origin at the centre of the extent,
    // where the magnitudes are small. Rather than move every vertex there and
    // back (which would round each coordinate twice), the run subtracts the
    // origin where the determinants are formed; every other decision uses
    // exact predicates, which do not care where the origin is. The caller's
    // coordinates are never touched.
    bool ok = false;
    try {
        if (!m_mesh.m_setVer.empty())
            m_ptOrigin = CKrPoint3d((m_mesh.m_ptMax.x + m_mesh.m_ptMin.x) * 0.5,
                                    (m_mesh.m_ptMax.y + m_mesh.m_ptMin.y) * 0.5, 0.0);
        PreDealForEdge();
        if (m_mesh.m_setVer.size() < 3) throw CAbort();
        ClearOldTriangles();
        // No octree while the triangles churn (it is rebuilt at the end).
        m_mesh.ResetOctTree();

        if (m_mesh.m_setVer.size() == 3) {
            auto it = m_mesh.m_setVer.begin();
            _sVertex* a = *it++;
            _sVertex* b = *it++;
            _sVertex* c = *it;
            if (!a || !b || !c) throw CAbort();
            const double s =
                -0.5 * ((b->pt.x - a->pt.x) * (c->pt.y - a->pt.y) - (b->pt.y - a->pt.y) * (c->pt.x - a->pt.x));
            if (std::fabs(s) < 1e-6) throw CAbort();
            if (s > 0) m_mesh.AddTri(c, b, a);
            else m_mesh.AddTri(a, b, c);
        } else {
            const std::size_t total = m_mesh.m_setVer.size();
            SetTriBound();
            m_pLocator.reset(new CKrTriLocator(m_mesh.m_ptMin.x, m_mesh.m_ptMin.y, m_mesh.m_ptMax.x,
                                               m_mesh.m_ptMax.y, total));
            for (_sVertex* s : m_pTriBound) m_pLocator->Note(s);

            std::size_t done = 0;
            for (_sVertex* v : m_mesh.m_setVer) {
                if (v == m_pTriBound[0] || v == m_pTriBound[1] || v == m_pTriBound[2]) continue;
                InsertPtIntoMesh(v);
                if (m_fnProgress && (++done & 0xFFFF) == 0) m_fnProgress(done, total);
            }
            if (m_fnProgress) m_fnProgress(total, total);

            for (const _sSeg* s : m_vecSeg) DealSegYS(s);

            for (_sVertex* s : m_pTriBound) {
                std::vector<_sTri*> around(s->setTri.begin(), s->setTri.end());
                for (_sTri* t : around) m_mesh.DelTri(t);
            }
            ClipByOutlineAndHoles();
            m_mesh.DelVoidVet();
            m_pTriBound[0] = m_pTriBound[1] = m_pTriBound[2] = nullptr;
            // The super triangle widened the extent far beyond the data (and
            // to z = 0); the extent users read and the octree is sized from
            // is that of the vertices that remain.
            m_mesh.m_ptMax = CKrPoint3d(-DBL_MAX, -DBL_MAX, -DBL_MAX);
            m_mesh.m_ptMin = CKrPoint3d(DBL_MAX, DBL_MAX, DBL_MAX);
            for (const _sVertex* v : m_mesh.m_setVer) m_mesh.UpdateExtent(*v);
        }
        ok = m_mesh.TriNum() > 0;
    } catch (const CAbort&) {
        ok = false;
    } catch (...) {
        m_pLocator.reset();
        m_pVerIndex->Clear();
        throw;  // allocation failure: the only exception that leaves the library
    }
    // Purged vertices may still be filed in the index and the locator.
    m_pLocator.reset();
    m_pVerIndex->Clear();
    m_mesh.ResetOctTree();
    return ok;
}

}  // namespace TesTriMesh
