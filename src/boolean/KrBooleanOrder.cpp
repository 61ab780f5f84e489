// Position orders of mesh records (see KrBooleanCut.h).
#include <algorithm>

#include "boolean/KrBooleanCut.h"

namespace TesTriMesh {

namespace {

int Comp(const CKrPoint3d& a, const CKrPoint3d& b) { return CKrPoint3d::CompPt(a, b); }

// The corner a triangle's key starts at.
int FirstCorner(const _sTri* t)
{
    int k = 0;
    for (int i = 1; i < 3; ++i)
        if (Comp(t->pVer[i]->pt, t->pVer[k]->pt) < 0) k = i;
    return k;
}

}  // namespace

bool TriPosLess(const _sTri* a, const _sTri* b)
{
    const int ka = FirstCorner(a), kb = FirstCorner(b);
    for (int i = 0; i < 3; ++i) {
        const int c = Comp(a->pVer[(ka + i) % 3]->pt, b->pVer[(kb + i) % 3]->pt);
        if (c != 0) return c < 0;
    }
    return false;
}

std::vector<_sTri*> SortedTris(const CKrMeshData& mesh)
{
    std::vector<_sTri*> tris(mesh.m_setTri.begin(), mesh.m_setTri.end());
    std::stable_sort(tris.begin(), tris.end(), TriPosLess);
    return tris;
}

bool EdgePosLess(const _sEdge* a, const _sEdge* b)
{
    auto ends = [](const _sEdge* e, const CKrPoint3d*& lo, const CKrPoint3d*& hi) {
        lo = &e->pVer[0]->pt;
        hi = &e->pVer[1]->pt;
        if (Comp(*hi, *lo) < 0) std::swap(lo, hi);
    };
    const CKrPoint3d *a0, *a1, *b0, *b1;
    ends(a, a0, a1);
    ends(b, b0, b1);
    const int c = Comp(*a0, *b0);
    return c != 0 ? c < 0 : Comp(*a1, *b1) < 0;
}

void ResetOctTreeByPos(CKrMeshData& mesh)
{
    delete mesh.m_pOctTree;
    mesh.m_pOctTree = nullptr;
    if (mesh.m_setTri.empty()) return;
    mesh.m_pOctTree = new GeoTreeEx::CKrOctaTreeEx;
    mesh.m_pOctTree->Init(mesh.m_ptMin.x, mesh.m_ptMin.y, mesh.m_ptMin.z, mesh.m_ptMax.x, mesh.m_ptMax.y,
                          mesh.m_ptMax.z, 8, 0.2);
    double box[6];
    for (_sTri* t : SortedTris(mesh)) {
        KrTriBox(t, box);
        mesh.m_pOctTree->AddItem(t, box[0], box[1], box[2], box[3], box[4], box[5]);
    }
}

}  // namespace TesTriMesh
