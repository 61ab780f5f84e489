// The krtes program's commands: tin, elev, drape, fit and collide (boolean
// has its own file), their output and their error messages.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "KrTesIO.h"
#include "KrTesMeshIO.h"
#include "support/KrtesCliRun.h"

using namespace krtes_test;

TEST(KrtesTin, SampleTerrainWithOutlineAndHole)
{
    const std::string out = Temp("sample.obj");
    std::remove(out.c_str());
    const std::string outline = Write("outline.txt", "1000 1000 0\n29000 1000 0\n29000 30000 0\n1000 30000 0\n");
    const std::string holes = Write("holes.txt", "10000 10000 0\n12000 10000 0\n12000 12000 0\n10000 12000 0\n");
    const std::string brk = Write("brk.txt", "2000 2000 500\n20000 25000 700\n");
    const CliRun r = Krtes("tin --outline " + outline + " --holes " + holes + " --breaklines " + brk + " -o " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("points read   27726"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("extent        x 1000.000 .. 29000.000"), std::string::npos) << r.out;
    std::vector<CKrPoint3d> v;
    std::vector<KrTesGeo::_sTri_ID> f;
    std::string err;
    ASSERT_TRUE(krtes::ReadMeshFile(out, v, f, err)) << err;
    EXPECT_GT(v.size(), 20000u);
    EXPECT_GT(f.size(), 2 * v.size() - 400);
}

TEST(KrtesTin, BadInputIsReportedAndNothingIsWritten)
{
    const std::string out = Temp("bad.obj");
    std::remove(out.c_str());
    struct Case {
        std::string args, expect;
    };
    const std::string malformed = Write("malformed.xyz", "1 2 3\n4 5 6\n7 8\n");
    const std::string nan = Write("nan.xyz", "1 2 3\n4 5 nan\n7 8 9\n");
    const std::string two = Write("two.xyz", "1 2 3\n4 5 6\n4.001 5.001 7\n");
    const std::string line = Write("line.xyz", "0 0 0\n1 1 0\n2 2 0\n3 3 0\n");
    const std::string shortHole = Write("short.txt", "0 0 0\n1 1 0\n");
    const std::string ok = Write("ok.xyz", "0 0 0\n10 0 0\n0 10 0\n10 10 1\n");
    const Case cases[] = {
        {malformed + " -o " + out, malformed + ":3: expected 3 values"},
        {nan + " -o " + out, nan + ":2: coordinate is not finite"},
        {Temp("missing.xyz") + " -o " + out, "cannot open file"},
        {two + " -o " + out, "fewer than 3 usable points"},
        {line + " -o " + out, "could not be triangulated"},
        {ok + " --holes " + shortHole + " -o " + out, shortHole + ":1: polyline has 2 point(s)"},
        {ok + " -o " + Temp("bad.dxf"), "unknown output format"},
        {ok + " --frobnicate", "unknown option '--frobnicate'"},
        {ok + " --outline", "--outline needs a file"},
    };
    for (const Case& c : cases) {
        const CliRun r = Krtes("tin " + c.args);
        EXPECT_NE(r.code, 0) << c.args;
        EXPECT_NE(r.out.find(c.expect), std::string::npos) << c.args << "\n" << r.out;
        EXPECT_FALSE(Exists(out)) << c.args;
    }
    EXPECT_NE(Krtes("frobnicate").code, 0);
    EXPECT_NE(Krtes("").code, 0);
}

namespace {

double Plane(double x, double y) { return 2.0 * x - 0.5 * y + 10.0; }

// The plane over [0, 10]^2 as a grid, the square [4, 6]^2 left out.
std::string PlaneObj()
{
    return GridFile("plane.obj", 10, 0, 1, Plane, [](int i, int j) { return i >= 4 && i <= 5 && j >= 4 && j <= 5; });
}

// The data lines (not comments) of a result, as numbers.
std::vector<std::vector<double>> DataLines(const std::string& text)
{
    std::vector<std::vector<double>> out;
    std::istringstream in(text);
    std::string line, bad;
    std::vector<double> v;
    while (std::getline(in, line))
        if (!line.empty() && line[0] != '#' && krtes::ParseNumbers(line, v, bad) > 0) out.push_back(v);
    return out;
}

}  // namespace

TEST(KrtesElev, PointsGridAndSampleSurface)
{
    const std::string surface = PlaneObj();
    const std::string pts = Write("q.txt", "x y\n1.5 2.25\n7 3 123  # z ignored\n\n5 5\n-1 4\n10 10\n");
    const std::string out = Temp("elev.txt");
    CliRun r = Krtes("elev " + surface + " " + pts + " -o " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("points        5\non surface    3\noff surface   2"), std::string::npos) << r.out;
    const std::string text = Read(out);
    const auto rows = DataLines(text);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[1][0], 7.0);
    for (const auto& w : rows) EXPECT_NEAR(w[2], Plane(w[0], w[1]), 1e-9);
    // The hole and the point off the side get no value.
    EXPECT_NE(text.find("# off surface: 5 5\n# off surface: -1 4\n"), std::string::npos) << text;

    // A grid over the extent, to standard output: 21 x 21 points but the 3 x 3
    // strictly inside the hole.
    r = Krtes("elev " + surface + " --step 0.5", false);
    ASSERT_EQ(r.code, 0);
    const auto grid = DataLines(r.out);
    EXPECT_EQ(grid.size(), 21u * 21u - 9u);
    for (const auto& g : grid) EXPECT_NEAR(g[2], Plane(g[0], g[1]), 1e-9);

    // The bundled terrain, triangulated on the fly or read back as a mesh.
    const std::string sample = std::string(KRTES_DATA_DIR) + "/jacksboro_scattered.xyz";
    const std::string obj = Temp("sample.obj");
    ASSERT_EQ(Krtes("tin -o " + obj).code, 0);
    const auto a = DataLines(Krtes("elev " + sample + " --step 2000", false).out);
    const auto b = DataLines(Krtes("elev " + obj + " --step 2000", false).out);
    ASSERT_GT(a.size(), 150u);
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t k = 0; k < a.size(); ++k) {
        EXPECT_NEAR(a[k][2], b[k][2], 1e-9);
        EXPECT_TRUE(a[k][2] >= 236.0 && a[k][2] <= 1071.0) << a[k][2];  // the sample's height range
    }
}

TEST(KrtesDrape, LinesFollowTheSurfaceInPieces)
{
    const std::string lines = Write("lines.txt",
                                    "0.5 0.5 0\n3.5 2.5 0\n\n"        // on the surface
                                    "1 5 0\n9 5 0\n\n"                // across the hole: two pieces
                                    "20 20 0\n30 20 0\n\n"            // off the surface
                                    "1 1 0\n3 1 0\n3 3 0\n1.0000004 1.0000003 0\n\n"  // a ring, closed within 1e-6
                                    "-5 8.5 0\n2 8.5 0\n");           // half off
    const std::string out = Temp("drape.txt");
    const CliRun r = Krtes("drape " + PlaneObj() + " " + lines + " -o " + out);
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

TEST(KrtesElevDrape, BadInputIsReported)
{
    const std::string surface = PlaneObj(), out = Temp("never.txt");
    std::remove(out.c_str());
    const std::string bad = Write("bad.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 4\n");
    const std::string pts = Write("fine.txt", "1 1\n"), one = Write("one.txt", "1 1 0\n");
    const std::string cases[][2] = {
        {"elev", "no SURFACE given"},
        {"elev " + bad, bad + ":4: face index 4 out of range"},
        {"elev " + Temp("missing.obj"), "cannot open file"},
        {"elev " + surface + " " + Write("badq.txt", "1 2\n3\n"), "badq.txt:2: expected x y"},
        {"elev " + surface + " " + Write("nanq.txt", "1 nan\n"), "nanq.txt:1: coordinate is not finite"},
        {"elev " + surface + " --step -2", "--step needs a positive number"},
        {"elev " + surface + " " + pts + " --step 1", "--step applies only without POINTS"},
        {"elev " + surface + " " + pts + " extra", "too many arguments"},
        {"elev " + surface + " --wat", "unknown option '--wat'"},
        {"elev " + surface + " -o", "-o needs a file"},
        {"elev " + surface + " " + pts + " -o " + Temp("no/such/dir.txt"), "cannot create file"},
        {"drape " + surface, "SURFACE and LINES are needed"},
        {"drape " + surface + " " + one, "one.txt:1: polyline has 1 point(s)"},
        {"drape " + bad + " " + one, "face index 4 out of range"},
    };
    for (const auto& c : cases) {
        const CliRun r = Krtes(c[0] + (c[0].find(" -o") == std::string::npos ? " -o " + out : ""));
        EXPECT_NE(r.code, 0) << c[0];
        EXPECT_NE(r.out.find(c[1]), std::string::npos) << c[0] << "\n" << r.out;
        EXPECT_FALSE(Exists(out)) << c[0];
    }
    const std::string help = Krtes("--help").out;
    EXPECT_NE(help.find("elev SURFACE [POINTS]"), std::string::npos);
    EXPECT_NE(help.find("drape SURFACE LINES"), std::string::npos);
}

namespace {

// A grid on the plane z = z0 + sx x + sy y, as a mesh file.
std::string Grid(const std::string& name, int n, double x0, double h, double z0, double sx, double sy)
{
    return GridFile(name, n, x0, h, [=](double x, double y) { return z0 + sx * x + sy * y; });
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
    const std::string out = Temp("fan.xyz");
    const std::string bj = Write("bj.txt", Heights({{20, 20}, {80, 20}, {80, 80}, {20, 80}, {20, 20}}));
    r = Krtes("fit " + ref + " --points " + Write("apex.xyz", Heights({{40, 50}})) + " --boundary " + bj +
              " --type 2 -o " + out + " " + todo);
    ASSERT_EQ(r.code, 0) << r.out;
    const std::string text = Read(out);
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
