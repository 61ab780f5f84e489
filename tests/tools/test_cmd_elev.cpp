// The krtes elev command.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "KrTesGeometry/io/KrTesIO.h"
#include "support/KrtesCliRun.h"

using namespace krtes_test;

namespace {

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
    const std::string surface = HoledPlaneFile();
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

TEST(KrtesElev, BadInputIsReportedAndNothingIsWritten)
{
    const std::string surface = HoledPlaneFile(), out = Temp("never.txt");
    const std::string bad = Write("bad.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 4\n");
    const std::string pts = Write("fine.txt", "1 1\n");
    const std::string cases[][2] = {
        {"elev", "SURFACE is required"},
        {"elev " + bad, bad + ":4: face index 4 out of range"},
        {"elev " + Temp("missing.obj"), "cannot open file"},
        {"elev " + surface + " " + Write("badq.txt", "1 2\n3\n"), "badq.txt:2: expected x y"},
        {"elev " + surface + " " + Write("nanq.txt", "1 nan\n"), "nanq.txt:1: coordinate is not finite"},
        {"elev " + surface + " --step -2", "--step needs a positive number"},
        {"elev " + surface + " " + pts + " --step 1", "--step applies only without POINTS"},
        {"elev " + surface + " " + pts + " extra", "too many arguments"},
        {"elev " + surface + " --wat", "unknown option '--wat'"},
        {"elev " + surface + " -o", "--output needs a value"},
        {"elev " + surface + " " + pts + " -o " + Temp("no/such/dir.txt"), "cannot create file"},
    };
    for (const auto& c : cases) {
        const CliRun r = Krtes(c[0] + (c[0].find(" -o") == std::string::npos ? " -o " + out : ""));
        EXPECT_NE(r.code, 0) << c[0];
        EXPECT_NE(r.out.find(c[1]), std::string::npos) << c[0] << "\n" << r.out;
        EXPECT_FALSE(Exists(out)) << c[0];
    }
}
