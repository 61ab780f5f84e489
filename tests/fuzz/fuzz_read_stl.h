#ifndef KRTES_TESTS_FUZZ_READ_STL_H
#define KRTES_TESTS_FUZZ_READ_STL_H

// Any bytes as a .stl file. Text or binary is the reader's own guess, so
// both readers see the fuzzer's bytes.

#include "FuzzReaderChecks.h"
#include "KrTesGeometry/io/KrStlFile.h"

inline int CheckReadStl(const uint8_t* data, std::size_t size)
{
    return krfuzz::CheckMeshReader(krtes::ReadStlFile, nullptr, "read.stl", data, size);
}

#endif
