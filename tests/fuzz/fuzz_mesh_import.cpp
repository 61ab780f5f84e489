#include "fuzz_mesh_import.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return krfuzz::RunOrAbort(CheckMeshImport, data, size);
}
