#ifndef KRTES_IO_KRPOINTFILE_H
#define KRTES_IO_KRPOINTFILE_H

// Point files ("x y z" per line) and the number text they are made of.
//
// Text files may use LF or CRLF line ends and may start with a UTF-8
// byte-order mark. Errors are reported as one line naming the file and,
// where it applies, the line ("points.xyz:12: ..."); nothing throws.

#include <cstddef>
#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

// A point file holds one "x y z" per line; fields are separated by spaces,
// tabs or commas; '#' starts a comment; blank lines are ignored; a first
// line without any number (a column header) is skipped. Every other line
// must hold exactly three finite numbers. pts is left untouched on failure.
KRTESIO_API bool ReadPointFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err);

// Plan positions: laid out as a point file, but each line holds "x y" or
// "x y z"; a third column is read and ignored (z of every result is 0), and
// only x and y must be finite. pts is left untouched on failure.
KRTESIO_API bool ReadPlanPointFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err);

// Splits one line into numeric fields (separated by spaces, tabs or commas).
// Returns the number of fields found; bad is set to the first field that is
// not a number (empty when all are).
KRTESIO_API std::size_t ParseNumbers(const std::string& line, std::vector<double>& values, std::string& bad);

// Reads text that is exactly one number (a leading '+' is allowed, white
// space is not).
KRTESIO_API bool ParseNumber(const std::string& text, double& value);

// Appends d in the shortest form that reads back exactly.
KRTESIO_API void AppendNumber(std::string& buf, double d);

// Appends "x y z\n" with each number in the shortest form that reads back
// exactly.
KRTESIO_API void AppendPoint(std::string& buf, const CKrPoint3d& p);

}  // namespace krtes

#endif
