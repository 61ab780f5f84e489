#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "KrTesIO.h"
#include "KrtesCliRun.h"

using namespace krtes_test;

namespace {


// An n x n grid of h-sized cells from (x0, 0) on the plane z = z0 + sx x + sy y, as a mesh file.
std::string Grid(const std::string& name, int n, double x0, double h, double z0, double sx, double sy)
{
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> tris;
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i) pts.emplace_back(x0 + i * h, j * h, z0 + sx * (x0 + i * h) + sy * j * h);
    for (int k = 0; k < n * n; ++k) {
        const int a = (k / n) * (n + 1) + k % n;
        tris.emplace_back(a, a + 1, a + n + 2);
        tris.emplace_back(a, a + n + 2, a + n + 1);
    }
    const std::string p = ::testing::TempDir() + "krtes_fc_" + name;
    std::string err;
    EXPECT_TRUE(krtes::WriteMeshFile(p, pts, tris, err)) << err;
    return p;
}

double RefZ(double x, double y) { return 100.0 + 0.1 * x + 0.05 * y; }
double Diff(double x, double y) { return 2.0 + 0.01 * x - 0.02 * y; }

std::string Heights(const std::vector<std::pair<double, double>>& xy)
{
    std::ostringstream s;
    s.precision(17);
    for (auto [x, y] : xy) s << x << ' ' << y << ' ' << RefZ(x, y) - Diff(x, y) << '\n';
    return s.str();
}

}  // namespace

TEST(KrtesFit, FitsAndRefusals)
{
    const std::string ref = Grid("ref.ply", 4, 0, 25, 100, 0.1, 0.05);
    const std::string todo = Write("todo.xyz", "30 60 0\n95 50 0\n150 50 7\n");
    const std::string data = Write("data.xyz", Heights({{20, 20}, {80, 20}, {80, 80}, {20, 80}, {50, 50}}));
    CliRun r = Krtes("fit " + ref + " --points " + data + " " + todo);
    ASSERT_EQ(r.code, 0) << r.out;
    double z1, z2;
    const std::size_t at = r.out.find("\n30 60 ");
    ASSERT_NE(at, std::string::npos) << r.out;
    ASSERT_EQ(std::sscanf(r.out.c_str() + at, " 30 60 %lf 95 50 %lf", &z1, &z2), 2) << r.out;
    EXPECT_NEAR(z1, RefZ(30, 60) - Diff(30, 60), 1e-9);  // inside the difference surface
    EXPECT_NEAR(z2, RefZ(95, 50) - Diff(80, 50), 1e-9);  // the nearest outline point's difference
    EXPECT_NE(r.out.find("# not fitted: 150 50 7\n"), std::string::npos) << r.out;

    // Type 2 from a closed boundary file, written to a file.
    const std::string out = ::testing::TempDir() + "krtes_fc_fan.xyz";
    const std::string bj = Write("bj.txt", Heights({{20, 20}, {80, 20}, {80, 80}, {20, 80}, {20, 20}}));
    r = Krtes("fit " + ref + " --points " + Write("apex.xyz", Heights({{40, 50}})) + " --boundary " + bj +
              " --type 2 -o " + out + " " + todo);
    ASSERT_EQ(r.code, 0) << r.out;
    std::ifstream in(out);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ASSERT_EQ(std::sscanf(text.c_str() + text.find("\n30 60 "), " 30 60 %lf", &z1), 1) << text;
    EXPECT_NEAR(z1, RefZ(30, 60) - Diff(30, 60), 1e-9);
    EXPECT_NE(text.find("# not fitted: 95 50 0\n"), std::string::npos) << text;

    const std::pair<std::string, std::string> bad[] = {
        {"fit " + ref + " --points " + data + " --type 1 " + todo, "type 1 fits to lines only"},
        {"fit " + ref + " --points " + data + " --type 2 " + todo, "type 2 needs exactly one point"},
        {"fit " + ref + " " + todo, "no data given"},
        {"fit " + ref + " --points " + Write("off.xyz", "500 500 1\n") + " " + todo, "no difference model"},
    };
    for (const auto& [args, message] : bad) {
        r = Krtes(args);
        EXPECT_EQ(r.code, 1) << args << "\n" << r.out;
        EXPECT_NE(r.out.find(message), std::string::npos) << args << "\n" << r.out;
    }
}

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

    EXPECT_EQ(Krtes("collide " + a).code, 1);
    r = Krtes("collide " + a + " " + Write("bad.obj", "v 0 0 0\nf 1 2 3\n"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("bad.obj"), std::string::npos) << r.out;
}
