#include "KrTesGeometry/boolean/KrMeshBoolean.h"

#include <unordered_map>

#include "KrTesGeometry/boolean/KrMeshTrans.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"
#include "boolean/KrBooleanCut.h"
#include "boolean/KrExactCut.h"

namespace TesTriMesh {

namespace {
CKrMeshBoolean::CutEngine g_cutEngine = CKrMeshBoolean::CutEngine::kExact;
}  // namespace

void CKrMeshBoolean::SetCutEngine(CutEngine engine) { g_cutEngine = engine; }

CKrMeshBoolean::CutEngine CKrMeshBoolean::GetCutEngine() { return g_cutEngine; }

bool CKrMeshBoolean::ClassifyMesh_New(CKrMeshData& reference, CKrMeshData& target, std::vector<CKrSeg3d>& segments,
                                      std::vector<_sTri*>& outside, std::vector<_sTri*>& inside,
                                      std::vector<_sTri*>& same, std::vector<_sTri*>& opposite,
                                      std::vector<_sTri*>& fifth, CKrTri3d& lastSeed)
{
    outside.clear();
    inside.clear();
    same.clear();
    opposite.clear();
    fifth.clear();
    if (&reference == &target) {
        segments.clear();
        return false;
    }
    if (g_cutEngine == CutEngine::kExact) {
        for (CKrMeshData* m : {&reference, &target}) {
            m->ResetSign();
            for (_sTri* t : m->m_setTri) t->bSign = false;
        }
        exact::KrExactCutResult res;
        const bool cut = exact::ExactCut(reference, target, !reference.m_setTri.empty(), res);
        segments = std::move(res.segments);
        if (reference.m_setTri.empty()) {
            outside = SortedTris(target);
            return cut;
        }
        outside = std::move(res.lists[0]);
        inside = std::move(res.lists[1]);
        same = std::move(res.lists[2]);
        opposite = std::move(res.lists[3]);
        fifth = std::move(res.lists[4]);
        lastSeed = res.lastSeed;
        const bool closedReference = CheckClosedSolid(reference).IsSolid();
        const std::size_t sorted = outside.size() + inside.size() + same.size() + opposite.size() + fifth.size();
        return cut && closedReference && fifth.empty() && sorted == target.m_setTri.size();
    }
    std::unordered_set<_sTri*> coplanar;
    const bool cut = Cut(reference, target, segments, &coplanar);
    if (reference.m_setTri.empty()) {
        // Nothing bounds a solid: every triangle lies outside it.
        outside = SortedTris(target);
        return cut;
    }
    // Sides are only defined against a closed, consistently oriented
    // surface; one the cut has left open (or never was closed) lets regions
    // take the class of a triangle that sees through the gap.
    const bool closedReference = CheckClosedSolid(reference).IsSolid();
    CKrMeshTrans trans(target);
    trans.SortTrisByEdge(reference, outside, inside, same, opposite, fifth, lastSeed);

    // A triangle lies on the reference surface only where the cut found the
    // two surfaces coplanar. A sliver between close points of an
    // intersection line comes within the query's tolerance of the other
    // surface too; it belongs with the triangle across its free edge.
    std::unordered_map<const _sTri*, int> side;
    for (const _sTri* t : outside) side[t] = 1;
    for (const _sTri* t : inside) side[t] = 2;
    for (bool moved = true; moved;) {
        moved = false;
        for (std::vector<_sTri*>* list : {&same, &opposite}) {
            for (std::size_t i = list->size(); i-- > 0;) {
                _sTri* t = (*list)[i];
                if (coplanar.count(t)) continue;
                int to = 0;
                for (int k = 0; k < 3 && !to; ++k) {
                    const _sEdge* e = t->pEdge[k];
                    if (!e || e->bSign) continue;
                    auto it = side.find(e->CoEdgeTri(t));
                    if (it != side.end()) to = it->second;
                }
                if (!to) continue;
                list->erase(list->begin() + static_cast<std::ptrdiff_t>(i));
                (to == 1 ? outside : inside).push_back(t);
                side[t] = to;
                moved = true;
            }
        }
    }
    const std::size_t sorted = outside.size() + inside.size() + same.size() + opposite.size() + fifth.size();
    return cut && closedReference && fifth.empty() && sorted == target.m_setTri.size();
}

}  // namespace TesTriMesh
