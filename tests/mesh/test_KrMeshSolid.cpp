// The closed-solid check and the enclosed volume, against analytic volumes
// and hand-made broken surfaces.

#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"
#include "support/KrTestMeshes.h"

using TesTriMesh::CheckClosedSolid;
using TesTriMesh::CKrMeshData;
using TesTriMesh::SKrSolidCheck;
using TesTriMesh::SolidVolume;

TEST(KrMeshSolid, VolumesOfBoxAndSphereMatchGeometry)
{
    // A box far from the origin, and the same box turned inside out (still a
    // consistently oriented solid, facing in).
    testmesh::Solid box = testmesh::Box(1e6, 2e6, -3e6, 1e6 + 3.0, 2e6 + 4.0, -3e6 + 5.0);
    EXPECT_TRUE(CheckClosedSolid(box.pts, box.ids).IsSolid());
    EXPECT_NEAR(SolidVolume(box.pts, box.ids), 60.0, 1e-9);
    for (auto& t : box.ids) std::swap(t.nID[1], t.nID[2]);
    EXPECT_TRUE(CheckClosedSolid(box.pts, box.ids).IsSolid());
    EXPECT_NEAR(SolidVolume(box.pts, box.ids), -60.0, 1e-9);

    // A polyhedron inscribed in a sphere of radius r: each face with the
    // centre is a pyramid of height sqrt(r^2 - R^2), R the face's
    // circumradius (area by Heron's formula).
    const double r = 7.0;
    const testmesh::Solid ball = testmesh::Sphere(CKrPoint3d(10.0, -20.0, 30.0), r, 3);
    double pyramids = 0.0;
    for (const auto& t : ball.ids) {
        const CKrPoint3d &p = ball.pts[t.nID[0]], &q = ball.pts[t.nID[1]], &s = ball.pts[t.nID[2]];
        const double a = q.Distance(s), b = p.Distance(s), e = p.Distance(q), h = (a + b + e) / 2;
        const double area = std::sqrt(h * (h - a) * (h - b) * (h - e)), circum = a * b * e / (4.0 * area);
        pyramids += area * std::sqrt(r * r - circum * circum) / 3.0;
    }
    const double v = SolidVolume(ball.pts, ball.ids);
    EXPECT_TRUE(CheckClosedSolid(ball.pts, ball.ids).IsSolid());
    EXPECT_NEAR(v, pyramids, 1e-9 * pyramids);
    EXPECT_TRUE(v < 4.0 / 3.0 * M_PI * r * r * r && v > 0.97 * 4.0 / 3.0 * M_PI * r * r * r);

    // The mesh forms agree with the index forms.
    CKrMeshData mesh(0.001);
    testmesh::Load(mesh, ball);
    EXPECT_TRUE(CheckClosedSolid(mesh).IsSolid());
    EXPECT_NEAR(SolidVolume(mesh), v, 1e-9 * v);
}

TEST(KrMeshSolid, OpenFlippedAndOverSharedSurfacesAreNamed)
{
    // The box's first triangle is (0, 2, 3), its last (1, 7, 5); the edge
    // 4-6 is shared by (0, 4, 6) and (4, 7, 6).
    const testmesh::Solid box = testmesh::Box(0, 0, 0, 1, 1, 1);
    testmesh::Solid open = box, flipped = box, crowded = box, pinched = box, bad = box;
    open.ids.erase(open.ids.begin());
    std::swap(flipped.ids[0].nID[1], flipped.ids[0].nID[2]);
    testmesh::Solid both = flipped;
    both.ids.pop_back();
    crowded.ids.emplace_back(0, 3, 2);  // a fin on the three edges of the first triangle
    pinched.ids.emplace_back(4, 4, 6);  // the edge from 4 to itself is open, 4-6 over-shared
    bad.ids.emplace_back(0, 1, 8);      // names no point: left out of the check
    // Counts of open, over-shared and flipped edges and invalid triples, and
    // the first fault (open before over-shared before flipped, each its lowest edge).
    const struct {
        const char* what;
        const testmesh::Solid& s;
        std::size_t open, over, flip, invalid;
        int e0, e1;
    } cases[] = {
        {"box", box, 0, 0, 0, 0, -1, -1},         {"open", open, 3, 0, 0, 0, 0, 2},
        {"flipped", flipped, 0, 0, 3, 0, 0, 2},   {"crowded", crowded, 0, 3, 0, 0, 0, 2},
        {"flipped and open", both, 3, 0, 3, 0, 1, 5}, {"pinched", pinched, 1, 1, 0, 0, 4, 4},
        {"bad index", bad, 0, 0, 0, 1, -1, -1},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(k.what);
        const SKrSolidCheck c = CheckClosedSolid(k.s.pts, k.s.ids);
        EXPECT_EQ(std::vector<std::size_t>({c.openEdges, c.overSharedEdges, c.flippedEdges, c.invalidTris}),
                  std::vector<std::size_t>({k.open, k.over, k.flip, k.invalid}));
        EXPECT_EQ(c.IsSolid(), k.open + k.over + k.flip + k.invalid == 0);
        int e[2];
        EXPECT_EQ(c.FirstFault(e), k.e0 >= 0);
        EXPECT_TRUE(e[0] == k.e0 && e[1] == k.e1) << e[0] << "-" << e[1];
    }
    EXPECT_TRUE(std::isnan(SolidVolume(bad.pts, bad.ids)));
    EXPECT_EQ(CheckClosedSolid(bad.ids).invalidTris, 0u);  // topologically, 8 is just another point

    // On a mesh, the faulty edge joins corners of the missing triangle.
    CKrMeshData mesh(0.001);
    testmesh::Load(mesh, open);
    std::vector<CKrPoint3d> pts;  // in the vertex order the check numbers them by
    mesh.OutputPoints(pts);
    int e[2];
    ASSERT_TRUE(CheckClosedSolid(mesh).FirstFault(e));
    for (const int k : e) {
        const CKrPoint3d& p = pts[static_cast<std::size_t>(k)];
        EXPECT_TRUE(p == box.pts[0] || p == box.pts[2] || p == box.pts[3]) << p.x << " " << p.y << " " << p.z;
    }
}

namespace {

// Every pair tested on its own: the pairs FindSelfIntersections must find
// whatever its sweep proposes.
std::vector<std::pair<std::size_t, std::size_t>> AllPairs(const testmesh::Solid& s)
{
    std::vector<std::pair<std::size_t, std::size_t>> out;
    for (std::size_t i = 0; i < s.ids.size(); ++i)
        for (std::size_t j = i + 1; j < s.ids.size(); ++j)
            if (!TesTriMesh::FindSelfIntersections(s.pts, {s.ids[i], s.ids[j]}).empty()) out.emplace_back(i, j);
    return out;
}

testmesh::Solid Joined(const testmesh::Solid& a, const testmesh::Solid& b)
{
    testmesh::Solid s = a;
    const int n = static_cast<int>(a.pts.size());
    s.pts.insert(s.pts.end(), b.pts.begin(), b.pts.end());
    for (const auto& t : b.ids) s.ids.emplace_back(t.nID[0] + n, t.nID[1] + n, t.nID[2] + n);
    return s;
}

}  // namespace

TEST(KrMeshSolid, SelfIntersectionsMatchAllPairsAndASecondMethod)
{
    using TesTriMesh::FindSelfIntersections;
    const testmesh::Solid box = testmesh::Box(0, 0, 0, 10, 10, 10);
    struct Case {
        const char* what;
        testmesh::Solid s;
        bool clean;
    } const cases[] = {
        {"a sphere", testmesh::Sphere({1, 2, 3}, 5.0, 2), true},
        {"two cubes apart", Joined(box, testmesh::Box(20, 0, 0, 30, 10, 10)), true},
        {"two cubes sharing a face", Joined(box, testmesh::Box(10, 0, 0, 20, 10, 10)), false},
        {"two cubes crossing", Joined(box, testmesh::Box(5, 5, 5, 15, 15, 15)), false},
        {"a cube turned through another", Joined(box, testmesh::Rotated(box, {5, 5, 5}, 1, 1, 0, 0.3)), false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const auto found = FindSelfIntersections(c.s.pts, c.s.ids);
        EXPECT_EQ(found, AllPairs(c.s));
        EXPECT_EQ(static_cast<int>(found.size()), testmesh::SelfIntersections(c.s.pts, c.s.ids));
        EXPECT_EQ(found.empty(), c.clean);
        if (!found.empty()) {
            EXPECT_EQ(FindSelfIntersections(c.s.pts, c.s.ids, 1).size(), 1u);
        }
    }
    // Two triangles on the same three corners meet; sharing one corner, they
    // meet when the far edge of either passes through the other.
    const std::vector<CKrPoint3d> pts = {{0, 0, 0}, {4, 0, 0}, {2, 3, 0}, {2, 1, 2}, {2, 1, -2}};
    EXPECT_EQ(FindSelfIntersections(pts, {{0, 1, 2}, {0, 2, 1}}).size(), 1u);
    EXPECT_EQ(FindSelfIntersections(pts, {{0, 1, 2}, {0, 3, 4}}).size(), 1u);
}
