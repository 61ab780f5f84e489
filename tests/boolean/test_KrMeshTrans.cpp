#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "support/KrTestMeshes.h"
#include "KrTesGeometry/boolean/KrMeshTrans.h"

using namespace TesTriMesh;
using KrTesGeo::CGeoVector;
using Lists = std::vector<_sTri*>[5];  // region1, region2, hit3, hit4, hit0

namespace TesTriMesh {

// Test hook: reaches the private building blocks of CKrMeshTrans.
class CKrMeshTransTestAccess {
public:
    static int Section(const _sTri* t, const CKrPoint3d& p, const CGeoVector& n, CKrPoint3d& a, CKrPoint3d& b,
                       std::vector<_sEdgeConVer*>& conv, int& edge)
    {
        return CKrMeshTrans::IntersectTriAndPlane3D(t, p, n, a, b, conv, edge, 1e-6);
    }
    static void Sign(const CKrMeshTrans& m, const std::vector<CKrPoint3d>& poly) { m.SignTrisInPolygon(poly); }
    static bool Fill(CKrMeshTrans& m, const CKrPoint3d& p, std::vector<_sTri*>& o) { return m.GetOneSideTrisByOnePt(p, o); }
    static void Sort(CKrMeshTrans& m, CKrMeshData& other, Lists& l, CKrTri3d& seed)
    {
        for (auto& x : l) x.clear();
        EXPECT_TRUE(m.SortTrisByEdge(other, l[0], l[1], l[2], l[3], l[4], seed));
    }
};

}  // namespace TesTriMesh

using Access = TesTriMesh::CKrMeshTransTestAccess;

namespace {

CKrPoint3d Centroid(const _sTri* t) { return (t->pVer[0]->pt + t->pVer[1]->pt + t->pVer[2]->pt) * (1.0 / 3.0); }

}  // namespace

TEST(MeshTransSection, PlanesThroughNoneOneTwoAndThreeCorners)
{
    CKrMeshData mesh;
    mesh.InputData(testmesh::Pts{{0, 0, 0}, {10, 0, 0}, {0, 10, 0}}, testmesh::Ids{{0, 1, 2}}, true);
    const _sTri* t = *mesh.m_setTri.begin();
    const CKrPoint3d P0 = t->pVer[0]->pt, P1 = t->pVer[1]->pt, P2 = t->pVer[2]->pt, O(0, 0, 0);
    struct Case {
        CKrPoint3d at;
        CGeoVector n;
        int code;
        CKrPoint3d pt1, pt2;
        std::vector<std::pair<int, CKrPoint3d>> recs;  // (edge slot, vertex position)
        int edge;  // written only for an edge in the plane: the joining edge, lower corner first
    };
    const Case cases[] = {
        // No corner: pt1 from the lower pair corner towards the lone one.
        {{3, 0, 0}, {1, 0, 0}, 2, {3, 0, 0}, {3, 7, 0}, {{0, {3, 0, 0}}, {1, {3, 7, 0}}}, -7},
        {{0, 4, 0}, {0, -2, 0}, 2, {0, 4, 0}, {6, 4, 0}, {{2, {0, 4, 0}}, {1, {6, 4, 0}}}, -7},
        {{0, 0, 5}, {0, 0, 1}, 0, O, O, {}, -7},
        {{3, 3, 0}, {0, 0, -1}, 1, O, O, {}, -7},  // coplanar
        // One corner touching (within eps), then one corner and a crossing.
        {{10 + 5e-7, 0, 0}, {1, 0, 0}, 2, P1, P1, {{0, P1}, {1, P1}}, -7},
        {O, {1, -1, 0}, 2, P0, {5, 5, 0}, {{0, P0}, {2, P0}, {1, {5, 5, 0}}}, -7},
        // Two corners: four records.
        {O, {0, 1, 0}, 2, P0, P1, {{0, P0}, {2, P0}, {0, P1}, {1, P1}}, 0},
        {P1, {1, 1, 0}, 2, P1, P2, {{0, P1}, {1, P1}, {1, P2}, {2, P2}}, 1},
        {O, {-1, 0, 0}, 2, P0, P2, {{0, P0}, {2, P0}, {1, P2}, {2, P2}}, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.n.x + 10 * c.n.y + 100 * c.n.z);
        std::vector<_sEdgeConVer*> conv;
        CKrPoint3d a, b;
        int edge = -7;
        EXPECT_EQ(Access::Section(t, c.at, c.n, a, b, conv, edge), c.code);
        EXPECT_TRUE(c.code != 2 || a.Distance(c.pt1) + b.Distance(c.pt2) < 1e-12);
        EXPECT_EQ(edge, c.edge);
        ASSERT_EQ(conv.size(), c.recs.size());
        for (std::size_t k = 0; k < conv.size(); ++k) {
            EXPECT_EQ(conv[k]->edge, t->pEdge[c.recs[k].first]) << k;
            ASSERT_EQ(conv[k]->vertices.size(), 1u);
            EXPECT_LT(conv[k]->vertices[0]->pt.Distance(c.recs[k].second), 1e-12) << k;
        }
        for (_sEdgeConVer* r : conv) {
            delete r->vertices[0];
            delete r;
        }
    }
}

TEST(MeshTransSign, TrianglesWhoseCentroidIsInsideThePolygon)
{
    CKrMeshData mesh;
    testmesh::Load(mesh, testmesh::Grid(5, 5, 0, 0, 1, [](double x, double) { return x; }));
    CKrMeshTrans trans(mesh);
    Access::Sign(trans, {{1, 1, 0}, {3.5, 1, 0}, {3.5, 3, 0}, {1, 3, 0}});
    int marked = 0;
    for (const _sTri* t : mesh.m_setTri) {
        const CKrPoint3d c = Centroid(t);
        EXPECT_EQ(t->nSign[0], c.x > 1 && c.x < 3.5 && c.y > 1 && c.y < 3 ? 1 : 0) << c.x << " " << c.y;
        marked += t->nSign[0] == 1;
    }
    EXPECT_EQ(marked, 10);
    // The marks stop a fill: from a corner it takes the 40 others, each once.
    std::vector<_sTri*> ring;
    ASSERT_TRUE(Access::Fill(trans, CKrPoint3d(0.2, 0.1, 0.2), ring));
    EXPECT_EQ(ring.size(), 40u);
    EXPECT_EQ(std::set<_sTri*>(ring.begin(), ring.end()).size(), 40u);
    // Centroids (1 + 1/3, j + 2/3) lie on the edge x = 4/3: not marked.
    Access::Sign(trans, {{0, 0, 0}, {4.0 / 3.0, 0, 0}, {4.0 / 3.0, 5, 0}, {0, 5, 0}});
    for (const _sTri* t : mesh.m_setTri) EXPECT_EQ(t->nSign[0], Centroid(t).x < 1.3 ? 1 : 0);
    // Two points: every mark 0 (not -1).
    Access::Sign(trans, {{0, 0, 0}, {5, 5, 0}});
    for (const _sTri* t : mesh.m_setTri) EXPECT_EQ(t->nSign[0], 0);
}

TEST(MeshTransSort, RegionsAndTrianglesOnTheOtherSurface)
{
    // A 6 x 6 sheet at z = 0 facing up; a box [2, 4]^2 x [0, 2] whose bottom
    // (facing down) lies in the sheet.
    CKrMeshData sheet;
    testmesh::Load(sheet, testmesh::Grid(6, 6, 0, 0, 1, [](double, double) { return 0.0; }));
    CKrMeshData box;
    testmesh::Load(box, testmesh::Box(2, 2, 0, 4, 4, 2));
    auto under = [](const _sTri* t) {
        const CKrPoint3d c = Centroid(t);
        return c.x > 2 && c.x < 4 && c.y > 2 && c.y < 4;
    };
    CKrMeshTrans trans(sheet);
    Lists l;
    CKrTri3d seed;
    // Flagged triangles are sorted first: on the box, facing the other way.
    for (_sTri* t : sheet.m_setTri) t->bSign = under(t);
    Access::Sort(trans, box, l, seed);
    EXPECT_EQ(l[3].size(), 8u);
    for (const _sTri* t : l[3]) EXPECT_TRUE(under(t));
    EXPECT_EQ(l[0].size(), 64u);  // the rest: one region in front
    EXPECT_EQ(l[1].size() + l[2].size() + l[4].size(), 0u);
    EXPECT_EQ(seed.m_pt[1].Distance(l[0][0]->pVer[1]->pt), 0.0);  // the region's seed comes first
    sheet.ResetSign();
    sheet.Invert();  // now facing like the box bottom
    for (_sTri* t : sheet.m_setTri) t->bSign = under(t);
    Access::Sort(trans, box, l, seed);
    EXPECT_EQ(l[2].size(), 8u);

    // Lifted into the box with the cut lines flagged: the inner piece is
    // behind the box, the outer in front.
    CKrMeshData lifted;
    testmesh::Load(lifted, testmesh::Grid(6, 6, 0, 0, 1, [](double, double) { return 1.0; }));
    auto onCut = [](const CKrPoint3d& p) {
        return ((p.x == 2 || p.x == 4) && p.y >= 2 && p.y <= 4) || ((p.y == 2 || p.y == 4) && p.x >= 2 && p.x <= 4);
    };
    for (_sTri* t : lifted.m_setTri)
        for (_sEdge* e : t->pEdge) e->bSign = onCut(e->pVer[0]->pt) && onCut(e->pVer[1]->pt);
    CKrMeshTrans trans2(lifted);
    Access::Sort(trans2, box, l, seed);
    EXPECT_EQ(l[0].size(), 64u);
    ASSERT_EQ(l[1].size(), 8u);
    for (const _sTri* t : l[1]) EXPECT_TRUE(under(t));
    // Without flags a connected mesh is one region, sent whole by its seed
    // though it runs through the box, however large (the fill needs no deep
    // recursion).
    CKrMeshData big;
    testmesh::Load(big, testmesh::Grid(400, 400, 0, 0, 1, [](double, double) { return 1.0; }));
    CKrMeshTrans bigTrans(big);
    Access::Sort(bigTrans, box, l, seed);
    const std::size_t n = static_cast<std::size_t>(big.TriNum());
    EXPECT_TRUE((l[0].size() == n && l[1].empty()) || (l[1].size() == n && l[0].empty()));
}
