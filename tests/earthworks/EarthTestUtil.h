#ifndef KRTES_TESTS_EARTHTESTUTIL_H
#define KRTES_TESTS_EARTHTESTUTIL_H

// Surfaces shared by the earthworks tests.

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "support/KrTestMeshes.h"
#include "tin/TinTestUtil.h"

namespace earthtest {

using testmesh::Ids;
using testmesh::Pts;
using testmesh::Solid;

// The bundled survey points (x y z per line).
inline Pts JacksboroPoints()
{
    Pts pts;
    std::ifstream in(KRTES_DATA_DIR "/jacksboro_scattered.xyz");
    double x, y, z;
    while (in >> x >> y >> z) pts.emplace_back(x, y, z);
    return pts;
}

// The Delaunay triangulation of the points over their whole convex hull,
// exported as arrays; `mesh` keeps it.
inline Solid Tin(const Pts& pts, TesTriMesh::CKrMeshData& mesh)
{
    EXPECT_TRUE(tintest::Triangulate(mesh, pts, [](TesTriMesh::CKrDelaunay& d) { d.SetFullHull(true); }, 0.001));
    Solid s;
    mesh.OutputData(s.pts, s.ids);
    return s;
}

}  // namespace earthtest

#endif
