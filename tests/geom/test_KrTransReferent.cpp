#include <gtest/gtest.h>

#include <vector>

#include "KrTesGeometry/geom/KrTransReferent.h"
#include "support/GeomTestUtil.h"

using KrTesGeo::CGeoVector;

TEST(KrTransReferent, UnsetOrBadFrameFailsEveryTransformation)
{
    // Unset, or set from a zero normal, two zero axes or axes that are not
    // perpendicular: every transformation fails and leaves its output.
    CKrTransReferent f;
    CKrPoint3d out(7, 7, 7);
    std::vector<CKrPoint3d> v{CKrPoint3d(1, 1, 1)}, o{CKrPoint3d(5, 5, 5)};
    EXPECT_FALSE(f.Trans2DTo3D(out, v[0]) || f.Trans3DTo2D(o, v) || f.Trans2DTo3D(o, v));
    EXPECT_TRUE(out.x == 7.0 && o.size() == 1u && o[0].x == 5.0);
    EXPECT_FALSE(f.SetData(CGeoVector(0, 0, 0), CKrPoint3d(1, 2, 3)));
    EXPECT_FALSE(f.SetData(CGeoVector(1, 0, 0), CGeoVector(1, 1, 0), CKrPoint3d()));
    EXPECT_FALSE(f.SetData(CGeoVector(0, 0, 0), CGeoVector(0, 0, 0), CKrPoint3d()));
    // One zero axis is accepted but leaves an unusable frame.
    EXPECT_TRUE(f.SetData(CGeoVector(0, 0, 0), CGeoVector(0, 1, 0), CKrPoint3d()));
    EXPECT_FALSE(f.Trans3DTo2D(out, CKrPoint3d(1, 1, 1)));
}

TEST(KrTransReferent, ArbitraryAxisRuleAndRoundTrips)
{
    CKrPoint3d o, loc, back;
    CGeoVector u, v, n;
    CKrTransReferent f;
    // A horizontal plane: U = world y x normal = +x; the height above the
    // plane is dropped on the way in, the plane's height restored on the way out.
    ASSERT_TRUE(f.SetData(CGeoVector(0, 0, 2), CKrPoint3d(1, 2, 3)));
    ASSERT_TRUE(f.Trans3DTo2D(loc, CKrPoint3d(4, 6, 9)));
    EXPECT_TRUE(Near(loc, CKrPoint3d(3, 4, 0), 0.0));
    ASSERT_TRUE(f.Trans2DTo3D(back, loc));
    EXPECT_TRUE(Near(back, CKrPoint3d(4, 6, 3), 0.0));
    // Both |nx| and |ny| below 1/64: world y x normal; exactly 1/64 is not
    // below, and takes world z x normal, a horizontal U.
    ASSERT_TRUE(f.SetData(CGeoVector(0.01, 0.01, 1), CKrPoint3d()));
    f.GetCoordSys(o, u, v, n);
    EXPECT_TRUE(u.y == 0.0 && u.x > 0.99 && u.z < 0.0);
    ASSERT_TRUE(f.SetData(CGeoVector(0.015625, 0, 1), CKrPoint3d()));
    f.GetCoordSys(o, u, v, n);
    EXPECT_TRUE(Near(u, CKrPoint3d(0, 1, 0), 0.0));

    // A frame from two axes: the vertical plane x = 5, U along y, V along z;
    // a point off the plane comes back projected onto it.
    ASSERT_TRUE(f.SetData(CGeoVector(0, 2, 0), CGeoVector(0, 0, 3), CKrPoint3d(5, 0, 0)));
    f.GetCoordSys(o, u, v, n);
    EXPECT_TRUE(Near(n, CKrPoint3d(1, 0, 0), 0.0));
    std::vector<CKrPoint3d> pts{CKrPoint3d(5, 1, 2), CKrPoint3d(7, -3, 4)}, locs, backs;
    ASSERT_TRUE(f.Trans3DTo2D(locs, pts));
    ASSERT_TRUE(f.Trans2DTo3D(backs, locs));
    ASSERT_EQ(backs.size(), 2u);
    EXPECT_TRUE(Near(locs[1], CKrPoint3d(-3, 4, 0), 0.0));
    EXPECT_TRUE(Near(backs[0], pts[0], 0.0));
    EXPECT_TRUE(Near(backs[1], CKrPoint3d(5, -3, 4), 0.0));

    // A tilted plane: a right-handed orthonormal frame.
    ASSERT_TRUE(f.SetData(CGeoVector(1, 2, 3), CKrPoint3d(10, 20, 30)));
    f.GetCoordSys(o, u, v, n);
    EXPECT_NEAR(u * n, 0.0, 1e-15);
    EXPECT_NEAR(u.Length(), 1.0, 1e-15);
    EXPECT_TRUE(Near(u ^ v, n, 1e-15));
}
