#ifndef KRTES_IO_KRMESHFILE_H
#define KRTES_IO_KRMESHFILE_H

// Triangle mesh files chosen by the file's extension:
//  .obj  Wavefront OBJ (ReadObjFile)
//  .ply  PLY, ascii or binary (ReadPlyFile)
//  .stl  STL, ascii or binary (ReadStlFile)
//
// Errors come back as one line naming the file and, for text, the line
// ("surface.obj:12: face index 40 out of range (30 vertices)"): unknown
// format, bad or missing index, short file, unsupported element type or
// format, non-finite coordinate, a file without triangles. Nothing throws.

#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

class CGeDataTriMesh;
namespace TesTriMesh {
class CKrMeshData;
}

namespace krtes {

// The points and index triples as the file holds them (fans split, STL
// corners merged only when exactly equal). A file without triangles is an
// error.
KRTESIO_API bool ReadMeshFile(const std::string& path, std::vector<CKrPoint3d>& pts,
                              std::vector<KrTesGeo::_sTri_ID>& tris, std::string& err);

// Replaces the mesh's contents with the file's triangles (vertices merged
// under the mesh tolerance; triangles collapsing under it are dropped) and
// rebuilds its octree. An error when no triangle survives.
KRTESIO_API bool ReadMeshFile(const std::string& path, TesTriMesh::CKrMeshData& mesh, std::string& err);

// Replaces the interchange mesh's contents with the file's points and
// triangles, as they are in the file.
KRTESIO_API bool ReadMeshFile(const std::string& path, CGeDataTriMesh& mesh, std::string& err);

// True when the path has an extension ReadMeshFile reads.
KRTESIO_API bool IsMeshFileName(const std::string& path);

// A surface for the commands that query one: a mesh file (by extension, as
// ReadMeshFile), a LandXML surface or an elevation grid (as ReadSurvey in
// KrSurveyFiles.h, where KrTesIO has their formats), or else a point file
// (ReadPointFile) triangulated into a Delaunay TIN. `how` describes what was
// read, for the command's report.
KRTESIO_API bool ReadSurfaceFile(const std::string& path, TesTriMesh::CKrMeshData& mesh, std::string& how,
                                 std::string& err);

// Writes a triangle mesh, as OBJ (".obj"), binary little-endian PLY
// (".ply") or, where KrTesIO has LandXML, a LandXML TIN surface with its
// outline (".xml"), by the file's extension. The file is written under a temporary
// name and renamed at the end, so a failed write leaves nothing behind.
KRTESIO_API bool WriteMeshFile(const std::string& path, const std::vector<CKrPoint3d>& pts,
                               const std::vector<KrTesGeo::_sTri_ID>& tris, std::string& err);

// Lower-case extension of a path including the dot ("" when none).
KRTESIO_API std::string Extension(const std::string& path);

}  // namespace krtes

#endif
