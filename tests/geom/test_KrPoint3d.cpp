#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/math/CGeDataPoint3D.h"
#include "support/GeomTestUtil.h"

TEST(KrPoint3d, CompoundFormsConversionsAndDistances)
{
    const CKrPoint3d p(1.0, 2.0, 3.0), q(0.5, -1.0, 4.0);
    // Compound forms return the new value as a copy, not a reference.
    CKrPoint3d c = p;
    CKrPoint3d ret = (c += q);
    ret.x = 100.0;
    EXPECT_TRUE(Near(c, CKrPoint3d(1.5, 1.0, 7.0), 0.0));
    c -= q;
    c *= 3.0;
    c /= 3.0;
    EXPECT_TRUE(Near(c, p, 1e-15));

    c = CGeDataPoint3D(7.0, 8.0, 9.0);
    EXPECT_TRUE(Near(c, CKrPoint3d(7.0, 8.0, 9.0), 0.0));

    const CKrPoint3d a(0, 0, 0), b(3, 4, 12);
    EXPECT_EQ(a.Dist2(b), 169.0);
    EXPECT_EQ(a.Distance(b), 13.0);
    EXPECT_EQ(a.Dist2d2(b), 25.0);
    EXPECT_EQ(a.Distance2d(b), 5.0);
}

TEST(KrPoint3d, DivisionGuardUsesTheExactPositiveConstant)
{
    uint64_t bits;
    std::memcpy(&bits, &CKrPoint3d::kDivisionGuard, sizeof bits);
    EXPECT_EQ(bits, 0x3EE4F8B588E368F0ull);
    EXPECT_NE(CKrPoint3d::kDivisionGuard, 1e-5);

    const CKrPoint3d p(1.0, -2.0, 3.0);
    for (double tiny : {0.0, 1e-9, -1e-9, 9.9e-7, -9.9e-7}) {
        const CKrPoint3d r = p / tiny;
        EXPECT_EQ(r.x, 1.0 / CKrPoint3d::kDivisionGuard) << tiny;
        EXPECT_EQ(r.y, -2.0 / CKrPoint3d::kDivisionGuard) << tiny;  // sign of s is ignored
        CKrPoint3d c = p;
        c /= tiny;
        EXPECT_EQ(c.z, 3.0 / CKrPoint3d::kDivisionGuard) << tiny;
    }
    // 1e-6 itself is not guarded (strict bound), nor anything larger.
    EXPECT_EQ((p / 1e-6).x, 1.0 / 1e-6);
    EXPECT_EQ((p / -2.0).y, 1.0);
}

TEST(KrPoint3d, ThreeEqualityNotionsStayDistinct)
{
    const CKrPoint3d o(0, 0, 0);
    EXPECT_EQ(o == CKrPoint3d(0.0000009, 0, 0), 1);
    EXPECT_EQ(o == CKrPoint3d(0.000001, 0, 0), 0);  // strict bound
    EXPECT_FALSE(o.IsEqualTo(CKrPoint3d(0.0000009, 0, 0)));
    EXPECT_EQ(o == CKrPoint3d(0, 0, -0.0000011), 0);  // every axis is tested

    // A box test, not a distance test: 5e-7 on each axis is still equal.
    const CKrPoint3d d(5e-7, 5e-7, 5e-7);
    EXPECT_EQ(o == d, 1);
    EXPECT_FALSE(o.IsEqualTo(d));
    EXPECT_TRUE(o.IsEqualTo(CKrPoint3d(1e-11, 1e-11, 1e-11)));

    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(CKrPoint3d(nan, 0, 0) == CKrPoint3d(nan, 0, 0), 0);
    EXPECT_EQ(CKrPoint3d(0, 0, nan) != o, 1);

    // CompPt is exact and lexicographic.
    EXPECT_EQ(CKrPoint3d::CompPt(CKrPoint3d(1.0, 0, 0), CKrPoint3d(1.0 + 1e-12, 0, 0)), -1);
    EXPECT_EQ(CKrPoint3d::CompPt(CKrPoint3d(1, 2, 3), CKrPoint3d(1, 2, 3)), 0);
    EXPECT_EQ(CKrPoint3d::CompPt(CKrPoint3d(1, 2, 3), CKrPoint3d(1, 2, 4)), -1);
    EXPECT_EQ(CKrPoint3d::CompPt(CKrPoint3d(1, 3, 0), CKrPoint3d(1, 2, 9)), 1);
    EXPECT_EQ(CKrPoint3d::CompPt(CKrPoint3d(0, 9, 9), CKrPoint3d(1, 0, 0)), -1);  // x decides first
}

TEST(KrPoint3d, CirclePredicates)
{
    EXPECT_EQ(CKrPoint3d::IsPtInCircle(1.0 + 1e-6, 0, 0, 0, 1.0), 1);  // up to 1e-6 outside counts
    EXPECT_EQ(CKrPoint3d::IsPtInCircle(1e-6, 0, 0, 0, 0.0), 1);  // exactly 1e-6 outside: closed bound
    EXPECT_EQ(CKrPoint3d::IsPtInCircle(2.0 + 2e-6, 0, 0, 0, 2.0), 0);

    // Unit square corners: counter-clockwise and clockwise give the same answers.
    for (int wind = 0; wind < 2; ++wind) {
        const double x2 = wind ? 0.0 : 1.0, y2 = wind ? 1.0 : 0.0;
        const double x3 = wind ? 1.0 : 0.0, y3 = wind ? 0.0 : 1.0;
        EXPECT_EQ(CKrPoint3d::IsPtIn3PCircle(0.5, 0.5, 0, 0, x2, y2, x3, y3), 1) << wind;
        EXPECT_EQ(CKrPoint3d::IsPtIn3PCircle(1.0, 1.0, 0, 0, x2, y2, x3, y3), 0) << wind;  // cocircular
        EXPECT_EQ(CKrPoint3d::IsPtIn3PCircle(1.01, 1.01, 0, 0, x2, y2, x3, y3), -1) << wind;
        EXPECT_EQ(CKrPoint3d::IsPtIn3PCircle(0.0, 0.0, 0, 0, x2, y2, x3, y3), 0) << wind;  // a corner
    }
    // Collinear corners are "outside", even for a point on their line.
    EXPECT_EQ(CKrPoint3d::IsPtIn3PCircle(0.5, 0.5, 0, 0, 1, 1, 2, 2), -1);

    double r = -1, cx = -1, cy = -1;
    ASSERT_EQ(CKrPoint3d::Get_3P_Circle(0, 0, 2, 0, 0, 2, r, cx, cy), 1);
    EXPECT_NEAR(r, std::sqrt(2.0), 1e-12);
    EXPECT_NEAR(cx, 1.0, 1e-12);
    EXPECT_NEAR(cy, 1.0, 1e-12);
    ASSERT_EQ(CKrPoint3d::Get_3P_Circle(10, 15, 13, 9, 10, 5, r, cx, cy), 1);  // clockwise, off-centre
    EXPECT_NEAR(std::hypot(13 - cx, 9 - cy), r, 1e-9);
    EXPECT_NEAR(std::hypot(10 - cx, 15 - cy), r, 1e-9);
    EXPECT_NEAR(std::hypot(10 - cx, 5 - cy), r, 1e-9);
    r = cx = cy = -7;
    EXPECT_EQ(CKrPoint3d::Get_3P_Circle(0, 0, 1, 1, 2, 2, r, cx, cy), 0);
    EXPECT_TRUE(r == -7 && cx == -7 && cy == -7);  // outputs untouched
}

TEST(KrPoint3d, CollinearityUsesAnAbsoluteBound)
{
    const CKrPoint3d a(0, 0, 0);
    EXPECT_EQ(CKrPoint3d::IsConllinear(a, a, CKrPoint3d(1, 2, 3)), 1);
    EXPECT_EQ(CKrPoint3d::IsConllinear(a, CKrPoint3d(1, 2, 3), CKrPoint3d(5e-7, 0, 0)), 1);
    EXPECT_EQ(CKrPoint3d::IsConllinear(a, CKrPoint3d(1, 1, 1), CKrPoint3d(2, 2, 2)), 1);
    EXPECT_EQ(CKrPoint3d::IsConllinear(a, CKrPoint3d(1, 0, 0), CKrPoint3d(0, 1, 0)), 0);
    // The bound on |u x v| is absolute: long, nearly parallel vectors pass as
    // collinear, while short vectors with the same angle do not.
    EXPECT_EQ(CKrPoint3d::IsConllinear(a, CKrPoint3d(1000, 0, 0), CKrPoint3d(1000, 5e-10, 0)), 1);
    EXPECT_EQ(CKrPoint3d::IsConllinear(a, CKrPoint3d(1, 0, 0), CKrPoint3d(1, 2e-6, 0)), 0);
}
