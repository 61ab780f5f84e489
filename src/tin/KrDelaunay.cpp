#include "KrTesGeometry/tin/KrDelaunay.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <utility>

#include "tin/KrPlanarVertexIndex.h"
#include "tin/KrDelaunayCore.h"
#include "tin/KrDelaunayKernel.h"
#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/KrPlanarFunc.h"
#include "geom/KrBox.h"

namespace TesTriMesh {

namespace {
// The process-wide coordinate tolerance of every triangulator's vertex index.
double g_dDelaunayTol = 0.01;

using KrTesGeo::detail::IsFinite;

// The mesh's own records as a topology for the insertion decisions.
class CMeshTopo {
public:
    using Tri = _sTri*;
    static constexpr Tri kNone = nullptr;

    explicit CMeshTopo(const CKrMeshData& mesh) : m_mesh(mesh) {}
    // The triangle across edge k of t, or none when t is not on that edge or
    // the other side is empty.
    static Tri Across(const _sTri* t, int k)
    {
        const _sEdge* e = t->pEdge[k];
        return e ? e->CoEdgeTri(t) : nullptr;
    }
    static double X(const _sTri* t, int k) { return t->pVer[k]->pt.x; }
    static double Y(const _sTri* t, int k) { return t->pVer[k]->pt.y; }
    static int32_t& Mark(_sTri* t) { return t->nSign[1]; }
    std::size_t Count() const { return m_mesh.m_setTri.size(); }
    template <class F>
    Tri Scan(F ok) const
    {
        for (_sTri* t : m_mesh.m_setTri)
            if (ok(t)) return t;
        return nullptr;
    }

private:
    const CKrMeshData& m_mesh;
};

// Writes the kernel's live triangles into a mesh that has no triangle and no
// octree.
void WriteKernelFaces(CKrMeshData& mesh, const CKrDelaunayKernel& kernel)
{
    // The same records, created in the same order, as one AddTri per live
    // slot (the mesh has no other triangle and no octree here), but each
    // edge is taken from the kernel's adjacency instead of being looked up:
    // an edge exists already exactly when the triangle across it was written
    // before, and then it is that triangle's edge facing this one.
    const std::vector<CKrDelaunayKernel::Face>& faces = kernel.Faces();
    const std::size_t n = faces.size();
    std::vector<_sTri*> made(n, nullptr);
    CKrMeshData::TriSet& tris = mesh.m_setTri;
    CKrMeshData::EdgeSet& edges = mesh.m_setEdge;
    constexpr std::size_t kAhead = 8;  // the corners are scattered records: load them early
    for (std::size_t i = 0; i < n; ++i) {
        if (i + kAhead < n && faces[i + kAhead].mark != CKrDelaunayKernel::kDead)
            for (uint32_t v : faces[i + kAhead].v) detail::KrOrderedSetDetail::Prefetch(kernel.Vertex(v));
        const CKrDelaunayKernel::Face& f = faces[i];
        if (f.mark == CKrDelaunayKernel::kDead) continue;
        _sTri* t = tris.Create();
        for (int k = 0; k < 3; ++k) t->pVer[k] = kernel.Vertex(f.v[k]);
        for (_sVertex* v : t->pVer) v->setTri.insert(t);
        for (int k = 0; k < 3; ++k) {
            _sEdge* e = nullptr;
            const CKrDelaunayKernel::Tri o = f.n[k];
            if (o != CKrDelaunayKernel::kNone && made[o]) {
                const CKrDelaunayKernel::Face& g = faces[o];
                const int back = g.n[0] == i ? 0 : (g.n[1] == i ? 1 : 2);
                e = made[o]->pEdge[back];
            } else {
                e = edges.Create(t->pVer[k], t->pVer[k == 2 ? 0 : k + 1]);
                edges.InsertFresh(e);
            }
            e->AddEdgeTri(t);
            t->pEdge[k] = e;
        }
        tris.insert(t);
        made[i] = t;
    }
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
    // The index above already turned away points within the triangulator's
    // tolerance; the mesh's own (larger) tolerance is checked around the
    // vertex's place only.
    auto ins = m_mesh.m_setVer.InsertNearby(v);
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
    m_mesh.m_setVer.RefreshPrefixes();  // the set caches plan positions
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

_sTri* CKrDelaunay::FindTri(double x, double y) const
{
    if (m_mesh.m_setTri.empty()) return nullptr;
    return DelaunayCore::Walk(CMeshTopo(m_mesh), *m_mesh.m_setTri.begin(), x, y);
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
    // Evaluated in the local frame of the run (see Delaunay()).
    CMeshTopo topo(m_mesh);
    DelaunayCore::CollectCavity(topo, p->pt.x, p->pt.y, m_ptOrigin.x, m_ptOrigin.y, start, out, m_vecStack);
}

bool CKrDelaunay::InsertPtIntoMesh(_sVertex* p)
{
    if (!p) return false;
    _sTri* t = FindTri(p->pt.x, p->pt.y);
    if (!t) return false;

    std::vector<_sTri*>& cavity = m_vecCavity;
    cavity.clear();
    FindCircumTri(p, t, cavity);
    CMeshTopo topo(m_mesh);
    DelaunayCore::RepairCavity(topo, p->pt.x, p->pt.y, t, cavity);
    if (cavity.empty()) return false;

    // The boundary of the cavity: every directed edge whose triangle across
    // is not in the cavity, in cavity order. (An edge shared by two cavity
    // triangles occurs twice and cancels.)
    for (_sTri* c : cavity) CMeshTopo::Mark(c) = DelaunayCore::kInCavity;
    std::vector<std::pair<_sVertex*, _sVertex*>>& rim = m_vecRim;
    rim.clear();
    for (_sTri* c : cavity) {
        for (int k = 0; k < 3; ++k) {
            _sTri* n = CMeshTopo::Across(c, k);
            if (!n || CMeshTopo::Mark(n) != DelaunayCore::kInCavity) rim.emplace_back(c->pVer[k], c->pVer[(k + 1) % 3]);
        }
    }
    for (_sTri* c : cavity) m_mesh.DelTri(c);
    for (const auto& e : rim) m_mesh.AddTri(e.first, e.second, p);
    return !rim.empty();
}

void CKrDelaunay::InsertAllVertices()
{
    // Every vertex but the super triangle's, in the vertex set's order, into
    // the super triangle: the same decisions as InsertPtIntoMesh, taken on
    // compact arrays, and the finished triangles written into the mesh once.
    if (m_mesh.m_setTri.size() != 1) return;  // no super triangle: nothing can be placed
    _sTri* super = *m_mesh.m_setTri.begin();
    std::vector<_sVertex*> vers;
    vers.reserve(m_mesh.m_setVer.size());
    uint32_t corner[3] = {0, 0, 0};
    for (_sVertex* v : m_mesh.m_setVer) {
        for (int k = 0; k < 3; ++k)
            if (v == super->pVer[k]) corner[k] = static_cast<uint32_t>(vers.size());
        vers.push_back(v);
    }
    const std::size_t total = vers.size();
    CKrDelaunayKernel kernel(std::move(vers), corner[0], corner[1], corner[2], m_ptOrigin.x, m_ptOrigin.y);
    std::size_t done = 0;
    for (uint32_t i = 0; i < total; ++i) {
        if (i == corner[0] || i == corner[1] || i == corner[2]) continue;
        kernel.Insert(i);
        if (m_fnProgress && (++done & 0xFFFF) == 0) m_fnProgress(done, total);
    }
    if (m_fnProgress) m_fnProgress(total, total);
    kernel.ReleaseWorkspace();

    m_mesh.DelTri(super);
    WriteKernelFaces(m_mesh, kernel);
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
    const bool outline = m_plOutline.NumVerts() >= 3;
    if (!outline && m_vecHole.empty()) return;
    std::vector<_sTri*> drop;
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
            SetTriBound();
            // No vertex is added after the super triangle's: the duplicate
            // index has served, and its memory is better used by the insertion.
            m_pVerIndex->Clear();
            InsertAllVertices();

            // The hull pockets are filled before the constraints go in: every
            // constraint lies inside the hull, and its recovery then sees the
            // finished triangulation.
            if (m_bFullHull) RemoveSuperTriangle();
            for (const _sSeg* s : m_vecSeg) DealSegYS(s);
            if (!m_bFullHull) RemoveSuperTriangle();
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
        m_pVerIndex->Clear();
        throw;  // allocation failure: the only exception that leaves the library
    }
    // Purged vertices may still be filed in the index.
    m_pVerIndex->Clear();
    m_mesh.ResetOctTree();
    return ok;
}

}  // namespace TesTriMesh
