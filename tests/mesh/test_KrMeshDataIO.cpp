#include <gtest/gtest.h>

#include <vector>

#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "support/MeshTestUtil.h"

using namespace TesTriMesh;
using KrTesGeo::_sTri_ID;

TEST(MeshIO, IndexImportMergesAndDropsCollapsedTriangles)
{
    CKrMeshData m;
    // Points 0 and 1 are 0.001 apart: one vertex, and the triangle using both
    // is dropped, as are the bad triples, leaving no trace in their corners.
    std::vector<CKrPoint3d> pts{{0, 0, 0}, {0.001, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    m.InputData(pts, {{0, 1, 2}, {0, 2, 3}, {1, 2, 3}, {2, 2, 3}, {0, 2, 7}, {-1, 2, 3}}, true);
    EXPECT_TRUE(m.m_setVer.size() == 3u && m.TriNum() == 2);  // (0,2,3) and (1,2,3): the same corners, twice
    EXPECT_EQ(meshtest::VertexAt(m, 0, 0)->setTri.size(), 2u);
    for (_sVertex* v : m.m_setVer)
        for (_sTri* t : v->setTri) EXPECT_EQ(m.m_setTri.count(t), 1u);
    EXPECT_TRUE(m.IsMeshOk() && m.m_pOctTree);

    // Importing the same list again without clearing merges every point.
    const testmesh::Solid g = meshtest::Grid(3, 3);
    testmesh::Load(m, g);
    m.InputData(g.pts, g.ids, false);
    EXPECT_TRUE(m.m_setVer.size() == 16u && m.TriNum() == 36);

    // An empty free-triangle list with bClear leaves an empty mesh without octree.
    m.InputData(std::vector<CKrTri3d>{}, true);
    EXPECT_TRUE(m.m_setVer.empty() && m.TriNum() == 0 && !m.m_pOctTree);
}

TEST(MeshIO, ExportSortsVerticesAndReimportsTheSameMesh)
{
    const testmesh::Solid s = meshtest::Grid(6, 6);  // numbered row by row, y before x
    CKrMeshData m;
    testmesh::Load(m, s);
    std::vector<CKrPoint3d> outPts;
    std::vector<_sTri_ID> outIds{{9, 9, 9}};
    m.OutputData(outPts, outIds);
    ASSERT_TRUE(outPts.size() == s.pts.size() && outIds.size() == s.ids.size());
    // Tolerant x, y, z order, not input order; nID is the output index.
    CKrVerLess less;
    for (size_t i = 1; i < outPts.size(); ++i) {
        _sVertex p(outPts[i - 1]), q(outPts[i]);
        EXPECT_TRUE(less(&p, &q)) << i;
    }
    int32_t n = 0;
    for (_sVertex* v : m.m_setVer) EXPECT_EQ(v->nID, n++);

    // Re-importing the export gives the same triangles with the same
    // winding; so do free triangles and the interchange record.
    CKrMeshData again;
    again.InputData(outPts, outIds, true);
    EXPECT_EQ(meshtest::TriKeys(again), meshtest::TriKeys(m));
    std::vector<CKrTri3d> tris;
    m.OutputData(tris);
    CKrMeshData fromTris;
    fromTris.InputData(tris, true);
    EXPECT_EQ(fromTris.m_setVer.size(), m.m_setVer.size());
    EXPECT_EQ(meshtest::TriKeys(fromTris), meshtest::TriKeys(m));
    std::vector<CKrPoint3d> only;  // the points alone, in the same order
    m.OutputPoints(only);
    EXPECT_EQ(only, outPts);
    CGeDataTriMesh gm;  // holding something already: emptied first
    for (int i = 0; i < 100; ++i) gm.AddPoint(i, i, i);
    gm.AddTri(0, 1, 2);
    m.OutputData(gm);
    EXPECT_TRUE(gm.GetPointCount() == 49 && gm.GetTriCount() == 72);
    CKrMeshData back;
    back.InputData(gm, true);
    EXPECT_EQ(meshtest::TriKeys(back), meshtest::TriKeys(m));

    // A missing point record drops the triangles that use it.
    delete gm.m_arrPts.m_pData[0];
    gm.m_arrPts.m_pData[0] = nullptr;
    const int usesZero = static_cast<int>((*m.m_setVer.begin())->setTri.size());  // exported first
    back.InputData(gm, true);
    EXPECT_EQ(back.TriNum(), 72 - usesZero);
    EXPECT_TRUE(back.m_setVer.size() == 48u && back.IsMeshOk());
}

TEST(MeshIO, CopyIntoAnotherMesh)
{
    CKrMeshData src;
    testmesh::Load(src, meshtest::Grid(5, 5));
    src.InsertVertex(CKrPoint3d(100, 100, 100));  // a vertex without triangles is copied too
    CKrMeshData dst;
    dst.InsertVertex(CKrPoint3d(-7, -7, -7));  // replaced by the copy
    ASSERT_TRUE(src.OutputData(dst));
    EXPECT_EQ(dst.m_setVer.size(), src.m_setVer.size());
    EXPECT_EQ(meshtest::TriKeys(dst), meshtest::TriKeys(src));
    EXPECT_TRUE(dst.GetMinLimit().IsEqualTo(src.GetMinLimit()));
    EXPECT_TRUE(dst.m_pOctTree && dst.IsMeshOk());
    for (_sTri* t : dst.m_setTri) EXPECT_EQ(src.m_setTri.count(t), 0u);  // records of its own

    // Nothing to copy, or copying onto itself: false, target untouched.
    CKrMeshData empty;
    EXPECT_FALSE(empty.OutputData(dst));
    EXPECT_FALSE(dst.OutputData(dst));
    EXPECT_EQ(dst.TriNum(), src.TriNum());

}
