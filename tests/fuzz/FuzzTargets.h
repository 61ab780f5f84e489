#ifndef KRTES_TESTS_FUZZ_FUZZTARGETS_H
#define KRTES_TESTS_FUZZ_FUZZTARGETS_H

// Every fuzz target: fuzz_main.cpp runs the one its build names, the replay
// test runs them all.

#include <map>
#include <string>

#include "fuzz_meshes.h"
#include "fuzz_readers.h"
#include "fuzz_tin.h"

namespace krfuzz {

// By the name of the corpus directory and of the fuzzer (fuzz_<name>).
inline const std::map<std::string, CheckFn> kTargets = {
    {"read_points", CheckReadPoints},
    {"read_polyline", CheckReadPolyline},
    {"read_obj", CheckReadMesh<krtes::ReadObjFile, krtes::WriteObjFile>},
    {"read_ply", CheckReadMesh<krtes::ReadPlyFile, krtes::WritePlyFile>},
    {"read_stl", CheckReadMesh<krtes::ReadStlFile, nullptr>},  // STL has no writer here
    {"mesh_import", CheckMeshImport},
    {"delaunay", CheckDelaunay},
    {"solid_boolean", CheckSolidBoolean},
    {"mesh_query", CheckMeshQuery},
};

}  // namespace krfuzz

#endif
