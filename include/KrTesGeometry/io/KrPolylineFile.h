#ifndef KRTES_IO_KRPOLYLINEFILE_H
#define KRTES_IO_KRPOLYLINEFILE_H

// Polyline files: blocks of "x y z" lines.

#include <cstddef>
#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

// A polyline file holds one polyline per block of "x y z" lines (laid out
// as in a point file: spaces, tabs or commas, '#' comments, one leading
// column header); blocks are separated by one or more blank lines, and a
// comment line does not end a block. Each polyline needs at least minPoints
// points; the error for a short one names the line its block starts on.
KRTESIO_API bool ReadPolylineFile(const std::string& path, std::vector<std::vector<CKrPoint3d>>& lines,
                                  std::size_t minPoints, std::string& err);

}  // namespace krtes

#endif
