#ifndef KRTES_TOOLS_KRTESMESHIO_H
#define KRTES_TOOLS_KRTESMESHIO_H

// Reading triangle meshes for the krtes program.
//
// Formats, chosen by the file's extension:
//  .obj  Wavefront OBJ: "v x y z" and "f" lines; face corners may be written
//        "i", "i/t", "i//n" or "i/t/n"; negative indices count back from the
//        last vertex read; faces of more than three corners are split into a
//        fan from their first corner; other statements are ignored.
//  .ply  PLY, ascii, binary_little_endian or binary_big_endian: the vertex
//        element's x, y, z (any numeric type) and the face element's
//        vertex_indices (or vertex_index) list; faces of more than three
//        corners become fans; every other element and property is skipped.
//  .stl  STL, ascii or binary; corners with identical coordinates become
//        one vertex.
//
// Errors come back as one line naming the file and, for text, the line
// ("surface.obj:12: face index 40 out of range (30 vertices)"): unknown
// format, bad or missing index, short file, unsupported element type or
// format, non-finite coordinate, a file without triangles. Nothing throws.

#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"

class CGeDataTriMesh;
namespace TesTriMesh {
class CKrMeshData;
}

namespace krtes {

// The points and index triples as the file holds them (fans split, STL
// corners merged only when exactly equal). A file without triangles is an
// error.
bool ReadMeshFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& tris,
                  std::string& err);

// Replaces the mesh's contents with the file's triangles (vertices merged
// under the mesh tolerance; triangles collapsing under it are dropped) and
// rebuilds its octree. An error when no triangle survives.
bool ReadMeshFile(const std::string& path, TesTriMesh::CKrMeshData& mesh, std::string& err);

// Replaces the interchange mesh's contents with the file's points and
// triangles, as they are in the file.
bool ReadMeshFile(const std::string& path, CGeDataTriMesh& mesh, std::string& err);

// True when the path has an extension ReadMeshFile reads.
bool IsMeshFileName(const std::string& path);

// A surface for the commands that query one: a mesh file (by extension, as
// ReadMeshFile), or else a point file (ReadPointFile) triangulated into a
// Delaunay TIN. `how` describes what was read, for the command's report.
bool ReadSurfaceFile(const std::string& path, TesTriMesh::CKrMeshData& mesh, std::string& how, std::string& err);

// Writes a command's text result to path, under a temporary name renamed
// at the end (a failed write leaves nothing behind), or to standard output
// when path is empty.
bool WriteTextOutput(const std::string& path, const std::string& text, std::string& err);

}  // namespace krtes

#endif
