#ifndef KRTES_IO_KRSURVEYFILES_H
#define KRTES_IO_KRSURVEYFILES_H

// Survey data in whatever file it comes in, chosen by the file's extension:
//  points    .gpkg .shp .dxf .geojson .json .gml .kml  vector layers (OGR)
//            anything else                             a point table (KrPointTable.h)
//  lines     vector layers as above, else a polyline file (KrPolylineFile.h)
//  surfaces  .obj .ply .stl meshes, .xml LandXML, .tif/.tiff/.asc/.dem
//            elevation grids, else points made into a Delaunay TIN
// Formats whose outside library KrTesIO was built without (pugixml for
// LandXML, GDAL for rasters and layers) are errors that say so.

#include <cstddef>
#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

// Survey points (x easting, y northing, z elevation).
KRTESIO_API bool ReadSurveyPoints(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err);
// How survey files are read where the file alone does not say.
struct SKrSurveyOptions {
    std::string columns;  // a point table's column names ("id,e,n,z,code") instead of its header
    std::string zField;   // a vector layer's attribute holding the elevation (a contour's "ELEV")
};

// The same, with those choices.
KRTESIO_API bool ReadSurveyPoints(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err,
                                  const SKrSurveyOptions& options);

// Plan positions (z 0): a vector layer's points, 2D or 3D, or a plan point
// file (ReadPlanPointFile).
KRTESIO_API bool ReadSurveyPlanPoints(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err);

// Writes polylines as a vector layer when the name asks for one (.gpkg,
// .shp, .dxf, .geojson, ...); false with err otherwise.
KRTESIO_API bool WriteSurveyLines(const std::string& path, const std::vector<std::vector<CKrPoint3d>>& lines,
                                  std::string& err);
// The same, with a number per line kept as the attribute valueName (a
// contour's level) where the layer's format holds attributes.
KRTESIO_API bool WriteSurveyLines(const std::string& path, const std::vector<std::vector<CKrPoint3d>>& lines,
                                  std::string& err, const std::string& valueName, const std::vector<double>& values);

// True for the names of vector layers (.gpkg .shp .dxf .geojson .json .gml .kml).
KRTESIO_API bool IsSurveyLayerName(const std::string& path);

// Survey lines; each needs at least minPoints points. needZ false reads
// plan lines (a vector layer's 2D lines get z 0).
KRTESIO_API bool ReadSurveyLines(const std::string& path, std::vector<std::vector<CKrPoint3d>>& lines,
                                 std::size_t minPoints, std::string& err, bool needZ = true);
// The same; options.zField gives a vector layer's elevations.
KRTESIO_API bool ReadSurveyLines(const std::string& path, std::vector<std::vector<CKrPoint3d>>& lines,
                                 std::size_t minPoints, std::string& err, bool needZ,
                                 const SKrSurveyOptions& options);

// A triangulated surface as points and triangles. crs is the coordinate
// system the file names (LandXML's "EPSG:n" or WKT, a raster's WKT), else
// empty; how describes what was read.
KRTESIO_API bool ReadSurvey(const std::string& path, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& tris,
                            std::string& crs, std::string& how, std::string& err);

// True for the names ReadSurvey reads other than as a mesh or points:
// LandXML and raster files.
KRTESIO_API bool IsSurveySurfaceName(const std::string& path);

// True when KrTesIO was built with the library a format needs:
// "landxml" (pugixml), "gdal" (GeoTIFF and vector layers).
KRTESIO_API bool HasFormat(const std::string& name);

}  // namespace krtes

#endif
