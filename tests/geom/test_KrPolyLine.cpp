#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "KrTesGeometry/geom/KrPolyLine.h"
#include "support/GeomTestUtil.h"

using KrTesGeo::CGeoVector;

TEST(KrPolyLine, EditingLengthsAndPoints)
{
    // Each vertex is compared with its own predecessor: a run creeping by
    // less than the tolerance per step collapses; later repeats stay.
    CKrPolyLine pl;
    pl.SetVertex({{0, 0, 0}, {6e-7, 0, 0}, {1.2e-6, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 0, 0}});
    EXPECT_EQ(pl.NumVerts(), 4u);

    // Segment lengths 13 (rising) and 5 (flat).
    const CKrPolyLine rise = Line({{0, 0, 0}, {3, 4, 12}, {6, 8, 12}});
    EXPECT_DOUBLE_EQ(rise.GetLength2d(), 10.0);
    EXPECT_DOUBLE_EQ(rise.GetLength(CKrPoint3d(4.5, 6, 12)), 15.5);
    EXPECT_EQ(rise.GetLength(CKrPoint3d(1.5, 2, 0)), -1.0);  // under the line
    const CKrPolyLine sq = Line({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}}, true);
    EXPECT_DOUBLE_EQ(sq.GetLength(CKrPoint3d(0, 1, 0)), 7.0);  // on the closing segment
    EXPECT_DOUBLE_EQ(sq.GetArea(), 4.0);
    EXPECT_EQ(Line(sq.GetVerts()).GetArea(), 0.0);  // open: no area

    int i = -1, j = -1;
    CKrPoint3d p;
    ASSERT_TRUE(rise.GetPoint(13.0, p, i, j));  // a vertex belongs to the segment ending there
    EXPECT_TRUE(Near(p, CKrPoint3d(3, 4, 12)) && i == 0 && j == 1);
    ASSERT_TRUE(rise.GetPoint(18.0 + 5e-7, p));  // within tolerance of the end
    EXPECT_TRUE(Near(p, CKrPoint3d(6, 8, 12)));
    EXPECT_FALSE(rise.GetPoint(18.001, p));
    ASSERT_TRUE(sq.GetPoint(7.0, p, i, j));
    EXPECT_TRUE(Near(p, CKrPoint3d(0, 1, 0)) && i == 3 && j == 0);

    // Elevation interpolated along the segment's longer plan axis.
    const CKrPolyLine bent = Line({{0, 0, 0}, {4, 0, 8}, {4, 3, 2}});
    double z = 0;
    ASSERT_TRUE(bent.GetZbyXY(4, 2, z));
    EXPECT_DOUBLE_EQ(z, 4.0);
    EXPECT_FALSE(bent.GetZbyXY(2, 1, z));
}

TEST(KrPolyLine, HitTestsNearestPointsAndIntersections)
{
    // Vertex 3 (1,0,0) lies on segment 0 as well: the vertex wins.
    const CKrPolyLine pl = Line({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {1, 0, 0}});
    int i = -5, j = -5;
    EXPECT_EQ(pl.HitTest(CKrPoint3d(1, 0, 0), i, j), 1);
    EXPECT_EQ(i, 3);
    EXPECT_EQ(pl.HitTest(CKrPoint3d(0.5, 0, 1), i, j), 0);    // above it in 3D
    EXPECT_EQ(pl.HitTest2D(CKrPoint3d(0.5, 0, 1), i, j), 2);  // on it in plan
    // The outline test treats an open line as a ring, the plan test does not.
    const CKrPolyLine open = Line({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}});
    int code = 9;
    ASSERT_TRUE(open.HitTest(CKrPoint3d(0, 1, 0), code, 1e-6));
    EXPECT_EQ(code, -1);
    EXPECT_FALSE(open.IsOn2D(CKrPoint3d(0, 1, 0), 1e-6));
    EXPECT_FALSE(Line({{0, 0, 0}, {1, 1, 1}}).HitTest(CKrPoint3d(0, 0, 0), code, 1e-6));  // no ring

    const CKrPolyLine bend = Line({{0, 0, 0}, {4, 0, 4}, {4, 4, 0}});
    CKrPoint3d near;
    ASSERT_TRUE(bend.GetNearPt2D(CKrPoint3d(2, 2, 0), near, i, j));  // equally far: the earlier
    EXPECT_TRUE(Near(near, CKrPoint3d(2, 0, 2)) && i == 0);
    ASSERT_TRUE(bend.GetNearPt2D(CKrPoint3d(6, 3, 0), near, i, j));
    EXPECT_TRUE(Near(near, CKrPoint3d(4, 3, 1)) && i == 1);

    // y = 1 crosses the zigzag at x = 1, 3, 5, 7.
    const CKrPolyLine zig = Line({{0, 0, 0}, {2, 2, 0}, {4, 0, 0}, {6, 2, 0}, {8, 0, 0}});
    CKrPoint3d pt;
    ASSERT_TRUE(zig.IntersectWithLine2D(CKrPoint3d(3.5, 1, 0), CKrPoint3d(4, 1, 0), pt));
    EXPECT_NEAR(pt.x, 5.0, 1e-9);  // nearest ahead, not the nearer one behind
    EXPECT_FALSE(zig.IntersectWithLine2D(CKrPoint3d(7.5, 1, 0), CKrPoint3d(9, 1, 0), pt));
    ASSERT_TRUE(zig.IntersectWithPolyLine(Line({{5, -1, 0}, {5, 3, 0}, {1, 3, 0}, {1, -1, 0}}), pt));
    EXPECT_NEAR(pt.x, 1.0, 1e-9);  // this line's first segment is tried first
}

TEST(KrPolyLine, DirectionNormalAndJoiningPieces)
{
    const CKrPolyLine pl = Line({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}});
    CGeoVector d;
    ASSERT_TRUE(pl.GetPtDir(CKrPoint3d(2, 0, 0), d));  // corner: mean direction
    EXPECT_TRUE(Near(d, CKrPoint3d(std::sqrt(0.5), std::sqrt(0.5), 0), 1e-15));
    ASSERT_TRUE(pl.GetPtDir(CKrPoint3d(0, 2, 0), d));  // open end
    EXPECT_DOUBLE_EQ(d.x, -1.0);
    ASSERT_TRUE(Line({{0, 0, 0}, {2, 0, 0}, {1, 0, 0}}).GetPtDir(CKrPoint3d(2, 0, 0), d));  // turns back
    EXPECT_DOUBLE_EQ(d.x, -1.0);

    // The plane z = x + 1000, far from the origin, wound clockwise from above.
    CGeoVector n;
    ASSERT_TRUE(Line({{1e6, 1e6, 1e6 + 1000}, {1e6 + 1, 1e6 + 2, 1e6 + 1001}, {1e6 + 3, 1e6 + 5, 1e6 + 1003},
                      {1e6 + 3, 1e6, 1e6 + 1003}})
                    .GetNor(n));
    EXPECT_TRUE(Near(n, CKrPoint3d(std::sqrt(0.5), 0, -std::sqrt(0.5))));
    // An open zigzag in the plane x = 3: its implied ring cancels out.
    ASSERT_TRUE(Line({{3, 0, 0}, {3, 1, 0}, {3, 0, 1}, {3, 1, 1}}).GetNor(n));
    EXPECT_NEAR(std::fabs(n.x), 1.0, 1e-12);
    EXPECT_FALSE(Line({{0, 0, 0}, {1, 1, 1}, {3, 3, 3}}).GetNor(n));

    // A-B, C-B (reversed), D-C (reversed), and E-A joining at the front.
    CKrPolyLine joined;
    ASSERT_TRUE(joined.BuildPLine({Line({{0, 0, 0}, {1, 0, 1}}), Line({{2, 0, 2}, {1, 5e-7, 1}}),
                                   Line({{3, 0, 3}, {2, 0, 2}}), Line({{-1, 0, -1}, {0, 0, 0}})}));
    ASSERT_EQ(joined.NumVerts(), 5u);
    EXPECT_FALSE(joined.IsClosed());
    for (unsigned k = 0; k < 5; ++k) EXPECT_NEAR(joined.GetVerts()[k].z, k - 1.0, 1e-9);
    // Pieces closing a ring: a closed line without a repeated vertex.
    ASSERT_TRUE(joined.BuildPLine({Line({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}), Line({{0, 0, 0}, {0, 1, 0}, {1, 1, 0}})}));
    EXPECT_TRUE(joined.IsClosed() && joined.NumVerts() == 4u);
    // A branch: false, and the line is left as it was.
    EXPECT_FALSE(joined.BuildPLine(
        {Line({{0, 0, 0}, {1, 0, 0}}), Line({{1, 0, 0}, {2, 0, 0}}), Line({{1, 0, 0}, {1, 1, 0}})}));
    EXPECT_TRUE(joined.NumVerts() == 4u && joined.IsClosed());
}
