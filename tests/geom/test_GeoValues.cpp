#include <gtest/gtest.h>

#include <cmath>

#include "geom/GeoVector.h"
#include "geom/KrSeg3d.h"
#include "geom/KrTri3d.h"
#include "geom/sTriID.h"

using KrTesGeo::CGeoVector;

TEST(GeoVector, ProductsLengthAndNormalize)
{
    const CGeoVector x(1.0, 0.0, 0.0), y(0.0, 1.0, 0.0);
    const CGeoVector z = x ^ y;
    EXPECT_EQ(z.z, 1.0);
    EXPECT_EQ((y ^ x).z, -1.0);
    EXPECT_EQ(CGeoVector(1, 2, 3) * CGeoVector(4, -5, 6), 12.0);
    const CGeoVector c = CGeoVector(1, 2, 3) ^ CGeoVector(4, 5, 6);
    EXPECT_EQ(c.x, -3.0);
    EXPECT_EQ(c.y, 6.0);
    EXPECT_EQ(c.z, -3.0);
    // Point operations stay available on vectors.
    const CKrPoint3d scaled = CGeoVector(1, 2, 3) * 2.0;
    EXPECT_EQ(scaled.z, 6.0);

    CGeoVector v(3, 0, 4);
    EXPECT_EQ(v.Length2(), 25.0);
    v.Normalize();
    EXPECT_DOUBLE_EQ(v.x, 0.6);
    EXPECT_DOUBLE_EQ(v.z, 0.8);
    CGeoVector tiny(1e-7, 0, 0);
    tiny.Normalize();
    EXPECT_EQ(tiny.x, 1e-7);  // below 1e-6: left as it is
    CGeoVector edge(1e-6, 0, 0);
    edge.Normalize();
    EXPECT_DOUBLE_EQ(edge.x, 1.0);  // exactly 1e-6 is normalised
}

TEST(GeoVector, EqualityUsesTheClosedToleranceUnlikePoints)
{
    const CGeoVector a(0, 0, 0), b(1e-6, 0, 0);
    EXPECT_EQ(a == b, 1);  // TesCompDouble's band is closed
    EXPECT_EQ(static_cast<const CKrPoint3d&>(a) == static_cast<const CKrPoint3d&>(b), 0);  // points: strict
    EXPECT_EQ(a == CGeoVector(0, 0, 2e-6), 0);
    EXPECT_EQ(a != CGeoVector(0, 0, 2e-6), 1);
}

TEST(GeoVector, RoundRotatesByRodrigues)
{
    CGeoVector out(9, 9, 9);
    EXPECT_FALSE(CGeoVector(0, 0, 0).Round(out, CGeoVector(0, 0, 1), 1.0));
    EXPECT_EQ(out.x, 9.0);  // untouched
    const double pi = 3.141592653589793;
    ASSERT_TRUE(CGeoVector(1, 0, 0).Round(out, CGeoVector(0, 0, 1), pi / 2));
    EXPECT_NEAR(out.x, 0.0, 1e-15);
    EXPECT_NEAR(out.y, 1.0, 1e-15);
    EXPECT_NEAR(out.z, 0.0, 1e-15);
    // About the diagonal by 120 degrees: the axes permute x -> y -> z.
    CGeoVector k(1, 1, 1);
    k.Normalize();
    ASSERT_TRUE(CGeoVector(1, 0, 0).Round(out, k, 2 * pi / 3));
    EXPECT_NEAR(out.x, 0.0, 1e-12);
    EXPECT_NEAR(out.y, 1.0, 1e-12);
    EXPECT_NEAR(out.z, 0.0, 1e-12);
    // The component along the axis is kept, the length is preserved.
    ASSERT_TRUE(CGeoVector(1, 2, 3).Round(out, CGeoVector(0, 0, 1), 0.7));
    EXPECT_NEAR(out.z, 3.0, 1e-12);
    EXPECT_NEAR(out.Length(), std::sqrt(14.0), 1e-12);
}

TEST(SegTriValues, SameSegmentInvertAndDefaults)
{
    const CKrPoint3d a(0, 0, 0), b(1, 2, 3);
    EXPECT_TRUE(CKrSeg3d::IsSameSeg(a, b, a, b));
    EXPECT_TRUE(CKrSeg3d::IsSameSeg(a, b, b, a));
    EXPECT_FALSE(CKrSeg3d::IsSameSeg(a, b, a + CKrPoint3d(0, 2e-6, 0), b));
    EXPECT_TRUE(CKrSeg3d::IsSameSeg(a, b, a + CKrPoint3d(0, 5e-7, 0), b));
    EXPECT_FALSE(CKrSeg3d::IsSameSeg(a, b, a, a));

    CKrSeg3d s(a, b), t;
    t = s;
    EXPECT_EQ(t.m_pt[1].z, 3.0);
    t = t;  // self-assignment is harmless
    EXPECT_EQ(t.m_pt[0].x, 0.0);

    CKrTri3d tri(CKrPoint3d(0, 0, 0), CKrPoint3d(1, 0, 0), CKrPoint3d(0, 1, 0));
    tri.Invert();
    EXPECT_EQ(tri.m_pt[0].x, 1.0);
    EXPECT_EQ(tri.m_pt[1].x, 0.0);
    EXPECT_EQ(tri.m_pt[2].y, 1.0);
    tri.Invert();
    EXPECT_EQ(tri.m_pt[0].x, 0.0);
    EXPECT_EQ(tri.m_pt[1].x, 1.0);
    CKrTri3d copy(tri);
    EXPECT_EQ(copy.m_pt[2].y, 1.0);

    KrTesGeo::_sTri_ID id;
    EXPECT_EQ(id[0], -1);
    EXPECT_EQ(id[1], -1);
    EXPECT_EQ(id[2], -1);
    KrTesGeo::_sTri_ID other(4, 5, 6);
    id = other;
    EXPECT_EQ(id.nID[2], 6);
}
