#ifndef KRTES_TOOLS_KRTESIO_H
#define KRTES_TOOLS_KRTESIO_H

// File formats of the krtes program: point files, polyline files, and
// triangle meshes as Wavefront OBJ or PLY.
//
// Errors are reported as one line naming the file and, where it applies,
// the line number ("points.xyz:12: ..."); nothing throws.

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"

namespace krtes {

// A point file holds one "x y z" per line; fields are separated by spaces,
// tabs or commas; '#' starts a comment; blank lines are ignored; a first
// line without any number (a column header) is skipped. Every other line
// must hold exactly three finite numbers.
bool ReadPointFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err);

// A polyline file holds one polyline per block of "x y z" lines; blocks are
// separated by one or more blank lines. Each polyline needs at least
// minPoints points.
bool ReadPolylineFile(const std::string& path, std::vector<std::vector<CKrPoint3d>>& lines, std::size_t minPoints,
                      std::string& err);

// Writes a triangle mesh, as OBJ (".obj") or binary little-endian PLY
// (".ply") by the file's extension. The file is written under a temporary
// name and renamed at the end, so a failed write leaves nothing behind.
bool WriteMeshFile(const std::string& path, const std::vector<CKrPoint3d>& pts,
                   const std::vector<KrTesGeo::_sTri_ID>& tris, std::string& err);

// Appends "x y z\n" with each number in the shortest form that reads back
// exactly.
void AppendPoint(std::string& buf, const CKrPoint3d& p);

// Writes a file whole or not at all: body writes to a temporary file beside
// path, which is renamed to path only when body and closing succeed.
bool WriteFileWhole(const std::string& path, const std::function<bool(std::FILE*)>& body, std::string& err);

// Lower-case extension of a path including the dot ("" when none).
std::string Extension(const std::string& path);

// Splits one line into numeric fields. Returns the number of fields found;
// bad is set to the first field that is not a number (empty when all are).
std::size_t ParseNumbers(const std::string& line, std::vector<double>& values, std::string& bad);

}  // namespace krtes

#endif
