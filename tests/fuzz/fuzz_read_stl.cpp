#include "fuzz_read_stl.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return krfuzz::RunOrAbort(CheckReadStl, data, size);
}
