#ifndef KRTES_KRPLANTRIGRID_H
#define KRTES_KRPLANTRIGRID_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "geom/KrCellGrid.h"

namespace TesTriMesh {

class CKrMeshData;
struct _sTri;

// A uniform plan grid over a mesh's triangles: each cell lists every triangle
// whose plan box, widened by a margin, overlaps the cell. It answers "which
// triangles may lie over (x, y)" with a handful of candidates, where the
// octree's full-height column walk over a flat terrain visits hundreds of
// nodes and candidates. Built once for a mesh that no longer changes.
class CKrPlanTriGrid {
public:
    // About two triangles per cell; margin widens every triangle's box.
    CKrPlanTriGrid(const CKrMeshData& mesh, double margin);

    // The triangles that may hold (x, y): a range of the grid's own storage,
    // valid while the grid lives. Empty outside the mesh's plan extent.
    const _sTri* const* Begin(double x, double y, std::size_t& count) const;

private:
    bool Cell(double x, double y, std::size_t& c) const;

    double m_dMinX = 0.0, m_dMinY = 0.0, m_dCellW = 1.0, m_dCellH = 1.0;
    std::size_t m_nX = 0, m_nY = 0;
    KrTesGeo::detail::CKrCellBuckets<const _sTri*> m_cells;  // the triangles of each cell, row by row
};

}  // namespace TesTriMesh

#endif
