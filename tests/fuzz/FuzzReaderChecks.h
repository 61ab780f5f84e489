#ifndef KRTES_TESTS_FUZZ_FUZZREADERCHECKS_H
#define KRTES_TESTS_FUZZ_FUZZREADERCHECKS_H

// The promises every file reader makes, whatever the bytes: it returns, and
// either succeeds with finite coordinates (and, for meshes, indices naming
// read points), or fails with a message that starts with the path and leaves
// the caller's containers as they were.

#include <cmath>
#include <string>
#include <vector>

#include "FuzzCommon.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"

namespace krfuzz {

inline bool Finite(const CKrPoint3d& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

inline bool SameBits(const CKrPoint3d& a, const CKrPoint3d& b)
{
    return std::memcmp(&a.x, &b.x, sizeof(double)) == 0 && std::memcmp(&a.y, &b.y, sizeof(double)) == 0 &&
           std::memcmp(&a.z, &b.z, sizeof(double)) == 0;
}

inline bool SamePoints(const std::vector<CKrPoint3d>& a, const std::vector<CKrPoint3d>& b)
{
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (!SameBits(a[i], b[i])) return false;
    return true;
}

inline bool SameTris(const std::vector<KrTesGeo::_sTri_ID>& a, const std::vector<KrTesGeo::_sTri_ID>& b)
{
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        for (int k = 0; k < 3; ++k)
            if (a[i].nID[k] != b[i].nID[k]) return false;
    return true;
}

// A failure message names the file first ("path: ..." or "path:line: ...").
inline void RequireNamedError(const std::string& err, const std::string& path)
{
    KRFUZZ_REQUIRE_MSG(err.size() > path.size() && err.compare(0, path.size(), path) == 0 &&
                           err[path.size()] == ':',
                       err);
}

// The sentinels a failed read must leave alone.
inline std::vector<CKrPoint3d> SentinelPoints() { return {CKrPoint3d(7.25, -3.5, 1e300)}; }
inline std::vector<KrTesGeo::_sTri_ID> SentinelTris() { return {KrTesGeo::_sTri_ID(5, 6, 7)}; }

using MeshReader = bool (*)(const std::string&, std::vector<CKrPoint3d>&, std::vector<KrTesGeo::_sTri_ID>&,
                            std::string&);
using MeshWriter = bool (*)(const std::string&, const std::vector<CKrPoint3d>&,
                            const std::vector<KrTesGeo::_sTri_ID>&, std::string&);

// Reads the bytes as a mesh file. When a writer is given, a successful read
// is written back and read again: the same points (bit for bit) and
// triangles must come back.
inline int CheckMeshReader(MeshReader read, MeshWriter write, const char* name, const uint8_t* data,
                           std::size_t size)
{
    TempFile file(name);
    file.Write(data, size);
    std::vector<CKrPoint3d> pts = SentinelPoints();
    std::vector<KrTesGeo::_sTri_ID> tris = SentinelTris();
    std::string err;
    if (!read(file.Path(), pts, tris, err)) {
        RequireNamedError(err, file.Path());
        KRFUZZ_REQUIRE(SamePoints(pts, SentinelPoints()));
        KRFUZZ_REQUIRE(SameTris(tris, SentinelTris()));
        return 0;
    }
    for (const CKrPoint3d& p : pts) KRFUZZ_REQUIRE(Finite(p));
    for (const KrTesGeo::_sTri_ID& t : tris)
        for (int k = 0; k < 3; ++k)
            KRFUZZ_REQUIRE(t.nID[k] >= 0 && static_cast<std::size_t>(t.nID[k]) < pts.size());
    if (write) {
        TempFile again((std::string(name) + "_again").c_str());
        std::string werr;
        KRFUZZ_REQUIRE_MSG(write(again.Path(), pts, tris, werr), werr);
        std::vector<CKrPoint3d> pts2;
        std::vector<KrTesGeo::_sTri_ID> tris2;
        std::string rerr;
        KRFUZZ_REQUIRE_MSG(read(again.Path(), pts2, tris2, rerr), rerr);
        KRFUZZ_REQUIRE(SamePoints(pts, pts2));
        KRFUZZ_REQUIRE(SameTris(tris, tris2));
    }
    return 0;
}

}  // namespace krfuzz

#endif
