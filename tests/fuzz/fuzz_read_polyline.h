#ifndef KRTES_TESTS_FUZZ_READ_POLYLINE_H
#define KRTES_TESTS_FUZZ_READ_POLYLINE_H

// Any bytes as a polyline file (blocks of x y z lines separated by blank
// lines). The minimum points per line comes from the size, so the short-line
// error is reached too. A successful read holds only finite points and no
// line shorter than the minimum.

#include "FuzzReaderChecks.h"
#include "KrTesGeometry/io/KrPolylineFile.h"

inline int CheckReadPolyline(const uint8_t* data, std::size_t size)
{
    krfuzz::TempFile file("read.pl");
    file.Write(data, size);
    const std::size_t minPoints = 1 + size % 3;
    std::vector<std::vector<CKrPoint3d>> lines(1, krfuzz::SentinelPoints());
    std::string err;
    if (!krtes::ReadPolylineFile(file.Path(), lines, minPoints, err)) {
        krfuzz::RequireNamedError(err, file.Path());
        KRFUZZ_REQUIRE(lines.size() == 1 && krfuzz::SamePoints(lines[0], krfuzz::SentinelPoints()));
        return 0;
    }
    for (const auto& line : lines) {
        KRFUZZ_REQUIRE(line.size() >= minPoints);
        for (const CKrPoint3d& p : line) KRFUZZ_REQUIRE(krfuzz::Finite(p));
    }
    return 0;
}

#endif
