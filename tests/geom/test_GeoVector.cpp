#include <gtest/gtest.h>

#include <cmath>

#include "KrTesGeometry/geom/GeoVector.h"
#include "support/GeomTestUtil.h"

using KrTesGeo::CGeoVector;

TEST(GeoVector, ProductsNormalizeAndEquality)
{
    EXPECT_EQ(CGeoVector(1, 2, 3) * CGeoVector(4, -5, 6), 12.0);
    EXPECT_TRUE(Near(CGeoVector(1, 2, 3) ^ CGeoVector(4, 5, 6), CKrPoint3d(-3, 6, -3), 0.0));

    CGeoVector v(3, 0, 4);
    v.Normalize();
    EXPECT_TRUE(Near(v, CKrPoint3d(0.6, 0, 0.8), 1e-15));
    CGeoVector tiny(1e-7, 0, 0), edge(1e-6, 0, 0);
    tiny.Normalize();
    edge.Normalize();
    EXPECT_EQ(tiny.x, 1e-7);        // below 1e-6: left as it is
    EXPECT_DOUBLE_EQ(edge.x, 1.0);  // exactly 1e-6 is normalised

    // Vectors compare with the closed tolerance band, points with a strict one.
    const CGeoVector a(0, 0, 0), b(1e-6, 0, 0);
    EXPECT_EQ(a == b, 1);
    EXPECT_EQ(static_cast<const CKrPoint3d&>(a) == static_cast<const CKrPoint3d&>(b), 0);
    EXPECT_EQ(a != CGeoVector(0, 0, 2e-6), 1);
}

TEST(GeoVector, RoundRotatesByRodrigues)
{
    CGeoVector out(9, 9, 9);
    EXPECT_FALSE(CGeoVector(0, 0, 0).Round(out, CGeoVector(0, 0, 1), 1.0));
    EXPECT_EQ(out.x, 9.0);  // untouched
    // About the diagonal by 120 degrees the axes permute x -> y -> z: every
    // term of the formula contributes.
    CGeoVector k(1, 1, 1);
    k.Normalize();
    ASSERT_TRUE(CGeoVector(1, 0, 0).Round(out, k, 2 * M_PI / 3));
    EXPECT_TRUE(Near(out, CKrPoint3d(0, 1, 0), 1e-12));
    // The component along the axis is kept, the length is preserved.
    ASSERT_TRUE(CGeoVector(1, 2, 3).Round(out, CGeoVector(0, 0, 1), 0.7));
    EXPECT_NEAR(out.z, 3.0, 1e-12);
    EXPECT_NEAR(out.Length(), std::sqrt(14.0), 1e-12);
}
