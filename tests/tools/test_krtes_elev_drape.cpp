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


double Plane(double x, double y) { return 2.0 * x - 0.5 * y + 10.0; }

// An OBJ of the plane over [0, 10]^2 as a 10 x 10 grid, with the square
// [4, 6] x [4, 6] left out.
std::string PlaneObj()
{
    std::ostringstream s;
    for (int j = 0; j <= 10; ++j)
        for (int i = 0; i <= 10; ++i) s << "v " << i << " " << j << " " << Plane(i, j) << "\n";
    for (int j = 0; j < 10; ++j) {
        for (int i = 0; i < 10; ++i) {
            if (i >= 4 && i < 6 && j >= 4 && j < 6) continue;
            const int a = j * 11 + i + 1;
            s << "f " << a << " " << a + 1 << " " << a + 12 << "\n";
            s << "f " << a << " " << a + 12 << " " << a + 11 << "\n";
        }
    }
    return Write("plane.obj", s.str());
}

// The data lines (not comments) of a result, as numbers.
std::vector<std::vector<double>> DataLines(const std::string& text)
{
    std::vector<std::vector<double>> out;
    std::istringstream in(text);
    std::string line, bad;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<double> v;
        krtes::ParseNumbers(line, v, bad);
        out.push_back(v);
    }
    return out;
}

}  // namespace

TEST(KrtesElev, ElevationsAtPointsAndOnAGrid)
{
    const std::string surface = PlaneObj();
    const std::string pts = Write("q.txt", "x y\n1.5 2.25\n7 3 123  # z ignored\n\n5 5\n-1 4\n10 10\n");
    const std::string out = Temp("elev.txt");
    std::remove(out.c_str());
    CliRun r = Krtes("elev " + surface + " " + pts + " -o " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("points        5"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("on surface    3"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("off surface   2"), std::string::npos) << r.out;
    const std::string text = Read(out);
    const auto rows = DataLines(text);
    ASSERT_EQ(rows.size(), 3u);
    const double want[3][2] = {{1.5, 2.25}, {7, 3}, {10, 10}};
    for (int k = 0; k < 3; ++k) {
        ASSERT_EQ(rows[k].size(), 3u);
        EXPECT_EQ(rows[k][0], want[k][0]);
        EXPECT_EQ(rows[k][1], want[k][1]);
        EXPECT_NEAR(rows[k][2], Plane(want[k][0], want[k][1]), 1e-9);
    }
    // The hole and the point off the side are reported, with no value.
    EXPECT_NE(text.find("# off surface: 5 5\n"), std::string::npos) << text;
    EXPECT_NE(text.find("# off surface: -1 4\n"), std::string::npos) << text;

    // Without POINTS: a grid over the extent, written to standard output.
    r = Krtes("elev " + surface + " --step 0.5", false);
    ASSERT_EQ(r.code, 0);
    const auto grid = DataLines(r.out);
    // 21 x 21 grid points, minus those strictly inside the hole (3 x 3).
    EXPECT_EQ(grid.size(), 21u * 21u - 9u);
    for (const auto& g : grid) EXPECT_NEAR(g[2], Plane(g[0], g[1]), 1e-9);
    r = Krtes("elev " + surface);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("grid          step 0.1 "), std::string::npos) << r.out;
}

TEST(KrtesElev, SampleSurfaceFromPointsAndMesh)
{
    // The bundled terrain, triangulated on the fly, then as a mesh file.
    const std::string sample = std::string(KRTES_DATA_DIR) + "/jacksboro_scattered.xyz";
    CliRun r = Krtes("elev " + sample + " --step 2000", false);
    ASSERT_EQ(r.code, 0);
    const auto a = DataLines(r.out);
    EXPECT_GT(a.size(), 150u);
    for (const auto& g : a) {
        EXPECT_GE(g[2], 236.0);  // within the sample's elevation range
        EXPECT_LE(g[2], 1071.0);
    }
    const std::string obj = Temp("sample.obj");
    ASSERT_EQ(Krtes("tin -o " + obj).code, 0);
    r = Krtes("elev " + obj + " --step 2000", false);
    ASSERT_EQ(r.code, 0);
    const auto b = DataLines(r.out);
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t k = 0; k < a.size(); ++k) EXPECT_NEAR(a[k][2], b[k][2], 1e-9);
}

TEST(KrtesDrape, LinesFollowTheSurfaceInPieces)
{
    const std::string surface = PlaneObj();
    const std::string lines = Write("lines.txt",
                                    "0.5 0.5 0\n3.5 2.5 0\n\n"                    // on the surface
                                    "1 5 0\n9 5 0\n\n"                            // across the hole: two pieces
                                    "20 20 0\n30 20 0\n\n"                        // off the surface
                                    "1 1 0\n3 1 0\n3 3 0\n1 1 0\n\n"              // a ring
                                    "-5 8.5 0\n2 8.5 0\n");                       // half off
    const std::string out = Temp("drape.txt");
    std::remove(out.c_str());
    const CliRun r = Krtes("drape " + surface + " " + lines + " -o " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("lines         5"), std::string::npos) << r.out;
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
    // The ring comes back closed: its last point repeats its first.
    const auto& ring = blocks[3];
    EXPECT_EQ(ring.front().x, ring.back().x);
    EXPECT_EQ(ring.front().y, ring.back().y);
    // The half-off line starts at the surface's edge.
    const auto& half = blocks[4];
    const double x0 = std::min(half.front().x, half.back().x), x1 = std::max(half.front().x, half.back().x);
    EXPECT_NEAR(x0, 0.0, 1e-9);
    EXPECT_NEAR(x1, 2.0, 1e-9);
}

TEST(KrtesElevDrape, BadInputIsReported)
{
    const std::string surface = PlaneObj();
    const std::string out = Temp("never.txt");
    std::remove(out.c_str());
    const std::string badObj = Write("bad.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 4\n");
    const std::string badPts = Write("badq.txt", "1 2\n3\n");
    const std::string nanPts = Write("nanq.txt", "1 nan\n");
    const std::string oneLine = Write("one.txt", "1 1 0\n");
    const std::string pts = Write("fine.txt", "1 1\n");
    struct Case {
        std::string args, expect;
    };
    const Case cases[] = {
        {"elev", "no SURFACE given"},
        {"elev " + badObj + " -o " + out, badObj + ":4: face index 4 out of range"},
        {"elev " + Temp("missing.obj") + " -o " + out, "cannot open file"},
        {"elev " + surface + " " + badPts + " -o " + out, badPts + ":2: expected x y"},
        {"elev " + surface + " " + nanPts + " -o " + out, nanPts + ":1: coordinate is not finite"},
        {"elev " + surface + " --step -2 -o " + out, "--step needs a positive number"},
        {"elev " + surface + " " + pts + " --step 1 -o " + out, "--step applies only without POINTS"},
        {"elev " + surface + " " + pts + " extra -o " + out, "too many arguments"},
        {"elev " + surface + " --wat", "unknown option '--wat'"},
        {"elev " + surface + " -o", "-o needs a file"},
        {"elev " + surface + " " + pts + " -o " + Temp("no/such/dir.txt"), "cannot create file"},
        {"drape " + surface, "SURFACE and LINES are needed"},
        {"drape " + surface + " " + oneLine + " -o " + out, oneLine + ":1: polyline has 1 point(s)"},
        {"drape " + badObj + " " + oneLine + " -o " + out, "face index 4 out of range"},
        {"drape " + surface + " " + oneLine + " --x", "unknown option '--x'"},
    };
    for (const Case& c : cases) {
        const CliRun r = Krtes(c.args);
        EXPECT_NE(r.code, 0) << c.args;
        EXPECT_NE(r.out.find(c.expect), std::string::npos) << c.args << "\n" << r.out;
        EXPECT_FALSE(Exists(out)) << c.args;
    }
    // The commands are listed in the help.
    const CliRun help = Krtes("--help");
    EXPECT_NE(help.out.find("elev SURFACE [POINTS]"), std::string::npos);
    EXPECT_NE(help.out.find("drape SURFACE LINES"), std::string::npos);
}
