#ifndef KRTES_IO_KRGEOTIFFFILE_H
#define KRTES_IO_KRGEOTIFFFILE_H

// GeoTIFF elevation grids, through GDAL; present when KrTesIO was built with
// it (KRTES_HAVE_GDAL).

#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrDemGrid.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

// Writes the grid as a one-band float32 GeoTIFF (deflate-compressed), its
// NoData value the grid's noData. crs is anything GDAL reads as a
// coordinate system ("EPSG:32633", WKT); empty leaves the file without one.
// Whole or nothing.
KRTESIO_API bool WriteGeoTiffDem(const std::string& path, const SKrDemGrid& grid, const std::string& crs,
                                 std::string& err);

// Reads a raster of elevations (any format GDAL reads, GeoTIFF above all):
// one band of numbers on a north-up grid of square cells. Its NoData cells
// and NaN read as grid.noData (float's lowest). crs is the raster's
// coordinate system as WKT (empty when it has none). A raster with several
// bands, colours or a palette, complex numbers, no georeferencing, a rotated
// grid or cells that are not square is an error naming the file and what is
// wrong.
KRTESIO_API bool ReadGeoTiffDem(const std::string& path, SKrDemGrid& grid, std::string& crs, std::string& err);

// The cell centres that hold a value, as points (row by row).
KRTESIO_API void DemPoints(const SKrDemGrid& grid, std::vector<CKrPoint3d>& pts);

// A TIN of the grid's cell centres: two triangles (counter-clockwise in
// plan) for each square of four neighbouring centres that all hold a value.
KRTESIO_API void DemTin(const SKrDemGrid& grid, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& tris);

// True for ".tif", ".tiff" (and ".asc", ".dem" when reading).
KRTESIO_API bool IsRasterFileName(const std::string& path);

}  // namespace krtes

#endif
