#include "KrTesGeometry/collision/KrCollision.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <memory>
#include <queue>
#include <vector>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/math/TESCommFunc.h"

namespace TesTriMesh {

namespace {

using GeoTreeEx::_sOctaNode;

// Two triangles closer than this count as touching.
constexpr double kContactTol = 1e-6;

// One triangle of a candidate set, ready for the pair loop.
struct TriGeom {
    CKrPoint3d p[3];
    CKrPoint3d c;   // centroid, computed as the distance measure computes it
    double box[6];  // box of the corners and the centroid
};

// The corners of an item (a triangle record of mesh); false when an index
// names no point.
bool Corners(const CGeDataTriMesh& mesh, const void* item, CKrPoint3d p[3])
{
    const CGeDataTriIndex* t = static_cast<const CGeDataTriIndex*>(item);
    for (int k = 0; k < 3; ++k) {
        const CGeDataPoint3D* q = mesh.GetPoint(t->n[k]);
        if (!q) return false;
        p[k] = *q;
    }
    return true;
}

void CornerBox(const CKrPoint3d p[3], double box[6])
{
    box[0] = std::min({p[0].x, p[1].x, p[2].x});
    box[1] = std::min({p[0].y, p[1].y, p[2].y});
    box[2] = std::min({p[0].z, p[1].z, p[2].z});
    box[3] = std::max({p[0].x, p[1].x, p[2].x});
    box[4] = std::max({p[0].y, p[1].y, p[2].y});
    box[5] = std::max({p[0].z, p[1].z, p[2].z});
}

CKrPoint3d Centroid(const CKrPoint3d p[3]) { return (p[0] + p[1] + p[2]) / 3.0; }

// Closed overlap: touching boxes overlap.
inline bool Overlaps(const double* a, const double* b)
{
    return !(a[3] < b[0] || b[3] < a[0] || a[4] < b[1] || b[4] < a[1] || a[5] < b[2] || b[5] < a[2]);
}

// Euclidean gap between two boxes, 0 when they overlap.
double BoxGap(const double* a, const double* b)
{
    double s = 0.0;
    for (int i = 0; i < 3; ++i) {
        double g = 0.0;
        if (a[i] > b[i + 3])
            g = a[i] - b[i + 3];
        else if (b[i] > a[i + 3])
            g = b[i] - a[i + 3];
        s += g * g;
    }
    return std::sqrt(s);
}

// The corners are exactly collinear: every projection onto a coordinate
// plane is (the cross product vanishes), which is what makes the
// triangle-triangle test refuse a triangle.
bool IsDegenerate(const CKrPoint3d p[3])
{
    using KrTesGeo::Orient2dExact;
    return Orient2dExact(p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y) == 0 &&
           Orient2dExact(p[0].y, p[0].z, p[1].y, p[1].z, p[2].y, p[2].z) == 0 &&
           Orient2dExact(p[0].z, p[0].x, p[1].z, p[1].x, p[2].z, p[2].x) == 0;
}

// The box of the mesh's points, from the empty box; false when it has none.
// A NaN coordinate widens nothing.
bool PointRange(const CGeDataTriMesh& mesh, double r[6])
{
    r[0] = r[1] = r[2] = DBL_MAX;
    r[3] = r[4] = r[5] = -DBL_MAX;
    bool any = false;
    for (int32_t i = 0; i < mesh.GetPointCount(); ++i) {
        const CGeDataPoint3D* p = mesh.GetPoint(i);
        if (!p) continue;
        any = true;
        const double c[3] = {p->x, p->y, p->z};
        for (int a = 0; a < 3; ++a) {
            if (c[a] < r[a]) r[a] = c[a];
            if (c[a] > r[a + 3]) r[a + 3] = c[a];
        }
    }
    return any;
}

bool IsFiniteBox(const double* b)
{
    for (int i = 0; i < 6; ++i)
        if (!std::isfinite(b[i])) return false;
    return true;
}

// ---- closest pairs of two trees ------------------------------------------------

// A piece of one tree in the best-first search: a whole subtree, the items
// filed at one node, or one item of such a node.
struct Piece {
    enum Kind : uint8_t { kSubtree, kGroup, kItem };
    const _sOctaNode* node;
    uint32_t item;  // index into node->m_vecItems for kItem
    Kind kind;
};

struct PairEntry {
    double key;  // lower bound of the measure of every triangle pair inside
    uint64_t seq;
    Piece piece[2];
};

struct EntryAfter {
    bool operator()(const PairEntry& a, const PairEntry& b) const
    {
        // Equal keys: the latest first, so that a run of overlapping pieces
        // (all at gap 0) is followed down to its triangles at once.
        return a.key > b.key || (a.key == b.key && a.seq < b.seq);
    }
};

// Best-first walk over pairs of pieces of two trees, yielding triangle pairs
// as the pair loop measures them: pairs that meet first, then by centroid
// distance. A piece's box bounds the triangles in it and their centroids, so
// the gap between two boxes bounds every measure of the pairs inside. Ties
// are broken by the order in which pieces were found, which makes the walk
// deterministic.
class ClosestPairWalk {
public:
    ClosestPairWalk(const GeoTreeEx::CKrOctaTreeEx& a, const CGeDataTriMesh& ma, const GeoTreeEx::CKrOctaTreeEx& b,
                    const CGeDataTriMesh& mb)
        : m_mesh{&ma, &mb}
    {
        PointRange(ma, m_extent[0]);
        PointRange(mb, m_extent[1]);
        if (a.m_pRoot && b.m_pRoot)
            Push(Piece{a.m_pRoot, 0, Piece::kSubtree}, Piece{b.m_pRoot, 0, Piece::kSubtree});
    }

    // The next pair of items, or false when none is left or the work budget
    // is spent (the rest of the queue can still be drained with PopAny).
    bool Next(void*& itemA, void*& itemB)
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

    // Pops the nearest remaining entry and appends the side's items in it;
    // false when the queue is empty.
    bool PopAny(int side, std::vector<void*>& items)
    {
        if (m_queue.empty()) return false;
        const PairEntry e = m_queue.top();
        m_queue.pop();
        AllItems(e.piece[side], items);
        return true;
    }

    void* ItemOf(const Piece& p) const { return p.node->m_vecItems[p.item]; }

private:
    static constexpr std::size_t kMaxPops = 200000;
    static constexpr std::size_t kMaxQueue = 500000;

    // Extent used to choose the piece to split: the larger one is split.
    double Size(const Piece& p, int side) const
    {
        double box[6] = {0, 0, 0, 0, 0, 0};
        BoxOf(p, side, box);
        return std::max({box[3] - box[0], box[4] - box[1], box[5] - box[2]});
    }

    void BoxOf(const Piece& p, int side, double box[6]) const
    {
        switch (p.kind) {
        case Piece::kSubtree: {
            // The loose node box, cut down to the mesh's extent: on the rim
            // of a mesh the loose margin would otherwise hide the true gap.
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
            Corners(*m_mesh[side], ItemOf(p), c);
            CornerBox(c, box);
            break;
        }
        }
    }

    void Push(const Piece& a, const Piece& b)
    {
        double key;
        if (a.kind == Piece::kItem && b.kind == Piece::kItem) {
            CKrPoint3d ca[3], cb[3];
            Corners(*m_mesh[0], ItemOf(a), ca);
            Corners(*m_mesh[1], ItemOf(b), cb);
            // Triangles that meet come first: the pair loop measures them
            // at 0, whatever their centroids.
            double ba[6], bb[6];
            CornerBox(ca, ba);
            CornerBox(cb, bb);
            if (Overlaps(ba, bb) &&
                CKrSpaceMath::Test_Intersect_Tri_And_Tri_3D(ca[0], ca[1], ca[2], cb[0], cb[1], cb[2]) == 2)
                key = 0.0;
            else
                key = Centroid(ca).Distance(Centroid(cb));
        } else {
            double ba[6], bb[6];
            BoxOf(a, 0, ba);
            BoxOf(b, 1, bb);
            key = BoxGap(ba, bb);
        }
        if (!(key <= DBL_MAX)) key = DBL_MAX;  // NaN or infinite: last
        m_queue.push(PairEntry{key, m_seq++, {a, b}});
    }

    // Subtree: its own items (as one group) and its non-empty children.
    // Group: its items, without the degenerate triangles.
    void Split(const Piece& p, int side, std::vector<Piece>& out) const
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
            if (Corners(*m_mesh[side], n->m_vecItems[i], c) && !IsDegenerate(c))
                out.push_back(Piece{n, i, Piece::kItem});
        }
    }

    static void AllItems(const Piece& p, std::vector<void*>& out)
    {
        if (p.kind == Piece::kItem)
            out.push_back(p.node->m_vecItems[p.item]);
        else if (p.kind == Piece::kGroup)
            out.insert(out.end(), p.node->m_vecItems.begin(), p.node->m_vecItems.end());
        else
            SubtreeItems(p.node, out);
    }

    static void SubtreeItems(const _sOctaNode* n, std::vector<void*>& out)
    {
        out.insert(out.end(), n->m_vecItems.begin(), n->m_vecItems.end());
        if (n->IsLeaf()) return;
        for (const _sOctaNode* c : n->m_pChild) SubtreeItems(c, out);
    }

    const CGeDataTriMesh* m_mesh[2];
    double m_extent[2][6];  // box of each mesh's points
    std::priority_queue<PairEntry, std::vector<PairEntry>, EntryAfter> m_queue;
    std::vector<Piece> m_parts;
    uint64_t m_seq = 0;
    std::size_t m_pops = 0;
};

// ---- candidates of the pair loop ------------------------------------------------

// A hashed uniform grid over the boxes of one candidate set. For a triangle
// of the other set it yields the triangles that may still change the result:
// those whose box meets its box (they may touch it) or whose centroid lies
// within the closest distance held (they may be nearer). Every triangle is
// registered in each cell its box meets; a triangle spanning many cells goes
// to a list that every query returns.
class CandidateGrid {
public:
    explicit CandidateGrid(const std::vector<TriGeom>& tris) : m_stamp(tris.size(), 0)
    {
        const std::size_t n = tris.size();
        double lo[3] = {DBL_MAX, DBL_MAX, DBL_MAX}, hi[3] = {-DBL_MAX, -DBL_MAX, -DBL_MAX};
        double sum = 0.0;
        for (const TriGeom& t : tris) {
            for (int a = 0; a < 3; ++a) {
                lo[a] = std::min(lo[a], t.box[a]);
                hi[a] = std::max(hi[a], t.box[a + 3]);
            }
            sum += std::max({t.box[3] - t.box[0], t.box[4] - t.box[1], t.box[5] - t.box[2]});
        }
        // Cells about the size of a typical triangle.
        m_cell = sum / static_cast<double>(std::max<std::size_t>(n, 1));
        if (!(m_cell > 0.0) || !std::isfinite(m_cell))
            m_cell = std::max({hi[0] - lo[0], hi[1] - lo[1], hi[2] - lo[2]}) / std::cbrt(static_cast<double>(n) + 1.0);
        if (!(m_cell > 0.0) || !std::isfinite(m_cell)) m_cell = 1.0;
        for (int a = 0; a < 3; ++a) m_org[a] = std::isfinite(lo[a]) ? lo[a] : 0.0;
        m_maxCells = std::max<std::size_t>(64, n);

        // Two passes over the registrations: count per bucket, then fill.
        std::vector<Range> ranges(n);
        std::size_t total = 0;
        for (std::size_t i = 0; i < n; ++i) {
            Range& r = ranges[i];
            r.ok = CellRange(tris[i].box, r.lo, r.hi) && r.Count() <= kMaxCellsPerTri;
            if (r.ok)
                total += r.Count();
            else
                m_big.push_back(static_cast<uint32_t>(i));
        }
        std::size_t buckets = 16;
        while (buckets < 2 * total) buckets *= 2;
        m_mask = buckets - 1;
        m_start.assign(buckets + 1, 0);
        ForEachCell(ranges, [&](std::size_t, std::size_t b) { ++m_start[b + 1]; });
        for (std::size_t b = 0; b < buckets; ++b) m_start[b + 1] += m_start[b];
        m_items.resize(total);
        std::vector<uint32_t> fill(m_start.begin(), m_start.end() - 1);
        ForEachCell(ranges, [&](std::size_t i, std::size_t b) { m_items[fill[b]++] = static_cast<uint32_t>(i); });
    }

    // The candidates for the query box q, in ascending order. False when q
    // spans too many cells to be worth it: the caller then scans them all.
    bool Query(const double q[6], std::vector<uint32_t>& out)
    {
        int64_t lo[3], hi[3];
        if (!CellRange(q, lo, hi)) return false;
        double cells = 1.0;
        for (int a = 0; a < 3; ++a) cells *= static_cast<double>(hi[a] - lo[a] + 1);
        if (cells > static_cast<double>(m_maxCells)) return false;
        if (++m_tick == 0) {  // stamps wrapped: start again
            std::fill(m_stamp.begin(), m_stamp.end(), 0);
            m_tick = 1;
        }
        for (int64_t x = lo[0]; x <= hi[0]; ++x)
            for (int64_t y = lo[1]; y <= hi[1]; ++y)
                for (int64_t z = lo[2]; z <= hi[2]; ++z) {
                    const std::size_t b = Bucket(x, y, z);
                    for (uint32_t k = m_start[b]; k < m_start[b + 1]; ++k) Take(m_items[k], out);
                }
        for (uint32_t i : m_big) Take(i, out);
        std::sort(out.begin(), out.end());
        return true;
    }

private:
    static constexpr std::size_t kMaxCellsPerTri = 64;

    struct Range {
        int64_t lo[3], hi[3];
        bool ok;
        std::size_t Count() const
        {
            return static_cast<std::size_t>(hi[0] - lo[0] + 1) * static_cast<std::size_t>(hi[1] - lo[1] + 1) *
                   static_cast<std::size_t>(hi[2] - lo[2] + 1);
        }
    };

    // The cells a box meets; false when they cannot be indexed (a
    // coordinate far outside the grid, or not finite).
    bool CellRange(const double* box, int64_t lo[3], int64_t hi[3]) const
    {
        constexpr double kLimit = 1e12;
        for (int a = 0; a < 3; ++a) {
            const double l = std::floor((box[a] - m_org[a]) / m_cell);
            const double h = std::floor((box[a + 3] - m_org[a]) / m_cell);
            if (!(l >= -kLimit && h <= kLimit && l <= h)) return false;
            lo[a] = static_cast<int64_t>(l);
            hi[a] = static_cast<int64_t>(h);
        }
        return true;
    }

    std::size_t Bucket(int64_t x, int64_t y, int64_t z) const
    {
        uint64_t h = static_cast<uint64_t>(x) * 0x9E3779B97F4A7C15ull;
        h ^= static_cast<uint64_t>(y) * 0xC2B2AE3D27D4EB4Full + (h >> 29);
        h ^= static_cast<uint64_t>(z) * 0x165667B19E3779F9ull + (h >> 31);
        h ^= h >> 33;
        return static_cast<std::size_t>(h) & m_mask;
    }

    template <class F>
    void ForEachCell(const std::vector<Range>& ranges, F f) const
    {
        for (std::size_t i = 0; i < ranges.size(); ++i) {
            const Range& r = ranges[i];
            if (!r.ok) continue;
            for (int64_t x = r.lo[0]; x <= r.hi[0]; ++x)
                for (int64_t y = r.lo[1]; y <= r.hi[1]; ++y)
                    for (int64_t z = r.lo[2]; z <= r.hi[2]; ++z) f(i, Bucket(x, y, z));
        }
    }

    void Take(uint32_t i, std::vector<uint32_t>& out)
    {
        if (m_stamp[i] == m_tick) return;
        m_stamp[i] = m_tick;
        out.push_back(i);
    }

    double m_org[3];
    double m_cell;
    std::size_t m_mask = 0;
    std::size_t m_maxCells = 64;
    std::vector<uint32_t> m_start;  // bucket b holds m_items[m_start[b] .. m_start[b + 1])
    std::vector<uint32_t> m_items;
    std::vector<uint32_t> m_big;
    std::vector<uint32_t> m_stamp;  // query number that last returned each triangle
    uint32_t m_tick = 0;
};

// The triangles of a set in set order; records naming missing points are left
// out (they cannot be measured).
std::vector<TriGeom> Gather(const CGeDataTriMesh& mesh, const std::set<void*>& tris)
{
    std::vector<TriGeom> out;
    out.reserve(tris.size());
    for (void* item : tris) {
        TriGeom g;
        if (!item || !Corners(mesh, item, g.p)) continue;
        g.c = Centroid(g.p);
        CornerBox(g.p, g.box);
        g.box[0] = std::min(g.box[0], g.c.x);
        g.box[1] = std::min(g.box[1], g.c.y);
        g.box[2] = std::min(g.box[2], g.c.z);
        g.box[3] = std::max(g.box[3], g.c.x);
        g.box[4] = std::max(g.box[4], g.c.y);
        g.box[5] = std::max(g.box[5], g.c.z);
        out.push_back(g);
    }
    return out;
}

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
    const bool any = PointRange(mesh, r);
    minX = r[0], minY = r[1], minZ = r[2], maxX = r[3], maxY = r[4], maxZ = r[5];
    return any;
}

GeoTreeEx::CKrOctaTreeEx* CCollision::CreateTree(const CGeDataTriMesh& mesh)
{
    double r[6];
    if (mesh.GetTriCount() <= 0 || !GetTrisRange(r[0], r[1], r[2], r[3], r[4], r[5], mesh) || !IsFiniteBox(r))
        return nullptr;
    std::unique_ptr<CKrOctaTreeEx> tree(new CKrOctaTreeEx);
    tree->Init(r[0], r[1], r[2], r[3], r[4], r[5], 8, 0.2);
    bool filed = false;
    for (int32_t i = 0; i < mesh.GetTriCount(); ++i) {
        const CGeDataTriIndex* t = mesh.GetTri(i);
        CKrPoint3d p[3];
        if (!t || !Corners(mesh, t, p)) continue;
        double box[6];
        CornerBox(p, box);
        // A corner with a NaN coordinate keeps the triangle out of the tree.
        if (tree->AddItem(const_cast<CGeDataTriIndex*>(t), box[0], box[1], box[2], box[3], box[4], box[5]))
            filed = true;
    }
    return filed ? tree.release() : nullptr;
}

bool CCollision::IsCollTree(const CKrOctaTreeEx*& treeA, const CKrOctaTreeEx*& treeB) const
{
    if (!treeA || !treeB || !treeA->m_pRoot || !treeB->m_pRoot) return false;
    return Overlaps(treeA->m_pRoot->m_dBox, treeB->m_pRoot->m_dBox);
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
    ClosestPairWalk walk(treeA, meshA, treeB, meshB);
    void* items[2];
    while (out.size() < k && walk.Next(items[0], items[1])) out.insert(items[side]);

    // Out of budget (a pathological mesh): finish with the nearest remaining
    // pieces without ranking their triangles.
    auto usable = [&](void* item) {
        CKrPoint3d p[3];
        return Corners(mesh, item, p) && !IsDegenerate(p);
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
    const std::vector<TriGeom> ga = Gather(meshA, trisA);
    const std::vector<TriGeom> gb = Gather(meshB, trisB);

    // Every pair is visited in set order, as a plain double loop would, but
    // a pair that cannot change anything is not measured: its boxes are
    // apart (so the triangles do not meet) and its centroids are no nearer
    // than the distance held. The grid finds the others once the distance
    // held has become small.
    constexpr std::size_t kRowsBeforeGrid = 4;
    constexpr std::size_t kGridMinSize = 64;
    constexpr double kSlack = 1.0 + 1e-9;  // only ever adds pairs to measure
    std::unique_ptr<CandidateGrid> grid;
    std::vector<uint32_t> cand;
    std::size_t bestA = ga.size(), bestB = gb.size();

    auto measure = [&](std::size_t i, std::size_t j) {  // true: contact, stop
        const TriGeom& a = ga[i];
        const TriGeom& b = gb[j];
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
        const TriGeom& a = ga[i];
        const TriGeom& b = gb[j];
        if (!Overlaps(a.box, b.box) && !(a.c.Distance(b.c) < m_dDistClose * kSlack)) return false;
        return measure(i, j);
    };

    bool stop = false;
    for (std::size_t i = 0; i < ga.size() && !stop; ++i) {
        if (TESCommFunc::TesCompDouble(m_dDistClose, 0.0, kContactTol) == 0) {
            // Contact held from an earlier check: the first pair measured ends the loop.
            for (std::size_t j = 0; j < gb.size() && !stop; ++j) stop = measure(i, j);
            continue;
        }
        const TriGeom& a = ga[i];
        const double reach = m_dDistClose * kSlack;
        if (!grid && i >= kRowsBeforeGrid && gb.size() > kGridMinSize) grid.reset(new CandidateGrid(gb));
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
