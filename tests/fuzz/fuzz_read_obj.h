#ifndef KRTES_TESTS_FUZZ_READ_OBJ_H
#define KRTES_TESTS_FUZZ_READ_OBJ_H

// Any bytes as a .obj file. A successful read must survive being written and
// read again unchanged.

#include "FuzzReaderChecks.h"
#include "KrTesGeometry/io/KrObjFile.h"

inline int CheckReadObj(const uint8_t* data, std::size_t size)
{
    return krfuzz::CheckMeshReader(krtes::ReadObjFile, krtes::WriteObjFile, "read.obj", data, size);
}

#endif
