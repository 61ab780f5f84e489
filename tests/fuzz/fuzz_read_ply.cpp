#include "fuzz_read_ply.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return krfuzz::RunOrAbort(CheckReadPly, data, size);
}
