#ifndef KRTES_IO_KRPOINTTABLE_H
#define KRTES_IO_KRPOINTTABLE_H

// Point tables: survey points as a spreadsheet exports them. A header row
// names the columns; the coordinate columns are found by name and every
// other column (point number, code, name) is carried along as text.
//
// Accepted: a UTF-8 byte-order mark, LF or CRLF line ends, '#' comment lines,
// blank lines; fields separated by commas, semicolons, tabs or runs of
// spaces (the first line decides which); with semicolons or tabs a comma in
// a number is its decimal mark ("12,5"); a field may be quoted ("A, B").
// The file is read in chunks, never whole. Errors name the file and line.

#include <cstddef>
#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

struct SKrPointTable {
    std::vector<CKrPoint3d> pts;          // x easting, y northing, z elevation
    std::vector<std::string> columns;     // every column's name, in file order
    std::vector<std::string> extraNames;  // the columns other than x, y, z, in file order
    std::vector<std::string> extra;       // row-major: extra[i * extraNames.size() + k]

    const std::string& Extra(std::size_t point, std::size_t column) const
    {
        return extra[point * extraNames.size() + column];
    }
};

struct SKrPointTableOptions {
    // Names the columns, separated by commas ("id,e,n,z,code"): used instead
    // of the file's header, which is then still skipped when there is one.
    std::string columns;
};

// Reads a point table. Column names are matched case-insensitively:
//   x: x, e, east, easting       y: y, n, north, northing
//   z: z, h, elev, elevation, height, level, rl
// A header whose names include none of these but has exactly three columns
// is read as x y z. Without a header (and without options.columns) each line
// holds exactly x y z. Every data line holds the header's number of fields
// (missing trailing text fields read as empty), with finite numbers in the
// coordinate columns. table is left untouched on failure.
KRTESIO_API bool ReadPointTable(const std::string& path, SKrPointTable& table, std::string& err,
                                const SKrPointTableOptions& options = SKrPointTableOptions());

}  // namespace krtes

#endif
