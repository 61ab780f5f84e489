// Sorting the triangles of one mesh against the solid of another.
#include <gtest/gtest.h>

#include <set>

#include "boolean/KrMeshBoolean.h"
#include "test_KrMeshBooleanUtil.h"

namespace {

using namespace TesTriMesh;

double Area(const std::vector<_sTri*>& tris)
{
    double a = 0.0;
    for (const _sTri* t : tris) {
        const CKrPoint3d u = t->pVer[1]->pt - t->pVer[0]->pt, w = t->pVer[2]->pt - t->pVer[0]->pt;
        const double x = u.y * w.z - u.z * w.y, y = u.z * w.x - u.x * w.z, z = u.x * w.y - u.y * w.x;
        a += 0.5 * std::sqrt(x * x + y * y + z * z);
    }
    return a;
}

struct Sorted {
    std::vector<CKrSeg3d> segs;
    std::vector<_sTri*> out, in, same, opp, fifth;
    CKrTri3d seed;
    bool ok = false;

    void Run(CKrMeshData& reference, CKrMeshData& target)
    {
        ok = CKrMeshBoolean::ClassifyMesh_New(reference, target, segs, out, in, same, opp, fifth, seed);
    }
    // Every triangle of the target in exactly one list.
    void ExpectPartition(const CKrMeshData& target) const
    {
        std::multiset<const _sTri*> all;
        for (const auto* l : {&out, &in, &same, &opp, &fifth}) all.insert(l->begin(), l->end());
        EXPECT_EQ(all.size(), target.m_setTri.size());
        for (const _sTri* t : target.m_setTri) EXPECT_EQ(all.count(t), 1u);
    }
};

TEST(KrMeshBooleanClassify, OverlapCoplanarAndApart)
{
    // A corner of B reaches into A: 75 of A's 600 square units lie in B.
    CKrMeshData a, b;
    booltest::Load(a, booltest::Box(0, 0, 0, 10, 10, 10));
    booltest::Load(b, booltest::Box(5, 5, 5, 15, 15, 15));
    Sorted s;
    s.Run(b, a);
    EXPECT_TRUE(s.ok);
    s.ExpectPartition(a);
    EXPECT_NEAR(Area(s.out), 525.0, 1e-9);
    EXPECT_NEAR(Area(s.in), 75.0, 1e-9);
    EXPECT_TRUE(s.same.empty() && s.opp.empty() && s.fifth.empty());
    double len = 0.0;
    for (const CKrSeg3d& g : s.segs) len += g.m_pt[0].Distance(g.m_pt[1]);
    EXPECT_NEAR(len, 30.0, 1e-9);
    // The last seed is a triangle of the target.
    bool seedFound = false;
    for (const _sTri* t : a.m_setTri) {
        bool all = true;
        for (int k = 0; k < 3; ++k) all = all && t->pVer[k]->pt.Dist2(s.seed.m_pt[k]) == 0.0;
        seedFound = seedFound || all;
    }
    EXPECT_TRUE(seedFound);

    // The same box: every triangle lies on the reference, facing the same way.
    CKrMeshData c, d;
    booltest::Load(c, booltest::Box(0, 0, 0, 10, 10, 10));
    booltest::Load(d, booltest::Box(0, 0, 0, 10, 10, 10));
    s.Run(c, d);
    EXPECT_TRUE(s.ok);
    s.ExpectPartition(d);
    EXPECT_NEAR(Area(s.same), 600.0, 1e-9);
    EXPECT_TRUE(s.out.empty() && s.in.empty() && s.opp.empty());

    // A box standing on part of the top: its foot faces the other way.
    CKrMeshData e, f;
    booltest::Load(e, booltest::Box(0, 0, 0, 10, 10, 10));
    booltest::Load(f, booltest::Box(5, 5, 10, 15, 15, 20));
    s.Run(e, f);
    EXPECT_TRUE(s.ok);
    s.ExpectPartition(f);
    EXPECT_NEAR(Area(s.opp), 25.0, 1e-9);
    EXPECT_NEAR(Area(s.out), 575.0, 1e-9);
    for (const _sTri* t : s.opp)
        for (const _sVertex* v : t->pVer) EXPECT_EQ(v->pt.z, 10.0);
}

TEST(KrMeshBooleanClassify, CannotClassify)
{
    CKrMeshData a, b, empty;
    booltest::Load(a, booltest::Box(0, 0, 0, 10, 10, 10));
    booltest::Load(b, booltest::Box(5, 5, 5, 15, 15, 15));
    Sorted s;
    // Against nothing, everything is outside.
    s.Run(empty, a);
    EXPECT_TRUE(s.ok);
    EXPECT_EQ(s.out.size(), 12u);
    // A mesh against itself cannot be sorted; the lists are emptied.
    s.Run(a, a);
    EXPECT_FALSE(s.ok);
    EXPECT_TRUE(s.out.empty() && s.in.empty() && s.segs.empty());
    // A degenerate triangle has no side: it goes to the fifth list, and
    // the sort reports that it could not classify everything.
    _sTri* flat = b.AddTri(b.InsertVertex({30, 0, 0}), b.InsertVertex({31, 0, 0}), b.InsertVertex({32, 0, 0}));
    ASSERT_NE(flat, nullptr);
    s.Run(a, b);
    EXPECT_FALSE(s.ok);
    ASSERT_EQ(s.fifth.size(), 1u);
    EXPECT_EQ(s.fifth[0], flat);
    s.ExpectPartition(b);
}

}  // namespace
