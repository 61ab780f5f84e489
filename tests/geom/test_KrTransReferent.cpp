#include <gtest/gtest.h>

#include <vector>

#include "geom/KrTransReferent.h"

using KrTesGeo::CGeoVector;

TEST(KrTransReferent, UnsetFrameFailsEveryTransformation)
{
    CKrTransReferent f;
    CKrPoint3d out(7, 7, 7);
    EXPECT_FALSE(f.Trans3DTo2D(out, CKrPoint3d(1, 2, 3)));
    EXPECT_FALSE(f.Trans2DTo3D(out, CKrPoint3d(1, 2, 3)));
    EXPECT_EQ(out.x, 7.0);
    std::vector<CKrPoint3d> v{CKrPoint3d(1, 1, 1)}, o{CKrPoint3d(5, 5, 5)};
    EXPECT_FALSE(f.Trans3DTo2D(o, v));
    EXPECT_FALSE(f.Trans2DTo3D(o, v));
    EXPECT_EQ(o.size(), 1u);
    EXPECT_EQ(o[0].x, 5.0);
    EXPECT_FALSE(f.SetData(CGeoVector(0, 0, 0), CKrPoint3d(1, 2, 3)));
}

TEST(KrTransReferent, HorizontalFrameRoundTrip)
{
    CKrTransReferent f;
    ASSERT_TRUE(f.SetData(CGeoVector(0, 0, 2), CKrPoint3d(1, 2, 3)));
    CKrPoint3d o;
    CGeoVector u, v, n;
    ASSERT_TRUE(f.GetCoordSys(o, u, v, n));
    EXPECT_EQ(u.x, 1.0);
    EXPECT_EQ(v.y, 1.0);
    EXPECT_EQ(n.z, 1.0);  // normalised
    CKrPoint3d loc, back;
    ASSERT_TRUE(f.Trans3DTo2D(loc, CKrPoint3d(4, 6, 9)));
    EXPECT_EQ(loc.x, 3.0);
    EXPECT_EQ(loc.y, 4.0);
    EXPECT_EQ(loc.z, 0.0);  // height above the plane is dropped
    ASSERT_TRUE(f.Trans2DTo3D(back, loc));
    EXPECT_EQ(back.x, 4.0);
    EXPECT_EQ(back.y, 6.0);
    EXPECT_EQ(back.z, 3.0);
}

TEST(KrTransReferent, ArbitraryAxisRuleThreshold)
{
    CKrPoint3d o;
    CGeoVector u, v, n;
    CKrTransReferent f;
    // Both |nx| and |ny| below 1/64: U = world y x normal.
    ASSERT_TRUE(f.SetData(CGeoVector(0.01, 0.01, 1), CKrPoint3d()));
    f.GetCoordSys(o, u, v, n);
    EXPECT_EQ(u.y, 0.0);
    EXPECT_GT(u.x, 0.99);
    EXPECT_LT(u.z, 0.0);
    // |nx| = 0.02 takes the world z axis rule: U is horizontal.
    ASSERT_TRUE(f.SetData(CGeoVector(0.02, 0, 1), CKrPoint3d()));
    f.GetCoordSys(o, u, v, n);
    EXPECT_EQ(u.z, 0.0);
    EXPECT_EQ(u.x, 0.0);
    EXPECT_EQ(u.y, 1.0);
    // Exactly 1/64 is not below the threshold.
    ASSERT_TRUE(f.SetData(CGeoVector(0.015625, 0, 1), CKrPoint3d()));
    f.GetCoordSys(o, u, v, n);
    EXPECT_EQ(u.z, 0.0);
    // The frame is right-handed and orthonormal for a tilted plane.
    ASSERT_TRUE(f.SetData(CGeoVector(1, 2, 3), CKrPoint3d(10, 20, 30)));
    f.GetCoordSys(o, u, v, n);
    EXPECT_NEAR(u * v, 0.0, 1e-15);
    EXPECT_NEAR(u * n, 0.0, 1e-15);
    EXPECT_NEAR(u.Length(), 1.0, 1e-15);
    EXPECT_NEAR(v.Length(), 1.0, 1e-15);
    const CGeoVector w = u ^ v;
    EXPECT_NEAR(w.x, n.x, 1e-15);
    EXPECT_NEAR(w.z, n.z, 1e-15);
    // A point in the plane comes back exactly where it was.
    const CKrPoint3d inPlane = CKrPoint3d(10, 20, 30) + CKrPoint3d(u * 3.5) + CKrPoint3d(v * -2.0);
    CKrPoint3d loc, back;
    f.Trans3DTo2D(loc, inPlane);
    EXPECT_NEAR(loc.x, 3.5, 1e-12);
    EXPECT_NEAR(loc.y, -2.0, 1e-12);
    f.Trans2DTo3D(back, loc);
    EXPECT_NEAR(back.Distance(inPlane), 0.0, 1e-12);
}

TEST(KrTransReferent, FrameFromTwoAxes)
{
    CKrTransReferent f;
    EXPECT_FALSE(f.SetData(CGeoVector(1, 0, 0), CGeoVector(1, 1, 0), CKrPoint3d()));  // not perpendicular
    EXPECT_FALSE(f.SetData(CGeoVector(0, 0, 0), CGeoVector(0, 0, 0), CKrPoint3d()));
    // One zero axis is accepted but leaves an unusable frame.
    EXPECT_TRUE(f.SetData(CGeoVector(0, 0, 0), CGeoVector(0, 1, 0), CKrPoint3d()));
    CKrPoint3d out;
    EXPECT_FALSE(f.Trans3DTo2D(out, CKrPoint3d(1, 1, 1)));

    // A vertical plane x = 5 with U along y, V along z.
    ASSERT_TRUE(f.SetData(CGeoVector(0, 2, 0), CGeoVector(0, 0, 3), CKrPoint3d(5, 0, 0)));
    CKrPoint3d o;
    CGeoVector u, v, n;
    f.GetCoordSys(o, u, v, n);
    EXPECT_EQ(n.x, 1.0);
    EXPECT_EQ(u.y, 1.0);
    EXPECT_EQ(v.z, 1.0);
    std::vector<CKrPoint3d> pts{CKrPoint3d(5, 1, 2), CKrPoint3d(7, -3, 4)}, loc, back;
    ASSERT_TRUE(f.Trans3DTo2D(loc, pts));
    ASSERT_EQ(loc.size(), 2u);
    EXPECT_EQ(loc[1].x, -3.0);
    EXPECT_EQ(loc[1].y, 4.0);
    ASSERT_TRUE(f.Trans2DTo3D(back, loc));
    EXPECT_EQ(back[0].x, 5.0);
    EXPECT_EQ(back[1].x, 5.0);  // projected onto the plane
    EXPECT_EQ(back[1].z, 4.0);
    std::vector<CKrPoint3d> empty, none{CKrPoint3d()};
    EXPECT_TRUE(f.Trans3DTo2D(none, empty));
    EXPECT_TRUE(none.empty());
}
