#include "fuzz_read_polyline.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return krfuzz::RunOrAbort(CheckReadPolyline, data, size);
}
