#ifndef KRTES_IO_KRDEMGRID_H
#define KRTES_IO_KRDEMGRID_H

// Elevation grids (DEMs): a surface sampled at the centres of square cells.
// The sampling needs no outside library; GeoTIFF files of such grids are in
// KrGeoTiffFile.h.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

// A north-up grid of square cells: row 0 is the northernmost, column 0 the
// westernmost; cell (col, row) covers x in [xmin + col*cell, xmin + (col+1)*cell]
// and y in [ymax - (row+1)*cell, ymax - row*cell], and its value is the
// elevation at its centre, or noData.
struct SKrDemGrid {
    double xmin = 0, ymax = 0, cell = 1;
    int32_t cols = 0, rows = 0;
    float noData = std::numeric_limits<float>::lowest();
    std::vector<float> z;  // rows * cols, row by row

    double CentreX(int32_t col) const { return xmin + (col + 0.5) * cell; }
    double CentreY(int32_t row) const { return ymax - (row + 0.5) * cell; }
    float& At(int32_t col, int32_t row) { return z[static_cast<std::size_t>(row) * cols + col]; }
    float At(int32_t col, int32_t row) const { return z[static_cast<std::size_t>(row) * cols + col]; }
};

// The layout of a grid over [xmin, xmax] x [ymin, ymax] with the given cell
// size: the west and north edges are kept and the count of cells rounded up
// to cover the extent. Every cell is noData. False (err says why) for an
// empty or non-finite extent, a cell size that is not positive, or more
// than a billion cells.
KRTESIO_API bool MakeDemGrid(double xmin, double ymin, double xmax, double ymax, double cell, SKrDemGrid& grid,
                             std::string& err);

// Samples a triangulated surface at every cell centre of the grid: each
// triangle's plan footprint is walked row by row over the centres it holds,
// and the elevation there interpolated within the triangle. A centre on an
// edge shared by two triangles is taken by exactly one (the exact
// orientation of the centre against the edge and a fixed tie rule decide),
// one on the surface's border edge by the triangle it borders; where
// triangles overlap in plan the highest sheet wins. Centres under no
// triangle keep their value (noData in a fresh grid). Triangles naming a
// missing point, or of no area in plan, are skipped. Returns the number of
// cells given a value.
KRTESIO_API std::size_t SampleSurface(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris,
                                      SKrDemGrid& grid);

}  // namespace krtes

#endif
