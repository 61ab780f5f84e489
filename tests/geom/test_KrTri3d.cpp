#include <gtest/gtest.h>

#include "KrTesGeometry/geom/KrTri3d.h"
#include "support/GeomTestUtil.h"

TEST(KrTri3d, InvertSwapsTheFirstTwoCornersAndCopiesKeepThem)
{
    const CKrPoint3d a(0, 0, 0), b(1, 0, 0), c(0, 1, 0);
    CKrTri3d tri(a, b, c);
    tri.Invert();
    const CKrTri3d copy(tri);
    for (int k = 0; k < 3; ++k) EXPECT_TRUE(Near(copy.m_pt[k], k == 0 ? b : k == 1 ? a : c, 0.0));
}
