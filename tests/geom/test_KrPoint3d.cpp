#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "support/GeomTestUtil.h"

TEST(KrPoint3d, DivisionGuardAndThreeEqualityNotions)
{
    // Divisors below 1e-6 in size become a positive guard (the sign of s is
    // ignored); the bound is strict.
    const CKrPoint3d p(1.0, -2.0, 3.0);
    for (double tiny : {0.0, -9.9e-7}) {
        EXPECT_EQ((p / tiny).y, -2.0 / CKrPoint3d::kDivisionGuard) << tiny;
        CKrPoint3d q = p;
        q /= tiny;
        EXPECT_EQ(q.z, 3.0 / CKrPoint3d::kDivisionGuard) << tiny;
    }
    EXPECT_EQ((p / 1e-6).x, 1.0 / 1e-6);
    EXPECT_EQ((p / -2.0).y, 1.0);

    // == is a strict box test on every axis; IsEqualTo is far tighter.
    const CKrPoint3d o(0, 0, 0), d(5e-7, 5e-7, 5e-7);
    EXPECT_EQ(o == d, 1);
    EXPECT_FALSE(o.IsEqualTo(d));
    EXPECT_TRUE(o.IsEqualTo(CKrPoint3d(1e-11, 1e-11, 1e-11)));
    EXPECT_EQ(o == CKrPoint3d(0.000001, 0, 0), 0);
    EXPECT_EQ(o == CKrPoint3d(0, 0, -0.0000011), 0);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(CKrPoint3d(nan, 0, 0) == CKrPoint3d(nan, 0, 0), 0);
    // CompPt is exact and lexicographic, x deciding first.
    EXPECT_EQ(CKrPoint3d::CompPt(CKrPoint3d(1.0, 0, 0), CKrPoint3d(1.0 + 1e-12, 0, 0)), -1);
    EXPECT_EQ(CKrPoint3d::CompPt(CKrPoint3d(1, 2, 3), CKrPoint3d(1, 2, 3)), 0);
    EXPECT_EQ(CKrPoint3d::CompPt(CKrPoint3d(1, 2, 3), CKrPoint3d(1, 2, 4)), -1);
    EXPECT_EQ(CKrPoint3d::CompPt(CKrPoint3d(1, 3, 0), CKrPoint3d(1, 2, 9)), 1);
    EXPECT_EQ(CKrPoint3d::CompPt(CKrPoint3d(0, 9, 9), CKrPoint3d(1, 0, 0)), -1);
}

TEST(KrPoint3d, CirclesAndCollinearity)
{
    EXPECT_EQ(CKrPoint3d::IsPtInCircle(1e-6, 0, 0, 0, 0.0), 1);  // exactly 1e-6 outside: closed bound
    EXPECT_EQ(CKrPoint3d::IsPtInCircle(2.0 + 2e-6, 0, 0, 0, 2.0), 0);
    // Unit square corners, either winding; collinear corners give "outside".
    for (int cw = 0; cw < 2; ++cw) {
        const double x2 = cw, y2 = 1 - cw;
        EXPECT_EQ(CKrPoint3d::IsPtIn3PCircle(0.5, 0.5, 0, 0, x2, y2, y2, x2), 1) << cw;
        EXPECT_EQ(CKrPoint3d::IsPtIn3PCircle(1.0, 1.0, 0, 0, x2, y2, y2, x2), 0) << cw;  // cocircular
        EXPECT_EQ(CKrPoint3d::IsPtIn3PCircle(1.01, 1.01, 0, 0, x2, y2, y2, x2), -1) << cw;
    }
    EXPECT_EQ(CKrPoint3d::IsPtIn3PCircle(0.5, 0.5, 0, 0, 1, 1, 2, 2), -1);

    double r = -7, cx = -7, cy = -7;
    EXPECT_EQ(CKrPoint3d::Get_3P_Circle(0, 0, 1, 1, 2, 2, r, cx, cy), 0);
    EXPECT_TRUE(r == -7 && cx == -7 && cy == -7);  // outputs untouched
    ASSERT_EQ(CKrPoint3d::Get_3P_Circle(10, 15, 13, 9, 10, 5, r, cx, cy), 1);  // clockwise, off-centre
    for (const CKrPoint3d& p : {CKrPoint3d(10, 15, 0), CKrPoint3d(13, 9, 0), CKrPoint3d(10, 5, 0)})
        EXPECT_NEAR(std::hypot(p.x - cx, p.y - cy), r, 1e-9);

    // The bound on |u x v| is absolute: long, nearly parallel vectors pass as
    // collinear, while short vectors with the same angle do not.
    const CKrPoint3d a(0, 0, 0);
    EXPECT_EQ(CKrPoint3d::IsConllinear(a, CKrPoint3d(1, 2, 3), CKrPoint3d(5e-7, 0, 0)), 1);
    EXPECT_EQ(CKrPoint3d::IsConllinear(a, CKrPoint3d(1000, 0, 0), CKrPoint3d(1000, 5e-10, 0)), 1);
    EXPECT_EQ(CKrPoint3d::IsConllinear(a, CKrPoint3d(1, 0, 0), CKrPoint3d(1, 2e-6, 0)), 0);
}
