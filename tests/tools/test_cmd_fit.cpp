// The krtes fit command.
#include <sstream>
#include <tuple>

#include "tools/KrtesToolTest.h"

using namespace krtes_test;

namespace {

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
    const std::string ref = GridFile("ref.ply", 4, 0, 25, RefZ);
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

    // Data the fit cannot use.
    const std::tuple<std::string, std::string, int> bad[] = {
        {"fit " + ref + " --points " + data + " --type 1 " + todo, "type 1 fits to lines only", 1},
        {"fit " + ref + " --points " + data + " --type 2 " + todo, "type 2 needs exactly one point", 1},
        {"fit " + ref + " --points " + Write("off.xyz", "500 500 1\n") + " " + todo, "no difference model", 1},
    };
    for (const auto& [args, message, code] : bad) {
        r = Krtes(args);
        EXPECT_EQ(r.code, code) << args << "\n" << r.out;
        EXPECT_NE(r.out.find(message), std::string::npos) << args << "\n" << r.out;
    }
}
