#ifndef KRTES_TESTS_FUZZ_READERS_H
#define KRTES_TESTS_FUZZ_READERS_H

// Any bytes as a file of each format. The promises every reader makes: it
// returns, and either succeeds with finite coordinates (and, for meshes,
// indices naming read points), or fails with a message that starts with the
// path ("path: ..." or "path:line: ...") and leaves the caller's containers
// as they were. The format's own promises follow each check.

#include <cmath>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "FuzzCommon.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrObjFile.h"
#include "KrTesGeometry/io/KrPlyFile.h"
#include "KrTesGeometry/io/KrPointFile.h"
#include "KrTesGeometry/io/KrPolylineFile.h"
#include "KrTesGeometry/io/KrStlFile.h"

namespace krfuzz {

using Points = std::vector<CKrPoint3d>;
using Tris = std::vector<KrTesGeo::_sTri_ID>;
static_assert(sizeof(CKrPoint3d) == 3 * sizeof(double) && sizeof(KrTesGeo::_sTri_ID) == 3 * sizeof(int32_t),
              "compared bit for bit");

inline bool Finite(const CKrPoint3d& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

// The bytes of the values, to compare them bit for bit (0 and -0 differ).
template <class T>
std::string Bits(const std::vector<T>& v)
{
    return std::string(reinterpret_cast<const char*>(v.data()), v.size() * sizeof(T));
}
inline std::string Bits(const std::vector<Points>& lines)
{
    std::string bits;
    for (const Points& line : lines) bits += std::to_string(line.size()) + ":" + Bits(line);
    return bits;
}

// A finite point a failed read must leave in place.
inline const Points kSentinel = {CKrPoint3d(7.25, -3.5, 1e300)};

// read(path, out..., err) on the file; returns whether it succeeded, after
// checking the promises of a failed read.
template <class Read, class... Out>
bool ReadChecked(const std::string& path, Read read, Out&... out)
{
    const auto before = std::make_tuple(Bits(out)...);
    std::string err;
    if (read(path, out..., err)) return true;
    KRFUZZ_REQUIRE_MSG(err.compare(0, path.size() + 1, path + ":") == 0, err);
    KRFUZZ_REQUIRE(std::make_tuple(Bits(out)...) == before);
    return false;
}

// Read both ways: x y z per line, and plan points (x y, or x y z with z
// dropped). A file the 3D reader takes, the plan reader takes too, with the
// same x and y.
inline int CheckReadPoints(const uint8_t* data, std::size_t size)
{
    const std::string path = WriteFile("read.xyz", data, size);
    Points pts = kSentinel, plan = kSentinel;
    const bool ok3 = ReadChecked(path, krtes::ReadPointFile, pts);
    const bool ok2 = ReadChecked(path, krtes::ReadPlanPointFile, plan);
    for (const CKrPoint3d& p : pts) KRFUZZ_REQUIRE(Finite(p));
    for (const CKrPoint3d& p : plan) KRFUZZ_REQUIRE(std::isfinite(p.x) && std::isfinite(p.y));
    if (!ok3) return 0;
    KRFUZZ_REQUIRE(ok2 && plan.size() == pts.size());
    for (std::size_t i = 0; i < pts.size(); ++i) KRFUZZ_REQUIRE(plan[i].x == pts[i].x && plan[i].y == pts[i].y);
    return 0;
}

// Blocks of x y z lines separated by blank lines. The minimum points per line
// comes from the size, so the short-line error is reached too; a successful
// read holds no line shorter than that.
inline int CheckReadPolyline(const uint8_t* data, std::size_t size)
{
    const std::size_t minPoints = 1 + size % 3;
    const auto read = [&](const std::string& path, std::vector<Points>& out, std::string& err) {
        return krtes::ReadPolylineFile(path, out, minPoints, err);
    };
    std::vector<Points> lines(1, kSentinel);
    if (!ReadChecked(WriteFile("read.pl", data, size), read, lines)) return 0;
    for (const Points& line : lines) {
        KRFUZZ_REQUIRE(line.size() >= minPoints);
        for (const CKrPoint3d& p : line) KRFUZZ_REQUIRE(Finite(p));
    }
    return 0;
}

// A mesh format (.obj, .ply: the header names ascii or binary of either byte
// order; .stl: text or binary is the reader's own guess). When the format
// has a writer, a successful read is written back and read again: the same
// points (bit for bit) and triangles must come back.
template <auto Read, auto Write>
int CheckReadMesh(const uint8_t* data, std::size_t size)
{
    Points pts = kSentinel, pts2;
    Tris tris = {KrTesGeo::_sTri_ID(5, 6, 7)}, tris2;
    if (!ReadChecked(WriteFile("read.mesh", data, size), Read, pts, tris)) return 0;
    for (const CKrPoint3d& p : pts) KRFUZZ_REQUIRE(Finite(p));
    for (const KrTesGeo::_sTri_ID& t : tris)
        for (const int32_t v : t.nID) KRFUZZ_REQUIRE(v >= 0 && static_cast<std::size_t>(v) < pts.size());
    if constexpr (!std::is_null_pointer_v<decltype(Write)>) {
        const std::string again = std::filesystem::absolute("again.mesh").string();
        std::string err;
        KRFUZZ_REQUIRE_MSG(Write(again, pts, tris, err) && Read(again, pts2, tris2, err), err);
        KRFUZZ_REQUIRE(Bits(pts) == Bits(pts2) && Bits(tris) == Bits(tris2));
    }
    return 0;
}

}  // namespace krfuzz

#endif
