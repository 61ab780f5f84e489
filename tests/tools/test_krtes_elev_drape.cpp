#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "KrTesIO.h"
#include "KrtesCliRun.h"

using namespace krtes_test;

namespace {

double Plane(double x, double y) { return 2.0 * x - 0.5 * y + 10.0; }

// The plane over [0, 10]^2 as an OBJ grid, the square [4, 6]^2 left out.
std::string PlaneObj()
{
    std::ostringstream s;
    for (int j = 0; j <= 10; ++j)
        for (int i = 0; i <= 10; ++i) s << "v " << i << " " << j << " " << Plane(i, j) << "\n";
    for (int j = 0; j < 10; ++j)
        for (int i = 0; i < 10; ++i)
            if (i < 4 || i > 5 || j < 4 || j > 5)
                s << "f " << j * 11 + i + 1 << " " << j * 11 + i + 2 << " " << j * 11 + i + 13 << "\nf "
                  << j * 11 + i + 1 << " " << j * 11 + i + 13 << " " << j * 11 + i + 12 << "\n";
    return Write("plane.obj", s.str());
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
                                    "1 1 0\n3 1 0\n3 3 0\n1 1 0\n\n"  // a ring
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
