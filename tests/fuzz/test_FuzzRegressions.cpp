// Replays every seed input and every kept crash input of the fuzz targets
// through the targets' own checks (FuzzTargets.h), so that what a fuzzer
// once found stays fixed in every build, with any compiler.
//
// Inputs: corpus/<target>/* (seeds) and regressions/<target>/* (inputs that
// once crashed or failed a check; the file name says what was wrong).

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "FuzzTargets.h"
#include "support/ScratchDir.h"

namespace fs = std::filesystem;

// In a scratch directory: the checks write files into the working directory.
class FuzzRegressions : public testmesh::InScratchDir {};

TEST_F(FuzzRegressions, EveryTargetPassesItsSeedsAndKeptCrashes)
{
    for (const auto& [name, check] : krfuzz::kTargets) {
        std::set<fs::path> files;  // in order
        for (const char* kind : {"corpus", "regressions"}) {
            const fs::path dir = fs::path(KRTES_FUZZ_DIR) / kind / name;
            if (!fs::is_directory(dir)) continue;
            for (const auto& e : fs::directory_iterator(dir))
                if (e.is_regular_file()) files.insert(e.path());
        }
        EXPECT_FALSE(files.empty()) << "no seed corpus for " << name;
        for (const fs::path& f : files) {
            std::ifstream in(f, std::ios::binary);
            const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            try {
                check(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            } catch (const krfuzz::Failure& e) {
                ADD_FAILURE() << f.string() << ": " << e.what();
            }
        }
    }
}
