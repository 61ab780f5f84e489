#include "KrTesGeometry/io/KrDemGrid.h"

#include <algorithm>
#include <cmath>

#include "KrTesGeometry/geom/KrExactPredicates.h"

namespace krtes {

using KrTesGeo::_sTri_ID;
using KrTesGeo::Orient2dExact;

bool MakeDemGrid(double xmin, double ymin, double xmax, double ymax, double cell, SKrDemGrid& grid, std::string& err)
{
    if (!(cell > 0) || !std::isfinite(cell)) {
        err = "cell size must be a positive number";
        return false;
    }
    if (!std::isfinite(xmin) || !std::isfinite(ymin) || !std::isfinite(xmax) || !std::isfinite(ymax) ||
        !(xmax > xmin) || !(ymax > ymin)) {
        err = "the grid's extent is empty or not finite";
        return false;
    }
    // Whole cells over the extent; a size within a part in a billion of a
    // whole count is that count (an extent of 100 m at 0.1 m is 1000 cells).
    const auto count = [](double span, double c) {
        const double n = span / c;
        return std::ceil(n - 1e-9 * std::max(1.0, n));
    };
    const double nx = count(xmax - xmin, cell), ny = count(ymax - ymin, cell);
    if (nx * ny > 1e9 || nx > 2e9 || ny > 2e9) {
        err = "a cell of " + std::to_string(cell) + " makes too many cells (more than a billion)";
        return false;
    }
    SKrDemGrid g;
    g.xmin = xmin;
    g.ymax = ymax;
    g.cell = cell;
    g.cols = static_cast<int32_t>(std::max(1.0, nx));
    g.rows = static_cast<int32_t>(std::max(1.0, ny));
    g.noData = grid.noData;
    g.z.assign(static_cast<std::size_t>(g.cols) * g.rows, g.noData);
    grid = std::move(g);
    return true;
}

namespace {

// Border edges: undirected edges that only one triangle has. Flags per
// triangle, bit k for the edge from corner k to corner k+1.
std::vector<unsigned char> BorderEdges(const std::vector<_sTri_ID>& tris)
{
    std::vector<std::pair<uint64_t, uint32_t>> e;
    e.reserve(tris.size() * 3);
    for (std::size_t t = 0; t < tris.size(); ++t) {
        for (int k = 0; k < 3; ++k) {
            const uint32_t a = static_cast<uint32_t>(tris[t][k]), b = static_cast<uint32_t>(tris[t][(k + 1) % 3]);
            const uint64_t key = (uint64_t(std::min(a, b)) << 32) | std::max(a, b);
            e.emplace_back(key, static_cast<uint32_t>(t * 3 + k));
        }
    }
    std::sort(e.begin(), e.end());
    std::vector<unsigned char> flags(tris.size(), 0);
    for (std::size_t i = 0; i < e.size();) {
        std::size_t j = i + 1;
        while (j < e.size() && e[j].first == e[i].first) ++j;
        if (j == i + 1) flags[e[i].second / 3] |= static_cast<unsigned char>(1u << (e[i].second % 3));
        i = j;
    }
    return flags;
}

}  // namespace

std::size_t SampleSurface(const std::vector<CKrPoint3d>& pts, const std::vector<_sTri_ID>& tris, SKrDemGrid& grid)
{
    if (grid.cols <= 0 || grid.rows <= 0 || grid.z.size() != static_cast<std::size_t>(grid.cols) * grid.rows) return 0;
    // Which edges are on the border matters only for a centre exactly on an
    // edge the tie rule gives away: worked out the first time that happens.
    std::vector<unsigned char> border;
    bool haveBorder = false;
    const int32_t n = static_cast<int32_t>(pts.size());
    const double cell = grid.cell;
    std::size_t set = 0;
    for (std::size_t t = 0; t < tris.size(); ++t) {
        const _sTri_ID& id = tris[t];
        if (id[0] < 0 || id[1] < 0 || id[2] < 0 || id[0] >= n || id[1] >= n || id[2] >= n) continue;
        const CKrPoint3d* v[3] = {&pts[id[0]], &pts[id[1]], &pts[id[2]]};
        int edgeNo[3] = {0, 1, 2};  // edge k (v[k] -> v[k+1]) is the file's edge edgeNo[k]
        const int turn = Orient2dExact(*v[0], *v[1], *v[2]);
        if (turn == 0) continue;
        if (turn < 0) {  // walk counter-clockwise: swap corners 1 and 2 (edges 0 and 2 swap, edge 1 turns)
            std::swap(v[1], v[2]);
            std::swap(edgeNo[0], edgeNo[2]);
        }
        // The tie rule for shared edges: the left edges and the top edge.
        // The two triangles of an edge run it in opposite directions, so
        // exactly one of them takes a centre on it. A border edge has no
        // second triangle: a centre on it is this one's.
        bool incl[3];
        for (int k = 0; k < 3; ++k) {
            const CKrPoint3d &p = *v[k], &q = *v[(k + 1) % 3];
            incl[k] = q.y < p.y || (q.y == p.y && q.x < p.x);
        }
        const auto onEdge = [&](int k) {
            if (incl[k]) return true;
            if (!haveBorder) {
                border = BorderEdges(tris);
                haveBorder = true;
            }
            return ((border[t] >> edgeNo[k]) & 1) != 0;
        };
        // The plane z = z0 + gx (x - x0) + gy (y - y0) through the corners.
        const CKrPoint3d& a = *v[0];
        const double ux = v[1]->x - a.x, uy = v[1]->y - a.y, uz = v[1]->z - a.z;
        const double wx = v[2]->x - a.x, wy = v[2]->y - a.y, wz = v[2]->z - a.z;
        const double det = ux * wy - uy * wx;
        const double gx = (uz * wy - uy * wz) / det, gy = (ux * wz - uz * wx) / det;

        const double ylo = std::min({v[0]->y, v[1]->y, v[2]->y}), yhi = std::max({v[0]->y, v[1]->y, v[2]->y});
        // Rows and columns whose centres may lie in the footprint, widened by
        // far more than the rounding of these floating bounds (a few units in
        // the last place of the coordinates) and far less than a cell: the
        // exact test below decides each candidate.
        const double ypad = 1e-9 * (std::fabs(ylo) + std::fabs(yhi)) / cell + 1e-9;
        const double rlo = std::ceil((grid.ymax - yhi) / cell - 0.5 - ypad), rhi = std::floor((grid.ymax - ylo) / cell - 0.5 + ypad);
        if (rhi < 0 || rlo >= grid.rows) continue;
        const int32_t r0 = static_cast<int32_t>(std::max(0.0, rlo)), r1 = static_cast<int32_t>(std::min<double>(grid.rows - 1, rhi));
        for (int32_t r = r0; r <= r1; ++r) {
            const double yc = grid.CentreY(r);
            // The footprint's span on this row, roughly: the exact test below decides.
            double xl = HUGE_VAL, xr = -HUGE_VAL;
            for (int k = 0; k < 3; ++k) {
                const CKrPoint3d &p = *v[k], &q = *v[(k + 1) % 3];
                if ((p.y <= yc) == (q.y <= yc) && p.y != yc && q.y != yc) continue;
                double x;
                if (p.y == q.y) {
                    xl = std::min({xl, p.x, q.x});
                    xr = std::max({xr, p.x, q.x});
                    continue;
                }
                const double s = (yc - p.y) / (q.y - p.y);
                x = p.x + std::clamp(s, 0.0, 1.0) * (q.x - p.x);
                xl = std::min(xl, x);
                xr = std::max(xr, x);
            }
            if (!(xl <= xr)) continue;
            const double xpad = 1e-9 * (std::fabs(xl) + std::fabs(xr)) / cell + 1e-9;
            const double clo = std::ceil((xl - grid.xmin) / cell - 0.5 - xpad), chi = std::floor((xr - grid.xmin) / cell - 0.5 + xpad);
            if (chi < 0 || clo >= grid.cols) continue;
            const int32_t c0 = static_cast<int32_t>(std::max(0.0, clo)), c1 = static_cast<int32_t>(std::min<double>(grid.cols - 1, chi));
            float* row = &grid.z[static_cast<std::size_t>(r) * grid.cols];
            for (int32_t c = c0; c <= c1; ++c) {
                const double xc = grid.CentreX(c);
                bool in = true;
                for (int k = 0; k < 3 && in; ++k) {
                    const CKrPoint3d &p = *v[k], &q = *v[(k + 1) % 3];
                    const int o = Orient2dExact(p.x, p.y, q.x, q.y, xc, yc);
                    in = o > 0 || (o == 0 && onEdge(k));
                }
                if (!in) continue;
                const float z = static_cast<float>(a.z + gx * (xc - a.x) + gy * (yc - a.y));
                if (row[c] == grid.noData) {
                    row[c] = z;
                    ++set;
                } else if (z > row[c]) {
                    row[c] = z;
                }
            }
        }
    }
    return set;
}

}  // namespace krtes
