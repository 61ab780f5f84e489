// The libFuzzer entry of every target: the build names the target
// (KRFUZZ_TARGET, a name of FuzzTargets.h), and a failed check aborts.

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "FuzzTargets.h"

static krfuzz::CheckFn g_check = nullptr;

// The checks write files into the working directory: a scratch directory of
// this process in TMPDIR (left there for a look at the last input).
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    g_check = krfuzz::kTargets.count(KRFUZZ_TARGET) ? krfuzz::kTargets.at(KRFUZZ_TARGET) : nullptr;
    const char* tmp = std::getenv("TMPDIR");
    std::string dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/krfuzz_" KRFUZZ_TARGET "_XXXXXX";
    if (!g_check || !mkdtemp(dir.data()) || chdir(dir.c_str()) != 0) {
        std::fprintf(stderr, "fuzz_" KRFUZZ_TARGET ": no such target, or cannot work in %s\n", dir.c_str());
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    try {
        return g_check(data, size);
    } catch (const krfuzz::Failure& f) {
        std::fprintf(stderr, "%s\n", f.what());
        std::abort();
    }
}
