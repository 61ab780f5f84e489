// Replays every seed input and every kept crash input of the fuzz targets
// through the targets' own checks (fuzz_<target>.h), so that what a fuzzer
// once found stays fixed in every build, with any compiler.
//
// Inputs: corpus/<target>/* (seeds) and regressions/<target>/* (inputs that
// once crashed or failed a check; the file name says what was wrong).

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_delaunay.h"
#include "fuzz_mesh_import.h"
#include "fuzz_mesh_query.h"
#include "fuzz_read_obj.h"
#include "fuzz_read_ply.h"
#include "fuzz_read_points.h"
#include "fuzz_read_polyline.h"
#include "fuzz_read_stl.h"
#include "fuzz_solid_boolean.h"
#include "support/ScratchDir.h"

namespace {

namespace fs = std::filesystem;
using CheckFn = int (*)(const uint8_t*, std::size_t);

std::vector<fs::path> InputsOf(const std::string& target, std::initializer_list<const char*> kinds)
{
    std::vector<fs::path> files;
    for (const char* kind : kinds) {
        const fs::path dir = fs::path(KRTES_FUZZ_DIR) / kind / target;
        if (!fs::is_directory(dir)) continue;
        for (const auto& e : fs::directory_iterator(dir))
            if (e.is_regular_file()) files.push_back(e.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Runs every input of the target; returns how many there were.
std::size_t Replay(const std::string& target, CheckFn check,
                   std::initializer_list<const char*> kinds = {"corpus", "regressions"})
{
    const std::vector<fs::path> files = InputsOf(target, kinds);
    for (const fs::path& f : files) {
        std::ifstream in(f, std::ios::binary);
        const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        try {
            check(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        } catch (const krfuzz::Failure& e) {
            ADD_FAILURE() << f.string() << ": " << e.what();
        }
    }
    return files.size();
}

struct Target {
    const char* name;
    CheckFn check;
};

const Target kTargets[] = {
    {"read_points", CheckReadPoints}, {"read_polyline", CheckReadPolyline}, {"read_obj", CheckReadObj},
    {"read_ply", CheckReadPly},       {"read_stl", CheckReadStl},           {"mesh_import", CheckMeshImport},
    {"delaunay", CheckDelaunay},      {"mesh_query", CheckMeshQuery},
};

}  // namespace

TEST(FuzzRegressions, EveryTargetPassesItsSeedsAndKeptCrashes)
{
    for (const Target& t : kTargets) {
        SCOPED_TRACE(t.name);
        EXPECT_GT(Replay(t.name, t.check), 0u) << "no seed corpus for " << t.name;
    }
}

// The boolean writes diagnostic files into the working directory.
class FuzzRegressionsBoolean : public testmesh::InScratchDir {};

TEST_F(FuzzRegressionsBoolean, SolidBooleanTerminatesOnItsSeedsAndKeptCrashes)
{
    EXPECT_GT(Replay("solid_boolean", CheckSolidBoolean), 0u);
}
