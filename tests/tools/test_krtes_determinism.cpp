// Every krtes command run twice on the same input, in two processes, writes
// the same bytes: every file it leaves in its working directory and its
// standard output, apart from the line reporting the time taken.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/KrtesCliRun.h"

using namespace krtes_test;
namespace fs = std::filesystem;

namespace {

// Standard output without the lines reporting time taken ("time  0.012 s
// (read ...)", "sampled  0.002 s (read ...)"), and with the run's own
// working directory, which the two runs do not share, named alike.
std::string WithoutTime(std::string out, const std::string& dir)
{
    for (std::size_t at; (at = out.find(dir)) != std::string::npos;) out.replace(at, dir.size(), "<dir>");
    static const std::regex seconds("[0-9]\\.[0-9]+ s( \\(|$)");
    std::istringstream in(out);
    std::string line, kept;
    while (std::getline(in, line))
        if (line.rfind("time ", 0) != 0 && !std::regex_search(line, seconds)) kept += line + "\n";
    return kept;
}

// Every file under dir, by relative path, with its bytes.
std::map<std::string, std::string> Files(const std::string& dir)
{
    std::map<std::string, std::string> out;
    for (const auto& e : fs::recursive_directory_iterator(dir))
        if (e.is_regular_file()) out[fs::relative(e.path(), dir).string()] = Read(e.path().string());
    return out;
}

struct CommandRun {
    std::string dir;
    CliRun cli;
    std::map<std::string, std::string> files;
};

// Runs `krtes args` in a new working directory of its own, so that relative
// output names land there and nothing else does.
CommandRun RunIn(const std::string& dir, const std::string& args)
{
    fs::create_directories(dir);
    CommandRun r;
    r.dir = dir;
    r.cli = Shell("cd '" + dir + "' && " + std::string(KRTES_TOOL) + " " + args + " 2>&1");
    r.files = Files(dir);
    return r;
}

double Wavy(double x, double y) { return 50.0 + 3.0 * std::sin(x / 3.0) * std::cos(y / 4.0) + 0.1 * x; }

std::string SphereFile(const std::string& name, const CKrPoint3d& c, double r)
{
    const testmesh::Solid s = testmesh::Sphere(c, r, 3);
    const std::string p = Temp(name);
    std::string err;
    EXPECT_TRUE(krtes::WriteMeshFile(p, s.pts, s.ids, err)) << err;
    return p;
}

}  // namespace

TEST(KrtesDeterminism, EveryCommandTwiceGivesTheSameBytes)
{
    const std::string help = Krtes("--help").out;

    // Scattered survey points with near-duplicates and a straight scan line.
    std::mt19937_64 rng(3);
    std::uniform_real_distribution<double> u(0.0, 30.0), d(-0.004, 0.004);
    std::ostringstream pts;
    pts.precision(17);
    for (int i = 0; i < 4000; ++i) {
        const double x = u(rng), y = u(rng);
        pts << x << ' ' << y << ' ' << Wavy(x, y) << '\n';
        if (i % 3 == 0) pts << x + d(rng) << ' ' << y + d(rng) << ' ' << Wavy(x, y) + 0.01 << '\n';
    }
    for (int i = 0; i <= 200; ++i) pts << 0.1 + i * 0.145 << " 15 " << Wavy(0.1 + i * 0.145, 15) << '\n';
    const std::string points = Write("points.xyz", pts.str());
    const std::string outline = Write("outline.txt", "1000 1000 0\n29000 1000 0\n29000 30000 0\n1000 30000 0\n");
    const std::string holes = Write("holes.txt", "10000 10000 0\n12000 10000 0\n12000 12000 0\n10000 12000 0\n");
    const std::string brk = Write("brk.txt", "2000 2000 500\n20000 25000 700\n");
    const std::string surf = GridFile("surf.ply", 30, 0, 1, Wavy);
    const std::string where = Write("where.xyz", "0.5 0.5 0\n12.25 7.75 0\n29.9 29.9 0\n40 40 0\n3 27 0\n");
    const std::string lines = Write("lines.txt", "0.5 0.5 0\n29 21 0\n\n1 28 0\n28 1 0\n15 15 0\n1 28 0\n");
    const std::string data = Write("data.xyz", "5 5 52\n25 5 53\n25 25 51\n5 25 50\n15 15 52.5\n");
    const std::string a = SphereFile("a.obj", CKrPoint3d(0, 0, 0), 1000.0);
    const std::string b = SphereFile("b.ply", CKrPoint3d(600, 250, 150), 800.0);
    const std::string c = SphereFile("c.obj", CKrPoint3d(2500, 300, 200), 400.0);

    struct Case {
        std::string command, args;
    };
    const std::vector<Case> cases = {
        {"tin", "tin --outline " + outline + " --holes " + holes + " --breaklines " + brk + " -o sample.obj"},
        {"tin", "tin " + points + " -o points.xml"},
        {"tin", "tin " + points + " -o points.ply"},
        {"elev", "elev " + surf + " " + where + " -o elev.xyz"},
        {"elev", "elev " + surf + " --step 0.7"},
        {"drape", "drape " + surf + " " + lines + " -o drape.txt"},
        {"fit", "fit " + surf + " --points " + data + " " + where + " -o fit.xyz"},
        {"grid", "grid " + surf + " --cell 0.5 -o dem.tif"},
        {"boolean", "boolean " + a + " " + b + " --op union -o union.ply --diagnostics diag"},
        {"boolean", "boolean " + a + " " + b + " --op a-minus-b -o diff.obj"},
        {"volume", "volume " + surf + " --level 51"},
        {"contour", "contour " + surf + " --interval 0.5 -o contours.txt"},
        {"render", "render " + surf + " --contours 1 --size 200 -o view.png"},
        {"collide", "collide " + a + " " + b},
        {"collide", "collide " + a + " " + c},
    };
    int run = 0;
    for (const Case& k : cases) {
        if (help.find("  " + k.command + " ") == std::string::npos && help.find("  " + k.command + "\n") == std::string::npos) {
            std::printf("krtes has no %s command: skipped\n", k.command.c_str());
            continue;
        }
        const std::string tag = "run" + std::to_string(run++);
        const CommandRun first = RunIn(Temp(tag + "a"), k.args);
        const CommandRun second = RunIn(Temp(tag + "b"), k.args);
        ASSERT_EQ(first.cli.code, 0) << k.args << "\n" << first.cli.out;
        ASSERT_EQ(second.cli.code, 0) << k.args << "\n" << second.cli.out;
        EXPECT_EQ(WithoutTime(first.cli.out, first.dir), WithoutTime(second.cli.out, second.dir)) << k.args;
        ASSERT_EQ(first.files.size(), second.files.size()) << k.args;
        for (const auto& [name, bytes] : first.files) {
            const auto it = second.files.find(name);
            ASSERT_NE(it, second.files.end()) << k.args << ": " << name << " only in the first run";
            EXPECT_TRUE(bytes == it->second) << k.args << ": " << name << " differs (" << bytes.size() << " vs "
                                             << it->second.size() << " bytes)";
        }
        if (k.args.find(" -o ") != std::string::npos) {
            EXPECT_FALSE(first.files.empty()) << k.args << ": no file written";
        }
    }
    EXPECT_GE(run, 10);
}
