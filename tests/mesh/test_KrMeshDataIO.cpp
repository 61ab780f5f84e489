#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "support/MeshTestUtil.h"

using namespace TesTriMesh;
using KrTesGeo::_sTri_ID;

namespace {

// A jittered grid, its points handed over in shuffled order.
testmesh::Solid JitteredGrid(int n, unsigned seed)
{
    testmesh::Solid s = meshtest::Grid(n, n);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> jit(-0.2, 0.2);
    for (CKrPoint3d& p : s.pts) {
        p.x += jit(rng);
        p.y += jit(rng);
        p.z += jit(rng);
    }
    std::vector<int32_t> perm(s.pts.size());
    for (size_t i = 0; i < perm.size(); ++i) perm[i] = static_cast<int32_t>(i);
    std::shuffle(perm.begin(), perm.end(), rng);
    std::vector<CKrPoint3d> shuffled(s.pts.size());
    for (size_t i = 0; i < s.pts.size(); ++i) shuffled[static_cast<size_t>(perm[i])] = s.pts[i];
    for (_sTri_ID& id : s.ids)
        for (int k = 0; k < 3; ++k) id.nID[k] = perm[static_cast<size_t>(id.nID[k])];
    s.pts.swap(shuffled);
    return s;
}

std::multiset<meshtest::TriKey> KeysOf(const std::vector<CKrPoint3d>& pts, const std::vector<_sTri_ID>& ids)
{
    std::multiset<meshtest::TriKey> out;
    for (const _sTri_ID& id : ids)
        out.insert(meshtest::KeyOf(pts[static_cast<size_t>(id.nID[0])], pts[static_cast<size_t>(id.nID[1])],
                                   pts[static_cast<size_t>(id.nID[2])]));
    return out;
}

}  // namespace

TEST(MeshIO, IndexImportMergesAndDropsCollapsedTriangles)
{
    CKrMeshData m;
    // Points 0 and 1 are 0.001 apart: one vertex, and the triangle using both is dropped.
    std::vector<CKrPoint3d> pts{{0, 0, 0}, {0.001, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    std::vector<_sTri_ID> ids{{0, 1, 2}, {0, 2, 3}, {1, 2, 3}, {2, 2, 3}};
    m.InputData(pts, ids, true);
    EXPECT_EQ(m.m_setVer.size(), 3u);
    EXPECT_EQ(m.TriNum(), 2);  // (0,2,3) and (1,2,3): the same corners, created twice
    // No stale entries from the dropped triples.
    EXPECT_EQ(meshtest::VertexAt(m, 0, 0)->setTri.size(), 2u);
    for (_sVertex* v : m.m_setVer)
        for (_sTri* t : v->setTri) EXPECT_EQ(m.m_setTri.count(t), 1u);
    EXPECT_TRUE(m.IsMeshOk());
    EXPECT_NE(m.m_pOctTree, nullptr);

    // Out-of-range and negative indices produce nothing and break nothing.
    m.InputData(pts, {{0, 2, 7}, {-1, 2, 3}, {0, 2, 3}}, true);
    EXPECT_EQ(m.TriNum(), 1);
    EXPECT_TRUE(m.IsMeshOk());

    // Importing the same list again without clearing merges every point.
    const testmesh::Solid g = meshtest::Grid(3, 3);
    testmesh::Load(m, g);
    const size_t nv = m.m_setVer.size();
    m.InputData(g.pts, g.ids, false);
    EXPECT_EQ(m.m_setVer.size(), nv);
    EXPECT_EQ(m.TriNum(), 36);

    // An empty free-triangle list with bClear leaves an empty mesh without octree.
    m.InputData(std::vector<CKrTri3d>{}, true);
    EXPECT_TRUE(m.m_setVer.empty());
    EXPECT_EQ(m.TriNum(), 0);
    EXPECT_EQ(m.m_pOctTree, nullptr);
}

TEST(MeshIO, ExportSortsVerticesAndReimportsTheSameMesh)
{
    const testmesh::Solid s = JitteredGrid(6, 21);
    CKrMeshData m;
    testmesh::Load(m, s);
    EXPECT_TRUE(m.IsMeshOk());

    std::vector<CKrPoint3d> outPts;
    std::vector<_sTri_ID> outIds{{9, 9, 9}};
    m.OutputData(outPts, outIds);
    ASSERT_EQ(outPts.size(), s.pts.size());
    ASSERT_EQ(outIds.size(), s.ids.size());
    // Tolerant x, y, z order, not input order; nID is the output index.
    CKrVerLess less;
    for (size_t i = 1; i < outPts.size(); ++i) {
        _sVertex p(outPts[i - 1]), q(outPts[i]);
        EXPECT_TRUE(less(&p, &q)) << i;
    }
    int32_t n = 0;
    for (_sVertex* v : m.m_setVer) EXPECT_EQ(v->nID, n++);
    // The same triangles, with the same winding.
    EXPECT_EQ(KeysOf(outPts, outIds), KeysOf(s.pts, s.ids));

    // Re-importing the export gives the same mesh; so do free triangles.
    CKrMeshData again;
    again.InputData(outPts, outIds, true);
    EXPECT_EQ(meshtest::TriKeys(again), meshtest::TriKeys(m));
    std::vector<CKrTri3d> tris;
    m.OutputData(tris);
    CKrMeshData fromTris;
    fromTris.InputData(tris, true);
    EXPECT_EQ(fromTris.m_setVer.size(), m.m_setVer.size());
    EXPECT_EQ(meshtest::TriKeys(fromTris), meshtest::TriKeys(m));

    // OutputPoints gives the same order and leaves nID alone.
    for (_sVertex* v : m.m_setVer) v->nID = 77;
    std::vector<CKrPoint3d> only;
    m.OutputPoints(only);
    ASSERT_EQ(only.size(), outPts.size());
    for (size_t i = 0; i < only.size(); ++i) EXPECT_TRUE(only[i].IsEqualTo(outPts[i]));
    EXPECT_EQ((*m.m_setVer.begin())->nID, 77);

    // The interchange export empties the arrays (capacity kept) before sizing them.
    CGeDataTriMesh gm;
    for (int i = 0; i < 100; ++i) gm.AddPoint(i, i, i);
    gm.AddTri(0, 1, 2);
    const int32_t capBefore = gm.m_arrPts.m_nMaxSize;
    m.OutputData(gm);
    EXPECT_EQ(gm.GetPointCount(), 49);
    EXPECT_EQ(gm.GetTriCount(), 72);
    EXPECT_EQ(gm.m_arrPts.m_nMaxSize, capBefore);
    CKrMeshData back;
    back.InputData(gm, true);
    EXPECT_EQ(meshtest::TriKeys(back), meshtest::TriKeys(m));

    // A missing point record drops the triangles that use it.
    delete gm.m_arrPts.m_pData[0];
    gm.m_arrPts.m_pData[0] = nullptr;
    int usesZero = 0;
    for (int32_t i = 0; i < gm.GetTriCount(); ++i)
        for (int k = 0; k < 3; ++k) usesZero += gm.GetTri(i)->n[k] == 0;
    back.InputData(gm, true);
    EXPECT_EQ(back.TriNum(), 72 - usesZero);
    EXPECT_EQ(back.m_setVer.size(), 48u);
    EXPECT_TRUE(back.IsMeshOk());

    // The arrays grow by the interchange rule: from capacity 10 to 14
    // points the step is the capacity itself.
    CGeDataTriMesh small;
    small.m_arrPts.SetSize(10);
    std::vector<CKrPoint3d> line;
    for (int i = 0; i < 14; ++i) line.emplace_back(i, 0, 0);
    CKrMeshData sm;
    sm.InputData(line, {}, true);
    sm.OutputData(small);
    EXPECT_EQ(small.m_arrPts.m_nSize, 14);
    EXPECT_EQ(small.m_arrPts.m_nMaxSize, 20);
    EXPECT_EQ(small.m_arrTris.m_nSize, 0);
}

TEST(MeshIO, CopyIntoAnotherMesh)
{
    CKrMeshData src;
    testmesh::Load(src, JitteredGrid(5, 8));
    src.InsertVertex(CKrPoint3d(100, 100, 100));  // a vertex without triangles is copied too

    CKrMeshData dst;
    dst.InsertVertex(CKrPoint3d(-7, -7, -7));  // replaced by the copy
    ASSERT_TRUE(src.OutputData(dst));
    EXPECT_EQ(dst.m_setVer.size(), src.m_setVer.size());
    EXPECT_EQ(meshtest::TriKeys(dst), meshtest::TriKeys(src));
    EXPECT_TRUE(dst.GetMinLimit().IsEqualTo(src.GetMinLimit()));
    EXPECT_NE(dst.m_pOctTree, nullptr);
    EXPECT_TRUE(dst.IsMeshOk());
    for (_sVertex* v : dst.m_setVer) EXPECT_EQ(v->nID, -1);
    // The copy is independent of the source.
    for (_sTri* t : dst.m_setTri) EXPECT_EQ(src.m_setTri.count(t), 0u);

    // Nothing to copy, or copying onto itself: false, target untouched.
    CKrMeshData empty;
    EXPECT_FALSE(empty.OutputData(dst));
    EXPECT_FALSE(dst.OutputData(dst));
    EXPECT_EQ(dst.TriNum(), src.TriNum());

    // The copy merges under the current tolerance: built apart under 0.001,
    // two vertices 0.005 apart become one in a copy made under 0.01.
    CKrMeshData fine(0.001);
    fine.InputData(std::vector<CKrPoint3d>{{0, 0, 0}, {0.005, 0, 0}, {1, 0, 0}, {0, 1, 0}},
                   {{0, 2, 3}, {1, 2, 3}}, true);
    ASSERT_EQ(fine.m_setVer.size(), 4u);
    CKrMeshData coarse;  // tolerance back to 0.01
    ASSERT_TRUE(fine.OutputData(coarse));
    EXPECT_EQ(coarse.m_setVer.size(), 3u);
    EXPECT_EQ(coarse.TriNum(), 2);
}
