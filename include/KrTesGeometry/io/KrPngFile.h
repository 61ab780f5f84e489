#ifndef KRTES_IO_KRPNGFILE_H
#define KRTES_IO_KRPNGFILE_H

// PNG pictures, through GDAL; present when KrTesIO was built with it
// (KRTES_HAVE_GDAL).

#include <cstdint>
#include <string>
#include <vector>

#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

// Writes a w x h picture given as rgb bytes (three a pixel, row by row from
// the top) as an 8-bit RGB PNG. Whole or nothing; an existing file is
// replaced. False, with err naming the file, when rgb does not hold w*h
// pixels or the file cannot be written.
KRTESIO_API bool WritePngRgb(const std::string& path, int w, int h, const std::vector<uint8_t>& rgb, std::string& err);

}  // namespace krtes

#endif
