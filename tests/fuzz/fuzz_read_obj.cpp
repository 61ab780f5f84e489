#include "fuzz_read_obj.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return krfuzz::RunOrAbort(CheckReadObj, data, size);
}
