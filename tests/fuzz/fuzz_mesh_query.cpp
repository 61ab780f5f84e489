#include "fuzz_mesh_query.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return krfuzz::RunOrAbort(CheckMeshQuery, data, size);
}
