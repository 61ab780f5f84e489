#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "fuzz_solid_boolean.h"

// The boolean writes its diagnostic files into the working directory: the
// fuzzer works in a scratch directory of its own (left in the temp directory
// for a look at the last run).
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    const char* tmp = std::getenv("TMPDIR");
    std::string dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/krfuzz_boolean_XXXXXX";
    if (!mkdtemp(dir.data()) || chdir(dir.c_str()) != 0) {
        std::fprintf(stderr, "cannot make a scratch directory %s\n", dir.c_str());
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return krfuzz::RunOrAbort(CheckSolidBoolean, data, size);
}
