#include "KrTesGeometry/query/KrMeshQuery.h"
#include "query/KrPlanTriGrid.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <deque>
#include <set>
#include <unordered_map>

#include "KrTesGeometry/geom/KrPlanarFunc.h"
#include "geom/KrPlanarInternal.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/math/TESCommFunc.h"
#include "geom/KrBox.h"

namespace TesTriMesh {

using KrTesGeo::CGeoVector;

namespace {

constexpr double kEps = 1e-6;

const CKrPoint3d& P(const _sTri* t, int k) { return t->pVer[k]->pt; }

// Appends the items of the nodes to out, each node's list from its last
// entry to its first (the newest triangles of a node are met first).
void AppendNodeTris(const std::vector<GeoTreeEx::_sOctaNode*>& nodes, std::vector<_sTri*>& out)
{
    for (const GeoTreeEx::_sOctaNode* node : nodes)
        for (std::size_t i = node->m_vecItems.size(); i-- > 0;) out.push_back(static_cast<_sTri*>(node->m_vecItems[i]));
}

// True when the plan point lies more than `margin` outside the plan box of t.
bool OutsidePlanBox(const _sTri* t, double x, double y, double margin)
{
    const CKrPoint3d &a = P(t, 0), &b = P(t, 1), &c = P(t, 2);
    return x < std::min({a.x, b.x, c.x}) - margin || x > std::max({a.x, b.x, c.x}) + margin ||
           y < std::min({a.y, b.y, c.y}) - margin || y > std::max({a.y, b.y, c.y}) + margin;
}

CKrPoint3d Centroid(const _sTri* t) { return (P(t, 0) + P(t, 1) + P(t, 2)) * (1.0 / 3.0); }

// True when everything in the box is certainly farther from p than `best`
// (a squared distance) by more than the tie tolerance, so that no triangle
// in it can become or tie with the nearest. The bound is loosened a little
// against rounding in the exact distance.
bool Beyond(const CKrPoint3d& p, const double* box, double best, double tol)
{
    return KrTesGeo::detail::PointBoxDist2(p, box) * (1.0 - 1e-9) > best + 2.0 * tol;
}

}  // namespace

CKrMeshQuery::CKrMeshQuery(const CKrMeshData& mesh) : m_mesh(mesh) {}

CKrMeshQuery::~CKrMeshQuery() {}

void CKrMeshQuery::FindTriByPos(CKrPoint3d pos, std::vector<_sTri*>& out, bool use3D) const
{
    out.clear();
    const GeoTreeEx::CKrOctaTreeEx* tree = m_mesh.m_pOctTree;
    if (!tree) return;
    std::vector<GeoTreeEx::_sOctaNode*> nodes;
    if (use3D)
        tree->GetNodesInBox(pos.x - kEps, pos.y - kEps, pos.z - kEps, pos.x + kEps, pos.y + kEps, pos.z + kEps, nodes);
    else
        tree->GetNodesInRect(pos.x - kEps, pos.y - kEps, pos.x + kEps, pos.y + kEps, nodes);
    AppendNodeTris(nodes, out);
}

bool CKrMeshQuery::FindTriIncludePt(const CKrPoint3d& pt, std::vector<_sTri*>& out) const
{
    std::vector<_sTri*> cand;
    FindTriByPos(pt, cand, true);
    for (_sTri* t : cand) {
        const CKrPoint3d &a = P(t, 0), &b = P(t, 1), &c = P(t, 2);
        if (KrTesGeo::LocatePtInTri2D(pt.x, pt.y, a.x, a.y, b.x, b.y, c.x, c.y, false, kEps) <= 0) out.push_back(t);
    }
    return !out.empty();
}

bool CKrMeshQuery::GetMapPoint(double x, double y, double& z) const
{
    // The answer does not depend on the candidates' order (the highest exact
    // hit wins), so any superset of the triangles over (x, y) will do: the
    // octree's, or, once this object has been asked often, its plan grid.
    // The octree's plan column can hold a great many triangles (a rugged
    // surface files its triangles high up, in nodes every column crosses):
    // the candidates examined count towards the grid too, one query per 32.
    constexpr std::size_t kGridAfter = 64;
    if (!m_pPlanGrid && ++m_nMapQueries > kGridAfter && m_mesh.TriNum() > 256)
        m_pPlanGrid.reset(new CKrPlanTriGrid(m_mesh, 4.0 * kEps));
    const CKrPoint3d at(x, y, 0.0);
    const CGeoVector up(0.0, 0.0, 1.0);
    bool found = false;
    double top = -DBL_MAX;
    auto consider = [&](const _sTri* t) {
        // The vertical line can only meet a triangle within 1e-6 of its plan
        // box; skipping the others first saves the exact test on most of the
        // candidates of a node.
        if (OutsidePlanBox(t, x, y, 2.0 * kEps)) return;
        CKrPoint3d hit;
        if (CKrSpaceMath::Test_Intersect_Line_And_Triangle_3D(at, up, P(t, 0), P(t, 1), P(t, 2), hit, kEps) != 1)
            return;
        // Where the surface folds over itself the topmost sheet wins.
        if (!found || hit.z > top) top = hit.z;
        found = true;
    };
    if (m_pPlanGrid) {
        std::size_t nCand = 0;
        double qx = 0.0, qy = 0.0;
        const CKrPlanTriGrid::Entry* cand = m_pPlanGrid->Begin(x, y, nCand, qx, qy);
        for (std::size_t i = 0; i < nCand; ++i) {
            // The cell's coarse box is wider than the plan box test: a
            // triangle it rules out is one that test would rule out.
            const CKrPlanTriGrid::Entry& e = cand[i];
            if (qx < e.lo[0] || qx > e.hi[0] || qy < e.lo[1] || qy > e.hi[1]) continue;
            consider(e.tri);
        }
    } else {
        std::vector<_sTri*> octCand;
        FindTriByPos(CKrPoint3d(x, y, 0.0), octCand, false);
        m_nMapQueries += octCand.size() / 32;
        for (const _sTri* t : octCand) consider(t);
    }
    if (!found) return false;
    z = top;
    return true;
}

bool CKrMeshQuery::IntersectRay(CKrPoint3d& hit, const CKrPoint3d& origin, const CGeoVector& dir)
{
    const GeoTreeEx::CKrOctaTreeEx* tree = m_mesh.m_pOctTree;
    if (!tree) return false;
    std::set<void*> cand;
    tree->GetItemsAlongRay(origin, dir, cand);
    if (cand.empty()) return false;
    double best = DBL_MAX;
    bool found = false;
    CKrPoint3d bestPt;
    for (void* item : cand) {
        const _sTri* t = static_cast<const _sTri*>(item);
        CKrPoint3d p;
        if (CKrSpaceMath::Test_Intersect_Ray_And_Triangle_3D(origin, dir, P(t, 0), P(t, 1), P(t, 2), p) != 1) continue;
        const double d = origin.Distance(p);
        if (d < best) {  // strictly nearer: the first of equally near hits stays
            best = d;
            bestPt = p;
            found = true;
        }
    }
    if (!found) return false;
    hit = bestPt;
    return true;
}

namespace {

// A sampled nearest squared distance from pt to the mesh (about 4 to 32
// triangles measured), which bounds the radius of the octree search.
double SampledNearestDist2(const CKrMeshData& mesh, const CKrPoint3d& pt)
{
    const std::size_t n = mesh.m_setTri.size();
    const std::size_t stride =
        n < 5 ? 1 : (n - 1) / (n <= 100 ? 4 : n <= 1000 ? 8 : n <= 10000 ? 16 : 32);
    double sampled = DBL_MAX;
    std::size_t i = 0;
    for (const _sTri* t : mesh.m_setTri) {
        if (i++ % stride != 0) continue;
        // Only triangles the search can answer with bound it: a degenerate
        // one at distance 0 would leave the search nothing to find.
        if (CKrSpaceMath::IsTriDegenerate(P(t, 0), P(t, 1), P(t, 2))) continue;
        const double d = CKrSpaceMath::CalDistPtToTri(pt, P(t, 0), P(t, 1), P(t, 2));
        if (d != -1.0 && d < sampled) sampled = d;
    }
    return sampled;
}

// The nearest triangles to pt within the squared distance `best`, which
// comes back as theirs: every triangle within the tie tolerance of the
// smallest distance, in the octree's order. Ties are measured from the
// smallest distance itself, not from the best one met so far, so that the
// answer does not depend on the order the triangles are visited in or on
// the starting bound (which comes from a sample of the mesh in memory
// order). Degenerate triangles cannot decide a side and are passed over.
std::vector<const _sTri*> NearestTris(const CKrMeshData& mesh, const CKrPoint3d& pt, double& best)
{
    std::vector<const _sTri*> nearest;
    const GeoTreeEx::CKrOctaTreeEx* tree = mesh.m_pOctTree;
    if (!tree) return nearest;
    // Wide enough for every triangle that can tie with one at `best`.
    const double r = std::sqrt(best + 2.0 * kEps) * (1.0 + 1e-9);
    std::vector<GeoTreeEx::_sOctaNode*> nodes;
    tree->GetNodesInBox(pt.x - r, pt.y - r, pt.z - r, pt.x + r, pt.y + r, pt.z + r, nodes);
    // Triangles whose boxes lie clearly beyond the best distance so far
    // cannot become or tie with the nearest and are passed over without
    // measuring; those that might are kept with their distances.
    std::vector<std::pair<const _sTri*, double>> near;
    double least = DBL_MAX;
    for (const GeoTreeEx::_sOctaNode* node : nodes) {
        if (Beyond(pt, node->m_dItemBox, best, kEps)) continue;
        for (void* item : node->m_vecItems) {
            const _sTri* t = static_cast<const _sTri*>(item);
            double box[6];
            KrTriBox(t, box);
            if (Beyond(pt, box, best, kEps)) continue;
            const double d = CKrSpaceMath::CalDistPtToTri(pt, P(t, 0), P(t, 1), P(t, 2));
            if (d == -1.0 || TESCommFunc::TesCompDouble(d, best, kEps) > 0 ||
                CKrSpaceMath::IsTriDegenerate(P(t, 0), P(t, 1), P(t, 2)))
                continue;
            near.emplace_back(t, d);
            least = std::min(least, d);
            best = std::min(best, d);
        }
    }
    for (const auto& x : near)
        if (TESCommFunc::TesCompDouble(x.second, least, kEps) == 0) nearest.push_back(x.first);
    if (!nearest.empty()) best = least;
    return nearest;
}

// Of several triangles equally near pt (off the surface: it faces an edge
// or a corner they share), the one whose side decides; null when none can.
const _sTri* FacingTri(const CKrPoint3d& pt, std::vector<const _sTri*> nearest)
{
    // A triangle whose plane holds the point cannot tell a side and drops out.
    for (std::size_t k = nearest.size(); k-- > 0;) {
        CGeoVector nk;
        CKrPoint3d qk, hit;
        const _sTri* t = nearest[k];
        if (!CKrSpaceMath::PlaneFromPoints(P(t, 0), P(t, 1), P(t, 2), nk, qk) ||
            CKrSpaceMath::Test_Intersect_Ray_And_Plane_3D(pt, Centroid(t) - pt, qk, nk, hit) == 2)
            nearest.erase(nearest.begin() + static_cast<std::ptrdiff_t>(k));
    }
    if (nearest.size() == 1) return nearest[0];
    std::vector<CGeoVector> normals;
    std::vector<CKrPoint3d> onPlane;
    for (const _sTri* t : nearest) {
        CGeoVector nk;
        CKrPoint3d qk;
        CKrSpaceMath::PlaneFromPoints(P(t, 0), P(t, 1), P(t, 2), nk, qk);
        normals.push_back(nk);
        onPlane.push_back(qk);
    }
    // Cast towards a triangle's centroid: the first plane the ray crosses is
    // the one that faces the point. A ray running inside another triangle's
    // plane decides nothing; the next triangle's ray is tried.
    for (std::size_t a = 0; a < nearest.size(); ++a) {
        const CKrPoint3d ca = Centroid(nearest[a]);
        const CGeoVector ray = ca - pt;
        double nearestHit = pt.Dist2(ca);
        const _sTri* pick = nearest[a];
        bool undecided = false;
        for (std::size_t b = 0; b < nearest.size(); ++b) {
            if (b == a) continue;
            CKrPoint3d hit;
            const int r = CKrSpaceMath::Test_Intersect_Ray_And_Plane_3D(pt, ray, onPlane[b], normals[b], hit);
            if (r == 2) {
                undecided = true;
                break;
            }
            if (r == 1 && pt.Dist2(hit) < nearestHit) {
                nearestHit = pt.Dist2(hit);
                pick = nearest[b];
            }
        }
        if (!undecided) return pick;
    }
    return nullptr;
}

}  // namespace

CKrMeshQuery::eTriHitMesh CKrMeshQuery::HitTestPt(const CKrPoint3d& pt, const CGeoVector& dir) const
{
    if (m_mesh.m_setTri.empty()) return eHitNone;
    double best = SampledNearestDist2(m_mesh, pt);
    const std::vector<const _sTri*> nearest = NearestTris(m_mesh, pt, best);
    const bool onSurface = TESCommFunc::TesCompDouble(std::sqrt(best), 0.0, kEps) == 0;
    const _sTri* chosen = nullptr;
    if (nearest.size() == 1 || (onSurface && !nearest.empty()))
        chosen = nearest[0];
    else if (nearest.size() >= 2)
        chosen = FacingTri(pt, nearest);
    if (!chosen) return eHitNone;

    CGeoVector nrm;
    CKrPoint3d q;
    if (!CKrSpaceMath::PlaneFromPoints(P(chosen, 0), P(chosen, 1), P(chosen, 2), nrm, q)) return eHitNone;
    if (!onSurface) return CKrSpaceMath::PointToPlane(pt, q, nrm, kEps) < 1 ? eHitBack : eHitFront;
    return TESCommFunc::TesCompDouble(nrm * dir, 0.0, kEps) > 0 ? eHitOnFront : eHitOnBack;
}

CKrMeshQuery::eTriHitMesh CKrMeshQuery::HitTestTri(const CKrPoint3d& a, const CKrPoint3d& b,
                                                   const CKrPoint3d& c) const
{
    CGeoVector n;
    CKrPoint3d q;
    if (!CKrSpaceMath::PlaneFromPoints(a, b, c, n, q)) return eHitNone;
    return HitTestPt((a + b + c) * (1.0 / 3.0), n);
}

bool CKrMeshQuery::GetVersInMapPolygon(const std::vector<CKrPoint3d>& polygon, std::vector<_sVertex*>& out) const
{
    if (polygon.size() < 3) return false;
    double x0, y0, x1, y1;
    KrTesGeo::GetPlanBound(polygon, x0, y0, x1, y1);
    std::vector<_sVertex*> vers;
    if (const GeoTreeEx::CKrOctaTreeEx* tree = m_mesh.m_pOctTree) {
        std::vector<GeoTreeEx::_sOctaNode*> nodes;
        tree->GetNodesInRect(x0 - kEps, y0 - kEps, x1 + kEps, y1 + kEps, nodes);
        std::vector<_sTri*> cand;
        AppendNodeTris(nodes, cand);
        for (const _sTri* t : cand) {
            for (_sVertex* v : t->pVer)
                if (v->pt.x >= x0 && v->pt.x <= x1 && v->pt.y >= y0 && v->pt.y <= y1) vers.push_back(v);
        }
    }
    std::sort(vers.begin(), vers.end(), std::less<_sVertex*>());
    vers.erase(std::unique(vers.begin(), vers.end()), vers.end());
    for (std::size_t k = vers.size(); k-- > 0;)
        if (KrTesGeo::IsPtInPolygon(polygon, vers[k]->pt, kEps) != 1) vers.erase(vers.begin() + static_cast<std::ptrdiff_t>(k));
    out = vers;
    return !out.empty();
}

void CKrMeshQuery::GetMapLineSeg(const CKrPoint3d& p1, const CKrPoint3d& p2, std::vector<CKrSeg3d>& out) const
{
    const GeoTreeEx::CKrOctaTreeEx* tree = m_mesh.m_pOctTree;
    if (!tree) return;
    std::vector<GeoTreeEx::_sOctaNode*> nodes;
    tree->GetNodesInRect(std::min(p1.x, p2.x), std::min(p1.y, p2.y), std::max(p1.x, p2.x), std::max(p1.y, p2.y),
                         nodes);
    std::vector<_sTri*> cand;
    AppendNodeTris(nodes, cand);
    for (const _sTri* t : cand) {
        CKrPoint3d s, e;
        if (!CKrSpaceMath::Test_Intersect_MapSeg_And_Tri_3D(P(t, 0), P(t, 1), P(t, 2), p1, p2, s, e)) continue;
        if (s == e) continue;
        bool known = false;
        for (const CKrSeg3d& g : out) {
            if (CKrSeg3d::IsSameSeg(g.m_pt[0], g.m_pt[1], s, e)) {
                known = true;
                break;
            }
        }
        if (!known) out.emplace_back(s, e);
    }
}

bool CKrMeshQuery::GetMapPolyline(const std::vector<CKrPoint3d>& pts, bool closed, std::vector<CKrSeg3d>& out) const
{
    const std::size_t n = pts.size();
    if (n < 2) return false;
    out.clear();
    const std::size_t m = closed ? n : n - 1;
    for (std::size_t i = 0; i < m; ++i) GetMapLineSeg(pts[i], pts[(i + 1) % n], out);
    return true;
}

bool CKrMeshQuery::GetMapPolyline(const std::vector<CKrPoint3d>& pts, bool closed,
                                  std::vector<CKrPolyLine>& out) const
{
    std::vector<CKrSeg3d> segs;
    if (!GetMapPolyline(pts, closed, segs)) return false;
    out.clear();
    if (CKrSeg3d::LinkSeg(segs, out)) return true;
    out.clear();
    return false;
}

void CKrMeshQuery::GetSegsOfMesh(std::vector<_sSeg*>& out)
{
    for (const _sTri* t : m_mesh.m_setTri) {
        const _sEdge* border[3];
        int count = 0;
        for (const _sEdge* e : t->pEdge)
            if (e && (!e->pTri[0] || !e->pTri[1])) border[count++] = e;
        // An isolated triangle (three border edges) has no outline.
        if (count == 1 || count == 2)
            for (int k = 0; k < count; ++k) out.push_back(new _sSeg(border[k]->pVer[0], border[k]->pVer[1]));
    }
}

// The chaining rule: start a chain with the first unused segment, then keep
// attaching the first unused segment after it (in list order) that meets the
// chain's head or tail, until none does. Rather than rescanning the list
// after every attachment, each vertex keeps the ascending list of segments
// that touch it: the next segment to attach is the smallest unused index
// touching the head or the tail. This gives the same chains in time linear
// in the number of segments.
bool CKrMeshQuery::LinkPtrSegs(const std::vector<_sSeg*>& segs, std::vector<CKrPolyLine>& out) const
{
    out.clear();
    const std::size_t n = segs.size();
    std::vector<char> used(n, 0);
    struct Incident {
        std::vector<std::size_t> segs;  // ascending
        std::size_t skip = 0;           // entries before this one are all used
    };
    std::unordered_map<const _sVertex*, Incident> touch;
    for (std::size_t i = 0; i < n; ++i) {
        const _sSeg* s = segs[i];
        if (!s || !s->pVer[0] || !s->pVer[1]) {
            used[i] = 1;  // nothing to chain
            continue;
        }
        touch[s->pVer[0]].segs.push_back(i);
        if (s->pVer[1] != s->pVer[0]) touch[s->pVer[1]].segs.push_back(i);
    }
    auto firstUnused = [&](const _sVertex* v) -> std::size_t {
        Incident& inc = touch[v];
        while (inc.skip < inc.segs.size() && used[inc.segs[inc.skip]]) ++inc.skip;
        return inc.skip < inc.segs.size() ? inc.segs[inc.skip] : n;
    };

    for (std::size_t i = 0; i < n; ++i) {
        if (used[i]) continue;
        used[i] = 1;
        std::deque<_sVertex*> chain{segs[i]->pVer[0], segs[i]->pVer[1]};
        for (;;) {
            const std::size_t j = std::min(firstUnused(chain.front()), firstUnused(chain.back()));
            if (j == n) break;
            _sVertex* a = segs[j]->pVer[0];
            _sVertex* b = segs[j]->pVer[1];
            if (a == chain.front())
                chain.push_front(b);
            else if (b == chain.front())
                chain.push_front(a);
            else if (a == chain.back())
                chain.push_back(b);
            else
                chain.push_back(a);
            used[j] = 1;
        }
        CKrPolyLine line;
        if (chain.front() == chain.back()) {
            line.SetClosed(true);
            chain.pop_back();
        }
        for (const _sVertex* v : chain) line.AddVertex(v->pt);
        out.push_back(line);
    }
    return true;
}

void CKrMeshQuery::FormOutline()
{
    std::vector<_sSeg*> segs;
    GetSegsOfMesh(segs);
    if (!segs.empty()) LinkPtrSegs(segs, m_vecOutline);
    for (_sSeg* s : segs) delete s;
}

bool CKrMeshQuery::GetOutline(CKrPolyLine& out)
{
    if (m_vecOutline.empty()) FormOutline();
    if (m_vecOutline.empty()) return false;
    std::size_t pick = 0;
    for (std::size_t k = 1; k < m_vecOutline.size(); ++k)
        if (m_vecOutline[k].NumVerts() > m_vecOutline[pick].NumVerts()) pick = k;
    out = m_vecOutline[pick];
    return true;
}

bool CKrMeshQuery::GetOutline(std::vector<CKrPolyLine>& out)
{
    if (m_vecOutline.empty()) FormOutline();
    if (m_vecOutline.empty()) return false;
    out = m_vecOutline;
    return true;
}

}  // namespace TesTriMesh
