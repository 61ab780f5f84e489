// Results that must not depend on what the process did before: a TIN and a
// contact query on it built first, then built again after the heap has been
// churned (blocks of many sizes allocated and freed, some kept alive,
// unrelated meshes built and freed), are the same bytes. Records come from
// pools and sets ordered by pointer, so any leak of addresses into the
// results shows up here as a difference. (The boolean's own test does the
// same for its output and diagnostic files.)
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>

#include "KrTesGeometry/collision/KrMeshContact.h"
#include "support/KrTestMeshes.h"
#include "tin/TinTestUtil.h"

using namespace TesTriMesh;

namespace {

template <class T>
void Put(std::string& s, T v)
{
    s.append(reinterpret_cast<const char*>(&v), sizeof v);
}

// A mesh as exported, as bytes: the points in the exported order, then the
// triangles as index triples rotated to start at their smallest index
// (winding kept) and sorted, since the export lists them in record order.
std::string Exported(CKrMeshData& m, std::size_t& count)
{
    std::vector<CKrPoint3d> p;
    std::vector<KrTesGeo::_sTri_ID> ids;
    m.OutputData(p, ids);
    std::vector<std::array<int, 3>> tris;
    for (const auto& t : ids) {
        tris.push_back({int(t.nID[0]), int(t.nID[1]), int(t.nID[2])});
        std::rotate(tris.back().begin(), std::min_element(tris.back().begin(), tris.back().end()), tris.back().end());
    }
    std::sort(tris.begin(), tris.end());
    std::string s;
    for (const CKrPoint3d& q : p) Put(s, q.x), Put(s, q.y), Put(s, q.z);
    for (const auto& r : tris) Put(s, r);
    count = tris.size();
    return s;
}

// The results as bytes, and the sizes that show they are worth comparing.
struct Results {
    std::string tin, contact;
    std::size_t tinTris = 0, pairs = 0;
    double distance = 0.0;
};

Results BuildAll()
{
    Results r;
    // A terrain sample: scattered points, near-duplicates within the merge
    // tolerance and a straight scan line, the cases that stress tie breaking.
    CKrMeshData tin;
    {
        CKrDelaunay d(tin, 0.01);
        std::mt19937_64 rng(77);
        std::uniform_real_distribution<double> u(0.0, 500.0), j(-0.004, 0.004);
        for (int i = 0; i < 3000; ++i) {
            const double x = u(rng), y = u(rng), z = 20.0 + 5.0 * std::sin(x / 40.0) * std::cos(y / 55.0);
            d.AddVertex(CKrPoint3d(x, y, z));
            if (i % 3 == 0) d.AddVertex(CKrPoint3d(x + j(rng), y + j(rng), z + 0.01));
        }
        for (int i = 0; i <= 400; ++i) d.AddVertex(CKrPoint3d(10.0 + i * 1.2, 250.0, 21.0));
        EXPECT_TRUE(d.Delaunay());
    }
    r.tin = Exported(tin, r.tinTris);
    // A ball sunk half into the terrain, and the same ball lifted clear.
    CKrMeshContact ground, ball;
    EXPECT_TRUE(ground.Build(tin));
    const testmesh::Solid s = testmesh::Sphere(CKrPoint3d(250, 250, 21), 15.0, 3);
    EXPECT_TRUE(ball.Build(s.pts, s.ids));
    std::vector<CKrContactPair> pairs;
    ground.ContactPairs(ball, KrRigidTransform::Identity(), pairs);
    for (const CKrContactPair& p : pairs) Put(r.contact, p.triA), Put(r.contact, p.triB);
    const CKrMeshDistance dist = ground.Distance(ball, KrRigidTransform::Translation(3, -2, 40));
    for (double v : {dist.distance, dist.ptA.x, dist.ptA.y, dist.ptA.z, dist.ptB.x, dist.ptB.y, dist.ptB.z}) Put(r.contact, v);
    Put(r.contact, dist.triA), Put(r.contact, dist.triB);
    r.pairs = pairs.size();
    r.distance = dist.distance;
    return r;
}

// Disturbs the heap: many blocks of varied sizes, freed in a shuffled order
// with every seventh kept, and a mesh built and freed in between.
std::vector<std::unique_ptr<char[]>> ChurnHeap()
{
    std::mt19937 rng(5);
    std::vector<std::unique_ptr<char[]>> blocks, kept;
    for (int i = 0; i < 6000; ++i) blocks.emplace_back(new char[8 + rng() % (i % 50 == 0 ? 200000 : 600)]());
    {
        CKrMeshData other, tin2;
        testmesh::Load(other, testmesh::Sphere(CKrPoint3d(5, 5, 5), 2.0, 4));
        tintest::Triangulate(tin2, tintest::RandomPoints(2000, rng(), 0.0, 0.0, 100.0));
    }
    std::shuffle(blocks.begin(), blocks.end(), rng);
    for (std::size_t i = 0; i < blocks.size(); i += 7) kept.push_back(std::move(blocks[i]));
    return kept;
}

TEST(Determinism, SameResultsAfterUnrelatedAllocations)
{
    const Results first = BuildAll();
    const auto kept = ChurnHeap();
    const Results second = BuildAll();

    // The runs are worth comparing: a real mesh, a real contact.
    ASSERT_GT(first.tinTris, 5000u);
    ASSERT_GT(first.pairs, 0u);
    ASSERT_GT(first.distance, 0.0);
    EXPECT_TRUE(first.tin == second.tin) << "the TIN differs";
    EXPECT_TRUE(first.contact == second.contact) << "the contact differs";
}

}  // namespace
