#include <gtest/gtest.h>

#include <cfloat>
#include <random>
#include <set>
#include <vector>

#include "support/MeshTestUtil.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

using namespace TesTriMesh;
using meshtest::VertexAt;

namespace {

// All octree items, each as often as it is filed.
std::multiset<void*> TreeItems(const CKrMeshData& m)
{
    std::vector<void*> all;
    m.m_pOctTree->GetAllItems(all);
    return std::multiset<void*>(all.begin(), all.end());
}

}  // namespace

TEST(MeshEdit, AddTriSharesEdgesAndDelTriReleasesThem)
{
    // a(0,0) b(1,0) c(1,1) d(0,-1): (a, b, c) and (b, a, d) share a-b.
    CKrMeshData m;
    _sVertex* a = m.InsertVertex(CKrPoint3d(0, 0, 0));
    _sVertex* b = m.InsertVertex(CKrPoint3d(1, 0, 0));
    _sVertex* c = m.InsertVertex(CKrPoint3d(1, 1, 0));
    _sVertex* d = m.InsertVertex(CKrPoint3d(0, -1, 0));
    // Repeated or missing corners create nothing.
    _sVertex* const bad[][3] = {{a, a, b}, {b, a, b}, {a, b, nullptr}};
    for (auto& v : bad) EXPECT_EQ(m.AddTri(v[0], v[1], v[2]), nullptr);
    EXPECT_TRUE(m.TriNum() == 0 && m.m_setEdge.empty() && a->setTri.empty());

    _sTri* t1 = m.AddTri(a, b, c);
    _sTri* t2 = m.AddTri(b, a, d);
    ASSERT_TRUE(t1 && t2);
    EXPECT_EQ(m.m_setEdge.size(), 5u);
    // (b, a) is the same edge object as (a, b), which knows both triangles.
    _sEdge* ab = t1->pEdge[0];
    EXPECT_TRUE(t2->pEdge[0] == ab && ab->pTri[0] == t1 && ab->pTri[1] == t2);
    EXPECT_TRUE(m.FindTriCoEdge(ab, t1) == t2 && ab->CoEdgeTri(t2) == t1);
    EXPECT_TRUE(m.FindTriCoEdge(t1->pEdge[1], t1) == nullptr && m.FindEdgeByVer(c, a, t1) == t1->pEdge[2]);
    EXPECT_TRUE(a->setTri.size() == 2u && c->setTri.size() == 1u && d->setTri.count(t2) == 1u);
    EXPECT_TRUE(m.IsMeshOk());

    // A third triangle on a-b points to the edge, which keeps its first two;
    // removing it restores a sound mesh.
    _sTri* t3 = m.AddTri(a, b, m.InsertVertex(CKrPoint3d(0.5, 3, 0)));
    ASSERT_NE(t3, nullptr);
    EXPECT_TRUE(t3->pEdge[0] == ab && ab->pTri[0] == t1 && ab->pTri[1] == t2);
    EXPECT_TRUE(m.CheckMeshDataUnite() == 2 && !m.CheckEdgeOk() && CKrMeshData::IsBorderTri(t3));
    m.DelTri(t3);
    EXPECT_TRUE(ab->pTri[0] == t1 && ab->pTri[1] == t2 && m.IsMeshOk());

    // Inverting the mesh reverses every triangle, keeping its edge slots (so
    // edges are found by their vertices); inverting twice restores it.
    const auto before = meshtest::TriKeys(m);
    m.Invert();
    EXPECT_NE(meshtest::TriKeys(m), before);
    EXPECT_TRUE(m.FindEdgeByVer(t1->pVer[0], t1->pVer[2], t1) == t1->pEdge[1] && m.IsMeshOk());
    m.Invert();
    EXPECT_EQ(meshtest::TriKeys(m), before);

    // Deleting one of two neighbours empties one slot; deleting the other removes the edge.
    m.DelTri(t1);
    EXPECT_TRUE(ab->pTri[0] == nullptr && ab->pTri[1] == t2);
    EXPECT_EQ(m.m_setEdge.size(), 3u);
    EXPECT_EQ(m.m_setEdge.FindPair(b, c), nullptr);
    m.DelTri(t2);
    EXPECT_TRUE(m.TriNum() == 0 && m.m_setEdge.empty() && a->setTri.empty());
    EXPECT_EQ(m.m_setVer.size(), 5u);  // vertices stay
    EXPECT_TRUE(m.IsMeshOk());         // a mesh without triangles is sound
}

TEST(MeshEdit, MergeToleranceIsProcessWideAndOrdersVertices)
{
    // Less than 0.01 apart: equivalent. Apart by more on x: x decides; x
    // within the (closed) band: y decides, then z; at least 0.01 apart but
    // within it on every axis: the axis of largest difference decides
    // exactly (x on ties). rel: +1 when (0,0,0) comes first, -1 when second.
    CKrMeshData m;
    EXPECT_DOUBLE_EQ(g_dVerTol, 0.01);  // the default
    const struct {
        CKrPoint3d p;
        int rel;
    } order[] = {{{0.006, 0.007, 0}, 0},    {{0, 0.0099, 0}, 0},     {{0, 0, 0.0101}, 1},
                 {{0.02, -5, 0}, 1},        {{-0.01, 0.5, 0}, 1},    {{0.008, 0.008, 0}, 1},
                 {{0.006, -0.0095, 0.001}, -1}, {{0.001, 0.006, -0.009}, -1}};
    CKrVerLess less;
    _sVertex o(CKrPoint3d(0, 0, 0));
    for (const auto& c : order) {
        _sVertex v(c.p);
        EXPECT_EQ(less(&o, &v), c.rel > 0) << c.p.x << " " << c.p.y;
        EXPECT_EQ(less(&v, &o), c.rel < 0) << c.p.x << " " << c.p.y;
    }

    {
        CKrMeshData other(0.001);  // rewrites the tolerance of every mesh
        // The first mesh now keeps 0.005-apart points apart too.
        _sVertex* u = m.InsertVertex(CKrPoint3d(10, 10, 10));
        EXPECT_NE(m.InsertVertex(CKrPoint3d(10.005, 10, 10)), u);
        EXPECT_EQ(m.InsertVertex(CKrPoint3d(10.0005, 10, 10)), u);
    }
    EXPECT_DOUBLE_EQ(g_dVerTol, 0.001);  // destruction does not restore it
    CKrMeshData restore;                 // back to the default for the other tests
    EXPECT_DOUBLE_EQ(g_dVerTol, 0.01);
}

TEST(MeshEdit, RandomChurnKeepsTheMeshAndItsOctreeSound)
{
    CKrMeshData m;
    testmesh::Load(m, meshtest::Grid(12, 12));
    std::vector<_sVertex*> vs(m.m_setVer.begin(), m.m_setVer.end());
    std::mt19937 rng(5);
    for (int round = 0; round < 1000; ++round) {
        if (rng() % 2 && m.TriNum() > 0) {
            m.DelTri(*std::next(m.m_setTri.begin(), static_cast<long>(rng() % m.m_setTri.size())));
            continue;
        }
        _sVertex* v[3] = {vs[rng() % vs.size()], vs[rng() % vs.size()], vs[rng() % vs.size()]};
        // Only add where each edge still has a free slot, so the mesh stays representable.
        bool room = v[0] != v[1] && v[1] != v[2] && v[2] != v[0];
        for (int k = 0; k < 3 && room; ++k) {
            _sEdge* e = m.m_setEdge.FindPair(v[k], v[(k + 1) % 3]);
            room = !e || !e->pTri[0] || !e->pTri[1];
        }
        if (room) {
            ASSERT_NE(m.AddTri(v[0], v[1], v[2]), nullptr);
        }
        if (round % 100 == 0) {
            ASSERT_TRUE(m.IsMeshOk()) << round;
        }
    }
    EXPECT_TRUE(m.IsMeshOk());
    // The octree holds exactly the live triangles, each once.
    EXPECT_EQ(TreeItems(m), std::multiset<void*>(m.m_setTri.begin(), m.m_setTri.end()));

    // ClearTriData empties the tree; the vertices stay without triangles, and
    // adding to the emptied mesh works.
    m.ClearTriData();
    EXPECT_TRUE(m.TriNum() == 0 && m.m_setEdge.empty() && m.m_setVer.size() == 169u);
    for (_sVertex* v : m.m_setVer) EXPECT_TRUE(v->setTri.empty());
    ASSERT_NE(m.m_pOctTree, nullptr);
    EXPECT_TRUE(TreeItems(m).empty());
    ASSERT_NE(m.AddTri(VertexAt(m, 0, 0), VertexAt(m, 1, 0), VertexAt(m, 1, 1)), nullptr);
    EXPECT_TRUE(m.IsMeshOk());
    m.ClearAllData();
    EXPECT_TRUE(m.m_setVer.empty() && m.TriNum() == 0 && m.GetMaxLimit().x == -DBL_MAX);
}

// At survey density many vertices have neighbours within the merge tolerance
// in x, where the tolerant order falls back to y and stops being transitive.
// A point closer than the tolerance to an existing vertex must still merge
// with it, and every vertex must still be found.
TEST(MeshEdit, NearDuplicatesMergeAtSurveyDensity)
{
    CKrMeshData mesh(0.01);
    std::mt19937_64 rng(3);
    // 200,000 points on 2 km x 2 km: the density of 1M points on 10 km x 10 km... times 5.
    std::uniform_real_distribution<double> u(0.0, 2000.0), d(-0.0035, 0.0035);
    std::vector<CKrPoint3d> pts;
    for (int i = 0; i < 200000; ++i) pts.emplace_back(u(rng), u(rng), u(rng) * 0.01);
    for (const CKrPoint3d& p : pts) mesh.InsertVertex(p);
    ASSERT_EQ(mesh.m_setVer.size(), pts.size());  // no two random points are that close here
    std::size_t found = 0;
    for (const CKrPoint3d& p : pts) {
        _sVertex probe(p);
        found += mesh.m_setVer.find(&probe) != mesh.m_setVer.end();
    }
    // Each point again, less than 0.0061 away: it merges, adding nothing.
    for (const CKrPoint3d& p : pts) mesh.InsertVertex(CKrPoint3d(p.x + d(rng), p.y + d(rng), p.z + d(rng)));
    // Without the band search about 4% go missing; allow a handful of misses
    // out of 200,000 where the order is too tangled.
    EXPECT_GE(found, pts.size() - 20);
    EXPECT_LE(mesh.m_setVer.size(), pts.size() + 20);
}
