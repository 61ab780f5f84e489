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

#endif
