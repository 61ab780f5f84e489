#ifndef KRTES_TESTS_FUZZ_READ_PLY_H
#define KRTES_TESTS_FUZZ_READ_PLY_H

// Any bytes as a .ply file. The header names the format (ascii or binary,
// either byte order), so all three bodies are reached. A successful read
// must survive being written and read again unchanged.

#include "FuzzReaderChecks.h"
#include "KrTesGeometry/io/KrPlyFile.h"

inline int CheckReadPly(const uint8_t* data, std::size_t size)
{
    return krfuzz::CheckMeshReader(krtes::ReadPlyFile, krtes::WritePlyFile, "read.ply", data, size);
}

#endif
