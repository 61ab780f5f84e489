// The planar re-triangulation of a triangle cut by section segments.
#include <gtest/gtest.h>

#include <array>
#include <set>
#include <utility>
#include <vector>

#include "boolean/KrBooleanCut.h"

namespace {

using namespace TesTriMesh;

double Area2(const std::vector<CKrPoint3d>& p, const std::array<int, 3>& t)
{
    const CKrPoint3d &a = p[t[0]], &b = p[t[1]], &c = p[t[2]];
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

bool HasEdge(const CKrCutTriangulator& cdt, int i, int j)
{
    for (const auto& t : cdt.Triangles())
        for (int k = 0; k < 3; ++k)
            if ((t[k] == i && t[(k + 1) % 3] == j) || (t[k] == j && t[(k + 1) % 3] == i)) return true;
    return false;
}

// The result tiles the triangle with counter-clockwise pieces, uses every
// point, and holds every segment as flagged edges.
void ExpectTiling(const CKrCutTriangulator& cdt, const std::vector<CKrPoint3d>& pts)
{
    double sum = 0.0;
    std::set<int> used;
    for (const auto& t : cdt.Triangles()) {
        const double a = Area2(pts, t);
        EXPECT_GT(a, 0.0);
        sum += a;
        used.insert(t.begin(), t.end());
    }
    EXPECT_NEAR(sum, Area2(pts, {0, 1, 2}), 1e-9 * Area2(pts, {0, 1, 2}));
    EXPECT_EQ(used.size(), pts.size());
}

TEST(KrCutTriangulator, SegmentsBecomeFlaggedEdges)
{
    // Points on all three edges, a cut across, and a closed loop inside that
    // touches nothing else.
    const std::vector<CKrPoint3d> pts = {{0, 0, 0},   {10, 0, 0},  {0, 10, 0}, {5, 0, 0},
                                         {5, 5, 0},   {0, 5, 0},   {2, 1, 0},  {3, 1, 0},
                                         {2.5, 1.8, 0}};
    CKrCutTriangulator cdt(pts);
    const std::vector<int> boundary = {0, 3, 1, 4, 2, 5};
    const std::vector<bool> flags = {false, true, false, false, false, false};
    ASSERT_TRUE(cdt.Run(boundary, flags, {{3, 5}, {6, 7}, {7, 8}, {8, 6}}));
    ExpectTiling(cdt, pts);
    for (auto [i, j] : std::vector<std::pair<int, int>>{{3, 5}, {6, 7}, {7, 8}, {8, 6}, {3, 1}}) {
        EXPECT_TRUE(HasEdge(cdt, i, j)) << i << "-" << j;
        EXPECT_TRUE(cdt.IsFlagged(i, j)) << i << "-" << j;
    }
    EXPECT_FALSE(cdt.IsFlagged(0, 3));  // a plain boundary piece
    EXPECT_FALSE(cdt.IsFlagged(1, 4));
    // The loop is a hole in nothing: its inside is triangulated too.
    int insideLoop = 0;
    for (const auto& t : cdt.Triangles()) insideLoop += std::set<int>(t.begin(), t.end()) == std::set<int>{6, 7, 8};
    EXPECT_EQ(insideLoop, 1);

    // A segment running exactly through another point is split there, and
    // both halves are flagged.
    const std::vector<CKrPoint3d> q = {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}, {6, 0, 0}, {0, 6, 0}, {3, 3, 0}};
    CKrCutTriangulator through(q);
    ASSERT_TRUE(through.Run({0, 3, 1, 2, 4}, {}, {{3, 4}}));
    ExpectTiling(through, q);
    EXPECT_TRUE(HasEdge(through, 3, 5) && through.IsFlagged(3, 5));
    EXPECT_TRUE(HasEdge(through, 5, 4) && through.IsFlagged(5, 4));
    EXPECT_FALSE(HasEdge(through, 3, 4));

    // Two segments crossing each other cannot both be edges.
    const std::vector<CKrPoint3d> x = {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}, {1, 1, 0}, {4, 4, 0}, {1, 4, 0}, {4, 1, 0}};
    CKrCutTriangulator crossing(x);
    EXPECT_FALSE(crossing.Run({0, 1, 2}, {}, {{3, 4}, {5, 6}}));
    EXPECT_TRUE(crossing.Triangles().empty());

    // Fewer than three points or a clockwise triangle give nothing.
    CKrCutTriangulator cw({{0, 0, 0}, {0, 10, 0}, {10, 0, 0}});
    EXPECT_FALSE(cw.Run({0, 1, 2}, {}, {}));
}

}  // namespace
