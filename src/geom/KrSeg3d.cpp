#include "KrTesGeometry/geom/KrSeg3d.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>

#include "KrTesGeometry/geom/KrPolyLine.h"
#include "geom/KrBox.h"
#include "geom/KrCellGrid.h"

CKrSeg3d::CKrSeg3d(const CKrPoint3d& a, const CKrPoint3d& b)
{
    m_pt[0] = a;
    m_pt[1] = b;
}

CKrSeg3d::CKrSeg3d(const CKrSeg3d& s) { *this = s; }

CKrSeg3d& CKrSeg3d::operator=(const CKrSeg3d& s)
{
    if (this != &s) {
        m_pt[0] = s.m_pt[0];
        m_pt[1] = s.m_pt[1];
    }
    return *this;
}

CKrSeg3d::~CKrSeg3d() {}

bool CKrSeg3d::IsSameSeg(const CKrPoint3d& a1, const CKrPoint3d& a2, const CKrPoint3d& b1,
                         const CKrPoint3d& b2)
{
    return ((a1 == b1) && (a2 == b2)) || ((a2 == b1) && (a1 == b2));
}

namespace {

// Groups segment end points into nodes: points equal under CKrPoint3d ==
// (each axis within POINT_EPS) share a node. A hash grid whose cells are at
// least the tolerance wide finds the candidates among the 27 cells around a
// point, so the grouping takes linear time.
class CEndPointIndex {
public:
    explicit CEndPointIndex(double cell) : m_cell(cell) {}

    // Node of p, created when no node within the tolerance exists; -1 for a
    // point with a non-finite coordinate, which never matches anything.
    int NodeOf(const CKrPoint3d& p)
    {
        if (!KrTesGeo::detail::IsFinite(p)) return -1;
        const Grid::Key k = KeyOf(p);
        int found = -1;
        m_cells.ForEachNear(k, 1, [&](const std::vector<int>& ids) {
            for (int id : ids) {
                if (m_pts[id] == p && (found < 0 || id < found)) found = id;
            }
        });
        if (found >= 0) return found;
        m_pts.push_back(p);
        const int id = static_cast<int>(m_pts.size()) - 1;
        m_cells.Get(k).push_back(id);
        return id;
    }

    const CKrPoint3d& Point(int id) const { return m_pts[id]; }
    size_t Count() const { return m_pts.size(); }

private:
    using Grid = KrTesGeo::detail::CKrCellGrid<3, int>;
    Grid::Key KeyOf(const CKrPoint3d& p) const
    {
        const double c[3] = {p.x, p.y, p.z};
        return Grid::KeyOf(c, m_cell);
    }

    double m_cell;
    std::vector<CKrPoint3d> m_pts;
    Grid m_cells;
};

struct SChain {
    std::vector<int> nodes;
    int firstSeg;  // smallest input index among its segments, for output order
    bool closed;
};

}  // namespace

bool CKrSeg3d::LinkSeg(const std::vector<CKrSeg3d>& segs, std::vector<CKrPolyLine>& out)
{
    out.clear();
    if (segs.empty()) return false;

    // Cells at least the tolerance wide, and coarse enough that cell keys
    // stay far inside the integer range for any finite coordinate.
    double maxAbs = 0.0;
    for (const CKrSeg3d& s : segs) {
        for (const CKrPoint3d& p : s.m_pt) {
            for (double c : {p.x, p.y, p.z}) {
                if (std::isfinite(c)) maxAbs = std::max(maxAbs, std::fabs(c));
            }
        }
    }
    CEndPointIndex index(std::max(POINT_EPS, maxAbs * 1e-12));

    // The graph: one edge per distinct segment. Zero-length segments and
    // repeats of a segment (either direction) add nothing to any chain and
    // are absorbed; segments with a non-finite end cannot be placed.
    bool allPlaced = true;
    std::vector<int> edgeA, edgeB, edgeSeg;
    std::vector<std::vector<int>> adj;
    std::unordered_set<unsigned long long> seen;
    for (size_t k = 0; k < segs.size(); ++k) {
        const int a = index.NodeOf(segs[k].m_pt[0]);
        const int b = index.NodeOf(segs[k].m_pt[1]);
        if (a < 0 || b < 0) {
            allPlaced = false;
            continue;
        }
        if (a == b) continue;
        const unsigned long long key = (static_cast<unsigned long long>(std::min(a, b)) << 32) |
                                       static_cast<unsigned long long>(std::max(a, b));
        if (!seen.insert(key).second) continue;
        if (adj.size() < index.Count()) adj.resize(index.Count());
        const int e = static_cast<int>(edgeA.size());
        edgeA.push_back(a);
        edgeB.push_back(b);
        edgeSeg.push_back(static_cast<int>(k));
        adj[a].push_back(e);
        adj[b].push_back(e);
    }
    adj.resize(index.Count());

    // Chains run between nodes where exactly two segments meet; they end at
    // free ends and at branch points. Walked from `start` along edge `e`.
    std::vector<bool> used(edgeA.size(), false);
    std::vector<SChain> chains;
    auto walk = [&](int start, int e) {
        SChain c{{start}, edgeSeg[e], false};
        int forward = 0, count = 0;
        int cur = start;
        for (;;) {
            used[e] = true;
            ++count;
            if (edgeA[e] == cur) ++forward;
            c.firstSeg = std::min(c.firstSeg, edgeSeg[e]);
            const int nxt = edgeA[e] == cur ? edgeB[e] : edgeA[e];
            c.nodes.push_back(nxt);
            if (nxt == start || adj[nxt].size() != 2) break;
            const int e2 = adj[nxt][0] == e ? adj[nxt][1] : adj[nxt][0];
            if (used[e2]) break;
            e = e2;
            cur = nxt;
        }
        if (c.nodes.size() >= 4 && c.nodes.front() == c.nodes.back()) {
            c.nodes.pop_back();
            c.closed = true;
        }
        // Follow the direction most of the input segments had.
        if (2 * forward < count) {
            if (c.closed)
                std::reverse(c.nodes.begin() + 1, c.nodes.end());
            else
                std::reverse(c.nodes.begin(), c.nodes.end());
        }
        chains.push_back(std::move(c));
    };
    for (size_t v = 0; v < adj.size(); ++v) {
        if (adj[v].size() == 2) continue;
        for (int e : adj[v]) {
            if (!used[e]) walk(static_cast<int>(v), e);
        }
    }
    // What is left are loops through nodes of degree two.
    for (size_t e = 0; e < used.size(); ++e) {
        if (!used[e]) walk(edgeA[e], static_cast<int>(e));
    }

    std::stable_sort(chains.begin(), chains.end(),
                     [](const SChain& l, const SChain& r) { return l.firstSeg < r.firstSeg; });
    out.reserve(chains.size());
    for (const SChain& c : chains) {
        CKrPolyLine pl;
        for (int v : c.nodes) pl.AddVertex(index.Point(v));
        pl.SetClosed(c.closed);
        out.push_back(std::move(pl));
    }
    return allPlaced && !out.empty();
}
