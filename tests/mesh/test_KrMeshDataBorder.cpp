#include <gtest/gtest.h>

#include <vector>

#include "support/MeshTestUtil.h"
#include "KrTesGeometry/geom/KrPolyLine.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

using namespace TesTriMesh;

namespace {

// Vertex k of line l lies at (x, y) in plan.
::testing::AssertionResult At(const CKrPolyLine& l, unsigned k, double x, double y)
{
    const CKrPoint3d& p = l.GetVerts().at(k);
    if (p.x == x && p.y == y) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "vertex " << k << " at (" << p.x << ", " << p.y << ")";
}

// A closed loop: its vertex count, signed plan area and first vertex.
struct Loop {
    unsigned n;
    double area, x, y;
};

// The closed border loops of m are `want`, in that order; returns them.
std::vector<CKrPolyLine> ExpectLoops(const CKrMeshData& m, const std::vector<Loop>& want)
{
    std::vector<CKrPolyLine> lines(3);  // emptied first
    EXPECT_EQ(m.GetBorderLine(lines, true), !want.empty());
    EXPECT_EQ(lines.size(), want.size());
    for (size_t i = 0; i < lines.size() && i < want.size(); ++i) {
        EXPECT_TRUE(lines[i].IsClosed()) << i;
        EXPECT_EQ(lines[i].NumVerts(), want[i].n) << i;
        EXPECT_DOUBLE_EQ(lines[i].GetArea(), want[i].area) << i;
        EXPECT_TRUE(At(lines[i], 0, want[i].x, want[i].y)) << i;
    }
    return lines;
}

}  // namespace

TEST(MeshBorder, GridsWithHolesAndIsolatedAndTouchingTriangles)
{
    CKrMeshData m;
    ExpectLoops(m, {});  // empty mesh
    // A grid with a hole: the outer loop first (it holds the lowest vertex),
    // counter-clockwise like the triangles, without repeating its first
    // vertex; the hole clockwise.
    testmesh::Load(m, meshtest::Grid(4, 4, [](int i, int j) { return i >= 1 && i <= 2 && j >= 1 && j <= 2; }));
    const std::vector<CKrPolyLine> lines = ExpectLoops(m, {{16, 16, 0, 0}, {8, -4, 1, 1}});
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(At(lines[0], 1, 1, 0) && At(lines[0], 15, 0, 1));
    EXPECT_DOUBLE_EQ(lines[0].GetVerts()[1].z, 0.1);  // coordinates carried with z

    // One triangle: a closed loop of its three corners, in winding order,
    // counter-clockwise or clockwise.
    const std::vector<CKrPoint3d> three{{2, 0, 0}, {0, 0, 0}, {1, 1, 0}};
    m.InputData(three, {{1, 0, 2}}, true);
    EXPECT_TRUE(At(ExpectLoops(m, {{3, 1, 0, 0}})[0], 1, 2, 0));
    m.InputData(three, {{0, 1, 2}}, true);
    ExpectLoops(m, {{3, -1, 0, 0}});

    // Two triangles touching at one vertex, two squares touching at a corner,
    // and a hole touching the outer boundary at a vertex: each boundary comes
    // out as its own simple loop, not a figure eight.
    m.InputData(std::vector<CKrPoint3d>{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {2, 1, 0}, {2, 2, 0}},
                {{0, 1, 2}, {2, 3, 4}}, true);
    ExpectLoops(m, {{3, 0.5, 0, 0}, {3, 0.5, 1, 1}});
    testmesh::Load(m, meshtest::Grid(2, 2, [](int i, int j) { return i != j; }));
    ExpectLoops(m, {{4, 1, 0, 0}, {4, 1, 1, 1}});
    testmesh::Load(m, meshtest::Grid(3, 3, [](int i, int j) { return (i == 0 && j == 0) || (i == 1 && j == 1); }));
    ExpectLoops(m, {{12, 8, 0, 1}, {4, -1, 1, 1}});
}

TEST(MeshBorder, OpenChainsOnBrokenTopology)
{
    // A third triangle on edge a-b is not entered in the edge: its two other
    // edges form a chain that cannot close.
    CKrMeshData m;
    _sVertex* a = m.InsertVertex(CKrPoint3d(0, 0, 0));
    _sVertex* b = m.InsertVertex(CKrPoint3d(1, 0, 0));
    m.AddTri(a, b, m.InsertVertex(CKrPoint3d(1, 1, 0)));
    m.AddTri(b, a, m.InsertVertex(CKrPoint3d(0, -1, 0)));
    m.AddTri(a, b, m.InsertVertex(CKrPoint3d(0.5, 0, 2)));
    ExpectLoops(m, {{4, 1, 0, -1}});  // a, d, b, c from the lowest

    std::vector<CKrPolyLine> lines;
    ASSERT_TRUE(m.GetBorderLine(lines, false));
    ASSERT_EQ(lines.size(), 2u);
    const CKrPolyLine& open = lines[0].IsClosed() ? lines[1] : lines[0];
    EXPECT_FALSE(open.IsClosed());
    ASSERT_EQ(open.NumVerts(), 3u);  // b -> e -> a, along the third triangle
    EXPECT_TRUE(At(open, 0, 1, 0) && At(open, 2, 0, 0));
    EXPECT_DOUBLE_EQ(open.GetVerts()[1].z, 2);
}
