#ifndef KRTES_IO_KRSTLFILE_H
#define KRTES_IO_KRSTLFILE_H

// STL triangle meshes.

#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

// Reads STL, ascii or binary (a binary file may also start with "solid":
// text is text only when it holds no NUL byte). Corners with identical
// coordinates become one vertex (-0 and 0 are one coordinate), so facets
// sharing corners are connected. A binary file must be exactly as long as
// its triangle count says; a text file must end with "endsolid" (several
// solids are read as one surface). The outputs are untouched on failure.
KRTESIO_API bool ReadStlFile(const std::string& path, std::vector<CKrPoint3d>& pts,
                             std::vector<KrTesGeo::_sTri_ID>& tris, std::string& err);

}  // namespace krtes

#endif
