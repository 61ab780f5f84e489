#ifndef KRTESGEOMETRY_H
#define KRTESGEOMETRY_H

// KrTesGeometry: computational geometry for triangulated surfaces and solids.
// Include this one header to use the whole public interface.

// Tolerance contract and interchange records.
#include <KrTesGeometry/math/TESCommFunc.h>
#include <KrTesGeometry/math/CGeDataPoint3D.h>
#include <KrTesGeometry/math/CGeDataPLine3D.h>
#include <KrTesGeometry/math/CGeDataTriMesh.h>

// Core values.
#include <KrTesGeometry/geom/KrPoint3d.h>
#include <KrTesGeometry/geom/GeoVector.h>
#include <KrTesGeometry/geom/KrSeg3d.h>
#include <KrTesGeometry/geom/KrTri3d.h>
#include <KrTesGeometry/geom/sTriID.h>
#include <KrTesGeometry/geom/KrTransReferent.h>

// Planar and spatial geometry, polylines.
#include <KrTesGeometry/geom/KrExactPredicates.h>
#include <KrTesGeometry/geom/KrPlanarFunc.h>
#include <KrTesGeometry/geom/KrSpaceMath.h>
#include <KrTesGeometry/geom/KrPolyLine.h>

// Triangle mesh and its octree.
#include <KrTesGeometry/mesh/octree/KrOctaTreeEx.h>
#include <KrTesGeometry/mesh/KrMeshRecords.h>
#include <KrTesGeometry/mesh/KrMeshData.h>
#include <KrTesGeometry/mesh/KrMeshSolid.h>

// Surface construction and fitting.
#include <KrTesGeometry/tin/KrDelaunay.h>
#include <KrTesGeometry/tin/KrFit.h>

// Mesh query and editing.
#include <KrTesGeometry/query/KrMeshQuery.h>
#include <KrTesGeometry/boolean/KrMeshTrans.h>

// Solid booleans and collision detection.
#include <KrTesGeometry/boolean/KrBooleanDiagnostics.h>
#include <KrTesGeometry/boolean/KrMeshBoolean.h>
#include <KrTesGeometry/boolean/KrSolidBoolean.h>
#include <KrTesGeometry/collision/KrCollision.h>
#include <KrTesGeometry/collision/KrMeshContact.h>

// Earthworks: cut and fill between surfaces, contours.
#include <KrTesGeometry/earthworks/KrEarthVolume.h>
#include <KrTesGeometry/earthworks/KrContour.h>

// The file formats (OBJ, PLY, STL, point and polyline files) are a library
// of their own, KrTesIO, on top of this one: include
// <KrTesGeometry/io/KrTesIO.h> and link KrTesGeometry::KrTesIO.

#endif
