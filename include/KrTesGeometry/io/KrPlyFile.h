#ifndef KRTES_IO_KRPLYFILE_H
#define KRTES_IO_KRPLYFILE_H

// PLY triangle meshes.

#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

// Reads PLY, ascii, binary_little_endian or binary_big_endian: the vertex
// element's x, y, z (any numeric type) and the face element's
// vertex_indices (or vertex_index) list; faces of more than three corners
// become fans; every other element and property is skipped. A short file is
// an error naming the element and record; header counts larger than the
// file can hold do not cause large allocations. A file without faces is not
// an error here (ReadMeshFile makes it one). The outputs are untouched on
// failure.
KRTESIO_API bool ReadPlyFile(const std::string& path, std::vector<CKrPoint3d>& pts,
                             std::vector<KrTesGeo::_sTri_ID>& tris, std::string& err);

// Writes binary little-endian PLY (double coordinates, uchar/int face
// lists), whole or not at all.
KRTESIO_API bool WritePlyFile(const std::string& path, const std::vector<CKrPoint3d>& pts,
                              const std::vector<KrTesGeo::_sTri_ID>& tris, std::string& err);

}  // namespace krtes

#endif
