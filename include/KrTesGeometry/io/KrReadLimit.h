#ifndef KRTES_IO_KRREADLIMIT_H
#define KRTES_IO_KRREADLIMIT_H

// How much memory one file read may take. A reader that would go past it
// stops with a message naming the file and line ("points.xyz:81234567: the
// file is too large ...") instead of growing until the system kills the
// host program. The limit covers what a read holds: the file text of the
// formats read whole, and the points, triangles and records read so far.

#include <cstddef>

#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

// bytes: the most one read may hold. 0 (the default): three quarters of the
// memory free when the read starts (the physical memory the system reports
// as available, or less where the process's control group or address-space
// limit leaves less room). Applies to reads that start after the call, in every thread.
KRTESIO_API void SetReadMemoryLimit(std::size_t bytes);

// The limit a read starting now would get (the automatic one worked out
// when none is set).
KRTESIO_API std::size_t ReadMemoryLimit();

}  // namespace krtes

#endif
