// The krtes drape command.
#include "tools/KrtesToolTest.h"

using namespace krtes_test;

TEST(KrtesDrape, LinesFollowTheSurfaceInPieces)
{
    const std::string lines = Write("lines.txt",
                                    "0.5 0.5 0\n3.5 2.5 0\n\n"        // on the surface
                                    "1 5 0\n9 5 0\n\n"                // across the hole: two pieces
                                    "20 20 0\n30 20 0\n\n"            // off the surface
                                    "1 1 0\n3 1 0\n3 3 0\n1.0000004 1.0000003 0\n\n"  // a ring, closed within 1e-6
                                    "-5 8.5 0\n2 8.5 0\n");           // half off
    const std::string out = Temp("drape.txt");
    const CliRun r = Krtes("drape " + HoledPlaneFile() + " " + lines + " -o " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("off surface   1 line(s)"), std::string::npos) << r.out;
    std::vector<std::vector<CKrPoint3d>> blocks;
    std::string err;
    ASSERT_TRUE(krtes::ReadPolylineFile(out, blocks, 2, err)) << err;
    ASSERT_EQ(blocks.size(), 5u);
    for (const auto& b : blocks)
        for (const CKrPoint3d& p : b) EXPECT_NEAR(p.z, Plane(p.x, p.y), 1e-9);
    const std::string text = Read(out);
    EXPECT_NE(text.find("# line 2, piece 2 of 2"), std::string::npos) << text;
    EXPECT_NE(text.find("# line 3: off the surface"), std::string::npos) << text;
    EXPECT_NE(text.find("# line 4, piece 1 of 1 (closed)"), std::string::npos) << text;
    EXPECT_TRUE(blocks[3].front() == blocks[3].back());  // a ring repeats its first point
    // The last point only closes the ring: its sides run between the first three.
    for (const CKrPoint3d& p : blocks[3])
        EXPECT_TRUE(std::fabs(p.y - 1) < 1e-9 || std::fabs(p.x - 3) < 1e-9 || std::fabs(p.x - p.y) < 1e-9)
            << p.x << " " << p.y;
    const double x0 = blocks[4].front().x, x1 = blocks[4].back().x;
    EXPECT_NEAR(std::min(x0, x1), 0.0, 1e-9);  // cut at the surface's edge
    EXPECT_NEAR(std::max(x0, x1), 2.0, 1e-9);
}
