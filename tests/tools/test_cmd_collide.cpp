// The krtes collide command.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "support/KrtesCliRun.h"

using namespace krtes_test;

namespace {

// A grid on the plane z = z0 + sx x + sy y, as a mesh file.
std::string Grid(const std::string& name, int n, double x0, double h, double z0, double sx, double sy)
{
    return GridFile(name, n, x0, h, [=](double x, double y) { return z0 + sx * x + sy * y; });
}

}  // namespace

TEST(KrtesCollide, TouchingApartAndBadInput)
{
    const std::string a = Grid("a.obj", 5, 0, 1, 0, 0.1, 0);
    CliRun r = Krtes("collide " + a + " " + Grid("b.ply", 5, 5, 1, 0, 0.1, 0));  // shares the edge x = 5
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("touching      yes\ndistance      0.000000\n"), std::string::npos) << r.out;

    r = Krtes("collide " + a + " " + Grid("c.obj", 5, 20, 1, 0, 0.1, 0));
    ASSERT_EQ(r.code, 0) << r.out;
    // The nearest centroids: (4 + 2/3, j + 1/3) in A's last column, (20 + 1/3, j + 2/3) in C's first.
    const double dx = 20.0 + 1.0 / 3 - (4.0 + 2.0 / 3), dz = 0.1 * dx;
    char expect[80];
    std::snprintf(expect, sizeof expect, "touching      no\ndistance      %.6f", std::sqrt(dx * dx + 1.0 / 9 + dz * dz));
    EXPECT_NE(r.out.find(expect), std::string::npos) << expect << "\n" << r.out;

    EXPECT_EQ(Krtes("collide " + a).code, 2);  // a usage error
    r = Krtes("collide " + a + " " + Write("bad.obj", "v 0 0 0\nf 1 2 3\n"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("bad.obj"), std::string::npos) << r.out;
}
