#ifndef KRTES_IO_KROBJFILE_H
#define KRTES_IO_KROBJFILE_H

// Wavefront OBJ triangle meshes.

#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

// Reads "v x y z" and "f" lines; face corners may be written "i", "i/t",
// "i//n" or "i/t/n"; negative indices count back from the last vertex read;
// a face may name a vertex defined further down; faces of more than three
// corners are split into a fan from their first corner; other statements
// (texture coordinates, normals, groups, materials, lines) are ignored.
// A file without faces is not an error here (ReadMeshFile makes it one).
// Errors name the file and line; the outputs are untouched on failure.
KRTESIO_API bool ReadObjFile(const std::string& path, std::vector<CKrPoint3d>& pts,
                             std::vector<KrTesGeo::_sTri_ID>& tris, std::string& err);

// Writes "v" lines (numbers in the shortest exact form) and 1-based "f"
// lines, whole or not at all.
KRTESIO_API bool WriteObjFile(const std::string& path, const std::vector<CKrPoint3d>& pts,
                              const std::vector<KrTesGeo::_sTri_ID>& tris, std::string& err);

}  // namespace krtes

#endif
