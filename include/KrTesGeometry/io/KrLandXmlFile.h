#ifndef KRTES_IO_KRLANDXMLFILE_H
#define KRTES_IO_KRLANDXMLFILE_H

// LandXML 1.2 surfaces (TINs): read and written with pugixml; present when
// KrTesIO was built with it (KRTES_HAVE_PUGIXML).
//
// LandXML lists a point as "northing easting elevation"; here x is the
// easting and y the northing, as everywhere else in the library. Faces keep
// the corner order of the file. Errors name the file and, where the
// document tells, the line ("ground.xml:120: face names point 77, which
// <Pnts> does not hold"). Nothing throws.

#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

namespace TesTriMesh {
class CKrMeshData;
}

namespace krtes {

// A line of a surface's source data: a breakline, or a boundary with its
// LandXML type ("outer", "void", "island", "data"). Closed lines repeat
// their first point at the end, as in the file.
struct SKrLandXmlLine {
    std::string name;
    std::string type;  // brkType of a breakline, bndType of a boundary
    std::vector<CKrPoint3d> pts;
};

struct SKrLandXmlSurface {
    std::string name, description;
    std::vector<CKrPoint3d> pts;          // x easting, y northing, z elevation
    std::vector<std::string> ids;         // each point's id in the file (written back as they are)
    std::vector<KrTesGeo::_sTri_ID> tris;  // indices into pts; invisible faces (i="1") are left out
    std::vector<SKrLandXmlLine> breaklines;
    std::vector<SKrLandXmlLine> boundaries;
};

struct SKrLandXmlFile {
    // <Units> and <CoordinateSystem> as the file has them (their XML, kept
    // whole and written back unchanged); empty when absent.
    std::string unitsXml, coordinateSystemXml;
    std::string linearUnit;  // of <Units>: "meter", "USSurveyFoot", ...; empty when absent
    // The coordinate system as GDAL takes it: "EPSG:<epsgCode>" or the
    // ogcWktCode; empty when the file names none.
    std::string crs;
    std::vector<SKrLandXmlSurface> surfaces;
};

// Reads every <Surface> of the file. A face naming a point <Pnts> does not
// hold, a point without three finite numbers, or a document that is not
// well-formed XML is an error; a file without surfaces is an error.
KRTESIO_API bool ReadLandXmlFile(const std::string& path, SKrLandXmlFile& file, std::string& err);

// One surface by name (the first when name is empty), as points and faces.
KRTESIO_API bool ReadLandXmlSurface(const std::string& path, const std::string& name, std::vector<CKrPoint3d>& pts,
                                    std::vector<KrTesGeo::_sTri_ID>& tris, std::string& err);

// Writes the file: its units (metric meters when none), coordinate system
// and surfaces, every coordinate in the shortest form that reads back
// exactly. Point ids are the surface's ids, or 1, 2, ... when it has none.
// Whole or nothing.
KRTESIO_API bool WriteLandXmlFile(const std::string& path, const SKrLandXmlFile& file, std::string& err);

// A surface of points and triangles (a TIN), its outline worked out from
// the triangles: one "outer" boundary per border loop that runs
// counter-clockwise in plan, one "void" per loop that runs clockwise.
KRTESIO_API SKrLandXmlSurface MakeLandXmlSurface(const std::string& name, const std::vector<CKrPoint3d>& pts,
                                                 const std::vector<KrTesGeo::_sTri_ID>& tris);

// True for the extension ".xml" (and ".landxml").
KRTESIO_API bool IsLandXmlFileName(const std::string& path);

}  // namespace krtes

#endif
