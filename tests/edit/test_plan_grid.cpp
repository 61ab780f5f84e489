#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "build/KrDelaunay.h"
#include "edit/KrMeshQuery.h"
#include "mesh/KrMeshData.h"

using namespace TesTriMesh;

// A query object that has answered many elevations switches to its own plan
// grid. The answers must be exactly those of a fresh object, which still
// goes through the octree: on triangles, on edges and vertices, just outside
// the border and far away.
TEST(PlanGrid, ElevationsMatchTheOctreePath)
{
    std::mt19937_64 rng(17);
    std::uniform_real_distribution<double> u(0.0, 500.0);
    CKrMeshData mesh;
    {
        CKrDelaunay d(mesh, 0.01);
        for (int i = 0; i < 3000; ++i) {
            const double x = u(rng), y = u(rng);
            d.AddVertex(CKrPoint3d(x, y, std::sin(x * 0.02) * 30.0 + y * 0.1));
        }
        ASSERT_TRUE(d.Delaunay());
    }
    std::vector<CKrPoint3d> probes;
    std::uniform_real_distribution<double> v(-20.0, 520.0);
    for (int i = 0; i < 4000; ++i) probes.emplace_back(v(rng), v(rng), 0.0);
    for (const _sVertex* w : mesh.m_setVer) probes.push_back(w->pt);  // exactly on vertices
    for (const _sEdge* e : mesh.m_setEdge)                             // and on edge midpoints
        probes.push_back((e->pVer[0]->pt + e->pVer[1]->pt) * 0.5);

    CKrMeshQuery warm(mesh);
    int mismatches = 0, on = 0;
    for (const CKrPoint3d& p : probes) {
        CKrMeshQuery fresh(mesh);  // answers through the octree
        double z1 = -1e300, z2 = -1e300;
        const bool a = fresh.GetMapPoint(p.x, p.y, z1);
        const bool b = warm.GetMapPoint(p.x, p.y, z2);  // through the grid after the first few
        on += a;
        if (a != b || (a && z1 != z2)) ++mismatches;
    }
    EXPECT_EQ(mismatches, 0);
    EXPECT_GT(on, 3000);  // most probes lie over the surface
    double z = 7.0;
    EXPECT_FALSE(warm.GetMapPoint(1e6, 1e6, z));
    EXPECT_FALSE(warm.GetMapPoint(std::nan(""), 10.0, z));
    EXPECT_EQ(z, 7.0);
}
