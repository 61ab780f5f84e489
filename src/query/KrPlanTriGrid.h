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
//
// Beside each triangle a cell keeps its plan box, coarsely quantized in the
// cell's own frame and rounded outwards: a query drops most candidates on
// that box alone, without reading the triangle and its three scattered
// corners.
class CKrPlanTriGrid {
public:
    // A triangle of a cell and its plan box, in steps of 1/kSteps of the
    // cell's width and height from the cell's lower left corner. The box
    // holds the triangle's plan box widened by `margin` (constructor) and a
    // little more; boxes reaching beyond the representable range are cut off
    // where no query of the cell can reach.
    struct Entry {
        int16_t lo[2], hi[2];
        const _sTri* tri;
    };
    static constexpr double kSteps = 1024.0;

    // About six triangles per cell; margin widens every triangle's box.
    CKrPlanTriGrid(const CKrMeshData& mesh, double margin);

    // The entries of the cell of (x, y), whose boxes may hold it: a range of
    // the grid's own storage, valid while the grid lives, with (x, y) in the
    // boxes' units. Empty outside the mesh's plan extent.
    const Entry* Begin(double x, double y, std::size_t& count, double& qx, double& qy) const;

private:
    bool Cell(double x, double y, std::size_t& i, std::size_t& j) const;
    double CellX(std::size_t i) const { return m_dMinX + static_cast<double>(i) * m_dCellW; }
    double CellY(std::size_t j) const { return m_dMinY + static_cast<double>(j) * m_dCellH; }

    double m_dMinX = 0.0, m_dMinY = 0.0, m_dCellW = 1.0, m_dCellH = 1.0;
    std::size_t m_nX = 0, m_nY = 0;
    KrTesGeo::detail::CKrCellBuckets<Entry> m_cells;  // the triangles of each cell, row by row
};

}  // namespace TesTriMesh

#endif
