#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "geom/KrSpaceMath.h"
#include "geom/test_KrSpaceMathCommon.h"

using KrTesGeo::CGeoVector;
using SM = CKrSpaceMath;


TEST(KrSpaceMathSegSeg, CrossingTouchingOverlappingAndApart)
{
    struct Case {
        const char* what;
        CKrPoint3d a1, a2, b1, b2;
        int code;
        CKrPoint3d p, q;  // expected when code > 0
    };
    const CKrPoint3d o(0, 0, 0), x1(1, 0, 0), x4(4, 0, 0);
    const Case cases[] = {
        {"proper crossing in 3D", o, {2, 2, 2}, {0, 2, 0}, {2, 0, 2}, 1, {1, 1, 1}, {1, 1, 1}},
        {"skew: crossing in plan only", o, {2, 2, 0}, {0, 2, 1}, {2, 0, 1}, 0, {}, {}},
        {"skew within the tolerance", o, {2, 2, 0}, {0, 2, 5e-7}, {2, 0, 5e-7}, 1, {1, 1, 2.5e-7}, {1, 1, 2.5e-7}},
        {"skew just beyond it", o, {2, 2, 0}, {0, 2, 2e-6}, {2, 0, 2e-6}, 0, {}, {}},
        {"T-junction", o, x4, x1, {1, 3, 0}, 2, x1, x1},
        {"end to end at an angle", o, x1, x1, {1, 1, 1}, 2, x1, x1},
        {"b stops short of a", o, x4, {1, 0.5, 0}, {1, 3, 0}, 0, {}, {}},
        {"collinear overlap, along a", x4, o, x1, {6, 0, 0}, 3, x4, x1},
        {"short one inside the long one", {2, 2, 2}, {3, 3, 3}, o, {9, 9, 9}, 3, {2, 2, 2}, {3, 3, 3}},
        {"collinear end to end", o, x1, {3, 0, 0}, x1, 2, x1, x1},
        {"collinear with a gap", o, x1, {1.1, 0, 0}, {3, 0, 0}, 0, {}, {}},
        {"parallel side by side", o, x1, {0, 1e-3, 0}, {1, 1e-3, 0}, 0, {}, {}},
        {"point-like segment on the other", {0.5, 0, 0}, {0.5, 0, 0}, o, x1, 2, {0.5, 0, 0}, {0.5, 0, 0}},
        {"point-like segment off it", o, x1, {0.5, 1, 0}, {0.5, 1, 0}, 0, {}, {}},
        {"two coincident points", {2, 2, 2}, {2, 2, 2}, {2, 2, 2}, {2, 2, 2}, 2, {2, 2, 2}, {2, 2, 2}},
        {"long, nearly parallel, crossing", o, {1000, 0, 0}, {0, -0.05, 0}, {1000, 0.05, 0}, 1, {500, 0, 0},
         {500, 0, 0}},
    };
    for (const Case& c : cases) {
        CKrPoint3d p(9, 9, 9), q(9, 9, 9);
        EXPECT_EQ(SM::Test_Intersect_Seg_And_Seg_3D(c.a1, c.a2, c.b1, c.b2, p, q), c.code) << c.what;
        // End points are written exactly; a crossing point is computed.
        const double tol = c.code == 1 ? 1e-9 : 0.0;
        EXPECT_TRUE(Near(p, c.code > 0 ? c.p : CKrPoint3d(9, 9, 9), tol)) << c.what;
        EXPECT_TRUE(Near(q, c.code > 0 ? c.q : CKrPoint3d(9, 9, 9), tol)) << c.what;
    }

    // The answer does not depend on the order of the segments or their ends.
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> g(0, 3);
    CKrPoint3d p, q;
    for (int i = 0; i < 2000; ++i) {
        const CKrPoint3d a1(g(rng), g(rng), 0), a2(g(rng), g(rng), 0), b1(g(rng), g(rng), 0),
            b2(g(rng), g(rng), 0);
        CKrPoint3d p2, q2;
        const int r = SM::Test_Intersect_Seg_And_Seg_3D(a1, a2, b1, b2, p, q);
        EXPECT_EQ(SM::Test_Intersect_Seg_And_Seg_3D(b2, b1, a1, a2, p2, q2), r);
        if (r > 0) {
            // The point written lies on both segments.
            EXPECT_LE(SM::Get_Dist_Point_To_LineSection3D_Adv(p.x, p.y, p.z, a1.x, a1.y, a1.z, a2.x, a2.y, a2.z), 1e-9);
            EXPECT_LE(SM::Get_Dist_Point_To_LineSection3D_Adv(p.x, p.y, p.z, b1.x, b1.y, b1.z, b2.x, b2.y, b2.z), 1e-9);
        }
    }
}

TEST(KrSpaceMathSegLine, PlanCrossingOfASegmentAndALine)
{
    CKrPoint3d p(9, 9, 9);
    const CKrPoint3d l1(0, 0, 100), l2(1, 0, -50);  // the x axis in plan; its z is irrelevant
    EXPECT_EQ(SM::Test_Insertsect_Seg_And_Line_2D(CKrPoint3d(5, -1, 0), CKrPoint3d(5, 3, 8), l1, l2, p), 1);
    EXPECT_TRUE(Near(p, CKrPoint3d(5, 0, 2)));  // z interpolated along the segment
    // The line is infinite: far beyond l1-l2 still counts.
    EXPECT_EQ(SM::Test_Insertsect_Seg_And_Line_2D(CKrPoint3d(-50, -1, 0), CKrPoint3d(-52, 1, 0), l1, l2, p), 1);
    EXPECT_TRUE(Near(p, CKrPoint3d(-51, 0, 0)));
    // An end point on the line is written as it is.
    EXPECT_EQ(SM::Test_Insertsect_Seg_And_Line_2D(CKrPoint3d(3, 0, 7), CKrPoint3d(4, 5, 0), l1, l2, p), 1);
    EXPECT_TRUE(Near(p, CKrPoint3d(3, 0, 7), 0.0));
    EXPECT_EQ(SM::Test_Insertsect_Seg_And_Line_2D(CKrPoint3d(4, 5, 0), CKrPoint3d(3, 5e-7, 7), l1, l2, p), 1);
    EXPECT_TRUE(Near(p, CKrPoint3d(3, 5e-7, 7), 0.0));
    p = CKrPoint3d(9, 9, 9);
    EXPECT_EQ(SM::Test_Insertsect_Seg_And_Line_2D(CKrPoint3d(3, 1, 0), CKrPoint3d(4, 5, 0), l1, l2, p), 0);
    EXPECT_EQ(SM::Test_Insertsect_Seg_And_Line_2D(CKrPoint3d(3, 0, 0), CKrPoint3d(9, 0, 4), l1, l2, p), 2);  // along
    EXPECT_TRUE(Near(p, CKrPoint3d(9, 9, 9), 0.0));
    EXPECT_EQ(SM::Test_Insertsect_Seg_And_Line_2D(CKrPoint3d(3, 1, 0), CKrPoint3d(4, -1, 0), l1, CKrPoint3d(0, 0, 5),
                                                  p),
              -1);  // no line
}

TEST(KrSpaceMathRayBox, ClosedBoxSlabTest)
{
    const CKrPoint3d lo(0, 0, 0), hi(1, 1, 1);
    EXPECT_TRUE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(-1, 0.5, 0.5), CGeoVector(1, 0, 0), lo, hi));
    EXPECT_FALSE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(-1, 0.5, 0.5), CGeoVector(-1, 0, 0), lo, hi));  // behind
    EXPECT_TRUE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(0.5, 0.5, 0.5), CGeoVector(-1, 0, 0), lo, hi));  // inside
    // Parallel to a slab: inside it (also exactly on its face) or not.
    EXPECT_TRUE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(-1, 1, 0.5), CGeoVector(1, 0, 0), lo, hi));
    EXPECT_FALSE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(-1, 1.0000001, 0.5), CGeoVector(1, 0, 0), lo, hi));
    // Grazing an edge and a corner exactly.
    EXPECT_TRUE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(-1, 3, 0.5), CGeoVector(1, -1, 0), lo, hi));
    EXPECT_TRUE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(2, 2, 2), CGeoVector(-1, -1, -1), lo, hi));
    EXPECT_TRUE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(-1, -1, 2), CGeoVector(1, 1, -1), lo, hi));  // at (0,0,1)
    EXPECT_FALSE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(-1, 3.001, 0.5), CGeoVector(1, -1, 0), lo, hi));
    // Zero direction: the origin alone.
    EXPECT_TRUE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(1, 0, 0.3), CGeoVector(0, 0, 0), lo, hi));
    EXPECT_FALSE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(1, 0, 1.3), CGeoVector(0, 0, 0), lo, hi));
    // A flat box (zero thickness) and an empty one.
    EXPECT_TRUE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(0.5, 0.5, 5), CGeoVector(0, 0, -1), lo,
                                                   CKrPoint3d(1, 1, 0)));
    EXPECT_FALSE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(0.5, 0.5, 5), CGeoVector(0, 0, -1), hi, lo));
    // Large and tiny direction components, and a vertical ray over an octree box.
    EXPECT_TRUE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(-1e6, 0.5, 0.5), CGeoVector(1, 1e-300, 0), lo, hi));
    EXPECT_TRUE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(500, 200, -1e4), CGeoVector(0, 0, 1),
                                                   CKrPoint3d(400, 100, 10), CKrPoint3d(500, 300, 20)));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(0.5, 0.5, 0.5), CGeoVector(nan, 0, 0), lo, hi));
}

TEST(KrSpaceMathLineTri, VerticalLinesGiveExactHeightsOnEdgesAndCorners)
{
    const CKrPoint3d a(0, 0, 10), b(4, 0, 14), c(0, 4, 2);
    const CGeoVector up(0, 0, 1);
    CKrPoint3d hit;
    ASSERT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(1, 1, -100), up, a, b, c, hit, 1e-6), 1);
    EXPECT_TRUE(Near(hit, CKrPoint3d(1, 1, 9)));  // z = 10 + x - 2y
    ASSERT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(2, 0, 0), up, a, b, c, hit, 1e-6), 1);
    EXPECT_EQ(hit.z, 12.0);  // mid-edge AB, exactly
    ASSERT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(2, 2, 0), up, a, b, c, hit, 1e-6), 1);
    EXPECT_EQ(hit.z, 8.0);  // mid-edge BC
    ASSERT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(4, 0, 50), up, a, b, c, hit, 1e-6), 1);
    EXPECT_TRUE(Near(hit, b, 0.0));  // corner B, exactly
    // Just outside within eps: a hit on the boundary; beyond eps: none.
    ASSERT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(2, -5e-7, 0), up, a, b, c, hit, 1e-6), 1);
    EXPECT_NEAR(hit.z, 12.0, 1e-6);
    EXPECT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(2, -2e-6, 0), up, a, b, c, hit, 1e-6), 0);
    EXPECT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(2, -2e-6, 0), up, a, b, c, hit, 1e-5), 1);
    // A line is a line: the direction's sense and the start height do not matter.
    ASSERT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(1, 1, 100), CGeoVector(0, 0, -3), a, b, c, hit, 1e-6),
              1);
    EXPECT_NEAR(hit.z, 9.0, 1e-12);
    // Survey-sized coordinates: the shared edge of two triangles gives one height.
    const CKrPoint3d p0(500000.125, 4000000.25, 120.5), p1(500010.125, 4000003.25, 122.0),
        p2(500004.125, 4000012.25, 119.0), p3(500013.125, 4000011.25, 125.0);
    const CKrPoint3d mid = (p1 + p2) * 0.5;
    CKrPoint3d h1, h2;
    ASSERT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(mid, up, p0, p1, p2, h1, 1e-6), 1);
    ASSERT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(mid, up, p1, p3, p2, h2, 1e-6), 1);
    EXPECT_NEAR(h1.z, mid.z, 1e-9);
    EXPECT_NEAR(h2.z, mid.z, 1e-9);
    // A vertical triangle is parallel to a vertical line: no hit, even when the
    // line runs inside it. A degenerate triangle or a zero direction: -1.
    EXPECT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(1, 0, 0), up, CKrPoint3d(0, 0, 0), CKrPoint3d(4, 0, 0),
                                                      CKrPoint3d(0, 0, 4), hit, 1e-6),
              0);
    EXPECT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(1, 1, 0), up, CKrPoint3d(0, 0, 0),
                                                      CKrPoint3d(0.3, 0.7, 0), CKrPoint3d(3, 7, 5), hit, 1e-6),
              0);
    EXPECT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(1, 0, 0), up, a, b, CKrPoint3d(8, 0, 18), hit, 1e-6),
              -1);
    EXPECT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(1, 1, 0), CGeoVector(0, 0, 0), a, b, c, hit, 1e-6),
              -1);
    // A slanted line through a tilted triangle.
    ASSERT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(CKrPoint3d(0, 0, 0), CGeoVector(1, 1, 1), CKrPoint3d(3, 0, 0),
                                                      CKrPoint3d(0, 3, 0), CKrPoint3d(0, 0, 3), hit, 1e-6),
              1);
    EXPECT_TRUE(Near(hit, CKrPoint3d(1, 1, 1)));
}

TEST(KrSpaceMathRayTri, RaysHitOnlyAheadAndTheOriginCounts)
{
    const CKrPoint3d a(0, 0, 0), b(4, 0, 0), c(0, 4, 0);
    CKrPoint3d hit(9, 9, 9);
    ASSERT_EQ(SM::Test_Intersect_Ray_And_Triangle_3D(CKrPoint3d(1, 1, 5), CGeoVector(0, 0, -2), a, b, c, hit), 1);
    EXPECT_TRUE(Near(hit, CKrPoint3d(1, 1, 0)));
    hit = CKrPoint3d(9, 9, 9);
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Triangle_3D(CKrPoint3d(1, 1, 5), CGeoVector(0, 0, 2), a, b, c, hit), 0);
    EXPECT_TRUE(Near(hit, CKrPoint3d(9, 9, 9), 0.0));  // untouched on a miss
    ASSERT_EQ(SM::Test_Intersect_Ray_And_Triangle_3D(CKrPoint3d(1, 1, 0), CGeoVector(0, 0, 1), a, b, c, hit), 1);
    EXPECT_TRUE(Near(hit, CKrPoint3d(1, 1, 0)));  // the origin itself
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Triangle_3D(CKrPoint3d(1, 1, 5e-7), CGeoVector(0, 0, 1), a, b, c, hit), 1);
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Triangle_3D(CKrPoint3d(1, 1, 1e-5), CGeoVector(0, 0, 1), a, b, c, hit), 0);
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Triangle_3D(CKrPoint3d(5, 5, 5), CGeoVector(0, 0, -1), a, b, c, hit), 0);
    ASSERT_EQ(SM::Test_Intersect_Ray_And_Triangle_3D(CKrPoint3d(-1, -1, 1), CGeoVector(1, 1, -1), a, b, c, hit), 1);
    EXPECT_TRUE(Near(hit, a));  // through the corner
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Triangle_3D(CKrPoint3d(-1, 1, 0), CGeoVector(1, 0, 0), a, b, c, hit), 0);
}

TEST(KrSpaceMathRayPlane, HitInPlaneAndBehind)
{
    const CKrPoint3d on(0, 0, 2);
    const CGeoVector n(0, 0, 3);
    CKrPoint3d hit(9, 9, 9);
    ASSERT_EQ(SM::Test_Intersect_Ray_And_Plane_3D(CKrPoint3d(1, 1, 5), CGeoVector(1, 0, -1), on, n, hit), 1);
    EXPECT_TRUE(Near(hit, CKrPoint3d(4, 1, 2)));
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Plane_3D(CKrPoint3d(1, 1, 5), CGeoVector(1, 0, 1), on, n, hit), 0);  // behind
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Plane_3D(CKrPoint3d(1, 1, 5), CGeoVector(1, 0, 0), on, n, hit), 0);  // parallel
    hit = CKrPoint3d(9, 9, 9);
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Plane_3D(CKrPoint3d(1, 1, 2), CGeoVector(-3, 2, 0), on, n, hit), 2);  // in it
    EXPECT_TRUE(Near(hit, CKrPoint3d(9, 9, 9), 0.0));
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Plane_3D(CKrPoint3d(1, 1, 2), CGeoVector(0, 0, 0), on, n, hit), 2);
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Plane_3D(CKrPoint3d(1, 1, 3), CGeoVector(0, 0, 0), on, n, hit), 0);
    // Starting on the plane and leaving it: a hit at the origin, either way.
    ASSERT_EQ(SM::Test_Intersect_Ray_And_Plane_3D(CKrPoint3d(1, 1, 2.0000005), CGeoVector(0, 0, 1), on, n, hit), 1);
    EXPECT_TRUE(Near(hit, CKrPoint3d(1, 1, 2.0000005), 0.0));
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Plane_3D(CKrPoint3d(1, 1, 5), CGeoVector(1, 0, -1), on, CGeoVector(0, 0, 0),
                                                  hit),
              0);
    // A ray from a point of a triangle towards its centroid lies in its plane.
    const CKrPoint3d ta(1, 2, 3), tb(4, -1, 7), tc(-2, 5, 1);
    const CKrPoint3d centroid = (ta + tb + tc) / 3.0;
    const CGeoVector tn = CGeoVector(tb - ta) ^ CGeoVector(tc - ta);
    EXPECT_EQ(SM::Test_Intersect_Ray_And_Plane_3D(ta, centroid - ta, tb, tn, hit), 2);
}

TEST(KrSpaceMathSegPlane, CrossingEndOnPlaneAndInPlane)
{
    const CKrPoint3d on(0, 0, 1);
    const CGeoVector n(0, 0, -5);  // orientation and length do not matter
    CKrPoint3d out(9, 9, 9);
    ASSERT_EQ(SM::Test_Intersect_Seg_And_Plane_3D(CKrPoint3d(0, 0, 0), CKrPoint3d(4, 2, 4), on, n, out), 1);
    EXPECT_TRUE(Near(out, CKrPoint3d(1, 0.5, 1)));
    ASSERT_EQ(SM::Test_Intersect_Seg_And_Plane_3D(CKrPoint3d(4, 2, 4), CKrPoint3d(0, 0, 0), on, n, out), 1);
    EXPECT_TRUE(Near(out, CKrPoint3d(1, 0.5, 1)));
    ASSERT_EQ(SM::Test_Intersect_Seg_And_Plane_3D(CKrPoint3d(3, 3, 1.0000005), CKrPoint3d(4, 2, 4), on, n, out), 1);
    EXPECT_TRUE(Near(out, CKrPoint3d(3, 3, 1.0000005), 0.0));
    out = CKrPoint3d(9, 9, 9);
    EXPECT_EQ(SM::Test_Intersect_Seg_And_Plane_3D(CKrPoint3d(3, 3, 1), CKrPoint3d(4, 2, 1), on, n, out), 2);
    EXPECT_EQ(SM::Test_Intersect_Seg_And_Plane_3D(CKrPoint3d(3, 3, 2), CKrPoint3d(4, 2, 1.5), on, n, out), 0);
    EXPECT_TRUE(Near(out, CKrPoint3d(9, 9, 9), 0.0));
    EXPECT_EQ(SM::Test_Intersect_Seg_And_Plane_3D(CKrPoint3d(3, 3, 2), CKrPoint3d(4, 2, 0), on, CGeoVector(), out), -1);
}

TEST(KrSpaceMathMapSeg, PlanPieceOverATriangleLiftedOntoIt)
{
    const CKrPoint3d a(0, 0, 0), b(4, 0, 4), c(0, 4, 8);  // z = x + 2y
    CKrPoint3d s, e;
    // Crossing the whole triangle: clipped at its edges, lifted.
    ASSERT_TRUE(SM::Test_Intersect_MapSeg_And_Tri_3D(a, b, c, CKrPoint3d(-1, 1, 99), CKrPoint3d(5, 1, 99), s, e));
    EXPECT_TRUE(Near(s, CKrPoint3d(0, 1, 2)));
    EXPECT_TRUE(Near(e, CKrPoint3d(3, 1, 5)));
    // Reversed direction, clockwise triangle: the piece follows p1 -> p2.
    ASSERT_TRUE(SM::Test_Intersect_MapSeg_And_Tri_3D(a, c, b, CKrPoint3d(5, 1, 0), CKrPoint3d(-1, 1, 0), s, e));
    EXPECT_TRUE(Near(s, CKrPoint3d(3, 1, 5)));
    EXPECT_TRUE(Near(e, CKrPoint3d(0, 1, 2)));
    // Fully inside: the segment itself, lifted.
    ASSERT_TRUE(SM::Test_Intersect_MapSeg_And_Tri_3D(a, b, c, CKrPoint3d(1, 1, 0), CKrPoint3d(2, 1, 0), s, e));
    EXPECT_TRUE(Near(s, CKrPoint3d(1, 1, 3)));
    EXPECT_TRUE(Near(e, CKrPoint3d(2, 1, 4)));
    // Along an edge: kept, with the edge's heights; through a corner only: s == e.
    ASSERT_TRUE(SM::Test_Intersect_MapSeg_And_Tri_3D(a, b, c, CKrPoint3d(-2, 0, 0), CKrPoint3d(2, 0, 0), s, e));
    EXPECT_TRUE(Near(s, a));
    EXPECT_TRUE(Near(e, CKrPoint3d(2, 0, 2)));
    ASSERT_TRUE(SM::Test_Intersect_MapSeg_And_Tri_3D(a, b, c, CKrPoint3d(3, 2, 0), CKrPoint3d(5, -2, 0), s, e));
    EXPECT_TRUE(Near(s, b, 1e-6));
    EXPECT_TRUE(Near(e, b, 1e-6));
    // Apart; a triangle seen edge-on from above.
    EXPECT_FALSE(SM::Test_Intersect_MapSeg_And_Tri_3D(a, b, c, CKrPoint3d(3, 3, 0), CKrPoint3d(5, 5, 0), s, e));
    EXPECT_FALSE(SM::Test_Intersect_MapSeg_And_Tri_3D(a, b, c, CKrPoint3d(-1, -1, 0), CKrPoint3d(-1, 5, 0), s, e));
    EXPECT_FALSE(SM::Test_Intersect_MapSeg_And_Tri_3D(a, CKrPoint3d(4, 0, 0), CKrPoint3d(2, 0, 9),
                                                      CKrPoint3d(1, -1, 0), CKrPoint3d(1, 1, 0), s, e));
    // A plan point (zero-length segment) inside.
    ASSERT_TRUE(SM::Test_Intersect_MapSeg_And_Tri_3D(a, b, c, CKrPoint3d(1, 2, 0), CKrPoint3d(1, 2, 0), s, e));
    EXPECT_TRUE(Near(s, CKrPoint3d(1, 2, 5)));
    EXPECT_TRUE(Near(e, s));
}

TEST(KrSpaceMathTriDist, CollisionMeasureOfTwoTriangles)
{
    const CKrPoint3d a0(0, 0, 0), a1(3, 0, 0), a2(0, 3, 0);
    double d = -1.0;
    // Meeting (here sharing a corner): 0.
    ASSERT_TRUE(SM::Test_Dist_Tri_And_Tri_3D(a0, a1, a2, a1, CKrPoint3d(6, 0, 0), CKrPoint3d(3, 3, 3), d));
    EXPECT_EQ(d, 0.0);
    // Apart, not coplanar: the centroid distance, not the gap.
    ASSERT_TRUE(SM::Test_Dist_Tri_And_Tri_3D(a0, a1, a2, CKrPoint3d(0, 0, 1), CKrPoint3d(3, 0, 1),
                                             CKrPoint3d(0, 3, 4), d));
    EXPECT_DOUBLE_EQ(d, CKrPoint3d(1, 1, 0).Distance(CKrPoint3d(1, 1, 2)));
    // Coplanar and apart: the centroid distance too.
    ASSERT_TRUE(SM::Test_Dist_Tri_And_Tri_3D(a0, a1, a2, CKrPoint3d(10, 0, 0), CKrPoint3d(13, 0, 0),
                                             CKrPoint3d(10, 3, 0), d));
    EXPECT_DOUBLE_EQ(d, 10.0);
    // A degenerate triangle: false, distance untouched.
    d = -1.0;
    EXPECT_FALSE(SM::Test_Dist_Tri_And_Tri_3D(a0, a1, CKrPoint3d(6, 0, 0), CKrPoint3d(0, 0, 1), CKrPoint3d(3, 0, 1),
                                              CKrPoint3d(0, 3, 4), d));
    EXPECT_EQ(d, -1.0);
}
