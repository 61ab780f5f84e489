#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "KrTesGeometry/geom/KrPolyLine.h"
#include "KrTesGeometry/geom/KrSeg3d.h"
#include "support/GeomTestUtil.h"

namespace {

CKrSeg3d Seg(double x1, double y1, double x2, double y2)
{
    return CKrSeg3d(CKrPoint3d(x1, y1, 0), CKrPoint3d(x2, y2, 0));
}

}  // namespace

TEST(KrSeg3d, SameSegAndLinkSegChainsLoopsAndBranches)
{
    const CKrPoint3d a(0, 0, 0), b(1, 2, 3);
    EXPECT_TRUE(CKrSeg3d::IsSameSeg(a, b, b, a));
    EXPECT_FALSE(CKrSeg3d::IsSameSeg(a, b, a + CKrPoint3d(0, 2e-6, 0), b));

    // C-D, A-B, B-C given reversed, D-E: one chain A..E, in the direction most
    // segments have; stale output is replaced.
    std::vector<CKrPolyLine> out(3);
    ASSERT_TRUE(CKrSeg3d::LinkSeg({Seg(2, 0, 3, 0), Seg(0, 0, 1, 0), Seg(2, 0, 1, 5e-7), Seg(3, 0, 4, 0)}, out));
    ASSERT_EQ(out.size(), 1u);
    ASSERT_EQ(out[0].NumVerts(), 5u);
    EXPECT_FALSE(out[0].IsClosed());
    for (size_t k = 0; k < 5; ++k) EXPECT_NEAR(out[0].GetVerts()[k].x, static_cast<double>(k), 1e-6);
    // Ends 2e-6 apart do not meet.
    ASSERT_TRUE(CKrSeg3d::LinkSeg({Seg(0, 0, 1, 0), Seg(1 + 2e-6, 0, 2, 0)}, out));
    EXPECT_EQ(out.size(), 2u);

    // A tail ending on a scrambled loop: the tail, then the loop, closed
    // without repeating its first vertex.
    ASSERT_TRUE(CKrSeg3d::LinkSeg(
        {Seg(-2, 0, -1, 0), Seg(-1, 0, 0, 0), Seg(1, 1, 0, 1), Seg(0, 0, 1, 0), Seg(0, 0, 0, 1), Seg(1, 0, 1, 1)},
        out));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].NumVerts(), 3u);
    EXPECT_FALSE(out[0].IsClosed());
    EXPECT_TRUE(out[1].IsClosed());
    EXPECT_EQ(out[1].NumVerts(), 4u);
    EXPECT_DOUBLE_EQ(std::fabs(out[1].GetArea()), 1.0);

    // A T: three chains, none passing through the branch point.
    ASSERT_TRUE(CKrSeg3d::LinkSeg({Seg(0, 0, 1, 0), Seg(1, 0, 2, 0), Seg(1, 0, 1, 1), Seg(1, 1, 1, 2)}, out));
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0].NumVerts() + out[1].NumVerts() + out[2].NumVerts(), 7u);

    // Repeats and zero-length segments add nothing; a NaN end cannot be
    // placed, the rest still is; nothing to link is a failure.
    ASSERT_TRUE(CKrSeg3d::LinkSeg({Seg(0, 0, 1, 0), Seg(1, 0, 0, 0), Seg(1, 0, 1, 0), Seg(1, 0, 2, 0)}, out));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].NumVerts(), 3u);
    EXPECT_FALSE(CKrSeg3d::LinkSeg({Seg(0, 0, 1, 0), Seg(1, 0, std::numeric_limits<double>::quiet_NaN(), 0)}, out));
    EXPECT_EQ(out.size(), 1u);
    EXPECT_FALSE(CKrSeg3d::LinkSeg({}, out));
}
