#include <gtest/gtest.h>

#include <cmath>

#include "KrTesGeometry/geom/GeoVector.h"
#include "support/GeomTestUtil.h"

using KrTesGeo::CGeoVector;

TEST(GeoVector, NormalizeAndRotation)
{
    CGeoVector tiny(1e-7, 0, 0), edge(1e-6, 0, 0);
    tiny.Normalize();
    edge.Normalize();
    EXPECT_EQ(tiny.x, 1e-7);        // below 1e-6: left as it is
    EXPECT_DOUBLE_EQ(edge.x, 1.0);  // exactly 1e-6 is normalised
    CGeoVector out(9, 9, 9);
    EXPECT_FALSE(CGeoVector(0, 0, 0).Round(out, CGeoVector(0, 0, 1), 1.0));
    EXPECT_EQ(out.x, 9.0);  // untouched
    // About the diagonal by 120 degrees the axes permute x -> y -> z: every
    // term of Rodrigues' formula contributes.
    CGeoVector k(1, 1, 1);
    k.Normalize();
    ASSERT_TRUE(CGeoVector(1, 0, 0).Round(out, k, 2 * M_PI / 3));
    EXPECT_TRUE(Near(out, CKrPoint3d(0, 1, 0), 1e-12));
}
