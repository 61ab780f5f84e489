#include "KrTesGeometry/mesh/KrMeshData.h"

#include <algorithm>
#include <cfloat>

#include "geom/KrBox.h"

namespace TesTriMesh {

double g_dVerTol = 0.01;

void KrTriBox(const _sTri* t, double box[6])
{
    KrTesGeo::detail::CornerBox(t->pVer[0]->pt, t->pVer[1]->pt, t->pVer[2]->pt, box);
}

CKrMeshData::CKrMeshData() : CKrMeshData(0.01) {}

CKrMeshData::CKrMeshData(double dTol)
    : m_pOctTree(nullptr), m_ptMax(-DBL_MAX, -DBL_MAX, -DBL_MAX), m_ptMin(DBL_MAX, DBL_MAX, DBL_MAX)
{
    g_dVerTol = dTol;
}

CKrMeshData::~CKrMeshData()
{
    ClearAllData();
    delete m_pOctTree;
    m_pOctTree = nullptr;
}

_sEdge* CKrMeshData::GetEdge(_sVertex* a, _sVertex* b)
{
    if (_sEdge* e = m_setEdge.FindPair(a, b)) return e;
    _sEdge* e = m_setEdge.Create(a, b);
    m_setEdge.InsertFresh(e);
    return e;
}

_sTri* CKrMeshData::LinkTri(_sVertex* a, _sVertex* b, _sVertex* c)
{
    _sTri* t = m_setTri.Create();
    t->pVer[0] = a;
    t->pVer[1] = b;
    t->pVer[2] = c;
    a->setTri.insert(t);
    b->setTri.insert(t);
    c->setTri.insert(t);
    for (int k = 0; k < 3; ++k) {
        _sEdge* e = GetEdge(t->pVer[k], t->pVer[(k + 1) % 3]);
        e->AddEdgeTri(t);  // a third triangle is not entered, but still points to the edge
        t->pEdge[k] = e;
    }
    m_setTri.insert(t);
    return t;
}

_sTri* CKrMeshData::AddTri(_sVertex* a, _sVertex* b, _sVertex* c)
{
    if (!a || !b || !c || a == b || b == c || c == a) return nullptr;
    _sTri* t = LinkTri(a, b, c);
    if (m_pOctTree && m_pOctTree->m_pRoot) {
        double box[6];
        KrTriBox(t, box);
        m_pOctTree->AddItem(t, box[0], box[1], box[2], box[3], box[4], box[5]);
    }
    return t;
}

void CKrMeshData::DelTri(_sTri* t)
{
    if (!t) return;
    if (m_pOctTree && m_pOctTree->m_pRoot && t->pVer[0] && t->pVer[1] && t->pVer[2]) {
        double box[6];
        KrTriBox(t, box);
        m_pOctTree->RemoveItem(t, box[0], box[1], box[2], box[3], box[4], box[5]);
    }
    for (_sVertex* v : t->pVer)
        if (v) TopoDelVetTri(v, t);
    for (int k = 0; k < 3; ++k) {
        _sEdge* e = t->pEdge[k];
        if (!e || (k > 0 && e == t->pEdge[0]) || (k > 1 && e == t->pEdge[1])) continue;
        e->DelEdgeTri(t);
        if (!e->IsEmpty()) continue;
        // The record in the set with this vertex pair goes (normally e itself).
        if (_sEdge* found = m_setEdge.Lookup(e->pVer[0], e->pVer[1])) m_setEdge.Destroy(found);
    }
    m_setTri.EraseAndDestroy(t);  // freed only when it is in the set
}

void CKrMeshData::TopoDelVetTri(_sVertex* v, _sTri* t)
{
    if (v) v->setTri.erase(t);
}

void CKrMeshData::DelVoidEdge(_sEdge* e)
{
    if (!e) return;
    if (_sEdge* found = m_setEdge.Lookup(e->pVer[0], e->pVer[1])) m_setEdge.Destroy(found);
}

_sEdge* CKrMeshData::FindEdgeByVer(_sVertex* a, _sVertex* b, _sTri* t) const
{
    if (!a || !b || !t) return nullptr;
    for (_sEdge* e : t->pEdge) {
        if (e && ((e->pVer[0] == a && e->pVer[1] == b) || (e->pVer[0] == b && e->pVer[1] == a))) return e;
    }
    return nullptr;
}

_sTri* CKrMeshData::FindTriCoEdge(const _sEdge* e, const _sTri* t) const
{
    return e ? e->CoEdgeTri(t) : nullptr;
}

_sVertex* CKrMeshData::MergeVertex(double x, double y, double z)
{
    _sVertex* v = new _sVertex;
    v->pt.x = x;
    v->pt.y = y;
    v->pt.z = z;
    auto r = m_setVer.insert(v);
    if (!r.second) {
        delete v;
        return *r.first;
    }
    UpdateExtent(*v);
    return v;
}

_sVertex* CKrMeshData::InsertVertex(const CKrPoint3d& pt)
{
    return MergeVertex(pt.x, pt.y, pt.z);
}

void CKrMeshData::UpdateExtent(const _sVertex& v)
{
    m_ptMax.x = std::max(m_ptMax.x, v.pt.x);
    m_ptMax.y = std::max(m_ptMax.y, v.pt.y);
    m_ptMax.z = std::max(m_ptMax.z, v.pt.z);
    m_ptMin.x = std::min(m_ptMin.x, v.pt.x);
    m_ptMin.y = std::min(m_ptMin.y, v.pt.y);
    m_ptMin.z = std::min(m_ptMin.z, v.pt.z);
}

void CKrMeshData::ResetOctTree()
{
    delete m_pOctTree;
    m_pOctTree = nullptr;
    if (m_setTri.empty()) return;
    m_pOctTree = new GeoTreeEx::CKrOctaTreeEx;
    m_pOctTree->Init(m_ptMin.x, m_ptMin.y, m_ptMin.z, m_ptMax.x, m_ptMax.y, m_ptMax.z, 8, 0.2);
    // The corners of a large mesh are scattered in memory: start loading
    // those of a triangle a few places ahead while this one is filed.
    auto ahead = m_setTri.begin();
    for (int k = 0; k < 8 && ahead != m_setTri.end(); ++k) ++ahead;
    double box[6];
    for (_sTri* t : m_setTri) {
        if (ahead != m_setTri.end()) {
            for (const _sVertex* v : (*ahead)->pVer) detail::KrOrderedSetDetail::Prefetch(v);
            ++ahead;
        }
        KrTriBox(t, box);
        m_pOctTree->AddItem(t, box[0], box[1], box[2], box[3], box[4], box[5]);
    }
}

void CKrMeshData::ClearTriData()
{
    if (m_pOctTree) m_pOctTree->Clear();
    // Unlink before the records go, so that no vertex or edge is left holding
    // a pointer to storage the pool will hand out again.
    for (_sVertex* v : m_setVer) v->setTri.clear();
    ClearEdgeData();
    m_setTri.ReleaseAll();
}

void CKrMeshData::ClearEdgeData()
{
    for (_sVertex* v : m_setVer) v->edgeIdx.clear();
    m_setEdge.ReleaseAll();
}

void CKrMeshData::ClearAllData()
{
    m_ptMax = CKrPoint3d(-DBL_MAX, -DBL_MAX, -DBL_MAX);
    m_ptMin = CKrPoint3d(DBL_MAX, DBL_MAX, DBL_MAX);
    // Every record goes, so nothing needs unlinking: the triangle and edge
    // pools are dropped whole, and the vertices (which free their own
    // triangle sets and edge indexes) are deleted in address order, one
    // streaming pass instead of a walk through scattered records per link.
    if (m_pOctTree) m_pOctTree->Clear();
    m_setEdge.ReleaseAll();
    m_setTri.ReleaseAll();
    for (_sVertex* v : m_setVer) delete v;
    m_setVer.clear();
}

}  // namespace TesTriMesh
