#include "mesh/octree/KrClosestPairWalk.h"

#include <algorithm>
#include <cfloat>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "geom/KrBox.h"

namespace TesTriMesh {
namespace detail {

using GeoTreeEx::_sOctaNode;
using KrTesGeo::detail::BoxGap;
using KrTesGeo::detail::BoxOverlaps;
using KrTesGeo::detail::CornerBox;

bool ItemCorners(const CGeDataTriMesh& mesh, const void* item, CKrPoint3d p[3])
{
    const CGeDataTriIndex* t = static_cast<const CGeDataTriIndex*>(item);
    for (int k = 0; k < 3; ++k) {
        const CGeDataPoint3D* q = mesh.GetPoint(t->n[k]);
        if (!q) return false;
        p[k] = *q;
    }
    return true;
}

bool IsDegenerateTri(const CKrPoint3d p[3])
{
    using KrTesGeo::Orient2dExact;
    return Orient2dExact(p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y) == 0 &&
           Orient2dExact(p[0].y, p[0].z, p[1].y, p[1].z, p[2].y, p[2].z) == 0 &&
           Orient2dExact(p[0].z, p[0].x, p[1].z, p[1].x, p[2].z, p[2].x) == 0;
}

bool MeshPointBox(const CGeDataTriMesh& mesh, double r[6])
{
    KrTesGeo::detail::SetEmptyBox(r);
    bool any = false;
    for (int32_t i = 0; i < mesh.GetPointCount(); ++i) {
        const CGeDataPoint3D* p = mesh.GetPoint(i);
        if (!p) continue;
        any = true;
        KrTesGeo::detail::AddToBox(r, p->x, p->y, p->z);
    }
    return any;
}

CKrClosestPairWalk::CKrClosestPairWalk(const GeoTreeEx::CKrOctaTreeEx& a, const CGeDataTriMesh& ma,
                                       const GeoTreeEx::CKrOctaTreeEx& b, const CGeDataTriMesh& mb)
    : m_mesh{&ma, &mb}
{
    MeshPointBox(ma, m_extent[0]);
    MeshPointBox(mb, m_extent[1]);
    if (a.m_pRoot && b.m_pRoot) Push(Piece{a.m_pRoot, 0, Piece::kSubtree}, Piece{b.m_pRoot, 0, Piece::kSubtree});
}

bool CKrClosestPairWalk::Next(void*& itemA, void*& itemB)
{
    while (!m_queue.empty()) {
        if (m_pops >= kMaxPops || m_queue.size() >= kMaxQueue) return false;
        ++m_pops;
        const PairEntry e = m_queue.top();
        m_queue.pop();
        if (e.piece[0].kind == Piece::kItem && e.piece[1].kind == Piece::kItem) {
            itemA = ItemOf(e.piece[0]);
            itemB = ItemOf(e.piece[1]);
            return true;
        }
        int s = 0;  // the side to split
        if (e.piece[0].kind == Piece::kItem)
            s = 1;
        else if (e.piece[1].kind != Piece::kItem && Size(e.piece[1], 1) > Size(e.piece[0], 0))
            s = 1;
        m_parts.clear();
        Split(e.piece[s], s, m_parts);
        for (const Piece& p : m_parts) {
            if (s == 0)
                Push(p, e.piece[1]);
            else
                Push(e.piece[0], p);
        }
    }
    return false;
}

bool CKrClosestPairWalk::PopAny(int side, std::vector<void*>& items)
{
    if (m_queue.empty()) return false;
    const PairEntry e = m_queue.top();
    m_queue.pop();
    AllItems(e.piece[side], items);
    return true;
}

double CKrClosestPairWalk::Size(const Piece& p, int side) const
{
    double box[6] = {0, 0, 0, 0, 0, 0};
    BoxOf(p, side, box);
    return std::max({box[3] - box[0], box[4] - box[1], box[5] - box[2]});
}

void CKrClosestPairWalk::BoxOf(const Piece& p, int side, double box[6]) const
{
    switch (p.kind) {
    case Piece::kSubtree: {
        // The loose node box, cut down to the mesh's extent: on the rim of a
        // mesh the loose margin would otherwise hide the true gap.
        const double* t = p.node->m_dBox;
        const double* e = m_extent[side];
        for (int i = 0; i < 3; ++i) {
            box[i] = std::max(t[i], e[i]);
            box[i + 3] = std::min(t[i + 3], e[i + 3]);
        }
        break;
    }
    case Piece::kGroup:
        std::copy(p.node->m_dItemBox, p.node->m_dItemBox + 6, box);
        break;
    case Piece::kItem: {
        CKrPoint3d c[3];
        ItemCorners(*m_mesh[side], ItemOf(p), c);
        CornerBox(c[0], c[1], c[2], box);
        break;
    }
    }
}

void CKrClosestPairWalk::Push(const Piece& a, const Piece& b)
{
    double key;
    if (a.kind == Piece::kItem && b.kind == Piece::kItem) {
        CKrPoint3d ca[3], cb[3];
        ItemCorners(*m_mesh[0], ItemOf(a), ca);
        ItemCorners(*m_mesh[1], ItemOf(b), cb);
        // Triangles that meet come first: the pair loop measures them at 0,
        // whatever their centroids.
        double ba[6], bb[6];
        CornerBox(ca[0], ca[1], ca[2], ba);
        CornerBox(cb[0], cb[1], cb[2], bb);
        if (BoxOverlaps(ba, bb) &&
            CKrSpaceMath::Test_Intersect_Tri_And_Tri_3D(ca[0], ca[1], ca[2], cb[0], cb[1], cb[2]) == 2)
            key = 0.0;
        else
            key = TriCentroid(ca).Distance(TriCentroid(cb));
    } else {
        double ba[6], bb[6];
        BoxOf(a, 0, ba);
        BoxOf(b, 1, bb);
        key = BoxGap(ba, bb);
    }
    if (!(key <= DBL_MAX)) key = DBL_MAX;  // NaN or infinite: last
    m_queue.push(PairEntry{key, m_seq++, {a, b}});
}

void CKrClosestPairWalk::Split(const Piece& p, int side, std::vector<Piece>& out) const
{
    const _sOctaNode* n = p.node;
    if (p.kind == Piece::kSubtree) {
        if (!n->m_vecItems.empty()) out.push_back(Piece{n, 0, Piece::kGroup});
        if (n->IsLeaf()) return;
        for (const _sOctaNode* c : n->m_pChild) {
            if (!c->IsLeaf())
                out.push_back(Piece{c, 0, Piece::kSubtree});
            else if (!c->m_vecItems.empty())
                out.push_back(Piece{c, 0, Piece::kGroup});
        }
        return;
    }
    for (uint32_t i = 0; i < n->m_vecItems.size(); ++i) {
        CKrPoint3d c[3];
        if (ItemCorners(*m_mesh[side], n->m_vecItems[i], c) && !IsDegenerateTri(c))
            out.push_back(Piece{n, i, Piece::kItem});
    }
}

void CKrClosestPairWalk::AllItems(const Piece& p, std::vector<void*>& out)
{
    if (p.kind == Piece::kItem)
        out.push_back(p.node->m_vecItems[p.item]);
    else if (p.kind == Piece::kGroup)
        out.insert(out.end(), p.node->m_vecItems.begin(), p.node->m_vecItems.end());
    else
        SubtreeItems(p.node, out);
}

void CKrClosestPairWalk::SubtreeItems(const _sOctaNode* n, std::vector<void*>& out)
{
    out.insert(out.end(), n->m_vecItems.begin(), n->m_vecItems.end());
    if (n->IsLeaf()) return;
    for (const _sOctaNode* c : n->m_pChild) SubtreeItems(c, out);
}

}  // namespace detail
}  // namespace TesTriMesh
