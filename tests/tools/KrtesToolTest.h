#ifndef KRTES_TESTS_TOOLS_KRTESTOOLTEST_H
#define KRTES_TESTS_TOOLS_KRTESTOOLTEST_H

// What the tests of the krtes commands share: the program runner and scratch
// files, the report as JSON, and the meshes they feed it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "KrTesGeometry/io/KrTesIO.h"
#include "support/KrTestMeshes.h"
#include "support/KrtesCliRun.h"

namespace krtes_test {

using nlohmann::json;

// Runs `krtes args --json`, which must exit with code and print one JSON
// object and nothing else on standard output.
inline json JsonRun(const std::string& args, int code = 0)
{
    const CliStreams r = KrtesStreams(args + " --json");
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

// The cone z = 10 - |(x, y) - (10, 10)| over [0, 20]^2: from below the
// corners (10 - 10 sqrt 2 = -4.14) to 10 at the apex.
inline double Cone(double x, double y) { return 10.0 - std::hypot(x - 10, y - 10); }

}  // namespace krtes_test

#endif
