#ifndef KRTES_TESTS_KRTESCLIRUN_H
#define KRTES_TESTS_KRTESCLIRUN_H

// Running the krtes program from tests, and scratch files for it.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include "KrTesGeometry/io/KrMeshFile.h"
#include "support/KrTestMeshes.h"
#include "support/ScratchDir.h"

namespace krtes_test {

struct CliRun {
    int code;         // exit code, -1 when the program did not exit normally
    std::string out;  // standard output, and standard error unless left out
};

// Runs a shell command line and collects its standard output.
inline CliRun Shell(const std::string& cmd)
{
    CliRun r{-1, ""};
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

// The running test's scratch directory: made when the test names its first
// file, removed with every file in it when the test ends, whatever the test
// or the program did.
class ScratchPerTest : public ::testing::EmptyTestEventListener {
public:
    static std::string Path(const std::string& name)
    {
        std::unique_ptr<testmesh::ScratchDir>& d = Current();
        if (!d) d = std::make_unique<testmesh::ScratchDir>();
        return d->Path(name);
    }
    void OnTestEnd(const ::testing::TestInfo&) override { Current().reset(); }

private:
    static std::unique_ptr<testmesh::ScratchDir>& Current()
    {
        static std::unique_ptr<testmesh::ScratchDir> dir;
        return dir;
    }
};

inline const bool kScratchPerTest = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new ScratchPerTest);
    return true;
}();

inline std::string Temp(const std::string& name) { return ScratchPerTest::Path(name); }

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
struct CliStreams {
    int code;         // exit code, -1 when the program did not exit normally
    std::string out;  // standard output
    std::string err;  // standard error
};

inline CliStreams KrtesStreams(const std::string& args)
{
    const std::string errFile = Temp("krtes_stderr.txt");
    const CliRun r = Shell(std::string(KRTES_TOOL) + " " + args + " 2>" + errFile);
    return {r.code, r.out, Read(errFile)};
}

// An n x n grid of h-sized cells from (x0, 0), heights z(x, y), written as a
// mesh file; cells where skip(i, j) holds are left out.
inline std::string GridFile(const std::string& name, int n, double x0, double h,
                            const std::function<double(double, double)>& z,
                            const std::function<bool(int, int)>& skip = nullptr)
{
    const testmesh::Solid g = testmesh::Grid(n, n, x0, 0.0, h, z, skip);
    const std::string p = Temp(name);
    std::string err;
    EXPECT_TRUE(krtes::WriteMeshFile(p, g.pts, g.ids, err)) << err;
    return p;
}

// The plane z = 2x - y/2 + 10 over [0, 10]^2 as a grid file with the square
// [4, 6]^2 left out: a surface with a hole for the elev and drape commands.
inline double Plane(double x, double y) { return 2.0 * x - 0.5 * y + 10.0; }

inline std::string HoledPlaneFile()
{
    return GridFile("plane.obj", 10, 0, 1, Plane, [](int i, int j) { return i >= 4 && i <= 5 && j >= 4 && j <= 5; });
}

}  // namespace krtes_test

#endif
