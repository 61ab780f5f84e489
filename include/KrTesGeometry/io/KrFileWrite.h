#ifndef KRTES_IO_KRFILEWRITE_H
#define KRTES_IO_KRFILEWRITE_H

// Writing files whole or not at all.

#include <cstdio>
#include <functional>
#include <string>

#include "KrTesGeometry/io/KrTesIOExport.h"

namespace krtes {

// Writes a file whole or not at all: body writes to a temporary file beside
// path, which is renamed to path only when body and closing succeed; on
// failure the temporary file is removed and an existing file at path is
// left as it was.
KRTESIO_API bool WriteFileWhole(const std::string& path, const std::function<bool(std::FILE*)>& body,
                                std::string& err);

// Writes a command's text result to path, whole or not at all, or to
// standard output when path is empty.
KRTESIO_API bool WriteTextOutput(const std::string& path, const std::string& text, std::string& err);

}  // namespace krtes

#endif
