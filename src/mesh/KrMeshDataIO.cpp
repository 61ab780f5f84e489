// Import and export of a CKrMeshData: point lists with index triples, free
// triangles, the interchange record CGeDataTriMesh, and mesh-to-mesh copies.

#include <algorithm>
#include <unordered_map>

#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

namespace {

// A bad index (out of range or naming a missing point) maps to null, which the
// triangle step treats like a collapsed corner.
inline _sVertex* VertexAt(const std::vector<_sVertex*>& table, int32_t i)
{
    return (i >= 0 && static_cast<size_t>(i) < table.size()) ? table[static_cast<size_t>(i)] : nullptr;
}

inline bool IsTriangle(const _sVertex* a, const _sVertex* b, const _sVertex* c)
{
    return a && b && c && a != b && b != c && c != a;
}

}  // namespace

void CKrMeshData::InputData(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& ids,
                            bool bClear)
{
    if (bClear) ClearAllData();
    std::vector<_sVertex*> table(pts.size());
    for (size_t i = 0; i < pts.size(); ++i) table[i] = MergeVertex(pts[i].x, pts[i].y, pts[i].z);
    for (const KrTesGeo::_sTri_ID& id : ids) {
        _sVertex* a = VertexAt(table, id.nID[0]);
        _sVertex* b = VertexAt(table, id.nID[1]);
        _sVertex* c = VertexAt(table, id.nID[2]);
        // The collapse test comes before any linking, so a dropped triple
        // leaves no trace in its corners.
        if (IsTriangle(a, b, c)) LinkTri(a, b, c);
    }
    ResetOctTree();
}

void CKrMeshData::InputData(const CGeDataTriMesh& mesh, bool bClear)
{
    if (bClear) ClearAllData();
    const int32_t np = mesh.m_arrPts.m_pData ? mesh.m_arrPts.m_nSize : 0;
    const int32_t nt = mesh.m_arrTris.m_pData ? mesh.m_arrTris.m_nSize : 0;
    std::vector<_sVertex*> table(static_cast<size_t>(std::max(np, 0)), nullptr);
    for (int32_t i = 0; i < np; ++i) {
        const CGeDataPoint3D* p = mesh.m_arrPts.m_pData[i];
        if (p) table[static_cast<size_t>(i)] = MergeVertex(p->x, p->y, p->z);
    }
    for (int32_t i = 0; i < nt; ++i) {
        const CGeDataTriIndex* id = mesh.m_arrTris.m_pData[i];
        if (!id) continue;
        _sVertex* a = VertexAt(table, id->n[0]);
        _sVertex* b = VertexAt(table, id->n[1]);
        _sVertex* c = VertexAt(table, id->n[2]);
        if (IsTriangle(a, b, c)) LinkTri(a, b, c);
    }
    ResetOctTree();
}

void CKrMeshData::InputData(const std::vector<CKrTri3d>& tris, bool bClear)
{
    if (bClear) ClearAllData();
    for (const CKrTri3d& tri : tris) {
        _sVertex* v[3];
        for (int k = 0; k < 3; ++k) v[k] = MergeVertex(tri.m_pt[k].x, tri.m_pt[k].y, tri.m_pt[k].z);
        if (IsTriangle(v[0], v[1], v[2])) LinkTri(v[0], v[1], v[2]);
    }
    ResetOctTree();
}

void CKrMeshData::OutputData(std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& ids)
{
    pts.resize(m_setVer.size());
    int32_t n = 0;
    for (_sVertex* v : m_setVer) {
        pts[static_cast<size_t>(n)] = v->pt;
        v->nID = n++;
    }
    ids.resize(m_setTri.size());
    size_t i = 0;
    for (_sTri* t : m_setTri) {
        ids[i++] = KrTesGeo::_sTri_ID(t->pVer[0]->nID, t->pVer[1]->nID, t->pVer[2]->nID);
    }
}

void CKrMeshData::OutputData(CGeDataTriMesh& mesh)
{
    mesh.m_arrPts.RemoveAll();
    mesh.m_arrTris.RemoveAll();
    mesh.m_arrPts.SetSize(static_cast<int32_t>(m_setVer.size()));
    int32_t n = 0;
    for (_sVertex* v : m_setVer) {
        mesh.m_arrPts.m_pData[n] = new CGeDataPoint3D(v->pt.x, v->pt.y, v->pt.z);
        v->nID = n++;
    }
    mesh.m_arrTris.SetSize(static_cast<int32_t>(m_setTri.size()));
    int32_t i = 0;
    for (_sTri* t : m_setTri) {
        mesh.m_arrTris.m_pData[i++] = new CGeDataTriIndex(t->pVer[0]->nID, t->pVer[1]->nID, t->pVer[2]->nID);
    }
}

void CKrMeshData::OutputData(std::vector<CKrTri3d>& tris) const
{
    tris.clear();
    tris.reserve(m_setTri.size());
    for (const _sTri* t : m_setTri) tris.emplace_back(t->pVer[0]->pt, t->pVer[1]->pt, t->pVer[2]->pt);
}

bool CKrMeshData::OutputData(CKrMeshData& dst)
{
    if (&dst == this || (m_setVer.empty() && m_setTri.empty())) return false;
    dst.ClearAllData();
    dst.m_ptMax = m_ptMax;
    dst.m_ptMin = m_ptMin;
    std::unordered_map<const _sVertex*, _sVertex*> copyOf;
    copyOf.reserve(m_setVer.size());
    for (const _sVertex* v : m_setVer) {
        _sVertex* c = new _sVertex(v->pt);
        auto r = dst.m_setVer.insert(c);
        if (!r.second) {
            delete c;
            c = *r.first;
        }
        copyOf[v] = c;
    }
    for (const _sTri* t : m_setTri) {
        _sVertex* v[3];
        for (int k = 0; k < 3; ++k) {
            auto it = copyOf.find(t->pVer[k]);
            v[k] = it != copyOf.end() ? it->second : nullptr;
        }
        if (IsTriangle(v[0], v[1], v[2])) dst.LinkTri(v[0], v[1], v[2]);
    }
    dst.ResetOctTree();
    return true;
}

void CKrMeshData::OutputPoints(std::vector<CKrPoint3d>& pts) const
{
    pts.clear();
    pts.reserve(m_setVer.size());
    for (const _sVertex* v : m_setVer) pts.push_back(v->pt);
}

}  // namespace TesTriMesh
