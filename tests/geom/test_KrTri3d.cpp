#include <gtest/gtest.h>

#include "KrTesGeometry/geom/KrTri3d.h"
#include "support/GeomTestUtil.h"

TEST(KrTri3d, InvertSwapsTheFirstTwoCornersAndCopiesKeepThem)
{
    CKrTri3d tri(CKrPoint3d(0, 0, 0), CKrPoint3d(1, 0, 0), CKrPoint3d(0, 1, 0));
    tri.Invert();
    EXPECT_TRUE(Near(tri.m_pt[0], CKrPoint3d(1, 0, 0), 0.0));
    EXPECT_TRUE(Near(tri.m_pt[1], CKrPoint3d(0, 0, 0), 0.0));
    EXPECT_TRUE(Near(tri.m_pt[2], CKrPoint3d(0, 1, 0), 0.0));
    const CKrTri3d copy(tri);
    for (int k = 0; k < 3; ++k) EXPECT_TRUE(Near(copy.m_pt[k], tri.m_pt[k], 0.0));
}
