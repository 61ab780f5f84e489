#ifndef KRTES_TESTS_FUZZ_READ_POINTS_H
#define KRTES_TESTS_FUZZ_READ_POINTS_H

// Any bytes as a point file, read both ways: x y z per line, and plan points
// (x y, or x y z with z dropped). A file the 3D reader takes, the plan reader
// takes too, with the same x and y.

#include "FuzzReaderChecks.h"
#include "KrTesGeometry/io/KrPointFile.h"

inline int CheckReadPoints(const uint8_t* data, std::size_t size)
{
    using krfuzz::Finite;
    krfuzz::TempFile file("read.xyz");
    file.Write(data, size);
    std::vector<CKrPoint3d> pts = krfuzz::SentinelPoints();
    std::string err;
    const bool ok3 = krtes::ReadPointFile(file.Path(), pts, err);
    if (!ok3) {
        krfuzz::RequireNamedError(err, file.Path());
        KRFUZZ_REQUIRE(krfuzz::SamePoints(pts, krfuzz::SentinelPoints()));
    } else {
        for (const CKrPoint3d& p : pts) KRFUZZ_REQUIRE(Finite(p));
    }
    std::vector<CKrPoint3d> plan = krfuzz::SentinelPoints();
    std::string perr;
    const bool ok2 = krtes::ReadPlanPointFile(file.Path(), plan, perr);
    if (!ok2) {
        krfuzz::RequireNamedError(perr, file.Path());
        KRFUZZ_REQUIRE(krfuzz::SamePoints(plan, krfuzz::SentinelPoints()));
    } else {
        for (const CKrPoint3d& p : plan) KRFUZZ_REQUIRE(std::isfinite(p.x) && std::isfinite(p.y));
    }
    if (ok3) {
        KRFUZZ_REQUIRE(ok2);
        KRFUZZ_REQUIRE(plan.size() == pts.size());
        for (std::size_t i = 0; i < pts.size(); ++i)
            KRFUZZ_REQUIRE(plan[i].x == pts[i].x && plan[i].y == pts[i].y);
    }
    return 0;
}

#endif
