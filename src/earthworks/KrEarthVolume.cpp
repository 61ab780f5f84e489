#include "KrTesGeometry/earthworks/KrEarthVolume.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "earthworks/KrEarthTin.h"
#include "earthworks/KrPlanClip.h"
#include "geom/KrCellGrid.h"

namespace TesTriMesh {

namespace {

using namespace earth;

// z over a triangle's plane, from its first corner.
struct Plane {
    double x0 = 0.0, y0 = 0.0, z0 = 0.0, gx = 0.0, gy = 0.0;
    double At(double x, double y) const { return z0 + gx * (x - x0) + gy * (y - y0); }
};

Plane PlaneOf(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c)
{
    const double dx1 = b.x - a.x, dy1 = b.y - a.y, dz1 = b.z - a.z;
    const double dx2 = c.x - a.x, dy2 = c.y - a.y, dz2 = c.z - a.z;
    const double det = dx1 * dy2 - dx2 * dy1;  // non-zero: the triangle has plan area
    return Plane{a.x, a.y, a.z, (dz1 * dy2 - dz2 * dy1) / det, (dx1 * dz2 - dx2 * dz1) / det};
}

// The boundary cut into counter-clockwise triangles, with a grid over them.
struct Boundary {
    bool on = false;
    std::vector<CKrPoint3d> ring;
    std::vector<int32_t> tris;
    CKrBoxGrid grid;
};

// One block's share of the result.
struct BlockOut {
    CKrSplitSum sum;
    std::vector<CKrZeroSeg> zero;
};

// What the pieces of one pair of triangles are measured against.
struct PairCtx {
    const CKrPoint3d* a[3];
    Plane pa;
    const CKrPoint3d* b[3];  // null for a level
    Plane pb;
    double level = 0.0;
};

// Measures one overlay piece: the height difference at its corners (exact
// heights at original vertices, an exact zero where a vertex of one surface
// lies on the other's plane), then the split integral.
void Measure(const CKrClipVert* v, int n, const PairCtx& c, BlockOut& out, bool zeroLine)
{
    double x[kMaxClipVerts], y[kMaxClipVerts], d[kMaxClipVerts], z[kMaxClipVerts];
    for (int i = 0; i < n; ++i) {
        x[i] = v[i].x;
        y[i] = v[i].y;
        const double za = v[i].cA ? v[i].cA->z : c.pa.At(x[i], y[i]);
        z[i] = za;
        if (!c.b[0]) {
            d[i] = za - c.level;
            continue;
        }
        const double zb = v[i].cB ? v[i].cB->z : c.pb.At(x[i], y[i]);
        d[i] = za - zb;
        if (v[i].cA && !v[i].cB) {
            if (KrTesGeo::Orient3dExact(*c.b[0], *c.b[1], *c.b[2], *v[i].cA) == 0) d[i] = 0.0;
        } else if (v[i].cB && !v[i].cA) {
            if (KrTesGeo::Orient3dExact(*c.a[0], *c.a[1], *c.a[2], *v[i].cB) == 0) d[i] = 0.0;
        }
    }
    AddSplitPiece(x, y, d, z, n, out.sum, zeroLine ? &out.zero : nullptr);
}

// Measures a piece, first cut by the boundary's triangles when there is one.
void AddPiece(const CKrClipVert* v, int n, const PairCtx& c, const Boundary& bd, BlockOut& out, bool zeroLine)
{
    if (!bd.on) {
        Measure(v, n, c, out, zeroLine);
        return;
    }
    double box[4] = {v[0].x, v[0].y, v[0].x, v[0].y};
    for (int i = 1; i < n; ++i) {
        box[0] = std::min(box[0], v[i].x);
        box[1] = std::min(box[1], v[i].y);
        box[2] = std::max(box[2], v[i].x);
        box[3] = std::max(box[3], v[i].y);
    }
    std::vector<uint32_t> cand;
    bd.grid.ForEachCandidate(box, [&](uint32_t k) { cand.push_back(k); });
    std::sort(cand.begin(), cand.end());
    cand.erase(std::unique(cand.begin(), cand.end()), cand.end());
    CKrClipVert sub[kMaxClipVerts];
    for (const uint32_t k : cand) {
        const CKrPoint3d* t0 = &bd.ring[bd.tris[3 * k]];
        const CKrPoint3d* t1 = &bd.ring[bd.tris[3 * k + 1]];
        const CKrPoint3d* t2 = &bd.ring[bd.tris[3 * k + 2]];
        const int m = ClipByTriangle(v, n, t0, t1, t2, kOwnerBoundary, sub);
        if (m >= 3) Measure(sub, m, c, out, zeroLine);
    }
}

bool SetBoundary(const KrEarthVolumeOptions& opt, Boundary& bd, std::string& error)
{
    if (opt.boundary.empty()) return true;
    if (!TriangulatePolygon(opt.boundary, bd.ring, bd.tris, error)) return false;
    std::vector<std::array<double, 4>> boxes;
    for (std::size_t k = 0; k < bd.tris.size(); k += 3) {
        const CKrPoint3d& a = bd.ring[bd.tris[k]];
        const CKrPoint3d& b = bd.ring[bd.tris[k + 1]];
        const CKrPoint3d& c = bd.ring[bd.tris[k + 2]];
        boxes.push_back({std::min({a.x, b.x, c.x}), std::min({a.y, b.y, c.y}), std::max({a.x, b.x, c.x}),
                         std::max({a.y, b.y, c.y})});
    }
    bd.grid.Build(boxes, 1.0);
    bd.on = true;
    return true;
}

// Joins the pieces of the zero line into polylines: ends closer than tol are
// one node (pieces computed on the two sides of an edge agree only to
// rounding), repeated pieces count once, and chains run between nodes that
// are not simple links (ends, branchings), then around the remaining loops.
void JoinZeroLine(const std::vector<CKrZeroSeg>& segs, double tol, std::vector<CKrPolyLine>& lines)
{
    using Grid = KrTesGeo::detail::CKrCellGrid<2, int32_t>;
    Grid grid;
    std::vector<CKrPoint3d> node;
    auto nodeOf = [&](double x, double y, double z) {
        const double c[2] = {x, y};
        const Grid::Key key = Grid::KeyOf(c, tol);
        int32_t found = -1;
        grid.ForEachNear(key, 1, [&](const std::vector<int32_t>& items) {
            for (const int32_t i : items)
                if (found < 0 && std::hypot(node[i].x - x, node[i].y - y) <= tol) found = i;
        });
        if (found >= 0) return found;
        node.emplace_back(x, y, z);
        grid.Get(key).push_back(static_cast<int32_t>(node.size() - 1));
        return static_cast<int32_t>(node.size() - 1);
    };
    std::vector<std::pair<int32_t, int32_t>> edge;
    for (const CKrZeroSeg& s : segs) {
        const int32_t a = nodeOf(s.x0, s.y0, s.z0), b = nodeOf(s.x1, s.y1, s.z1);
        if (a != b) edge.emplace_back(std::min(a, b), std::max(a, b));
    }
    std::sort(edge.begin(), edge.end());
    edge.erase(std::unique(edge.begin(), edge.end()), edge.end());
    std::vector<std::vector<int32_t>> adj(node.size());  // edge numbers at each node
    for (std::size_t e = 0; e < edge.size(); ++e) {
        adj[edge[e].first].push_back(static_cast<int32_t>(e));
        adj[edge[e].second].push_back(static_cast<int32_t>(e));
    }
    std::vector<char> used(edge.size(), 0);
    auto walk = [&](int32_t start, int32_t e0) {
        CKrPolyLine pl;
        pl.AddVertex(node[start]);
        int32_t at = start, e = e0;
        while (e >= 0) {
            used[e] = 1;
            at = edge[e].first == at ? edge[e].second : edge[e].first;
            if (at == start) {
                pl.SetClosed(true);
                break;
            }
            pl.AddVertex(node[at]);
            e = -1;
            if (adj[at].size() == 2)
                for (const int32_t f : adj[at])
                    if (!used[f]) e = f;
        }
        lines.push_back(pl);
    };
    for (std::size_t v = 0; v < node.size(); ++v)
        if (adj[v].size() != 2)
            for (const int32_t e : adj[v])
                if (!used[e]) walk(static_cast<int32_t>(v), e);
    for (std::size_t v = 0; v < node.size(); ++v)
        for (const int32_t e : adj[v])
            if (!used[e]) walk(static_cast<int32_t>(v), e);
}

constexpr std::size_t kBlock = 4096;

void Finish(std::vector<BlockOut>& blocks, const CKrEarthTin& a, bool zeroLine, KrEarthVolume& out)
{
    std::vector<CKrZeroSeg> zero;
    for (const BlockOut& b : blocks) {
        out.cut += b.sum.pos;
        out.fill += b.sum.neg;
        out.cutArea += b.sum.posArea;
        out.fillArea += b.sum.negArea;
        zero.insert(zero.end(), b.zero.begin(), b.zero.end());
    }
    out.net = out.cut - out.fill;
    if (!zeroLine || zero.empty()) return;
    double lo[2] = {zero[0].x0, zero[0].y0}, hi[2] = {lo[0], lo[1]};
    for (const auto& t : a.tri)
        for (const int32_t k : t) {
            lo[0] = std::min(lo[0], a.p[k].x);
            lo[1] = std::min(lo[1], a.p[k].y);
            hi[0] = std::max(hi[0], a.p[k].x);
            hi[1] = std::max(hi[1], a.p[k].y);
        }
    const double size = std::max({hi[0] - lo[0], hi[1] - lo[1], std::fabs(lo[0]), std::fabs(lo[1]), 1.0});
    JoinZeroLine(zero, size * 1e-10, out.zeroLines);
}

void Reset(KrEarthVolume& out)
{
    out = KrEarthVolume();
}

}  // namespace

bool KrVolumeBetween(const std::vector<CKrPoint3d>& ptsA, const std::vector<KrTesGeo::_sTri_ID>& trisA,
                     const std::vector<CKrPoint3d>& ptsB, const std::vector<KrTesGeo::_sTri_ID>& trisB,
                     const KrEarthVolumeOptions& opt, KrEarthVolume& out)
{
    Reset(out);
    CKrEarthTin A, B;
    Boundary bd;
    if (!PrepareTin(ptsA, trisA, "first surface", A, out.error) ||
        !PrepareTin(ptsB, trisB, "second surface", B, out.error) || !SetBoundary(opt, bd, out.error))
        return false;
    if (A.tri.empty() || B.tri.empty()) return true;

    std::vector<std::array<double, 4>> boxesB(B.tri.size());
    for (std::size_t t = 0; t < B.tri.size(); ++t) boxesB[t] = TriBox(B, t);
    CKrBoxGrid grid;
    grid.Build(boxesB, 1.0);

    std::vector<BlockOut> blocks((A.tri.size() + kBlock - 1) / kBlock);
    RunBlocks(A.tri.size(), kBlock, opt.threads, [&](std::size_t blk, std::size_t begin, std::size_t end) {
        BlockOut& o = blocks[blk];
        std::vector<uint32_t> cand;
        CKrClipVert poly[kMaxClipVerts], piece[kMaxClipVerts];
        PairCtx c;
        for (std::size_t ta = begin; ta < end; ++ta) {
            const std::array<double, 4> box = TriBox(A, ta);
            cand.clear();
            grid.ForEachCandidate(box.data(), [&](uint32_t k) {
                const std::array<double, 4>& bb = boxesB[k];
                if (bb[0] <= box[2] && bb[2] >= box[0] && bb[1] <= box[3] && bb[3] >= box[1]) cand.push_back(k);
            });
            if (cand.empty()) continue;
            std::sort(cand.begin(), cand.end());
            cand.erase(std::unique(cand.begin(), cand.end()), cand.end());
            for (int k = 0; k < 3; ++k) c.a[k] = &A.p[A.tri[ta][k]];
            c.pa = PlaneOf(*c.a[0], *c.a[1], *c.a[2]);
            const int n = TrianglePoly(c.a[0], c.a[1], c.a[2], kOwnerA, poly);
            for (const uint32_t tb : cand) {
                for (int k = 0; k < 3; ++k) c.b[k] = &B.p[B.tri[tb][k]];
                const int m = ClipByTriangle(poly, n, c.b[0], c.b[1], c.b[2], kOwnerB, piece);
                if (m < 3) continue;
                c.pb = PlaneOf(*c.b[0], *c.b[1], *c.b[2]);
                AddPiece(piece, m, c, bd, o, opt.zeroLine);
            }
        }
    });
    Finish(blocks, A, opt.zeroLine, out);
    return true;
}

bool KrVolumeToLevel(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris, double level,
                     const KrEarthVolumeOptions& opt, KrEarthVolume& out)
{
    Reset(out);
    if (!std::isfinite(level)) {
        out.error = "level: not a finite number";
        return false;
    }
    CKrEarthTin A;
    Boundary bd;
    if (!PrepareTin(pts, tris, "surface", A, out.error) || !SetBoundary(opt, bd, out.error)) return false;
    std::vector<BlockOut> blocks((A.tri.size() + kBlock - 1) / kBlock);
    RunBlocks(A.tri.size(), kBlock, opt.threads, [&](std::size_t blk, std::size_t begin, std::size_t end) {
        BlockOut& o = blocks[blk];
        CKrClipVert poly[kMaxClipVerts];
        PairCtx c;
        c.b[0] = c.b[1] = c.b[2] = nullptr;
        c.level = level;
        for (std::size_t ta = begin; ta < end; ++ta) {
            for (int k = 0; k < 3; ++k) c.a[k] = &A.p[A.tri[ta][k]];
            c.pa = PlaneOf(*c.a[0], *c.a[1], *c.a[2]);
            const int n = TrianglePoly(c.a[0], c.a[1], c.a[2], kOwnerA, poly);
            AddPiece(poly, n, c, bd, o, opt.zeroLine);
        }
    });
    Finish(blocks, A, opt.zeroLine, out);
    return true;
}

bool KrVolumeBetween(const CKrMeshData& a, const CKrMeshData& b, const KrEarthVolumeOptions& opt, KrEarthVolume& out)
{
    std::vector<CKrPoint3d> pa, pb;
    std::vector<KrTesGeo::_sTri_ID> ta, tb;
    MeshArrays(a, pa, ta);
    MeshArrays(b, pb, tb);
    return KrVolumeBetween(pa, ta, pb, tb, opt, out);
}

bool KrVolumeToLevel(const CKrMeshData& mesh, double level, const KrEarthVolumeOptions& opt, KrEarthVolume& out)
{
    std::vector<CKrPoint3d> p;
    std::vector<KrTesGeo::_sTri_ID> t;
    MeshArrays(mesh, p, t);
    return KrVolumeToLevel(p, t, level, opt, out);
}

}  // namespace TesTriMesh
