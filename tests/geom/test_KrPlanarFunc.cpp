#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "KrTesGeometry/geom/KrPlanarFunc.h"
#include "KrTesGeometry/geom/KrPolyLine.h"
#include "support/GeomTestUtil.h"

using namespace KrTesGeo;

TEST(KrPlanarFunc, IsPtLeftLineIsExactlyAntisymmetricAndStrictAtEps)
{
    // d == eps is "on"; d == -eps is already right.
    EXPECT_EQ(IsPtLeftLine(0.5, 1e-3, 0, 0, 1, 0, 1e-3), 0);
    EXPECT_EQ(IsPtLeftLine(0.5, -1e-3, 0, 0, 1, 0, 1e-3), -1);
    EXPECT_EQ(IsPtLeftLine(0.5, -1e-3, 1, 0, 0, 0, 1e-3), 1);

    // Points interpolated onto long lines sit a rounding error off them; with
    // eps = 0 that error decides, and must flip exactly with the line.
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(-1e5, 1e5), t(0.0, 1.0);
    for (int k = 0; k < 2000; ++k) {
        const double ax = u(rng), ay = u(rng), bx = u(rng), by = u(rng), s = t(rng);
        const double px = ax + (bx - ax) * s, py = ay + (by - ay) * s;
        ASSERT_EQ(IsPtLeftLine(px, py, ax, ay, bx, by, 0.0), -IsPtLeftLine(px, py, bx, by, ax, ay, 0.0)) << k;
    }
}

TEST(KrPlanarFunc, SegmentIntersectionsAndPointsOnSegments)
{
    struct Case {
        const char* what;
        double s[8], eps;
        bool widened;
        int code;
        double x, y;
    };
    const Case cases[] = {
        // The angle is rounded to float on the way: the crossing within 1e-6.
        {"crossing", {0, 0, 4, 2, 1, 2, 3, -1}, 1e-6, false, 1, 1.75, 0.875},
        // Shared ends: code 2, P1 reported before P2 is looked at.
        {"shared end", {0, 0, 4, 2, 4, 2, 7, 1}, 1e-6, false, 2, 4, 2},
        {"both ends near", {1, 1, 3, 3, 3 + 5e-7, 3, 1, 1 - 5e-7}, 1e-6, false, 2, 1, 1},
        {"collinear overlap", {0, 0, 4, 4, 2, 2, 6, 6}, 1e-6, false, 0, 9, 9},
        // A T-junction: the plain box test wants an overlap of more than eps,
        // which a flat box never gives; the widened one finds the touch.
        {"T plain", {0, 0, 4, 0, 2, 0, 2, 3}, 1e-6, false, 0, 9, 9},
        {"T widened", {0, 0, 4, 0, 2, 0, 2, 3}, 1e-6, true, 1, 2, 0},
        {"up to eps past the end", {0, 0, 10, 0, 9.0005, -5, 11.0005, 5}, 1e-3, false, 1, 10.0005, 0},
    };
    for (const Case& c : cases) {
        double x = 9, y = 9;
        const auto f = c.widened ? JH_GetInterPoint_LineSection_Ex : JH_GetInterPoint_LineSection;
        EXPECT_EQ(f(c.s[0], c.s[1], c.s[2], c.s[3], c.s[4], c.s[5], c.s[6], c.s[7], &x, &y, c.eps), c.code) << c.what;
        const double tol = c.code == 1 ? 1e-6 : 0.0;  // ends are reported as they are
        EXPECT_NEAR(x, c.x, tol) << c.what;
        EXPECT_NEAR(y, c.y, tol) << c.what;
    }
    EXPECT_TRUE(IsIntersectLineSeg(0, 0, 4, 2, 1, 2, 3, -1, 1e-6));
    EXPECT_FALSE(IsIntersectLineSeg(0, 0, 4, 2, 4, 2, 6, 0, 1e-6));
    EXPECT_FALSE(IsIntersectLineSeg(0, 0, 4, 4, 1, 1, 6, 6, 1e-6));
    EXPECT_FALSE(IsIntersectLineSeg(0, 0, 4, 4, 2, 2, 4, 0, 1e-6));

    EXPECT_EQ(HitSeg3D(2, 2, 2, 0, 0, 0, 4, 4, 4), 1);
    EXPECT_EQ(HitSeg3D(4, 4, 4 + 5e-7, 0, 0, 0, 4, 4, 4), 0);
    EXPECT_EQ(HitSeg3D(2, 2.001, 0, 0, 0, 0, 4, 4, 0), -1);  // beside it, inside its box
    // The end tests compare u.v and |u|^2 with an absolute 1e-6: on a short
    // segment a point projecting well inside still counts as at an end.
    EXPECT_EQ(HitSeg3D(5e-4, 0, 0, 0, 0, 0, 1e-3, 0, 0), 0);
    // The Ex form's box is exact: 5e-7 above a horizontal segment is out.
    EXPECT_TRUE(IsPtInSeg2D(1, 5e-7, 0, 0, 2, 0));
    EXPECT_FALSE(IsPtInSeg2DEx(1, 5e-7, 0, 0, 2, 0, 1e-6));
    EXPECT_TRUE(IsPtInSeg2DEx(1, 1.04, 0, 0, 2, 2, 0.1));
    EXPECT_FALSE(IsPtInSeg2DEx(1, 1.04, 0, 0, 2, 2, 0.01));
}

TEST(KrPlanarFunc, AnglesVolumesNearestPointsAndCircles)
{
    EXPECT_EQ(GetTwoSegAngle(2, 0, 0, 0, 1, 0), 0.0);  // never 2pi
    EXPECT_DOUBLE_EQ(GetTwoSegAngle(0, -1, 0, 0, 1, 0), 6.28318530718 - M_PI / 2);  // shortened 2pi
    double a[3] = {2, -1, 3}, b[3] = {0.5, 4, -2}, c[3] = {-3, 1, 7};  // every term of the determinant counts
    EXPECT_DOUBLE_EQ(GetVolumeTetrahedron(a, b, c), 95.0);
    EXPECT_DOUBLE_EQ(GetVolumeTetrahedron(b, a, c), -95.0);

    double qx = 0, qy = 0;
    EXPECT_DOUBLE_EQ(GetNearestPtToSeg2D(1, 2, 0, 0, 4, 4, qx, qy), std::sqrt(0.5));
    EXPECT_DOUBLE_EQ(qy, 1.5);
    // Projecting within the tolerance past B: Q is B, never a point beyond it.
    GetNearestPtToSeg2D(1 + 4e-7, 3, 0, 0, 1, 0, qx, qy);
    EXPECT_EQ(qx, 1.0);

    std::vector<CKrPoint3d> pts;
    EXPECT_FALSE(CalRoundOutLine(pts, CKrPoint3d(1, 2, 3), 2.0, CGeoVector(0, 0, 5e-7), 8));
    const CGeoVector n(1, 1, 1);
    const CKrPoint3d o(5, -2, 7);
    ASSERT_TRUE(CalRoundOutLine(pts, o, 3.0, n, 12));
    ASSERT_EQ(pts.size(), 12u);
    for (const CKrPoint3d& p : pts) {
        EXPECT_NEAR(p.Distance(o), 3.0, 1e-12);
        EXPECT_NEAR(CGeoVector(p - o) * n, 0.0, 1e-12);
    }
}

TEST(KrPlanarFunc, PolygonsInsideCentroidOrientationAndDirection)
{
    const auto sq = Ring({{0, 0}, {4, 0}, {4, 4}, {0, 4}});
    EXPECT_EQ(IsPtInPolygon(sq, CKrPoint3d(2, 2, 9), 1e-6), 1);
    EXPECT_EQ(IsPtInPolygon(sq, CKrPoint3d(2, 5e-7, 0), 1e-6), -1);  // within eps of an edge
    EXPECT_EQ(IsPtInPolygon(sq, CKrPoint3d(4, 4, 0), 1e-6), -1);     // vertex
    EXPECT_EQ(IsPtInPolygon(sq, CKrPoint3d(-1, 0, 0), 1e-6), 0);     // ray along an edge
    // Rays through the diamond's side vertices count once.
    const auto diamond = Ring({{0, -1}, {1, 0}, {0, 1}, {-1, 0}});
    EXPECT_EQ(IsPtInPolygon(diamond, CKrPoint3d(-0.5, 0, 0), 1e-6), 1);
    EXPECT_EQ(IsPtInPolygon(diamond, CKrPoint3d(-2, 0, 0), 1e-6), 0);
    // Concave: a spike tip and a notch floor on the ray.
    const auto spike = Ring({{0, 0}, {4, 0}, {5, 2}, {6, 0}, {8, 0}, {8, 3}, {0, 3}});
    EXPECT_EQ(IsPtInPolygon(spike, CKrPoint3d(1, 2, 0), 1e-6), 1);
    EXPECT_EQ(IsPtInPolygon(spike, CKrPoint3d(9, 2, 0), 1e-6), 0);
    const auto u = Ring({{0, 0}, {6, 0}, {6, 4}, {4, 4}, {4, 1}, {2, 1}, {2, 4}, {0, 4}});
    EXPECT_EQ(IsPtInPolygon(u, CKrPoint3d(1, 1, 0), 1e-6), 1);

    CKrPoint3d c;
    const auto ell = Ring({{0, 0}, {2, 0}, {2, 1}, {1, 1}, {1, 2}, {0, 2}});
    ASSERT_TRUE(CalRegionCenter(ell, c));
    EXPECT_DOUBLE_EQ(c.x, 2.5 / 3);
    EXPECT_DOUBLE_EQ(c.y, 2.5 / 3);
    bool cw = false;
    ASSERT_TRUE(IsPLine2DClockwise(std::vector<CKrPoint3d>(ell.rbegin(), ell.rend()), cw));
    EXPECT_TRUE(cw);
    // The leftmost vertex sits in a straight edge: the walk moves on.
    ASSERT_TRUE(IsPLine2DClockwise(Ring({{0, 1}, {0, 0}, {2, 0}, {2, 2}, {0, 2}}), cw));
    EXPECT_FALSE(cw);
    EXPECT_FALSE(IsPLine2DClockwise(Ring({{0, 0}, {1, 1}, {2, 2}, {3, 3}}), cw));

    const CKrPolyLine closed = Line(Ring({{0, 0}, {2, 0}, {2, 2}, {0, 2}}), true);
    const CGeoVector d = CalcPLineNodeDir(closed, 0);  // arrives going -y, leaves going +x
    EXPECT_DOUBLE_EQ(d.x, std::sqrt(0.5));
    EXPECT_DOUBLE_EQ(d.y, -std::sqrt(0.5));
}

TEST(KrPlanarFunc, CrossingsOfPolylinesAndClippingToAConcaveBoundary)
{
    // Every crossing, the stale entries gone; a closing segment counts only
    // when the line is closed.
    const CKrPolyLine zig = Line(Ring({{0, 0}, {2, 2}, {4, 0}, {6, 2}}));
    std::vector<CKrPoint3d> out{CKrPoint3d(9, 9, 9)};
    ASSERT_TRUE(IntersectWithPolyLine(zig, Line(Ring({{-1, 1}, {7, 1}})), out));
    ASSERT_EQ(out.size(), 3u);
    EXPECT_NEAR(out[2].x, 5.0, 1e-9);
    const auto tri = Ring({{0, 0}, {4, 0}, {0, 4}});
    const CKrPolyLine cut = Line(Ring({{-1, 1}, {5, 1}}));
    ASSERT_TRUE(IntersectWithPolyLine(Line(tri, false), cut, out));
    EXPECT_EQ(out.size(), 1u);
    ASSERT_TRUE(IntersectWithPolyLine(Line(tri, true), cut, out));
    EXPECT_EQ(out.size(), 2u);
    EXPECT_FALSE(IntersectWithPolyLine(zig, Line(Ring({{0, 5}, {6, 5}})), out));
    EXPECT_TRUE(out.empty());

    // A U: arms x 0..2 and 4..6 joined below y = 1. The line y = 2,
    // z = 2(x + 1), has vertices in both arms and one in the notch.
    const CKrPolyLine bound = Line(Ring({{0, 0}, {6, 0}, {6, 4}, {4, 4}, {4, 1}, {2, 1}, {2, 4}, {0, 4}}), true);
    std::vector<CKrPolyLine> pieces;
    ASSERT_TRUE(CatPlineInBound(Line({{-1, 2, 0}, {1, 2, 4}, {3, 2, 8}, {5, 2, 12}, {7, 2, 16}}), bound, pieces));
    ASSERT_EQ(pieces.size(), 2u);
    for (int k = 0; k < 2; ++k) {
        const auto& v = pieces[k].GetVerts();
        ASSERT_EQ(v.size(), 3u);
        EXPECT_NEAR(v.front().x, 4.0 * k, 1e-9);
        EXPECT_NEAR(v.back().x, 4.0 * k + 2, 1e-9);
        for (const CKrPoint3d& q : v) EXPECT_NEAR(q.z, 2.0 * (q.x + 1.0), 1e-9);
    }
    // One straight segment through both arms, no vertex inside: two chords.
    pieces.clear();
    ASSERT_TRUE(CatPlineInBound(Line({{-1, 3, 0}, {7, 3, 8}}), bound, pieces));
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_NEAR(pieces[1].GetVerts()[0].z, 5.0, 1e-9);
    EXPECT_NEAR(pieces[1].GetVerts()[1].z, 7.0, 1e-9);
    // A closed line is clipped all the way round, back to its first vertex.
    pieces.clear();
    ASSERT_TRUE(CatPlineInBound(Line({{1, 2, 0}, {5, 2, 0}, {5, 3, 0}, {1, 3, 0}}, true), bound, pieces));
    ASSERT_EQ(pieces.size(), 3u);
    EXPECT_EQ(pieces[2].GetVerts().back().y, 2.0);
    EXPECT_FALSE(CatPlineInBound(Line({{-1, -1, 0}, {7, -1, 0}}), bound, pieces));
}
