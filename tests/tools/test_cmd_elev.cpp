// The krtes elev command.
#include <sstream>

#include "tools/KrtesToolTest.h"

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

TEST(KrtesElev, PointsAndGridOnAPlaneWithAHole)
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

}
