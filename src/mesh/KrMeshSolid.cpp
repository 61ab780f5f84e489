#include "KrTesGeometry/mesh/KrMeshSolid.h"

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <map>
#include <utility>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

namespace {

// Every index of t lies in [0, n).
bool Names(const KrTesGeo::_sTri_ID& t, std::size_t n)
{
    for (int k = 0; k < 3; ++k)
        if (t.nID[k] < 0 || static_cast<std::size_t>(t.nID[k]) >= n) return false;
    return true;
}

void Keep(int dst[2], const std::pair<int, int>& e)
{
    dst[0] = e.first;
    dst[1] = e.second;
}

// Per edge (lower index first): how many triangles run along it each way.
// Triples with an index outside [0, n) are left out and counted.
SKrSolidCheck CheckEdges(const std::vector<KrTesGeo::_sTri_ID>& tris, std::size_t n)
{
    SKrSolidCheck r;
    std::map<std::pair<int, int>, std::pair<int, int>> uses;
    for (const auto& t : tris) {
        if (!Names(t, n)) {
            ++r.invalidTris;
            continue;
        }
        for (int k = 0; k < 3; ++k) {
            const int p = t.nID[k], q = t.nID[(k + 1) % 3];
            auto& u = uses[{std::min(p, q), std::max(p, q)}];
            ++(p < q ? u.first : u.second);
        }
    }
    for (const auto& e : uses) {
        const int count = e.second.first + e.second.second;
        if (count == 1) {
            if (!r.openEdges++) Keep(r.firstOpen, e.first);
        } else if (count > 2) {
            if (!r.overSharedEdges++) Keep(r.firstOverShared, e.first);
        } else if (e.second.first != 1) {
            if (!r.flippedEdges++) Keep(r.firstFlipped, e.first);
        }
    }
    return r;
}

// The mesh as points in the tolerant vertex order and index triples, each
// rotated to start at its lowest index and sorted, so that nothing depends
// on where the triangles lie in memory. A triangle with a corner that is not
// a vertex of the mesh gets index -1 there.
void MeshArrays(const CKrMeshData& mesh, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& tris)
{
    std::vector<std::pair<const _sVertex*, int>> index;
    index.reserve(mesh.m_setVer.size());
    for (const _sVertex* v : mesh.m_setVer) {
        index.emplace_back(v, static_cast<int>(pts.size()));
        pts.push_back(v->pt);
    }
    // Looked up by address only: the numbers come from the vertex order.
    auto byAddress = [](const std::pair<const _sVertex*, int>& a, const std::pair<const _sVertex*, int>& b) {
        return std::less<const _sVertex*>()(a.first, b.first);
    };
    std::sort(index.begin(), index.end(), byAddress);
    auto idOf = [&](const _sVertex* v) {
        const auto it = std::lower_bound(index.begin(), index.end(), std::make_pair(v, 0), byAddress);
        return it != index.end() && it->first == v ? it->second : -1;
    };
    std::vector<std::array<int, 3>> ids;
    ids.reserve(mesh.m_setTri.size());
    for (const _sTri* t : mesh.m_setTri) {
        std::array<int, 3> c = {idOf(t->pVer[0]), idOf(t->pVer[1]), idOf(t->pVer[2])};
        std::rotate(c.begin(), std::min_element(c.begin(), c.end()), c.end());
        ids.push_back(c);
    }
    std::sort(ids.begin(), ids.end());
    tris.reserve(ids.size());
    for (const auto& c : ids) tris.emplace_back(c[0], c[1], c[2]);
}


// ---- exact contact tests for FindSelfIntersections --------------------------

using KrTesGeo::Orient2dExact;
using KrTesGeo::Orient3dExact;

// A projection onto a coordinate plane (dropping one axis), which keeps
// orientation tests exact.
struct Proj {
    int drop = 2;
    void To(const CKrPoint3d& p, double& u, double& v) const
    {
        u = drop == 0 ? p.y : p.x;
        v = drop == 2 ? p.y : p.z;
    }
    int Orient(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c) const
    {
        double au, av, bu, bv, cu, cv;
        To(a, au, av);
        To(b, bu, bv);
        To(c, cu, cv);
        return Orient2dExact(au, av, bu, bv, cu, cv);
    }
};

// A projection in which abc keeps an area; false when abc lies on a line.
bool FlatFor(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, Proj& pr)
{
    for (int d = 2; d >= 0; --d) {
        pr.drop = d;
        if (pr.Orient(a, b, c) != 0) return true;
    }
    return false;
}

// Collinear p, q, r: r lies on the closed segment pq.
bool Between(const CKrPoint3d& p, const CKrPoint3d& q, const CKrPoint3d& r)
{
    return std::min(p.x, q.x) <= r.x && r.x <= std::max(p.x, q.x) && std::min(p.y, q.y) <= r.y &&
           r.y <= std::max(p.y, q.y) && std::min(p.z, q.z) <= r.z && r.z <= std::max(p.z, q.z);
}

// Closed segments pq and ab of one plane meet (in the projection pr).
bool SegsMeet(const Proj& pr, const CKrPoint3d& p, const CKrPoint3d& q, const CKrPoint3d& a, const CKrPoint3d& b)
{
    const int d1 = pr.Orient(p, q, a), d2 = pr.Orient(p, q, b), d3 = pr.Orient(a, b, p), d4 = pr.Orient(a, b, q);
    if (d1 * d2 < 0 && d3 * d4 < 0) return true;
    return (d1 == 0 && Between(p, q, a)) || (d2 == 0 && Between(p, q, b)) || (d3 == 0 && Between(a, b, p)) ||
           (d4 == 0 && Between(a, b, q));
}

// p lies in the closed triangle abc of its plane.
bool InTri(const Proj& pr, const CKrPoint3d& p, const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c)
{
    const int o1 = pr.Orient(a, b, p), o2 = pr.Orient(b, c, p), o3 = pr.Orient(c, a, p);
    return (o1 >= 0 && o2 >= 0 && o3 >= 0) || (o1 <= 0 && o2 <= 0 && o3 <= 0);
}

// The closed segment pq meets the closed, non-degenerate triangle abc.
bool SegMeetsTri(const CKrPoint3d& p, const CKrPoint3d& q, const CKrPoint3d& a, const CKrPoint3d& b,
                 const CKrPoint3d& c)
{
    const int o1 = Orient3dExact(a, b, c, p), o2 = Orient3dExact(a, b, c, q);
    if (o1 * o2 > 0) return false;
    if (o1 == 0 && o2 == 0) {
        Proj pr;
        FlatFor(a, b, c, pr);
        return InTri(pr, p, a, b, c) || InTri(pr, q, a, b, c) || SegsMeet(pr, p, q, a, b) ||
               SegsMeet(pr, p, q, b, c) || SegsMeet(pr, p, q, c, a);
    }
    // The segment reaches the plane at one point: inside the triangle when
    // the line pq passes no edge on the wrong side.
    const int s1 = Orient3dExact(p, q, a, b), s2 = Orient3dExact(p, q, b, c), s3 = Orient3dExact(p, q, c, a);
    return (s1 >= 0 && s2 >= 0 && s3 >= 0) || (s1 <= 0 && s2 <= 0 && s3 <= 0);
}

// Triangles i and j (valid, non-degenerate) meet beyond their common indices.
bool PairMeets(const std::vector<CKrPoint3d>& pts, const KrTesGeo::_sTri_ID& s, const KrTesGeo::_sTri_ID& t)
{
    int common = 0, si = -1, ti = -1;  // si, ti: a common corner's position in each
    for (int a = 0; a < 3; ++a)
        for (int b = 0; b < 3; ++b)
            if (s.nID[a] == t.nID[b]) {
                ++common;
                si = a;
                ti = b;
            }
    auto P = [&pts](const KrTesGeo::_sTri_ID& x, int k) -> const CKrPoint3d& {
        return pts[static_cast<std::size_t>(x.nID[(k % 3 + 3) % 3])];
    };
    if (common == 3) return true;
    if (common == 0)
        return CKrSpaceMath::Test_Intersect_Tri_And_Tri_3D(P(s, 0), P(s, 1), P(s, 2), P(t, 0), P(t, 1), P(t, 2)) == 2;
    if (common == 1) {
        // Two triangles sharing only the corner v meet elsewhere exactly when
        // the far edge of one meets the other: from v, any common point can
        // be followed outwards until it leaves one of them across its far edge.
        return SegMeetsTri(P(s, si + 1), P(s, si + 2), P(t, 0), P(t, 1), P(t, 2)) ||
               SegMeetsTri(P(t, ti + 1), P(t, ti + 2), P(s, 0), P(s, 1), P(s, 2));
    }
    // A common edge: beyond it only when both lie in one plane on the same
    // side of it.
    int sl = 0, tl = 0;  // the corner of each not on the edge
    for (int k = 0; k < 3; ++k) {
        if (s.nID[k] != t.nID[0] && s.nID[k] != t.nID[1] && s.nID[k] != t.nID[2]) sl = k;
        if (t.nID[k] != s.nID[0] && t.nID[k] != s.nID[1] && t.nID[k] != s.nID[2]) tl = k;
    }
    const CKrPoint3d &u = P(s, sl + 1), &v = P(s, sl + 2), &a = P(s, sl), &b = P(t, tl);
    if (Orient3dExact(u, v, a, b) != 0) return false;
    Proj pr;
    FlatFor(u, v, a, pr);
    return pr.Orient(u, v, a) * pr.Orient(u, v, b) > 0;
}

}  // namespace

bool SKrSolidCheck::FirstFault(int edge[2]) const
{
    const int* e = openEdges ? firstOpen : overSharedEdges ? firstOverShared : flippedEdges ? firstFlipped : nullptr;
    edge[0] = e ? e[0] : -1;
    edge[1] = e ? e[1] : -1;
    return e != nullptr;
}

SKrSolidCheck CheckClosedSolid(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris)
{
    return CheckEdges(tris, pts.size());
}

SKrSolidCheck CheckClosedSolid(const std::vector<KrTesGeo::_sTri_ID>& tris)
{
    return CheckEdges(tris, std::numeric_limits<std::size_t>::max());
}

SKrSolidCheck CheckClosedSolid(const CKrMeshData& mesh)
{
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> tris;
    MeshArrays(mesh, pts, tris);
    return CheckClosedSolid(pts, tris);
}

double SolidVolume(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris)
{
    if (pts.empty()) return 0.0;
    const CKrPoint3d o = pts[0];
    double v = 0.0;
    for (const auto& t : tris) {
        if (!Names(t, pts.size())) return std::numeric_limits<double>::quiet_NaN();
        const CKrPoint3d a = pts[t.nID[0]] - o, b = pts[t.nID[1]] - o, c = pts[t.nID[2]] - o;
        v += a.x * (b.y * c.z - b.z * c.y) - a.y * (b.x * c.z - b.z * c.x) + a.z * (b.x * c.y - b.y * c.x);
    }
    return v / 6.0;
}

double SolidVolume(const CKrMeshData& mesh)
{
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> tris;
    MeshArrays(mesh, pts, tris);
    return SolidVolume(pts, tris);
}

std::vector<std::pair<std::size_t, std::size_t>> FindSelfIntersections(const std::vector<CKrPoint3d>& pts,
                                                                     const std::vector<KrTesGeo::_sTri_ID>& tris,
                                                                     std::size_t maxPairs)
{
    std::vector<std::pair<std::size_t, std::size_t>> found;
    // The triangles that can take part, with their boxes.
    struct Item {
        double box[6];  // min x, y, z, max x, y, z
        std::size_t tri;
    };
    std::vector<Item> items;
    for (std::size_t i = 0; i < tris.size(); ++i) {
        const KrTesGeo::_sTri_ID& t = tris[i];
        if (!Names(t, pts.size()) || t.nID[0] == t.nID[1] || t.nID[1] == t.nID[2] || t.nID[0] == t.nID[2]) continue;
        const CKrPoint3d &a = pts[t.nID[0]], &b = pts[t.nID[1]], &c = pts[t.nID[2]];
        Proj pr;
        if (!FlatFor(a, b, c, pr)) continue;
        Item it;
        it.tri = i;
        const double* co[3] = {&a.x, &b.x, &c.x};
        for (int d = 0; d < 3; ++d) {
            it.box[d] = std::min({co[0][d], co[1][d], co[2][d]});
            it.box[d + 3] = std::max({co[0][d], co[1][d], co[2][d]});
        }
        items.push_back(it);
    }
    if (items.empty() || maxPairs == 0) return found;
    // Sweep along the axis of the widest extent; boxes that merely touch are
    // candidates too.
    int axis = 0;
    double lo[3], hi[3];
    for (int d = 0; d < 3; ++d) {
        lo[d] = items[0].box[d];
        hi[d] = items[0].box[d + 3];
        for (const Item& it : items) {
            lo[d] = std::min(lo[d], it.box[d]);
            hi[d] = std::max(hi[d], it.box[d + 3]);
        }
        if (hi[d] - lo[d] > hi[axis] - lo[axis]) axis = d;
    }
    std::sort(items.begin(), items.end(), [axis](const Item& x, const Item& y) {
        return x.box[axis] != y.box[axis] ? x.box[axis] < y.box[axis] : x.tri < y.tri;
    });
    for (std::size_t i = 0; i < items.size() && found.size() < maxPairs; ++i) {
        const Item& x = items[i];
        for (std::size_t j = i + 1; j < items.size() && items[j].box[axis] <= x.box[axis + 3]; ++j) {
            const Item& y = items[j];
            bool overlap = true;
            for (int d = 0; d < 3 && overlap; ++d) overlap = x.box[d] <= y.box[d + 3] && y.box[d] <= x.box[d + 3];
            if (!overlap || !PairMeets(pts, tris[x.tri], tris[y.tri])) continue;
            found.emplace_back(std::min(x.tri, y.tri), std::max(x.tri, y.tri));
            if (found.size() == maxPairs) break;
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace TesTriMesh
