// The krtes collide command.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include <nlohmann/json.hpp>

#include "support/KrtesCliRun.h"

using namespace krtes_test;

namespace {

// A grid on the plane z = z0 + sx x + sy y, as a mesh file.
std::string Grid(const std::string& name, int n, double x0, double h, double z0, double sx, double sy)
{
    return GridFile(name, n, x0, h, [=](double x, double y) { return z0 + sx * x + sy * y; });
}

// A box as a mesh file.
std::string BoxFile(const std::string& name, double x0, double y0, double z0, double x1, double y1, double z1)
{
    const testmesh::Solid b = testmesh::Box(x0, y0, z0, x1, y1, z1);
    const std::string p = Temp(name);
    std::string err;
    EXPECT_TRUE(krtes::WriteMeshFile(p, b.pts, b.ids, err)) << err;
    return p;
}

}  // namespace

TEST(KrtesCollide, BoxesTouchingAndApartGiveTheTrueGap)
{
    const std::string a = BoxFile("a.obj", 0, 0, 0, 1, 1, 1);
    // Face to face at x = 1.
    CliRun r = Krtes("collide " + a + " " + BoxFile("b.obj", 1, 0.2, 0.3, 2, 1.2, 1.3));
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("touching      yes\ndistance      0.000000\n"), std::string::npos) << r.out;
    // Corner to corner: from (1, 1, 1) to (2, 3, 3), a gap of 3.
    r = Krtes("collide " + a + " " + BoxFile("c.ply", 2, 3, 3, 3, 4, 4));
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("touching      no\ndistance      3.000000\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("closest A     (1.000000 1.000000 1.000000)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("closest B     (2.000000 3.000000 3.000000)"), std::string::npos) << r.out;
    // Edge above a face, apart by 0.25 in z.
    r = Krtes("collide " + a + " " + BoxFile("d.obj", 0.2, 0.2, 1.25, 0.8, 0.8, 2) + " --json", false);
    ASSERT_EQ(r.code, 0) << r.out;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["distance"].get<double>(), 0.25);
    EXPECT_FALSE(j["touching"].get<bool>());
    EXPECT_EQ(j["closest_points"]["a"][2].get<double>(), 1.0);
    EXPECT_EQ(j["closest_points"]["b"][2].get<double>(), 1.25);
}

TEST(KrtesCollide, TouchingApartAndBadInput)
{
    const std::string a = Grid("a.obj", 5, 0, 1, 0, 0.1, 0);
    CliRun r = Krtes("collide " + a + " " + Grid("b.ply", 5, 5, 1, 0, 0.1, 0));  // shares the edge x = 5
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("touching      yes\ndistance      0.000000\n"), std::string::npos) << r.out;

    const std::string c = Grid("c.obj", 5, 20, 1, 0, 0.1, 0);
    r = Krtes("collide " + a + " " + c);
    ASSERT_EQ(r.code, 0) << r.out;
    // The true gap: from A's edge x = 5 (z 0.5) to C's edge x = 20 (z 2).
    char expect[80];
    std::snprintf(expect, sizeof expect, "touching      no\ndistance      %.6f\n", std::hypot(15.0, 1.5));
    EXPECT_NE(r.out.find(expect), std::string::npos) << expect << "\n" << r.out;
    double xa, ya, za, xb, yb, zb;
    const std::size_t at = r.out.find("closest A     (");
    ASSERT_NE(at, std::string::npos) << r.out;
    ASSERT_EQ(std::sscanf(r.out.c_str() + at, "closest A     (%lf %lf %lf) on triangle %*d\nclosest B     (%lf %lf %lf)",
                          &xa, &ya, &za, &xb, &yb, &zb),
              6)
        << r.out;
    EXPECT_NEAR(xa, 5.0, 1e-9);
    EXPECT_NEAR(za, 0.5, 1e-9);
    EXPECT_NEAR(xb, 20.0, 1e-9);
    EXPECT_NEAR(zb, 2.0, 1e-9);
    EXPECT_NEAR(ya, yb, 1e-9);

    // The pairwise report: pairs that do not meet measured between their
    // centroids, the nearest (4 + 2/3, j + 1/3) in A's last column and
    // (20 + 1/3, j + 2/3) in C's first.
    r = Krtes("collide " + a + " " + c + " --pairwise");
    ASSERT_EQ(r.code, 0) << r.out;
    const double dx = 20.0 + 1.0 / 3 - (4.0 + 2.0 / 3), dz = 0.1 * dx;
    std::snprintf(expect, sizeof expect, "touching      no\ndistance      %.6f", std::sqrt(dx * dx + 1.0 / 9 + dz * dz));
    EXPECT_NE(r.out.find(expect), std::string::npos) << expect << "\n" << r.out;

    EXPECT_EQ(Krtes("collide " + a).code, 2);  // a usage error
    r = Krtes("collide " + a + " " + Write("bad.obj", "v 0 0 0\nf 1 2 3\n"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("bad.obj"), std::string::npos) << r.out;
}
