// Consistency checks over the records of a CKrMeshData, and the cleanup and
// bulk edits applied between the steps of the mesh algorithms.

#include <algorithm>
#include <iterator>
#include <set>

#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

namespace {

inline bool EdgeHasEnd(const _sEdge* e, const _sVertex* v)
{
    return e->pVer[0] == v || e->pVer[1] == v;
}

inline bool EdgeHolds(const _sEdge* e, const _sTri* t)
{
    return e->pTri[0] == t || e->pTri[1] == t;
}

}  // namespace

// ---- counting checks ----------------------------------------------------------

int CKrMeshData::CheckMeshDataSame()
{
    int r = 0;
    for (const _sTri* t : m_setTri) {
        if (!(r & 1)) {
            for (int k = 0; k < 3; ++k) {
                if (t->pVer[k] == t->pVer[(k + 1) % 3]) {
                    r |= 1;
                    break;
                }
            }
        }
        if (!(r & 2)) {
            for (int k = 0; k < 3; ++k) {
                if (t->pEdge[k] == t->pEdge[(k + 1) % 3]) {
                    r |= 2;
                    break;
                }
            }
        }
        if ((r & 3) == 3) break;
    }
    for (const _sEdge* e : m_setEdge) {
        if (e->pVer[0] == e->pVer[1]) r |= 4;
        if (e->pTri[0] && e->pTri[0] == e->pTri[1]) r |= 8;
        if ((r & 12) == 12) break;
    }
    return r;
}

int CKrMeshData::CheckMeshDataNull()
{
    int r = 0;
    for (const _sTri* t : m_setTri) {
        if (!t->pVer[0] || !t->pVer[1] || !t->pVer[2]) r |= 1;
        if (!t->pEdge[0] || !t->pEdge[1] || !t->pEdge[2]) r |= 2;
        if ((r & 3) == 3) break;
    }
    for (const _sEdge* e : m_setEdge) {
        if (!e->pVer[0] || !e->pVer[1]) return r | 4;
    }
    return r;
}

int CKrMeshData::CheckMeshDataUnite()
{
    int r = 0;
    for (_sTri* t : m_setTri) {
        if (!(r & 1) && !CheckTriVerUnite(t)) r |= 1;
        if (!(r & 2) && !CheckTriEdgeUnite(t)) r |= 2;
        if (!(r & 4) && !CheckTriVerEdgeUnite(t)) r |= 4;
        if (r == 7) break;
    }
    for (_sVertex* v : m_setVer) {
        if (!CheckVerTriUnite(v)) {
            r |= 8;
            break;
        }
    }
    return r;
}

int CKrMeshData::CheckPointer() const
{
    // Walks the triangle set; there is nothing left to report once the other
    // checks have run, so it always answers 0.
    size_t n = 0;
    for (auto it = m_setTri.begin(); it != m_setTri.end(); ++it) ++n;
    (void)n;
    return 0;
}

// ---- per-record checks -------------------------------------------------------

bool CKrMeshData::CheckTriEdgeUnite(_sTri* t)
{
    if (!t) return false;
    for (const _sEdge* e : t->pEdge)
        if (!e || !EdgeHolds(e, t)) return false;
    return true;
}

bool CKrMeshData::CheckTriVerEdgeUnite(_sTri* t)
{
    if (!t) return false;
    for (const _sVertex* v : t->pVer) {
        int n = 0;
        for (const _sEdge* e : t->pEdge)
            if (e && EdgeHasEnd(e, v)) ++n;
        if (!v || n < 2) return false;
    }
    return true;
}

bool CKrMeshData::CheckTriVerUnite(_sTri* t)
{
    if (!t) return false;
    for (const _sVertex* v : t->pVer)
        if (!v || !v->setTri.count(t)) return false;
    return true;
}

bool CKrMeshData::CheckVerTriUnite(_sVertex* v)
{
    if (!v) return false;
    for (const _sTri* t : v->setTri) {
        if (!t || (t->pVer[0] != v && t->pVer[1] != v && t->pVer[2] != v)) return false;
    }
    return true;
}

bool CKrMeshData::CheckHasThePointer(_sVertex* v) const
{
    for (const _sTri* t : m_setTri)
        if (t->pVer[0] == v || t->pVer[1] == v || t->pVer[2] == v) return true;
    for (const _sEdge* e : m_setEdge)
        if (EdgeHasEnd(e, v)) return true;
    return false;
}

bool CKrMeshData::CheckHasTheEdge(_sEdge* e) const
{
    for (const _sTri* t : m_setTri)
        if (t->pEdge[0] == e || t->pEdge[1] == e || t->pEdge[2] == e) return true;
    return false;
}

bool CKrMeshData::CheckHasTheTri(_sTri* t) const
{
    for (const _sVertex* v : m_setVer)
        if (v->setTri.count(t)) return true;
    for (const _sEdge* e : m_setEdge)
        if (EdgeHolds(e, t)) return true;
    return false;
}

bool CKrMeshData::IsBorderTri(_sTri* t)
{
    if (!t) return false;
    for (const _sEdge* e : t->pEdge)
        if (!e || !EdgeHolds(e, t) || !e->CoEdgeTri(t)) return true;
    return false;
}

// ---- whole-mesh checks -------------------------------------------------------

bool CKrMeshData::CheckEdgeOk()
{
    std::vector<_sTri*> shared;
    const auto ptrLess = [](const _sTri* a, const _sTri* b) { return detail::KrPtrValue(a) < detail::KrPtrValue(b); };
    for (const _sEdge* e : m_setEdge) {
        if (!e->pVer[0] || !e->pVer[1]) return false;
        const auto& s0 = e->pVer[0]->setTri;
        const auto& s1 = e->pVer[1]->setTri;
        shared.clear();
        std::set_intersection(s0.begin(), s0.end(), s1.begin(), s1.end(), std::back_inserter(shared), ptrLess);
        // The slots as a set of distinct triangles, ascending like `shared`.
        std::vector<_sTri*> slots;
        for (_sTri* t : e->pTri)
            if (t) slots.push_back(t);
        std::sort(slots.begin(), slots.end(), ptrLess);
        slots.erase(std::unique(slots.begin(), slots.end()), slots.end());
        if (slots != shared) return false;
    }
    return true;
}

bool CKrMeshData::CheckEdgeSetOk()
{
    std::set<_sEdge*, CKrEdgeLess> copy;
    for (_sEdge* e : m_setEdge) copy.insert(e);
    if (copy.size() != m_setEdge.size()) return false;
    return std::equal(copy.begin(), copy.end(), m_setEdge.begin());
}

bool CKrMeshData::IsMeshOk()
{
    const int s = CheckMeshDataSame() + CheckMeshDataNull() + CheckMeshDataUnite() + CheckPointer();
    const bool edgesOk = CheckEdgeOk();
    const bool setOk = CheckEdgeSetOk();
    return edgesOk && setOk && s == 0;
}

// ---- cleanup and bulk edits -----------------------------------------------------

void CKrMeshData::DelVoidEdge()
{
    for (auto it = m_setEdge.begin(); it != m_setEdge.end();) {
        _sEdge* e = *it;
        if (e->IsEmpty()) {
            it = m_setEdge.erase(it);
            m_setEdge.Destroy(e);
        } else {
            ++it;
        }
    }
}

void CKrMeshData::DelVoidVet()
{
    for (auto it = m_setVer.begin(); it != m_setVer.end();) {
        _sVertex* v = *it;
        if (v->setTri.empty()) {
            it = m_setVer.erase(it);
            // Edges indexed at v can hold no triangle of a sound mesh; they
            // go with it rather than keep a dangling end.
            if (!v->edgeIdx.empty()) {
                std::vector<_sEdge*> gone;
                for (const auto& x : v->edgeIdx) gone.push_back(x.e);
                for (_sEdge* e : gone) m_setEdge.Destroy(e);
                v->edgeIdx.clear();
            }
            delete v;
        } else {
            ++it;
        }
    }
}

void CKrMeshData::Simplify()
{
    CGeDataTriMesh tmp;
    OutputData(tmp);
    ClearAllData();
    InputData(tmp, true);
}

void CKrMeshData::ResetSign()
{
    for (_sTri* t : m_setTri) t->nSign[0] = t->nSign[1] = -1;
    for (_sEdge* e : m_setEdge) e->bSign = false;
}

void CKrMeshData::Invert()
{
    for (_sTri* t : m_setTri) t->Invert();
}

void CKrMeshData::SetZ(double z)
{
    for (_sVertex* v : m_setVer) v->pt.z = z;
}

}  // namespace TesTriMesh
