#ifndef KRTES_TESTS_TOOLS_KRTESTOOLTEST_H
#define KRTES_TESTS_TOOLS_KRTESTOOLTEST_H

// What the tests of the krtes commands share: the program runner and scratch
// files, the report as JSON, and the meshes they feed it.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "KrTesGeometry/io/KrTesIO.h"
#include "support/KrTestMeshes.h"

namespace krtes_test {

using nlohmann::json;

struct CliRun {
    int code;         // exit code, -1 when the program did not exit normally
    std::string out;  // standard output, and standard error unless left out or kept apart
    std::string err;  // standard error when kept apart
};

// Runs a shell command line and collects its standard output.
inline CliRun Shell(const std::string& cmd)
{
    CliRun r{-1, "", ""};
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return r;
    char buf[4096];
    for (std::size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;) r.out.append(buf, n);
    const int st = pclose(p);
    r.code = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return r;
}

inline CliRun Krtes(const std::string& args, bool withStderr = true)
{
    return Shell(std::string(KRTES_TOOL) + " " + args + (withStderr ? " 2>&1" : " 2>/dev/null"));
}

// A file in the running test's own directory, inside a scratch directory
// removed with everything in it when the program ends.
inline std::string Temp(const std::string& name)
{
    static const testmesh::ScratchDir scratch;
    const ::testing::TestInfo* t = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string dir = scratch.Path(std::string(t->test_suite_name()) + "." + t->name());
    std::filesystem::create_directories(dir);
    return dir + "/" + name;
}

inline std::string Write(const std::string& name, const std::string& text)
{
    const std::string p = Temp(name);
    std::ofstream(p, std::ios::binary) << text;
    return p;
}

inline std::string Read(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline bool Exists(const std::string& path) { return std::ifstream(path).good(); }

// A run with standard output and standard error kept apart.
inline CliRun KrtesStreams(const std::string& args)
{
    const std::string errFile = Temp("krtes_stderr.txt");
    CliRun r = Shell(std::string(KRTES_TOOL) + " " + args + " 2>" + errFile);
    r.err = Read(errFile);
    return r;
}

// Runs `krtes args --json`, which must exit with code and print one JSON
// object and nothing else on standard output.
inline json JsonRun(const std::string& args, int code = 0)
{
    const CliRun r = KrtesStreams(args + " --json");
    EXPECT_EQ(r.code, code) << args << "\n" << r.err;
    const json j = json::parse(r.out, nullptr, false);
    EXPECT_TRUE(j.is_object()) << args << "\n" << r.out;
    return j.is_object() ? j : json::object();
}

// A solid as a mesh file in the running test's scratch directory (or at path
// when it has a directory part).
inline std::string SolidFile(const std::string& name, const testmesh::Solid& s)
{
    const std::string p = name.find('/') == std::string::npos ? Temp(name) : name;
    std::string err;
    EXPECT_TRUE(krtes::WriteMeshFile(p, s.pts, s.ids, err)) << err;
    return p;
}

// An n x n grid of h-sized cells from (x0, 0), heights z(x, y), written as a
// mesh file; cells where skip(i, j) holds are left out.
inline std::string GridFile(const std::string& name, int n, double x0, double h,
                            const std::function<double(double, double)>& z,
                            const std::function<bool(int, int)>& skip = nullptr)
{
    return SolidFile(name, testmesh::Grid(n, n, x0, 0.0, h, z, skip));
}

// The plane z = 2x - y/2 + 10 over [0, 10]^2 as a grid file with the square
// [4, 6]^2 left out: a surface with a hole for the elev and drape commands.
inline double Plane(double x, double y) { return 2.0 * x - 0.5 * y + 10.0; }

inline std::string HoledPlaneFile()
{
    return GridFile("plane.obj", 10, 0, 1, Plane, [](int i, int j) { return i >= 4 && i <= 5 && j >= 4 && j <= 5; });
}

// The cone z = 10 - |(x, y) - (10, 10)| over [0, 20]^2: from below the
// corners (10 - 10 sqrt 2 = -4.14) to 10 at the apex.
inline double Cone(double x, double y) { return 10.0 - std::hypot(x - 10, y - 10); }

}  // namespace krtes_test

#endif
