#ifndef KRTES_TESTS_IO_IOTESTFILES_H
#define KRTES_TESTS_IO_IOTESTFILES_H

// Files for the io tests: a scratch directory per test, byte-order helpers
// for hand-made binary files, the files another program wrote (data/, made
// by data/make_foreign_files.py and data/make_gdal_files.sh), the errors of
// broken files, and measures of a closed mesh computed here, independently
// of the library.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrMeshFile.h"
#include "support/ScratchDir.h"

namespace iotest {

using Pts = std::vector<CKrPoint3d>;
using Ids = std::vector<KrTesGeo::_sTri_ID>;

// The files of one test, removed when it ends.
struct Files : testmesh::ScratchDir {
    std::string Write(const std::string& name, const std::string& bytes) const
    {
        const std::string p = Path(name);
        std::ofstream(p, std::ios::binary) << bytes;
        return p;
    }
};

inline std::string Read(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline bool Exists(const std::string& path) { return std::ifstream(path).good(); }

// A file of data/, written by another program.
inline std::string Foreign(const std::string& name)
{
    std::string dir = __FILE__;
    dir.erase(dir.find_last_of("/\\") + 1);
    return dir + "data/" + name;
}

// Appends v in little-endian, or big-endian, byte order.
template <class T>
void Put(std::string& buf, T v, bool big = false)
{
    unsigned char b[sizeof(T)];
    std::memcpy(b, &v, sizeof(T));
    const uint16_t probe = 1;
    if ((*reinterpret_cast<const unsigned char*>(&probe) != 1) != big) std::reverse(b, b + sizeof(T));
    buf.append(reinterpret_cast<const char*>(b), sizeof(T));
}

inline std::string Crlf(const std::string& text)
{
    std::string out;
    for (char c : text) out += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return out;
}

// The same point to the last bit (CKrPoint3d's == allows 1e-6).
inline bool Same(const CKrPoint3d& a, const CKrPoint3d& b) { return a.x == b.x && a.y == b.y && a.z == b.z; }

inline bool Tri(const KrTesGeo::_sTri_ID& t, int a, int b, int c) { return t[0] == a && t[1] == b && t[2] == c; }

// Points and triangles read by `read` (ReadObjFile and the like), which must succeed.
struct Mesh {
    Pts pts;
    Ids ids;
};
template <class Reader>
Mesh MustRead(Reader read, const std::string& path)
{
    Mesh m;
    std::string err;
    EXPECT_TRUE(read(path, m.pts, m.ids, err)) << err;
    return m;
}

// The file holds a closed, outward solid of nPts corners and nTris
// triangles with the given volume and area: the volume by the divergence
// theorem, and closed when every directed edge is matched by its reverse
// exactly once.
inline void ExpectSolid(const std::string& path, std::size_t nPts, std::size_t nTris, double volume, double area)
{
    const Mesh s = MustRead([](auto&&... a) { return krtes::ReadMeshFile(a...); }, path);
    EXPECT_EQ(s.pts.size(), nPts) << path;
    EXPECT_EQ(s.ids.size(), nTris) << path;
    double v = 0, A = 0;
    std::map<std::pair<int, int>, int> edges;
    for (const auto& t : s.ids) {
        const CKrPoint3d &a = s.pts[t[0]], &b = s.pts[t[1]], &c = s.pts[t[2]];
        const double ux = b.x - a.x, uy = b.y - a.y, uz = b.z - a.z, vx = c.x - a.x, vy = c.y - a.y, vz = c.z - a.z;
        const double nx = uy * vz - uz * vy, ny = uz * vx - ux * vz, nz = ux * vy - uy * vx;
        A += 0.5 * std::sqrt(nx * nx + ny * ny + nz * nz);
        v += (a.x * (b.y * c.z - b.z * c.y) - a.y * (b.x * c.z - b.z * c.x) + a.z * (b.x * c.y - b.y * c.x)) / 6;
        for (int k = 0; k < 3; ++k) ++edges[{static_cast<int>(t[k]), static_cast<int>(t[(k + 1) % 3])}];
    }
    for (const auto& e : edges)
        EXPECT_TRUE(e.second == 1 && edges.count({e.first.second, e.first.first}) == 1) << path << " not closed";
    EXPECT_NEAR(v, volume, 1e-12) << path;
    EXPECT_NEAR(A, area, 1e-12) << path;
}

// A refused call: it returned false with a message holding `want`.
inline ::testing::AssertionResult Refused(bool ok, const std::string& err, const std::string& want)
{
    if (!ok && err.find(want) != std::string::npos) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << (ok ? "accepted" : "refused with: " + err) << "; expected '" << want << "'";
}

struct Bad {
    std::string name, content, expect;  // expect: "@" stands for the path
};

// Every file must fail to read, with a message holding `expect`: `read`
// (path, err) says whether it read, and checks itself that a failure left
// its output as it was.
template <class Reader>
void ExpectErrors(const Files& files, const std::vector<Bad>& cases, Reader read)
{
    for (const Bad& c : cases) {
        const std::string p = files.Write(c.name, c.content);
        std::string expect = c.expect, err;
        const std::size_t at = expect.find('@');
        if (at != std::string::npos) expect.replace(at, 1, p);
        EXPECT_FALSE(read(p, err)) << c.name;
        EXPECT_NE(err.find(expect), std::string::npos) << "expected '" << expect << "' in: " << err;
    }
}

inline void ExpectMeshErrors(const Files& files, const std::vector<Bad>& cases)
{
    ExpectErrors(files, cases, [](const std::string& p, std::string& err) {
        Pts pts{CKrPoint3d(9, 9, 9)};
        Ids ids;
        const bool ok = krtes::ReadMeshFile(p, pts, ids, err);
        EXPECT_EQ(pts.size(), 1u) << p;
        return ok;
    });
}

// Cut anywhere, the file gives an error starting with its name (with `early`
// once the cut reaches `body`), never a crash or a partial result.
template <class Reader>
void ExpectEveryCutFails(const std::string& whole, std::size_t body, const std::string& early, Reader read)
{
    Files files;
    for (std::size_t n = 0; n < whole.size(); ++n) {
        const std::string p = files.Write("cut", whole.substr(0, n));
        Pts out{CKrPoint3d(1, 2, 3)};
        Ids ids;
        std::string err;
        EXPECT_FALSE(read(p, out, ids, err)) << n;
        EXPECT_EQ(err.rfind(p + (n >= body ? early : ":"), 0), 0u) << err;
        EXPECT_EQ(out.size(), 1u);
    }
}

}  // namespace iotest

#endif
