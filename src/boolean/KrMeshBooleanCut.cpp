// Cutting two meshes along their intersection.

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "boolean/KrBooleanCut.h"
#include "boolean/KrExactCut.h"
#include "KrTesGeometry/boolean/KrMeshBoolean.h"
#include "KrTesGeometry/boolean/KrMeshTrans.h"
#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/geom/KrTransReferent.h"
#include "geom/KrBox.h"
#include "geom/KrCellGrid.h"

namespace TesTriMesh {

using KrTesGeo::CGeoVector;
using Piece = std::array<CKrPoint3d, 2>;

namespace {

// A point closer than this to an edge (and not at a corner) is taken to lie
// on the edge, so that the two triangles of the edge share it and no sliver
// is left between the point and the edge.
constexpr double kOnEdgeTol = 1e-5;

const CKrPoint3d& P(const _sTri* t, int k) { return t->pVer[k]->pt; }

// Appends the pieces of src's edges that lie on dst (both in one plane;
// dst's unit normal nd). The ends of a piece are src's corners where they
// lie on dst, else points interpolated along src's edge.
void ClipEdgesInto(const _sTri* src, const _sTri* dst, const CGeoVector& nd, std::vector<Piece>& out)
{
    CGeoVector inward[3];
    for (int i = 0; i < 3; ++i) {
        inward[i] = nd ^ CGeoVector(P(dst, (i + 1) % 3) - P(dst, i));
        inward[i].Normalize();
    }
    for (int k = 0; k < 3; ++k) {
        const CKrPoint3d& p0 = P(src, k);
        const CKrPoint3d& p1 = P(src, (k + 1) % 3);
        const double len = p0.Distance(p1);
        if (len <= kBoolEps) continue;
        double t0 = 0.0, t1 = 1.0;
        bool empty = false;
        for (int i = 0; i < 3 && !empty; ++i) {
            const double d0 = inward[i] * CGeoVector(p0 - P(dst, i));
            const double d1 = inward[i] * CGeoVector(p1 - P(dst, i));
            if (d0 < -kBoolEps && d1 < -kBoolEps)
                empty = true;
            else if (d0 < -kBoolEps)
                t0 = std::max(t0, d0 / (d0 - d1));
            else if (d1 < -kBoolEps)
                t1 = std::min(t1, d0 / (d0 - d1));
        }
        if (empty || (t1 - t0) * len <= kBoolEps) continue;
        const double snap = kBoolEps / len;
        const CKrPoint3d a = t0 <= snap ? p0 : p0 + (p1 - p0) * t0;
        const CKrPoint3d b = t1 >= 1.0 - snap ? p1 : p0 + (p1 - p0) * t1;
        out.push_back({a, b});
    }
}

void FreeRecords(std::vector<_sEdgeConVer*>& conv)
{
    for (_sEdgeConVer* r : conv) {
        for (_sVertex* v : r->vertices) delete v;
        delete r;
    }
    conv.clear();
}

void RefreshExtent(CKrMeshData& m)
{
    m.m_ptMin = CKrPoint3d(DBL_MAX, DBL_MAX, DBL_MAX);
    m.m_ptMax = CKrPoint3d(-DBL_MAX, -DBL_MAX, -DBL_MAX);
    for (_sVertex* v : m.m_setVer) m.UpdateExtent(*v);
}

void BoxOf(const _sTri* t, double box[6], double widen)
{
    KrTriBox(t, box);
    KrTesGeo::detail::WidenBox(box, widen);
}

// Where a vertex lies in a triangle.
enum class LocKind { Corner, Edge, Inner, None };
struct Loc {
    LocKind kind = LocKind::None;
    int k = -1;         // the corner or the edge (edge k runs from corner k to corner k + 1)
    double depth = 0.0;  // inner point: its distance inside the nearest edge; point on an edge: its distance from it
};

// The edge of t from corner k to corner k + 1, found by its vertices (so
// that it also works on inverted triangles).
_sEdge* EdgeOf(const CKrMeshData& mesh, _sTri* t, int k)
{
    return mesh.FindEdgeByVer(t->pVer[k], t->pVer[(k + 1) % 3], t);
}

Loc Locate(const CKrMeshData& mesh, _sTri* t, const _sVertex* v)
{
    Loc loc;
    for (int k = 0; k < 3; ++k)
        if (t->pVer[k] == v) {
            loc.kind = LocKind::Corner;
            loc.k = k;
            return loc;
        }
    const CKrPoint3d& p = v->pt;
    // The distance to each edge (inside its span), measured from the edge's
    // lexicographically smaller end so that both triangles of an edge agree
    // to the last bit.
    double dist[3];
    for (int k = 0; k < 3; ++k) {
        dist[k] = DBL_MAX;
        const CKrPoint3d* a = &P(t, k);
        const CKrPoint3d* b = &P(t, (k + 1) % 3);
        if (CKrPoint3d::CompPt(*b, *a) < 0) std::swap(a, b);
        const CGeoVector ab(*b - *a);
        const double l2 = ab.Length2();
        if (l2 <= 0.0) continue;
        const double s = (CGeoVector(p - *a) * ab) / l2;
        if (s > 0.0 && s < 1.0) dist[k] = p.Distance(*a + (*b - *a) * s);
    }
    int nearest = dist[0] <= dist[1] && dist[0] <= dist[2] ? 0 : (dist[1] <= dist[2] ? 1 : 2);
    // A corner of the triangle across that edge is never a point on it (a
    // sliver left by an earlier cut can bring one that close).
    if (const _sEdge* e = EdgeOf(mesh, t, nearest))
        if (const _sTri* across = e->CoEdgeTri(t))
            for (const _sVertex* c : across->pVer)
                if (c == v) dist[nearest] = DBL_MAX;
    if (dist[nearest] <= kOnEdgeTol) {
        loc.kind = LocKind::Edge;
        loc.k = nearest;
        loc.depth = dist[nearest];
        return loc;
    }
    // Points of the cut lie in the triangle's plane, but one that merged
    // with a vertex nearby (closer than the merge tolerance) may lie off it
    // by up to that tolerance.
    const double mergeTol = 1.5 * std::max(g_dVerTol, kOnEdgeTol);
    CGeoVector n = CGeoVector(P(t, 1) - P(t, 0)) ^ CGeoVector(P(t, 2) - P(t, 0));
    const double len = n.Length();
    if (!(len > 0.0)) return loc;
    n = CGeoVector(n * (1.0 / len));
    if (std::fabs(n * CGeoVector(p - P(t, 0))) > mergeTol) return loc;
    double inward = DBL_MAX;  // distance inside the nearest edge, seen along the normal
    for (int k = 0; k < 3; ++k) {
        CGeoVector m = n ^ CGeoVector(P(t, (k + 1) % 3) - P(t, k));
        m.Normalize();
        inward = std::min(inward, m * CGeoVector(p - P(t, k)));
    }
    if (inward > kOnEdgeTol) {
        loc.kind = LocKind::Inner;
        loc.depth = inward;
    } else if (dist[nearest] <= mergeTol) {
        // On the boundary seen from above, or just outside it: a point that
        // merged with one across an edge is taken onto that edge, which the
        // triangle across shares.
        loc.kind = LocKind::Edge;
        loc.k = nearest;
        loc.depth = dist[nearest];
    }
    return loc;
}

// The edges a location lies on, as a bit set (corner k lies on edges k and
// k + 2).
int EdgeBits(const Loc& l)
{
    if (l.kind == LocKind::Corner) return (1 << l.k) | (1 << ((l.k + 2) % 3));
    if (l.kind == LocKind::Edge) return 1 << l.k;
    return 0;
}

struct EdgePoints {
    std::set<_sEdgeConVer*, CompEdgeConVer> recs;  // looked up by edge; visited through ByPosition
    // The records in the order of their edges' positions.
    std::vector<_sEdgeConVer*> ByPosition() const
    {
        std::vector<_sEdgeConVer*> v(recs.begin(), recs.end());
        std::sort(v.begin(), v.end(),
                  [](const _sEdgeConVer* x, const _sEdgeConVer* y) { return EdgePosLess(x->edge, y->edge); });
        return v;
    }
    ~EdgePoints()
    {
        for (_sEdgeConVer* r : recs) delete r;  // the vertices belong to the mesh
    }
    void Add(_sEdge* e, _sVertex* v)
    {
        _sEdgeConVer key;
        key.edge = e;
        auto it = recs.find(&key);
        if (it == recs.end()) {
            recs.insert(new _sEdgeConVer(e, v));
            return;
        }
        std::vector<_sVertex*>& vs = (*it)->vertices;
        if (std::find(vs.begin(), vs.end(), v) == vs.end()) vs.push_back(v);
    }
    const std::vector<_sVertex*>* Find(_sEdge* e) const
    {
        _sEdgeConVer key;
        key.edge = e;
        auto it = recs.find(&key);
        return it == recs.end() ? nullptr : &(*it)->vertices;
    }
};

// One triangle to re-triangulate, gathered before the mesh changes.
struct Job {
    _sTri* tri = nullptr;
    std::vector<_sVertex*> vers;  // corners 0, 1, 2, then the points on the edges, then the inner points
    std::vector<int> boundary;    // the closed chain, counter-clockwise from corner 0
    std::vector<bool> flags;      // per boundary piece
    std::vector<std::pair<int, int>> segs;
};

struct PtLess {
    bool operator()(const CKrPoint3d& a, const CKrPoint3d& b) const { return CKrPoint3d::CompPt(a, b) < 0; }
};

// Moves every point of `placed` (key: the point, value: where it goes) to
// the nearest vertex of either mesh within the reach of Locate's edge
// tolerance (so that a point near a corner is not put on the two edges that
// meet there), or else to the nearest group centre closer than the merge
// tolerance: points are taken in their order, and one that finds nothing
// becomes a centre itself.
// The vertices of both meshes near the points are entered in knownA and
// knownB by their exact positions.
void SnapPoints(std::map<CKrPoint3d, CKrPoint3d, PtLess>& placed, CKrMeshData& a, CKrMeshData& b,
               std::map<CKrPoint3d, _sVertex*, PtLess>& knownA, std::map<CKrPoint3d, _sVertex*, PtLess>& knownB)
{
    const double tol = g_dVerTol, reach = 1.5 * std::max(g_dVerTol, kOnEdgeTol);
    if (!(tol > 0.0) || placed.empty()) return;
    // Cells of the reach's size; each holds mesh vertices (false) and
    // group centres (true).
    using Grid = KrTesGeo::detail::CKrCellGrid<3, std::pair<CKrPoint3d, bool>>;
    auto cellOf = [reach](const CKrPoint3d& p) {
        const double c[3] = {p.x, p.y, p.z};
        return Grid::KeyOf(c, reach);
    };
    Grid grid;
    for (const auto& e : placed) grid.Touch(cellOf(e.first), 1);
    for (int side = 0; side < 2; ++side)
        for (_sVertex* v : (side ? b : a).m_setVer) {
            auto* cell = grid.Find(cellOf(v->pt));
            if (!cell) continue;
            cell->emplace_back(v->pt, false);
            (side ? knownB : knownA).emplace(v->pt, v);
        }
    auto nearest = [&](const CKrPoint3d& p, CKrPoint3d& best) {
        double bestD = DBL_MAX;
        bool found = false;
        grid.ForEachNear(cellOf(p), 1, [&](const std::vector<std::pair<CKrPoint3d, bool>>& items) {
            for (const auto& [q, centre] : items) {
                const double d = p.Dist2(q);
                if (d >= (centre ? tol * tol : reach * reach)) continue;
                if (d < bestD || (d == bestD && CKrPoint3d::CompPt(q, best) < 0)) {
                    bestD = d;
                    best = q;
                    found = true;
                }
            }
        });
        return found;
    };
    CKrPoint3d q;
    for (const auto& e : placed)
        if (!nearest(e.first, q)) grid.Get(cellOf(e.first)).emplace_back(e.first, true);
    for (auto& e : placed)
        if (nearest(e.first, q)) e.second = q;
}

}  // namespace

int CKrMeshBoolean::IntersectTriAndTri3D(const _sTri* a, const _sTri* b, std::vector<Piece>& out)
{
    CGeoVector na, nb;
    CKrPoint3d qa, qb;
    if (!CKrSpaceMath::PlaneFromPoints(P(a, 0), P(a, 1), P(a, 2), na, qa) ||
        !CKrSpaceMath::PlaneFromPoints(P(b, 0), P(b, 1), P(b, 2), nb, qb))
        return -1;
    std::vector<_sEdgeConVer*> conv;
    CKrPoint3d a1, a2, b1, b2;
    int edgeIndex = -1;
    const int rb = CKrMeshTrans::IntersectTriAndPlane3D(b, qa, na, b1, b2, conv, edgeIndex, kBoolEps);
    const int ra = rb == 0 ? 0 : CKrMeshTrans::IntersectTriAndPlane3D(a, qb, nb, a1, a2, conv, edgeIndex, kBoolEps);
    FreeRecords(conv);  // the sections are placed by position, not through these records
    if (ra == 0 || rb == 0) return 0;

    const std::size_t before = out.size();
    if (ra == 1 || rb == 1) {
        ClipEdgesInto(a, b, nb, out);
        ClipEdgesInto(b, a, na, out);
        return out.size() > before ? 2 : 0;
    }
    // Both sections lie on the line where the planes meet; their overlap is
    // the common part. The longer section gives the direction of the line.
    CGeoVector u(a2 - a1);
    if (u.Length2() < CGeoVector(b2 - b1).Length2()) u = CGeoVector(b2 - b1);
    const double len = u.Length();
    if (len <= kBoolEps) return 0;
    u = CGeoVector(u * (1.0 / len));
    double ta1 = u * CGeoVector(a1), ta2 = u * CGeoVector(a2);
    double tb1 = u * CGeoVector(b1), tb2 = u * CGeoVector(b2);
    if (ta1 > ta2) {
        std::swap(ta1, ta2);
        std::swap(a1, a2);
    }
    if (tb1 > tb2) {
        std::swap(tb1, tb2);
        std::swap(b1, b2);
    }
    const double lo = std::max(ta1, tb1), hi = std::min(ta2, tb2);
    if (hi - lo <= kBoolEps) return 0;
    out.push_back({ta1 >= tb1 ? a1 : b1, ta2 <= tb2 ? a2 : b2});
    return 1;
}

bool CKrMeshBoolean::CutMesh(CKrMeshData& mesh, const std::vector<CutPiece>& pieces, std::unordered_set<_sTri*>* tracked)
{
    bool ok = true;
    // The pieces of each triangle, in the order the triangles were met.
    std::unordered_map<_sTri*, std::size_t> slot;
    std::vector<std::pair<_sTri*, std::vector<std::pair<_sVertex*, _sVertex*>>>> byTri;
    for (const CutPiece& c : pieces) {
        auto ins = slot.emplace(c.tri, byTri.size());
        if (ins.second) byTri.emplace_back(c.tri, std::vector<std::pair<_sVertex*, _sVertex*>>());
        byTri[ins.first->second].second.emplace_back(c.v0, c.v1);
    }

    // Where every piece's ends lie; points on edges are shared through
    // records per edge.
    EdgePoints onEdges;
    struct Located {
        std::vector<std::pair<_sVertex*, Loc>> locs;
        std::vector<std::pair<_sVertex*, _sVertex*>> inner;  // pieces across the inside
        std::vector<std::pair<_sVertex*, _sVertex*>> along;  // pieces along an edge
        std::vector<int> alongEdge;
    };
    std::vector<Located> located(byTri.size());
    for (std::size_t i = 0; i < byTri.size(); ++i) {
        _sTri* t = byTri[i].first;
        Located& L = located[i];
        for (const auto& pc : byTri[i].second)
            for (_sVertex* v : {pc.first, pc.second}) {
                bool known = false;
                for (const auto& x : L.locs) known = known || x.first == v;
                if (!known) L.locs.emplace_back(v, Locate(mesh, t, v));
            }
    }

    // A vertex merged from points of several triangles may look inside more
    // than one of them (seen along their different normals). It is given one
    // place: on the edge two such triangles share, or else inside the one
    // that holds it deepest, and the others leave their pieces to it out.
    std::unordered_map<_sVertex*, std::vector<std::pair<std::size_t, std::size_t>>> claims;  // (triangle, loc)
    for (std::size_t i = 0; i < located.size(); ++i)
        for (std::size_t j = 0; j < located[i].locs.size(); ++j)
            if (located[i].locs[j].second.kind == LocKind::Inner) claims[located[i].locs[j].first].emplace_back(i, j);
    for (auto& c : claims) {
        if (c.second.size() < 2) continue;
        const auto [i0, j0] = c.second[0];
        const auto [i1, j1] = c.second[1];
        int k0 = -1, k1 = -1;
        for (int a = 0; a < 3 && k0 < 0; ++a)
            for (int b = 0; b < 3 && k0 < 0; ++b)
                if (EdgeOf(mesh, byTri[i0].first, a) == EdgeOf(mesh, byTri[i1].first, b)) k0 = a, k1 = b;
        if (c.second.size() == 2 && k0 >= 0) {
            located[i0].locs[j0].second = Loc{LocKind::Edge, k0, 0.0};
            located[i1].locs[j1].second = Loc{LocKind::Edge, k1, 0.0};
            continue;
        }
        std::size_t keep = 0;
        for (std::size_t n = 1; n < c.second.size(); ++n)
            if (located[c.second[n].first].locs[c.second[n].second].second.depth >
                located[c.second[keep].first].locs[c.second[keep].second].second.depth)
                keep = n;
        for (std::size_t n = 0; n < c.second.size(); ++n)
            if (n != keep) located[c.second[n].first].locs[c.second[n].second].second = Loc{};
    }

    // Nor can a vertex lie on two edges (near the corner they share, but not
    // close enough to have merged with it): the nearest edge keeps it.
    std::unordered_map<_sVertex*, std::pair<const _sEdge*, double>> onEdge;
    for (std::size_t i = 0; i < located.size(); ++i)
        for (const auto& x : located[i].locs) {
            if (x.second.kind != LocKind::Edge) continue;
            const _sEdge* e = EdgeOf(mesh, byTri[i].first, x.second.k);
            auto ins = onEdge.emplace(x.first, std::make_pair(e, x.second.depth));
            if (!ins.second && x.second.depth < ins.first->second.second) ins.first->second = {e, x.second.depth};
        }
    for (std::size_t i = 0; i < located.size(); ++i)
        for (auto& x : located[i].locs)
            if (x.second.kind == LocKind::Edge && onEdge[x.first].first != EdgeOf(mesh, byTri[i].first, x.second.k))
                x.second = Loc{};

    for (std::size_t i = 0; i < byTri.size(); ++i) {
        _sTri* t = byTri[i].first;
        Located& L = located[i];
        for (const auto& x : L.locs)
            if (x.second.kind == LocKind::Edge)
                if (_sEdge* e = EdgeOf(mesh, t, x.second.k)) onEdges.Add(e, x.first);
        auto locOf = [&L](const _sVertex* v) {
            for (const auto& x : L.locs)
                if (x.first == v) return x.second;
            return Loc{};
        };
        for (const auto& pc : byTri[i].second) {
            const Loc l0 = locOf(pc.first), l1 = locOf(pc.second);
            if (l0.kind == LocKind::None || l1.kind == LocKind::None) {
                ok = false;  // an end lies outside the triangle (merged with a far vertex)
                continue;
            }
            const int common = EdgeBits(l0) & EdgeBits(l1);
            if (common) {
                L.along.push_back(pc);
                L.alongEdge.push_back(common & 1 ? 0 : (common & 2 ? 1 : 2));
            } else {
                L.inner.push_back(pc);
            }
        }
    }

    // The triangles to re-triangulate: those with points inside or pieces
    // across, and both triangles of every edge that receives points.
    std::vector<_sTri*> work;
    std::unordered_set<_sTri*> inWork;
    std::unordered_map<_sTri*, std::size_t> locIndex;
    for (std::size_t i = 0; i < byTri.size(); ++i) {
        locIndex[byTri[i].first] = i;
        bool needs = !located[i].inner.empty();
        for (const auto& x : located[i].locs) needs = needs || x.second.kind == LocKind::Inner;
        if (needs && inWork.insert(byTri[i].first).second) work.push_back(byTri[i].first);
    }
    for (_sEdgeConVer* r : onEdges.ByPosition())
        for (_sTri* t : r->edge->pTri)
            if (t && inWork.insert(t).second) work.push_back(t);

    // Gather every job before any triangle changes.
    std::vector<Job> jobs;
    jobs.reserve(work.size());
    for (_sTri* t : work) {
        Job job;
        job.tri = t;
        std::unordered_map<_sVertex*, int> index;
        auto add = [&](_sVertex* v) {
            auto ins = index.emplace(v, static_cast<int>(job.vers.size()));
            if (ins.second) job.vers.push_back(v);
            return ins.first->second;
        };
        for (int k = 0; k < 3; ++k) add(t->pVer[k]);
        int start[4];
        for (int k = 0; k < 3; ++k) {
            start[k] = static_cast<int>(job.boundary.size());
            job.boundary.push_back(k);
            std::vector<_sVertex*> chain;
            if (const std::vector<_sVertex*>* on = onEdges.Find(EdgeOf(mesh, t, k))) chain = *on;
            const CKrPoint3d& a = P(t, k);
            const CGeoVector dir(P(t, (k + 1) % 3) - a);
            std::sort(chain.begin(), chain.end(), [&](const _sVertex* x, const _sVertex* y) {
                const double dx = dir * CGeoVector(x->pt - a), dy = dir * CGeoVector(y->pt - a);
                return dx != dy ? dx < dy : CKrPoint3d::CompPt(x->pt, y->pt) < 0;
            });
            for (_sVertex* v : chain)
                if (index.find(v) == index.end()) job.boundary.push_back(add(v));
        }
        start[3] = static_cast<int>(job.boundary.size());
        job.flags.assign(job.boundary.size(), false);
        auto it = locIndex.find(t);
        if (it != locIndex.end()) {
            const Located& L = located[it->second];
            for (const auto& x : L.locs)
                if (x.second.kind == LocKind::Inner) add(x.first);
            for (const auto& pc : L.inner) job.segs.emplace_back(add(pc.first), add(pc.second));
            // A piece along an edge flags the boundary pieces it covers.
            for (std::size_t s = 0; s < L.along.size(); ++s) {
                const int k = L.alongEdge[s];
                auto posOf = [&](_sVertex* v) {
                    if (v == t->pVer[k]) return start[k];
                    if (v == t->pVer[(k + 1) % 3]) return start[k + 1];
                    for (int p = start[k]; p < start[k + 1]; ++p)
                        if (job.vers[static_cast<std::size_t>(job.boundary[static_cast<std::size_t>(p)])] == v)
                            return p;
                    return -1;
                };
                const int p0 = posOf(L.along[s].first), p1 = posOf(L.along[s].second);
                if (p0 < 0 || p1 < 0) continue;
                for (int p = std::min(p0, p1); p < std::max(p0, p1); ++p) job.flags[static_cast<std::size_t>(p)] = true;
            }
        }
        jobs.push_back(std::move(job));
    }

    // Pieces along an edge of a triangle that is not re-triangulated run
    // from corner to corner: the edge itself.
    for (std::size_t i = 0; i < byTri.size(); ++i) {
        _sTri* t = byTri[i].first;
        if (inWork.count(t)) continue;
        for (std::size_t s = 0; s < located[i].along.size(); ++s)
            if (_sEdge* e = mesh.FindEdgeByVer(located[i].along[s].first, located[i].along[s].second, t)) e->bSign = true;
        t->bSign = true;
    }

    for (Job& job : jobs) {
        _sTri* t = job.tri;
        CKrTransReferent frame;
        const CGeoVector n = CGeoVector(P(t, 1) - P(t, 0)) ^ CGeoVector(P(t, 2) - P(t, 0));
        if (!frame.SetData(n, P(t, 0))) {
            ok = false;
            continue;
        }
        std::vector<CKrPoint3d> flat(job.vers.size());
        for (std::size_t i = 0; i < job.vers.size(); ++i) frame.Trans3DTo2D(flat[i], job.vers[i]->pt);
        CKrCutTriangulator cdt(flat);
        if (!cdt.Run(job.boundary, job.flags, job.segs)) {
            ok = false;
            t->bSign = true;
            continue;
        }
        // Erased before the record goes: the pool may hand its address to
        // one of the new triangles.
        const bool track = tracked && tracked->erase(t) > 0;
        mesh.DelTri(t);
        for (const auto& tri : cdt.Triangles()) {
            _sVertex* v[3] = {job.vers[static_cast<std::size_t>(tri[0])], job.vers[static_cast<std::size_t>(tri[1])],
                              job.vers[static_cast<std::size_t>(tri[2])]};
            _sTri* nt = mesh.AddTri(v[0], v[1], v[2]);
            if (!nt) continue;
            nt->bSign = true;
            if (track) tracked->insert(nt);
            for (int k = 0; k < 3; ++k)
                if (cdt.IsFlagged(tri[static_cast<std::size_t>(k)], tri[static_cast<std::size_t>((k + 1) % 3)]))
                    if (_sEdge* e = mesh.FindEdgeByVer(v[k], v[(k + 1) % 3], nt)) e->bSign = true;
        }
    }
    return ok;
}

bool CKrMeshBoolean::IntersectMesh(CKrMeshData& meshA, CKrMeshData& meshB, std::vector<CKrSeg3d>& segments)
{
    if (GetCutEngine() == CutEngine::kExact) {
        segments.clear();
        if (&meshA == &meshB) return false;
        for (CKrMeshData* m : {&meshA, &meshB}) {
            m->ResetSign();
            for (_sTri* t : m->m_setTri) t->bSign = false;
        }
        exact::KrExactCutResult res;
        const bool ok = exact::ExactCut(meshA, meshB, false, res);
        segments = std::move(res.segments);
        return ok;
    }
    return Cut(meshA, meshB, segments, nullptr);
}

bool CKrMeshBoolean::Cut(CKrMeshData& meshA, CKrMeshData& meshB, std::vector<CKrSeg3d>& segments,
                         std::unordered_set<_sTri*>* coplanarB)
{
    segments.clear();
    if (coplanarB) coplanarB->clear();
    if (&meshA == &meshB) return false;
    for (CKrMeshData* m : {&meshA, &meshB}) {
        m->ResetSign();
        for (_sTri* t : m->m_setTri) t->bSign = false;
        RefreshExtent(*m);
        ResetOctTreeByPos(*m);
    }
    if (meshA.m_setTri.empty() || meshB.m_setTri.empty()) return true;

    // Every meeting pair, through the octree of A.
    struct Hit {
        _sTri* a;
        _sTri* b;
        Piece piece;
    };
    std::vector<Hit> hits;
    std::vector<Piece> found;
    std::vector<GeoTreeEx::_sOctaNode*> nodes;
    double boxB[6], boxA[6];
    for (_sTri* tb : SortedTris(meshB)) {
        BoxOf(tb, boxB, kBoolEps);
        nodes.clear();
        meshA.m_pOctTree->GetNodesInBox(boxB[0], boxB[1], boxB[2], boxB[3], boxB[4], boxB[5], nodes);
        for (const GeoTreeEx::_sOctaNode* node : nodes) {
            for (void* item : node->m_vecItems) {
                _sTri* ta = static_cast<_sTri*>(item);
                KrTriBox(ta, boxA);
                if (!KrTesGeo::detail::BoxOverlaps(boxA, boxB)) continue;
                found.clear();
                const int r = IntersectTriAndTri3D(ta, tb, found);
                if (r <= 0) continue;
                ta->bSign = tb->bSign = true;
                if (r == 2 && coplanarB) coplanarB->insert(tb);
                for (const Piece& p : found) hits.push_back({ta, tb, p});
            }
        }
    }

    // The cut edits many triangles: the octrees are rebuilt afterwards
    // rather than kept current on the way.
    for (CKrMeshData* m : {&meshA, &meshB}) {
        delete m->m_pOctTree;
        m->m_pOctTree = nullptr;
    }

    // Where the end points go. Points closer than the merge tolerance are one
    // vertex in a mesh anyway; they are settled here, once for both meshes
    // and independently of the order in which they are met: every point
    // moves to the nearest vertex of either mesh within the tolerance, or
    // else to the nearest of the points kept as centres of such groups
    // (taken in the order of their positions). Cutting again along the same
    // lines then finds every point where it went the first time.
    std::map<CKrPoint3d, CKrPoint3d, PtLess> placed;
    for (const Hit& h : hits)
        for (const CKrPoint3d& p : h.piece) placed.emplace(p, p);
    // The vertices by exact position: a point placed on a vertex is that
    // vertex, found without a tolerant search of the vertex set.
    std::map<CKrPoint3d, _sVertex*, PtLess> knownA, knownB;
    SnapPoints(placed, meshA, meshB, knownA, knownB);

    std::vector<CutPiece> piecesA, piecesB;
    std::vector<_sVertex*> freshA, freshB;  // vertices the cut created
    auto vertexOf = [](CKrMeshData& m, const CKrPoint3d& p, std::vector<_sVertex*>& fresh,
                       std::map<CKrPoint3d, _sVertex*, PtLess>& known) {
        auto it = known.find(p);
        if (it != known.end()) return it->second;
        const std::size_t n = m.m_setVer.size();
        _sVertex* v = m.InsertVertex(p);
        if (m.m_setVer.size() > n) fresh.push_back(v);
        known.emplace(p, v);
        return v;
    };
    for (const Hit& h : hits) {
        const CKrPoint3d& p0 = placed[h.piece[0]];
        const CKrPoint3d& p1 = placed[h.piece[1]];
        _sVertex* a0 = vertexOf(meshA, p0, freshA, knownA);
        _sVertex* a1 = vertexOf(meshA, p1, freshA, knownA);
        _sVertex* b0 = vertexOf(meshB, p0, freshB, knownB);
        _sVertex* b1 = vertexOf(meshB, p1, freshB, knownB);
        if (a0 != a1) piecesA.push_back({h.a, a0, a1});
        if (b0 != b1) piecesB.push_back({h.b, b0, b1});
    }
    bool ok = CutMesh(meshA, piecesA, nullptr);
    ok = CutMesh(meshB, piecesB, coplanarB) && ok;

    // Vertices made for points that no triangle took up go again.
    auto drop = [](CKrMeshData& m, const std::vector<_sVertex*>& made) {
        for (_sVertex* v : made) {
            if (!v->setTri.empty()) continue;
            auto it = m.m_setVer.find(v);
            if (it == m.m_setVer.end() || *it != v) continue;
            m.m_setVer.erase(it);
            delete v;
        }
    };
    drop(meshA, freshA);
    drop(meshB, freshB);
    for (CKrMeshData* m : {&meshA, &meshB}) {
        RefreshExtent(*m);
        ResetOctTreeByPos(*m);
    }

    for (const _sEdge* e : meshB.m_setEdge) {
        if (!e->bSign) continue;
        const CKrPoint3d& p = e->pVer[0]->pt;
        const CKrPoint3d& q = e->pVer[1]->pt;
        if (CKrPoint3d::CompPt(p, q) <= 0)
            segments.emplace_back(p, q);
        else
            segments.emplace_back(q, p);
    }
    std::sort(segments.begin(), segments.end(), [](const CKrSeg3d& x, const CKrSeg3d& y) {
        const int c = CKrPoint3d::CompPt(x.m_pt[0], y.m_pt[0]);
        return c != 0 ? c < 0 : CKrPoint3d::CompPt(x.m_pt[1], y.m_pt[1]) < 0;
    });
    return ok;
}

}  // namespace TesTriMesh
