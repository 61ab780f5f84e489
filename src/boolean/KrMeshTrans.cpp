#include "KrTesGeometry/boolean/KrMeshTrans.h"

#include <algorithm>
#include <cfloat>

#include "KrTesGeometry/query/KrMeshQuery.h"
#include "boolean/KrBooleanCut.h"
#include "geom/KrPlanarInternal.h"
#include "KrTesGeometry/geom/KrPlanarFunc.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/math/TESCommFunc.h"

namespace TesTriMesh {

using KrTesGeo::CGeoVector;

namespace {

const CKrPoint3d& P(const _sTri* t, int k) { return t->pVer[k]->pt; }

void Record(std::vector<_sEdgeConVer*>& conv, _sEdge* edge, const CKrPoint3d& at)
{
    conv.push_back(new _sEdgeConVer(edge, new _sVertex(at)));
}

// A corner in the plane lies on the two edges that meet at it: pEdge[k]
// (leaving it) and pEdge[(k + 2) % 3] (arriving); the lower slot first.
void RecordCorner(std::vector<_sEdgeConVer*>& conv, const _sTri* t, int k)
{
    const int in = (k + 2) % 3;
    Record(conv, t->pEdge[std::min(k, in)], P(t, k));
    Record(conv, t->pEdge[std::max(k, in)], P(t, k));
}

// Where the segment from-to, whose ends lie on opposite sides, crosses the
// plane. The segment test decides within its own tolerance; should it see an
// end in the plane where the caller's tolerance did not, the crossing is
// interpolated from the signed distances instead.
CKrPoint3d Crossing(const CKrPoint3d& from, const CKrPoint3d& to, const CKrPoint3d& planePt, const CGeoVector& normal)
{
    CKrPoint3d out;
    if (CKrSpaceMath::Test_Intersect_Seg_And_Plane_3D(from, to, planePt, normal, out) == 1) return out;
    const double df = normal * CGeoVector(from - planePt), dt = normal * CGeoVector(to - planePt);
    const double den = df - dt;
    return den == 0.0 ? from : from + (to - from) * (df / den);
}

}  // namespace

CKrMeshTrans::CKrMeshTrans(CKrMeshData& mesh) : m_pMesh(&mesh) {}

CKrMeshTrans::~CKrMeshTrans() { m_pMesh = nullptr; }

int CKrMeshTrans::IntersectTriAndPlane3D(const _sTri* tri, const CKrPoint3d& planePt, const CGeoVector& normal,
                                         CKrPoint3d& pt1, CKrPoint3d& pt2, std::vector<_sEdgeConVer*>& conv,
                                         int& edgeIndex, double eps)
{
    int s[3], zeros = 0, pos = 0, neg = 0;
    for (int k = 0; k < 3; ++k) {
        s[k] = CKrSpaceMath::PointToPlane(P(tri, k), planePt, normal, eps);
        zeros += s[k] == 0;
        pos += s[k] > 0;
        neg += s[k] < 0;
    }
    if (zeros == 3) return 1;
    if (pos == 3 || neg == 3) return 0;

    if (zeros == 2) {  // an edge lies in the plane
        const int lone = s[0] != 0 ? 0 : (s[1] != 0 ? 1 : 2);
        const int i = lone == 0 ? 1 : 0, j = lone == 2 ? 1 : 2;  // the two corners in the plane, i < j
        pt1 = P(tri, i);
        pt2 = P(tri, j);
        edgeIndex = (i == 0 && j == 1) ? 0 : (i == 1 && j == 2 ? 1 : 2);
        RecordCorner(conv, tri, i);
        RecordCorner(conv, tri, j);
        return 2;
    }
    if (zeros == 1) {
        const int k = s[0] == 0 ? 0 : (s[1] == 0 ? 1 : 2);
        const int a = (k + 1) % 3, b = (k + 2) % 3;
        pt1 = P(tri, k);
        RecordCorner(conv, tri, k);
        if (s[a] == s[b]) {  // the plane only touches the corner
            pt2 = pt1;
            return 2;
        }
        pt2 = Crossing(P(tri, a), P(tri, b), planePt, normal);  // on pEdge[a], opposite the corner
        Record(conv, tri->pEdge[a], pt2);
        return 2;
    }

    // No corner in the plane: one corner alone on its side. The crossings are
    // taken from each of the other two corners towards it.
    const int lone = (s[0] != s[1] && s[0] != s[2]) ? 0 : (s[1] != s[0] && s[1] != s[2] ? 1 : 2);
    const int lo = lone == 0 ? 1 : 0, hi = lone == 2 ? 1 : 2;
    pt1 = Crossing(P(tri, lo), P(tri, lone), planePt, normal);
    pt2 = Crossing(P(tri, hi), P(tri, lone), planePt, normal);
    // The edge joining corners i and j is pEdge[i] when j follows i, else pEdge[j].
    auto edgeOf = [tri](int i, int j) { return tri->pEdge[(i + 1) % 3 == j ? i : j]; };
    Record(conv, edgeOf(lo, lone), pt1);
    Record(conv, edgeOf(hi, lone), pt2);
    return 2;
}

bool CKrMeshTrans::IsEndOfSeg(const _sTri* tri, const _sEdge* edge, _sTri*& next)
{
    if (!edge || edge->bSign) return true;
    _sTri* across = m_pMesh->FindTriCoEdge(edge, tri);
    if (!across || across->nSign[1] == 1 || across->nSign[0] == 1) return true;
    next = across;
    return false;
}

void CKrMeshTrans::SignTrisInPolygon(const std::vector<CKrPoint3d>& polygon) const
{
    for (_sTri* t : m_pMesh->m_setTri) t->nSign[0] = 0;
    if (polygon.size() < 3) return;
    const GeoTreeEx::CKrOctaTreeEx* tree = m_pMesh->m_pOctTree;
    if (!tree) return;
    double x0, y0, x1, y1;
    KrTesGeo::GetPlanBound(polygon, x0, y0, x1, y1);
    const double eps = 1e-6;
    std::vector<GeoTreeEx::_sOctaNode*> nodes;
    tree->GetNodesInRect(x0 - eps, y0 - eps, x1 + eps, y1 + eps, nodes);
    for (const GeoTreeEx::_sOctaNode* node : nodes) {
        for (std::size_t i = node->m_vecItems.size(); i-- > 0;) {
            _sTri* t = static_cast<_sTri*>(node->m_vecItems[i]);
            const CKrPoint3d c((P(t, 0).x + P(t, 1).x + P(t, 2).x) / 3.0, (P(t, 0).y + P(t, 1).y + P(t, 2).y) / 3.0,
                               0.0);
            if (KrTesGeo::IsPtInPolygon(polygon, c, eps) == 1) t->nSign[0] = 1;
        }
    }
}

void CKrMeshTrans::FillRegion(std::vector<_sTri*>& stack, std::vector<_sTri*>& region)
{
    while (!stack.empty()) {
        _sTri* cur = stack.back();
        bool advanced = false;
        for (const _sEdge* e : cur->pEdge) {
            _sTri* next = nullptr;
            if (IsEndOfSeg(cur, e, next)) continue;
            next->nSign[1] = 1;
            region.push_back(next);
            stack.push_back(next);  // the new top is the current triangle now
            advanced = true;
            break;
        }
        if (!advanced) stack.pop_back();
    }
}

bool CKrMeshTrans::GetOneSideTrisByOnePt(const CKrPoint3d& pt, std::vector<_sTri*>& out)
{
    CKrMeshQuery query(*m_pMesh);
    std::vector<_sTri*> found;
    query.FindTriByPos(pt, found, true);
    if (found.empty()) return false;
    // The search returns every triangle filed in the octree nodes at the
    // point, so the first of them need not be near it: the seed is the
    // candidate nearest to the point (the first of equally near ones), and
    // the first candidate only when none has a measurable distance.
    _sTri* seed = found[0];
    double best = DBL_MAX;
    for (_sTri* t : found) {
        const double d = CKrSpaceMath::CalDistPtToTri(pt, P(t, 0), P(t, 1), P(t, 2));
        if (d >= 0.0 && TESCommFunc::TesCompDouble(d, best, 1e-12) < 0) {
            best = d;
            seed = t;
        }
    }
    out.push_back(seed);
    seed->nSign[1] = 1;
    std::vector<_sTri*> stack{seed};
    FillRegion(stack, out);
    return true;
}

bool CKrMeshTrans::SortTrisByEdge(CKrMeshData& other, std::vector<_sTri*>& region1, std::vector<_sTri*>& region2,
                                  std::vector<_sTri*>& hit3, std::vector<_sTri*>& hit4, std::vector<_sTri*>& hit0,
                                  CKrTri3d& lastSeed)
{
    CKrMeshQuery query(other);
    // Triangles on, or without an answer against, the other surface go to
    // their own lists; true when t was placed there.
    auto placeOnOrNone = [&](_sTri* t, int hit) {
        std::vector<_sTri*>* to = hit == CKrMeshQuery::eHitNone    ? &hit0
                                  : hit == CKrMeshQuery::eHitOnFront ? &hit3
                                  : hit == CKrMeshQuery::eHitOnBack  ? &hit4
                                                                     : nullptr;
        if (!to) return false;
        to->push_back(t);
        t->nSign[1] = 1;
        return true;
    };

    // Triangles an intersection step touched are classified on their own
    // first, so that those lying on the other surface do not join a region.
    // In position order: the first triangle met seeds a region and names it.
    const std::vector<_sTri*> tris = SortedTris(*m_pMesh);
    for (_sTri* t : tris) {
        if (t->nSign[1] == 1 || !t->bSign) continue;
        placeOnOrNone(t, query.HitTestTri(P(t, 0), P(t, 1), P(t, 2)));
    }

    std::vector<_sTri*> stack, region;
    for (_sTri* t : tris) {
        if (t->nSign[1] == 1) continue;
        const int hit = query.HitTestTri(P(t, 0), P(t, 1), P(t, 2));
        if (placeOnOrNone(t, hit)) continue;
        // A region takes the class of its seed as a whole.
        lastSeed = CKrTri3d(P(t, 0), P(t, 1), P(t, 2));
        t->nSign[1] = 1;
        region.assign(1, t);
        stack.assign(1, t);
        FillRegion(stack, region);
        std::vector<_sTri*>& to = hit == CKrMeshQuery::eHitFront ? region1 : region2;
        to.insert(to.end(), region.begin(), region.end());
    }
    return true;
}

}  // namespace TesTriMesh
