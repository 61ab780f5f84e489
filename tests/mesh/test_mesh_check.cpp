#include <gtest/gtest.h>

#include <vector>

#include "mesh/KrMeshData.h"
#include "mesh/MeshTestUtil.h"

using namespace TesTriMesh;
using KrTesGeo::_sTri_ID;

namespace {

// A sound 3 x 3 grid mesh (18 triangles) to break in various ways.
struct GridMesh {
    CKrMeshData m;
    GridMesh()
    {
        std::vector<CKrPoint3d> pts;
        std::vector<_sTri_ID> ids;
        meshtest::Grid(3, 3, pts, ids);
        m.InputData(pts, ids, true);
    }
    _sTri* Tri(int n)
    {
        auto it = m.m_setTri.begin();
        std::advance(it, n);
        return *it;
    }
    _sEdge* Edge(int n)
    {
        auto it = m.m_setEdge.begin();
        std::advance(it, n);
        return *it;
    }
    // An interior triangle: all three edges shared.
    _sTri* Inner()
    {
        for (_sTri* t : m.m_setTri)
            if (!CKrMeshData::IsBorderTri(t)) return t;
        return nullptr;
    }
};

}  // namespace

TEST(MeshCheck, SoundMeshPassesEverything)
{
    GridMesh g;
    EXPECT_EQ(g.m.CheckMeshDataSame(), 0);
    EXPECT_EQ(g.m.CheckMeshDataNull(), 0);
    EXPECT_EQ(g.m.CheckMeshDataUnite(), 0);
    EXPECT_EQ(g.m.CheckPointer(), 0);
    EXPECT_TRUE(g.m.CheckEdgeOk());
    EXPECT_TRUE(g.m.CheckEdgeSetOk());
    EXPECT_TRUE(g.m.IsMeshOk());
    for (_sTri* t : g.m.m_setTri) {
        EXPECT_TRUE(CKrMeshData::CheckTriEdgeUnite(t));
        EXPECT_TRUE(CKrMeshData::CheckTriVerEdgeUnite(t));
        EXPECT_TRUE(CKrMeshData::CheckTriVerUnite(t));
        EXPECT_TRUE(g.m.CheckHasTheTri(t));
        for (_sEdge* e : t->pEdge) EXPECT_TRUE(g.m.CheckHasTheEdge(e));
    }
    for (_sVertex* v : g.m.m_setVer) {
        EXPECT_TRUE(CKrMeshData::CheckVerTriUnite(v));
        EXPECT_TRUE(g.m.CheckHasThePointer(v));
    }
    // The rim of a 3 x 3 grid touches 10 triangles (two corner triangles
    // have two border edges each).
    int border = 0;
    for (_sTri* t : g.m.m_setTri) {
        bool open = false;
        for (_sEdge* e : t->pEdge) open |= !e->pTri[0] || !e->pTri[1];
        EXPECT_EQ(CKrMeshData::IsBorderTri(t), open);
        border += open;
    }
    EXPECT_EQ(border, 10);
    EXPECT_FALSE(CKrMeshData::IsBorderTri(nullptr));

    // Things the mesh does not hold.
    _sVertex stranger;
    _sEdge loose(&stranger, *g.m.m_setVer.begin());
    EXPECT_FALSE(g.m.CheckHasThePointer(&stranger));
    EXPECT_FALSE(g.m.CheckHasTheEdge(&loose));
    // A vertex only an edge knows is still found.
    _sVertex* lone = g.m.InsertVertex(CKrPoint3d(50, 50, 0));
    EXPECT_FALSE(g.m.CheckHasThePointer(lone));
    _sEdge* e = g.Edge(0);
    _sVertex* keep = e->pVer[1];
    e->pVer[1] = lone;
    EXPECT_TRUE(g.m.CheckHasThePointer(lone));
    e->pVer[1] = keep;
}

TEST(MeshCheck, SameBits)
{
    {
        GridMesh g;
        _sTri* t = g.Inner();
        t->pVer[1] = t->pVer[0];
        EXPECT_EQ(g.m.CheckMeshDataSame(), 1);
        EXPECT_FALSE(g.m.IsMeshOk());
    }
    {
        GridMesh g;
        _sTri* t = g.Tri(3);
        t->pEdge[2] = t->pEdge[1];
        EXPECT_EQ(g.m.CheckMeshDataSame(), 2);
    }
    {
        GridMesh g;
        _sEdge* e = g.Edge(2);
        e->pVer[0] = e->pVer[1];
        EXPECT_EQ(g.m.CheckMeshDataSame(), 4);
        EXPECT_FALSE(g.m.IsMeshOk());
    }
    {
        GridMesh g;
        _sTri* t = g.Inner();
        _sEdge* e = t->pEdge[0];
        e->pTri[0] = e->pTri[1];
        EXPECT_EQ(g.m.CheckMeshDataSame(), 8);
        EXPECT_FALSE(g.m.CheckEdgeOk());
    }
    {
        // All four at once.
        GridMesh g;
        g.Tri(0)->pVer[2] = g.Tri(0)->pVer[1];
        g.Tri(1)->pEdge[0] = g.Tri(1)->pEdge[2];
        g.Edge(0)->pVer[1] = g.Edge(0)->pVer[0];
        _sEdge* e = g.Inner()->pEdge[1];
        e->pTri[1] = e->pTri[0];
        EXPECT_EQ(g.m.CheckMeshDataSame(), 15);
    }
}

TEST(MeshCheck, NullBits)
{
    {
        GridMesh g;
        g.Tri(4)->pVer[2] = nullptr;
        EXPECT_EQ(g.m.CheckMeshDataNull(), 1);
        // Every check survives the null link; the mesh is reported broken.
        EXPECT_NE(g.m.CheckMeshDataUnite(), 0);
        EXPECT_FALSE(g.m.IsMeshOk());
    }
    {
        GridMesh g;
        g.Tri(5)->pEdge[0] = nullptr;
        EXPECT_EQ(g.m.CheckMeshDataNull(), 2);
        EXPECT_FALSE(g.m.IsMeshOk());
    }
    {
        GridMesh g;
        g.Edge(1)->pVer[0] = nullptr;
        EXPECT_EQ(g.m.CheckMeshDataNull(), 4);
        EXPECT_FALSE(g.m.CheckEdgeOk());
        EXPECT_FALSE(g.m.IsMeshOk());
    }
    {
        GridMesh g;
        g.Tri(0)->pVer[0] = nullptr;
        g.Tri(0)->pEdge[1] = nullptr;
        g.Edge(3)->pVer[1] = nullptr;
        EXPECT_EQ(g.m.CheckMeshDataNull(), 7);
        EXPECT_FALSE(g.m.IsMeshOk());
    }
}

TEST(MeshCheck, UniteBits)
{
    {
        // A triangle missing from a corner's setTri.
        GridMesh g;
        _sTri* t = g.Inner();
        CKrMeshData::TopoDelVetTri(t->pVer[2], t);
        EXPECT_FALSE(CKrMeshData::CheckTriVerUnite(t));
        EXPECT_EQ(g.m.CheckMeshDataUnite(), 1);
        EXPECT_FALSE(g.m.CheckEdgeOk());  // its edges' ends no longer share it
        EXPECT_FALSE(g.m.IsMeshOk());
        // TopoDelVetTri of an absent triangle changes nothing.
        CKrMeshData::TopoDelVetTri(t->pVer[2], t);
        EXPECT_EQ(t->pVer[0]->setTri.count(t), 1u);
    }
    {
        // A triangle missing from one of its edges.
        GridMesh g;
        _sTri* t = g.Inner();
        t->pEdge[1]->DelEdgeTri(t);
        EXPECT_FALSE(CKrMeshData::CheckTriEdgeUnite(t));
        EXPECT_EQ(g.m.CheckMeshDataUnite(), 2);
        EXPECT_TRUE(CKrMeshData::IsBorderTri(t));
    }
    {
        // An edge of another triangle put in a slot: corners no longer on two edges.
        GridMesh g;
        _sTri* t = g.Inner();
        // A border edge of a triangle sharing no corner with t: t goes into
        // its empty slot, so that every edge t points to holds t.
        _sEdge* stolen = nullptr;
        for (_sTri* u : g.m.m_setTri) {
            bool touches = false;
            for (_sVertex* v : u->pVer) touches |= v == t->pVer[0] || v == t->pVer[1] || v == t->pVer[2];
            for (_sEdge* e : u->pEdge)
                if (!touches && !stolen && (!e->pTri[0] || !e->pTri[1])) stolen = e;
        }
        ASSERT_NE(stolen, nullptr);
        stolen->AddEdgeTri(t);
        t->pEdge[2]->DelEdgeTri(t);
        t->pEdge[2] = stolen;
        EXPECT_FALSE(CKrMeshData::CheckTriVerEdgeUnite(t));
        EXPECT_TRUE(CKrMeshData::CheckTriEdgeUnite(t));
        EXPECT_EQ(g.m.CheckMeshDataUnite(), 4);
    }
    {
        // A vertex listing a triangle that lacks it.
        GridMesh g;
        _sVertex* v = *g.m.m_setVer.begin();
        _sTri* other = nullptr;
        for (_sTri* t : g.m.m_setTri)
            if (t->pVer[0] != v && t->pVer[1] != v && t->pVer[2] != v) other = t;
        v->setTri.insert(other);
        EXPECT_FALSE(CKrMeshData::CheckVerTriUnite(v));
        EXPECT_EQ(g.m.CheckMeshDataUnite(), 8);
        EXPECT_FALSE(g.m.IsMeshOk());
        EXPECT_TRUE(CKrMeshData::CheckVerTriUnite(g.m.InsertVertex(CKrPoint3d(9, 9, 9))));  // empty set passes
    }
}

TEST(MeshCheck, EdgeChecks)
{
    {
        // One slot emptied while both ends still share two triangles.
        GridMesh g;
        _sEdge* e = g.Inner()->pEdge[0];
        e->pTri[1] = nullptr;
        EXPECT_FALSE(g.m.CheckEdgeOk());
        // Moving the survivor to slot 1 is the same fault.
        e->pTri[1] = e->pTri[0];
        e->pTri[0] = nullptr;
        EXPECT_FALSE(g.m.CheckEdgeOk());
    }
    {
        // An empty edge whose ends share nothing passes.
        GridMesh g;
        _sVertex* a = g.m.InsertVertex(CKrPoint3d(20, 0, 0));
        _sVertex* b = g.m.InsertVertex(CKrPoint3d(21, 0, 0));
        _sVertex* c = g.m.InsertVertex(CKrPoint3d(21, 1, 0));
        _sTri* t = g.m.AddTri(a, b, c);
        t->pEdge[0]->pTri[0] = nullptr;  // now a-b holds nothing, but a and b share t
        EXPECT_FALSE(g.m.CheckEdgeOk());
        g.m.DelTri(t);
        EXPECT_TRUE(g.m.CheckEdgeOk());
        EXPECT_TRUE(g.m.IsMeshOk());
    }
    {
        // Two edge objects with one vertex pair, or an order broken behind the set's back.
        GridMesh g;
        EXPECT_TRUE(g.m.CheckEdgeSetOk());
        _sEdge* e0 = g.Edge(0);
        _sEdge* e5 = g.Edge(5);
        _sVertex* keep[2] = {e5->pVer[0], e5->pVer[1]};
        e5->pVer[0] = e0->pVer[0];
        e5->pVer[1] = e0->pVer[1];
        EXPECT_FALSE(g.m.CheckEdgeSetOk());
        EXPECT_FALSE(g.m.IsMeshOk());
        e5->pVer[0] = keep[0];
        e5->pVer[1] = keep[1];
        EXPECT_TRUE(g.m.CheckEdgeSetOk());
        // Swapping an edge's ends puts it out of order.
        std::swap(e0->pVer[0], e0->pVer[1]);
        EXPECT_FALSE(g.m.CheckEdgeSetOk());
        std::swap(e0->pVer[0], e0->pVer[1]);
    }
}

TEST(MeshCheck, CleanupOperations)
{
    GridMesh g;
    CKrMeshData& m = g.m;
    // Nothing to do on a clean mesh.
    const size_t ne = m.m_setEdge.size();
    m.DelVoidEdge();
    EXPECT_EQ(m.m_setEdge.size(), ne);
    m.DelVoidVet();
    EXPECT_EQ(m.m_setVer.size(), 16u);

    // An edge emptied by hand goes; DelVoidEdge(e) removes one regardless of its slots.
    _sTri* t = g.Tri(0);
    _sEdge* e = t->pEdge[0];
    e->pTri[0] = e->pTri[1] = nullptr;
    m.DelVoidEdge();
    EXPECT_EQ(m.m_setEdge.size(), ne - 1);
    EXPECT_EQ(m.m_setEdge.FindPair(t->pVer[0], t->pVer[1]), nullptr);
    _sEdge key(t->pVer[1], t->pVer[2]);
    m.DelVoidEdge(&key);
    EXPECT_EQ(m.m_setEdge.size(), ne - 2);
    m.DelVoidEdge(&key);  // not there any more
    m.DelVoidEdge(nullptr);
    EXPECT_EQ(m.m_setEdge.size(), ne - 2);

    // Simplify rebuilds the links: the two edges come back.
    m.Simplify();
    EXPECT_EQ(m.m_setEdge.size(), ne);
    EXPECT_EQ(m.TriNum(), 18);
    EXPECT_TRUE(m.IsMeshOk());

    // ResetSign clears the marks, but not the triangles' own flag.
    for (_sTri* x : m.m_setTri) {
        x->nSign[0] = 1;
        x->nSign[1] = 1;
        x->bSign = true;
    }
    for (_sEdge* x : m.m_setEdge) x->bSign = true;
    m.ResetSign();
    for (_sTri* x : m.m_setTri) {
        EXPECT_EQ(x->nSign[0], -1);
        EXPECT_EQ(x->nSign[1], -1);
        EXPECT_TRUE(x->bSign);
    }
    for (_sEdge* x : m.m_setEdge) EXPECT_FALSE(x->bSign);

    // SetZ(0) flattens but keeps the topology; the extent is left alone.
    const double zmax = m.GetMaxLimit().z;
    m.SetZ(0);
    for (_sVertex* v : m.m_setVer) EXPECT_EQ(v->pt.z, 0);
    EXPECT_TRUE(m.IsMeshOk());
    EXPECT_EQ(m.GetMaxLimit().z, zmax);

    // DelVoidVet after deleting every triangle empties the vertex set.
    while (m.TriNum() > 0) m.DelTri(*m.m_setTri.begin());
    EXPECT_EQ(m.m_setVer.size(), 16u);
    EXPECT_TRUE(m.m_setEdge.empty());
    m.DelVoidVet();
    EXPECT_TRUE(m.m_setVer.empty());
}

TEST(MeshCheck, SimplifyRemergesUnderTheCurrentTolerance)
{
    CKrMeshData m(0.001);
    // Two triangles whose apexes are 0.005 apart, plus an unused vertex.
    m.InputData(std::vector<CKrPoint3d>{{0, 0, 0}, {1, 0, 0}, {0.5, 1, 0}, {0.505, 1, 0}, {3, 3, 3}},
                {{0, 1, 2}, {1, 3, 2}, {0, 1, 3}}, true);
    ASSERT_EQ(m.m_setVer.size(), 5u);
    ASSERT_EQ(m.TriNum(), 3);
    // Same tolerance: a round trip changes nothing but the numbering.
    m.Simplify();
    EXPECT_EQ(m.m_setVer.size(), 5u);
    EXPECT_EQ(m.TriNum(), 3);
    CKrMeshData coarse;  // the tolerance becomes 0.01 for every mesh
    m.Simplify();
    EXPECT_EQ(m.m_setVer.size(), 4u);  // apexes merged, unused vertex kept
    EXPECT_EQ(m.TriNum(), 2);          // (1, 3, 2) collapsed
    EXPECT_TRUE(m.IsMeshOk());
    EXPECT_NE(m.m_pOctTree, nullptr);
    m.DelVoidVet();
    EXPECT_EQ(m.m_setVer.size(), 3u);
}
