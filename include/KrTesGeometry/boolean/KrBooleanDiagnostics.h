#ifndef KRTES_KRBOOLEANDIAGNOSTICS_H
#define KRTES_KRBOOLEANDIAGNOSTICS_H

// The diagnostic files a CKrSolidBoolean construction writes, in the order it
// writes them. Where the path has no drive (every system but Windows), each
// name is one file in the working directory, backslash and colon included.

#include <cstddef>

namespace TesTriMesh {

// Number of diagnostic files.
constexpr std::size_t kBooleanDiagnosticCount = 8;

// The intersection segments of the first sort (A's triangles against B),
// A's triangles outside, inside and on B facing the same way, then the same
// four for B against A.
constexpr const char* kBooleanDiagnosticFiles[kBooleanDiagnosticCount] = {
    "C:\\Seg-1.txt", "C:\\MeshA-Out.txt", "C:\\MeshA-In.txt", "C:\\MeshA-Same.txt",
    "C:\\Seg-2.txt", "C:\\MeshB-Out.txt", "C:\\MeshB-In.txt", "C:\\MeshB-Same.txt"};

// Positions in kBooleanDiagnosticFiles.
enum EKrBooleanDiagnostic : std::size_t {
    kDiagSegments1 = 0,
    kDiagAOutside = 1,
    kDiagAInside = 2,
    kDiagASame = 3,
    kDiagSegments2 = 4,
    kDiagBOutside = 5,
    kDiagBInside = 6,
    kDiagBSame = 7,
};

}  // namespace TesTriMesh

#endif
