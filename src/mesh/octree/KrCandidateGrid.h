#ifndef KRTES_KRCANDIDATEGRID_H
#define KRTES_KRCANDIDATEGRID_H

// The triangles of an octree's candidate set, ready for a pair loop, and a
// hashed grid over them that finds the ones a query box may reach. Shared
// inside the library (not part of its binary interface).

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "geom/KrCellGrid.h"

class CGeDataTriMesh;

namespace TesTriMesh {
namespace detail {

// One triangle of a candidate set.
struct STriGeom {
    CKrPoint3d p[3];
    CKrPoint3d c;   // centroid, computed as the distance measure computes it
    double box[6];  // box of the corners and the centroid
};

// The triangles of a set of items (triangle records of mesh) in set order;
// records naming missing points are left out (they cannot be measured).
std::vector<STriGeom> GatherTriGeom(const CGeDataTriMesh& mesh, const std::set<void*>& tris);

// A hashed uniform grid over the boxes of one candidate set. For a triangle
// of the other set it yields the triangles that may still change the result:
// those whose box meets its box (they may touch it) or whose centroid lies
// within the closest distance held (they may be nearer). Every triangle is
// registered in each cell its box meets; a triangle spanning many cells goes
// to a list that every query returns.
class CKrCandidateGrid {
public:
    explicit CKrCandidateGrid(const std::vector<STriGeom>& tris);

    // The candidates for the query box q, in ascending order. False when q
    // spans too many cells to be worth it: the caller then scans them all.
    bool Query(const double q[6], std::vector<uint32_t>& out);

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
    bool CellRange(const double* box, int64_t lo[3], int64_t hi[3]) const;
    std::size_t Bucket(int64_t x, int64_t y, int64_t z) const
    {
        return KrTesGeo::detail::HashCell<3>(std::array<int64_t, 3>{x, y, z}) & m_mask;
    }
    void Take(uint32_t i, std::vector<uint32_t>& out);

    double m_org[3];
    double m_cell;
    std::size_t m_mask = 0;
    std::size_t m_maxCells = 64;
    KrTesGeo::detail::CKrCellBuckets<uint32_t> m_buckets;
    std::vector<uint32_t> m_big;
    std::vector<uint32_t> m_stamp;  // query number that last returned each triangle
    uint32_t m_tick = 0;
};

}  // namespace detail
}  // namespace TesTriMesh

#endif
