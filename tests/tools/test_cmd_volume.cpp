// The krtes volume command.
#include "tools/KrtesToolTest.h"

using namespace krtes_test;

// Existing z = x over [0, 10]^2 against the level 5.5: cut 4.5^2 / 2 * 10
// over 45, fill 5.5^2 / 2 * 10 over 55. Against the design z = 5 inside the
// boundary [2, 8] x [0, 4]: cut = fill = 3 * 3/2 * 4 = 18 over 12 each, the
// zero line x = 5 from y = 0 to 4.
TEST(KrtesVolume, PlaneAgainstALevelAndAPlaneInABoundary)
{
    const std::string ground = GridFile("ground.obj", 10, 0, 1, [](double x, double) { return x; });
    json doc = JsonRun("volume " + ground + " --level 5.5");
    EXPECT_NEAR(doc["cut"].get<double>(), 101.25, 1e-9);
    EXPECT_NEAR(doc["fill"].get<double>(), 151.25, 1e-9);
    EXPECT_NEAR(doc["net"].get<double>(), -50.0, 1e-9);
    EXPECT_NEAR(doc["cut_area"].get<double>(), 45.0, 1e-9);
    EXPECT_NEAR(doc["fill_area"].get<double>(), 55.0, 1e-9);

    const std::string design = GridFile("design.ply", 10, 0, 1, [](double, double) { return 5.0; });
    const std::string site = Write("site.txt", "2 0 0\n8 0 0\n8 4 0\n2 4 0\n2 0 0\n");
    const std::string zero = Temp("zero.txt");
    doc = JsonRun("volume " + ground + " " + design + " --boundary " + site + " --zero-line " + zero);
    EXPECT_NEAR(doc["cut"].get<double>(), 18.0, 1e-9);
    EXPECT_NEAR(doc["fill"].get<double>(), 18.0, 1e-9);
    EXPECT_NEAR(doc["cut_area"].get<double>(), 12.0, 1e-9);
    std::vector<std::vector<CKrPoint3d>> lines;
    std::string err;
    ASSERT_TRUE(krtes::ReadPolylineFile(zero, lines, 2, err)) << err;
    ASSERT_EQ(lines.size(), 1u);
    double ylo = HUGE_VAL, yhi = -HUGE_VAL;
    for (const CKrPoint3d& p : lines[0]) {
        EXPECT_NEAR(p.x, 5.0, 1e-9);
        ylo = std::min(ylo, p.y), yhi = std::max(yhi, p.y);
    }
    EXPECT_NEAR(ylo, 0.0, 1e-9);
    EXPECT_NEAR(yhi, 4.0, 1e-9);
}
