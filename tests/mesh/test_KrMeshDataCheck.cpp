#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

#include "support/MeshTestUtil.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

using namespace TesTriMesh;

namespace {

// A sound 3 x 3 grid mesh (18 triangles) to break in various ways.
struct GridMesh {
    CKrMeshData m;
    GridMesh() { testmesh::Load(m, meshtest::Grid(3, 3)); }
    _sTri* Tri(int n) { return *std::next(m.m_setTri.begin(), n); }
    _sEdge* Edge(int n) { return *std::next(m.m_setEdge.begin(), n); }
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
    EXPECT_TRUE(g.m.IsMeshOk());  // every counting check 0, the edge checks true
    // The rim of a 3 x 3 grid touches 10 triangles (two corner triangles
    // have two border edges each).
    int border = 0;
    for (_sTri* t : g.m.m_setTri) {
        bool open = false;
        for (_sEdge* e : t->pEdge) {
            open |= !e->pTri[0] || !e->pTri[1];
            EXPECT_TRUE(g.m.CheckHasTheEdge(e));
        }
        EXPECT_EQ(CKrMeshData::IsBorderTri(t), open);
        border += open;
        EXPECT_TRUE(g.m.CheckHasTheTri(t));
    }
    EXPECT_EQ(border, 10);
    for (_sVertex* v : g.m.m_setVer) EXPECT_TRUE(g.m.CheckHasThePointer(v));

    // Things the mesh does not hold; a vertex only an edge knows is found.
    _sVertex stranger;
    _sEdge loose(&stranger, *g.m.m_setVer.begin());
    EXPECT_FALSE(g.m.CheckHasThePointer(&stranger) || g.m.CheckHasTheEdge(&loose));
    _sEdge* e = g.Edge(0);
    _sVertex* keep = std::exchange(e->pVer[1], &stranger);
    EXPECT_TRUE(g.m.CheckHasThePointer(&stranger));
    e->pVer[1] = keep;
}

// Each fault sets its own bit of its counting check (the others are not
// asked about: a broken link can upset them too), and the mesh is no longer OK.
TEST(MeshCheck, CountingChecksReportEachFault)
{
    enum Check { kSame, kNull, kUnite, kEdgeOk, kEdgeSet };
    struct Fault {
        const char* what;
        Check check;
        int bits;
        std::function<void(GridMesh&)> make;
    };
    const Fault faults[] = {
        {"two equal corners", kSame, 1, [](GridMesh& g) { g.Inner()->pVer[1] = g.Inner()->pVer[0]; }},
        {"two equal edge pointers", kSame, 2, [](GridMesh& g) { g.Tri(3)->pEdge[2] = g.Tri(3)->pEdge[1]; }},
        {"an edge with equal ends", kSame, 4, [](GridMesh& g) { g.Edge(2)->pVer[0] = g.Edge(2)->pVer[1]; }},
        {"one triangle in both slots", kSame, 8,
         [](GridMesh& g) { g.Inner()->pEdge[0]->pTri[0] = g.Inner()->pEdge[0]->pTri[1]; }},
        {"all four", kSame, 15,
         [](GridMesh& g) {
             g.Tri(0)->pVer[2] = g.Tri(0)->pVer[1];
             g.Tri(1)->pEdge[0] = g.Tri(1)->pEdge[2];
             g.Edge(0)->pVer[1] = g.Edge(0)->pVer[0];
             g.Inner()->pEdge[1]->pTri[1] = g.Inner()->pEdge[1]->pTri[0];
         }},
        {"a null corner", kNull, 1, [](GridMesh& g) { g.Tri(4)->pVer[2] = nullptr; }},
        {"a null edge pointer", kNull, 2, [](GridMesh& g) { g.Tri(5)->pEdge[0] = nullptr; }},
        {"an edge with a null end", kNull, 4, [](GridMesh& g) { g.Edge(1)->pVer[0] = nullptr; }},
        {"missing from a corner's set", kUnite, 1,
         [](GridMesh& g) { CKrMeshData::TopoDelVetTri(g.Inner()->pVer[2], g.Inner()); }},
        {"missing from an edge", kUnite, 2, [](GridMesh& g) { g.Inner()->pEdge[1]->DelEdgeTri(g.Inner()); }},
        // A border edge of a triangle sharing no corner with t put in t's
        // slot (t entered in it): every edge t points to holds t, but its
        // corners are no longer on two of its edges.
        {"an edge of a far triangle in a slot", kUnite, 4,
         [](GridMesh& g) {
             _sTri* t = g.Inner();
             _sEdge* stolen = nullptr;
             for (_sTri* u : g.m.m_setTri) {
                 bool touches = false;
                 for (_sVertex* v : u->pVer) touches |= v == t->pVer[0] || v == t->pVer[1] || v == t->pVer[2];
                 for (_sEdge* e : u->pEdge)
                     if (!touches && !stolen && (!e->pTri[0] || !e->pTri[1])) stolen = e;
             }
             stolen->AddEdgeTri(t);
             t->pEdge[2]->DelEdgeTri(t);
             t->pEdge[2] = stolen;
         }},
        {"a vertex listing a stranger", kUnite, 8,
         [](GridMesh& g) {
             _sVertex* v = *g.m.m_setVer.begin();
             for (_sTri* t : g.m.m_setTri)
                 if (t->pVer[0] != v && t->pVer[1] != v && t->pVer[2] != v) v->setTri.insert(t);
         }},
        // One slot emptied while both ends still share two triangles.
        {"an emptied second slot", kEdgeOk, 0, [](GridMesh& g) { g.Inner()->pEdge[0]->pTri[1] = nullptr; }},
        {"two edge objects with one vertex pair", kEdgeSet, 0,
         [](GridMesh& g) {
             _sEdge *e0 = g.Edge(0), *e5 = g.Edge(5);
             e5->pVer[0] = e0->pVer[0];
             e5->pVer[1] = e0->pVer[1];
         }},
        {"an order broken behind the set's back", kEdgeSet, 0,
         [](GridMesh& g) { std::swap(g.Edge(0)->pVer[0], g.Edge(0)->pVer[1]); }},
    };
    for (const Fault& f : faults) {
        GridMesh g;
        f.make(g);
        const int got = f.check == kSame    ? g.m.CheckMeshDataSame()
                        : f.check == kNull  ? g.m.CheckMeshDataNull()
                        : f.check == kUnite ? g.m.CheckMeshDataUnite()
                        : f.check == kEdgeOk ? g.m.CheckEdgeOk()
                                             : g.m.CheckEdgeSetOk();
        EXPECT_EQ(got, f.bits) << f.what;
        EXPECT_FALSE(g.m.IsMeshOk()) << f.what;
        if (f.check == kNull) {
            EXPECT_NE(g.m.CheckMeshDataUnite(), 0) << f.what;  // survives the null link
        }
    }
}

TEST(MeshCheck, CleanupOperations)
{
    GridMesh g;
    CKrMeshData& m = g.m;
    const size_t ne = m.m_setEdge.size();
    // An edge emptied by hand goes; DelVoidEdge(e) removes one regardless of its slots.
    _sTri* t = g.Tri(0);
    _sEdge* e = t->pEdge[0];
    e->pTri[0] = e->pTri[1] = nullptr;
    m.DelVoidEdge();
    EXPECT_EQ(m.m_setEdge.size(), ne - 1);
    EXPECT_EQ(m.m_setEdge.FindPair(t->pVer[0], t->pVer[1]), nullptr);
    _sEdge key(t->pVer[1], t->pVer[2]);
    m.DelVoidEdge(&key);
    m.DelVoidEdge(&key);  // not there any more
    m.DelVoidEdge(nullptr);
    EXPECT_EQ(m.m_setEdge.size(), ne - 2);
    // Simplify rebuilds the links: the two edges come back.
    m.Simplify();
    EXPECT_TRUE(m.m_setEdge.size() == ne && m.TriNum() == 18 && m.IsMeshOk());

    // ResetSign clears the marks, but not the triangles' own flag.
    _sTri* x = *m.m_setTri.begin();
    x->nSign[0] = x->nSign[1] = 1;
    x->bSign = true;
    x->pEdge[0]->bSign = true;
    m.ResetSign();
    EXPECT_TRUE(x->nSign[0] == -1 && x->nSign[1] == -1 && x->bSign && !x->pEdge[0]->bSign);

    // DelVoidVet keeps used vertices, and after the last triangle empties the vertex set.
    m.DelVoidVet();
    EXPECT_EQ(m.m_setVer.size(), 16u);
    while (m.TriNum() > 0) m.DelTri(*m.m_setTri.begin());
    m.DelVoidVet();
    EXPECT_TRUE(m.m_setVer.empty());
}
