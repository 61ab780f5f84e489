#include "boolean/KrExactCut.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/KrTransReferent.h"
#include "boolean/KrBooleanCut.h"
#include "boolean/KrImplicitPoint.h"
#include "geom/KrBox.h"

namespace TesTriMesh {
namespace exact {

namespace {

double Co(const CKrPoint3d& p, int k) { return k == 0 ? p.x : (k == 1 ? p.y : p.z); }

// Feature codes: the dimension (0 vertex, 1 edge, 2 triangle) above the
// index of the vertex, edge or triangle within its mesh.
constexpr uint32_t Enc(uint32_t dim, uint32_t idx) { return dim << 30 | idx; }
constexpr uint32_t Dim(uint32_t e) { return e >> 30; }
constexpr uint32_t Idx(uint32_t e) { return e & 0x3fffffffu; }

uint64_t EdgeKey(int a, int b)
{
    return a < b ? (uint64_t(uint32_t(a)) << 32 | uint32_t(b)) : (uint64_t(uint32_t(b)) << 32 | uint32_t(a));
}

// One mesh as index arrays, in an order that depends on positions only.
struct MeshIdx {
    CKrMeshData* mesh = nullptr;
    int base = 0;                       // global id of its first vertex
    std::vector<_sVertex*> vp;          // vertices, by position
    std::vector<_sTri*> tp;             // triangles, by their corners' positions
    std::vector<std::array<int, 3>> tv; // corners (local vertex indices)
    std::vector<std::array<int, 3>> te; // te[t][k]: edge of corners k, k+1
    std::vector<std::array<int, 2>> ev; // edge ends, lower index first
    std::vector<unsigned char> degenerate;
    std::vector<double> box;            // 6 per triangle

    const CKrPoint3d& P(int v) const { return vp[static_cast<std::size_t>(v)]->pt; }
    const CKrPoint3d& C(int t, int k) const { return P(tv[static_cast<std::size_t>(t)][k]); }

    void Load(CKrMeshData& m, int firstId)
    {
        mesh = &m;
        base = firstId;
        // By exact position: the vertex set's tolerant order is not a strict
        // weak order, so its iteration order can depend on the order the
        // vertices were inserted in.
        vp.assign(m.m_setVer.begin(), m.m_setVer.end());
        std::stable_sort(vp.begin(), vp.end(),
                         [](const _sVertex* a, const _sVertex* b) { return CKrPoint3d::CompPt(a->pt, b->pt) < 0; });
        for (std::size_t i = 0; i < vp.size(); ++i) vp[i]->nID = static_cast<int32_t>(i);
        tp = SortedTris(m);
        const std::size_t n = tp.size();
        tv.resize(n);
        te.resize(n);
        degenerate.assign(n, 0);
        box.resize(n * 6);
        std::vector<std::pair<uint64_t, int>> es;
        es.reserve(n * 3);
        for (std::size_t t = 0; t < n; ++t) {
            for (int k = 0; k < 3; ++k) tv[t][k] = tp[t]->pVer[k]->nID;
            for (int k = 0; k < 3; ++k) es.emplace_back(EdgeKey(tv[t][k], tv[t][(k + 1) % 3]), int(t * 3 + k));
            const CKrPoint3d &a = C(int(t), 0), &b = C(int(t), 1), &c = C(int(t), 2);
            degenerate[t] = KrTesGeo::Orient2dExact(a.x, a.y, b.x, b.y, c.x, c.y) == 0 &&
                            KrTesGeo::Orient2dExact(a.y, a.z, b.y, b.z, c.y, c.z) == 0 &&
                            KrTesGeo::Orient2dExact(a.z, a.x, b.z, b.x, c.z, c.x) == 0;
            KrTesGeo::detail::CornerBox(a, b, c, &box[t * 6]);
        }
        std::sort(es.begin(), es.end());
        ev.clear();
        for (std::size_t i = 0; i < es.size(); ++i) {
            if (i == 0 || es[i].first != es[i - 1].first)
                ev.push_back({int(es[i].first >> 32), int(es[i].first & 0xffffffffu)});
            te[static_cast<std::size_t>(es[i].second / 3)][es[i].second % 3] = int(ev.size()) - 1;
        }
    }
};

// The coordinate axis along which a triangle's plane projects without
// collapsing (its normal's largest component, checked exactly), and the sign
// of the triangle's orientation in that projection.
bool ProjectionOf(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, int& axis, int& sign)
{
    const double ux = b.x - a.x, uy = b.y - a.y, uz = b.z - a.z;
    const double vx = c.x - a.x, vy = c.y - a.y, vz = c.z - a.z;
    const double n[3] = {std::fabs(uy * vz - uz * vy), std::fabs(uz * vx - ux * vz), std::fabs(ux * vy - uy * vx)};
    int order[3] = {0, 1, 2};
    std::sort(order, order + 3, [&](int p, int q) { return n[p] > n[q] || (n[p] == n[q] && p < q); });
    for (int ax : order) {
        const int i = (ax + 1) % 3, j = (ax + 2) % 3;
        const int s = KrTesGeo::Orient2dExact(Co(a, i), Co(a, j), Co(b, i), Co(b, j), Co(c, i), Co(c, j));
        if (s != 0) {
            axis = ax;
            sign = s;
            return true;
        }
    }
    return false;
}

// ---------------------------------------------------------------------------
// Re-triangulation of one triangle in its plane: point insertion, then
// constraint recovery by edge flips, all on exact orientations.
class PlaneTriangulator {
public:
    PlaneTriangulator(std::vector<const KrPointRec*> pts, int axis, int sign)
        : m_p(std::move(pts)), m_i((axis + 1) % 3), m_j((axis + 2) % 3), m_sign(sign)
    {
        m_t.push_back({0, 1, 2});
    }

    bool Insert(int p)
    {
        for (std::size_t ti = 0; ti < m_t.size(); ++ti) {
            const std::array<int, 3> t = m_t[ti];
            int o[3];
            bool out = false;
            for (int k = 0; k < 3 && !out; ++k) {
                o[k] = O(t[k], t[(k + 1) % 3], p);
                out = o[k] < 0;
            }
            if (out) continue;
            const int zeros = (o[0] == 0) + (o[1] == 0) + (o[2] == 0);
            if (zeros == 0) {
                m_t[ti] = {t[0], t[1], p};
                m_t.push_back({t[1], t[2], p});
                m_t.push_back({t[2], t[0], p});
                return true;
            }
            if (zeros > 1) return false;  // two names for one position
            const int k = o[0] == 0 ? 0 : (o[1] == 0 ? 1 : 2);
            const int u = t[k], v = t[(k + 1) % 3], w = t[(k + 2) % 3];
            m_t[ti] = {u, p, w};
            m_t.push_back({p, v, w});
            int nt, nk;
            if (Find(v, u, nt, nk)) {
                const int z = m_t[static_cast<std::size_t>(nt)][(nk + 2) % 3];
                m_t[static_cast<std::size_t>(nt)] = {v, p, z};
                m_t.push_back({p, u, z});
            }
            return true;
        }
        return false;
    }

    bool InsertSegment(int a, int b, int depth = 0)
    {
        if (a == b) return true;
        if (depth > 64) return false;
        int t, k;
        if (Find(a, b, t, k) || Find(b, a, t, k)) {
            m_cons.insert(EdgeKey(a, b));
            return true;
        }
        const int ax = CompareAxis(*m_p[a], *m_p[b], m_i) != 0 ? m_i : m_j;
        for (int c = 0; c < int(m_p.size()); ++c) {
            if (c == a || c == b || O(a, b, c) != 0) continue;
            if (CompareAxis(*m_p[a], *m_p[c], ax) * CompareAxis(*m_p[c], *m_p[b], ax) > 0)
                return InsertSegment(a, c, depth + 1) && InsertSegment(c, b, depth + 1);
        }
        std::deque<std::pair<int, int>> queue;
        for (const auto& tr : m_t)
            for (int e = 0; e < 3; ++e) {
                const int u = tr[e], v = tr[(e + 1) % 3];
                if (u < v && Crosses(a, b, u, v)) {
                    if (m_cons.count(EdgeKey(u, v))) return false;  // two constraints cross
                    queue.emplace_back(u, v);
                }
            }
        std::size_t guard = 0;
        const std::size_t limit = 64 + 16 * queue.size() * queue.size();
        while (!queue.empty()) {
            if (++guard > limit) return false;
            const auto [u, v] = queue.front();
            queue.pop_front();
            int t1, k1, t2, k2;
            if (!Find(u, v, t1, k1) || !Find(v, u, t2, k2)) continue;
            const int w = m_t[static_cast<std::size_t>(t1)][(k1 + 2) % 3];
            const int z = m_t[static_cast<std::size_t>(t2)][(k2 + 2) % 3];
            if (O(w, u, z) > 0 && O(z, v, w) > 0) {
                m_t[static_cast<std::size_t>(t1)] = {w, u, z};
                m_t[static_cast<std::size_t>(t2)] = {z, v, w};
                if (Crosses(a, b, w, z)) queue.emplace_back(std::min(w, z), std::max(w, z));
            } else {
                queue.emplace_back(u, v);
            }
        }
        if (Find(a, b, t, k) || Find(b, a, t, k)) {
            m_cons.insert(EdgeKey(a, b));
            return true;
        }
        return false;
    }

    const std::vector<std::array<int, 3>>& Triangles() const { return m_t; }

    // Lawson flips towards the Delaunay triangulation of the rounded
    // points, constrained edges and the triangle's own edges kept: long
    // thin pieces would otherwise survive from the insertion order and fold
    // when the points are rounded. A flip needs the quadrilateral strictly
    // convex by the exact orientation of the implicit points; the in-circle
    // test runs on the rounded points with a margin, so that it cannot
    // cycle, and the passes are bounded.
    void MakeDelaunay()
    {
        if (m_t.size() < 2) return;
        std::vector<std::array<double, 2>> xy(m_p.size());
        for (std::size_t k = 0; k < m_p.size(); ++k) {
            const CKrPoint3d r = m_p[k]->Round();
            xy[k] = {Co(r, m_i), Co(r, m_j)};
        }
        // Coordinates relative to the first corner keep the lifts small.
        const std::array<double, 2> o = xy[0];
        for (auto& q : xy) q = {q[0] - o[0], q[1] - o[1]};
        auto inCircle = [&](int a, int b, int c, int d) {
            const double adx = xy[a][0] - xy[d][0], ady = xy[a][1] - xy[d][1];
            const double bdx = xy[b][0] - xy[d][0], bdy = xy[b][1] - xy[d][1];
            const double cdx = xy[c][0] - xy[d][0], cdy = xy[c][1] - xy[d][1];
            const double al = adx * adx + ady * ady, bl = bdx * bdx + bdy * bdy, cl = cdx * cdx + cdy * cdy;
            const double det = al * (bdx * cdy - bdy * cdx) + bl * (cdx * ady - cdy * adx) + cl * (adx * bdy - ady * bdx);
            const double perm = al * (std::fabs(bdx * cdy) + std::fabs(bdy * cdx)) +
                                bl * (std::fabs(cdx * ady) + std::fabs(cdy * adx)) +
                                cl * (std::fabs(adx * bdy) + std::fabs(ady * bdx));
            return double(m_sign) * det > 1e-9 * perm;
        };
        std::unordered_map<uint64_t, int> at;  // directed edge -> 3 * triangle + slot
        auto dkey = [](int u, int v) { return uint64_t(uint32_t(u)) << 32 | uint32_t(v); };
        auto file = [&](int t) {
            for (int e = 0; e < 3; ++e)
                at[dkey(m_t[static_cast<std::size_t>(t)][e], m_t[static_cast<std::size_t>(t)][(e + 1) % 3])] = 3 * t + e;
        };
        for (int t = 0; t < int(m_t.size()); ++t) file(t);
        std::vector<std::pair<int, int>> stack;
        for (const auto& tr : m_t)
            for (int e = 0; e < 3; ++e) stack.emplace_back(tr[e], tr[(e + 1) % 3]);
        std::size_t budget = 32 * m_t.size() * m_t.size() + 64;
        while (!stack.empty() && budget-- > 0) {
            const auto [u, v] = stack.back();
            stack.pop_back();
            if (m_cons.count(EdgeKey(u, v))) continue;
            auto i1 = at.find(dkey(u, v)), i2 = at.find(dkey(v, u));
            if (i1 == at.end() || i2 == at.end()) continue;
            const int t1 = i1->second / 3, k1 = i1->second % 3, t2 = i2->second / 3, k2 = i2->second % 3;
            if (m_t[static_cast<std::size_t>(t1)][k1] != u || m_t[static_cast<std::size_t>(t1)][(k1 + 1) % 3] != v) continue;
            if (m_t[static_cast<std::size_t>(t2)][k2] != v || m_t[static_cast<std::size_t>(t2)][(k2 + 1) % 3] != u) continue;
            const int w = m_t[static_cast<std::size_t>(t1)][(k1 + 2) % 3];
            const int z = m_t[static_cast<std::size_t>(t2)][(k2 + 2) % 3];
            if (!inCircle(u, v, w, z)) continue;
            if (O(w, u, z) <= 0 || O(z, v, w) <= 0) continue;
            at.erase(dkey(u, v));
            at.erase(dkey(v, u));
            m_t[static_cast<std::size_t>(t1)] = {w, u, z};
            m_t[static_cast<std::size_t>(t2)] = {z, v, w};
            file(t1);
            file(t2);
            stack.emplace_back(u, z);
            stack.emplace_back(z, v);
            stack.emplace_back(v, w);
            stack.emplace_back(w, u);
        }
    }

private:
    int O(int a, int b, int c) const { return m_sign * Orient2d(*m_p[a], *m_p[b], *m_p[c], m_i, m_j); }
    bool Crosses(int a, int b, int u, int v) const
    {
        if (u == a || u == b || v == a || v == b) return false;
        return O(a, b, u) * O(a, b, v) < 0 && O(u, v, a) * O(u, v, b) < 0;
    }
    bool Find(int u, int v, int& t, int& k) const
    {
        for (std::size_t i = 0; i < m_t.size(); ++i)
            for (int e = 0; e < 3; ++e)
                if (m_t[i][e] == u && m_t[i][(e + 1) % 3] == v) {
                    t = int(i);
                    k = e;
                    return true;
                }
        return false;
    }

    std::vector<const KrPointRec*> m_p;
    int m_i, m_j, m_sign;
    std::vector<std::array<int, 3>> m_t;
    std::set<uint64_t> m_cons;
};

// ---------------------------------------------------------------------------
// Target vertices lying on the reference surface up to rounding.
//
// A target that was cut before (the seam points of an earlier cut are
// rounded intersection points, a few units in the last place off the
// surfaces they came from) would otherwise be cut again next to its own
// seam: its seam edges cross the reference at arbitrary places a rounding
// error away, and the slivers between are new vertices the other mesh
// never had. Every target vertex within `delta` of the reference (scale-
// aware, far below the merge tolerance) is therefore made a vertex of the
// reference first: a reference vertex that close moves onto it; otherwise
// the vertex splits the reference edge or triangle nearest to it, and
// target edges joining two such vertices within one reference triangle are
// kept as edges of its re-triangulation. Afterwards the seam lies in both
// meshes with the same vertices and edges, and the exact cut finds it as a
// shared, already cut line. The reference moves by at most delta.

struct SnapAt {
    int dim = 3;  // 0 a reference vertex, 1 an edge, 2 a triangle's interior; 3 none
    int id = -1;  // vertex, edge or triangle index
    double d = DBL_MAX;
    int tri = -1;  // the triangle it was found in (ties)
    bool Better(const SnapAt& o) const
    {
        if (dim != o.dim) return dim < o.dim;
        if (d != o.d) return d < o.d;
        return tri < o.tri;
    }
};

// Distance from p to the segment a-b, measured from the lexicographically
// smaller end (both triangles of an edge agree to the last bit); inside is
// false when the foot lies outside the open segment.
double SegDistance(const CKrPoint3d& p, CKrPoint3d a, CKrPoint3d b, bool& inside)
{
    if (CKrPoint3d::CompPt(b, a) < 0) std::swap(a, b);
    const double ux = b.x - a.x, uy = b.y - a.y, uz = b.z - a.z;
    const double l2 = ux * ux + uy * uy + uz * uz;
    inside = false;
    if (!(l2 > 0.0)) return DBL_MAX;
    const double s = ((p.x - a.x) * ux + (p.y - a.y) * uy + (p.z - a.z) * uz) / l2;
    if (!(s > 0.0 && s < 1.0)) return DBL_MAX;
    inside = true;
    const double dx = p.x - (a.x + s * ux), dy = p.y - (a.y + s * uy), dz = p.z - (a.z + s * uz);
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}

std::size_t SnapNearVertices(CKrMeshData& ref, CKrMeshData& tgt, std::size_t& unsupported, std::size_t& onEdgeTaken,
                             const std::unordered_map<const _sVertex*, int>* onRefEdge = nullptr)
{
    unsupported = 0;
    if (!onRefEdge) onEdgeTaken = 0;
    if (ref.m_setTri.empty() || tgt.m_setVer.empty()) return 0;
    MeshIdx R;
    R.Load(ref, 0);
    std::vector<_sVertex*> tv(tgt.m_setVer.begin(), tgt.m_setVer.end());
    std::stable_sort(tv.begin(), tv.end(), [](const _sVertex* a, const _sVertex* b) { return CKrPoint3d::CompPt(a->pt, b->pt) < 0; });
    double scale = 0.0;
    for (const auto* list : {&R.vp, &tv})
        for (const _sVertex* v : *list) scale = std::max({scale, std::fabs(v->pt.x), std::fabs(v->pt.y), std::fabs(v->pt.z)});
    const double delta = std::ldexp(scale, -36);  // about 1.5e-11 of the largest coordinate
    if (!(delta > 0.0)) return 0;

    // Target vertices in cells about as large as the reference triangles.
    double h = 0.0;
    for (std::size_t t = 0; t < R.tp.size(); ++t)
        h += std::max({R.box[t * 6 + 3] - R.box[t * 6], R.box[t * 6 + 4] - R.box[t * 6 + 1], R.box[t * 6 + 5] - R.box[t * 6 + 2]});
    h = std::max(h / double(R.tp.size()), 64.0 * delta);
    struct KeyHash {
        std::size_t operator()(const std::array<int64_t, 3>& c) const
        {
            return std::size_t(c[0] * 73856093) ^ std::size_t(c[1] * 19349663) ^ std::size_t(c[2] * 83492791);
        }
    };
    auto cellOf = [h](double x, double y, double z) {
        return std::array<int64_t, 3>{int64_t(std::floor(x / h)), int64_t(std::floor(y / h)), int64_t(std::floor(z / h))};
    };
    std::unordered_map<std::array<int64_t, 3>, std::vector<int>, KeyHash> cells;
    for (std::size_t i = 0; i < tv.size(); ++i) cells[cellOf(tv[i]->pt.x, tv[i]->pt.y, tv[i]->pt.z)].push_back(int(i));

    std::vector<SnapAt> at(tv.size());
    std::vector<int> cand;
    for (std::size_t t = 0; t < R.tp.size(); ++t) {
        if (R.degenerate[t]) continue;
        double b[6];
        for (int k = 0; k < 3; ++k) {
            b[k] = R.box[t * 6 + k] - delta;
            b[3 + k] = R.box[t * 6 + 3 + k] + delta;
        }
        const auto c0 = cellOf(b[0], b[1], b[2]), c1 = cellOf(b[3], b[4], b[5]);
        const double ncell = double(c1[0] - c0[0] + 1) * double(c1[1] - c0[1] + 1) * double(c1[2] - c0[2] + 1);
        cand.clear();
        if (ncell > double(cells.size())) {
            for (std::size_t i = 0; i < tv.size(); ++i) cand.push_back(int(i));
        } else {
            for (int64_t z = c0[2]; z <= c1[2]; ++z)
                for (int64_t y = c0[1]; y <= c1[1]; ++y)
                    for (int64_t x = c0[0]; x <= c1[0]; ++x) {
                        auto it = cells.find({x, y, z});
                        if (it != cells.end()) cand.insert(cand.end(), it->second.begin(), it->second.end());
                    }
        }
        const CKrPoint3d* c[3] = {&R.C(int(t), 0), &R.C(int(t), 1), &R.C(int(t), 2)};
        const double ux = c[1]->x - c[0]->x, uy = c[1]->y - c[0]->y, uz = c[1]->z - c[0]->z;
        const double vx = c[2]->x - c[0]->x, vy = c[2]->y - c[0]->y, vz = c[2]->z - c[0]->z;
        const double nx = uy * vz - uz * vy, ny = uz * vx - ux * vz, nz = ux * vy - uy * vx;
        const double nl = std::sqrt(nx * nx + ny * ny + nz * nz);
        for (int i : cand) {
            const CKrPoint3d& p = tv[static_cast<std::size_t>(i)]->pt;
            if (p.x < b[0] || p.x > b[3] || p.y < b[1] || p.y > b[4] || p.z < b[2] || p.z > b[5]) continue;
            SnapAt s;
            s.tri = int(t);
            for (int k = 0; k < 3; ++k) {
                const double d = p.Distance(*c[k]);
                if (d <= delta && (s.dim > 0 || d < s.d)) {
                    s.dim = 0;
                    s.id = R.tv[t][k];
                    s.d = d;
                }
            }
            if (s.dim > 0)
                for (int k = 0; k < 3; ++k) {
                    bool in;
                    const double d = SegDistance(p, *c[k], *c[(k + 1) % 3], in);
                    if (in && d <= delta && (s.dim > 1 || d < s.d)) {
                        s.dim = 1;
                        s.id = R.te[t][k];
                        s.d = d;
                    }
                }
            if (s.dim > 1 && nl > 0.0) {
                const double d = std::fabs(nx * (p.x - c[0]->x) + ny * (p.y - c[0]->y) + nz * (p.z - c[0]->z)) / nl;
                bool inside = d <= delta;
                for (int k = 0; k < 3 && inside; ++k) {
                    const CKrPoint3d &a = *c[k], &e = *c[(k + 1) % 3];
                    const double ex = e.x - a.x, ey = e.y - a.y, ez = e.z - a.z;
                    const double mx = ny * ez - nz * ey, my = nz * ex - nx * ez, mz = nx * ey - ny * ex;
                    inside = mx * (p.x - a.x) + my * (p.y - a.y) + mz * (p.z - a.z) > 0.0;
                }
                if (inside) {
                    s.dim = 2;
                    s.id = int(t);
                    s.d = d;
                }
            }
            if (s.dim < 3 && s.Better(at[static_cast<std::size_t>(i)])) at[static_cast<std::size_t>(i)] = s;
        }
    }

    if (onRefEdge)
        for (std::size_t i = 0; i < tv.size(); ++i) {
            auto it = onRefEdge->find(tv[i]);
            if (it == onRefEdge->end()) continue;
            SnapAt& a = at[i];
            a.dim = 1;
            a.id = it->second;
            bool in;
            const auto& ev = R.ev[static_cast<std::size_t>(it->second)];
            a.d = std::max(SegDistance(tv[i]->pt, R.P(ev[0]), R.P(ev[1]), in), DBL_MIN);
        }
    // One target vertex per reference vertex (the nearest; exact matches need nothing).
    std::vector<int> moveTo(R.vp.size(), -1);
    for (std::size_t i = 0; i < tv.size(); ++i) {
        SnapAt& s = at[i];
        if (s.dim != 0) continue;
        int& m = moveTo[static_cast<std::size_t>(s.id)];
        if (m < 0 || s.d < at[static_cast<std::size_t>(m)].d) {
            if (m >= 0) at[static_cast<std::size_t>(m)].dim = 3;
            m = int(i);
        } else {
            s.dim = 3;
        }
    }
    std::size_t snapped = 0;
    for (const SnapAt& s : at) snapped += s.dim < 3 && s.d > 0.0;
    if (!snapped) return 0;

    // Triangles around each reference vertex and at each edge.
    std::vector<std::vector<int>> vtris(R.vp.size()), etris(R.ev.size());
    for (std::size_t t = 0; t < R.tp.size(); ++t)
        for (int k = 0; k < 3; ++k) {
            vtris[static_cast<std::size_t>(R.tv[t][k])].push_back(int(t));
            etris[static_cast<std::size_t>(R.te[t][k])].push_back(int(t));
        }
    auto trisOf = [&](const SnapAt& s) -> std::vector<int> {
        if (s.dim == 0) return vtris[static_cast<std::size_t>(s.id)];
        if (s.dim == 1) return etris[static_cast<std::size_t>(s.id)];
        return {s.id};
    };
    auto onOneEdge = [&](const SnapAt& a, const SnapAt& b) {
        auto ends = [&](int e) { return R.ev[static_cast<std::size_t>(e)]; };
        if (a.dim == 1 && b.dim == 1) return a.id == b.id;
        if (a.dim == 0 && b.dim == 1) return ends(b.id)[0] == a.id || ends(b.id)[1] == a.id;
        if (a.dim == 1 && b.dim == 0) return ends(a.id)[0] == b.id || ends(a.id)[1] == b.id;
        if (a.dim == 0 && b.dim == 0)
            for (int t : vtris[static_cast<std::size_t>(a.id)])
                for (int k = 0; k < 3; ++k)
                    if (R.tv[static_cast<std::size_t>(t)][k] == b.id) return true;
        return false;
    };

    // Target edges between snapped vertices inside one reference triangle.
    std::unordered_map<const _sVertex*, int> tIndex;
    for (std::size_t i = 0; i < tv.size(); ++i) tIndex.emplace(tv[i], int(i));
    std::vector<std::array<int, 3>> cons;  // (reference triangle, target vertex, target vertex)
    std::vector<std::array<int, 3>> crossing;  // (target vertex, target vertex, reference edge)
    for (const _sTri* t : SortedTris(tgt))
        for (int k = 0; k < 3; ++k) {
            int u = tIndex[t->pVer[k]], w = tIndex[t->pVer[(k + 1) % 3]];
            if (u > w) continue;  // each edge once (its other triangle lists it the other way)
            const SnapAt &a = at[static_cast<std::size_t>(u)], &b = at[static_cast<std::size_t>(w)];
            if (a.dim == 3 || b.dim == 3 || onOneEdge(a, b)) continue;
            const std::vector<int> ta = trisOf(a), tb = trisOf(b);
            int common = -1;
            for (int x : ta)
                if (std::find(tb.begin(), tb.end(), x) != tb.end() && (common < 0 || x < common)) common = x;
            if (common < 0) {
                // Reference triangles of the two ends that share an edge:
                // the target edge crosses it.
                int cross = -1;
                for (int x : ta)
                    for (int y : tb)
                        for (int k = 0; k < 3; ++k)
                            for (int l = 0; l < 3; ++l)
                                if (R.te[static_cast<std::size_t>(x)][k] == R.te[static_cast<std::size_t>(y)][l] &&
                                    (cross < 0 || R.te[static_cast<std::size_t>(x)][k] < cross))
                                    cross = R.te[static_cast<std::size_t>(x)][k];
                if (cross >= 0) crossing.push_back({u, w, cross});
                ++unsupported;
                continue;
            }
            cons.push_back({common, u, w});
        }
    std::sort(cons.begin(), cons.end());
    cons.erase(std::unique(cons.begin(), cons.end()), cons.end());

    // A target edge between two such vertices that crosses a reference edge
    // is a seam edge whose middle point, where the seam crossed that edge,
    // an earlier cut merged into one of its ends: the other mesh of that cut
    // has the end on the edge. That end (the one the crossing lies within
    // twice the merge tolerance of, where the edge meets the plane of a
    // target triangle at the target edge) is taken as lying on the
    // reference edge, and the analysis runs again: the reference then bends
    // through it as the other mesh did, and the seam edge lies in one
    // reference triangle. Splitting the target edge instead would give the
    // target a seam vertex the other mesh does not have.
    if (!crossing.empty() && !onRefEdge) {
        const double tol = g_dVerTol;
        std::unordered_map<const _sVertex*, int> forced;  // target vertex -> reference edge it is taken to lie on
        for (const auto& c : crossing) {
            _sVertex* vu = tv[static_cast<std::size_t>(c[0])];
            _sVertex* vw = tv[static_cast<std::size_t>(c[1])];
            // The target triangles at the edge.
            const _sTri* side[2] = {nullptr, nullptr};
            for (const _sTri* t : vu->setTri)
                for (int k = 0; k < 3; ++k) {
                    if (t->pVer[k] == vu && t->pVer[(k + 1) % 3] == vw) side[0] = t;
                    if (t->pVer[k] == vw && t->pVer[(k + 1) % 3] == vu) side[1] = t;
                }
            const auto& ev = R.ev[static_cast<std::size_t>(c[2])];
            const CKrPoint3d &e0 = R.P(ev[0]), &e1 = R.P(ev[1]);
            std::optional<CKrPoint3d> xp;
            for (int sd = 0; sd < 2 && !xp; ++sd) {
                if (!side[sd]) continue;
                const CKrPoint3d &a = side[sd]->pVer[0]->pt, &b = side[sd]->pVer[1]->pt, &cc = side[sd]->pVer[2]->pt;
                if (KrTesGeo::Orient3dExact(a, b, cc, e0) * KrTesGeo::Orient3dExact(a, b, cc, e1) >= 0) continue;
                xp = KrPointRec(KrImplicitPoint::SegPlane(e0, e1, a, b, cc)).Round();
            }
            if (!xp) continue;
            const double du = xp->Distance(vu->pt), dw = xp->Distance(vw->pt);
            if (std::min(du, dw) >= 2.0 * tol) continue;
            const int z = du <= dw ? c[0] : c[1];
            if (at[static_cast<std::size_t>(z)].dim == 2) forced.emplace(tv[static_cast<std::size_t>(z)], c[2]);
        }
        onEdgeTaken = forced.size();
        if (!forced.empty()) return SnapNearVertices(ref, tgt, unsupported, onEdgeTaken, &forced);
    }

    // Move reference vertices first: the triangles around them are laid out
    // with the new positions.
    bool moved = false;
    std::vector<std::pair<_sVertex*, CKrPoint3d>> wasAt;
    for (std::size_t v = 0; v < R.vp.size(); ++v) {
        const int m = moveTo[v];
        if (m < 0 || at[static_cast<std::size_t>(m)].d == 0.0) continue;
        wasAt.emplace_back(R.vp[v], R.vp[v]->pt);
        R.vp[v]->pt = tv[static_cast<std::size_t>(m)]->pt;
        moved = true;
    }
    if (moved) ref.m_setVer.RefreshPrefixes();

    std::vector<std::vector<int>> onEdge(R.ev.size()), inTri(R.tp.size());
    std::vector<std::vector<std::pair<int, int>>> triCons(R.tp.size());
    for (std::size_t i = 0; i < tv.size(); ++i) {
        if (at[i].dim == 1) onEdge[static_cast<std::size_t>(at[i].id)].push_back(int(i));
        if (at[i].dim == 2) inTri[static_cast<std::size_t>(at[i].id)].push_back(int(i));
    }
    for (const auto& c : cons) triCons[static_cast<std::size_t>(c[0])].emplace_back(c[1], c[2]);

    // Every touched triangle is laid out before the mesh changes; when one
    // cannot be, nothing but the moved vertices changes.
    struct Layout {
        int tri;
        std::vector<_sVertex*> corners;  // ref corners, then nullptr for target points
        std::vector<int> target;         // per local point: the target vertex, or -1
        std::vector<std::array<int, 3>> pieces;
    };
    std::vector<Layout> layouts;
    for (std::size_t t = 0; t < R.tp.size(); ++t) {
        bool touched = !inTri[t].empty() || !triCons[t].empty();
        for (int k = 0; k < 3; ++k) touched = touched || !onEdge[static_cast<std::size_t>(R.te[t][k])].empty();
        if (!touched) continue;
        Layout L;
        L.tri = int(t);
        std::vector<CKrPoint3d> pos;
        std::vector<int> boundary;
        std::unordered_map<int, int> local;  // target vertex -> local point
        for (int k = 0; k < 3; ++k) {
            L.corners.push_back(R.vp[static_cast<std::size_t>(R.tv[t][k])]);
            L.target.push_back(moveTo[static_cast<std::size_t>(R.tv[t][k])]);
            pos.push_back(R.C(int(t), k));
            if (L.target.back() >= 0) local[L.target.back()] = k;
        }
        for (int k = 0; k < 3; ++k) {
            boundary.push_back(k);
            std::vector<int> chain = onEdge[static_cast<std::size_t>(R.te[t][k])];
            const CKrPoint3d& a = R.C(int(t), k);
            const CKrPoint3d& b = R.C(int(t), (k + 1) % 3);
            const double ex = b.x - a.x, ey = b.y - a.y, ez = b.z - a.z;
            auto param = [&](int i) {
                const CKrPoint3d& p = tv[static_cast<std::size_t>(i)]->pt;
                return (p.x - a.x) * ex + (p.y - a.y) * ey + (p.z - a.z) * ez;
            };
            std::sort(chain.begin(), chain.end(), [&](int x, int y) {
                const double px = param(x), py = param(y);
                return px != py ? px < py : x < y;
            });
            for (int i : chain) {
                local[i] = int(pos.size());
                boundary.push_back(int(pos.size()));
                pos.push_back(tv[static_cast<std::size_t>(i)]->pt);
                L.corners.push_back(nullptr);
                L.target.push_back(i);
            }
        }
        for (int i : inTri[t]) {
            local[i] = int(pos.size());
            pos.push_back(tv[static_cast<std::size_t>(i)]->pt);
            L.corners.push_back(nullptr);
            L.target.push_back(i);
        }
        std::vector<std::pair<int, int>> segs;
        bool ok = true;
        for (const auto& c : triCons[t]) {
            auto a = local.find(c.first), b = local.find(c.second);
            if (a == local.end() || b == local.end()) {
                ok = false;
                break;
            }
            segs.emplace_back(a->second, b->second);
        }
        CKrTransReferent frame;
        const CKrPoint3d &p0 = pos[0], &p1 = pos[1], &p2 = pos[2];
        const KrTesGeo::CGeoVector n = KrTesGeo::CGeoVector(p1 - p0) ^ KrTesGeo::CGeoVector(p2 - p0);
        ok = ok && frame.SetData(n, p0);
        if (ok) {
            std::vector<CKrPoint3d> flat(pos.size());
            for (std::size_t i = 0; i < pos.size(); ++i) frame.Trans3DTo2D(flat[i], pos[i]);
            CKrCutTriangulator cdt(flat);
            ok = cdt.Run(boundary, std::vector<bool>(boundary.size(), false), segs);
            if (ok) L.pieces = cdt.Triangles();
            // Every piece must face the way the triangle does.
            for (std::size_t q = 0; ok && q < L.pieces.size(); ++q) {
                const auto& pc = L.pieces[q];
                const KrTesGeo::CGeoVector pn = KrTesGeo::CGeoVector(pos[static_cast<std::size_t>(pc[1])] - pos[static_cast<std::size_t>(pc[0])]) ^
                                                KrTesGeo::CGeoVector(pos[static_cast<std::size_t>(pc[2])] - pos[static_cast<std::size_t>(pc[0])]);
                ok = pn * n > 0.0;
            }
        }
        if (!ok && onRefEdge && !onRefEdge->empty()) {
            // Ends taken onto reference edges folded a piece: undo the
            // moves and snap without them.
            for (const auto& [v, p] : wasAt) v->pt = p;
            if (!wasAt.empty()) ref.m_setVer.RefreshPrefixes();
            const std::unordered_map<const _sVertex*, int> none;
            onEdgeTaken = 0;
            return SnapNearVertices(ref, tgt, unsupported, onEdgeTaken, &none);
        }
        if (!ok) {
            unsupported += 1;
            return 0;  // the layout failed: the reference keeps its triangles (moved vertices stay)
        }
        layouts.push_back(std::move(L));
    }
    for (const Layout& L : layouts) ref.DelTri(R.tp[static_cast<std::size_t>(L.tri)]);
    std::unordered_map<int, _sVertex*> made;
    for (Layout& L : layouts) {
        for (std::size_t i = 0; i < L.corners.size(); ++i)
            if (!L.corners[i]) {
                // One vertex per target vertex, made once and shared by the
                // triangles of its edge.
                _sVertex*& v = made[L.target[i]];
                if (!v) v = ref.InsertVertex(tv[static_cast<std::size_t>(L.target[i])]->pt);
                L.corners[i] = v;
            }
        for (const auto& pc : L.pieces)
            ref.AddTri(L.corners[static_cast<std::size_t>(pc[0])], L.corners[static_cast<std::size_t>(pc[1])],
                       L.corners[static_cast<std::size_t>(pc[2])]);
    }
    return snapped;
}

// ---------------------------------------------------------------------------
class Engine {
public:
    Engine(CKrMeshData& ref, CKrMeshData& tgt)
    {
        m_m[0].Load(ref, 0);
        m_m[1].Load(tgt, int(m_m[0].vp.size()));
        m_nOrig = int(m_m[0].vp.size() + m_m[1].vp.size());
        m_orig.resize(static_cast<std::size_t>(m_nOrig));
        m_alias.assign(m_m[1].vp.size(), -1);
    }

    bool Run(bool classify, KrExactCutResult& out);

private:
    // Global ids: the reference's vertices, the target's, then new points.
    const KrPointRec& Pt(int id)
    {
        if (id < m_nOrig) {
            auto& r = m_orig[static_cast<std::size_t>(id)];
            if (!r) r.reset(new KrPointRec(KrImplicitPoint::Input(Coord(id))));
            return *r;
        }
        return m_new[static_cast<std::size_t>(id - m_nOrig)];
    }
    const CKrPoint3d& Coord(int id) const
    {
        return id < m_m[1].base ? m_m[0].P(id) : m_m[1].P(id - m_m[1].base);
    }
    int Resolve(int id) const
    {
        if (id >= m_m[1].base && id < m_nOrig) {
            const int a = m_alias[static_cast<std::size_t>(id - m_m[1].base)];
            if (a >= 0) return a;
        }
        return id;
    }

    void BroadPhase(std::vector<std::pair<int, int>>& pairs) const;
    void IntersectPair(int r, int t);
    void Coplanar(int r, int t);
    int Register(uint32_t e0, uint32_t e1, const KrImplicitPoint* make);
    void AddMember(int m, uint32_t enc, int id);
    bool Retriangulate(int m, int t, const std::vector<int>& pts, const std::vector<std::pair<int, int>>& segs,
                       std::vector<std::array<int, 3>>& out);
    int WedgeClass(int f, int k);
    int RayClass(int vid);
    void WriteBack(bool classify, KrExactCutResult& out);

    MeshIdx m_m[2];
    int m_nOrig = 0;
    std::vector<std::unique_ptr<KrPointRec>> m_orig;
    std::deque<KrPointRec> m_new;
    std::vector<int> m_alias;  // target vertex -> the reference vertex at its position
    std::unordered_map<uint64_t, int> m_key;
    // Points lying in the relative interior of an edge / a triangle, and
    // constraint segments through triangles, per mesh.
    std::vector<std::pair<int, int>> m_edgePts[2], m_triPts[2];
    std::vector<std::array<int, 3>> m_triSegs[2];
    // The result, per mesh: triangles on global ids, the original triangle
    // each comes from, and whether it is a piece of a cut triangle.
    std::vector<std::array<int, 3>> m_F[2];
    std::vector<int> m_Forig[2];
    std::vector<unsigned char> m_Fcut[2];
    std::vector<std::pair<uint64_t, int>> m_adj[2];  // (edge key, 3 * triangle + k), sorted
    std::vector<int> m_cls;                          // class of each target result triangle
    bool m_ok = true;
    std::size_t m_cutTris = 0;
};

void Engine::BroadPhase(std::vector<std::pair<int, int>>& pairs) const
{
    const MeshIdx &R = m_m[0], &T = m_m[1];
    if (R.tp.empty() || T.tp.empty()) return;
    double lo[3] = {DBL_MAX, DBL_MAX, DBL_MAX}, hi[3] = {-DBL_MAX, -DBL_MAX, -DBL_MAX};
    double rlo[3] = {DBL_MAX, DBL_MAX, DBL_MAX}, rhi[3] = {-DBL_MAX, -DBL_MAX, -DBL_MAX};
    double ext = 0.0;
    for (std::size_t t = 0; t < T.tp.size(); ++t)
        for (int k = 0; k < 3; ++k) {
            lo[k] = std::min(lo[k], T.box[t * 6 + k]);
            hi[k] = std::max(hi[k], T.box[t * 6 + 3 + k]);
            ext += T.box[t * 6 + 3 + k] - T.box[t * 6 + k];
        }
    for (std::size_t t = 0; t < R.tp.size(); ++t)
        for (int k = 0; k < 3; ++k) {
            rlo[k] = std::min(rlo[k], R.box[t * 6 + k]);
            rhi[k] = std::max(rhi[k], R.box[t * 6 + 3 + k]);
            ext += R.box[t * 6 + 3 + k] - R.box[t * 6 + k];
        }
    for (int k = 0; k < 3; ++k) {
        lo[k] = std::max(lo[k], rlo[k]);
        hi[k] = std::min(hi[k], rhi[k]);
        if (lo[k] > hi[k]) return;
    }
    double h = 1.5 * ext / double(3 * (R.tp.size() + T.tp.size()));
    int n[3];
    for (;;) {
        if (!(h > 0.0)) h = 1.0;
        double cells = 1.0;
        for (int k = 0; k < 3; ++k) {
            n[k] = int(std::min(4096.0, std::max(1.0, std::ceil((hi[k] - lo[k]) / h))));
            cells *= n[k];
        }
        if (cells <= 2e6 + 0.5 * double(T.tp.size())) break;
        h *= 1.3;
    }
    auto cellRange = [&](const double* b, int c0[3], int c1[3]) {
        for (int k = 0; k < 3; ++k) {
            if (b[3 + k] < lo[k] || b[k] > hi[k]) return false;
            c0[k] = std::max(0, std::min(n[k] - 1, int((b[k] - lo[k]) / h)));
            c1[k] = std::max(0, std::min(n[k] - 1, int((b[3 + k] - lo[k]) / h)));
        }
        return true;
    };
    const std::size_t ncell = std::size_t(n[0]) * n[1] * n[2];
    std::vector<int> start(ncell + 1, 0);
    int c0[3], c1[3];
    std::vector<int> items;
    for (int pass = 0; pass < 2; ++pass) {
        std::vector<int> fill;
        if (pass == 1) {
            for (std::size_t c = 0; c < ncell; ++c) start[c + 1] += start[c];
            fill.assign(start.begin(), start.end() - 1);
        }
        if (pass == 1) items.assign(static_cast<std::size_t>(start[ncell]), 0);
        for (std::size_t t = 0; t < T.tp.size(); ++t) {
            if (T.degenerate[t] || !cellRange(&T.box[t * 6], c0, c1)) continue;
            for (int z = c0[2]; z <= c1[2]; ++z)
                for (int y = c0[1]; y <= c1[1]; ++y)
                    for (int x = c0[0]; x <= c1[0]; ++x) {
                        const std::size_t c = (std::size_t(z) * n[1] + y) * n[0] + x;
                        if (pass == 0)
                            ++start[c + 1];
                        else
                            items[static_cast<std::size_t>(fill[c]++)] = int(t);
                    }
        }
        if (pass == 0) continue;
        std::vector<int> stamp(T.tp.size(), -1), cand;
        for (std::size_t r = 0; r < R.tp.size(); ++r) {
            const double* rb = &R.box[r * 6];
            if (R.degenerate[r] || !cellRange(rb, c0, c1)) continue;
            cand.clear();
            for (int z = c0[2]; z <= c1[2]; ++z)
                for (int y = c0[1]; y <= c1[1]; ++y)
                    for (int x = c0[0]; x <= c1[0]; ++x) {
                        const std::size_t c = (std::size_t(z) * n[1] + y) * n[0] + x;
                        for (int i = start[c]; i < start[c + 1]; ++i) {
                            const int t = items[static_cast<std::size_t>(i)];
                            if (stamp[static_cast<std::size_t>(t)] == int(r)) continue;
                            stamp[static_cast<std::size_t>(t)] = int(r);
                            const double* tb = &T.box[std::size_t(t) * 6];
                            if (tb[0] <= rb[3] && rb[0] <= tb[3] && tb[1] <= rb[4] && rb[1] <= tb[4] &&
                                tb[2] <= rb[5] && rb[2] <= tb[5])
                                cand.push_back(t);
                        }
                    }
            std::sort(cand.begin(), cand.end());
            for (int t : cand) pairs.emplace_back(int(r), t);
        }
    }
}

void Engine::AddMember(int m, uint32_t enc, int id)
{
    if (Dim(enc) == 1)
        m_edgePts[m].emplace_back(int(Idx(enc)), id);
    else if (Dim(enc) == 2)
        m_triPts[m].emplace_back(int(Idx(enc)), id);
}

// The point in the relative interiors of feature e0 of the reference and e1
// of the target; make builds it when neither is a vertex.
int Engine::Register(uint32_t e0, uint32_t e1, const KrImplicitPoint* make)
{
    if (Dim(e0) == 0) {
        const int g = m_m[0].base + int(Idx(e0));
        if (Dim(e1) == 0)
            m_alias[Idx(e1)] = g;
        else
            AddMember(1, e1, g);
        return g;
    }
    if (Dim(e1) == 0) {
        const int h = m_m[1].base + int(Idx(e1));
        AddMember(0, e0, h);
        return h;
    }
    const uint64_t key = uint64_t(e0) << 32 | e1;
    auto it = m_key.find(key);
    if (it != m_key.end()) return it->second;
    const int id = m_nOrig + int(m_new.size());
    m_new.emplace_back(*make);
    m_key.emplace(key, id);
    AddMember(0, e0, id);
    AddMember(1, e1, id);
    return id;
}

template <class T>
void CrossDir(const CKrPoint3d* a, const CKrPoint3d* b, T d[3])
{
    T n[2][3];
    const CKrPoint3d* s[2] = {a, b};
    for (int m = 0; m < 2; ++m) {
        const CKrPoint3d* p = s[m];
        const T ux = T(p[1].x) - T(p[0].x), uy = T(p[1].y) - T(p[0].y), uz = T(p[1].z) - T(p[0].z);
        const T vx = T(p[2].x) - T(p[0].x), vy = T(p[2].y) - T(p[0].y), vz = T(p[2].z) - T(p[0].z);
        n[m][0] = uy * vz - uz * vy;
        n[m][1] = uz * vx - ux * vz;
        n[m][2] = ux * vy - uy * vx;
    }
    d[0] = n[0][1] * n[1][2] - n[0][2] * n[1][1];
    d[1] = n[0][2] * n[1][0] - n[0][0] * n[1][2];
    d[2] = n[0][0] * n[1][1] - n[0][1] * n[1][0];
}

// One end of the section of a triangle by the other triangle's plane.
struct ChordEnd {
    uint32_t enc;               // the feature of its own mesh
    const KrPointRec* rec;      // its position
    std::optional<KrPointRec> own;  // storage for a crossing point
    KrImplicitPoint def;
};

void Engine::IntersectPair(int r, int t)
{
    const MeshIdx* M[2] = {&m_m[0], &m_m[1]};
    const int tri[2] = {r, t};
    CKrPoint3d c[2][3];
    for (int m = 0; m < 2; ++m)
        for (int k = 0; k < 3; ++k) c[m][k] = M[m]->C(tri[m], k);
    int s[2][3];
    for (int m = 0; m < 2; ++m) {
        int pos = 0, neg = 0;
        for (int k = 0; k < 3; ++k) {
            s[m][k] = KrTesGeo::Orient3dExact(c[1 - m][0], c[1 - m][1], c[1 - m][2], c[m][k]);
            pos += s[m][k] > 0;
            neg += s[m][k] < 0;
        }
        if (pos == 3 || neg == 3) return;
    }
    if (s[0][0] == 0 && s[0][1] == 0 && s[0][2] == 0) {
        Coplanar(r, t);
        return;
    }
    // The two chords on the line where the planes meet.
    ChordEnd ends[2][2];
    int nEnds[2] = {0, 0};
    uint32_t inner[2];
    for (int m = 0; m < 2; ++m) {
        const MeshIdx& X = *M[m];
        const std::size_t x = static_cast<std::size_t>(tri[m]);
        int zeros = 0, zk[3];
        for (int k = 0; k < 3; ++k)
            if (s[m][k] == 0) zk[zeros++] = k;
        for (int k = 0; k < 3; ++k) {
            if (s[m][k] == 0) {
                ChordEnd& e = ends[m][nEnds[m]++];
                e.enc = Enc(0, uint32_t(X.tv[x][k]));
                e.rec = &Pt(X.base + X.tv[x][k]);
            }
            const int k1 = (k + 1) % 3;
            if (s[m][k] * s[m][k1] < 0) {
                ChordEnd& e = ends[m][nEnds[m]++];
                const int eid = X.te[x][k];
                const auto& ev = X.ev[static_cast<std::size_t>(eid)];
                e.enc = Enc(1, uint32_t(eid));
                e.def = KrImplicitPoint::SegPlane(X.P(ev[0]), X.P(ev[1]), c[1 - m][0], c[1 - m][1], c[1 - m][2]);
                e.own.emplace(e.def);
                e.rec = &*e.own;
            }
        }
        if (zeros == 2) {
            const int k0 = zk[0], k1 = zk[1];
            const int edgeSlot = (k0 + 1) % 3 == k1 ? k0 : k1;
            inner[m] = Enc(1, uint32_t(X.te[x][edgeSlot]));
        } else {
            inner[m] = Enc(2, uint32_t(tri[m]));
        }
    }
    // Compare along an axis on which the line's direction is not zero.
    int axis = 0;
    {
        KrFilt d[3];
        CrossDir(c[0], c[1], d);
        axis = std::fabs(d[0].v) >= std::fabs(d[1].v) ? 0 : 1;
        if (std::fabs(d[2].v) > std::fabs(d[axis].v)) axis = 2;
        if (d[axis].Sign() == 2 || d[axis].Sign() == 0) {
            KrExpan dx[3];
            CrossDir(c[0], c[1], dx);
            double best = -1.0;
            axis = -1;
            for (int k = 0; k < 3; ++k)
                if (dx[k].Sign() != 0 && std::fabs(dx[k].Approx()) > best) {
                    best = std::fabs(dx[k].Approx());
                    axis = k;
                }
            if (axis < 0) return;  // parallel planes: no common line
        }
    }
    ChordEnd* a[2] = {&ends[0][0], nEnds[0] > 1 ? &ends[0][1] : &ends[0][0]};
    ChordEnd* b[2] = {&ends[1][0], nEnds[1] > 1 ? &ends[1][1] : &ends[1][0]};
    if (CompareAxis(*a[0]->rec, *a[1]->rec, axis) > 0) std::swap(a[0], a[1]);
    if (CompareAxis(*b[0]->rec, *b[1]->rec, axis) > 0) std::swap(b[0], b[1]);
    const ChordEnd* lo = CompareAxis(*a[0]->rec, *b[0]->rec, axis) >= 0 ? a[0] : b[0];
    const ChordEnd* hi = CompareAxis(*a[1]->rec, *b[1]->rec, axis) <= 0 ? a[1] : b[1];
    const int span = CompareAxis(*lo->rec, *hi->rec, axis);
    if (span > 0) return;
    auto feature = [&](const ChordEnd* p, ChordEnd* const* chord, uint32_t in) {
        for (int i = 0; i < 2; ++i)
            if (CompareAxis(*p->rec, *chord[i]->rec, axis) == 0) return chord[i]->enc;
        return in;
    };
    auto reg = [&](const ChordEnd* p) {
        const uint32_t f0 = feature(p, a, inner[0]);
        const uint32_t f1 = feature(p, b, inner[1]);
        // A constructed point is kept as the crossing it was found as.
        return Register(f0, f1, p->own ? &p->def : nullptr);
    };
    const int i0 = reg(lo);
    if (span == 0) return;
    const int i1 = reg(hi);
    for (int m = 0; m < 2; ++m)
        if (Dim(inner[m]) == 2) m_triSegs[m].push_back({tri[m], i0, i1});
}

void Engine::Coplanar(int r, int t)
{
    const MeshIdx* M[2] = {&m_m[0], &m_m[1]};
    const int tri[2] = {r, t};
    int axis, sgn0;
    if (!ProjectionOf(M[0]->C(r, 0), M[0]->C(r, 1), M[0]->C(r, 2), axis, sgn0)) return;
    const int i = (axis + 1) % 3, j = (axis + 2) % 3;
    auto o2 = [&](const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c) {
        return KrTesGeo::Orient2dExact(Co(a, i), Co(a, j), Co(b, i), Co(b, j), Co(c, i), Co(c, j));
    };
    int sgn[2];
    for (int m = 0; m < 2; ++m) sgn[m] = o2(M[m]->C(tri[m], 0), M[m]->C(tri[m], 1), M[m]->C(tri[m], 2));
    // Points of each triangle's edges lying on the other triangle: ids and
    // the edge they belong to (slot k of that triangle).
    std::vector<std::pair<int, int>> onEdge[2];  // (slot, id)
    for (int m = 0; m < 2; ++m) {
        const MeshIdx &X = *M[m], &Y = *M[1 - m];
        const int x = tri[m], y = tri[1 - m];
        for (int k = 0; k < 3; ++k) {
            const CKrPoint3d& v = X.C(x, k);
            int o[3], zeros = 0, zk[3];
            bool out = false;
            for (int e = 0; e < 3; ++e) {
                o[e] = sgn[1 - m] * o2(Y.C(y, e), Y.C(y, (e + 1) % 3), v);
                if (o[e] < 0) out = true;
                if (o[e] == 0) zk[zeros++] = e;
            }
            if (out) continue;
            uint32_t fy;
            if (zeros == 0)
                fy = Enc(2, uint32_t(y));
            else if (zeros == 1)
                fy = Enc(1, uint32_t(Y.te[static_cast<std::size_t>(y)][zk[0]]));
            else {
                const int corner = (zk[0] + 1) % 3 == zk[1] ? zk[1] : zk[0];
                fy = Enc(0, uint32_t(Y.tv[static_cast<std::size_t>(y)][corner]));
            }
            const uint32_t fx = Enc(0, uint32_t(X.tv[static_cast<std::size_t>(x)][k]));
            const int id = m == 0 ? Register(fx, fy, nullptr) : Register(fy, fx, nullptr);
            // The vertex lies on both of its edges in x, and on y's edges
            // when it sits on them.
            onEdge[m].emplace_back(k, id);
            onEdge[m].emplace_back((k + 2) % 3, id);
            if (zeros >= 1)
                for (int z = 0; z < zeros; ++z) onEdge[1 - m].emplace_back(zk[z], id);
        }
    }
    // Proper crossings of the edges.
    for (int k = 0; k < 3; ++k)
        for (int e = 0; e < 3; ++e) {
            const CKrPoint3d &p = M[0]->C(r, k), &q = M[0]->C(r, (k + 1) % 3);
            const CKrPoint3d &u = M[1]->C(t, e), &w = M[1]->C(t, (e + 1) % 3);
            if (o2(u, w, p) * o2(u, w, q) >= 0 || o2(p, q, u) * o2(p, q, w) >= 0) continue;
            const int er = M[0]->te[static_cast<std::size_t>(r)][k], et = M[1]->te[static_cast<std::size_t>(t)][e];
            const auto& evr = M[0]->ev[static_cast<std::size_t>(er)];
            const auto& evt = M[1]->ev[static_cast<std::size_t>(et)];
            const KrImplicitPoint def =
                KrImplicitPoint::SegLine(M[0]->P(evr[0]), M[0]->P(evr[1]), M[1]->P(evt[0]), M[1]->P(evt[1]), axis);
            const int id = Register(Enc(1, uint32_t(er)), Enc(1, uint32_t(et)), &def);
            onEdge[0].emplace_back(k, id);
            onEdge[1].emplace_back(e, id);
        }
    // The part of each edge on the other triangle constrains that triangle.
    for (int m = 0; m < 2; ++m) {
        const MeshIdx& X = *M[m];
        for (int k = 0; k < 3; ++k) {
            const CKrPoint3d &p = X.C(tri[m], k), &q = X.C(tri[m], (k + 1) % 3);
            const int ax = Co(p, i) != Co(q, i) ? i : j;
            int lo = -1, hi = -1;
            for (const auto& [slot, id] : onEdge[m]) {
                if (slot != k) continue;
                if (lo < 0 || CompareAxis(Pt(id), Pt(lo), ax) * (Co(q, ax) > Co(p, ax) ? 1 : -1) < 0) lo = id;
                if (hi < 0 || CompareAxis(Pt(id), Pt(hi), ax) * (Co(q, ax) > Co(p, ax) ? 1 : -1) > 0) hi = id;
            }
            if (lo >= 0 && hi != lo) m_triSegs[1 - m].push_back({tri[1 - m], lo, hi});
        }
    }
}

bool Engine::Retriangulate(int m, int t, const std::vector<int>& pts, const std::vector<std::pair<int, int>>& segs,
                           std::vector<std::array<int, 3>>& out)
{
    const MeshIdx& X = m_m[m];
    int axis, sign;
    if (!ProjectionOf(X.C(t, 0), X.C(t, 1), X.C(t, 2), axis, sign)) return false;
    std::vector<int> ids;
    for (int k = 0; k < 3; ++k) ids.push_back(Resolve(X.base + X.tv[static_cast<std::size_t>(t)][k]));
    for (int id : pts)
        if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
    std::vector<const KrPointRec*> recs;
    for (int id : ids) recs.push_back(&Pt(id));
    PlaneTriangulator tr(recs, axis, sign);
    for (std::size_t p = 3; p < ids.size(); ++p)
        if (!tr.Insert(int(p))) return false;
    auto local = [&](int id) { return int(std::find(ids.begin(), ids.end(), id) - ids.begin()); };
    for (const auto& s : segs) {
        const int a = local(s.first), b = local(s.second);
        if (a >= int(ids.size()) || b >= int(ids.size())) return false;
        if (!tr.InsertSegment(a, b)) return false;
    }
    tr.MakeDelaunay();
    out.clear();
    for (const auto& tt : tr.Triangles()) out.push_back({ids[std::size_t(tt[0])], ids[std::size_t(tt[1])], ids[std::size_t(tt[2])]});
    return true;
}

// The class of the target's result triangle f by its position against the
// two reference triangles at its edge k (on the intersection): 1 outside,
// 2 inside, 3 on it facing the same way, 4 facing the other way; 0 when the
// configuration does not tell.
int Engine::WedgeClass(int f, int k)
{
    const auto& tf = m_F[1][static_cast<std::size_t>(f)];
    const int p = tf[k], q = tf[(k + 1) % 3], x = tf[(k + 2) % 3];
    const uint64_t key = EdgeKey(p, q);
    auto it = std::lower_bound(m_adj[0].begin(), m_adj[0].end(), std::make_pair(key, -1));
    int rr[2], ry[2], cnt = 0, dirs[2];
    for (; it != m_adj[0].end() && it->first == key; ++it) {
        if (cnt == 2) return 0;
        const int rt = it->second / 3, rk = it->second % 3;
        const auto& tr = m_F[0][static_cast<std::size_t>(rt)];
        rr[cnt] = rt;
        ry[cnt] = tr[(rk + 2) % 3];
        dirs[cnt] = tr[rk] == p ? 1 : -1;  // 1: runs p -> q
        ++cnt;
    }
    if (cnt != 2 || dirs[0] == dirs[1]) return 0;
    // rA runs q -> p (third corner y1), rB runs p -> q (y2).
    const int ia = dirs[0] < 0 ? 0 : 1, ib = 1 - ia;
    const int y1 = ry[ia], y2 = ry[ib];
    const KrPointRec &P = Pt(p), &Q = Pt(q), &X = Pt(x), &Y1 = Pt(y1), &Y2 = Pt(y2);
    const int f1 = Orient3d(Q, P, Y1, X);
    const int f2 = Orient3d(P, Q, Y2, X);
    const int c = Orient3d(Q, P, Y1, Y2);
    int on = -1;  // the reference triangle x lies on
    if (c < 0) {
        if (f1 > 0 || f2 > 0) return 1;
        if (f1 < 0 && f2 < 0) return 2;
        on = f1 == 0 ? ia : ib;
    } else if (c > 0) {
        if (f1 < 0 || f2 < 0) return 2;
        if (f1 > 0 && f2 > 0) return 1;
        on = f1 == 0 ? ia : ib;
    } else {
        if (f1 != f2) return 0;
        if (f1 > 0) return 1;
        if (f1 < 0) return 2;
        on = ia;
    }
    // Coplanar: compare the facings of the two original triangles.
    const MeshIdx &T = m_m[1], &R = m_m[0];
    const int to = m_Forig[1][static_cast<std::size_t>(f)], ro = m_Forig[0][static_cast<std::size_t>(rr[on])];
    int axis, st;
    if (!ProjectionOf(T.C(to, 0), T.C(to, 1), T.C(to, 2), axis, st)) return 0;
    const int i = (axis + 1) % 3, j = (axis + 2) % 3;
    const CKrPoint3d &a = R.C(ro, 0), &b = R.C(ro, 1), &cc = R.C(ro, 2);
    const int sr = KrTesGeo::Orient2dExact(Co(a, i), Co(a, j), Co(b, i), Co(b, j), Co(cc, i), Co(cc, j));
    if (sr == 0) return 0;
    return sr == st ? 3 : 4;
}

// Inside (2) or outside (1) the reference by the parity of the reference
// triangles above the input point id, the point moved symbolically by
// (e, e^2) in plan so that no triangle is met on its edge; 0 when the point
// lies on the reference.
int Engine::RayClass(int id)
{
    const CKrPoint3d& x = Coord(id);
    const MeshIdx& R = m_m[0];
    int count = 0;
    for (std::size_t t = 0; t < R.tp.size(); ++t) {
        const double* b = &R.box[t * 6];
        if (b[0] > x.x || b[3] < x.x || b[1] > x.y || b[4] < x.y || b[5] < x.z) continue;
        const CKrPoint3d &p0 = R.C(int(t), 0), &p1 = R.C(int(t), 1), &p2 = R.C(int(t), 2);
        const int s = KrTesGeo::Orient2dExact(p0.x, p0.y, p1.x, p1.y, p2.x, p2.y);
        if (s == 0) continue;
        const CKrPoint3d* c[3] = {&p0, &p1, &p2};
        bool in = true;
        for (int k = 0; k < 3 && in; ++k) {
            const CKrPoint3d &u = *c[k], &v = *c[(k + 1) % 3];
            int o = KrTesGeo::Orient2dExact(u.x, u.y, v.x, v.y, x.x, x.y);
            if (o == 0) o = u.y != v.y ? (u.y > v.y ? 1 : -1) : (v.x > u.x ? 1 : -1);
            in = o == s;
        }
        if (!in) continue;
        const int h = KrTesGeo::Orient3dExact(p0, p1, p2, x);
        if (h == 0) return 0;
        if (h * s < 0) ++count;
    }
    return count % 2 ? 2 : 1;
}

bool Engine::Run(bool classify, KrExactCutResult& out)
{
    std::vector<std::pair<int, int>> pairs;
    BroadPhase(pairs);
    out.pairs = pairs.size();
    for (const auto& pr : pairs) IntersectPair(pr.first, pr.second);
    out.points = m_new.size();

    // Re-triangulate every triangle that holds a point or a constraint.
    for (int m = 0; m < 2; ++m) {
        const MeshIdx& X = m_m[m];
        for (auto& v : m_edgePts[m]) v.second = Resolve(v.second);
        for (auto& v : m_triPts[m]) v.second = Resolve(v.second);
        for (auto& v : m_triSegs[m]) {
            v[1] = Resolve(v[1]);
            v[2] = Resolve(v[2]);
            if (v[1] > v[2]) std::swap(v[1], v[2]);
        }
        std::sort(m_edgePts[m].begin(), m_edgePts[m].end());
        m_edgePts[m].erase(std::unique(m_edgePts[m].begin(), m_edgePts[m].end()), m_edgePts[m].end());
        std::sort(m_triPts[m].begin(), m_triPts[m].end());
        m_triPts[m].erase(std::unique(m_triPts[m].begin(), m_triPts[m].end()), m_triPts[m].end());
        std::sort(m_triSegs[m].begin(), m_triSegs[m].end());
        m_triSegs[m].erase(std::unique(m_triSegs[m].begin(), m_triSegs[m].end()), m_triSegs[m].end());
        std::vector<unsigned char> touched(X.tp.size(), 0);
        std::vector<unsigned char> edgeHit(X.ev.size(), 0);
        for (const auto& v : m_edgePts[m]) edgeHit[static_cast<std::size_t>(v.first)] = 1;
        for (const auto& v : m_triPts[m]) touched[static_cast<std::size_t>(v.first)] = 1;
        for (const auto& v : m_triSegs[m]) touched[static_cast<std::size_t>(v[0])] = 1;
        for (std::size_t t = 0; t < X.tp.size(); ++t)
            for (int k = 0; k < 3; ++k)
                if (edgeHit[static_cast<std::size_t>(X.te[t][k])]) touched[t] = 1;
        std::size_t ip = 0, is = 0;
        std::vector<int> pts;
        std::vector<std::pair<int, int>> segs;
        std::vector<std::array<int, 3>> pieces;
        for (std::size_t t = 0; t < X.tp.size(); ++t) {
            std::array<int, 3> whole;
            for (int k = 0; k < 3; ++k) whole[k] = Resolve(X.base + X.tv[t][k]);
            while (ip < m_triPts[m].size() && m_triPts[m][ip].first < int(t)) ++ip;
            while (is < m_triSegs[m].size() && m_triSegs[m][is][0] < int(t)) ++is;
            bool cut = touched[t] != 0;
            if (cut) {
                pts.clear();
                segs.clear();
                for (int k = 0; k < 3; ++k) {
                    const int e = X.te[t][k];
                    auto it = std::lower_bound(m_edgePts[m].begin(), m_edgePts[m].end(), std::make_pair(e, -1));
                    for (; it != m_edgePts[m].end() && it->first == e; ++it) pts.push_back(it->second);
                }
                for (std::size_t q = ip; q < m_triPts[m].size() && m_triPts[m][q].first == int(t); ++q)
                    pts.push_back(m_triPts[m][q].second);
                for (std::size_t q = is; q < m_triSegs[m].size() && m_triSegs[m][q][0] == int(t); ++q)
                    segs.emplace_back(m_triSegs[m][q][1], m_triSegs[m][q][2]);
                if (Retriangulate(m, int(t), pts, segs, pieces)) {
                    ++m_cutTris;
                    for (const auto& pc : pieces) {
                        m_F[m].push_back(pc);
                        m_Forig[m].push_back(int(t));
                        m_Fcut[m].push_back(1);
                    }
                    continue;
                }
                m_ok = false;
            }
            m_F[m].push_back(whole);
            m_Forig[m].push_back(int(t));
            m_Fcut[m].push_back(0);
        }
        m_adj[m].reserve(m_F[m].size() * 3);
        for (std::size_t f = 0; f < m_F[m].size(); ++f)
            for (int k = 0; k < 3; ++k) m_adj[m].emplace_back(EdgeKey(m_F[m][f][k], m_F[m][f][(k + 1) % 3]), int(f * 3 + k));
        std::sort(m_adj[m].begin(), m_adj[m].end());
    }
    out.cutTris = m_cutTris;

    if (classify) {
        // Regions of the target bounded by edges both meshes have.
        const auto& adj = m_adj[1];
        auto shared = [&](uint64_t key) {
            auto it = std::lower_bound(m_adj[0].begin(), m_adj[0].end(), std::make_pair(key, -1));
            return it != m_adj[0].end() && it->first == key;
        };
        const std::size_t nf = m_F[1].size();
        std::vector<int> parent(nf);
        for (std::size_t f = 0; f < nf; ++f) parent[f] = int(f);
        std::function<int(int)> find = [&](int v) {
            while (parent[static_cast<std::size_t>(v)] != v) {
                parent[static_cast<std::size_t>(v)] = parent[static_cast<std::size_t>(parent[static_cast<std::size_t>(v)])];
                v = parent[static_cast<std::size_t>(v)];
            }
            return v;
        };
        std::vector<unsigned char> flagged(nf * 3, 0);
        for (std::size_t i = 0; i < adj.size();) {
            std::size_t j = i;
            while (j < adj.size() && adj[j].first == adj[i].first) ++j;
            const bool sh = shared(adj[i].first);
            for (std::size_t q = i; q < j; ++q)
                if (sh) flagged[static_cast<std::size_t>(adj[q].second)] = 1;
            if (!sh && j - i == 2) {
                const int a = find(adj[i].second / 3), b = find(adj[i + 1].second / 3);
                if (a != b) parent[static_cast<std::size_t>(std::max(a, b))] = std::min(a, b);
            }
            i = j;
        }
        std::vector<int> regionClass(nf, 0);
        std::vector<int> seed(nf, -1);
        for (std::size_t f = 0; f < nf; ++f) {
            const int root = find(int(f));
            if (regionClass[static_cast<std::size_t>(root)]) continue;
            for (int k = 0; k < 3; ++k) {
                if (!flagged[f * 3 + std::size_t(k)]) continue;
                const int c = WedgeClass(int(f), k);
                if (c) {
                    regionClass[static_cast<std::size_t>(root)] = c;
                    seed[static_cast<std::size_t>(root)] = int(f);
                    break;
                }
            }
        }
        for (std::size_t f = 0; f < nf; ++f) {
            const int root = find(int(f));
            if (regionClass[static_cast<std::size_t>(root)]) continue;
            for (int k = 0; k < 3 && !regionClass[static_cast<std::size_t>(root)]; ++k) {
                const int id = m_F[1][f][k];
                if (id >= m_nOrig) continue;
                const int c = RayClass(id);
                if (c) {
                    regionClass[static_cast<std::size_t>(root)] = c;
                    seed[static_cast<std::size_t>(root)] = int(f);
                }
            }
        }
        m_cls.resize(nf);
        int lastSeed = -1;
        for (std::size_t f = 0; f < nf; ++f) {
            const int root = find(int(f));
            m_cls[f] = regionClass[static_cast<std::size_t>(root)];
            if (seed[static_cast<std::size_t>(root)] >= 0) lastSeed = std::max(lastSeed, seed[static_cast<std::size_t>(root)]);
        }
        if (lastSeed >= 0) {
            const auto& tf = m_F[1][static_cast<std::size_t>(lastSeed)];
            out.lastSeed = CKrTri3d(Pt(tf[0]).Round(), Pt(tf[1]).Round(), Pt(tf[2]).Round());
        }
    }
    WriteBack(classify, out);
    out.cutOk = m_ok;
    return m_ok;
}

void RefreshExtentOf(CKrMeshData& m)
{
    m.m_ptMin = CKrPoint3d(DBL_MAX, DBL_MAX, DBL_MAX);
    m.m_ptMax = CKrPoint3d(-DBL_MAX, -DBL_MAX, -DBL_MAX);
    for (_sVertex* v : m.m_setVer) m.UpdateExtent(*v);
}

void Engine::WriteBack(bool classify, KrExactCutResult& out)
{
    const double tol = g_dVerTol;
    const int total = m_nOrig + int(m_new.size());
    std::vector<CKrPoint3d> pos(m_new.size());
    for (std::size_t i = 0; i < m_new.size(); ++i) pos[i] = m_new[i].Round();
    auto P = [&](int id) -> const CKrPoint3d& { return id < m_nOrig ? Coord(id) : pos[static_cast<std::size_t>(id - m_nOrig)]; };
    // Every new point goes to one representative, the same for both meshes:
    // the nearest target vertex closer than the tolerance, else the nearest
    // such reference vertex, else the nearest earlier new point that
    // represents itself, else itself. Points move by less than the
    // tolerance, two input vertices of one mesh never become one, and every
    // written position lies at least the tolerance from every vertex it is
    // not merged with, so writing never depends on the vertex set finding
    // an equivalent (its tolerant lookup can miss one among many vertices
    // of nearly equal x).
    std::vector<int> rep(static_cast<std::size_t>(total));
    for (int i = 0; i < total; ++i) rep[static_cast<std::size_t>(i)] = i;
    struct CellHash {
        std::size_t operator()(const std::array<int64_t, 3>& c) const
        {
            return std::size_t(c[0] * 73856093) ^ std::size_t(c[1] * 19349663) ^ std::size_t(c[2] * 83492791);
        }
    };
    using CellMap = std::unordered_map<std::array<int64_t, 3>, std::vector<int>, CellHash>;
    auto cellOf = [&](const CKrPoint3d& p) {
        return std::array<int64_t, 3>{int64_t(std::floor(p.x / tol)), int64_t(std::floor(p.y / tol)),
                                      int64_t(std::floor(p.z / tol))};
    };
    auto dist2 = [&](const CKrPoint3d& p, const CKrPoint3d& q) {
        const double dx = p.x - q.x, dy = p.y - q.y, dz = p.z - q.z;
        return dx * dx + dy * dy + dz * dz;
    };
    // The nearest member of the cells around p closer than the tolerance
    // (lowest id on ties), -1 when none.
    auto nearest = [&](const CellMap& cells, const CKrPoint3d& p) {
        const auto c = cellOf(p);
        int best = -1;
        double bd = tol * tol;
        for (int dz = -1; dz <= 1; ++dz)
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    auto it = cells.find({c[0] + dx, c[1] + dy, c[2] + dz});
                    if (it == cells.end()) continue;
                    for (int o : it->second) {
                        const double d = dist2(p, P(o));
                        if (d < bd || (d == bd && best >= 0 && o < best)) {
                            if (d >= tol * tol) continue;
                            bd = d;
                            best = o;
                        }
                    }
                }
        return best;
    };
    CellMap origCells[2];  // input vertices of each mesh (aliased ones stand for their reference vertex)
    // Reference vertices that move to the position of a new point they
    // represent (see below), and that position.
    std::unordered_map<int, CKrPoint3d> moved;
    if (!m_new.empty() && tol > 0.0) {
        for (int m = 0; m < 2; ++m)
            for (int v = 0; v < int(m_m[m].vp.size()); ++v) {
                const int id = m_m[m].base + v;
                if (Resolve(id) == id) origCells[m][cellOf(P(id))].push_back(id);
            }
        // Input vertices first: the target's (which stays where it is),
        // then the reference's.
        std::vector<int> pending;
        for (int i = m_nOrig; i < total; ++i) {
            const CKrPoint3d& p = P(i);
            int best = nearest(origCells[1], p);
            if (best < 0) best = nearest(origCells[0], p);
            if (best >= 0)
                rep[static_cast<std::size_t>(i)] = best;
            else
                pending.push_back(i);
        }
        // A reference vertex standing for new points moves onto the first of
        // them, when no other input vertex or moved vertex is that close: the
        // new point lies on both surfaces, the reference vertex only on its
        // own. A target sorted later against an uncut copy of this target
        // (the solid boolean) then finds this seam on that copy, to rounding.
        CellMap movedCells;
        for (int i = m_nOrig; i < total; ++i) {
            const int b = rep[static_cast<std::size_t>(i)];
            if (b == i || b >= m_m[1].base || moved.count(b)) continue;
            const CKrPoint3d& p = P(i);
            bool alone = nearest(origCells[1], p) < 0 && nearest(movedCells, p) < 0;
            if (alone) {
                // No reference vertex other than b that close.
                const auto c = cellOf(p);
                for (int dz = -1; dz <= 1 && alone; ++dz)
                    for (int dy = -1; dy <= 1 && alone; ++dy)
                        for (int dx = -1; dx <= 1 && alone; ++dx) {
                            auto it = origCells[0].find({c[0] + dx, c[1] + dy, c[2] + dz});
                            if (it == origCells[0].end()) continue;
                            for (int o : it->second)
                                if (o != b && dist2(p, P(o)) < tol * tol) alone = false;
                        }
            }
            if (!alone) continue;
            moved.emplace(b, p);
            movedCells[cellOf(p)].push_back(i);
        }
        // The remaining new points: a moved vertex or an earlier new point
        // that close, else themselves.
        CellMap newCells;
        for (int i : pending) {
            const CKrPoint3d& p = P(i);
            int best = nearest(movedCells, p);
            if (best >= 0) best = rep[static_cast<std::size_t>(best)];
            if (best < 0) best = nearest(newCells, p);
            if (best >= 0) {
                rep[static_cast<std::size_t>(i)] = best;
                continue;
            }
            newCells[cellOf(p)].push_back(i);
        }
    }
    auto posOf = [&](int r) -> CKrPoint3d {
        auto it = moved.find(r);
        return it != moved.end() ? it->second : P(r);
    };
    // Moving vertices changes their place in the vertex set: they leave it
    // and come back at their new positions.
    if (!moved.empty()) {
        CKrMeshData& mesh = *m_m[0].mesh;
        std::unordered_set<const _sVertex*> leaving;
        for (const auto& mv : moved) leaving.insert(m_m[0].vp[static_cast<std::size_t>(mv.first)]);
        for (auto it = mesh.m_setVer.begin(); it != mesh.m_setVer.end();)
            it = leaving.count(*it) ? mesh.m_setVer.erase(it) : std::next(it);
        std::vector<std::pair<int, CKrPoint3d>> order(moved.begin(), moved.end());
        std::sort(order.begin(), order.end(), [](const auto& x, const auto& y) { return x.first < y.first; });
        for (const auto& [b, p] : order) {
            _sVertex* v = m_m[0].vp[static_cast<std::size_t>(b)];
            const CKrPoint3d old = v->pt;
            v->pt = p;
            if (!mesh.m_setVer.insert(v).second) {
                v->pt = old;
                if (!mesh.m_setVer.insert(v).second) ++out.vertexClashes;
            }
        }
    }
    auto find = [&](int v) { return rep[static_cast<std::size_t>(v)]; };
    // The vertex of each mesh for each representative: its own input vertex
    // there (or closer than the tolerance to an input vertex of the other
    // mesh), else a vertex written at the representative's position.
    for (int m = 0; m < 2; ++m) {
        MeshIdx& X = m_m[m];
        CKrMeshData& mesh = *X.mesh;
        std::vector<_sVertex*> vertexOf(static_cast<std::size_t>(total), nullptr);  // representative -> vertex
        for (int v = 0; v < int(X.vp.size()); ++v) {
            const int id = X.base + v;
            vertexOf[static_cast<std::size_t>(Resolve(id))] = X.vp[static_cast<std::size_t>(v)];
        }
        auto vertexFor = [&](int id) -> _sVertex* {
            const int root = find(Resolve(id));
            _sVertex*& slot = vertexOf[static_cast<std::size_t>(root)];
            if (slot) return slot;
            if (root < m_nOrig && tol > 0.0) {
                // An input vertex of the other mesh: this mesh's own vertex
                // closer than the tolerance to it, when there is one.
                const int o = nearest(origCells[m], posOf(root));
                if (o >= 0) {
                    slot = vertexOf[static_cast<std::size_t>(o)];
                    return slot;
                }
            }
            _sVertex* v = new _sVertex;
            v->pt = posOf(root);
            auto ins = mesh.m_setVer.insert(v);
            if (!ins.second) {
                // Cannot happen by construction; the existing vertex is used.
                delete v;
                v = *ins.first;
                ++out.vertexClashes;
            } else {
                mesh.UpdateExtent(*v);
            }
            slot = v;
            return v;
        };
        // Triangles to rewrite: the cut ones and those with a corner merged
        // into another vertex.
        const std::size_t nf = m_F[m].size();
        std::vector<_sTri*> result(nf, nullptr);
        std::vector<unsigned char> rewrite(X.tp.size(), 0);
        for (std::size_t f = 0; f < nf; ++f) {
            const int o = m_Forig[m][f];
            if (m_Fcut[m][f]) rewrite[static_cast<std::size_t>(o)] = 1;
            for (int k = 0; k < 3; ++k) {
                const int id = m_F[m][f][k];
                const int own = X.base + X.tv[static_cast<std::size_t>(o)][k];
                if (!m_Fcut[m][f] && vertexFor(id) != X.vp[static_cast<std::size_t>(own - X.base)])
                    rewrite[static_cast<std::size_t>(o)] = 1;
            }
        }
        for (std::size_t t = 0; t < X.tp.size(); ++t)
            if (rewrite[t]) mesh.DelTri(X.tp[t]);
        // New triangles, with collapsed ones and cancelling pairs dropped.
        std::vector<std::pair<std::array<_sVertex*, 3>, std::size_t>> add;
        for (std::size_t f = 0; f < nf; ++f) {
            const int o = m_Forig[m][f];
            if (!rewrite[static_cast<std::size_t>(o)]) {
                result[f] = X.tp[static_cast<std::size_t>(o)];
                continue;
            }
            std::array<_sVertex*, 3> v;
            for (int k = 0; k < 3; ++k) v[static_cast<std::size_t>(k)] = vertexFor(m_F[m][f][k]);
            if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2]) {
                ++out.dropped;
                ++out.droppedCollapsed;
                continue;
            }
            add.emplace_back(v, f);
        }
        // Cancelling pairs: the same three vertices in opposite windings.
        auto keyOf = [](std::array<_sVertex*, 3> v, bool& parity) {
            std::array<_sVertex*, 3> s = v;
            int swaps = 0;
            for (int i = 0; i < 2; ++i)
                for (int j = 0; j < 2 - i; ++j)
                    if (std::less<_sVertex*>()(s[static_cast<std::size_t>(j + 1)], s[static_cast<std::size_t>(j)])) {
                        std::swap(s[static_cast<std::size_t>(j)], s[static_cast<std::size_t>(j + 1)]);
                        ++swaps;
                    }
            parity = swaps % 2 != 0;
            return s;
        };
        std::vector<unsigned char> skip(add.size(), 0);
        {
            std::vector<std::pair<std::array<_sVertex*, 3>, std::size_t>> keys;
            std::vector<unsigned char> par(add.size());
            for (std::size_t i = 0; i < add.size(); ++i) {
                bool p;
                keys.emplace_back(keyOf(add[i].first, p), i);
                par[i] = p;
            }
            std::sort(keys.begin(), keys.end());
            for (std::size_t i = 0; i < keys.size();) {
                std::size_t j = i;
                while (j < keys.size() && keys[j].first == keys[i].first) ++j;
                if (j - i > 1) {
                    // Keep the surplus of one winding over the other.
                    std::vector<std::size_t> pos0, pos1;
                    for (std::size_t q = i; q < j; ++q) (par[keys[q].second] ? pos1 : pos0).push_back(keys[q].second);
                    // Opposite windings cancel in pairs; of what is left, one stays.
                    const std::size_t cancel = std::min(pos0.size(), pos1.size());
                    for (std::size_t q : pos0) skip[q] = 1;
                    for (std::size_t q : pos1) skip[q] = 1;
                    if (pos0.size() > cancel) skip[pos0[cancel]] = 0;
                    if (pos1.size() > cancel) skip[pos1[cancel]] = 0;
                }
                i = j;
            }
        }
        // A piece that merging folded onto a kept triangle (the same three
        // vertices) cancels it when they face opposite ways and is dropped
        // when they face the same way.
        std::unordered_map<const _sTri*, std::size_t> keptAt;
        for (std::size_t f = 0; f < nf; ++f)
            if (result[f]) keptAt.emplace(result[f], f);
        for (std::size_t i = 0; i < add.size(); ++i) {
            if (skip[i]) {
                ++out.dropped;
                ++out.droppedCancelled;
                continue;
            }
            const auto& v = add[i].first;
            _sTri* twin = nullptr;
            for (_sTri* o : v[0]->setTri) {
                int same = 0;
                for (_sVertex* c : o->pVer) same += c == v[1] || c == v[2];
                if (same == 2) {
                    twin = o;
                    break;
                }
            }
            if (twin) {
                int k0 = 0;
                while (twin->pVer[k0] != v[0]) ++k0;
                const bool sameWay = twin->pVer[(k0 + 1) % 3] == v[1];
                if (!sameWay) {
                    auto it = keptAt.find(twin);
                    if (it != keptAt.end()) result[it->second] = nullptr;
                    for (std::size_t f = 0; f < nf; ++f)
                        if (result[f] == twin) result[f] = nullptr;
                    mesh.DelTri(twin);
                    ++out.dropped;
                }
                ++out.dropped;
                ++out.droppedDuplicate;
                continue;
            }
            {
                // The written piece against its source triangle, exactly on
                // the rounded coordinates, in the projection that keeps the
                // source's orientation.
                const int o = m_Forig[m][add[i].second];
                int axis, sgn;
                if (ProjectionOf(X.C(o, 0), X.C(o, 1), X.C(o, 2), axis, sgn)) {
                    const int a = (axis + 1) % 3, b = (axis + 2) % 3;
                    const CKrPoint3d &p0 = v[0]->pt, &p1 = v[1]->pt, &p2 = v[2]->pt;
                    if (KrTesGeo::Orient2dExact(Co(p0, a), Co(p0, b), Co(p1, a), Co(p1, b), Co(p2, a), Co(p2, b)) != sgn)
                        ++out.inverted;
                }
            }
            _sTri* t = mesh.AddTri(v[0], v[1], v[2]);
            if (t) t->bSign = m_Fcut[m][add[i].second] != 0;
            result[add[i].second] = t;
        }
        // Edges on the intersection.
        for (std::size_t f = 0; f < nf; ++f) {
            _sTri* t = result[f];
            if (!t) continue;
            for (int k = 0; k < 3; ++k) {
                const uint64_t key = EdgeKey(m_F[m][f][k], m_F[m][f][(k + 1) % 3]);
                auto it = std::lower_bound(m_adj[1 - m].begin(), m_adj[1 - m].end(), std::make_pair(key, -1));
                if (it == m_adj[1 - m].end() || it->first != key) continue;
                t->bSign = true;
                _sEdge* e = mesh.FindEdgeByVer(t->pVer[k], t->pVer[(k + 1) % 3], t);
                if (!e) continue;
                e->bSign = true;
                if (m == 1) {
                    CKrPoint3d a = e->pVer[0]->pt, b = e->pVer[1]->pt;
                    if (CKrPoint3d::CompPt(b, a) < 0) std::swap(a, b);
                    out.segments.emplace_back(a, b);
                }
            }
        }
        if (m == 1 && classify) {
            // Merging can lay a piece of the target onto a piece of the
            // reference (the same three representatives) where the exact
            // surfaces were apart by less than the tolerance: it then lies
            // on the reference as written, and is sorted as lying on it, by
            // winding, so that the other sort (which sees the written
            // surfaces) agrees.
            std::map<std::array<int, 3>, int> refPieces;  // sorted representatives -> winding parity
            auto keyOf = [&](const std::array<int, 3>& tri, int& parity) {
                std::array<int, 3> k = {find(Resolve(tri[0])), find(Resolve(tri[1])), find(Resolve(tri[2]))};
                parity = 0;
                for (int i = 0; i < 2; ++i)
                    for (int j = 0; j < 2 - i; ++j)
                        if (k[static_cast<std::size_t>(j + 1)] < k[static_cast<std::size_t>(j)]) {
                            std::swap(k[static_cast<std::size_t>(j)], k[static_cast<std::size_t>(j + 1)]);
                            parity ^= 1;
                        }
                return k;
            };
            for (const auto& tri : m_F[0]) {
                int parity;
                const auto k = keyOf(tri, parity);
                if (k[0] != k[1] && k[1] != k[2]) refPieces.emplace(k, parity);
            }
            for (std::size_t f = 0; f < nf; ++f) {
                if (!result[f]) continue;
                int parity;
                auto it = refPieces.find(keyOf(m_F[1][f], parity));
                if (it != refPieces.end()) m_cls[f] = it->second == parity ? 3 : 4;
            }
            for (std::size_t f = 0; f < nf; ++f) {
                if (!result[f]) continue;
                const int c = m_cls[f];
                out.lists[c >= 1 && c <= 4 ? c - 1 : 4].push_back(result[f]);
            }
            for (auto& l : out.lists) {
                std::sort(l.begin(), l.end(), TriPosLess);
                l.erase(std::unique(l.begin(), l.end()), l.end());
            }
        }
        RefreshExtentOf(mesh);
        ResetOctTreeByPos(mesh);
    }
    std::sort(out.segments.begin(), out.segments.end(), [](const CKrSeg3d& a, const CKrSeg3d& b) {
        const int c = CKrPoint3d::CompPt(a.m_pt[0], b.m_pt[0]);
        return c != 0 ? c < 0 : CKrPoint3d::CompPt(a.m_pt[1], b.m_pt[1]) < 0;
    });
    out.segments.erase(std::unique(out.segments.begin(), out.segments.end(),
                                   [](const CKrSeg3d& a, const CKrSeg3d& b) {
                                       return CKrPoint3d::CompPt(a.m_pt[0], b.m_pt[0]) == 0 &&
                                              CKrPoint3d::CompPt(a.m_pt[1], b.m_pt[1]) == 0;
                                   }),
                       out.segments.end());
}

}  // namespace

bool ExactCut(CKrMeshData& reference, CKrMeshData& target, bool classify, KrExactCutResult& out)
{
    for (auto& l : out.lists) l.clear();
    out.segments.clear();
    out.snapped = SnapNearVertices(reference, target, out.snapUnsupported, out.snapOnEdge);
    Engine engine(reference, target);
    return engine.Run(classify, out);
}

}  // namespace exact
}  // namespace TesTriMesh
