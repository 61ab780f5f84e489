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

namespace {

testmesh::Solid Reversed(testmesh::Solid s)
{
    for (auto& t : s.ids) std::swap(t.nID[1], t.nID[2]);
    return s;
}

double Dot(const CKrPoint3d& a, const CKrPoint3d& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
CKrPoint3d Cross(const CKrPoint3d& a, const CKrPoint3d& b)
{
    return CKrPoint3d(a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x);
}

}  // namespace

TEST(KrMeshSolid, VolumesOfBoxTetrahedronAndSphereMatchGeometry)
{
    // A box far from the origin: the local origin keeps the digits.
    const testmesh::Solid box = testmesh::Box(1e6, 2e6, -3e6, 1e6 + 3.0, 2e6 + 4.0, -3e6 + 5.0);
    EXPECT_TRUE(CheckClosedSolid(box.pts, box.ids).IsSolid());
    EXPECT_NEAR(SolidVolume(box.pts, box.ids), 60.0, 1e-9);
    // Turned inside out it is still a consistently oriented solid, facing in.
    const testmesh::Solid inward = Reversed(box);
    EXPECT_TRUE(CheckClosedSolid(inward.pts, inward.ids).IsSolid());
    EXPECT_NEAR(SolidVolume(inward.pts, inward.ids), -60.0, 1e-9);

    // A tetrahedron: base area times height over three.
    testmesh::Solid tet;
    tet.pts = {CKrPoint3d(0.3, -1.2, 0.5), CKrPoint3d(4.1, 0.2, 0.9), CKrPoint3d(1.0, 3.7, -0.4),
               CKrPoint3d(1.5, 1.1, 6.2)};
    tet.ids = {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}};
    const CKrPoint3d n = Cross(tet.pts[1] - tet.pts[0], tet.pts[2] - tet.pts[0]);
    const double base = 0.5 * std::sqrt(Dot(n, n));
    const double height = std::fabs(Dot(tet.pts[3] - tet.pts[0], n)) / std::sqrt(Dot(n, n));
    EXPECT_TRUE(CheckClosedSolid(tet.pts, tet.ids).IsSolid());
    EXPECT_NEAR(SolidVolume(tet.pts, tet.ids), base * height / 3.0, 1e-12);

    // A polyhedron inscribed in a sphere of radius r: each face with the
    // centre is a pyramid of height sqrt(r^2 - R^2), R the face's circumradius.
    const double r = 7.0;
    const CKrPoint3d c(10.0, -20.0, 30.0);
    const testmesh::Solid ball = testmesh::Sphere(c, r, 3);
    double pyramids = 0.0;
    for (const auto& t : ball.ids) {
        const CKrPoint3d &p = ball.pts[t.nID[0]], &q = ball.pts[t.nID[1]], &s = ball.pts[t.nID[2]];
        const double a = q.Distance(s), b = p.Distance(s), e = p.Distance(q);
        const CKrPoint3d m = Cross(q - p, s - p);
        const double area = 0.5 * std::sqrt(Dot(m, m));
        const double circum = a * b * e / (4.0 * area);
        pyramids += area * std::sqrt(r * r - circum * circum) / 3.0;
    }
    const double v = SolidVolume(ball.pts, ball.ids);
    EXPECT_TRUE(CheckClosedSolid(ball.pts, ball.ids).IsSolid());
    EXPECT_NEAR(v, pyramids, 1e-9 * pyramids);
    EXPECT_LT(v, 4.0 / 3.0 * M_PI * r * r * r);
    EXPECT_GT(v, 0.97 * 4.0 / 3.0 * M_PI * r * r * r);

    // The mesh forms agree with the index forms.
    CKrMeshData mesh(0.001);
    testmesh::Load(mesh, ball);
    EXPECT_TRUE(CheckClosedSolid(mesh).IsSolid());
    EXPECT_NEAR(SolidVolume(mesh), v, 1e-9 * v);
    EXPECT_EQ(SolidVolume(std::vector<CKrPoint3d>{}, box.ids), 0.0);
}

TEST(KrMeshSolid, OpenFlippedAndOverSharedSurfacesAreNamed)
{
    const testmesh::Solid box = testmesh::Box(0, 0, 0, 1, 1, 1);
    // The first triangle of the box is (0, 2, 3); its face partner (0, 3, 1)
    // shares the edge 0-3.
    ASSERT_EQ(box.ids[0].nID[0], 0);
    ASSERT_EQ(box.ids[0].nID[1], 2);
    ASSERT_EQ(box.ids[0].nID[2], 3);
    int e[2];

    testmesh::Solid open = box;
    open.ids.erase(open.ids.begin());
    SKrSolidCheck c = CheckClosedSolid(open.pts, open.ids);
    EXPECT_FALSE(c.IsClosed());
    EXPECT_TRUE(c.IsOriented());
    EXPECT_EQ(c.openEdges, 3u);
    EXPECT_EQ(c.overSharedEdges + c.flippedEdges, 0u);
    ASSERT_TRUE(c.FirstFault(e));
    EXPECT_EQ(e[0], 0);
    EXPECT_EQ(e[1], 2);

    testmesh::Solid flipped = box;
    std::swap(flipped.ids[0].nID[1], flipped.ids[0].nID[2]);
    c = CheckClosedSolid(flipped.pts, flipped.ids);
    EXPECT_TRUE(c.IsClosed());
    EXPECT_FALSE(c.IsOriented());
    EXPECT_EQ(c.flippedEdges, 3u);
    EXPECT_EQ(c.firstFlipped[0], 0);
    EXPECT_EQ(c.firstFlipped[1], 2);
    EXPECT_EQ(c.firstOpen[0], -1);

    testmesh::Solid crowded = box;
    crowded.ids.emplace_back(0, 3, 2);  // a fin on the three edges of the first triangle
    c = CheckClosedSolid(crowded.pts, crowded.ids);
    EXPECT_FALSE(c.IsSolid());
    EXPECT_EQ(c.overSharedEdges, 3u);
    EXPECT_EQ(c.openEdges, 0u);
    ASSERT_TRUE(c.FirstFault(e));
    EXPECT_EQ(e[0], 0);
    EXPECT_EQ(e[1], 2);

    // Open takes precedence as the first fault.
    testmesh::Solid both = flipped;
    both.ids.pop_back();  // (1, 7, 5) of the last face
    c = CheckClosedSolid(both.pts, both.ids);
    ASSERT_TRUE(c.FirstFault(e));
    EXPECT_EQ(c.openEdges, 3u);
    EXPECT_EQ(e[0], 1);
    EXPECT_EQ(e[1], 5);

    // A repeated index leaves the edge from the point to itself open.
    testmesh::Solid pinched = box;
    pinched.ids.emplace_back(4, 4, 6);
    c = CheckClosedSolid(pinched.ids);
    EXPECT_EQ(c.openEdges, 1u);
    EXPECT_EQ(c.firstOpen[0], 4);
    EXPECT_EQ(c.firstOpen[1], 4);

    // A triple naming no point is left out of the check and spoils the volume.
    testmesh::Solid bad = box;
    bad.ids.emplace_back(0, 1, 8);
    c = CheckClosedSolid(bad.pts, bad.ids);
    EXPECT_EQ(c.invalidTris, 1u);
    EXPECT_FALSE(c.IsSolid());
    EXPECT_EQ(c.openEdges + c.overSharedEdges + c.flippedEdges, 0u);
    EXPECT_TRUE(std::isnan(SolidVolume(bad.pts, bad.ids)));
    EXPECT_EQ(CheckClosedSolid(bad.ids).invalidTris, 0u);  // topologically, 8 is just another point

    // On a mesh, the faulty edge joins corners of the missing triangle.
    CKrMeshData mesh(0.001);
    testmesh::Load(mesh, open);
    std::vector<CKrPoint3d> pts;
    for (const TesTriMesh::_sVertex* v : mesh.m_setVer) pts.push_back(v->pt);
    c = CheckClosedSolid(mesh);
    EXPECT_EQ(c.openEdges, 3u);
    ASSERT_TRUE(c.FirstFault(e));
    for (int k = 0; k < 2; ++k) {
        const CKrPoint3d& p = pts[static_cast<std::size_t>(e[k])];
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
        // A cube never meets itself: every pair has one triangle of each.
        if (c.s.ids.size() == 24) {
            for (const auto& p : found) EXPECT_TRUE(p.first < 12 && p.second >= 12);
        }
        if (!found.empty()) {
            EXPECT_EQ(FindSelfIntersections(c.s.pts, c.s.ids, 1).size(), 1u);
        }
    }

    // Pairs sharing corners, by hand: (0) and (1) share the edge 0-1.
    const std::vector<CKrPoint3d> pts = {{0, 0, 0}, {4, 0, 0}, {2, 3, 0}, {2, -3, 0}, {2, 1, 0},
                                         {2, 1, 2}, {2, 1, -2}, {1, 0.5, 1}, {6, 6, 6}, {3, 0.5, 0}};
    using Id = KrTesGeo::_sTri_ID;
    struct Pair {
        const char* what;
        Id s, t;
        bool meet;
    } const pairs[] = {
        {"an edge, on opposite sides in one plane", Id(0, 1, 2), Id(1, 0, 3), false},
        {"an edge, folded onto each other", Id(0, 1, 2), Id(1, 0, 4), true},
        {"an edge, standing up", Id(0, 1, 2), Id(1, 0, 5), false},
        {"a corner, the other standing through the face", Id(0, 1, 2), Id(0, 5, 6), true},
        {"a corner, the other leaning away", Id(0, 1, 2), Id(0, 7, 8), false},
        {"a corner, the other lying inside it", Id(0, 1, 2), Id(0, 9, 4), true},
        {"an edge, the other lying inside it", Id(0, 1, 2), Id(0, 4, 2), true},
        {"all three corners", Id(0, 1, 2), Id(0, 2, 1), true},
        {"repeated corner: passed over", Id(0, 1, 2), Id(0, 4, 4), false},
    };
    for (const Pair& p : pairs) {
        SCOPED_TRACE(p.what);
        EXPECT_EQ(FindSelfIntersections(pts, {p.s, p.t}).size(), p.meet ? 1u : 0u);
        EXPECT_EQ(testmesh::SelfIntersections(pts, {p.s, p.t}), p.meet ? 1 : 0);
    }
}
