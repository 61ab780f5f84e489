// Results that must not depend on what the process did before: a TIN, a
// boolean union and a contact query built first, then built again after the
// heap has been churned (blocks of many sizes allocated and freed, some kept
// alive, an unrelated mesh built and freed), are identical. Records come
// from pools and sets ordered by pointer, so any leak of addresses into the
// results shows up here as a difference.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "KrTesGeometry/boolean/KrBooleanDiagnostics.h"
#include "KrTesGeometry/boolean/KrSolidBoolean.h"
#include "KrTesGeometry/collision/KrMeshContact.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrDelaunay.h"
#include "support/KrTestMeshes.h"
#include "support/ScratchDir.h"

using namespace TesTriMesh;

namespace {

using Tri = std::array<int, 3>;

// A mesh as exported: points in the exported order, triangles as index
// triples rotated to start at their smallest index (winding kept) and
// sorted, since the export lists triangles in record order.
struct Exported {
    std::vector<std::array<double, 3>> pts;
    std::vector<Tri> tris;
    std::vector<Tri> rawTris;  // as exported, for reporting only
};

Exported Export(CKrMeshData& m)
{
    std::vector<CKrPoint3d> p;
    std::vector<KrTesGeo::_sTri_ID> ids;
    m.OutputData(p, ids);
    Exported e;
    for (const CKrPoint3d& q : p) e.pts.push_back({q.x, q.y, q.z});
    for (const auto& t : ids) {
        Tri r = {static_cast<int>(t.nID[0]), static_cast<int>(t.nID[1]), static_cast<int>(t.nID[2])};
        e.rawTris.push_back(r);
        std::rotate(r.begin(), std::min_element(r.begin(), r.end()), r.end());
        e.tris.push_back(r);
    }
    std::sort(e.tris.begin(), e.tris.end());
    return e;
}

// A terrain sample: scattered points, near-duplicates within the merge
// tolerance and a straight scan line, the cases that stress tie breaking.
std::vector<CKrPoint3d> TerrainPoints()
{
    std::mt19937_64 rng(77);
    std::uniform_real_distribution<double> u(0.0, 500.0), d(-0.004, 0.004);
    std::vector<CKrPoint3d> pts;
    for (int i = 0; i < 3000; ++i) {
        const double x = u(rng), y = u(rng);
        pts.emplace_back(x, y, 20.0 + 5.0 * std::sin(x / 40.0) * std::cos(y / 55.0));
        if (i % 3 == 0) pts.emplace_back(x + d(rng), y + d(rng), pts.back().z + 0.01);
    }
    for (int i = 0; i <= 400; ++i) pts.emplace_back(10.0 + i * 1.2, 250.0, 21.0);
    return pts;
}

struct Results {
    Exported tin;
    Exported unionMesh;
    bool classified = false;
    std::vector<std::string> diagnostics;
    std::vector<CKrContactPair> pairs;
    CKrMeshDistance dist;
};

std::string Slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

Results BuildAll()
{
    Results r;
    CKrMeshData tin;
    {
        CKrDelaunay d(tin, 0.01);
        for (const CKrPoint3d& p : TerrainPoints()) d.AddVertex(p);
        EXPECT_TRUE(d.Delaunay());
    }
    r.tin = Export(tin);

    {
        CKrMeshData a, b, u;
        testmesh::Load(a, testmesh::Sphere(CKrPoint3d(0, 0, 0), 1000.0, 3));
        testmesh::Load(b, testmesh::Sphere(CKrPoint3d(600, 250, 150), 800.0, 3));
        CKrSolidBoolean sb(a, b);
        r.classified = sb.IsClassified();
        sb.Union_A_And_B(u);
        r.unionMesh = Export(u);
        for (const char* f : kBooleanDiagnosticFiles) r.diagnostics.push_back(Slurp(f));
    }

    // A ball sunk half into the terrain, and the same ball lifted clear.
    CKrMeshContact ground, ball;
    EXPECT_TRUE(ground.Build(tin));
    const testmesh::Solid s = testmesh::Sphere(CKrPoint3d(250, 250, 21), 15.0, 3);
    EXPECT_TRUE(ball.Build(s.pts, s.ids));
    ground.ContactPairs(ball, KrRigidTransform::Identity(), r.pairs);
    r.dist = ground.Distance(ball, KrRigidTransform::Translation(3, -2, 40));
    return r;
}

// Disturbs the heap: many blocks of varied sizes, freed in a shuffled order
// with every seventh kept, and a mesh built and freed in between.
std::vector<std::unique_ptr<char[]>> ChurnHeap()
{
    std::mt19937 rng(5);
    std::vector<std::unique_ptr<char[]>> blocks;
    for (int i = 0; i < 6000; ++i) {
        const std::size_t n = 8 + rng() % (i % 50 == 0 ? 200000 : 600);
        blocks.emplace_back(new char[n]);
        blocks.back()[0] = static_cast<char>(i);
    }
    {
        CKrMeshData other;
        testmesh::Load(other, testmesh::Sphere(CKrPoint3d(5, 5, 5), 2.0, 4));
        CKrMeshData tin2;
        CKrDelaunay d(tin2, 0.01);
        std::uniform_real_distribution<double> u(0.0, 100.0);
        for (int i = 0; i < 2000; ++i) d.AddVertex(CKrPoint3d(u(rng), u(rng), 0.0));
        d.Delaunay();
    }
    std::shuffle(blocks.begin(), blocks.end(), rng);
    std::vector<std::unique_ptr<char[]>> kept;
    for (std::size_t i = 0; i < blocks.size(); ++i)
        if (i % 7 == 0) kept.push_back(std::move(blocks[i]));
    blocks.clear();
    return kept;
}

class Determinism : public testmesh::InScratchDir {};

TEST_F(Determinism, SameResultsAfterUnrelatedAllocations)
{
    const Results first = BuildAll();
    const auto kept = ChurnHeap();
    const Results second = BuildAll();

    // The runs are worth comparing: real meshes, a real union, a real contact.
    ASSERT_GT(first.tin.tris.size(), 5000u);
    ASSERT_TRUE(first.classified);
    ASSERT_GT(first.unionMesh.tris.size(), 1000u);
    ASSERT_FALSE(first.pairs.empty());
    ASSERT_GT(first.dist.distance, 0.0);

    EXPECT_TRUE(first.tin.pts == second.tin.pts) << "TIN points differ";
    EXPECT_TRUE(first.tin.tris == second.tin.tris) << "TIN triangles differ";
    EXPECT_EQ(first.classified, second.classified);
    EXPECT_TRUE(first.unionMesh.pts == second.unionMesh.pts) << "union points differ";
    EXPECT_TRUE(first.unionMesh.tris == second.unionMesh.tris) << "union triangles differ";
    for (std::size_t i = 0; i < kBooleanDiagnosticCount; ++i)
        EXPECT_TRUE(first.diagnostics[i] == second.diagnostics[i]) << kBooleanDiagnosticFiles[i] << " differs";

    ASSERT_EQ(first.pairs.size(), second.pairs.size());
    for (std::size_t i = 0; i < first.pairs.size(); ++i) {
        EXPECT_EQ(first.pairs[i].triA, second.pairs[i].triA) << i;
        EXPECT_EQ(first.pairs[i].triB, second.pairs[i].triB) << i;
    }
    EXPECT_EQ(first.dist.distance, second.dist.distance);
    EXPECT_EQ(first.dist.triA, second.dist.triA);
    EXPECT_EQ(first.dist.triB, second.dist.triB);
    EXPECT_EQ(first.dist.ptA.x, second.dist.ptA.x);
    EXPECT_EQ(first.dist.ptA.y, second.dist.ptA.y);
    EXPECT_EQ(first.dist.ptA.z, second.dist.ptA.z);
    EXPECT_EQ(first.dist.ptB.x, second.dist.ptB.x);
    EXPECT_EQ(first.dist.ptB.y, second.dist.ptB.y);
    EXPECT_EQ(first.dist.ptB.z, second.dist.ptB.z);
}

// The triangulation does not depend on where the data sit: the same cloud
// shifted by 1e7 and by 1e9 (a shift that is exact in doubles for these
// coordinates) gives the same triangles by point index.
std::vector<Tri> TinAt(const std::vector<CKrPoint3d>& base, double shift)
{
    CKrMeshData m;
    CKrDelaunay d(m, 0.01);
    std::vector<_sVertex*> vs;
    for (std::size_t i = 0; i < base.size(); ++i) {
        _sVertex* v = d.AddVertex(CKrPoint3d(base[i].x + shift, base[i].y + shift, base[i].z), static_cast<int>(i));
        EXPECT_NE(v, nullptr);
    }
    EXPECT_TRUE(d.Delaunay());
    std::vector<Tri> out;
    for (const _sTri* t : m.m_setTri) {
        Tri r = {t->pVer[0]->nID, t->pVer[1]->nID, t->pVer[2]->nID};
        std::rotate(r.begin(), std::min_element(r.begin(), r.end()), r.end());
        out.push_back(r);
    }
    std::sort(out.begin(), out.end());
    return out;
}

TEST(DelaunayOffset, LargeOffsetsGiveTheSameTriangles)
{
    // ~20k points on a grid of 1/16 m (exact in binary, so base + 1e9 is
    // exact too) with jitter in multiples of 1/1024, scan-line rows of
    // collinear points, and no two points within the merge tolerance.
    std::mt19937 rng(11);
    std::vector<CKrPoint3d> base;
    for (int i = 0; i < 140; ++i)
        for (int j = 0; j < 140; ++j) {
            const double jx = (j % 5 == 0) ? 0.0 : static_cast<int>(rng() % 64) / 1024.0;
            const double jy = (i % 7 == 0) ? 0.0 : static_cast<int>(rng() % 64) / 1024.0;
            base.emplace_back(j * 0.25 + jx, i * 0.25 + jy, (rng() % 1000) / 100.0);
        }
    const std::vector<Tri> at0 = TinAt(base, 0.0);
    ASSERT_GT(at0.size(), 2 * base.size() - 1000);
    const std::vector<Tri> at7 = TinAt(base, 1e7);
    const std::vector<Tri> at9 = TinAt(base, 1e9);
    EXPECT_EQ(at0.size(), at7.size());
    EXPECT_EQ(at0.size(), at9.size());
    EXPECT_TRUE(at0 == at7) << "triangles differ at offset 1e7";
    EXPECT_TRUE(at0 == at9) << "triangles differ at offset 1e9";
}

}  // namespace
