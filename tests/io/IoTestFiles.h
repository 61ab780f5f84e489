#ifndef KRTES_TESTS_IO_IOTESTFILES_H
#define KRTES_TESTS_IO_IOTESTFILES_H

// Files for the io tests: a scratch directory per test, byte-order helpers
// for hand-made binary files, the files another program wrote (data/, made
// by data/make_foreign_files.py), and measures of a closed mesh computed
// here, independently of the library.

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

using Ids = std::vector<KrTesGeo::_sTri_ID>;

// The files of one test, removed when it ends.
class Files {
public:
    std::string Path(const std::string& name) const { return m_dir.Path(name); }
    std::string Write(const std::string& name, const std::string& bytes) const
    {
        const std::string p = Path(name);
        std::ofstream(p, std::ios::binary) << bytes;
        return p;
    }

private:
    testmesh::ScratchDir m_dir;
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

// The same point to the last bit (CKrPoint3d's == allows 1e-6).
inline bool Same(const CKrPoint3d& a, const CKrPoint3d& b) { return a.x == b.x && a.y == b.y && a.z == b.z; }

inline bool Tri(const KrTesGeo::_sTri_ID& t, int a, int b, int c) { return t[0] == a && t[1] == b && t[2] == c; }

// Volume (divergence theorem) and area of a triangle mesh, and whether every
// directed edge is matched by its reverse exactly once (closed, consistently
// oriented).
struct Measures {
    double volume = 0, area = 0;
    bool closed = true;
};

inline Measures Measure(const std::vector<CKrPoint3d>& p, const Ids& ids)
{
    Measures m;
    std::map<std::pair<int, int>, int> edges;
    for (const auto& t : ids) {
        const CKrPoint3d &a = p[t[0]], &b = p[t[1]], &c = p[t[2]];
        const double ux = b.x - a.x, uy = b.y - a.y, uz = b.z - a.z, vx = c.x - a.x, vy = c.y - a.y, vz = c.z - a.z;
        const double nx = uy * vz - uz * vy, ny = uz * vx - ux * vz, nz = ux * vy - uy * vx;
        m.area += 0.5 * std::sqrt(nx * nx + ny * ny + nz * nz);
        m.volume += (a.x * (b.y * c.z - b.z * c.y) - a.y * (b.x * c.z - b.z * c.x) + a.z * (b.x * c.y - b.y * c.x)) / 6;
        for (int k = 0; k < 3; ++k) ++edges[{static_cast<int>(t[k]), static_cast<int>(t[(k + 1) % 3])}];
    }
    for (const auto& e : edges)
        if (e.second != 1 || edges.count({e.first.second, e.first.first}) == 0) m.closed = false;
    return m;
}

// The file holds a closed, outward solid of nPts corners and nTris
// triangles with the given volume and area.
inline void ExpectSolid(const std::string& path, std::size_t nPts, std::size_t nTris, double volume, double area)
{
    std::vector<CKrPoint3d> pts;
    Ids ids;
    std::string err;
    ASSERT_TRUE(krtes::ReadMeshFile(path, pts, ids, err)) << err;
    EXPECT_EQ(pts.size(), nPts) << path;
    EXPECT_EQ(ids.size(), nTris) << path;
    const Measures m = Measure(pts, ids);
    EXPECT_TRUE(m.closed) << path;
    EXPECT_NEAR(m.volume, volume, 1e-12) << path;
    EXPECT_NEAR(m.area, area, 1e-12) << path;
}

struct Bad {
    std::string name, content, expect;  // expect: "@" stands for the path
};

// Every file must fail to read as a mesh with a message holding `expect`,
// and leave the outputs as they were.
inline void ExpectMeshErrors(const Files& files, const std::vector<Bad>& cases)
{
    for (const Bad& c : cases) {
        const std::string p = files.Write(c.name, c.content);
        std::string expect = c.expect;
        const std::size_t at = expect.find('@');
        if (at != std::string::npos) expect.replace(at, 1, p);
        std::vector<CKrPoint3d> pts{CKrPoint3d(9, 9, 9)};
        Ids ids;
        std::string err;
        EXPECT_FALSE(krtes::ReadMeshFile(p, pts, ids, err)) << c.name;
        EXPECT_NE(err.find(expect), std::string::npos) << "expected '" << expect << "' in: " << err;
        EXPECT_EQ(pts.size(), 1u) << c.name;
    }
}

}  // namespace iotest

#endif
