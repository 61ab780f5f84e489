#include "KrTesGeometry/io/KrSurveyFiles.h"

#include "KrTesGeometry/io/KrMeshFile.h"
#include "KrTesGeometry/io/KrPointFile.h"
#include "KrTesGeometry/io/KrPointTable.h"
#include "KrTesGeometry/io/KrPolylineFile.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrDelaunay.h"
#ifdef KRTES_HAVE_PUGIXML
#include "KrTesGeometry/io/KrLandXmlFile.h"
#endif
#ifdef KRTES_HAVE_GDAL
#include "KrTesGeometry/io/KrGeoTiffFile.h"
#include "KrTesGeometry/io/KrOgrFile.h"
#endif

namespace krtes {

namespace {

bool IsVectorName(const std::string& path)
{
    const std::string e = Extension(path);
    return e == ".gpkg" || e == ".shp" || e == ".dxf" || e == ".geojson" || e == ".json" || e == ".gml" || e == ".kml";
}

bool IsXmlName(const std::string& path)
{
    const std::string e = Extension(path);
    return e == ".xml" || e == ".landxml";
}

bool IsGridName(const std::string& path)
{
    const std::string e = Extension(path);
    return e == ".tif" || e == ".tiff" || e == ".asc" || e == ".dem";
}

[[maybe_unused]] bool Without(const std::string& path, const char* what, const char* lib, std::string& err)
{
    err = path + ": " + what + " files need KrTesIO built with " + lib;
    return false;
}

}  // namespace

bool HasFormat(const std::string& name)
{
#ifdef KRTES_HAVE_PUGIXML
    if (name == "landxml") return true;
#endif
#ifdef KRTES_HAVE_GDAL
    if (name == "gdal") return true;
#endif
    (void)name;
    return false;
}

bool IsSurveySurfaceName(const std::string& path) { return IsXmlName(path) || IsGridName(path); }

bool ReadSurveyPoints(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err)
{
    return ReadSurveyPoints(path, pts, err, SKrSurveyOptions());
}

bool ReadSurveyPoints(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err,
                      const SKrSurveyOptions& options)
{
    if (IsVectorName(path)) {
#ifdef KRTES_HAVE_GDAL
        SKrVectorOptions o;
        o.zField = options.zField;
        return ReadVectorPoints(path, pts, err, o);
#else
        return Without(path, "vector layer", "GDAL", err);
#endif
    }
    SKrPointTable t;
    SKrPointTableOptions tableOptions;
    tableOptions.columns = options.columns;
    if (!ReadPointTable(path, t, err, tableOptions)) return false;
    pts.swap(t.pts);
    return true;
}

bool IsSurveyLayerName(const std::string& path) { return IsVectorName(path); }

bool ReadSurveyPlanPoints(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err)
{
    if (IsVectorName(path)) {
#ifdef KRTES_HAVE_GDAL
        SKrVectorOptions o;
        o.needZ = false;
        std::vector<CKrPoint3d> got;
        if (!ReadVectorPoints(path, got, err, o)) return false;
        for (CKrPoint3d& p : got) p.z = 0;
        pts.swap(got);
        return true;
#else
        return Without(path, "vector layer", "GDAL", err);
#endif
    }
    return ReadPlanPointFile(path, pts, err);
}

bool WriteSurveyLines(const std::string& path, const std::vector<std::vector<CKrPoint3d>>& lines, std::string& err)
{
    return WriteSurveyLines(path, lines, err, std::string(), std::vector<double>());
}

bool WriteSurveyLines(const std::string& path, const std::vector<std::vector<CKrPoint3d>>& lines, std::string& err,
                      const std::string& valueName, const std::vector<double>& values)
{
    if (!IsVectorName(path)) {
        err = path + ": not a vector layer name (use .gpkg, .shp, .dxf or .geojson)";
        return false;
    }
#ifdef KRTES_HAVE_GDAL
    SKrVectorOptions o;
    o.valueName = valueName;
    o.values = values;
    return WriteVectorLines(path, lines, err, o);
#else
    (void)lines;
    (void)valueName;
    (void)values;
    return Without(path, "vector layer", "GDAL", err);
#endif
}

bool ReadSurveyLines(const std::string& path, std::vector<std::vector<CKrPoint3d>>& lines, std::size_t minPoints,
                     std::string& err, bool needZ)
{
    return ReadSurveyLines(path, lines, minPoints, err, needZ, SKrSurveyOptions());
}

bool ReadSurveyLines(const std::string& path, std::vector<std::vector<CKrPoint3d>>& lines, std::size_t minPoints,
                     std::string& err, bool needZ, const SKrSurveyOptions& options)
{
    if (IsVectorName(path)) {
#ifdef KRTES_HAVE_GDAL
        SKrVectorOptions o;
        o.needZ = needZ;
        o.zField = options.zField;
        return ReadVectorLines(path, lines, minPoints, err, o);
#else
        (void)needZ;
        (void)options;
        return Without(path, "vector layer", "GDAL", err);
#endif
    }
    return ReadPolylineFile(path, lines, minPoints, err);
}

bool ReadSurvey(const std::string& path, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& tris,
                std::string& crs, std::string& how, std::string& err)
{
    crs.clear();
    if (IsMeshFileName(path)) {
        if (!ReadMeshFile(path, pts, tris, err)) return false;
        how = "mesh of " + std::to_string(tris.size()) + " triangles";
        return true;
    }
    if (IsXmlName(path)) {
#ifdef KRTES_HAVE_PUGIXML
        SKrLandXmlFile f;
        if (!ReadLandXmlFile(path, f, err)) return false;
        for (SKrLandXmlSurface& s : f.surfaces) {
            if (s.tris.empty()) continue;
            how = "LandXML surface '" + s.name + "', " + std::to_string(s.tris.size()) + " faces";
            pts.swap(s.pts);
            tris.swap(s.tris);
            crs = f.crs;
            return true;
        }
        err = path + ": no surface of the file has faces";
        return false;
#else
        return Without(path, "LandXML", "pugixml", err);
#endif
    }
    if (IsGridName(path)) {
#ifdef KRTES_HAVE_GDAL
        SKrDemGrid g;
        if (!ReadGeoTiffDem(path, g, crs, err)) return false;
        DemTin(g, pts, tris);
        if (tris.empty()) {
            err = path + ": no two rows and columns of neighbouring cells hold values";
            return false;
        }
        how = "grid of " + std::to_string(g.cols) + " x " + std::to_string(g.rows) + " cells, " +
              std::to_string(tris.size()) + " triangles";
        return true;
#else
        return Without(path, "raster", "GDAL", err);
#endif
    }
    std::vector<CKrPoint3d> in;
    if (!ReadSurveyPoints(path, in, err)) return false;
    TesTriMesh::CKrMeshData mesh;
    bool ok = false;
    {
        TesTriMesh::CKrDelaunay tin(mesh, 0.01);
        tin.SetFullHull(true);
        for (const CKrPoint3d& p : in) tin.AddVertex(p);
        ok = mesh.m_setVer.size() >= 3 && tin.Delaunay();
    }
    if (!ok) {
        err = path + ": the points do not form a surface (fewer than 3 distinct points, or all collinear)";
        return false;
    }
    mesh.OutputData(pts, tris);
    how = "TIN of " + std::to_string(in.size()) + " points, " + std::to_string(tris.size()) + " triangles";
    return true;
}

}  // namespace krtes
