#include "KrTesGeometry/collision/KrCollision.h"

#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <memory>
#include <vector>

#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/math/TESCommFunc.h"
#include "geom/KrBox.h"
#include "mesh/octree/KrCandidateGrid.h"
#include "mesh/octree/KrClosestPairWalk.h"

namespace TesTriMesh {

namespace {

using detail::CKrCandidateGrid;
using detail::CKrClosestPairWalk;
using detail::IsDegenerateTri;
using detail::ItemCorners;
using detail::STriGeom;
using KrTesGeo::detail::BoxOverlaps;

// Two triangles closer than this count as touching.
constexpr double kContactTol = 1e-6;

}  // namespace

// ---- CCollision ------------------------------------------------------------------

CCollision::CCollision() : m_bColl(false), m_dDistClose(DBL_MAX), m_pMeshA(nullptr), m_pMeshB(nullptr) {}

CCollision::~CCollision() = default;

CCollision::CCollision(const CCollision& other) = default;

CCollision& CCollision::operator=(const CCollision& other) = default;

void CCollision::GetClosePair(CKrTri3d& triA, CKrTri3d& triB) const
{
    for (int k = 0; k < 3; ++k) {
        triA.m_pt[k] = m_ptClose[k];
        triB.m_pt[k] = m_ptClose[3 + k];
    }
}

bool CCollision::GetTrisRange(double& minX, double& minY, double& minZ, double& maxX, double& maxY, double& maxZ,
                              const CGeDataTriMesh& mesh) const
{
    double r[6];
    const bool any = detail::MeshPointBox(mesh, r);
    minX = r[0], minY = r[1], minZ = r[2], maxX = r[3], maxY = r[4], maxZ = r[5];
    return any;
}

GeoTreeEx::CKrOctaTreeEx* CCollision::CreateTree(const CGeDataTriMesh& mesh)
{
    double r[6];
    if (mesh.GetTriCount() <= 0 || !GetTrisRange(r[0], r[1], r[2], r[3], r[4], r[5], mesh) ||
        !KrTesGeo::detail::IsFiniteBox(r))
        return nullptr;
    std::unique_ptr<CKrOctaTreeEx> tree(new CKrOctaTreeEx);
    tree->Init(r[0], r[1], r[2], r[3], r[4], r[5], 8, 0.2);
    bool filed = false;
    for (int32_t i = 0; i < mesh.GetTriCount(); ++i) {
        const CGeDataTriIndex* t = mesh.GetTri(i);
        CKrPoint3d p[3];
        if (!t || !ItemCorners(mesh, t, p)) continue;
        double box[6];
        KrTesGeo::detail::CornerBox(p[0], p[1], p[2], box);
        // A corner with a NaN coordinate keeps the triangle out of the tree.
        if (tree->AddItem(const_cast<CGeDataTriIndex*>(t), box[0], box[1], box[2], box[3], box[4], box[5]))
            filed = true;
    }
    return filed ? tree.release() : nullptr;
}

bool CCollision::IsCollTree(const CKrOctaTreeEx*& treeA, const CKrOctaTreeEx*& treeB) const
{
    if (!treeA || !treeB || !treeA->m_pRoot || !treeB->m_pRoot) return false;
    return BoxOverlaps(treeA->m_pRoot->m_dBox, treeB->m_pRoot->m_dBox);
}

std::set<void*> CCollision::GetCollRegionTri(const CKrOctaTreeEx*& treeX, const CKrOctaTreeEx*& treeY)
{
    std::set<void*> out;
    if (!treeX || !treeY || !treeX->m_pRoot || !treeY->m_pRoot) return out;
    const double* b = treeY->m_pRoot->m_dBox;
    treeX->GetLeafItemsInBox(b[0], b[1], b[2], b[3], b[4], b[5], out);
    return out;
}

std::set<void*> CCollision::NearPairMembers(const CKrOctaTreeEx& treeA, const CGeDataTriMesh& meshA,
                                            const CKrOctaTreeEx& treeB, const CGeDataTriMesh& meshB, int side,
                                            std::size_t k)
{
    std::set<void*> out;
    if (k == 0) return out;
    const CGeDataTriMesh& mesh = side == 0 ? meshA : meshB;
    CKrClosestPairWalk walk(treeA, meshA, treeB, meshB);
    void* items[2];
    while (out.size() < k && walk.Next(items[0], items[1])) out.insert(items[side]);

    // Out of budget (a pathological mesh): finish with the nearest remaining
    // pieces without ranking their triangles.
    auto usable = [&](void* item) {
        CKrPoint3d p[3];
        return ItemCorners(mesh, item, p) && !IsDegenerateTri(p);
    };
    std::vector<void*> rest;
    while (out.size() < k && walk.PopAny(side, rest)) {
        for (std::size_t i = 0; i < rest.size() && out.size() < k; ++i)
            if (usable(rest[i])) out.insert(rest[i]);
        rest.clear();
    }
    // No pair could be formed (the other mesh holds only degenerate
    // triangles): any triangles, so that the caller still has candidates.
    if (out.empty()) {
        (side == 0 ? treeA : treeB).GetAllItems(rest);
        for (std::size_t i = 0; i < rest.size() && out.size() < k; ++i) out.insert(rest[i]);
    }
    return out;
}

std::set<void*> CCollision::GetNearTri(const CKrOctaTreeEx*& treeX, const CKrOctaTreeEx*& treeY)
{
    const CKrOctaTreeEx* a = m_pTreeA.get();
    const CKrOctaTreeEx* b = m_pTreeB.get();
    if (!a || !b || !m_pMeshA || !m_pMeshB) return {};
    // Both directions walk the pairs in the same order (A's tree first), so
    // that the two sets hold the two triangles of each leading pair.
    if (treeX == a && treeY == b) return NearPairMembers(*a, *m_pMeshA, *b, *m_pMeshB, 0, kNearTriCount);
    if (treeX == b && treeY == a) return NearPairMembers(*a, *m_pMeshA, *b, *m_pMeshB, 1, kNearTriCount);
    return {};
}

bool CCollision::CollisionCheck_Tri(const CGeDataTriMesh& meshA, const CGeDataTriMesh& meshB,
                                    const std::set<void*>& trisA, const std::set<void*>& trisB)
{
    if (trisA.empty() || trisB.empty()) return false;
    const std::vector<STriGeom> ga = detail::GatherTriGeom(meshA, trisA);
    const std::vector<STriGeom> gb = detail::GatherTriGeom(meshB, trisB);

    // Every pair is visited in set order, as a plain double loop would, but
    // a pair that cannot change anything is not measured: its boxes are
    // apart (so the triangles do not meet) and its centroids are no nearer
    // than the distance held. The grid finds the others once the distance
    // held has become small.
    constexpr std::size_t kRowsBeforeGrid = 4;
    constexpr std::size_t kGridMinSize = 64;
    constexpr double kSlack = 1.0 + 1e-9;  // only ever adds pairs to measure
    std::unique_ptr<CKrCandidateGrid> grid;
    std::vector<uint32_t> cand;
    std::size_t bestA = ga.size(), bestB = gb.size();

    auto measure = [&](std::size_t i, std::size_t j) {  // true: contact, stop
        const STriGeom& a = ga[i];
        const STriGeom& b = gb[j];
        double d = 0.0;
        if (!CKrSpaceMath::Test_Dist_Tri_And_Tri_3D(a.p[0], a.p[1], a.p[2], b.p[0], b.p[1], b.p[2], d)) return false;
        if (d < m_dDistClose) {
            m_dDistClose = d;
            bestA = i;
            bestB = j;
        }
        if (TESCommFunc::TesCompDouble(m_dDistClose, 0.0, kContactTol) == 0) {
            m_bColl = true;
            return true;
        }
        return false;
    };
    auto consider = [&](std::size_t i, std::size_t j) {
        const STriGeom& a = ga[i];
        const STriGeom& b = gb[j];
        if (!BoxOverlaps(a.box, b.box) && !(a.c.Distance(b.c) < m_dDistClose * kSlack)) return false;
        return measure(i, j);
    };

    bool stop = false;
    for (std::size_t i = 0; i < ga.size() && !stop; ++i) {
        if (TESCommFunc::TesCompDouble(m_dDistClose, 0.0, kContactTol) == 0) {
            // Contact held from an earlier check: the first pair measured ends the loop.
            for (std::size_t j = 0; j < gb.size() && !stop; ++j) stop = measure(i, j);
            continue;
        }
        const STriGeom& a = ga[i];
        const double reach = m_dDistClose * kSlack;
        if (!grid && i >= kRowsBeforeGrid && gb.size() > kGridMinSize) grid.reset(new CKrCandidateGrid(gb));
        bool scanAll = true;
        if (grid && reach < DBL_MAX) {
            const double q[6] = {std::min(a.box[0], a.c.x - reach), std::min(a.box[1], a.c.y - reach),
                                 std::min(a.box[2], a.c.z - reach), std::max(a.box[3], a.c.x + reach),
                                 std::max(a.box[4], a.c.y + reach), std::max(a.box[5], a.c.z + reach)};
            cand.clear();
            scanAll = !grid->Query(q, cand);
        }
        if (scanAll) {
            for (std::size_t j = 0; j < gb.size() && !stop; ++j) stop = consider(i, j);
        } else {
            for (std::size_t k = 0; k < cand.size() && !stop; ++k) stop = consider(i, cand[k]);
        }
    }

    // No pair improved on the distance held: nothing to report (and no pair
    // to copy from).
    if (bestA == ga.size()) return false;
    if (TESCommFunc::TesCompDouble(m_dDistClose, 0.0, kContactTol) == -1) return false;
    for (int k = 0; k < 3; ++k) {
        m_ptClose[k] = ga[bestA].p[k];
        m_ptClose[3 + k] = gb[bestB].p[k];
    }
    return true;
}

bool CCollision::CollisionCheck(const CGeDataTriMesh& meshA, const CGeDataTriMesh& meshB)
{
    // The new check releases the trees of the last one (copies keep theirs).
    m_pTreeB.reset();
    m_pTreeA.reset(CreateTree(meshA));
    if (!m_pTreeA) return false;
    m_pTreeB.reset(CreateTree(meshB));
    if (!m_pTreeB) return false;

    struct MeshScope {  // the meshes are known to GetNearTri only during the check
        CCollision& c;
        MeshScope(CCollision& o, const CGeDataTriMesh& a, const CGeDataTriMesh& b) : c(o)
        {
            c.m_pMeshA = &a;
            c.m_pMeshB = &b;
        }
        ~MeshScope() { c.m_pMeshA = c.m_pMeshB = nullptr; }
    } scope(*this, meshA, meshB);

    const CKrOctaTreeEx* ta = m_pTreeA.get();
    const CKrOctaTreeEx* tb = m_pTreeB.get();
    std::set<void*> trisA, trisB;
    bool region = false;
    if (IsCollTree(ta, tb)) {
        trisA = GetCollRegionTri(ta, tb);
        if (!trisA.empty()) {
            trisB = GetCollRegionTri(tb, ta);
            region = !trisB.empty();
        }
    }
    if (!region) {
        trisA = GetNearTri(ta, tb);
        trisB = GetNearTri(tb, ta);
    }
    return CollisionCheck_Tri(meshA, meshB, trisA, trisB);
}

}  // namespace TesTriMesh
