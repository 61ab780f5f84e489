#ifndef KRTES_IO_KRTESIO_H
#define KRTES_IO_KRTESIO_H

// KrTesIO: the file formats (point and polyline files, point tables, OBJ,
// PLY and STL meshes, elevation grids; LandXML where built with pugixml,
// GeoTIFF and vector layers where built with GDAL). Include this one header
// to use all of them; link KrTesGeometry::KrTesIO.
#include "KrTesGeometry/io/KrFileWrite.h"
#include "KrTesGeometry/io/KrMeshFile.h"
#include "KrTesGeometry/io/KrObjFile.h"
#include "KrTesGeometry/io/KrPlyFile.h"
#include "KrTesGeometry/io/KrPointFile.h"
#include "KrTesGeometry/io/KrPolylineFile.h"
#include "KrTesGeometry/io/KrStlFile.h"
#include "KrTesGeometry/io/KrDemGrid.h"
#include "KrTesGeometry/io/KrPointTable.h"
#include "KrTesGeometry/io/KrReadLimit.h"
#include "KrTesGeometry/io/KrSurveyFiles.h"
#ifdef KRTES_HAVE_PUGIXML
#include "KrTesGeometry/io/KrLandXmlFile.h"
#endif
#ifdef KRTES_HAVE_GDAL
#include "KrTesGeometry/io/KrGeoTiffFile.h"
#include "KrTesGeometry/io/KrOgrFile.h"
#endif

#endif
