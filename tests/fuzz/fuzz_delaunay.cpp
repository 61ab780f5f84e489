#include "fuzz_delaunay.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return krfuzz::RunOrAbort(CheckDelaunay, data, size);
}
