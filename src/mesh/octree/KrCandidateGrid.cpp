#include "mesh/octree/KrCandidateGrid.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "geom/KrBox.h"
#include "mesh/octree/KrClosestPairWalk.h"

namespace TesTriMesh {
namespace detail {

std::vector<STriGeom> GatherTriGeom(const CGeDataTriMesh& mesh, const std::set<void*>& tris)
{
    std::vector<STriGeom> out;
    out.reserve(tris.size());
    for (void* item : tris) {
        STriGeom g;
        if (!item || !ItemCorners(mesh, item, g.p)) continue;
        g.c = TriCentroid(g.p);
        KrTesGeo::detail::CornerBox(g.p[0], g.p[1], g.p[2], g.box);
        KrTesGeo::detail::AddToBox(g.box, g.c.x, g.c.y, g.c.z);
        out.push_back(g);
    }
    return out;
}

CKrCandidateGrid::CKrCandidateGrid(const std::vector<STriGeom>& tris) : m_stamp(tris.size(), 0)
{
    const std::size_t n = tris.size();
    double lo[3] = {DBL_MAX, DBL_MAX, DBL_MAX}, hi[3] = {-DBL_MAX, -DBL_MAX, -DBL_MAX};
    double sum = 0.0;
    for (const STriGeom& t : tris) {
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
    // Every triangle in each cell of its range.
    m_buckets.Build(buckets, [&](auto&& visit) {
        for (std::size_t i = 0; i < ranges.size(); ++i) {
            const Range& r = ranges[i];
            if (!r.ok) continue;
            for (int64_t x = r.lo[0]; x <= r.hi[0]; ++x)
                for (int64_t y = r.lo[1]; y <= r.hi[1]; ++y)
                    for (int64_t z = r.lo[2]; z <= r.hi[2]; ++z) visit(Bucket(x, y, z), static_cast<uint32_t>(i));
        }
    });
}

bool CKrCandidateGrid::Query(const double q[6], std::vector<uint32_t>& out)
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
                std::size_t count = 0;
                const uint32_t* items = m_buckets.Bucket(Bucket(x, y, z), count);
                for (std::size_t k = 0; k < count; ++k) Take(items[k], out);
            }
    for (uint32_t i : m_big) Take(i, out);
    std::sort(out.begin(), out.end());
    return true;
}

bool CKrCandidateGrid::CellRange(const double* box, int64_t lo[3], int64_t hi[3]) const
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

void CKrCandidateGrid::Take(uint32_t i, std::vector<uint32_t>& out)
{
    if (m_stamp[i] == m_tick) return;
    m_stamp[i] = m_tick;
    out.push_back(i);
}

}  // namespace detail
}  // namespace TesTriMesh
