#ifndef KRTES_IO_KROGRFILE_H
#define KRTES_IO_KROGRFILE_H

// Vector layers (GeoPackage, Shapefile, DXF, GeoJSON and whatever else OGR
// reads), through GDAL/OGR; present when KrTesIO was built with it
// (KRTES_HAVE_GDAL).

#include <cstddef>
#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

struct SKrVectorOptions {
    std::string format;  // an OGR driver name ("GPKG", "DXF", ...); empty: by the file's extension
    std::string layer;   // one layer by name; empty: every layer, in order
    // Reading: the attribute holding each feature's elevation (a contour's
    // "ELEV"); empty: z from the geometry.
    std::string zField;
    // Reading: whether elevations are needed; then a feature of 2D geometry
    // without zField is an error. Plan lines (to drape) set this false.
    bool needZ = true;
    std::string crs;  // writing: the layer's coordinate system ("EPSG:32633", WKT); empty: none
    // Writing: a number per line kept as a real attribute of that name (a
    // contour's "level"), where the format holds attributes; used when
    // valueName is set and values has one entry per line.
    std::string valueName;
    std::vector<double> values;
};

// True for the extensions OGR layers are read and written by here:
// .gpkg, .shp, .dxf, .geojson, .json, .gml, .kml.
KRTESIO_API bool IsVectorFileName(const std::string& path);

// The points of every point (and multi-point) feature; features of other
// geometry types are passed over. An error when no point is found.
KRTESIO_API bool ReadVectorPoints(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err,
                                  const SKrVectorOptions& options = SKrVectorOptions());

// The line strings of every line, multi-line, polygon (each ring, closed by
// repeating its first point) and multi-polygon feature; points and other
// types are passed over. Each line needs at least minPoints points.
KRTESIO_API bool ReadVectorLines(const std::string& path, std::vector<std::vector<CKrPoint3d>>& lines,
                                 std::size_t minPoints, std::string& err,
                                 const SKrVectorOptions& options = SKrVectorOptions());

// Writes the polylines as 3D line strings, one feature each (with an
// integer attribute "line", 1, 2, ..., where the format holds attributes), in
// one layer named after the file, in the format options.format or the
// extension names. Whole or nothing; an existing file is replaced.
KRTESIO_API bool WriteVectorLines(const std::string& path, const std::vector<std::vector<CKrPoint3d>>& lines,
                                  std::string& err, const SKrVectorOptions& options = SKrVectorOptions());

}  // namespace krtes

#endif
