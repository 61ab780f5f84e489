#ifndef KRTES_TESTS_KRTESCLIRUN_H
#define KRTES_TESTS_KRTESCLIRUN_H

// Running the krtes program from tests, and scratch files for it.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "KrTesIO.h"
#include "support/KrTestMeshes.h"

namespace krtes_test {

struct CliRun {
    int code;         // exit code, -1 when the program did not exit normally
    std::string out;  // standard output, and standard error unless left out
};

inline CliRun Krtes(const std::string& args, bool withStderr = true)
{
    const std::string cmd = std::string(KRTES_TOOL) + " " + args + (withStderr ? " 2>&1" : " 2>/dev/null");
    CliRun r{-1, ""};
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return r;
    char buf[4096];
    for (std::size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;) r.out.append(buf, n);
    const int st = pclose(p);
    r.code = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return r;
}

// A path in the scratch directory, unique to the running test (tests run in
// parallel processes that share the directory).
inline std::string Temp(const std::string& name)
{
    const ::testing::TestInfo* t = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string who = t ? std::string(t->test_suite_name()) + "." + t->name() + "_" : std::string();
    return ::testing::TempDir() + "krtes_" + who + name;
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

}  // namespace krtes_test

#endif
