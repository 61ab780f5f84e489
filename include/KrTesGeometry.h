#ifndef KRTESGEOMETRY_H
#define KRTESGEOMETRY_H

// KrTesGeometry: computational geometry for triangulated surfaces and solids.
// Include this one header to use the whole public interface.

// Tolerance contract and interchange records.
#include "krtesmath/TESCommFunc.h"
#include "krtesmath/CGeDataPoint3D.h"
#include "krtesmath/CGeDataPLine3D.h"
#include "krtesmath/CGeDataTriMesh.h"

// Core values.
#include "geom/KrPoint3d.h"
#include "geom/GeoVector.h"
#include "geom/KrSeg3d.h"
#include "geom/KrTri3d.h"
#include "geom/sTriID.h"
#include "geom/KrTransReferent.h"

// Planar and spatial geometry, polylines.
#include "geom/KrExactPredicates.h"
#include "geom/KrPlanarFunc.h"
#include "geom/KrSpaceMath.h"
#include "geom/KrPolyLine.h"

// Triangle mesh and its octree.
#include "mesh/octree/KrOctaTreeEx.h"
#include "mesh/KrMeshRecords.h"
#include "mesh/KrMeshData.h"

// Surface construction and fitting.
#include "build/KrDelaunay.h"
#include "build/KrFit.h"

// Mesh query and editing.
#include "edit/KrMeshQuery.h"
#include "edit/KrMeshTrans.h"

// Solid booleans and collision detection.
#include "boolean/KrMeshBoolean.h"
#include "boolean/KrSolidBoolean.h"
#include "boolean/KrCollision.h"

#endif
