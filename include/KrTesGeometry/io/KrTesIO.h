#ifndef KRTES_IO_KRTESIO_H
#define KRTES_IO_KRTESIO_H

// KrTesIO: the file formats (point and polyline files, OBJ, PLY and STL
// meshes). Include this one header to use all of them; link
// KrTesGeometry::KrTesIO.
#include "KrTesGeometry/io/KrFileWrite.h"
#include "KrTesGeometry/io/KrMeshFile.h"
#include "KrTesGeometry/io/KrObjFile.h"
#include "KrTesGeometry/io/KrPlyFile.h"
#include "KrTesGeometry/io/KrPointFile.h"
#include "KrTesGeometry/io/KrPolylineFile.h"
#include "KrTesGeometry/io/KrStlFile.h"

#endif
