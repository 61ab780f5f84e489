#include <gtest/gtest.h>

#include <cmath>

#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "support/GeomTestUtil.h"

using KrTesGeo::CGeoVector;
using SM = CKrSpaceMath;

TEST(KrSpaceMathPlanes, PlaneBuildersRelationsAndDegenerateInputs)
{
    CGeoVector n;
    double d = 99.0;
    CKrPoint3d p;
    ASSERT_EQ(SM::PlaneFromPoints(CGeoVector(0, 0, 5), CGeoVector(2, 0, 5), CGeoVector(0, 3, 5), n, d), 1);
    EXPECT_TRUE(Near(n, CKrPoint3d(0, 0, 1)));  // right-hand rule, unit length
    EXPECT_DOUBLE_EQ(d, -5.0);
    // Nearly equal points, three collinear points: no plane, outputs untouched.
    d = 99.0;
    EXPECT_EQ(SM::PlaneFromPoints(CGeoVector(0, 0, 0), CGeoVector(1, 1, 1), CGeoVector(3, 3, 3), n, d), 0);
    EXPECT_EQ(SM::PlaneFromPoints(CGeoVector(0, 0, 0), CGeoVector(5e-7, 0, 0), CGeoVector(0, 1, 0), n, p), 0);
    EXPECT_EQ(d, 99.0);
    // The Ex form accepts collinear distinct corners (zero normal) and does not normalise.
    ASSERT_EQ(SM::PlaneFromPointsEx(CGeoVector(0, 0, 0), CGeoVector(1, 1, 1), CGeoVector(3, 3, 3), n, p), 1);
    EXPECT_EQ(n.Length(), 0.0);
    ASSERT_EQ(SM::PlaneFromPointsEx(CGeoVector(0, 0, 0), CGeoVector(2, 0, 0), CGeoVector(0, 3, 0), n, p), 1);
    EXPECT_DOUBLE_EQ(n.z, 6.0);
    EXPECT_EQ(SM::PlaneFromPointsEx(CGeoVector(0, 0, 0), CGeoVector(2, 0, 0), CGeoVector(2, 0, 5e-7), n, p), 0);

    // PointToPlane normalises; the band is closed at eps.
    const CKrPoint3d on(0, 0, 1);
    EXPECT_EQ(SM::PointToPlane(CKrPoint3d(3, 4, -3), on, CGeoVector(0, 0, 10), 1e-6), -1);
    EXPECT_EQ(SM::PointToPlane(CKrPoint3d(3, 4, 1.0000005), on, CGeoVector(0, 0, 10), 1e-6), 0);
    EXPECT_EQ(SM::PointToPlane(CKrPoint3d(3, 4, 1.5), on, CGeoVector(0, 0, 10), 0.5), 0);

    CKrPoint3d out(7, 7, 7);
    const CGeoVector up(0, 0, 1);
    EXPECT_EQ(SM::IntersectPlaneAndLine(up, -2.0, CGeoVector(1, 1, 2), CGeoVector(1, 1, 0), out), 1);  // in plane
    EXPECT_EQ(SM::IntersectPlaneAndLine(up, -2.0, CGeoVector(1, 1, 0), CGeoVector(1, 1, 0), out), 0);  // parallel
    EXPECT_TRUE(Near(out, CKrPoint3d(7, 7, 7), 0.0));  // untouched
    EXPECT_EQ(SM::IntersectPlaneAndLine(up, -2.0, CGeoVector(1, 1, 0), CGeoVector(1, 0, 1), out), 2);
    EXPECT_TRUE(Near(out, CKrPoint3d(3, 1, 2)));

    const CKrPoint3d o(0, 0, 0);
    EXPECT_EQ(SM::Test_State_Plane_And_Plane_3D(o, up, CKrPoint3d(5, 5, 0), CGeoVector(0, 0, -3)), 1);
    EXPECT_EQ(SM::Test_State_Plane_And_Plane_3D(o, up, CKrPoint3d(5, 5, 1), CGeoVector(0, 0, 1)), 0);
    // Planes z = 2 and x + y = 4: l0 is the point of the common line with a
    // zero coordinate on the dominant axis of nA x nB = (-1, 1, 0), y on the
    // tie; l1 = l0 + nA x nB.
    CKrPoint3d l0, l1;
    ASSERT_EQ(SM::Test_Insersect_Plane_And_Plane_3D({0, 0, 2}, up, {4, 0, 0}, CGeoVector(1, 1, 0), l0, l1), 2);
    EXPECT_TRUE(Near(l0, CKrPoint3d(4, 0, 2), 1e-12) && Near(l1, CKrPoint3d(3, 1, 2), 1e-12));
    EXPECT_EQ(SM::Test_Insersect_Plane_And_Plane_3D(o, up, CKrPoint3d(1, 0, 0), CGeoVector(0, 0, 2), l0, l1), 1);
}

TEST(KrSpaceMathDistances, PointLineSegmentPlaneAndTriangle)
{
    CKrPoint3d foot;
    EXPECT_DOUBLE_EQ(SM::Get_Dist_Point_To_Plane_3D({3, 4, 7}, {0, 0, 2}, CGeoVector(0, 0, 5), foot), 5.0);
    EXPECT_TRUE(Near(foot, CKrPoint3d(3, 4, 2)));
    EXPECT_DOUBLE_EQ(SM::Get_Dist_Point_To_Line3D_Adv(5, 3, 0, 0, 0, 0, 1, 0, 0), 3.0);  // beyond B: still the line
    EXPECT_DOUBLE_EQ(SM::Get_Dist_Point_To_LineSection3D_Adv(5, 3, 0, 0, 0, 0, 1, 0, 0), 5.0);   // to B
    EXPECT_DOUBLE_EQ(SM::Get_Dist_Point_To_LineSection3D_Adv(-3, 4, 0, 0, 0, 0, 1, 0, 0), 5.0);  // to A

    // Lines and segments: skew, parallel, clamped at their ends, collinear apart.
    const CKrPoint3d a(0, 0, 0), b(1, 0, 0);
    EXPECT_DOUBLE_EQ(SM::Get_Dist_Line_To_Line_3D(a, b, {1, -1, 3}, {1, 1, 3}), 3.0);
    EXPECT_DOUBLE_EQ(SM::Get_Dist_Line_To_Line_3D(a, b, {5, 2, 0}, {9, 2, 0}), 2.0);
    EXPECT_DOUBLE_EQ(SM::Get_Dist_Seg_To_Seg_3D(a, b, {3, -1, 0}, {3, 1, 0}), 2.0);
    EXPECT_NEAR(SM::Get_Dist_Seg_To_Seg_3D(a, b, {0.5, -1, 1}, {0.5, 1, 1}), 1.0, 1e-12);
    EXPECT_DOUBLE_EQ(SM::Get_Dist_Seg_To_Seg_3D({3, 0, 0}, {5, 0, 0}, a, b), 2.0);
    EXPECT_DOUBLE_EQ(SM::Get_Dist_Seg_To_Seg_3D(a, b, {-4, 0, 0}, {-2, 0, 0}), 2.0);
    EXPECT_DOUBLE_EQ(SM::Get_Dist_Seg_To_Seg_3D(a, {4, 0, 0}, {1, 0, 2}, {3, 0, 2}), 2.0);

    // Is_Point_In_Seg_2D switches to y for a (nearly) vertical-in-plan
    // segment; its ends count.
    const CKrPoint3d v0(1, 0, 0), v1(1.0000005, 4, 0), h(3, 0, 0);
    EXPECT_EQ(SM::Is_Point_In_Seg_2D(CKrPoint3d(0.5, 0, 0), h, v0), 0);
    EXPECT_EQ(SM::Is_Point_In_Seg_2D(v0, h, v0), 1);
    EXPECT_EQ(SM::Is_Point_In_Seg_2D(CKrPoint3d(9, 2, 0), v0, v1), 1);
    EXPECT_EQ(SM::Is_Point_In_Seg_2D(CKrPoint3d(1, 4.5, 0), v0, v1), 0);

    auto onSeg = [](double px, double py, double pz, double bx, double by, double bz) {
        return SM::JH_TestPointIn_LineSection3D(px, py, pz, 0, 0, 0, bx, by, bz);
    };
    EXPECT_EQ(onSeg(2.0000005, 2, 2, 2, 2, 2), 1);  // end within 1e-6
    EXPECT_EQ(onSeg(3, 3, 3, 2, 2, 2), 0);          // on the line, beyond
    EXPECT_EQ(onSeg(5, 1e-7, 0, 10, 0, 0), 1);      // within tolerance
    EXPECT_EQ(onSeg(5, 1e-4, 0, 10, 0, 0), 0);
    EXPECT_EQ(onSeg(0, 3, 0, 0, 10, 0), 1);  // axis-parallel: the box is widened

    // Point in triangle: edges -1..-3, corners -4..-6 (within the tolerance),
    // outside edge 1..3, off the plane or degenerate 4. The winding does not
    // matter; the codes follow the corners as given.
    const CKrPoint3d c(0, 4, 0), b4(4, 0, 0);
    const double cases[][4] = {{1, 1, 0, 0},    {2, -5e-7, 0, -1}, {2, 2, 0, -2},  {0, 2, 0, -3},
                               {5e-7, 5e-7, 0, -4}, {4, 0, 0, -5}, {0, 4, 0, -6},  {2, -1, 0, 1},
                               {3, 3, 0, 2},    {-1, 2, 0, 3},     {6, 0, 0, 2},   {1, 1, 0.01, 4}};
    for (const auto& k : cases)
        EXPECT_EQ(SM::IsPtInTri3D(a, b4, c, {k[0], k[1], k[2]}), k[3]) << k[0] << ' ' << k[1] << ' ' << k[2];
    EXPECT_EQ(SM::IsPtInTri3D(a, b4, CKrPoint3d(8, 0, 0), CKrPoint3d(1, 0, 0)), 4);
    EXPECT_EQ(SM::IsPtInTri3D(a, c, b4, CKrPoint3d(1, 1, 0)), 0);
    EXPECT_EQ(SM::IsPtInTri3D(a, c, b4, CKrPoint3d(2, -1, 0)), 3);  // across CA of (a, c, b), the x axis
    EXPECT_EQ(SM::IsPtInTri3D(a, CKrPoint3d(2, 0, 2), CKrPoint3d(0, 2, 0), CKrPoint3d(0.5, 0.5, 0.5)), 0);

    // CalDistPtToTri is squared; outside, the in-plane distance to the
    // nearest edge or corner is added.
    EXPECT_DOUBLE_EQ(SM::CalDistPtToTri(CKrPoint3d(4.0 / 3, 4.0 / 3, 2), a, b4, c), 4.0);
    EXPECT_DOUBLE_EQ(SM::CalDistPtToTri(CKrPoint3d(2, -3, 4), a, b4, c), 25.0);
    EXPECT_DOUBLE_EQ(SM::CalDistPtToTri(CKrPoint3d(7, -4, 0), a, b4, c), 25.0);  // nearest is corner B
    EXPECT_DOUBLE_EQ(SM::CalDistPtToTri(CKrPoint3d(7, 4, 0), a, b4, c), 24.5);   // across BC
    EXPECT_EQ(SM::CalDistPtToTri(CKrPoint3d(1, 1, 1), a, b4, CKrPoint3d(8, 0, 0)), -1.0);

    EXPECT_TRUE(SM::IsTriDegenerate(a, b, CKrPoint3d(2, 9e-4, 0)));     // |n|^2 = 8.1e-7
    EXPECT_FALSE(SM::IsTriDegenerate(a, b, CKrPoint3d(2, 1.1e-3, 0)));  // |n|^2 = 1.21e-6
}
